// Audit events: creation with the default time stamp, deletion, and the
// element calls on the event's top-level list.
#define ZO_SRC "capis/audit_event"

#include "capis/audit_event.h"

#include <sys/time.h>

#include <cstdlib>
#include <new>
#include <type_traits>

#include "capis/audit_element.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"

// Events live in ZOcalloc'd memory and are released with free().
static_assert(std::is_trivially_destructible_v<ZOVEXA_AuditEvent_>);

namespace {

// The checks every call led by an event starts with: false (after
// reporting message 12, or nothing without a result record) when the call
// must fail.
bool eventCallOk(const ZOVEXA_AuditEvent *event, ZOVEXA_result *result, const char *tag) {
  ZOresetResult(result);
  if (event == nullptr || result == nullptr) {
    ZOnullParmHandler2(event, event != nullptr ? event->context : nullptr, result, ZO_SRC, __LINE__, tag);
    return false;
  }
  ZO_ENTRY(event->context, tag);
  return true;
}

// Frees what a (possibly half-built) event holds, except its elements.
void freeEventRecord(ZOVEXA_AuditEvent *event) {
  free(event->elements.items);
  free(event->eventType);
  free(event->defaultTimeStamp);
  free(event);
}

// The general add on the event's list, shared by AddElement and every
// typed add; `tag` is the public function's trace tag.
ZOVEXA_AuditElement *addToEvent(ZOVEXA_AuditEvent *event, const char *name, uint32_t valueType,
                                const void *value, int copy, ZOVEXA_result *result, const char *tag) {
  if (!eventCallOk(event, result, tag)) return nullptr;
  ZOVEXA_AuditElement *element = ZOaddElement(event->context, &event->elements, nullptr, true, name,
                                              valueType, const_cast<void *>(value), copy, result);
  ZO_EXIT(event->context, tag);
  return element;
}

}  // namespace

ZOVEXA_AuditEvent *ZOVEXA_AuditEvent_Create(ZOVEXA_AuditClientContext *context, const char *eventType,
                                            ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_Create]";
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, kTag);
    return nullptr;
  }
  ZO_ENTRY(context, kTag);
  if (eventType == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "eventType");
    return nullptr;
  }
  void *memory = ZOcalloc(1, sizeof(ZOVEXA_AuditEvent));
  if (memory == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    return nullptr;
  }
  auto *event = new (memory) ZOVEXA_AuditEvent_{};
  event->context = context;
  event->eventType = ZOutf8Convert(context, eventType, ZO_TO_UTF8, result);
  if (event->eventType == nullptr) {
    freeEventRecord(event);
    return nullptr;
  }
  event->defaultTimeStamp = static_cast<struct timeval *>(ZOcalloc(1, sizeof(struct timeval)));
  if (event->defaultTimeStamp == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    freeEventRecord(event);
    return nullptr;
  }
  gettimeofday(event->defaultTimeStamp, nullptr);
  ZO_EXIT(context, kTag);
  return event;
}

int32_t ZOVEXA_AuditEvent_Delete(ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_Delete]";
  if (!eventCallOk(event, result, kTag)) return -1;
  ZOVEXA_AuditClientContext *context = event->context;
  // Static elements are skipped by the element delete and outlive the event.
  int rc = 0;
  for (int32_t i = 0; i < event->elements.count; ++i) {
    if (ZOauditElement_Delete(context, event->elements.items[i], result) != 0) rc = -1;
  }
  freeEventRecord(event);
  ZO_EXIT_RC(context, kTag, rc);
  return rc;
}

char *ZOVEXA_AuditEvent_GetType(ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_GetType]";
  if (!eventCallOk(event, result, kTag)) return nullptr;
  char *type = ZOutf8Convert(event->context, event->eventType, ZO_FROM_UTF8, result);
  ZO_EXIT(event->context, kTag);
  return type;
}

struct timeval *ZOVEXA_AuditEvent_GetDefaultTimeStamp(ZOVEXA_AuditEvent *event, ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_GetTimeStamp]";
  if (!eventCallOk(event, result, kTag)) return nullptr;
  ZO_EXIT(event->context, kTag);
  return event->defaultTimeStamp;
}

ZOVEXA_AuditElement *ZOVEXA_AuditEvent_GetElement(ZOVEXA_AuditEvent *event, const char *name,
                                                  ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_GetElement]";
  if (!eventCallOk(event, result, kTag)) return nullptr;
  return ZOgetElement(event->context, &event->elements, name, result, kTag);
}

ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddElement(ZOVEXA_AuditEvent *event, const char *name,
                                                  uint32_t valueType, void *value, int copy,
                                                  ZOVEXA_result *result) {
  return addToEvent(event, name, valueType, value, copy, result, "[VEXA_AuditEvent_AddElement]");
}

// Integer and Long pass the address of their by-value argument, so they must copy.
ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddIntegerElement(ZOVEXA_AuditEvent *event, const char *name,
                                                         int32_t value, ZOVEXA_result *result) {
  return addToEvent(event, name, VEXA_VT_INTEGER, &value, 1, result, "[VEXA_AuditEvent_AddIntegerElement]");
}

ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddLongElement(ZOVEXA_AuditEvent *event, const char *name,
                                                      int64_t value, ZOVEXA_result *result) {
  return addToEvent(event, name, VEXA_VT_LONG, &value, 1, result, "[VEXA_AuditEvent_AddLongElement]");
}

// The typed adds differ only in the value type they pass.
#define ZO_TYPED_EVENT_ADD(Fn, ValueT, valueType)                                                       \
  ZOVEXA_AuditElement *ZOVEXA_AuditEvent_##Fn(ZOVEXA_AuditEvent *event, const char *name, ValueT value, \
                                              int copy, ZOVEXA_result *result) {                        \
    return addToEvent(event, name, valueType, value, copy, result, "[VEXA_AuditEvent_" #Fn "]");        \
  }

ZO_FOR_EACH_TYPED_ADD(ZO_TYPED_EVENT_ADD)

#undef ZO_TYPED_EVENT_ADD

ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddStaticElement(ZOVEXA_AuditEvent *event,
                                                        ZOVEXA_AuditElement *staticElement,
                                                        ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditEvent_AddStaticElement]";
  if (!eventCallOk(event, result, kTag)) return nullptr;
  return ZOattachStaticElement(event->context, &event->elements, nullptr, true, staticElement, result, kTag);
}
