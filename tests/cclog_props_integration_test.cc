// End to end through the public interface: a properties file wires a logger
// to a rolling file handler with an XML formatter, and the records land, in
// order and whole, across the active file and its backups.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "cclog.h"
#include "tests/test_util.h"

namespace {

// The sequence numbers of the "record <n>" log texts in a file, in file order.
std::vector<int> recordNumbers(const std::string &text) {
  std::vector<int> numbers;
  std::regex re(R"(<LogText><!\[CDATA\[record (\d+)\]\]></LogText>)");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), re); it != std::sregex_iterator(); ++it)
    numbers.push_back(std::stoi((*it)[1]));
  return numbers;
}

TEST(PropertiesIntegration, LoggerToRollingFileWithXmlFormatter) {
  testutil::TempDir dir;
  std::string props = dir.File("logging.properties");
  testutil::WriteFile(props,
                      "# trace of the audit client\n"
                      "trace.className = ccg_basiclogger\n"
                      "trace.level = DEBUG_MID\n"
                      "trace.listenerNames = traceFile\n"
                      "traceFile.className : ccg_filehandler\n"
                      "traceFile.fileName = " + dir.File("logs/trace.log") + "\n"
                      "traceFile.maxFileBytes 1500\n"
                      "traceFile.maxFiles = 3\n"
                      "traceFile.formatterName = traceXml\n"
                      "traceXml.className = ccg_xmlformatter\n");
  ASSERT_TRUE(CCgOpenToolkit(props.c_str()));
  CCgObject *trace = CCgGetObject("trace", nullptr);
  ASSERT_NE(trace, nullptr);
  char *cls = CCgGetObjectClassName(trace);
  EXPECT_STREQ(cls, "ccg_basiclogger");
  CCgFree(cls);
  EXPECT_EQ(CCgGetObjectLevel(trace), CCG_LEVEL_DEBUG_MID);

  const int kRecords = 60;
  for (int i = 0; i < kRecords; ++i)
    CCgLogDebugMid(trace, "capis/client.cc", "[processQueue]", 100 + i, "record %d", CCG_PARM_INT, i,
                   CCG_PARM_END);
  CCgLogDebugMax(trace, "capis/client.cc", "[processQueue]", 1, "record 999", CCG_PARM_END);
  CCgReleaseObject(trace);
  CCgCloseToolkit();

  std::string active = testutil::ReadFile(dir.File("logs/trace.log"));
  std::string backup1 = testutil::ReadFile(dir.File("logs/trace1.log"));
  std::string backup2 = testutil::ReadFile(dir.File("logs/trace2.log"));
  EXPECT_FALSE(testutil::FileExists(dir.File("logs/trace3.log")));
  ASSERT_FALSE(backup2.empty());

  // Oldest first: backup 2, backup 1, the active file; consecutive numbers
  // ending with the last record written, nothing below the level.
  std::vector<int> all;
  for (const std::string *f : {&backup2, &backup1, &active}) {
    std::vector<int> n = recordNumbers(*f);
    EXPECT_FALSE(n.empty());
    all.insert(all.end(), n.begin(), n.end());
  }
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back(), kRecords - 1);
  for (size_t i = 1; i < all.size(); ++i) EXPECT_EQ(all[i], all[i - 1] + 1);
  EXPECT_LT(all.size(), static_cast<size_t>(kRecords));  // the oldest rolled away

  // Every record is a whole XML trace element with its source.
  EXPECT_NE(active.find("<Trace Level=\"MID\">\n"), std::string::npos);
  EXPECT_NE(active.find(" <Source FileName=\"capis/client.cc\" Method=\"[processQueue]\" Line=\"159\"/>\n"),
            std::string::npos);
  size_t opens = 0, closes = 0;
  for (size_t p = 0; (p = active.find("<Trace ", p)) != std::string::npos; ++p) ++opens;
  for (size_t p = 0; (p = active.find("</Trace>\n", p)) != std::string::npos; ++p) ++closes;
  EXPECT_EQ(opens, closes);
  EXPECT_EQ(opens, recordNumbers(active).size());
}

// A handler named under its logger inherits the logger's "listenerNames" and
// would list itself; the record must still be written exactly once.
TEST(PropertiesIntegration, HandlerNamedUnderItsLoggerIsNotItsOwnListener) {
  testutil::TempDir dir;
  std::string props = dir.File("nested.properties");
  testutil::WriteFile(props,
                      "app.className = ccg_basiclogger\n"
                      "app.listenerNames = app.file\n"
                      "app.file.className = ccg_filehandler\n"
                      "app.file.fileName = " + dir.File("app.log") + "\n");
  ASSERT_TRUE(CCgOpenToolkit(props.c_str()));
  CCgObject *app = CCgGetObject("app", nullptr);
  ASSERT_NE(app, nullptr);
  CCgLogInfo(app, nullptr, 0, 0, "once", CCG_PARM_END);
  CCgReleaseObject(app);
  CCgCloseToolkit();
  std::vector<std::string> lines = testutil::SplitLines(testutil::ReadFile(dir.File("app.log")));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find(" once"), std::string::npos);
}

TEST(PropertiesIntegration, UnreadableFileFailsTheOpen) {
  testutil::TempDir dir;
  std::string props = dir.File("bad.properties");
  testutil::WriteFile(props, "nodot = 1\n");
  testing::internal::CaptureStderr();
  EXPECT_FALSE(CCgOpenToolkit(props.c_str()));
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, "CCG0051E The log manager could not read the properties file " + props + ".\n");
  // The failed open left nothing behind: a plain open works.
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  EXPECT_FALSE(CCgLogMgrHasCfg("nodot"));
  CCgCloseToolkit();
}

}  // namespace
