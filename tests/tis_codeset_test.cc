#include <langinfo.h>

#include <string>

#include <gtest/gtest.h>

#include "tis/tis.h"

namespace {

TEST(TisCodesetTest, Names) {
  TisCodeset *utf8 = TisCodesetCreate("UTF8");
  TisCodeset *process = TisCodesetCreate(nullptr);
  ASSERT_TRUE(utf8 && process);
  EXPECT_TRUE(TisCodesetIsUTF8(utf8));
  EXPECT_STREQ(TisCodesetName(utf8), "UTF-8");
  EXPECT_STREQ(TisCodesetName(process), nl_langinfo(CODESET));
  EXPECT_EQ(TisCodesetCreate("NO-SUCH-CODESET-42"), nullptr);
  TisCodesetFree(utf8);
  TisCodesetFree(process);
}

TEST(TisCodesetTest, RoundTripsThroughUtf8AndUcs2) {
  struct Case {
    const char *codeset;
    std::string native;
    std::string utf8;
    std::u16string ucs2;
  };
  const Case cases[] = {
      {"ISO-8859-1", "Jos\xE9", "Jos\xC3\xA9", u"Jos\u00e9"},
      {"IBM037", "\xC1\x81\xF0\x40", "Aa0 ", u"Aa0 "},
      // Two-byte U+4E2D and four-byte U+1F600 (a surrogate pair in UCS-2).
      {"GB18030", "\xD6\xD0\x94\x39\xFC\x36", "\xE4\xB8\xAD\xF0\x9F\x98\x80", u"\u4e2d\U0001F600"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.codeset);
    TisCodeset *cs = TisCodesetCreate(c.codeset);
    ASSERT_NE(cs, nullptr);
    EXPECT_FALSE(TisCodesetIsUTF8(cs));
    std::string utf8 = "<", native, fromUcs2;
    std::u16string ucs2;
    ASSERT_TRUE(TisToUTF8(cs, c.native.data(), c.native.size(), &utf8));
    EXPECT_EQ(utf8, "<" + c.utf8);  // appended, not replaced
    ASSERT_TRUE(TisFromUTF8(cs, c.utf8.data(), c.utf8.size(), &native));
    EXPECT_EQ(native, c.native);
    ASSERT_TRUE(TisToUCS2(cs, c.native.data(), c.native.size(), &ucs2));
    EXPECT_EQ(ucs2, c.ucs2);
    ASSERT_TRUE(TisFromUCS2(cs, ucs2.data(), ucs2.size(), &fromUcs2));
    EXPECT_EQ(fromUcs2, c.native);
    TisCodesetFree(cs);
  }
  // Only len bytes count: no terminator needed, embedded NULs kept.
  std::string out;
  ASSERT_TRUE(TisFromUTF8(nullptr, "a\0bc", 3, &out));
  EXPECT_EQ(out, std::string("a\0b", 3));
}

TEST(TisCodesetTest, BadInputFailsAndLeavesOutputAlone) {
  TisCodeset *latin1 = TisCodesetCreate("ISO-8859-1");
  TisCodeset *utf8 = TisCodesetCreate("UTF8");
  TisCodeset *gb = TisCodesetCreate("GB18030");
  ASSERT_TRUE(latin1 && utf8 && gb);
  const std::string badUtf8[] = {"ok \xC3\x28", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                 "abc\xE4\xB8", "\xFF"};
  std::string out = "keep";
  std::u16string out16 = u"keep";
  for (const std::string &in : badUtf8) {
    EXPECT_FALSE(TisFromUTF8(latin1, in.data(), in.size(), &out)) << in;
    EXPECT_FALSE(TisFromUTF8(gb, in.data(), in.size(), &out)) << in;
    EXPECT_FALSE(TisToUTF8(utf8, in.data(), in.size(), &out)) << in;
    EXPECT_FALSE(TisUTF8ToUCS2(in.data(), in.size(), &out16)) << in;
  }
  EXPECT_FALSE(TisFromUTF8(latin1, "a\xE4\xB8\xAD", 4, &out));  // no U+4E2D in Latin-1
  EXPECT_FALSE(TisToUTF8(gb, "x\xD6", 2, &out));                 // truncated
  const char16_t loneLead[] = {u'a', 0xD83D}, loneTrail[] = {0xDE00, u'a'};
  EXPECT_FALSE(TisUCS2ToUTF8(loneLead, 2, &out));
  EXPECT_FALSE(TisFromUCS2(latin1, loneTrail, 2, &out));
  EXPECT_EQ(out, "keep");
  EXPECT_EQ(out16, u"keep");
  // A failed conversion leaves the codeset usable.
  ASSERT_TRUE(TisFromUTF8(latin1, "\xC3\xA9", 2, &out));
  EXPECT_EQ(out, "keep\xE9");
  TisCodesetFree(latin1);
  TisCodesetFree(utf8);
  TisCodesetFree(gb);
}

TEST(TisCodesetTest, InputsLargerThanAnyFixedBuffer) {
  TisCodeset *latin1 = TisCodesetCreate("ISO-8859-1");
  ASSERT_NE(latin1, nullptr);
  std::string utf8;
  for (int i = 0; i < 100000; ++i) utf8 += "\xC3\xA9";
  std::string narrow, wide;
  ASSERT_TRUE(TisFromUTF8(latin1, utf8.data(), utf8.size(), &narrow));
  EXPECT_EQ(narrow, std::string(100000, '\xE9'));
  // Latin-1 to UTF-8 doubles the size of this text, which must not truncate it.
  ASSERT_TRUE(TisToUTF8(latin1, narrow.data(), narrow.size(), &wide));
  EXPECT_EQ(wide, utf8);
  std::u16string ucs2;
  ASSERT_TRUE(TisToUCS2(latin1, narrow.data(), narrow.size(), &ucs2));
  EXPECT_EQ(ucs2, std::u16string(100000, u'\u00e9'));
  TisCodesetFree(latin1);
}

}  // namespace
