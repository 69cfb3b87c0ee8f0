// Checking events before they are sent: required elements per event type,
// value types, null values, value checks, the conditional rules and the time
// stamp that the check adds.
#include "capis/validation.h"

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "capis/audit_element.h"
#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "capis/zo_memory.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"

namespace {

// A record of the given value type with every field empty, or an empty
// record array; the element takes it over (copy 0), so the check sees the
// value type without the record creates' own checks.
void *EmptyValue(uint32_t type) {
  const std::pair<uint32_t, size_t> sizes[] = {
      {VEXA_VT_COMPONENT_ID, sizeof(ZOVEXA_ComponentId)},
      {VEXA_VT_HTTPURL_INFO, sizeof(ZOVEXA_HTTPURLInfo)},
      {VEXA_VT_MGMT_INFO, sizeof(ZOVEXA_MgmtInfo)},
      {VEXA_VT_MSG_DATA_ELEMENT, sizeof(ZOVEXA_MsgDataElement)},
      {VEXA_VT_OUTCOME, sizeof(ZOVEXA_Outcome)},
      {VEXA_VT_PERF_INFO, sizeof(ZOVEXA_PerfInfo)},
      {VEXA_VT_POLICY_INFO, sizeof(ZOVEXA_PolicyInfo)},
      {VEXA_VT_PERMISSION_INFO, sizeof(ZOVEXA_PermissionInfo)},
      {VEXA_VT_PROVISIONING_INFO, sizeof(ZOVEXA_ProvisioningInfo)},
      {VEXA_VT_REGISTRY_INFO, sizeof(ZOVEXA_RegistryInfo)},
      {VEXA_VT_REGISTRY_OBJECT_INFO, sizeof(ZOVEXA_RegistryObjectInfo)},
      {VEXA_VT_RESOURCE_INFO, sizeof(ZOVEXA_ResourceInfo)},
      {VEXA_VT_USER_INFO, sizeof(ZOVEXA_UserInfo)},
      {VEXA_VT_WORK_ITEM_INFO, sizeof(ZOVEXA_WorkItemInfo)},
      // The arrays: only the terminating NULL.
      {VEXA_VT_ATTRIBUTE_ARRAY, sizeof(void *)},
      {VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY, sizeof(void *)},
      {VEXA_VT_MEMBERSHIP_INFO_ARRAY, sizeof(void *)},
      {VEXA_VT_POLICY_INFO_ARRAY, sizeof(void *)},
  };
  for (const auto &[t, size] : sizes) {
    if (t == type) return ZOcalloc(1, size);
  }
  ADD_FAILURE() << "no empty value for type " << type;
  return nullptr;
}

// An event under construction; deleted with its elements at the end.
class Event {
 public:
  Event(ZOVEXA_AuditClientContext *ctx, const char *type) : ctx_(ctx) {
    ZOVEXA_result r{};
    ev = ZOVEXA_AuditEvent_Create(ctx, type, &r);
    EXPECT_NE(ev, nullptr);
    ZOVEXA_Result_Clean(&r);
  }
  ~Event() {
    ZOVEXA_result r{};
    ZOVEXA_AuditEvent_Delete(ev, &r);
    ZOVEXA_Result_Clean(&r);
    ZOVEXA_Result_Clean(&result);
  }
  Event(const Event &) = delete;
  Event &operator=(const Event &) = delete;

  // Any element by value type: strings get `text`, numbers 7, date-times
  // the current time, records and arrays an empty value.
  Event &Add(const char *name, uint32_t type, const char *text = "value") {
    ZOVEXA_result r{};
    ZOVEXA_AuditElement *e = nullptr;
    if (type == VEXA_VT_STRING) {
      e = ZOVEXA_AuditEvent_AddStringElement(ev, name, text, 1, &r);
    } else if (type == VEXA_VT_INTEGER) {
      e = ZOVEXA_AuditEvent_AddIntegerElement(ev, name, 7, &r);
    } else if (type == VEXA_VT_LONG) {
      e = ZOVEXA_AuditEvent_AddLongElement(ev, name, 7, &r);
    } else if (type == VEXA_VT_DATETIME) {
      struct timeval now;
      gettimeofday(&now, nullptr);
      e = ZOVEXA_AuditEvent_AddDateTimeElement(ev, name, &now, 1, &r);
    } else {
      e = ZOVEXA_AuditEvent_AddElement(ev, name, type, EmptyValue(type), 0, &r);
    }
    EXPECT_NE(e, nullptr) << name;
    ZOVEXA_Result_Clean(&r);
    return *this;
  }
  Event &Outcome(const char *result) {
    auto *o = static_cast<ZOVEXA_Outcome *>(EmptyValue(VEXA_VT_OUTCOME));
    o->result = ZOstrdup(result);
    ZOVEXA_result r{};
    EXPECT_NE(ZOVEXA_AuditEvent_AddElement(ev, "outcome", VEXA_VT_OUTCOME, o, 0, &r), nullptr);
    ZOVEXA_Result_Clean(&r);
    return *this;
  }
  // The elements every event needs.
  Event &Common(const char *outcome = "SUCCESSFUL") {
    Add("sourceComponentId", VEXA_VT_COMPONENT_ID);
    return Outcome(outcome);
  }

  // Runs the check; `result` keeps its messages for the caller.
  int Check() {
    ZOVEXA_Result_Clean(&result);
    return ZOcheckEvent(ctx_, ev, &result);
  }
  const ZOVEXA_AuditElement *Find(const char *name) const { return ZOfindInList(&ev->elements, name); }
  int32_t Count() const { return ev->elements.count; }
  // The only message's text, or "" when there is not exactly one.
  std::string Message() const { return result.count == 1 ? result.entries[0].text : ""; }

  ZOVEXA_AuditEvent *ev = nullptr;
  ZOVEXA_result result{};

 private:
  ZOVEXA_AuditClientContext *ctx_;
};

class ValidationTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(tc.ctx, nullptr); }
  void TearDown() override {}
  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
};

TEST_F(ValidationTest, MissingTimestampIsAddedFromTheDefault) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_STRING).Common();
  ASSERT_EQ(e.Find("timestamp"), nullptr);
  EXPECT_EQ(e.Check(), 0);
  EXPECT_EQ(e.result.count, 0);
  const ZOVEXA_AuditElement *ts = e.Find("timestamp");
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->valueType, static_cast<uint32_t>(VEXA_VT_DATETIME));
  ASSERT_NE(ts->value, nullptr);
  EXPECT_NE(ts->value, e.ev->defaultTimeStamp);  // a copy
  const auto *tv = static_cast<const struct timeval *>(ts->value);
  EXPECT_EQ(tv->tv_sec, e.ev->defaultTimeStamp->tv_sec);
  EXPECT_EQ(tv->tv_usec, e.ev->defaultTimeStamp->tv_usec);

  // A second check finds it and adds nothing.
  const int32_t count = e.Count();
  EXPECT_EQ(e.Check(), 0);
  EXPECT_EQ(e.Count(), count);
}

TEST_F(ValidationTest, MissingRequiredElementFailsBeforeAnyRule) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Common();
  EXPECT_EQ(e.Check(), -1);
  EXPECT_EQ(OnlyCode(e.result), 15u);
  EXPECT_EQ(e.Message(), "KZTCC0015E The required element 'authnType' was not present in the event.");
  EXPECT_EQ(e.Find("timestamp"), nullptr);
}

TEST_F(ValidationTest, OnlyTopLevelElementsCount) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("extra", VEXA_VT_STRING).Add("extra.authnType", VEXA_VT_STRING);
  e.Common();
  EXPECT_EQ(e.Check(), -1);
  EXPECT_EQ(OnlyCode(e.result), 15u);
  EXPECT_NE(e.Message().find("'authnType'"), std::string::npos);
}

TEST_F(ValidationTest, WrongValueTypeNamesTheTypeNumber) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_INTEGER).Common();
  EXPECT_EQ(e.Check(), -1);
  EXPECT_EQ(OnlyCode(e.result), 14u);
  EXPECT_EQ(e.Message(),
            "KZTCC0014E The predefined element, authnType , has a value type that is not valid: 1 .");

  // Common elements are checked in every event, also of unknown types.
  Event f(tc.ctx, "MY_OWN_TYPE");
  f.Add("sourceComponentId", VEXA_VT_COMPONENT_ID).Add("outcome", VEXA_VT_STRING, "SUCCESSFUL");
  EXPECT_EQ(f.Check(), -1);
  EXPECT_EQ(f.Message(),
            "KZTCC0014E The predefined element, outcome , has a value type that is not valid: 3 .");
}

TEST_F(ValidationTest, NullValueOfPredefinedElement) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_STRING).Common();
  auto *element = const_cast<ZOVEXA_AuditElement *>(e.Find("authnType"));
  ASSERT_NE(element, nullptr);
  free(element->value);
  element->value = nullptr;
  EXPECT_EQ(e.Check(), -1);
  EXPECT_EQ(OnlyCode(e.result), 16u);
  EXPECT_EQ(e.Message(), "KZTCC0016E The predefined element 'authnType' has a null value.");
}

TEST_F(ValidationTest, UnknownTypeNeedsOnlyTheCommonElements) {
  Event e(tc.ctx, "AUDIT_SOMETHING_ELSE");
  e.Add("userInfo", VEXA_VT_STRING).Add("freeForm", VEXA_VT_STRING).Common();
  EXPECT_EQ(e.Check(), 0);
  EXPECT_NE(e.Find("timestamp"), nullptr);

  Event f(tc.ctx, "AUDIT_SOMETHING_ELSE");
  f.Add("sourceComponentId", VEXA_VT_COMPONENT_ID);
  EXPECT_EQ(f.Check(), -1);
  EXPECT_NE(f.Message().find("'outcome'"), std::string::npos);
}

TEST_F(ValidationTest, ValueChecksAreExactAndCaseSensitive) {
  struct {
    const char *type;
    const char *name;
    const char *value;
    bool valid;
  } cases[] = {
      {"AUDIT_COMPLIANCE", "suppressed", "Yes", true},
      {"AUDIT_COMPLIANCE", "suppressed", "No", true},
      {"AUDIT_COMPLIANCE", "suppressed", "yes", false},
      {"AUDIT_COMPLIANCE", "suppressed", "no", false},
      {"AUDIT_COMPLIANCE", "suppressed", "Yes ", false},
      {"AUDIT_RUNTIME_KEY", "locationType", "IPV4", true},
      {"AUDIT_RUNTIME_KEY", "locationType", "E.164", true},
      {"AUDIT_RUNTIME_KEY", "locationType", "ipv4", false},
      {"AUDIT_RUNTIME_KEY", "locationType", "", false},
  };
  for (const auto &c : cases) {
    Event e(tc.ctx, c.type);
    e.Common();
    if (std::strcmp(c.type, "AUDIT_COMPLIANCE") == 0) {
      e.Add("complianceStatus", VEXA_VT_STRING, "compliant");
    } else {
      e.Add("keyLabel", VEXA_VT_STRING).Add("location", VEXA_VT_STRING).Add("action", VEXA_VT_STRING);
    }
    e.Add(c.name, VEXA_VT_STRING, c.value);
    EXPECT_EQ(e.Check(), c.valid ? 0 : -1) << c.name << "=" << c.value;
    if (!c.valid) {
      EXPECT_EQ(OnlyCode(e.result), 47u);
      EXPECT_EQ(e.Message(), std::string("KZTCC0047E The predefined element, ") + c.name +
                                 " , has a value that is not valid: " + c.value + " .");
    }
  }
}

// Each conditional rule, triggered and not: the element named by `missing`
// is absent, and `trigger` holds `value` (a string, or the outcome's result).
TEST_F(ValidationTest, ConditionalRules) {
  struct {
    const char *type;
    const char *trigger;
    const char *value;
    const char *missing;  // nullptr: the event passes
  } cases[] = {
      {"AUDIT_AUTHN_TERMINATE", "action", "logout", "terminateReason"},
      {"AUDIT_AUTHN_TERMINATE", "action", "Logout", nullptr},
      {"AUDIT_AUTHZ", "outcome", "SUCCESSFUL", "accessDecision"},
      {"AUDIT_AUTHZ", "outcome", "UNSUCCESSFUL", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "outcome", "SUCCESSFUL", nullptr},  // the rule is AUDIT_AUTHZ's only
      {"AUDIT_AUTHZ", "accessDecision", "denied", "accessDecisionReason"},
      {"AUDIT_AUTHZ", "accessDecision", "Denied", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "accessDecision", "denied", "accessDecisionReason"},
      {"AUDIT_RESOURCE_ACCESS", "accessDecision", "permitted", nullptr},
      {"AUDIT_RUNTIME", "action", "statistic", "perfInfo"},
      {"AUDIT_RUNTIME", "action", "statistics", nullptr},
      {"AUDIT_COMPLIANCE", "complianceStatus", "nonCompliant", "violationName"},
      {"AUDIT_COMPLIANCE", "complianceStatus", "noncompliant", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "action", "httpRequest", "httpURLInfo"},
      {"AUDIT_RESOURCE_ACCESS", "action", "httpRequest ", nullptr},
  };
  // What each type needs besides the common elements and the trigger.
  struct Needs {
    const char *type;
    std::vector<std::pair<const char *, uint32_t>> elements;
  };
  const Needs needs[] = {
      {"AUDIT_AUTHN_TERMINATE", {{"userInfo", VEXA_VT_USER_INFO}, {"authnType", VEXA_VT_STRING}}},
      {"AUDIT_AUTHZ",
       {{"userInfo", VEXA_VT_USER_INFO},
        {"resourceInfo", VEXA_VT_RESOURCE_INFO},
        {"permissionInfo", VEXA_VT_PERMISSION_INFO}}},
      {"AUDIT_RESOURCE_ACCESS",
       {{"userInfo", VEXA_VT_USER_INFO},
        {"resourceInfo", VEXA_VT_RESOURCE_INFO},
        {"permissionInfo", VEXA_VT_PERMISSION_INFO}}},
      {"AUDIT_RUNTIME", {{"resourceInfo", VEXA_VT_RESOURCE_INFO}}},
      {"AUDIT_COMPLIANCE", {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.type) + " " + c.trigger + "=" + c.value);
    Event e(tc.ctx, c.type);
    e.Add("sourceComponentId", VEXA_VT_COMPONENT_ID);
    const bool outcomeTrigger = std::strcmp(c.trigger, "outcome") == 0;
    e.Outcome(outcomeTrigger ? c.value : "UNSUCCESSFUL");
    if (!outcomeTrigger) e.Add(c.trigger, VEXA_VT_STRING, c.value);
    for (const Needs &n : needs) {
      if (std::strcmp(n.type, c.type) != 0) continue;
      for (const auto &[name, type] : n.elements) e.Add(name, type);
    }
    // AUDIT_RESOURCE_ACCESS requires an action also where it is not the trigger.
    if (std::strcmp(c.type, "AUDIT_RESOURCE_ACCESS") == 0 && std::strcmp(c.trigger, "action") != 0) {
      e.Add("action", VEXA_VT_STRING, "read");
    }

    if (c.missing == nullptr) {
      EXPECT_EQ(e.Check(), 0) << e.Message();
      EXPECT_EQ(e.result.count, 0);
      EXPECT_NE(e.Find("timestamp"), nullptr);
    } else {
      EXPECT_EQ(e.Check(), -1);
      EXPECT_EQ(OnlyCode(e.result), 15u);
      EXPECT_EQ(e.Message(), std::string("KZTCC0015E The required element '") + c.missing +
                                 "' was not present in the event.");
      // The time stamp rule of the common table ran first.
      EXPECT_NE(e.Find("timestamp"), nullptr);
    }
  }
}

TEST_F(ValidationTest, ConditionalRuleSatisfiedByTheDemandedElement) {
  Event e(tc.ctx, "AUDIT_AUTHN_TERMINATE");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_STRING).Common();
  e.Add("action", VEXA_VT_STRING, "logout").Add("terminateReason", VEXA_VT_STRING, "idle");
  e.Add("timestamp", VEXA_VT_DATETIME);
  const int32_t count = e.Count();
  EXPECT_EQ(e.Check(), 0) << e.Message();
  EXPECT_EQ(e.Count(), count);
}

// Every event type with exactly its required elements passes; without any
// one of them, or with one of them of the wrong type, it fails naming it.
TEST_F(ValidationTest, RequiredElementsOfEveryType) {
  struct {
    const char *type;
    std::vector<std::pair<const char *, uint32_t>> required;
  } types[] = {
      {"AUDIT_AUTHN", {{"userInfo", 21}, {"authnType", 3}}},
      {"AUDIT_AUTHN_TERMINATE", {{"userInfo", 21}, {"authnType", 3}}},
      {"AUDIT_AUTHN_CREDS_MODIFY", {{"userInfo", 21}, {"action", 3}}},
      {"AUDIT_AUTHN_MAPPING",
       {{"originalSecurityDomain", 3},
        {"originalUserName", 3},
        {"mappedSecurityDomain", 3},
        {"mappedUserName", 3}}},
      {"AUDIT_AUTHZ", {{"userInfo", 21}, {"resourceInfo", 19}, {"permissionInfo", 15}}},
      {"AUDIT_MGMT_POLICY", {{"userInfo", 21}, {"action", 3}, {"policyInfo", 14}}},
      {"AUDIT_MGMT_REGISTRY", {{"userInfo", 21}, {"action", 3}, {"registryObjectInfo", 18}}},
      {"AUDIT_RUNTIME", {{"action", 3}, {"resourceInfo", 19}}},
      {"AUDIT_MGMT_CONFIG", {{"userInfo", 21}, {"action", 3}, {"type", 3}}},
      {"AUDIT_MGMT_PROVISIONING",
       {{"userInfo", 21}, {"targetUserInfo", 18}, {"action", 3}, {"provisioningTargetInfo", 16}}},
      {"AUDIT_RUNTIME_KEY", {{"keyLabel", 3}, {"location", 3}, {"locationType", 3}, {"action", 3}}},
      {"AUDIT_PASSWORD_CHANGE", {{"userInfo", 21}}},
      {"AUDIT_COMPLIANCE", {{"complianceStatus", 3}}},
      {"AUDIT_RESOURCE_ACCESS",
       {{"userInfo", 21}, {"resourceInfo", 19}, {"action", 3}, {"permissionInfo", 15}}},
      {"AUDIT_MGMT_RESOURCE", {{"userInfo", 21}, {"action", 3}, {"resourceInfo", 19}}},
      {"AUDIT_DATA_SYNC", {{"resourceInfo", 19}, {"action", 3}}},
      {"AUDIT_WORKFLOW", {{"userInfo", 21}, {"workItemInfo", 22}, {"action", 3}}},
  };
  for (auto &t : types) {
    t.required.push_back({"sourceComponentId", VEXA_VT_COMPONENT_ID});
    t.required.push_back({"outcome", VEXA_VT_OUTCOME});
    // -1: all present; else the index of the one left out (or mistyped).
    for (int skip = -1; skip < static_cast<int>(t.required.size()); ++skip) {
      for (bool mistype : {false, true}) {
        if (mistype && skip < 0) continue;
        SCOPED_TRACE(std::string(t.type) + (skip >= 0 ? std::string(" ") + t.required[skip].first : ""));
        Event e(tc.ctx, t.type);
        for (int i = 0; i < static_cast<int>(t.required.size()); ++i) {
          const auto &[name, type] = t.required[i];
          if (i == skip && mistype) {
            e.Add(name, VEXA_VT_INTEGER);  // no predefined element is an integer
          } else if (i == skip) {
            continue;
          } else if (type == VEXA_VT_OUTCOME) {
            e.Outcome("UNSUCCESSFUL");  // keeps the access-decision rule quiet
          } else {
            e.Add(name, type, std::strcmp(name, "locationType") == 0 ? "IPV4" : "value");
          }
        }
        const int rc = e.Check();
        if (skip < 0) {
          EXPECT_EQ(rc, 0) << e.Message();
          continue;
        }
        EXPECT_EQ(rc, -1);
        EXPECT_EQ(OnlyCode(e.result), mistype ? 14u : 15u);
        EXPECT_NE(e.Message().find(t.required[skip].first), std::string::npos) << e.Message();
      }
    }
  }
}

// The optional rows of every table with their value types ("name:type"); the
// common table is tried under a type name of no table. The right type passes
// the type check, an integer fails it naming the element.
TEST_F(ValidationTest, OptionalRowsOfEveryTable) {
  const std::pair<const char *, const char *> tables[] = {
      {"NOT_A_TABLE",
       "reporterComponentId:7 timestamp:4 startTime:4 endTime:4 auditTrailId:3 auditMsg:3 auditMsgElement:11 "
       "sequenceNumber:2 globalInstanceId:3"},
      {"AUDIT_AUTHN", "registryInfo:17 authnTypeVersion:3 authenProvider:3 partner:3 action:3 progName:3"},
      {"AUDIT_AUTHN_TERMINATE",
       "registryInfo:17 authnTypeVersion:3 action:3 progName:3 loginTime:4 terminateReason:3"},
      {"AUDIT_AUTHN_CREDS_MODIFY", "registryInfo:17"},
      {"AUDIT_AUTHN_MAPPING", "originalRealm:3 mappedRealm:3"},
      {"AUDIT_AUTHZ",
       "registryInfo:17 accessDecision:3 accessDecisionReason:3 attributePermissionInfo:24 policyInfo:26 "
       "appName:3 attributes:23 action:3"},
      {"AUDIT_MGMT_POLICY", "registryInfo:17 mgmtInfo:10 memberships:25 resourceInfo:19"},
      {"AUDIT_MGMT_REGISTRY", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_RUNTIME", "perfInfo:13 userInfo:21 registryInfo:17"},
      {"AUDIT_MGMT_CONFIG", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_RUNTIME_KEY", "lifetime:4 userInfo:21 registryInfo:17"},
      {"AUDIT_PASSWORD_CHANGE", "registryInfo:17 provisioningInfo:16"},
      {"AUDIT_COMPLIANCE",
       "policyName:3 violationName:3 targetUser:3 targetAccount:3 targetResource:3 policyDescription:3 "
       "message:3 violationClassification:3 severity:3 violationDescription:3 recommendation:3 "
       "fixDescription:3 fixId:3 suppressed:3"},
      {"AUDIT_RESOURCE_ACCESS",
       "registryInfo:17 accessDecision:3 accessDecisionReason:3 attributePermissionInfo:24 appName:3 "
       "httpURLInfo:8"},
      {"AUDIT_MGMT_RESOURCE", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_DATA_SYNC", "userInfo:21 registryInfo:17"},
      {"AUDIT_WORKFLOW", "registryInfo:17 targetUserInfo:21 targetUserRegistryInfo:17 userInputs:23"},
  };
  for (const auto &[type, rows] : tables) {
    std::istringstream in(rows);
    std::string row;
    while (in >> row) {
      const std::string name = row.substr(0, row.find(':'));
      const auto valueType = static_cast<uint32_t>(std::stoul(row.substr(row.find(':') + 1)));
      SCOPED_TRACE(std::string(type) + " " + row);
      for (bool mistype : {false, true}) {
        Event e(tc.ctx, type);
        e.Common("UNSUCCESSFUL").Add(name.c_str(), mistype ? VEXA_VT_INTEGER : valueType, "Yes");
        const int rc = e.Check();
        if (mistype) {
          EXPECT_EQ(rc, -1);
          EXPECT_EQ(OnlyCode(e.result), 14u);
          EXPECT_NE(e.Message().find(" " + name + " , "), std::string::npos) << e.Message();
        } else {
          EXPECT_NE(OnlyCode(e.result), 14u) << e.Message();
        }
      }
    }
  }
}

// Rows whose types differ between event types are kept as they are.
TEST_F(ValidationTest, IrregularRows) {
  struct {
    const char *type;
    const char *name;
    uint32_t valueType;
    bool valid;
  } cases[] = {
      {"AUDIT_MGMT_PROVISIONING", "targetUserInfo", VEXA_VT_REGISTRY_OBJECT_INFO, true},
      {"AUDIT_MGMT_PROVISIONING", "targetUserInfo", VEXA_VT_USER_INFO, false},
      {"AUDIT_WORKFLOW", "targetUserInfo", VEXA_VT_USER_INFO, true},
      {"AUDIT_MGMT_POLICY", "policyInfo", VEXA_VT_POLICY_INFO, true},
      {"AUDIT_MGMT_POLICY", "policyInfo", VEXA_VT_POLICY_INFO_ARRAY, false},
      {"AUDIT_AUTHZ", "policyInfo", VEXA_VT_POLICY_INFO_ARRAY, true},
      {"AUDIT_AUTHZ", "policyInfo", VEXA_VT_POLICY_INFO, false},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.type) + " " + c.name);
    Event e(tc.ctx, c.type);
    e.Add("sourceComponentId", VEXA_VT_COMPONENT_ID)
        .Outcome("UNSUCCESSFUL")
        .Add("userInfo", VEXA_VT_USER_INFO);
    e.Add(c.name, c.valueType);
    const int rc = e.Check();
    if (c.valid) {
      EXPECT_NE(OnlyCode(e.result), 14u) << e.Message();
    } else {
      EXPECT_EQ(rc, -1);
      EXPECT_EQ(OnlyCode(e.result), 14u);
      EXPECT_NE(e.Message().find(std::string(c.name) + " , "), std::string::npos) << e.Message();
    }
  }
}

TEST_F(ValidationTest, TimestampOutOfMemoryLeavesTheEventUnchanged) {
  Event e(tc.ctx, "AUDIT_PASSWORD_CHANGE");
  e.Add("userInfo", VEXA_VT_USER_INFO).Common();
  const int32_t count = e.Count();
  for (long n = 1;; ++n) {
    ZOsetAllocFailAfter(n);
    const int rc = e.Check();
    ZOsetAllocFailAfter(0);
    if (rc == 0) break;
    ASSERT_LT(n, 20);
    EXPECT_EQ(OnlyCode(e.result), 1u) << n;
    EXPECT_EQ(e.Count(), count) << n;
  }
  EXPECT_EQ(e.Count(), count + 1);
}

TEST_F(ValidationTest, TablesAreBuiltOnce) {
  ZOVEXA_result r{};
  EXPECT_EQ(ZOinitEventTable(tc.ctx, &r), 0);
  ZOsetAllocFailAfter(1);  // a second build would need memory
  EXPECT_EQ(ZOinitEventTable(tc.ctx, &r), 0);
  ZOsetAllocFailAfter(0);
  EXPECT_EQ(r.count, 0);
}

}  // namespace
