#include "capis/context.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "capis/client.h"
#include "capis/disk_cache.h"
#include "capis/giid.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/validation.h"
#include "capis/zo_memory.h"
#include "cbe/dom_helper.h"
#include "cbe/secure_session.h"
#include "soap/http_transport.h"
#include "soap/secure_env.h"
#include "soap/soap_runtime.h"

#define ZO_SRC "capis/context"

#ifndef ZOVEXA_INSTALL_ROOT
#define ZOVEXA_INSTALL_ROOT "/opt/Corvantisgrove"
#endif

namespace {

constexpr const char *kCreateTag = "[VEXA_AuditClientContext_Create]";

ZOcommonBlock *g_common = nullptr;
std::once_flag g_commonOnce;

// Reports message 7 for property p with the offending value as text.
void reportBadValue(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, int p, const char *text) {
  ZOreport(ctx, result, 7, static_cast<uint32_t>(strlen(text) + 1), 2, kZOproperties[p].name, text);
  // Before the context has its loggers there is nowhere of its own to trace.
  if (ctx != nullptr)
    ZO_ERROR(ctx, kCreateTag, "ERROR: the value of the %s property is not valid: %s", kZOproperties[p].name,
             text);
}

bool setString(ZOpropValue *v, const char *s) {
  char *copy = ZOstrdup(s);
  if (copy == nullptr) return false;
  free(v->s);
  v->s = copy;
  return true;
}

bool setDefaults(ZOVEXA_AuditClientContext *ctx) {
  for (int p = 0; p < ZOP_COUNT; ++p) {
    const ZOpropertyDef &def = kZOproperties[p];
    ctx->props[p].i = def.defaultInt;
    if (def.defaultString != nullptr && !setString(&ctx->props[p], def.defaultString)) return false;
  }
  ctx->props[ZOP_responseTimeout].i = ZOresponseTimeoutDefault();
  return true;
}

// Stores one list entry. Returns false after reporting the failure.
bool storeProperty(ZOVEXA_AuditClientContext *ctx, const ZOVEXA_property &entry, ZOVEXA_result *result) {
  int p = ZOfindProperty(entry.name);
  if (p < 0) return true;  // unknown names are ignored
  const ZOpropertyDef &def = kZOproperties[p];
  if (entry.valueType != def.valueType) {
    ZOreport(nullptr, result, 5, 0, 1, def.name);
    return false;
  }
  if (entry.value == nullptr) {
    ZOreport(nullptr, result, 4, 0, 1, def.name);
    return false;
  }
  ZOpropValue *v = &ctx->props[p];
  if (def.valueType == VEXA_VT_STRING) {
    const char *s = static_cast<const char *>(entry.value);
    if (def.check == ZO_CHECK_KEYWORD) {
      int k = 0;
      while (def.keywords[k] != nullptr && strcmp(def.keywords[k], s) != 0) ++k;
      if (def.keywords[k] == nullptr) {
        reportBadValue(nullptr, result, p, s);
        return false;
      }
      v->i = k;
    }
    if (!setString(v, s)) {
      ZOreport(nullptr, result, 1, 0, 0);
      return false;
    }
    return true;
  }
  int32_t value = *static_cast<const int32_t *>(entry.value);
  if ((def.check == ZO_CHECK_MIN || def.check == ZO_CHECK_CLAMP) && value < def.minValue) {
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    reportBadValue(nullptr, result, p, text);
    if (def.check == ZO_CHECK_CLAMP) v->i = def.minValue;
    return false;
  }
  v->i = value;
  return true;
}

bool reportGreater(ZOVEXA_result *result, const char *bigger, const char *smaller) {
  ZOreport(nullptr, result, 50, 0, 2, bigger, smaller);
  return false;
}

bool reportMissing(ZOVEXA_result *result, const char *name) {
  ZOreport(nullptr, result, 6, 0, 1, name);
  return false;
}

// The checks that involve more than one property, in their fixed order.
bool checkCombination(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  const char *url = ctx->Str(ZOP_serverURL);
  if (url == nullptr) return reportMissing(result, "serverURL");
  ctx->tls = strncasecmp(url, "https", 5) == 0;
  if (ctx->Str(ZOP_traceFilePath) == nullptr) ctx->props[ZOP_traceLevel].i = 0;
  if (ctx->Str(ZOP_errorFilePath) == nullptr) return reportMissing(result, "errorFilePath");
  if (ctx->Int(ZOP_hiWater) > ctx->Int(ZOP_queueSize)) return reportGreater(result, "hiWater", "queueSize");
  if (ctx->Int(ZOP_hiWater) < ctx->Int(ZOP_transferSize))
    return reportGreater(result, "transferSize", "hiWater");
  if (ctx->Int(ZOP_lowWater) == -1)
    ctx->props[ZOP_lowWater].i = ctx->Int(ZOP_transferSize);
  else if (ctx->Int(ZOP_lowWater) > ctx->Int(ZOP_queueSize))
    return reportGreater(result, "lowWater", "queueSize");
  if (ctx->tls) {
    if (ctx->Str(ZOP_keyFilePath) == nullptr) return reportMissing(result, "keyFilePath");
    if (ctx->Str(ZOP_stashFilePath) == nullptr) return reportMissing(result, "stashFilePath");
  }
  return true;
}

// Gets (or creates) a logger writing to a rolling file. A logger that already
// has listeners belongs to another context or to the application and is used
// as it is.
CCgObject *setUpLogger(const char *name, const char *path, int32_t maxSize, int32_t maxFiles) {
  CCgObject *logger = CCgGetObject(name, "ccg_basiclogger");
  if (logger == nullptr) return nullptr;
  CCgIterator *listeners = CCgGetListeners(logger);
  bool hasListeners = listeners != nullptr && CCgIteratorHasNext(listeners);
  if (listeners != nullptr) CCgFreeIterator(listeners);
  if (hasListeners) return logger;

  CCgSetObjPropInt(logger, "level", CCG_LEVEL_DEBUG_MAX);
  std::string handlerName = std::string("FH") + name;
  CCgObject *handler = CCgGetObject(handlerName.c_str(), "ccg_filehandler");
  if (handler == nullptr) {
    CCgReleaseObject(logger);
    return nullptr;
  }
  CCgSetObjProp(handler, "fileName", path);
  CCgSetObjPropInt(handler, "maxFileSize", maxSize);
  CCgSetObjPropInt(handler, "maxFiles", maxFiles);
  CCgSetObjProp(handler, "filePermission", "0660");
  CCgAddListener(logger, handler);
  CCgReleaseObject(handler);  // the logger holds it now
  return logger;
}

bool openLoggers(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  if (ctx->Int(ZOP_usingCCLOG) != 1) CCgOpenToolkit(nullptr);
  // The toolkit's own error messages would otherwise go to the console of
  // the application.
  if (CCgObject *toolkitErrors = CCgGetObject("cclog.errorLogger", nullptr)) {
    CCgSetObjProp(toolkitErrors, "logging", "false");
    CCgReleaseObject(toolkitErrors);
  }
  if (ctx->Str(ZOP_traceFilePath) != nullptr) {
    ctx->traceLogger = setUpLogger(ctx->Str(ZOP_traceLoggerName), ctx->Str(ZOP_traceFilePath),
                                   ctx->Int(ZOP_maxTraceFileSize), ctx->Int(ZOP_maxTraceFiles));
  }
  ctx->errorLogger = setUpLogger(ctx->Str(ZOP_errorLoggerName), ctx->Str(ZOP_errorFilePath),
                                 ctx->Int(ZOP_maxErrorFileSize), ctx->Int(ZOP_maxErrorFiles));
  if (ctx->errorLogger == nullptr) {
    ZOreport(nullptr, result, 62, 0, 2, "CCgGetObject()", ctx->Str(ZOP_errorLoggerName));
    return false;
  }
  return true;
}

// Catalog and codesets. Returns false (message 7) only for an unknown
// elementCodeSet; a bad errorLocale or errorCodeSet falls back to the
// defaults and is remembered in *badLocale / *badCodeset for a warning.
bool openTexts(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char **badLocale,
               const char **badCodeset) {
  const char *localeName = ctx->Str(ZOP_errorLocale);
  if (localeName != nullptr) {
    ctx->locale = TisLocaleCreate(localeName);
    if (ctx->locale != nullptr) ctx->catalog = TisCatalogOpen("zovexamsg", ctx->locale, TIS_CAT_LOCALE);
    if (ctx->locale == nullptr || ctx->catalog == nullptr) {
      *badLocale = localeName;
      if (ctx->locale != nullptr) TisLocaleFree(ctx->locale);
      ctx->locale = nullptr;
    }
  } else {
    ctx->catalog = TisCatalogOpen("zovexamsg", nullptr, TIS_CAT_DEFAULT);
  }

  ctx->utf8Codeset = TisCodesetCreate("UTF8");
  const char *errorSet = ctx->Str(ZOP_errorCodeSet);
  if (errorSet != nullptr) ctx->errorCodeset = TisCodesetCreate(errorSet);
  if (ctx->errorCodeset == nullptr) {
    if (errorSet != nullptr) *badCodeset = errorSet;
    ctx->errorCodeset = TisCodesetCreate(nullptr);
  }
  const char *elementSet = ctx->Str(ZOP_elementCodeSet);
  if (elementSet != nullptr) {
    ctx->elementCodeset = TisCodesetCreate(elementSet);
    if (ctx->elementCodeset == nullptr) {
      reportBadValue(ctx, result, ZOP_elementCodeSet, elementSet);
      return false;
    }
    ctx->elementUTF8 = strcmp(elementSet, "UTF8") == 0;
  } else {
    ctx->elementCodeset = TisCodesetCreate(nullptr);
  }
  if (ctx->utf8Codeset == nullptr || ctx->errorCodeset == nullptr || ctx->elementCodeset == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    return false;
  }
  return true;
}

void traceProperties(const ZOVEXA_AuditClientContext *ctx, const ZOVEXA_property *list) {
  if (!ZOtraceEnabled(ctx, ZO_TL_FLOW)) return;
  for (const ZOVEXA_property *e = list; e->name != nullptr; ++e) {
    if (strcmp(e->name, "clientPassword") == 0) continue;  // never written anywhere
    if (e->valueType == VEXA_VT_STRING)
      ZOtraceWrite(ctx, ZO_SRC, kCreateTag, __LINE__,
                   " property name = %s, value = %s, valueType = VEXA_VT_STRING", e->name,
                   e->value != nullptr ? static_cast<const char *>(e->value) : "(null)");
    else if (e->valueType == VEXA_VT_INTEGER)
      ZOtraceWrite(ctx, ZO_SRC, kCreateTag, __LINE__,
                   " property name = %s, value = %d, valueType = VEXA_VT_INTEGER", e->name,
                   e->value != nullptr ? *static_cast<const int32_t *>(e->value) : 0);
    else
      ZOtraceWrite(ctx, ZO_SRC, kCreateTag, __LINE__, " property name = %s had an invalid valueType of %d",
                   e->name, static_cast<int>(e->valueType));
  }
}

// The installation's message catalogs and text data come first in the
// search path, unless the path names the root already.
void pointTextLayerAtRoot(const char *root) {
  TisSetDataDir((std::string(root) + "/nls/TIS").c_str());
  std::string path = TisGetMsgPath();
  if (path.find(root) == std::string::npos) {
    std::string mine = std::string(root) + "/nls/msg/%L/%N.cat";
    TisSetMsgPath((path.empty() ? mine : mine + ":" + path).c_str());
  }
}

// Joins the process-wide count under the common mutex; the first context
// starts the XML parser and the SOAP runtime and creates the identifier table.
bool joinProcess(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  std::call_once(g_commonOnce, [] { g_common = new (std::nothrow) ZOcommonBlock; });
  if (g_common == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    ZO_ERROR(ctx, kCreateTag, "ERROR: cannot malloc");
    return false;
  }
  std::lock_guard<std::mutex> lock(g_common->mutex);
  if (ZOinitEventTable(ctx, result) != 0) return false;
  if (ZObuildLocTypeHashTable(ctx, result) != 0) return false;
  ++g_common->liveContexts;
  ctx->counted = true;  // from here on, deletion undoes the count
  if (g_common->liveContexts == 1) {
    ZO_FLOW(ctx, kCreateTag, "FLOW: calling initializeXMLParser");
    if (initializeXMLParser(ctx, result) != 0) return false;
    g_common->xmlParserUp = true;
    ZO_FLOW(ctx, kCreateTag, "FLOW: calling initializeAxis");
    if (initializeAxis(ctx, result) != 0) return false;
    g_common->soapRuntimeUp = true;
    if (ZOcreateGIIdTable(ctx, result) != 0) return false;
    g_common->giidTable = ctx->giidTable;
  }
  ctx->giidTable = g_common->giidTable;
  return true;
}

// Leaves the process-wide count; the last context stops what the first started.
void leaveProcess(ZOVEXA_AuditClientContext *ctx) {
  if (g_common == nullptr || !ctx->counted) return;
  std::lock_guard<std::mutex> lock(g_common->mutex);
  if (--g_common->liveContexts == 0) {
    if (g_common->soapRuntimeUp) {
      ZO_FLOW(ctx, "[deleteContext]", "FLOW: calling terminateAxis");
      terminateAxis(ctx, nullptr);
      g_common->soapRuntimeUp = false;
    }
    if (g_common->xmlParserUp) {
      ZO_FLOW(ctx, "[deleteContext]", "FLOW: calling terminateXMLParser");
      terminateXMLParser();
      g_common->xmlParserUp = false;
    }
    if (g_common->giidTable != nullptr) ZOfreeGIIdTable(ctx, g_common->giidTable);
    g_common->giidTable = nullptr;
    ZOsetGlobalTraceLogger(nullptr);
    ZOsetGlobalErrorLogger(nullptr);
  }
  ctx->giidTable = nullptr;
  ctx->counted = false;
}

}  // namespace

ZOcommonBlock *ZOgetCommonBlock() { return g_common; }

char *getVEXAInstallPath(ZOVEXA_result *result) {
  char *root = ZOstrdup(ZOVEXA_INSTALL_ROOT);
  if (root == nullptr) ZOreport(nullptr, result, 1, 0, 0);
  return root;
}

int ZOdeleteContext(ZOVEXA_AuditClientContext *ctx) {
  if (ctx == nullptr) return 0;
  // A client the application left alive goes first: its threads use the
  // context and its disk cache.
  if (ctx->client != nullptr) {
    ZOVEXA_result ignored{};
    auditClient_Delete(ctx, ctx->client, &ignored);
    ZOVEXA_Result_Clean(&ignored);
  }
  ZOfreeDiskCache(ctx);
  // Before the runtimes stop: the environment holds TLS library objects.
  // The deleting thread's kept-alive connections made with it close now
  // (with the thread's others, which reconnect when next used); other
  // threads drop theirs at their next request or when they end.
  if (ctx->secureEnv != nullptr) ZOhttpReleaseThreadConnections();
  ZOsecureEnvClose(ctx->secureEnv);
  ctx->secureEnv = nullptr;
  free(ctx->secureEnvText);
  ctx->secureEnvText = nullptr;
  leaveProcess(ctx);
  if (ctx->traceLogger != nullptr) CCgReleaseObject(ctx->traceLogger);
  if (ctx->errorLogger != nullptr) CCgReleaseObject(ctx->errorLogger);
  for (ZOpropValue &v : ctx->props) free(v.s);
  freeHashTable(ctx->locTypes.buckets, ctx->locTypes.size);
  if (ctx->catalog != nullptr) TisCatalogClose(ctx->catalog);
  if (ctx->locale != nullptr) TisLocaleFree(ctx->locale);
  if (ctx->utf8Codeset != nullptr) TisCodesetFree(ctx->utf8Codeset);
  if (ctx->errorCodeset != nullptr) TisCodesetFree(ctx->errorCodeset);
  if (ctx->elementCodeset != nullptr) TisCodesetFree(ctx->elementCodeset);
  if (ctx->tisStarted) TisShutdown();
  delete ctx;
  return 0;
}

extern "C" ZOVEXA_API ZOVEXA_AuditClientContext *ZOVEXA_AuditClientContext_Create(
    const ZOVEXA_property *propertyList, ZOVEXA_result *result) {
  if (result == nullptr) return nullptr;
  ZOresetResult(result);
  auto *ctx = new (std::nothrow) ZOVEXA_AuditClientContext;
  if (ctx == nullptr) {
    ZOreport(nullptr, result, 1, 0, 0);
    return nullptr;
  }
  auto fail = [ctx] {
    ZOdeleteContext(ctx);
    return nullptr;
  };

  ctx->tisStarted = TisInit();
  char *root = getVEXAInstallPath(result);
  if (root == nullptr) return fail();
  pointTextLayerAtRoot(root);
  free(root);

  if (propertyList == nullptr) {
    ZOreport(nullptr, result, 9, 0, 1, "propertyList");
    return fail();
  }
  if (!setDefaults(ctx)) {
    ZOreport(nullptr, result, 1, 0, 0);
    return fail();
  }
  for (const ZOVEXA_property *e = propertyList; e->name != nullptr; ++e)
    if (!storeProperty(ctx, *e, result)) return fail();
  if (!checkCombination(ctx, result)) return fail();
  ctx->traceLevel.store(ctx->Int(ZOP_traceLevel), std::memory_order_relaxed);

  if (!openLoggers(ctx, result)) return fail();
  const char *badLocale = nullptr;
  const char *badCodeset = nullptr;
  if (!openTexts(ctx, result, &badLocale, &badCodeset)) return fail();

  ZO_ENTRY(ctx, kCreateTag);
  traceProperties(ctx, propertyList);
  if (badLocale != nullptr)
    ZO_ERROR(ctx, kCreateTag,
             "WARNING: the value of the %s property, %s, is invalid, using default error messages.",
             "errorLocale", badLocale);
  if (badCodeset != nullptr)
    ZO_ERROR(ctx, kCreateTag,
             "WARNING: the value of the %s property, %s, is invalid, using default codeset instead.",
             "errorCodeSet", badCodeset);

  if (ZOinitDiskCache(ctx, result) != 0) return fail();
  if (!joinProcess(ctx, result)) return fail();
  if (ctx->tls && initializeVTLKitEnvironment(ctx, result) != 0) return fail();
  // Only a context that was made becomes the source of the process-wide
  // loggers; a failed one leaves them as they were.
  if (ctx->traceLogger != nullptr) ZOsetGlobalTraceLogger(ctx->traceLogger);
  ZOsetGlobalErrorLogger(ctx->errorLogger);
  ZO_EXIT(ctx, kCreateTag);
  return ctx;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_AuditClientContext_Delete(ZOVEXA_AuditClientContext *context,
                                                               ZOVEXA_result *result) {
  constexpr const char *tag = "[VEXA_AuditClientContext_Delete]";
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return -1;
  }
  ZOresetResult(result);
  ZO_ENTRY(context, tag);
  ZOdeleteContext(context);
  return 0;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_AuditClientContext_GetTraceLevel(ZOVEXA_AuditClientContext *context,
                                                                      ZOVEXA_result *result) {
  // The getter shares the setter's tag in its trace lines.
  constexpr const char *tag = "[VEXA_AuditClientContext_SetTraceLevel]";
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return -1;
  }
  ZOresetResult(result);
  ZO_ENTRY(context, tag);
  int32_t level = context->traceLevel.load(std::memory_order_relaxed);
  ZO_TRACE(context, ZO_TL_ENTRY, tag, "EXIT: returning trace level = %d", level);
  return level;
}

extern "C" ZOVEXA_API int32_t ZOVEXA_AuditClientContext_SetTraceLevel(ZOVEXA_AuditClientContext *context,
                                                                      int32_t level, ZOVEXA_result *result) {
  constexpr const char *tag = "[VEXA_AuditClientContext_SetTraceLevel]";
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return -1;
  }
  ZOresetResult(result);
  ZO_ENTRY(context, tag);
  if (context->Str(ZOP_traceFilePath) == nullptr) return -1;
  context->traceLevel.store(level, std::memory_order_relaxed);
  ZO_TRACE(context, ZO_TL_ENTRY, tag, "EXIT: trace level set to = %d", level);
  return 0;
}
