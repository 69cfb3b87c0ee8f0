// The class registry: the built-in classes, registration of application
// classes, and the per-kind lists of class names.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

// Guarded by the API mutex. `g_classesMade` tells whether the registry exists
// (the built-ins are registered once, when it is made).
bool g_classesMade = false;
// In order of registration; never destroyed, so objects can be used until the end of the process.
std::vector<std::unique_ptr<CCgObjClass>> &g_classes = *new std::vector<std::unique_ptr<CCgObjClass>>;

// One built-in class: its operations in the slots of its kind. Absent ones get
// the defaults of the kind at registration.
struct BuiltinClass {
  const char *name;
  uint32_t kind;
  uint32_t descKey;  // 0: no description
  const char *descText;
  CCgAllocVarsFn allocVars;
  CCgFreeVarsFn freeVars;
  CCgCfgChangeFn cfgChange;
  CCgLogFn log;
  CCgProcessFn process;
  CCgIsLoggableFn isLoggable;
  CCgOpenFn open;
  CCgCloseFn close;
  CCgFormatFn format;
  CCgHeaderFn getHeader;
  CCgTrailerFn getTrailer;
};

const BuiltinClass kBuiltins[] = {
    {"ccg_basiclogger", CCG_KIND_LOGGER, 100, "Logger for basic messages", nullptr, nullptr,
     CCgBasicLoggerFCfgChange, CCgBasicObjectFLog, nullptr, nullptr, nullptr, nullptr, nullptr,
     nullptr, nullptr},
    {"ccg_qdlogger", CCG_KIND_LOGGER, 101, "Logger for messages with detailed problem data",
     CCgQDLoggerFAllocVars, CCgQDLoggerFFreeVars, CCgQDLoggerFCfgChange, CCgQDLoggerFLog, nullptr,
     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"ccg_levelfilter", CCG_KIND_FILTER, 110, "Filters messages by level", nullptr, nullptr,
     CCgLevelFilterFCfgChange, nullptr, nullptr, CCgLevelFilterFIsLoggable, nullptr, nullptr,
     nullptr, nullptr, nullptr},
    {"ccg_msgidfilter", CCG_KIND_FILTER, 0, nullptr, CCgMsgIdFilterFAllocVars,
     CCgMsgIdFilterFFreeVars, CCgMsgIdFilterFCfgChange, nullptr, nullptr, CCgMsgIdFilterFIsLoggable,
     nullptr, nullptr, nullptr, nullptr, nullptr},
    {"ccg_consolehandler", CCG_KIND_HANDLER, 120, "Handles output to the console",
     CCgConsoleHandlerFAllocVars, CCgConsoleHandlerFFreeVars, CCgBasicHandlerFCfgChange, nullptr,
     CCgConsoleHandlerFProcess, nullptr, CCgConsoleHandlerFOpen, CCgConsoleHandlerFClose, nullptr,
     nullptr, nullptr},
    {"ccg_filehandler", CCG_KIND_HANDLER, 121, "Handles output to local log files",
     CCgFileHandlerFAllocVars, CCgFileHandlerFFreeVars, CCgFileHandlerFCfgChange, nullptr,
     CCgFileHandlerFProcess, nullptr, CCgFileHandlerFOpen, CCgFileHandlerFClose, nullptr, nullptr,
     nullptr},
    {"ccg_hldhandler", CCG_KIND_HANDLER, 0, nullptr, CCgHldHandlerFAllocVars,
     CCgHldHandlerFFreeVars, CCgHldHandlerFCfgChange, nullptr, CCgHldHandlerFProcess, nullptr,
     CCgHldHandlerFOpen, CCgHldHandlerFClose, nullptr, nullptr, nullptr},
    {"ccg_multiproc_filehandler", CCG_KIND_HANDLER, 0, nullptr, CCgFileHandlerFAllocVars,
     CCgFileHandlerFFreeVars, CCgFileHandlerFCfgChange, nullptr, CCgMultiProcFileHandlerFProcess,
     nullptr, CCgMultiProcFileHandlerFOpen, CCgMultiProcFileHandlerFClose, nullptr, nullptr,
     nullptr},
    {"ccg_basicformatter", CCG_KIND_FORMATTER, 130, "Formats a basic message summary.", nullptr,
     nullptr, CCgBasicFormatterFCfgChange, nullptr, nullptr, nullptr, nullptr, nullptr,
     CCgBasicFormatterFFormat, CCgBasicFormatterFGetHeader, CCgBasicFormatterFGetTrailer},
    {"ccg_xmlformatter", CCG_KIND_FORMATTER, 131, "Formats all message data as an XML record.",
     CCgQDXMLFormatterFAllocVars, CCgQDXMLFormatterFFreeVars, CCgQDXMLFormatterFCfgChange, nullptr,
     nullptr, nullptr, nullptr, nullptr, CCgQDXMLFormatterFFormat, CCgQDXMLFormatterFGetHeader,
     CCgQDXMLFormatterFGetTrailer},
    {"ccg_nortraceformatter", CCG_KIND_FORMATTER, 0, nullptr, nullptr, nullptr,
     CCgBasicFormatterFCfgChange, nullptr,
     nullptr, nullptr, nullptr, nullptr, CCgNorTraceFormatterFFormat, nullptr, nullptr},
};

// Puts the defaults of the kind in place of absent operations.
void applyDefaults(CCgObjClass *c) {
  switch (c->kind) {
    case CCG_KIND_LOGGER:
      if (!c->log) c->log = CCgBasicObjectFLog;
      break;
    case CCG_KIND_FILTER:
      if (!c->process) c->process = CCgBasicFilterFProcess;
      if (!c->isLoggable) c->isLoggable = CCgLevelFilterFIsLoggable;
      if (!c->log) c->log = CCgBasicObjectFLog;
      break;
    case CCG_KIND_HANDLER:
      if (!c->process) c->process = CCgBasicHandlerFProcess;
      if (!c->open) c->open = CCgBasicHandlerFOpen;
      if (!c->close) c->close = CCgBasicHandlerFClose;
      break;
    case CCG_KIND_FORMATTER:
      if (!c->format) c->format = CCgBasicFormatterFFormat;
      if (!c->getHeader) c->getHeader = CCgBasicFormatterFGetHeader;
      if (!c->getTrailer) c->getTrailer = CCgBasicFormatterFGetTrailer;
      if (!c->bindMsg) c->bindMsg = ccgIntlBindI18Msg;
      break;
    default:
      break;
  }
}

bool addClass(std::unique_ptr<CCgObjClass> c) {
  if (c->name.empty() || ccgFindClass(c->name.c_str()) != nullptr) return false;
  applyDefaults(c.get());
  g_classes.push_back(std::move(c));
  return true;
}

// Registers a class made by the application (the built-ins first, when the
// registry does not exist yet).
bool addAppClass(std::unique_ptr<CCgObjClass> c, const char *name, const CCgI18Msg *description) {
  if (name == nullptr) return false;
  if (!ccgToolkitInitObjClasses()) return false;
  c->name = name;
  if (description != nullptr) c->description = std::make_unique<CCgI18Msg>(*description);
  return addClass(std::move(c));
}

}  // namespace

bool ccgToolkitInitObjClasses() {
  if (g_classesMade) return true;
  g_classesMade = true;
  for (const BuiltinClass &b : kBuiltins) {
    auto c = std::make_unique<CCgObjClass>();
    c->kind = b.kind;
    c->name = b.name;
    if (b.descText != nullptr) {
      c->description = std::make_unique<CCgI18Msg>();
      c->description->catalog = CCG_MSG_CATALOG;
      c->description->set = CCG_MSG_SET;
      c->description->key = b.descKey;
      c->description->defaultText = b.descText;
    }
    c->allocVars = b.allocVars;
    c->freeVars = b.freeVars;
    c->cfgChange = b.cfgChange;
    c->log = b.log;
    c->process = b.process;
    c->isLoggable = b.isLoggable;
    c->open = b.open;
    c->close = b.close;
    c->format = b.format;
    c->getHeader = b.getHeader;
    c->getTrailer = b.getTrailer;
    addClass(std::move(c));
  }
  return true;
}

void ccgToolkitFreeObjClasses() {
  g_classes.clear();
  g_classesMade = false;
}

CCgObjClass *ccgFindClass(const char *name) {
  if (name == nullptr) return nullptr;
  for (const auto &c : g_classes)
    if (c->name == name) return c.get();
  return nullptr;
}

std::vector<std::string> ccgClassNamesOfKind(uint32_t kind) {
  std::vector<std::string> names;
  for (const auto &c : g_classes)
    if (c->kind == kind) names.push_back(c->name);
  return names;
}

extern "C" {

CCG_API CCgBool CCgAddLoggerClass(const char *name, const CCgI18Msg *description,
                                  CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                  CCgCfgChangeFn cfgChange, CCgLogFn log) {
  CCgApiLock lock;
  if (!lock.ok()) return 0;
  auto c = std::make_unique<CCgObjClass>();
  c->kind = CCG_KIND_LOGGER;
  c->allocVars = allocVars;
  c->freeVars = freeVars;
  c->cfgChange = cfgChange;
  c->log = log;
  return addAppClass(std::move(c), name, description);
}

CCG_API CCgBool CCgAddFilterClass(const char *name, const CCgI18Msg *description,
                                  CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                  CCgCfgChangeFn cfgChange, CCgProcessFn process,
                                  CCgIsLoggableFn isLoggable, CCgLogFn log) {
  CCgApiLock lock;
  if (!lock.ok()) return 0;
  auto c = std::make_unique<CCgObjClass>();
  c->kind = CCG_KIND_FILTER;
  c->allocVars = allocVars;
  c->freeVars = freeVars;
  c->cfgChange = cfgChange;
  c->process = process;
  c->isLoggable = isLoggable;
  c->log = log;
  return addAppClass(std::move(c), name, description);
}

CCG_API CCgBool CCgAddHandlerClass(const char *name, const CCgI18Msg *description,
                                   CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                   CCgCfgChangeFn cfgChange, CCgProcessFn process, CCgOpenFn open,
                                   CCgCloseFn close) {
  CCgApiLock lock;
  if (!lock.ok()) return 0;
  auto c = std::make_unique<CCgObjClass>();
  c->kind = CCG_KIND_HANDLER;
  c->allocVars = allocVars;
  c->freeVars = freeVars;
  c->cfgChange = cfgChange;
  c->process = process;
  c->open = open;
  c->close = close;
  return addAppClass(std::move(c), name, description);
}

CCG_API CCgBool CCgAddFormatterClass(const char *name, const CCgI18Msg *description,
                                     CCgAllocVarsFn allocVars, CCgFreeVarsFn freeVars,
                                     CCgCfgChangeFn cfgChange, CCgFormatFn format,
                                     CCgHeaderFn getHeader, CCgTrailerFn getTrailer,
                                     CCgBindMsgFn bindMsg) {
  CCgApiLock lock;
  if (!lock.ok()) return 0;
  auto c = std::make_unique<CCgObjClass>();
  c->kind = CCG_KIND_FORMATTER;
  c->allocVars = allocVars;
  c->freeVars = freeVars;
  c->cfgChange = cfgChange;
  c->format = format;
  c->getHeader = getHeader;
  c->getTrailer = getTrailer;
  c->bindMsg = bindMsg;
  return addAppClass(std::move(c), name, description);
}

}  // extern "C"
