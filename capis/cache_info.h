// The disk-cache state of a context (one per context that uses the cache).
// The send path reads and sets its flags under `mutex` and waits on `cond`.
#ifndef ZOVEXA_CAPIS_CACHE_INFO_H_
#define ZOVEXA_CAPIS_CACHE_INFO_H_

#include <pthread.h>

#include <cstdint>

struct ZOcacheInfo {
  pthread_mutex_t mutex;  // guards the flags below
  pthread_cond_t cond;    // broadcast on every change a waiter may care about
  int32_t shutDown;       // the client is being deleted
  int32_t serverSlow;     // the queue overflowed: cache instead of sending
  int32_t noDiskSpace;    // ENOSPC seen and reported
  int32_t serverDown;     // a batch failed after every retry
};

#endif  // ZOVEXA_CAPIS_CACHE_INFO_H_
