// Element trees: dotted paths, attach rules, list growth, static elements,
// value copies per type, codeset conversion and out-of-memory behaviour.
#include "capis/audit_element.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstring>
#include <iterator>
#include <string>

#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

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
  // The code of the only message of the last call, then an empty record.
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
  // A top-level element of the event carrying an integer.
  ZOVEXA_AuditElement *Top(const char *name) {
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddIntegerElement(event, name, 1, &r);
    EXPECT_NE(e, nullptr) << name;
    return e;
  }
  ZOVEXA_AuditElement *Sub(ZOVEXA_AuditElement *parent, const char *name) {
    ZOVEXA_AuditElement *e = ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, name, "v", 1, &r);
    EXPECT_NE(e, nullptr) << name;
    return e;
  }

  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = nullptr;
};

TEST_F(ElementTest, DottedPathsAddBelowTheLastExistingSegment) {
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Sub(a, "b");
  ZOVEXA_AuditElement *c = ZOVEXA_AuditEvent_AddStringElement(event, "a.b.c", "leaf", 1, &r);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(b->sub.count, 1);
  EXPECT_EQ(b->sub.items[0], c);
  EXPECT_STREQ(c->name, "c");
  // The same path from an element and from the event.
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, "b.c", &r), c);
  EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "a.b.c", &r), c);
  EXPECT_EQ(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "b.d", 4, &r), b->sub.items[1]);

  // A missing middle segment names the whole parent path; nothing changes.
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "a.x.c", "leaf", 1, &r), nullptr);
  std::string text = TakeText();
  EXPECT_NE(text.find("KZTCC0017E"), std::string::npos) << text;
  EXPECT_NE(text.find("'a.x'"), std::string::npos) << text;
  EXPECT_EQ(a->sub.count, 1);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, a, "x.y", "leaf", 1, &r), nullptr);
  EXPECT_EQ(TakeCode(), 17u);
  EXPECT_EQ(event->elements.count, 1);
}

TEST_F(ElementTest, FindRefusesIncompleteOrOverlongPaths) {
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Sub(a, "b");
  Sub(b, "c");
  for (const char *path : {"a.b.", "a.b.c.d", "a.q", "q.b", "a..b", "b.c"}) {
    EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, path, &r), nullptr) << path;
    EXPECT_EQ(r.count, 0) << path;  // absence is not an error
  }
  EXPECT_EQ(ZOVEXA_AuditEvent_GetElement(event, "b", &r), nullptr);  // not top level
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, "b", &r), b);

  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, nullptr, "b", &r), nullptr);
  EXPECT_NE(TakeText().find("'parentElementHandle'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, nullptr, &r), nullptr);
  EXPECT_NE(TakeText().find("'subElementName'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(nullptr, a, "b", &r), nullptr);
  EXPECT_EQ(TakeCode(), 10u);
  EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, a, "b", nullptr), nullptr);
}

TEST_F(ElementTest, DuplicateNamesAreRefusedOnlyUnderTheSameParent) {
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Top("b");
  Sub(a, "same");
  Sub(b, "same");
  EXPECT_EQ(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "same", 2, &r), nullptr);
  std::string text = TakeText();
  EXPECT_NE(text.find("KZTCC0002E"), std::string::npos);
  EXPECT_NE(text.find("'same'"), std::string::npos);
  EXPECT_EQ(a->sub.count, 1);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "a", 2, &r), nullptr);
  EXPECT_EQ(TakeCode(), 2u);
  EXPECT_EQ(event->elements.count, 2);
}

TEST_F(ElementTest, SubElementListKeepsASpareSlot) {
  ZOVEXA_AuditElement *parent = Top("p");
  // Capacity after each add: 10 slots first, doubled once count reaches capacity - 1.
  const int32_t expected[] = {10, 10, 10, 10, 10, 10, 10, 10, 10, 20, 20, 20};
  for (int i = 0; i < 12; ++i) {
    std::string name = "s" + std::to_string(i);
    ASSERT_NE(Sub(parent, name.c_str()), nullptr);
    EXPECT_EQ(parent->sub.capacity, expected[i]) << "after " << i + 1;
  }
  // Order and look-up survive the move to the bigger array.
  for (int i = 0; i < 12; ++i) {
    std::string name = "s" + std::to_string(i);
    EXPECT_STREQ(parent->sub.items[i]->name, name.c_str());
    EXPECT_EQ(ZOVEXA_AuditElement_GetElement(tc.ctx, parent, name.c_str(), &r), parent->sub.items[i]);
  }
}

TEST_F(ElementTest, AttachRulesForStaticAndAttachedElements) {
  ZOVEXA_AuditElement *a = Top("a");
  ZOVEXA_AuditElement *b = Sub(a, "b");
  // A non-static element may hang below one parent only.
  EXPECT_EQ(ZOattachElement(tc.ctx, &event->elements, nullptr, true, b, &r), -1);
  EXPECT_NE(TakeText().find("KZTCC0021E"), std::string::npos);
  EXPECT_EQ(event->elements.count, 1);

  ZOVEXA_AuditElement *plain = Top("plain");
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, a, plain, &r), nullptr);
  EXPECT_EQ(TakeCode(), 29u);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, nullptr, plain, &r), nullptr);
  EXPECT_NE(TakeText().find("'parentElement'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, a, nullptr, &r), nullptr);
  EXPECT_NE(TakeText().find("'staticElement'"), std::string::npos);

  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, a, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, a, &r), 1);
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, b, &r), 1);  // recursively
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, plain, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, nullptr, &r), -1);
  ZOVEXA_Result_Clean(&r);

  // Nothing can be added below a static element, by any path.
  EXPECT_EQ(ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, a, "c", 1, &r), nullptr);
  EXPECT_NE(TakeText().find("'a'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddIntegerElement(event, "a.b.c", 1, &r), nullptr);
  EXPECT_EQ(TakeCode(), 30u);
  EXPECT_EQ(b->sub.count, 0);

  // A static element goes below several parents, but once per parent.
  ZOVEXA_AuditElement *other = Top("other");
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, other, b, &r), b);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, plain, b, &r), b);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStaticElement(tc.ctx, plain, b, &r), nullptr);
  EXPECT_EQ(TakeCode(), 2u);

  // The event's delete skips a and b. b was attached to other parents as a
  // static element of its own, so DeleteStatic(a) leaves it whole and it
  // goes with its own DeleteStatic.
  ZOVEXA_AuditEvent_Delete(event, &r);
  event = nullptr;
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, a, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditElement_IsStatic(tc.ctx, b, &r), 1);
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, b, &r), 0);
}

TEST_F(ElementTest, DeleteStaticReleasesTheTreeItMarked) {
  // a { b { c }, d }: d is static on its own before a is marked.
  ZOVEXA_AuditElement *a = Top("a");
  ASSERT_NE(ZOVEXA_AuditEvent_AddStringElement(event, "a.b", "x", 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "a.b.c", 3, &r), nullptr);
  ZOVEXA_AuditElement *d = ZOVEXA_AuditEvent_AddIntegerElement(event, "a.d", 4, &r);
  ASSERT_NE(d, nullptr);
  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, d, &r), 0);
  ASSERT_EQ(ZOVEXA_AuditElement_SetStatic(tc.ctx, a, &r), 0);

  // A non-static element still belongs to its holder.
  ZOVEXA_AuditElement *plain = Top("plain");
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, plain, &r), -1);
  EXPECT_EQ(TakeText(), "KZTCC0029E The element with the name 'plain' is not static and cannot be added with this "
                        "function.");

  EXPECT_EQ(ZOVEXA_AuditEvent_Delete(event, &r), 0);
  event = nullptr;
  // b and c go with a (the leak checker would see them otherwise); d stays.
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, a, &r), 0);
  EXPECT_EQ(*static_cast<int32_t *>(d->value), 4);
  EXPECT_EQ(ZOVEXA_AuditElement_DeleteStatic(tc.ctx, d, &r), 0);
}

TEST_F(ElementTest, EmptyNamesAreRefused) {
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "", "x", 1, &r), nullptr);
  EXPECT_EQ(TakeText(), "KZTCC0008E The parameter, name , passed to the function has a value that is not valid:  .");
  ASSERT_NE(Top("a"), nullptr);
  EXPECT_EQ(ZOVEXA_AuditEvent_AddStringElement(event, "a.", "x", 1, &r), nullptr);
  EXPECT_EQ(TakeCode(), 8u);
  EXPECT_EQ(event->elements.items[0]->sub.count, 0);
}

TEST_F(ElementTest, NumbersAndTimeValuesAreCopied) {
  ZOVEXA_AuditElement *parent = Top("p");
  ZOVEXA_AuditElement *i32, *i64, *tv;
  {
    int32_t small = -7;  // the caller's variable ends its life right after the add
    int64_t big = INT64_C(1) << 40;
    struct timeval when = {1234567890, 654321};
    i32 = ZOVEXA_AuditElement_AddIntegerElement(tc.ctx, parent, "i", small, &r);
    i64 = ZOVEXA_AuditElement_AddLongElement(tc.ctx, parent, "l", big, &r);
    tv = ZOVEXA_AuditElement_AddDateTimeElement(tc.ctx, parent, "t", &when, 1, &r);
    ASSERT_TRUE(i32 && i64 && tv);
    EXPECT_NE(tv->value, &when);
    when.tv_sec = 0;
  }
  EXPECT_EQ(*static_cast<int32_t *>(ZOVEXA_AuditElement_GetValue(tc.ctx, i32, &r)), -7);
  EXPECT_EQ(*static_cast<int64_t *>(ZOVEXA_AuditElement_GetValue(tc.ctx, i64, &r)), INT64_C(1) << 40);
  auto *stored = static_cast<struct timeval *>(ZOVEXA_AuditElement_GetValue(tc.ctx, tv, &r));
  EXPECT_EQ(stored->tv_sec, 1234567890);
  EXPECT_EQ(stored->tv_usec, 654321);
  EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, i64, &r), VEXA_VT_LONG);
  EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, nullptr, &r), -1);
  EXPECT_EQ(TakeCode(), 9u);
}

TEST_F(ElementTest, StringValuesCopiedOrTaken) {
  ZOVEXA_AuditElement *parent = Top("p");
  char source[] = "original";
  ZOVEXA_AuditElement *copied = ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, "c", source, 1, &r);
  ASSERT_NE(copied, nullptr);
  source[0] = 'X';
  char *value = static_cast<char *>(ZOVEXA_AuditElement_GetValue(tc.ctx, copied, &r));
  EXPECT_STREQ(value, "original");
  EXPECT_NE(value, copied->value);  // a fresh string for the caller
  EXPECT_EQ(ZOVEXA_Free(value), 0);

  // Without a copy the element owns the block (released with the event).
  char *owned = static_cast<char *>(ZOVEXA_Malloc(6));
  strcpy(owned, "owned");
  ZOVEXA_AuditElement *taken = ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, "t", owned, 0, &r);
  ASSERT_NE(taken, nullptr);
  EXPECT_EQ(taken->value, owned);

  // A failed add leaves a value given without a copy with the caller.
  char *mine = static_cast<char *>(ZOVEXA_Malloc(4));
  strcpy(mine, "dup");
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, "t", mine, 0, &r), nullptr);
  EXPECT_EQ(TakeCode(), 2u);
  EXPECT_STREQ(mine, "dup");
  ZOVEXA_Free(mine);

  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, "n", nullptr, 1, &r), nullptr);
  EXPECT_NE(TakeText().find("'value'"), std::string::npos);
  EXPECT_EQ(ZOVEXA_AuditElement_AddStringElement(tc.ctx, parent, nullptr, "v", 1, &r), nullptr);
  EXPECT_NE(TakeText().find("'name'"), std::string::npos);
}

TEST_F(ElementTest, ValueTypesOutsideTheTableOnlyWithoutCopy) {
  ZOVEXA_AuditElement *parent = Top("p");
  int32_t n = 5;
  for (uint32_t type : {0u, 27u}) {
    EXPECT_EQ(ZOVEXA_AuditElement_AddElement(tc.ctx, parent, "x", type, &n, 1, &r), nullptr);
    std::string text = TakeText();
    EXPECT_NE(text.find("KZTCC0008E"), std::string::npos) << text;
    EXPECT_NE(text.find("valueType"), std::string::npos) << text;
    EXPECT_NE(text.find(" " + std::to_string(type) + " ."), std::string::npos) << text;
  }
  EXPECT_EQ(parent->sub.count, 0);
  // Stored unchecked. An unknown type's block is released with its element;
  // a VEXA_VT_NONE pointer stays the caller's.
  static int32_t callers = 0;
  for (uint32_t type : {0u, 27u}) {
    void *value = type == 0 ? static_cast<void *>(&callers) : ZOVEXA_Malloc(3);
    std::string name = "t" + std::to_string(type);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditElement_AddElement(tc.ctx, parent, name.c_str(), type, value, 0, &r);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, e, &r), static_cast<int32_t>(type));
    EXPECT_EQ(ZOVEXA_AuditElement_GetValue(tc.ctx, e, &r), value);
  }
}

TEST_F(ElementTest, OutOfMemoryLeavesTheParentUnchanged) {
  ZOVEXA_AuditElement *a = Top("a");
  // Nine children: the next add also has to grow the list.
  for (int i = 0; i < 9; ++i) Sub(a, ("s" + std::to_string(i)).c_str());
  ZOVEXA_AuditElement **items = a->sub.items;
  int failures = 0;
  for (long n = 1; n < 100; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddStringElement(event, "a.leaf", "value", 1, &r);
    ZOsetAllocFailAfter(0);
    if (e != nullptr) {
      EXPECT_EQ(a->sub.count, 10);
      EXPECT_EQ(a->sub.capacity, 20);
      EXPECT_STREQ(static_cast<char *>(e->value), "value");
      break;
    }
    ++failures;
    EXPECT_EQ(a->sub.count, 9) << n;
    EXPECT_EQ(a->sub.capacity, 10) << n;
    EXPECT_EQ(a->sub.items, items) << n;
    // The message itself may be lost when its own allocation fails.
    if (r.count > 0) {
      EXPECT_EQ(r.entries[0].code, 1u) << n;
    }
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_GE(failures, 4);  // path copy, path conversion, record, name, value, list
}

// ---- record values --------------------------------------------------------------------------------------

using Ctx = ZOVEXA_AuditClientContext;
using ElementAdd = ZOVEXA_AuditElement *(*)(Ctx *, ZOVEXA_AuditElement *, const char *, void *, int,
                                            ZOVEXA_result *);
using EventAdd = ZOVEXA_AuditElement *(*)(ZOVEXA_AuditEvent *, const char *, void *, int, ZOVEXA_result *);

// One record value type: how to make a caller's value, how the caller
// releases it, and the element and event typed adds that must pass the type.
// A copy that shares anything with the caller's value shows up under ASan as
// a double free once both are released.
struct RecordCase {
  uint32_t type;
  void *(*make)(Ctx *, ZOVEXA_result *);
  void (*drop)(Ctx *, void *);
  ElementAdd elementAdd;
  EventAdd eventAdd;
};

char *kNames[] = {const_cast<char *>("first"), const_cast<char *>("second"), nullptr};

// A caller's NULL-terminated array of two records from ZOVEXA_Malloc, so
// that an element may take it.
template <typename T>
void *MakeArray(T *first, T *second) {
  auto **array = static_cast<T **>(ZOVEXA_Malloc(3 * sizeof(T *)));
  array[0] = first;
  array[1] = second;
  array[2] = nullptr;
  return array;
}
template <typename T, int32_t (*Delete)(Ctx *, T *, ZOVEXA_result *)>
void DropArray(Ctx *c, void *v) {
  ZOVEXA_result r{};
  for (T **a = static_cast<T **>(v); *a != nullptr; ++a) Delete(c, *a, &r);
  ZOVEXA_Free(v);
}

#define ZO_DROP(Type)                                               \
  [](Ctx *c, void *v) {                                             \
    ZOVEXA_result r{};                                              \
    ZOVEXA_##Type##_Delete(c, static_cast<ZOVEXA_##Type *>(v), &r); \
  }
#define ZO_DROP_ARRAY(Type) DropArray<ZOVEXA_##Type, ZOVEXA_##Type##_Delete>
// The element and event adds are named in full so that a search of the tests
// finds every public call.
#define ZO_ADDS(ElementFn, EventFn, T)                                                     \
  [](Ctx *c, ZOVEXA_AuditElement *p, const char *n, void *v, int copy, ZOVEXA_result *r) { \
    return ElementFn(c, p, n, static_cast<T>(v), copy, r);                                 \
  },                                                                                       \
      [](ZOVEXA_AuditEvent *e, const char *n, void *v, int copy, ZOVEXA_result *r) {       \
        return EventFn(e, n, static_cast<T>(v), copy, r);                                  \
      }

const RecordCase kRecordCases[] = {
    {VEXA_VT_ATTRIBUTE,
     [](Ctx *c, ZOVEXA_result *r) -> void * { return ZOVEXA_Attribute_Create(c, "n", "v", "s", r); },
     ZO_DROP(Attribute),
     ZO_ADDS(ZOVEXA_AuditElement_AddAttributeElement, ZOVEXA_AuditEvent_AddAttributeElement,
             ZOVEXA_Attribute *)},
    {VEXA_VT_ATTRIBUTE_PERMISSION_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, kNames, kNames, r);
     },
     ZO_DROP(AttributePermissionInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddAttributePermissionInfoElement,
             ZOVEXA_AuditEvent_AddAttributePermissionInfoElement, ZOVEXA_AttributePermissionInfo *)},
    {VEXA_VT_COMPONENT_ID,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_ComponentId_Create(c, "host", "Hostname", "app", "env", "comp", "ctype", "idtype", "sub",
                                        "i", "p", "t", r);
     },
     ZO_DROP(ComponentId),
     ZO_ADDS(ZOVEXA_AuditElement_AddComponentIdElement, ZOVEXA_AuditEvent_AddComponentIdElement,
             ZOVEXA_ComponentId *)},
    {VEXA_VT_HTTPURL_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_HTTPURLInfo_Create(c, "http://x/", "GET", "q", "a", 404, r);
     },
     ZO_DROP(HTTPURLInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddHTTPURLInfoElement, ZOVEXA_AuditEvent_AddHTTPURLInfoElement,
             ZOVEXA_HTTPURLInfo *)},
    {VEXA_VT_MEMBERSHIP_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_MembershipInfo_Create(c, "group", "g7", "admins", r);
     },
     ZO_DROP(MembershipInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddMembershipInfoElement, ZOVEXA_AuditEvent_AddMembershipInfoElement,
             ZOVEXA_MembershipInfo *)},
    {VEXA_VT_MGMT_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       ZOVEXA_TargetInfo *target = ZOVEXA_TargetInfo_Create(c, kNames, nullptr, r);
       ZOVEXA_MgmtInfo *info = ZOVEXA_MgmtInfo_Create(c, target, "restart", r);
       ZO_DROP(TargetInfo)(c, target);
       return info;
     },
     ZO_DROP(MgmtInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddMgmtInfoElement, ZOVEXA_AuditEvent_AddMgmtInfoElement,
             ZOVEXA_MgmtInfo *)},
    {VEXA_VT_MSG_DATA_ELEMENT,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_MsgDataElement_Create(c, "M1", "local", "1", "cat", "xpg", "en", kNames, r);
     },
     ZO_DROP(MsgDataElement),
     ZO_ADDS(ZOVEXA_AuditElement_AddMsgDataElement, ZOVEXA_AuditEvent_AddMsgDataElement,
             ZOVEXA_MsgDataElement *)},
    {VEXA_VT_OUTCOME,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_Outcome_Create(c, "UNSUCCESSFUL", 3, 4, "denied", r);
     },
     ZO_DROP(Outcome),
     ZO_ADDS(ZOVEXA_AuditElement_AddOutcomeElement, ZOVEXA_AuditEvent_AddOutcomeElement, ZOVEXA_Outcome *)},
    {VEXA_VT_PERF_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_PerfInfo_Create(c, "latency", "desc", 2, "ms", 90, 10, 50, "avg", r);
     },
     ZO_DROP(PerfInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddPerfInfoElement, ZOVEXA_AuditEvent_AddPerfInfoElement,
             ZOVEXA_PerfInfo *)},
    {VEXA_VT_POLICY_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_PolicyInfo_Create(c, "pol", "br", "acl", "d", nullptr, r);
     },
     ZO_DROP(PolicyInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddPolicyInfoElement, ZOVEXA_AuditEvent_AddPolicyInfoElement,
             ZOVEXA_PolicyInfo *)},
    {VEXA_VT_PERMISSION_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_PermissionInfo_Create(c, kNames, kNames, kNames, kNames, kNames, r);
     },
     ZO_DROP(PermissionInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddPermissionInfoElement, ZOVEXA_AuditEvent_AddPermissionInfoElement,
             ZOVEXA_PermissionInfo *)},
    {VEXA_VT_PROVISIONING_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_ProvisioningInfo_Create(c, "acct", "res", "db", r);
     },
     ZO_DROP(ProvisioningInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddProvisioningInfoElement, ZOVEXA_AuditEvent_AddProvisioningInfoElement,
             ZOVEXA_ProvisioningInfo *)},
    {VEXA_VT_REGISTRY_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_RegistryInfo_Create(c, "LDAP", "ldap.example", "Hostname", "389", r);
     },
     ZO_DROP(RegistryInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddRegistryInfoElement, ZOVEXA_AuditEvent_AddRegistryInfoElement,
             ZOVEXA_RegistryInfo *)},
    {VEXA_VT_REGISTRY_OBJECT_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_RegistryObjectInfo_Create(c, "obj", "reg", "user", "d", nullptr, r);
     },
     ZO_DROP(RegistryObjectInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddRegistryObjectInfoElement, ZOVEXA_AuditEvent_AddRegistryObjectInfoElement,
             ZOVEXA_RegistryObjectInfo *)},
    {VEXA_VT_RESOURCE_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       return ZOVEXA_ResourceInfo_Create(c, "inApp", "inPolicy", "file", nullptr, r);
     },
     ZO_DROP(ResourceInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddResourceInfoElement, ZOVEXA_AuditEvent_AddResourceInfoElement,
             ZOVEXA_ResourceInfo *)},
    {VEXA_VT_TARGET_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * { return ZOVEXA_TargetInfo_Create(c, kNames, nullptr, r); },
     ZO_DROP(TargetInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddTargetInfoElement, ZOVEXA_AuditEvent_AddTargetInfoElement,
             ZOVEXA_TargetInfo *)},
    {VEXA_VT_USER_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * {
       ZOVEXA_Attribute *attrs[] = {ZOVEXA_Attribute_Create(c, "n", "v", "s", r), nullptr};
       ZOVEXA_UserInfo *info = ZOVEXA_UserInfo_Create(c, "cn=jo", "jo", "dom", "realm", "10.0.0.1", "IPV4",
                                                      "s1", 7, kNames, attrs, r);
       ZO_DROP(Attribute)(c, attrs[0]);
       return info;
     },
     ZO_DROP(UserInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddUserInfoElement, ZOVEXA_AuditEvent_AddUserInfoElement,
             ZOVEXA_UserInfo *)},
    {VEXA_VT_WORK_ITEM_INFO,
     [](Ctx *c, ZOVEXA_result *r) -> void * { return ZOVEXA_WorkItemInfo_Create(c, "w1", "ticket", r); },
     ZO_DROP(WorkItemInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddWorkItemInfoElement, ZOVEXA_AuditEvent_AddWorkItemInfoElement,
             ZOVEXA_WorkItemInfo *)},
    {VEXA_VT_ATTRIBUTE_ARRAY,
     [](Ctx *c, ZOVEXA_result *r) {
       return MakeArray(ZOVEXA_Attribute_Create(c, "x", "1", nullptr, r),
                        ZOVEXA_Attribute_Create(c, "y", "2", nullptr, r));
     },
     ZO_DROP_ARRAY(Attribute),
     ZO_ADDS(ZOVEXA_AuditElement_AddAttributeArrayElement, ZOVEXA_AuditEvent_AddAttributeArrayElement,
             ZOVEXA_Attribute **)},
    {VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY,
     [](Ctx *c, ZOVEXA_result *r) {
       return MakeArray(ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, nullptr, nullptr, r),
                        ZOVEXA_AttributePermissionInfo_Create(c, kNames, kNames, nullptr, nullptr, r));
     },
     ZO_DROP_ARRAY(AttributePermissionInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddAttributePermissionInfoArrayElement,
             ZOVEXA_AuditEvent_AddAttributePermissionInfoArrayElement, ZOVEXA_AttributePermissionInfo **)},
    {VEXA_VT_MEMBERSHIP_INFO_ARRAY,
     [](Ctx *c, ZOVEXA_result *r) {
       return MakeArray(ZOVEXA_MembershipInfo_Create(c, "group", "1", nullptr, r),
                        ZOVEXA_MembershipInfo_Create(c, "role", "2", nullptr, r));
     },
     ZO_DROP_ARRAY(MembershipInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddMembershipInfoArrayElement,
             ZOVEXA_AuditEvent_AddMembershipInfoArrayElement, ZOVEXA_MembershipInfo **)},
    {VEXA_VT_POLICY_INFO_ARRAY,
     [](Ctx *c, ZOVEXA_result *r) {
       return MakeArray(ZOVEXA_PolicyInfo_Create(c, "p1", nullptr, "t", nullptr, nullptr, r),
                        ZOVEXA_PolicyInfo_Create(c, "p2", nullptr, "t", nullptr, nullptr, r));
     },
     ZO_DROP_ARRAY(PolicyInfo),
     ZO_ADDS(ZOVEXA_AuditElement_AddPolicyInfoArrayElement, ZOVEXA_AuditEvent_AddPolicyInfoArrayElement,
             ZOVEXA_PolicyInfo **)},
};

#undef ZO_ADDS
#undef ZO_DROP_ARRAY
#undef ZO_DROP

TEST_F(ElementTest, RecordValuesCopiedAreIndependentOfTheCaller) {
  ASSERT_EQ(std::size(kRecordCases), 22u);
  ZOVEXA_AuditElement *parent = Top("records");
  for (const RecordCase &rc : kRecordCases) {
    SCOPED_TRACE(rc.type);
    void *mine = rc.make(tc.ctx, &r);
    ASSERT_NE(mine, nullptr);
    ASSERT_EQ(r.count, 0);
    std::string name = "r" + std::to_string(rc.type);
    ZOVEXA_AuditElement *e = rc.elementAdd(tc.ctx, parent, name.c_str(), mine, 1, &r);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(ZOVEXA_AuditElement_GetValueType(tc.ctx, e, &r), static_cast<int32_t>(rc.type));
    EXPECT_EQ(ZOVEXA_AuditElement_GetValue(tc.ctx, e, &r), e->value);
    EXPECT_NE(e->value, mine);
    rc.drop(tc.ctx, mine);  // the element's copy is released with the event
  }
  // Spot-check one copy's content after its source is gone.
  auto *user =
      static_cast<ZOVEXA_UserInfo *>(ZOVEXA_AuditElement_GetElement(tc.ctx, parent, "r21", &r)->value);
  EXPECT_STREQ(user->appUserName, "jo");
  EXPECT_STREQ(user->callerList[1], "second");
  EXPECT_STREQ(user->attributes[0]->value, "v");
}

TEST_F(ElementTest, RecordValuesTakenWithoutCopyAreOwned) {
  for (const RecordCase &rc : kRecordCases) {
    SCOPED_TRACE(rc.type);
    void *mine = rc.make(tc.ctx, &r);
    ASSERT_NE(mine, nullptr);
    std::string name = "r" + std::to_string(rc.type);
    // Released with the event: ASan reports a leak otherwise.
    ZOVEXA_AuditElement *e = rc.eventAdd(event, name.c_str(), mine, 0, &r);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->value, mine);
    EXPECT_EQ(e->valueType, rc.type);
  }
}

TEST_F(ElementTest, RecordCopyFailureKeepsNothing) {
  ZOVEXA_AuditElement *parent = Top("p");
  const RecordCase &user = kRecordCases[VEXA_VT_USER_INFO - VEXA_VT_ATTRIBUTE];
  void *mine = user.make(tc.ctx, &r);
  ASSERT_NE(mine, nullptr);
  for (long n = 1; n < 200; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_AuditElement *e = user.elementAdd(tc.ctx, parent, "u", mine, 1, &r);
    ZOsetAllocFailAfter(0);
    ZOVEXA_Result_Clean(&r);
    if (e != nullptr) break;
    EXPECT_EQ(parent->sub.count, 0) << n;
  }
  EXPECT_EQ(parent->sub.count, 1);
  user.drop(tc.ctx, mine);
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
  char *back = static_cast<char *>(ZOVEXA_AuditElement_GetValue(tc.ctx, e, &r));
  EXPECT_STREQ(back, "Jos\xE9");
  ZOVEXA_Free(back);

  // A record copied into an element keeps its UTF-8 strings as they are.
  ZOVEXA_Attribute *attr = ZOVEXA_Attribute_Create(tc.ctx, "n\xE9", "v\xE9", nullptr, &r);
  ASSERT_NE(attr, nullptr);
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
