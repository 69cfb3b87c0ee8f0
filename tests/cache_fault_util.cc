#include "tests/cache_fault_util.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "capis/cache_io.h"

namespace testutil {

namespace {
constexpr int kEndOfFile = -1;  // a rule's err: the read returns 0
}  // namespace

// The I/O table's way into the installed object.
struct CacheFaultsAccess {
  static CacheFaults *active;

  // Runs `real` unless the call is to fail: then -1 (as the type) with errno.
  template <typename Real>
  static auto Call(CacheOp op, Real real) -> decltype(real()) {
    int err = 0;
    size_t shortBytes = 0;
    if (active->Decide(op, &err, &shortBytes)) {
      errno = err;
      return static_cast<decltype(real())>(-1);
    }
    return real();
  }

  static int Open(const char *path, int flags, mode_t mode) {
    const CacheOp op = (flags & O_CREAT) != 0 ? CacheOp::kOpenCreate : CacheOp::kOpen;
    return Call(op, [&] { return ZOcacheIoDefaults().open(path, flags, mode); });
  }
  static ssize_t Write(int fd, const void *buf, size_t count) {
    int err = 0, pauseMs = 0;
    size_t shortBytes = 0;
    if (active->Decide(CacheOp::kWrite, &err, &shortBytes, &pauseMs)) {
      errno = err;
      return -1;
    }
    if (shortBytes > 0 && shortBytes < count) count = shortBytes;
    ssize_t n = ZOcacheIoDefaults().write(fd, buf, count);
    if (pauseMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
    return n;
  }
  static int Flush(int fd) {
    return Call(CacheOp::kFlush, [&] { return ZOcacheIoDefaults().flush(fd); });
  }
  static ssize_t Read(int fd, void *buf, size_t count) {
    size_t limit;
    {
      std::lock_guard<std::mutex> lock(active->mutex_);
      limit = active->readLimit_;
    }
    if (limit > 0 && count > limit) count = limit;
    int err = 0;
    size_t shortBytes = 0;
    if (active->Decide(CacheOp::kRead, &err, &shortBytes)) {
      if (err == kEndOfFile) return 0;
      errno = err;
      return -1;
    }
    return ZOcacheIoDefaults().read(fd, buf, count);
  }
  static off_t Seek(int fd, off_t offset, int whence) {
    return Call(CacheOp::kSeek, [&] { return ZOcacheIoDefaults().seek(fd, offset, whence); });
  }
  static int Truncate(int fd, off_t length) {
    return Call(CacheOp::kTruncate, [&] { return ZOcacheIoDefaults().truncate(fd, length); });
  }
  static int Close(int fd) {
    return Call(CacheOp::kClose, [&] { return ZOcacheIoDefaults().close(fd); });
  }
  static int Rename(const char *from, const char *to) {
    return Call(CacheOp::kRename, [&] { return ZOcacheIoDefaults().rename(from, to); });
  }
  static int Remove(const char *path) {
    return Call(CacheOp::kRemove, [&] { return ZOcacheIoDefaults().remove(path); });
  }
  static int Stat(const char *path, struct stat *st) {
    return Call(CacheOp::kStat, [&] { return ZOcacheIoDefaults().stat(path, st); });
  }
  static int ScanDir(const char *dir, int (*each)(const char *, void *), void *arg) {
    return Call(CacheOp::kScan, [&] {
      std::vector<std::string> names;
      bool own;
      {
        std::lock_guard<std::mutex> lock(active->mutex_);
        own = active->scanOwn_;
        names = active->scanNames_;
      }
      if (!own) return ZOcacheIoDefaults().scanDir(dir, each, arg);
      for (const std::string &n : names)
        if (each(n.c_str(), arg) != 0) break;
      return 0;
    });
  }

  static constexpr ZOcacheIo kTable = {Open,  Write,  Flush,  Read, Seek,   Truncate,
                                       Close, Rename, Remove, Stat, ScanDir};
};

CacheFaults *CacheFaultsAccess::active = nullptr;

CacheFaults::CacheFaults() {
  if (CacheFaultsAccess::active != nullptr) abort();  // one at a time
  CacheFaultsAccess::active = this;
  ZOsetCacheIo(&CacheFaultsAccess::kTable);
}

CacheFaults::~CacheFaults() {
  ZOsetCacheIo(nullptr);
  CacheFaultsAccess::active = nullptr;
}

void CacheFaults::Fail(CacheOp op, int n, int err, int times) {
  std::lock_guard<std::mutex> lock(mutex_);
  const long first = calls_[static_cast<int>(op)] + n;
  rules_.push_back(Rule{op, first, times < 0 ? -1 : first + times - 1, err, 0, 0});
}

void CacheFaults::ShortWrite(int n, size_t bytes, int err) {
  std::lock_guard<std::mutex> lock(mutex_);
  const long first = calls_[static_cast<int>(CacheOp::kWrite)] + n;
  rules_.push_back(Rule{CacheOp::kWrite, first, first, 0, bytes, 0});
  rules_.push_back(Rule{CacheOp::kWrite, first + 1, first + 1, err, 0, 0});
}

void CacheFaults::SplitWrite(int n, size_t bytes, int pauseMs) {
  std::lock_guard<std::mutex> lock(mutex_);
  const long first = calls_[static_cast<int>(CacheOp::kWrite)] + n;
  rules_.push_back(Rule{CacheOp::kWrite, first, first, 0, bytes, pauseMs});
}

void CacheFaults::ReadEnds(int n) {
  std::lock_guard<std::mutex> lock(mutex_);
  const long first = calls_[static_cast<int>(CacheOp::kRead)] + n;
  rules_.push_back(Rule{CacheOp::kRead, first, first, kEndOfFile, 0, 0});
}

void CacheFaults::LimitReads(size_t bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  readLimit_ = bytes;
}

void CacheFaults::ScanNames(const std::vector<std::string> &names) {
  std::lock_guard<std::mutex> lock(mutex_);
  scanOwn_ = true;
  scanNames_ = names;
}

int CacheFaults::Calls(CacheOp op) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(calls_[static_cast<int>(op)]);
}

void CacheFaults::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  rules_.clear();
  readLimit_ = 0;
  scanOwn_ = false;
  scanNames_.clear();
}

bool CacheFaults::Decide(CacheOp op, int *err, size_t *shortBytes, int *pauseMs) {
  std::lock_guard<std::mutex> lock(mutex_);
  const long call = ++calls_[static_cast<int>(op)];
  for (const Rule &r : rules_) {
    if (r.op != op || call < r.first || (r.last >= 0 && call > r.last)) continue;
    if (r.shortBytes > 0) {
      *shortBytes = r.shortBytes;
      if (pauseMs != nullptr) *pauseMs = r.pauseMs;
      return false;
    }
    *err = r.err;
    return true;
  }
  return false;
}

}  // namespace testutil
