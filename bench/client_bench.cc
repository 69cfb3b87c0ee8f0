// The audit client as an application sees it, against the audit server
// built with this tree on loopback:
//   BM_SendEventCall   cost of ZOVEXA_AuditClient_SendEvent on the calling
//                      thread with the queue not full (median, p90, p99).
//   BM_EndToEnd        events per second from the first SendEvent until the
//                      server has stored them all, next to the rate of the
//                      encoder alone measured in the same run.
//   BM_Outage          events per second taken into the disk cache with the
//                      server down, then drained once it is back.
//   BM_MemoryOverMillion  resident size while one million events are sent.
// The typical event is the "AUDIT_AUTHZ" event of bench_util.h, built by the
// application thread for every send (outside the timed call).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_util.h"
#include "capis/client.h"
#include "capis/event_queue.h"
#include "cbe/cbe_builder.h"
#include "zovexa.h"

#ifndef ZOVEXA_BENCH_AUDIT_SERVER
#define ZOVEXA_BENCH_AUDIT_SERVER ""
#endif

namespace {

using benchutil::AuditServerProcess;
using benchutil::BuildAuthzEvent;
using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// Resident set size in MB (from /proc/self/statm).
double ResidentMb() {
  long pages = 0, resident = 0;
  FILE *f = std::fopen("/proc/self/statm", "r");
  if (f == nullptr) return -1;
  if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = -1;
  std::fclose(f);
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// A scratch directory with the server's database, the logs and the cache;
// a context and a client built from string and integer properties.
class Setup {
 public:
  Setup() : dir_(benchutil::MakeTempDir("zovexa-client-bench")), server_(ZOVEXA_BENCH_AUDIT_SERVER) {}
  ~Setup() {
    DeleteClient();
    if (ctx_ != nullptr) ZOVEXA_AuditClientContext_Delete(ctx_, &r_);
    ZOVEXA_Result_Clean(&r_);
    server_.Stop();
    benchutil::Run("rm -rf '" + dir_ + "'");
  }
  AuditServerProcess &server() { return server_; }
  const std::string &dir() const { return dir_; }

  bool StartServer(int port = 0) { return !dir_.empty() && server_.Start(dir_, port); }

  // String properties first, then integer ones; both as name/value pairs.
  bool MakeContext(std::vector<std::pair<std::string, std::string>> strings,
                   const std::vector<std::pair<std::string, int32_t>> &ints) {
    url_ = server_.Url();
    errorFile_ = dir_ + "/error.log";
    strings.insert(strings.begin(), {{"serverURL", url_}, {"errorFilePath", errorFile_}});
    ints_.clear();
    for (const auto &p : ints) ints_.push_back(p.second);
    std::vector<ZOVEXA_property> props;
    strings_ = std::move(strings);
    for (auto &p : strings_) props.push_back({p.first.c_str(), VEXA_VT_STRING, p.second.data()});
    for (size_t i = 0; i < ints.size(); ++i)
      props.push_back({ints[i].first.c_str(), VEXA_VT_INTEGER, &ints_[i]});
    props.push_back({nullptr, 0, nullptr});
    ctx_ = ZOVEXA_AuditClientContext_Create(props.data(), &r_);
    return ctx_ != nullptr;
  }
  bool MakeClient() {
    client_ = ZOVEXA_AuditClient_Create(ctx_, &r_);
    ZOVEXA_Result_Clean(&r_);
    return client_ != nullptr;
  }
  void DeleteClient() {
    if (client_ != nullptr) ZOVEXA_AuditClient_Delete(client_, &r_);
    client_ = nullptr;
    ZOVEXA_Result_Clean(&r_);
  }
  // Builds and sends one typical event; false when either step failed.
  bool SendOne() {
    ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx_, &r_, false);
    bool ok = event != nullptr && ZOVEXA_AuditClient_SendEvent(client_, event, &r_) == 0;
    ZOVEXA_Result_Clean(&r_);
    return ok;
  }
  // Waits until the server has stored `count` events; false after `seconds`.
  bool WaitStored(long long count, double seconds) {
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    while (server_.Stat("events_stored") < count) {
      if (Clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
  }
  ZOVEXA_AuditClientContext *ctx() { return ctx_; }
  ZOVEXA_AuditClient *client() { return client_; }
  ZOVEXA_result *result() { return &r_; }

 private:
  std::string dir_;
  AuditServerProcess server_;
  std::string url_, errorFile_;
  std::vector<std::pair<std::string, std::string>> strings_;
  std::vector<int32_t> ints_;
  ZOVEXA_AuditClientContext *ctx_ = nullptr;
  ZOVEXA_AuditClient *client_ = nullptr;
  ZOVEXA_result r_{};
};

// Events on the client's queue right now.
int32_t QueuedEvents(ZOVEXA_AuditClient *client) {
  ZOeventQueue *queue = client->eventQueue;
  lockQ(queue);
  const int32_t size = queue->size;
  unlockQ(queue);
  return size;
}

double Percentile(std::vector<double> sorted, double p) {
  if (sorted.empty()) return 0;
  size_t at = static_cast<size_t>(p * static_cast<double>(sorted.size() - 1));
  return sorted[at];
}

// The events of one run all stay queued if need be: the queue holds them
// all, so every call takes the not-full path.
constexpr int kCallIterations = 20000;

void BM_SendEventCall(benchmark::State &state) {
  Setup s;
  if (!s.StartServer() ||
      !s.MakeContext({{"useDiskCache", "never"}}, {{"queueSize", kCallIterations + 100}, {"hiWater", 20}}) ||
      !s.MakeClient()) {
    state.SkipWithError("the server, context or client could not be made");
    return;
  }
  std::vector<double> micros;
  micros.reserve(kCallIterations);
  for (auto _ : state) {
    ZOVEXA_AuditEvent *event = BuildAuthzEvent(s.ctx(), s.result(), false);
    const Clock::time_point t0 = Clock::now();
    const int rc = ZOVEXA_AuditClient_SendEvent(s.client(), event, s.result());
    const Clock::time_point t1 = Clock::now();
    if (rc != 0) {
      state.SkipWithError("SendEvent failed");
      break;
    }
    state.SetIterationTime(Seconds(t0, t1));
    micros.push_back(Seconds(t0, t1) * 1e6);
  }
  std::sort(micros.begin(), micros.end());
  state.counters["p50_us"] = Percentile(micros, 0.50);
  state.counters["p90_us"] = Percentile(micros, 0.90);
  state.counters["p99_us"] = Percentile(micros, 0.99);
  state.counters["max_us"] = micros.empty() ? 0 : micros.back();
}
BENCHMARK(BM_SendEventCall)->UseManualTime()->Iterations(kCallIterations)->Unit(benchmark::kMicrosecond);

// Events per second of the encoder alone on the typical event.
double EncoderRate(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *r) {
  ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx, r);
  if (event == nullptr) return 0;
  constexpr int kRounds = 3000;
  const Clock::time_point t0 = Clock::now();
  for (int i = 0; i < kRounds; ++i) free(vexaAuditEventToXMLString(ctx, event, r));
  const double rate = kRounds / Seconds(t0, Clock::now());
  ZOVEXA_AuditEvent_Delete(event, r);
  ZOVEXA_Result_Clean(r);
  return rate;
}

// state.range(0): queue threads. Default batch size (transferSize 10).
void BM_EndToEnd(benchmark::State &state) {
  constexpr int kEvents = 60000;
  Setup s;
  const int threads = static_cast<int>(state.range(0));
  if (!s.StartServer() ||
      !s.MakeContext({{"useDiskCache", "never"}},
                     {{"queueSize", 2000}, {"hiWater", 100}, {"numberEQThreads", threads}}) ||
      !s.MakeClient()) {
    state.SkipWithError("the server, context or client could not be made");
    return;
  }
  const double encoderRate = EncoderRate(s.ctx(), s.result());
  for (auto _ : state) {
    const long long before = s.server().Stat("events_stored");
    const Clock::time_point t0 = Clock::now();
    for (int i = 0; i < kEvents; ++i) {
      if (!s.SendOne()) {
        state.SkipWithError("SendEvent failed");
        return;
      }
    }
    if (!s.WaitStored(before + kEvents, 120)) {
      state.SkipWithError("the server did not store every event");
      return;
    }
    const double seconds = Seconds(t0, Clock::now());
    state.SetIterationTime(seconds);
    state.counters["events_per_second"] = kEvents / seconds;
    state.counters["encoder_events_per_second"] = encoderRate;
    state.counters["ratio_to_encoder"] = kEvents / seconds / encoderRate;
  }
}
BENCHMARK(BM_EndToEnd)
    ->Arg(1)
    ->Arg(4)
    ->Arg(2)
    ->ArgName("threads")
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The server goes away; the application goes on sending: the rate at which
// events enter the disk cache ("auto", no retries), then the rate at which
// they are drained once the server is back on the same port.
void BM_Outage(benchmark::State &state) {
  constexpr int kEvents = 30000;
  Setup s;
  if (!s.StartServer()) {
    state.SkipWithError("the audit server could not be started");
    return;
  }
  const int port = s.server().Port();
  const std::string cache = s.dir() + "/cache/events";
  benchutil::Run("mkdir -p '" + s.dir() + "/cache'");
  if (!s.MakeContext({{"useDiskCache", "auto"}, {"diskCachePath", cache}}, {{"numberRetries", 0},
                                                                            {"retryInterval", 1},
                                                                            {"rebindInterval", 1},
                                                                            {"queueSize", 2000},
                                                                            {"hiWater", 100}})) {
    state.SkipWithError("the context could not be made");
    return;
  }
  for (auto _ : state) {
    s.server().Stop();
    if (!s.MakeClient()) {
      state.SkipWithError("the client could not be made with the server down");
      return;
    }
    const Clock::time_point t0 = Clock::now();
    for (int i = 0; i < kEvents; ++i) {
      if (!s.SendOne()) {
        state.SkipWithError("SendEvent failed");
        return;
      }
    }
    // Until the queue is empty (the last batch taken off is being written
    // then); client deletion, whose waits poll once a second, is not timed.
    while (QueuedEvents(s.client()) > 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double cacheSeconds = Seconds(t0, Clock::now());
    s.DeleteClient();
    if (!s.StartServer(port) || !s.MakeClient()) {
      state.SkipWithError("the server could not be restarted");
      return;
    }
    const Clock::time_point t1 = Clock::now();
    const bool drained = s.WaitStored(kEvents, 300);
    const double drainSeconds = Seconds(t1, Clock::now());
    s.DeleteClient();
    if (!drained) {
      state.SkipWithError("the cache was not drained");
      return;
    }
    state.SetIterationTime(cacheSeconds + drainSeconds);
    state.counters["cached_events_per_second"] = kEvents / cacheSeconds;
    state.counters["drained_events_per_second"] = kEvents / drainSeconds;
  }
}
BENCHMARK(BM_Outage)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// One million events end to end; the resident size after the first 100,000
// and at the end. Long: runs only with ZOVEXA_BENCH_MILLION set.
void BM_MemoryOverMillion(benchmark::State &state) {
  constexpr int kEvents = 1000000;
  if (std::getenv("ZOVEXA_BENCH_MILLION") == nullptr) {
    state.SkipWithError("a long run: set ZOVEXA_BENCH_MILLION=1 to measure it");
    return;
  }
  Setup s;
  if (!s.StartServer() ||
      !s.MakeContext({{"useDiskCache", "never"}},
                     {{"queueSize", 2000}, {"hiWater", 100}, {"numberEQThreads", 2}}) ||
      !s.MakeClient()) {
    state.SkipWithError("the server, context or client could not be made");
    return;
  }
  for (auto _ : state) {
    double at100k = 0, at500k = 0;
    const Clock::time_point t0 = Clock::now();
    for (int i = 1; i <= kEvents; ++i) {
      if (!s.SendOne()) {
        state.SkipWithError("SendEvent failed");
        return;
      }
      if (i == 100000) at100k = ResidentMb();
      if (i == 500000) at500k = ResidentMb();
    }
    s.WaitStored(kEvents, 300);
    state.SetIterationTime(Seconds(t0, Clock::now()));
    const double atEnd = ResidentMb();
    state.counters["rss_mb_100k"] = at100k;
    state.counters["rss_mb_500k"] = at500k;
    state.counters["rss_mb_1M"] = atEnd;
    state.counters["growth_1M_over_100k"] = at100k > 0 ? atEnd / at100k : 0;
  }
}
BENCHMARK(BM_MemoryOverMillion)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
