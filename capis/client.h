// The audit client: the application's handle for sending events, at most
// one per context. Creation probes the server, sets up the event queue and
// the disk-cache files and starts the queue and cache-manager threads;
// deletion flushes the queue within shutDownTimeout, stops both kinds of
// thread and reports the events that were lost.
#ifndef ZOVEXA_CAPIS_CLIENT_H_
#define ZOVEXA_CAPIS_CLIENT_H_

#include "zovexa.h"

struct ZOeventQueue;

struct ZOVEXA_AuditClient_ {
  ZOVEXA_AuditClientContext *context;  // borrowed; points back at this client
  ZOeventQueue *eventQueue;            // NULL when useDiskCache is "always"
  void *reserved[3];                   // kept zero
};

// Sends (or caches) one event on the caller's thread. 0, the event then
// freed; else the non-zero count of errors in `result`, the event still the
// caller's.
int ZOwriteEvent(ZOVEXA_AuditClient *client, ZOVEXA_AuditEvent *event, ZOVEXA_result *result);

// Flushes, stops and frees `client` of `context`; also used by a failed
// creation. Returns 0.
int auditClient_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditClient *client, ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_CLIENT_H_
