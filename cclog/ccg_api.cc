// The public toolkit operations on objects, configurations and iterators: each
// takes the API mutex and calls the internal operation of the same name.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

// A snapshot taken under the API mutex: names, key/value pairs, or held objects.
struct CCgIterator {
  std::vector<std::string> keys;
  std::vector<std::string> vals;   // key/value iterators only
  std::vector<CCgObject *> objs;   // object iterators only; each held
  size_t pos = 0;
};

namespace {

char *dupString(const std::string &s) {
  char *p = static_cast<char *>(malloc(s.size() + 1));
  if (p != nullptr) memcpy(p, s.c_str(), s.size() + 1);
  return p;
}

CCgIterator *namesIterator(std::vector<std::string> names) {
  CCgIterator *it = new (std::nothrow) CCgIterator;
  if (it != nullptr) it->keys = std::move(names);
  return it;
}

CCgIterator *classIterator(uint32_t kind) {
  CCgApiLock lock;
  if (!lock.ok()) return nullptr;
  ccgToolkitInitObjClasses();
  return namesIterator(ccgClassNamesOfKind(kind));
}

template <typename T, typename Parse>
T typedGet(const std::string *v, CCgBool *found, Parse parse) {
  T out{};
  bool ok = v != nullptr && parse(v->c_str(), &out);
  if (found) *found = ok;
  return ok ? out : T{};
}

// Runs fn(value) on a copy of the object's property, under the lock.
template <typename T, typename Parse>
T objTypedGet(CCgObject *obj, const char *key, CCgBool *found, Parse parse) {
  CCgApiLock lock;
  if (!lock.ok()) {
    if (found) *found = 0;
    return T{};
  }
  return typedGet<T>(ccgObjPropPeek(obj, key), found, parse);
}

template <typename T, typename Parse>
T cfgTypedGet(CCgObjCfg *cfg, const char *key, CCgBool *found, Parse parse) {
  CCgApiLock lock;
  if (!lock.ok()) {
    if (found) *found = 0;
    return T{};
  }
  return typedGet<T>(ccgObjCfgPropPeek(cfg, key), found, parse);
}

void setObjProp(CCgObject *obj, const char *key, const std::string &value) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlSetObjProp(obj, key, value.c_str());
}

void setCfgProp(CCgObjCfg *cfg, const char *key, const std::string &value) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlSetObjCfgProp(cfg, key, value.c_str());
}

bool parseBool(const char *t, CCgBool *out) {
  bool b;
  if (!ccgParseBool(t, &b)) return false;
  *out = b ? 1 : 0;
  return true;
}

}  // namespace

extern "C" {

// ---- classes and iterators -----------------------------------------------------------

CCG_API CCgIterator *CCgGetLoggerClasses(void) { return classIterator(CCG_KIND_LOGGER); }
CCG_API CCgIterator *CCgGetFilterClasses(void) { return classIterator(CCG_KIND_FILTER); }
CCG_API CCgIterator *CCgGetHandlerClasses(void) { return classIterator(CCG_KIND_HANDLER); }
CCG_API CCgIterator *CCgGetFormatterClasses(void) { return classIterator(CCG_KIND_FORMATTER); }

CCG_API CCgBool CCgIteratorHasNext(const CCgIterator *it) {
  return it != nullptr && it->pos < it->keys.size() + it->objs.size();
}
CCG_API void CCgIteratorNext(CCgIterator *it) {
  if (CCgIteratorHasNext(it)) ++it->pos;
}
CCG_API char *CCgIteratorGetKey(const CCgIterator *it) {
  if (it == nullptr) return nullptr;
  if (it->pos < it->keys.size()) return dupString(it->keys[it->pos]);
  if (it->pos < it->objs.size()) return dupString(it->objs[it->pos]->name);
  return nullptr;
}
CCG_API char *CCgIteratorGetVal(const CCgIterator *it) {
  if (it == nullptr || it->pos >= it->vals.size()) return nullptr;
  return dupString(it->vals[it->pos]);
}
CCG_API CCgObject *CCgIteratorGetObject(const CCgIterator *it) {
  if (it == nullptr || it->pos >= it->objs.size()) return nullptr;
  CCgApiLock lock;
  if (!lock.ok()) return nullptr;
  return ccgIntlAcquireObject(it->objs[it->pos]);
}
CCG_API void CCgFreeIterator(CCgIterator *it) {
  if (it == nullptr) return;
  if (!it->objs.empty()) {
    CCgApiLock lock;
    if (lock.ok())
      for (CCgObject *o : it->objs) ccgIntlReleaseObject(o);
  }
  delete it;
}

// ---- objects ---------------------------------------------------------------------------

CCG_API CCgObject *CCgGetObject(const char *name, const char *className) {
  CCgApiLock lock;
  if (!lock.ok()) return nullptr;
  ccgToolkitInitObjClasses();
  return ccgIntlGetObject(name, className);
}
CCG_API CCgObject *CCgAcquireObject(CCgObject *obj) {
  CCgApiLock lock;
  return lock.ok() ? ccgIntlAcquireObject(obj) : nullptr;
}
CCG_API void CCgReleaseObject(CCgObject *obj) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlReleaseObject(obj);
}
CCG_API char *CCgGetObjectName(CCgObject *obj) {
  CCgApiLock lock;
  return lock.ok() && obj ? dupString(obj->name) : nullptr;
}
CCG_API char *CCgGetObjectDesc(CCgObject *obj) {
  CCgApiLock lock;
  if (!lock.ok() || obj == nullptr || obj->cls == nullptr || !obj->cls->description) return nullptr;
  CCgI18Msg copy(*obj->cls->description);
  return ccgIntlBindI18Msg(&copy);
}
CCG_API char *CCgGetObjectClassName(CCgObject *obj) {
  CCgApiLock lock;
  return lock.ok() && obj && obj->cls ? dupString(obj->cls->name) : nullptr;
}
CCG_API uint32_t CCgGetObjectKind(CCgObject *obj) {
  CCgApiLock lock;
  return lock.ok() && obj && obj->cls ? obj->cls->kind : 0;
}
CCG_API CCgBool CCgAreObjectsEqual(const CCgObject *a, const CCgObject *b) { return a == b; }
CCG_API CCgBool CCgIsObjectEnabled(CCgObject *obj) {
  return obj != nullptr && obj->enabled.load(std::memory_order_relaxed) != 0;
}
CCG_API void CCgSetObjectEnabled(CCgObject *obj, CCgBool enabled) {
  CCgApiLock lock;
  if (lock.ok() && obj) obj->enabled.store(enabled ? 1 : 0, std::memory_order_relaxed);
}
CCG_API int32_t CCgGetObjectLevel(CCgObject *obj) {
  if (obj == nullptr || obj->cls == nullptr ||
      (obj->cls->kind != CCG_KIND_LOGGER && obj->cls->kind != CCG_KIND_FILTER))
    return CCG_LEVEL_UNSPECIFIED;
  return obj->level.load(std::memory_order_relaxed);
}
CCG_API CCgObject *CCgGetHandlerFormatter(CCgObject *handler) {
  CCgApiLock lock;
  if (!lock.ok() || handler == nullptr || handler->cls == nullptr ||
      handler->cls->kind != CCG_KIND_HANDLER)
    return nullptr;
  return ccgIntlAcquireObject(handler->formatter);
}
CCG_API void *CCgGetObjectVars(CCgObject *obj) { return obj ? obj->vars : nullptr; }

CCG_API char *CCgGetObjProp(CCgObject *obj, const char *key, CCgBool *found) {
  CCgApiLock lock;
  const std::string *v = lock.ok() ? ccgObjPropPeek(obj, key) : nullptr;
  if (found) *found = v != nullptr;
  return v ? dupString(*v) : nullptr;
}
CCG_API CCgBool CCgGetObjPropBool(CCgObject *obj, const char *key, CCgBool *found) {
  return objTypedGet<CCgBool>(obj, key, found, parseBool);
}
CCG_API int32_t CCgGetObjPropInt(CCgObject *obj, const char *key, CCgBool *found) {
  return objTypedGet<int32_t>(obj, key, found, ccgParseInt32);
}
CCG_API int64_t CCgGetObjPropLong(CCgObject *obj, const char *key, CCgBool *found) {
  return objTypedGet<int64_t>(obj, key, found, ccgParseInt64);
}
CCG_API float CCgGetObjPropFloat(CCgObject *obj, const char *key, CCgBool *found) {
  return objTypedGet<float>(obj, key, found, ccgParseFloat);
}
CCG_API double CCgGetObjPropDouble(CCgObject *obj, const char *key, CCgBool *found) {
  return objTypedGet<double>(obj, key, found, ccgParseDouble);
}

CCG_API void CCgSetObjProp(CCgObject *obj, const char *key, const char *value) {
  setObjProp(obj, key, value ? value : "");
}
CCG_API void CCgSetObjPropBool(CCgObject *obj, const char *key, CCgBool value) {
  setObjProp(obj, key, ccgFormatBool(value != 0));
}
CCG_API void CCgSetObjPropInt(CCgObject *obj, const char *key, int32_t value) {
  setObjProp(obj, key, ccgFormatInt32(value));
}
CCG_API void CCgSetObjPropLong(CCgObject *obj, const char *key, int64_t value) {
  setObjProp(obj, key, ccgFormatLong(value));
}
CCG_API void CCgSetObjPropFloat(CCgObject *obj, const char *key, float value) {
  setObjProp(obj, key, ccgFormatDouble(value));
}
CCG_API void CCgSetObjPropDouble(CCgObject *obj, const char *key, double value) {
  setObjProp(obj, key, ccgFormatDouble(value));
}
CCG_API void CCgSetObjPropChar(CCgObject *obj, const char *key, char value) {
  setObjProp(obj, key, ccgFormatChar(value));
}

CCG_API CCgBool CCgAddListener(CCgObject *obj, CCgObject *listener) {
  CCgApiLock lock;
  return lock.ok() && ccgIntlAddListener(obj, listener);
}
CCG_API CCgBool CCgRemListener(CCgObject *obj, CCgObject *listener) {
  CCgApiLock lock;
  return lock.ok() && ccgIntlRemListener(obj, listener);
}
CCG_API CCgIterator *CCgGetListeners(CCgObject *obj) {
  CCgApiLock lock;
  if (!lock.ok() || obj == nullptr) return nullptr;
  CCgIterator *it = new (std::nothrow) CCgIterator;
  if (it == nullptr) return nullptr;
  if (obj->listeners)
    for (CCgObject *l : *obj->listeners) it->objs.push_back(ccgIntlAcquireObject(l));
  return it;
}

CCG_API CCgBool CCgIsLoggableByFilter(CCgObject *filter, CCgEvent *event) {
  CCgApiLock lock;
  if (!lock.ok() || filter == nullptr || filter->cls == nullptr ||
      filter->cls->kind != CCG_KIND_FILTER || filter->cls->isLoggable == nullptr)
    return 0;
  return filter->cls->isLoggable(filter, event) ? 1 : 0;
}

// ---- log manager and configurations ----------------------------------------------------

CCG_API CCgObjCfg *CCgLogMgrGetCfg(const char *name) {
  CCgApiLock lock;
  return lock.ok() ? ccgIntlLogMgrGetCfg(name) : nullptr;
}
CCG_API void CCgLogMgrAddCfg(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlLogMgrAddCfg(cfg);
}
CCG_API void CCgLogMgrRemCfg(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlLogMgrRemCfg(cfg);
}
CCG_API void CCgLogMgrUpdateCfg(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlLogMgrUpdateCfg(cfg);
}
CCG_API CCgBool CCgLogMgrHasCfg(const char *name) {
  CCgApiLock lock;
  return lock.ok() && ccgIntlLogMgrHasCfg(name);
}
CCG_API CCgIterator *CCgLogMgrConfigNames(void) {
  CCgApiLock lock;
  return lock.ok() ? namesIterator(ccgLogMgrConfigNamesSnapshot()) : nullptr;
}
CCG_API CCgBool CCgLogMgrApplyCfg(CCgObject *obj, const char *name) {
  CCgApiLock lock;
  return lock.ok() && ccgIntlLogMgrApplyCfg(obj, name);
}
CCG_API CCgBool CCgLogMgrReadProps(const char *fileName) {
  CCgApiLock lock;
  return lock.ok() && ccgIntlLogMgrReadProps(fileName);
}

CCG_API CCgObjCfg *CCgAllocObjCfg(const char *name) {
  CCgApiLock lock;
  return lock.ok() ? ccgIntlAllocObjCfg(name) : nullptr;
}
CCG_API CCgObjCfg *CCgAcquireObjCfg(CCgObjCfg *cfg) {
  CCgApiLock lock;
  return lock.ok() ? ccgIntlAcquireObjCfg(cfg) : nullptr;
}
CCG_API void CCgReleaseObjCfg(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (lock.ok()) ccgIntlReleaseObjCfg(cfg);
}
CCG_API char *CCgObjCfgGetName(CCgObjCfg *cfg) {
  CCgApiLock lock;
  return lock.ok() && cfg ? dupString(cfg->name) : nullptr;
}
CCG_API CCgBool CCgObjCfgIsFromFile(CCgObjCfg *cfg) {
  CCgApiLock lock;
  return lock.ok() && cfg && cfg->fromFile;
}
CCG_API void CCgObjCfgSetFromFile(CCgObjCfg *cfg, CCgBool fromFile) {
  CCgApiLock lock;
  if (lock.ok() && cfg) cfg->fromFile = fromFile != 0;
}
CCG_API CCgObjCfg *CCgObjCfgGetParent(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr || !cfg->parentName) return nullptr;
  return ccgIntlLogMgrFindCfg(cfg->parentName->c_str());
}
CCG_API void CCgObjCfgSetParent(CCgObjCfg *cfg, const char *parentName) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr) return;
  if (parentName)
    cfg->parentName = parentName;
  else
    cfg->parentName.reset();
}
CCG_API void CCgObjCfgAddChild(CCgObjCfg *cfg, const char *childName) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr || childName == nullptr) return;
  if (!cfg->children) cfg->children = std::make_unique<std::vector<std::string>>();
  for (const std::string &c : *cfg->children)
    if (c == childName) return;
  cfg->children->push_back(childName);
}
CCG_API void CCgObjCfgRemChild(CCgObjCfg *cfg, const char *childName) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr || childName == nullptr || !cfg->children) return;
  auto &c = *cfg->children;
  for (auto it = c.begin(); it != c.end(); ++it) {
    if (*it == childName) {
      c.erase(it);
      return;
    }
  }
}
CCG_API CCgIterator *CCgObjCfgChildrenNames(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr) return nullptr;
  return namesIterator(cfg->children ? *cfg->children : std::vector<std::string>{});
}
CCG_API CCgIterator *CCgObjCfgProperties(CCgObjCfg *cfg) {
  CCgApiLock lock;
  if (!lock.ok() || cfg == nullptr) return nullptr;
  CCgIterator *it = new (std::nothrow) CCgIterator;
  if (it == nullptr) return nullptr;
  for (const auto &e : cfg->properties.Entries()) {
    it->keys.push_back(e.first);
    it->vals.push_back(e.second);
  }
  return it;
}

CCG_API char *CCgGetObjCfgProp(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  CCgApiLock lock;
  const std::string *v = lock.ok() ? ccgObjCfgPropPeek(cfg, key) : nullptr;
  if (found) *found = v != nullptr;
  return v ? dupString(*v) : nullptr;
}
CCG_API CCgBool CCgGetObjCfgPropBool(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  return cfgTypedGet<CCgBool>(cfg, key, found, parseBool);
}
CCG_API int32_t CCgGetObjCfgPropInt(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  return cfgTypedGet<int32_t>(cfg, key, found, ccgParseInt32);
}
CCG_API int64_t CCgGetObjCfgPropLong(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  return cfgTypedGet<int64_t>(cfg, key, found, ccgParseInt64);
}
CCG_API float CCgGetObjCfgPropFloat(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  return cfgTypedGet<float>(cfg, key, found, ccgParseFloat);
}
CCG_API double CCgGetObjCfgPropDouble(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  return cfgTypedGet<double>(cfg, key, found, ccgParseDouble);
}
CCG_API char *CCgGetInheritedObjCfgProp(CCgObjCfg *cfg, const char *key, CCgBool *found) {
  CCgApiLock lock;
  std::optional<std::string> v;
  if (lock.ok() && cfg != nullptr && key != nullptr) v = ccgIntlGetInheritedObjCfgProp(cfg, key);
  if (found) *found = v.has_value();
  return v ? dupString(*v) : nullptr;
}

CCG_API void CCgSetObjCfgProp(CCgObjCfg *cfg, const char *key, const char *value) {
  setCfgProp(cfg, key, value ? value : "");
}
CCG_API void CCgSetObjCfgPropBool(CCgObjCfg *cfg, const char *key, CCgBool value) {
  setCfgProp(cfg, key, ccgFormatBool(value != 0));
}
CCG_API void CCgSetObjCfgPropInt(CCgObjCfg *cfg, const char *key, int32_t value) {
  setCfgProp(cfg, key, ccgFormatInt32(value));
}
CCG_API void CCgSetObjCfgPropLong(CCgObjCfg *cfg, const char *key, int64_t value) {
  setCfgProp(cfg, key, ccgFormatLong(value));
}
CCG_API void CCgSetObjCfgPropFloat(CCgObjCfg *cfg, const char *key, float value) {
  setCfgProp(cfg, key, ccgFormatDouble(value));
}
CCG_API void CCgSetObjCfgPropDouble(CCgObjCfg *cfg, const char *key, double value) {
  setCfgProp(cfg, key, ccgFormatDouble(value));
}

}  // extern "C"
