// A server outage in the middle of a steady stream of events: the client
// (useDiskCache "auto", tempStorageFullTimeout -1) keeps accepting events
// without blocking while the server is gone, keeps them in the disk cache,
// and delivers every one of them after the server comes back on the same
// port and database; nothing is reported as discarded.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "gtest/gtest.h"
#include "tests/audit_server_util.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEvents = 1200;
constexpr int kRatePerSecond = 100;
constexpr int kTransferSize = 10;
constexpr auto kOutageStart = std::chrono::seconds(3);
constexpr auto kOutageLength = std::chrono::seconds(5);

std::string Id(int n) {
  char id[32];
  std::snprintf(id, sizeof id, "OUTAGEN%06d", n);
  return id;
}

// Event n: a valid "AUDIT_AUTHN" event with its own global instance id.
ZOVEXA_AuditEvent *MakeEvent(ZOVEXA_AuditClientContext *ctx, int n, ZOVEXA_result *res) {
  ZOVEXA_AuditEvent *e = ZOVEXA_AuditEvent_Create(ctx, "AUDIT_AUTHN", res);
  ZOVEXA_ComponentId *component =
      ZOVEXA_ComponentId_Create(ctx, "host1.example.com", "FQHostname", "outage", "linux", "stream",
                                "service", "ProductName", "events", nullptr, nullptr, nullptr, res);
  ZOVEXA_Outcome *outcome = ZOVEXA_Outcome_Create(ctx, "SUCCESSFUL", 0, 0, nullptr, res);
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(ctx, "cn=alice", "alice", nullptr, nullptr, nullptr, nullptr,
                                                 nullptr, 0, nullptr, nullptr, res);
  if (e == nullptr || component == nullptr || outcome == nullptr || user == nullptr ||
      ZOVEXA_AuditEvent_AddComponentIdElement(e, "sourceComponentId", component, 0, res) == nullptr ||
      ZOVEXA_AuditEvent_AddOutcomeElement(e, "outcome", outcome, 0, res) == nullptr ||
      ZOVEXA_AuditEvent_AddUserInfoElement(e, "userInfo", user, 0, res) == nullptr ||
      ZOVEXA_AuditEvent_AddStringElement(e, "authnType", "password", 1, res) == nullptr ||
      ZOVEXA_AuditEvent_AddStringElement(e, "globalInstanceId", Id(n).c_str(), 1, res) == nullptr) {
    return nullptr;  // a test failure; what leaks here does not matter
  }
  return e;
}

// Bytes after the read checkpoint in the cache files "<dir>/<prefix>.*".
long long UnsentBytes(const std::string &dir, const std::string &prefix) {
  long long unsent = 0;
  DIR *d = opendir(dir.c_str());
  if (d == nullptr) return 0;
  while (dirent *e = readdir(d)) {
    std::string name = e->d_name;
    if (name.rfind(prefix + ".", 0) != 0 || name.find("corrupt") != std::string::npos) continue;
    std::string content = ReadFile(dir + "/" + name);
    if (content.size() < 10) continue;
    long long checkpoint = std::atoll(content.substr(0, 10).c_str());
    if (static_cast<long long>(content.size()) > checkpoint) unsent += content.size() - checkpoint;
  }
  closedir(d);
  return unsent;
}

// Every error log file in `dir` (the active one and rolled-over ones).
std::string ErrorLogs(const std::string &dir) {
  std::string all;
  DIR *d = opendir(dir.c_str());
  if (d == nullptr) return all;
  while (dirent *e = readdir(d)) {
    std::string name = e->d_name;
    if (name.rfind("error", 0) == 0) all += ReadFile(dir + "/" + name);
  }
  closedir(d);
  return all;
}

TEST(OutageTest, EveryEventOfASteadyStreamSurvivesAServerRestart) {
  UseBuildCatalogs();
  TempDir dir;
  const std::string cacheDir = dir.File("cache");
  ASSERT_EQ(mkdir(cacheDir.c_str(), 0755), 0);

  // The first server owns the database; its replacement is pointed at it.
  testutil::AuditServer first({"--quiet"});
  ASSERT_TRUE(first.ok()) << first.error();
  const int port = first.port();
  const std::string url = first.Url();

  int32_t one = 1, minusOne = -1, transfer = kTransferSize, shutDown = 60;
  std::string cachePath = cacheDir + "/audit";
  std::string errorLog = dir.File("error.log");
  ZOVEXA_property props[] = {
      {"serverURL", VEXA_VT_STRING, const_cast<char *>(url.c_str())},
      {"errorFilePath", VEXA_VT_STRING, const_cast<char *>(errorLog.c_str())},
      {"diskCachePath", VEXA_VT_STRING, const_cast<char *>(cachePath.c_str())},
      {"useDiskCache", VEXA_VT_STRING, const_cast<char *>("auto")},
      {"tempStorageFullTimeout", VEXA_VT_INTEGER, &minusOne},
      {"transferSize", VEXA_VT_INTEGER, &transfer},
      {"flushInterval", VEXA_VT_INTEGER, &one},
      {"retryInterval", VEXA_VT_INTEGER, &one},
      {"rebindInterval", VEXA_VT_INTEGER, &one},
      {"numberRetries", VEXA_VT_INTEGER, &one},
      {"shutDownTimeout", VEXA_VT_INTEGER, &shutDown},
      {nullptr, 0, nullptr},
  };
  ZOVEXA_result res{};
  ZOVEXA_AuditClientContext *ctx = ZOVEXA_AuditClientContext_Create(props, &res);
  ASSERT_NE(ctx, nullptr) << ::testing::PrintToString(Texts(res));
  ZOVEXA_AuditClient *client = ZOVEXA_AuditClient_Create(ctx, &res);
  ASSERT_NE(client, nullptr) << ::testing::PrintToString(Texts(res));
  ZOVEXA_Result_Clean(&res);

  // The stream, on its own thread: events at a steady pace, each SendEvent's
  // time measured.
  std::atomic<int> sent{0};
  std::vector<std::string> failures;
  double slowestSend = 0;
  const auto start = Clock::now();
  std::thread producer([&] {
    ZOVEXA_result r{};
    for (int n = 0; n < kEvents; ++n) {
      std::this_thread::sleep_until(start + std::chrono::milliseconds(n * 1000 / kRatePerSecond));
      ZOVEXA_AuditEvent *e = MakeEvent(ctx, n, &r);
      if (e == nullptr) {
        failures.push_back("event " + std::to_string(n) + " could not be built");
        ZOVEXA_Result_Clean(&r);
        continue;
      }
      auto before = Clock::now();
      int rc = ZOVEXA_AuditClient_SendEvent(client, e, &r);
      slowestSend = std::max(slowestSend, std::chrono::duration<double>(Clock::now() - before).count());
      if (rc == 0) {
        ++sent;
      } else {
        failures.push_back("event " + std::to_string(n) + ": " + ::testing::PrintToString(Texts(r)));
        ZOVEXA_AuditEvent_Delete(e, &r);
      }
      ZOVEXA_Result_Clean(&r);
    }
  });

  // The outage: the server really ends, the client caches, then the server
  // returns on the same port with the same database. The server object is
  // made on this thread, which outlives it.
  std::this_thread::sleep_until(start + kOutageStart);
  long long storedBefore = first.StoredCount();
  EXPECT_GT(storedBefore, 0) << "nothing reached the server before the outage";
  first.Stop();
  long long cachedDuringOutage = 0;
  while (Clock::now() < start + kOutageStart + kOutageLength) {
    cachedDuringOutage = std::max(cachedDuringOutage, UnsentBytes(cacheDir, "audit"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  testutil::AuditServer second({"--quiet", "--port", std::to_string(port), "--db", first.dbPath()});
  producer.join();
  ASSERT_TRUE(second.ok()) << second.error();
  EXPECT_EQ(sent.load(), kEvents) << ::testing::PrintToString(failures);
  EXPECT_GT(cachedDuringOutage, 0) << "the outage never reached the disk cache";
  // The application never waited for the server: with the queue full, the
  // caller's own thread writes to the cache. Waiting would have lasted about
  // as long as the outage.
  EXPECT_LT(slowestSend, 2.5);

  // Wait for the cache to drain, then shut down.
  auto deadline = Clock::now() + std::chrono::seconds(40);
  while (Clock::now() < deadline && (first.StoredCount() < kEvents || UnsentBytes(cacheDir, "audit") > 0)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  ASSERT_EQ(ZOVEXA_AuditClient_Delete(client, &res), 0);
  std::vector<uint32_t> codes = Codes(res);
  ZOVEXA_Result_Clean(&res);
  EXPECT_EQ(ZOVEXA_AuditClientContext_Delete(ctx, &res), 0);
  ZOVEXA_Result_Clean(&res);
  EXPECT_TRUE(std::find(codes.begin(), codes.end(), 67u) == codes.end()) << "events reported discarded";
  std::string logs = ErrorLogs(dir.path());
  EXPECT_EQ(logs.find("KZTCC0066E"), std::string::npos) << logs;
  EXPECT_EQ(logs.find("KZTCC0067E"), std::string::npos) << logs;

  // Every event is in the database, none foreign, few duplicates: a batch the
  // server stored while stopping may be sent again, one per sending thread
  // (the queue thread and the cache-manager thread).
  std::map<std::string, int> stored;
  for (const auto &id : first.StoredGiids()) ++stored[id];
  std::vector<std::string> missing;
  for (int n = 0; n < kEvents; ++n) {
    if (stored.count(Id(n)) == 0) missing.push_back(Id(n));
  }
  EXPECT_TRUE(missing.empty()) << missing.size() << " events lost, the first " << missing[0];
  int duplicates = 0, foreign = 0;
  for (const auto &[id, count] : stored) {
    duplicates += count - 1;
    if (id.rfind("OUTAGEN", 0) != 0) ++foreign;
  }
  EXPECT_EQ(foreign, 0);
  EXPECT_LE(duplicates, 2 * kTransferSize);
  std::cout << "[          ] " << storedBefore << " stored before the outage, " << cachedDuringOutage
            << " bytes cached at most, " << duplicates << " duplicates, slowest SendEvent " << slowestSend
            << " s\n";
}

}  // namespace
