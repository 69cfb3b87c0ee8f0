// Log events, catalog messages and their binding to text, and the marker lists
// of the logging calls.
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/cx.h"
#include "tis/tis.h"

namespace {

// At most this many items are read from a marker list; the next one is taken
// to be missing its terminating CCG_PARM_END.
constexpr int kMaxParmItems = 63;

bool isLevelMarker(int32_t m) {
  switch (m) {
    case CCG_LEVEL_DEBUG_MAX:
    case CCG_LEVEL_DEBUG_MID:
    case CCG_LEVEL_DEBUG_MIN:
    case CCG_LEVEL_INFO:
    case CCG_LEVEL_WARN:
    case CCG_LEVEL_ERROR:
    case CCG_LEVEL_FATAL:
    case CCG_LEVEL_OFF:
    case CCG_LEVEL_UNSPECIFIED:
      return true;
    default:
      return false;
  }
}

char *dupString(const std::string &s) {
  char *p = static_cast<char *>(malloc(s.size() + 1));
  if (p != nullptr) memcpy(p, s.c_str(), s.size() + 1);
  return p;
}

// Reads one value of a typed marker from the list.
CCgParm readParm(int32_t marker, va_list *args) {
  CCgParm p;
  p.type = marker;
  switch (marker) {
    case CCG_PARM_BOOL:
      p.v.b = va_arg(*args, int) != 0;
      break;
    case CCG_PARM_INT:
      p.v.i = va_arg(*args, int32_t);
      break;
    case CCG_PARM_LONG:
      p.v.l = va_arg(*args, int64_t);
      break;
    case CCG_PARM_FLOAT:
      p.v.f = static_cast<float>(va_arg(*args, double));
      break;
    case CCG_PARM_DOUBLE:
      p.v.d = va_arg(*args, double);
      break;
    case CCG_PARM_CHAR:
      p.v.c = static_cast<char>(va_arg(*args, int));
      break;
    default: {
      const char *s = va_arg(*args, const char *);
      p.s = s != nullptr ? s : "";
      break;
    }
  }
  return p;
}

// The text under which a parameter is stored as an event property.
std::string parmAsProperty(const CCgParm &p) {
  switch (p.type) {
    case CCG_PARM_BOOL:
      return ccgFormatBool(p.v.b);
    case CCG_PARM_INT:
      return ccgFormatInt32(p.v.i);
    case CCG_PARM_LONG:
      return ccgFormatLong(p.v.l);
    case CCG_PARM_FLOAT:
      return ccgFormatDouble(p.v.f);
    case CCG_PARM_DOUBLE:
      return ccgFormatDouble(p.v.d);
    case CCG_PARM_CHAR:
      return ccgFormatChar(p.v.c);
    default:
      return p.s;
  }
}

CxPrintfArg parmAsArg(const CCgParm &p) {
  CxPrintfArg a{};
  switch (p.type) {
    case CCG_PARM_BOOL:
      a.type = CX_ARG_INT32;
      a.v.i32 = p.v.b ? 1 : 0;
      break;
    case CCG_PARM_INT:
      a.type = CX_ARG_INT32;
      a.v.i32 = p.v.i;
      break;
    case CCG_PARM_LONG:
      a.type = CX_ARG_INT64;
      a.v.i64 = p.v.l;
      break;
    case CCG_PARM_FLOAT:
      a.type = CX_ARG_LDOUBLE;
      a.v.ld = p.v.f;
      break;
    case CCG_PARM_DOUBLE:
      a.type = CX_ARG_LDOUBLE;
      a.v.ld = p.v.d;
      break;
    case CCG_PARM_CHAR:
      a.type = CX_ARG_CHAR;
      a.v.ch = static_cast<unsigned char>(p.v.c);
      break;
    default:
      a.type = CX_ARG_STRING;
      a.v.s = p.s.c_str();
      break;
  }
  return a;
}

}  // namespace

CCgI18Msg::CCgI18Msg(const CCgI18Msg &other)
    : catalog(other.catalog),
      set(other.set),
      key(other.key),
      defaultText(other.defaultText),
      parms(other.parms) {
  if (other.ownedLocale != nullptr) {
    ownedLocale = TisLocaleCopy(other.ownedLocale);
    locale = ownedLocale;
  } else {
    locale = other.locale;
  }
}

CCgI18Msg::~CCgI18Msg() {
  if (ownedLocale != nullptr) TisLocaleFree(ownedLocale);
}

CCgEvent *ccgIntlVaAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                              const char *defaultText, va_list args) {
  CCgEvent *event = new (std::nothrow) CCgEvent;
  if (event == nullptr) return nullptr;
  event->time = CxSystemGetTimestamp();
  event->level = level;
  event->isMessage = catalog != nullptr;
  if (catalog != nullptr) event->message.catalog = catalog;
  event->message.set = set;
  event->message.key = key;
  if (defaultText != nullptr) event->message.defaultText = defaultText;

  va_list ap;
  va_copy(ap, args);
  for (int item = 0;; ++item) {
    if (item == kMaxParmItems) {
      ccgReportMsg(CCG_LEVEL_ERROR, 70, CCG_PARM_END);
      break;
    }
    int32_t marker = va_arg(ap, int32_t);
    if (marker == CCG_PARM_END) break;
    const char *namedKey = nullptr;
    if (marker == CCG_PARM_NAMED) {
      namedKey = va_arg(ap, const char *);
      marker = va_arg(ap, int32_t);
    }
    if (marker >= CCG_PARM_BOOL && marker <= CCG_PARM_STRING) {
      CCgParm p = readParm(marker, &ap);
      if (namedKey != nullptr)
        event->properties.Put(namedKey, parmAsProperty(p).c_str());
      else
        event->message.parms.push_back(std::move(p));
    } else if (isLevelMarker(marker)) {
      event->level = marker;
    } else {
      ccgReportMsg(CCG_LEVEL_ERROR, 71, CCG_PARM_END);
      break;
    }
  }
  va_end(ap);
  return event;
}

void ccgBindI18MsgTo(CCgI18Msg *msg, std::string *out) {
  std::string catalogText;
  const char *tmpl = msg->defaultText.c_str();
  if (msg->catalog) {
    TisCatalog *cat = TisCatalogOpen(msg->catalog->c_str(), msg->locale, TIS_CAT_LOCALE);
    TisCatalogGetText(cat, static_cast<int>(msg->set), static_cast<int>(msg->key), tmpl, nullptr,
                      &catalogText, nullptr);
    if (cat != nullptr) TisCatalogClose(cat);
    tmpl = catalogText.c_str();
  }
  // Most traces have no parameters and no conversions: no formatting needed.
  if (msg->parms.empty() && strchr(tmpl, '%') == nullptr) {
    out->assign(tmpl);
    return;
  }
  CxPrintfArg stackArgs[16];
  std::vector<CxPrintfArg> heapArgs;
  CxPrintfArg *args = stackArgs;
  if (msg->parms.size() > 16) {
    heapArgs.resize(msg->parms.size());
    args = heapArgs.data();
  }
  for (size_t i = 0; i < msg->parms.size(); ++i) args[i] = parmAsArg(msg->parms[i]);
  CxStringBuff sb;
  CxStatus st = CxStringBuffPrintfArgs(&sb, tmpl, args, msg->parms.size());
  if (CxOK(st) && sb.length > 0)
    out->assign(sb.text, sb.length);
  else
    out->assign(msg->defaultText);  // a missing parameter: the unformatted default
  CxStringBuffDiscard(&sb);
}

char *ccgIntlBindI18Msg(CCgI18Msg *msg) {
  if (msg == nullptr) return nullptr;
  std::string text;
  ccgBindI18MsgTo(msg, &text);
  return dupString(text);
}

std::string ccgBindEventMsg(CCgEvent *event, CCgBindMsgFn bindMsg) {
  if (event->locale != nullptr) event->message.locale = event->locale;
  std::string text;
  if (bindMsg == nullptr || bindMsg == ccgIntlBindI18Msg) {
    ccgBindI18MsgTo(&event->message, &text);
  } else if (char *t = bindMsg(&event->message)) {
    text = t;
    free(t);
  }
  return text;
}

const std::string *ccgEventPropPeek(const CCgEvent *event, const char *key) {
  if (event == nullptr || key == nullptr) return nullptr;
  return event->properties.Find(key);
}

void ccgSetEventProp(CCgEvent *event, const char *key, const std::string &value) {
  if (event == nullptr || key == nullptr) return;
  event->properties.Put(key, value.c_str());
}

void ccgIntlLogVA(CCgObject *logger, int32_t level, bool isMessage, const char *catalog,
                  uint32_t set, uint32_t key, const char *defaultText, const char *srcFile,
                  const char *srcFunction, int32_t srcLine, va_list args) {
  if (!CCgIsLoggable(logger, level)) return;
  if (logger->cls == nullptr || logger->cls->kind != CCG_KIND_LOGGER || logger->cls->log == nullptr)
    return;
  CCgEvent *event = ccgIntlVaAllocEvent(level, isMessage ? catalog : nullptr, isMessage ? set : 0,
                                        isMessage ? key : 0, defaultText, args);
  if (event == nullptr) return;
  event->isMessage = isMessage;
  if (srcFile != nullptr) {
    event->properties.Put(CCG_PROP_SRCFILE, srcFile);
    event->properties.Put(CCG_PROP_SRCLINE, ccgFormatInt32(srcLine).c_str());
  }
  if (srcFunction != nullptr) event->properties.Put(CCG_PROP_SRCFUNCTION, srcFunction);
  logger->cls->log(logger, event);
  delete event;
}

// ---- public event and message operations (single-thread objects: no lock) -------------

extern "C" {

CCG_API CCgEvent *CCgVaAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                                  const char *defaultText, va_list args) {
  CCgApiLock lock;  // marker-list faults are reported through the error logger
  if (!lock.ok()) return nullptr;
  return ccgIntlVaAllocEvent(level, catalog, set, key, defaultText, args);
}

CCG_API CCgEvent *CCgAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                                const char *defaultText, ...) {
  va_list ap;
  va_start(ap, defaultText);
  CCgEvent *e = CCgVaAllocEvent(level, catalog, set, key, defaultText, ap);
  va_end(ap);
  return e;
}

CCG_API void CCgFreeEvent(CCgEvent *event) { delete event; }
CCG_API uint64_t CCgGetEventTime(const CCgEvent *event) { return event ? event->time : 0; }
CCG_API void CCgSetEventTime(CCgEvent *event, uint64_t timeMillis) {
  if (event) event->time = timeMillis;
}
CCG_API int32_t CCgGetEventLevel(const CCgEvent *event) {
  return event ? event->level : CCG_LEVEL_UNSPECIFIED;
}
CCG_API char *CCgGetEventMessageId(const CCgEvent *event) {
  return event && event->messageId ? dupString(*event->messageId) : nullptr;
}
CCG_API void CCgSetEventMessageId(CCgEvent *event, const char *messageId) {
  if (event == nullptr) return;
  if (messageId)
    event->messageId = messageId;
  else
    event->messageId.reset();
}
CCG_API CCgBool CCgGetEventIsMessage(const CCgEvent *event) { return event && event->isMessage; }
CCG_API void CCgSetEventIsMessage(CCgEvent *event, CCgBool isMessage) {
  if (event) event->isMessage = isMessage != 0;
}
CCG_API CCgI18Msg *CCgGetEventMessage(CCgEvent *event) { return event ? &event->message : nullptr; }
CCG_API char *CCgBindEventMsg(CCgEvent *event, CCgBindMsgFn bindMsg) {
  if (event == nullptr) return nullptr;
  return dupString(ccgBindEventMsg(event, bindMsg));
}

CCG_API char *CCgGetEventProp(const CCgEvent *event, const char *key, CCgBool *found) {
  const std::string *v = ccgEventPropPeek(event, key);
  if (found) *found = v != nullptr;
  return v ? dupString(*v) : nullptr;
}

#define CCG_EVENT_TYPED_GET(Suffix, Type, Parse)                                         \
  CCG_API Type CCgGetEventProp##Suffix(const CCgEvent *event, const char *key,          \
                                       CCgBool *found) {                                 \
    const std::string *v = ccgEventPropPeek(event, key);                                 \
    Type out{};                                                                          \
    bool ok = v != nullptr && Parse(v->c_str(), &out);                                   \
    if (found) *found = ok;                                                              \
    return ok ? out : Type{};                                                            \
  }
CCG_EVENT_TYPED_GET(Int, int32_t, ccgParseInt32)
CCG_EVENT_TYPED_GET(Long, int64_t, ccgParseInt64)
CCG_EVENT_TYPED_GET(Float, float, ccgParseFloat)
CCG_EVENT_TYPED_GET(Double, double, ccgParseDouble)
#undef CCG_EVENT_TYPED_GET

CCG_API CCgBool CCgGetEventPropBool(const CCgEvent *event, const char *key, CCgBool *found) {
  const std::string *v = ccgEventPropPeek(event, key);
  bool out = false;
  bool ok = v != nullptr && ccgParseBool(v->c_str(), &out);
  if (found) *found = ok;
  return ok && out;
}

CCG_API void CCgSetEventProp(CCgEvent *event, const char *key, const char *value) {
  ccgSetEventProp(event, key, value ? value : "");
}
CCG_API void CCgSetEventPropBool(CCgEvent *event, const char *key, CCgBool value) {
  ccgSetEventProp(event, key, ccgFormatBool(value != 0));
}
CCG_API void CCgSetEventPropInt(CCgEvent *event, const char *key, int32_t value) {
  ccgSetEventProp(event, key, ccgFormatInt32(value));
}
CCG_API void CCgSetEventPropLong(CCgEvent *event, const char *key, int64_t value) {
  ccgSetEventProp(event, key, ccgFormatLong(value));
}
CCG_API void CCgSetEventPropFloat(CCgEvent *event, const char *key, float value) {
  ccgSetEventProp(event, key, ccgFormatDouble(value));
}
CCG_API void CCgSetEventPropDouble(CCgEvent *event, const char *key, double value) {
  ccgSetEventProp(event, key, ccgFormatDouble(value));
}
CCG_API void CCgSetEventPropChar(CCgEvent *event, const char *key, char value) {
  ccgSetEventProp(event, key, ccgFormatChar(value));
}

CCG_API CCgI18Msg *CCgAllocI18Msg(const char *catalog, uint32_t set, uint32_t key,
                                  const char *defaultText) {
  CCgI18Msg *msg = new (std::nothrow) CCgI18Msg;
  if (msg == nullptr) return nullptr;
  if (catalog) msg->catalog = catalog;
  msg->set = set;
  msg->key = key;
  if (defaultText) msg->defaultText = defaultText;
  return msg;
}
CCG_API CCgI18Msg *CCgCopyI18Msg(const CCgI18Msg *msg) {
  return msg ? new (std::nothrow) CCgI18Msg(*msg) : nullptr;
}
CCG_API void CCgFreeI18Msg(CCgI18Msg *msg) { delete msg; }
CCG_API char *CCgBindI18Msg(CCgI18Msg *msg) { return ccgIntlBindI18Msg(msg); }
CCG_API void CCgSetI18MsgCat(CCgI18Msg *msg, const char *catalog) {
  if (msg == nullptr) return;
  if (catalog)
    msg->catalog = catalog;
  else
    msg->catalog.reset();
}
CCG_API void CCgSetI18MsgSet(CCgI18Msg *msg, uint32_t set) {
  if (msg) msg->set = set;
}
CCG_API void CCgSetI18MsgKey(CCgI18Msg *msg, uint32_t key) {
  if (msg) msg->key = key;
}
CCG_API void CCgSetI18MsgTxt(CCgI18Msg *msg, const char *defaultText) {
  if (msg) msg->defaultText = defaultText ? defaultText : "";
}
CCG_API CCgBool CCgSetI18MsgLocale(CCgI18Msg *msg, const char *localeName) {
  if (msg == nullptr) return 0;
  TisLocale *loc = nullptr;
  if (localeName != nullptr) {
    loc = TisLocaleCreate(localeName);
    if (loc == nullptr) return 0;
  }
  if (msg->ownedLocale) TisLocaleFree(msg->ownedLocale);
  msg->ownedLocale = loc;
  msg->locale = loc;
  return 1;
}

static void addParm(CCgI18Msg *msg, CCgParm p) {
  if (msg) msg->parms.push_back(std::move(p));
}
CCG_API void CCgAddI18MsgParmString(CCgI18Msg *msg, const char *value) {
  CCgParm p;
  p.type = CCG_PARM_STRING;
  p.s = value ? value : "";
  addParm(msg, std::move(p));
}
#define CCG_ADD_PARM(Suffix, Type, Marker, Field)           \
  CCG_API void CCgAddI18MsgParm##Suffix(CCgI18Msg *msg, Type value) { \
    CCgParm p;                                              \
    p.type = Marker;                                        \
    p.v.Field = value;                                      \
    addParm(msg, std::move(p));                             \
  }
CCG_ADD_PARM(Int, int32_t, CCG_PARM_INT, i)
CCG_ADD_PARM(Long, int64_t, CCG_PARM_LONG, l)
CCG_ADD_PARM(Float, float, CCG_PARM_FLOAT, f)
CCG_ADD_PARM(Double, double, CCG_PARM_DOUBLE, d)
CCG_ADD_PARM(Char, char, CCG_PARM_CHAR, c)
#undef CCG_ADD_PARM
CCG_API void CCgAddI18MsgParmBool(CCgI18Msg *msg, CCgBool value) {
  CCgParm p;
  p.type = CCG_PARM_BOOL;
  p.v.b = value != 0;
  addParm(msg, std::move(p));
}

}  // extern "C"
