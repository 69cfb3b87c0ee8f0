#include "capis/cache_io.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Descriptors are not inherited by programs the application starts.
int posixOpen(const char *path, int flags, mode_t mode) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

ssize_t posixWrite(int fd, const void *buf, size_t count) { return ::write(fd, buf, count); }

// Nothing is buffered in user space: every write is already in the kernel.
int posixFlush(int) { return 0; }

ssize_t posixRead(int fd, void *buf, size_t count) { return ::read(fd, buf, count); }

off_t posixSeek(int fd, off_t offset, int whence) { return ::lseek(fd, offset, whence); }

int posixTruncate(int fd, off_t length) {
  int rc;
  do {
    rc = ::ftruncate(fd, length);
  } while (rc != 0 && errno == EINTR);
  return rc;
}

int posixClose(int fd) { return ::close(fd); }

int posixRename(const char *from, const char *to) { return ::rename(from, to); }

int posixRemove(const char *path) { return ::remove(path); }

int posixStat(const char *path, struct stat *st) { return ::stat(path, st); }

int posixScanDir(const char *dir, int (*each)(const char *name, void *arg), void *arg) {
  DIR *d = ::opendir(dir);
  if (d == nullptr) return -1;
  std::vector<std::string> names;
  errno = 0;
  for (struct dirent *e = ::readdir(d); e != nullptr; e = ::readdir(d)) {
    if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0) names.emplace_back(e->d_name);
  }
  const int readErr = errno;
  ::closedir(d);
  if (readErr != 0) {
    errno = readErr;
    return -1;
  }
  // Files made in the same second differ only in their sequence number:
  // version order keeps them in the order they were made.
  std::sort(names.begin(), names.end(),
            [](const std::string &a, const std::string &b) { return strverscmp(a.c_str(), b.c_str()) < 0; });
  for (const std::string &n : names)
    if (each(n.c_str(), arg) != 0) break;
  return 0;
}

const ZOcacheIo kPosix = {posixOpen,  posixWrite,  posixFlush,  posixRead, posixSeek,   posixTruncate,
                          posixClose, posixRename, posixRemove, posixStat, posixScanDir};

std::atomic<const ZOcacheIo *> g_io{&kPosix};

}  // namespace

const ZOcacheIo &ZOcacheIoGet() { return *g_io.load(std::memory_order_acquire); }

const ZOcacheIo &ZOcacheIoDefaults() { return kPosix; }

void ZOsetCacheIo(const ZOcacheIo *io) {
  g_io.store(io != nullptr ? io : &kPosix, std::memory_order_release);
}

int ZOioWriteAll(int fd, const void *buf, size_t count) {
  const ZOcacheIo &io = ZOcacheIoGet();
  const char *p = static_cast<const char *>(buf);
  while (count > 0) {
    ssize_t n = io.write(fd, p, count);
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (n == 0) {
      errno = EIO;
      return -1;
    }
    p += n;
    count -= static_cast<size_t>(n);
  }
  return 0;
}

ssize_t ZOioReadFull(int fd, void *buf, size_t count) {
  const ZOcacheIo &io = ZOcacheIoGet();
  char *p = static_cast<char *>(buf);
  size_t done = 0;
  while (done < count) {
    ssize_t n = io.read(fd, p + done, count - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}
