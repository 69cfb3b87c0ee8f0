// The instance registry, object life cycle, properties, listeners and the
// common configuration keys of every object.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/cx.h"
#include "tis/tis.h"

namespace {

constexpr int kMaxDispatchDepth = 32;

// The instance registry in insertion order. Each entry holds one reference
// (refCount starts at 1 on insertion). Guarded by the API mutex.
// Never destroyed, like the configuration registry: usable until the very end of the process.
std::vector<CCgObject *> &g_instances = *new std::vector<CCgObject *>;

void registryRemove(CCgObject *obj) {
  for (auto it = g_instances.begin(); it != g_instances.end(); ++it) {
    if (*it == obj) {
      g_instances.erase(it);
      return;
    }
  }
}

void releaseListeners(CCgObject *obj) {
  if (!obj->listeners) return;
  std::vector<CCgObject *> old;
  old.swap(*obj->listeners);
  for (CCgObject *l : old) ccgIntlReleaseObject(l);
}

void destroyObject(CCgObject *obj) {
  registryRemove(obj);
  uint32_t kind = obj->cls != nullptr ? obj->cls->kind : 0;
  if (kind == CCG_KIND_HANDLER && obj->cls->close != nullptr) obj->cls->close(obj);
  obj->properties.reset();
  releaseListeners(obj);
  if (obj->vars != nullptr && obj->cls != nullptr && obj->cls->freeVars != nullptr)
    obj->cls->freeVars(obj, obj->vars);
  obj->vars = nullptr;
  if (kind == CCG_KIND_HANDLER && obj->formatter != nullptr) {
    CCgObject *f = obj->formatter;
    obj->formatter = nullptr;
    ccgIntlReleaseObject(f);
  }
  if (obj->locale != nullptr) TisLocaleFree(obj->locale);
  delete obj;
}

bool isBlankSep(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

// The description record of the class, made from nothing when it has none.
CCgI18Msg *classDescription(CCgObject *obj) {
  if (obj->cls == nullptr) return nullptr;
  if (!obj->cls->description) obj->cls->description = std::make_unique<CCgI18Msg>();
  return obj->cls->description.get();
}

std::string trimmed(const char *text) {
  const char *b = text;
  while (*b == ' ' || *b == '\t') ++b;
  const char *e = b + strlen(b);
  while (e > b && (e[-1] == ' ' || e[-1] == '\t')) --e;
  return std::string(b, e);
}

}  // namespace

// ---- typed property text ---------------------------------------------------------

bool ccgParseBool(const char *text, bool *out) {
  if (text == nullptr) return false;
  std::string t = trimmed(text);
  static const char *const kTrue[] = {"true", "yes", "on", "1"};
  static const char *const kFalse[] = {"false", "no", "off", "0"};
  for (const char *w : kTrue)
    if (TosStringICmp(t.c_str(), w) == 0) return *out = true, true;
  for (const char *w : kFalse)
    if (TosStringICmp(t.c_str(), w) == 0) return *out = false, true;
  return false;
}

bool ccgParseInt64(const char *text, int64_t *out) {
  if (text == nullptr) return false;
  std::string t = trimmed(text);
  if (t.empty()) return false;
  char *end = nullptr;
  errno = 0;
  long long v = strtoll(t.c_str(), &end, 10);
  if (errno != 0 || *end != '\0') return false;
  *out = v;
  return true;
}

bool ccgParseInt32(const char *text, int32_t *out) {
  int64_t v;
  if (!ccgParseInt64(text, &v) || v < INT32_MIN || v > INT32_MAX) return false;
  *out = static_cast<int32_t>(v);
  return true;
}

bool ccgParseDouble(const char *text, double *out) {
  if (text == nullptr) return false;
  std::string t = trimmed(text);
  if (t.empty()) return false;
  char *end = nullptr;
  errno = 0;
  double v = strtod(t.c_str(), &end);
  if (errno == ERANGE || *end != '\0') return false;
  *out = v;
  return true;
}

bool ccgParseFloat(const char *text, float *out) {
  double v;
  if (!ccgParseDouble(text, &v)) return false;
  *out = static_cast<float>(v);
  return true;
}

std::string ccgFormatBool(bool v) { return v ? "true" : "false"; }
std::string ccgFormatInt32(int32_t v) { return std::to_string(v); }
std::string ccgFormatLong(int64_t v) {
  // Deliberately only the low 32 bits, as a signed number.
  return std::to_string(static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v))));
}
std::string ccgFormatDouble(double v) {
  char buf[512];
  snprintf(buf, sizeof buf, "%f", v);
  return buf;
}
std::string ccgFormatChar(char v) { return std::string(1, v); }

// ---- registry and life cycle --------------------------------------------------------

CCgObject *ccgIntlFindObject(const char *name) {
  if (name == nullptr) return nullptr;
  for (CCgObject *obj : g_instances) {
    if (obj->name == name) return ccgIntlAcquireObject(obj);
  }
  return nullptr;
}

CCgObject *ccgIntlAcquireObject(CCgObject *obj) {
  if (obj != nullptr) ++obj->refCount;
  return obj;
}

void ccgIntlReleaseObject(CCgObject *obj) {
  if (obj == nullptr) return;
  // Compared with 1, not 0: the registry's own reference is never released
  // separately, so 1 means nobody but the registry holds the object.
  if (--obj->refCount == 1) destroyObject(obj);
}

CCgObject *ccgIntlGetObject(const char *name, const char *className) {
  if (name == nullptr) return nullptr;
  if (CCgObject *found = ccgIntlFindObject(name)) {
    if (found->cls == nullptr) {
      ccgReportMsg(CCG_LEVEL_ERROR, 60, CCG_PARM_STRING, name, CCG_PARM_END);
      ccgIntlReleaseObject(found);
      return nullptr;
    }
    if (className == nullptr || found->cls->name == className) return found;
    ccgReportMsg(CCG_LEVEL_ERROR, 61, CCG_PARM_STRING, name, CCG_PARM_STRING,
                 found->cls->name.c_str(), CCG_PARM_STRING, className, CCG_PARM_END);
    ccgIntlReleaseObject(found);
    return nullptr;
  }

  CCgObjClass *cls = nullptr;
  if (className != nullptr) {
    cls = ccgFindClass(className);
    if (cls == nullptr) {
      ccgReportMsg(CCG_LEVEL_ERROR, 62, CCG_PARM_STRING, className, CCG_PARM_STRING, name,
                   CCG_PARM_END);
      return nullptr;
    }
  } else {
    CCgObjCfg *cfg = ccgIntlLogMgrGetCfg(name);
    std::optional<std::string> cfgClass;
    if (cfg != nullptr) cfgClass = ccgIntlGetInheritedObjCfgProp(cfg, "className");
    ccgIntlReleaseObjCfg(cfg);
    if (!cfgClass) {
      ccgReportMsg(CCG_LEVEL_ERROR, 63, CCG_PARM_STRING, name, CCG_PARM_END);
      return nullptr;
    }
    cls = ccgFindClass(cfgClass->c_str());
    if (cls == nullptr) {
      ccgReportMsg(CCG_LEVEL_ERROR, 62, CCG_PARM_STRING, cfgClass->c_str(), CCG_PARM_STRING, name,
                   CCG_PARM_END);
      return nullptr;
    }
  }

  CCgObject *obj = new (std::nothrow) CCgObject;
  if (obj == nullptr) {
    ccgReportMsg(CCG_LEVEL_ERROR, 20, CCG_PARM_END);
    return nullptr;
  }
  obj->cls = cls;
  obj->name = name;
  if (cls->kind == CCG_KIND_LOGGER) obj->level.store(CCG_LEVEL_DEBUG_MIN, std::memory_order_relaxed);
  if (cls->kind == CCG_KIND_HANDLER)
    obj->formatter = ccgIntlGetObject("cclog.defaultFormatter", "ccg_basicformatter");
  if (cls->allocVars != nullptr) obj->vars = cls->allocVars(obj);

  g_instances.push_back(obj);
  // The registry's reference and the caller's, taken before the configuration
  // is applied: class code run by the configuration may look the object up and
  // release it again, which must not find it held by the registry alone.
  obj->refCount = 2;
  ccgIntlLogMgrApplyCfg(obj, name);
  return obj;
}

void ccgObjectsFreeAll() {
  // Handlers close first, while their formatters and private data are intact,
  // so trailers are written; then private data goes, then the records.
  std::vector<CCgObject *> all;
  all.swap(g_instances);
  for (CCgObject *obj : all) {
    if (obj->cls != nullptr && obj->cls->kind == CCG_KIND_HANDLER && obj->cls->close != nullptr)
      obj->cls->close(obj);
  }
  for (CCgObject *obj : all) {
    if (obj->vars != nullptr && obj->cls != nullptr && obj->cls->freeVars != nullptr)
      obj->cls->freeVars(obj, obj->vars);
    obj->vars = nullptr;
  }
  for (CCgObject *obj : all) {
    if (obj->locale != nullptr) TisLocaleFree(obj->locale);
    delete obj;
  }
}

// ---- properties ------------------------------------------------------------------------

const std::string *ccgObjPropPeek(const CCgObject *obj, const char *key) {
  if (obj == nullptr || key == nullptr || !obj->properties) return nullptr;
  return obj->properties->Find(key);
}

void ccgNotifyObjCfgChange(CCgObject *obj, const char *key) {
  if (obj != nullptr && obj->cls != nullptr && obj->cls->cfgChange != nullptr)
    obj->cls->cfgChange(obj, key);
}

void ccgIntlSetObjProp(CCgObject *obj, const char *key, const char *value) {
  if (obj == nullptr || key == nullptr) return;
  if (!obj->properties) obj->properties = std::make_unique<StringMap>();
  obj->properties->Put(key, value != nullptr ? value : "");
  ccgNotifyObjCfgChange(obj, key);
}

// ---- listeners ---------------------------------------------------------------------------

bool ccgIntlAddListener(CCgObject *obj, CCgObject *listener) {
  // An object never listens to itself: configurations inherit from their
  // dotted parents, so "a.listenerNames = a.b" would otherwise make a.b its
  // own listener and every event would loop.
  if (obj == nullptr || listener == nullptr || obj == listener) return false;
  if (!obj->listeners) obj->listeners = std::make_unique<std::vector<CCgObject *>>();
  for (CCgObject *l : *obj->listeners)
    if (l == listener) return false;
  obj->listeners->push_back(ccgIntlAcquireObject(listener));
  return true;
}

bool ccgIntlRemListener(CCgObject *obj, CCgObject *listener) {
  if (obj == nullptr || listener == nullptr || !obj->listeners) return false;
  auto &group = *obj->listeners;
  for (auto it = group.begin(); it != group.end(); ++it) {
    if (*it == listener) {
      group.erase(it);
      ccgIntlReleaseObject(listener);
      return true;
    }
  }
  return false;
}

void ccgIntlClearListeners(CCgObject *obj) {
  if (obj != nullptr) releaseListeners(obj);
}

void ccgDispatchToListeners(CCgObject *obj, CCgEvent *event) {
  if (!obj->listeners) return;
  // A cycle of listeners (a -> b -> a) is cut at a fixed depth instead of
  // exhausting the stack.
  static thread_local int depth = 0;
  if (depth >= kMaxDispatchDepth) return;
  struct DepthScope {
    DepthScope() { ++depth; }
    ~DepthScope() { --depth; }
  } scope;
  // By index: a listener's work may change this group (it rarely does), and the
  // listener is held for the duration of its call.
  for (size_t i = 0; i < obj->listeners->size(); ++i) {
    CCgObject *l = (*obj->listeners)[i];
    if (l->cls == nullptr || l->cls->process == nullptr) continue;
    uint32_t kind = l->cls->kind;
    if (kind != CCG_KIND_FILTER && kind != CCG_KIND_HANDLER) continue;
    ccgIntlAcquireObject(l);
    l->cls->process(l, event);
    ccgIntlReleaseObject(l);
  }
}

void ccgIntlSetHandlerFormatter(CCgObject *handler, CCgObject *formatter) {
  if (handler == nullptr || formatter == nullptr || handler->formatter == formatter) return;
  CCgObject *old = handler->formatter;
  handler->formatter = ccgIntlAcquireObject(formatter);
  ccgIntlReleaseObject(old);
}

// ---- the common operations of every object ---------------------------------------------------

extern "C" {

CCG_API void CCgBasicObjectFLog(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || event == nullptr || obj->enabled.load(std::memory_order_relaxed) == 0) return;
  if (obj->cls != nullptr && obj->cls->kind == CCG_KIND_LOGGER &&
      (!obj->listeners || obj->listeners->empty())) {
    ccgReportMsg(CCG_LEVEL_ERROR, 1, CCG_PARM_STRING, obj->name.c_str(), CCG_PARM_END);
    return;
  }
  ccgDispatchToListeners(obj, event);
}

CCG_API void CCgBasicObjectFCfgChange(CCgObject *obj, const char *key) {
  if (obj == nullptr || key == nullptr) return;
  const std::string *value = ccgObjPropPeek(obj, key);
  if (value == nullptr) return;
  if (strcmp(key, "description") == 0) {
    if (CCgI18Msg *d = classDescription(obj)) d->defaultText = *value;
  } else if (strcmp(key, "descriptionFile") == 0) {
    if (CCgI18Msg *d = classDescription(obj)) d->catalog = *value;
  } else if (strcmp(key, "descriptionSet") == 0 || strcmp(key, "descriptionKey") == 0) {
    int32_t n;
    if (!ccgParseInt32(value->c_str(), &n)) return;
    if (CCgI18Msg *d = classDescription(obj)) {
      if (key[11] == 'S')
        d->set = static_cast<uint32_t>(n);
      else
        d->key = static_cast<uint32_t>(n);
    }
  } else if (strcmp(key, "logging") == 0) {
    if (TosStringICmp(value->c_str(), "on") == 0 || TosStringICmp(value->c_str(), "true") == 0)
      obj->enabled.store(1, std::memory_order_relaxed);
    else if (TosStringICmp(value->c_str(), "off") == 0 || TosStringICmp(value->c_str(), "false") == 0)
      obj->enabled.store(0, std::memory_order_relaxed);
  } else if (strcmp(key, "listenerNames") == 0) {
    std::string names = *value;  // the property may change while listeners are made
    releaseListeners(obj);
    size_t i = 0;
    while (i < names.size()) {
      while (i < names.size() && isBlankSep(names[i])) ++i;
      size_t start = i;
      while (i < names.size() && !isBlankSep(names[i])) ++i;
      if (i == start) break;
      std::string word = names.substr(start, i - start);
      CCgObject *l = ccgIntlGetObject(word.c_str(), nullptr);
      if (l != nullptr) {
        ccgIntlAddListener(obj, l);
        ccgIntlReleaseObject(l);
      }
    }
  }
}

}  // extern "C"
