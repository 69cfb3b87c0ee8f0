// Internal records of the logging toolkit: classes, objects and configurations,
// and the internal operations on them. Every ccgIntl* function assumes that the
// toolkit's API mutex is held by the calling thread (see ccg_toolkit.h); the
// class operations of the built-in classes run under it too.
#ifndef ZOVEXA_CCLOG_CCG_OBJECT_H_
#define ZOVEXA_CCLOG_CCG_OBJECT_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/string_map.h"

struct TisLocale;

// One registered class. The operations that apply to its kind are set; the
// others are null. Registration puts the defaults in place of absent ones.
struct CCgObjClass {
  uint32_t kind = 0;
  std::string name;
  std::unique_ptr<CCgI18Msg> description;  // may be absent
  CCgAllocVarsFn allocVars = nullptr;
  CCgFreeVarsFn freeVars = nullptr;
  CCgCfgChangeFn cfgChange = nullptr;
  CCgLogFn log = nullptr;                // logger: operation 1; filter: operation 3
  CCgProcessFn process = nullptr;        // filter and handler: operation 1
  CCgIsLoggableFn isLoggable = nullptr;  // filter: operation 2
  CCgOpenFn open = nullptr;              // handler: operation 2
  CCgCloseFn close = nullptr;            // handler: operation 3
  CCgFormatFn format = nullptr;          // formatter: operations 1 to 4
  CCgHeaderFn getHeader = nullptr;
  CCgTrailerFn getTrailer = nullptr;
  CCgBindMsgFn bindMsg = nullptr;
};

// One named object. refCount counts the instance registry's reference and
// every user's; `enabled` and `level` are read without the mutex by the level
// test of the logging calls, so they are atomics (written under the mutex).
struct CCgObject {
  CCgObjClass *cls = nullptr;
  int32_t refCount = 0;
  std::string name;
  std::atomic<int32_t> enabled{1};
  std::atomic<int32_t> level{CCG_LEVEL_UNSPECIFIED};
  std::unique_ptr<std::vector<CCgObject *>> listeners;  // each listener held
  // Handlers:
  CCgObject *formatter = nullptr;  // held
  int32_t handlerState = 0;
  // Formatters:
  std::optional<std::string> separator;
  std::optional<std::string> dateTimeFormat;
  TisLocale *locale = nullptr;  // owned
  std::unique_ptr<StringMap> properties;
  void *vars = nullptr;  // the class's private data
};

// One configuration of the tree.
struct CCgObjCfg {
  uint32_t refCount = 1;
  std::string name;
  std::optional<std::string> parentName;
  std::unique_ptr<std::vector<std::string>> children;
  StringMap properties;
  bool fromFile = false;
};

// ---- objects --------------------------------------------------------------------

// Finds or creates an object (see CCgGetObject); the result is acquired.
CCgObject *ccgIntlGetObject(const char *name, const char *className);
// The registered object of that name, acquired, or null; never creates.
CCgObject *ccgIntlFindObject(const char *name);
CCgObject *ccgIntlAcquireObject(CCgObject *obj);
// Drops one reference; destroys the object when only the registry holds it.
void ccgIntlReleaseObject(CCgObject *obj);

// Closes every handler, frees every object's private data and then every
// object, whatever its reference count (the toolkit is closing).
void ccgObjectsFreeAll();

// Stores the value and runs the class's cfgChange for the key.
void ccgIntlSetObjProp(CCgObject *obj, const char *key, const char *value);
// The stored value of a property, without copying; null when absent.
const std::string *ccgObjPropPeek(const CCgObject *obj, const char *key);
void ccgNotifyObjCfgChange(CCgObject *obj, const char *key);

bool ccgIntlAddListener(CCgObject *obj, CCgObject *listener);
bool ccgIntlRemListener(CCgObject *obj, CCgObject *listener);
void ccgIntlClearListeners(CCgObject *obj);
// Calls operation 1 (process) of each listener that is a filter or handler,
// in group order. Handlers use it to pass an event on after writing it.
void ccgDispatchToListeners(CCgObject *obj, CCgEvent *event);

// Makes `formatter` (acquired by this call) the handler's formatter and
// releases the previous one.
void ccgIntlSetHandlerFormatter(CCgObject *handler, CCgObject *formatter);

// ---- typed property text (shared by object, configuration and event properties)

// Booleans: "true"/"false", "yes"/"no", "on"/"off", "1"/"0", without case.
bool ccgParseBool(const char *text, bool *out);
// Decimal integers with optional sign and surrounding blanks; the whole text
// must parse and fit.
bool ccgParseInt32(const char *text, int32_t *out);
bool ccgParseInt64(const char *text, int64_t *out);
bool ccgParseFloat(const char *text, float *out);
bool ccgParseDouble(const char *text, double *out);
std::string ccgFormatBool(bool v);
std::string ccgFormatInt32(int32_t v);
std::string ccgFormatLong(int64_t v);  // keeps the low 32 bits, signed
std::string ccgFormatDouble(double v);  // "%f"
std::string ccgFormatChar(char v);

// ---- configurations ------------------------------------------------------------------

CCgObjCfg *ccgIntlAllocObjCfg(const char *name);
CCgObjCfg *ccgIntlAcquireObjCfg(CCgObjCfg *cfg);
void ccgIntlReleaseObjCfg(CCgObjCfg *cfg);
// The configuration of that name, created and added when missing; acquired.
// Null for null or "/".
CCgObjCfg *ccgIntlLogMgrGetCfg(const char *name);
// The registered configuration of that name, acquired, or null (never creates).
CCgObjCfg *ccgIntlLogMgrFindCfg(const char *name);
void ccgIntlLogMgrAddCfg(CCgObjCfg *cfg);
void ccgIntlLogMgrRemCfg(CCgObjCfg *cfg);
void ccgIntlLogMgrUpdateCfg(CCgObjCfg *cfg);
bool ccgIntlLogMgrHasCfg(const char *name);
bool ccgIntlLogMgrApplyCfg(CCgObject *obj, const char *name);
// The parent name by the dotted-name rule ("/" for the root); may set
// cfg->parentName as a side effect.
std::string ccgLogMgrGetParentConfigName(CCgObjCfg *cfg);
void ccgIntlSetObjCfgProp(CCgObjCfg *cfg, const char *key, const char *value);
const std::string *ccgObjCfgPropPeek(const CCgObjCfg *cfg, const char *key);
// The value from cfg or its nearest ancestor (following stored parent names).
std::optional<std::string> ccgIntlGetInheritedObjCfgProp(CCgObjCfg *cfg, const char *key);

// Log manager lifetime (called when the toolkit opens and closes).
bool ccgLogMgrInit();
void ccgLogMgrClose();
std::vector<std::string> ccgLogMgrConfigNamesSnapshot();

// Reads a properties file into the configurations (the reader), under the mutex.
bool ccgIntlLogMgrReadProps(const char *fileName);

#endif  // ZOVEXA_CCLOG_CCG_OBJECT_H_
