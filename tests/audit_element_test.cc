// Element trees: dotted paths, attach rules, list growth, static elements,
// value copies per type, codeset conversion and out-of-memory behaviour.
#include "capis/audit_element.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstring>
#include <string>
#include <vector>

#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

using Ctx = ZOVEXA_AuditClientContext;
template <typename T>
using ElementAdd = ZOVEXA_AuditElement *(*)(Ctx *, ZOVEXA_AuditElement *, const char *, T *, int,
                                            ZOVEXA_result *);
template <typename T>
using EventAdd = ZOVEXA_AuditElement *(*)(ZOVEXA_AuditEvent *, const char *, T *, int, ZOVEXA_result *);

char *kNames[] = {const_cast<char *>("first"), const_cast<char *>("second"), nullptr};

// A caller's NULL-terminated array of two records from ZOVEXA_Malloc, so
// that an element may take it.
template <typename T>
T **MakeArray(T *first, T *second) {
  T *items[] = {first, second, nullptr};
  return static_cast<T **>(memcpy(ZOVEXA_Malloc(sizeof items), items, sizeof items));
}

class ElementTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(tc.ctx, nullptr);
    event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ASSERT_NE(event, nullptr);
  }
  void TearDown() override {
    if (event != nullptr) {
      EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
    }
    ZOVEXA_Result_Clean(&r);
  }
  // The last call reported exactly message `code`, with `word` in its text;
  // empties the result record.
  ::testing::AssertionResult Said(uint32_t code, const std::string &word = "") {
    std::vector<std::string> texts = Texts(r);
    uint32_t only = OnlyCode(r);
    ZOVEXA_Result_Clean(&r);
    if (only == code && texts[0].find(word) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << ::testing::PrintToString(texts);
  }
  // A top-level element of the event carrying an integer.
  ZOVEXA_AuditElement *Top(const char *name) {
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddIntegerElement(event, name, 1, &r);
    EXPECT_NE(e, nullptr) << name;
    return e;
  }
  ZOVEXA_AuditElement *Sub(ZOVEXA_AuditElement *parent, const std::string &name) {
    ZOVEXA_AuditElement *e = ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, name.c_str(), "v", 1, &r);
    EXPECT_NE(e, nullptr) << name;
    return e;
  }

  // Adds the caller's record `mine` below `records` with a copy and to the
  // event without one, through the typed adds of its value type. Both are
  // released with the event, so a copy that shares anything with `mine`
  // shows up under ASan as a double free.
  template <typename T>
  void CopyAndTake(uint32_t type, T *mine, ElementAdd<T> elementAdd, EventAdd<T> eventAdd) {
    SCOPED_TRACE(type);
    ASSERT_NE(mine, nullptr);
    ASSERT_EQ(r.count, 0);
    std::string name = "r" + std::to_string(type);
    ZOVEXA_AuditElement *copy = elementAdd(tc.ctx, records, name.c_str(), mine, 1, &r);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, copy, &r), static_cast<int32_t>(type));
    EXPECT_EQ(ZOVEXA_AuditElement_GetValue(tc.ctx, copy, &r), copy->value);
    EXPECT_NE(copy->value, mine);
    ZOVEXA_AuditElement *taken = eventAdd(event, name.c_str(), mine, 0, &r);
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->value, mine);
    EXPECT_EQ(taken->valueType, type);
  }

  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = nullptr;
  ZOVEXA_AuditElement *records = nullptr;
};

TEST_F(ElementTest, DottedPathsAddAndFindBelowTheLastSegment) {
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Sub(a, "b");
  ZOVEXA_AuditElement *c = ZOVEXA_AuditEvent_AddStringElement(event, "a.b.c", "leaf", 1, &r);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(b->sub.count, 1);
  EXPECT_EQ(b->sub.items[0], c);
  EXPECT_STREQ(c->name, "c");
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, "b.c", &r), c);
  EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "a.b.c", &r), c);
  EXPECT_EQ(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "b.d", 4, &r), b->sub.items[1]);

  // A missing parent is named by its whole path; nothing changes.
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "a.x.c", "leaf", 1, &r), nullptr);
  EXPECT_TRUE(Said(17, "'a.x'"));
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, a, "x.y", "leaf", 1, &r), nullptr);
  EXPECT_TRUE(Said(17, "'x'"));
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "nothere.x", 0, &r), nullptr);
  EXPECT_TRUE(Said(17, "'nothere'"));
  EXPECT_EQ(a->sub.count, 1);
  EXPECT_EQ(event->elements.count, 1);

  // Incomplete, overlong or misplaced paths find nothing, which is no error.
  for (const char *path : {"a.b.", "a.b.c.d", "a.q", "q.b", "a..b", "b.c", "b"}) {
    EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, path, &r), nullptr) << path;
    EXPECT_EQ(r.count, 0) << path;
  }
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, nullptr, "b", &r), nullptr);
  EXPECT_TRUE(Said(9, "'parentElementHandle'"));
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, nullptr, &r), nullptr);
  EXPECT_TRUE(Said(9, "'subElementName'"));
  EXPECT_TRUE(ZOVEXA_AuditElement_GetElement(nullptr, a, "b", &r) == nullptr && Said(10));
}

TEST_F(ElementTest, DuplicateAndEmptyNamesAreRefused) {
  ZOVEXA_AuditElement *a = Top("a");
  Sub(a, "same");
  Sub(Top("b"), "same");  // the same name below another parent
  EXPECT_EQ(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "same", 2, &r), nullptr);
  EXPECT_TRUE(Said(2, "'same'"));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddIntegerElement(event, "a", 2, &r) == nullptr && Said(2, "'a'"));

  EXPECT_TRUE(
      ZOVEXA_AuditEvent_AddStringElement(event, "", "x", 1, &r) == nullptr &&
      Said(8, "KZTCC0008E The parameter, name , passed to the function has a value that is not valid:  ."));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddStringElement(event, "a.", "x", 1, &r) == nullptr && Said(8, "a."));
  EXPECT_EQ(a->sub.count, 1);
  EXPECT_EQ(event->elements.count, 2);
}

// Ten slots first, doubled once count reaches capacity - 1, so the tenth add
// grows the list. Memory running out at any allocation of that add leaves
// the parent as it was.
TEST_F(ElementTest, SubElementListGrowsAndSurvivesOutOfMemory) {
  ZOVEXA_AuditElement *a = Top("a");
  for (int i = 0; i < 9; ++i) {
    Sub(a, "s" + std::to_string(i));
    EXPECT_EQ(a->sub.capacity, 10);
  }
  ZOVEXA_AuditElement **items = a->sub.items;
  long n = 1;
  for (;; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddStringElement(event, "a.s9", "v", 1, &r);
    ZOsetAllocFailAfter(0);
    if (e != nullptr) break;
    ASSERT_LT(n, 100);
    EXPECT_EQ(a->sub.count, 9) << n;
    EXPECT_EQ(a->sub.capacity, 10) << n;
    EXPECT_EQ(a->sub.items, items) << n;
    // The message itself may be lost when its own allocation fails.
    if (r.count > 0) {
      EXPECT_EQ(r.entries[0].code, 1u) << n;
    }
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_GE(n, 5);  // path copy, path conversion, record, name, value, list
  EXPECT_EQ(a->sub.capacity, 20);
  for (int i = 10; i < 12; ++i) Sub(a, "s" + std::to_string(i));
  // Order and look-up survive the move to the bigger array.
  for (int i = 0; i < 12; ++i) {
    std::string name = "s" + std::to_string(i);
    EXPECT_STREQ(a->sub.items[i]->name, name.c_str());
    EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, name.c_str(), &r), a->sub.items[i]);
  }
}

TEST_F(ElementTest, StaticTrees) {
  // a { b { c }, d }, with d static on its own before a is marked.
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Sub(a, "b");
  ZOVEXA_AuditElement *c = Sub(b, "c");
  ZOVEXA_AuditElement *d = Sub(a, "d");
  ZOVEXA_AuditElement *plain = Top("plain");

  // A non-static element hangs below one parent only and is not shared.
  EXPECT_TRUE(ZOattachElement(tc.ctx, &event->elements, nullptr, true, b, &r) == -1 && Said(21, "'b'"));
  EXPECT_TRUE(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, a, plain, &r) == nullptr && Said(29, "'plain'"));
  EXPECT_TRUE(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, plain, &r) == -1 &&
              Said(29,
                   "KZTCC0029E The element with the name 'plain' is not static and cannot be added with this "
                   "function."));
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, nullptr, plain, &r), nullptr);
  EXPECT_TRUE(Said(9, "'parentElement'"));
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, a, nullptr, &r), nullptr);
  EXPECT_TRUE(Said(9, "'staticElement'"));

  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, d, &r), 0);
  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, a, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, c, &r), 1);  // marked with the tree
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, plain, &r), 0);
  EXPECT_TRUE(ZOVEXA_AuditElement_IsStatic(tc.ctx, nullptr, &r) == -1 && Said(9, "'element_Handle'"));

  // Nothing can be added below a static element, by any path.
  EXPECT_TRUE(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "x", 1, &r) == nullptr && Said(30, "'a'"));
  EXPECT_TRUE(ZOVEXA_AuditEvent_AddIntegerElement(event, "a.b.x", 1, &r) == nullptr && Said(30, "'b'"));
  EXPECT_EQ(b->sub.count, 1);

  // A static element goes below several parents, once per parent, and is
  // then shared on its own.
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, plain, c, &r), c);
  EXPECT_TRUE(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, plain, c, &r) == nullptr && Said(2, "'c'"));

  // The event's delete skips a and c. DeleteStatic(a) releases b, which was
  // static only through a (the leak checker sees it otherwise), and leaves
  // c and d, which are static on their own.
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
  event = nullptr;
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, a, &r), 0);
  EXPECT_STREQ(static_cast<char *>(d->value), "v");
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, c, &r), 1);
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, c, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, d, &r), 0);
}

TEST_F(ElementTest, PlainValuesCopiedOrTaken) {
  ZOVEXA_AuditElement *p = Top("p");
  int32_t small = -7;
  int64_t big = INT64_C(1) << 40;
  struct timeval when = {1234567890, 654321};
  char text[] = "original";
  ZOVEXA_AuditElement *i32 = ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, p, "i", small, &r);
  ZOVEXA_AuditElement *i64 = ZOVEXA_AuditElement_AddLongElement(tc.ctx, p, "l", big, &r);
  ZOVEXA_AuditElement *tv = ZOVEXA_AuditElement_AddDateTimeElement(tc.ctx, p, "t", &when, 1, &r);
  ZOVEXA_AuditElement *s = ZOVEXA_AuditElement_AddStringElement(tc.ctx, p, "s", text, 1, &r);
  ASSERT_TRUE(i32 && i64 && tv && s);
  small = 0;  // the caller's values change after the adds
  when.tv_sec = 0;
  text[0] = 'X';
  EXPECT_EQ(*static_cast<int32_t *>(ZOVEXA_AuditElement_GetValue(tc.ctx, i32, &r)), -7);
  EXPECT_EQ(*static_cast<int64_t *>(ZOVEXA_AuditElement_GetValue(tc.ctx, i64, &r)), INT64_C(1) << 40);
  auto *stored = static_cast<struct timeval *>(ZOVEXA_AuditElement_GetValue(tc.ctx, tv, &r));
  EXPECT_EQ(stored->tv_sec, 1234567890);
  EXPECT_EQ(stored->tv_usec, 654321);
  char *value = static_cast<char *>(ZOVEXA_AuditElement_GetValue(tc.ctx, s, &r));
  EXPECT_STREQ(value, "original");
  EXPECT_NE(value, s->value);  // a fresh string for the caller
  EXPECT_EQ(ZOVEXA_Free(value), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, i64, &r), VEXA_VT_LONG);
  EXPECT_TRUE(ZOVEXA_AuditElement_GetValueType(tc.ctx, nullptr, &r) == -1 && Said(9, "'element_Handle'"));

  // Without a copy the element owns the block (released with the event); a
  // failed add leaves it with the caller.
  char *owned = strcpy(static_cast<char *>(ZOVEXA_Malloc(6)), "owned");
  ZOVEXA_AuditElement *taken = ZOVEXA_AuditElement_AddStringElement(tc.ctx, p, "o", owned, 0, &r);
  ASSERT_NE(taken, nullptr);
  EXPECT_EQ(taken->value, owned);
  char *mine = strcpy(static_cast<char *>(ZOVEXA_Malloc(4)), "dup");
  EXPECT_TRUE(ZOVEXA_AuditElement_AddStringElement(tc.ctx, p, "o", mine, 0, &r) == nullptr && Said(2, "'o'"));
  EXPECT_STREQ(mine, "dup");
  ZOVEXA_Free(mine);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, p, "n", nullptr, 1, &r), nullptr);
  EXPECT_TRUE(Said(9, "'value'"));
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, p, nullptr, "v", 1, &r), nullptr);
  EXPECT_TRUE(Said(9, "'name'"));

  // Value types outside the table cannot be copied, but are stored unchecked
  // without a copy. An unknown type's block is released with its element; a
  // VEXA_VT_NONE pointer stays the caller's.
  static int32_t callers = 0;
  for (uint32_t type : {0u, 27u}) {
    const std::string number = std::to_string(type);
    EXPECT_EQ(ZOVEXA_AuditElement_AddElement(tc.ctx, p, "x", type, &callers, 1, &r), nullptr);
    EXPECT_TRUE(
        Said(8, "valueType , passed to the function has a value that is not valid: " + number + " ."));
    void *given = type == 0 ? static_cast<void *>(&callers) : ZOVEXA_Malloc(3);
    ZOVEXA_AuditElement *e =
        ZOVEXA_AuditElement_AddElement(tc.ctx, p, ("t" + number).c_str(), type, given, 0, &r);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, e, &r), static_cast<int32_t>(type));
    EXPECT_EQ(ZOVEXA_AuditElement_GetValue(tc.ctx, e, &r), given);
  }
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, p, "x", &r), nullptr);
}

TEST_F(ElementTest, RecordValuesCopiedOrTakenForEveryRecordType) {
  Ctx *c = tc.ctx;
  records = Top("records");
  ZOVEXA_Attribute *attr = ZOVEXA_Attribute_Create(c, "n", "v", "s", &r);
  ZOVEXA_Attribute *attrs[] = {attr, nullptr};
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(c, "cn=jo", "jo", "dom", "realm", "10.0.0.1", "IPV4", "s1",
                                                 7, kNames, attrs, &r);
  ASSERT_NE(user, nullptr);

  // Out of memory at any allocation of a record copy: nothing is kept.
  ZOVEXA_AuditElement *oom = Top("oom");
  for (long n = 1;; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditElement_AddUserInfoElement(c, oom, "u", user, 1, &r);
    ZOsetAllocFailAfter(0);
    ZOVEXA_Result_Clean(&r);
    if (e != nullptr) break;
    ASSERT_LT(n, 200);
    EXPECT_EQ(oom->sub.count, 0) << n;
  }

  CopyAndTake(VEXA_VT_USER_INFO, user, ZOVEXA_AuditElement_AddUserInfoElement,
              ZOVEXA_AuditEvent_AddUserInfoElement);
  CopyAndTake(VEXA_VT_ATTRIBUTE, attr, ZOVEXA_AuditElement_AddAttributeElement,
              ZOVEXA_AuditEvent_AddAttributeElement);
  CopyAndTake(VEXA_VT_ATTRIBUTE_PERMISSION_INFO,
              ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, kNames, kNames, &r),
              ZOVEXA_AuditElement_AddAttributePermissionInfoElement,
              ZOVEXA_AuditEvent_AddAttributePermissionInfoElement);
  CopyAndTake(VEXA_VT_COMPONENT_ID,
              ZOVEXA_ComponentId_Create(c, "host", "Hostname", "app", "env", "comp", "ctype", "idtype", "sub",
                                        "i", "p", "t", &r),
              ZOVEXA_AuditElement_AddComponentIdElement, ZOVEXA_AuditEvent_AddComponentIdElement);
  CopyAndTake(VEXA_VT_HTTPURL_INFO, ZOVEXA_HTTPURLInfo_Create(c, "http://x/", "GET", "q", "a", 404, &r),
              ZOVEXA_AuditElement_AddHTTPURLInfoElement, ZOVEXA_AuditEvent_AddHTTPURLInfoElement);
  CopyAndTake(VEXA_VT_MEMBERSHIP_INFO, ZOVEXA_MembershipInfo_Create(c, "group", "g7", "admins", &r),
              ZOVEXA_AuditElement_AddMembershipInfoElement, ZOVEXA_AuditEvent_AddMembershipInfoElement);
  ZOVEXA_TargetInfo *target = ZOVEXA_TargetInfo_Create(c, kNames, nullptr, &r);
  CopyAndTake(VEXA_VT_MGMT_INFO, ZOVEXA_MgmtInfo_Create(c, target, "restart", &r),
              ZOVEXA_AuditElement_AddMgmtInfoElement, ZOVEXA_AuditEvent_AddMgmtInfoElement);
  CopyAndTake(VEXA_VT_TARGET_INFO, target, ZOVEXA_AuditElement_AddTargetInfoElement,
              ZOVEXA_AuditEvent_AddTargetInfoElement);
  CopyAndTake(VEXA_VT_MSG_DATA_ELEMENT,
              ZOVEXA_MsgDataElement_Create(c, "M1", "local", "1", "cat", "xpg", "en", kNames, &r),
              ZOVEXA_AuditElement_AddMsgDataElement, ZOVEXA_AuditEvent_AddMsgDataElement);
  CopyAndTake(VEXA_VT_OUTCOME, ZOVEXA_Outcome_Create(c, "UNSUCCESSFUL", 3, 4, "denied", &r),
              ZOVEXA_AuditElement_AddOutcomeElement, ZOVEXA_AuditEvent_AddOutcomeElement);
  CopyAndTake(VEXA_VT_PERF_INFO, ZOVEXA_PerfInfo_Create(c, "latency", "desc", 2, "ms", 90, 10, 50, "avg", &r),
              ZOVEXA_AuditElement_AddPerfInfoElement, ZOVEXA_AuditEvent_AddPerfInfoElement);
  CopyAndTake(VEXA_VT_POLICY_INFO, ZOVEXA_PolicyInfo_Create(c, "pol", "br", "acl", "d", nullptr, &r),
              ZOVEXA_AuditElement_AddPolicyInfoElement, ZOVEXA_AuditEvent_AddPolicyInfoElement);
  CopyAndTake(VEXA_VT_PERMISSION_INFO,
              ZOVEXA_PermissionInfo_Create(c, kNames, kNames, kNames, kNames, kNames, &r),
              ZOVEXA_AuditElement_AddPermissionInfoElement, ZOVEXA_AuditEvent_AddPermissionInfoElement);
  CopyAndTake(VEXA_VT_PROVISIONING_INFO, ZOVEXA_ProvisioningInfo_Create(c, "acct", "res", "db", &r),
              ZOVEXA_AuditElement_AddProvisioningInfoElement, ZOVEXA_AuditEvent_AddProvisioningInfoElement);
  CopyAndTake(VEXA_VT_REGISTRY_INFO,
              ZOVEXA_RegistryInfo_Create(c, "LDAP", "ldap.example", "Hostname", "389", &r),
              ZOVEXA_AuditElement_AddRegistryInfoElement, ZOVEXA_AuditEvent_AddRegistryInfoElement);
  CopyAndTake(
      VEXA_VT_REGISTRY_OBJECT_INFO, ZOVEXA_RegistryObjectInfo_Create(c, "obj", "reg", "user", "d", attrs, &r),
      ZOVEXA_AuditElement_AddRegistryObjectInfoElement, ZOVEXA_AuditEvent_AddRegistryObjectInfoElement);
  CopyAndTake(VEXA_VT_RESOURCE_INFO, ZOVEXA_ResourceInfo_Create(c, "inApp", "inPolicy", "file", nullptr, &r),
              ZOVEXA_AuditElement_AddResourceInfoElement, ZOVEXA_AuditEvent_AddResourceInfoElement);
  CopyAndTake(VEXA_VT_WORK_ITEM_INFO, ZOVEXA_WorkItemInfo_Create(c, "w1", "ticket", &r),
              ZOVEXA_AuditElement_AddWorkItemInfoElement, ZOVEXA_AuditEvent_AddWorkItemInfoElement);
  CopyAndTake(VEXA_VT_ATTRIBUTE_ARRAY,
              MakeArray(ZOVEXA_Attribute_Create(c, "x", "1", nullptr, &r),
                        ZOVEXA_Attribute_Create(c, "y", "2", nullptr, &r)),
              ZOVEXA_AuditElement_AddAttributeArrayElement, ZOVEXA_AuditEvent_AddAttributeArrayElement);
  CopyAndTake(VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY,
              MakeArray(ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, nullptr, nullptr, &r),
                        ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, nullptr, nullptr, &r)),
              ZOVEXA_AuditElement_AddAttributePermissionInfoArrayElement,
              ZOVEXA_AuditEvent_AddAttributePermissionInfoArrayElement);
  CopyAndTake(VEXA_VT_MEMBERSHIP_INFO_ARRAY,
              MakeArray(ZOVEXA_MembershipInfo_Create(c, "group", "1", nullptr, &r),
                        ZOVEXA_MembershipInfo_Create(c, "role", "2", nullptr, &r)),
              ZOVEXA_AuditElement_AddMembershipInfoArrayElement,
              ZOVEXA_AuditEvent_AddMembershipInfoArrayElement);
  CopyAndTake(VEXA_VT_POLICY_INFO_ARRAY,
              MakeArray(ZOVEXA_PolicyInfo_Create(c, "p1", nullptr, "t", nullptr, nullptr, &r),
                        ZOVEXA_PolicyInfo_Create(c, "p2", nullptr, "t", nullptr, nullptr, &r)),
              ZOVEXA_AuditElement_AddPolicyInfoArrayElement, ZOVEXA_AuditEvent_AddPolicyInfoArrayElement);
  // One element per record type, each with a name of its own.
  EXPECT_EQ(records->sub.count, VEXA_VT_POLICY_INFO_ARRAY - VEXA_VT_ATTRIBUTE + 1);

  // A copy's content, its source now owned by the event.
  auto *copy = static_cast<ZOVEXA_UserInfo *>(ZOVEXA_AuditElement_GetElement(c, records, "r21", &r)->value);
  EXPECT_STREQ(copy->appUserName, "jo");
  EXPECT_STREQ(copy->callerList[1], "second");
  EXPECT_STREQ(copy->attributes[0]->value, "v");
}

TEST(ElementCodesetTest, NamesAndStringsAreHeldInUtf8) {
  TestContext tc({StrProp("elementCodeSet", "ISO-8859-1")});
  ASSERT_NE(tc.ctx, nullptr);
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  ASSERT_NE(event, nullptr);
  ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddStringElement(event, "caf\xE9", "Jos\xE9", 1, &r);
  ASSERT_NE(e, nullptr);
  EXPECT_STREQ(e->name, "caf\xC3\xA9");
  EXPECT_STREQ(static_cast<char *>(e->value), "Jos\xC3\xA9");
  EXPECT_STREQ(ZOVEXA_AuditElement_GetName(tc.ctx, e, &r), "caf\xC3\xA9");
  // Found again by the name as the caller spells it, also below a parent.
  EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "caf\xE9", &r), e);
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "caf\xE9.n\xE9", 1, &r), nullptr);
  EXPECT_NE(ZOVEXA_AuditEvent_GetElement(event, "caf\xE9.n\xE9", &r), nullptr);
  EXPECT_EQ(r.count, 0);
  char *back = static_cast<char *>(ZOVEXA_AuditElement_GetValue(tc.ctx, e, &r));
  EXPECT_STREQ(back, "Jos\xE9");
  ZOVEXA_Free(back);

  // A record copied into an element keeps its UTF-8 strings as they are.
  ZOVEXA_Attribute *attr = ZOVEXA_Attribute_Create(tc.ctx, "n\xE9", "v\xE9", nullptr, &r);
  ZOVEXA_AuditElement *ae = ZOVEXA_AuditEvent_AddAttributeElement(event, "attr", attr, 1, &r);
  ASSERT_NE(ae, nullptr);
  EXPECT_STREQ(static_cast<ZOVEXA_Attribute_ *>(ae->value)->value, "v\xC3\xA9");
  char *value = ZOVEXA_Attribute_GetValue(tc.ctx, static_cast<ZOVEXA_Attribute *>(ae->value), &r);
  EXPECT_STREQ(value, "v\xE9");
  ZOVEXA_Free(value);
  ZOVEXA_Attribute_Delete(tc.ctx, attr, &r);
  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
  ZOVEXA_Result_Clean(&r);
}

}  // namespace
