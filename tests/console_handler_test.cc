// The console handler: header on the first event, one record per event and the
// trailer on close, all on standard output.

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "cclog.h"
#include "tests/test_util.h"

namespace {

using testutil::LineFormat;
using testutil::LineHeader;
using testutil::LineTrailer;

int g_passedOn = 0;
void CountProcess(CCgObject *, CCgEvent *) { ++g_passedOn; }

TEST(ConsoleHandlerTest, HeaderRecordsTrailer) {
  ASSERT_TRUE(CCgOpenToolkit(nullptr));
  CCgAddFormatterClass("console_test_formatter", nullptr, nullptr, nullptr, nullptr, LineFormat,
                       LineHeader, LineTrailer, nullptr);
  CCgAddHandlerClass("console_test_counter", nullptr, nullptr, nullptr, nullptr, CountProcess,
                     nullptr, nullptr);
  CCgObject *fmt = CCgGetObject("console.fmt", "console_test_formatter");
  CCgObject *console = CCgGetObject("console.out", "ccg_consolehandler");
  CCgObject *counter = CCgGetObject("console.counter", "console_test_counter");
  CCgObject *logger = CCgGetObject("console.logger", "ccg_basiclogger");
  ASSERT_TRUE(fmt && console && counter && logger);
  CCgSetObjProp(console, "formatterName", "console.fmt");
  CCgAddListener(logger, console);
  CCgAddListener(console, counter);

  testing::internal::CaptureStdout();
  CCgLogText(logger, "first", CCG_PARM_END);
  CCgLogText(logger, "second", CCG_PARM_END);
  CCgSetObjProp(console, "logging", "off");
  CCgLogText(logger, "dropped", CCG_PARM_END);
  // The last release closes the handler.
  CCgRemListener(logger, console);
  CCgReleaseObject(console);
  std::string out = testing::internal::GetCapturedStdout();

  EXPECT_EQ(out, "HEADER\nfirst\nsecond\nTRAILER\n");
  EXPECT_EQ(g_passedOn, 2);
  CCgReleaseObject(counter);
  CCgReleaseObject(logger);
  CCgReleaseObject(fmt);
  CCgCloseToolkit();
}

}  // namespace
