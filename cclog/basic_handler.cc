// Operations common to every handler class: the "formatterName" property and
// the defaults that application handler classes get for absent operations.

#include <cstring>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/file_handler.h"

namespace {

CCgObjClass *FormatterClass(CCgObject *handler) {
  CCgObject *formatter = handler->formatter;
  if (formatter == nullptr || formatter->cls == nullptr) return nullptr;
  return formatter->cls;
}

}  // namespace

char *ccgHandlerFormat(CCgObject *handler, CCgEvent *event) {
  CCgObjClass *cls = FormatterClass(handler);
  if (cls == nullptr || cls->format == nullptr) return nullptr;
  return cls->format(handler->formatter, event);
}

char *ccgHandlerHeader(CCgObject *handler) {
  CCgObjClass *cls = FormatterClass(handler);
  if (cls == nullptr || cls->getHeader == nullptr) return nullptr;
  return cls->getHeader(handler->formatter);
}

char *ccgHandlerTrailer(CCgObject *handler) {
  CCgObjClass *cls = FormatterClass(handler);
  if (cls == nullptr || cls->getTrailer == nullptr) return nullptr;
  return cls->getTrailer(handler->formatter);
}

extern "C" {

void CCgBasicHandlerFCfgChange(CCgObject *handler, const char *key) {
  if (handler == nullptr || key == nullptr) return;
  if (std::strcmp(key, "formatterName") != 0) {
    CCgBasicObjectFCfgChange(handler, key);
    return;
  }
  const std::string *name = ccgObjPropPeek(handler, key);
  if (name == nullptr) return;
  // No class: a new formatter takes its class from its own configuration.
  CCgObject *formatter = ccgIntlGetObject(name->c_str(), nullptr);
  if (formatter == nullptr) return;
  // Only a formatter can serve; anything else would be called through
  // operations its class does not have.
  if (formatter->cls != nullptr && formatter->cls->kind == CCG_KIND_FORMATTER)
    ccgIntlSetHandlerFormatter(handler, formatter);
  ccgIntlReleaseObject(formatter);
}

void CCgBasicHandlerFProcess(CCgObject *handler, CCgEvent *event) {
  if (handler == nullptr || !handler->enabled.load()) return;
  ccgDispatchToListeners(handler, event);
}

void CCgBasicHandlerFOpen(CCgObject * /*handler*/) {}

void CCgBasicHandlerFClose(CCgObject * /*handler*/) {}

}  // extern "C"
