// The result record, the message table and the error handler.
#include <malloc.h>

#include <cstdlib>
#include <string>

#include "capis/context.h"
#include "capis/results.h"
#include "capis/zo_memory.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"

namespace {

TEST(MessageTable, HoldsEveryMessageWithItsNumber) {
  EXPECT_STREQ(zovexamsg[0], "zovexamsg");
  for (int n = 1; n < kZOmsgCount; ++n) {
    char prefix[16];
    snprintf(prefix, sizeof prefix, "KZTCC%04dE ", n);
    ASSERT_NE(zovexamsg[n], nullptr) << n;
    EXPECT_EQ(std::string(zovexamsg[n]).rfind(prefix, 0), 0u) << zovexamsg[n];
  }
  // Texts are kept with their own spellings and spacing.
  EXPECT_STREQ(zovexamsg[62],
               "KZTCC0062E An error occured while processing the Vexa event. The function %s failed with the "
               "following error: %s");
  EXPECT_STREQ(zovexamsg[7], "KZTCC0007E The property %1$s has a value in the property list that is not valid: %2$s .");
}

TEST(ErrorHandler, FormatsPositionalArgumentsIntoTheRecord) {
  UseBuildCatalogs();
  ZOVEXA_result r{};
  ASSERT_NE(ZOerrorHandler(nullptr, 7, &r, 0, 2, "queueSize", "0"), nullptr);
  ASSERT_EQ(r.count, 1);
  EXPECT_EQ(r.entries[0].code, 7u);
  EXPECT_STREQ(r.entries[0].text,
               "KZTCC0007E The property queueSize has a value in the property list that is not valid: 0 .");
  ASSERT_NE(ZOerrorHandler(nullptr, 14, &r, 0, 2, "outcome", 3), nullptr);
  EXPECT_STREQ(r.entries[1].text, "KZTCC0014E The predefined element, outcome , has a value type that is not valid: 3 .");
  ZOVEXA_Result_Clean(&r);
}

TEST(ErrorHandler, GrowsByFiveWhenFull) {
  ZOVEXA_result r{};
  std::vector<int32_t> capacities;
  for (int i = 0; i < 11; ++i) {
    ASSERT_NE(ZOerrorHandler(nullptr, 13, &r, 0, 0), nullptr);
    capacities.push_back(r.capacity);
  }
  EXPECT_EQ(capacities, (std::vector<int32_t>{5, 5, 5, 5, 5, 10, 10, 10, 10, 10, 15}));
  for (int i = 0; i < r.count; ++i) EXPECT_STREQ(r.entries[i].text, zovexamsg[13]);
  ZOVEXA_Result_Clean(&r);
  EXPECT_EQ(r.count, 0);
  EXPECT_EQ(r.capacity, 0);
  EXPECT_EQ(r.entries, nullptr);
}

TEST(ErrorHandler, NegativeCountIsTreatedAsEmpty) {
  ZOVEXA_result r{};
  r.count = -4;
  r.capacity = 2;
  ASSERT_NE(ZOerrorHandler(nullptr, 13, &r, 0, 0), nullptr);
  EXPECT_EQ(r.count, 1);
  EXPECT_EQ(r.capacity, 5);
  ZOVEXA_Result_Clean(&r);
}

TEST(ErrorHandler, BufferSizeFollowsTheLengthHint) {
  ZOVEXA_result r{};
  ASSERT_NE(ZOerrorHandler(nullptr, 6, &r, 0, 1, "x"), nullptr);
  EXPECT_GE(malloc_usable_size(r.entries[0].text), 8192u);
  // A long argument with its length as the hint is never cut short.
  std::string longText(20000, 'y');
  ASSERT_NE(ZOerrorHandler(nullptr, 37, &r, static_cast<uint32_t>(longText.size() + 1), 2, "a", longText.c_str()),
            nullptr);
  EXPECT_EQ(std::string(r.entries[1].text),
            "KZTCC0037E An error occurred while sending events to the audit server: a " + longText + " .");
  // The same without a hint still holds the whole text.
  ASSERT_NE(ZOerrorHandler(nullptr, 37, &r, 0, 2, "a", longText.c_str()), nullptr);
  EXPECT_EQ(std::string(r.entries[2].text), std::string(r.entries[1].text));
  ZOVEXA_Result_Clean(&r);
}

TEST(ErrorHandler, OutOfMemoryLeavesTheRecordAlone) {
  ZOVEXA_result r{};
  ASSERT_NE(ZOerrorHandler(nullptr, 13, &r, 0, 0), nullptr);
  // Fill the five entries so that the next append must grow.
  for (int i = 0; i < 4; ++i) ZOerrorHandler(nullptr, 13, &r, 0, 0);
  ZOVEXA_resultEntry *before = r.entries;
  ZOsetAllocFailAfter(1);
  EXPECT_EQ(ZOerrorHandler(nullptr, 12, &r, 0, 0), nullptr);
  ZOsetAllocFailAfter(0);
  EXPECT_EQ(r.count, 5);
  EXPECT_EQ(r.capacity, 5);
  EXPECT_EQ(r.entries, before);
  ZOVEXA_Result_Clean(&r);
}

TEST(ErrorHandler, TextWithoutArgumentsNeedsNoMemory) {
  ZOVEXA_result r{};
  // The entry array is allocated, then the copy of the text fails: the
  // built-in text is stored, and cleaning must not free it.
  for (uint32_t number : {1u, 10u}) {
    ZOsetAllocFailAfter(number == 1 ? 2 : 1);
    ASSERT_NE(ZOerrorHandler(nullptr, number, &r, 0, 0), nullptr);
    ZOsetAllocFailAfter(0);
    EXPECT_EQ(r.entries[r.count - 1].text, zovexamsg[number]);
  }
  EXPECT_EQ(r.count, 2);
  EXPECT_EQ(ZOVEXA_Result_Clean(&r), 0);
}

TEST(ErrorHandler, TakesTheTextFromTheContextsCatalog) {
  TempDir dir;
  WriteFile(dir.File("de.msg"), "$set 2\n6 KZTCC0006E Die Eigenschaft '%s' fehlt.\n");
  std::string catDir = dir.path() + "/de_DE";
  ASSERT_EQ(system(("mkdir -p " + catDir + " && gencat " + catDir + "/zovexamsg.cat " + dir.File("de.msg")).c_str()),
            0);
  UseBuildCatalogs();
  ASSERT_TRUE(TisInit());
  std::string saved = TisGetMsgPath();
  TisSetMsgPath((dir.path() + "/%l_%t/%N.cat:" + saved).c_str());
  TestContext tc({StrProp("errorLocale", "de_DE.UTF-8")});
  TisSetMsgPath(saved.c_str());
  TisShutdown();
  if (tc.ctx == nullptr || tc.ctx->locale == nullptr) GTEST_SKIP() << "de_DE.UTF-8 is not installed";
  ZOVEXA_result r{};
  ZOerrorHandler(tc.ctx, 6, &r, 0, 1, "serverURL");
  ZOerrorHandler(tc.ctx, 9, &r, 0, 1, "name");  // not translated: the built-in text
  ASSERT_EQ(r.count, 2);
  EXPECT_STREQ(r.entries[0].text, "KZTCC0006E Die Eigenschaft 'serverURL' fehlt.");
  EXPECT_STREQ(r.entries[1].text, "KZTCC0009E The required parameter 'name' passed to the function was null.");
  ZOVEXA_Result_Clean(&r);
}

TEST(ErrorHandler, ReportsGoToTheErrorLog) {
  TestContext tc;
  ASSERT_NE(tc.ctx, nullptr);
  ZOVEXA_result r{};
  EXPECT_TRUE(ZOreport(tc.ctx, &r, 17, 0, 1, "a.b"));
  std::string log = ReadFile(tc.dir.File("error.log"));
  EXPECT_NE(log.find("KZTCC0017E The element cannot be added because the parent element 'a.b' does not exist."),
            std::string::npos)
      << log;
  ZOVEXA_Result_Clean(&r);
}

TEST(PublicCalls, ResultsMemoryAndSleep) {
  EXPECT_EQ(ZOVEXA_Result_Clean(nullptr), -1);
  ZOVEXA_result empty{};
  EXPECT_EQ(ZOVEXA_Result_Clean(&empty), 0);
  EXPECT_EQ(empty.count, 0);
  EXPECT_EQ(empty.entries, nullptr);
  EXPECT_EQ(ZOVEXA_Free(nullptr), -1);
  void *p = ZOVEXA_Malloc(16);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(ZOVEXA_Free(p), 0);
  EXPECT_EQ(ZOVEXA_Malloc(-1), nullptr);
  EXPECT_EQ(ZOVEXA_Sleep(0), 0);
}

TEST(PublicCalls, NullContextAndNullResult) {
  ZOVEXA_result r{};
  EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(nullptr, &r), -1);
  ASSERT_EQ(r.count, 1);
  EXPECT_EQ(r.entries[0].code, 10u);
  EXPECT_STREQ(r.entries[0].text, "KZTCC0010E The required context handle parameter passed to the function was null.");
  ZOVEXA_Result_Clean(&r);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(nullptr, &r), -1);
  EXPECT_EQ(OnlyCode(r), 12u);
  ZOVEXA_Result_Clean(&r);
  TestContext tc;
  ASSERT_NE(tc.ctx, nullptr);
  EXPECT_EQ(ZOVEXA_AuditClientContext_SetTraceLevel(tc.ctx, 3, nullptr), -1);
  EXPECT_EQ(ZOVEXA_AuditClientContext_Create(nullptr, nullptr), nullptr);
}

}  // namespace
