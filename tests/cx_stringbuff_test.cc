#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "cclog/cx.h"
#include "tis/tis.h"

namespace {

std::string Text(const CxStringBuff &sb) { return std::string(CxStringBuffPeekStr(&sb), sb.length); }

TEST(CxStringBuffTest, EmptyBufferIsValid) {
  CxStringBuff sb;
  EXPECT_STREQ(CxStringBuffPeekStr(&sb), "");
  char *copy = CxStringBuffCopyStr(&sb);
  EXPECT_STREQ(copy, "");
  TosMemoryFree(copy);
  char *taken = CxStringBuffTakeStr(&sb);
  ASSERT_NE(taken, nullptr);
  EXPECT_STREQ(taken, "");
  TosMemoryFree(taken);
  EXPECT_TRUE(CxOK(CxStringBuffPack(&sb)));
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, CapacityStartsAt1024AndDoublesUntilTheTextFits) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, 'x')));
  EXPECT_EQ(sb.capacity, 1024u);
  EXPECT_EQ(sb.length, 1u);
  // 1023 bytes of text plus the NUL still fit.
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, std::string(1022, 'y').c_str())));
  EXPECT_EQ(sb.capacity, 1024u);
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, 'z')));
  EXPECT_EQ(sb.capacity, 2048u);
  // One append that needs several doublings.
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, std::string(5000, 'w').c_str())));
  EXPECT_EQ(sb.length, 6024u);
  EXPECT_EQ(sb.capacity, 8192u);
  EXPECT_EQ(sb.text[sb.length], '\0');

  CxStringBuff big;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&big, std::string(3000, 'b').c_str())));
  EXPECT_EQ(big.capacity, 4096u);
  CxStringBuffDiscard(&big);

  // Restart keeps the memory, Pack gives back what is not used.
  CxStringBuffRestart(&sb);
  EXPECT_EQ(sb.length, 0u);
  EXPECT_EQ(sb.capacity, 8192u);
  EXPECT_STREQ(CxStringBuffPeekStr(&sb), "");
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "abc")));
  ASSERT_TRUE(CxOK(CxStringBuffPack(&sb)));
  EXPECT_EQ(sb.capacity, 4u);
  EXPECT_STREQ(sb.text, "abc");
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "de")));
  EXPECT_STREQ(sb.text, "abcde");
  CxStringBuffDiscard(&sb);
  EXPECT_EQ(sb.text, nullptr);
  EXPECT_EQ(sb.capacity, 0u);
}

TEST(CxStringBuffTest, ReserveRejectsSizesBeyond32Bits) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "kept")));
  CxStatus st = CxStringBuffReserve(&sb, size_t{UINT32_MAX});
  EXPECT_EQ(CxStatusCode(st), CX_CODE_PLATFORM);
  EXPECT_EQ(CxStatusErrno(st), ENOMEM);
  EXPECT_EQ(Text(sb), "kept");
  EXPECT_EQ(sb.capacity, 1024u);
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, TakeCopyAndPeek) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStrN(&sb, "hello world", 5)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendStrN(&sb, "!\0ignored", 9)));  // stops at the NUL
  EXPECT_EQ(Text(sb), "hello!");
  char *copy = CxStringBuffCopyStr(&sb);
  EXPECT_STREQ(copy, "hello!");
  EXPECT_NE(copy, sb.text);
  TosMemoryFree(copy);
  char *taken = CxStringBuffTakeStr(&sb);
  EXPECT_STREQ(taken, "hello!");
  EXPECT_EQ(sb.text, nullptr);
  EXPECT_EQ(sb.length, 0u);
  EXPECT_EQ(sb.capacity, 0u);
  TosMemoryFree(taken);
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "again")));
  EXPECT_EQ(sb.capacity, 1024u);
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, AppendsItsOwnText) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, std::string(1000, 'a').c_str())));
  // The source moves when the buffer grows.
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, sb.text)));
  EXPECT_EQ(Text(sb), std::string(2000, 'a'));
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 0, sb.text + 1990)));
  EXPECT_EQ(sb.length, 2010u);
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, InsertStr) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 0, "world")));
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 0, "hello ")));
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 11, "!")));
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 5, ",")));
  EXPECT_EQ(Text(sb), "hello, world!");
  EXPECT_EQ(CxStatusCode(CxStringBuffInsertStr(&sb, 14, "x")), CX_CODE_INVALID);
  EXPECT_EQ(Text(sb), "hello, world!");
  std::string big(2000, 'q');
  ASSERT_TRUE(CxOK(CxStringBuffInsertStr(&sb, 7, big.c_str())));
  EXPECT_EQ(Text(sb), "hello, " + big + "world!");
  EXPECT_EQ(sb.capacity, 2048u);
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, UnicodeCharactersAreAppendedAsUTF8) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0x41)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0xE9)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0x20AC)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0x1F600)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0x10FFFF)));
  EXPECT_EQ(Text(sb), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF");
  CxStringBuffRestart(&sb);
  ASSERT_TRUE(CxOK(CxStringBuffAppendUCS2Char(&sb, 0x7F)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUCS2Char(&sb, 0x80)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUCS2Char(&sb, 0x7FF)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUCS2Char(&sb, 0x800)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUCS2Char(&sb, 0xFFFF)));
  EXPECT_EQ(Text(sb), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");

  // Values without a UTF-8 form fail and leave the text alone.
  for (uint32_t bad : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CxStatusCode(CxStringBuffAppendUTF32Char(&sb, bad)), CX_CODE_INVALID) << bad;
  }
  EXPECT_EQ(CxStatusCode(CxStringBuffAppendUCS2Char(&sb, 0xDC00)), CX_CODE_INVALID);
  EXPECT_EQ(Text(sb), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");

  CxStringBuffRestart(&sb);
  const wchar_t wide[] = {L'h', 0xE9, 0x1F600, L'!', 0, L'x'};
  ASSERT_TRUE(CxOK(CxStringBuffAppendWStrN(&sb, wide, 3)));
  EXPECT_EQ(Text(sb), "h\xC3\xA9\xF0\x9F\x98\x80");
  ASSERT_TRUE(CxOK(CxStringBuffAppendWStrN(&sb, wide + 3, 10)));  // stops at the NUL
  EXPECT_EQ(Text(sb), "h\xC3\xA9\xF0\x9F\x98\x80!");
  const wchar_t bad[] = {L'o', L'k', static_cast<wchar_t>(0xD800)};
  EXPECT_EQ(CxStatusCode(CxStringBuffAppendWStrN(&sb, bad, 3)), CX_CODE_INVALID);
  EXPECT_EQ(Text(sb), "h\xC3\xA9\xF0\x9F\x98\x80!");
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, IntegersInDecimal) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendInt32(&sb, 0)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, ' ')));
  ASSERT_TRUE(CxOK(CxStringBuffAppendInt32(&sb, INT32_MIN)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, ' ')));
  ASSERT_TRUE(CxOK(CxStringBuffAppendInt64(&sb, INT64_MIN)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, ' ')));
  ASSERT_TRUE(CxOK(CxStringBuffAppendInt64(&sb, INT64_MAX)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendChar(&sb, ' ')));
  ASSERT_TRUE(CxOK(CxStringBuffAppendUInt64(&sb, UINT64_MAX)));
  EXPECT_EQ(Text(sb), "0 -2147483648 -9223372036854775808 9223372036854775807 18446744073709551615");
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, EBCDICIntegersReadBackThroughETOA) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendEBCDICInt64(&sb, -1207)));
  EXPECT_EQ(Text(sb), "\x60\xF1\xF2\xF0\xF7");
  ASSERT_TRUE(CxOK(CxStringBuffAppendEBCDICInt64(&sb, INT64_MIN)));
  ASSERT_TRUE(CxOK(CxStringBuffAppendEBCDICInt64(&sb, 0)));
  CxETOA(sb.text, sb.length);
  EXPECT_EQ(Text(sb), "-1207-92233720368547758080");
  CxStringBuffDiscard(&sb);
}

TEST(CxStringBuffTest, CodesetConversionOfTheWholeText) {
  CxStringBuff sb;
  ASSERT_TRUE(CxOK(CxStringBuffAppendStr(&sb, "caf\xC3\xA9")));
  // No codeset means UTF-8: nothing to do.
  ASSERT_TRUE(CxOK(CxStringBuffChangeFromUTF8(&sb, nullptr)));
  ASSERT_TRUE(CxOK(CxStringBuffChangeToUTF8(&sb, nullptr)));
  EXPECT_EQ(Text(sb), "caf\xC3\xA9");

  TisCodeset *latin1 = TisCodesetCreate("ISO-8859-1");
  ASSERT_NE(latin1, nullptr);
  ASSERT_TRUE(CxOK(CxStringBuffChangeFromUTF8(&sb, latin1)));
  EXPECT_EQ(Text(sb), "caf\xE9");
  ASSERT_TRUE(CxOK(CxStringBuffChangeToUTF8(&sb, latin1)));
  EXPECT_EQ(Text(sb), "caf\xC3\xA9");

  // A character Latin-1 cannot hold fails the conversion and keeps the text.
  ASSERT_TRUE(CxOK(CxStringBuffAppendUTF32Char(&sb, 0x20AC)));
  EXPECT_EQ(CxStatusCode(CxStringBuffChangeFromUTF8(&sb, latin1)), CX_CODE_INVALID);
  EXPECT_EQ(Text(sb), "caf\xC3\xA9\xE2\x82\xAC");
  TisCodesetFree(latin1);
  CxStringBuffDiscard(&sb);
}

}  // namespace
