// What the benchmarks share: a context whose logs go to a scratch directory
// for the whole run, and a typical authorisation event.
#ifndef ZOVEXA_BENCH_BENCH_UTIL_H_
#define ZOVEXA_BENCH_BENCH_UTIL_H_

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "zovexa.h"

namespace benchutil {

// A context for a server nobody answers at (the benchmarks using it never
// send); making it also starts the XML parser and the SOAP runtime.
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

inline BenchContext &Context() {
  static BenchContext context;
  return context;
}

// A typical AUDIT_AUTHZ event: user, resource and permission info, outcome,
// source component, time stamp, the access decision that a successful
// outcome demands, a message and a global instance id. The records are
// handed to the event (copy 0). NULL on failure.
inline ZOVEXA_AuditEvent *BuildAuthzEvent(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *r) {
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
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "auditMsg", "access to /orders/17", 1, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "globalInstanceId",
                                                "c0a8000701dcd2d4a95a2b6e8f4e3b11a7d2", 1, r) != nullptr;
  if (!ok) {
    ZOVEXA_AuditEvent_Delete(event, r);
    return nullptr;
  }
  return event;
}

}  // namespace benchutil

#endif  // ZOVEXA_BENCH_BENCH_UTIL_H_
