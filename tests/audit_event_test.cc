// Events: creation and its time stamp, the top-level list, static elements
// shared between events, NULL handling and out-of-memory behaviour.
#include "capis/audit_event.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <string>
#include <vector>

#include "capis/audit_element.h"
#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

class EventTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(tc.ctx, nullptr); }
  void TearDown() override { ZOVEXA_Result_Clean(&r); }
  // The last call reported exactly message `code`, with `word` in its text;
  // empties the result record.
  ::testing::AssertionResult Said(uint32_t code, const std::string &word = "") {
    std::vector<std::string> texts = Texts(r);
    uint32_t only = OnlyCode(r);
    ZOVEXA_Result_Clean(&r);
    if (only == code && texts[0].find(word) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << ::testing::PrintToString(texts);
  }
  ZOVEXA_AuditEvent *Create() {
    ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    EXPECT_NE(event, nullptr);
    return event;
  }

  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
  ZOVEXA_result r{};
};

TEST_F(EventTest, CreateStoresTypeAndTimeOfCreation) {
  struct timeval before, after;
  gettimeofday(&before, nullptr);
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_NOT_A_TYPE", &r);
  gettimeofday(&after, nullptr);
  ASSERT_NE(event, nullptr);  // unknown types are only refused when sent
  EXPECT_EQ(r.count, 0);
  struct timeval *stamp = ZOVEXA_AuditEvent_GetDefaultTimeStamp(event, &r);
  ASSERT_NE(stamp, nullptr);
  EXPECT_TRUE(timercmp(&before, stamp, <=) && timercmp(stamp, &after, <=));
  EXPECT_EQ(stamp, event->defaultTimeStamp);  // the event's own
  char *type = ZOVEXA_AuditEvent_GetType(event, &r);
  EXPECT_STREQ(type, "AUDIT_NOT_A_TYPE");
  EXPECT_NE(type, event->eventType);
  ZOVEXA_Free(type);

  // NULL events, result records, contexts and types.
  EXPECT_TRUE(ZOVEXA_AuditEvent_Delete(nullptr, &r) == -1 && Said(12));
  EXPECT_TRUE(ZOVEXA_AuditEvent_GetType(nullptr, &r) == nullptr && Said(12));
  EXPECT_TRUE(ZOVEXA_AuditEvent_GetDefaultTimeStamp(nullptr, &r) == nullptr && Said(12));
  EXPECT_TRUE(ZOVEXA_AuditEvent_GetElement(nullptr, "a", &r) == nullptr && Said(12));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddIntegerElement(nullptr, "a", 1, &r) == nullptr && Said(12));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddStaticElement(nullptr, nullptr, &r) == nullptr && Said(12));
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "a", "v", 1, nullptr), nullptr);
  EXPECT_EQ(event->elements.count, 0);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, nullptr), -1);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
  EXPECT_TRUE(ZOVEXA_AuditEvent_Create(tc.ctx, nullptr, &r) == nullptr && Said(9, "'eventType'"));
  EXPECT_TRUE(ZOVEXA_AuditEvent_Create(nullptr, "AUDIT_AUTHN", &r) == nullptr && Said(10));

  // Out of memory at each allocation of a create: nothing is made or kept.
  int failures = 0;
  for (long n = 1;; ++n, ++failures) {
    ZOsetAllocFailAfter(n);
    event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ZOsetAllocFailAfter(0);
    if (event != nullptr) break;
    ASSERT_LT(n, 50);
    // The message itself may be lost when its own allocation fails.
    if (r.count > 0) {
      EXPECT_EQ(r.entries[0].code, 1u) << n;
    }
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_EQ(failures, 3);  // the record, the type name, the time value
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
}

// 20 slots first, doubled once count reaches capacity - 1, so the 20th add
// grows the list. Memory running out at any allocation of that add leaves
// the list as it was.
TEST_F(EventTest, TopLevelListGrowsFromTwentyAndSurvivesOutOfMemory) {
  ZOVEXA_AuditEvent *event = Create();
  auto name = [](int i) { return "e" + std::to_string(i); };
  for (int i = 1; i < 20; ++i) ZOVEXA_AuditEvent_AddIntegerElement(event, name(i).c_str(), i, &r);
  EXPECT_EQ(event->elements.capacity, 20);
  ZOVEXA_AuditElement **items = event->elements.items;
  for (long n = 1;; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddIntegerElement(event, "e20", 20, &r);
    ZOsetAllocFailAfter(0);
    ZOVEXA_Result_Clean(&r);
    if (e != nullptr) break;
    ASSERT_LT(n, 50);
    EXPECT_EQ(event->elements.count, 19);
    EXPECT_EQ(event->elements.items, items);
  }
  EXPECT_EQ(event->elements.capacity, 40);
  ZOVEXA_AuditEvent_AddIntegerElement(event, "e21", 21, &r);
  for (int i = 1; i <= 21; ++i) {
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_GetElement(event, name(i).c_str(), &r);
    ASSERT_NE(e, nullptr) << i;
    EXPECT_EQ(*static_cast<int32_t *>(e->value), i);
  }
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
}

TEST_F(EventTest, StaticElementOutlivesTheEventsThatHoldIt) {
  // A static tree built in a scratch event, then shared by three events.
  ZOVEXA_AuditEvent *scratch = Create();
  ZOVEXA_AuditElement *shared = ZOVEXA_AuditEvent_AddStringElement(scratch, "shared", "common", 1, &r);
  ZOVEXA_AuditElement *child = ZOVEXA_AuditEvent_AddIntegerElement(scratch, "shared.n", 42, &r);
  ZOVEXA_AuditElement *plain = ZOVEXA_AuditEvent_AddIntegerElement(scratch, "plain", 1, &r);
  ASSERT_TRUE(shared && child && plain);
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddStaticElement(scratch, plain, &r) == nullptr && Said(29, "'plain'"));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddStaticElement(scratch, nullptr, &r) == nullptr &&
              Said(9, "'staticElement'"));
  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, shared, &r), 0);
  // Already there.
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddStaticElement(scratch, shared, &r) == nullptr && Said(2, "'shared'"));
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(scratch, &r), 0);

  for (int round = 0; round < 3; ++round) {
    ZOVEXA_AuditEvent *event = Create();
    EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(event, shared, &r), shared);
    EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "shared.n", &r), child);
    EXPECT_TRUE(ZOVEXA_AuditEvent_AddIntegerElement(event, "shared.m", 1, &r) == nullptr && Said(30));
    EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
    EXPECT_STREQ(static_cast<char *>(shared->value), "common");
    ASSERT_EQ(shared->sub.count, 1);
    EXPECT_EQ(*static_cast<int32_t *>(child->value), 42);
  }
  // The child was marked with shared and goes with it.
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, shared, &r), 0);
}

}  // namespace
