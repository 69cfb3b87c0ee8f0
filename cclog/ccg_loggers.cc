// Level names and tests, the logging calls, and the two logger classes.
#include <cstdarg>
#include <cstring>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/cx.h"

namespace {

struct LevelName {
  const char *keyword;
  int32_t level;
};

// Tried in this order; each keyword matches any text that begins with it.
constexpr LevelName kLevelNames[] = {
    {"FATAL", CCG_LEVEL_FATAL},         {"ERROR", CCG_LEVEL_ERROR},
    {"WARN", CCG_LEVEL_WARN},           {"INFO", CCG_LEVEL_INFO},
    {"DEBUG_MIN", CCG_LEVEL_DEBUG_MIN}, {"MIN", CCG_LEVEL_DEBUG_MIN},
    {"DEBUG_MID", CCG_LEVEL_DEBUG_MID}, {"MID", CCG_LEVEL_DEBUG_MID},
    {"DEBUG_MAX", CCG_LEVEL_DEBUG_MAX}, {"MAX", CCG_LEVEL_DEBUG_MAX},
    {"ALL", CCG_LEVEL_ALL},             {"OFF", CCG_LEVEL_OFF},
};

// Private data of "ccg_qdlogger": product data stamped on every event.
struct QDLoggerVars {
  std::optional<std::string> organization, product, component, client, server, serverFormat,
      productInstance;
  CCgObject *formatter = nullptr;  // computes message identifiers; held
};

// The fields of QDLoggerVars by property name, in the order they are stamped.
struct QDField {
  const char *name;
  std::optional<std::string> QDLoggerVars::*field;
};
constexpr QDField kQDFields[] = {
    {"organization", &QDLoggerVars::organization},
    {"product", &QDLoggerVars::product},
    {"component", &QDLoggerVars::component},
    {"client", &QDLoggerVars::client},
    {"server", &QDLoggerVars::server},
    {"serverFormat", &QDLoggerVars::serverFormat},
    {"productInstance", &QDLoggerVars::productInstance},
};

// The public logging calls: the level test runs before the mutex is taken, so
// a call below the logger's level costs no lock.
void logCall(CCgObject *logger, int32_t level, bool isMessage, const char *catalog, uint32_t set,
             uint32_t key, const char *text, const char *srcFile, const char *srcFunction,
             int32_t srcLine, va_list args) {
  if (!CCgIsLoggable(logger, level)) return;
  CCgApiLock lock;
  if (!lock.ok()) return;
  ccgIntlLogVA(logger, level, isMessage, catalog, set, key, text, srcFile, srcFunction, srcLine,
               args);
}

}  // namespace

extern "C" {

CCG_API CCgBool CCgIsLoggable(CCgObject *logger, int32_t level) {
  if (logger == nullptr || logger->enabled.load(std::memory_order_relaxed) == 0) return 0;
  int32_t own = logger->level.load(std::memory_order_relaxed);
  if (level == CCG_LEVEL_UNSPECIFIED || own == CCG_LEVEL_UNSPECIFIED) return 1;
  return own <= level;
}

CCG_API int32_t CCgGetLevelFromString(const char *text) {
  if (text == nullptr) return CCG_LEVEL_UNSPECIFIED;
  if (*text == '\0') return 0;
  const char *p = text;
  if (*p == '-' || *p == '+') ++p;
  if (CxIsASCIIDigit(static_cast<unsigned char>(*p))) {
    int64_t v = strtoll(text, nullptr, 10);
    if (v > INT32_MAX) v = INT32_MAX;
    if (v < INT32_MIN) v = INT32_MIN;
    return static_cast<int32_t>(v);
  }
  for (const LevelName &ln : kLevelNames) {
    if (TosStringNICmp(text, ln.keyword, strlen(ln.keyword)) == 0) return ln.level;
  }
  return CCG_LEVEL_UNSPECIFIED;
}

CCG_API void CCgBasicLoggerFCfgChange(CCgObject *obj, const char *key) {
  if (obj == nullptr || key == nullptr) return;
  if (strcmp(key, "level") == 0) {
    const std::string *v = ccgObjPropPeek(obj, key);
    obj->level.store(v ? CCgGetLevelFromString(v->c_str()) : CCG_LEVEL_UNSPECIFIED,
                     std::memory_order_relaxed);
    return;
  }
  CCgBasicObjectFCfgChange(obj, key);
}

#define CCG_LOG_MSG_CALL(Name, Level)                                                         \
  CCG_API void CCgLog##Name##VA(CCgObject *logger, const char *catalog, uint32_t set,          \
                                uint32_t key, const char *defaultText, va_list args) {         \
    logCall(logger, Level, true, catalog, set, key, defaultText, nullptr, nullptr, 0, args);   \
  }                                                                                            \
  CCG_API void CCgLog##Name(CCgObject *logger, const char *catalog, uint32_t set, uint32_t key, \
                            const char *defaultText, ...) {                                    \
    if (!CCgIsLoggable(logger, Level)) return;                                                 \
    va_list ap;                                                                                \
    va_start(ap, defaultText);                                                                 \
    logCall(logger, Level, true, catalog, set, key, defaultText, nullptr, nullptr, 0, ap);     \
    va_end(ap);                                                                                \
  }
CCG_LOG_MSG_CALL(Fatal, CCG_LEVEL_FATAL)
CCG_LOG_MSG_CALL(Error, CCG_LEVEL_ERROR)
CCG_LOG_MSG_CALL(Warn, CCG_LEVEL_WARN)
CCG_LOG_MSG_CALL(Info, CCG_LEVEL_INFO)
CCG_LOG_MSG_CALL(Msg, CCG_LEVEL_UNSPECIFIED)
#undef CCG_LOG_MSG_CALL

CCG_API void CCgLogTextVA(CCgObject *logger, const char *text, va_list args) {
  logCall(logger, CCG_LEVEL_UNSPECIFIED, false, nullptr, 0, 0, text, nullptr, nullptr, 0, args);
}
CCG_API void CCgLogText(CCgObject *logger, const char *text, ...) {
  if (!CCgIsLoggable(logger, CCG_LEVEL_UNSPECIFIED)) return;
  va_list ap;
  va_start(ap, text);
  logCall(logger, CCG_LEVEL_UNSPECIFIED, false, nullptr, 0, 0, text, nullptr, nullptr, 0, ap);
  va_end(ap);
}

#define CCG_LOG_DEBUG_CALL(Name, Level)                                                        \
  CCG_API void CCgLogDebug##Name##VA(CCgObject *logger, const char *srcFile,                   \
                                     const char *srcFunction, int32_t srcLine, const char *text, \
                                     va_list args) {                                           \
    logCall(logger, Level, false, nullptr, 0, 0, text, srcFile, srcFunction, srcLine, args);   \
  }                                                                                            \
  CCG_API void CCgLogDebug##Name(CCgObject *logger, const char *srcFile,                       \
                                 const char *srcFunction, int32_t srcLine, const char *text,   \
                                 ...) {                                                        \
    if (!CCgIsLoggable(logger, Level)) return;                                                 \
    va_list ap;                                                                                \
    va_start(ap, text);                                                                        \
    logCall(logger, Level, false, nullptr, 0, 0, text, srcFile, srcFunction, srcLine, ap);     \
    va_end(ap);                                                                                \
  }
CCG_LOG_DEBUG_CALL(Min, CCG_LEVEL_DEBUG_MIN)
CCG_LOG_DEBUG_CALL(Mid, CCG_LEVEL_DEBUG_MID)
CCG_LOG_DEBUG_CALL(Max, CCG_LEVEL_DEBUG_MAX)
#undef CCG_LOG_DEBUG_CALL

}  // extern "C"

// ---- "ccg_qdlogger" ----------------------------------------------------------------------

void *CCgQDLoggerFAllocVars(CCgObject *obj) {
  QDLoggerVars *vars = new (std::nothrow) QDLoggerVars;
  if (vars == nullptr) return nullptr;
  vars->serverFormat = "IP";
  char host[257];
  if (CxOK(CxSystemGetFQHostname(host, sizeof host))) {
    vars->server = host;
  } else {
    ccgReportMsg(CCG_LEVEL_WARN, 35, CCG_PARM_STRING, obj->cls->name.c_str(), CCG_PARM_END);
  }
  vars->formatter = ccgIntlGetObject("cclog.qdMsgIdFormatter", "ccg_xmlformatter");
  return vars;
}

void CCgQDLoggerFFreeVars(CCgObject *, void *p) {
  QDLoggerVars *vars = static_cast<QDLoggerVars *>(p);
  if (vars == nullptr) return;
  if (!ccgToolkitIsClosing()) ccgIntlReleaseObject(vars->formatter);
  delete vars;
}

void CCgQDLoggerFCfgChange(CCgObject *obj, const char *key) {
  QDLoggerVars *vars = static_cast<QDLoggerVars *>(obj->vars);
  if (vars != nullptr) {
    for (const QDField &f : kQDFields) {
      if (strcmp(key, f.name) == 0) {
        const std::string *v = ccgObjPropPeek(obj, key);
        if (v)
          vars->*f.field = *v;
        else
          (vars->*f.field).reset();
        return;
      }
    }
  }
  CCgBasicLoggerFCfgChange(obj, key);
}

void CCgQDLoggerFLog(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || event == nullptr || obj->enabled.load(std::memory_order_relaxed) == 0) return;
  QDLoggerVars *vars = static_cast<QDLoggerVars *>(obj->vars);
  if (vars != nullptr) {
    for (const QDField &f : kQDFields) {
      const std::optional<std::string> &v = vars->*f.field;
      if (v) event->properties.Put(f.name, v->c_str());
    }
  }
  event->properties.Put("processId", ccgFormatLong(CxProcessGetCurrentID()).c_str());
  event->properties.Put("threadId", ccgFormatLong(CxThreadGetCurrentID()).c_str());
  if (vars != nullptr && vars->formatter != nullptr)
    ccgQDXMLFormatterCacheMessageID(vars->formatter, event);
  CCgBasicObjectFLog(obj, event);
}
