// The disk cache's files: the on-disk format, names and the start-up scan,
// reading records back (also after a restart), roll-over, corrupt and cut
// records, the resource limits (full disk, no file handles, too many files)
// with their once-per-episode warnings, I/O errors, and writers racing a
// reader.
#include "capis/disk_cache.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "capis/cache_info.h"
#include "capis/context.h"
#include "tests/cache_fault_util.h"
#include "tests/capis_test_util.h"

namespace {

using testutil::CacheFaults;
using testutil::CacheOp;
using Strings = std::vector<std::string>;

// Names in a directory, sorted.
Strings Files(const std::string &dir) {
  Strings names;
  DIR *d = opendir(dir.c_str());
  if (d == nullptr) return names;
  for (dirent *e = readdir(d); e != nullptr; e = readdir(d))
    if (e->d_name[0] != '.') names.push_back(e->d_name);
  closedir(d);
  std::sort(names.begin(), names.end());
  return names;
}

long long FileSize(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

// Bytes that do not compress: records of a known, large size.
std::string Noise(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::string s(n, '\0');
  for (char &ch : s) ch = static_cast<char>(gen() & 0xff);
  return s;
}

size_t CompressedSize(const std::string &text) {
  std::vector<unsigned char> out(compressBound(text.size()));
  size_t len = out.size();
  EXPECT_EQ(
      vexazip_compress(out.data(), &len, reinterpret_cast<const unsigned char *>(text.data()), text.size()),
      0);
  return len;
}

// A context with a disk cache at `path`, tracing into a file of its own.
class Cache {
 public:
  explicit Cache(const std::string &path, const std::vector<TestProp> &extra = {}) {
    static std::atomic<int> serial{0};
    const std::string id = std::to_string(++serial);
    std::vector<TestProp> props = {StrProp("diskCachePath", path),
                                   StrProp("traceFilePath", trace_.File("t")),
                                   IntProp("traceLevel", 3),
                                   StrProp("traceLoggerName", "dcTrace" + id),
                                   StrProp("errorLoggerName", "dcError" + id),
                                   IntProp("tempStorageFullTimeout", 0)};
    props.insert(props.end(), extra.begin(), extra.end());
    tc_ = std::make_unique<TestContext>(props);
  }
  ~Cache() { ZOVEXA_Result_Clean(&r); }

  ZOVEXA_AuditClientContext *ctx() const { return tc_->ctx; }
  const ZOVEXA_result &created() const { return tc_->result; }
  ZOcacheInfo *cache() const { return ctx()->diskCache; }
  std::string Path(const ZOcacheFileInfo *f) const {
    return std::string(cache()->directory) + "/" + f->fileName;
  }

  int Put(const std::string &text, int events = 1) {
    return ZOcacheMsg(ctx(), text.data(), static_cast<int64_t>(text.size()), events, &r);
  }
  // Entries of message `code` in r.
  int Said(uint32_t code) const {
    int n = 0;
    for (int i = 0; i < r.count; ++i) n += r.entries[i].code == code ? 1 : 0;
    return n;
  }
  int Traced(const std::string &line) const {
    std::string all = ReadFile(trace_.File("t"));
    int n = 0;
    for (size_t at = all.find(line); at != std::string::npos; at = all.find(line, at + 1)) ++n;
    return n;
  }
  std::vector<ZOcacheFileInfo *> Queue() const {
    std::vector<ZOcacheFileInfo *> q;
    pthread_mutex_lock(&cache()->mutex);
    for (ZOcacheFileInfo *f = cache()->fileQ.head; f != nullptr; f = f->next) q.push_back(f);
    EXPECT_EQ(static_cast<int>(q.size()), cache()->fileQ.size);
    pthread_mutex_unlock(&cache()->mutex);
    return q;
  }
  int Discarded() const {
    pthread_mutex_lock(&cache()->mutex);
    int n = cache()->discardedEvents;
    pthread_mutex_unlock(&cache()->mutex);
    return n;
  }
  // What a drainer does with a file it has sent: off the queue, removed, freed.
  void Drop(ZOcacheFileInfo *f) {
    ZOVEXA_result r{};
    pthread_mutex_lock(&cache()->mutex);
    if (f->prev != nullptr)
      f->prev->next = f->next;
    else
      cache()->fileQ.head = f->next;
    if (f->next != nullptr)
      f->next->prev = f->prev;
    else
      cache()->fileQ.tail = f->prev;
    --cache()->fileQ.size;
    pthread_mutex_unlock(&cache()->mutex);
    ZOdeleteCacheFile(ctx(), f, &r);
    ZOfreeCacheFileInfo(f);
    ZOVEXA_Result_Clean(&r);
  }
  // Context deletion, as at the end of a process.
  void End() { tc_.reset(); }

  ZOVEXA_result r{};

 private:
  TempDir trace_;
  std::unique_ptr<TestContext> tc_;
};

// Every record of `f` from its checkpoint on, read as a drainer reads them.
struct ReadBack {
  Strings texts;
  std::vector<int> events;
  ZOeventRecStatus last = ZO_REC_OK;
  int64_t endOffset = 0;
};

ReadBack ReadRecords(Cache &c, ZOcacheFileInfo *f, int block = 0, bool checkpoint = false) {
  ReadBack back;
  int fd = ZOopenCacheFile(c.ctx(), c.Path(f).c_str(), 0, &c.r);
  EXPECT_GE(fd, 0);
  if (fd < 0) return back;
  EXPECT_EQ(ZOseekToNextEvent(c.ctx(), f, fd, &c.r), 0);
  ZOeventRec rec{};
  while (ZOgetEventRec(c.ctx(), f, fd, block, &rec, &c.r) == 0) {
    back.texts.emplace_back(rec.text, static_cast<size_t>(rec.uncompSize));
    back.events.push_back(rec.numEvents);
    back.endOffset = rec.endOffset;
    if (checkpoint) {
      EXPECT_EQ(ZOupdateReadPos(c.ctx(), f, fd, &c.r), 0);
    }
  }
  back.last = rec.status;
  ZOfreeEventRec(&rec);
  close(fd);
  return back;
}

TEST(CacheFormat, RecordHeaderBytes) {
  const struct {
    int64_t uncomp, comp;
    int32_t events;
    const char *text;  // the 31 characters before the NUL
  } cases[] = {
      {1234, 456, 3, "Xrec0000001234:0000000456:00003"},
      {0, 1, 0, "Xrec0000000000:0000000001:00000"},
      {9999999999LL, 12, 99999, "Xrec9999999999:0000000012:99999"},
      {7, 8, 123456, "Xrec0000000007:0000000008:99999"},  // the count field holds five digits
  };
  for (const auto &c : cases) {
    char header[kZOrecordHeaderSize + 1];
    memset(header, '#', sizeof header);
    ZOformatRecordHeader(header, c.uncomp, c.comp, c.events);
    EXPECT_EQ(std::string(header, 31), c.text);
    EXPECT_EQ(header[31], '\0');
    EXPECT_EQ(header[32], '#') << "nothing after the 32 bytes";
  }
}

TEST(CacheNames, CreationTimeReadBackFromTheName) {
  struct tm t {};
  t.tm_year = 2024 - 1900, t.tm_mon = 4, t.tm_mday = 6, t.tm_hour = 7, t.tm_min = 8, t.tm_sec = 9;
  t.tm_isdst = -1;
  const time_t when = mktime(&t);
  const struct {
    const char *name;
    time_t expected;
  } cases[] = {
      {"cache.2024-05-06-07-08-09.1", when},
      {"my.cache.2024-05-06-07-08-09.12", when},
      {"cache.2024-05-06-07-08-09.1.corrupt1", -1},
      {"cache.2024-05-06-07-08.1", -1},
      {"cache.2024-05-06-07-08-09x.1", -1},
      {"cache.2024-05-06-07-08-09", -1},
      {"cache2024-05-06-07-08-09", -1},
      {"cache.garbage.1", -1},
  };
  TempDir dir;
  Cache c(dir.File("cache"));
  ASSERT_NE(c.ctx(), nullptr);
  for (const auto &e : cases) EXPECT_EQ(ZOgetCreationTime(c.ctx(), e.name), e.expected) << e.name;
  EXPECT_EQ(c.Traced("FLOW: can't find next to last dot in fileName"), 1);
  EXPECT_EQ(c.Traced("FLOW: can't find last dot in fileName"), 1);
  EXPECT_EQ(c.Traced("FLOW: strpStatus is NULL"), 4);
}

TEST(CachePath, WhereTheCacheMayLive) {
  TempDir dir;
  // No "/": refused when the context is made.
  Cache bare("cache");
  EXPECT_EQ(bare.ctx(), nullptr);
  EXPECT_EQ(Codes(bare.created()), std::vector<uint32_t>{7});
  // A directory that does not exist cannot take files.
  Cache missingDir(dir.File("nowhere/cache"));
  EXPECT_EQ(missingDir.ctx(), nullptr);
  EXPECT_EQ(Codes(missingDir.created()), std::vector<uint32_t>{38});

  // Without a path the context is made, but no client can write to it.
  TestContext noPath({StrProp("useDiskCache", "always")});
  ASSERT_NE(noPath.ctx, nullptr);
  EXPECT_EQ(noPath.ctx->diskCache, nullptr);
  ZOVEXA_result r{};
  EXPECT_EQ(ZOsetupCacheFiles(noPath.ctx, &r), -1);
  EXPECT_EQ(OnlyCode(r), 6u);
  ZOVEXA_Result_Clean(&r);

  // "never": no cache at all, and a batch handed to it is not kept.
  Cache never(dir.File("cache"), {StrProp("useDiskCache", "never")});
  ASSERT_NE(never.ctx(), nullptr);
  EXPECT_EQ(never.cache(), nullptr);
  EXPECT_EQ(ZOsetupCacheFiles(never.ctx(), &never.r), 0);
  EXPECT_EQ(never.Put("<e/>"), 0);
  EXPECT_EQ(Files(dir.path()), Strings{});

  // The path is only a probe: a file of that name that was there stays.
  WriteFile(dir.File("cache"), "mine");
  Cache kept(dir.File("cache"));
  ASSERT_NE(kept.ctx(), nullptr);
  EXPECT_EQ(ReadFile(dir.File("cache")), "mine");
}

TEST(CacheFiles, NewFilesHoldOnlyTheCheckpointAndGoWhenUnused) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("numberEQThreads", 2)});
  ASSERT_NE(c.ctx(), nullptr);
  EXPECT_EQ(Files(dir.path()), Strings{}) << "the probe file is removed";
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  EXPECT_EQ(c.Traced("FLOW: cacheFilesSize = 2"), 1);
  std::vector<ZOcacheFileInfo *> q = c.Queue();
  ASSERT_EQ(q.size(), 2u);
  for (int i = 0; i < 2; ++i) {
    ZOcacheFileInfo *f = q[i];
    EXPECT_EQ(c.cache()->cacheFiles[i], f);
    EXPECT_EQ(ReadFile(c.Path(f)), "0000000010");
    EXPECT_EQ(f->currSize, 10);
    EXPECT_EQ(f->beingWritten, 1);
    EXPECT_EQ(ZOgetCreationTime(c.ctx(), f->fileName), f->creationTime);
    EXPECT_EQ(std::string(f->fileName).rfind("cache.", 0), 0u) << f->fileName;
  }
  // Made within the same second, the second one gets the next number.
  if (q[0]->creationTime == q[1]->creationTime) {
    std::string a = q[0]->fileName, b = q[1]->fileName;
    EXPECT_EQ(a.substr(0, a.size() - 2), b.substr(0, b.size() - 2));
    EXPECT_EQ(a.substr(a.size() - 2), ".1");
    EXPECT_EQ(b.substr(b.size() - 2), ".2");
  }
  c.End();
  EXPECT_EQ(Files(dir.path()), Strings{});
}

TEST(CacheFiles, RecordOnDiskIsTheBatchCompressed) {
  TempDir dir;
  Cache c(dir.File("cache"));
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  std::string text;
  for (int i = 0; i < 3; ++i) text += "<CommonBaseEvent globalInstanceId=\"g" + std::to_string(i) + "\"/>";
  ASSERT_EQ(c.Put(text, 3), 0);
  ZOcacheFileInfo *f = c.Queue().at(0);
  std::string disk = ReadFile(c.Path(f));
  ASSERT_GT(disk.size(), 42u);
  const size_t comp = disk.size() - 42;
  EXPECT_EQ(f->currSize, static_cast<int64_t>(disk.size()));
  char digits[64];
  snprintf(digits, sizeof digits, "0000000010Xrec%010zu:%010zu:00003", text.size(), comp);
  EXPECT_EQ(disk.substr(0, 41), digits);
  EXPECT_EQ(disk[41], '\0');
  std::vector<unsigned char> plain(text.size() + 1);
  uLongf plainLen = plain.size();
  ASSERT_EQ(uncompress(plain.data(), &plainLen, reinterpret_cast<const Bytef *>(disk.data() + 42), comp),
            Z_OK);
  EXPECT_EQ(std::string(reinterpret_cast<char *>(plain.data()), plainLen), text);

  // A reader of a file that is still being written stops at its end when
  // it may not wait.
  ReadBack back = ReadRecords(c, f);
  EXPECT_EQ(back.texts, Strings{text});
  EXPECT_EQ(back.events, std::vector<int>{3});
  EXPECT_EQ(back.endOffset, static_cast<int64_t>(disk.size()));
  EXPECT_EQ(back.last, ZO_REC_END);
  EXPECT_EQ(c.Traced("FLOW: EOF reached on " + std::string(f->fileName) + "; block = 0, returning"), 1);
  EXPECT_EQ(c.r.count, 0);
}

TEST(CacheFiles, RecordsSurviveARestartAndTheCheckpointIsKept) {
  TempDir dir;
  const Strings texts = {"<a/>", Noise(3000, 1), std::string(5000, 'x')};
  std::string name;
  {
    Cache first(dir.File("cache"), {IntProp("numberEQThreads", 2)});
    ASSERT_EQ(ZOsetupCacheFiles(first.ctx(), &first.r), 0);
    for (size_t i = 0; i < texts.size(); ++i) ASSERT_EQ(first.Put(texts[i], static_cast<int>(i) + 1), 0);
    ASSERT_EQ(first.Queue().size(), 2u);
    name = first.Queue()[0]->fileName;
    // A client's deletion lets go of its files; they stay queued.
    ZOreleaseCacheFiles(first.ctx());
    for (ZOcacheFileInfo *f : first.Queue()) EXPECT_EQ(f->beingWritten, 0);
    EXPECT_EQ(first.cache()->cacheFiles[0], nullptr);
  }
  // The unused second file went with the context; the written one stayed.
  EXPECT_EQ(Files(dir.path()), Strings{name});
  const long long size = FileSize(dir.File(name));

  Cache second(dir.File("cache"));
  ASSERT_NE(second.ctx(), nullptr);
  std::vector<ZOcacheFileInfo *> q = second.Queue();
  ASSERT_EQ(q.size(), 1u);
  EXPECT_EQ(q[0]->fileName, name);
  EXPECT_EQ(q[0]->currSize, size);
  ReadBack back = ReadRecords(second, q[0], 1);  // nobody writes it: no wait at its end
  EXPECT_EQ(back.texts, texts);
  EXPECT_EQ(back.events, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(back.last, ZO_REC_END);

  // Two records sent: the next reader starts at the third.
  {
    int fd = ZOopenCacheFile(second.ctx(), second.Path(q[0]).c_str(), 0, &second.r);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ZOseekToNextEvent(second.ctx(), q[0], fd, &second.r), 0);
    ZOeventRec rec{};
    ASSERT_EQ(ZOgetEventRec(second.ctx(), q[0], fd, 0, &rec, &second.r), 0);
    ASSERT_EQ(ZOgetEventRec(second.ctx(), q[0], fd, 0, &rec, &second.r), 0);
    ASSERT_EQ(ZOupdateReadPos(second.ctx(), q[0], fd, &second.r), 0);
    EXPECT_EQ(q[0]->readCheckPoint, rec.endOffset);
    ZOfreeEventRec(&rec);
    close(fd);
  }
  char checkpoint[16];
  snprintf(checkpoint, sizeof checkpoint, "%010lld", static_cast<long long>(q[0]->readCheckPoint));
  EXPECT_EQ(ReadFile(dir.File(name)).substr(0, 10), checkpoint);
  EXPECT_EQ(ReadRecords(second, q[0]).texts, Strings{texts[2]});
  second.End();
  EXPECT_EQ(Files(dir.path()), Strings{name}) << "a record is still unsent";

  Cache third(dir.File("cache"));
  ASSERT_EQ(third.Queue().size(), 1u);
  EXPECT_EQ(ReadRecords(third, third.Queue()[0], 0, true).texts, Strings{texts[2]});
  third.End();
  EXPECT_EQ(Files(dir.path()), Strings{}) << "everything sent: nothing to keep";
}

TEST(CacheScan, OldestFirstEqualTimesInScanOrderOthersSkipped) {
  TempDir dir;
  const Strings onDisk = {"cache.2024-01-01-00-00-05.1",  "cache.2024-01-01-00-00-01.2",
                          "cache.2024-01-01-00-00-01.1",  "cache.2023-01-01-00-00-00.1.corrupt1",
                          "cachex.2020-01-01-00-00-00.1", "cache.nodate.1",
                          "other.2020-01-01-00-00-00.1"};
  for (size_t i = 0; i < onDisk.size(); ++i) WriteFile(dir.File(onDisk[i]), std::string(10 + i, '0'));
  mkdir(dir.File("cache.2020-01-01-00-00-00.1").c_str(), 0700);  // not a file
  {
    CacheFaults faults;
    // The listing decides the order of files of equal time; a listed name
    // that has gone meanwhile is reported and skipped.
    Strings listed = onDisk;
    listed.push_back("cache.2019-01-01-00-00-00.1");
    listed.push_back("cache.2020-01-01-00-00-00.1");
    faults.ScanNames(listed);
    Cache c(dir.File("cache"));
    ASSERT_NE(c.ctx(), nullptr) << Texts(c.created())[0];
    EXPECT_EQ(Codes(c.created()), std::vector<uint32_t>{57});
    Strings order;
    for (ZOcacheFileInfo *f : c.Queue()) {
      order.push_back(f->fileName);
      EXPECT_EQ(f->currSize, FileSize(dir.File(f->fileName)));
      EXPECT_EQ(f->beingWritten, 0);
    }
    EXPECT_EQ(order, (Strings{"cache.2024-01-01-00-00-01.2", "cache.2024-01-01-00-00-01.1",
                              "cache.2024-01-01-00-00-05.1"}));
    EXPECT_EQ(c.Traced("FLOW: failed to get creation time from fileName: cache.nodate.1"), 1);
  }
  // The directory's own listing puts equal times in sequence order.
  TempDir seq;
  for (const char *n :
       {"cache.2024-01-01-00-00-01.10", "cache.2024-01-01-00-00-01.2", "cache.2024-01-01-00-00-01.1"})
    WriteFile(seq.File(n), "0000000010");
  Cache c(seq.File("cache"));
  Strings order;
  for (ZOcacheFileInfo *f : c.Queue()) order.push_back(f->fileName);
  EXPECT_EQ(order, (Strings{"cache.2024-01-01-00-00-01.1", "cache.2024-01-01-00-00-01.2",
                            "cache.2024-01-01-00-00-01.10"}));
}

TEST(CacheRollOver, AtMaxCacheFileSize) {
  TempDir dir;
  constexpr int kMax = 10240;
  Cache c(dir.File("cache"), {IntProp("maxCacheFileSize", kMax)});
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  const std::string piece = Noise(3000, 2);
  const int64_t recLen = static_cast<int64_t>(CompressedSize(piece)) + 32;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(c.Put(piece), 0);
  ZOcacheFileInfo *first = c.Queue().at(0);
  ASSERT_EQ(first->currSize, 10 + 3 * recLen);

  // A record that fills the file to the byte still goes in.
  const int64_t room = kMax - first->currSize;
  const std::string source = Noise(static_cast<size_t>(room), 3);
  std::string exact;
  for (int64_t n = room - 32; n > room - 200 && exact.empty(); --n) {
    std::string candidate = source.substr(0, static_cast<size_t>(n));
    if (static_cast<int64_t>(CompressedSize(candidate)) + 32 == room) exact = candidate;
  }
  ASSERT_FALSE(exact.empty());
  ASSERT_EQ(c.Put(exact), 0);
  EXPECT_EQ(FileSize(c.Path(first)), kMax);
  EXPECT_EQ(c.Queue().size(), 1u);
  EXPECT_EQ(c.Traced("FLOW: rolling over file"), 0);

  // The next one starts a new file; the old one is no longer written.
  ASSERT_EQ(c.Put("<e/>"), 0);
  std::vector<ZOcacheFileInfo *> q = c.Queue();
  ASSERT_EQ(q.size(), 2u);
  EXPECT_EQ(q[0]->beingWritten, 0);
  EXPECT_EQ(q[1]->beingWritten, 1);
  EXPECT_EQ(c.cache()->cacheFiles[0], q[1]);
  EXPECT_EQ(c.Traced("FLOW: rolling over file " + std::string(first->fileName) + " with currSize of " +
                     std::to_string(kMax)),
            1);
  EXPECT_EQ(ReadRecords(c, q[1]).texts, Strings{"<e/>"});
  EXPECT_EQ(ReadRecords(c, q[0]).texts.size(), 4u);

  // A record larger than a whole file gets a file of its own.
  const std::string huge = Noise(kMax + 2000, 4);
  ASSERT_EQ(c.Put(huge), 0);
  ASSERT_EQ(c.Put("<f/>"), 0);
  q = c.Queue();
  ASSERT_EQ(q.size(), 4u);
  EXPECT_EQ(ReadRecords(c, q[2]).texts, Strings{huge});
  EXPECT_EQ(ReadRecords(c, q[3]).texts, Strings{"<f/>"});
  EXPECT_EQ(c.r.count, 0);
}

TEST(CacheCorrupt, BadSignatureIsRenamedAndNeverReadAgain) {
  TempDir dir;
  std::string name;
  int64_t secondRecord = 0;
  {
    Cache writer(dir.File("cache"));
    ASSERT_EQ(ZOsetupCacheFiles(writer.ctx(), &writer.r), 0);
    ASSERT_EQ(writer.Put("<one/>"), 0);
    secondRecord = writer.Queue()[0]->currSize;
    ASSERT_EQ(writer.Put("<two/>"), 0);
    name = writer.Queue()[0]->fileName;
  }
  std::string bytes = ReadFile(dir.File(name));
  ASSERT_EQ(bytes[secondRecord], 'X');
  bytes[secondRecord] = 'x';
  WriteFile(dir.File(name), bytes);
  WriteFile(dir.File(name + ".corrupt1"), "an earlier one");

  {
    Cache reader(dir.File("cache"));
    ASSERT_EQ(reader.Queue().size(), 1u);
    ZOcacheFileInfo *f = reader.Queue()[0];
    ReadBack back = ReadRecords(reader, f);
    EXPECT_EQ(back.texts, Strings{"<one/>"}) << "the good record before it is handed out";
    EXPECT_EQ(back.last, ZO_REC_CORRUPT);
    EXPECT_EQ(f->corrupt, 1);
    EXPECT_EQ(Codes(reader.r), std::vector<uint32_t>{51});
    EXPECT_NE(std::string(reader.r.entries[0].text).find(dir.File(name)), std::string::npos);
    EXPECT_EQ(reader.Traced("FLOW: header record signature is wrong"), 1);
    EXPECT_EQ(reader.Traced("renaming corrupt disk cache file " + dir.File(name) + " to " +
                            dir.File(name + ".corrupt2")),
              1);
  }
  EXPECT_EQ(Files(dir.path()), (Strings{name + ".corrupt1", name + ".corrupt2"}));
  EXPECT_EQ(ReadFile(dir.File(name + ".corrupt2")), bytes);
  Cache later(dir.File("cache"));
  EXPECT_TRUE(later.Queue().empty());
}

TEST(CacheCorrupt, ARecordCutShortIsCorruptAfterTheCompleteOnes) {
  const std::string good = Noise(500, 5), last = Noise(800, 6);
  const struct {
    const char *what;
    int64_t keepOfLast;  // bytes of the last record left in the file
  } cases[] = {{"in the header", 20}, {"in the data", 32 + 100}, {"one byte short", -1}};
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    TempDir dir;
    std::string name;
    int64_t lastStart = 0, end = 0;
    {
      Cache writer(dir.File("cache"));
      ASSERT_EQ(ZOsetupCacheFiles(writer.ctx(), &writer.r), 0);
      ASSERT_EQ(writer.Put(good), 0);
      lastStart = writer.Queue()[0]->currSize;
      ASSERT_EQ(writer.Put(last), 0);
      end = writer.Queue()[0]->currSize;
      name = writer.Queue()[0]->fileName;
    }
    const int64_t keep = k.keepOfLast >= 0 ? lastStart + k.keepOfLast : end - 1;
    ASSERT_EQ(truncate(dir.File(name).c_str(), keep), 0);
    Cache reader(dir.File("cache"));
    ASSERT_EQ(reader.Queue().size(), 1u);
    ReadBack back = ReadRecords(reader, reader.Queue()[0]);
    EXPECT_EQ(back.texts, Strings{good});
    EXPECT_EQ(back.last, ZO_REC_CORRUPT);
    EXPECT_EQ(reader.Traced("FLOW: could not read data record after several attempts"), 1);
    EXPECT_EQ(Files(dir.path()), Strings{name + ".corrupt1"});
  }
}

TEST(CacheRead, ShortReadsStillGiveWholeRecords) {
  TempDir dir;
  Cache c(dir.File("cache"));
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  const Strings texts = {Noise(777, 7), "<short/>", Noise(4096, 8)};
  for (const std::string &t : texts) ASSERT_EQ(c.Put(t), 0);
  CacheFaults faults;
  faults.LimitReads(7);
  EXPECT_EQ(ReadRecords(c, c.Queue()[0]).texts, texts);
  EXPECT_GT(faults.Calls(CacheOp::kRead), 4096 / 7);

  // An end of file in the middle of a record is tried again.
  faults.Clear();
  faults.ReadEnds(3);  // the checkpoint, the first header, then its data
  EXPECT_EQ(ReadRecords(c, c.Queue()[0]).texts, texts);
  EXPECT_EQ(c.r.count, 0);
}

TEST(CacheFull, DiskFullMidRecordLeavesTheFileAsItWasAndWarnsOncePerEpisode) {
  TempDir dir;
  Cache c(dir.File("cache"));  // tempStorageFullTimeout 0: no waiting
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  ASSERT_EQ(c.Put("<before/>"), 0);
  ZOcacheFileInfo *f = c.Queue()[0];
  const long long before = FileSize(c.Path(f));
  CacheFaults faults;

  faults.ShortWrite(1, 20, ENOSPC);  // part of the record gets in, then the disk is full
  EXPECT_EQ(c.Put(Noise(2000, 9), 4), 0);
  EXPECT_EQ(FileSize(c.Path(f)), before);
  EXPECT_EQ(f->currSize, before);
  EXPECT_EQ(c.Discarded(), 4);
  EXPECT_EQ(c.Said(59), 1);
  EXPECT_EQ(
      c.Traced("FLOW: truncated file " + std::string(f->fileName) + " to size " + std::to_string(before)), 1);

  faults.Fail(CacheOp::kFlush, 1, ENOSPC);  // a full disk seen at the flush is the same
  EXPECT_EQ(c.Put("<lost/>", 2), 0);
  EXPECT_EQ(FileSize(c.Path(f)), before);
  EXPECT_EQ(c.Discarded(), 6);
  EXPECT_EQ(c.Said(59), 1) << "still the same episode";

  // A record that gets in ends the episode; the next full disk is a new one.
  EXPECT_EQ(c.Put("<after/>"), 0);
  EXPECT_EQ(c.cache()->noDiskSpace, 0);
  faults.Fail(CacheOp::kWrite, 1, ENOSPC);
  EXPECT_EQ(c.Put("<lost/>"), 0);
  EXPECT_EQ(c.Said(59), 2);
  EXPECT_EQ(c.Discarded(), 7);
  faults.Clear();
  EXPECT_EQ(ReadRecords(c, f).texts, (Strings{"<before/>", "<after/>"}));
}

TEST(CacheFull, ANewFileThatGetsNoCheckpointIsRemoved) {
  TempDir dir;
  Cache c(dir.File("cache"));
  CacheFaults faults;
  faults.Fail(CacheOp::kWrite, 1, ENOSPC, 2);
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);  // may not wait: the slot stays empty
  EXPECT_EQ(c.cache()->cacheFiles[0], nullptr);
  EXPECT_TRUE(c.Queue().empty());
  EXPECT_EQ(Files(dir.path()), Strings{});
  EXPECT_EQ(c.Put("<lost/>", 2), 0);  // a writer's own try, given up at once
  EXPECT_EQ(c.Discarded(), 2);
  EXPECT_EQ(Files(dir.path()), Strings{});
  EXPECT_EQ(c.Said(59), 1);
  EXPECT_EQ(c.Put("<kept/>"), 0);
  EXPECT_EQ(c.cache()->noDiskSpace, 0);
  ASSERT_EQ(c.Queue().size(), 1u);
  EXPECT_EQ(ReadFile(c.Path(c.Queue()[0])).substr(0, 10), "0000000010");
  EXPECT_EQ(ReadRecords(c, c.Queue()[0]).texts, Strings{"<kept/>"});
}

TEST(CacheFull, AWriterWaitsForSpaceWithinTheTimeout) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("tempStorageFullTimeout", 4)});
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  CacheFaults faults;
  faults.Fail(CacheOp::kWrite, 1, ENOSPC);  // the first try only
  EXPECT_EQ(c.Put("<kept/>", 3), 0);
  EXPECT_EQ(c.Discarded(), 0);
  EXPECT_EQ(c.Said(59), 1);
  EXPECT_EQ(faults.Calls(CacheOp::kWrite), 2);
  EXPECT_EQ(ReadRecords(c, c.Queue()[0]).texts, Strings{"<kept/>"});

  // Full for longer than the timeout: given up after two waits, counted.
  faults.Fail(CacheOp::kWrite, 1, ENOSPC, -1);
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(c.Put("<lost/>", 5), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(c.Discarded(), 5);
  EXPECT_EQ(c.Traced("FLOW: tempStorageFullTimeout of 4 secs, exceeded"), 1);
}

TEST(CacheFull, WithoutATimeoutOnlyShutDownEndsTheWaitAndNothingIsCounted) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("tempStorageFullTimeout", -1)});
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  CacheFaults faults;
  faults.Fail(CacheOp::kWrite, 1, ENOSPC, -1);
  std::thread stopper([&c] {
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    pthread_mutex_lock(&c.cache()->mutex);
    c.cache()->shutDown = 1;
    pthread_cond_broadcast(&c.cache()->cond);
    pthread_mutex_unlock(&c.cache()->mutex);
  });
  EXPECT_EQ(c.Put("<stuck/>", 2), -1);
  stopper.join();
  EXPECT_EQ(c.Discarded(), 0);
  EXPECT_EQ(c.Said(59), 1);
  EXPECT_EQ(FileSize(c.Path(c.Queue()[0])), 10);
}

TEST(CacheHandles, NoFileHandlesWarnsOncePerEpisode) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("maxCacheFileSize", 10240)});
  CacheFaults faults;
  faults.Fail(CacheOp::kOpenCreate, 1, EMFILE, 2);
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);  // the slot stays empty
  EXPECT_EQ(c.cache()->cacheFiles[0], nullptr);
  EXPECT_TRUE(c.Queue().empty());
  EXPECT_EQ(c.Said(60), 1);
  EXPECT_EQ(c.Put("<lost/>", 2), 0);  // the writer's own try fails as well
  EXPECT_EQ(c.Said(60), 1);
  EXPECT_EQ(c.Discarded(), 2);

  EXPECT_EQ(c.Put("<kept/>"), 0);  // the open works again: the episode is over
  EXPECT_EQ(c.cache()->noFileHandles, 0);
  ASSERT_EQ(c.Queue().size(), 1u);
  faults.Fail(CacheOp::kOpenCreate, 1, EMFILE);
  EXPECT_EQ(c.Put(Noise(12000, 10), 3), 0);  // does not fit: a new file is needed
  EXPECT_EQ(c.Said(60), 2);
  EXPECT_EQ(c.Discarded(), 5);
  EXPECT_EQ(Files(dir.path()).size(), 1u);

  // A reader that may not wait gives up at once, within the same episode.
  faults.Fail(CacheOp::kOpen, 1, ENFILE);
  EXPECT_EQ(ZOopenCacheFile(c.ctx(), c.Path(c.Queue()[0]).c_str(), 0, &c.r), -1);
  EXPECT_EQ(c.Said(60), 2);
  EXPECT_EQ(c.Said(38), 0);
}

TEST(CacheErrors, IoErrorsAreReportedAndLeaveNoPartialRecord) {
  const struct {
    CacheOp op;
    uint32_t code;
  } cases[] = {{CacheOp::kWrite, 42}, {CacheOp::kFlush, 41}};
  for (const auto &k : cases) {
    SCOPED_TRACE(k.code);
    TempDir dir;
    Cache c(dir.File("cache"));
    ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
    ZOcacheFileInfo *f = c.Queue()[0];
    CacheFaults faults;
    faults.Fail(k.op, 1, EIO);
    EXPECT_EQ(c.Put("<lost/>", 2), -1);
    ASSERT_EQ(Codes(c.r), std::vector<uint32_t>{k.code});
    EXPECT_NE(std::string(c.r.entries[0].text).find(c.Path(f)), std::string::npos);
    EXPECT_EQ(FileSize(c.Path(f)), 10);
    EXPECT_EQ(c.Discarded(), 0);
    EXPECT_EQ(c.Put("<next/>"), 0);  // the file is still good
    EXPECT_EQ(ReadRecords(c, f).texts, Strings{"<next/>"});
  }
}

TEST(CacheLimits, MaxCacheFilesWarnsOncePerEpisode) {
  TempDir dir;
  const std::string old = "cache.2020-01-01-00-00-00.1";
  WriteFile(dir.File(old), "0000000010");
  Cache c(dir.File("cache"), {IntProp("maxCacheFiles", 2), IntProp("maxCacheFileSize", 10240)});
  ASSERT_EQ(c.Queue().size(), 1u);
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  ASSERT_EQ(c.Queue().size(), 2u);
  const std::string big = Noise(9000, 11);
  ASSERT_EQ(c.Put(big), 0);  // fills the new file

  EXPECT_EQ(c.Put(big, 2), 0);  // needs a third file: given up at once
  EXPECT_EQ(c.Put(big, 3), 0);
  EXPECT_EQ(c.Said(58), 1);
  EXPECT_EQ(c.Discarded(), 5);
  EXPECT_EQ(c.Traced("FLOW: maxCacheFiles reached"), 1);
  EXPECT_EQ(c.Traced("FLOW: cacheInfo->maxFiles is already set; returning NULL"), 1);

  c.Drop(c.Queue()[0]);  // the old file was sent and deleted
  EXPECT_EQ(Files(dir.path()).size(), 1u);
  EXPECT_EQ(c.Put(big, 4), 0);  // room again: a new file, the episode is over
  EXPECT_EQ(c.cache()->maxFiles, 0);
  EXPECT_EQ(c.Discarded(), 5);
  EXPECT_EQ(c.Put(big, 6), 0);  // and the limit is hit again
  EXPECT_EQ(c.Said(58), 2);
  EXPECT_EQ(c.Discarded(), 11);
}

TEST(CacheLimits, AFileSlotIsWaitedForUntilAFileIsDeleted) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("maxCacheFiles", 1), IntProp("maxCacheFileSize", 10240),
                              IntProp("tempStorageFullTimeout", 30)});
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  const std::string big = Noise(9000, 12);
  ASSERT_EQ(c.Put(big), 0);
  ZOcacheFileInfo *full = c.Queue()[0];
  std::thread drainer([&c, full] {
    // Once the writer has rolled over, the full file is no longer written
    // and can be sent and deleted.
    auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (bool written = true; written && std::chrono::steady_clock::now() < giveUp;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      pthread_mutex_lock(&full->mutex);
      written = full->beingWritten != 0;
      pthread_mutex_unlock(&full->mutex);
    }
    c.Drop(full);
    pthread_mutex_lock(&c.cache()->mutex);
    pthread_cond_broadcast(&c.cache()->cond);
    pthread_mutex_unlock(&c.cache()->mutex);
  });
  const std::string next = Noise(9000, 13);  // does not fit next to the first
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(c.Put(next), 0);
  drainer.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(c.Said(58), 1);
  EXPECT_GE(c.Traced("FLOW: waiting for cache file to be deleted: numSecs = 0"), 1);
  ASSERT_EQ(c.Queue().size(), 1u);
  EXPECT_EQ(ReadRecords(c, c.Queue()[0]).texts, Strings{next});
  EXPECT_EQ(c.Discarded(), 0);
}

// Writers on several threads, a reader following the files as a drainer
// would: every record arrives whole and exactly once, and a roll-over ends
// the reader's wait on the old file.
TEST(CacheConcurrency, WritersAndAReaderSeeWholeRecords) {
  TempDir dir;
  Cache c(dir.File("cache"), {IntProp("numberEQThreads", 2), IntProp("maxCacheFileSize", 10240),
                              IntProp("tempStorageFullTimeout", -1), IntProp("traceLevel", 0)});
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  constexpr int kWriters = 4, kEach = 40;
  std::atomic<int> failures{0};
  std::atomic<bool> writing{true};
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      ZOVEXA_result r{};
      for (int i = 0; i < kEach; ++i) {
        std::string text =
            "w" + std::to_string(w) + "." + std::to_string(i) + ":" + Noise(300 + 37 * i, w * 100 + i);
        if (ZOcacheMsg(c.ctx(), text.data(), static_cast<int64_t>(text.size()), 1, &r) != 0) ++failures;
      }
      ZOVEXA_Result_Clean(&r);
    });
  }
  std::map<std::string, int> seen;
  std::atomic<int> badRecords{0};
  std::thread reader([&] {
    ZOVEXA_result r{};
    std::vector<ZOcacheFileInfo *> done;
    for (;;) {
      ZOcacheFileInfo *next = nullptr;
      pthread_mutex_lock(&c.cache()->mutex);
      for (ZOcacheFileInfo *f = c.cache()->fileQ.head; f != nullptr && next == nullptr; f = f->next)
        if (std::find(done.begin(), done.end(), f) == done.end()) next = f;
      pthread_mutex_unlock(&c.cache()->mutex);
      if (next == nullptr) {
        if (!writing) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        continue;
      }
      done.push_back(next);
      std::string path = std::string(c.cache()->directory) + "/" + next->fileName;
      int fd = ZOopenCacheFile(c.ctx(), path.c_str(), 1, &r);
      if (fd < 0 || ZOseekToNextEvent(c.ctx(), next, fd, &r) != 0) {
        ++badRecords;
        continue;
      }
      ZOeventRec rec{};
      while (ZOgetEventRec(c.ctx(), next, fd, 1, &rec, &r) == 0) {
        std::string text(rec.text, static_cast<size_t>(rec.uncompSize));
        ++seen[text.substr(0, text.find(':'))];
      }
      if (rec.status != ZO_REC_END) ++badRecords;
      ZOfreeEventRec(&rec);
      close(fd);
    }
    ZOVEXA_Result_Clean(&r);
  });
  for (std::thread &t : writers) t.join();
  ZOreleaseCacheFiles(c.ctx());  // as a client's deletion: the last files are no longer written
  writing = false;
  reader.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(badRecords, 0);
  EXPECT_EQ(static_cast<int>(seen.size()), kWriters * kEach);
  for (const auto &[key, n] : seen) EXPECT_EQ(n, 1) << key;
  EXPECT_GT(c.Queue().size(), 4u) << "the files rolled over";
}

TEST(CacheConcurrency, AReaderNeverSeesHalfARecord) {
  TempDir dir;
  Cache c(dir.File("cache"));
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  ZOcacheFileInfo *f = c.Queue()[0];
  int fd = ZOopenCacheFile(c.ctx(), c.Path(f).c_str(), 0, &c.r);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ZOseekToNextEvent(c.ctx(), f, fd, &c.r), 0);
  CacheFaults faults;
  faults.SplitWrite(1, 20, 400);  // 20 bytes of the header, then a pause
  std::thread writer([&c] {
    ZOVEXA_result r{};
    EXPECT_EQ(ZOcacheMsg(c.ctx(), "<whole/>", 8, 1, &r), 0);
    ZOVEXA_Result_Clean(&r);
  });
  auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (FileSize(c.Path(f)) == 10 && std::chrono::steady_clock::now() < giveUp)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(FileSize(c.Path(f)), 30) << "the reader comes while the record is half written";
  ZOeventRec rec{};
  ZOVEXA_result r{};
  EXPECT_EQ(ZOgetEventRec(c.ctx(), f, fd, 0, &rec, &r), 0);
  writer.join();
  EXPECT_EQ(rec.status, ZO_REC_OK);
  EXPECT_STREQ(rec.text, "<whole/>");
  EXPECT_EQ(r.count, 0);
  ZOfreeEventRec(&rec);
  ZOVEXA_Result_Clean(&r);
  close(fd);
}

TEST(CacheConcurrency, ABlockedReaderWakesForDataAndForShutDown) {
  TempDir dir;
  Cache c(dir.File("cache"));
  ASSERT_EQ(ZOsetupCacheFiles(c.ctx(), &c.r), 0);
  ZOcacheFileInfo *f = c.Queue()[0];
  int fd = ZOopenCacheFile(c.ctx(), c.Path(f).c_str(), 1, &c.r);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(ZOseekToNextEvent(c.ctx(), f, fd, &c.r), 0);
  std::thread writer([&c] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ZOVEXA_result r{};
    ZOcacheMsg(c.ctx(), "<late/>", 7, 1, &r);
    ZOVEXA_Result_Clean(&r);
  });
  ZOeventRec rec{};
  ZOVEXA_result r{};
  EXPECT_EQ(ZOgetEventRec(c.ctx(), f, fd, 1, &rec, &r), 0);
  writer.join();
  EXPECT_STREQ(rec.text, "<late/>");
  std::thread stopper([&c] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    pthread_mutex_lock(&c.cache()->mutex);
    c.cache()->shutDown = 1;
    pthread_cond_broadcast(&c.cache()->cond);
    pthread_mutex_unlock(&c.cache()->mutex);
  });
  EXPECT_EQ(ZOgetEventRec(c.ctx(), f, fd, 1, &rec, &r), -1);
  stopper.join();
  EXPECT_EQ(rec.status, ZO_REC_SHUTDOWN);
  ZOfreeEventRec(&rec);
  ZOVEXA_Result_Clean(&r);
  close(fd);
}

}  // namespace
