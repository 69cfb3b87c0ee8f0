// The system calls behind every byte of the disk cache, as one table of
// function pointers, so that tests can make any of them fail (disk full, no
// file handles, I/O errors, short reads and writes) while production uses the
// plain POSIX calls.
//
// Descriptors are used without any user-space buffering: a record whose
// write returned is in the kernel, so a process that is killed afterwards
// never loses it. `flush` therefore has nothing to push in production; it is
// kept as a seam of its own because a file system may report a full disk or
// an I/O error there.
#ifndef ZOVEXA_CAPIS_CACHE_IO_H_
#define ZOVEXA_CAPIS_CACHE_IO_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

// Open flags of the three ways a cache file is opened.
constexpr int kZOopenAppend = O_RDWR | O_CREAT | O_APPEND;  // "ab+"
constexpr int kZOopenUpdate = O_RDWR;                       // "rb+"
constexpr int kZOopenRead = O_RDONLY;                       // "r"
constexpr mode_t kZOcacheFileMode = 0660;

// Every call sets errno on failure, as its POSIX counterpart does.
struct ZOcacheIo {
  int (*open)(const char *path, int flags, mode_t mode);
  ssize_t (*write)(int fd, const void *buf, size_t count);
  int (*flush)(int fd);
  ssize_t (*read)(int fd, void *buf, size_t count);
  off_t (*seek)(int fd, off_t offset, int whence);
  int (*truncate)(int fd, off_t length);
  int (*close)(int fd);
  int (*rename)(const char *from, const char *to);
  int (*remove)(const char *path);
  int (*stat)(const char *path, struct stat *st);
  // Calls `each` for every entry name of `dir` except "." and ".." (in
  // version order: "c.1" before "c.2" before "c.10"), stopping when it
  // returns non-zero. 0, or -1 with errno when the directory cannot be read.
  int (*scanDir)(const char *dir, int (*each)(const char *name, void *arg), void *arg);
};

// The table in use. Reading it is cheap and safe from any thread.
const ZOcacheIo &ZOcacheIoGet();
// The POSIX table.
const ZOcacheIo &ZOcacheIoDefaults();
// Installs `io` (which must outlive its use), or the POSIX table for NULL.
// Meant for tests, before the threads that use the cache start.
void ZOsetCacheIo(const ZOcacheIo *io);

// Writes all `count` bytes, going on after short writes and interruptions.
// 0, or -1 with errno from the write that failed (EIO when a write made no
// progress without saying why).
int ZOioWriteAll(int fd, const void *buf, size_t count);
// Reads up to `count` bytes, going on after short reads until end of file.
// The number of bytes read (less than `count` only at end of file), or -1
// with errno.
ssize_t ZOioReadFull(int fd, void *buf, size_t count);

#endif  // ZOVEXA_CAPIS_CACHE_IO_H_
