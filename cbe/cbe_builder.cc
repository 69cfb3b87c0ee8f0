// The Common Base Event builder: the root and its fixed parts, the walk over
// the event's elements, the base-element absorption and the simple data
// elements. Number and date texts are formatted into stack buffers; the only
// heap blocks per event are the owned base texts and the result text.
#define ZO_SRC "cbe/cbe_builder"

#include "cbe/cbe_builder.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "capis/audit_element.h"
#include "capis/audit_event.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "cbe/complex_encoders.h"

namespace {

constexpr size_t kNumberBufferSize = 1024;
constexpr size_t kDateBufferSize = 1024;
// "%f" of the fraction: "0.250000" and its NUL for every microsecond value
// of a second; larger, so that an out-of-range value still keeps six digits.
constexpr size_t kFractionBufferSize = 32;
constexpr char kExtensionPrefix[] = "ORV_KZT_";

// Writes the fraction digits of "%f" output (after the locale's decimal
// separator) as "." plus the digits; nothing when there is no separator.
size_t appendFraction(char *out, const char *printed) {
  const char *p = printed;
  if (*p == '-') ++p;
  while (*p >= '0' && *p <= '9') ++p;
  if (*p == '\0') return 0;
  out[0] = '.';
  size_t n = strlen(p + 1);
  memcpy(out + 1, p + 1, n);
  return n + 1;
}

// A child element of the root from the base record; NULL is nothing to add.
int appendBaseChild(const ZOVEXA_AuditClientContext *context, xc::DOMElement *root, xc::DOMElement *child,
                    ZOVEXA_result *result) {
  if (child == nullptr) return 0;
  return addElementToElement(context, root, child, result);
}

void freeOwnedBaseTexts(cbe_base_elts *base) {
  free(base->creationTime);
  free(base->sequenceNumber);
  base->creationTime = nullptr;
  base->sequenceNumber = nullptr;
}

// Writes what one top-level element contributed, in the fixed order:
// attributes, then children. Attribute failures are reported by the DOM layer
// and do not stop the event; a child that cannot be appended does.
int writeBaseContribution(const ZOVEXA_AuditClientContext *context, xc::DOMElement *root, cbe_base_elts *base,
                          ZOVEXA_result *result) {
  const attr_val attributes[] = {
      {"creationTime", base->creationTime},
      {"msg", base->msg},
      {"sequenceNumber", base->sequenceNumber},
      {"globalInstanceId", base->globalInstanceId},
  };
  for (const attr_val &a : attributes) {
    if (a.value != nullptr) setAttribute(context, root, a.name, a.value, result);
  }
  freeOwnedBaseTexts(base);
  xc::DOMElement *const children[] = {base->sourceComponentId, base->reporterComponentId,
                                      base->msgDataElement, base->extendedDataElements};
  for (xc::DOMElement *child : children) {
    if (appendBaseChild(context, root, child, result) != 0) return -1;
  }
  return 0;
}

// The situation child: a report situation of category SECURITY. Without
// situationType the situation is still written.
int addSituation(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *root,
                 ZOVEXA_result *result) {
  xc::DOMElement *situation = createElement(context, doc, "situation", result);
  if (situation == nullptr) return -1;
  if (setAttribute(context, situation, "categoryName", "ReportSituation", result) != 0) return -1;
  xc::DOMElement *situationType = createElement(context, doc, "situationType", result);
  if (situationType != nullptr) {
    static const attr_val kSituationType[] = {
        {"reportCategory", "SECURITY"}, {"reasoningScope", "INTERNAL"}, {nullptr, nullptr}};
    if (addAttrsToElement(context, kSituationType, situationType, result) != 0) return -1;
    if (addElementToElement(context, situation, situationType, result) != 0) return -1;
  }
  return addElementToElement(context, root, situation, result);
}

// "ORV_KZT_<event type>" on the root.
int addExtensionName(const ZOVEXA_AuditClientContext *context, xc::DOMElement *root, const char *eventType,
                     ZOVEXA_result *result) {
  if (eventType == nullptr) eventType = "";
  size_t typeLen = strlen(eventType);
  char stackBuffer[256];
  char *text = stackBuffer;
  if (sizeof kExtensionPrefix + typeLen > sizeof stackBuffer) {
    text = static_cast<char *>(ZOmalloc(sizeof kExtensionPrefix + typeLen));
    if (text == nullptr) return -1;
  }
  memcpy(text, kExtensionPrefix, sizeof kExtensionPrefix - 1);
  memcpy(text + sizeof kExtensionPrefix - 1, eventType, typeLen + 1);
  int rc = setAttribute(context, root, "extensionName", text, result);
  if (text != stackBuffer) free(text);
  return rc;
}

// Walks the event's elements onto the root; -1 at the first element that
// cannot be encoded.
int buildRootContent(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *root,
                     const ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  static const char kTag[] = "[convertToCBE]";
  if (setAttribute(context, root, "version", "1.0.1", result) != 0) return -1;
  if (addExtensionName(context, root, event->eventType, result) != 0) return -1;
  if (addSituation(context, doc, root, result) != 0) return -1;

  cbe_base_elts base;
  for (int32_t i = 0; i < event->elements.count; ++i) {
    const ZOVEXA_AuditElement *element = event->elements.items[i];
    if (element == nullptr) {
      ZO_FLOW(context, kTag, "FLOW: Element is NULL...");
      continue;
    }
    base = cbe_base_elts{};
    ZO_FLOW(context, kTag, "FLOW: Element name is %s", element->name);
    int rc = buildDOMElement(context, doc, nullptr, &base, nullptr, element, result);
    ZO_FLOW(context, kTag, "FLOW: return code from buildDOMElement is %d", rc);
    if (rc == -1) {
      freeOwnedBaseTexts(&base);
      return -1;
    }
    if (writeBaseContribution(context, root, &base, result) != 0) return -1;
  }

  base = cbe_base_elts{};
  if (buildVEXAVersion(context, doc, &base, "VEXAEventVersion", "6.0", result) != 0) return -1;
  return addElementToElement(context, root, base.extendedDataElements, result);
}

// Writes the element's value into `target` by its value type.
int encodeValue(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                const char *name, const ZOVEXA_AuditElement *element, ZOVEXA_result *result) {
  const void *value = element->value;
  switch (element->valueType) {
    case VEXA_VT_INTEGER:
      return buildInteger(context, doc, target, name, static_cast<const int32_t *>(value), result);
    case VEXA_VT_LONG:
      return buildLong(context, doc, target, name, static_cast<const int64_t *>(value), result);
    case VEXA_VT_STRING:
      return buildString(context, doc, target, name, static_cast<const char *>(value), result);
    case VEXA_VT_DATETIME:
      return builddateTime(context, doc, target, name, static_cast<const struct timeval *>(value), result);
    case VEXA_VT_ATTRIBUTE_ARRAY:
    case VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY:
    case VEXA_VT_MEMBERSHIP_INFO_ARRAY:
    case VEXA_VT_POLICY_INFO_ARRAY:
      return createElementArray(context, doc, target, name, 1, element->valueType, value, result);
    default:
      if (element->valueType >= VEXA_VT_ATTRIBUTE && element->valueType <= VEXA_VT_WORK_ITEM_INFO) {
        return buildComplexType(context, doc, target, name, 1, element->valueType, value, result);
      }
      reportInvalidValueType(context, ZO_SRC, "[buildDOMElement]", __LINE__, name, element->valueType,
                             result);
      return -1;
  }
}

// Formats a number into `buffer` (kNumberBufferSize bytes) and copies it.
char *copyOfLong(int64_t value) {
  char buffer[kNumberBufferSize];
  snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(value));
  return ZOstrdup(buffer);
}

}  // namespace

char *vexaAuditEventToXMLString(const ZOVEXA_AuditClientContext *context, const ZOVEXA_AuditEvent *event,
                                ZOVEXA_result *result) {
  static const char kTag[] = "[vexaAuditEventToXMLString]";
  xc::DOMElement *root = convertToCBE(context, event, result);
  if (root == nullptr) {
    ZO_ERROR(context, kTag, "ERROR Failed to convert VEXA Audit Event into CBE DOM Element");
    return nullptr;
  }
  char *text = convertToString(context, root, result);
  deleteElement(context, root, result);
  return text;
}

xc::DOMElement *convertToCBE(const ZOVEXA_AuditClientContext *context, const ZOVEXA_AuditEvent *event,
                             ZOVEXA_result *result) {
  static const char kTag[] = "[convertToCBE]";
  if (event == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "event");
    return nullptr;
  }
  xc::DOMDocument *doc = createDocument(context, "CommonBaseEvent", result);
  if (doc == nullptr) {
    ZO_ERROR(context, kTag, "ERROR: buildDOMElement failed...");
    return nullptr;
  }
  xc::DOMElement *root = getRootElement(context, doc, result);
  if (root == nullptr || buildRootContent(context, doc, root, event, result) != 0) {
    ZO_ERROR(context, kTag, "ERROR: buildDOMElement failed...");
    deleteDocument(context, doc, result);
    return nullptr;
  }
  return root;
}

int buildDOMElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                    cbe_base_elts *base, const char *nameOverride, const ZOVEXA_AuditElement *element,
                    ZOVEXA_result *result) {
  // The name is only read while this element is written, so the element's
  // own (or the override) serves without a copy.
  const char *name = nameOverride != nullptr ? nameOverride : element->name;
  if (element->value == nullptr) return -1;

  xc::DOMElement *target = nullptr;
  if (buildBaseElements(context, doc, base, element, name, element->value, result) != 0) {
    if (base->extendedDataElements == nullptr) {
      target = createElement(context, doc, "extendedDataElements", result);
      if (target == nullptr) return -1;
      base->extendedDataElements = target;
    } else {
      target = createElement(context, doc, "children", result);
      if (target == nullptr) return -1;
    }
    if (encodeValue(context, doc, target, name, element, result) != 0) return -1;
    if (parent != nullptr && addElementToElement(context, parent, target, result) != 0) return -1;
  }

  // Below an absorbed base element the target is NULL: the first non-base
  // sub-element then becomes a top-level extendedDataElements and later ones
  // are built unattached. Callers put no sub-elements under base elements.
  for (int32_t i = 0; i < element->sub.count; ++i) {
    const ZOVEXA_AuditElement *sub = element->sub.items[i];
    if (sub == nullptr) continue;
    int rc = buildDOMElement(context, doc, target, base, nullptr, sub, result);
    if (rc != 0) return rc;
  }
  return 0;
}

uint32_t buildBaseElements(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                           cbe_base_elts *base, const ZOVEXA_AuditElement *element, const char *name,
                           const void *value, ZOVEXA_result *result) {
  switch (element->valueType) {
    case VEXA_VT_COMPONENT_ID:
      if (strcmp(name, "sourceComponentId") == 0 || strcmp(name, "reporterComponentId") == 0) {
        return buildComponentIdBaseElement(context, doc, base, name,
                                           static_cast<const ZOVEXA_ComponentId *>(value), result) == 0
                   ? 0
                   : kZOnotBaseElement;
      }
      break;
    case VEXA_VT_MSG_DATA_ELEMENT:
      if (strcmp(name, "auditMsgElement") == 0) {
        return buildMsgDataBaseElement(context, doc, base, static_cast<const ZOVEXA_MsgDataElement *>(value),
                                       result) == 0
                   ? 0
                   : kZOnotBaseElement;
      }
      break;
    case VEXA_VT_DATETIME:
      if (strcmp(name, "timestamp") == 0) {
        char *text = convertTodateTimeFormat(context, static_cast<const struct timeval *>(value), result);
        if (text == nullptr) return kZOnotBaseElement;
        free(base->creationTime);
        base->creationTime = text;
        return 0;
      }
      break;
    case VEXA_VT_STRING:
      if (strcmp(name, "auditMsg") == 0) {
        base->msg = static_cast<const char *>(value);
        return 0;
      }
      if (strcmp(name, "globalInstanceId") == 0) {
        base->globalInstanceId = static_cast<const char *>(value);
        return 0;
      }
      break;
    case VEXA_VT_LONG:
      if (strcmp(name, "sequenceNumber") == 0) {
        char *text = copyOfLong(*static_cast<const int64_t *>(value));
        if (text == nullptr) return kZOnotBaseElement;
        free(base->sequenceNumber);
        base->sequenceNumber = text;
        return 0;
      }
      break;
    default:
      break;
  }
  return kZOnotBaseElement;
}

int buildString(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                const char *name, const char *value, ZOVEXA_result *result) {
  return writeDataElement(context, doc, target, name, "string", value, result);
}

int buildInteger(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                 const char *name, const int32_t *value, ZOVEXA_result *result) {
  char buffer[kNumberBufferSize];
  snprintf(buffer, sizeof buffer, "%d", static_cast<int>(*value));
  return writeDataElement(context, doc, target, name, "int", buffer, result);
}

int buildLong(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
              const char *name, const int64_t *value, ZOVEXA_result *result) {
  char buffer[kNumberBufferSize];
  snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(*value));
  return writeDataElement(context, doc, target, name, "long", buffer, result);
}

int builddateTime(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                  const char *name, const struct timeval *value, ZOVEXA_result *result) {
  char *text = convertTodateTimeFormat(context, value, result);
  if (text == nullptr) return -1;
  int rc = writeDataElement(context, doc, target, name, "dateTime", text, result);
  free(text);
  return rc;
}

int buildVEXAVersion(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, cbe_base_elts *base,
                     const char *name, const char *value, ZOVEXA_result *result) {
  if (base->extendedDataElements == nullptr) {
    base->extendedDataElements = createElement(context, doc, "extendedDataElements", result);
    if (base->extendedDataElements == nullptr) return -1;
  }
  return buildString(context, doc, base->extendedDataElements, name, value, result);
}

int buildVEXAEventType(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, cbe_base_elts *base,
                       const char *name, const char *value, ZOVEXA_result *result) {
  return buildVEXAVersion(context, doc, base, name, value, result);
}

char *convertTodateTimeFormat(const ZOVEXA_AuditClientContext *context, const struct timeval *tv,
                              ZOVEXA_result *result) {
  (void)result;
  static const char kTag[] = "[convertTodateTimeFormat]";
  time_t seconds = static_cast<time_t>(tv->tv_sec);
  struct tm broken;
  char text[kDateBufferSize];
  if (gmtime_r(&seconds, &broken) == nullptr ||
      strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &broken) == 0) {
    ZO_ERROR(context, kTag, "ERROR: the time %lld cannot be converted", static_cast<long long>(tv->tv_sec));
    return nullptr;
  }
  if (tv->tv_usec == 0) return ZOstrdup(text);

  // The zone suffix: the last "Z", else the last "+", else the last "-".
  char *suffix = strrchr(text, 'Z');
  if (suffix == nullptr) suffix = strrchr(text, '+');
  if (suffix == nullptr) suffix = strrchr(text, '-');
  size_t headLen = suffix != nullptr ? static_cast<size_t>(suffix - text) : strlen(text);
  const char *tail = suffix != nullptr ? suffix : "";

  // Single precision on purpose: the last digit follows the float rounding.
  float fraction = static_cast<float>(tv->tv_usec) / 1000000.0f;
  char printed[kFractionBufferSize];
  snprintf(printed, sizeof printed, "%f", static_cast<double>(fraction));

  char out[kDateBufferSize + kFractionBufferSize];
  memcpy(out, text, headLen);
  size_t len = headLen + appendFraction(out + headLen, printed);
  size_t tailLen = strlen(tail);
  memcpy(out + len, tail, tailLen + 1);
  return ZOstrdup(out);
}

// ---- table writers -------------------------------------------------------

int addAttrsToElement(const ZOVEXA_AuditClientContext *context, const attr_val *table,
                      xc::DOMElement *element, ZOVEXA_result *result) {
  if (table == nullptr || element == nullptr) return -1;
  for (const attr_val *entry = table; entry->name != nullptr; ++entry) {
    if (entry->value == nullptr) continue;
    if (setAttribute(context, element, entry->name, entry->value, result) != 0) return -1;
  }
  return 0;
}

int addChldsToElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, const attr_val *table,
                      xc::DOMElement *element, ZOVEXA_result *result) {
  if (table == nullptr || element == nullptr) return -1;
  for (const attr_val *entry = table; entry->name != nullptr; ++entry) {
    if (entry->value == nullptr) continue;
    if (appendDataChild(context, doc, element, entry->name, "string", entry->value, result) != 0) return -1;
  }
  return 0;
}

int addArrayToElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                      const char *elementName, int kind, const void *const *array, ZOVEXA_result *result) {
  static const char kTag[] = "[addArrayToElement]";
  if (parent == nullptr || elementName == nullptr || array == nullptr) return 0;
  if (kind != ZO_ARRAY_INT && kind != ZO_ARRAY_LONG && kind != ZO_ARRAY_STRING) {
    ZO_ERROR(context, kTag, "ERROR: Invalid element type specified");
    return 0;
  }
  char buffer[kNumberBufferSize];
  for (const void *const *entry = array; *entry != nullptr; ++entry) {
    const char *text = buffer;
    if (kind == ZO_ARRAY_INT) {
      snprintf(buffer, sizeof buffer, "%d", static_cast<int>(*static_cast<const int32_t *>(*entry)));
    } else if (kind == ZO_ARRAY_LONG) {
      snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(*static_cast<const int64_t *>(*entry)));
    } else {
      text = static_cast<const char *>(*entry);
      ZO_FLOW(context, kTag, "entry is %s", text);
    }
    if (appendTextElement(context, doc, parent, elementName, text, result) != 0) return -1;
  }
  return 0;
}

void reportInvalidValueType(const ZOVEXA_AuditClientContext *context, const char *srcPath, const char *tag,
                            int line, const char *name, uint32_t valueType, ZOVEXA_result *result) {
  char typeText[16];
  snprintf(typeText, sizeof typeText, "%d", static_cast<int>(valueType));
  if (ZOtraceEnabled(context, ZO_TL_ERROR)) {
    ZOtraceWrite(context, srcPath, tag, line, "The element %s has an invalid value type: %s", name, typeText);
  }
  ZOreport(context, result, 14, static_cast<uint32_t>(strlen(name) + sizeof typeText), 2, name,
           static_cast<int>(valueType));
}

int appendTextElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                      const char *childName, const char *text, ZOVEXA_result *result) {
  xc::DOMElement *child = createElement(context, doc, childName, result);
  if (child == nullptr) return -1;
  if (setElementData(context, doc, child, text, result) != 0) return -1;
  return addElementToElement(context, parent, child, result);
}

int writeDataElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                     const char *name, const char *typeWord, const char *text, ZOVEXA_result *result) {
  if (setAttribute(context, target, "name", name, result) != 0) return -1;
  if (setAttribute(context, target, "type", typeWord, result) != 0) return -1;
  return appendTextElement(context, doc, target, "values", text, result);
}

int appendDataChild(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                    const char *name, const char *typeWord, const char *text, ZOVEXA_result *result) {
  xc::DOMElement *child = createElement(context, doc, "children", result);
  if (child == nullptr) return -1;
  if (writeDataElement(context, doc, child, name, typeWord, text, result) != 0) return -1;
  return addElementToElement(context, parent, child, result);
}
