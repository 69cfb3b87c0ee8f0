#include "capis/trace.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

#include "capis/context.h"

namespace {

std::atomic<CCgObject *> g_traceLogger{nullptr};
std::atomic<CCgObject *> g_errorLogger{nullptr};
std::mutex g_globalLoggersMutex;  // serialises replacement (and the release of the old reference)

void replaceGlobal(std::atomic<CCgObject *> *slot, CCgObject *logger) {
  std::lock_guard<std::mutex> lock(g_globalLoggersMutex);
  if (logger != nullptr) CCgAcquireObject(logger);
  CCgObject *old = slot->exchange(logger);
  if (old != nullptr) CCgReleaseObject(old);
}

CCgObject *acquireGlobal(std::atomic<CCgObject *> *slot) {
  std::lock_guard<std::mutex> lock(g_globalLoggersMutex);
  CCgObject *logger = slot->load();
  return logger != nullptr ? CCgAcquireObject(logger) : nullptr;
}

}  // namespace

CCgObject *ZOgTraceLogger() { return g_traceLogger.load(std::memory_order_acquire); }
CCgObject *ZOgErrorLogger() { return g_errorLogger.load(std::memory_order_acquire); }
void ZOsetGlobalTraceLogger(CCgObject *logger) { replaceGlobal(&g_traceLogger, logger); }
void ZOsetGlobalErrorLogger(CCgObject *logger) { replaceGlobal(&g_errorLogger, logger); }
CCgObject *ZOacquireGlobalTraceLogger() { return acquireGlobal(&g_traceLogger); }
CCgObject *ZOacquireGlobalErrorLogger() { return acquireGlobal(&g_errorLogger); }

bool ZOtraceEnabled(const ZOVEXA_AuditClientContext *context, ZOtraceKind kind) {
  if (context == nullptr) return ZOgTraceLogger() != nullptr;
  if (context->traceLogger == nullptr) return false;
  ZOpropIndex gate = kind == ZO_TL_ENTRY  ? ZOP_entryTraceLevel
                     : kind == ZO_TL_FLOW ? ZOP_flowTraceLevel
                                          : ZOP_errorTraceLevel;
  return context->traceLevel.load(std::memory_order_relaxed) >= context->Int(gate);
}

void ZOtraceWrite(const ZOVEXA_AuditClientContext *context, const char *srcPath, const char *tag, int line,
                  const char *fmt, ...) {
  CCgObject *global = context == nullptr ? ZOacquireGlobalTraceLogger() : nullptr;
  CCgObject *logger = context != nullptr ? context->traceLogger : global;
  if (logger == nullptr) return;
  char small[512];
  std::string big;
  const char *text = small;
  va_list ap;
  va_start(ap, fmt);
  int n = vsnprintf(small, sizeof small, fmt, ap);
  va_end(ap);
  if (n < 0) {
    if (global != nullptr) CCgReleaseObject(global);
    return;
  }
  if (static_cast<size_t>(n) >= sizeof small) {
    big.resize(static_cast<size_t>(n) + 1);
    va_start(ap, fmt);
    vsnprintf(big.data(), big.size(), fmt, ap);
    va_end(ap);
    big.resize(static_cast<size_t>(n));
    text = big.c_str();
  }
  // The text is passed as a parameter so that a "%" in it is never read as
  // a conversion by the toolkit.
  CCgLogDebugMin(logger, srcPath, tag, line, "%s", CCG_PARM_STRING, text, CCG_PARM_END);
  if (global != nullptr) CCgReleaseObject(global);
}
