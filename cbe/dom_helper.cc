#include "cbe/dom_helper.h"

#include <string>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include "capis/results.h"
#include "capis/trace.h"

#define ZO_SRC "cbe/dom_helper"

namespace xc = XERCES_CPP_NAMESPACE;

int initializeXMLParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  try {
    xc::XMLPlatformUtils::Initialize();
  } catch (const xc::XMLException &e) {
    char *reason = xc::XMLString::transcode(e.getMessage());
    std::string text = reason != nullptr ? reason : "unknown error";
    xc::XMLString::release(&reason);
    ZO_ERROR(context, "[initializeXMLParser]", "XML Parser Initialization failed: %s", text.c_str());
    ZOreport(context, result, 62, static_cast<uint32_t>(text.size() + 1), 2, "initializeXMLParser()",
             text.c_str());
    return -1;
  } catch (...) {
    ZO_ERROR(context, "[initializeXMLParser]", "XML Parser Initialization failed: %s", "unknown error");
    ZOreport(context, result, 62, 0, 2, "initializeXMLParser()", "unknown error");
    return -1;
  }
  return 0;
}

void terminateXMLParser() {
  try {
    xc::XMLPlatformUtils::Terminate();
  } catch (...) {
    // Nothing can be done about a failed shutdown; the process goes on.
  }
}
