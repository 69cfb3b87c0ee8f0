// Files, file names and directory paths. Every call that reaches the file
// system goes through the installed CxFileOps table, so that tests can make
// any of them fail the way a full or broken disk would.
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "cclog/cx.h"
#include "tis/tis.h"

struct CxFile {
  int fd;
  std::string path;
};

namespace {

int SysOpen(const char *path, int flags, mode_t mode) { return ::open(path, flags, mode); }
ssize_t SysRead(int fd, void *buf, size_t len) { return ::read(fd, buf, len); }
ssize_t SysWrite(int fd, const void *buf, size_t len) { return ::write(fd, buf, len); }
off_t SysLseek(int fd, off_t off, int whence) { return ::lseek(fd, off, whence); }
int SysFtruncate(int fd, off_t len) { return ::ftruncate(fd, len); }
int SysFsync(int fd) { return ::fsync(fd); }
int SysClose(int fd) { return ::close(fd); }
int SysFstat(int fd, struct stat *st) { return ::fstat(fd, st); }
int SysStat(const char *path, struct stat *st) { return ::stat(path, st); }
int SysRename(const char *from, const char *to) { return ::rename(from, to); }
int SysUnlink(const char *path) { return ::unlink(path); }
int SysMkdir(const char *path, mode_t mode) { return ::mkdir(path, mode); }
int SysChmod(const char *path, mode_t mode) { return ::chmod(path, mode); }

constexpr CxFileOps kDefaultOps = {
    SysOpen, SysRead, SysWrite, SysLseek, SysFtruncate, SysFsync, SysClose,
    SysFstat, SysStat, SysRename, SysUnlink, SysMkdir, SysChmod,
};

std::atomic<const CxFileOps *> g_ops{&kDefaultOps};

inline const CxFileOps *Ops() { return g_ops.load(std::memory_order_acquire); }
inline CxStatus LastError() { return CxPlatformError(errno); }

}  // namespace

const CxFileOps *CxSetFileOps(const CxFileOps *ops) {
  return g_ops.exchange(ops != nullptr ? ops : &kDefaultOps, std::memory_order_acq_rel);
}

const CxFileOps *CxDefaultFileOps() { return &kDefaultOps; }

// ---- open files ------------------------------------------------------------------

CxStatus CxFileOpen(const char *path, uint32_t flags, CxFile **out) {
  return CxFileOpenMode(path, flags, 0666, out);
}

CxStatus CxFileOpenMode(const char *path, uint32_t flags, uint32_t perm, CxFile **out) {
  if (path == nullptr || out == nullptr) return CxOtherError(CX_CODE_INVALID);
  int oflags;
  if ((flags & CX_FILE_READ) && (flags & (CX_FILE_WRITE | CX_FILE_APPEND))) {
    oflags = O_RDWR;
  } else if (flags & (CX_FILE_WRITE | CX_FILE_APPEND)) {
    oflags = O_WRONLY;
  } else {
    oflags = O_RDONLY;
  }
  if (flags & CX_FILE_CREATE) oflags |= O_CREAT;
  if (flags & CX_FILE_APPEND) oflags |= O_APPEND;
  if (flags & CX_FILE_TRUNC) oflags |= O_TRUNC;
  // Log files must not leak into the processes the toolkit starts.
  oflags |= O_CLOEXEC;

  int fd;
  do {
    fd = Ops()->open(path, oflags, static_cast<mode_t>(perm & 07777));
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return LastError();
  *out = new CxFile{fd, path};
  return CX_SUCCESS;
}

CxStatus CxFileRead(CxFile *f, void *buf, size_t len, size_t *got) {
  if (got != nullptr) *got = 0;
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  ssize_t n;
  do {
    n = Ops()->read(f->fd, buf, len);
  } while (n < 0 && errno == EINTR);
  if (n < 0) return LastError();
  if (got != nullptr) *got = static_cast<size_t>(n);
  return CX_SUCCESS;
}

CxStatus CxFileWrite(CxFile *f, const void *buf, size_t len, size_t *written) {
  if (written != nullptr) *written = 0;
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  const char *p = static_cast<const char *>(buf);
  size_t done = 0;
  CxStatus status = CX_SUCCESS;
  while (done < len) {
    ssize_t n = Ops()->write(f->fd, p + done, len - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      status = LastError();
      break;
    }
    if (n == 0) {
      // A write that accepts nothing without an error cannot make progress;
      // for a file that only happens when the device has no room left.
      status = CxPlatformError(ENOSPC);
      break;
    }
    done += static_cast<size_t>(n);
  }
  if (written != nullptr) *written = done;
  return status;
}

CxStatus CxFileSeek(CxFile *f, int64_t offset, int whence) {
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (Ops()->lseek(f->fd, static_cast<off_t>(offset), whence) < 0) return LastError();
  return CX_SUCCESS;
}

CxStatus CxFileTrunc(CxFile *f) {
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  int rc;
  do {
    rc = Ops()->ftruncate(f->fd, 0);
  } while (rc < 0 && errno == EINTR);
  return rc < 0 ? LastError() : CX_SUCCESS;
}

CxStatus CxFileFlush(CxFile *f) {
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  int rc;
  do {
    rc = Ops()->fsync(f->fd);
  } while (rc < 0 && errno == EINTR);
  return rc < 0 ? LastError() : CX_SUCCESS;
}

CxStatus CxFileClose(CxFile *f) {
  if (f == nullptr) return CxOtherError(CX_CODE_INVALID);
  // On Linux the descriptor is released even when close reports EINTR, so a
  // retry could close a descriptor another thread has just been given.
  int rc = Ops()->close(f->fd);
  CxStatus status = rc < 0 ? LastError() : CX_SUCCESS;
  delete f;
  return status;
}

CxStatus CxFileGetSize(CxFile *f, uint64_t *size) {
  if (f == nullptr || size == nullptr) return CxOtherError(CX_CODE_INVALID);
  struct stat st;
  if (Ops()->fstat(f->fd, &st) < 0) return LastError();
  *size = static_cast<uint64_t>(st.st_size);
  return CX_SUCCESS;
}

const char *CxFileGetPath(const CxFile *f) { return f != nullptr ? f->path.c_str() : ""; }

// ---- file names ----------------------------------------------------------------------

CxStatus CxFileNameRename(const char *from, const char *to) {
  if (from == nullptr || to == nullptr) return CxOtherError(CX_CODE_INVALID);
  return Ops()->rename(from, to) < 0 ? LastError() : CX_SUCCESS;
}

CxStatus CxFileNameRemove(const char *path) {
  if (path == nullptr) return CxOtherError(CX_CODE_INVALID);
  return Ops()->unlink(path) < 0 ? LastError() : CX_SUCCESS;
}

CxStatus CxFileNameGetInfo(const char *path, CxFileInfo *info) {
  if (path == nullptr || info == nullptr) return CxOtherError(CX_CODE_INVALID);
  struct stat st;
  if (Ops()->stat(path, &st) < 0) return LastError();
  info->isRegular = S_ISREG(st.st_mode);
  info->isDir = S_ISDIR(st.st_mode);
  info->size = static_cast<uint64_t>(st.st_size);
  info->mode = static_cast<uint32_t>(st.st_mode & 07777);
  return CX_SUCCESS;
}

CxStatus CxFileNameGetNative(const char *path, std::string *native) {
  if (path == nullptr || native == nullptr) return CxOtherError(CX_CODE_INVALID);
  size_t len = std::strlen(path);
  if (len == 0 || len >= PATH_MAX) return CxOtherError(CX_CODE_INVALID);
  std::string result(path, len);
  for (char &c : result) {
    unsigned char u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7f) return CxOtherError(CX_CODE_INVALID);
    if (c == '\\') c = '/';
  }
  *native = std::move(result);
  return CX_SUCCESS;
}

CxStatus CxFileNameLocalize(const char *utf8, std::string *local) {
  if (utf8 == nullptr || local == nullptr) return CxOtherError(CX_CODE_INVALID);
  size_t len = std::strlen(utf8);
  bool ascii = true;
  for (size_t i = 0; i < len && ascii; ++i) ascii = static_cast<unsigned char>(utf8[i]) < 0x80;
  // ASCII is the same in every codeset the file system may use.
  if (ascii) {
    local->assign(utf8, len);
    return CX_SUCCESS;
  }
  TisCodeset *cs = TisCodesetCreate(nullptr);
  if (cs == nullptr) return CxOtherError(CX_CODE_INVALID);
  CxStatus status = CX_SUCCESS;
  const char *name = TisCodesetName(cs);
  if (TisCodesetIsUTF8(cs) || std::strcmp(name, "ANSI_X3.4-1968") == 0 || std::strcmp(name, "ASCII") == 0) {
    // A process that never chose a locale runs in ASCII, where file names are
    // plain bytes: keeping the UTF-8 bytes is the only lossless choice.
    local->assign(utf8, len);
  } else {
    std::string out;
    if (TisFromUTF8(cs, utf8, len, &out)) {
      *local = std::move(out);
    } else {
      status = CxOtherError(CX_CODE_INVALID);
    }
  }
  TisCodesetFree(cs);
  return status;
}

// ---- directory paths -------------------------------------------------------------------

namespace {

void StripTrailingSlashes(std::string *path) {
  while (path->size() > 1 && path->back() == '/') path->pop_back();
}

}  // namespace

CxStatus CxInitFilePath(CxFilePath *fp, const char *path) {
  if (fp == nullptr) return CxOtherError(CX_CODE_INVALID);
  std::string native;
  CxStatus status = CxFileNameGetNative(path, &native);
  if (!CxOK(status)) return status;
  StripTrailingSlashes(&native);
  fp->path = std::move(native);
  return CX_SUCCESS;
}

bool CxFilePathIsDir(const CxFilePath *fp) {
  struct stat st;
  return fp != nullptr && Ops()->stat(fp->path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CxFilePathExists(const CxFilePath *fp) {
  struct stat st;
  return fp != nullptr && Ops()->stat(fp->path.c_str(), &st) == 0;
}

CxStatus CxFilePathParent(const CxFilePath *fp, CxFilePath *parent) {
  if (fp == nullptr || parent == nullptr) return CxOtherError(CX_CODE_INVALID);
  size_t slash = fp->path.find_last_of('/');
  if (slash == std::string::npos || fp->path == "/") return CxOtherError(CX_CODE_INVALID);
  std::string result = slash == 0 ? std::string("/") : fp->path.substr(0, slash);
  StripTrailingSlashes(&result);  // "a//b" has the parent "a"
  parent->path = std::move(result);
  return CX_SUCCESS;
}

CxStatus CxFilePathMkdirs(const CxFilePath *fp, uint32_t mode) {
  if (fp == nullptr || fp->path.empty()) return CxOtherError(CX_CODE_INVALID);
  const CxFileOps *ops = Ops();
  const char *path = fp->path.c_str();
  struct stat st;
  if (ops->stat(path, &st) == 0) return S_ISDIR(st.st_mode) ? CX_SUCCESS : CxPlatformError(ENOTDIR);
  if (errno != ENOENT) return LastError();

  CxFilePath parent;
  if (CxOK(CxFilePathParent(fp, &parent))) {
    CxStatus status = CxFilePathMkdirs(&parent, mode);
    if (!CxOK(status)) return status;
  }
  if (ops->mkdir(path, 0777) < 0) {
    if (errno != EEXIST) return LastError();
    // Someone else created it meanwhile; it keeps the permissions they chose.
    if (ops->stat(path, &st) < 0) return LastError();
    return S_ISDIR(st.st_mode) ? CX_SUCCESS : CxPlatformError(ENOTDIR);
  }
  if (ops->chmod(path, static_cast<mode_t>(mode & 07777)) < 0) return LastError();
  return CX_SUCCESS;
}
