// The send path between a batch of audit events and the audit server: the
// service probe, batch building, sending with retries and waits, dropping the
// events the server rejects as invalid, and the hand-off of unsendable
// batches to the disk cache.
//
// Every call runs on its caller's thread and makes one Emitter per attempt,
// so threads share no SOAP state. No lock is held while talking to the
// server; the event queue's lock and the disk cache's mutex are taken only to
// read or set their flags and to wait between attempts (a shut-down broadcast
// ends the wait at once). Failures are reported into `result` with numbered
// messages (9, 20, 25, 37, 48, 49), which also go to the error log.
#ifndef ZOVEXA_CBE_SERVER_SESSION_H_
#define ZOVEXA_CBE_SERVER_SESSION_H_

#include "cbe/common_base_event_type.h"
#include "zovexa.h"

// Results of the send path besides 0 (done) and -1 (failed).
constexpr int kZOsentWithDiscards = -2;  // sent, except events the server rejected as invalid
constexpr int kZOnotAuthorized = -3;     // the server answered, but the client lacks the writer role

// Sends the probe batch (one "<CommonBaseEvent/>") to the configured server.
// 0 when the server answered (normally, or with a fault other than the
// missing-role one), kZOnotAuthorized for a fault naming "QRTX0053E", -1 when
// it could not be reached (message 20 naming "checkService").
int checkService(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Converts the NULL-terminated array of events into one batch and sends it
// (or writes it to the disk cache when the cache is in use and the server is
// marked down or slow). -1 with message 9 for a NULL array, 0 for an empty
// one, else the result of sendEvent or writeEventsToCache. An event that
// cannot be converted is left out with message 25. The events stay the
// caller's.
int buildAndProcEvent(const ZOVEXA_AuditClientContext *context, ZOVEXA_AuditEvent **auditEvents,
                      ZOVEXA_result *result);

// Sends one batch, retrying numberRetries times retryInterval seconds apart.
// A wait between attempts sleeps on the event queue's condition, else on the
// disk cache's, so that a shut-down ends it; with neither it is a plain
// sleep. With a disk cache, cacheEvents non-zero lets a batch that cannot be
// sent go to the cache. Without a cache the batch is retried until it is sent or
// the event queue shuts down. Returns 0 when sent, kZOsentWithDiscards when
// sent without the events the server rejected as invalid, -1 on failure, or
// the result of writing to the cache. The batch stays the caller's.
int sendEvent(const ZOVEXA_AuditClientContext *context, CommonBaseEventType_ArrayTag batch, int cacheEvents,
              ZOVEXA_result *result);

// sendEvent on a batch of one event, never cached.
int sendOneEvent(const ZOVEXA_AuditClientContext *context, CommonBaseEventType event, ZOVEXA_result *result);

// Sends batch text read back from the disk cache: `dataBuff` holds `length`
// bytes of text (read no further, NUL-terminated or not). Text that is not a
// batch is dropped: 0 with message 49. Otherwise the result of sendEvent
// without caching, kZOsentWithDiscards reported as 0.
int sendMsg(const ZOVEXA_AuditClientContext *context, int length, const char *dataBuff,
            ZOVEXA_result *result);

// Hands the batch, as batch text, to the disk cache. 0 when it was written
// (or when the batch text could not be made: the batch is then dropped), -1
// with message 48 naming diskCachePath when the cache did not take it.
int writeEventsToCache(const ZOVEXA_AuditClientContext *context, CommonBaseEventType_ArrayTag batch,
                       ZOVEXA_result *result);

// The 1-based number of the rejected event named in a client fault's detail
// (the text of the first child element of the first "failedevent" element),
// or 0 when the detail does not name one. A NULL detail is message 9.
int getFailedEvent(const ZOVEXA_AuditClientContext *context, const char *faultDetail, ZOVEXA_result *result);

#endif  // ZOVEXA_CBE_SERVER_SESSION_H_
