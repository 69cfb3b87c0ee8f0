// The disk-cache state of a context and of each cache file it knows.
//
// Lock order: the event queue's `lock`, then ZOcacheInfo::mutex, then a
// ZOcacheFileInfo::mutex. Nothing takes a lock earlier in that order while
// holding a later one. File I/O is done holding at most a file's own mutex.
#ifndef ZOVEXA_CAPIS_CACHE_INFO_H_
#define ZOVEXA_CAPIS_CACHE_INFO_H_

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <ctime>

// One cache file. Linked in the context's fileQ in ascending creationTime.
struct ZOcacheFileInfo {
  ZOcacheFileInfo *next;
  ZOcacheFileInfo *prev;
  pthread_mutex_t mutex;   // guards the fields below
  pthread_cond_t cond;     // broadcast on append, on release and at shut-down
  char *fileName;          // name without the directory, owned
  int64_t currSize;        // bytes written so far, checkpoint included; 10 in a new file
  int32_t beingWritten;    // a writer holds the file open for appending
  int32_t corrupt;         // found corrupt and renamed: writers stop touching it
  int32_t deleteFile;      // everything was sent: delete once nobody uses it
  int32_t beingDrained;    // a cache-manager thread drains it
  time_t creationTime;     // parsed from the name; the order of fileQ
  int64_t readCheckPoint;  // the checkpoint last written to the file
  int fd;                  // the writer's descriptor, -1 when not open for writing
};

// fileQ: doubly linked, oldest file at the head.
struct ZOcacheFileQ {
  ZOcacheFileInfo *head;
  ZOcacheFileInfo *tail;
  int32_t size;
};

struct ZOcacheInfo {
  pthread_mutex_t mutex;  // guards every field below except serverSlow
  pthread_cond_t cond;    // broadcast on file created or deleted, serverDown, maxFiles or
                          // noDiskSpace reset, a writer slot released, and shut-down
  int32_t shutDown;       // the client is being deleted: every wait ends
  // The queue overflowed into the cache ("auto") or a shut-down flush ran
  // long: batches go to the cache instead of the server until the queue is
  // down to lowWater again. Read and set without the mutex by producers.
  std::atomic<int32_t> serverSlow;
  int32_t maxFiles;            // maxCacheFiles reached and reported (once per episode)
  int32_t noDiskSpace;         // ENOSPC seen and reported (once per episode)
  int32_t noFileHandles;       // ENFILE/EMFILE seen on open and reported (once per episode)
  int32_t creatingFile;        // one thread is creating a file
  int32_t serverDown;          // the server could not be reached
  int32_t serverBeingChecked;  // one cache-manager thread polls the server
  ZOcacheFileQ fileQ;
  ZOcacheFileInfo **cacheFiles;  // files open for writing, one slot per writer
  int32_t *slotBusy;             // slot i is held by a writer right now
  int32_t cacheFilesSize;        // slots in cacheFiles and slotBusy (numberEQThreads)
  char *directory;               // everything of diskCachePath before the last "/"
  char *prefix;                  // the rest: the start of every cache file name
  int32_t discardedEvents;       // events lost since the last report
  int32_t numCMThreads;          // cache-manager threads inside their loop
};

#endif  // ZOVEXA_CAPIS_CACHE_INFO_H_
