// Encoding one typical authorisation event as Common Base Event text, the
// per-event work of the send path: document, elements, encoders and writer.
// BM_ConvertToCBE leaves out the writer and BM_EmptyEvent shows the fixed
// cost of a document, so the split of the total can be read off.
#include <benchmark/benchmark.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cbe/cbe_builder.h"
#include "cbe/dom_helper.h"
#include "zovexa.h"

namespace {

// A context whose logs go to a scratch directory, for the whole run. Making
// it also starts the XML parser.
class BenchContext {
 public:
  BenchContext() {
    const char *base = std::getenv("TMPDIR");
    dir_ = std::string(base && *base ? base : "/tmp") + "/zovexa-cbe-bench-XXXXXX";
    if (mkdtemp(dir_.data()) == nullptr) std::abort();
    errorFile_ = dir_ + "/error.log";
    ZOVEXA_property props[] = {
        {"serverURL", VEXA_VT_STRING, const_cast<char *>("http://127.0.0.1:9/vexaws/services/Emitter")},
        {"errorFilePath", VEXA_VT_STRING, errorFile_.data()},
        {"elementCodeSet", VEXA_VT_STRING, const_cast<char *>("UTF8")},
        {nullptr, 0, nullptr},
    };
    ZOVEXA_result r{};
    ctx = ZOVEXA_AuditClientContext_Create(props, &r);
    if (ctx == nullptr) std::abort();
    ZOVEXA_Result_Clean(&r);
  }
  ~BenchContext() {
    ZOVEXA_result r{};
    ZOVEXA_AuditClientContext_Delete(ctx, &r);
    ZOVEXA_Result_Clean(&r);
    std::remove(errorFile_.c_str());
    rmdir(dir_.c_str());
  }
  ZOVEXA_AuditClientContext *ctx = nullptr;

 private:
  std::string dir_;
  std::string errorFile_;
};

BenchContext &Context() {
  static BenchContext context;
  return context;
}

// A typical AUDIT_AUTHZ event as the send path sees it: user, resource and
// permission info, outcome, source component, time stamp, message and
// global instance id. NULL on failure.
ZOVEXA_AuditEvent *BuildAuthzEvent(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *r) {
  char *checked[] = {const_cast<char *>("read"), const_cast<char *>("write"), nullptr};
  char *granted[] = {const_cast<char *>("read"), nullptr};
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(ctx, "cn=alice,o=example", "alice", nullptr, "realm1",
                                                 "10.0.0.7", "IPV4", nullptr, 0, nullptr, nullptr, r);
  ZOVEXA_ResourceInfo *resource = ZOVEXA_ResourceInfo_Create(ctx, "/orders/17", "orders", "file", nullptr, r);
  ZOVEXA_PermissionInfo *permission =
      ZOVEXA_PermissionInfo_Create(ctx, checked, granted, nullptr, nullptr, nullptr, r);
  ZOVEXA_Outcome *outcome = ZOVEXA_Outcome_Create(ctx, "SUCCESSFUL", 0, 0, nullptr, r);
  ZOVEXA_ComponentId *source =
      ZOVEXA_ComponentId_Create(ctx, "host1.example.com", "FQHostname", "orders", nullptr, "orderService",
                                "service", "ProductName", "authz", nullptr, nullptr, nullptr, r);
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(ctx, "AUDIT_AUTHZ", r);
  if (user == nullptr || resource == nullptr || permission == nullptr || outcome == nullptr ||
      source == nullptr || event == nullptr) {
    return nullptr;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  bool ok = ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddResourceInfoElement(event, "resourceInfo", resource, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddPermissionInfoElement(event, "permissionInfo", permission, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", source, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddDateTimeElement(event, "timestamp", &now, 1, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "auditMsg", "access to /orders/17", 1, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "globalInstanceId",
                                                "c0a8000701dcd2d4a95a2b6e8f4e3b11a7d2", 1, r) != nullptr;
  if (!ok) {
    ZOVEXA_AuditEvent_Delete(event, r);
    return nullptr;
  }
  return event;
}

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

// The same without the writer: document, elements and encoders only.
void BM_ConvertToCBE(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = BuildAuthzEvent(ctx, &r);
  if (event == nullptr) {
    state.SkipWithError("the event could not be built");
    return;
  }
  for (auto _ : state) {
    xc::DOMElement *root = convertToCBE(ctx, event, &r);
    if (root == nullptr) {
      state.SkipWithError("the event could not be encoded");
      break;
    }
    deleteElement(ctx, root, &r);
  }
  ZOVEXA_AuditEvent_Delete(event, &r);
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_ConvertToCBE);

// The fixed part: a document with the root's attributes, the situation and
// the version data element.
void BM_EmptyEvent(benchmark::State &state) {
  ZOVEXA_AuditClientContext *ctx = Context().ctx;
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(ctx, "AUDIT_AUTHZ", &r);
  for (auto _ : state) {
    xc::DOMElement *root = convertToCBE(ctx, event, &r);
    if (root == nullptr) {
      state.SkipWithError("the event could not be encoded");
      break;
    }
    deleteElement(ctx, root, &r);
  }
  ZOVEXA_AuditEvent_Delete(event, &r);
  ZOVEXA_Result_Clean(&r);
}
BENCHMARK(BM_EmptyEvent);

}  // namespace

BENCHMARK_MAIN();
