// Message identifiers: parsing the leading token and caching it on an event.
#include <string>

#include <gtest/gtest.h>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

std::string Identifier(size_t letters, size_t digits, char severity) {
  std::string id;
  for (size_t i = 0; i < letters; ++i) id.push_back(static_cast<char>('A' + i));
  for (size_t i = 0; i < digits; ++i) id.push_back(static_cast<char>('1' + i));
  id.push_back(severity);
  return id;
}

TEST(ParseMessageIdTest, EverySupportedShape) {
  const size_t shapes[][2] = {{3, 3}, {3, 4}, {3, 5}, {3, 6}, {4, 3}, {4, 4},
                              {4, 5}, {5, 2}, {5, 3}, {5, 4}, {6, 3}};
  for (const auto &s : shapes) {
    for (char severity : {'I', 'W', 'E'}) {
      const std::string expected = Identifier(s[0], s[1], severity);
      const std::string expectedShape =
          "ORV" + std::to_string(s[0]) + "." + std::to_string(s[1]) + ".1";
      for (const std::string &text : {expected, expected + " Some text.", expected + ":x"}) {
        std::string id, shape;
        ASSERT_TRUE(CxParseTMSID(text.c_str(), &id, &shape)) << text;
        EXPECT_EQ(id, expected);
        EXPECT_EQ(shape, expectedShape);
      }
    }
  }
  std::string id, shape;
  ASSERT_TRUE(CxParseTMSID("KZTCC0001E Failed.", &id, &shape));
  EXPECT_EQ(id, "KZTCC0001E");
  EXPECT_EQ(shape, "ORV5.4.1");
  ASSERT_TRUE(CxParseTMSID("ccgbc0020W lower-case letters", &id, nullptr));
  EXPECT_EQ(id, "ccgbc0020W");
}

TEST(ParseMessageIdTest, NearMisses) {
  const char *misses[] = {
      "AB0001E two letters",   "ABC12E two digits",   "ABCDE12345E too long for ten",
      "ABCDEFG123E seven",     "ABCDEF1234E six and four", "KZT1234567E seven digits",
      "KZTCC0001e lower-case severity", "KZTCC0001X other letter", "KZTCC0001",
      "KZTCC0001 E",           " KZTCC0001E leading blank",   "0001E digits first",
      "KZT-0001E",             "",                    "E"};
  for (const char *text : misses) {
    std::string id = "kept", shape = "kept";
    EXPECT_FALSE(CxParseTMSID(text, &id, &shape)) << text;
    EXPECT_EQ(id, "kept");
    EXPECT_EQ(shape, "kept");
  }
  EXPECT_FALSE(CxParseTMSID(nullptr, nullptr, nullptr));
}

class CacheMessageIdTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(CCgOpenToolkit(nullptr)); }
  void TearDown() override { CCgCloseToolkit(); }
  std::string Cache(CCgObject *formatter, CCgEvent *e) {
    CCgApiLock lock;
    ccgQDXMLFormatterCacheMessageID(formatter, e);
    return Take(CCgGetEventMessageId(e));
  }
  static std::string Take(char *text) {
    std::string s = text ? text : "<none>";
    CCgFree(text);
    return s;
  }
};

TEST_F(CacheMessageIdTest, ParsesOnceAndStoresTheResult) {
  CCgObject *f = CCgGetObject("fmt.msgid", "ccg_xmlformatter");
  ASSERT_NE(f, nullptr);
  CCgEvent *e = CCgAllocEvent(CCG_LEVEL_WARN, nullptr, 0, 0, "KZTCC%1$04dW Cache full.",
                              CCG_PARM_INT, 12, CCG_PARM_END);
  EXPECT_EQ(Cache(f, e), "KZTCC0012W");  // parsed from the bound text
  CCgSetI18MsgTxt(CCgGetEventMessage(e), "KZTCC0099E Other.");
  EXPECT_EQ(Cache(f, e), "KZTCC0012W");  // not parsed again
  CCgFreeEvent(e);

  // No identifier: the empty text is stored, and it stays.
  e = CCgAllocEvent(CCG_LEVEL_WARN, nullptr, 0, 0, "AB0001E Broken.", CCG_PARM_END);
  EXPECT_EQ(Cache(f, e), "");
  CCgSetI18MsgTxt(CCgGetEventMessage(e), "KZTCC0099E Other.");
  EXPECT_EQ(Cache(f, e), "");
  CCgFreeEvent(e);

  // A stored identifier is kept; the formatter may be absent.
  e = CCgAllocEvent(CCG_LEVEL_WARN, nullptr, 0, 0, "KZTCC0099E Other.", CCG_PARM_END);
  CCgSetEventMessageId(e, "APP0001I");
  EXPECT_EQ(Cache(nullptr, e), "APP0001I");
  CCgFreeEvent(e);
  CCgReleaseObject(f);
}

}  // namespace
