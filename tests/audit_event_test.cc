// Events: creation and its time stamp, the top-level list, static elements
// shared between events, NULL handling and out-of-memory behaviour.
#include "capis/audit_event.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <string>

#include "capis/audit_element.h"
#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

bool Before(const struct timeval &a, const struct timeval &b) {
  return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_usec <= b.tv_usec);
}

class EventTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(tc.ctx, nullptr); }
  void TearDown() override { ZOVEXA_Result_Clean(&r); }
  uint32_t TakeCode() {
    uint32_t code = OnlyCode(r);
    ZOVEXA_Result_Clean(&r);
    return code;
  }
  std::string TakeText() {
    std::string text = r.count > 0 ? Texts(r)[0] : "";
    ZOVEXA_Result_Clean(&r);
    return text;
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
  EXPECT_TRUE(Before(before, *stamp) && Before(*stamp, after));
  EXPECT_EQ(ZOVEXA_AuditEvent_GetDefaultTimeStamp(event, &r), stamp);  // the event's own
  char *type = ZOVEXA_AuditEvent_GetType(event, &r);
  EXPECT_STREQ(type, "AUDIT_NOT_A_TYPE");
  EXPECT_NE(type, event->eventType);
  ZOVEXA_Free(type);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);

  EXPECT_EQ(ZOVEXA_AuditEvent_Create(tc.ctx, nullptr, &r), nullptr);
  EXPECT_NE(TakeText().find("'eventType'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditEvent_Create(nullptr, "AUDIT_AUTHN", &r), nullptr);
  EXPECT_EQ(TakeCode(), 10u);
}

TEST_F(EventTest, NullEventOrResultIsRefused) {
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(nullptr, &r), -1);
  EXPECT_EQ(TakeCode(), 12u);
  EXPECT_EQ(ZOVEXA_AuditEvent_GetType(nullptr, &r), nullptr);
  EXPECT_EQ(TakeCode(), 12u);
  EXPECT_EQ(ZOVEXA_AuditEvent_GetDefaultTimeStamp(nullptr, &r), nullptr);
  EXPECT_EQ(TakeCode(), 12u);
  EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(nullptr, "a", &r), nullptr);
  EXPECT_EQ(TakeCode(), 12u);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(nullptr, "a", 1, &r), nullptr);
  EXPECT_EQ(TakeCode(), 12u);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(nullptr, nullptr, &r), nullptr);
  EXPECT_EQ(TakeCode(), 12u);

  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "a", "v", 1, nullptr), nullptr);
  EXPECT_EQ(event->elements.count, 0);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, nullptr), -1);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
}

TEST_F(EventTest, TopLevelListGrowsFromTwentyAndRefusesDuplicates) {
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  ASSERT_NE(event, nullptr);
  for (int i = 1; i <= 21; ++i) {
    std::string name = "e" + std::to_string(i);
    ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, name.c_str(), i, &r), nullptr) << i;
    // 20 slots first, doubled once count reaches capacity - 1.
    EXPECT_EQ(event->elements.capacity, i < 20 ? 20 : 40) << "after " << i;
  }
  for (int i = 1; i <= 21; ++i) {
    std::string name = "e" + std::to_string(i);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_GetElement(event, name.c_str(), &r);
    ASSERT_NE(e, nullptr) << name;
    EXPECT_EQ(*static_cast<int32_t *>(e->value), i);
  }
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "e7", 0, &r), nullptr);
  std::string text = TakeText();
  EXPECT_NE(text.find("KZTCC0002E"), std::string::npos);
  EXPECT_NE(text.find("'e7'"), std::string::npos);
  EXPECT_EQ(event->elements.count, 21);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "nothere.x", 0, &r), nullptr);
  EXPECT_NE(TakeText().find("'nothere'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
}

TEST_F(EventTest, EventsWithTheSameNamesAreIndependent) {
  ZOVEXA_AuditEvent *one = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHZ", &r);
  ZOVEXA_AuditEvent *two = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHZ", &r);
  ASSERT_TRUE(one && two);
  ASSERT_NE(ZOVEXA_AuditEvent_AddStringElement(one, "user", "alice", 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddStringElement(two, "user", "bob", 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(two, "user.id", 2, &r), nullptr);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(one, &r), 0);
  ZOVEXA_AuditElement *user = ZOVEXA_AuditEvent_GetElement(two, "user", &r);
  ASSERT_NE(user, nullptr);
  EXPECT_STREQ(static_cast<char *>(user->value), "bob");
  EXPECT_NE(ZOVEXA_AuditEvent_GetElement(two, "user.id", &r), nullptr);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(two, &r), 0);
}

TEST_F(EventTest, StaticElementOutlivesTheEventsThatHoldIt) {
  // A static tree built in a scratch event, then shared by three events.
  ZOVEXA_AuditEvent *scratch = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  ASSERT_NE(scratch, nullptr);
  ZOVEXA_AuditElement *shared = ZOVEXA_AuditEvent_AddStringElement(scratch, "shared", "common", 1, &r);
  ZOVEXA_AuditElement *child = ZOVEXA_AuditEvent_AddIntegerElement(scratch, "shared.n", 42, &r);
  ASSERT_TRUE(shared && child);
  ZOVEXA_AuditElement *plain = ZOVEXA_AuditEvent_AddIntegerElement(scratch, "plain", 1, &r);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(scratch, plain, &r), nullptr);
  EXPECT_EQ(TakeCode(), 29u);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(scratch, nullptr, &r), nullptr);
  EXPECT_NE(TakeText().find("'staticElement'"), std::string::npos);
  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, shared, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(scratch, shared, &r), nullptr);  // already there
  EXPECT_EQ(TakeCode(), 2u);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(scratch, &r), 0);

  for (int round = 0; round < 3; ++round) {
    ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(ZOVEXA_AuditEvent_AddStaticElement(event, shared, &r), shared);
    EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "shared.n", &r), child);
    EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "shared.m", 1, &r), nullptr);
    EXPECT_EQ(TakeCode(), 30u);
    EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
    EXPECT_STREQ(shared->name, "shared");
    EXPECT_STREQ(static_cast<char *>(shared->value), "common");
    ASSERT_EQ(shared->sub.count, 1);
    EXPECT_EQ(*static_cast<int32_t *>(child->value), 42);
  }
  // The child was marked with shared and goes with it.
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, shared, &r), 0);
}

TEST_F(EventTest, OutOfMemoryLeavesNothingBehind) {
  int failures = 0;
  for (long n = 1; n < 50; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ZOsetAllocFailAfter(0);
    if (event != nullptr) {
      EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
      break;
    }
    ++failures;
    if (r.count > 0) {
      EXPECT_EQ(r.entries[0].code, 1u) << n;
    }
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_EQ(failures, 3);  // record, type name, time value

  // A top-level add that must grow the list: the list stays as it was.
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  ASSERT_NE(event, nullptr);
  for (int i = 0; i < 19; ++i)
    ZOVEXA_AuditEvent_AddIntegerElement(event, ("e" + std::to_string(i)).c_str(), i, &r);
  ZOVEXA_AuditElement **items = event->elements.items;
  for (long n = 1; n < 50; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddLongElement(event, "last", 5, &r);
    ZOsetAllocFailAfter(0);
    if (e != nullptr) break;
    EXPECT_EQ(event->elements.count, 19);
    EXPECT_EQ(event->elements.items, items);
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_EQ(event->elements.count, 20);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
}

}  // namespace
