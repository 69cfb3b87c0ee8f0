// The audit client's event queue. The send path reads its lock, its
// condition and its shut-down flag: a retry wait sleeps on eventsAvailable so
// that a shut-down wakes it at once.
#ifndef ZOVEXA_CAPIS_EVENT_QUEUE_H_
#define ZOVEXA_CAPIS_EVENT_QUEUE_H_

#include <pthread.h>

#include <cstdint>

struct ZOeventQueue {
  pthread_mutex_t lock;             // guards every other field
  pthread_cond_t spaceAvailable;    // producers wait here for room
  pthread_cond_t eventsAvailable;   // queue threads and retry waits sleep here
  int32_t shutDown;                 // set by client deletion
};

#endif  // ZOVEXA_CAPIS_EVENT_QUEUE_H_
