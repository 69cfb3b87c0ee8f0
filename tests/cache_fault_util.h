// Faults in the disk cache's file I/O: a CacheFaults object installs a table
// of cache I/O calls that behave like the POSIX ones except where a test
// asked for a failure (a full disk, no file handles, an I/O error), a short
// write or short reads, or a directory listing of its own. The POSIX table
// comes back when the object goes. Safe to use from several threads.
#ifndef ZOVEXA_TESTS_CACHE_FAULT_UTIL_H_
#define ZOVEXA_TESTS_CACHE_FAULT_UTIL_H_

#include <sys/types.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace testutil {

enum class CacheOp {
  kOpenCreate,  // opens that may create the file (a new cache file, the path check)
  kOpen,        // every other open
  kWrite,
  kFlush,
  kRead,
  kSeek,
  kTruncate,
  kClose,
  kRename,
  kRemove,
  kStat,
  kScan,
  kCount
};

class CacheFaults {
 public:
  CacheFaults();
  ~CacheFaults();
  CacheFaults(const CacheFaults &) = delete;
  CacheFaults &operator=(const CacheFaults &) = delete;

  // The n-th call of `op` from now (1: the next one) and the times - 1 calls
  // after it fail with `err` and do nothing else; times -1: every call from
  // the n-th on.
  void Fail(CacheOp op, int n, int err, int times = 1);
  // The n-th write from now writes only its first `bytes` bytes and returns
  // that count; the write after it fails with `err`.
  void ShortWrite(int n, size_t bytes, int err);
  // The n-th write from now writes only its first `bytes` bytes, then waits
  // `pauseMs` milliseconds before it returns that count (the caller writes
  // the rest): a window in which the file holds part of a record.
  void SplitWrite(int n, size_t bytes, int pauseMs);
  // The n-th read from now returns 0, as at the end of the file.
  void ReadEnds(int n);
  // Every read returns at most `bytes` bytes (0: as many as asked).
  void LimitReads(size_t bytes);
  // The directory scan lists these names, in this order, whatever the
  // directory holds.
  void ScanNames(const std::vector<std::string> &names);
  // Calls of `op` since this object was made.
  int Calls(CacheOp op) const;
  // Forgets every fault asked for; the counts stay.
  void Clear();

 private:
  struct Rule {
    CacheOp op;
    long first;  // 1-based call index of the first affected call
    long last;   // the last one, or -1 for no end
    int err;
    size_t shortBytes;  // a short write instead of a failure when non-zero
    int pauseMs;        // after the short write
  };
  friend struct CacheFaultsAccess;
  // Called by the I/O table: whether this call of `op` fails (errno is then
  // set) and, for a short write, how many bytes to let through and how long
  // to pause afterwards.
  bool Decide(CacheOp op, int *err, size_t *shortBytes, int *pauseMs = nullptr);

  mutable std::mutex mutex_;
  long calls_[static_cast<int>(CacheOp::kCount)] = {};
  std::vector<Rule> rules_;
  size_t readLimit_ = 0;
  bool scanOwn_ = false;
  std::vector<std::string> scanNames_;
};

}  // namespace testutil

#endif  // ZOVEXA_TESTS_CACHE_FAULT_UTIL_H_
