// Numbered messages into the caller's result record: the message table, the
// error handler that picks, translates and formats a message, and the
// reporters that every public call uses for failures.
#ifndef ZOVEXA_CAPIS_RESULTS_H_
#define ZOVEXA_CAPIS_RESULTS_H_

#include <array>
#include <cstdint>

#include "zovexa.h"

// Entry 0 is the catalog name "zovexamsg", entry n (1..67) the built-in
// text of message n. Generated from nls/zovexamsg.msg, the catalog source.
constexpr int kZOmsgCount = 68;
extern const std::array<const char *, kZOmsgCount> zovexamsg;
constexpr int kZOmsgSet = 2;  // set of the messages in the catalog

// What every call does on entry: the record becomes empty without freeing
// anything. Entries of a record reused uncleaned are leaked, never freed
// twice: the entry pointer is dropped with the counts, so a record the
// caller never initialised cannot make the library free a stray pointer.
inline void ZOresetResult(ZOVEXA_result *result) {
  if (result != nullptr) {
    result->count = 0;
    result->capacity = 0;
    result->entries = nullptr;
  }
}

// Appends message `number` to `result`: the context's catalog and error
// codeset (without a context: catalog "zovexamsg" of the process locale and
// the default codeset), formatted with argc (0..2) printf arguments; the
// buffer is 8192 bytes or strlen(template) + lengthHint + 10 when a hint is
// given, larger only when the text would not fit. Returns the built-in
// template of the message, or NULL when memory ran out or the number is not
// a message (the record is then unchanged).
const char *ZOerrorHandler(const ZOVEXA_AuditClientContext *context, uint32_t number, ZOVEXA_result *result,
                           uint32_t lengthHint, int32_t argc, ...);

// The common failure path: ZOerrorHandler, then the new entry's text to the
// error logger (the context's, or the process-wide one), unfiltered.
// Returns false when the message could not be added.
bool ZOreport(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, uint32_t number,
              uint32_t lengthHint, int32_t argc, ...);

// Message 9 for a missing argument `what` with the trace line
// "ERROR: The %s parameter is missing" at error level.
void ZOreportMissing(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *srcPath,
                     const char *tag, int line, const char *what);

// Null leading handle or result record. Form 1 for calls led by a context
// (message 10), form 2 for calls led by an event or element (message 12;
// `traceContext` is the handle's context when it has one). Always 0.
int ZOnullParmHandler1(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *srcPath,
                       int line, const char *tag);
int ZOnullParmHandler2(const void *handle, const ZOVEXA_AuditClientContext *traceContext,
                       ZOVEXA_result *result, const char *srcPath, int line, const char *tag);

#endif  // ZOVEXA_CAPIS_RESULTS_H_
