#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "cclog/cx.h"
#include "tests/test_util.h"

namespace {

using testutil::ReadFile;
using testutil::TempDir;
using testutil::WriteFile;

uint32_t ModeOf(const std::string &path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return 0xFFFFFFFF;
  return st.st_mode & 07777;
}

// Sets the umask for the life of a test.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : old_(::umask(mask)) {}
  ~ScopedUmask() { ::umask(old_); }

 private:
  mode_t old_;
};

TEST(CxFileTest, WriteReadSeekTruncAndSize) {
  TempDir dir;
  std::string path = dir.File("data.log");
  CxFile *f = nullptr;
  ASSERT_TRUE(CxOK(CxFileOpen(path.c_str(), CX_FILE_READ | CX_FILE_WRITE | CX_FILE_CREATE, &f)));
  EXPECT_EQ(std::string(CxFileGetPath(f)), path);
  size_t written = 0;
  ASSERT_TRUE(CxOK(CxFileWrite(f, "hello world", 11, &written)));
  EXPECT_EQ(written, 11u);
  uint64_t size = 0;
  ASSERT_TRUE(CxOK(CxFileGetSize(f, &size)));
  EXPECT_EQ(size, 11u);

  ASSERT_TRUE(CxOK(CxFileSeek(f, 6, SEEK_SET)));
  char buf[32];
  size_t got = 0;
  ASSERT_TRUE(CxOK(CxFileRead(f, buf, sizeof buf, &got)));
  EXPECT_EQ(std::string(buf, got), "world");
  ASSERT_TRUE(CxOK(CxFileRead(f, buf, sizeof buf, &got)));
  EXPECT_EQ(got, 0u);  // end of file

  ASSERT_TRUE(CxOK(CxFileTrunc(f)));
  ASSERT_TRUE(CxOK(CxFileGetSize(f, &size)));
  EXPECT_EQ(size, 0u);
  ASSERT_TRUE(CxOK(CxFileSeek(f, 0, SEEK_SET)));
  ASSERT_TRUE(CxOK(CxFileWrite(f, "new", 3, nullptr)));
  ASSERT_TRUE(CxOK(CxFileFlush(f)));
  ASSERT_TRUE(CxOK(CxFileClose(f)));
  EXPECT_EQ(ReadFile(path), "new");
}

TEST(CxFileTest, OpenFlagsAndPermissions) {
  TempDir dir;
  ScopedUmask mask(022);
  std::string path = dir.File("perm.log");
  CxFile *f = nullptr;
  // Without CREATE a missing file is an error.
  CxStatus st = CxFileOpen(path.c_str(), CX_FILE_WRITE, &f);
  EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(st), ENOENT);

  ASSERT_TRUE(CxOK(CxFileOpenMode(path.c_str(), CX_FILE_WRITE | CX_FILE_CREATE, 0640, &f)));
  ASSERT_TRUE(CxOK(CxFileWrite(f, "one\n", 4, nullptr)));
  ASSERT_TRUE(CxOK(CxFileClose(f)));
  EXPECT_EQ(ModeOf(path), 0640u);

  ASSERT_TRUE(CxOK(CxFileOpen(path.c_str(), CX_FILE_WRITE | CX_FILE_APPEND, &f)));
  ASSERT_TRUE(CxOK(CxFileSeek(f, 0, SEEK_SET)));  // appending ignores the position
  ASSERT_TRUE(CxOK(CxFileWrite(f, "two\n", 4, nullptr)));
  ASSERT_TRUE(CxOK(CxFileClose(f)));
  EXPECT_EQ(ReadFile(path), "one\ntwo\n");

  ASSERT_TRUE(CxOK(CxFileOpen(path.c_str(), CX_FILE_WRITE | CX_FILE_TRUNC, &f)));
  ASSERT_TRUE(CxOK(CxFileClose(f)));
  EXPECT_EQ(ReadFile(path), "");
  EXPECT_EQ(ModeOf(path), 0640u);

  // The default creation mode is 0666 less the umask.
  std::string other = dir.File("default.log");
  ASSERT_TRUE(CxOK(CxFileOpen(other.c_str(), CX_FILE_WRITE | CX_FILE_CREATE, &f)));
  ASSERT_TRUE(CxOK(CxFileClose(f)));
  EXPECT_EQ(ModeOf(other), 0644u);
}

// ---- failures injected through the file operations table ---------------------------

// The injected write: a script of results for successive calls.
struct WriteScript {
  int calls = 0;
  int eintrOnCall = -1;     // this call fails with EINTR
  size_t maxPerCall = 0;    // 0: no limit
  size_t failAfter = SIZE_MAX;  // once this many bytes are written, fail with failErrno
  int failErrno = 0;
  bool returnZero = false;  // accept nothing, without an error
  size_t total = 0;
  std::string data;
};
WriteScript g_script;

ssize_t ScriptedWrite(int, const void *buf, size_t len) {
  int call = g_script.calls++;
  if (call == g_script.eintrOnCall) {
    errno = EINTR;
    return -1;
  }
  if (g_script.returnZero) return 0;
  if (g_script.total >= g_script.failAfter) {
    errno = g_script.failErrno;
    return -1;
  }
  size_t n = len;
  if (g_script.maxPerCall != 0 && n > g_script.maxPerCall) n = g_script.maxPerCall;
  if (g_script.total + n > g_script.failAfter) n = g_script.failAfter - g_script.total;
  g_script.data.append(static_cast<const char *>(buf), n);
  g_script.total += n;
  return static_cast<ssize_t>(n);
}

class InjectedOps : public ::testing::Test {
 protected:
  void SetUp() override {
    g_script = WriteScript();
    ops_ = *CxDefaultFileOps();
    ops_.write = ScriptedWrite;
    ASSERT_EQ(CxSetFileOps(&ops_), CxDefaultFileOps());
    ASSERT_TRUE(CxOK(CxFileOpen(dir_.File("f").c_str(), CX_FILE_WRITE | CX_FILE_CREATE, &file_)));
  }
  void TearDown() override {
    CxFileClose(file_);
    EXPECT_EQ(CxSetFileOps(nullptr), &ops_);
  }
  TempDir dir_;
  CxFileOps ops_;
  CxFile *file_ = nullptr;
};

TEST_F(InjectedOps, ShortWritesAreContinuedAndEINTRRetried) {
  g_script.maxPerCall = 3;
  g_script.eintrOnCall = 1;
  size_t written = 0;
  ASSERT_TRUE(CxOK(CxFileWrite(file_, "0123456789", 10, &written)));
  EXPECT_EQ(written, 10u);
  EXPECT_EQ(g_script.data, "0123456789");
  EXPECT_EQ(g_script.calls, 5);  // 3 + EINTR + 3 + 3 + 1
}

TEST_F(InjectedOps, FailureReportsErrnoAndTheBytesWritten) {
  g_script.maxPerCall = 4;
  g_script.failAfter = 6;
  g_script.failErrno = ENOSPC;
  size_t written = 99;
  CxStatus st = CxFileWrite(file_, "0123456789", 10, &written);
  EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(st), ENOSPC);
  EXPECT_EQ(written, 6u);
  EXPECT_EQ(g_script.data, "012345");

  g_script = WriteScript();
  g_script.failAfter = 0;
  g_script.failErrno = EIO;
  st = CxFileWrite(file_, "x", 1, &written);
  EXPECT_EQ(CxStatusErrno(st), EIO);
  EXPECT_EQ(written, 0u);
}

TEST_F(InjectedOps, WriteThatAcceptsNothingIsNoSpace) {
  g_script.returnZero = true;
  size_t written = 99;
  CxStatus st = CxFileWrite(file_, "abc", 3, &written);
  EXPECT_EQ(CxStatusErrno(st), ENOSPC);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(g_script.calls, 1);
}

int FailingMkdir(const char *, mode_t) {
  errno = EACCES;
  return -1;
}

TEST(CxFileOpsTest, PathOperationsUseTheInstalledTable) {
  TempDir dir;
  CxFileOps ops = *CxDefaultFileOps();
  ops.mkdir = FailingMkdir;
  CxSetFileOps(&ops);
  CxFilePath fp;
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, dir.File("sub").c_str())));
  CxStatus st = CxFilePathMkdirs(&fp, 0755);
  CxSetFileOps(nullptr);
  EXPECT_EQ(CxStatusErrno(st), EACCES);
  EXPECT_FALSE(CxFilePathExists(&fp));
  ASSERT_TRUE(CxOK(CxFilePathMkdirs(&fp, 0755)));
  EXPECT_TRUE(CxFilePathIsDir(&fp));
}

// ---- file names ---------------------------------------------------------------------

TEST(CxFileNameTest, RenameRemoveAndInfo) {
  TempDir dir;
  std::string a = dir.File("a.log");
  std::string b = dir.File("b.log");
  WriteFile(a, "12345");
  ASSERT_TRUE(CxOK(CxFileNameRename(a.c_str(), b.c_str())));
  EXPECT_EQ(ReadFile(b), "12345");
  CxFileInfo info{};
  ASSERT_TRUE(CxOK(CxFileNameGetInfo(b.c_str(), &info)));
  EXPECT_TRUE(info.isRegular);
  EXPECT_FALSE(info.isDir);
  EXPECT_EQ(info.size, 5u);
  EXPECT_EQ(info.mode, ModeOf(b));
  ASSERT_TRUE(CxOK(CxFileNameGetInfo(dir.path().c_str(), &info)));
  EXPECT_TRUE(info.isDir);
  ASSERT_TRUE(CxOK(CxFileNameRemove(b.c_str())));
  EXPECT_FALSE(testutil::FileExists(b));

  // A missing file is 'p' with ENOENT, which callers may ignore.
  for (CxStatus st : {CxFileNameRename(a.c_str(), b.c_str()), CxFileNameRemove(a.c_str()),
                      CxFileNameGetInfo(a.c_str(), &info)}) {
    EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
    EXPECT_EQ(CxStatusErrno(st), ENOENT);
  }
}

TEST(CxFileNameTest, NativeForm) {
  std::string native;
  ASSERT_TRUE(CxOK(CxFileNameGetNative("logs\\app\\trace.log", &native)));
  EXPECT_EQ(native, "logs/app/trace.log");
  ASSERT_TRUE(CxOK(CxFileNameGetNative("/var/log/caf\xC3\xA9.log", &native)));
  EXPECT_EQ(native, "/var/log/caf\xC3\xA9.log");
  std::string longest(PATH_MAX - 1, 'a');
  EXPECT_TRUE(CxOK(CxFileNameGetNative(longest.c_str(), &native)));
  std::string tooLong(PATH_MAX, 'a');
  for (const char *bad : {"", "a\nb", "tab\there", "del\x7f", tooLong.c_str()}) {
    native = "unchanged";
    EXPECT_EQ(CxStatusCode(CxFileNameGetNative(bad, &native)), CX_CODE_INVALID) << bad;
    EXPECT_EQ(native, "unchanged");
  }
}

TEST(CxFileNameTest, LocalizeKeepsASCIIAndUTF8InUTF8Processes) {
  std::string local;
  ASSERT_TRUE(CxOK(CxFileNameLocalize("plain/name.log", &local)));
  EXPECT_EQ(local, "plain/name.log");
  // The test process has not chosen a locale: its codeset is ASCII, and the
  // UTF-8 bytes are kept.
  ASSERT_TRUE(CxOK(CxFileNameLocalize("caf\xC3\xA9.log", &local)));
  EXPECT_EQ(local, "caf\xC3\xA9.log");
}

// ---- directory paths ----------------------------------------------------------------------

TEST(CxFilePathTest, InitAndParent) {
  CxFilePath fp;
  CxFilePath parent;
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, "a\\b\\c\\")));
  EXPECT_EQ(fp.path, "a/b/c");
  ASSERT_TRUE(CxOK(CxFilePathParent(&fp, &parent)));
  EXPECT_EQ(parent.path, "a/b");
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, "/top")));
  ASSERT_TRUE(CxOK(CxFilePathParent(&fp, &parent)));
  EXPECT_EQ(parent.path, "/");
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, "x//y")));
  ASSERT_TRUE(CxOK(CxFilePathParent(&fp, &parent)));
  EXPECT_EQ(parent.path, "x");
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, "///")));
  EXPECT_EQ(fp.path, "/");
  EXPECT_EQ(CxStatusCode(CxFilePathParent(&fp, &parent)), CX_CODE_INVALID);
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, "name")));
  EXPECT_EQ(CxStatusCode(CxFilePathParent(&fp, &parent)), CX_CODE_INVALID);
  EXPECT_EQ(CxStatusCode(CxInitFilePath(&fp, "")), CX_CODE_INVALID);
}

TEST(CxFilePathTest, MkdirsCreatesMissingParentsWithExactMode) {
  TempDir dir;
  ScopedUmask mask(022);
  std::string a = dir.File("a");
  ASSERT_EQ(::mkdir(a.c_str(), 0700), 0);
  CxFilePath fp;
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, (a + "/b/c").c_str())));
  EXPECT_FALSE(CxFilePathExists(&fp));
  ASSERT_TRUE(CxOK(CxFilePathMkdirs(&fp, 0751)));
  EXPECT_TRUE(CxFilePathIsDir(&fp));
  EXPECT_EQ(ModeOf(a), 0700u);  // existing directories are left alone
  EXPECT_EQ(ModeOf(a + "/b"), 0751u);
  EXPECT_EQ(ModeOf(a + "/b/c"), 0751u);
  // Modes the umask would strip are set as asked.
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, (a + "/open/wide").c_str())));
  ASSERT_TRUE(CxOK(CxFilePathMkdirs(&fp, 0777)));
  EXPECT_EQ(ModeOf(a + "/open/wide"), 0777u);
  // An existing directory is success and keeps its mode.
  ASSERT_TRUE(CxOK(CxFilePathMkdirs(&fp, 0700)));
  EXPECT_EQ(ModeOf(a + "/open/wide"), 0777u);
}

TEST(CxFilePathTest, MkdirsStopsAtAFile) {
  TempDir dir;
  WriteFile(dir.File("file"), "x");
  CxFilePath fp;
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, dir.File("file").c_str())));
  EXPECT_TRUE(CxFilePathExists(&fp));
  EXPECT_FALSE(CxFilePathIsDir(&fp));
  CxStatus st = CxFilePathMkdirs(&fp, 0755);
  EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(st), ENOTDIR);
  ASSERT_TRUE(CxOK(CxInitFilePath(&fp, dir.File("file/below/deeper").c_str())));
  st = CxFilePathMkdirs(&fp, 0755);
  EXPECT_EQ(CxStatusErrno(st), ENOTDIR);
}

}  // namespace
