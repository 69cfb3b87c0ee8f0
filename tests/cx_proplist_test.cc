#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cclog/cx.h"

namespace {

std::vector<std::string> Walk(const CxPropList *pl) {
  std::vector<std::string> out;
  for (CxPropListIterator it = CxPropListGetIterator(pl); CxPropListIteratorHasNext(&it); CxPropListIteratorNext(&it)) {
    out.push_back(std::string(CxPropListIteratorPeekKey(&it)) + "=" + CxPropListIteratorPeekVal(&it));
  }
  return out;
}

TEST(CxPropListTest, PutKeepsOrderAndReplacesInPlace) {
  CxPropList *pl = CxPropListCreate();
  ASSERT_TRUE(CxOK(CxPropListPutStr(pl, "b", "1")));
  ASSERT_TRUE(CxOK(CxPropListPutStr(pl, "a", "2")));
  ASSERT_TRUE(CxOK(CxPropListPutStr(pl, "c", "3")));
  ASSERT_TRUE(CxOK(CxPropListPutStr(pl, "b", "replaced")));
  EXPECT_EQ(Walk(pl), (std::vector<std::string>{"b=replaced", "a=2", "c=3"}));
  EXPECT_TRUE(CxPropListHasKey(pl, "a"));
  EXPECT_FALSE(CxPropListHasKey(pl, "A"));  // keys are exact
  EXPECT_STREQ(CxPropListPeekStr(pl, "c"), "3");
  EXPECT_EQ(CxPropListPeekStr(pl, "missing"), nullptr);
  EXPECT_EQ(CxPropListCopyStr(pl, "missing"), nullptr);
  char *copy = CxPropListCopyStr(pl, "a");
  EXPECT_STREQ(copy, "2");
  TosMemoryFree(copy);

  ASSERT_TRUE(CxOK(CxPropListRemove(pl, "a")));
  EXPECT_EQ(CxStatusCode(CxPropListRemove(pl, "a")), CX_CODE_INVALID);
  EXPECT_EQ(Walk(pl), (std::vector<std::string>{"b=replaced", "c=3"}));
  CxPropListDiscard(pl);
  CxPropListDiscard(nullptr);
}

TEST(CxPropListTest, IteratorCopiesAndEnd) {
  CxPropList pl;
  ASSERT_TRUE(CxOK(CxPropListPutStr(&pl, "key", "")));
  CxPropListIterator it = CxPropListGetIterator(&pl);
  char *k = CxPropListIteratorCopyKey(&it);
  char *v = CxPropListIteratorCopyVal(&it);
  EXPECT_STREQ(k, "key");
  EXPECT_STREQ(v, "");
  TosMemoryFree(k);
  TosMemoryFree(v);
  CxPropListIteratorNext(&it);
  EXPECT_FALSE(CxPropListIteratorHasNext(&it));
  EXPECT_EQ(CxPropListIteratorPeekKey(&it), nullptr);
  CxPropListIteratorNext(&it);  // stays at the end
  EXPECT_FALSE(CxPropListIteratorHasNext(&it));
  CxPropListIterator none = CxPropListGetIterator(nullptr);
  EXPECT_FALSE(CxPropListIteratorHasNext(&none));
}

}  // namespace
