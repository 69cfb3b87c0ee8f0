// Crash safety of the disk cache, across processes: an event whose SendEvent
// returned 0 under useDiskCache "always" is on disk, so killing the process
// at any moment afterwards loses nothing.
//
// Writer children (tests/crash_safety_child.c, the public interface through
// the shared library) send numbered events with the server down and are
// killed with SIGKILL at random moments, all on one diskCachePath. Then, with
// the server up, drainer children are killed in the middle of sending the
// cache, and finally this process drains the rest. Every id a writer
// reported accepted must reach the server; each kill may add at most one
// unacknowledged event (a writer) or one resent batch (a drainer). A kill
// in the middle of a record write may leave one cut-short record, renamed
// with ".corrupt"; such a file must hold nothing but complete records, all
// delivered, and the cut tail.
//
// ZOVEXA_SOAK=1 runs 200 writer kills instead of 20. ZOVEXA_CRASH_SEED fixes
// the random kill times.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "gtest/gtest.h"
#include "tests/audit_server_util.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

#ifndef ZOVEXA_TEST_CRASH_CHILD
#define ZOVEXA_TEST_CRASH_CHILD ""
#endif

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kUnreachableUrl[] = "http://127.0.0.1:1/vexaws/services/Emitter";
constexpr int kTransferSize = 10;  // the library's default batch size, used by every client here
constexpr int kDrainerKills = 2;
// A writer sends an event every kWriterPauseUs (plus the time SendEvent
// takes) and is killed up to kMaxKillDelayMs after it reported ready, so
// that kills land inside SendEvent as well as between calls. Every
// kEarlyKillEvery-th writer is killed instead up to kMaxEarlyKillMs after it
// was started, mostly while it sets up its context, client and cache file.
constexpr int kWriterPauseUs = 200;
constexpr int kMaxKillDelayMs = 150;
constexpr int kEarlyKillEvery = 4;
constexpr int kMaxEarlyKillMs = 60;
constexpr int kMaxEventsPerWriter = 1000000;

int WriterRuns() {
  const char *soak = std::getenv("ZOVEXA_SOAK");
  return soak != nullptr && *soak != '\0' && std::strcmp(soak, "0") != 0 ? 200 : 20;
}

unsigned Seed() {
  const char *fixed = std::getenv("ZOVEXA_CRASH_SEED");
  return fixed != nullptr ? static_cast<unsigned>(std::strtoul(fixed, nullptr, 10)) : std::random_device{}();
}

// Starts the child with `args`, standard output and error appended to `log`;
// the child dies with this process. -1 on failure.
pid_t Spawn(std::vector<std::string> args, const std::string &log) {
  args.insert(args.begin(), ZOVEXA_TEST_CRASH_CHILD);
  std::vector<char *> argv;
  for (auto &a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    if (fd >= 0) {
      dup2(fd, STDOUT_FILENO);
      dup2(fd, STDERR_FILENO);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  if (fd >= 0) close(fd);
  return pid;
}

// SIGKILL and reap. True when the child was still running (it was killed,
// not ended on its own).
bool Kill(pid_t pid) {
  kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

// What the writers reported, parsed from the accepted file.
struct WriterReport {
  std::set<std::string> accepted;
  std::vector<std::string> refused;
  int ready = 0;  // writers that got as far as sending
};

WriterReport ReadReport(const std::string &path) {
  WriterReport r;
  for (const auto &line : SplitLines(ReadFile(path))) {
    if (line.rfind("accepted ", 0) == 0) r.accepted.insert(line.substr(9));
    if (line.rfind("refused ", 0) == 0) r.refused.push_back(line.substr(8));
    if (line.rfind("ready ", 0) == 0) ++r.ready;
  }
  return r;
}

// The cache files under `dir` whose names start with "<prefix>.", split into
// regular and corrupt ones.
struct CacheFiles {
  std::vector<std::string> regular;
  std::vector<std::string> corrupt;
};

CacheFiles ListCache(const std::string &dir, const std::string &prefix) {
  CacheFiles files;
  DIR *d = opendir(dir.c_str());
  if (d == nullptr) return files;
  while (dirent *e = readdir(d)) {
    std::string name = e->d_name;
    if (name.rfind(prefix + ".", 0) != 0) continue;
    (name.find("corrupt") != std::string::npos ? files.corrupt : files.regular).push_back(dir + "/" + name);
  }
  closedir(d);
  return files;
}

// Bytes after the read checkpoint of every regular cache file.
long long UnsentBytes(const CacheFiles &files) {
  long long unsent = 0;
  for (const auto &path : files.regular) {
    std::string content = ReadFile(path);
    if (content.size() < 10) continue;
    long long checkpoint = std::atoll(content.substr(0, 10).c_str());
    if (static_cast<long long>(content.size()) > checkpoint) unsent += content.size() - checkpoint;
  }
  return unsent;
}

// A corrupt cache file taken apart: the global instance ids of its complete
// records, and whether it is complete records followed by one cut-short
// record (the only damage a kill can do).
struct CorruptFile {
  std::vector<std::string> giids;
  bool cutTailOnly = false;
  std::string problem;
};

std::vector<std::string> GiidsIn(const std::string &text) {
  static const std::regex kGiid("globalInstanceId=\"([^\"]*)\"");
  std::vector<std::string> ids;
  for (std::sregex_iterator it(text.begin(), text.end(), kGiid), end; it != end; ++it)
    ids.push_back((*it)[1]);
  return ids;
}

CorruptFile ReadCorrupt(const std::string &path) {
  CorruptFile f;
  std::string content = ReadFile(path);
  if (content.size() < 10) {
    f.problem = "shorter than its checkpoint";
    return f;
  }
  size_t pos = 10;
  while (pos < content.size()) {
    if (content.size() - pos < 32) {
      f.cutTailOnly = true;  // a header cut short
      return f;
    }
    if (content.compare(pos, 4, "Xrec") != 0) {
      f.problem = "no record signature at offset " + std::to_string(pos);
      return f;
    }
    long long uncompSize = std::atoll(content.c_str() + pos + 4);
    long long compSize = std::atoll(content.c_str() + pos + 15);
    if (uncompSize <= 0 || compSize <= 0) {
      f.problem = "bad record sizes at offset " + std::to_string(pos);
      return f;
    }
    if (static_cast<long long>(content.size() - pos - 32) < compSize) {
      f.cutTailOnly = true;  // the data cut short
      return f;
    }
    std::string text(static_cast<size_t>(uncompSize), '\0');
    uLongf textLen = static_cast<uLongf>(uncompSize);
    if (uncompress(reinterpret_cast<Bytef *>(text.data()), &textLen,
                   reinterpret_cast<const Bytef *>(content.data() + pos + 32),
                   static_cast<uLong>(compSize)) != Z_OK) {
      f.problem = "a complete record at offset " + std::to_string(pos) + " does not uncompress";
      return f;
    }
    for (auto &id : GiidsIn(text)) f.giids.push_back(std::move(id));
    pos += 32 + static_cast<size_t>(compSize);
  }
  f.problem = "every record is complete: nothing was cut short";
  return f;
}

// Owns a context and an audit client that drains the cache in this process.
class Drainer {
 public:
  Drainer(const std::string &url, const std::string &cachePath, const std::string &errorLog) {
    ZOVEXA_property props[] = {
        {"serverURL", VEXA_VT_STRING, const_cast<char *>(url.c_str())},
        {"diskCachePath", VEXA_VT_STRING, const_cast<char *>(cachePath.c_str())},
        {"errorFilePath", VEXA_VT_STRING, const_cast<char *>(errorLog.c_str())},
        {"useDiskCache", VEXA_VT_STRING, const_cast<char *>("auto")},
        {"rebindInterval", VEXA_VT_INTEGER, &one_},
        {"retryInterval", VEXA_VT_INTEGER, &one_},
        {"flushInterval", VEXA_VT_INTEGER, &one_},
        {nullptr, 0, nullptr},
    };
    ctx_ = ZOVEXA_AuditClientContext_Create(props, &result_);
    if (ctx_ != nullptr) client_ = ZOVEXA_AuditClient_Create(ctx_, &result_);
  }
  ~Drainer() { Close(); }
  bool ok() const { return client_ != nullptr; }
  std::vector<uint32_t> Codes() const { return ::Codes(result_); }
  // Deletes the client and the context; the codes of the messages reported.
  std::vector<uint32_t> Close() {
    std::vector<uint32_t> codes;
    if (client_ != nullptr) {
      ZOVEXA_Result_Clean(&result_);
      ZOVEXA_AuditClient_Delete(client_, &result_);
      codes = ::Codes(result_);
      client_ = nullptr;
    }
    if (ctx_ != nullptr) {
      ZOVEXA_AuditClientContext_Delete(ctx_, &result_);
      ctx_ = nullptr;
    }
    ZOVEXA_Result_Clean(&result_);
    return codes;
  }

 private:
  int32_t one_ = 1;
  ZOVEXA_result result_{};
  ZOVEXA_AuditClientContext *ctx_ = nullptr;
  ZOVEXA_AuditClient *client_ = nullptr;
};

template <typename Pred>
bool WaitFor(Pred pred, int timeoutMs, int stepMs = 100) {
  auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    if (pred()) return true;
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(stepMs));
  }
}

TEST(CrashSafetyTest, AcceptedEventsSurviveKillsOfWritersAndDrainers) {
  ASSERT_STRNE(ZOVEXA_TEST_CRASH_CHILD, "") << "the crash child is not part of this build";
  UseBuildCatalogs();
  TempDir dir;
  const std::string cacheDir = dir.File("cache");
  ASSERT_EQ(mkdir(cacheDir.c_str(), 0755), 0);
  const std::string cachePath = cacheDir + "/audit";
  const std::string acceptedFile = dir.File("accepted.txt");
  const std::string childLog = dir.File("children.log");
  const unsigned seed = Seed();
  std::mt19937 random(seed);
  const int runs = WriterRuns();
  SCOPED_TRACE("ZOVEXA_CRASH_SEED=" + std::to_string(seed));

  // 1. Writers with the server down, each killed at a random moment.
  int writerKills = 0;
  std::uniform_int_distribution<int> delay(0, kMaxKillDelayMs);
  std::uniform_int_distribution<int> earlyDelay(0, kMaxEarlyKillMs);
  for (int run = 1; run <= runs; ++run) {
    pid_t pid =
        Spawn({"write", kUnreachableUrl, cachePath, dir.File("writer-error.log"), acceptedFile,
               std::to_string(run), std::to_string(kMaxEventsPerWriter), std::to_string(kWriterPauseUs)},
              childLog);
    ASSERT_GT(pid, 0);
    if (run % kEarlyKillEvery == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(earlyDelay(random)));
    } else {
      const std::string ready = "ready " + std::to_string(run) + "\n";
      bool started =
          WaitFor([&] { return ReadFile(acceptedFile).find(ready) != std::string::npos; }, 20000, 2);
      EXPECT_TRUE(started) << "writer " << run << " never got ready";
      std::this_thread::sleep_for(std::chrono::milliseconds(delay(random)));
    }
    if (Kill(pid)) ++writerKills;
  }
  ASSERT_EQ(writerKills, runs) << "a writer ended on its own:\n" << ReadFile(childLog);
  WriterReport report = ReadReport(acceptedFile);
  EXPECT_TRUE(report.refused.empty())
      << report.refused.size() << " refused, the first " << report.refused[0] << "\n"
      << ReadFile(childLog);
  ASSERT_FALSE(report.accepted.empty()) << "no writer got to send anything:\n" << ReadFile(childLog);
  std::cout << "[          ] " << runs << " writers killed (" << runs - report.ready << " before sending), "
            << report.accepted.size() << " events accepted, " << ListCache(cacheDir, "audit").regular.size()
            << " cache files\n";

  // 2. The server comes up slow, so that drainers are killed while sending.
  testutil::AuditServer server({"--quiet"});
  ASSERT_TRUE(server.ok()) << server.error();
  ASSERT_TRUE(server.SetMode("delay_ms=30"));
  const long long target = static_cast<long long>(report.accepted.size());
  int drainerKills = 0;
  for (int k = 1; k <= kDrainerKills; ++k) {
    pid_t pid = Spawn({"drain", server.Url(), cachePath, dir.File("drainer-error.log")}, childLog);
    ASSERT_GT(pid, 0);
    long long before = std::max(0LL, server.Stat("events_stored"));
    // Kill once a good part has gone out (or after a while, if it is slow).
    server.WaitForStat("events_stored", before + std::max(1LL, target / (kDrainerKills + 2)), 15000);
    bool killed = Kill(pid);
    EXPECT_TRUE(killed) << "drainer " << k << " ended on its own:\n" << ReadFile(childLog);
    if (killed) ++drainerKills;
  }
  ASSERT_TRUE(server.SetMode("clear"));

  // 3. A last client here sends the rest.
  {
    Drainer drainer(server.Url(), cachePath, dir.File("error.log"));
    ASSERT_TRUE(drainer.ok()) << ::testing::PrintToString(drainer.Codes());
    bool done = WaitFor(
        [&] {
          return server.Stat("events_stored") >= target && UnsentBytes(ListCache(cacheDir, "audit")) == 0;
        },
        60000);
    EXPECT_TRUE(done) << "stored " << server.Stat("events_stored") << " of " << target << ", unsent bytes "
                      << UnsentBytes(ListCache(cacheDir, "audit"));
    std::vector<uint32_t> codes = drainer.Close();
    EXPECT_TRUE(std::find(codes.begin(), codes.end(), 67u) == codes.end());
  }

  // Every accepted id is stored; the extras are at most one event per writer
  // kill; duplicates at most one batch per drainer kill.
  std::map<std::string, int> stored;
  for (const auto &id : server.StoredGiids()) ++stored[id];
  std::vector<std::string> missing;
  for (const auto &id : report.accepted) {
    if (stored.count(id) == 0) missing.push_back(id);
  }
  EXPECT_TRUE(missing.empty()) << missing.size() << " accepted events never reached the server, the first "
                               << missing[0];
  static const std::regex kOurs("CRASHR[0-9]{4}N[0-9]{6}");
  int extras = 0, duplicates = 0, foreign = 0;
  for (const auto &[id, n] : stored) {
    if (!std::regex_match(id, kOurs)) ++foreign;
    if (report.accepted.count(id) == 0) ++extras;
    duplicates += n - 1;
  }
  EXPECT_EQ(foreign, 0);
  EXPECT_LE(extras, writerKills) << "events stored that no writer reported accepted";
  EXPECT_LE(duplicates, drainerKills * kTransferSize);

  // What is left on disk: no regular cache file, and at most one corrupt file
  // per kill, each only cut short, its complete records delivered.
  CacheFiles left = ListCache(cacheDir, "audit");
  EXPECT_TRUE(left.regular.empty()) << left.regular.size() << " cache files left, the first "
                                    << left.regular[0];
  EXPECT_LE(static_cast<int>(left.corrupt.size()), writerKills + drainerKills);
  for (const auto &path : left.corrupt) {
    SCOPED_TRACE(path);
    CorruptFile f = ReadCorrupt(path);
    EXPECT_TRUE(f.cutTailOnly) << f.problem;
    for (const auto &id : f.giids) EXPECT_EQ(stored.count(id), 1u) << id << " of a complete record was lost";
  }
  std::cout << "[          ] stored " << stored.size() << " distinct ids, " << extras << " unacknowledged, "
            << duplicates << " duplicates; " << left.corrupt.size() << " corrupt files; " << drainerKills
            << " drainers killed\n";
}

// The reader of corrupt files above must tell a cut tail from garbage, or the
// end-to-end test could pass on a file a bug scrambled.
TEST(CrashSafetyTest, CorruptFileReaderTellsCutTailFromGarbage) {
  TempDir dir;
  std::string text = "<CommonBaseEvent globalInstanceId=\"CRASHR0001N000001\"/>";
  std::string comp(compressBound(text.size()), '\0');
  uLongf compLen = comp.size();
  ASSERT_EQ(compress(reinterpret_cast<Bytef *>(comp.data()), &compLen,
                     reinterpret_cast<const Bytef *>(text.data()), text.size()),
            Z_OK);
  comp.resize(compLen);
  char header[33];
  std::snprintf(header, sizeof header, "Xrec%010zu:%010zu:%05d", text.size(), comp.size(), 1);
  std::string record = std::string(header, 31) + '\0' + comp;
  ASSERT_EQ(record.size(), 32 + comp.size());

  struct Case {
    const char *name;
    std::string content;
    bool cutTailOnly;
    size_t giids;
  };
  const Case cases[] = {
      {"cut inside the data", "0000000010" + record + record.substr(0, 40), true, 1},
      {"cut inside the header", "0000000010" + record + record + "Xrec00", true, 2},
      {"nothing cut", "0000000010" + record, false, 1},
      {"garbage after a record", "0000000010" + record + std::string(40, 'z'), false, 1},
      {"bad data in a complete record", "0000000010" + record.substr(0, 32) + std::string(comp.size(), 'q'),
       false, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    std::string path = dir.File("audit.2024-01-01-00-00-00.1.corrupt1");
    WriteFile(path, c.content);
    CorruptFile f = ReadCorrupt(path);
    EXPECT_EQ(f.cutTailOnly, c.cutTailOnly) << f.problem;
    EXPECT_EQ(f.giids.size(), c.giids);
  }
}

}  // namespace
