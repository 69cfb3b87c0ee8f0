// Encoding one typical authorisation event as Common Base Event text, the
// per-event work of the send path: document, elements, encoders and writer.
// BM_ConvertToCBE leaves out the writer and BM_EmptyEvent shows the fixed
// cost of a document, so the split of the total can be read off.
#include <benchmark/benchmark.h>

#include "bench/bench_util.h"
#include "cbe/cbe_builder.h"
#include "cbe/dom_helper.h"
#include "zovexa.h"

namespace {

using benchutil::BuildAuthzEvent;
using benchutil::Context;

void BM_AuditEventToXMLString(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx, &r);
  if (event == nullptr) {
    state.SkipWithError("the event could not be built");
    return;
  }
  size_t bytes = 0;
  for (auto _ : state) {
    char *text = vexaAuditEventToXMLString(ctx, event, &r);
    if (text == nullptr) {
      state.SkipWithError("the event could not be encoded");
      break;
    }
    bytes = strlen(text);
    free(text);
  }
  state.counters["bytes"] = static_cast<double>(bytes);
  ZOVEXA_AuditEvent_Delete(event, &r);
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_AuditEventToXMLString);

// Builds and releases the document of `event` (which it deletes) per
// iteration, without the writer.
void EncodeDocuments(benchmark::State &state, ZOVEXA_AuditClientContext *ctx, ZOVEXA_AuditEvent *event,
                     ZOVEXA_result *r) {
  if (event == nullptr) {
    state.SkipWithError("the event could not be built");
    return;
  }
  for (auto _ : state) {
    xc::DOMElement *root = convertToCBE(ctx, event, r);
    if (root == nullptr) {
      state.SkipWithError("the event could not be encoded");
      break;
    }
    deleteElement(ctx, root, r);
  }
  ZOVEXA_AuditEvent_Delete(event, r);
  ZOVEXA_Result_Clean(r);
}

// The same without the writer: document, elements and encoders only.
void BM_ConvertToCBE(benchmark::State &state) {
  ZOVEXA_result r{};
  EncodeDocuments(state, Context().ctx, BuildAuthzEvent(Context().ctx, &r), &r);
}
BENCHMARK(BM_ConvertToCBE);

// The fixed part: a document with the root's attributes, the situation and
// the version data element.
void BM_EmptyEvent(benchmark::State &state) {
  ZOVEXA_result r{};
  EncodeDocuments(state, Context().ctx, ZOVEXA_AuditEvent_Create(Context().ctx, "AUDIT_AUTHZ", &r), &r);
}
BENCHMARK(BM_EmptyEvent);

}  // namespace

BENCHMARK_MAIN();
