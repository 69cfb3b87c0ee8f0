// The cache-manager threads against a real audit server, over cache files
// made by the real writer: the oldest files drained first and two at a time,
// fully sent files removed, single-event records topped up, one poller while
// the server is down, the checkpoint kept over failed sends and shut-down, and
// a later context going on from it.
#include "capis/cache_manager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capis/cache_info.h"
#include "capis/context.h"
#include "capis/disk_cache.h"
#include "tests/audit_server_util.h"
#include "tests/cache_fault_util.h"
#include "tests/capis_test_util.h"

namespace {

using testutil::AuditServer;
using Clock = std::chrono::steady_clock;
using Strings = std::vector<std::string>;

std::string Cbe(const std::string &giid) {
  return "<CommonBaseEvent version=\"1.0.1\" extensionName=\"ORV_KZT_AUDIT_AUTHN\" globalInstanceId=\"" +
         giid + "\" creationTime=\"2024-05-06T07:08:09.000000Z\"/>";
}

// Polls `done` every 20 ms for up to `seconds`.
bool WaitFor(const std::function<bool()> &done, int seconds = 30) {
  auto end = Clock::now() + std::chrono::seconds(seconds);
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

double SecondsSince(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

off_t SizeOf(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_size : -1;
}

// A cache file as the test wrote it: its name, the file size after each
// record (so record i ends at ends[i]) and the giids in writing order.
struct Written {
  std::string name;
  std::vector<off_t> ends;
  Strings giids;
};

// A context with a disk cache at <dir>/zc (one writer slot), tracing flow
// lines into a file of its own, and the cache-manager threads started on it.
class Cache {
 public:
  Cache(const std::string &url, const std::string &dir, const std::vector<TestProp> &extra = {}) {
    static std::atomic<int> serial{0};
    std::string id = std::to_string(++serial);
    std::vector<TestProp> props = {StrProp("serverURL", url),
                                   StrProp("elementCodeSet", "UTF8"),
                                   StrProp("useDiskCache", "auto"),
                                   StrProp("diskCachePath", dir + "/zc"),
                                   IntProp("numberEQThreads", 1),
                                   IntProp("numberCMThreads", 2),
                                   IntProp("retryInterval", 1),
                                   IntProp("numberRetries", 0),
                                   IntProp("rebindInterval", 1),
                                   IntProp("responseTimeout", 5),
                                   IntProp("traceLevel", 3),
                                   StrProp("traceFilePath", trace_.File("t")),
                                   StrProp("traceLoggerName", "drainTrace" + id),
                                   StrProp("errorLoggerName", "drainError" + id)};
    props.insert(props.end(), extra.begin(), extra.end());
    tc_ = std::make_unique<TestContext>(props);
  }
  ~Cache() {
    Stop();
    ZOVEXA_Result_Clean(&r);
  }
  bool ok() const { return tc_->ctx != nullptr && tc_->ctx->diskCache != nullptr; }
  ZOVEXA_AuditClientContext *ctx() const { return tc_->ctx; }
  ZOcacheInfo *info() const { return tc_->ctx->diskCache; }
  std::string Path(const std::string &name) const { return std::string(info()->directory) + "/" + name; }

  // Writes one record per entry of `events` (its event count) into the
  // writer slot's file (a new one when the slot is empty); with `release`
  // the file is then closed for writing and left queued.
  Written Write(const std::string &tag, const std::vector<int> &events, bool release = true) {
    Written w;
    if (Slot() == nullptr) {
      EXPECT_EQ(ZOsetupCacheFiles(ctx(), &r), 0) << All();
    }
    ZOcacheFileInfo *file = Slot();
    if (file == nullptr) return w;
    w.name = file->fileName;
    for (size_t i = 0; i < events.size(); ++i) {
      std::string text;
      for (int e = 0; e < events[i]; ++e) {
        w.giids.push_back(tag + "-" + std::to_string(i) + "-" + std::to_string(e));
        text += Cbe(w.giids.back());
      }
      EXPECT_EQ(ZOcacheMsg(ctx(), text.c_str(), static_cast<int64_t>(text.size()), events[i], &r), 0)
          << All();
      w.ends.push_back(SizeOf(Path(w.name)));
    }
    if (release) ZOreleaseCacheFiles(ctx());
    return w;
  }

  void Start(int threads) {
    for (int i = 0; i < threads; ++i) EXPECT_EQ(ZOstartCMThread(ctx(), &r), 0) << All();
  }
  int Running() const {
    pthread_mutex_lock(&info()->mutex);
    int n = info()->numCMThreads;
    pthread_mutex_unlock(&info()->mutex);
    return n;
  }

  // What client deletion does to the threads: shut-down, a broadcast of the
  // cache's cond and of each writer file's cond. Seconds until every thread
  // left, or -1 when some did not within 20.
  double Stop() {
    if (!ok()) return 0;
    auto start = Clock::now();
    std::vector<ZOcacheFileInfo *> writers;
    pthread_mutex_lock(&info()->mutex);
    info()->shutDown = 1;
    pthread_cond_broadcast(&info()->cond);
    for (int i = 0; i < info()->cacheFilesSize && info()->cacheFiles != nullptr; ++i)
      if (info()->cacheFiles[i] != nullptr) writers.push_back(info()->cacheFiles[i]);
    pthread_mutex_unlock(&info()->mutex);
    for (ZOcacheFileInfo *f : writers) {
      pthread_mutex_lock(&f->mutex);
      pthread_cond_broadcast(&f->cond);
      pthread_mutex_unlock(&f->mutex);
    }
    return WaitFor([this] { return Running() == 0; }, 20) ? SecondsSince(start) : -1;
  }

  // The names on fileQ, head first, with their beingDrained flags.
  Strings Queued(std::vector<int> *draining = nullptr) const {
    Strings names;
    pthread_mutex_lock(&info()->mutex);
    for (ZOcacheFileInfo *f = info()->fileQ.head; f != nullptr; f = f->next) {
      names.push_back(f->fileName);
      pthread_mutex_lock(&f->mutex);
      if (draining != nullptr) draining->push_back(f->beingDrained);
      pthread_mutex_unlock(&f->mutex);
    }
    pthread_mutex_unlock(&info()->mutex);
    return names;
  }
  ZOcacheFileInfo *Find(const std::string &name) const {
    pthread_mutex_lock(&info()->mutex);
    ZOcacheFileInfo *f = info()->fileQ.head;
    while (f != nullptr && name != f->fileName) f = f->next;
    pthread_mutex_unlock(&info()->mutex);
    return f;
  }
  long long Checkpoint(const std::string &name) const {
    return strtoll(ReadFile(Path(name)).substr(0, kZOcheckpointSize).c_str(), nullptr, 10);
  }

  std::string Trace() const { return ReadFile(trace_.File("t")); }
  int Count(const std::string &line) const {
    std::string all = Trace();
    int n = 0;
    for (size_t at = all.find(line); at != std::string::npos; at = all.find(line, at + 1)) ++n;
    return n;
  }
  std::string ErrorLog() const { return ReadFile(tc_->dir.File("error.log")); }
  std::string All() const {
    std::string all;
    for (const std::string &t : Texts(tc_->ctx == nullptr ? tc_->result : r)) all += t + "\n";
    return all;
  }

  ZOVEXA_result r{};

 private:
  ZOcacheFileInfo *Slot() const {
    pthread_mutex_lock(&info()->mutex);
    ZOcacheFileInfo *f = info()->cacheFiles != nullptr ? info()->cacheFiles[0] : nullptr;
    pthread_mutex_unlock(&info()->mutex);
    return f;
  }

  TempDir trace_;
  std::unique_ptr<TestContext> tc_;
};

Strings Concat(std::initializer_list<Strings> parts) {
  Strings all;
  for (const Strings &p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

Strings Sorted(Strings v) {
  std::sort(v.begin(), v.end());
  return v;
}

// The position in `stored` of each giid's first appearance.
size_t Position(const Strings &stored, const std::string &giid) {
  return static_cast<size_t>(std::find(stored.begin(), stored.end(), giid) - stored.begin());
}

TEST(CacheManager, TwoThreadsDrainTheTwoOldestFilesTogetherAndTheThirdAfter) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("delay_ms=150")) << srv.error();
  TempDir dir;
  Cache c(srv.Url(), dir.path());
  ASSERT_TRUE(c.ok()) << c.All();
  Written a = c.Write("a", {2, 2, 2}), b = c.Write("b", {2, 2, 2}), last = c.Write("c", {2, 2, 2});
  ASSERT_EQ(c.Queued(), (Strings{a.name, b.name, last.name}));

  c.Start(3);  // numberCMThreads is 2: the third start does nothing
  EXPECT_EQ(c.ctx()->actualCMThreads, 2);
  EXPECT_EQ(c.Running(), 2);
  ASSERT_TRUE(WaitFor([&] { return c.Queued().empty(); })) << c.Trace();
  EXPECT_GE(c.Stop(), 0);

  Strings stored = srv.StoredGiids();
  Strings all = Concat({a.giids, b.giids, last.giids});
  ASSERT_EQ(Sorted(stored), Sorted(all));
  // Both oldest files were under way before either ended: their first
  // batches came before the other's last one. The newest began only after
  // one of them was done.
  EXPECT_LT(Position(stored, b.giids.front()), Position(stored, a.giids.back()));
  EXPECT_LT(Position(stored, a.giids.front()), Position(stored, b.giids.back()));
  EXPECT_GT(Position(stored, last.giids.front()),
            std::min(Position(stored, a.giids.back()), Position(stored, b.giids.back())));
  for (const Written *w : {&a, &b, &last}) EXPECT_FALSE(FileExists(c.Path(w->name))) << w->name;
  EXPECT_EQ(c.info()->fileQ.size, 0);
}

TEST(CacheManager, AFileWithNothingUnsentIsDeletedWithoutSending) {
  const struct {
    const char *what;
    std::vector<int> records;
    bool checkpointAtEnd;
  } cases[] = {
      {"a new file", {}, false},
      {"checkpoint at the end", {2, 1}, true},
  };
  for (const auto &k : cases) {
    AuditServer srv;
    ASSERT_TRUE(srv.ok()) << srv.error();
    TempDir dir;
    Cache c(srv.Url(), dir.path());
    ASSERT_TRUE(c.ok()) << c.All();
    Written w = c.Write("n", k.records);
    if (k.checkpointAtEnd) {
      int fd = ZOopenCacheFile(c.ctx(), c.Path(w.name).c_str(), 0, &c.r);
      ASSERT_GE(fd, 0) << c.All();
      ASSERT_EQ(lseek(fd, 0, SEEK_END), w.ends.back());
      EXPECT_EQ(ZOupdateReadPos(c.ctx(), c.Find(w.name), fd, &c.r), 0) << c.All();
      close(fd);
    }
    ASSERT_EQ(c.Checkpoint(w.name), SizeOf(c.Path(w.name))) << k.what;

    c.Start(1);
    EXPECT_TRUE(WaitFor([&] { return c.Queued().empty() && !FileExists(c.Path(w.name)); })) << k.what;
    EXPECT_GE(c.Stop(), 0);
    EXPECT_EQ(srv.Stat("requests"), 0) << k.what;
  }
}

TEST(CacheManager, SingleEventRecordsAreToppedUpToTransferSize) {
  const struct {
    std::vector<int> records;  // events per record
    bool corruptLast;          // the last record's header is damaged
    long long batches;         // requests the server stores
  } cases[] = {
      {{1, 1, 1, 1, 1, 1, 1}, false, 2},  // 5, then the 2 that are left
      {{1, 3, 3}, false, 1},              // 1 + 3 < 5: one more record
      {{3, 1, 1}, false, 2},              // several events go as they are
      {{2, 2, 2}, false, 3},
      {{1, 1, 1}, true, 1},  // what was read before the damage is sent
  };
  for (const auto &k : cases) {
    const std::string what = ::testing::PrintToString(k.records) + (k.corruptLast ? " corrupt" : "");
    AuditServer srv;
    ASSERT_TRUE(srv.ok()) << srv.error();
    TempDir dir;
    Cache c(srv.Url(), dir.path(), {IntProp("transferSize", 5)});
    ASSERT_TRUE(c.ok()) << c.All();
    Written w = c.Write("t", k.records);
    Strings expected = w.giids;
    if (k.corruptLast) {
      int fd = open(c.Path(w.name).c_str(), O_WRONLY);
      ASSERT_EQ(pwrite(fd, "Y", 1, w.ends[w.ends.size() - 2]), 1);
      close(fd);
      expected.resize(expected.size() - static_cast<size_t>(k.records.back()));
    }

    c.Start(1);
    EXPECT_TRUE(WaitFor([&] { return c.Queued().empty(); })) << what << c.Trace();
    EXPECT_GE(c.Stop(), 0);
    EXPECT_EQ(srv.StoredGiids(), expected) << what;
    EXPECT_EQ(srv.Stat("batches_stored"), k.batches) << what;
    EXPECT_FALSE(FileExists(c.Path(w.name))) << what;
    EXPECT_EQ(FileExists(c.Path(w.name) + ".corrupt1"), k.corruptLast) << what;
  }
}

// While the server is down only the first thread polls it; the others sleep
// until its broadcast, and the events lost meanwhile are reported once.
TEST(CacheManager, OneThreadPollsAndTheOthersWakeOnItsBroadcast) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("status503=1")) << srv.error();
  TempDir dir;
  Cache c(srv.Url(), dir.path(), {IntProp("rebindInterval", 2)});
  ASSERT_TRUE(c.ok()) << c.All();
  pthread_mutex_lock(&c.info()->mutex);
  c.info()->serverDown = 1;
  c.info()->discardedEvents = 3;
  pthread_mutex_unlock(&c.info()->mutex);

  struct Waiter {
    std::thread thread;
    int rc = 1;
    Clock::time_point back;
    ZOVEXA_result r{};
  } poller, sleeper;
  auto run = [&c](Waiter *w) {
    w->rc = ZOwaitForServerAvail(c.ctx(), &w->r);
    w->back = Clock::now();
  };
  poller.thread = std::thread(run, &poller);
  ASSERT_TRUE(WaitFor([&] { return c.Count("setting serverBeingChecked") == 1; }));
  // A second later: the sleeper's own timed waits end a second after the
  // poller's, so only the broadcast brings it back with the poller.
  std::this_thread::sleep_for(std::chrono::seconds(1));
  sleeper.thread = std::thread(run, &sleeper);
  EXPECT_TRUE(srv.WaitForStat("requests", 1, 10000));
  EXPECT_TRUE(srv.SetMode("clear"));
  poller.thread.join();
  sleeper.thread.join();

  EXPECT_EQ(poller.rc, 0);
  EXPECT_EQ(sleeper.rc, 0);
  EXPECT_LT(std::chrono::duration<double>(sleeper.back - poller.back).count(), 0.6);
  EXPECT_EQ(srv.Stat("requests"), 2);  // one failed probe, one answered: nobody else asked
  EXPECT_EQ(srv.Stat("probes"), 1);
  EXPECT_EQ(c.Count("FLOW: another thread is polling server"), 1);
  EXPECT_EQ(c.Count("EXIT - service is not available"), 1);
  EXPECT_EQ(c.Count("EXIT - service is available"), 1);
  EXPECT_EQ(c.info()->serverDown, 0);
  EXPECT_EQ(c.info()->serverBeingChecked, 0);
  EXPECT_EQ(c.info()->discardedEvents, 0);
  EXPECT_NE(c.ErrorLog().find("KZTCC0066E"), std::string::npos);
  EXPECT_NE(c.ErrorLog().find(" 3 audit events"), std::string::npos);
  EXPECT_EQ(poller.r.count, 0);  // the report went to the log; the record was cleaned
  ZOVEXA_Result_Clean(&poller.r);
  ZOVEXA_Result_Clean(&sleeper.r);
}

// The first record goes through, the second meets an outage: the checkpoint
// stays after the first until the second is sent.
TEST(CacheManager, AFailedSendLeavesTheCheckpointWhereItWas) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("delay_ms=300")) << srv.error();
  TempDir dir;
  Cache c(srv.Url(), dir.path());
  ASSERT_TRUE(c.ok()) << c.All();
  Written w = c.Write("k", {2, 2, 2});
  c.Start(1);
  // The first request is held by the delay; the mode it is answered with
  // was taken on arrival, so everything after it fails.
  ASSERT_TRUE(srv.WaitForStat("requests", 1));
  ASSERT_TRUE(srv.SetMode("status503=1"));
  ASSERT_TRUE(WaitFor([&] { return c.Count("FLOW: sendMsg failed while draining cache") == 1; }));
  EXPECT_EQ(c.Checkpoint(w.name), w.ends[0]);
  ASSERT_TRUE(WaitFor([&] { return c.Count("EXIT - service is not available") >= 2; }));
  EXPECT_EQ(c.Checkpoint(w.name), w.ends[0]);
  EXPECT_EQ(srv.StoredCount(), 2);

  ASSERT_TRUE(srv.SetMode("clear"));
  ASSERT_TRUE(WaitFor([&] { return c.Queued().empty(); })) << c.Trace();
  EXPECT_GE(c.Stop(), 0);
  EXPECT_EQ(srv.StoredGiids(), w.giids);
  EXPECT_FALSE(FileExists(c.Path(w.name)));
}

// Threads asleep behind a long rebindInterval, in a read waiting for a
// writer, and idle all end at the shut-down broadcast. The checkpoints they
// wrote stay, and a later context on the same path sends only the rest.
TEST(CacheManager, ShutDownEndsEveryWaitAndALaterContextGoesOn) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok() && srv.SetMode("delay_ms=300")) << srv.error();
  TempDir dir;
  Written sent, open;
  {
    Cache c(srv.Url(), dir.path(), {IntProp("numberCMThreads", 3), IntProp("rebindInterval", 60)});
    ASSERT_TRUE(c.ok()) << c.All();
    sent = c.Write("s", {2, 2, 2});
    open = c.Write("o", {}, false);  // still held by the writer, empty
    c.Start(3);
    ASSERT_TRUE(srv.WaitForStat("requests", 1));
    ASSERT_TRUE(srv.SetMode("status503=1"));
    ASSERT_TRUE(WaitFor([&] { return c.Count("setting serverBeingChecked") == 1; })) << c.Trace();
    // The reader of the open file wakes for this record and then sleeps
    // behind the poller.
    Written more = c.Write("o", {2}, false);
    open.giids = more.giids;
    ASSERT_TRUE(WaitFor([&] { return c.Count("FLOW: another thread is polling server") == 1; })) << c.Trace();

    double took = c.Stop();
    EXPECT_GE(took, 0);
    EXPECT_LT(took, 10);
    EXPECT_EQ(c.Checkpoint(sent.name), sent.ends[0]);
    EXPECT_EQ(c.Checkpoint(open.name), kZOcheckpointSize);
    std::vector<int> draining;
    EXPECT_EQ(c.Queued(&draining), (Strings{sent.name, open.name}));
    EXPECT_EQ(draining, (std::vector<int>{0, 0}));
    ZOreleaseCacheFiles(c.ctx());
  }
  EXPECT_TRUE(srv.SetMode("clear"));
  EXPECT_EQ(srv.StoredCount(), 2);

  Cache later(srv.Url(), dir.path());
  ASSERT_TRUE(later.ok()) << later.All();
  EXPECT_EQ(Sorted(later.Queued()), Sorted({sent.name, open.name}));
  later.Start(1);
  ASSERT_TRUE(WaitFor([&] { return later.Queued().empty(); })) << later.Trace();
  // The first record of `sent` is not sent again.
  EXPECT_EQ(Sorted(srv.StoredGiids()), Sorted(Concat({sent.giids, open.giids})));
  EXPECT_FALSE(FileExists(later.Path(sent.name)));
  EXPECT_FALSE(FileExists(later.Path(open.name)));
}

// A drain that stops on a read error while a writer still holds the file
// leaves the file queued: it is drained again, with what was written since.
TEST(CacheManager, AFileStillWrittenStaysQueuedAfterAFailedDrain) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  testutil::CacheFaults faults;
  TempDir dir;
  Cache c(srv.Url(), dir.path());
  ASSERT_TRUE(c.ok()) << c.All();
  Written first = c.Write("w", {2}, false);
  faults.Fail(testutil::CacheOp::kRead, 1, EIO);
  c.Start(1);
  ASSERT_TRUE(WaitFor([&] { return c.Count("FLOW: error returned from drainCacheFile") == 1; })) << c.Trace();
  EXPECT_EQ(c.Queued(), Strings{first.name});
  Written second = c.Write("w", {3}, false);
  ASSERT_TRUE(WaitFor([&] { return srv.StoredCount() == 5; })) << c.Trace();
  ZOreleaseCacheFiles(c.ctx());
  EXPECT_TRUE(WaitFor([&] { return c.Queued().empty() && !FileExists(c.Path(first.name)); }));
  EXPECT_GE(c.Stop(), 0);
  EXPECT_EQ(srv.StoredGiids(), Concat({first.giids, second.giids}));
  EXPECT_NE(c.ErrorLog().find("KZTCC0043E"), std::string::npos);
}

}  // namespace
