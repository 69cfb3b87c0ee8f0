// The rows of the predefined element tables. A few rows look irregular and
// are kept as they are because servers expect exactly these types:
// "targetUserInfo" of AUDIT_MGMT_PROVISIONING is a registry object info,
// "policyInfo" is one record under AUDIT_MGMT_POLICY but an array under
// AUDIT_AUTHZ, and "accessDecision" carries its special rule only in
// AUDIT_AUTHZ.
#include "capis/predefined_elements.h"

#include <cstddef>

#include "zovexa.h"

namespace {

constexpr uint32_t R = 1;  // required

// A row; the name hash is filled in at initialisation.
constexpr ZOpredefElement Row(const char *name, uint32_t valueType, uint32_t required = 0,
                              uint32_t specCheck = SPCHK_NONE, uint32_t valueCheck = VALCHK_NONE) {
  return ZOpredefElement{name, 0, valueType, required, specCheck, valueCheck, nullptr};
}

template <size_t N>
constexpr ZOpredefTable Table(ZOpredefElement (&rows)[N]) {
  return ZOpredefTable{static_cast<uint32_t>(N), 0, 0, nullptr, 0, rows};
}

ZOpredefElement commonRows[] = {
    Row("reporterComponentId", VEXA_VT_COMPONENT_ID),
    Row("sourceComponentId", VEXA_VT_COMPONENT_ID, R),
    Row("outcome", VEXA_VT_OUTCOME, R),
    Row("timestamp", VEXA_VT_DATETIME, 0, SPCHK_TIMESTAMP),
    Row("startTime", VEXA_VT_DATETIME),
    Row("endTime", VEXA_VT_DATETIME),
    Row("auditTrailId", VEXA_VT_STRING),
    Row("auditMsg", VEXA_VT_STRING),
    Row("auditMsgElement", VEXA_VT_MSG_DATA_ELEMENT),
    Row("sequenceNumber", VEXA_VT_LONG),
    Row("globalInstanceId", VEXA_VT_STRING),
};

ZOpredefElement authnRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R), Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("authnType", VEXA_VT_STRING, R),   Row("authnTypeVersion", VEXA_VT_STRING),
    Row("authenProvider", VEXA_VT_STRING), Row("partner", VEXA_VT_STRING),
    Row("action", VEXA_VT_STRING),         Row("progName", VEXA_VT_STRING),
};

ZOpredefElement authnTerminateRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R), Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("authnType", VEXA_VT_STRING, R),   Row("authnTypeVersion", VEXA_VT_STRING),
    Row("action", VEXA_VT_STRING),         Row("progName", VEXA_VT_STRING),
    Row("loginTime", VEXA_VT_DATETIME),    Row("terminateReason", VEXA_VT_STRING, 0, SPCHK_ACTION_LOGOUT),
};

ZOpredefElement authnCredsModifyRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),
};

ZOpredefElement authnMappingRows[] = {
    Row("originalSecurityDomain", VEXA_VT_STRING, R),
    Row("originalRealm", VEXA_VT_STRING),
    Row("originalUserName", VEXA_VT_STRING, R),
    Row("mappedSecurityDomain", VEXA_VT_STRING, R),
    Row("mappedRealm", VEXA_VT_STRING),
    Row("mappedUserName", VEXA_VT_STRING, R),
};

ZOpredefElement authzRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO, R),
    Row("accessDecision", VEXA_VT_STRING, 0, SPCHK_OUTCOME_RESULT_SUCCESS),
    Row("accessDecisionReason", VEXA_VT_STRING, 0, SPCHK_ACC_DEC_DENIED),
    Row("permissionInfo", VEXA_VT_PERMISSION_INFO, R),
    Row("attributePermissionInfo", VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY),
    Row("policyInfo", VEXA_VT_POLICY_INFO_ARRAY),
    Row("appName", VEXA_VT_STRING),
    Row("attributes", VEXA_VT_ATTRIBUTE_ARRAY),
    Row("action", VEXA_VT_STRING),
};

ZOpredefElement mgmtPolicyRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),      Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),           Row("mgmtInfo", VEXA_VT_MGMT_INFO),
    Row("policyInfo", VEXA_VT_POLICY_INFO, R),  Row("memberships", VEXA_VT_MEMBERSHIP_INFO_ARRAY),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO),
};

ZOpredefElement mgmtRegistryRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),
    Row("mgmtInfo", VEXA_VT_MGMT_INFO),
    Row("registryObjectInfo", VEXA_VT_REGISTRY_OBJECT_INFO, R),
};

ZOpredefElement runtimeRows[] = {
    Row("action", VEXA_VT_STRING, R),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO, R),
    Row("perfInfo", VEXA_VT_PERF_INFO, 0, SPCHK_ACTION_STATISTIC),
    Row("userInfo", VEXA_VT_USER_INFO),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
};

ZOpredefElement mgmtConfigRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R), Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),      Row("mgmtInfo", VEXA_VT_MGMT_INFO),
    Row("type", VEXA_VT_STRING, R),
};

ZOpredefElement mgmtProvisioningRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("targetUserInfo", VEXA_VT_REGISTRY_OBJECT_INFO, R),
    Row("action", VEXA_VT_STRING, R),
    Row("provisioningTargetInfo", VEXA_VT_PROVISIONING_INFO, R),
};

ZOpredefElement runtimeKeyRows[] = {
    Row("keyLabel", VEXA_VT_STRING, R),
    Row("lifetime", VEXA_VT_DATETIME),
    Row("location", VEXA_VT_STRING, R),
    Row("locationType", VEXA_VT_STRING, R, SPCHK_NONE, VALCHK_LOCATION_TYPE),
    Row("userInfo", VEXA_VT_USER_INFO),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),
};

ZOpredefElement passwordChangeRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("provisioningInfo", VEXA_VT_PROVISIONING_INFO),
};

ZOpredefElement complianceRows[] = {
    Row("complianceStatus", VEXA_VT_STRING, R),
    Row("policyName", VEXA_VT_STRING),
    Row("violationName", VEXA_VT_STRING, 0, SPCHK_COMP_STAT_NON_COMP),
    Row("targetUser", VEXA_VT_STRING),
    Row("targetAccount", VEXA_VT_STRING),
    Row("targetResource", VEXA_VT_STRING),
    Row("policyDescription", VEXA_VT_STRING),
    Row("message", VEXA_VT_STRING),
    Row("violationClassification", VEXA_VT_STRING),
    Row("severity", VEXA_VT_STRING),
    Row("violationDescription", VEXA_VT_STRING),
    Row("recommendation", VEXA_VT_STRING),
    Row("fixDescription", VEXA_VT_STRING),
    Row("fixId", VEXA_VT_STRING),
    Row("suppressed", VEXA_VT_STRING, 0, SPCHK_NONE, VALCHK_YES_NO),
};

ZOpredefElement resourceAccessRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO, R),
    Row("action", VEXA_VT_STRING, R),
    Row("accessDecision", VEXA_VT_STRING),
    Row("accessDecisionReason", VEXA_VT_STRING, 0, SPCHK_ACC_DEC_DENIED),
    Row("attributePermissionInfo", VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY),
    Row("appName", VEXA_VT_STRING),
    Row("httpURLInfo", VEXA_VT_HTTPURL_INFO, 0, SPCHK_ACTION_HTTP_REQ),
    Row("permissionInfo", VEXA_VT_PERMISSION_INFO, R),
};

ZOpredefElement mgmtResourceRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("action", VEXA_VT_STRING, R),
    Row("mgmtInfo", VEXA_VT_MGMT_INFO),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO, R),
};

ZOpredefElement dataSyncRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO),
    Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("resourceInfo", VEXA_VT_RESOURCE_INFO, R),
    Row("action", VEXA_VT_STRING, R),
};

ZOpredefElement workflowRows[] = {
    Row("userInfo", VEXA_VT_USER_INFO, R),          Row("registryInfo", VEXA_VT_REGISTRY_INFO),
    Row("workItemInfo", VEXA_VT_WORK_ITEM_INFO, R), Row("action", VEXA_VT_STRING, R),
    Row("targetUserInfo", VEXA_VT_USER_INFO),       Row("targetUserRegistryInfo", VEXA_VT_REGISTRY_INFO),
    Row("userInputs", VEXA_VT_ATTRIBUTE_ARRAY),
};

ZOpredefTable authnTable = Table(authnRows);
ZOpredefTable authnTerminateTable = Table(authnTerminateRows);
ZOpredefTable authnCredsModifyTable = Table(authnCredsModifyRows);
ZOpredefTable authnMappingTable = Table(authnMappingRows);
ZOpredefTable authzTable = Table(authzRows);
ZOpredefTable mgmtPolicyTable = Table(mgmtPolicyRows);
ZOpredefTable mgmtRegistryTable = Table(mgmtRegistryRows);
ZOpredefTable runtimeTable = Table(runtimeRows);
ZOpredefTable mgmtConfigTable = Table(mgmtConfigRows);
ZOpredefTable mgmtProvisioningTable = Table(mgmtProvisioningRows);
ZOpredefTable runtimeKeyTable = Table(runtimeKeyRows);
ZOpredefTable passwordChangeTable = Table(passwordChangeRows);
ZOpredefTable complianceTable = Table(complianceRows);
ZOpredefTable resourceAccessTable = Table(resourceAccessRows);
ZOpredefTable mgmtResourceTable = Table(mgmtResourceRows);
ZOpredefTable dataSyncTable = Table(dataSyncRows);
ZOpredefTable workflowTable = Table(workflowRows);

}  // namespace

ZOpredefTable ZOcommonTable = Table(commonRows);

ZOeventTableRow ZOeventTable[] = {
    {"AUDIT_AUTHN", 0, &authnTable},
    {"AUDIT_AUTHN_TERMINATE", 0, &authnTerminateTable},
    {"AUDIT_AUTHN_CREDS_MODIFY", 0, &authnCredsModifyTable},
    {"AUDIT_AUTHN_MAPPING", 0, &authnMappingTable},
    {"AUDIT_AUTHZ", 0, &authzTable},
    {"AUDIT_MGMT_POLICY", 0, &mgmtPolicyTable},
    {"AUDIT_MGMT_REGISTRY", 0, &mgmtRegistryTable},
    {"AUDIT_RUNTIME", 0, &runtimeTable},
    {"AUDIT_MGMT_CONFIG", 0, &mgmtConfigTable},
    {"AUDIT_MGMT_PROVISIONING", 0, &mgmtProvisioningTable},
    {"AUDIT_RUNTIME_KEY", 0, &runtimeKeyTable},
    {"AUDIT_PASSWORD_CHANGE", 0, &passwordChangeTable},
    {"AUDIT_COMPLIANCE", 0, &complianceTable},
    {"AUDIT_RESOURCE_ACCESS", 0, &resourceAccessTable},
    {"AUDIT_MGMT_RESOURCE", 0, &mgmtResourceTable},
    {"AUDIT_DATA_SYNC", 0, &dataSyncTable},
    {"AUDIT_WORKFLOW", 0, &workflowTable},
    {nullptr, 0, nullptr},
};
