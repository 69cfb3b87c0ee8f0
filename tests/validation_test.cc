// Checking events before they are sent: required elements per event type,
// value types, null values, value checks, the conditional rules and the time
// stamp that the check adds.
#include "capis/validation.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "capis/audit_element.h"
#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "capis/zo_memory.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"

namespace {

// A zeroed block: a record of any type with every field empty, or an empty
// record array (only its terminating NULL). The element takes it over (copy
// 0), so the check sees the value type without the record creates' checks.
constexpr size_t kEmptyValueSize = 256;
static_assert(sizeof(ZOVEXA_ComponentId_) <= kEmptyValueSize && sizeof(ZOVEXA_UserInfo_) <= kEmptyValueSize &&
              sizeof(ZOVEXA_PerfInfo_) <= kEmptyValueSize &&
              sizeof(ZOVEXA_MsgDataElement_) <= kEmptyValueSize);
void *EmptyValue() { return ZOcalloc(1, kEmptyValueSize); }

// Elements given as "name:type name:type ...".
using Rows = std::vector<std::pair<std::string, uint32_t>>;
Rows Parse(const std::string &text) {
  Rows rows;
  std::istringstream in(text);
  for (std::string row; in >> row;) {
    const size_t colon = row.find(':');
    rows.emplace_back(row.substr(0, colon), static_cast<uint32_t>(std::stoul(row.substr(colon + 1))));
  }
  return rows;
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

  // Any element by value type: strings get `text`, numbers 7, date-times
  // the current time, records and arrays an empty value.
  Event &Add(const char *name, uint32_t type, const char *text = "value") {
    ZOVEXA_result r{};
    struct timeval now;
    gettimeofday(&now, nullptr);
    ZOVEXA_AuditElement *e =
        type == VEXA_VT_STRING     ? ZOVEXA_AuditEvent_AddStringElement(ev, name, text, 1, &r)
        : type == VEXA_VT_INTEGER  ? ZOVEXA_AuditEvent_AddIntegerElement(ev, name, 7, &r)
        : type == VEXA_VT_LONG     ? ZOVEXA_AuditEvent_AddLongElement(ev, name, 7, &r)
        : type == VEXA_VT_DATETIME ? ZOVEXA_AuditEvent_AddDateTimeElement(ev, name, &now, 1, &r)
                                   : ZOVEXA_AuditEvent_AddElement(ev, name, type, EmptyValue(), 0, &r);
    EXPECT_NE(e, nullptr) << name;
    ZOVEXA_Result_Clean(&r);
    return *this;
  }
  Event &Outcome(const char *result) {
    auto *o = static_cast<ZOVEXA_Outcome *>(EmptyValue());
    o->result = ZOstrdup(result);
    ZOVEXA_result r{};
    EXPECT_NE(ZOVEXA_AuditEvent_AddElement(ev, "outcome", VEXA_VT_OUTCOME, o, 0, &r), nullptr);
    ZOVEXA_Result_Clean(&r);
    return *this;
  }
  Event &Add(const Rows &rows) {
    for (const auto &[name, type] : rows) Add(name.c_str(), type);
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
  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
};

// The time stamp rule: a missing "timestamp" is added as a copy of the
// event's default time stamp, one that is present is kept.
TEST_F(ValidationTest, TimestampRule) {
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_STRING).Common();
  const int32_t count = e.Count();
  // Out of memory while adding it: the event is unchanged.
  for (long n = 1;; ++n) {
    ZOsetAllocFailAfter(n);
    const int rc = e.Check();
    ZOsetAllocFailAfter(0);
    if (rc == 0) break;
    ASSERT_LT(n, 20);
    EXPECT_EQ(OnlyCode(e.result), 1u) << n;
    EXPECT_EQ(e.Count(), count) << n;
  }
  EXPECT_EQ(e.result.count, 0);
  const ZOVEXA_AuditElement *ts = e.Find("timestamp");
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->valueType, static_cast<uint32_t>(VEXA_VT_DATETIME));
  ASSERT_NE(ts->value, nullptr);
  EXPECT_NE(ts->value, e.ev->defaultTimeStamp);  // a copy
  const auto *tv = static_cast<const struct timeval *>(ts->value);
  EXPECT_EQ(tv->tv_sec, e.ev->defaultTimeStamp->tv_sec);
  EXPECT_EQ(tv->tv_usec, e.ev->defaultTimeStamp->tv_usec);
  EXPECT_EQ(e.Check(), 0);
  EXPECT_EQ(e.Count(), count + 1);
  EXPECT_EQ(e.Find("timestamp"), ts);
}

TEST_F(ValidationTest, MessagesOfFailedChecks) {
  // A missing required element fails before any rule runs.
  Event e(tc.ctx, "AUDIT_AUTHN");
  e.Add("userInfo", VEXA_VT_USER_INFO).Add("extra", VEXA_VT_STRING).Add("extra.authnType", VEXA_VT_STRING);
  e.Common();
  EXPECT_EQ(e.Check(), -1);
  EXPECT_EQ(e.Message(), "KZTCC0015E The required element 'authnType' was not present in the event.");
  EXPECT_EQ(e.Find("timestamp"), nullptr);

  Event f(tc.ctx, "AUDIT_AUTHN");
  f.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_INTEGER).Common();
  EXPECT_EQ(f.Check(), -1);
  EXPECT_EQ(f.Message(),
            "KZTCC0014E The predefined element, authnType , has a value type that is not valid: 1 .");

  Event g(tc.ctx, "AUDIT_AUTHN");
  g.Add("userInfo", VEXA_VT_USER_INFO).Add("authnType", VEXA_VT_STRING).Common();
  auto *element = const_cast<ZOVEXA_AuditElement *>(g.Find("authnType"));
  ASSERT_NE(element, nullptr);
  free(element->value);
  element->value = nullptr;
  EXPECT_EQ(g.Check(), -1);
  EXPECT_EQ(g.Message(), "KZTCC0016E The predefined element 'authnType' has a null value.");
}

TEST_F(ValidationTest, ValueChecksAreExactAndCaseSensitive) {
  struct {
    const char *name;
    const char *value;
    bool valid;
  } cases[] = {
      {"suppressed", "Yes", true},     {"suppressed", "No", true},     {"suppressed", "yes", false},
      {"suppressed", "Yes ", false},   {"locationType", "IPV4", true}, {"locationType", "E.164", true},
      {"locationType", "ipv4", false}, {"locationType", "", false},
  };
  for (const auto &c : cases) {
    const bool suppressed = c.name == std::string("suppressed");
    Event e(tc.ctx, suppressed ? "AUDIT_COMPLIANCE" : "AUDIT_RUNTIME_KEY");
    e.Common().Add(c.name, VEXA_VT_STRING, c.value);
    e.Add(Parse(suppressed ? "complianceStatus:3" : "keyLabel:3 location:3 action:3"));
    EXPECT_EQ(e.Check(), c.valid ? 0 : -1) << c.name << "=" << c.value;
    if (!c.valid) {
      EXPECT_EQ(e.Message(), std::string("KZTCC0047E The predefined element, ") + c.name +
                                 " , has a value that is not valid: " + c.value + " .");
    }
  }
}

// Each conditional rule, triggered and not: `trigger` holds `value` (a
// string, or the outcome's result). A triggered rule demands the element
// `demanded` ("name:type"), and with it added the event passes.
TEST_F(ValidationTest, ConditionalRules) {
  struct {
    const char *type, *trigger, *value, *demanded;  // demanded nullptr: the event passes
  } cases[] = {
      {"AUDIT_AUTHN_TERMINATE", "action", "logout", "terminateReason:3"},
      {"AUDIT_AUTHN_TERMINATE", "action", "Logout", nullptr},
      {"AUDIT_AUTHZ", "outcome", "SUCCESSFUL", "accessDecision:3"},
      {"AUDIT_AUTHZ", "outcome", "UNSUCCESSFUL", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "outcome", "SUCCESSFUL", nullptr},  // the rule is AUDIT_AUTHZ's only
      {"AUDIT_AUTHZ", "accessDecision", "denied", "accessDecisionReason:3"},
      {"AUDIT_AUTHZ", "accessDecision", "Denied", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "accessDecision", "denied", "accessDecisionReason:3"},
      {"AUDIT_RESOURCE_ACCESS", "accessDecision", "permitted", nullptr},
      {"AUDIT_RUNTIME", "action", "statistic", "perfInfo:13"},
      {"AUDIT_RUNTIME", "action", "statistics", nullptr},
      {"AUDIT_COMPLIANCE", "complianceStatus", "nonCompliant", "violationName:3"},
      {"AUDIT_COMPLIANCE", "complianceStatus", "noncompliant", nullptr},
      {"AUDIT_RESOURCE_ACCESS", "action", "httpRequest", "httpURLInfo:8"},
      {"AUDIT_RESOURCE_ACCESS", "action", "httpRequest ", nullptr},
  };
  // What each type needs besides the common elements and the trigger.
  const std::map<std::string, std::string> needs = {
      {"AUDIT_AUTHN_TERMINATE", "userInfo:21 authnType:3"},
      {"AUDIT_AUTHZ", "userInfo:21 resourceInfo:19 permissionInfo:15"},
      {"AUDIT_RESOURCE_ACCESS", "userInfo:21 resourceInfo:19 permissionInfo:15"},
      {"AUDIT_RUNTIME", "resourceInfo:19"},
      {"AUDIT_COMPLIANCE", ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.type) + " " + c.trigger + "=" + c.value);
    Event e(tc.ctx, c.type);
    const bool outcomeTrigger = std::strcmp(c.trigger, "outcome") == 0;
    e.Add("sourceComponentId", VEXA_VT_COMPONENT_ID).Outcome(outcomeTrigger ? c.value : "UNSUCCESSFUL");
    e.Add(Parse(needs.at(c.type)));
    if (!outcomeTrigger) e.Add(c.trigger, VEXA_VT_STRING, c.value);
    // AUDIT_RESOURCE_ACCESS requires an action also where it is not the trigger.
    if (std::strcmp(c.type, "AUDIT_RESOURCE_ACCESS") == 0 && std::strcmp(c.trigger, "action") != 0) {
      e.Add("action", VEXA_VT_STRING, "read");
    }
    if (c.demanded != nullptr) {
      EXPECT_EQ(e.Check(), -1);
      const Rows demanded = Parse(c.demanded);
      EXPECT_EQ(e.Message(),
                "KZTCC0015E The required element '" + demanded[0].first + "' was not present in the event.");
      // The time stamp rule of the common table ran first.
      EXPECT_NE(e.Find("timestamp"), nullptr);
      e.Add(demanded);
    }
    EXPECT_EQ(e.Check(), 0) << e.Message();
    EXPECT_EQ(e.result.count, 0);
  }
}

// The rows of every table beyond the common required ones, as "name:type":
// the required rows of the type and its optional rows; the common table's
// optional rows are tried under an unknown event type, which needs only the
// common elements. An event passes
// with exactly the required elements, or with them and any one optional
// row; without one required element it fails naming it with 15, and with
// one element of the wrong type (an integer, which no row is) with 14.
TEST_F(ValidationTest, RequiredAndOptionalRowsOfEveryTable) {
  const struct {
    const char *type, *required, *optional;
  } tables[] = {
      {"AUDIT_NOT_A_TYPE", "",
       "reporterComponentId:7 timestamp:4 startTime:4 endTime:4 auditTrailId:3 auditMsg:3 auditMsgElement:11 "
       "sequenceNumber:2 globalInstanceId:3"},
      {"AUDIT_AUTHN", "userInfo:21 authnType:3",
       "registryInfo:17 authnTypeVersion:3 authenProvider:3 partner:3 action:3 progName:3"},
      {"AUDIT_AUTHN_TERMINATE", "userInfo:21 authnType:3",
       "registryInfo:17 authnTypeVersion:3 action:3 progName:3 loginTime:4 terminateReason:3"},
      {"AUDIT_AUTHN_CREDS_MODIFY", "userInfo:21 action:3", "registryInfo:17"},
      {"AUDIT_AUTHN_MAPPING",
       "originalSecurityDomain:3 originalUserName:3 mappedSecurityDomain:3 mappedUserName:3",
       "originalRealm:3 mappedRealm:3"},
      {"AUDIT_AUTHZ", "userInfo:21 resourceInfo:19 permissionInfo:15",
       "registryInfo:17 accessDecision:3 accessDecisionReason:3 attributePermissionInfo:24 policyInfo:26 "
       "appName:3 attributes:23 action:3"},
      {"AUDIT_MGMT_POLICY", "userInfo:21 action:3 policyInfo:14",
       "registryInfo:17 mgmtInfo:10 memberships:25 resourceInfo:19"},
      {"AUDIT_MGMT_REGISTRY", "userInfo:21 action:3 registryObjectInfo:18", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_RUNTIME", "action:3 resourceInfo:19", "perfInfo:13 userInfo:21 registryInfo:17"},
      {"AUDIT_MGMT_CONFIG", "userInfo:21 action:3 type:3", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_MGMT_PROVISIONING", "userInfo:21 targetUserInfo:18 action:3 provisioningTargetInfo:16", ""},
      {"AUDIT_RUNTIME_KEY", "keyLabel:3 location:3 locationType:3 action:3",
       "lifetime:4 userInfo:21 registryInfo:17"},
      {"AUDIT_PASSWORD_CHANGE", "userInfo:21", "registryInfo:17 provisioningInfo:16"},
      {"AUDIT_COMPLIANCE", "complianceStatus:3",
       "policyName:3 violationName:3 targetUser:3 targetAccount:3 targetResource:3 policyDescription:3 "
       "message:3 violationClassification:3 severity:3 violationDescription:3 recommendation:3 "
       "fixDescription:3 fixId:3 suppressed:3"},
      {"AUDIT_RESOURCE_ACCESS", "userInfo:21 resourceInfo:19 action:3 permissionInfo:15",
       "registryInfo:17 accessDecision:3 accessDecisionReason:3 attributePermissionInfo:24 appName:3 "
       "httpURLInfo:8"},
      {"AUDIT_MGMT_RESOURCE", "userInfo:21 action:3 resourceInfo:19", "registryInfo:17 mgmtInfo:10"},
      {"AUDIT_DATA_SYNC", "resourceInfo:19 action:3", "userInfo:21 registryInfo:17"},
      {"AUDIT_WORKFLOW", "userInfo:21 workItemInfo:22 action:3",
       "registryInfo:17 targetUserInfo:21 targetUserRegistryInfo:17 userInputs:23"},
  };
  for (const auto &t : tables) {
    const Rows required = Parse(std::string(t.required) + " sourceComponentId:7 outcome:12");
    // Builds an event of `rows` and checks it: `code` 0 for a pass, else the
    // only message, naming `name`.
    auto expect = [&](const Rows &rows, const std::string &name, uint32_t code) {
      SCOPED_TRACE(std::string(t.type) + " " + name + " " + std::to_string(code));
      Event e(tc.ctx, t.type);
      for (const auto &[n, type] : rows) {
        if (type == VEXA_VT_OUTCOME) {
          e.Outcome("UNSUCCESSFUL");  // keeps the access-decision rule quiet
        } else {
          e.Add(n.c_str(), type, n == "locationType" ? "IPV4" : "Yes");
        }
      }
      EXPECT_EQ(e.Check(), code == 0 ? 0 : -1);
      EXPECT_EQ(OnlyCode(e.result), code) << e.Message();
      if (code != 0) {
        EXPECT_NE(e.Message().find(name), std::string::npos) << e.Message();
      }
    };
    expect(required, "", 0);
    for (size_t i = 0; i < required.size(); ++i) {
      Rows rows = required;
      rows.erase(rows.begin() + static_cast<long>(i));
      expect(rows, required[i].first, 15);
      rows = required;
      rows[i].second = VEXA_VT_INTEGER;
      expect(rows, required[i].first, 14);
    }
    for (const auto &row : Parse(t.optional)) {
      Rows rows = required;
      rows.push_back(row);
      expect(rows, row.first, 0);
      rows.back().second = VEXA_VT_INTEGER;
      expect(rows, row.first, 14);
    }
  }
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
