// The name hash, hash tables, location types, codeset conversion and string
// array copies.
#include <string>
#include <vector>

#include "capis/context.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"

namespace {

TEST(NameHash, RotatesAndXorsSignExtendedBytes) {
  EXPECT_EQ(ZOhashFunc(""), 0u);
  EXPECT_EQ(ZOhashFunc("\xE9"), 0xFFFFFFE9u);
  EXPECT_EQ(ZOhashFunc("a"), 0x61u);
  EXPECT_EQ(ZOhashFunc("ab"), (0x61u << 5) ^ 0x62u);
  // After seven bytes the first one has been rotated past bit 31 and back.
  uint32_t h = 0;
  for (char c : std::string("abcdefgh")) h = ((h << 5) | (h >> 27)) ^ static_cast<uint32_t>(c);
  EXPECT_EQ(ZOhashFunc("abcdefgh"), h);
  // 0xE9 then 'a': the sign-extended first byte shifts into the high bits.
  EXPECT_EQ(ZOhashFunc("\xE9" "a"), ((0xFFFFFFE9u << 5) | (0xFFFFFFE9u >> 27)) ^ 0x61u);
}

TEST(HashTable, SizeRule) {
  for (uint32_t n = 0; n < 20; ++n) EXPECT_EQ(computeHashTableSz(n), 19u) << n;
  EXPECT_EQ(computeHashTableSz(20), 29u);
  EXPECT_EQ(computeHashTableSz(29), 29u);
  EXPECT_EQ(computeHashTableSz(30), 37u);
  EXPECT_EQ(computeHashTableSz(50000), 49157u);
  EXPECT_EQ(computeHashTableSz(49157), 49157u);
}

TEST(HashTable, NewestEqualNameIsFoundFirstAndEmptyNameIsInBucketZero) {
  uint32_t size = 19;
  ZOhashNode **table = ZOcreateHashTable(size);
  ASSERT_NE(table, nullptr);
  ASSERT_NE(ZOaddToHashTable("same", 1, table, size), nullptr);
  ASSERT_NE(ZOaddToHashTable("same", 2, table, size), nullptr);
  ASSERT_NE(ZOaddToHashTable("", 3, table, size), nullptr);
  EXPECT_EQ(ZOfindInHashTable("same", table, size)->index, 2u);
  ASSERT_NE(table[0], nullptr);
  EXPECT_STREQ(table[0]->name, "");
  EXPECT_EQ(ZOfindInHashTable("Same", table, size), nullptr);
  EXPECT_EQ(ZOcheckHashTableForMatch(nullptr, "same", table, size, nullptr), 0);
  EXPECT_EQ(ZOcheckHashTableForMatch(nullptr, "other", table, size, nullptr), -1);
  EXPECT_EQ(freeHashTable(table, size), 0);
}

TEST(LocationTypes, ExactNamesOnly) {
  TestContext tc;
  ASSERT_NE(tc.ctx, nullptr);
  EXPECT_EQ(tc.ctx->locTypes.size, 19u);
  for (const char *name : kZOlocTypes) EXPECT_TRUE(ZOisLocationType(tc.ctx, name)) << name;
  EXPECT_TRUE(ZOisLocationType(tc.ctx, "IPV4"));
  EXPECT_FALSE(ZOisLocationType(tc.ctx, "ipv4"));
  EXPECT_FALSE(ZOisLocationType(tc.ctx, "IPV4 "));
  EXPECT_FALSE(ZOisLocationType(tc.ctx, ""));
}

TEST(Utf8Convert, ConvertsBothWaysUnlessTheElementCodesetIsUtf8) {
  TestContext latin({StrProp("elementCodeSet", "ISO-8859-1")});
  ASSERT_NE(latin.ctx, nullptr);
  ZOVEXA_result r{};
  char *in = ZOutf8Convert(latin.ctx, "Jos\xE9", ZO_TO_UTF8, &r);
  ASSERT_NE(in, nullptr);
  EXPECT_STREQ(in, "Jos\xC3\xA9");
  char *out = ZOutf8Convert(latin.ctx, in, ZO_FROM_UTF8, &r);
  EXPECT_STREQ(out, "Jos\xE9");
  char *plain = ZOutf8Convert(latin.ctx, "Jos\xE9", ZO_NO_CONVERT, &r);
  EXPECT_STREQ(plain, "Jos\xE9");
  free(in);
  free(out);
  free(plain);
  // A character Latin-1 cannot hold is refused, not altered.
  EXPECT_EQ(ZOutf8Convert(latin.ctx, "\xE2\x82\xAC", ZO_FROM_UTF8, &r), nullptr);
  EXPECT_EQ(Texts(r), (std::vector<std::string>{"KZTCC0008E The parameter, string , passed to the function has a "
                                                "value that is not valid: \\xE2\\x82\\xAC ."}));
  ZOVEXA_Result_Clean(&r);

  TestContext utf8({StrProp("elementCodeSet", "UTF8")});
  ASSERT_NE(utf8.ctx, nullptr);
  char *same = ZOutf8Convert(utf8.ctx, "Jos\xE9", ZO_TO_UTF8, &r);  // stored as given
  EXPECT_STREQ(same, "Jos\xE9");
  free(same);
}

TEST(StringArrays, DeepCopyConvertedAndReleasedOnFailure) {
  TestContext latin({StrProp("elementCodeSet", "ISO-8859-1")});
  ASSERT_NE(latin.ctx, nullptr);
  ZOVEXA_result r{};
  char a[] = "Jos\xE9", b[] = "plain";
  char *source[] = {a, b, nullptr};
  char **copy = ZOcopyStringArray(latin.ctx, source, 1, &r);
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy[0], "Jos\xC3\xA9");
  EXPECT_STREQ(copy[1], "plain");
  EXPECT_EQ(copy[2], nullptr);
  EXPECT_NE(copy[1], b);
  ZOfreeStringArray(copy);

  char *empty[] = {nullptr};
  char **none = ZOcopyStringArray(latin.ctx, empty, 1, &r);
  ASSERT_NE(none, nullptr);
  EXPECT_EQ(none[0], nullptr);
  ZOfreeStringArray(none);

  // Running out of memory at any step releases what was copied so far.
  for (long n = 1; n <= 3; ++n) {
    ZOsetAllocFailAfter(n);
    char **partial = ZOcopyStringArray(latin.ctx, source, 1, &r);
    ZOsetAllocFailAfter(0);
    EXPECT_EQ(partial, nullptr) << n;
    EXPECT_EQ(OnlyCode(r), 1u) << n;
    ZOVEXA_Result_Clean(&r);
  }
}

}  // namespace
