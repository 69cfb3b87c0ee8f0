// Trace lines of the audit client. Each line goes through the toolkit's debug
// call with the source module path, the function tag ("[VEXA_AuditEvent_Create]",
// "[processEltValue]") and the line number, and is written only when the
// context's traceLevel reaches the line's kind:
//   ZO_TL_ENTRY  "ENTRY" / "EXIT..." lines      traceLevel >= entryTraceLevel
//   ZO_TL_FLOW   lines beginning "FLOW: "       traceLevel >= flowTraceLevel
//   ZO_TL_ERROR  "ERROR: " and "WARNING: "      traceLevel >= errorTraceLevel
// Without a context the lines go to the process-wide trace logger, unfiltered.
//
// Each source file defines ZO_SRC (its module path, "capis/context") before
// using the macros. The test costs two relaxed loads when nothing is traced.
#ifndef ZOVEXA_CAPIS_TRACE_H_
#define ZOVEXA_CAPIS_TRACE_H_

#include "cclog.h"
#include "zovexa.h"

enum ZOtraceKind { ZO_TL_ENTRY, ZO_TL_FLOW, ZO_TL_ERROR };

bool ZOtraceEnabled(const ZOVEXA_AuditClientContext *context, ZOtraceKind kind);
void ZOtraceWrite(const ZOVEXA_AuditClientContext *context, const char *srcPath, const char *tag, int line,
                  const char *fmt, ...) __attribute__((format(printf, 5, 6)));

// The process-wide loggers: those of the last context created (the trace
// logger only when some context has a traceFilePath). Each slot holds its own
// reference; the setters replace it (NULL clears). ZOgTraceLogger and
// ZOgErrorLogger only say whether one is set: to write to one, take a
// reference with ZOacquireGlobal*Logger and release it with CCgReleaseObject,
// since another thread may replace it meanwhile.
CCgObject *ZOgTraceLogger();
CCgObject *ZOgErrorLogger();
CCgObject *ZOacquireGlobalTraceLogger();
CCgObject *ZOacquireGlobalErrorLogger();
void ZOsetGlobalTraceLogger(CCgObject *logger);
void ZOsetGlobalErrorLogger(CCgObject *logger);

#define ZO_TRACE(ctx, kind, tag, ...)                                                             \
  do {                                                                                            \
    if (ZOtraceEnabled((ctx), (kind))) ZOtraceWrite((ctx), ZO_SRC, (tag), __LINE__, __VA_ARGS__); \
  } while (0)
#define ZO_ENTRY(ctx, tag) ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "ENTRY")
#define ZO_EXIT(ctx, tag) ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT")
#define ZO_EXIT_RC(ctx, tag, rc) ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT, rc = %d", static_cast<int>(rc))
#define ZO_FLOW(ctx, tag, ...) ZO_TRACE(ctx, ZO_TL_FLOW, tag, __VA_ARGS__)
#define ZO_ERROR(ctx, tag, ...) ZO_TRACE(ctx, ZO_TL_ERROR, tag, __VA_ARGS__)

#endif  // ZOVEXA_CAPIS_TRACE_H_
