// The file handler: file names, rollover, permissions, encodings, recovery from
// removed files and failed writes, and the reporting switch.

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "cclog/cx.h"
#include "cclog/file_handler.h"
#include "tests/test_util.h"

namespace {

using testutil::LineFormat;
using testutil::LineHeader;
using testutil::LineTrailer;

using testutil::FileExists;
using testutil::ReadFile;
using testutil::TempDir;

// What each capturing handler received, by handler name.
std::map<std::string, std::vector<std::string>> g_captured;

void CaptureProcess(CCgObject *obj, CCgEvent *event) {
  char *name = CCgGetObjectName(obj);
  char *text = CCgBindEventMsg(event, nullptr);
  g_captured[name].push_back(text != nullptr ? text : "");
  CCgFree(text);
  CCgFree(name);
}

// The test formatter's exact frame (testutil::LineFormat and friends), so file
// sizes are known to the byte.
constexpr char kHeader[] = "HEADER\n";
constexpr char kTrailer[] = "TRAILER\n";

// Record i as written: 29 characters and a line feed.
std::string Rec(int i) {
  std::string text = "rec" + std::to_string(100 + i).substr(1) + " ";
  return text + std::string(29 - text.size(), 'x') + "\n";
}
std::string Recs(int from, int to) {
  std::string all;
  for (int i = from; i <= to; ++i) all += Rec(i);
  return all;
}

// A write that fails once with ENOSPC after being armed.
std::atomic<bool> g_failNextWrite{false};
ssize_t FailingWrite(int fd, const void *buf, size_t len) {
  if (g_failNextWrite.exchange(false)) {
    errno = ENOSPC;
    return -1;
  }
  return CxDefaultFileOps()->write(fd, buf, len);
}

mode_t ModeOf(const std::string &path) {
  struct stat st{};
  if (stat(path.c_str(), &st) != 0) return 0;
  return st.st_mode & 07777;
}

class FileHandlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_captured.clear();
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    open_ = true;
    CCgAddHandlerClass("test_capture", nullptr, nullptr, nullptr, nullptr, CaptureProcess, nullptr,
                       nullptr);
    CCgAddFormatterClass("test_line_formatter", nullptr, nullptr, nullptr, nullptr, LineFormat,
                         LineHeader, LineTrailer, nullptr);
    // Held for the whole test: an object that nobody holds is destroyed.
    fmt_ = CCgGetObject("test.fmt", "test_line_formatter");
    ASSERT_NE(fmt_, nullptr);
    CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
    CCgObject *errors = CCgGetObject("test.errors", "test_capture");
    ASSERT_TRUE(errorLogger != nullptr && errors != nullptr);
    CCgAddListener(errorLogger, errors);
    CCgReleaseObject(errors);
    CCgReleaseObject(errorLogger);
    logger_ = CCgGetObject("test.logger", "ccg_basiclogger");
    ASSERT_NE(logger_, nullptr);
  }

  void TearDown() override {
    CxSetFileOps(nullptr);
    g_failNextWrite = false;
    CloseToolkit();
    if (!oldCwd_.empty()) {
      EXPECT_EQ(chdir(oldCwd_.c_str()), 0);
    }
  }

  void CloseToolkit() {
    if (!open_) return;
    for (CCgObject *h : handlers_) CCgReleaseObject(h);
    handlers_.clear();
    CCgReleaseObject(logger_);
    CCgReleaseObject(fmt_);
    CCgCloseToolkit();
    open_ = false;
  }

  // A file handler with the line formatter, listening to the test logger.
  CCgObject *Handler(const std::string &name, const std::string &fileName,
                     const char *className = "ccg_filehandler") {
    CCgObject *h = CCgGetObject(name.c_str(), className);
    EXPECT_NE(h, nullptr);
    CCgSetObjProp(h, "formatterName", "test.fmt");
    CCgSetObjProp(h, "fileName", fileName.c_str());
    CCgAddListener(logger_, h);
    handlers_.push_back(h);
    return h;
  }

  void Log(const std::string &text) { CCgLogText(logger_, text.c_str(), CCG_PARM_END); }
  void LogRecs(int from, int to) {
    for (int i = from; i <= to; ++i) Log(Rec(i).substr(0, 29));
  }

  bool Reported(const std::string &needle) const {
    auto it = g_captured.find("test.errors");
    if (it == g_captured.end()) return false;
    for (const std::string &text : it->second)
      if (text.find(needle) != std::string::npos) return true;
    return false;
  }

  TempDir dir_;
  CCgObject *logger_ = nullptr;
  CCgObject *fmt_ = nullptr;
  std::vector<CCgObject *> handlers_;
  bool open_ = false;
  std::string oldCwd_;
};

TEST(FileHandlerNameTest, NameParts) {
  struct Case {
    const char *in, *out;
  };
  const Case digits[] = {{"trace2.log", "trace2_.log"}, {"logs/run7.log", "logs/run7_.log"},
                         {"run5", "run5_"},             {"a.b/run.log", "a.b/run.log"},
                         {"v1.2/trace", "v1.2/trace"},  {"7.log", "7_.log"},
                         {".log", ".log"},              {"dir9/", "dir9/"}};
  for (const Case &c : digits) EXPECT_EQ(ccgFHTrailingBaseDigit(c.in), c.out) << c.in;

  CCgFileHandlerVars v;
  ccgFHGetFileNameParts(&v, "/var/log/app/audit.log");
  EXPECT_EQ(v.dir, "/var/log/app");
  EXPECT_EQ(v.base, "audit");
  EXPECT_EQ(v.ext, "log");
  EXPECT_EQ(v.fullName, "/var/log/app/audit.log");
  EXPECT_EQ(ccgFHFileName(&v, 2), "/var/log/app/audit2.log");

  ccgFHGetFileNameParts(&v, "/srv/trace12");  // digits are parsed off as the index
  EXPECT_EQ(v.base, "trace");
  EXPECT_EQ(v.index, 12);
  EXPECT_EQ(v.ext, "");
  EXPECT_EQ(ccgFHFileName(&v, 1), "/srv/trace1");

  ccgFHGetFileNameParts(&v, "/top.log");
  EXPECT_EQ(ccgFHFileName(&v, 0), "/top.log");
}

TEST_F(FileHandlerTest, RelativeNameAndRolloverOrder) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  oldCwd_ = cwd;  // restored by TearDown
  ASSERT_EQ(chdir(dir_.path().c_str()), 0);
  CCgObject *h = Handler("test.fh", "logs/run7.log");
  CCgSetObjProp(h, "maxFiles", "3");
  CCgSetObjProp(h, "maxFileBytes", "100");

  const std::string active = dir_.File("logs/run7_.log");
  const std::string one = dir_.File("logs/run7_1.log"), two = dir_.File("logs/run7_2.log");
  LogRecs(1, 4);  // 7 + 4 * 30 = 127 bytes: the test runs before a write
  EXPECT_EQ(ReadFile(active), kHeader + Recs(1, 4));
  EXPECT_FALSE(FileExists(one));

  LogRecs(5, 5);
  EXPECT_EQ(ReadFile(one), kHeader + Recs(1, 4) + kTrailer);
  EXPECT_EQ(ReadFile(active), kHeader + Rec(5));

  LogRecs(6, 9);
  EXPECT_EQ(ReadFile(two), kHeader + Recs(1, 4) + kTrailer);
  EXPECT_EQ(ReadFile(one), kHeader + Recs(5, 8) + kTrailer);
  EXPECT_EQ(ReadFile(active), kHeader + Rec(9));

  LogRecs(10, 13);  // file 2 (records 1-4) is dropped
  EXPECT_EQ(ReadFile(two), kHeader + Recs(5, 8) + kTrailer);
  EXPECT_EQ(ReadFile(one), kHeader + Recs(9, 12) + kTrailer);
  EXPECT_EQ(ReadFile(active), kHeader + Rec(13));
  EXPECT_FALSE(FileExists(dir_.File("logs/run7_3.log")));
  EXPECT_FALSE(FileExists(dir_.File("logs/run7.log")));
}

TEST_F(FileHandlerTest, SizeAndCountLimits) {
  CCgObject *single = Handler("test.single", dir_.File("single.log"));
  CCgSetObjProp(single, "maxFiles", "1");
  CCgSetObjProp(single, "maxFileBytes", "100");
  CCgObject *bad = Handler("test.badsize", dir_.File("badsize.log"));
  CCgSetObjProp(bad, "maxFiles", "2");
  CCgSetObjProp(bad, "maxFileSize", "abc");  // 1024, not the 1 MiB default
  LogRecs(1, 34);                            // 7 + 34 * 30 = 1027 bytes
  EXPECT_FALSE(FileExists(dir_.File("badsize1.log")));
  LogRecs(35, 35);
  EXPECT_EQ(ReadFile(dir_.File("badsize1.log")), kHeader + Recs(1, 34) + kTrailer);
  EXPECT_EQ(ReadFile(dir_.File("badsize.log")), kHeader + Rec(35));
  // maxFiles 1 never rolls over, however large the file grows.
  EXPECT_EQ(ReadFile(dir_.File("single.log")), kHeader + Recs(1, 35));
  EXPECT_FALSE(FileExists(dir_.File("single1.log")));

  // An unparsable maxFiles keeps three files.
  CCgObject *count = Handler("test.count", dir_.File("count.log"));
  CCgSetObjProp(count, "maxFiles", "several");
  CCgSetObjProp(count, "maxFileBytes", "30");
  LogRecs(1, 6);
  EXPECT_EQ(ReadFile(dir_.File("count.log")), kHeader + Rec(6));
  EXPECT_EQ(ReadFile(dir_.File("count1.log")), kHeader + Rec(5) + kTrailer);
  EXPECT_EQ(ReadFile(dir_.File("count2.log")), kHeader + Rec(4) + kTrailer);
  EXPECT_FALSE(FileExists(dir_.File("count3.log")));
}

TEST_F(FileHandlerTest, AppendingOrTruncating) {
  testutil::WriteFile(dir_.File("keep.log"), "old\n");
  testutil::WriteFile(dir_.File("fresh.log"), "old\n");
  Handler("test.keep", dir_.File("keep.log"));
  CCgObject *fresh = Handler("test.fresh", dir_.File("fresh.log"));
  CCgSetObjProp(fresh, "appending", "false");
  LogRecs(1, 1);
  EXPECT_EQ(ReadFile(dir_.File("keep.log")), "old\n" + std::string(kHeader) + Rec(1));
  EXPECT_EQ(ReadFile(dir_.File("fresh.log")), kHeader + Rec(1));
}

TEST_F(FileHandlerTest, Permissions) {
  mode_t oldMask = umask(0);
  CCgObject *h = Handler("test.perm", dir_.File("sub/deeper/a.log"));
  CCgSetObjProp(h, "filePermission", "0660");
  CCgSetObjProp(h, "dirPermission", "0750");
  LogRecs(1, 1);
  EXPECT_EQ(ModeOf(dir_.File("sub/deeper/a.log")), 0660u);
  EXPECT_EQ(ModeOf(dir_.File("sub")), 0750u);
  EXPECT_EQ(ModeOf(dir_.File("sub/deeper")), 0750u);

  for (const char *bad : {"rw", "01234", "0890", ""}) {
    g_captured.clear();
    CCgSetObjProp(h, "filePermission", bad);
    EXPECT_TRUE(Reported("CCGMP0074W")) << bad;
    EXPECT_TRUE(Reported("test.perm")) << bad;
  }
  CCgSetObjProp(h, "fileName", dir_.File("sub/deeper/b.log").c_str());
  LogRecs(2, 2);
  EXPECT_EQ(ModeOf(dir_.File("sub/deeper/b.log")), 0660u);  // the old bits stay
  umask(oldMask);
}

TEST_F(FileHandlerTest, RemovedOrMovedFileIsRecreated) {
  Handler("test.gone", dir_.File("gone.log"));
  LogRecs(1, 1);
  ASSERT_EQ(unlink(dir_.File("gone.log").c_str()), 0);
  LogRecs(2, 2);
  EXPECT_EQ(ReadFile(dir_.File("gone.log")), kHeader + Rec(2));

  ASSERT_EQ(rename(dir_.File("gone.log").c_str(), dir_.File("moved.log").c_str()), 0);
  LogRecs(3, 3);
  // The trailer still reaches the moved file through the open descriptor.
  EXPECT_EQ(ReadFile(dir_.File("moved.log")), kHeader + Rec(2) + kTrailer);
  EXPECT_EQ(ReadFile(dir_.File("gone.log")), kHeader + Rec(3));
}

TEST_F(FileHandlerTest, LogInternalErrsFollowsAppending) {
  CCgObject *h = Handler("test.quiet", dir_.File("quiet.log"));
  CCgSetObjProp(h, "appending", "true");
  CCgSetObjProp(h, "logInternalErrs", "false");
  g_captured.clear();
  CCgSetObjProp(h, "filePermission", "bad1");
  EXPECT_TRUE(Reported("CCGMP0074W"));

  CCgSetObjProp(h, "appending", "false");
  CCgSetObjProp(h, "logInternalErrs", "true");
  g_captured.clear();
  CCgSetObjProp(h, "filePermission", "bad2");
  CCgSetObjProp(h, "fileEncoding", "NO-SUCH-CODESET-42");
  CCgSetObjProp(h, "fileName", "");
  EXPECT_TRUE(g_captured["test.errors"].empty());
}

TEST_F(FileHandlerTest, Encodings) {
  CCgObject *latin = Handler("test.latin", dir_.File("latin.log"));
  CCgSetObjProp(latin, "fileEncoding", "ISO-8859-1");
  CCgObject *fallback = Handler("test.fallback", dir_.File("fallback.log"));
  CCgSetObjProp(fallback, "fileEncoding", "NO-SUCH-CODESET-42");
  EXPECT_TRUE(Reported("CCGFH0036W"));
  EXPECT_TRUE(Reported("NO-SUCH-CODESET-42"));
  Log("Jos\xC3\xA9");
  EXPECT_EQ(ReadFile(dir_.File("latin.log")), std::string(kHeader) + "Jos\xE9\n");
  EXPECT_EQ(ReadFile(dir_.File("fallback.log")), std::string(kHeader) + "Jos\xC3\xA9\n");
}

TEST_F(FileHandlerTest, FailedWriteLosesOnlyThatRecord) {
  static CxFileOps ops = *CxDefaultFileOps();
  ops.write = FailingWrite;
  CxSetFileOps(&ops);
  Handler("test.enospc", dir_.File("enospc.log"));
  LogRecs(1, 1);
  g_failNextWrite = true;
  LogRecs(2, 2);
  EXPECT_TRUE(Reported(std::strerror(ENOSPC)));
  LogRecs(3, 3);
  EXPECT_EQ(ReadFile(dir_.File("enospc.log")), kHeader + Rec(1) + Rec(3));
}

TEST_F(FileHandlerTest, BadNamesAreReportedAndWriteNothing) {
  CCgObject *h = Handler("test.badname", dir_.File("first.log"));
  CCgSetObjProp(h, "fileName", "");
  EXPECT_TRUE(Reported("CCGBC0030E"));
  CCgSetObjProp(h, "fileName", (dir_.path() + "/" + std::string(300, 'n')).c_str());
  EXPECT_TRUE(Reported("CCGBC0031E"));
  CCgSetObjProp(h, "fileName", (dir_.path() + "/bad\x01name.log").c_str());
  EXPECT_TRUE(Reported("CCGFH0032E"));
  LogRecs(1, 1);
  EXPECT_FALSE(FileExists(dir_.File("first.log")));
  EXPECT_FALSE(FileExists(dir_.File("bad\x01name.log")));
}

TEST_F(FileHandlerTest, ChainsListenersAndClosesWithTrailer) {
  CCgObject *h = Handler("test.chain", dir_.File("chain.log"));
  CCgObject *next = CCgGetObject("test.next", "test_capture");
  CCgAddListener(h, next);
  CCgReleaseObject(next);
  LogRecs(1, 2);
  EXPECT_EQ(g_captured["test.next"].size(), 2u);

  CCgSetObjProp(h, "logging", "off");  // a disabled handler neither writes nor passes on
  LogRecs(3, 3);
  EXPECT_EQ(g_captured["test.next"].size(), 2u);

  CloseToolkit();
  EXPECT_EQ(ReadFile(dir_.File("chain.log")), kHeader + Recs(1, 2) + kTrailer);
}

TEST_F(FileHandlerTest, FormatterNameTakesTheClassFromTheConfiguration) {
  CCgObjCfg *cfg = CCgLogMgrGetCfg("test.cfgfmt");
  CCgSetObjCfgProp(cfg, "className", "test_line_formatter");
  CCgReleaseObjCfg(cfg);
  CCgObject *h = Handler("test.cfgfile", dir_.File("cfg.log"));
  CCgSetObjProp(h, "formatterName", "test.cfgfmt");
  CCgObject *fmt = CCgGetHandlerFormatter(h);
  char *fmtName = CCgGetObjectName(fmt);
  EXPECT_STREQ(fmtName, "test.cfgfmt");
  CCgFree(fmtName);
  CCgReleaseObject(fmt);
  // A name that yields no object, or an object that is no formatter, keeps
  // the current formatter.
  CCgSetObjProp(h, "formatterName", "test.logger");
  CCgSetObjProp(h, "formatterName", "test.nothing");
  fmt = CCgGetHandlerFormatter(h);
  fmtName = CCgGetObjectName(fmt);
  EXPECT_STREQ(fmtName, "test.cfgfmt");
  CCgFree(fmtName);
  CCgReleaseObject(fmt);
  LogRecs(1, 1);
  EXPECT_EQ(ReadFile(dir_.File("cfg.log")), kHeader + Rec(1));
}

TEST_F(FileHandlerTest, ApplicationHandlerDefaultsPassEventsOn) {
  CCgAddHandlerClass("test_bare", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  CCgObject *bare = CCgGetObject("test.bare", "test_bare");
  CCgObject *next = CCgGetObject("test.afterbare", "test_capture");
  ASSERT_TRUE(bare != nullptr && next != nullptr);
  CCgAddListener(logger_, bare);
  CCgAddListener(bare, next);
  handlers_.push_back(bare);
  handlers_.push_back(next);
  Log("through");
  ASSERT_EQ(g_captured["test.afterbare"].size(), 1u);
  EXPECT_EQ(g_captured["test.afterbare"][0], "through");
  CCgSetObjectEnabled(bare, 0);
  Log("stopped");
  EXPECT_EQ(g_captured["test.afterbare"].size(), 1u);
}

TEST_F(FileHandlerTest, HldHandlerLoadsReportsAndDiscards) {
  CCgObjCfg *cfg = CCgLogMgrGetCfg("test.hld");
  CCgSetObjCfgProp(cfg, "className", "ccg_hldhandler");
  CCgSetObjCfgProp(cfg, "hldLoggerName", "appserver.logger");
  CCgSetObjCfgProp(cfg, "IPCID", "CCG_HLD_HANDLER_IPC");
  CCgSetObjCfgProp(cfg, "traceEnabled", "true");
  CCgReleaseObjCfg(cfg);
  CCgObject *hld = CCgGetObject("test.hld", nullptr);
  ASSERT_NE(hld, nullptr);
  CCgObject *next = CCgGetObject("test.afterhld", "test_capture");
  CCgAddListener(logger_, hld);
  CCgAddListener(hld, next);
  handlers_.push_back(hld);
  handlers_.push_back(next);
  Log("one");
  Log("two");
  int reports = 0;
  for (const std::string &text : g_captured["test.errors"])
    if (text.find("CCGWH0091E") != std::string::npos) ++reports;
  EXPECT_EQ(reports, 1);  // once per open, not per event
  EXPECT_EQ(g_captured["test.afterhld"].size(), 2u);
}

}  // namespace
