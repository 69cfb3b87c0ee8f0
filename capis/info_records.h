// The eighteen info records. Fields are named as in the public getters and
// appear in the order the encoder writes them. A record owns its strings
// (UTF-8), string arrays, attribute arrays and nested record; arrays are
// NULL-terminated. The encoder reads these structures directly.
#ifndef ZOVEXA_CAPIS_INFO_RECORDS_H_
#define ZOVEXA_CAPIS_INFO_RECORDS_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "zovexa.h"

struct ZOVEXA_Attribute_ {
  char *name;
  char *value;
  char *source;
};

struct ZOVEXA_AttributePermissionInfo_ {
  char **attributeNames;
  char **checked;
  char **granted;
  char **denied;
};

struct ZOVEXA_ComponentId_ {
  char *location;
  char *locationType;
  char *application;
  char *executionEnvironment;
  char *component;
  char *componentType;
  char *componentIdType;
  char *subComponent;
  char *instanceId;
  char *processId;
  char *threadId;
};

struct ZOVEXA_HTTPURLInfo_ {
  char *url;
  char *method;
  char *requestHeaders;
  char *responseHeaders;
  int32_t responseCode;
};

struct ZOVEXA_MembershipInfo_ {
  char *type;
  char *id;
  char *name;
};

struct ZOVEXA_TargetInfo_ {
  char **targetNames;
  ZOVEXA_Attribute **attributes;
};

struct ZOVEXA_MgmtInfo_ {
  ZOVEXA_TargetInfo *targetInfo;
  char *command;
};

struct ZOVEXA_MsgDataElement_ {
  char *msgId;
  char *msgIdType;
  char *msgCatalogId;
  char *msgCatalog;
  char *msgCatalogType;
  char *msgLocale;
  char **msgCatalogTokens;
};

struct ZOVEXA_Outcome_ {
  char *result;  // "SUCCESSFUL" or "UNSUCCESSFUL"
  int32_t majorStatus;
  int32_t minorStatus;
  char *failureReason;
};

struct ZOVEXA_PerfInfo_ {
  char *name;
  char *description;
  int32_t numDataPoints;
  char *unit;
  int64_t maxValue;
  int64_t minValue;
  int64_t value;
  char *aggregate;
};

struct ZOVEXA_PolicyInfo_ {
  char *name;
  char *branch;
  char *type;
  char *description;
  ZOVEXA_Attribute **attributes;
};

struct ZOVEXA_PermissionInfo_ {
  char **checked;
  char **granted;
  char **denied;
  char **J2EERolesChecked;
  char **J2EERolesGranted;
};

struct ZOVEXA_ProvisioningInfo_ {
  char *accountId;
  char *resourceId;
  char *resourceType;
};

struct ZOVEXA_RegistryInfo_ {
  char *type;
  char *serverLocation;
  char *serverLocationType;
  char *serverPort;
};

struct ZOVEXA_RegistryObjectInfo_ {
  char *name;
  char *registryName;
  char *type;
  char *description;
  ZOVEXA_Attribute **attributes;
};

struct ZOVEXA_ResourceInfo_ {
  char *nameInApp;
  char *nameInPolicy;
  char *type;
  ZOVEXA_Attribute **attributes;
};

struct ZOVEXA_UserInfo_ {
  char *registryUserName;
  char *appUserName;
  char *domain;
  char *realm;
  char *location;
  char *locationType;
  char *sessionId;
  int32_t uniqueId;
  char **callerList;
  ZOVEXA_Attribute **attributes;
};

struct ZOVEXA_WorkItemInfo_ {
  char *id;
  char *type;
};

// ---- field descriptors ------------------------------------------------------------------------------
// Every record type is described once: each field of its struct, in struct
// order (the order the encoder writes them), with its name, how it is held
// and where. Record code and the encoder both walk these.
enum class ZOfieldKind : uint8_t {
  kString,      // char *, UTF-8
  kInt,         // int32_t
  kLong,        // int64_t
  kStrings,     // char **, NULL-terminated
  kAttributes,  // ZOVEXA_Attribute **, NULL-terminated
  kTarget,      // ZOVEXA_TargetInfo *, a nested record
};

struct ZOrecordField {
  const char *name;  // the member name, as the XML names the field
  ZOfieldKind kind;
  size_t offset;
};

// The fields of the record held by a value of `valueType` (VEXA_VT_ATTRIBUTE
// to VEXA_VT_WORK_ITEM_INFO); empty for any other type.
std::span<const ZOrecordField> ZOrecordFields(uint32_t valueType);

// ---- internal creates and deletes -------------------------------------------------------------------
// Each create takes the record's fields in the order of the struct, checks
// them like the public create (messages 9, 8, 1) and copies them into a new
// record. With convert set, strings are converted from the element codeset to
// UTF-8; with 0 they are copied as they are (they are UTF-8 already). Nested
// records (attribute arrays, MgmtInfo's target info) are records already and
// are always copied without conversion. context and result must not be NULL.
// Each delete releases the record and everything it holds; a NULL record is
// nothing to release and gives 0.

ZOVEXA_Attribute *ZOattribute_Create(ZOVEXA_AuditClientContext *context, const char *name, const char *value,
                                     const char *source, int convert, ZOVEXA_result *result);
ZOVEXA_AttributePermissionInfo *ZOattributePermissionInfo_Create(ZOVEXA_AuditClientContext *context,
                                                                 char **attributeNames, char **checked,
                                                                 char **granted, char **denied, int convert,
                                                                 ZOVEXA_result *result);
ZOVEXA_ComponentId *ZOcomponentId_Create(ZOVEXA_AuditClientContext *context, const char *location,
                                         const char *locationType, const char *application,
                                         const char *executionEnvironment, const char *component,
                                         const char *componentType, const char *componentIdType,
                                         const char *subComponent, const char *instanceId,
                                         const char *processId, const char *threadId, int convert,
                                         ZOVEXA_result *result);
ZOVEXA_HTTPURLInfo *ZOHTTPURLInfo_Create(ZOVEXA_AuditClientContext *context, const char *url,
                                         const char *method, const char *requestHeaders,
                                         const char *responseHeaders, int32_t responseCode, int convert,
                                         ZOVEXA_result *result);
ZOVEXA_MembershipInfo *ZOmembershipInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                               const char *id, const char *name, int convert,
                                               ZOVEXA_result *result);
ZOVEXA_MgmtInfo *ZOmgmtInfo_Create(ZOVEXA_AuditClientContext *context, ZOVEXA_TargetInfo *targetInfo,
                                   const char *command, int convert, ZOVEXA_result *result);
ZOVEXA_MsgDataElement *ZOmsgDataElement_Create(ZOVEXA_AuditClientContext *context, const char *msgId,
                                               const char *msgIdType, const char *msgCatalogId,
                                               const char *msgCatalog, const char *msgCatalogType,
                                               const char *msgLocale, char **msgCatalogTokens, int convert,
                                               ZOVEXA_result *result);
ZOVEXA_Outcome *ZOoutcome_Create(ZOVEXA_AuditClientContext *context, const char *outcomeResult,
                                 int32_t majorStatus, int32_t minorStatus, const char *failureReason,
                                 int convert, ZOVEXA_result *result);
ZOVEXA_PerfInfo *ZOperfInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                   const char *description, int32_t numDataPoints, const char *unit,
                                   int64_t maxValue, int64_t minValue, int64_t value, const char *aggregate,
                                   int convert, ZOVEXA_result *result);
ZOVEXA_PolicyInfo *ZOpolicyInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                       const char *branch, const char *type, const char *description,
                                       ZOVEXA_Attribute **attributes, int convert, ZOVEXA_result *result);
ZOVEXA_PermissionInfo *ZOpermissionInfo_Create(ZOVEXA_AuditClientContext *context, char **checked,
                                               char **granted, char **denied, char **J2EERolesChecked,
                                               char **J2EERolesGranted, int convert, ZOVEXA_result *result);
ZOVEXA_ProvisioningInfo *ZOprovisioningInfo_Create(ZOVEXA_AuditClientContext *context, const char *accountId,
                                                   const char *resourceId, const char *resourceType,
                                                   int convert, ZOVEXA_result *result);
ZOVEXA_RegistryInfo *ZOregistryInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                           const char *serverLocation, const char *serverLocationType,
                                           const char *serverPort, int convert, ZOVEXA_result *result);
ZOVEXA_RegistryObjectInfo *ZOregistryObjectInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                                       const char *registryName, const char *type,
                                                       const char *description, ZOVEXA_Attribute **attributes,
                                                       int convert, ZOVEXA_result *result);
ZOVEXA_ResourceInfo *ZOresourceInfo_Create(ZOVEXA_AuditClientContext *context, const char *nameInApp,
                                           const char *nameInPolicy, const char *type,
                                           ZOVEXA_Attribute **attributes, int convert, ZOVEXA_result *result);
ZOVEXA_TargetInfo *ZOtargetInfo_Create(ZOVEXA_AuditClientContext *context, char **targetNames,
                                       ZOVEXA_Attribute **attributes, int convert, ZOVEXA_result *result);
ZOVEXA_UserInfo *ZOuserInfo_Create(ZOVEXA_AuditClientContext *context, const char *registryUserName,
                                   const char *appUserName, const char *domain, const char *realm,
                                   const char *location, const char *locationType, const char *sessionId,
                                   int32_t uniqueId, char **callerList, ZOVEXA_Attribute **attributes,
                                   int convert, ZOVEXA_result *result);
ZOVEXA_WorkItemInfo *ZOworkItemInfo_Create(ZOVEXA_AuditClientContext *context, const char *id,
                                           const char *type, int convert, ZOVEXA_result *result);

int ZOattribute_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *record, ZOVEXA_result *result);
int ZOattributePermissionInfo_Delete(ZOVEXA_AuditClientContext *context,
                                     ZOVEXA_AttributePermissionInfo *record, ZOVEXA_result *result);
int ZOcomponentId_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_ComponentId *record,
                         ZOVEXA_result *result);
int ZOHTTPURLInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_HTTPURLInfo *record,
                         ZOVEXA_result *result);
int ZOmembershipInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_MembershipInfo *record,
                            ZOVEXA_result *result);
int ZOmgmtInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_MgmtInfo *record, ZOVEXA_result *result);
int ZOmsgDataElement_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_MsgDataElement *record,
                            ZOVEXA_result *result);
int ZOoutcome_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *record, ZOVEXA_result *result);
int ZOperfInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *record, ZOVEXA_result *result);
int ZOpolicyInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *record, ZOVEXA_result *result);
int ZOpermissionInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_PermissionInfo *record,
                            ZOVEXA_result *result);
int ZOprovisioningInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_ProvisioningInfo *record,
                              ZOVEXA_result *result);
int ZOregistryInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_RegistryInfo *record,
                          ZOVEXA_result *result);
int ZOregistryObjectInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_RegistryObjectInfo *record,
                                ZOVEXA_result *result);
int ZOresourceInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_ResourceInfo *record,
                          ZOVEXA_result *result);
int ZOtargetInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_TargetInfo *record, ZOVEXA_result *result);
int ZOuserInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *record, ZOVEXA_result *result);
int ZOworkItemInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_WorkItemInfo *record,
                          ZOVEXA_result *result);

// ---- arrays of records ------------------------------------------------------------------------------
// Deep copies of NULL-terminated record arrays: each record is made again by
// its internal create with `convert` (so it is checked again). An empty array
// gives an array holding only the terminator. A NULL array gives NULL without
// a message. On failure: NULL with the message of the failing step (1 when
// memory ran out), and nothing left allocated.
ZOVEXA_Attribute **ZOcopyAttributeArray(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *const *array,
                                        int convert, ZOVEXA_result *result);
ZOVEXA_AttributePermissionInfo **ZOcopyAttrPermInfoArray(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_AttributePermissionInfo *const *array,
                                                         int convert, ZOVEXA_result *result);
ZOVEXA_MembershipInfo **ZOcopyMembershipInfoArray(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_MembershipInfo *const *array, int convert,
                                                  ZOVEXA_result *result);
ZOVEXA_PolicyInfo **ZOcopyPolicyInfoArray(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *const *array,
                                          int convert, ZOVEXA_result *result);
// Release every record of the array, then the array; NULL is ignored.
void ZOfreeAttributeArray(ZOVEXA_Attribute **array);
void ZOfreeAttrPermInfoArray(ZOVEXA_AttributePermissionInfo **array);
void ZOfreeMembershipInfoArray(ZOVEXA_MembershipInfo **array);
void ZOfreePolicyInfoArray(ZOVEXA_PolicyInfo **array);

// Copies and releases a record or record array held as an element value,
// dispatching on the value type (VEXA_VT_ATTRIBUTE .. VEXA_VT_POLICY_INFO_ARRAY):
// the copy goes through the type's internal create with `convert`, so the
// copy is checked like a new record. NULL / -1 with a message on failure.
void *ZOcopyRecordValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, const void *value,
                        int convert, ZOVEXA_result *result);
int ZOfreeRecordValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, void *value,
                      ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_INFO_RECORDS_H_
