// The send path against a real audit server process: the service probe,
// batch delivery, retries and their waits, invalid events, the hand-off to the
// disk cache, shut-down during a retry wait, TLS and basic authentication.
#include "cbe/server_session.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capis/audit_element.h"
#include "capis/cache_info.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/event_queue.h"
#include "cbe/batch_text.h"
#include "soap/http_transport.h"
#include "tests/audit_server_util.h"
#include "tests/capis_test_util.h"
#include "tests/tls_certs_util.h"

namespace {

using testutil::AuditServer;
using Strings = std::vector<std::string>;
using Codes_ = std::vector<uint32_t>;
using Clock = std::chrono::steady_clock;

std::string Cbe(const std::string &giid) {
  return "<CommonBaseEvent version=\"1.0.1\" extensionName=\"ORV_KZT_AUDIT_AUTHN\" globalInstanceId=\"" +
         giid + "\" creationTime=\"2024-05-06T07:08:09.000000Z\"/>";
}

// A batch owning one AnyType per text.
struct Batch {
  explicit Batch(const Strings &texts) {
    ZOnewBatch(&tag, static_cast<int>(texts.size()));
    for (size_t i = 0; i < texts.size(); ++i) tag.m_Array[i].any = ZOnewAnyType(texts[i].c_str());
  }
  ~Batch() { ZOfreeBatch(&tag); }
  CommonBaseEventType_ArrayTag tag{};
};

// The delivery records of an audit client, made by the test.
struct Delivery {
  Delivery() {
    pthread_mutex_init(&cache.mutex, nullptr);
    pthread_cond_init(&cache.cond, nullptr);
    pthread_mutex_init(&queue.lock, nullptr);
    pthread_cond_init(&queue.spaceAvailable, nullptr);
    pthread_cond_init(&queue.eventsAvailable, nullptr);
  }
  ~Delivery() {
    pthread_cond_destroy(&queue.eventsAvailable);
    pthread_cond_destroy(&queue.spaceAvailable);
    pthread_mutex_destroy(&queue.lock);
    pthread_cond_destroy(&cache.cond);
    pthread_mutex_destroy(&cache.mutex);
  }
  ZOcacheInfo cache{};
  ZOeventQueue queue{};
  void ShutDownQueue() {
    pthread_mutex_lock(&queue.lock);
    queue.shutDown = 1;
    pthread_cond_broadcast(&queue.eventsAvailable);
    pthread_mutex_unlock(&queue.lock);
  }
};

// A context for `url` that waits one second between attempts and traces
// flow lines into a file of its own (logger names are process-wide).
class Client {
 public:
  explicit Client(const std::string &url, std::vector<TestProp> extra = {}) {
    static std::atomic<int> serial{0};
    std::string id = std::to_string(++serial);
    std::vector<TestProp> props = {StrProp("serverURL", url),
                                   StrProp("elementCodeSet", "UTF8"),
                                   IntProp("retryInterval", 1),
                                   IntProp("numberRetries", 0),
                                   IntProp("responseTimeout", 5),
                                   IntProp("traceLevel", 3),
                                   StrProp("traceFilePath", trace_.File("t")),
                                   StrProp("traceLoggerName", "sessTrace" + id),
                                   StrProp("errorLoggerName", "sessError" + id)};
    props.insert(props.end(), extra.begin(), extra.end());
    tc_ = std::make_unique<TestContext>(props);
    if (ctx() != nullptr) ownCache_ = ctx()->diskCache;
  }
  ~Client() {
    // Records a test put in place give way to the context's own again.
    if (ctx() != nullptr) ctx()->diskCache = ownCache_, ctx()->eventQueue = nullptr;
    ZOVEXA_Result_Clean(&r);
    ZOhttpReleaseThreadConnections();  // idle keep-alive connections would hold up the server's stop
  }
  ZOVEXA_AuditClientContext *ctx() const { return tc_->ctx; }
  bool Traced(const std::string &line) const { return Count(line) > 0; }
  int Count(const std::string &line) const {
    std::string all = ReadFile(trace_.File("t"));
    int n = 0;
    for (size_t at = all.find(line); at != std::string::npos; at = all.find(line, at + 1)) ++n;
    return n;
  }
  Codes_ Codes() const { return ::Codes(r); }
  // Some entry is message `code` and holds `word`.
  bool Said(uint32_t code, const std::string &word) const {
    for (int i = 0; i < r.count; ++i)
      if (r.entries[i].code == code && strstr(r.entries[i].text, word.c_str()) != nullptr) return true;
    return false;
  }
  std::string All() const {
    std::string all = tc_->ctx == nullptr ? "creation: " : "";
    for (const std::string &t : Texts(tc_->ctx == nullptr ? tc_->result : r)) all += t + "\n";
    return all;
  }

  ZOVEXA_result r{};

 private:
  TempDir trace_;
  std::unique_ptr<TestContext> tc_;
  ZOcacheInfo *ownCache_ = nullptr;
};

// The batch texts in the context's cache files, with their event counts, as
// a drainer would read them.
struct Cached {
  Strings texts;
  std::vector<int> events;
};
Cached CachedBatches(const ZOVEXA_AuditClientContext *ctx) {
  Cached cached;
  ZOcacheInfo *cache = ctx->diskCache;
  ZOVEXA_result r{};
  for (ZOcacheFileInfo *f = cache->fileQ.head; f != nullptr; f = f->next) {
    std::string path = std::string(cache->directory) + "/" + f->fileName;
    int fd = ZOopenCacheFile(ctx, path.c_str(), 0, &r);
    if (fd < 0 || ZOseekToNextEvent(ctx, f, fd, &r) != 0) continue;
    ZOeventRec rec{};
    while (ZOgetEventRec(ctx, f, fd, 0, &rec, &r) == 0) {
      cached.texts.push_back(rec.text);
      cached.events.push_back(rec.numEvents);
    }
    ZOfreeEventRec(&rec);
    close(fd);
  }
  ZOVEXA_Result_Clean(&r);
  return cached;
}

Strings Sorted(Strings v) {
  std::sort(v.begin(), v.end());
  return v;
}

// A port nothing listens on: that of a server that was stopped.
std::string DeadUrl() {
  AuditServer gone;
  gone.Stop();
  return gone.Url();
}

// The two transports the session runs over: plain HTTP, and HTTPS with a
// server certificate from the test CA and a client store trusting it.
struct Scheme {
  bool tls;
  std::vector<std::string> ServerArgs(std::vector<std::string> args = {}) const {
    if (tls) {
      const testutil::TlsCerts &certs = testutil::TestTlsCerts();
      args.insert(args.end(), {"--cert", certs.serverCert, "--key", certs.serverKey});
    }
    return args;
  }
  std::vector<TestProp> ClientProps(std::vector<TestProp> props = {}) const {
    if (tls) {
      const testutil::TlsCerts &certs = testutil::TestTlsCerts();
      props.push_back(StrProp("keyFilePath", certs.caOnlyStore));
      props.push_back(StrProp("stashFilePath", certs.caOnlyStash));
    }
    return props;
  }
};
const Scheme kSchemes[] = {{false}, {true}};

TEST(SessionProbe, CheckServiceTellsReachableUnauthorisedAndDown) {
  TempDir dir;
  WriteFile(dir.File("users"), "writer:pw1:writer\nreader:pw2:reader\n");
  for (const Scheme &scheme : kSchemes) {
    SCOPED_TRACE(scheme.tls ? "https" : "http");
    ASSERT_TRUE(testutil::TestTlsCerts().ok);
    AuditServer plain(scheme.ServerArgs()), faulty(scheme.ServerArgs()),
        guarded(scheme.ServerArgs({"--users", dir.File("users")}));
    ASSERT_TRUE(plain.ok() && faulty.ok() && guarded.ok())
        << plain.error() << faulty.error() << guarded.error();
    ASSERT_TRUE(faulty.SetMode("server_fault=1"));
    const struct {
      std::string url, user, password;
      int rc;
      std::string word20;  // a word of message 20, "" when nothing is reported
    } cases[] = {
        {plain.Url(), "", "", 0, ""},
        {faulty.Url(), "", "", 0, ""},  // any answer means the server is there
        {guarded.Url(), "writer", "pw1", 0, ""},
        {guarded.Url(), "reader", "pw2", kZOnotAuthorized, ""},
        {guarded.Url(), "writer", "wrong", -1, "401"},
        {DeadUrl(), "", "", -1, "checkService"},
    };
    for (const auto &c : cases) {
      std::vector<TestProp> extra;
      if (!c.user.empty()) extra = {StrProp("clientUserName", c.user), StrProp("clientPassword", c.password)};
      Client client(c.url, scheme.ClientProps(extra));
      ASSERT_NE(client.ctx(), nullptr) << client.All();
      EXPECT_EQ(checkService(client.ctx(), &client.r), c.rc) << c.url << " " << c.user;
      EXPECT_EQ(client.Codes(), c.word20.empty() ? Codes_{} : Codes_{20}) << client.All();
      EXPECT_TRUE(c.word20.empty() ? client.Traced("The service " + c.url + " is available...")
                                   : client.Said(20, c.word20));
    }
    EXPECT_EQ(plain.StoredCount(), 0);  // the probe is never stored
  }
}

TEST(SessionSend, BuildAndProcEventDeliversOneBatchOfEveryEvent) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Client client(srv.Url());
  std::vector<ZOVEXA_AuditEvent *> events;
  Strings giids, names;
  for (std::string type : {"AUDIT_AUTHN", "AUDIT_AUTHZ", "AUDIT_MGMT_CONFIG", "AUDIT_DATA_SYNC"}) {
    events.push_back(ZOVEXA_AuditEvent_Create(client.ctx(), type.c_str(), &client.r));
    giids.push_back("KZT60-session-" + type);
    names.push_back("ORV_KZT_" + type);
    ZOVEXA_AuditEvent_AddStringElement(events.back(), "globalInstanceId", giids.back().c_str(), 1, &client.r);
    ZOVEXA_AuditEvent_AddStringElement(events.back(), "auditMsg", "sent by the session test", 1, &client.r);
    ZOVEXA_AuditEvent_AddIntegerElement(events.back(), "attempts", 3, &client.r);
  }
  events.push_back(nullptr);
  EXPECT_EQ(buildAndProcEvent(client.ctx(), events.data(), &client.r), 0) << client.All();
  EXPECT_EQ(client.r.count, 0);
  EXPECT_EQ(srv.Stat("requests"), 1);
  EXPECT_EQ(Sorted(srv.StoredGiids()), Sorted(giids));
  EXPECT_EQ(Sorted(srv.StoredExtensionNames()), Sorted(names));

  EXPECT_EQ(buildAndProcEvent(client.ctx(), &events.back(), &client.r), 0);  // no events
  EXPECT_EQ(buildAndProcEvent(client.ctx(), nullptr, &client.r), -1);
  EXPECT_TRUE(client.Codes() == Codes_{9} && client.Said(9, "'auditEvents'"));
  EXPECT_EQ(srv.Stat("requests"), 1);
  events.pop_back();
  ZOVEXA_Result_Clean(&client.r);  // public calls empty the record without freeing it
  for (ZOVEXA_AuditEvent *e : events) ZOVEXA_AuditEvent_Delete(e, &client.r);
}

// A conversion failure leaves its entry empty and lowers the count, so the
// batch ends with the empty entry (refused by the server as invalid) and the
// last converted event lies beyond the count: it is not sent.
TEST(SessionSend, AFailedConversionLeavesAnEmptyEntryInItsPlace) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Client client(srv.Url());
  std::vector<ZOVEXA_AuditEvent *> events;
  for (const char *giid : {"f1", "f2", "f3"}) {
    events.push_back(ZOVEXA_AuditEvent_Create(client.ctx(), "AUDIT_AUTHN", &client.r));
    ZOVEXA_AuditEvent_AddStringElement(events.back(), "globalInstanceId", giid, 1, &client.r);
  }
  // An element whose type the encoder does not know fails the event (14).
  ZOVEXA_AuditElement *odd = ZOVEXA_AuditEvent_AddIntegerElement(events[1], "odd", 1, &client.r);
  ASSERT_NE(odd, nullptr);
  odd->valueType = 27;
  events.push_back(nullptr);
  EXPECT_EQ(buildAndProcEvent(client.ctx(), events.data(), &client.r), kZOsentWithDiscards);
  odd->valueType = VEXA_VT_INTEGER;
  EXPECT_EQ(client.Codes(), (Codes_{14, 25, 37})) << client.All();
  EXPECT_EQ(srv.StoredGiids(), Strings{"f1"});
  EXPECT_EQ(srv.Stat("requests"), 2);  // the batch of two, then event 1 alone
  events.pop_back();
  ZOVEXA_Result_Clean(&client.r);
  for (ZOVEXA_AuditEvent *e : events) ZOVEXA_AuditEvent_Delete(e, &client.r);
}

TEST(SessionSend, InvalidEventsAreDroppedAndTheOthersResentAlone) {
  const struct {
    std::string mode;
    int events, rc;
    Strings stored;
    long long requests;
    int discarded;  // the event named in the discard line, 0 for none
  } cases[] = {
      {"reject_nth=2", 3, kZOsentWithDiscards, {"g1", "g3"}, 3, 2},
      {"reject_nth=1", 1, kZOsentWithDiscards, {}, 1, 1},
      {"reject_nth=3", 3, kZOsentWithDiscards, {"g1", "g2"}, 3, 3},
      {"reject_nth=2 client_fault_no_detail=1", 3, 0, {"g1", "g2", "g3"}, 4, 0},
      {"empty_200=1", 2, 0, {}, 1, 0},  // an empty answer counts as delivered
  };
  for (const Scheme &scheme : kSchemes) {
    SCOPED_TRACE(scheme.tls ? "https" : "http");
    for (const auto &c : cases) {
      AuditServer srv(scheme.ServerArgs());
      ASSERT_TRUE(srv.ok() && srv.SetMode(c.mode)) << srv.error();
      Client client(srv.Url(), scheme.ClientProps());
      Strings texts;
      for (int i = 1; i <= c.events; ++i) texts.push_back(Cbe("g" + std::to_string(i)));
      Batch batch(texts);
      EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 1, &client.r), c.rc) << c.mode;
      EXPECT_EQ(Sorted(srv.StoredGiids()), c.stored) << c.mode;
      EXPECT_EQ(srv.Stat("requests"), c.requests) << c.mode;
      EXPECT_EQ(client.Codes(), c.mode.find("reject") == 0 ? Codes_{37} : Codes_{}) << c.mode;
      EXPECT_EQ(client.Traced("ERROR: sendEvent discarded event"), c.discarded != 0) << c.mode;
      EXPECT_EQ(client.Traced("discarded event " + std::to_string(c.discarded) + " because"),
                c.discarded != 0);
    }
  }
}

TEST(SessionRetry, AfterTheLastRetryTheServerIsMarkedDown) {
  for (int cacheEvents : {0, 1}) {
    AuditServer srv;
    ASSERT_TRUE(srv.ok() && srv.SetMode("status503=1")) << srv.error();
    TempDir cacheDir;
    Client client(srv.Url(), {IntProp("numberRetries", 2), StrProp("diskCachePath", cacheDir.File("cache"))});
    ZOcacheInfo *cache = client.ctx()->diskCache;
    ASSERT_NE(cache, nullptr);
    ASSERT_EQ(ZOsetupCacheFiles(client.ctx(), &client.r), 0);
    Batch batch({Cbe("r1")});
    auto start = Clock::now();
    EXPECT_EQ(sendEvent(client.ctx(), batch.tag, cacheEvents, &client.r), cacheEvents ? 0 : -1);
    EXPECT_GE(Clock::now() - start, std::chrono::seconds(2));   // waits between the attempts
    EXPECT_EQ(client.Count("FLOW: Waiting for 1 seconds"), 2);  // none after the last attempt
    EXPECT_EQ(srv.Stat("requests"), 3);
    EXPECT_EQ(cache->serverDown, 1);
    EXPECT_EQ(client.Codes(), Codes_{20});
    EXPECT_TRUE(client.Said(20, "503")) << client.All();
    EXPECT_TRUE(client.Traced("FLOW: Resending the events. Retry count is 2"));
    // With cacheEvents the batch went to a cache file.
    Cached cached = CachedBatches(client.ctx());
    ASSERT_EQ(cached.texts.size(), cacheEvents ? 1u : 0u);
    if (cacheEvents) {
      EXPECT_NE(cached.texts[0].find("globalInstanceId=\"r1\""), std::string::npos);
    }

    // A server marked down is not tried again while caching is allowed.
    ZOVEXA_Result_Clean(&client.r);
    EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 1, &client.r), 0);
    EXPECT_EQ(client.Codes(), Codes_{});
    EXPECT_EQ(srv.Stat("requests"), 3);
    EXPECT_EQ(CachedBatches(client.ctx()).texts.size(), cacheEvents ? 2u : 1u);
  }
}

// Producers announce events on the condition a retry waits on; only a
// shut-down may end the wait early.
TEST(SessionRetry, EventsArrivingDuringAWaitDoNotShortenIt) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("status503=1")) << srv.error();
  Client client(srv.Url(), {IntProp("numberRetries", 1)});
  Delivery d;
  client.ctx()->diskCache = &d.cache;
  client.ctx()->eventQueue = &d.queue;
  std::atomic<bool> done{false};
  std::thread producer([&] {
    while (!done) {
      pthread_mutex_lock(&d.queue.lock);
      pthread_cond_broadcast(&d.queue.eventsAvailable);
      pthread_mutex_unlock(&d.queue.lock);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  });
  Batch batch({Cbe("w1")});
  auto start = Clock::now();
  EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 0, &client.r), -1);
  done = true;
  producer.join();
  EXPECT_GE(Clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(srv.Stat("requests"), 2);
  EXPECT_EQ(d.cache.serverDown, 1);
}

TEST(SessionRetry, WithoutACacheTheBatchIsRetriedUntilSent) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("status503=1")) << srv.error();
  Client client(srv.Url(), {IntProp("numberRetries", 1)});
  std::thread healer([&srv] {
    if (srv.WaitForStat("requests", 3)) srv.SetMode("clear");
  });
  Batch batch({Cbe("h1"), Cbe("h2")});
  EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 1, &client.r), 0);
  healer.join();
  long long requests = srv.Stat("requests");
  EXPECT_GE(requests, 4);
  // Every failure past numberRetries is reported; the first one is not.
  EXPECT_EQ(client.Codes(), Codes_(static_cast<size_t>(requests - 2), 20));
  EXPECT_EQ(srv.StoredCount(), 2);
}

TEST(SessionRetry, ShutDownEndsTheRetriesAtOnce) {
  const std::string dead = DeadUrl();
  const struct {
    bool early;  // the queue is shut down before the first attempt
    bool queue, cache;
    const char *line;
  } cases[] = {
      {true, true, false, "FLOW: received shutDown indication in eventQueue control struct"},
      {false, true, false, "ERROR: we have event queue shutDown, no disk cache"},
      {false, true, true, "FLOW: event Q shutdown & cacheEvents == 0"},
      {true, false, true, "FLOW: received shutDown indication in cacheInfo control struct"},
  };
  for (const auto &c : cases) {
    Client client(dead, {IntProp("retryInterval", 60), IntProp("numberRetries", 1)});
    Delivery d;
    if (c.queue) client.ctx()->eventQueue = &d.queue;
    if (c.cache) client.ctx()->diskCache = &d.cache;
    if (c.early && c.queue) d.ShutDownQueue();
    if (c.early && !c.queue) d.cache.shutDown = 1;
    std::thread stopper([&d, &c] {
      if (c.early) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      d.ShutDownQueue();
    });
    Batch batch({Cbe("s1")});
    auto start = Clock::now();
    EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 0, &client.r), -1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(20));  // the broadcast ended the wait
    stopper.join();
    EXPECT_TRUE(client.Traced(c.line)) << c.line;
  }
}

TEST(SessionCache, CachedTextIsSentOrDroppedAndAlwaysCachingNeverSends) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Client client(srv.Url());
  const char *corrupt = "<CommonBaseEvent version=\"1.0";
  EXPECT_EQ(sendMsg(client.ctx(), static_cast<int>(strlen(corrupt)), corrupt, &client.r), 0);
  EXPECT_TRUE(client.Said(49, "dataBuff")) << client.All();
  ZOVEXA_Result_Clean(&client.r);
  EXPECT_EQ(sendMsg(client.ctx(), 0, nullptr, &client.r), 0);
  EXPECT_EQ(client.Codes(), (Codes_{9, 49}));  // the reader names the missing buffer first
  ZOVEXA_Result_Clean(&client.r);

  Batch batch({Cbe("c1"), Cbe("c2")});
  char *text = vexaCommonBaseEventsToString(client.ctx(), &batch.tag, &client.r);
  ASSERT_NE(text, nullptr);
  // The length bounds the text: the buffer need not be terminated.
  std::string unterminated = std::string(text) + "<";
  EXPECT_EQ(sendMsg(client.ctx(), static_cast<int>(strlen(text)), unterminated.data(), &client.r), 0);
  free(text);
  EXPECT_EQ(client.r.count, 0) << client.All();
  EXPECT_EQ(Sorted(srv.StoredGiids()), (Strings{"c1", "c2"}));

  TempDir cacheDir;
  Client always(srv.Url(),
                {StrProp("useDiskCache", "always"), StrProp("diskCachePath", cacheDir.File("cache"))});
  ASSERT_EQ(ZOsetupCacheFiles(always.ctx(), &always.r), 0);
  ZOVEXA_AuditEvent *events[] = {ZOVEXA_AuditEvent_Create(always.ctx(), "AUDIT_AUTHN", &always.r), nullptr};
  EXPECT_EQ(buildAndProcEvent(always.ctx(), events, &always.r), 0);
  EXPECT_EQ(always.Codes(), Codes_{});
  EXPECT_EQ(srv.Stat("requests"), 1);
  Cached cached = CachedBatches(always.ctx());
  ASSERT_EQ(cached.texts.size(), 1u);
  EXPECT_EQ(cached.events, std::vector<int>{1});
  EXPECT_NE(cached.texts[0].find("extensionName=\"ORV_KZT_AUDIT_AUTHN\""), std::string::npos)
      << cached.texts[0];
  // The cached text is a batch the send path takes back.
  EXPECT_EQ(
      sendMsg(always.ctx(), static_cast<int>(cached.texts[0].size()), cached.texts[0].c_str(), &always.r), 0);
  EXPECT_EQ(srv.Stat("requests"), 2);
  ZOVEXA_Result_Clean(&always.r);
  ZOVEXA_AuditEvent_Delete(events[0], &always.r);
}

// With a cache, a batch goes to it while the server is marked down or slow;
// in "never" mode only when the server is slow and the disk has room.
TEST(SessionCache, TheCacheFlagsDecideWhereABatchGoes) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  const struct {
    const char *useDiskCache;
    int serverDown, serverSlow, noDiskSpace;
    bool cached;
  } cases[] = {
      {"auto", 0, 0, 0, false}, {"auto", 1, 0, 0, true},   {"auto", 0, 1, 0, true},
      {"auto", 0, 1, 1, true},  {"never", 0, 0, 0, false}, {"never", 1, 0, 0, true},
      {"never", 0, 1, 0, true}, {"never", 0, 1, 1, false},
  };
  long long sent = 0;
  for (const auto &c : cases) {
    SCOPED_TRACE(::testing::Message() << c.useDiskCache << c.serverDown << c.serverSlow << c.noDiskSpace);
    TempDir cacheDir;
    Client client(srv.Url(), {StrProp("diskCachePath", cacheDir.File("cache"))});
    ZOcacheInfo *cache = client.ctx()->diskCache;
    ASSERT_NE(cache, nullptr);
    ASSERT_EQ(ZOsetupCacheFiles(client.ctx(), &client.r), 0);
    // "never" contexts have no cache of their own: this one keeps the one
    // made in "auto" mode to see what the send path does with the flags.
    if (strcmp(c.useDiskCache, "never") == 0) client.ctx()->props[ZOP_useDiskCache].i = ZO_DISKCACHE_NEVER;
    pthread_mutex_lock(&cache->mutex);
    cache->serverDown = c.serverDown, cache->serverSlow = c.serverSlow, cache->noDiskSpace = c.noDiskSpace;
    pthread_mutex_unlock(&cache->mutex);
    ZOVEXA_AuditEvent *events[] = {ZOVEXA_AuditEvent_Create(client.ctx(), "AUDIT_AUTHN", &client.r), nullptr};
    EXPECT_EQ(buildAndProcEvent(client.ctx(), events, &client.r), 0);
    EXPECT_EQ(client.Codes(), Codes_{});
    EXPECT_EQ(CachedBatches(client.ctx()).events, c.cached ? std::vector<int>{1} : std::vector<int>{});
    if (!c.cached) ++sent;
    EXPECT_EQ(srv.Stat("requests"), sent);
    ZOVEXA_Result_Clean(&client.r);
    ZOVEXA_AuditEvent_Delete(events[0], &client.r);
  }
}

TEST(SessionFault, FailedEventNumberFromTheDetail) {
  Client client("http://127.0.0.1:9/");
  const struct {
    const char *detail;
    int number;
  } cases[] = {
      {"<detail><failedevent><eventNumber>7</eventNumber></failedevent></detail>", 7},
      {"<f><failedevent><n> 12abc</n><n>3</n></failedevent></f>", 12},
      {"<detail><failedevent/></detail>", 0},
      {"<detail><failedevent><eventNumber>none</eventNumber></failedevent></detail>", 0},
      {"<detail><other>4</other></detail>", 0},
      {"the event was rejected", 0},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(getFailedEvent(client.ctx(), c.detail, &client.r), c.number) << c.detail;
    EXPECT_EQ(client.r.count, 0) << c.detail;  // a detail without a number is no error
  }
  EXPECT_EQ(getFailedEvent(client.ctx(), nullptr, &client.r), 0);
  EXPECT_TRUE(client.Codes() == Codes_{9} && client.Said(9, "'faultDetail'"));
}

TEST(SessionTls, ServerIdentityIsCheckedAndClientIdentityPresented) {
  const testutil::TlsCerts &certs = testutil::TestTlsCerts();
  ASSERT_TRUE(certs.ok) << certs.error;
  AuditServer good({"--cert", certs.serverCert, "--key", certs.serverKey});
  AuditServer wrongHost({"--cert", certs.wrongHostCert, "--key", certs.wrongHostKey});
  AuditServer mutual({"--cert", certs.serverCert, "--key", certs.serverKey, "--client-ca", certs.caCert});
  ASSERT_TRUE(good.ok() && wrongHost.ok() && mutual.ok())
      << good.error() << wrongHost.error() << mutual.error();
  const struct {
    AuditServer *srv;
    std::string store, stash;
    int rc;
  } cases[] = {
      {&good, certs.caOnlyStore, certs.caOnlyStash, 0},
      {&good, certs.wrongCaStore, certs.caOnlyStash, -1},
      {&wrongHost, certs.caOnlyStore, certs.caOnlyStash, -1},
      {&mutual, certs.pemStore, certs.pemStash, 0},
      {&mutual, certs.p12Store, certs.p12Stash, 0},
      {&mutual, certs.caOnlyStore, certs.caOnlyStash, -1},
  };
  int n = 0;
  for (const auto &c : cases) {
    SCOPED_TRACE(c.srv->Url() + " " + c.store);
    Client client(c.srv->Url(), {StrProp("keyFilePath", c.store), StrProp("stashFilePath", c.stash)});
    ASSERT_NE(client.ctx(), nullptr) << client.All();
    EXPECT_EQ(checkService(client.ctx(), &client.r), c.rc);
    EXPECT_EQ(client.Codes(), c.rc == 0 ? Codes_{} : Codes_{20});
    if (c.rc != 0) continue;
    std::string giid = "tls" + std::to_string(++n);
    Batch batch({Cbe(giid)});
    EXPECT_EQ(sendEvent(client.ctx(), batch.tag, 0, &client.r), 0);
    EXPECT_EQ(c.srv->StoredGiids().back(), giid);
  }
}

}  // namespace
