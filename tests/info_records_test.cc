// Tests of the eighteen info records: create checks, getters, deletes, deep
// copies, codeset conversion and failure without leaks when memory runs out.
#include "capis/info_records.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "capis/zo_memory.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

using Ctx = ZOVEXA_AuditClientContext;

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
  char **get() { return ptrs_.data(); }

 private:
  std::vector<char *> ptrs_;
};

// The items of a NULL-terminated array, joined with ','.
std::string Items(char *const *array) {
  if (array == nullptr) return "<null>";
  std::string items;
  for (; *array != nullptr; ++array) items += (items.empty() ? "" : ",") + std::string(*array);
  return items;
}

// The text of a string a getter handed out, which is then released; "<null>" for NULL.
std::string Take(char *s) {
  if (s == nullptr) return "<null>";
  std::string text(s);
  ZOVEXA_Free(s);
  return text;
}

// The parts of `text` between the separators.
std::vector<std::string> Split(const std::string &text, char separator) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
  return parts;
}

class RecordsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(ctx_, nullptr) << ::testing::PrintToString(Texts(tc_.result));
    attrs_[0] = ZOVEXA_Attribute_Create(ctx_, "color", "red", "ldap", &r_);
    attrs_[1] = ZOVEXA_Attribute_Create(ctx_, "size", "9", "local", &r_);
  }
  void TearDown() override {
    for (ZOVEXA_Attribute *a : attrs_) {
      if (a != nullptr) {
        EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, a, &r_), 0);
      }
    }
    ZOVEXA_Result_Clean(&r_);
  }

  // Checks that the last call reported exactly message `code` (none for 0)
  // and that its text contains `word`; empties the result record.
  ::testing::AssertionResult Reported(uint32_t code, const std::string &word = "") {
    std::vector<uint32_t> codes = Codes(r_);
    std::vector<std::string> texts = Texts(r_);
    ZOVEXA_Result_Clean(&r_);
    if (codes != (code == 0 ? std::vector<uint32_t>{} : std::vector<uint32_t>{code}) ||
        (code != 0 && texts[0].find(word) == std::string::npos))
      return ::testing::AssertionFailure() << "messages " << ::testing::PrintToString(texts);
    return ::testing::AssertionSuccess();
  }
  // What the getters hand out for `record`, joined with '|': strings (then
  // released), numbers, string arrays and attribute names (joined with ','),
  // and a nested target info's names and attributes.
  template <typename T, typename... Getters>
  std::string Read(T *record, Getters... getters) {
    std::string joined;
    ((joined += "|" + Text(getters(ctx_, record, &r_))), ...);
    return joined.substr(1);
  }
  std::string Text(char *s) { return Take(s); }
  std::string Text(char **array) { return Items(array); }
  std::string Text(int64_t n) { return std::to_string(n); }
  std::string Text(ZOVEXA_TargetInfo *t) {
    return Read(t, ZOVEXA_TargetInfo_GetTargetNames, ZOVEXA_TargetInfo_GetAttributes);
  }
  std::string Text(ZOVEXA_Attribute **attrs) {
    std::string names;
    for (; attrs != nullptr && *attrs != nullptr; ++attrs)
      names += (names.empty() ? "" : ",") + Take(ZOVEXA_Attribute_GetName(ctx_, *attrs, &r_));
    return attrs == nullptr ? "<null>" : names;
  }

  TestContext tc_{{StrProp("elementCodeSet", "UTF8")}};
  Ctx *ctx_ = tc_.ctx;
  ZOVEXA_result r_{};
  ZOVEXA_Attribute *attrs_[3] = {};  // two attributes owned by the test
};

// Outcome results and location types must be one of the words of their
// tables, exactly.
#define WITH(create) [](Ctx *c, const char *v, ZOVEXA_result *r) -> void * { return create; }
TEST_F(RecordsTest, CheckedValuesMustMatchExactly) {
  const struct {
    void *(*make)(Ctx *, const char *, ZOVEXA_result *);
    uint32_t type;
    const char *field, *good, *bad;  // values separated by '|'
  } cases[] = {
      {WITH(ZOVEXA_Outcome_Create(c, v, 0, 0, nullptr, r)), VEXA_VT_OUTCOME, "result", "SUCCESSFUL",
       "successful|Unsuccessful|SUCCESSFUL |SUCCESS|"},
      {WITH(ZOVEXA_ComponentId_Create(c, "h", v, "a", nullptr, "c", "t", "i", "s", nullptr, nullptr, nullptr,
                                      r)),
       VEXA_VT_COMPONENT_ID, "locationType", "IPV4|E.164", "ipv4|IPV5|Nowhere"},
      {WITH(ZOVEXA_RegistryInfo_Create(c, "LDAP", "h", v, "389", r)), VEXA_VT_REGISTRY_INFO,
       "serverLocationType", "Hostname", "hostname"},
      // A user's location type is optional (see the required arguments), but
      // checked when given.
      {WITH(ZOVEXA_UserInfo_Create(c, "reg", "app", nullptr, nullptr, nullptr, v, nullptr, 0, nullptr,
                                   nullptr, r)),
       VEXA_VT_USER_INFO, "locationType", "E.164", "E164"},
  };
  for (const auto &c : cases) {
    for (const std::string &value : Split(c.good, '|')) {
      void *record = c.make(ctx_, value.c_str(), &r_);
      EXPECT_TRUE(record != nullptr && Reported(0)) << value;
      EXPECT_EQ(ZOfreeRecordValue(ctx_, c.type, record, &r_), 0);
    }
    for (const std::string &value : Split(std::string(c.bad) + "|", '|')) {
      EXPECT_EQ(c.make(ctx_, value.c_str(), &r_), nullptr) << value;
      EXPECT_TRUE(Reported(
          8,
          std::string(c.field) + " , passed to the function has a value that is not valid: " + value + " ."));
    }
  }
}
#undef WITH

// For each record type: creates that supply the first `f` required arguments
// (in the order they are checked) and leave the rest NULL.
const char *V(int f, int i, const char *value = "x") { return f > i ? value : nullptr; }
char **A(int f, int i) {
  static CStrings names{"n"};
  return f > i ? names.get() : nullptr;
}
#define MAKE(create) [](Ctx *c, [[maybe_unused]] int f, ZOVEXA_result *r) -> void * { return create; }

TEST_F(RecordsTest, RequiredArgumentsAreReportedInCheckOrder) {
  const struct {
    uint32_t type;
    const char *order;  // the names reported, in check order
    void *(*make)(Ctx *, int f, ZOVEXA_result *);
  } cases[] = {
      {VEXA_VT_ATTRIBUTE, "value name", MAKE(ZOVEXA_Attribute_Create(c, V(f, 1), V(f, 0), nullptr, r))},
      {VEXA_VT_ATTRIBUTE_PERMISSION_INFO, "checked attributeNames",
       MAKE(ZOVEXA_AttributePermissionInfo_Create(c, A(f, 1), A(f, 0), nullptr, nullptr, r))},
      {VEXA_VT_COMPONENT_ID,
       "location locationType application component componentType subcomponent componentIdType",
       MAKE(ZOVEXA_ComponentId_Create(c, V(f, 0), V(f, 1, "SNA"), V(f, 2), nullptr, V(f, 3), V(f, 4), V(f, 6),
                                      V(f, 5), nullptr, nullptr, nullptr, r))},
      {VEXA_VT_HTTPURL_INFO, "method url",
       MAKE(ZOVEXA_HTTPURLInfo_Create(c, V(f, 1), V(f, 0), nullptr, nullptr, 200, r))},
      {VEXA_VT_MEMBERSHIP_INFO, "type", MAKE(ZOVEXA_MembershipInfo_Create(c, V(f, 0), nullptr, nullptr, r))},
      {VEXA_VT_OUTCOME, "result failureReason",
       MAKE(ZOVEXA_Outcome_Create(c, V(f, 0, "UNSUCCESSFUL"), 0, 0, V(f, 1), r))},
      {VEXA_VT_PERF_INFO, "name description aggregate unit",
       MAKE(ZOVEXA_PerfInfo_Create(c, V(f, 0), V(f, 1), 1, V(f, 3), 2, 3, 4, V(f, 2), r))},
      {VEXA_VT_PERMISSION_INFO, "checked",
       MAKE(ZOVEXA_PermissionInfo_Create(c, A(f, 0), nullptr, nullptr, nullptr, nullptr, r))},
      {VEXA_VT_POLICY_INFO, "type name",
       MAKE(ZOVEXA_PolicyInfo_Create(c, V(f, 1), nullptr, V(f, 0), nullptr, nullptr, r))},
      {VEXA_VT_PROVISIONING_INFO, "resourceId",
       MAKE(ZOVEXA_ProvisioningInfo_Create(c, nullptr, V(f, 0), nullptr, r))},
      {VEXA_VT_REGISTRY_INFO, "type serverLocation serverPort serverLocationType",
       MAKE(ZOVEXA_RegistryInfo_Create(c, V(f, 0), V(f, 1), V(f, 3, "IPV6"), V(f, 2), r))},
      {VEXA_VT_REGISTRY_OBJECT_INFO, "type name",
       MAKE(ZOVEXA_RegistryObjectInfo_Create(c, V(f, 1), nullptr, V(f, 0), nullptr, nullptr, r))},
      {VEXA_VT_RESOURCE_INFO, "nameInApp type nameInPolicy",
       MAKE(ZOVEXA_ResourceInfo_Create(c, V(f, 0), V(f, 2), V(f, 1), nullptr, r))},
      {VEXA_VT_TARGET_INFO, "targetNames", MAKE(ZOVEXA_TargetInfo_Create(c, A(f, 0), nullptr, r))},
      {VEXA_VT_USER_INFO, "appUserName registryUserName",
       MAKE(ZOVEXA_UserInfo_Create(c, V(f, 1), V(f, 0), nullptr, nullptr, nullptr, nullptr, nullptr, 0,
                                   nullptr, nullptr, r))},
      {VEXA_VT_WORK_ITEM_INFO, "type", MAKE(ZOVEXA_WorkItemInfo_Create(c, nullptr, V(f, 0), r))},
      // The two records without required arguments are made from nothing.
      {VEXA_VT_MGMT_INFO, "", MAKE(ZOVEXA_MgmtInfo_Create(c, nullptr, nullptr, r))},
      {VEXA_VT_MSG_DATA_ELEMENT, "",
       MAKE(ZOVEXA_MsgDataElement_Create(c, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                         r))},
  };
  for (const auto &rc : cases) {
    SCOPED_TRACE(rc.type);
    const std::vector<std::string> order = Split(rc.order, ' ');
    const int n = static_cast<int>(order.size());
    for (int filled = 0; filled < n; ++filled) {
      EXPECT_EQ(rc.make(ctx_, filled, &r_), nullptr);
      EXPECT_TRUE(Reported(9, "'" + order[static_cast<size_t>(filled)] + "'"));
    }
    void *record = rc.make(ctx_, n, &r_);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(Reported(0));
    EXPECT_EQ(ZOfreeRecordValue(ctx_, rc.type, record, &r_), 0);
  }
}

#undef MAKE

// A getter, or the delete, of one record type called with a NULL record: true
// when it fails (NULL, or -1 for numbers and deletes).
using NullCall = std::function<bool(Ctx *, ZOVEXA_result *)>;
template <typename Ret, typename T>
NullCall Get(Ret (*getter)(Ctx *, T *, ZOVEXA_result *), std::type_identity_t<Ret> failed = Ret{}) {
  return [getter, failed](Ctx *c, ZOVEXA_result *r) { return getter(c, nullptr, r) == failed; };
}
template <typename T>
NullCall Del(int32_t (*del)(Ctx *, T *, ZOVEXA_result *)) {
  return Get(del, -1);
}

TEST_F(RecordsTest, NullHandlesAreReportedByTheirOwnNames) {
  const struct {
    const char *handle;  // the name the getter reports
    NullCall get, del;
    const char *deleteHandle = nullptr;  // the name the delete reports, when another
  } cases[] = {
      {"attribute_Handle", Get(ZOVEXA_Attribute_GetSource), Del(ZOVEXA_Attribute_Delete)},
      {"attributePermissionInfo_Handle", Get(ZOVEXA_AttributePermissionInfo_GetDenied),
       Del(ZOVEXA_AttributePermissionInfo_Delete)},
      {"componentId_Handle", Get(ZOVEXA_ComponentId_GetInstanceId), Del(ZOVEXA_ComponentId_Delete)},
      {"HTTPURLInfo_Handle", Get(ZOVEXA_HTTPURLInfo_GetResponseCode, -1), Del(ZOVEXA_HTTPURLInfo_Delete)},
      {"membershipInfo_Handle", Get(ZOVEXA_MembershipInfo_GetId), Del(ZOVEXA_MembershipInfo_Delete),
       "membershipInfo__Handle"},
      {"mgmtInfo_Handle", Get(ZOVEXA_MgmtInfo_GetTargetInfo), Del(ZOVEXA_MgmtInfo_Delete)},
      {"msgDataElement_Handle", Get(ZOVEXA_MsgDataElement_GetMsgCatalogTokens),
       Del(ZOVEXA_MsgDataElement_Delete)},
      {"outcome_Handle", Get(ZOVEXA_Outcome_GetMajorStatus, -1), Del(ZOVEXA_Outcome_Delete)},
      {"perfInfo_Handle", Get(ZOVEXA_PerfInfo_GetMaxValue, -1), Del(ZOVEXA_PerfInfo_Delete)},
      {"policyInfo_Handle", Get(ZOVEXA_PolicyInfo_GetAttributes), Del(ZOVEXA_PolicyInfo_Delete)},
      {"permInfo_Handle", Get(ZOVEXA_PermissionInfo_GetChecked), Del(ZOVEXA_PermissionInfo_Delete),
       "permissionInfo_Handle"},
      {"provisioningInfo_Handle", Get(ZOVEXA_ProvisioningInfo_GetResourceId),
       Del(ZOVEXA_ProvisioningInfo_Delete), "provsioningInfo_Handle"},
      {"registryInfo_Handle", Get(ZOVEXA_RegistryInfo_GetServerPort), Del(ZOVEXA_RegistryInfo_Delete)},
      {"registryObjectInfo_Handle", Get(ZOVEXA_RegistryObjectInfo_GetRegistryName),
       Del(ZOVEXA_RegistryObjectInfo_Delete)},
      {"resourceInfo_Handle", Get(ZOVEXA_ResourceInfo_GetNameInPolicy), Del(ZOVEXA_ResourceInfo_Delete)},
      {"targetInfo_Handle", Get(ZOVEXA_TargetInfo_GetTargetNames), Del(ZOVEXA_TargetInfo_Delete)},
      {"userInfo_Handle", Get(ZOVEXA_UserInfo_GetUniqueId, -1), Del(ZOVEXA_UserInfo_Delete)},
      {"workItemInfo_Handle", Get(ZOVEXA_WorkItemInfo_GetType), Del(ZOVEXA_WorkItemInfo_Delete)},
  };
  for (const auto &nc : cases) {
    SCOPED_TRACE(nc.handle);
    EXPECT_TRUE(nc.get(ctx_, &r_) && Reported(9, std::string("'") + nc.handle + "'"));
    const std::string deleteHandle = nc.deleteHandle != nullptr ? nc.deleteHandle : nc.handle;
    EXPECT_TRUE(nc.del(ctx_, &r_) && Reported(9, "'" + deleteHandle + "'"));
  }

  // A NULL context is reported, a NULL result record fails the call quietly.
  EXPECT_TRUE(ZOVEXA_WorkItemInfo_Create(nullptr, "id", "type", &r_) == nullptr && Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Create(ctx_, "id", "type", nullptr), nullptr);
  ZOVEXA_WorkItemInfo *w = ZOVEXA_WorkItemInfo_Create(ctx_, "id", "type", &r_);
  EXPECT_TRUE(ZOVEXA_WorkItemInfo_GetId(nullptr, w, &r_) == nullptr && Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_GetId(ctx_, w, nullptr), nullptr);
  EXPECT_TRUE(ZOVEXA_WorkItemInfo_Delete(nullptr, w, &r_) == -1 && Reported(10));
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(ctx_, w, nullptr), -1);
  EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(ctx_, w, &r_), 0);
}

// Each record is read through all its getters and then deleted, which gives
// the last value read, 0.
TEST_F(RecordsTest, EveryGetterReturnsWhatWasGiven) {
  CStrings n1{"attr1", "attr2"}, n2{"read"}, n3{"write", "exec"}, n4{"delete"}, n5{"admin"};
  Ctx *c = ctx_;
  ZOVEXA_result *r = &r_;
  EXPECT_EQ(Read(attrs_[0], ZOVEXA_Attribute_GetName, ZOVEXA_Attribute_GetValue, ZOVEXA_Attribute_GetSource),
            "color|red|ldap");

  auto *ap = ZOVEXA_AttributePermissionInfo_Create(c, n1.get(), n2.get(), n3.get(), n4.get(), r);
  EXPECT_EQ(Read(ap, ZOVEXA_AttributePermissionInfo_GetAttributeNames,
                 ZOVEXA_AttributePermissionInfo_GetChecked, ZOVEXA_AttributePermissionInfo_GetGranted,
                 ZOVEXA_AttributePermissionInfo_GetDenied, ZOVEXA_AttributePermissionInfo_Delete),
            "attr1,attr2|read|write,exec|delete|0");

  ZOVEXA_ComponentId *ci = ZOVEXA_ComponentId_Create(c, "loc", "IPV6", "app", "env", "comp", "ctype",
                                                     "idtype", "sub", "inst", "pid", "tid", r);
  EXPECT_EQ(Read(ci, ZOVEXA_ComponentId_GetLocation, ZOVEXA_ComponentId_GetLocationType,
                 ZOVEXA_ComponentId_GetApplication, ZOVEXA_ComponentId_GetExecuteEnv,
                 ZOVEXA_ComponentId_GetComponent, ZOVEXA_ComponentId_GetComponentType,
                 ZOVEXA_ComponentId_GetComponentIdType, ZOVEXA_ComponentId_GetSubComponent,
                 ZOVEXA_ComponentId_GetInstanceId, ZOVEXA_ComponentId_GetProcessId,
                 ZOVEXA_ComponentId_GetThreadId, ZOVEXA_ComponentId_Delete),
            "loc|IPV6|app|env|comp|ctype|idtype|sub|inst|pid|tid|0");

  ZOVEXA_HTTPURLInfo *h =
      ZOVEXA_HTTPURLInfo_Create(c, "http://h/p", "POST", "Accept: */*", "Server: s", 404, r);
  EXPECT_EQ(Read(h, ZOVEXA_HTTPURLInfo_GetUrl, ZOVEXA_HTTPURLInfo_GetMethod,
                 ZOVEXA_HTTPURLInfo_GetRequestHeaders, ZOVEXA_HTTPURLInfo_GetResponseHeaders,
                 ZOVEXA_HTTPURLInfo_GetResponseCode, ZOVEXA_HTTPURLInfo_Delete),
            "http://h/p|POST|Accept: */*|Server: s|404|0");

  ZOVEXA_MembershipInfo *m = ZOVEXA_MembershipInfo_Create(c, "group", "g42", "staff", r);
  EXPECT_EQ(Read(m, ZOVEXA_MembershipInfo_GetType, ZOVEXA_MembershipInfo_GetId, ZOVEXA_MembershipInfo_GetName,
                 ZOVEXA_MembershipInfo_Delete),
            "group|g42|staff|0");

  ZOVEXA_TargetInfo *t = ZOVEXA_TargetInfo_Create(c, n5.get(), attrs_, r);
  ZOVEXA_MgmtInfo *mg = ZOVEXA_MgmtInfo_Create(c, t, "restart", r);
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(c, t, r), 0);  // the management info holds a copy
  EXPECT_EQ(Read(mg, ZOVEXA_MgmtInfo_GetTargetInfo, ZOVEXA_MgmtInfo_GetCommand, ZOVEXA_MgmtInfo_Delete),
            "admin|color,size|restart|0");

  auto *d = ZOVEXA_MsgDataElement_Create(c, "M1", "IBM3.4", "C1", "cat", "XPG", "de_DE", n3.get(), r);
  EXPECT_EQ(Read(d, ZOVEXA_MsgDataElement_GetMsgId, ZOVEXA_MsgDataElement_GetMsgIdType,
                 ZOVEXA_MsgDataElement_GetMsgCatalogId, ZOVEXA_MsgDataElement_GetMsgCatalog,
                 ZOVEXA_MsgDataElement_GetMsgCatalogType, ZOVEXA_MsgDataElement_GetMsgLocale,
                 ZOVEXA_MsgDataElement_GetMsgCatalogTokens, ZOVEXA_MsgDataElement_Delete),
            "M1|IBM3.4|C1|cat|XPG|de_DE|write,exec|0");

  ZOVEXA_Outcome *o = ZOVEXA_Outcome_Create(c, "UNSUCCESSFUL", -7, 12, "denied", r);
  EXPECT_EQ(Read(o, ZOVEXA_Outcome_GetResult, ZOVEXA_Outcome_GetMajorStatus, ZOVEXA_Outcome_GetMinorStatus,
                 ZOVEXA_Outcome_GetFailureReason, ZOVEXA_Outcome_Delete),
            "UNSUCCESSFUL|-7|12|denied|0");

  const int64_t big = int64_t{1} << 40;  // 1099511627776
  ZOVEXA_PerfInfo *p = ZOVEXA_PerfInfo_Create(c, "lat", "latency", 5, "ms", big, -big, big + 1, "avg", r);
  EXPECT_EQ(Read(p, ZOVEXA_PerfInfo_GetName, ZOVEXA_PerfInfo_GetDescription, ZOVEXA_PerfInfo_GetNumDataPoints,
                 ZOVEXA_PerfInfo_GetUnit, ZOVEXA_PerfInfo_GetMaxValue, ZOVEXA_PerfInfo_GetMinValue,
                 ZOVEXA_PerfInfo_GetValue, ZOVEXA_PerfInfo_GetAggregate, ZOVEXA_PerfInfo_Delete),
            "lat|latency|5|ms|1099511627776|-1099511627776|1099511627777|avg|0");

  ZOVEXA_PolicyInfo *po = ZOVEXA_PolicyInfo_Create(c, "pol", "br", "acl", "desc", attrs_, r);
  EXPECT_EQ(Read(po, ZOVEXA_PolicyInfo_GetName, ZOVEXA_PolicyInfo_GetBranch, ZOVEXA_PolicyInfo_GetType,
                 ZOVEXA_PolicyInfo_GetDescription, ZOVEXA_PolicyInfo_GetAttributes, ZOVEXA_PolicyInfo_Delete),
            "pol|br|acl|desc|color,size|0");

  auto *pe = ZOVEXA_PermissionInfo_Create(c, n1.get(), n2.get(), n3.get(), n4.get(), n5.get(), r);
  EXPECT_EQ(Read(pe, ZOVEXA_PermissionInfo_GetChecked, ZOVEXA_PermissionInfo_GetGranted,
                 ZOVEXA_PermissionInfo_GetDenied, ZOVEXA_PermissionInfo_GetJ2EERolesChecked,
                 ZOVEXA_PermissionInfo_GetJ2EERolesGranted, ZOVEXA_PermissionInfo_Delete),
            "attr1,attr2|read|write,exec|delete|admin|0");

  ZOVEXA_ProvisioningInfo *pr = ZOVEXA_ProvisioningInfo_Create(c, "acct", "res", "db", r);
  EXPECT_EQ(Read(pr, ZOVEXA_ProvisioningInfo_GetAccountId, ZOVEXA_ProvisioningInfo_GetResourceId,
                 ZOVEXA_ProvisioningInfo_GetResourceType, ZOVEXA_ProvisioningInfo_Delete),
            "acct|res|db|0");

  ZOVEXA_RegistryInfo *rg = ZOVEXA_RegistryInfo_Create(c, "LDAP", "10.0.0.1", "IPV4", "636", r);
  EXPECT_EQ(Read(rg, ZOVEXA_RegistryInfo_GetType, ZOVEXA_RegistryInfo_GetServerLocation,
                 ZOVEXA_RegistryInfo_GetServerLocationType, ZOVEXA_RegistryInfo_GetServerPort,
                 ZOVEXA_RegistryInfo_Delete),
            "LDAP|10.0.0.1|IPV4|636|0");

  ZOVEXA_RegistryObjectInfo *ro = ZOVEXA_RegistryObjectInfo_Create(c, "obj", "reg", "user", "d", attrs_, r);
  EXPECT_EQ(Read(ro, ZOVEXA_RegistryObjectInfo_GetName, ZOVEXA_RegistryObjectInfo_GetRegistryName,
                 ZOVEXA_RegistryObjectInfo_GetType, ZOVEXA_RegistryObjectInfo_GetDescription,
                 ZOVEXA_RegistryObjectInfo_GetAttributes, ZOVEXA_RegistryObjectInfo_Delete),
            "obj|reg|user|d|color,size|0");

  ZOVEXA_ResourceInfo *rs = ZOVEXA_ResourceInfo_Create(c, "inApp", "inPolicy", "file", attrs_, r);
  EXPECT_EQ(Read(rs, ZOVEXA_ResourceInfo_GetNameInApp, ZOVEXA_ResourceInfo_GetNameInPolicy,
                 ZOVEXA_ResourceInfo_GetType, ZOVEXA_ResourceInfo_GetAttributes, ZOVEXA_ResourceInfo_Delete),
            "inApp|inPolicy|file|color,size|0");

  ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(c, "cn=jo", "jo", "dom", "realm", "ws1", "Hostname", "s1", 77,
                                              n2.get(), attrs_, r);
  EXPECT_EQ(Read(u, ZOVEXA_UserInfo_GetRegistryUserName, ZOVEXA_UserInfo_GetAppUserName,
                 ZOVEXA_UserInfo_GetDomain, ZOVEXA_UserInfo_GetRealm, ZOVEXA_UserInfo_GetLocation,
                 ZOVEXA_UserInfo_GetLocationType, ZOVEXA_UserInfo_GetSessionId, ZOVEXA_UserInfo_GetUniqueId,
                 ZOVEXA_UserInfo_GetCallerList, ZOVEXA_UserInfo_GetAttributes, ZOVEXA_UserInfo_Delete),
            "cn=jo|jo|dom|realm|ws1|Hostname|s1|77|read|color,size|0");

  ZOVEXA_WorkItemInfo *w = ZOVEXA_WorkItemInfo_Create(c, "w1", "approval", r);
  EXPECT_EQ(Read(w, ZOVEXA_WorkItemInfo_GetId, ZOVEXA_WorkItemInfo_GetType, ZOVEXA_WorkItemInfo_Delete),
            "w1|approval|0");
  EXPECT_TRUE(Reported(0));
}

TEST_F(RecordsTest, CreatesAndCopiesKeepNothingOfTheCallersArguments) {
  CStrings callers{"alice", "bob"};
  ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(ctx_, "reg", "app", nullptr, nullptr, nullptr, nullptr, nullptr,
                                              1, callers.get(), attrs_, &r_);
  ASSERT_NE(u, nullptr);
  EXPECT_NE(u->callerList[0], callers.get()[0]);
  EXPECT_NE(u->attributes[0], attrs_[0]);
  // Change and release what the caller passed: the record is untouched.
  callers.get()[0][0] = 'X';
  EXPECT_EQ(ZOVEXA_Attribute_Delete(ctx_, attrs_[0], &r_) + ZOVEXA_Attribute_Delete(ctx_, attrs_[1], &r_), 0);
  attrs_[0] = attrs_[1] = nullptr;
  EXPECT_EQ(Items(ZOVEXA_UserInfo_GetCallerList(ctx_, u, &r_)), "alice,bob");
  EXPECT_EQ(Text(ZOVEXA_UserInfo_GetAttributes(ctx_, u, &r_)), "color,size");

  // An empty array is copied as an array holding only its terminator.
  char *empty[] = {nullptr};
  ZOVEXA_TargetInfo *t = ZOVEXA_TargetInfo_Create(ctx_, empty, nullptr, &r_);
  char **names = ZOVEXA_TargetInfo_GetTargetNames(ctx_, t, &r_);
  EXPECT_TRUE(names != nullptr && names != empty && names[0] == nullptr);
  EXPECT_TRUE(ZOVEXA_TargetInfo_GetAttributes(ctx_, t, &r_) == nullptr && Reported(0));
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(ctx_, t, &r_), 0);

  // An element value's copy runs the create's checks on the fields it finds.
  auto *copy = static_cast<ZOVEXA_UserInfo *>(ZOcopyRecordValue(ctx_, VEXA_VT_USER_INFO, u, 1, &r_));
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy->callerList, u->callerList);
  EXPECT_EQ(ZOfreeRecordValue(ctx_, VEXA_VT_USER_INFO, copy, &r_), 0);
  ZOVEXA_Outcome odd{const_cast<char *>("MAYBE"), 0, 0, nullptr};
  EXPECT_TRUE(ZOcopyRecordValue(ctx_, VEXA_VT_OUTCOME, &odd, 1, &r_) == nullptr && Reported(8, "MAYBE"));
  ZOVEXA_PolicyInfo broken{};
  ZOVEXA_PolicyInfo *policies[] = {&broken, nullptr};
  EXPECT_EQ(ZOcopyRecordValue(ctx_, VEXA_VT_POLICY_INFO_ARRAY, policies, 1, &r_), nullptr);
  EXPECT_TRUE(Reported(9, "'type'"));
  // Only record types are copied here.
  EXPECT_TRUE(ZOcopyRecordValue(ctx_, VEXA_VT_DATETIME, u, 1, &r_) == nullptr &&
              Reported(8, "valueType , passed to the function has a value that is not valid: 4"));
  EXPECT_TRUE(ZOfreeRecordValue(ctx_, 27, u, &r_) == -1 && Reported(8, "valueType"));
  EXPECT_TRUE(ZOcopyRecordValue(ctx_, VEXA_VT_OUTCOME, nullptr, 1, &r_) == nullptr && Reported(9, "'value'"));
  // Deleting a user info releases its caller list and attribute records
  // (the sanitizer build reports anything left behind).
  EXPECT_EQ(ZOVEXA_UserInfo_Delete(ctx_, u, &r_), 0);
}

// Strings are held in UTF-8 and handed back in the context's codeset; string
// arrays are converted on the way in, nested records (UTF-8 already) not a
// second time.
TEST(RecordsCodesetTest, StringsAreHeldInUtf8) {
  for (const char *codeset : {"UTF8", "ISO-8859-1"}) {
    SCOPED_TRACE(codeset);
    const char *given = std::string(codeset) == "UTF8" ? "Jos\xC3\xA9" : "Jos\xE9";
    TestContext tc({StrProp("elementCodeSet", codeset)});
    ASSERT_NE(tc.ctx, nullptr);
    ZOVEXA_result r{};
    ZOVEXA_Attribute *a = ZOVEXA_Attribute_Create(tc.ctx, given, "v", nullptr, &r);
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a->name, "Jos\xC3\xA9");
    EXPECT_EQ(Take(ZOVEXA_Attribute_GetName(tc.ctx, a, &r)), given);
    CStrings callers{given};
    ZOVEXA_Attribute *attrs[] = {a, nullptr};
    ZOVEXA_UserInfo *u = ZOVEXA_UserInfo_Create(tc.ctx, "reg", "app", nullptr, nullptr, nullptr, nullptr,
                                                nullptr, 0, callers.get(), attrs, &r);
    ASSERT_NE(u, nullptr);
    EXPECT_STREQ(u->callerList[0], "Jos\xC3\xA9");
    EXPECT_STREQ(u->attributes[0]->name, "Jos\xC3\xA9");
    EXPECT_EQ(Take(ZOVEXA_Attribute_GetName(tc.ctx, u->attributes[0], &r)), given);
    EXPECT_EQ(r.count, 0);
    EXPECT_EQ(ZOVEXA_UserInfo_Delete(tc.ctx, u, &r), 0);
    EXPECT_EQ(ZOVEXA_Attribute_Delete(tc.ctx, a, &r), 0);
  }
}

TEST(RecordsTrace, TagsAndErrorLinesAreTheOnesTraceReadersKnow) {
  TempDir dir;
  std::string trace = dir.File("trace.log");
  {
    TestContext tc({StrProp("elementCodeSet", "UTF8"), StrProp("traceFilePath", trace),
                    IntProp("traceLevel", 3), StrProp("traceLoggerName", "recordsTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    Ctx *c = tc.ctx;
    ZOVEXA_result r{};
    ZOVEXA_ComponentId *id = ZOVEXA_ComponentId_Create(c, "h", "IPV4", "a", nullptr, "c", "t", "i", "s",
                                                       "inst", nullptr, nullptr, &r);
    EXPECT_EQ(Take(ZOVEXA_ComponentId_GetInstanceId(c, id, &r)), "inst");
    EXPECT_EQ(ZOVEXA_ComponentId_Delete(c, id, &r), 0);
    EXPECT_EQ(ZOVEXA_PerfInfo_Delete(c, ZOVEXA_PerfInfo_Create(c, "n", "d", 0, "u", 0, 0, 0, "a", &r), &r),
              0);
    EXPECT_EQ(ZOVEXA_WorkItemInfo_Delete(c, ZOVEXA_WorkItemInfo_Create(c, nullptr, "t", &r), &r), 0);
    EXPECT_EQ(ZOVEXA_RegistryObjectInfo_Delete(
                  c, ZOVEXA_RegistryObjectInfo_Create(c, "n", nullptr, "t", nullptr, nullptr, &r), &r),
              0);
    // A record must be emptied before it is used again.
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
long SweepAllocationFailures(const std::function<void *(ZOVEXA_result *)> &make) {
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

TEST_F(RecordsTest, RunningOutOfMemoryFailsCleanlyAtEveryAllocation) {
  CStrings callers{"a", "b", "c"};
  ZOVEXA_UserInfo *made = nullptr;
  long allocations = SweepAllocationFailures([&](ZOVEXA_result *r) {
    return made = ZOuserInfo_Create(ctx_, "reg", "app", "dom", "realm", "loc", "IPV4", "sess", 5,
                                    callers.get(), attrs_, 1, r);
  });
  // The record, its seven strings, the caller list (array and three
  // strings), the attribute array and two attributes of four blocks each.
  EXPECT_EQ(allocations, 1 + 7 + 4 + 1 + 2 * 4);
  EXPECT_EQ(ZOuserInfo_Delete(ctx_, made, &r_), 0);

  CStrings names{"t1", "t2"};
  ZOVEXA_TargetInfo *target = ZOVEXA_TargetInfo_Create(ctx_, names.get(), attrs_, &r_);
  ZOVEXA_MgmtInfo *mgmt = nullptr;
  allocations = SweepAllocationFailures(
      [&](ZOVEXA_result *r) { return mgmt = ZOmgmtInfo_Create(ctx_, target, "cmd", 1, r); });
  // The record, the target (record, names array and two names, attribute
  // array and two attributes of four blocks each) and the command.
  EXPECT_EQ(allocations, 1 + (1 + 3 + 1 + 2 * 4) + 1);
  EXPECT_EQ(ZOmgmtInfo_Delete(ctx_, mgmt, &r_), 0);
  EXPECT_EQ(ZOVEXA_TargetInfo_Delete(ctx_, target, &r_), 0);

  // Through the exported create, which empties the result record first, the
  // message may be lost when memory stays short, but the record is not made.
  for (long n = 1; n <= 6; ++n) {
    ZOsetAllocFailAfter(n);
    EXPECT_EQ(ZOVEXA_PolicyInfo_Create(ctx_, "p", nullptr, "t", nullptr, attrs_, &r_), nullptr) << n;
    ZOsetAllocFailAfter(0);
    for (uint32_t code : Codes(r_)) EXPECT_EQ(code, 1u);
    ZOVEXA_Result_Clean(&r_);
  }
}

}  // namespace
