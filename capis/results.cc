#include "capis/results.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

#include "capis/context.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "cclog/cx.h"

#define ZO_SRC "capis/log_handlers"

namespace {

struct MsgEntry {
  int key;
  const char *text;
};
constexpr MsgEntry kMsgSource[] = {
#include "zovexamsg_table.inc"
};

constexpr std::array<const char *, kZOmsgCount> buildTable() {
  std::array<const char *, kZOmsgCount> table{};
  for (const MsgEntry &e : kMsgSource) table[static_cast<size_t>(e.key)] = e.text;
  return table;
}

constexpr size_t kDefaultTextBytes = 8192;

// The catalog and codeset used without a context: the process locale's
// "zovexamsg" and the default codeset, opened for one message.
struct DefaultTextSource {
  TisCatalog *catalog = nullptr;
  TisCodeset *codeset = nullptr;
  DefaultTextSource() {
    if (TisInit()) {
      initialised = true;
      catalog = TisCatalogOpen("zovexamsg", nullptr, TIS_CAT_LOCALE);
      codeset = TisCodesetCreate(nullptr);
    }
  }
  ~DefaultTextSource() {
    if (catalog != nullptr) TisCatalogClose(catalog);
    if (codeset != nullptr) TisCodesetFree(codeset);
    if (initialised) TisShutdown();
  }
  bool initialised = false;
};

void traceNoMemory(const ZOVEXA_AuditClientContext *context) {
  ZO_ERROR(context, "[errorHandler]", "ERROR: cannot malloc");
}

// Makes room for one more entry: a record whose count has reached its
// capacity grows to count + 5 entries (5, then 10, 15, ...).
bool growEntries(ZOVEXA_result *result) {
  if (result->count < result->capacity && result->entries != nullptr) return true;
  int32_t capacity = result->count + 5;
  auto *entries =
      static_cast<ZOVEXA_resultEntry *>(ZOcalloc(static_cast<size_t>(capacity), sizeof(ZOVEXA_resultEntry)));
  if (entries == nullptr) return false;
  if (result->entries != nullptr) {
    if (result->count > 0)
      memcpy(entries, result->entries, static_cast<size_t>(result->count) * sizeof(ZOVEXA_resultEntry));
    free(result->entries);
  }
  result->entries = entries;
  result->capacity = capacity;
  return true;
}

void writeToErrorLog(const ZOVEXA_AuditClientContext *context, const char *text) {
  if (text == nullptr) return;
  if (context != nullptr) {
    if (context->errorLogger != nullptr)
      CCgLogText(context->errorLogger, "%s", CCG_PARM_STRING, text, CCG_PARM_END);
    return;
  }
  if (CCgObject *logger = ZOacquireGlobalErrorLogger()) {
    CCgLogText(logger, "%s", CCG_PARM_STRING, text, CCG_PARM_END);
    CCgReleaseObject(logger);
  }
}

const char *vErrorHandler(const ZOVEXA_AuditClientContext *context, uint32_t number, ZOVEXA_result *result,
                          uint32_t lengthHint, int32_t argc, va_list ap) {
  if (result == nullptr || number == 0 || number >= static_cast<uint32_t>(kZOmsgCount)) return nullptr;
  const char *builtIn = zovexamsg[number];

  DefaultTextSource *fallback = nullptr;
  TisCatalog *catalog = nullptr;
  const TisCodeset *codeset = nullptr;
  if (context != nullptr) {
    catalog = context->catalog;
    codeset = context->errorCodeset;
  } else {
    fallback = new (std::nothrow) DefaultTextSource;
    if (fallback != nullptr) {
      catalog = fallback->catalog;
      codeset = fallback->codeset;
    }
  }

  if (result->count < 0 || result->capacity < 0) {
    result->count = 0;
    result->capacity = 0;
  }
  const char *ret = builtIn;
  std::string tmpl;
  bool usedDefault = true;
  if (!growEntries(result)) {
    traceNoMemory(context);
    ret = nullptr;
  } else {
    TisCatalogGetText(catalog, kZOmsgSet, static_cast<int>(number), builtIn, codeset, &tmpl, &usedDefault);
    char *text = nullptr;
    if (argc < 1) {
      text = ZOstrdup(tmpl.c_str());
      // When even the copy fails (message 1 says exactly that), the built-in
      // text is stored as it is; ZOVEXA_Result_Clean knows not to free it.
      if (text == nullptr) text = const_cast<char *>(builtIn);
    } else {
      CxStringBuff sb{};
      CxStatus st = CxStringBuffPrintfV(&sb, tmpl.c_str(), ap);
      const char *formatted = CxOK(st) ? CxStringBuffPeekStr(&sb) : tmpl.c_str();
      size_t len = strlen(formatted);
      size_t size = lengthHint != 0 ? tmpl.size() + lengthHint + 10 : kDefaultTextBytes;
      size = std::max(size, len + 1);  // never cut a message short
      text = static_cast<char *>(ZOcalloc(size, 1));
      if (text != nullptr) memcpy(text, formatted, len);
      CxStringBuffDiscard(&sb);
    }
    if (text == nullptr) {
      traceNoMemory(context);
      ret = nullptr;
    } else {
      result->entries[result->count].code = number;
      result->entries[result->count].text = text;
      ++result->count;
    }
  }
  delete fallback;
  return ret;
}

}  // namespace

const std::array<const char *, kZOmsgCount> zovexamsg = buildTable();

const char *ZOerrorHandler(const ZOVEXA_AuditClientContext *context, uint32_t number, ZOVEXA_result *result,
                           uint32_t lengthHint, int32_t argc, ...) {
  va_list ap;
  va_start(ap, argc);
  const char *ret = vErrorHandler(context, number, result, lengthHint, argc, ap);
  va_end(ap);
  return ret;
}

bool ZOreport(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, uint32_t number,
              uint32_t lengthHint, int32_t argc, ...) {
  va_list ap;
  va_start(ap, argc);
  const char *ret = vErrorHandler(context, number, result, lengthHint, argc, ap);
  va_end(ap);
  if (ret == nullptr) return false;
  writeToErrorLog(context, result->entries[result->count - 1].text);
  return true;
}

void ZOreportMissing(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *srcPath,
                     const char *tag, int line, const char *what) {
  ZOreport(context, result, 9, 0, 1, what);
  if (ZOtraceEnabled(context, ZO_TL_ERROR))
    ZOtraceWrite(context, srcPath, tag, line, "ERROR: The %s parameter is missing", what);
}

namespace {

int nullParm(const void *handle, const ZOVEXA_AuditClientContext *traceContext, ZOVEXA_result *result,
             const char *srcPath, int line, const char *tag, const char *nullText, uint32_t number) {
  if (result != nullptr) {
    ZOresetResult(result);
    if (handle == nullptr) {
      if (ZOgTraceLogger() != nullptr) ZOtraceWrite(nullptr, srcPath, tag, line, "%s", nullText);
      if (ZOerrorHandler(nullptr, number, result, 0, 0) != nullptr)
        writeToErrorLog(nullptr, result->entries[result->count - 1].text);
    }
  } else if (traceContext != nullptr && traceContext->traceLogger != nullptr) {
    ZOtraceWrite(traceContext, srcPath, tag, line, "ERROR: status parameter is NULL");
  } else if (ZOgTraceLogger() != nullptr) {
    ZOtraceWrite(nullptr, srcPath, tag, line, "ERROR: status parameter is NULL");
  }
  return 0;
}

}  // namespace

int ZOnullParmHandler1(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *srcPath,
                       int line, const char *tag) {
  return nullParm(context, context, result, srcPath, line, tag, "ERROR: context parameter is NULL", 10);
}

int ZOnullParmHandler2(const void *handle, const ZOVEXA_AuditClientContext *traceContext,
                       ZOVEXA_result *result, const char *srcPath, int line, const char *tag) {
  return nullParm(handle, traceContext, result, srcPath, line, tag, "ERROR: event parameter is NULL", 12);
}

// ---- results, memory, sleep ------------------------------------------------------------------------

extern "C" ZOVEXA_API int32_t ZOVEXA_Result_Clean(ZOVEXA_result *result) {
  if (result == nullptr) return -1;
  if (result->entries != nullptr) {
    for (int32_t i = 0; i < std::max(result->count, result->capacity); ++i) {
      char *text = result->entries[i].text;
      uint32_t code = result->entries[i].code;
      bool builtIn = code < static_cast<uint32_t>(kZOmsgCount) && text == zovexamsg[code];
      if (text != nullptr && !builtIn) free(text);
      result->entries[i].text = nullptr;
    }
    free(result->entries);
  }
  result->count = 0;
  result->capacity = 0;
  result->entries = nullptr;
  return 0;
}

extern "C" ZOVEXA_API void *ZOVEXA_Malloc(int32_t size) {
  if (size < 0) return nullptr;
  return malloc(size == 0 ? 1 : static_cast<size_t>(size));
}

extern "C" ZOVEXA_API int32_t ZOVEXA_Free(void *ptr) {
  if (ptr == nullptr) return -1;
  free(ptr);
  return 0;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_Sleep(uint32_t seconds) {
  // sleep() can end early on a signal; finish the whole time asked for.
  while (seconds > 0) seconds = sleep(seconds);
  return 0;
}
