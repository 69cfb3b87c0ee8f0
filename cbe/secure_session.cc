#include "cbe/secure_session.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "capis/context.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "soap/secure_env.h"

#define ZO_SRC "cbe/secure_session"

namespace {

constexpr const char *kFipsModeLine = "INFO :: ------VEXA Client Initialized in FIPS MODE------";
constexpr const char *kNonFipsModeLine = "INFO :: ------VEXA Client Initialized in non FIPS MODE------";

// The mode line is an informational record of the error log, written
// whatever the outcome of the set-up, so that the log always says which
// mode the client asked for.
void writeModeLine(const ZOVEXA_AuditClientContext *ctx) {
  if (ctx->errorLogger == nullptr) return;
  const char *line = ctx->Int(ZOP_enableFIPS) == 1 ? kFipsModeLine : kNonFipsModeLine;
  CCgLogInfo(ctx->errorLogger, nullptr, 0, 0, "%s", CCG_PARM_STRING, line, CCG_PARM_END);
}

}  // namespace

void logVTLKitErrors(const ZOVEXA_AuditClientContext *ctx, const char *reason, const char *functionName,
                     ZOVEXA_result *result) {
  if (functionName == nullptr || reason == nullptr) return;
  ZOreport(ctx, result, 19, static_cast<uint32_t>(strlen(functionName) + strlen(reason) + 1), 2, functionName,
           reason);
  ZO_ERROR(ctx, "[logVTLKitErrors]", "ERROR The function %s failed: %s", functionName, reason);
}

int initializeVTLKitEnvironment(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[initializeVTLKitEnvironment]";
  ZO_ENTRY(ctx, tag);
  std::string failedStep, reason;
  int rc = 0;
  ZOsecureEnv *env = ZOsecureEnvOpen(ctx->Str(ZOP_keyFilePath), ctx->Str(ZOP_stashFilePath),
                                     ctx->Int(ZOP_enableFIPS) != 0, &failedStep, &reason);
  if (env == nullptr) {
    logVTLKitErrors(ctx, reason.c_str(), failedStep.c_str(), result);
    rc = -1;
  } else if ((ctx->secureEnvText = ZOstrdup(ZOsecureEnvHandleText(env))) == nullptr) {
    ZOsecureEnvClose(env);
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, tag, "ERROR: cannot malloc");
    rc = -1;
  } else {
    ctx->secureEnv = env;
  }
  writeModeLine(ctx);
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

int terminateVTLKitEnvironment(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[terminateVTLKitEnvironment]";
  ZO_ENTRY(ctx, tag);
  if (ctx->secureEnv == nullptr) {
    logVTLKitErrors(ctx, "no secure environment is open", "vtl_environment_close", result);
    return -1;
  }
  ZOsecureEnvClose(ctx->secureEnv);
  ctx->secureEnv = nullptr;
  free(ctx->secureEnvText);
  ctx->secureEnvText = nullptr;
  ZO_EXIT(ctx, tag);
  return 0;
}
