// Filters: pattern matching, the level filter and the message-ID filter with
// its modes and repeat suppression.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "tests/test_util.h"

namespace {

using testutil::Take;

using Strings = std::vector<std::string>;

Strings g_errors;  // texts written by the toolkit error logger
Strings g_passed;  // texts that reached the end of a filter chain


void KeepText(CCgObject *handler, CCgEvent *event) {
  std::string name = Take(CCgGetObjectName(handler));
  (name == "test.errors" ? g_errors : g_passed).push_back(Take(CCgBindEventMsg(event, nullptr)));
}

TEST(PatternMatch, StarsStandForAnyRun) {
  struct Case {
    const char *pattern;
    const char *text;
    bool match;
  };
  const Case cases[] = {
      {"KZT*", "KZTCC0001E", true},  {"*E", "KZTCC0001E", true},  {"A*B", "AxB", true},
      {"AB", "ABC", false},          {"AB", "AB", true},          {"*W", "CCGWH0094W", false},
      {"*W", "KZTCC0001W", true},    {"***", "anything", true},   {"***", "", true},
      {"A*", "A", true},             {"A*B*", "AxByz", true},     {"A*B*", "AB", true},
      {"A*B*", "Ax", false},         {"*B*", "B", true},          {"A*A", "A", false},
      {"A*A", "AA", true},           {"AB*BC", "ABC", false},     {"ABC*", "AB", false},
      {"*x*y", "axbxcy", true},      {"KZT*E", "KZTCC0001W", false},
  };
  for (const Case &c : cases)
    EXPECT_EQ(CCgPatternMatch(c.pattern, c.text) != 0, c.match) << c.pattern << " / " << c.text;
}

class FilterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_errors.clear();
    g_passed.clear();
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    ASSERT_TRUE(CCgAddHandlerClass("test_keep", nullptr, nullptr, nullptr, nullptr, KeepText,
                                   nullptr, nullptr));
    CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
    CCgObject *capture = CCgGetObject("test.errors", "test_keep");
    CCgAddListener(errorLogger, capture);
    CCgReleaseObject(capture);
    CCgReleaseObject(errorLogger);
  }
  void TearDown() override {
    for (CCgObject *o : held_) CCgReleaseObject(o);
    CCgCloseToolkit();
  }

  CCgObject *Get(const char *name, const char *className) {
    CCgObject *o = CCgGetObject(name, className);
    EXPECT_NE(o, nullptr) << name;
    held_.push_back(o);
    return o;
  }
  // Whether the filter passes an event of that level and text at that time.
  static bool Passes(CCgObject *filter, int32_t level, const char *text, uint64_t time = 0) {
    CCgEvent *e = CCgAllocEvent(level, nullptr, 0, 0, text, CCG_PARM_END);
    if (time != 0) CCgSetEventTime(e, time);
    bool passes = CCgIsLoggableByFilter(filter, e) != 0;
    CCgFreeEvent(e);
    return passes;
  }

  std::vector<CCgObject *> held_;
};

TEST_F(FilterTest, LevelFilterComparesTheEventLevel) {
  CCgObject *f = Get("f.level", "ccg_levelfilter");
  // No "level" property: everything passes.
  EXPECT_TRUE(Passes(f, CCG_LEVEL_DEBUG_MAX, "max"));
  EXPECT_TRUE(Passes(f, -100, "below all"));
  CCgSetObjProp(f, "level", "5000");
  EXPECT_FALSE(Passes(f, CCG_LEVEL_INFO, "info"));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_WARN, "warn"));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "error"));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_UNSPECIFIED, "unspecified"));
  // Level 0 passes all, even an event below it; level 1 does not.
  CCgSetObjProp(f, "level", "ALL");
  EXPECT_TRUE(Passes(f, -100, "below all"));
  CCgSetObjProp(f, "level", "1");
  EXPECT_FALSE(Passes(f, -100, "below all"));
  CCgSetObjProp(f, "level", "verbose");
  EXPECT_TRUE(Passes(f, -100, "below all"));
  // Only filters answer.
  EXPECT_FALSE(Passes(Get("not.a.filter", "ccg_basiclogger"), CCG_LEVEL_FATAL, "fatal"));
}

TEST_F(FilterTest, LevelFilterInALoggerChain) {
  CCgObject *logger = Get("chain", "ccg_basiclogger");
  CCgObject *filter = Get("chain.filter", "ccg_levelfilter");
  CCgObject *sink = Get("chain.sink", "test_keep");
  CCgSetObjProp(logger, "level", "ALL");
  CCgSetObjProp(filter, "level", "WARN");
  CCgAddListener(logger, filter);
  CCgAddListener(filter, sink);
  CCgLogInfo(logger, nullptr, 0, 0, "info", CCG_PARM_END);
  CCgLogError(logger, nullptr, 0, 0, "error", CCG_PARM_END);
  CCgLogText(logger, "text", CCG_PARM_END);
  CCgLogDebugMin(logger, nullptr, nullptr, 0, "debug", CCG_PARM_END);
  EXPECT_EQ(g_passed, (Strings{"error", "text"}));
  // A disabled filter passes nothing on; a filter without listeners is silent.
  CCgSetObjProp(filter, "logging", "off");
  CCgLogError(logger, nullptr, 0, 0, "blocked", CCG_PARM_END);
  CCgSetObjProp(filter, "logging", "on");
  CCgRemListener(filter, sink);
  CCgLogError(logger, nullptr, 0, 0, "nowhere", CCG_PARM_END);
  EXPECT_EQ(g_passed, (Strings{"error", "text"}));
  EXPECT_TRUE(g_errors.empty());
}

TEST_F(FilterTest, MessageIdFilterBlocksWarningsAndInformationByDefault) {
  CCgObject *f = Get("f.ids", "ccg_msgidfilter");
  EXPECT_FALSE(Passes(f, CCG_LEVEL_WARN, "KZTCC0001W Disk almost full."));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "KZTCC0001E Disk failed."));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_INFO, "KZTCC0001I Disk found."));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_INFO, "no identifier at all"));
  // "*W" matches only where the first W ends the identifier.
  EXPECT_TRUE(Passes(f, CCG_LEVEL_WARN, "CCGWH0094W Channel lost."));

  // The identifier is computed once and stored on the event.
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_WARN, nullptr, 0, 0, "KZTCC0002W Hot.", CCG_PARM_END);
  EXPECT_FALSE(CCgIsLoggableByFilter(f, e));
  EXPECT_EQ(Take(CCgGetEventMessageId(e)), "KZTCC0002W");
  // An identifier already on the event wins over the text.
  CCgSetEventMessageId(e, "KZTCC0002E");
  EXPECT_TRUE(CCgIsLoggableByFilter(f, e));
  CCgFreeEvent(e);
}

TEST_F(FilterTest, MessageIdFilterInPassThroughMode) {
  CCgObject *f = Get("f.pass", "ccg_msgidfilter");
  CCgSetObjProp(f, "mode", "passthru");
  CCgSetObjProp(f, "msgIds", " KZT*E\t*0042I\r\n");
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "KZTCC0001E Disk failed."));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_WARN, "KZTCC0001W Disk almost full."));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_INFO, "ABCDE0042I Ready."));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_INFO, "no identifier at all"));
  EXPECT_TRUE(g_errors.empty());

  // An unknown mode is reported and falls back to BLOCK.
  CCgSetObjProp(f, "mode", "sideways");
  EXPECT_EQ(g_errors, Strings{"CCGFF0020W The property 'mode' for message ID filter f.pass was "
                              "set to unknown value sideways. Expected values are 'BLOCK' or "
                              "'PASSTHRU'."});
  EXPECT_FALSE(Passes(f, CCG_LEVEL_ERROR, "KZTCC0001E Disk failed."));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_WARN, "KZTCC0001W Disk almost full."));
  CCgSetObjProp(f, "mode", "PassThru");
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "KZTCC0001E Disk failed."));
  EXPECT_EQ(g_errors.size(), 1u);
}

TEST_F(FilterTest, RepeatedIdentifierIsDroppedWithinTheRepeatTime) {
  CCgObject *f = Get("f.repeat", "ccg_msgidfilter");
  CCgSetObjProp(f, "msgIdRepeatTime", "60000");
  const uint64_t t0 = UINT64_C(1700000000000);
  const char *disk = "KZTCC0001E Disk failed.";
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, disk, t0));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 30000));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "KZTCC0002E Fan failed.", t0 + 30000));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 59999));
  // The interval runs from the last event that passed, not the last one seen.
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 60000));
  EXPECT_FALSE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 60001));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 120000));
  // Events without an identifier are never suppressed.
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "plain", t0 + 120000));
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, "plain", t0 + 120001));
  // A value that is not a number leaves the repeat time as it was.
  CCgSetObjProp(f, "msgIdRepeatTime", "soon");
  EXPECT_FALSE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 150000));
  CCgSetObjProp(f, "msgIdRepeatTime", "0");
  EXPECT_TRUE(Passes(f, CCG_LEVEL_ERROR, disk, t0 + 150001));
}

}  // namespace
