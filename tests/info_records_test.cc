// Tests of the eighteen info records: create checks, getters, deletes, deep
// copies, codeset conversion and failure without leaks when memory runs out.
#include "capis/info_records.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

// A NULL-terminated array of heap copies, built as a C caller builds one.
class CStrings {
 public:
  CStrings(std::initializer_list<const char *> items) {
    for (const char *s : items) ptrs_.push_back(strdup(s));
    ptrs_.push_back(nullptr);
  }
  ~CStrings() {
    for (char *p : ptrs_) free(p);
  }
  CStrings(const CStrings &) = delete;
  CStrings &operator=(const CStrings &) = delete;
  char **get() { return ptrs_.data(); }

 private:
  std::vector<char *> ptrs_;
};

std::vector<std::string> Items(char *const *array) {
  std::vector<std::string> items;
  for (; array != nullptr && *array != nullptr; ++array) items.emplace_back(*array);
  return items;
}

// The text of a string a getter handed out, which is then released; "<null>" for NULL.
std::string Take(char *s) {
  if (s == nullptr) return "<null>";
  std::string text(s);
  ZOVEXA_Free(s);
  return text;
}

class RecordsTest : public ::testing::Test {
 protected:
  explicit RecordsTest(const char *codeset = "UTF8") : tc_({StrProp("elementCodeSet", codeset)}) {}
  void SetUp() override { ASSERT_NE(tc_.ctx, nullptr) << ::testing::PrintToString(Texts(tc_.result)); }
  void TearDown() override { ZOVEXA_Result_Clean(&r_); }

  // Checks that the last call reported exactly message `code` and that its
  // text contains `word`; empties the result record.
  ::testing::AssertionResult Reported(uint32_t code, const std::string &word = "") {
    std::vector<uint32_t> codes = Codes(r_);
    std::vector<std::string> texts = Texts(r_);
    ZOVEXA_Result_Clean(&r_);
    if (codes.size() != 1 || codes[0] != code)
      return ::testing::AssertionFailure() << "messages " << ::testing::PrintToString(texts);
    if (texts[0].find(word) == std::string::npos)
      return ::testing::AssertionFailure() << "'" << texts[0] << "' does not contain " << word;
    return ::testing::AssertionSuccess();
  }
  ::testing::AssertionResult Quiet() {
    if (r_.count == 0) return ::testing::AssertionSuccess();
    auto failure = ::testing::AssertionFailure() << "messages " << ::testing::PrintToString(Texts(r_));
    ZOVEXA_Result_Clean(&r_);
    return failure;
  }

  ZOVEXA_Attribute *Attr(const char *name, const char *value, const char *source = nullptr) {
    ZOVEXA_Attribute *a = ZOVEXA_Attribute_Create(tc_.ctx, name, value, source, &r_);
    EXPECT_NE(a, nullptr);
    return a;
  }
  std::vector<std::string> AttrNames(ZOVEXA_Attribute *const *attrs) {
    std::vector<std::string> names;
    for (; attrs != nullptr && *attrs != nullptr; ++attrs)
      names.push_back(Take(ZOVEXA_Attribute_GetName(tc_.ctx, *attrs, &r_)));
    return names;
  }

  TestContext tc_;
  ZOVEXA_AuditClientContext *ctx_ = tc_.ctx;
  ZOVEXA_result r_{};
};

// Two attributes owned by the test, as a NULL-terminated array.
class RecordsWithAttrsTest : public RecordsTest {
 protected:
  void SetUp() override {
    RecordsTest::SetUp();
    attrs_[0] = Attr("color", "red", "ldap");
    attrs_[1] = Attr("size", "9", "local");
  }
  void TearDown() override {
    for (ZOVEXA_Attribute *a : attrs_)
      if (a != nullptr) {
        EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, a, &r_), 0);
      }
    RecordsTest::TearDown();
  }
  ZOVEXA_Attribute *attrs_[3] = {};
};

TEST_F(RecordsTest, OutcomeResultMustBeOneOfTwoExactWords) {
  ZOVEXA_Outcome *ok = ZOVEXA_Outcome_Create(ctx_, "SUCCESSFUL", 0, 0, nullptr, &r_);
  ASSERT_NE(ok, nullptr);
  EXPECT_EQ(Take(ZOVEXA_Outcome_GetFailureReason(ctx_, ok, &r_)), "<null>");
  EXPECT_TRUE(Quiet());
  EXPECT_EQ(ZOVEXA_Outcome_Delete(ctx_, ok, &r_), 0);

  EXPECT_EQ(ZOVEXA_Outcome_Create(ctx_, "UNSUCCESSFUL", 1, 2, nullptr, &r_), nullptr);
  EXPECT_TRUE(Reported(9, "'failureReason'"));
  ZOVEXA_Outcome *failed = ZOVEXA_Outcome_Create(ctx_, "UNSUCCESSFUL", 1, 2, "disk full", &r_);
  ASSERT_NE(failed, nullptr);
  EXPECT_EQ(ZOVEXA_Outcome_Delete(ctx_, failed, &r_), 0);

  for (const char *bad : {"successful", "Unsuccessful", "SUCCESSFUL ", "SUCCESS", ""}) {
    EXPECT_EQ(ZOVEXA_Outcome_Create(ctx_, bad, 0, 0, "why", &r_), nullptr) << bad;
    EXPECT_TRUE(
        Reported(8, std::string("result , passed to the function has a value that is not valid: ") + bad))
        << bad;
  }
  EXPECT_EQ(ZOVEXA_Outcome_Create(ctx_, nullptr, 0, 0, "why", &r_), nullptr);
  EXPECT_TRUE(Reported(9, "'result'"));
}

TEST_F(RecordsTest, LocationTypesMustBeInTheTable) {
  auto component = [&](const char *locationType) {
    return ZOVEXA_ComponentId_Create(ctx_, "host1", locationType, "app", nullptr, "comp", "type", "idType",
                                     "sub", nullptr, nullptr, nullptr, &r_);
  };
  ZOVEXA_ComponentId *c = component("IPV4");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(ZOVEXA_ComponentId_Delete(ctx_, c, &r_), 0);
  for (const char *bad : {"ipv4", "IPV5", "Nowhere"}) {
    EXPECT_EQ(component(bad), nullptr);
    EXPECT_TRUE(Reported(
        8, std::string("locationType , passed to the function has a value that is not valid: ") + bad));
  }
  EXPECT_EQ(component(nullptr), nullptr);
  EXPECT_TRUE(Reported(9, "'locationType'"));

  ZOVEXA_RegistryInfo *reg = ZOVEXA_RegistryInfo_Create(ctx_, "LDAP", "ldap.example", "Hostname", "389", &r_);
  ASSERT_NE(reg, nullptr);
  EXPECT_EQ(ZOVEXA_RegistryInfo_Delete(ctx_, reg, &r_), 0);
  EXPECT_EQ(ZOVEXA_RegistryInfo_Create(ctx_, "LDAP", "ldap.example", "hostname", "389", &r_), nullptr);
  EXPECT_TRUE(Reported(8, "serverLocationType , "));

  // A user's location type is optional, but checked when given.
  for (const char *given : {static_cast<const char *>(nullptr), "E.164"}) {
    ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(ctx_, "reg", "app", nullptr, nullptr, nullptr, given, nullptr,
                                                0, nullptr, nullptr, &r_);
    ASSERT_NE(u, nullptr);
    EXPECT_EQ(ZOVEXA_UserInfo_Delete(ctx_, u, &r_), 0);
  }
  EXPECT_EQ(ZOVEXA_UserInfo_Create(ctx_, "reg", "app", nullptr, nullptr, nullptr, "E164", nullptr, 0, nullptr,
                                   nullptr, &r_),
            nullptr);
  EXPECT_TRUE(Reported(8, "locationType , "));
}

// For each record type: creates that supply the first `filled` required
// arguments (in the order they are checked) and leave the rest NULL.
struct RequiredCase {
  const char *type;
  uint32_t valueType;
  std::vector<const char *> order;  // the names reported, in check order
  std::function<void *(ZOVEXA_AuditClientContext *, int filled, ZOVEXA_result *)> make;
};

const std::vector<RequiredCase> &RequiredCases() {
  static CStrings names{"n"};
  static char **a = names.get();
  static const std::vector<RequiredCase> cases = {
      {"Attribute",
       VEXA_VT_ATTRIBUTE,
       {"value", "name"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_Attribute_Create(c, f > 1 ? "n" : nullptr, f > 0 ? "v" : nullptr, nullptr, r);
       }},
      {"AttributePermissionInfo",
       VEXA_VT_ATTRIBUTE_PERMISSION_INFO,
       {"checked", "attributeNames"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_AttributePermissionInfo_Create(c, f > 1 ? a : nullptr, f > 0 ? a : nullptr, nullptr,
                                                      nullptr, r);
       }},
      {"ComponentId",
       VEXA_VT_COMPONENT_ID,
       {"location", "locationType", "application", "component", "componentType", "subcomponent",
        "componentIdType"},
       [](auto *c, int f, auto *r) -> void * {
         auto v = [f](int i) { return f > i ? "x" : nullptr; };
         return ZOVEXA_ComponentId_Create(c, v(0), f > 1 ? "SNA" : nullptr, v(2), nullptr, v(3), v(4), v(6),
                                          v(5), nullptr, nullptr, nullptr, r);
       }},
      {"HTTPURLInfo",
       VEXA_VT_HTTPURL_INFO,
       {"method", "url"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_HTTPURLInfo_Create(c, f > 1 ? "http://x/" : nullptr, f > 0 ? "GET" : nullptr, nullptr,
                                          nullptr, 200, r);
       }},
      {"MembershipInfo",
       VEXA_VT_MEMBERSHIP_INFO,
       {"type"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_MembershipInfo_Create(c, f > 0 ? "group" : nullptr, nullptr, nullptr, r);
       }},
      {"Outcome",
       VEXA_VT_OUTCOME,
       {"result", "failureReason"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_Outcome_Create(c, f > 0 ? "UNSUCCESSFUL" : nullptr, 0, 0, f > 1 ? "why" : nullptr, r);
       }},
      {"PerfInfo",
       VEXA_VT_PERF_INFO,
       {"name", "description", "aggregate", "unit"},
       [](auto *c, int f, auto *r) -> void * {
         auto v = [f](int i) { return f > i ? "x" : nullptr; };
         return ZOVEXA_PerfInfo_Create(c, v(0), v(1), 1, v(3), 2, 3, 4, v(2), r);
       }},
      {"PermissionInfo",
       VEXA_VT_PERMISSION_INFO,
       {"checked"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_PermissionInfo_Create(c, f > 0 ? a : nullptr, nullptr, nullptr, nullptr, nullptr, r);
       }},
      {"PolicyInfo",
       VEXA_VT_POLICY_INFO,
       {"type", "name"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_PolicyInfo_Create(c, f > 1 ? "p" : nullptr, nullptr, f > 0 ? "t" : nullptr, nullptr,
                                         nullptr, r);
       }},
      {"ProvisioningInfo",
       VEXA_VT_PROVISIONING_INFO,
       {"resourceId"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_ProvisioningInfo_Create(c, nullptr, f > 0 ? "res" : nullptr, nullptr, r);
       }},
      {"RegistryInfo",
       VEXA_VT_REGISTRY_INFO,
       {"type", "serverLocation", "serverPort", "serverLocationType"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_RegistryInfo_Create(c, f > 0 ? "t" : nullptr, f > 1 ? "h" : nullptr,
                                           f > 3 ? "IPV6" : nullptr, f > 2 ? "1" : nullptr, r);
       }},
      {"RegistryObjectInfo",
       VEXA_VT_REGISTRY_OBJECT_INFO,
       {"type", "name"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_RegistryObjectInfo_Create(c, f > 1 ? "n" : nullptr, nullptr, f > 0 ? "t" : nullptr,
                                                 nullptr, nullptr, r);
       }},
      {"ResourceInfo",
       VEXA_VT_RESOURCE_INFO,
       {"nameInApp", "type", "nameInPolicy"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_ResourceInfo_Create(c, f > 0 ? "a" : nullptr, f > 2 ? "p" : nullptr,
                                           f > 1 ? "t" : nullptr, nullptr, r);
       }},
      {"TargetInfo",
       VEXA_VT_TARGET_INFO,
       {"targetNames"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_TargetInfo_Create(c, f > 0 ? a : nullptr, nullptr, r);
       }},
      {"UserInfo",
       VEXA_VT_USER_INFO,
       {"appUserName", "registryUserName"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_UserInfo_Create(c, f > 1 ? "reg" : nullptr, f > 0 ? "app" : nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, 0, nullptr, nullptr, r);
       }},
      {"WorkItemInfo",
       VEXA_VT_WORK_ITEM_INFO,
       {"type"},
       [](auto *c, int f, auto *r) -> void * {
         return ZOVEXA_WorkItemInfo_Create(c, nullptr, f > 0 ? "t" : nullptr, r);
       }},
  };
  return cases;
}

TEST_F(RecordsTest, RequiredArgumentsAreReportedInCheckOrder) {
  for (const RequiredCase &rc : RequiredCases()) {
    SCOPED_TRACE(rc.type);
    int n = static_cast<int>(rc.order.size());
    for (int filled = 0; filled < n; ++filled) {
      EXPECT_EQ(rc.make(ctx_, filled, &r_), nullptr);
      EXPECT_TRUE(Reported(9, std::string("'") + rc.order[static_cast<size_t>(filled)] + "'"));
    }
    void *record = rc.make(ctx_, n, &r_);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(Quiet());
    EXPECT_EQ(ZOfreeRecordValue(ctx_, rc.valueType, record, &r_), 0);
  }
  // The two records without required arguments are made from nothing.
  ZOVEXA_MgmtInfo *m = ZOVEXA_MgmtInfo_Create(ctx_, nullptr, nullptr, &r_);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(ZOVEXA_MgmtInfo_Delete(ctx_, m, &r_), 0);
  ZOVEXA_MsgDataElement *d =
      ZOVEXA_MsgDataElement_Create(ctx_, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &r_);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(ZOVEXA_MsgDataElement_Delete(ctx_, d, &r_), 0);
}

// A getter and the delete of one record type called with a NULL record.
struct NullHandleCase {
  const char *getterHandle;
  std::function<bool(ZOVEXA_AuditClientContext *, ZOVEXA_result *)> getFails;
  const char *deleteHandle;
  std::function<int32_t(ZOVEXA_AuditClientContext *, ZOVEXA_result *)> del;
};

TEST_F(RecordsTest, NullHandlesAreReportedByTheirOwnNames) {
  const std::vector<NullHandleCase> cases = {
      {"attribute_Handle", [](auto *c, auto *r) { return !ZOVEXA_Attribute_GetSource(c, nullptr, r); },
       "attribute_Handle", [](auto *c, auto *r) { return ZOVEXA_Attribute_Delete(c, nullptr, r); }},
      {"attributePermissionInfo_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_AttributePermissionInfo_GetDenied(c, nullptr, r); },
       "attributePermissionInfo_Handle",
       [](auto *c, auto *r) { return ZOVEXA_AttributePermissionInfo_Delete(c, nullptr, r); }},
      {"componentId_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_ComponentId_GetInstanceId(c, nullptr, r); },
       "componentId_Handle", [](auto *c, auto *r) { return ZOVEXA_ComponentId_Delete(c, nullptr, r); }},
      {"HTTPURLInfo_Handle",
       [](auto *c, auto *r) { return ZOVEXA_HTTPURLInfo_GetResponseCode(c, nullptr, r) == -1; },
       "HTTPURLInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_HTTPURLInfo_Delete(c, nullptr, r); }},
      {"membershipInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_MembershipInfo_GetId(c, nullptr, r); },
       "membershipInfo__Handle",
       [](auto *c, auto *r) { return ZOVEXA_MembershipInfo_Delete(c, nullptr, r); }},
      {"mgmtInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_MgmtInfo_GetTargetInfo(c, nullptr, r); },
       "mgmtInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_MgmtInfo_Delete(c, nullptr, r); }},
      {"msgDataElement_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_MsgDataElement_GetMsgCatalogTokens(c, nullptr, r); },
       "msgDataElement_Handle", [](auto *c, auto *r) { return ZOVEXA_MsgDataElement_Delete(c, nullptr, r); }},
      {"outcome_Handle", [](auto *c, auto *r) { return ZOVEXA_Outcome_GetMajorStatus(c, nullptr, r) == -1; },
       "outcome_Handle", [](auto *c, auto *r) { return ZOVEXA_Outcome_Delete(c, nullptr, r); }},
      {"perfInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_PerfInfo_GetMaxValue(c, nullptr, r) == -1; },
       "perfInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_PerfInfo_Delete(c, nullptr, r); }},
      {"policyInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_PolicyInfo_GetAttributes(c, nullptr, r); },
       "policyInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_PolicyInfo_Delete(c, nullptr, r); }},
      {"permInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_PermissionInfo_GetChecked(c, nullptr, r); },
       "permissionInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_PermissionInfo_Delete(c, nullptr, r); }},
      {"provisioningInfo_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_ProvisioningInfo_GetResourceId(c, nullptr, r); },
       "provsioningInfo_Handle",
       [](auto *c, auto *r) { return ZOVEXA_ProvisioningInfo_Delete(c, nullptr, r); }},
      {"registryInfo_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_RegistryInfo_GetServerPort(c, nullptr, r); },
       "registryInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_RegistryInfo_Delete(c, nullptr, r); }},
      {"registryObjectInfo_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_RegistryObjectInfo_GetRegistryName(c, nullptr, r); },
       "registryObjectInfo_Handle",
       [](auto *c, auto *r) { return ZOVEXA_RegistryObjectInfo_Delete(c, nullptr, r); }},
      {"resourceInfo_Handle",
       [](auto *c, auto *r) { return !ZOVEXA_ResourceInfo_GetNameInPolicy(c, nullptr, r); },
       "resourceInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_ResourceInfo_Delete(c, nullptr, r); }},
      {"targetInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_TargetInfo_GetTargetNames(c, nullptr, r); },
       "targetInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_TargetInfo_Delete(c, nullptr, r); }},
      {"userInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_UserInfo_GetUniqueId(c, nullptr, r) == -1; },
       "userInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_UserInfo_Delete(c, nullptr, r); }},
      {"workItemInfo_Handle", [](auto *c, auto *r) { return !ZOVEXA_WorkItemInfo_GetType(c, nullptr, r); },
       "workItemInfo_Handle", [](auto *c, auto *r) { return ZOVEXA_WorkItemInfo_Delete(c, nullptr, r); }},
  };
  for (const NullHandleCase &nc : cases) {
    SCOPED_TRACE(nc.getterHandle);
    EXPECT_TRUE(nc.getFails(ctx_, &r_));
    EXPECT_TRUE(Reported(9, std::string("'") + nc.getterHandle + "'"));
    EXPECT_EQ(nc.del(ctx_, &r_), -1);
    EXPECT_TRUE(Reported(9, std::string("'") + nc.deleteHandle + "'"));
  }
}

TEST_F(RecordsTest, NullContextOrResultRecordFailsTheCall) {
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Create(nullptr, "id", "type", &r_), nullptr);
  EXPECT_TRUE(Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Create(ctx_, "id", "type", nullptr), nullptr);

  ZOVEXA_WorkItemInfo *w = ZOVEXA_WorkItemInfo_Create(ctx_, "id", "type", &r_);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(ZOVEXA_WorkItemInfo_GetId(nullptr, w, &r_), nullptr);
  EXPECT_TRUE(Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_GetId(ctx_, w, nullptr), nullptr);
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(nullptr, w, &r_), -1);
  EXPECT_TRUE(Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(ctx_, w, nullptr), -1);
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(ctx_, w, &r_), 0);
}

TEST_F(RecordsWithAttrsTest, EveryGetterReturnsWhatWasGiven) {
  auto s = [&](char *got) { return Take(got); };
  CStrings n1{"attr1", "attr2"}, n2{"read"}, n3{"write", "exec"}, n4{"delete"}, n5{"admin"};
  const std::vector<std::string> attrNames = {"color", "size"};

  ZOVEXA_Attribute *at = attrs_[0];
  EXPECT_EQ(s(ZOVEXA_Attribute_GetName(ctx_, at, &r_)), "color");
  EXPECT_EQ(s(ZOVEXA_Attribute_GetValue(ctx_, at, &r_)), "red");
  EXPECT_EQ(s(ZOVEXA_Attribute_GetSource(ctx_, at, &r_)), "ldap");

  ZOVEXA_AttributePermissionInfo *ap =
      ZOVEXA_AttributePermissionInfo_Create(ctx_, n1.get(), n2.get(), n3.get(), n4.get(), &r_);
  ASSERT_NE(ap, nullptr);
  EXPECT_EQ(Items(ZOVEXA_AttributePermissionInfo_GetAttributeNames(ctx_, ap, &r_)), Items(n1.get()));
  EXPECT_EQ(Items(ZOVEXA_AttributePermissionInfo_GetChecked(ctx_, ap, &r_)), Items(n2.get()));
  EXPECT_EQ(Items(ZOVEXA_AttributePermissionInfo_GetGranted(ctx_, ap, &r_)), Items(n3.get()));
  EXPECT_EQ(Items(ZOVEXA_AttributePermissionInfo_GetDenied(ctx_, ap, &r_)), Items(n4.get()));
  EXPECT_EQ(ZOVEXA_AttributePermissionInfo_Delete(ctx_, ap, &r_), 0);

  ZOVEXA_ComponentId *c = ZOVEXA_ComponentId_Create(ctx_, "loc", "IPV6", "app", "env", "comp", "ctype",
                                                    "idtype", "sub", "inst", "pid", "tid", &r_);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetLocation(ctx_, c, &r_)), "loc");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetLocationType(ctx_, c, &r_)), "IPV6");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetApplication(ctx_, c, &r_)), "app");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetExecuteEnv(ctx_, c, &r_)), "env");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetComponent(ctx_, c, &r_)), "comp");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetComponentType(ctx_, c, &r_)), "ctype");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetComponentIdType(ctx_, c, &r_)), "idtype");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetSubComponent(ctx_, c, &r_)), "sub");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetInstanceId(ctx_, c, &r_)), "inst");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetProcessId(ctx_, c, &r_)), "pid");
  EXPECT_EQ(s(ZOVEXA_ComponentId_GetThreadId(ctx_, c, &r_)), "tid");
  EXPECT_EQ(ZOVEXA_ComponentId_Delete(ctx_, c, &r_), 0);

  ZOVEXA_HTTPURLInfo *h =
      ZOVEXA_HTTPURLInfo_Create(ctx_, "http://h/p", "POST", "Accept: */*", "Server: s", 404, &r_);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(s(ZOVEXA_HTTPURLInfo_GetUrl(ctx_, h, &r_)), "http://h/p");
  EXPECT_EQ(s(ZOVEXA_HTTPURLInfo_GetMethod(ctx_, h, &r_)), "POST");
  EXPECT_EQ(s(ZOVEXA_HTTPURLInfo_GetRequestHeaders(ctx_, h, &r_)), "Accept: */*");
  EXPECT_EQ(s(ZOVEXA_HTTPURLInfo_GetResponseHeaders(ctx_, h, &r_)), "Server: s");
  EXPECT_EQ(ZOVEXA_HTTPURLInfo_GetResponseCode(ctx_, h, &r_), 404);
  EXPECT_EQ(ZOVEXA_HTTPURLInfo_Delete(ctx_, h, &r_), 0);

  ZOVEXA_MembershipInfo *m = ZOVEXA_MembershipInfo_Create(ctx_, "group", "g42", "staff", &r_);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(s(ZOVEXA_MembershipInfo_GetType(ctx_, m, &r_)), "group");
  EXPECT_EQ(s(ZOVEXA_MembershipInfo_GetId(ctx_, m, &r_)), "g42");
  EXPECT_EQ(s(ZOVEXA_MembershipInfo_GetName(ctx_, m, &r_)), "staff");
  EXPECT_EQ(ZOVEXA_MembershipInfo_Delete(ctx_, m, &r_), 0);

  ZOVEXA_TargetInfo *t = ZOVEXA_TargetInfo_Create(ctx_, n5.get(), attrs_, &r_);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(Items(ZOVEXA_TargetInfo_GetTargetNames(ctx_, t, &r_)), Items(n5.get()));
  EXPECT_EQ(AttrNames(ZOVEXA_TargetInfo_GetAttributes(ctx_, t, &r_)), attrNames);
  ZOVEXA_MgmtInfo *mg = ZOVEXA_MgmtInfo_Create(ctx_, t, "restart", &r_);
  ASSERT_NE(mg, nullptr);
  ZOVEXA_TargetInfo *inner = ZOVEXA_MgmtInfo_GetTargetInfo(ctx_, mg, &r_);
  EXPECT_EQ(Items(ZOVEXA_TargetInfo_GetTargetNames(ctx_, inner, &r_)), Items(n5.get()));
  EXPECT_EQ(AttrNames(ZOVEXA_TargetInfo_GetAttributes(ctx_, inner, &r_)), attrNames);
  EXPECT_EQ(s(ZOVEXA_MgmtInfo_GetCommand(ctx_, mg, &r_)), "restart");
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(ctx_, t, &r_), 0);
  EXPECT_EQ(ZOVEXA_MgmtInfo_Delete(ctx_, mg, &r_), 0);

  ZOVEXA_MsgDataElement *d =
      ZOVEXA_MsgDataElement_Create(ctx_, "M1", "IBM3.4", "C1", "cat", "XPG", "de_DE", n3.get(), &r_);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgId(ctx_, d, &r_)), "M1");
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgIdType(ctx_, d, &r_)), "IBM3.4");
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgCatalogId(ctx_, d, &r_)), "C1");
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgCatalog(ctx_, d, &r_)), "cat");
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgCatalogType(ctx_, d, &r_)), "XPG");
  EXPECT_EQ(s(ZOVEXA_MsgDataElement_GetMsgLocale(ctx_, d, &r_)), "de_DE");
  EXPECT_EQ(Items(ZOVEXA_MsgDataElement_GetMsgCatalogTokens(ctx_, d, &r_)), Items(n3.get()));
  EXPECT_EQ(ZOVEXA_MsgDataElement_Delete(ctx_, d, &r_), 0);

  ZOVEXA_Outcome *o = ZOVEXA_Outcome_Create(ctx_, "UNSUCCESSFUL", -7, 12, "denied", &r_);
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(s(ZOVEXA_Outcome_GetResult(ctx_, o, &r_)), "UNSUCCESSFUL");
  EXPECT_EQ(ZOVEXA_Outcome_GetMajorStatus(ctx_, o, &r_), -7);
  EXPECT_EQ(ZOVEXA_Outcome_GetMinorStatus(ctx_, o, &r_), 12);
  EXPECT_EQ(s(ZOVEXA_Outcome_GetFailureReason(ctx_, o, &r_)), "denied");
  EXPECT_EQ(ZOVEXA_Outcome_Delete(ctx_, o, &r_), 0);

  const int64_t big = int64_t{1} << 40;
  ZOVEXA_PerfInfo *p =
      ZOVEXA_PerfInfo_Create(ctx_, "lat", "latency", 5, "ms", big, -big, big + 1, "avg", &r_);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(s(ZOVEXA_PerfInfo_GetName(ctx_, p, &r_)), "lat");
  EXPECT_EQ(s(ZOVEXA_PerfInfo_GetDescription(ctx_, p, &r_)), "latency");
  EXPECT_EQ(ZOVEXA_PerfInfo_GetNumDataPoints(ctx_, p, &r_), 5);
  EXPECT_EQ(s(ZOVEXA_PerfInfo_GetUnit(ctx_, p, &r_)), "ms");
  EXPECT_EQ(ZOVEXA_PerfInfo_GetMaxValue(ctx_, p, &r_), big);
  EXPECT_EQ(ZOVEXA_PerfInfo_GetMinValue(ctx_, p, &r_), -big);
  EXPECT_EQ(ZOVEXA_PerfInfo_GetValue(ctx_, p, &r_), big + 1);
  EXPECT_EQ(s(ZOVEXA_PerfInfo_GetAggregate(ctx_, p, &r_)), "avg");
  EXPECT_EQ(ZOVEXA_PerfInfo_Delete(ctx_, p, &r_), 0);

  ZOVEXA_PolicyInfo *po = ZOVEXA_PolicyInfo_Create(ctx_, "pol", "br", "acl", "desc", attrs_, &r_);
  ASSERT_NE(po, nullptr);
  EXPECT_EQ(s(ZOVEXA_PolicyInfo_GetName(ctx_, po, &r_)), "pol");
  EXPECT_EQ(s(ZOVEXA_PolicyInfo_GetBranch(ctx_, po, &r_)), "br");
  EXPECT_EQ(s(ZOVEXA_PolicyInfo_GetType(ctx_, po, &r_)), "acl");
  EXPECT_EQ(s(ZOVEXA_PolicyInfo_GetDescription(ctx_, po, &r_)), "desc");
  EXPECT_EQ(AttrNames(ZOVEXA_PolicyInfo_GetAttributes(ctx_, po, &r_)), attrNames);
  EXPECT_EQ(ZOVEXA_PolicyInfo_Delete(ctx_, po, &r_), 0);

  ZOVEXA_PermissionInfo *pe =
      ZOVEXA_PermissionInfo_Create(ctx_, n1.get(), n2.get(), n3.get(), n4.get(), n5.get(), &r_);
  ASSERT_NE(pe, nullptr);
  EXPECT_EQ(Items(ZOVEXA_PermissionInfo_GetChecked(ctx_, pe, &r_)), Items(n1.get()));
  EXPECT_EQ(Items(ZOVEXA_PermissionInfo_GetGranted(ctx_, pe, &r_)), Items(n2.get()));
  EXPECT_EQ(Items(ZOVEXA_PermissionInfo_GetDenied(ctx_, pe, &r_)), Items(n3.get()));
  EXPECT_EQ(Items(ZOVEXA_PermissionInfo_GetJ2EERolesChecked(ctx_, pe, &r_)), Items(n4.get()));
  EXPECT_EQ(Items(ZOVEXA_PermissionInfo_GetJ2EERolesGranted(ctx_, pe, &r_)), Items(n5.get()));
  EXPECT_EQ(ZOVEXA_PermissionInfo_Delete(ctx_, pe, &r_), 0);

  ZOVEXA_ProvisioningInfo *pr = ZOVEXA_ProvisioningInfo_Create(ctx_, "acct", "res", "db", &r_);
  ASSERT_NE(pr, nullptr);
  EXPECT_EQ(s(ZOVEXA_ProvisioningInfo_GetAccountId(ctx_, pr, &r_)), "acct");
  EXPECT_EQ(s(ZOVEXA_ProvisioningInfo_GetResourceId(ctx_, pr, &r_)), "res");
  EXPECT_EQ(s(ZOVEXA_ProvisioningInfo_GetResourceType(ctx_, pr, &r_)), "db");
  EXPECT_EQ(ZOVEXA_ProvisioningInfo_Delete(ctx_, pr, &r_), 0);

  ZOVEXA_RegistryInfo *rg = ZOVEXA_RegistryInfo_Create(ctx_, "LDAP", "10.0.0.1", "IPV4", "636", &r_);
  ASSERT_NE(rg, nullptr);
  EXPECT_EQ(s(ZOVEXA_RegistryInfo_GetType(ctx_, rg, &r_)), "LDAP");
  EXPECT_EQ(s(ZOVEXA_RegistryInfo_GetServerLocation(ctx_, rg, &r_)), "10.0.0.1");
  EXPECT_EQ(s(ZOVEXA_RegistryInfo_GetServerLocationType(ctx_, rg, &r_)), "IPV4");
  EXPECT_EQ(s(ZOVEXA_RegistryInfo_GetServerPort(ctx_, rg, &r_)), "636");
  EXPECT_EQ(ZOVEXA_RegistryInfo_Delete(ctx_, rg, &r_), 0);

  ZOVEXA_RegistryObjectInfo *ro =
      ZOVEXA_RegistryObjectInfo_Create(ctx_, "obj", "reg", "user", "d", attrs_, &r_);
  ASSERT_NE(ro, nullptr);
  EXPECT_EQ(s(ZOVEXA_RegistryObjectInfo_GetName(ctx_, ro, &r_)), "obj");
  EXPECT_EQ(s(ZOVEXA_RegistryObjectInfo_GetRegistryName(ctx_, ro, &r_)), "reg");
  EXPECT_EQ(s(ZOVEXA_RegistryObjectInfo_GetType(ctx_, ro, &r_)), "user");
  EXPECT_EQ(s(ZOVEXA_RegistryObjectInfo_GetDescription(ctx_, ro, &r_)), "d");
  EXPECT_EQ(AttrNames(ZOVEXA_RegistryObjectInfo_GetAttributes(ctx_, ro, &r_)), attrNames);
  EXPECT_EQ(ZOVEXA_RegistryObjectInfo_Delete(ctx_, ro, &r_), 0);

  ZOVEXA_ResourceInfo *rs = ZOVEXA_ResourceInfo_Create(ctx_, "inApp", "inPolicy", "file", attrs_, &r_);
  ASSERT_NE(rs, nullptr);
  EXPECT_EQ(s(ZOVEXA_ResourceInfo_GetNameInApp(ctx_, rs, &r_)), "inApp");
  EXPECT_EQ(s(ZOVEXA_ResourceInfo_GetNameInPolicy(ctx_, rs, &r_)), "inPolicy");
  EXPECT_EQ(s(ZOVEXA_ResourceInfo_GetType(ctx_, rs, &r_)), "file");
  EXPECT_EQ(AttrNames(ZOVEXA_ResourceInfo_GetAttributes(ctx_, rs, &r_)), attrNames);
  EXPECT_EQ(ZOVEXA_ResourceInfo_Delete(ctx_, rs, &r_), 0);

  ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(ctx_, "cn=jo", "jo", "dom", "realm", "ws1", "Hostname", "s1",
                                              77, n2.get(), attrs_, &r_);
  ASSERT_NE(u, nullptr);
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetRegistryUserName(ctx_, u, &r_)), "cn=jo");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetAppUserName(ctx_, u, &r_)), "jo");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetDomain(ctx_, u, &r_)), "dom");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetRealm(ctx_, u, &r_)), "realm");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetLocation(ctx_, u, &r_)), "ws1");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetLocationType(ctx_, u, &r_)), "Hostname");
  EXPECT_EQ(s(ZOVEXA_UserInfo_GetSessionId(ctx_, u, &r_)), "s1");
  EXPECT_EQ(ZOVEXA_UserInfo_GetUniqueId(ctx_, u, &r_), 77);
  EXPECT_EQ(Items(ZOVEXA_UserInfo_GetCallerList(ctx_, u, &r_)), Items(n2.get()));
  EXPECT_EQ(AttrNames(ZOVEXA_UserInfo_GetAttributes(ctx_, u, &r_)), attrNames);
  EXPECT_EQ(ZOVEXA_UserInfo_Delete(ctx_, u, &r_), 0);

  ZOVEXA_WorkItemInfo *w = ZOVEXA_WorkItemInfo_Create(ctx_, "w1", "approval", &r_);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(s(ZOVEXA_WorkItemInfo_GetId(ctx_, w, &r_)), "w1");
  EXPECT_EQ(s(ZOVEXA_WorkItemInfo_GetType(ctx_, w, &r_)), "approval");
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(ctx_, w, &r_), 0);
  EXPECT_TRUE(Quiet());
}

TEST_F(RecordsWithAttrsTest, CreatesKeepNothingOfTheCallersArguments) {
  CStrings callers{"alice", "bob"};
  ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(ctx_, "reg", "app", nullptr, nullptr, nullptr, nullptr, nullptr,
                                              1, callers.get(), attrs_, &r_);
  ASSERT_NE(u, nullptr);
  char **own = ZOVEXA_UserInfo_GetCallerList(ctx_, u, &r_);
  ZOVEXA_Attribute **ownAttrs = ZOVEXA_UserInfo_GetAttributes(ctx_, u, &r_);
  EXPECT_NE(own, callers.get());
  EXPECT_NE(own[0], callers.get()[0]);
  EXPECT_NE(ownAttrs, attrs_);
  EXPECT_NE(ownAttrs[0], attrs_[0]);

  // Change and release what the caller passed: the record is untouched.
  callers.get()[0][0] = 'X';
  for (ZOVEXA_Attribute *&a : attrs_) {
    if (a != nullptr) {
      EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, a, &r_), 0);
    }
    a = nullptr;
  }
  EXPECT_EQ(Items(ZOVEXA_UserInfo_GetCallerList(ctx_, u, &r_)), (std::vector<std::string>{"alice", "bob"}));
  EXPECT_EQ(AttrNames(ZOVEXA_UserInfo_GetAttributes(ctx_, u, &r_)),
            (std::vector<std::string>{"color", "size"}));

  // An empty array is copied as an array holding only its terminator.
  char *empty[] = {nullptr};
  ZOVEXA_TargetInfo *t = ZOVEXA_TargetInfo_Create(ctx_, empty, nullptr, &r_);
  ASSERT_NE(t, nullptr);
  char **names = ZOVEXA_TargetInfo_GetTargetNames(ctx_, t, &r_);
  ASSERT_NE(names, nullptr);
  EXPECT_NE(names, empty);
  EXPECT_EQ(names[0], nullptr);
  EXPECT_EQ(ZOVEXA_TargetInfo_GetAttributes(ctx_, t, &r_), nullptr);
  EXPECT_TRUE(Quiet());
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(ctx_, t, &r_), 0);

  // Deleting a user info releases its caller list and attribute records
  // (the sanitizer build reports anything left behind).
  EXPECT_EQ(ZOVEXA_UserInfo_Delete(ctx_, u, &r_), 0);
}

TEST_F(RecordsWithAttrsTest, ElementValuesAreCopiedAndCheckedLikeNewRecords) {
  ZOVEXA_MembershipInfo *m1 = ZOVEXA_MembershipInfo_Create(ctx_, "group", "1", "a", &r_);
  ZOVEXA_MembershipInfo *m2 = ZOVEXA_MembershipInfo_Create(ctx_, "role", "2", "b", &r_);
  ASSERT_TRUE(m1 != nullptr && m2 != nullptr);
  ZOVEXA_MembershipInfo *members[] = {m1, m2, nullptr};

  auto *copy = static_cast<ZOVEXA_MembershipInfo **>(
      ZOcopyRecordValue(ctx_, VEXA_VT_MEMBERSHIP_INFO_ARRAY, members, 0, &r_));
  ASSERT_NE(copy, nullptr);
  ASSERT_TRUE(copy[0] != nullptr && copy[1] != nullptr);
  EXPECT_EQ(copy[2], nullptr);
  EXPECT_NE(copy[0], m1);
  EXPECT_EQ(Take(ZOVEXA_MembershipInfo_GetType(ctx_, copy[1], &r_)), "role");
  EXPECT_EQ(ZOfreeRecordValue(ctx_, VEXA_VT_MEMBERSHIP_INFO_ARRAY, copy, &r_), 0);

  auto *attrCopy =
      static_cast<ZOVEXA_Attribute **>(ZOcopyRecordValue(ctx_, VEXA_VT_ATTRIBUTE_ARRAY, attrs_, 0, &r_));
  ASSERT_NE(attrCopy, nullptr);
  EXPECT_EQ(AttrNames(attrCopy), (std::vector<std::string>{"color", "size"}));
  EXPECT_EQ(ZOfreeRecordValue(ctx_, VEXA_VT_ATTRIBUTE_ARRAY, attrCopy, &r_), 0);

  auto *single =
      static_cast<ZOVEXA_MembershipInfo *>(ZOcopyRecordValue(ctx_, VEXA_VT_MEMBERSHIP_INFO, m1, 1, &r_));
  ASSERT_NE(single, nullptr);
  EXPECT_NE(single, m1);
  EXPECT_EQ(Take(ZOVEXA_MembershipInfo_GetName(ctx_, single, &r_)), "a");
  EXPECT_EQ(ZOfreeRecordValue(ctx_, VEXA_VT_MEMBERSHIP_INFO, single, &r_), 0);
  EXPECT_TRUE(Quiet());

  // A copy runs the create's checks on the fields it finds.
  ZOVEXA_Outcome odd{const_cast<char *>("MAYBE"), 0, 0, nullptr};
  EXPECT_EQ(ZOcopyRecordValue(ctx_, VEXA_VT_OUTCOME, &odd, 1, &r_), nullptr);
  EXPECT_TRUE(Reported(8, "MAYBE"));
  ZOVEXA_PolicyInfo broken{};
  ZOVEXA_PolicyInfo *policies[] = {&broken, nullptr};
  EXPECT_EQ(ZOcopyRecordValue(ctx_, VEXA_VT_POLICY_INFO_ARRAY, policies, 1, &r_), nullptr);
  EXPECT_TRUE(Reported(9, "'type'"));

  for (uint32_t bad : {0u, 4u, 27u}) {
    EXPECT_EQ(ZOcopyRecordValue(ctx_, bad, m1, 1, &r_), nullptr);
    EXPECT_TRUE(Reported(
        8, "valueType , passed to the function has a value that is not valid: " + std::to_string(bad)));
  }
  EXPECT_EQ(ZOfreeRecordValue(ctx_, 27, m1, &r_), -1);
  EXPECT_TRUE(Reported(8, "valueType"));
  EXPECT_EQ(ZOcopyRecordValue(ctx_, VEXA_VT_OUTCOME, nullptr, 1, &r_), nullptr);
  EXPECT_TRUE(Reported(9, "'value'"));

  EXPECT_EQ(ZOVEXA_MembershipInfo_Delete(ctx_, m1, &r_), 0);
  EXPECT_EQ(ZOVEXA_MembershipInfo_Delete(ctx_, m2, &r_), 0);
}

class LatinRecordsTest : public RecordsTest {
 protected:
  LatinRecordsTest() : RecordsTest("ISO-8859-1") {}
};

TEST_F(RecordsTest, UTF8ContextKeepsTheBytesAsGiven) {
  ZOVEXA_Attribute *a = ZOVEXA_Attribute_Create(ctx_, "Jos\xC3\xA9", "v", nullptr, &r_);
  ASSERT_NE(a, nullptr);
  EXPECT_STREQ(a->name, "Jos\xC3\xA9");
  EXPECT_EQ(Take(ZOVEXA_Attribute_GetName(ctx_, a, &r_)), "Jos\xC3\xA9");
  EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, a, &r_), 0);
}

TEST_F(LatinRecordsTest, StringsAreHeldInUTF8AndHandedBackConverted) {
  ZOVEXA_Attribute *a = ZOVEXA_Attribute_Create(ctx_, "Jos\xE9", "caf\xE9", nullptr, &r_);
  ASSERT_NE(a, nullptr);
  EXPECT_STREQ(a->name, "Jos\xC3\xA9");
  EXPECT_EQ(Take(ZOVEXA_Attribute_GetName(ctx_, a, &r_)), "Jos\xE9");
  EXPECT_EQ(Take(ZOVEXA_Attribute_GetValue(ctx_, a, &r_)), "caf\xE9");

  // String arrays are converted on the way in; nested records are UTF-8
  // already and are not converted a second time.
  CStrings callers{"Ren\xE9"};
  ZOVEXA_Attribute *attrs[] = {a, nullptr};
  ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(ctx_, "reg", "app", nullptr, nullptr, nullptr, nullptr, nullptr,
                                              0, callers.get(), attrs, &r_);
  ASSERT_NE(u, nullptr);
  EXPECT_EQ(Items(u->callerList), (std::vector<std::string>{"Ren\xC3\xA9"}));
  EXPECT_STREQ(u->attributes[0]->name, "Jos\xC3\xA9");
  EXPECT_EQ(Take(ZOVEXA_Attribute_GetName(ctx_, u->attributes[0], &r_)), "Jos\xE9");
  EXPECT_TRUE(Quiet());
  EXPECT_EQ(ZOVEXA_UserInfo_Delete(ctx_, u, &r_), 0);
  EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, a, &r_), 0);
}

TEST(RecordsTrace, TagsAndErrorLinesAreTheOnesTraceReadersKnow) {
  TempDir dir;
  std::string trace = dir.File("trace.log");
  {
    TestContext tc({StrProp("elementCodeSet", "UTF8"), StrProp("traceFilePath", trace),
                    IntProp("traceLevel", 3), StrProp("traceLoggerName", "recordsTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    ZOVEXA_AuditClientContext *c = tc.ctx;
    ZOVEXA_result r{};
    ZOVEXA_ComponentId *id = ZOVEXA_ComponentId_Create(c, "h", "IPV4", "a", nullptr, "c", "t", "i", "s",
                                                       "inst", nullptr, nullptr, &r);
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(Take(ZOVEXA_ComponentId_GetInstanceId(c, id, &r)), "inst");
    EXPECT_EQ(ZOVEXA_ComponentId_Delete(c, id, &r), 0);
    ZOVEXA_PerfInfo *perf = ZOVEXA_PerfInfo_Create(c, "n", "d", 0, "u", 0, 0, 0, "a", &r);
    ZOVEXA_WorkItemInfo *work = ZOVEXA_WorkItemInfo_Create(c, nullptr, "t", &r);
    ZOVEXA_RegistryObjectInfo *obj =
        ZOVEXA_RegistryObjectInfo_Create(c, "n", nullptr, "t", nullptr, nullptr, &r);
    ASSERT_TRUE(perf != nullptr && work != nullptr && obj != nullptr);
    EXPECT_EQ(ZOVEXA_PerfInfo_Delete(c, perf, &r), 0);
    EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(c, work, &r), 0);
    EXPECT_EQ(ZOVEXA_RegistryObjectInfo_Delete(c, obj, &r), 0);
    EXPECT_EQ(ZOVEXA_Outcome_Create(c, "successful", 0, 0, nullptr, &r), nullptr);
    ZOVEXA_Result_Clean(&r);
    EXPECT_EQ(ZOVEXA_Outcome_Create(c, "UNSUCCESSFUL", 0, 0, nullptr, &r), nullptr);
    ZOVEXA_Result_Clean(&r);
    EXPECT_EQ(ZOVEXA_RegistryInfo_Create(c, "t", "h", "Nowhere", "1", &r), nullptr);
    ZOVEXA_Result_Clean(&r);
  }
  std::string log = ReadFile(trace);
  for (const char *line :
       {"[VEXA_ComponentId_GetInstance]", "[VEXA_ComponentId_Create]", "[componentId_Create]",
        "[regsitryObjectInfo_Delete]", "[workitemInfo_Delete]", "[VEXA_WorkitemInfo_Delete]",
        "ERROR: The value of the result parameter, successful, is invalid",
        "ERROR: The failureReason parameter is missing",
        "ERROR: value of serverLocationType is not a valid value: Nowhere"})
    EXPECT_NE(log.find(line), std::string::npos) << line;
  // The performance info's delete tags have no opening bracket.
  EXPECT_NE(log.find(" perfInfo_Delete]"), std::string::npos);
  EXPECT_NE(log.find(" VEXA_PerfInfo_Delete]"), std::string::npos);
  EXPECT_EQ(log.find("[perfInfo_Delete]"), std::string::npos);
}

// Runs `make` with the n-th allocation failing, for n = 1, 2, ... until it
// succeeds, and returns the number of allocations the success needed. Each
// failure must return NULL having reported only message 1: the result record
// is given room beforehand, so that message 1 itself needs no allocation.
template <typename Make>
long SweepAllocationFailures(Make make) {
  for (long n = 1; n < 1000; ++n) {
    ZOVEXA_result r{};
    r.entries = static_cast<ZOVEXA_resultEntry *>(calloc(5, sizeof(ZOVEXA_resultEntry)));
    r.capacity = 5;
    ZOsetAllocFailAfter(n);
    void *record = make(&r);
    ZOsetAllocFailAfter(0);
    std::vector<uint32_t> codes = Codes(r);
    ZOVEXA_Result_Clean(&r);
    if (record != nullptr) {
      EXPECT_TRUE(codes.empty()) << n;
      return n - 1;  // the allocations that succeeded before
    }
    EXPECT_EQ(codes, std::vector<uint32_t>{1}) << "allocation " << n;
    if (codes != std::vector<uint32_t>{1}) return -1;
  }
  return -1;
}

TEST_F(RecordsWithAttrsTest, RunningOutOfMemoryFailsCleanlyAtEveryAllocation) {
  CStrings callers{"a", "b", "c"};
  ZOVEXA_UserInfo *made = nullptr;
  long allocations = SweepAllocationFailures([&](ZOVEXA_result *r) {
    made = ZOuserInfo_Create(ctx_, "reg", "app", "dom", "realm", "loc", "IPV4", "sess", 5, callers.get(),
                             attrs_, 1, r);
    return made;
  });
  // The record, its seven strings, the caller list (array and three
  // strings), the attribute array and two attributes of four blocks each.
  EXPECT_EQ(allocations, 1 + 7 + 4 + 1 + 2 * 4);
  EXPECT_EQ(ZOuserInfo_Delete(ctx_, made, &r_), 0);

  CStrings names{"t1", "t2"};
  ZOVEXA_TargetInfo *target = ZOVEXA_TargetInfo_Create(ctx_, names.get(), attrs_, &r_);
  ASSERT_NE(target, nullptr);
  ZOVEXA_MgmtInfo *mgmt = nullptr;
  allocations = SweepAllocationFailures([&](ZOVEXA_result *r) {
    mgmt = ZOmgmtInfo_Create(ctx_, target, "cmd", 1, r);
    return mgmt;
  });
  // The record, the target (record, names array and two names, attribute
  // array and two attributes of four blocks each) and the command.
  EXPECT_EQ(allocations, 1 + (1 + 3 + 1 + 2 * 4) + 1);
  EXPECT_EQ(ZOmgmtInfo_Delete(ctx_, mgmt, &r_), 0);
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(ctx_, target, &r_), 0);

  // Through the exported create, which empties the result record first, the
  // message may be lost when memory stays short, but the record is not made.
  for (long n = 1; n <= 6; ++n) {
    ZOsetAllocFailAfter(n);
    ZOVEXA_PolicyInfo *p = ZOVEXA_PolicyInfo_Create(ctx_, "p", nullptr, "t", nullptr, attrs_, &r_);
    ZOsetAllocFailAfter(0);
    EXPECT_EQ(p, nullptr) << n;
    for (uint32_t code : Codes(r_)) EXPECT_EQ(code, 1u);
    ZOVEXA_Result_Clean(&r_);
  }
}

}  // namespace
