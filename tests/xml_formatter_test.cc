// The XML formatter's records, compared byte for byte.
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

constexpr uint64_t kApril = 1144925724042ULL;  // 2006-04-13 10:55:24.042 UTC
const std::string kTime =
    " <Time Millis=\"1144925724042\">2006-04-13 10:55:24.042+00:00</Time>\n";
const std::string kNoSource = " <Source FileName=\"None\" Method=\"None\"/>\n";

std::string Take(char *text) {
  std::string s = text ? text : "<null>";
  CCgFree(text);
  return s;
}

CCgEvent *Event(int32_t level, bool isMessage, const char *text) {
  CCgEvent *e = CCgAllocEvent(level, nullptr, 0, 0, text, CCG_PARM_END);
  CCgSetEventIsMessage(e, isMessage);
  CCgSetEventTime(e, kApril);
  return e;
}

// The first line of a record (its opening element).
std::string Opening(const std::string &record) { return record.substr(0, record.find('\n') + 1); }

class XmlFormatterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC0", 1);
    tzset();
    ASSERT_TRUE(CCgOpenToolkit(nullptr));
    fmt_ = CCgGetObject("fmt.xml", "ccg_xmlformatter");
    ASSERT_NE(fmt_, nullptr);
  }
  void TearDown() override {
    CCgReleaseObject(fmt_);
    CCgCloseToolkit();
  }
  std::string Format(CCgEvent *e) {
    CCgApiLock lock;
    return Take(CCgQDXMLFormatterFFormat(fmt_, e));
  }
  void Header() {
    CCgApiLock lock;
    EXPECT_EQ(CCgQDXMLFormatterFGetHeader(fmt_), nullptr);
  }

  CCgObject *fmt_ = nullptr;
};

TEST_F(XmlFormatterTest, FullMessageRecord) {
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_ERROR, "zvxnocat", 3, 17,
                              "KZTCC0017E Volume %1$s is %2$d%% full.", CCG_PARM_STRING, "disk0",
                              CCG_PARM_INT, 97, CCG_PARM_LONG, int64_t{-7}, CCG_PARM_DOUBLE, 2.5,
                              CCG_PARM_FLOAT, 0.25, CCG_PARM_CHAR, 'x', CCG_PARM_BOOL, 1,
                              CCG_PARM_END);
  CCgSetEventTime(e, kApril);
  CCgSetEventProp(e, "organization", "Acme");
  CCgSetEventProp(e, "server", "srv1");
  CCgSetEventProp(e, "serverFormat", "IP");
  CCgSetEventProp(e, "product", "zovexa");
  CCgSetEventProp(e, "component", "queue");
  CCgSetEventProp(e, "productInstance", "inst7");
  CCgSetEventProp(e, "user", "bob");
  CCgSetEventProp(e, "correlationId", "corr-9");
  CCgSetEventProp(e, "client", "alice");
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "q.cc");
  CCgSetEventProp(e, CCG_PROP_SRCFUNCTION, "drain");
  CCgSetEventPropInt(e, CCG_PROP_SRCLINE, 88);
  CCgSetEventPropLong(e, "processId", 4711);
  CCgSetEventPropLong(e, "threadId", 4712);

  EXPECT_EQ(Format(e),
            "<Message Id=\"KZTCC0017E\" Severity=\"ERROR\">\n" + kTime +
                " <Server Format=\"IP\">srv1</Server>\n"
                " <ProductId>zovexa</ProductId>\n"
                " <Component>queue</Component>\n"
                " <ProductInstance>inst7</ProductInstance>\n"
                " <LogText><![CDATA[KZTCC0017E Volume disk0 is 97% full.]]></LogText>\n"
                " <LogAttribs><Key>organization</Key><Value>Acme</Value>"
                "<Key>user</Key><Value>bob</Value></LogAttribs>\n"
                " <Source FileName=\"q.cc\" Method=\"drain\" Line=\"88\"/>\n"
                " <TranslationInfo Type=\"XPG4\" Catalog=\"zvxnocat\" MsgKey=\"17\" SetId=\"3\">"
                "<Param><![CDATA[disk0]]></Param><Param><![CDATA[97]]></Param>"
                "<Param><![CDATA[-7]]></Param><Param><![CDATA[2.500000]]></Param>"
                "<Param><![CDATA[0.250000]]></Param><Param><![CDATA[x]]></Param>"
                "<Param><![CDATA[\x01]]></Param></TranslationInfo>\n"
                " <CorrelationId>corr-9</CorrelationId>\n"
                " <Principal>alice</Principal>\n"
                "</Message>\n");
  CCgFreeEvent(e);
}

TEST_F(XmlFormatterTest, FullTraceRecord) {
  CCgEvent *e = Event(CCG_LEVEL_DEBUG_MID, false, "drained 3 entries");
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "q.cc");
  CCgSetEventProp(e, CCG_PROP_SRCFUNCTION, "drain");
  CCgSetEventPropLong(e, "threadId", 4712);
  CCgSetEventPropLong(e, "processId", 4711);
  CCgSetEventProp(e, "client", "alice");
  EXPECT_EQ(Format(e), "<Trace Level=\"MID\">\n" + kTime +
                           " <LogText><![CDATA[drained 3 entries]]></LogText>\n"
                           " <Source FileName=\"q.cc\" Method=\"drain\"/>\n"
                           " <Thread>4712</Thread>\n"
                           " <Process>4711</Process>\n"
                           " <Principal>alice</Principal>\n"
                           "</Trace>\n");
  CCgFreeEvent(e);
}

TEST_F(XmlFormatterTest, MinimalRecordsAndTheUnspecifiedLevel) {
  CCgEvent *e = Event(CCG_LEVEL_UNSPECIFIED, false, "plain");
  EXPECT_EQ(Format(e), "<Trace>\n" + kTime + " <LogText><![CDATA[plain]]></LogText>\n" +
                           kNoSource + "</Trace>\n");
  CCgFreeEvent(e);

  // A message without catalog still has its translation element; at the
  // unspecified level it has no Severity.
  e = Event(CCG_LEVEL_UNSPECIFIED, true, "KZT001I started");
  EXPECT_EQ(Format(e), "<Message Id=\"KZT001I\">\n" + kTime +
                           " <LogText><![CDATA[KZT001I started]]></LogText>\n"
                           " <TranslationInfo Type=\"XPG4\" Catalog=\"\" MsgKey=\"0\" SetId=\"0\">"
                           "</TranslationInfo>\n"
                           "</Message>\n");
  CCgFreeEvent(e);

  // The server element without a format; a line without a function.
  e = Event(CCG_LEVEL_INFO, false, "t");
  CCgSetEventProp(e, "server", "srv1");
  CCgSetEventProp(e, CCG_PROP_SRCFILE, "a.c");
  CCgSetEventProp(e, CCG_PROP_SRCLINE, "12");
  EXPECT_EQ(Format(e), "<Trace Level=\"INFO\">\n" + kTime +
                           " <Server Format=\"\">srv1</Server>\n"
                           " <LogText><![CDATA[t]]></LogText>\n"
                           " <Source FileName=\"a.c\" Line=\"12\"/>\n"
                           "</Trace>\n");
  CCgFreeEvent(e);
}

TEST_F(XmlFormatterTest, LevelNames) {
  const struct {
    int32_t level;
    const char *name;
  } cases[] = {{1000, "MAX"},  {2000, "MID"},   {3000, "MIN"},   {4000, "INFO"},
               {5000, "WARN"}, {6000, "ERROR"}, {7000, "ERROR"}, {0, "OTHER"},
               {9999, "OTHER"}, {4500, "OTHER"}};
  for (const auto &c : cases) {
    CCgEvent *e = Event(c.level, true, "KZTCC0001E x");
    EXPECT_EQ(Opening(Format(e)),
              std::string("<Message Id=\"KZTCC0001E\" Severity=\"") + c.name + "\">\n");
    CCgSetEventIsMessage(e, 0);
    EXPECT_EQ(Opening(Format(e)), std::string("<Trace Level=\"") + c.name + "\">\n");
    CCgFreeEvent(e);
  }
}

TEST_F(XmlFormatterTest, MessageOrTraceAndTheIdentifier) {
  CCgEvent *e = Event(CCG_LEVEL_DEBUG_MIN, false, "CCGBC0020E Out of memory.");
  EXPECT_EQ(Opening(Format(e)), "<Trace Level=\"MIN\">\n");
  CCgSetObjProp(fmt_, "forceAsMessage", "true");
  const std::string asMessage = Format(e);
  EXPECT_EQ(Opening(asMessage), "<Message Id=\"CCGBC0020E\" Severity=\"MIN\">\n");
  EXPECT_NE(asMessage.find(" <TranslationInfo"), std::string::npos);
  EXPECT_EQ(asMessage.find(" <Source"), std::string::npos);
  // Both forced: the event decides again.
  CCgSetObjProp(fmt_, "forceAsTrace", "true");
  EXPECT_EQ(Opening(Format(e)), "<Trace Level=\"MIN\">\n");
  CCgSetObjProp(fmt_, "forceAsMessage", "no");
  CCgSetEventIsMessage(e, 1);
  EXPECT_EQ(Opening(Format(e)), "<Trace Level=\"MIN\">\n");
  CCgSetObjProp(fmt_, "forceAsTrace", "perhaps");  // does not parse: false
  EXPECT_EQ(Opening(Format(e)), "<Message Id=\"CCGBC0020E\" Severity=\"MIN\">\n");
  CCgFreeEvent(e);

  // Two letters make no identifier.
  e = Event(CCG_LEVEL_ERROR, true, "AB0001E Broken.");
  EXPECT_EQ(Opening(Format(e)), "<Message Id=\"None\" Severity=\"ERROR\">\n");
  // A stored identifier wins over the text; an empty one does not count.
  CCgSetEventMessageId(e, "KZTCC0042W");
  EXPECT_EQ(Opening(Format(e)), "<Message Id=\"KZTCC0042W\" Severity=\"ERROR\">\n");
  CCgSetEventMessageId(e, "");
  CCgSetI18MsgTxt(CCgGetEventMessage(e), "KZTCC0043E Other.");
  EXPECT_EQ(Opening(Format(e)), "<Message Id=\"KZTCC0043E\" Severity=\"ERROR\">\n");
  CCgFreeEvent(e);
}

TEST_F(XmlFormatterTest, SingleFlagsPutTheirElementAtTheTopOfEachFile) {
  CCgEvent *e = Event(CCG_LEVEL_INFO, false, "t");
  CCgSetEventProp(e, "server", "srv1");
  CCgSetEventProp(e, "product", "zovexa");
  CCgSetEventProp(e, "component", "queue");
  CCgSetEventProp(e, "productInstance", "inst7");
  const struct {
    const char *flag;
    const char *element;
  } cases[] = {{"singleServer", " <Server Format=\"\">srv1</Server>\n"},
               {"singleProductId", " <ProductId>zovexa</ProductId>\n"},
               {"singleComponent", " <Component>queue</Component>\n"},
               {"singleProduct", " <ProductInstance>inst7</ProductInstance>\n"}};
  // The element marked single stands only before the first record after each
  // header; the rest of the record is unchanged.
  for (const auto &c : cases) {
    CCgSetObjProp(fmt_, c.flag, "TRUE");
    for (int file = 0; file < 2; ++file) {
      Header();
      const std::string first = Format(e);
      const std::string second = Format(e);
      EXPECT_EQ(first.find(c.element), 0u) << c.flag;
      EXPECT_EQ(second.find(c.element), std::string::npos) << c.flag;
      EXPECT_EQ(first.substr(std::string(c.element).size()), second) << c.flag;
    }
    CCgSetObjProp(fmt_, c.flag, "false");
  }
  CCgFreeEvent(e);
}

TEST_F(XmlFormatterTest, BasicFormatterPropertiesApply) {
  CCgSetObjProp(fmt_, "dateTimeFormat", "%H:%M");
  CCgEvent *e = Event(CCG_LEVEL_INFO, false, "t");
  const std::string record = Format(e);
  EXPECT_NE(record.find(" <Time Millis=\"1144925724042\">10:55</Time>\n"), std::string::npos)
      << record;
  CCgFreeEvent(e);
  CCgSetObjProp(fmt_, "logging", "false");
  EXPECT_FALSE(CCgIsObjectEnabled(fmt_));
  CCgApiLock lock;
  EXPECT_EQ(CCgQDXMLFormatterFGetTrailer(fmt_), nullptr);
}

}  // namespace
