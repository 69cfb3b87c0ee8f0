#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <sys/time.h>
#include <unistd.h>

#include "cclog/cx.h"

namespace {

TEST(TosStringTest, CaseInsensitiveComparisonFoldsASCIIOnly) {
  EXPECT_EQ(TosStringICmp("Warning", "WARNING"), 0);
  EXPECT_LT(TosStringICmp("abc", "ABD"), 0);
  EXPECT_GT(TosStringICmp("b", "A"), 0);
  EXPECT_LT(TosStringICmp("ab", "abc"), 0);
  EXPECT_EQ(TosStringNICmp("INFOrmation", "info", 4), 0);
  EXPECT_NE(TosStringNICmp("INFOrmation", "info", 5), 0);
  // Bytes above ASCII are compared as they are.
  EXPECT_NE(TosStringICmp("\xC3\xA9", "\xC3\x89"), 0);
  EXPECT_EQ(TosStringDup(nullptr), nullptr);
  TosMemoryFree(nullptr);
  char buf[8];
  EXPECT_EQ(TosStringSprintf(buf, sizeof buf, "%d-%s", 12, "abcdef"), 9);
  EXPECT_STREQ(buf, "12-abcd");
}

TEST(CxMutexTest, LockUnlockAndReentryIsRefused) {
  CxMutex *m = nullptr;
  ASSERT_TRUE(CxOK(CxMutexCreate(&m)));
  ASSERT_TRUE(CxOK(CxMutexLock(m)));
  CxStatus again = CxMutexLock(m);
  EXPECT_EQ(CxStatusCode(again), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(again), EDEADLK);
  ASSERT_TRUE(CxOK(CxMutexUnlock(m)));
  EXPECT_EQ(CxStatusErrno(CxMutexUnlock(m)), EPERM);
  ASSERT_TRUE(CxOK(CxMutexDestroy(m)));
}

struct Counter {
  CxMutex *mutex;
  long value;
};

void *AddMany(void *arg) {
  auto *c = static_cast<Counter *>(arg);
  for (int i = 0; i < 20000; ++i) {
    CxMutexLock(c->mutex);
    ++c->value;
    CxMutexUnlock(c->mutex);
  }
  return reinterpret_cast<void *>(CxThreadGetCurrentID());
}

TEST(CxThreadTest, ThreadsRunAndJoinWithTheirResult) {
  ASSERT_TRUE(CxHasThreadSupport());
  Counter counter{nullptr, 0};
  ASSERT_TRUE(CxOK(CxMutexCreate(&counter.mutex)));
  CxThread *threads[3];
  for (CxThread *&t : threads) ASSERT_TRUE(CxOK(CxThreadCreate(&t, AddMany, &counter)));
  std::set<int64_t> ids{CxThreadGetCurrentID()};
  for (CxThread *t : threads) {
    void *result = nullptr;
    ASSERT_TRUE(CxOK(CxThreadJoin(t, &result)));
    ids.insert(reinterpret_cast<int64_t>(result));
  }
  EXPECT_EQ(counter.value, 60000);
  EXPECT_EQ(ids.size(), 4u);  // kernel thread ids differ per thread
  EXPECT_EQ(CxThreadGetCurrentID(), static_cast<int64_t>(CxProcessGetCurrentID()));  // the main thread
  ASSERT_TRUE(CxOK(CxMutexDestroy(counter.mutex)));
}

TEST(CxThreadTest, SleepWaitsAtLeastTheTime) {
  uint64_t before = CxSystemGetTimestamp();
  CxThreadSleep(30);
  CxThreadYield();
  EXPECT_GE(CxSystemGetTimestamp() - before, 29u);
}

TEST(CxProcessTest, CreateAndWaitReportsExitStatusAndSignals) {
  char sh[] = "sh";
  char dashC[] = "-c";
  char exit3[] = "exit 3";
  char *argv[] = {sh, dashC, exit3, nullptr};
  int64_t pid = 0;
  ASSERT_TRUE(CxOK(CxProcessCreate(argv, &pid)));
  int code = -1;
  ASSERT_TRUE(CxOK(CxProcessWaitFor(pid, &code)));
  EXPECT_EQ(code, 3);

  char killSelf[] = "kill -9 $$";
  char *argv2[] = {sh, dashC, killSelf, nullptr};
  ASSERT_TRUE(CxOK(CxProcessCreate(argv2, &pid)));
  ASSERT_TRUE(CxOK(CxProcessWaitFor(pid, &code)));
  EXPECT_EQ(code, 128 + 9);

  char missing[] = "no-such-program-anywhere";
  char *argv3[] = {missing, nullptr};
  CxStatus st = CxProcessCreate(argv3, &pid);
  if (CxOK(st)) {  // some C libraries report the failure as exit status 127
    ASSERT_TRUE(CxOK(CxProcessWaitFor(pid, &code)));
    EXPECT_EQ(code, 127);
  } else {
    EXPECT_EQ(CxStatusErrno(st), ENOENT);
  }
}

TEST(CxProcessTest, EnvironmentAndWorkingDirectory) {
  ASSERT_EQ(setenv("CX_SYSTEM_TEST_VAR", "value 1", 1), 0);
  char *v = CxProcessGetEnv("CX_SYSTEM_TEST_VAR");
  ASSERT_NE(v, nullptr);
  EXPECT_STREQ(v, "value 1");
  TosMemoryFree(v);
  unsetenv("CX_SYSTEM_TEST_VAR");
  EXPECT_EQ(CxProcessGetEnv("CX_SYSTEM_TEST_VAR"), nullptr);

  EXPECT_EQ(CxProcessGetCurrentID(), static_cast<int64_t>(getpid()));
  char cwd[4096];
  ASSERT_TRUE(CxOK(CxProcessGetCwd(cwd, sizeof cwd)));
  EXPECT_EQ(cwd[0], '/');
  char tiny[1];
  CxStatus st = CxProcessGetCwd(tiny, sizeof tiny);
  EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(st), ERANGE);
}

TEST(CxSystemTest, TimestampIsMillisecondsSinceTheEpoch) {
  struct timeval before;
  gettimeofday(&before, nullptr);
  uint64_t ts = CxSystemGetTimestamp();
  struct timeval after;
  gettimeofday(&after, nullptr);
  EXPECT_GE(ts, static_cast<uint64_t>(before.tv_sec) * 1000 + before.tv_usec / 1000);
  EXPECT_LE(ts, static_cast<uint64_t>(after.tv_sec) * 1000 + after.tv_usec / 1000);
}

TEST(CxSystemTest, HostName) {
  char name[256];
  ASSERT_TRUE(CxOK(CxSystemGetFQHostname(name, sizeof name)));
  EXPECT_GT(std::strlen(name), 0u);
  char tiny[1];
  CxStatus st = CxSystemGetFQHostname(tiny, sizeof tiny);
  EXPECT_EQ(CxStatusErrno(st), ERANGE);
}

TEST(CxCharTest, Classification) {
  for (int c = -200; c < 400; ++c) {
    EXPECT_EQ(CxIsASCIIDigit(c), c >= '0' && c <= '9') << c;
    EXPECT_EQ(CxIsASCIIAlpha(c), (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) << c;
  }
  EXPECT_TRUE(CxIsLocalDigit('7'));
  EXPECT_FALSE(CxIsLocalDigit('x'));
  EXPECT_FALSE(CxIsLocalDigit(EOF));
  EXPECT_FALSE(CxIsLocalDigit(0x10000));
  EXPECT_FALSE(CxIsLocalDigit(static_cast<char>(0xB2)));  // negative as a plain char
}

TEST(CxCharTest, EBCDICToASCII) {
  char text[] = "\xC8\x85\x93\x93\x96\x6B\x40\xE6\x96\x99\x93\x84\x5A\x40\xF0\xF9\x4B\x5F\xBA\xBB\x4F\xC1\x81\x25";
  CxETOA(text, sizeof text - 1);
  EXPECT_STREQ(text, "Hello, World! 09.\xAC[]|Aa\n");

  // Code page 037 maps the 256 byte values onto 256 different bytes.
  char all[256];
  for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  CxETOA(all, sizeof all);
  std::set<unsigned char> seen(reinterpret_cast<unsigned char *>(all), reinterpret_cast<unsigned char *>(all) + 256);
  EXPECT_EQ(seen.size(), 256u);
  EXPECT_EQ(all[0], '\0');
}

}  // namespace
