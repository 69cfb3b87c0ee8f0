// The log manager: the registry of dotted-name configurations, their tree, and
// applying a configuration (with its ancestors) to an object.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

// Guarded by the API mutex. The registry holds one reference on each
// configuration; g_cfgNames keeps the names in order of addition.
bool g_logMgrInit = false;
// Never destroyed: the toolkit may still be used while static objects are
// torn down at exit (and what they hold stays reachable for leak checkers).
std::vector<CCgObjCfg *> &g_cfgRegistry = *new std::vector<CCgObjCfg *>;
std::vector<std::string> &g_cfgNames = *new std::vector<std::string>;

CCgObjCfg *registryLookup(const char *name) {
  for (CCgObjCfg *cfg : g_cfgRegistry)
    if (cfg->name == name) return cfg;
  return nullptr;
}

void addChildName(CCgObjCfg *cfg, const std::string &child) {
  if (!cfg->children) cfg->children = std::make_unique<std::vector<std::string>>();
  if (std::find(cfg->children->begin(), cfg->children->end(), child) == cfg->children->end())
    cfg->children->push_back(child);
}

void remChildName(CCgObjCfg *cfg, const std::string &child) {
  if (!cfg->children) return;
  auto &c = *cfg->children;
  c.erase(std::remove(c.begin(), c.end(), child), c.end());
}

}  // namespace

bool ccgLogMgrInit() {
  // Configurations made before the toolkit was opened (objects may be made
  // first) are kept: the application may have configured them on purpose.
  g_logMgrInit = true;
  return true;
}

void ccgLogMgrClose() {
  g_cfgNames.clear();
  std::vector<CCgObjCfg *> all;
  all.swap(g_cfgRegistry);
  for (CCgObjCfg *cfg : all) ccgIntlReleaseObjCfg(cfg);
  g_logMgrInit = false;
}

std::vector<std::string> ccgLogMgrConfigNamesSnapshot() { return g_cfgNames; }

CCgObjCfg *ccgIntlAllocObjCfg(const char *name) {
  if (name == nullptr) return nullptr;
  CCgObjCfg *cfg = new (std::nothrow) CCgObjCfg;
  if (cfg == nullptr) {
    ccgReportMsg(CCG_LEVEL_ERROR, 20, CCG_PARM_END);
    return nullptr;
  }
  cfg->name = name;
  return cfg;
}

CCgObjCfg *ccgIntlAcquireObjCfg(CCgObjCfg *cfg) {
  if (cfg != nullptr) ++cfg->refCount;
  return cfg;
}

void ccgIntlReleaseObjCfg(CCgObjCfg *cfg) {
  if (cfg != nullptr && --cfg->refCount == 0) delete cfg;
}

std::string ccgLogMgrGetParentConfigName(CCgObjCfg *cfg) {
  if (cfg->parentName) return *cfg->parentName;
  std::string prefix = cfg->name;
  for (;;) {
    size_t dot = prefix.rfind('.');
    if (dot == std::string::npos) return "/";
    prefix.resize(dot);
    if (registryLookup(prefix.c_str()) != nullptr) {
      cfg->parentName = prefix;
      return prefix;
    }
  }
}

bool ccgIntlLogMgrHasCfg(const char *name) {
  return name != nullptr && registryLookup(name) != nullptr;
}

CCgObjCfg *ccgIntlLogMgrFindCfg(const char *name) {
  if (name == nullptr) return nullptr;
  return ccgIntlAcquireObjCfg(registryLookup(name));
}

void ccgIntlLogMgrAddCfg(CCgObjCfg *cfg) {
  if (cfg == nullptr || registryLookup(cfg->name.c_str()) != nullptr) return;
  g_cfgRegistry.push_back(ccgIntlAcquireObjCfg(cfg));
  std::string parentName = ccgLogMgrGetParentConfigName(cfg);
  CCgObjCfg *parent = parentName == "/" ? nullptr : registryLookup(parentName.c_str());
  if (parent != nullptr) {
    cfg->parentName = parentName;
    // Children whose parent by the naming rule is no longer `parent` move under
    // cfg. A child's stored parentName is always its current parent's, so this
    // moves nothing in practice: configurations made earlier keep their parent
    // even when one is added between them, and inheritance follows the stored
    // names.
    if (parent->children) {
      std::vector<std::string> kids = *parent->children;
      for (const std::string &kid : kids) {
        CCgObjCfg *k = registryLookup(kid.c_str());
        if (k == nullptr || k == cfg) continue;
        if (ccgLogMgrGetParentConfigName(k) != parent->name) {
          remChildName(parent, kid);
          k->parentName = cfg->name;
          addChildName(cfg, kid);
        }
      }
    }
    addChildName(parent, cfg->name);
  }
  g_cfgNames.push_back(cfg->name);
}

void ccgIntlLogMgrRemCfg(CCgObjCfg *cfg) {
  if (cfg == nullptr) return;
  auto it = std::find(g_cfgRegistry.begin(), g_cfgRegistry.end(), cfg);
  if (it == g_cfgRegistry.end()) return;
  g_cfgRegistry.erase(it);
  CCgObjCfg *parent = cfg->parentName ? registryLookup(cfg->parentName->c_str()) : nullptr;
  if (parent != nullptr) remChildName(parent, cfg->name);
  if (cfg->children) {
    for (const std::string &kid : *cfg->children) {
      CCgObjCfg *k = registryLookup(kid.c_str());
      if (k == nullptr) continue;
      if (parent != nullptr) {
        k->parentName = parent->name;
        addChildName(parent, kid);
      } else {
        k->parentName.reset();
      }
    }
    cfg->children->clear();
  }
  g_cfgNames.erase(std::remove(g_cfgNames.begin(), g_cfgNames.end(), cfg->name), g_cfgNames.end());
  ccgIntlReleaseObjCfg(cfg);
}

void ccgIntlLogMgrUpdateCfg(CCgObjCfg *cfg) {
  if (cfg == nullptr || std::find(g_cfgRegistry.begin(), g_cfgRegistry.end(), cfg) == g_cfgRegistry.end())
    return;
  ccgIntlAcquireObjCfg(cfg);  // removal drops the registry's reference
  ccgIntlLogMgrRemCfg(cfg);
  ccgIntlLogMgrAddCfg(cfg);
  ccgIntlReleaseObjCfg(cfg);
}

CCgObjCfg *ccgIntlLogMgrGetCfg(const char *name) {
  if (name == nullptr || strcmp(name, "/") == 0) return nullptr;
  if (CCgObjCfg *found = registryLookup(name)) return ccgIntlAcquireObjCfg(found);
  CCgObjCfg *cfg = ccgIntlAllocObjCfg(name);
  if (cfg == nullptr) return nullptr;
  ccgIntlLogMgrAddCfg(cfg);
  return cfg;  // the registry holds one reference, the caller the other
}

const std::string *ccgObjCfgPropPeek(const CCgObjCfg *cfg, const char *key) {
  if (cfg == nullptr || key == nullptr) return nullptr;
  return cfg->properties.Find(key);
}

void ccgIntlSetObjCfgProp(CCgObjCfg *cfg, const char *key, const char *value) {
  if (cfg == nullptr || key == nullptr) return;
  cfg->properties.Put(key, value != nullptr ? value : "");
}

std::optional<std::string> ccgIntlGetInheritedObjCfgProp(CCgObjCfg *cfg, const char *key) {
  // Iterative walk up the stored parent names; a cycle (only possible through
  // explicit SetParent calls) ends the walk.
  std::vector<const CCgObjCfg *> seen;
  CCgObjCfg *cur = ccgIntlAcquireObjCfg(cfg);
  while (cur != nullptr) {
    if (const std::string *v = cur->properties.Find(key)) {
      std::string result = *v;
      ccgIntlReleaseObjCfg(cur);
      return result;
    }
    seen.push_back(cur);
    CCgObjCfg *next = nullptr;
    if (cur->parentName) {
      next = ccgIntlLogMgrGetCfg(cur->parentName->c_str());
      if (std::find(seen.begin(), seen.end(), next) != seen.end()) {
        ccgIntlReleaseObjCfg(next);
        next = nullptr;
      }
    }
    ccgIntlReleaseObjCfg(cur);
    cur = next;
  }
  return std::nullopt;
}

namespace {

void applyCfg(CCgObject *obj, const char *name, int depth) {
  CCgObjCfg *cfg = ccgIntlLogMgrGetCfg(name);
  if (cfg == nullptr) return;
  // Ancestors first, so nearer configurations override them. Inheritance
  // follows the stored parent name, set when the configuration was added: a
  // configuration added later between two existing ones passes nothing down.
  // The depth bound stops a parent cycle made through explicit SetParent calls.
  std::optional<std::string> parent = cfg->parentName;
  if (parent && depth < 64) applyCfg(obj, parent->c_str(), depth + 1);
  // A copy: setting a property runs class code that may touch configurations.
  std::vector<StringMap::Entry> entries = cfg->properties.Entries();
  ccgIntlReleaseObjCfg(cfg);
  for (const auto &e : entries) ccgIntlSetObjProp(obj, e.first.c_str(), e.second.c_str());
}

}  // namespace

bool ccgIntlLogMgrApplyCfg(CCgObject *obj, const char *name) {
  if (obj == nullptr || name == nullptr || strcmp(name, "/") == 0) return false;
  applyCfg(obj, name, 0);
  return true;
}
