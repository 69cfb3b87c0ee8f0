// Logging calls: level names and tests, the events that the calls build from
// their marker lists, binding messages to text, and the two logger classes.
#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "tests/test_util.h"
#include "tis/tis.h"

namespace {

using testutil::Take;

using Strings = std::vector<std::string>;

// One event as a "test_sink" handler saw it.
struct Seen {
  std::string handler;
  std::string text;
  int32_t level = 0;
  bool isMessage = false;
  std::string messageId;
  std::vector<std::pair<std::string, std::string>> props;  // in the event's order

  std::string Prop(const std::string &key) const {
    for (const auto &p : props)
      if (p.first == key) return p.second;
    return "<absent>";
  }
};
std::vector<Seen> g_seen;


void Sink(CCgObject *handler, CCgEvent *event) {
  Seen s;
  s.handler = Take(CCgGetObjectName(handler));
  s.text = Take(CCgBindEventMsg(event, nullptr));
  s.level = CCgGetEventLevel(event);
  s.isMessage = CCgGetEventIsMessage(event) != 0;
  s.messageId = Take(CCgGetEventMessageId(event));
  s.props = event->properties.Entries();
  g_seen.push_back(std::move(s));
}

class LoggingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_seen.clear();
    ASSERT_TRUE(TisInit());
    TisSetMsgPath(testutil::BuildCatalogPath().c_str());
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    ASSERT_TRUE(CCgAddHandlerClass("test_sink", nullptr, nullptr, nullptr, nullptr, Sink, nullptr,
                                   nullptr));
    logger_ = LoggerWithSink("app.log", "ccg_basiclogger");
    CCgObject *errorLogger = CCgGetObject("cclog.errorLogger", nullptr);
    Attach(errorLogger, "app.errors");
    CCgReleaseObject(errorLogger);
  }
  void TearDown() override {
    CCgReleaseObject(logger_);
    CCgCloseToolkit();
    TisSetMsgPath("");
    TisShutdown();
  }

  static void Attach(CCgObject *logger, const char *sinkName) {
    CCgObject *sink = CCgGetObject(sinkName, "test_sink");
    CCgAddListener(logger, sink);
    CCgReleaseObject(sink);
  }
  static CCgObject *LoggerWithSink(const char *name, const char *className) {
    CCgObject *logger = CCgGetObject(name, className);
    Attach(logger, "app.sink");
    return logger;
  }
  // Texts seen by one sink.
  static Strings Texts(const char *handler) {
    Strings out;
    for (const Seen &s : g_seen)
      if (s.handler == handler) out.push_back(s.text);
    return out;
  }
  // Every kind of logging call, each with its own text.
  void LogEveryCall() {
    CCgLogFatal(logger_, nullptr, 0, 0, "fatal", CCG_PARM_END);
    CCgLogError(logger_, nullptr, 0, 0, "error", CCG_PARM_END);
    CCgLogWarn(logger_, nullptr, 0, 0, "warn", CCG_PARM_END);
    CCgLogInfo(logger_, nullptr, 0, 0, "info", CCG_PARM_END);
    CCgLogMsg(logger_, nullptr, 0, 0, "msg", CCG_PARM_END);
    CCgLogText(logger_, "text", CCG_PARM_END);
    CCgLogDebugMin(logger_, "f.cc", "fn", 1, "min", CCG_PARM_END);
    CCgLogDebugMid(logger_, "f.cc", "fn", 2, "mid", CCG_PARM_END);
    CCgLogDebugMax(logger_, "f.cc", "fn", 3, "max", CCG_PARM_END);
  }

  CCgObject *logger_ = nullptr;
};

TEST(LevelNames, KeywordsNumbersAndUnknownText) {
  const std::pair<const char *, int32_t> cases[] = {
      {"FATAL", 7000},     {"error", 6000},      {"WARN", 5000},      {"WARNING", 5000},
      {"Information", 4000}, {"DEBUG_MIN", 3000}, {"min", 3000},       {"DEBUG_MID", 2000},
      {"Mid", 2000},       {"debug_max", 1000},  {"MAXIMUM", 1000},   {"all", 0},
      {"OFF", 9999},       {"3500", 3500},       {"12abc", 12},       {"", 0},
      {"verbose", -9999},  {"debug", -9999},     {"WAR", -9999},
  };
  for (const auto &c : cases) EXPECT_EQ(CCgGetLevelFromString(c.first), c.second) << c.first;
  EXPECT_EQ(CCgGetLevelFromString(nullptr), CCG_LEVEL_UNSPECIFIED);
}

TEST_F(LoggingTest, LevelPropertyOfTheBasicLogger) {
  EXPECT_EQ(CCgGetObjectLevel(logger_), CCG_LEVEL_DEBUG_MIN);
  const std::pair<const char *, int32_t> cases[] = {
      {"debug_max", 1000}, {"3500", 3500}, {"", 0}, {"verbose", -9999}, {"Warning", 5000}};
  for (const auto &c : cases) {
    CCgSetObjProp(logger_, "level", c.first);
    EXPECT_EQ(CCgGetObjectLevel(logger_), c.second) << c.first;
  }
}

TEST_F(LoggingTest, LoggerAtWarnDropsInfoAndDebugCalls) {
  CCgSetObjProp(logger_, "level", "WARN");
  EXPECT_TRUE(CCgIsLoggable(logger_, CCG_LEVEL_WARN));
  EXPECT_TRUE(CCgIsLoggable(logger_, CCG_LEVEL_UNSPECIFIED));
  EXPECT_FALSE(CCgIsLoggable(logger_, CCG_LEVEL_INFO));
  LogEveryCall();
  EXPECT_EQ(Texts("app.sink"), (Strings{"fatal", "error", "warn", "msg", "text"}));
}

TEST_F(LoggingTest, VerboseLoggerPassesEveryCall) {
  CCgSetObjProp(logger_, "level", "verbose");
  EXPECT_EQ(CCgGetObjectLevel(logger_), CCG_LEVEL_UNSPECIFIED);
  LogEveryCall();
  EXPECT_EQ(Texts("app.sink"),
            (Strings{"fatal", "error", "warn", "info", "msg", "text", "min", "mid", "max"}));
  // Message calls make messages; text and debug calls make traces.
  ASSERT_EQ(g_seen.size(), 9u);
  const int32_t levels[] = {7000, 6000, 5000, 4000, -9999, -9999, 3000, 2000, 1000};
  for (size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(g_seen[i].level, levels[i]) << g_seen[i].text;
    EXPECT_EQ(g_seen[i].isMessage, i < 5) << g_seen[i].text;
  }
}

TEST_F(LoggingTest, DisabledLoggerPassesNothing) {
  CCgSetObjectEnabled(logger_, 0);
  EXPECT_FALSE(CCgIsLoggable(logger_, CCG_LEVEL_FATAL));
  LogEveryCall();
  EXPECT_TRUE(g_seen.empty());
}

TEST_F(LoggingTest, TypedMarkersBecomeMessageParameters) {
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_INFO, nullptr, 0, 0, "%2$d %1$s", CCG_PARM_STRING, "x",
                              CCG_PARM_INT, 5, CCG_PARM_END);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(CCgGetEventMessage(e)->parms.size(), 2u);
  EXPECT_TRUE(e->properties.Empty());
  EXPECT_EQ(Take(CCgBindEventMsg(e, nullptr)), "5 x");
  CCgFreeEvent(e);

  CCgLogMsg(logger_, nullptr, 0, 0, "%s|%d|%c|%.2f", CCG_PARM_STRING, "s", CCG_PARM_INT, -3,
            CCG_PARM_CHAR, 'c', CCG_PARM_DOUBLE, 0.25, CCG_PARM_END);
  EXPECT_EQ(Texts("app.sink"), Strings{"s|-3|c|0.25"});
}

TEST_F(LoggingTest, NamedValuesBecomeEventProperties) {
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_INFO, nullptr, 0, 0, "plain", CCG_PARM_NAMED, "user",
                              CCG_PARM_STRING, "bob", CCG_PARM_NAMED, "n", CCG_PARM_LONG,
                              INT64_C(0x100000007), CCG_PARM_NAMED, "ok", CCG_PARM_BOOL, 1,
                              CCG_PARM_END);
  ASSERT_NE(e, nullptr);
  EXPECT_TRUE(CCgGetEventMessage(e)->parms.empty());
  EXPECT_EQ(Take(CCgGetEventProp(e, "user", nullptr)), "bob");
  EXPECT_EQ(Take(CCgGetEventProp(e, "n", nullptr)), "7");  // low 32 bits, as for objects
  EXPECT_EQ(Take(CCgGetEventProp(e, "ok", nullptr)), "true");
  EXPECT_EQ(Take(CCgBindEventMsg(e, nullptr)), "plain");
  CCgFreeEvent(e);
}

TEST_F(LoggingTest, EventRecordsTimeAndWhetherItIsAMessage) {
  const auto now = [] {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
  };
  const uint64_t before = now();
  CCgEvent *trace = CCgAllocEvent(CCG_LEVEL_INFO, nullptr, 0, 0, "trace", CCG_PARM_END);
  CCgEvent *message = CCgAllocEvent(CCG_LEVEL_INFO, CCG_MSG_CATALOG, 1, 20, "m", CCG_PARM_END);
  const uint64_t after = now();
  EXPECT_GE(CCgGetEventTime(trace), before);
  EXPECT_LE(CCgGetEventTime(trace), after);
  EXPECT_FALSE(CCgGetEventIsMessage(trace));
  EXPECT_TRUE(CCgGetEventIsMessage(message));
  EXPECT_EQ(CCgGetEventLevel(message), CCG_LEVEL_INFO);
  EXPECT_EQ(CCgGetEventMessageId(message), nullptr);
  CCgFreeEvent(trace);
  CCgFreeEvent(message);
}

TEST_F(LoggingTest, LevelMarkerSetsTheEventLevel) {
  CCgLogMsg(logger_, nullptr, 0, 0, "%1$s", CCG_LEVEL_ERROR, CCG_PARM_STRING, "raised",
            CCG_PARM_END);
  ASSERT_EQ(g_seen.size(), 1u);
  EXPECT_EQ(g_seen[0].level, CCG_LEVEL_ERROR);
  EXPECT_EQ(g_seen[0].text, "raised");
}

// Four (int marker, value) pairs.
#define INTS4(n) CCG_PARM_INT, (n), CCG_PARM_INT, (n) + 1, CCG_PARM_INT, (n) + 2, CCG_PARM_INT, (n) + 3
#define INTS16(n) INTS4(n), INTS4((n) + 4), INTS4((n) + 8), INTS4((n) + 12)

TEST_F(LoggingTest, UnterminatedListIsCutAfter63Items) {
  // 64 typed items and no end marker.
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_INFO, nullptr, 0, 0, "%63$d", INTS16(1), INTS16(17),
                              INTS16(33), INTS16(49));
  ASSERT_NE(e, nullptr);
  const auto &parms = CCgGetEventMessage(e)->parms;
  ASSERT_EQ(parms.size(), 63u);
  EXPECT_EQ(parms.back().v.i, 63);
  EXPECT_EQ(Take(CCgBindEventMsg(e, nullptr)), "63");
  CCgFreeEvent(e);
  EXPECT_EQ(Texts("app.errors"),
            Strings{"CCGBC0070W The logging method parameter list did not end with a NULL."});
}

TEST_F(LoggingTest, UnknownMarkerStopsReadingAndKeepsThePartialEvent) {
  CCgLogWarn(logger_, nullptr, 0, 0, "kept %1$s", CCG_PARM_STRING, "this", 999, CCG_PARM_STRING,
             "lost", CCG_PARM_END);
  EXPECT_EQ(Texts("app.errors"),
            Strings{"CCGBC0071W The logging method's parameter list is missing type markers."});
  EXPECT_EQ(Texts("app.sink"), Strings{"kept this"});
  for (const Seen &s : g_seen) {
    if (s.handler == "app.errors") {
      EXPECT_EQ(s.level, CCG_LEVEL_ERROR);
    }
  }
}

TEST_F(LoggingTest, MissingParameterGivesTheUnformattedDefaultText) {
  CCgLogMsg(logger_, nullptr, 0, 0, "%1$s and %2$s", CCG_PARM_STRING, "one", CCG_PARM_END);
  // The catalog's template for key 1 wants a parameter: the default text is used as is.
  CCgLogMsg(logger_, CCG_MSG_CATALOG, CCG_MSG_SET, 1, "no %s listeners", CCG_PARM_END);
  EXPECT_EQ(Texts("app.sink"), (Strings{"%1$s and %2$s", "no %s listeners"}));
}

TEST_F(LoggingTest, CatalogMessagesBindTheCatalogText) {
  CCgLogError(logger_, CCG_MSG_CATALOG, CCG_MSG_SET, 20, "default text", CCG_PARM_END);
  CCgLogInfo(logger_, CCG_MSG_CATALOG, CCG_MSG_SET, 100, "default text", CCG_PARM_END);
  CCgLogError(logger_, CCG_MSG_CATALOG, CCG_MSG_SET, 1, "default %s", CCG_PARM_STRING, "L",
              CCG_PARM_END);
  CCgLogError(logger_, CCG_MSG_CATALOG, 7, 20, "no such set", CCG_PARM_END);
  CCgLogError(logger_, "no_such_catalog", 1, 20, "no such %s", CCG_PARM_STRING, "catalog",
              CCG_PARM_END);
  EXPECT_EQ(Texts("app.sink"),
            (Strings{"CCGBC0020E Out of memory.", "Logger for basic messages",
                     "CCGLG01E No listeners are registered with the logger L.", "no such set",
                     "no such catalog"}));
}

TEST_F(LoggingTest, DebugCallsRecordTheSourceLocation) {
  CCgSetObjProp(logger_, "level", "ALL");
  CCgLogDebugMin(logger_, "src/a.cc", "Run", 42, "both", CCG_PARM_END);
  CCgLogDebugMid(logger_, nullptr, "Run", 43, "no file", CCG_PARM_END);
  CCgLogDebugMax(logger_, "src/b.cc", nullptr, 44, "no function", CCG_PARM_END);
  ASSERT_EQ(g_seen.size(), 3u);
  EXPECT_EQ(g_seen[0].Prop(CCG_PROP_SRCFILE), "src/a.cc");
  EXPECT_EQ(g_seen[0].Prop(CCG_PROP_SRCLINE), "42");
  EXPECT_EQ(g_seen[0].Prop(CCG_PROP_SRCFUNCTION), "Run");
  EXPECT_EQ(g_seen[1].Prop(CCG_PROP_SRCFILE), "<absent>");
  EXPECT_EQ(g_seen[1].Prop(CCG_PROP_SRCLINE), "<absent>");
  EXPECT_EQ(g_seen[1].Prop(CCG_PROP_SRCFUNCTION), "Run");
  EXPECT_EQ(g_seen[2].Prop(CCG_PROP_SRCFILE), "src/b.cc");
  EXPECT_EQ(g_seen[2].Prop(CCG_PROP_SRCLINE), "44");
  EXPECT_EQ(g_seen[2].Prop(CCG_PROP_SRCFUNCTION), "<absent>");
}

TEST_F(LoggingTest, QDLoggerStampsProductDataAndTheMessageId) {
  CCgObject *qd = LoggerWithSink("app.qd", "ccg_qdlogger");
  ASSERT_NE(qd, nullptr);
  // Set out of order: the event still gets them in the class's order.
  const char *fields[][2] = {{"productInstance", "pi-1"}, {"client", "cli"},
                             {"organization", "org"},     {"serverFormat", "DNS"},
                             {"component", "comp"},       {"server", "srv.example"},
                             {"product", "prod"}};
  for (const auto &f : fields) CCgSetObjProp(qd, f[0], f[1]);
  CCgLogError(qd, nullptr, 0, 0, "KZTCC0001E Disk %1$s failed.", CCG_PARM_STRING, "sda",
              CCG_PARM_END);
  CCgLogInfo(qd, nullptr, 0, 0, "no identifier here", CCG_PARM_END);
  ASSERT_EQ(g_seen.size(), 2u);
  Strings keys;
  for (const auto &p : g_seen[0].props) keys.push_back(p.first);
  EXPECT_EQ(keys, (Strings{"organization", "product", "component", "client", "server",
                           "serverFormat", "productInstance", "processId", "threadId"}));
  EXPECT_EQ(g_seen[0].Prop("organization"), "org");
  EXPECT_EQ(g_seen[0].Prop("server"), "srv.example");
  EXPECT_EQ(g_seen[0].Prop("serverFormat"), "DNS");
  EXPECT_EQ(g_seen[0].Prop("processId"), std::to_string(static_cast<int32_t>(getpid())));
  EXPECT_EQ(g_seen[0].Prop("threadId"), std::to_string(static_cast<int32_t>(gettid())));
  EXPECT_EQ(g_seen[0].messageId, "KZTCC0001E");
  EXPECT_EQ(g_seen[0].text, "KZTCC0001E Disk sda failed.");
  EXPECT_EQ(g_seen[1].messageId, "");
  CCgReleaseObject(qd);
}

TEST_F(LoggingTest, QDLoggerDefaultsToTheHostNameInIPFormat) {
  CCgObject *qd = LoggerWithSink("app.qd2", "ccg_qdlogger");
  ASSERT_NE(qd, nullptr);
  CCgLogWarn(qd, nullptr, 0, 0, "hello", CCG_PARM_END);
  ASSERT_EQ(g_seen.size(), 1u);
  EXPECT_EQ(g_seen[0].Prop("serverFormat"), "IP");
  EXPECT_NE(g_seen[0].Prop("server"), "<absent>");
  EXPECT_FALSE(g_seen[0].Prop("server").empty());
  EXPECT_EQ(g_seen[0].Prop("organization"), "<absent>");
  // "level" still reaches the basic handling.
  CCgSetObjProp(qd, "level", "ERROR");
  EXPECT_EQ(CCgGetObjectLevel(qd), CCG_LEVEL_ERROR);
  CCgReleaseObject(qd);
}

}  // namespace
