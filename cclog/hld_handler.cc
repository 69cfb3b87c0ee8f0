// "ccg_hldhandler": the handler that forwards records to an application
// server's logging service over the IPC channel "CCG_HLD_HANDLER_IPC".
//
// The channel's framing and message layout are not part of this system, so
// the IPC protocol is NOT implemented: the class exists so that configurations
// naming it load and keep their properties, its open reports CCGWH0091E (the
// channel cannot be opened) and its events are discarded. Events still reach
// the handler's own listeners, so a chain behind it keeps working.

#include <cerrno>
#include <cstring>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

struct HldVars {
  std::string hldLoggerName;
  std::string ipcId = "CCG_HLD_HANDLER_IPC";
  bool traceEnabled = false;
  bool logInternalErrs = true;
  // The failed open has been reported; it is reported again only after the
  // handler was closed, so each event does not repeat it.
  bool openTried = false;
};

HldVars *Vars(CCgObject *obj) { return obj != nullptr ? static_cast<HldVars *>(obj->vars) : nullptr; }

bool ParseBoolOr(const std::string *text, bool fallback) {
  bool value = fallback;
  if (text == nullptr || !ccgParseBool(text->c_str(), &value)) return fallback;
  return value;
}

}  // namespace

void *CCgHldHandlerFAllocVars(CCgObject * /*obj*/) { return new HldVars; }

void CCgHldHandlerFFreeVars(CCgObject * /*obj*/, void *vars) { delete static_cast<HldVars *>(vars); }

void CCgHldHandlerFCfgChange(CCgObject *obj, const char *key) {
  HldVars *v = Vars(obj);
  if (v == nullptr || key == nullptr) {
    CCgBasicHandlerFCfgChange(obj, key);
    return;
  }
  const std::string *value = ccgObjPropPeek(obj, key);
  if (std::strcmp(key, "hldLoggerName") == 0) {
    v->hldLoggerName = value != nullptr ? *value : std::string();
  } else if (std::strcmp(key, "IPCID") == 0) {
    v->ipcId = value != nullptr && !value->empty() ? *value : std::string("CCG_HLD_HANDLER_IPC");
  } else if (std::strcmp(key, "traceEnabled") == 0) {
    v->traceEnabled = ParseBoolOr(value, false);
  } else if (std::strcmp(key, "logInternalErrs") == 0) {
    v->logInternalErrs = ParseBoolOr(value, true);
  } else {
    CCgBasicHandlerFCfgChange(obj, key);
  }
}

void CCgHldHandlerFOpen(CCgObject *obj) {
  HldVars *v = Vars(obj);
  if (v == nullptr || v->openTried) return;
  v->openTried = true;
  if (v->logInternalErrs)
    ccgReportMsg(CCG_LEVEL_ERROR, 91, CCG_PARM_INT, static_cast<int>(ENOSYS), CCG_PARM_END);
}

void CCgHldHandlerFProcess(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || !obj->enabled.load()) return;
  CCgHldHandlerFOpen(obj);
  // The record is discarded: there is no channel to send it over.
  ccgDispatchToListeners(obj, event);
}

void CCgHldHandlerFClose(CCgObject *obj) {
  HldVars *v = Vars(obj);
  if (v != nullptr) v->openTried = false;
}
