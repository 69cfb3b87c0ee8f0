#include "capis/disk_cache.h"

#include <pthread.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <vector>

#include "capis/cache_io.h"
#include "capis/cache_limits.h"
#include "capis/context.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"

#define ZO_SRC "capis/disk_cache"

namespace {

constexpr int kPathSize = 512;           // full paths, suffixes included
constexpr int kLimitWaitSeconds = 2;     // one step of a wait under a limit
constexpr int kReadTries = 10;           // reads of a record cut short before it counts as corrupt
constexpr int kFreeWaitSeconds = 5;      // context deletion waits this long for stragglers
constexpr int kMaxHeaderEvents = 99999;  // what the 5-digit count can hold
constexpr char kSignature[4] = {'X', 'r', 'e', 'c'};
constexpr const char *kNameTimeFormat = "%Y-%m-%d-%H-%M-%S";
// Level 1 compresses batch text about as well as the default level at a
// fraction of its cost: writing to the cache must keep up with sending.
constexpr int kCompressLevel = 1;

enum Outcome { kDone = 0, kGaveUp = 1, kFailed = -1 };

void timedWait(pthread_cond_t *cond, pthread_mutex_t *mutex, int seconds) {
  timespec deadline = ZOdeadlineIn(seconds);
  pthread_cond_timedwait(cond, mutex, &deadline);
}

// One step of a wait under a limit, with the cache mutex held: up to
// kLimitWaitSeconds on the cache's cond, ended early by shut-down or by
// `cleared` becoming true (another thread saw the limit go away).
template <typename Cleared>
void limitWaitStep(ZOcacheInfo *c, Cleared cleared) {
  timespec deadline = ZOdeadlineIn(kLimitWaitSeconds);
  while (c->shutDown == 0 && !cleared()) {
    if (pthread_cond_timedwait(&c->cond, &c->mutex, &deadline) == ETIMEDOUT) break;
  }
}

// Whether a writer that has waited `waited` seconds must give up.
bool limitExpired(const ZOVEXA_AuditClientContext *ctx, const ZOcacheInfo *c, int waited, const char *tag) {
  if (c->shutDown != 0) return true;
  const int timeout = ctx->Int(ZOP_tempStorageFullTimeout);
  if (timeout != -1 && waited >= timeout) {
    ZO_FLOW(ctx, tag, "FLOW: tempStorageFullTimeout of %d secs, exceeded", timeout);
    return true;
  }
  return false;
}

// The episode warnings: with the cache mutex held, sets `flag` and issues the
// warning when the flag was clear. The mutex is released while reporting.
template <typename Report>
void warnOnce(ZOcacheInfo *c, int32_t ZOcacheInfo::*flag, Report report) {
  if (c->*flag != 0) return;
  c->*flag = 1;
  pthread_mutex_unlock(&c->mutex);
  report();
  pthread_mutex_lock(&c->mutex);
}

void warnMaxFiles(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *c, ZOVEXA_result *result,
                  const char *tag) {
  if (c->maxFiles != 0) {
    ZO_FLOW(ctx, tag, "FLOW: cacheInfo->maxFiles is already set; returning NULL");
    return;
  }
  ZO_FLOW(ctx, tag, "FLOW: maxCacheFiles reached");
  warnOnce(c, &ZOcacheInfo::maxFiles, [&] { ZOreportMaxCacheFiles(ctx, result); });
}

void warnNoDiskSpace(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *c, ZOVEXA_result *result) {
  warnOnce(c, &ZOcacheInfo::noDiskSpace, [&] { ZOreportNoDiskSpace(ctx, result); });
}

void warnNoFileHandles(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *c, int err, ZOVEXA_result *result) {
  warnOnce(c, &ZOcacheInfo::noFileHandles, [&] { ZOreportNoFileHandles(ctx, err, result); });
}

// Ends an episode with the cache mutex held.
void clearFlag(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *c, int32_t ZOcacheInfo::*flag,
               const char *tag, const char *line) {
  if (c->*flag == 0) return;
  c->*flag = 0;
  pthread_cond_broadcast(&c->cond);
  if (line != nullptr) ZO_FLOW(ctx, tag, "%s", line);
}

bool isFileHandleError(int err) { return err == EMFILE || err == ENFILE; }

// "<directory>/<name><suffix>" into a kPathSize buffer; false when too long.
bool buildPath(const ZOcacheInfo *c, const char *name, const char *suffix, char *out) {
  int n = snprintf(out, kPathSize, "%s%s%s%s", c->directory, "/", name, suffix);
  return n >= 0 && n < kPathSize;
}

// Messages naming a file and the system's reason (38, 39, 41-45, 56, 57).
void reportFileError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, uint32_t number,
                     const char *path, int err) {
  const char *why = strerror(err);
  ZOreport(ctx, result, number, static_cast<uint32_t>(strlen(path) + strlen(why) + 2), 2, path, why);
}

void reportOpenError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char *tag,
                     const char *path, int err) {
  reportFileError(ctx, result, 38, path, err);
  ZO_ERROR(ctx, tag, "ERROR on open of disk cache file %s: %s, code: %d", path, strerror(err), err);
}

void reportWriteError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char *tag,
                      const char *path, int err) {
  reportFileError(ctx, result, 42, path, err);
  ZO_ERROR(ctx, tag, "ERROR on write to disk cache file %s: %s, errno = %d", path, strerror(err), err);
}

void reportFlushError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char *tag,
                      const char *path, int err) {
  reportFileError(ctx, result, 41, path, err);
  ZO_ERROR(ctx, tag, "ERROR on fflush on disk cache file %s: %s, errno = %d", path, strerror(err), err);
}

void reportReadError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char *tag,
                     const char *path, int err) {
  reportFileError(ctx, result, 43, path, err);
  ZO_ERROR(ctx, tag, "ERROR on read of disk cache file %s: %s, errno = %d", path, strerror(err), err);
}

void reportSeekError(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result, const char *tag,
                     uint32_t number, const char *path, int err) {
  reportFileError(ctx, result, number, path, err);
  ZO_ERROR(ctx, tag, "ERROR on seek in disk cache file %s: %s, errno = %d", path, strerror(err), err);
}

ZOcacheFileInfo *newFileInfo(const char *name) {
  auto *f = static_cast<ZOcacheFileInfo *>(ZOcalloc(1, sizeof(ZOcacheFileInfo)));
  if (f == nullptr) return nullptr;
  f->fileName = ZOstrdup(name);
  if (f->fileName == nullptr) {
    free(f);
    return nullptr;
  }
  pthread_mutex_init(&f->mutex, nullptr);
  pthread_cond_init(&f->cond, nullptr);
  f->fd = -1;
  return f;
}

bool onFileQ(const ZOcacheFileQ &q, const ZOcacheFileInfo *f) {
  for (const ZOcacheFileInfo *p = q.head; p != nullptr; p = p->next)
    if (p == f) return true;
  return false;
}

// Appends `f` at the tail of fileQ without counting it (counted already).
void linkAtTail(ZOcacheFileQ *q, ZOcacheFileInfo *f) {
  f->next = nullptr;
  f->prev = q->tail;
  if (q->tail != nullptr)
    q->tail->next = f;
  else
    q->head = f;
  q->tail = f;
}

// Inserts `f` after the last file whose creation time is not later.
void insertByTime(ZOcacheFileQ *q, ZOcacheFileInfo *f) {
  ZOcacheFileInfo *after = q->tail;
  while (after != nullptr && after->creationTime > f->creationTime) after = after->prev;
  f->prev = after;
  f->next = after != nullptr ? after->next : q->head;
  if (f->next != nullptr)
    f->next->prev = f;
  else
    q->tail = f;
  if (after != nullptr)
    after->next = f;
  else
    q->head = f;
  ++q->size;
}

// Takes `f` away from its writer, with f's mutex held: the file is no longer
// being written, and a reader waiting for more data sees its end. Returns the
// descriptor for the caller to close once no lock is held.
int detachWriter(ZOcacheFileInfo *f) {
  int fd = f->fd;
  f->fd = -1;
  f->beingWritten = 0;
  pthread_cond_broadcast(&f->cond);
  return fd;
}

// A new cache file for `slot`, created with the cache mutex held (it is
// released around the file I/O; `creatingFile` keeps creators one at a time
// so names stay unique). Returns the file queued, in the slot and with its
// own mutex held, or NULL with `*outcome` kGaveUp or kFailed.
ZOcacheFileInfo *createFile(const ZOVEXA_AuditClientContext *ctx, ZOcacheInfo *c, int slot, bool block,
                            ZOVEXA_result *result, Outcome *outcome) {
  constexpr const char *tag = "[createCacheFile]";
  const ZOcacheIo &io = ZOcacheIoGet();
  const int maxFiles = ctx->Int(ZOP_maxCacheFiles);
  ZO_ENTRY(ctx, tag);
  *outcome = kFailed;
  if (c->fileQ.size >= maxFiles && !block) {
    warnMaxFiles(ctx, c, result, tag);
    ZO_FLOW(ctx, tag, "FLOW: block = 0, so we are returning");
    *outcome = kGaveUp;
    return nullptr;
  }
  while (c->creatingFile != 0) {
    if (c->shutDown != 0) return nullptr;
    timedWait(&c->cond, &c->mutex, kLimitWaitSeconds);
  }
  c->creatingFile = 1;

  ZOcacheFileInfo *made = nullptr;
  int waited = 0;
  int fd = -1;
  char name[kPathSize];
  char path[kPathSize];
  bool counted = false;
  // With the cache mutex held; the file made so far goes away again.
  auto giveUp = [&](Outcome o) {
    *outcome = o;
    if (fd < 0) return;
    pthread_mutex_unlock(&c->mutex);
    io.close(fd);
    io.remove(path);
    pthread_mutex_lock(&c->mutex);
  };

  if (c->fileQ.size >= maxFiles) warnMaxFiles(ctx, c, result, tag);
  while (c->fileQ.size >= maxFiles) {
    if (limitExpired(ctx, c, waited, tag)) {
      giveUp(kGaveUp);
      goto done;
    }
    ZO_FLOW(ctx, tag, "FLOW: waiting for cache file to be deleted: numSecs = %d", waited);
    limitWaitStep(c, [&] { return c->fileQ.size < maxFiles; });
    waited += kLimitWaitSeconds;
  }
  c->maxFiles = 0;
  ++c->fileQ.size;  // linked once made; creators after this one see it counted
  counted = true;

  // Open: waits while the system is out of file handles or disk space.
  for (;;) {
    pthread_mutex_unlock(&c->mutex);
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    char stamp[32];
    strftime(stamp, sizeof stamp, kNameTimeFormat, &local);
    bool named = false;
    for (int seq = 1; !named; ++seq) {
      if (snprintf(name, sizeof name, "%s.%s.%d", c->prefix, stamp, seq) >= kPathSize ||
          !buildPath(c, name, "", path))
        break;
      int probe = io.open(path, kZOopenRead, 0);
      if (probe < 0) {
        named = true;
      } else {
        io.close(probe);
      }
    }
    int err = ENAMETOOLONG;
    if (named) {
      fd = io.open(path, kZOopenAppend, kZOcacheFileMode);
      err = errno;
    }
    pthread_mutex_lock(&c->mutex);
    if (fd >= 0) {
      clearFlag(ctx, c, &ZOcacheInfo::noFileHandles, tag, nullptr);
      break;
    }
    if (isFileHandleError(err)) {
      warnNoFileHandles(ctx, c, err, result);
    } else if (err == ENOSPC) {
      warnNoDiskSpace(ctx, c, result);
    } else {
      pthread_mutex_unlock(&c->mutex);
      reportOpenError(ctx, result, tag, named ? path : c->prefix, err);
      pthread_mutex_lock(&c->mutex);
      giveUp(kFailed);
      goto done;
    }
    if (!block) {
      ZO_FLOW(ctx, tag, "FLOW: block = 0, so we are returning");
      giveUp(kGaveUp);
      goto done;
    }
    if (limitExpired(ctx, c, waited, tag)) {
      giveUp(kGaveUp);
      goto done;
    }
    if (isFileHandleError(err))
      limitWaitStep(c, [&] { return c->noFileHandles == 0; });
    else
      limitWaitStep(c, [&] { return c->noDiskSpace == 0; });
    waited += kLimitWaitSeconds;
  }

  // The checkpoint of a new file; a full disk empties the file and waits.
  for (;;) {
    pthread_mutex_unlock(&c->mutex);
    char checkpoint[kZOcheckpointSize + 1];
    snprintf(checkpoint, sizeof checkpoint, "%0*ld", kZOcheckpointSize, static_cast<long>(kZOcheckpointSize));
    bool flushFailed = false;
    int rc = ZOioWriteAll(fd, checkpoint, kZOcheckpointSize);
    if (rc == 0) {
      rc = io.flush(fd);
      flushFailed = rc != 0;
    }
    const int err = errno;
    if (rc != 0 && err == ENOSPC) io.truncate(fd, 0);
    if (rc != 0 && err != ENOSPC) {
      if (flushFailed)
        reportFlushError(ctx, result, tag, path, err);
      else
        reportWriteError(ctx, result, tag, path, err);
    }
    pthread_mutex_lock(&c->mutex);
    if (rc == 0) break;
    if (err != ENOSPC) {
      giveUp(kFailed);
      goto done;
    }
    warnNoDiskSpace(ctx, c, result);
    if (!block) {
      ZO_FLOW(ctx, tag, "FLOW: block = 0, so we are returning");
      giveUp(kGaveUp);
      goto done;
    }
    if (limitExpired(ctx, c, waited, tag)) {
      giveUp(kGaveUp);
      goto done;
    }
    limitWaitStep(c, [&] { return c->noDiskSpace == 0; });
    waited += kLimitWaitSeconds;
  }

  clearFlag(ctx, c, &ZOcacheInfo::noDiskSpace, tag,
            "FLOW: broadcasting cacheInfo->cond - just reset noDiskSpace");
  made = newFileInfo(name);
  if (made == nullptr) {
    pthread_mutex_unlock(&c->mutex);
    ZOreport(ctx, result, 1, 0, 0);
    pthread_mutex_lock(&c->mutex);
    giveUp(kFailed);
    goto done;
  }
  made->fd = fd;
  made->currSize = kZOcheckpointSize;
  made->readCheckPoint = kZOcheckpointSize;
  made->beingWritten = 1;
  made->creationTime = ZOgetCreationTime(ctx, name);
  if (made->creationTime == static_cast<time_t>(-1)) made->creationTime = time(nullptr);
  pthread_mutex_lock(&made->mutex);
  linkAtTail(&c->fileQ, made);
  if (slot >= 0 && slot < c->cacheFilesSize) c->cacheFiles[slot] = made;
  ZO_FLOW(ctx, tag, "FLOW: broadcasting cacheInfo->cond - just created cache file");
  *outcome = kDone;

done:
  if (made == nullptr && counted) --c->fileQ.size;
  c->creatingFile = 0;
  pthread_cond_broadcast(&c->cond);
  ZO_EXIT_RC(ctx, tag, *outcome);
  return made;
}

// The value of the digits at `p` (up to the first non-digit), or -1 when
// there are none.
int64_t digitsAt(const char *p, const char *end) {
  int64_t v = 0;
  const char *start = p;
  for (; p < end && *p >= '0' && *p <= '9'; ++p) v = v * 10 + (*p - '0');
  return p == start ? -1 : v;
}

// Reads exactly `count` bytes, trying again at end of file: a record can
// only be cut short by a writer that did not finish it. 1 when read, 0 when
// `mayBeEmpty` and the file ended before its first byte, 2 when still short
// after kReadTries reads, -1 on a read error.
int readRecordPart(int fd, char *buf, size_t count, bool mayBeEmpty) {
  size_t got = 0;
  for (int tries = 0;;) {
    ssize_t n = ZOioReadFull(fd, buf + got, count - got);
    if (n < 0) return -1;
    got += static_cast<size_t>(n);
    if (got == count) return 1;
    if (got == 0 && mayBeEmpty) return 0;
    if (++tries >= kReadTries) return 2;
  }
}

bool growBuffer(char **buf, int64_t *cap, int64_t need) {
  if (*cap >= need) return true;
  void *grown = ZOrealloc(*buf, static_cast<size_t>(need));
  if (grown == nullptr) return false;
  *buf = static_cast<char *>(grown);
  *cap = need;
  return true;
}

struct ScanState {
  const ZOVEXA_AuditClientContext *ctx;
  ZOcacheInfo *cache;
  ZOVEXA_result *result;
  bool outOfMemory;
};

int scanEntry(const char *name, void *arg) {
  constexpr const char *tag = "[buildCacheFileQ]";
  auto *s = static_cast<ScanState *>(arg);
  const ZOVEXA_AuditClientContext *ctx = s->ctx;
  ZOcacheInfo *c = s->cache;
  const size_t prefixLen = strlen(c->prefix);
  // Only names made for this prefix; a longer prefix is another cache's.
  if (strncmp(name, c->prefix, prefixLen) != 0 || name[prefixLen] != '.') return 0;
  if (strstr(name + prefixLen, "corrupt") != nullptr) return 0;
  char path[kPathSize];
  if (!buildPath(c, name, "", path)) return 0;
  struct stat st;
  if (ZOcacheIoGet().stat(path, &st) != 0) {
    const int err = errno;
    reportFileError(ctx, s->result, 57, path, err);
    ZO_ERROR(ctx, tag, "ERROR: can't stat file: %s: %s", path, strerror(err));
    return 0;
  }
  if (!S_ISREG(st.st_mode)) return 0;
  const time_t created = ZOgetCreationTime(ctx, name);
  if (created == static_cast<time_t>(-1)) {
    ZO_FLOW(ctx, tag, "FLOW: failed to get creation time from fileName: %s", name);
    return 0;
  }
  ZOcacheFileInfo *f = newFileInfo(name);
  if (f == nullptr) {
    s->outOfMemory = true;
    return 1;
  }
  f->currSize = st.st_size;
  f->creationTime = created;
  pthread_mutex_lock(&c->mutex);
  insertByTime(&c->fileQ, f);
  pthread_mutex_unlock(&c->mutex);
  ZO_FLOW(ctx, tag, "FLOW: queued cache file %s, currSize = %ld", name, static_cast<long>(f->currSize));
  return 0;
}

}  // namespace

int vexazip_compress(unsigned char *dest, size_t *destLen, const unsigned char *src, size_t srcLen) {
  uLongf out = *destLen;
  int rc = compress2(dest, &out, src, srcLen, kCompressLevel);
  *destLen = out;
  return rc;
}

int vexazip_uncompress(unsigned char *dest, size_t *destLen, const unsigned char *src, size_t srcLen) {
  uLongf out = *destLen;
  int rc = uncompress(dest, &out, src, srcLen);
  *destLen = out;
  return rc;
}

void ZOformatRecordHeader(char *dest, int64_t uncompSize, int64_t compSize, int32_t numEvents) {
  // The format ends in ":" but the field holds 31 characters and a NUL, so
  // the last ":" never reaches the file. Formatted into a larger buffer and
  // cut, which gives the same bytes.
  char full[64];
  snprintf(full, sizeof full, "%c%c%c%c%0*ld:%0*ld:%0*ld:", kSignature[0], kSignature[1], kSignature[2],
           kSignature[3], 10, static_cast<long>(uncompSize), 10, static_cast<long>(compSize), 5,
           static_cast<long>(std::min(numEvents, kMaxHeaderEvents)));
  memcpy(dest, full, kZOrecordHeaderSize - 1);
  dest[kZOrecordHeaderSize - 1] = '\0';
}

time_t ZOgetCreationTime(const ZOVEXA_AuditClientContext *ctx, const char *fileName) {
  constexpr const char *tag = "[getCreationTime]";
  const char *last = strrchr(fileName, '.');
  if (last == nullptr) {
    ZO_FLOW(ctx, tag, "FLOW: can't find last dot in fileName");
    return -1;
  }
  const char *nextToLast = nullptr;
  for (const char *p = fileName; p < last; ++p)
    if (*p == '.') nextToLast = p;
  if (nextToLast == nullptr) {
    ZO_FLOW(ctx, tag, "FLOW: can't find next to last dot in fileName");
    return -1;
  }
  char stamp[64];
  const size_t len = static_cast<size_t>(last - nextToLast - 1);
  if (len >= sizeof stamp) {
    ZO_FLOW(ctx, tag, "FLOW: strpStatus is NULL");
    return -1;
  }
  memcpy(stamp, nextToLast + 1, len);
  stamp[len] = '\0';
  struct tm local {};
  const char *end = strptime(stamp, kNameTimeFormat, &local);
  if (end == nullptr || *end != '\0') {
    ZO_FLOW(ctx, tag, "FLOW: strpStatus is NULL");
    return -1;
  }
  local.tm_isdst = -1;
  return mktime(&local);
}

int ZObuildCacheFileQ(const ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[buildCacheFileQ]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *c = ctx->diskCache;
  ScanState state{ctx, c, result, false};
  const char *dir = c->directory[0] != '\0' ? c->directory : "/";
  if (ZOcacheIoGet().scanDir(dir, scanEntry, &state) != 0) {
    const int err = errno;
    reportFileError(ctx, result, 56, dir, err);
    ZO_ERROR(ctx, tag, "ERROR: cannot open directory %s: %s\n", dir, strerror(err));
    return -1;
  }
  if (state.outOfMemory) {
    ZOreport(ctx, result, 1, 0, 0);
    return -1;
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOinitDiskCache(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[initDiskCache]";
  ZO_ENTRY(ctx, tag);
  if (ctx->Int(ZOP_useDiskCache) == ZO_DISKCACHE_NEVER) {
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - disk cache is not enabled");
    return 0;
  }
  const char *path = ctx->Str(ZOP_diskCachePath);
  if (path == nullptr) {
    // Accepted for the context, which then has no cache; a client cannot be
    // made without one.
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - no diskCachePath");
    return 0;
  }
  const char *slash = strrchr(path, '/');
  if (slash == nullptr) {
    ZOreport(ctx, result, 7, static_cast<uint32_t>(strlen(path) + 16), 2, "diskCachePath", path);
    ZO_ERROR(ctx, tag, "ERROR - invalid %s property value: %s, not a valid pathname", "diskCachePath", path);
    return -1;
  }
  auto *c = new (std::nothrow) ZOcacheInfo{};
  if (c == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    return -1;
  }
  pthread_mutex_init(&c->mutex, nullptr);
  pthread_cond_init(&c->cond, nullptr);
  ctx->diskCache = c;
  c->directory = ZOstrndup(path, static_cast<size_t>(slash - path));
  c->prefix = ZOstrdup(slash + 1);
  if (c->directory == nullptr || c->prefix == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    return -1;
  }

  // The path itself proves that the directory takes new files; a file that
  // was there already is left alone.
  const ZOcacheIo &io = ZOcacheIoGet();
  struct stat st;
  const bool existed = io.stat(path, &st) == 0;
  int fd = io.open(path, kZOopenAppend, kZOcacheFileMode);
  if (fd < 0) {
    reportOpenError(ctx, result, tag, path, errno);
    return -1;
  }
  io.close(fd);
  if (!existed) io.remove(path);

  if (ZObuildCacheFileQ(ctx, result) != 0) return -1;
  ZO_EXIT(ctx, tag);
  return 0;
}

// A writer holds one of the slots (caller holds the cache mutex).
static bool anySlotBusy(const ZOcacheInfo *c) {
  for (int i = 0; i < c->cacheFilesSize; ++i)
    if (c->slotBusy[i] != 0) return true;
  return false;
}

void ZOfreeDiskCache(ZOVEXA_AuditClientContext *ctx) {
  constexpr const char *tag = "[freeDiskCache]";
  ZOcacheInfo *c = ctx->diskCache;
  if (c == nullptr) return;
  ZO_ENTRY(ctx, tag);
  const ZOcacheIo &io = ZOcacheIoGet();

  // Every wait ends; give threads that outlived their client a moment to
  // leave before their records go away.
  pthread_mutex_lock(&c->mutex);
  c->shutDown = 1;
  pthread_cond_broadcast(&c->cond);
  for (ZOcacheFileInfo *f = c->fileQ.head; f != nullptr; f = f->next) {
    pthread_mutex_lock(&f->mutex);
    pthread_cond_broadcast(&f->cond);
    pthread_mutex_unlock(&f->mutex);
  }
  auto busy = [c] { return c->numCMThreads > 0 || anySlotBusy(c); };
  for (int waited = 0; busy() && waited < kFreeWaitSeconds; ++waited) timedWait(&c->cond, &c->mutex, 1);
  if (busy()) ZO_ERROR(ctx, tag, "WARNING: disk cache threads are still running at context deletion");

  // Files taken from their queue while a writer held them are only in a slot.
  for (int i = 0; i < c->cacheFilesSize; ++i) {
    ZOcacheFileInfo *f = c->cacheFiles[i];
    if (f != nullptr && !onFileQ(c->fileQ, f)) insertByTime(&c->fileQ, f);
    c->cacheFiles[i] = nullptr;
  }
  ZOcacheFileInfo *all = c->fileQ.head;
  c->fileQ = ZOcacheFileQ{};
  pthread_mutex_unlock(&c->mutex);

  while (all != nullptr) {
    ZOcacheFileInfo *f = all;
    all = f->next;
    if (f->fd >= 0) io.close(f->fd);
    f->fd = -1;
    // A file whose every record was sent (or that never got one) is of no
    // use to the next process.
    if (f->corrupt == 0 && f->currSize == f->readCheckPoint) ZOdeleteCacheFile(ctx, f, nullptr);
    ZOfreeCacheFileInfo(f);
  }
  free(c->cacheFiles);
  free(c->slotBusy);
  free(c->directory);
  free(c->prefix);
  pthread_cond_destroy(&c->cond);
  pthread_mutex_destroy(&c->mutex);
  delete c;
  ctx->diskCache = nullptr;
  ZO_EXIT(ctx, tag);
}

int ZOsetupCacheFiles(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *result) {
  constexpr const char *tag = "[setupCacheFiles]";
  ZOcacheInfo *c = ctx->diskCache;
  if (ctx->Int(ZOP_useDiskCache) == ZO_DISKCACHE_NEVER) return 0;
  ZO_ENTRY(ctx, tag);
  if (c == nullptr) {
    ZOreport(ctx, result, 6, 0, 1, "diskCachePath");
    ZO_ERROR(ctx, tag, "ERROR - the %s property is missing", "diskCachePath");
    return -1;
  }
  const int slots = ctx->Int(ZOP_numberEQThreads);
  pthread_mutex_lock(&c->mutex);
  c->shutDown = 0;
  if (c->cacheFiles == nullptr) {
    c->cacheFiles =
        static_cast<ZOcacheFileInfo **>(ZOcalloc(static_cast<size_t>(slots), sizeof(ZOcacheFileInfo *)));
    c->slotBusy = static_cast<int32_t *>(ZOcalloc(static_cast<size_t>(slots), sizeof(int32_t)));
    if (c->cacheFiles == nullptr || c->slotBusy == nullptr) {
      free(c->cacheFiles);
      free(c->slotBusy);
      c->cacheFiles = nullptr;
      c->slotBusy = nullptr;
      pthread_mutex_unlock(&c->mutex);
      ZOreport(ctx, result, 1, 0, 0);
      return -1;
    }
    c->cacheFilesSize = slots;
  }
  ZO_FLOW(ctx, tag, "FLOW: cacheFilesSize = %d", c->cacheFilesSize);
  for (int i = 0; i < c->cacheFilesSize; ++i) {
    if (c->cacheFiles[i] != nullptr) continue;
    Outcome outcome;
    ZOcacheFileInfo *f = createFile(ctx, c, i, false, result, &outcome);
    if (f != nullptr) pthread_mutex_unlock(&f->mutex);
  }
  pthread_mutex_unlock(&c->mutex);
  ZO_EXIT(ctx, tag);
  return 0;
}

void ZOreleaseCacheFiles(ZOVEXA_AuditClientContext *ctx) {
  constexpr const char *tag = "[releaseCacheFiles]";
  ZOcacheInfo *c = ctx->diskCache;
  if (c == nullptr) return;
  ZO_ENTRY(ctx, tag);
  const ZOcacheIo &io = ZOcacheIoGet();
  pthread_mutex_lock(&c->mutex);
  // A writer still inside a slot finishes its record first (shut-down ends
  // any wait it is in).
  for (int waited = 0; anySlotBusy(c) && waited < kFreeWaitSeconds; ++waited) timedWait(&c->cond, &c->mutex, 1);
  std::vector<int> fds;
  for (int i = 0; i < c->cacheFilesSize; ++i) {
    ZOcacheFileInfo *f = c->cacheFiles[i];
    if (f == nullptr || c->slotBusy[i] != 0) continue;
    pthread_mutex_lock(&f->mutex);
    int fd = detachWriter(f);
    pthread_mutex_unlock(&f->mutex);
    c->cacheFiles[i] = nullptr;
    if (fd >= 0) fds.push_back(fd);
  }
  pthread_mutex_unlock(&c->mutex);
  for (int fd : fds) io.close(fd);
  ZO_EXIT(ctx, tag);
}

int ZOselectCacheFile(const ZOVEXA_AuditClientContext *ctx, int64_t recordLength, int *slotOut,
                      ZOcacheFileInfo **fileOut, ZOVEXA_result *result) {
  constexpr const char *tag = "[selectCacheFile]";
  ZOcacheInfo *c = ctx->diskCache;
  const int64_t maxSize = ctx->Int(ZOP_maxCacheFileSize);
  pthread_mutex_lock(&c->mutex);
  int slot = -1;
  for (;;) {
    if (c->cacheFilesSize <= 0) {
      pthread_mutex_unlock(&c->mutex);
      ZO_ERROR(ctx, tag, "ERROR: the disk cache has no cache files set up");
      return -1;
    }
    for (int i = 0; i < c->cacheFilesSize && slot < 0; ++i)
      if (c->slotBusy[i] == 0) slot = i;
    if (slot >= 0) break;
    if (c->shutDown != 0) {
      pthread_mutex_unlock(&c->mutex);
      ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown is set");
      return -1;
    }
    timedWait(&c->cond, &c->mutex, kLimitWaitSeconds);
  }
  c->slotBusy[slot] = 1;

  ZOcacheFileInfo *f = c->cacheFiles[slot];
  int oldFd = -1;
  if (f != nullptr) {
    pthread_mutex_lock(&f->mutex);
    // A file without records takes any record: a new one would be no larger.
    const bool full = f->currSize > kZOcheckpointSize && f->currSize + recordLength > maxSize;
    if (f->corrupt != 0 || full || f->fd < 0) {
      ZO_FLOW(ctx, tag, "FLOW: rolling over file %s with currSize of %d", f->fileName,
              static_cast<int>(f->currSize));
      oldFd = detachWriter(f);
      c->cacheFiles[slot] = nullptr;
      pthread_mutex_unlock(&f->mutex);
      f = nullptr;
    } else {
      pthread_mutex_unlock(&f->mutex);
    }
  }
  Outcome outcome = kDone;
  if (f == nullptr) {
    f = createFile(ctx, c, slot, true, result, &outcome);
    if (f != nullptr) pthread_mutex_unlock(&f->mutex);
  }
  if (f == nullptr) {
    c->slotBusy[slot] = 0;
    pthread_cond_broadcast(&c->cond);
  }
  pthread_mutex_unlock(&c->mutex);
  if (oldFd >= 0) ZOcacheIoGet().close(oldFd);
  if (f == nullptr) return outcome;
  *slotOut = slot;
  *fileOut = f;
  return 0;
}

void releaseCacheFile(const ZOVEXA_AuditClientContext *ctx, int slot, ZOcacheFileInfo *file) {
  ZOcacheInfo *c = ctx->diskCache;
  pthread_mutex_lock(&c->mutex);
  c->slotBusy[slot] = 0;
  pthread_cond_broadcast(&c->cond);
  pthread_mutex_unlock(&c->mutex);
  pthread_mutex_lock(&file->mutex);
  pthread_cond_broadcast(&file->cond);
  pthread_mutex_unlock(&file->mutex);
}

int ZOcacheMsg(const ZOVEXA_AuditClientContext *ctx, const char *text, int64_t length, int32_t numEvents,
               ZOVEXA_result *result) {
  constexpr const char *tag = "[cacheMsg]";
  ZO_ENTRY(ctx, tag);
  if (ctx->diskCache == nullptr) {
    ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - disk cache is not enabled");
    return 0;
  }
  const size_t srcLen = static_cast<size_t>(length);
  const size_t room = std::max<size_t>(srcLen + srcLen / 1000 + 12, compressBound(srcLen));
  char *buffer = static_cast<char *>(ZOmalloc(kZOrecordHeaderSize + room));
  if (buffer == nullptr) {
    ZOreport(ctx, result, 1, 0, 0);
    return -1;
  }
  size_t compSize = room;
  int zrc = vexazip_compress(reinterpret_cast<unsigned char *>(buffer + kZOrecordHeaderSize), &compSize,
                             reinterpret_cast<const unsigned char *>(text), srcLen);
  if (zrc != 0) {
    free(buffer);
    ZOreport(ctx, result, 40, 0, 1, zrc);
    ZO_ERROR(ctx, tag, "ERROR on compress call: %d", zrc);
    return -1;
  }
  ZO_FLOW(ctx, tag, "FLOW: compSize = %d", static_cast<int>(compSize));
  const int64_t recordLength = static_cast<int64_t>(compSize) + kZOrecordHeaderSize;
  const bool finiteWait = ctx->Int(ZOP_tempStorageFullTimeout) != -1;

  int rc;
  for (;;) {
    int slot = -1;
    ZOcacheFileInfo *file = nullptr;
    int sel = ZOselectCacheFile(ctx, recordLength, &slot, &file, result);
    if (sel != 0) {
      rc = sel == 1 && finiteWait ? 1 : -1;
      break;
    }
    rc = ZOwriteCacheRecord(ctx, file, buffer, length, static_cast<int64_t>(compSize), numEvents, result);
    pthread_mutex_lock(&file->mutex);
    const bool corrupt = file->corrupt != 0;
    pthread_mutex_unlock(&file->mutex);
    releaseCacheFile(ctx, slot, file);
    if (rc != 0 && corrupt) continue;  // found corrupt meanwhile: another file takes the record
    if (rc == 1 && !finiteWait) rc = -1;
    break;
  }
  free(buffer);
  if (rc == 1) {
    ZO_FLOW(ctx, tag, "FLOW: discarding %d events", numEvents);
    ZOdiscardEvents(ctx, numEvents, result);
    rc = 0;
  }
  ZO_EXIT_RC(ctx, tag, rc);
  return rc;
}

ZOcacheFileInfo *ZOcreateCacheFile(const ZOVEXA_AuditClientContext *ctx, int slot, int nonBlocking,
                                   ZOVEXA_result *result) {
  Outcome outcome;
  return createFile(ctx, ctx->diskCache, slot, nonBlocking == 0, result, &outcome);
}

int ZOwriteCacheRecord(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, char *buffer,
                       int64_t uncompSize, int64_t compSize, int32_t numEvents, ZOVEXA_result *result) {
  constexpr const char *tag = "[writeCacheRecord]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *c = ctx->diskCache;
  const ZOcacheIo &io = ZOcacheIoGet();
  const int64_t recordLength = compSize + kZOrecordHeaderSize;
  char path[kPathSize];
  if (!buildPath(c, file->fileName, "", path)) snprintf(path, sizeof path, "%s", file->fileName);
  ZOformatRecordHeader(buffer, uncompSize, compSize, numEvents);

  for (int waited = 0;;) {
    // The whole record is written under the file's mutex, so a reader never
    // sees part of one.
    pthread_mutex_lock(&file->mutex);
    if (file->corrupt != 0 || file->fd < 0) {
      pthread_mutex_unlock(&file->mutex);
      ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT - file %s is corrupt", file->fileName);
      return -1;
    }
    const off_t noted = io.seek(file->fd, 0, SEEK_END);
    if (noted < 0) {
      const int err = errno;
      pthread_mutex_unlock(&file->mutex);
      reportSeekError(ctx, result, tag, 39, path, err);
      return -1;
    }
    bool flushFailed = false;
    int rc = ZOioWriteAll(file->fd, buffer, static_cast<size_t>(recordLength));
    if (rc == 0) {
      rc = io.flush(file->fd);
      if (rc == 0) rc = io.flush(file->fd);
      flushFailed = rc != 0;
    }
    if (rc == 0) {
      file->currSize = noted + recordLength;
      const int64_t size = file->currSize;
      pthread_cond_broadcast(&file->cond);
      pthread_mutex_unlock(&file->mutex);
      ZO_FLOW(ctx, tag, "FLOW: wrote record w %d events to file %s whose currSize is now %d", numEvents,
              file->fileName, static_cast<int>(size));
      pthread_mutex_lock(&c->mutex);
      clearFlag(ctx, c, &ZOcacheInfo::noDiskSpace, tag,
                "FLOW: broadcasting cacheInfo->cond - just reset noDiskSpace");
      pthread_mutex_unlock(&c->mutex);
      ZO_EXIT_RC(ctx, tag, 0);
      return 0;
    }

    // Whatever part of the record got in is cut off again.
    const int err = errno;
    bool cut = io.truncate(file->fd, noted) == 0;
    const int truncErr = errno;
    if (cut) {
      ZO_FLOW(ctx, tag, "FLOW: truncated file %s to size %d, currSize = %d", file->fileName,
              static_cast<int>(noted), static_cast<int>(file->currSize));
    } else {
      // The file now ends in part of a record: nothing may follow it.
      file->corrupt = 1;
    }
    pthread_mutex_unlock(&file->mutex);
    if (!cut) {
      reportFileError(ctx, result, 44, path, truncErr);
      ZO_ERROR(ctx, tag, "ERROR on truncate of disk cache file %s: %s, errno = %d", path, strerror(truncErr),
               truncErr);
    }
    if (err != ENOSPC) {
      if (flushFailed)
        reportFlushError(ctx, result, tag, path, err);
      else
        reportWriteError(ctx, result, tag, path, err);
      return -1;
    }
    if (!cut) return -1;

    pthread_mutex_lock(&c->mutex);
    warnNoDiskSpace(ctx, c, result);
    if (c->shutDown != 0) {
      pthread_mutex_unlock(&c->mutex);
      ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown is set");
      return -1;
    }
    if (limitExpired(ctx, c, waited, tag)) {
      pthread_mutex_unlock(&c->mutex);
      ZO_TRACE(ctx, ZO_TL_ENTRY, tag, "EXIT, rc = 1");
      return 1;
    }
    limitWaitStep(c, [c] { return c->noDiskSpace == 0; });
    waited += kLimitWaitSeconds;
    const bool down = c->shutDown != 0;
    pthread_mutex_unlock(&c->mutex);
    if (down) return -1;
  }
}

int ZOopenCacheFile(const ZOVEXA_AuditClientContext *ctx, const char *path, int block,
                    ZOVEXA_result *result) {
  constexpr const char *tag = "[openCacheFile]";
  ZOcacheInfo *c = ctx->diskCache;
  const ZOcacheIo &io = ZOcacheIoGet();
  for (int waited = 0;;) {
    int fd = io.open(path, kZOopenUpdate, 0);
    const int err = errno;
    if (fd >= 0) {
      if (c != nullptr) {
        pthread_mutex_lock(&c->mutex);
        clearFlag(ctx, c, &ZOcacheInfo::noFileHandles, tag, nullptr);
        pthread_mutex_unlock(&c->mutex);
      }
      return fd;
    }
    if (!isFileHandleError(err) || c == nullptr) {
      reportOpenError(ctx, result, tag, path, err);
      return -1;
    }
    pthread_mutex_lock(&c->mutex);
    warnNoFileHandles(ctx, c, err, result);
    if (block == 0) {
      pthread_mutex_unlock(&c->mutex);
      ZO_FLOW(ctx, tag, "FLOW: block = 0, so we are returning");
      return -1;
    }
    if (limitExpired(ctx, c, waited, tag)) {
      pthread_mutex_unlock(&c->mutex);
      return -1;
    }
    limitWaitStep(c, [c] { return c->noFileHandles == 0; });
    waited += kLimitWaitSeconds;
    pthread_mutex_unlock(&c->mutex);
  }
}

int ZOseekToNextEvent(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, int fd,
                      ZOVEXA_result *result) {
  constexpr const char *tag = "[seekToNextEvent]";
  const ZOcacheIo &io = ZOcacheIoGet();
  char path[kPathSize];
  if (!buildPath(ctx->diskCache, file->fileName, "", path)) snprintf(path, sizeof path, "%s", file->fileName);
  if (io.seek(fd, 0, SEEK_SET) != 0) {
    reportSeekError(ctx, result, tag, 45, path, errno);
    return -1;
  }
  char digits[kZOcheckpointSize];
  ssize_t n = ZOioReadFull(fd, digits, sizeof digits);
  int64_t checkpoint = n == kZOcheckpointSize ? digitsAt(digits, digits + sizeof digits) : -1;
  if (n < 0 || checkpoint < kZOcheckpointSize) {
    reportReadError(ctx, result, tag, path, n < 0 ? errno : EIO);
    return -1;
  }
  if (io.seek(fd, checkpoint, SEEK_SET) != checkpoint) {
    reportSeekError(ctx, result, tag, 45, path, errno);
    return -1;
  }
  pthread_mutex_lock(&file->mutex);
  file->readCheckPoint = checkpoint;
  pthread_mutex_unlock(&file->mutex);
  ZO_FLOW(ctx, tag, "FLOW: have successfully seeked to offset %d", static_cast<int>(checkpoint));
  return 0;
}

int ZOgetEventRec(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, int fd, int block,
                  ZOeventRec *rec, ZOVEXA_result *result) {
  constexpr const char *tag = "[getEventRec]";
  ZO_ENTRY(ctx, tag);
  ZOcacheInfo *c = ctx->diskCache;
  const ZOcacheIo &io = ZOcacheIoGet();
  char path[kPathSize];
  if (!buildPath(c, file->fileName, "", path)) snprintf(path, sizeof path, "%s", file->fileName);
  char header[kZOrecordHeaderSize];
  off_t start;
  auto fail = [&](ZOeventRecStatus status) {
    rec->status = status;
    ZO_EXIT_RC(ctx, tag, -1);
    return -1;
  };
  auto corrupt = [&](const char *why) {
    pthread_mutex_unlock(&file->mutex);
    ZO_FLOW(ctx, tag, "%s", why);
    handleCorruptedCacheFile(ctx, file, result);
    return fail(ZO_REC_CORRUPT);
  };

  // One record is read under the file's mutex: its writer appends under it.
  pthread_mutex_lock(&file->mutex);
  int got;
  for (;;) {
    start = io.seek(fd, 0, SEEK_CUR);
    if (start < 0) {
      const int err = errno;
      pthread_mutex_unlock(&file->mutex);
      reportSeekError(ctx, result, tag, 39, path, err);
      return fail(ZO_REC_READ_ERROR);
    }
    got = readRecordPart(fd, header, sizeof header, true);
    if (got != 0) break;
    if (file->beingWritten == 0) {
      pthread_mutex_unlock(&file->mutex);
      ZO_FLOW(ctx, tag, "FLOW: EOF reached on %s; not being written, returning", file->fileName);
      return fail(ZO_REC_END);
    }
    if (block == 0) {
      pthread_mutex_unlock(&file->mutex);
      ZO_FLOW(ctx, tag, "FLOW: EOF reached on %s; block = 0, returning", file->fileName);
      return fail(ZO_REC_END);
    }
    ZO_FLOW(ctx, tag, "FLOW: waiting for data to be written to cache file %s", file->fileName);
    timedWait(&file->cond, &file->mutex, kLimitWaitSeconds);
    // shutDown is the cache's, under the cache mutex, which comes first.
    pthread_mutex_unlock(&file->mutex);
    pthread_mutex_lock(&c->mutex);
    const bool down = c->shutDown != 0;
    pthread_mutex_unlock(&c->mutex);
    if (down) {
      ZO_FLOW(ctx, tag, "FLOW: cacheInfo->shutDown is set");
      return fail(ZO_REC_SHUTDOWN);
    }
    pthread_mutex_lock(&file->mutex);
  }
  if (got < 0) {
    const int err = errno;
    pthread_mutex_unlock(&file->mutex);
    reportReadError(ctx, result, tag, path, err);
    return fail(ZO_REC_READ_ERROR);
  }
  if (got == 2) return corrupt("FLOW: could not read data record after several attempts");
  if (memcmp(header, kSignature, sizeof kSignature) != 0)
    return corrupt("FLOW: header record signature is wrong");
  const char *end = header + sizeof header;
  const int64_t uncompSize = digitsAt(header + 4, end);
  const int64_t compSize = digitsAt(header + 15, end);
  const int64_t numEvents = digitsAt(header + 26, end);
  if (uncompSize < 0 || compSize <= 0 || numEvents < 0)
    return corrupt("FLOW: header record sizes are not valid");
  if (!growBuffer(&rec->compBuf, &rec->compCap, compSize + 1) ||
      !growBuffer(&rec->text, &rec->textCap, uncompSize + 1)) {
    pthread_mutex_unlock(&file->mutex);
    ZOreport(ctx, result, 1, 0, 0);
    return fail(ZO_REC_READ_ERROR);
  }
  got = readRecordPart(fd, rec->compBuf, static_cast<size_t>(compSize), false);
  if (got < 0) {
    const int err = errno;
    pthread_mutex_unlock(&file->mutex);
    reportReadError(ctx, result, tag, path, err);
    return fail(ZO_REC_READ_ERROR);
  }
  if (got == 2) return corrupt("FLOW: could not read data record after several attempts");
  pthread_mutex_unlock(&file->mutex);

  size_t textLen = static_cast<size_t>(uncompSize);
  int zrc = vexazip_uncompress(reinterpret_cast<unsigned char *>(rec->text), &textLen,
                               reinterpret_cast<const unsigned char *>(rec->compBuf),
                               static_cast<size_t>(compSize));
  if (zrc == 0 && textLen != static_cast<size_t>(uncompSize)) zrc = Z_DATA_ERROR;
  if (zrc != 0) {
    ZOreport(ctx, result, 46, 0, 1, zrc);
    ZO_ERROR(ctx, tag, "ERROR on uncompress call: %d", zrc);
    return fail(ZO_REC_READ_ERROR);
  }
  rec->text[textLen] = '\0';
  rec->uncompSize = uncompSize;
  rec->compSize = compSize;
  rec->numEvents = static_cast<int32_t>(numEvents);
  rec->endOffset = start + kZOrecordHeaderSize + compSize;
  rec->status = ZO_REC_OK;
  ZO_FLOW(ctx, tag, "FLOW: uncompressed data record from %s w %d events, size = %d", file->fileName,
          rec->numEvents, static_cast<int>(uncompSize));
  ZO_EXIT_RC(ctx, tag, 0);
  return 0;
}

void ZOfreeEventRec(ZOeventRec *rec) {
  if (rec == nullptr) return;
  free(rec->compBuf);
  free(rec->text);
  *rec = ZOeventRec{};
}

int ZOupdateReadPos(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, int fd,
                    ZOVEXA_result *result) {
  constexpr const char *tag = "[updateReadPos]";
  const ZOcacheIo &io = ZOcacheIoGet();
  char path[kPathSize];
  if (!buildPath(ctx->diskCache, file->fileName, "", path)) snprintf(path, sizeof path, "%s", file->fileName);
  const off_t pos = io.seek(fd, 0, SEEK_CUR);
  if (pos < 0) {
    reportSeekError(ctx, result, tag, 39, path, errno);
    return -1;
  }
  if (io.seek(fd, 0, SEEK_SET) != 0) {
    reportSeekError(ctx, result, tag, 45, path, errno);
    return -1;
  }
  char checkpoint[32];
  snprintf(checkpoint, sizeof checkpoint, "%0*ld", kZOcheckpointSize, static_cast<long>(pos));
  if (ZOioWriteAll(fd, checkpoint, kZOcheckpointSize) != 0) {
    const int err = errno;
    reportWriteError(ctx, result, tag, path, err);
    io.seek(fd, pos, SEEK_SET);
    return -1;
  }
  if (io.flush(fd) != 0) {
    const int err = errno;
    reportFlushError(ctx, result, tag, path, err);
    io.seek(fd, pos, SEEK_SET);
    return -1;
  }
  if (io.seek(fd, pos, SEEK_SET) != pos) {
    reportSeekError(ctx, result, tag, 45, path, errno);
    return -1;
  }
  pthread_mutex_lock(&file->mutex);
  file->readCheckPoint = pos;
  pthread_mutex_unlock(&file->mutex);
  ZO_FLOW(ctx, tag, "FLOW: readCheckPoint for file %s = %d, currPos = %d", file->fileName,
          static_cast<int>(pos), static_cast<int>(pos));
  return 0;
}

int handleCorruptedCacheFile(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file,
                             ZOVEXA_result *result) {
  constexpr const char *tag = "[handleCorruptedCacheFile]";
  ZO_ENTRY(ctx, tag);
  const ZOcacheIo &io = ZOcacheIoGet();
  ZOcacheInfo *c = ctx->diskCache;
  pthread_mutex_lock(&file->mutex);
  file->corrupt = 1;
  pthread_mutex_unlock(&file->mutex);
  char path[kPathSize];
  if (!buildPath(c, file->fileName, "", path)) return -1;
  ZOreport(ctx, result, 51, static_cast<uint32_t>(strlen(path)), 1, path);
  ZO_ERROR(ctx, tag, "ERROR: disk cache file %s is corrupt", path);
  char renamed[kPathSize];
  for (int n = 1;; ++n) {
    char suffix[32];
    snprintf(suffix, sizeof suffix, ".corrupt%d", n);
    if (!buildPath(c, file->fileName, suffix, renamed)) return -1;
    struct stat st;
    if (io.stat(renamed, &st) != 0) break;
  }
  ZO_FLOW(ctx, tag, "renaming corrupt disk cache file %s to %s", path, renamed);
  if (io.rename(path, renamed) != 0) {
    ZO_ERROR(ctx, tag, "ERROR: cannot rename %s to %s: %s\n", path, renamed, strerror(errno));
    return -1;
  }
  ZO_EXIT(ctx, tag);
  return 0;
}

int ZOdeleteCacheFile(const ZOVEXA_AuditClientContext *ctx, ZOcacheFileInfo *file, ZOVEXA_result *result) {
  constexpr const char *tag = "[deleteCacheFile]";
  (void)result;
  char path[kPathSize];
  if (!buildPath(ctx->diskCache, file->fileName, "", path)) return -1;
  ZO_FLOW(ctx, tag, "FLOW: deleting cache file %s", path);
  if (ZOcacheIoGet().remove(path) != 0) {
    ZO_ERROR(ctx, tag, "ERROR: remove of file %s failed: %s", path, strerror(errno));
    return -1;
  }
  return 0;
}

void ZOfreeCacheFileInfo(ZOcacheFileInfo *file) {
  if (file == nullptr) return;
  if (file->fd >= 0) ZOcacheIoGet().close(file->fd);
  pthread_cond_destroy(&file->cond);
  pthread_mutex_destroy(&file->mutex);
  free(file->fileName);
  free(file);
}
