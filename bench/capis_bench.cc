// Benchmarks of the per-event work in the caller's thread: checking a typical
// authorisation event, making its global instance id, and building the event
// through the public interface.
#include <benchmark/benchmark.h>

#include "bench/bench_util.h"
#include "capis/giid.h"
#include "capis/validation.h"
#include "zovexa.h"

namespace {

using benchutil::BuildAuthzEvent;
using benchutil::Context;

void BM_CheckAuthzEvent(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx, &r);
  if (event == nullptr || ZOcheckEvent(ctx, event, &r) != 0) {
    state.SkipWithError("the event could not be built or does not pass");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(ZOcheckEvent(ctx, event, &r));
  ZOVEXA_AuditEvent_Delete(event, &r);
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_CheckAuthzEvent);

void BM_CreateGIIdValue(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  for (auto _ : state) {
    char *id = ZOcreateGIIdValue(ctx, &r);
    if (id == nullptr) {
      state.SkipWithError("no id");
      break;
    }
    benchmark::DoNotOptimize(id);
    free(id);
  }
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_CreateGIIdValue);

void BM_BuildAndDeleteAuthzEvent(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  for (auto _ : state) {
    ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx, &r);
    if (event == nullptr) {
      state.SkipWithError("the event could not be built");
      break;
    }
    ZOVEXA_AuditEvent_Delete(event, &r);
  }
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_BuildAndDeleteAuthzEvent);

}  // namespace

BENCHMARK_MAIN();
