// "ccg_multiproc_filehandler": one log file shared by several processes.
//
// Every process opens the active file for appending and takes a System V
// semaphore (keyed by "MPFileSemKey") around the size test, the rollover and
// the write, so records never interleave and only one process rolls over at a
// time. Rollover copies the active file into backup 1 and truncates it instead
// of renaming it: the active file keeps its identity, so the descriptors that
// other processes hold go on writing into the fresh, empty log. Files are
// written without header or trailer, since no single process owns them.

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/file_handler.h"

namespace {

constexpr size_t kCopyBlockBytes = 8192;
constexpr int kSemMaxRetries = 11;
constexpr uint32_t kSemRetryMillis = 1000;

// Creates the semaphore set, or attaches to the one another process created.
// The creator sets the value to 1; a process that attaches before that blocks
// in its first lock until it happens.
bool InitSem(CCgFileHandlerVars *v) {
  int id = semget(static_cast<key_t>(v->semKey), 1, IPC_CREAT | IPC_EXCL | 0666);
  if (id >= 0) {
    if (semctl(id, 0, SETVAL, 1) != 0) {
      ccgFHReportPlatformErr(v, CxPlatformError(errno));
      return false;
    }
  } else {
    int err = errno;
    if (err == EACCES || err == EINVAL || err == ENOENT || err == ENOSPC) {
      ccgFHReportPlatformErr(v, CxPlatformError(err));
      return false;
    }
    id = semget(static_cast<key_t>(v->semKey), 1, 0);
    if (id < 0) {
      ccgFHReportPlatformErr(v, CxPlatformError(errno));
      return false;
    }
  }
  v->semId = id;
  v->semReady = true;
  return true;
}

// Takes the semaphore, undone by the kernel if the process dies holding it.
// After the last retry of an interrupted or resource-starved wait the caller
// deliberately writes anyway: a stuck semaphore must not silence the log.
bool LockSem(CCgFileHandlerVars *v) {
  struct sembuf op = {0, -1, SEM_UNDO};
  for (int retries = 0;; ++retries) {
    if (semop(v->semId, &op, 1) == 0) return true;
    int err = errno;
    if (err != EINTR && err != ENOSPC) {
      ccgFHReportPlatformErr(v, CxPlatformError(err));
      return false;
    }
    if (retries == kSemMaxRetries) return true;
    CxThreadSleep(kSemRetryMillis);
  }
}

// Gives the semaphore back, only when it is actually taken (value 0), so a
// write made without holding it cannot raise the value above 1.
void UnlockSem(CCgFileHandlerVars *v) {
  if (!v->semReady) return;
  int value = semctl(v->semId, 0, GETVAL);
  if (value == 0) {
    struct sembuf op = {0, 1, SEM_UNDO};
    if (semop(v->semId, &op, 1) == 0) return;
  }
  ccgFHReportPlatformErr(v, CxPlatformError(errno));
}

// Copies the active file into backup 1 and empties it. The active file is
// truncated whatever happens to the copy.
void RollActiveLog(CCgFileHandlerVars *v) {
  std::string backupName = ccgFHFileName(v, 1);
  CxFile *backup = nullptr;
  CxStatus status = CxFileOpenMode(backupName.c_str(), CX_FILE_READ | CX_FILE_WRITE | CX_FILE_CREATE,
                                   v->filePermission, &backup);
  if (!CxOK(status)) {
    std::printf("ERR opening %s pre rollover\n", backupName.c_str());
    std::fflush(stdout);
    if (v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_WARN, 73, CCG_PARM_STRING, backupName.c_str(), CCG_PARM_END);
  } else {
    bool readFailed = !CxOK(CxFileSeek(v->file, 0, SEEK_SET));
    bool writeFailed = false;
    char block[kCopyBlockBytes];
    while (!readFailed) {
      size_t got = 0;
      if (!CxOK(CxFileRead(v->file, block, sizeof block, &got))) {
        readFailed = true;
        break;
      }
      if (got == 0) break;
      if (!CxOK(CxFileWrite(backup, block, got, nullptr))) {
        writeFailed = true;
        break;
      }
    }
    if (!CxOK(CxFileFlush(backup))) writeFailed = true;
    if (!CxOK(CxFileClose(backup))) writeFailed = true;
    if (readFailed && v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_WARN, 72, CCG_PARM_STRING, v->fullName.c_str(), CCG_PARM_END);
    if (writeFailed && v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_WARN, 73, CCG_PARM_STRING, backupName.c_str(), CCG_PARM_END);
  }
  status = CxFileTrunc(v->file);
  if (CxOK(status)) status = CxFileSeek(v->file, 0, SEEK_SET);
  if (!CxOK(status)) ccgFHReportPlatformErr(v, status);
}

void DoRollover(CCgFileHandlerVars *v) {
  ccgFHShiftBackups(v, 1);  // file 0 keeps its name
  RollActiveLog(v);
}

}  // namespace

void CCgMultiProcFileHandlerFOpen(CCgObject *obj) {
  CCgFileHandlerVars *v = obj != nullptr ? ccgFHVars(obj) : nullptr;
  if (v == nullptr || v->opened) return;
  if (!v->semReady && !InitSem(v)) return;
  if (v->fullName.empty()) return;  // the name was refused and reported
  ccgFHMakeDirs(v);
  // Always appending: truncating would destroy what other processes wrote.
  CxStatus status = CxFileOpenMode(v->fullName.c_str(),
                                   CX_FILE_READ | CX_FILE_WRITE | CX_FILE_CREATE | CX_FILE_APPEND,
                                   v->filePermission, &v->file);
  if (!CxOK(status)) {
    v->file = nullptr;
    ccgFHReportPlatformErr(v, status);
    return;
  }
  v->opened = true;
}

void CCgMultiProcFileHandlerFProcess(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || !obj->enabled.load()) return;
  CCgFileHandlerVars *v = ccgFHVars(obj);
  if (v != nullptr && !v->busy) {
    v->busy = true;
    CCgMultiProcFileHandlerFOpen(obj);
    char *text = v->opened ? ccgHandlerFormat(obj, event) : nullptr;
    if (text != nullptr) {
      const char *data;
      size_t len;
      ccgFHEncode(v, text, &data, &len);
      if (LockSem(v)) {
        CxStatus status = CxFileGetSize(v->file, &v->size);
        if (!CxOK(status)) {
          ccgFHReportPlatformErr(v, status);
        } else if (v->maxFiles > 1 && v->size >= v->maxFileBytes) {
          DoRollover(v);
          v->size = 0;
        }
        if (len > 0) ccgFHWrite(v, data, len);
        UnlockSem(v);
      }
      CCgFree(text);
    }
    v->busy = false;
  }
  ccgDispatchToListeners(obj, event);
}

void CCgMultiProcFileHandlerFClose(CCgObject *obj) {
  CCgFileHandlerVars *v = obj != nullptr ? ccgFHVars(obj) : nullptr;
  if (v == nullptr || !v->opened) return;
  ccgFHCloseFile(v);
}
