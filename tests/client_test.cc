// The audit client as an application uses it, against a real audit server:
// one client per context, sending, and deletion (flush, thread stop, time
// limit).
#include "capis/client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/event_queue.h"
#include "tests/audit_server_util.h"
#include "tests/capis_test_util.h"

namespace {

using testutil::AuditServer;
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

bool WaitFor(const std::function<bool()> &done, double seconds) {
  for (const auto start = Clock::now(); !done(); std::this_thread::sleep_for(std::chrono::milliseconds(10)))
    if (SecondsSince(start) > seconds) return false;
  return true;
}

// The only message is `code` and holds `words`. Empties the record.
::testing::AssertionResult OnlySays(ZOVEXA_result &r, uint32_t code, const std::string &words) {
  const std::vector<std::string> texts = Texts(r);
  const bool ok = OnlyCode(r) == code && texts[0].find(words) != std::string::npos;
  ZOVEXA_Result_Clean(&r);
  if (ok) return ::testing::AssertionSuccess();
  ::testing::AssertionResult failure = ::testing::AssertionFailure() << "messages:";
  for (const std::string &t : texts) failure << " [" << t << "]";
  return failure;
}

// A server, a context sending to it (without a disk cache unless asked) and
// events that pass the event check.
class ClientTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(srv.ok()) << srv.error(); }
  void TearDown() override {
    if (client != nullptr) {
      EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0) << Texts(r)[0];
    }
    tc.reset();
    ZOVEXA_Result_Clean(&r);
    EXPECT_TRUE(WaitFor([] { return ZOliveQueueThreads() == 0; }, 10));  // none left for the next test
  }
  ZOVEXA_AuditClientContext *MakeContext(std::vector<TestProp> props, const std::string &url = "") {
    props.insert(props.begin(),
                 {StrProp("serverURL", url.empty() ? srv.Url() : url), StrProp("useDiskCache", "never"),
                  StrProp("elementCodeSet", "UTF8"), StrProp("diskCachePath", cacheDir.File("cache")),
                  IntProp("retryInterval", 1), IntProp("numberRetries", 0), IntProp("flushInterval", 60)});
    tc = std::make_unique<TestContext>(props);
    return tc->ctx;
  }
  ZOVEXA_AuditClientContext *ctx() const { return tc->ctx; }
  // An authentication event; with `giid` it carries its own global instance
  // id, without `valid` it lacks the required "authnType".
  ZOVEXA_AuditEvent *Event(const std::string &giid = "", bool valid = true) {
    ZOVEXA_result er{};
    ZOVEXA_AuditEvent *e = ZOVEXA_AuditEvent_Create(ctx(), "AUDIT_AUTHN", &er);
    ZOVEXA_AuditEvent_AddUserInfoElement(
        e, "userInfo",
        ZOVEXA_UserInfo_Create(ctx(), "cn=al", "al", nullptr, nullptr, nullptr, nullptr, nullptr, 7, nullptr,
                               nullptr, &er),
        0, &er);
    ZOVEXA_AuditEvent_AddComponentIdElement(
        e, "sourceComponentId",
        ZOVEXA_ComponentId_Create(ctx(), "h1", "FQHostname", "shop", nullptr, "login", "service",
                                  "ProductName", "authn", nullptr, nullptr, nullptr, &er),
        0, &er);
    ZOVEXA_AuditEvent_AddOutcomeElement(
        e, "outcome", ZOVEXA_Outcome_Create(ctx(), "SUCCESSFUL", 0, 0, nullptr, &er), 0, &er);
    if (valid) ZOVEXA_AuditEvent_AddStringElement(e, "authnType", "password", 1, &er);
    if (!giid.empty()) ZOVEXA_AuditEvent_AddStringElement(e, "globalInstanceId", giid.c_str(), 1, &er);
    EXPECT_EQ(er.count, 0) << Texts(er)[0];
    ZOVEXA_Result_Clean(&er);
    return e;
  }
  void Send(int n) {
    for (int i = 0; i < n; ++i)
      ASSERT_EQ(ZOVEXA_AuditClient_SendEvent(client, Event(), &r), 0) << Texts(r)[0];
  }
  uintmax_t CachedBytes() const {
    uintmax_t bytes = 0;
    for (const auto &f : std::filesystem::directory_iterator(cacheDir.path())) bytes += f.file_size();
    return bytes;
  }

  AuditServer srv;
  TempDir cacheDir;
  std::unique_ptr<TestContext> tc;
  ZOVEXA_AuditClient *client = nullptr;
  ZOVEXA_result r{};
};

// A second client is refused until the first is deleted; a context deleted
// with its client alive deletes the client first (and delivers its events).
TEST_F(ClientTest, OneClientPerContext) {
  ASSERT_NE(MakeContext({IntProp("numberEQThreads", 2)}), nullptr);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  EXPECT_EQ(ZOVEXA_AuditClient_Create(ctx(), &r), nullptr);
  EXPECT_TRUE(OnlySays(r, 61, "Only one VEXA_AuditClient for each"));
  ZOVEXA_AuditEvent *event = Event();
  EXPECT_EQ(ZOVEXA_AuditClient_SendEvent(nullptr, event, &r), -1);
  EXPECT_TRUE(OnlySays(r, 13, "client handle"));
  EXPECT_EQ(ZOVEXA_AuditClient_Delete(nullptr, &r), -1);
  EXPECT_TRUE(OnlySays(r, 13, "client handle"));
  ZOVEXA_AuditEvent_Delete(event, &r);
  ZOVEXA_Result_Clean(&r);

  EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  EXPECT_EQ(ZOliveQueueThreads(), 2);
  Send(3);
  client = nullptr;
  tc.reset();
  EXPECT_EQ(srv.StoredCount(), 3);
  EXPECT_TRUE(WaitFor([] { return ZOliveQueueThreads() == 0; }, 1));
}

// Events keep a global instance id they have, others get a new one; an event
// that fails the check stays the caller's; deletion delivers what is queued.
TEST_F(ClientTest, SendAndDeleteDeliverEveryEvent) {
  ASSERT_NE(MakeContext({IntProp("hiWater", 20)}), nullptr);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  ASSERT_EQ(ZOVEXA_AuditClient_SendEvent(client, Event("KZT60-chosen-by-the-application"), &r), 0);
  ZOVEXA_AuditEvent *invalid = Event("", false);
  EXPECT_EQ(ZOVEXA_AuditClient_SendEvent(client, invalid, &r), -1);
  EXPECT_TRUE(OnlySays(r, 15, "'authnType'"));
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(invalid, &r), 0);
  Send(34);  // 20 leave at hiWater, 15 wait for the flush of the deletion
  EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0);
  client = nullptr;
  EXPECT_EQ(r.count, 0) << Texts(r)[0];
  const std::vector<std::string> giids = srv.StoredGiids();
  ASSERT_EQ(giids.size(), 35u);
  EXPECT_EQ(giids[0], "KZT60-chosen-by-the-application");
  for (size_t i = 1; i < giids.size(); ++i)
    EXPECT_TRUE(giids[i].size() == 53 && giids[i].rfind("KZT60", 0) == 0);
}

// An unreachable server stops creation only when there is no disk cache to
// keep the events meanwhile; message 20 tells in both cases.
TEST_F(ClientTest, UnreachableServerFailsCreationOnlyWithoutCache) {
  AuditServer gone;
  gone.Stop();
  for (const std::string mode : {"never", "auto"}) {
    ASSERT_NE(MakeContext({StrProp("useDiskCache", mode)}, gone.Url()), nullptr);
    client = ZOVEXA_AuditClient_Create(ctx(), &r);
    EXPECT_EQ(client != nullptr, mode == "auto");
    EXPECT_TRUE(OnlySays(r, 20, "checkService"));
    EXPECT_EQ(ctx()->client, client);
    if (client == nullptr) continue;
    Send(1);
    EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0);
    client = nullptr;
  }
}

// "always": no queue and no queue thread; the caller's thread writes the
// event into the cache before SendEvent returns, the cache manager delivers it.
TEST_F(ClientTest, AlwaysWritesOnTheCallersThread) {
  ASSERT_NE(MakeContext({StrProp("useDiskCache", "always")}), nullptr);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  EXPECT_TRUE(client->eventQueue == nullptr && ctx()->eventQueue == nullptr);
  EXPECT_EQ(ctx()->actualEQThreads, 0);
  const uintmax_t before = CachedBytes();
  Send(1);
  EXPECT_GT(CachedBytes(), before + kZOrecordHeaderSize);  // one record
  EXPECT_TRUE(WaitFor([&] { return srv.StoredCount() == 1; }, 10));
}

// Threads waiting for events are woken by the deletion: they are gone well
// before their own two-second wait would have ended.
TEST_F(ClientTest, DeleteWakesWaitingThreads) {
  ASSERT_NE(MakeContext({IntProp("numberEQThreads", 3)}), nullptr);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  EXPECT_EQ(ZOliveQueueThreads(), 3);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // all of them in their wait
  std::atomic<double> gone{-1};
  const auto start = Clock::now();
  std::thread watcher([&] {
    if (WaitFor([] { return ZOliveQueueThreads() == 0; }, 5)) gone = SecondsSince(start);
  });
  EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0);
  client = nullptr;
  watcher.join();
  EXPECT_TRUE(gone >= 0 && gone < 0.5) << gone;
  EXPECT_EQ(ctx()->actualEQThreads, 0);
}

// shutDownTimeout 0: no waiting. What is still queued is reported (18); a
// thread busy with a slow send is told to stop and leaves once it is done.
TEST_F(ClientTest, NoTimeToShutDownReportsQueuedEventsAndStopsThreads) {
  ASSERT_NE(MakeContext({IntProp("hiWater", 10), IntProp("shutDownTimeout", 0)}), nullptr);
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  ASSERT_TRUE(srv.SetMode("delay_ms=1500"));
  Send(10);  // hiWater: the thread takes these ten into a slow send
  ASSERT_TRUE(WaitFor([&] { return srv.Stat("requests") == 2; }, 5));  // the probe, then the batch
  Send(5);
  const auto start = Clock::now();
  EXPECT_EQ(ZOVEXA_AuditClient_Delete(client, &r), 0);
  client = nullptr;
  EXPECT_LT(SecondsSince(start), 0.5);
  EXPECT_TRUE(OnlySays(r, 18, " 5 audit events are still present"));
  EXPECT_TRUE(ctx()->client == nullptr && ctx()->eventQueue == nullptr);
  EXPECT_TRUE(WaitFor([] { return ZOliveQueueThreads() == 0; }, 10));
  EXPECT_EQ(srv.StoredCount(), 10);
  EXPECT_EQ(srv.Stat("requests"), 2);
  // The context takes a new client, with threads of its own.
  ASSERT_TRUE(srv.SetMode("clear"));
  client = ZOVEXA_AuditClient_Create(ctx(), &r);
  ASSERT_NE(client, nullptr) << Texts(r)[0];
  EXPECT_EQ(ZOliveQueueThreads(), 1);
}

}  // namespace
