// Many threads logging through one logger into one file handler (with the
// basic formatter and rollover): every record arrives once and whole.

#include <cstdio>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "tests/test_util.h"

namespace {

using testutil::FileExists;
using testutil::ReadFile;
using testutil::SplitLines;

constexpr int kThreads = 8;
constexpr int kRecords = 2000;
constexpr int kMaxFiles = 100;

TEST(FileHandlerThreadsTest, ConcurrentRecordsArriveOnceAndWhole) {
  testutil::TempDir dir;
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  CCgObject *handler = CCgGetObject("threads.file", "ccg_filehandler");
  CCgObject *logger = CCgGetObject("threads.logger", "ccg_basiclogger");
  ASSERT_TRUE(handler != nullptr && logger != nullptr);
  CCgSetObjProp(handler, "fileName", dir.File("threads.log").c_str());
  CCgSetObjProp(handler, "maxFileBytes", "65536");
  CCgSetObjPropInt(handler, "maxFiles", kMaxFiles);
  CCgAddListener(logger, handler);

  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([logger, t] {
      char text[96];
      for (int i = 0; i < kRecords; ++i) {
        std::snprintf(text, sizeof text, "thread %d rec %d %s", t, i, "yyyyyyyyyyyyyyyyyyyyyyyyyyyyyyyy");
        CCgLogText(logger, text, CCG_PARM_END);
      }
    });
  }
  for (std::thread &t : threads) t.join();
  CCgReleaseObject(logger);
  CCgReleaseObject(handler);
  CCgCloseToolkit();

  // The basic record: the date text, a space, the message.
  const std::regex record("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:.+-]+ thread ([0-9]+) rec ([0-9]+) y{32}");
  std::vector<std::vector<int>> seen(kThreads, std::vector<int>(kRecords, 0));
  int files = 0;
  for (int n = 0; n < kMaxFiles; ++n) {
    std::string name = dir.File(n == 0 ? "threads.log" : "threads" + std::to_string(n) + ".log");
    if (!FileExists(name)) continue;
    ++files;
    for (const std::string &line : SplitLines(ReadFile(name))) {
      std::smatch m;
      ASSERT_TRUE(std::regex_match(line, m, record)) << name << ": '" << line << "'";
      int t = std::stoi(m[1]), i = std::stoi(m[2]);
      ASSERT_TRUE(t < kThreads && i < kRecords) << line;
      ++seen[t][i];
    }
  }
  EXPECT_GT(files, 2);  // rollover happened while threads were writing
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kRecords; ++i) EXPECT_EQ(seen[t][i], 1) << "thread " << t << " rec " << i;
}

}  // namespace
