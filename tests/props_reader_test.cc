#include "cclog/props_reader.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "cclog.h"
#include "cclog/ccg_toolkit.h"
#include "tests/test_util.h"

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

struct ListRead {
  bool ok;
  Entries entries;
};

ListRead ReadToList(const std::string &text) {
  CxPropList pl;
  const bool ok = ccgReadPropsFromBuffer(text.data(), text.size(), &pl);
  return {ok, pl.entries};
}

const char kExampleFile[] =
    "# audit client logging\n"
    "cclog.errorLogger.className = ccg_basiclogger\n"
    "cclog.errorLogger.listenerNames = trace.file\n"
    "trace.file.className : ccg_filehandler\n"
    "trace.file.fileName = /var/log/app/trace.log\n"
    "trace.file.maxFiles 4\n";

const char kMsg52[] =
    "CCG0052E The value of property 'a.b' in the properties file could not be parsed, because it "
    "contains a backslash character that is not part of a valid escape sequence.\n";

TEST(PropsReaderHexConv, LettersCountFromZero) {
  EXPECT_EQ(ccgRdprHexConv('0'), 0);
  EXPECT_EQ(ccgRdprHexConv('9'), 9);
  EXPECT_EQ(ccgRdprHexConv('a'), 0);
  EXPECT_EQ(ccgRdprHexConv('f'), 5);
  EXPECT_EQ(ccgRdprHexConv('A'), 0);
  EXPECT_EQ(ccgRdprHexConv('F'), 5);
  for (int c : std::initializer_list<int>{'g', 'G', '/', ':', '@', '`', ' ', 0, -1, 0x130})
    EXPECT_EQ(ccgRdprHexConv(c), -1) << c;
}

// Inputs that read cleanly into a property list, with the entries they give.
TEST(PropsReaderSyntax, ValidInputs) {
  const struct {
    const char *text;
    Entries expected;
  } cases[] = {
      {"a.b = 1", {{"a.b", "1"}}},  // no final line end
      {"a.b = 1\r\nc.d = 2\r\n", {{"a.b", "1"}, {"c.d", "2"}}},
      {"a.b = 1\rc.d = 2\r", {{"a.b", "1"}, {"c.d", "2"}}},
      {"\n\n  \t\n\r\na.b = 1\n\n\nc.d = 2\n", {{"a.b", "1"}, {"c.d", "2"}}},
      {"k.a=1\nk.b:2\nk.c 3\nk.d\t4\nk.e  :  5\nk.f = = 6\n",
       {{"k.a", "1"}, {"k.b", "2"}, {"k.c", "3"}, {"k.d", "4"}, {"k.e", "5"}, {"k.f", "= 6"}}},
      {"a.b = x y  \n", {{"a.b", "x y  "}}},  // inner and trailing blanks are kept
      {"a.b =\nc.d:\n", {{"a.b", ""}, {"c.d", ""}}},
      {"# c\n! c\n   # c \\\n\t! c\na.b = x # y\n", {{"a.b", "x # y"}}},
      {"key.k = a\\u0041b\n", {{"key.k", "aAb"}}},
      {"key.k = \\u004a\n", {{"key.k", "@"}}},
      {"k.a = \\u0099\nk.b = \\U9999\n", {{"k.a", "\xC2\x99"}, {"k.b", "\xE9\xA6\x99"}}},
      {"a.b = \\ \\\t\\\"\\'\\\\x\n", {{"a.b", " \t\"'\\x"}}},
      {"a.b = x \\\n   y\n", {{"a.b", "x y"}}},
      {"a.b = x \\\r\n   y\r\n", {{"a.b", "x y"}}},
      {"a.b = x\\\n  \\ y\n", {{"a.b", "x y"}}},
      {"a.b = x\\\n   \nc.d = 2\n", {{"a.b", "x"}, {"c.d", "2"}}},  // a blank line ends it
      // An empty line is skipped as a second line end, so the value goes on.
      {"a.b = x\\\n\nc.d = 2\n", {{"a.b", "xc.d = 2"}}},
      {"a.b \\\n  y\n", {{"a.b", "y"}}},
      {"a\\:b.c = v\na\\=b\\ c\\\\d = w\n", {{"a:b.c", "v"}, {"a=b c\\d", "w"}}},
      {":a.b = 1\n=x=2\n", {{":a.b", "1"}, {"=x", "2"}}},  // first column starts a key
      {"\\k = 1\n", {{"\\k", "1"}}},
      {"a.b = 1\nc.d = 2\na.b = 3\n", {{"a.b", "3"}, {"c.d", "2"}}},
      {"nodot = 1\n", {{"nodot", "1"}}},  // only the log manager needs a dot
      {"k.\xC3\xA9 = \xE2\x82\xAC\n", {{"k.\xC3\xA9", "\xE2\x82\xAC"}}},
  };
  for (const auto &c : cases) {
    const ListRead r = ReadToList(c.text);
    EXPECT_TRUE(r.ok) << c.text;
    EXPECT_EQ(r.entries, c.expected) << c.text;
  }
}

// Inputs that fail the read, with the entries emitted before the fault.
TEST(PropsReaderSyntax, FaultsStopTheReadAndKeepEarlierEntries) {
  const struct {
    std::string text;
    Entries before;
  } cases[] = {
      {"a.b\n", {}},
      {"a.b = 1\nc.d\ne.f = 2\n", {{"a.b", "1"}}},
      {"   = x\n", {}},
      {"a.b = 1\n\t: x\n", {{"a.b", "1"}}},
      {"a\\x.b = 1\n", {}},  // only blanks, separators and backslash escape in keys
      {"a.b = \\u00g1\n", {}},
      {"a.b = \\u12\nc.d = 1\n", {}},
      {std::string("\0x.y = 1\n", 9), {}},  // a NUL byte ends the key: nothing is left of it
  };
  for (const auto &c : cases) {
    testing::internal::CaptureStderr();
    const ListRead r = ReadToList(c.text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << c.text;  // silent faults
    EXPECT_FALSE(r.ok) << c.text;
    EXPECT_EQ(r.entries, c.before) << c.text;
  }
}

TEST(PropsReaderSyntax, BadValueEscapeWritesMessage52) {
  for (const char *text : {"x.y = 1\na.b = 1\\n2\n", "x.y = 1\na.b = \\t\n", "x.y = 1\na.b \\r\n",
                           "x.y = 1\na.b = \\x\n"}) {
    testing::internal::CaptureStderr();
    const ListRead r = ReadToList(text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kMsg52) << text;
    EXPECT_FALSE(r.ok) << text;
    EXPECT_EQ(r.entries, (Entries{{"x.y", "1"}})) << text;
  }
}

TEST(PropsReaderFile, ReadsFilesIntoAList) {
  testutil::TempDir dir;
  testutil::WriteFile(dir.File("example.properties"), kExampleFile);
  CxPropList pl;
  ASSERT_TRUE(CxPropListRead(dir.File("example.properties").c_str(), &pl));
  EXPECT_EQ(pl.entries, (Entries{{"cclog.errorLogger.className", "ccg_basiclogger"},
                                 {"cclog.errorLogger.listenerNames", "trace.file"},
                                 {"trace.file.className", "ccg_filehandler"},
                                 {"trace.file.fileName", "/var/log/app/trace.log"},
                                 {"trace.file.maxFiles", "4"}}));
  EXPECT_FALSE(CxPropListRead(dir.File("example.properties").c_str(), nullptr));
  EXPECT_FALSE(CxPropListRead(dir.File("missing.properties").c_str(), &pl));
  EXPECT_FALSE(CxPropListRead(nullptr, &pl));
}

// The file layer's seam: every read returns at most one byte and, from call
// g_failReadFrom on (0: never), fails; closes fail when g_failClose is set.
int g_readCalls = 0;
int g_failReadFrom = 0;
bool g_failClose = false;
ssize_t ByteRead(int fd, void *buf, size_t len) {
  if (g_failReadFrom > 0 && ++g_readCalls >= g_failReadFrom) {
    errno = EIO;
    return -1;
  }
  return CxDefaultFileOps()->read(fd, buf, len > 0 ? 1 : 0);
}
int MaybeFailClose(int fd) {
  const int rc = CxDefaultFileOps()->close(fd);
  if (!g_failClose) return rc;
  errno = EIO;
  return -1;
}

struct FileFault {
  int failReadFrom;
  bool failClose;
};

// Reads the file through the byte-wise seam with the given faults.
ListRead ReadFileWithFaults(const std::string &path, FileFault fault) {
  CxFileOps ops = *CxDefaultFileOps();
  ops.read = ByteRead;
  ops.close = MaybeFailClose;
  g_readCalls = 0;
  g_failReadFrom = fault.failReadFrom;
  g_failClose = fault.failClose;
  const CxFileOps *old = CxSetFileOps(&ops);
  CxPropList pl;
  const bool ok = CxPropListRead(path.c_str(), &pl);
  CxSetFileOps(old);
  return {ok, pl.entries};
}

TEST(PropsReaderFile, StateCarriesOverReadsAndReadFailuresFail) {
  testutil::TempDir dir;
  // Byte-wise reads split every CR LF pair, also the one of the continuation.
  testutil::WriteFile(dir.File("p"), "a.b = x \\\r\n   y\r\nc.d = 2\r\n");
  ListRead r = ReadFileWithFaults(dir.File("p"), {0, false});
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(r.entries, (Entries{{"a.b", "x y"}, {"c.d", "2"}}));

  // The 20th one-byte read fails, in the middle of the key c.d.
  r = ReadFileWithFaults(dir.File("p"), {20, false});
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.entries, (Entries{{"a.b", "x y"}}));

  // Everything was read before the close failed.
  r = ReadFileWithFaults(dir.File("p"), {0, true});
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(r.entries.size(), 2u);
}

class PropsReaderLogMgr : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(CCgOpenToolkit(nullptr)); }
  void TearDown() override { CCgCloseToolkit(); }

  bool Read(const std::string &text) {
    testutil::WriteFile(dir_.File("p.properties"), text);
    return CCgLogMgrReadProps(dir_.File("p.properties").c_str());
  }
  // The configuration's own property; "<none>" when it is not set, "<no cfg>"
  // when the configuration does not exist.
  static std::string Prop(const char *cfgName, const char *key) {
    if (!CCgLogMgrHasCfg(cfgName)) return "<no cfg>";
    CCgObjCfg *cfg = CCgLogMgrGetCfg(cfgName);
    CCgBool found = 0;
    char *v = CCgGetObjCfgProp(cfg, key, &found);
    std::string result = found ? std::string(v ? v : "<null>") : "<none>";
    CCgFree(v);
    CCgReleaseObjCfg(cfg);
    return result;
  }
  static bool FromFile(const char *cfgName) {
    CCgObjCfg *cfg = CCgLogMgrGetCfg(cfgName);
    const bool fromFile = CCgObjCfgIsFromFile(cfg);
    CCgReleaseObjCfg(cfg);
    return fromFile;
  }
  static std::string ParentName(const char *cfgName) {
    CCgObjCfg *cfg = CCgLogMgrGetCfg(cfgName);
    CCgObjCfg *parent = CCgObjCfgGetParent(cfg);
    std::string result = "<root>";
    if (parent != nullptr) {
      char *name = CCgObjCfgGetName(parent);
      result = name;
      CCgFree(name);
      CCgReleaseObjCfg(parent);
    }
    CCgReleaseObjCfg(cfg);
    return result;
  }

  testutil::TempDir dir_;
};

TEST_F(PropsReaderLogMgr, ExampleFileFillsConfigurations) {
  CCgReleaseObjCfg(CCgLogMgrGetCfg("trace"));
  ASSERT_TRUE(Read(kExampleFile));
  EXPECT_EQ(Prop("cclog.errorLogger", "className"), "ccg_basiclogger");
  EXPECT_EQ(Prop("cclog.errorLogger", "listenerNames"), "trace.file");
  EXPECT_EQ(Prop("trace.file", "className"), "ccg_filehandler");
  EXPECT_EQ(Prop("trace.file", "fileName"), "/var/log/app/trace.log");
  EXPECT_EQ(Prop("trace.file", "maxFiles"), "4");
  EXPECT_TRUE(FromFile("trace.file"));
  EXPECT_FALSE(FromFile("trace"));  // existed before the read
  EXPECT_EQ(ParentName("trace.file"), "trace");
}

TEST_F(PropsReaderLogMgr, KeysSplitAtTheLastDotIntoLinkedConfigurations) {
  ASSERT_TRUE(Read("a.b.p = 1\na.b.c.q = 2\na.b.c.q = 3\nx.e =\n"));
  EXPECT_EQ(Prop("a.b", "p"), "1");
  EXPECT_EQ(Prop("a.b.c", "q"), "3");
  EXPECT_EQ(Prop("x", "e"), "");
  EXPECT_EQ(ParentName("a.b.c"), "a.b");
  EXPECT_EQ(ParentName("a.b"), "<root>");
  EXPECT_TRUE(FromFile("a.b"));
  EXPECT_TRUE(FromFile("a.b.c"));
  EXPECT_FALSE(CCgLogMgrHasCfg("a"));

  CCgObjCfg *pre = CCgLogMgrGetCfg("pre");
  CCgSetObjCfgProp(pre, "keep", "yes");
  CCgReleaseObjCfg(pre);
  ASSERT_TRUE(Read("pre.p = 1\n"));
  EXPECT_FALSE(FromFile("pre"));
  EXPECT_EQ(Prop("pre", "keep"), "yes");
  EXPECT_EQ(Prop("pre", "p"), "1");
}

TEST_F(PropsReaderLogMgr, KeysThatNameNoPropertyFail) {
  for (const char *bad : {"nodot = 1\n", ".p = 1\n", "a. = 1\n", "/.p = 1\n", "a.b\n"}) {
    EXPECT_FALSE(Read(std::string("ok.before = 1\n") + bad + "ok.after = 1\n")) << bad;
    EXPECT_EQ(Prop("ok", "before"), "1") << bad;
    EXPECT_EQ(Prop("ok", "after"), "<none>") << bad;
  }
  EXPECT_FALSE(CCgLogMgrReadProps(dir_.File("missing").c_str()));
  EXPECT_FALSE(CCgLogMgrReadProps(nullptr));
}

TEST_F(PropsReaderLogMgr, BufferReadUnderTheApiLock) {
  const std::string text = "buf.cfg.k = v\\u0041\n";
  {
    CCgApiLock lock;
    ASSERT_TRUE(lock.ok());
    EXPECT_TRUE(ccgReadPropsFromBuffer(text.data(), text.size(), nullptr));
  }
  EXPECT_EQ(Prop("buf.cfg", "k"), "vA");
  EXPECT_TRUE(FromFile("buf.cfg"));
}

}  // namespace
