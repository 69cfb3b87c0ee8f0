// Audit events: a type name, a default time stamp read at creation and the
// top-level elements.
#ifndef ZOVEXA_CAPIS_AUDIT_EVENT_H_
#define ZOVEXA_CAPIS_AUDIT_EVENT_H_

#include <sys/time.h>

#include "capis/audit_element.h"
#include "zovexa.h"

struct ZOVEXA_AuditEvent_ {
  ZOVEXA_AuditClientContext *context = nullptr;
  char *eventType = nullptr;  // UTF-8
  struct timeval *defaultTimeStamp = nullptr;
  ZOelementList elements;  // top-level elements
};

#endif  // ZOVEXA_CAPIS_AUDIT_EVENT_H_
