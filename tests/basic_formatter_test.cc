// The basic formatter's record and date text, and the trace formatter's line.
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "tis/tis.h"

namespace {

// 2006-04-13 10:55:24.042 UTC (summer time in Europe) and 2006-01-15 08:00:00 UTC.
constexpr uint64_t kApril = 1144925724042ULL;
constexpr uint64_t kJanuary = 1137312000000ULL;

void SetTz(const char *tz) {
  setenv("TZ", tz, 1);
  tzset();
}

std::string Take(char *text) {
  std::string s = text ? text : "<null>";
  CCgFree(text);
  return s;
}

CCgEvent *Trace(int32_t level, const char *text, uint64_t time = kApril) {
  CCgEvent *e = CCgAllocEvent(level, nullptr, 0, 0, text, CCG_PARM_END);
  CCgSetEventIsMessage(e, 0);
  CCgSetEventTime(e, time);
  return e;
}

class FormatterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetTz("UTC0");
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
  }
  void TearDown() override {
    for (CCgObject *f : formatters_) CCgReleaseObject(f);
    CCgCloseToolkit();
    SetTz("UTC0");
  }
  CCgObject *Make(const char *name, const char *cls) {
    CCgObject *f = CCgGetObject(name, cls);
    if (f != nullptr) formatters_.push_back(f);
    return f;
  }
  std::string Date(CCgObject *f, uint64_t time) {
    CCgApiLock lock;
    return CCgBasicFormatterFormatDate(f, time);
  }
  std::string Format(CCgObject *f, CCgEvent *e) {
    CCgApiLock lock;
    return Take(f->cls->format(f, e));
  }

  std::vector<CCgObject *> formatters_;
};

TEST_F(FormatterTest, BasicRecordOfADebugTrace) {
  CCgObject *f = Make("fmt.basic", "ccg_basicformatter");
  ASSERT_NE(f, nullptr);
  CCgSetObjProp(f, "separator", " | ");
  CCgEvent *e = Trace(CCG_LEVEL_DEBUG_MIN, "hello");
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "a.c");
  CCgSetEventProp(e, CCG_PROP_SRCFUNCTION, "f");
  CCgSetEventPropInt(e, CCG_PROP_SRCLINE, 12);
  EXPECT_EQ(Format(f, e), "2006-04-13 10:55:24.042+00:00 | a.c | f | 12 | hello\n");
  CCgFreeEvent(e);

  CCgApiLock lock;
  EXPECT_EQ(CCgBasicFormatterFGetHeader(f), nullptr);
  EXPECT_EQ(CCgBasicFormatterFGetTrailer(f), nullptr);
}

TEST_F(FormatterTest, BasicRecordFieldsInFixedOrderWithDefaultSeparator) {
  CCgObject *f = Make("fmt.basic", "ccg_basicformatter");
  ASSERT_NE(f, nullptr);
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_WARN, nullptr, 0, 0, "%1$s has %2$d entries",
                              CCG_PARM_STRING, "queue", CCG_PARM_INT, 7, CCG_PARM_END);
  CCgSetEventTime(e, kApril);
  // Set in an order unlike the record's; properties outside the record's list
  // and a source line that is not a number are not written.
  CCgSetEventProp(e, "server", "srv1");
  CCgSetEventProp(e, "threadId", "99");
  CCgSetEventProp(e, "client", "alice");
  CCgSetEventProp(e, "component", "cache");
  CCgSetEventProp(e, "product", "zovexa");
  CCgSetEventProp(e, "organization", "Acme");
  CCgSetEventProp(e, "productInstance", "inst7");
  CCgSetEventProp(e, CCG_PROP_SRCLINE, "twelve");
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "q.cc");
  EXPECT_EQ(Format(f, e),
            "2006-04-13 10:55:24.042+00:00 q.cc Acme zovexa cache alice srv1 queue has 7 entries\n");

  // An empty separator joins the fields directly.
  CCgSetObjProp(f, "separator", "");
  EXPECT_EQ(Format(f, e),
            "2006-04-13 10:55:24.042+00:00q.ccAcmezovexacachealicesrv1queue has 7 entries\n");
  CCgFreeEvent(e);
}

TEST_F(FormatterTest, BuiltInDateInSeveralZones) {
  CCgObject *f = Make("fmt.basic", "ccg_basicformatter");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(Date(f, kApril), "2006-04-13 10:55:24.042+00:00");
  EXPECT_EQ(Date(f, kJanuary), "2006-01-15 08:00:00.000+00:00");
  EXPECT_EQ(Date(f, kJanuary + 999), "2006-01-15 08:00:00.999+00:00");

  SetTz("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(Date(f, kApril), "2006-04-13 12:55:24.042+02:00");
  EXPECT_EQ(Date(f, kJanuary), "2006-01-15 09:00:00.000+01:00");

  // West of Greenwich, with half hours: the sign goes on the hours only.
  SetTz("NST3:30NDT,M3.2.0,M11.1.0");
  EXPECT_EQ(Date(f, kApril), "2006-04-13 08:25:24.042-02:30");
  EXPECT_EQ(Date(f, kJanuary), "2006-01-15 04:30:00.000-03:30");
  SetTz("IST-5:30");
  EXPECT_EQ(Date(f, kApril), "2006-04-13 16:25:24.042+05:30");

  // Within one second the text changes with the milliseconds and the zone.
  EXPECT_EQ(Date(f, kApril + 1), "2006-04-13 16:25:24.043+05:30");
  SetTz("UTC0");
  EXPECT_EQ(Date(f, kApril + 2), "2006-04-13 10:55:24.044+00:00");
}

TEST_F(FormatterTest, DateTimeFormatAndLocale) {
  CCgObject *f = Make("fmt.basic", "ccg_basicformatter");
  ASSERT_NE(f, nullptr);
  CCgSetObjProp(f, "dateTimeFormat", "%A %d %B %Y, %H:%M");
  EXPECT_EQ(Date(f, kApril), "Thursday 13 April 2006, 10:55");

  // A result that does not fit the 128-byte limit leaves the date empty.
  CCgSetObjProp(f, "dateTimeFormat", std::string(100, 'x').append("%A%A%A%A%A%A").c_str());
  EXPECT_EQ(Date(f, kApril), "");
  CCgEvent *e = Trace(CCG_LEVEL_INFO, "hello");
  EXPECT_EQ(Format(f, e), " hello\n");

  CCgSetObjProp(f, "dateTimeFormat", "%A");
  CCgSetObjProp(f, "locale", "de_DE.UTF-8");
  if (f->locale != nullptr) {
    EXPECT_EQ(Date(f, kApril), "Donnerstag");
    // The locale is lent to the event only while it is formatted.
    EXPECT_EQ(Format(f, e), "Donnerstag hello\n");
    EXPECT_EQ(e->locale, nullptr);
    EXPECT_EQ(e->message.locale, nullptr);
  }
  // A locale that is not installed leaves the formatter with none.
  CCgSetObjProp(f, "locale", "xx_NOWHERE.none");
  EXPECT_EQ(f->locale, nullptr);
  EXPECT_EQ(Date(f, kApril), "Thursday");
  CCgFreeEvent(e);
}

TEST_F(FormatterTest, TraceLineLayout) {
  CCgObject *f = Make("fmt.trace", "ccg_nortraceformatter");
  ASSERT_NE(f, nullptr);
  CCgEvent *e = Trace(CCG_LEVEL_DEBUG_MID, "drained 3");
  CCgSetEventProp(e, "server", "host1");
  CCgSetEventPropLong(e, "processId", 4711);
  CCgSetEventPropLong(e, "threadId", 4712);
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "queue.cc");
  CCgSetEventProp(e, CCG_PROP_SRCFUNCTION, "drain");
  CCgSetEventPropInt(e, CCG_PROP_SRCLINE, 88);
  EXPECT_EQ(Format(f, e),
            "2006-04-13 10:55:24.042+00:00  MID  host1 4711 4712 queue.cc.drain.88 - drained 3\n");
  CCgFreeEvent(e);

  // Missing fields are dashes; a partial location joins only what is there.
  e = Trace(CCG_LEVEL_UNSPECIFIED, "plain");
  EXPECT_EQ(Format(f, e), "2006-04-13 10:55:24.042+00:00 OTHER - - - - - plain\n");
  CCgSetEventProp(e, CCG_PROP_SRCFUNCTION, "drain");
  CCgSetEventPropInt(e, CCG_PROP_SRCLINE, 9);
  CCgSetEventProp(e, "processId", "not-a-number");
  EXPECT_EQ(Format(f, e), "2006-04-13 10:55:24.042+00:00 OTHER - - - drain.9 - plain\n");
  CCgFreeEvent(e);

  const struct {
    int32_t level;
    const char *word;
  } words[] = {{1000, " MAX "}, {2000, " MID "}, {3000, " MIN "}, {4000, "INFO "},
               {5000, "WARN "}, {6000, "ERROR"}, {7000, "ERROR"}, {3500, "OTHER"}};
  for (const auto &w : words) {
    e = Trace(w.level, "t");
    EXPECT_EQ(Format(f, e).substr(29, 7), std::string(" ") + w.word + " ") << w.level;
    CCgFreeEvent(e);
  }
}

}  // namespace
