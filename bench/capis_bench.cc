// Benchmarks of the per-event work in the caller's thread: checking a typical
// authorisation event, making its global instance id, and building the event
// through the public interface.
#include <benchmark/benchmark.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "capis/giid.h"
#include "capis/validation.h"
#include "zovexa.h"

namespace {

// A context whose logs go to a scratch directory, for the whole run.
class BenchContext {
 public:
  BenchContext() {
    const char *base = std::getenv("TMPDIR");
    dir_ = std::string(base && *base ? base : "/tmp") + "/zovexa-bench-XXXXXX";
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

// A typical AUDIT_AUTHZ event: user, resource, permission, outcome, source
// component, time stamp, and the access decision that a successful outcome
// demands. The records are handed to the event (copy 0). NULL on failure.
ZOVEXA_AuditEvent *BuildAuthzEvent(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *r) {
  char *checked[] = {const_cast<char *>("read"), const_cast<char *>("write"), nullptr};
  char *granted[] = {const_cast<char *>("read"), nullptr};
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(ctx, "cn=alice,o=example", "alice", "example.com", "realm1",
                                                 "10.0.0.7", "IPV4", "session-42", 1001, nullptr, nullptr, r);
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
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "accessDecision", "permitted", 1, r) != nullptr;
  if (!ok) {
    ZOVEXA_AuditEvent_Delete(event, r);
    return nullptr;
  }
  return event;
}

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
