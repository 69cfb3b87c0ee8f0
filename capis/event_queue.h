// The audit client's event queue: a bounded FIFO of audit events between the
// application threads that send them and the queue threads that take them
// off in batches and hand each batch to the send path.
//
// `lock` guards every field and the list. It is never held while a batch is
// sent. Lock order: the queue's `lock` may be held while taking the disk
// cache's `mutex`, never the other way round.
#ifndef ZOVEXA_CAPIS_EVENT_QUEUE_H_
#define ZOVEXA_CAPIS_EVENT_QUEUE_H_

#include <pthread.h>

#include <cstdint>
#include <ctime>

#include "zovexa.h"

// Links of the circular doubly linked list; the queue's `head` is the
// sentinel, and the list is empty when both its links point at it.
struct ZOqueueLink {
  ZOqueueLink *next;
  ZOqueueLink *prev;
};

// One queued event. Allocated on enqueue, freed when taken off.
struct ZOqueueEntry {
  ZOqueueLink link;          // first, so an entry and its link share an address
  ZOVEXA_AuditEvent *event;  // owned by the queue until its batch is processed
  time_t enqueueTime;        // calendar seconds when queued
};

struct ZOeventQueue {
  pthread_mutex_t lock;                // guards every other field and the list
  pthread_cond_t spaceAvailable;       // producers waiting for room; broadcast after each pass
  pthread_cond_t eventsAvailable;      // queue threads and retry waits; broadcast at hiWater and shut-down
  ZOVEXA_AuditClientContext *context;  // borrowed
  ZOVEXA_AuditClient *client;          // borrowed
  int32_t size;                        // entries on the list, never above queueSize
  int32_t queueSize;                   // the four sizes are copied once, at set-up
  int32_t hiWater;
  int32_t flushInterval;    // seconds; client deletion sets it to 0 to flush
  int32_t transferSize;     // events per batch
  int32_t shutDown;         // set by client deletion; threads leave when they see it
  int32_t numThreads;       // queue threads inside their loop
  int32_t discardedEvents;  // events lost while there is no disk cache, since the last report
  const char *serverURL;    // borrowed from the context
  ZOqueueLink head;         // sentinel
  // Set when the client was deleted while queue threads were still inside
  // their loop (its time limit ran out): the last of them to leave frees the
  // queue and the client record, which nobody else references any more.
  int32_t orphaned;
};

// Allocates the queue of `client` (sizes copied from its context), creates
// lock, eventsAvailable and spaceAvailable, and stores the queue in the
// client and in the context. 0, or -1 with message 1, 34 or 35 and nothing
// left allocated.
int setupEventQueue(ZOVEXA_AuditClient *client, ZOVEXA_result *result);

// Starts one queue thread when fewer than numberEQThreads were started (and
// counts it in the context's actualEQThreads). The thread is counted in
// numThreads before it runs, so that a client deleted at once still sees it.
// 0, or -1 with message 11.
int ZOstartEQThread(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditClient *client, ZOVEXA_result *result);

// Queues one event (the queue owns it from then on). A full queue makes the
// caller write the event itself ("auto" disk cache), or wait up to
// tempStorageFullTimeout one-second steps for room and then discard it
// (counted, reported later). 0 when queued or discarded; -1 on a lock,
// unlock, broadcast or allocation failure; the result of ZOwriteEvent on the
// "auto" path.
int ZOenqueueEvent(ZOeventQueue *queue, ZOVEXA_AuditEvent *event, ZOVEXA_result *result);

// List operations; the caller holds `lock`.
int eqPush(ZOeventQueue *queue, ZOqueueEntry *entry);
ZOqueueEntry *eqPop(ZOeventQueue *queue);  // NULL when size < 1

// The mutex operation's error number.
int lockQ(ZOeventQueue *queue);
int unlockQ(ZOeventQueue *queue);

// One processing pass, entered and left with `lock` held (released around
// each send): whole batches of transferSize, and with `flush` also the
// remainder. `events` has transferSize + 1 slots. 0, or -1 on an empty queue.
int ZOprocessQueue(ZOVEXA_AuditClient *client, ZOVEXA_AuditEvent **events, int flush, ZOVEXA_result *result);

// Body of a queue thread; the argument is the audit client. Once it has seen
// shutDown the thread touches nothing but the queue, so the context may be
// deleted while it leaves.
void *ZOeventQueueHandler(void *client);

// Deletes the events of the entries still queued (the shut-down flush ran out
// of time and said so), clears the context's pointer to the queue and, when
// no queue thread is inside its loop any more, destroys the condition
// variables and the mutex (retrying on EBUSY), frees the queue and clears the
// client's pointer. 0; 1 when queue threads are still running: the queue is
// then marked orphaned and the last thread frees it together with the client
// record, which the caller must no longer free or use.
int ZOeventQueue_Delete(ZOVEXA_AuditClient *client, ZOVEXA_result *result);

// Deletes an event the library owns (after sending, or when it is dropped).
void ZOdeleteEvent(ZOVEXA_AuditEvent *event);

// Queue threads of the process, of every client, that have been started and
// not yet ended (a thread stops counting as its very last action, so a
// caller that sees 0 may free what any of them used).
int ZOliveQueueThreads();

#endif  // ZOVEXA_CAPIS_EVENT_QUEUE_H_
