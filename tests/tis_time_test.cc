#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "tis/tis.h"

namespace {

TEST(TisTimeTest, FormatsInTheLocaleWithUtf8InAndOut) {
  struct tm tm = {};
  tm.tm_year = 2024 - 1900;
  tm.tm_mon = 2;  // March
  tm.tm_mday = 14;
  TisLocale *c = TisLocaleCreate("C");
  ASSERT_NE(c, nullptr);
  std::string out = "kept";
  // The C locale's codeset is ASCII: a format it cannot hold fails.
  EXPECT_FALSE(TisStrftimeUTF8("\xC3\xA9 %B", &tm, c, 64, &out));
  EXPECT_FALSE(TisStrftimeUTF8("", &tm, c, 64, &out));
  EXPECT_EQ(out, "kept");
  ASSERT_TRUE(TisStrftimeUTF8("%B %d", &tm, c, 64, &out));
  EXPECT_EQ(out, "March 14");
  ASSERT_TRUE(TisStrftimeUTF8("%b", &tm, nullptr, 64, &out));  // this program's locale is C
  EXPECT_EQ(out, "Mar");
  TisLocaleFree(c);

  TisLocale *de = TisLocaleCreate("de_DE.UTF-8");
  if (de == nullptr) GTEST_SKIP() << "locale de_DE.UTF-8 is not installed";
  ASSERT_TRUE(TisStrftimeUTF8("%d. %B \xE2\x80\x93 %Y", &tm, de, 64, &out));
  EXPECT_EQ(out, "14. M\xC3\xA4rz \xE2\x80\x93 2024");
  // "März" is 5 bytes: with the terminator it needs a limit of 6.
  EXPECT_FALSE(TisStrftimeUTF8("%B", &tm, de, 5, &out));
  ASSERT_TRUE(TisStrftimeUTF8("%B", &tm, de, 6, &out));
  EXPECT_EQ(out, "M\xC3\xA4rz");
  TisLocaleFree(de);
}

}  // namespace
