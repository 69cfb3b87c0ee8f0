// The event queue against a real audit server: when queued events leave
// (hiWater, flushInterval), how a pass cuts them into batches, and what a
// producer does when the queue is full.
#include "capis/event_queue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "capis/cache_info.h"
#include "capis/client.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "capis/zo_memory.h"
#include "tests/audit_server_util.h"
#include "tests/capis_test_util.h"

namespace {

using testutil::AuditServer;
using Clock = std::chrono::steady_clock;
using Ints = std::vector<int>;
using Strings = std::vector<std::string>;

double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

bool WaitFor(const std::function<bool()> &done, double seconds) {
  for (const auto start = Clock::now(); !done(); std::this_thread::sleep_for(std::chrono::milliseconds(50)))
    if (SecondsSince(start) > seconds) return false;
  return true;
}

// The sizes of the batches the server stored, in order (from its request log).
Ints BatchSizes(const AuditServer &srv) {
  Ints sizes;
  const std::string log = srv.Log();
  const std::regex stored("stored ([0-9]+) event");
  for (auto it = std::sregex_iterator(log.begin(), log.end(), stored); it != std::sregex_iterator(); ++it)
    sizes.push_back(std::stoi((*it)[1]));
  return sizes;
}

// The queue of a hand-made client on a context that sends to `url` (without
// a disk cache unless `props` ask for one); no queue thread runs until
// StartThreads.
class Queue {
 public:
  Queue(const std::string &url, std::vector<TestProp> props) {
    props.insert(props.begin(),
                 {StrProp("serverURL", url), StrProp("useDiskCache", "never"),
                  StrProp("diskCachePath", cacheDir.File("cache")), StrProp("elementCodeSet", "UTF8"),
                  IntProp("numberRetries", 0), IntProp("shutDownTimeout", 0)});
    tc_ = std::make_unique<TestContext>(props);
    if (ctx() == nullptr) return;
    client = static_cast<ZOVEXA_AuditClient *>(ZOcalloc(1, sizeof(ZOVEXA_AuditClient)));
    client->context = ctx();
    EXPECT_EQ(setupEventQueue(client, &r), 0);
    EXPECT_EQ(ZOsetupCacheFiles(ctx(), &r), 0);  // nothing to do without a cache
    q = client->eventQueue;
  }
  // Stops the threads first, so that the deletion finds none running.
  ~Queue() {
    if (q != nullptr) {
      Locked([this] { return q->shutDown = 1, pthread_cond_broadcast(&q->eventsAvailable); });
      EXPECT_TRUE(WaitFor([this] { return Locked([this] { return q->numThreads; }) == 0; }, 10));
    }
    if (client != nullptr) auditClient_Delete(ctx(), client, &r);
    ZOVEXA_Result_Clean(&r);
  }
  ZOVEXA_AuditClientContext *ctx() const { return tc_->ctx; }
  std::string ErrorLog() const { return ReadFile(tc_->dir.File("error.log")); }
  int Locked(const std::function<int()> &f) {
    lockQ(q);
    const int value = f();
    unlockQ(q);
    return value;
  }
  int Size() {
    return Locked([this] { return q->size; });
  }
  void StartThreads(int n) {
    ctx()->props[ZOP_numberEQThreads].i = n;
    for (int i = 0; i < n; ++i) ASSERT_EQ(ZOstartEQThread(ctx(), client, &r), 0);
  }
  // A minimal event whose global instance id is `giid`.
  ZOVEXA_AuditEvent *Event(const std::string &giid) {
    ZOVEXA_result er{};
    ZOVEXA_AuditEvent *e = ZOVEXA_AuditEvent_Create(ctx(), "AUDIT_AUTHN", &er);
    ZOVEXA_AuditEvent_AddStringElement(e, "globalInstanceId", giid.c_str(), 1, &er);
    ZOVEXA_Result_Clean(&er);
    return e;
  }
  // Enqueues events <prefix>0, <prefix>1, ...; returns their ids.
  Strings Enqueue(const std::string &prefix, int n) {
    Strings giids;
    for (int i = 0; i < n; ++i) {
      giids.push_back(prefix + std::to_string(i));
      EXPECT_EQ(ZOenqueueEvent(q, Event(giids.back()), &r), 0) << giids.back();
    }
    return giids;
  }

  TempDir cacheDir;
  ZOVEXA_AuditClient *client = nullptr;
  ZOeventQueue *q = nullptr;
  ZOVEXA_result r{};

 private:
  std::unique_ptr<TestContext> tc_;
};

TEST(EventQueueThreads, BelowHiWaterEventsWaitForFlushIntervalAtHiWaterTheyLeaveAtOnce) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Queue queue(srv.Url(), {IntProp("hiWater", 20), IntProp("transferSize", 10), IntProp("flushInterval", 3)});
  ASSERT_NE(queue.q, nullptr);
  queue.StartThreads(1);

  auto start = Clock::now();
  Strings sent = queue.Enqueue("below-", 19);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  EXPECT_EQ(srv.Stat("requests"), 0);  // the oldest is at most 2 whole seconds old
  EXPECT_EQ(queue.Size(), 19);
  ASSERT_TRUE(WaitFor([&] { return srv.StoredCount() == 19; }, 10));
  EXPECT_GE(SecondsSince(start), 2.0);
  EXPECT_EQ(BatchSizes(srv), (Ints{10, 9}));

  // The 20th event reaches hiWater: the producer wakes the thread, which
  // sends whole batches at once (the interval would take 2 seconds at least).
  start = Clock::now();
  Strings more = queue.Enqueue("at-", 20);
  ASSERT_TRUE(WaitFor([&] { return srv.StoredCount() == 39; }, 10));
  EXPECT_LT(SecondsSince(start), 1.9);
  EXPECT_EQ(BatchSizes(srv), (Ints{10, 9, 10, 10}));
  sent.insert(sent.end(), more.begin(), more.end());
  EXPECT_EQ(srv.StoredGiids(), sent);  // first in, first out
}

// One pass at a time on a queue without threads: without flush only whole
// batches leave, with flush the rest too; an empty queue is refused.
TEST(EventQueuePass, WholeBatchesWithoutFlushTheRestWithFlush) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Queue queue(srv.Url(), {IntProp("hiWater", 30), IntProp("transferSize", 10)});
  ASSERT_NE(queue.q, nullptr);
  const Strings giids = queue.Enqueue("pass-", 25);
  const struct {
    int flush, rc, sizeAfter;
    Ints batches;  // every batch stored so far
  } passes[] = {{0, 0, 5, {10, 10}}, {1, 0, 0, {10, 10, 5}}, {1, -1, 0, {10, 10, 5}}};
  ZOVEXA_AuditEvent *events[11];
  for (const auto &p : passes) {
    EXPECT_EQ(queue.Locked([&] { return ZOprocessQueue(queue.client, events, p.flush, &queue.r); }), p.rc);
    EXPECT_EQ(queue.Size(), p.sizeAfter);
    EXPECT_EQ(BatchSizes(srv), p.batches);
    EXPECT_EQ(queue.r.count, 0);
  }
  EXPECT_EQ(srv.StoredGiids(), giids);
}

// A producer that finds the queue full waits up to tempStorageFullTimeout
// one-second steps for room; without room the event is counted, the call
// still succeeds, and the count is reported (66) once the queue has drained.
TEST(EventQueueFull, ProducerWaitsForRoomOrCountsTheEventAsDiscarded) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  const struct {
    int timeout;
    bool makeRoom;
    int discarded;
    double minSeconds, maxSeconds;
  } cases[] = {{0, false, 1, 0, 0.5}, {2, false, 1, 0.9, 3}, {2, true, 0, 0.2, 1.5}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.timeout);
    Queue queue(srv.Url(), {IntProp("queueSize", 2), IntProp("hiWater", 2), IntProp("transferSize", 1),
                            IntProp("tempStorageFullTimeout", c.timeout)});
    ASSERT_NE(queue.q, nullptr);
    queue.Enqueue("full-", 2);
    std::thread consumer([&] {
      if (!c.makeRoom) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      ZOqueueEntry *entry = nullptr;
      queue.Locked([&] { return entry = eqPop(queue.q), pthread_cond_broadcast(&queue.q->spaceAvailable); });
      ZOdeleteEvent(entry->event);
      free(entry);
    });
    const auto start = Clock::now();
    EXPECT_EQ(ZOenqueueEvent(queue.q, queue.Event("late"), &queue.r), 0);
    const double took = SecondsSince(start);
    consumer.join();
    EXPECT_TRUE(took >= c.minSeconds && took <= c.maxSeconds) << took;
    EXPECT_EQ(queue.Size(), 2);
    EXPECT_EQ(queue.Locked([&] { return queue.q->discardedEvents; }), c.discarded);

    ZOVEXA_AuditEvent *events[2];
    EXPECT_EQ(queue.Locked([&] { return ZOprocessQueue(queue.client, events, 1, &queue.r); }), 0);
    EXPECT_EQ(queue.Locked([&] { return queue.q->discardedEvents; }), 0);
    const bool reported = queue.ErrorLog().find("KZTCC0066E") != std::string::npos &&
                          queue.ErrorLog().find("unavailable, 1 audit events") != std::string::npos;
    EXPECT_EQ(reported, c.discarded == 1);
  }
}

// With the "auto" disk cache a full queue never makes the producer wait
// (tempStorageFullTimeout -1 would wait without end): the producer writes the
// event into the cache itself and marks the server slow.
TEST(EventQueueFull, AutoCacheTakesTheEventOnTheProducersThread) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  Queue queue(srv.Url(), {StrProp("useDiskCache", "auto"), IntProp("queueSize", 2), IntProp("hiWater", 2),
                          IntProp("transferSize", 1)});
  ASSERT_TRUE(queue.q != nullptr && queue.ctx()->diskCache != nullptr);
  queue.Enqueue("queued-", 2);
  auto cached = [&queue] {
    uintmax_t bytes = 0;
    for (const auto &f : std::filesystem::directory_iterator(queue.cacheDir.path())) bytes += f.file_size();
    return bytes;
  };
  const uintmax_t before = cached();
  const auto start = Clock::now();
  EXPECT_EQ(ZOenqueueEvent(queue.q, queue.Event("overflow"), &queue.r), 0);
  EXPECT_LT(SecondsSince(start), 1.0);
  EXPECT_EQ(queue.r.count, 0);
  EXPECT_GT(cached(), before + kZOrecordHeaderSize);  // one record
  EXPECT_EQ(queue.Size(), 2);
  EXPECT_EQ(queue.ctx()->diskCache->serverSlow.load(), 1);
  EXPECT_EQ(srv.Stat("requests"), 0);
}

}  // namespace
