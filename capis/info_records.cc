// The eighteen info records. Each record type has a descriptor: the kind and
// place of every field of its struct, the checks its create runs, and its
// trace tags and handle names. Generic code creates, copies, reads and
// releases any record from its descriptor; the exported functions and the
// internal creates and deletes are shims over it.
#define ZO_SRC "capis/info_records"

#include "capis/info_records.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>
#include <string>
#include <type_traits>

#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"

namespace {

// ---- descriptors ----------------------------------------------------------------------------------

using Kind = ZOfieldKind;

template <typename M>
constexpr Kind KindOf() {
  if constexpr (std::is_same_v<M, char *>) {
    return Kind::kString;
  } else if constexpr (std::is_same_v<M, int32_t>) {
    return Kind::kInt;
  } else if constexpr (std::is_same_v<M, int64_t>) {
    return Kind::kLong;
  } else if constexpr (std::is_same_v<M, char **>) {
    return Kind::kStrings;
  } else if constexpr (std::is_same_v<M, ZOVEXA_Attribute **>) {
    return Kind::kAttributes;
  } else {
    static_assert(std::is_same_v<M, ZOVEXA_TargetInfo *>, "a record field of an unknown kind");
    return Kind::kTarget;
  }
}

using Field = ZOrecordField;

// What a create checks before it copies anything. Every checked field is a
// pointer (a string or a string array).
enum class Check : uint8_t {
  kRequired,           // NULL gives message 9
  kRequiredLocType,    // NULL gives 9; a name missing from the location types gives 8
  kOptionalLocType,    // NULL is fine; a name that is given is checked as above
  kOutcomeResult,      // required, and exactly "SUCCESSFUL" or "UNSUCCESSFUL"
  kRequiredOnFailure,  // required when the preceding outcome result was "UNSUCCESSFUL"
};

struct Rule {
  const char *name;  // the parameter name reported in messages
  Check check;
  size_t offset;
};

struct RecordType {
  const char *createTag;       // the exported create
  const char *innerCreateTag;  // the internal create, also used by copies
  const char *deleteTag;       // the exported delete
  const char *innerDeleteTag;
  const char *handleName;        // reported by the getters for a NULL handle
  const char *deleteHandleName;  // reported by the exported delete
  size_t size;
  std::span<const Field> fields;  // every field of the struct
  std::span<const Rule> rules;    // run in this order
};

#define ZO_F(T, member) \
  Field { #member, KindOf<decltype(ZOVEXA_##T##_::member)>(), offsetof(ZOVEXA_##T##_, member) }
#define ZO_RULE(T, check, member, name) \
  Rule { name, Check::check, offsetof(ZOVEXA_##T##_, member) }
#define ZO_REQ(T, member) ZO_RULE(T, kRequired, member, #member)

// The usual tags and handle names: "[VEXA_<Type>_Create]", "[<inner>_Create]",
// "<inner>_Handle". Records whose tags or names differ are written out in full.
#define ZO_RECORD(T, inner, fields, rules)                                                        \
  RecordType {                                                                                    \
    "[VEXA_" #T "_Create]", "[" #inner "_Create]", "[VEXA_" #T "_Delete]", "[" #inner "_Delete]", \
        #inner "_Handle", #inner "_Handle", sizeof(ZOVEXA_##T##_), fields, rules                  \
  }

constexpr Field kAttributeFields[] = {ZO_F(Attribute, name), ZO_F(Attribute, value), ZO_F(Attribute, source)};
constexpr Rule kAttributeRules[] = {ZO_REQ(Attribute, value), ZO_REQ(Attribute, name)};
constexpr RecordType kAttribute = ZO_RECORD(Attribute, attribute, kAttributeFields, kAttributeRules);

constexpr Field kAttributePermissionInfoFields[] = {
    ZO_F(AttributePermissionInfo, attributeNames), ZO_F(AttributePermissionInfo, checked),
    ZO_F(AttributePermissionInfo, granted), ZO_F(AttributePermissionInfo, denied)};
constexpr Rule kAttributePermissionInfoRules[] = {ZO_REQ(AttributePermissionInfo, checked),
                                                  ZO_REQ(AttributePermissionInfo, attributeNames)};
constexpr RecordType kAttributePermissionInfo =
    ZO_RECORD(AttributePermissionInfo, attributePermissionInfo, kAttributePermissionInfoFields,
              kAttributePermissionInfoRules);

constexpr Field kComponentIdFields[] = {
    ZO_F(ComponentId, location),        ZO_F(ComponentId, locationType),
    ZO_F(ComponentId, application),     ZO_F(ComponentId, executionEnvironment),
    ZO_F(ComponentId, component),       ZO_F(ComponentId, componentType),
    ZO_F(ComponentId, componentIdType), ZO_F(ComponentId, subComponent),
    ZO_F(ComponentId, instanceId),      ZO_F(ComponentId, processId),
    ZO_F(ComponentId, threadId)};
constexpr Rule kComponentIdRules[] = {
    ZO_REQ(ComponentId, location),       ZO_RULE(ComponentId, kRequiredLocType, locationType, "locationType"),
    ZO_REQ(ComponentId, application),    ZO_REQ(ComponentId, component),
    ZO_REQ(ComponentId, componentType),  ZO_RULE(ComponentId, kRequired, subComponent, "subcomponent"),
    ZO_REQ(ComponentId, componentIdType)};
constexpr RecordType kComponentId =
    ZO_RECORD(ComponentId, componentId, kComponentIdFields, kComponentIdRules);

constexpr Field kHTTPURLInfoFields[] = {ZO_F(HTTPURLInfo, url), ZO_F(HTTPURLInfo, method),
                                        ZO_F(HTTPURLInfo, requestHeaders), ZO_F(HTTPURLInfo, responseHeaders),
                                        ZO_F(HTTPURLInfo, responseCode)};
constexpr Rule kHTTPURLInfoRules[] = {ZO_REQ(HTTPURLInfo, method), ZO_REQ(HTTPURLInfo, url)};
constexpr RecordType kHTTPURLInfo =
    ZO_RECORD(HTTPURLInfo, HTTPURLInfo, kHTTPURLInfoFields, kHTTPURLInfoRules);

constexpr Field kMembershipInfoFields[] = {ZO_F(MembershipInfo, type), ZO_F(MembershipInfo, id),
                                           ZO_F(MembershipInfo, name)};
constexpr Rule kMembershipInfoRules[] = {ZO_REQ(MembershipInfo, type)};
constexpr RecordType kMembershipInfo = {
    .createTag = "[VEXA_MembershipInfo_Create]",
    .innerCreateTag = "[membershipInfo_Create]",
    .deleteTag = "[VEXA_MembershipInfo_Delete]",
    .innerDeleteTag = "[membershipInfo_Delete]",
    .handleName = "membershipInfo_Handle",
    .deleteHandleName = "membershipInfo__Handle",
    .size = sizeof(ZOVEXA_MembershipInfo_),
    .fields = kMembershipInfoFields,
    .rules = kMembershipInfoRules,
};

constexpr Field kTargetInfoFields[] = {ZO_F(TargetInfo, targetNames), ZO_F(TargetInfo, attributes)};
constexpr Rule kTargetInfoRules[] = {ZO_REQ(TargetInfo, targetNames)};
constexpr RecordType kTargetInfo = ZO_RECORD(TargetInfo, targetInfo, kTargetInfoFields, kTargetInfoRules);

constexpr Field kMgmtInfoFields[] = {ZO_F(MgmtInfo, targetInfo), ZO_F(MgmtInfo, command)};
constexpr RecordType kMgmtInfo = ZO_RECORD(MgmtInfo, mgmtInfo, kMgmtInfoFields, {});

constexpr Field kMsgDataElementFields[] = {
    ZO_F(MsgDataElement, msgId),           ZO_F(MsgDataElement, msgIdType),
    ZO_F(MsgDataElement, msgCatalogId),    ZO_F(MsgDataElement, msgCatalog),
    ZO_F(MsgDataElement, msgCatalogType),  ZO_F(MsgDataElement, msgLocale),
    ZO_F(MsgDataElement, msgCatalogTokens)};
constexpr RecordType kMsgDataElement = ZO_RECORD(MsgDataElement, msgDataElement, kMsgDataElementFields, {});

constexpr Field kOutcomeFields[] = {ZO_F(Outcome, result), ZO_F(Outcome, majorStatus),
                                    ZO_F(Outcome, minorStatus), ZO_F(Outcome, failureReason)};
constexpr Rule kOutcomeRules[] = {ZO_RULE(Outcome, kOutcomeResult, result, "result"),
                                  ZO_RULE(Outcome, kRequiredOnFailure, failureReason, "failureReason")};
constexpr RecordType kOutcome = ZO_RECORD(Outcome, outcome, kOutcomeFields, kOutcomeRules);

constexpr Field kPerfInfoFields[] = {ZO_F(PerfInfo, name),          ZO_F(PerfInfo, description),
                                     ZO_F(PerfInfo, numDataPoints), ZO_F(PerfInfo, unit),
                                     ZO_F(PerfInfo, maxValue),      ZO_F(PerfInfo, minValue),
                                     ZO_F(PerfInfo, value),         ZO_F(PerfInfo, aggregate)};
constexpr Rule kPerfInfoRules[] = {ZO_REQ(PerfInfo, name), ZO_REQ(PerfInfo, description),
                                   ZO_REQ(PerfInfo, aggregate), ZO_REQ(PerfInfo, unit)};
// The delete tags lack their opening bracket, as the trace readers know them.
constexpr RecordType kPerfInfo = {
    .createTag = "[VEXA_PerfInfo_Create]",
    .innerCreateTag = "[perfInfo_Create]",
    .deleteTag = "VEXA_PerfInfo_Delete]",
    .innerDeleteTag = "perfInfo_Delete]",
    .handleName = "perfInfo_Handle",
    .deleteHandleName = "perfInfo_Handle",
    .size = sizeof(ZOVEXA_PerfInfo_),
    .fields = kPerfInfoFields,
    .rules = kPerfInfoRules,
};

constexpr Field kPolicyInfoFields[] = {ZO_F(PolicyInfo, name), ZO_F(PolicyInfo, branch),
                                       ZO_F(PolicyInfo, type), ZO_F(PolicyInfo, description),
                                       ZO_F(PolicyInfo, attributes)};
constexpr Rule kPolicyInfoRules[] = {ZO_REQ(PolicyInfo, type), ZO_REQ(PolicyInfo, name)};
constexpr RecordType kPolicyInfo = ZO_RECORD(PolicyInfo, policyInfo, kPolicyInfoFields, kPolicyInfoRules);

constexpr Field kPermissionInfoFields[] = {
    ZO_F(PermissionInfo, checked), ZO_F(PermissionInfo, granted), ZO_F(PermissionInfo, denied),
    ZO_F(PermissionInfo, J2EERolesChecked), ZO_F(PermissionInfo, J2EERolesGranted)};
constexpr Rule kPermissionInfoRules[] = {ZO_REQ(PermissionInfo, checked)};
constexpr RecordType kPermissionInfo = {
    .createTag = "[VEXA_PermissionInfo_Create]",
    .innerCreateTag = "[permissionInfo_Create]",
    .deleteTag = "[VEXA_PermissionInfo_Delete]",
    .innerDeleteTag = "[permissionInfo_Delete]",
    .handleName = "permInfo_Handle",
    .deleteHandleName = "permissionInfo_Handle",
    .size = sizeof(ZOVEXA_PermissionInfo_),
    .fields = kPermissionInfoFields,
    .rules = kPermissionInfoRules,
};

constexpr Field kProvisioningInfoFields[] = {ZO_F(ProvisioningInfo, accountId),
                                             ZO_F(ProvisioningInfo, resourceId),
                                             ZO_F(ProvisioningInfo, resourceType)};
constexpr Rule kProvisioningInfoRules[] = {ZO_REQ(ProvisioningInfo, resourceId)};
constexpr RecordType kProvisioningInfo = {
    .createTag = "[VEXA_ProvisioningInfo_Create]",
    .innerCreateTag = "[provisioningInfo_Create]",
    .deleteTag = "[VEXA_ProvisioningInfo_Delete]",
    .innerDeleteTag = "[provisioningInfo_Delete]",
    .handleName = "provisioningInfo_Handle",
    .deleteHandleName = "provsioningInfo_Handle",
    .size = sizeof(ZOVEXA_ProvisioningInfo_),
    .fields = kProvisioningInfoFields,
    .rules = kProvisioningInfoRules,
};

constexpr Field kRegistryInfoFields[] = {ZO_F(RegistryInfo, type), ZO_F(RegistryInfo, serverLocation),
                                         ZO_F(RegistryInfo, serverLocationType),
                                         ZO_F(RegistryInfo, serverPort)};
constexpr Rule kRegistryInfoRules[] = {
    ZO_REQ(RegistryInfo, type), ZO_REQ(RegistryInfo, serverLocation), ZO_REQ(RegistryInfo, serverPort),
    ZO_RULE(RegistryInfo, kRequiredLocType, serverLocationType, "serverLocationType")};
constexpr RecordType kRegistryInfo =
    ZO_RECORD(RegistryInfo, registryInfo, kRegistryInfoFields, kRegistryInfoRules);

constexpr Field kRegistryObjectInfoFields[] = {
    ZO_F(RegistryObjectInfo, name), ZO_F(RegistryObjectInfo, registryName), ZO_F(RegistryObjectInfo, type),
    ZO_F(RegistryObjectInfo, description), ZO_F(RegistryObjectInfo, attributes)};
constexpr Rule kRegistryObjectInfoRules[] = {ZO_REQ(RegistryObjectInfo, type),
                                             ZO_REQ(RegistryObjectInfo, name)};
constexpr RecordType kRegistryObjectInfo = {
    .createTag = "[VEXA_RegistryObjectInfo_Create]",
    .innerCreateTag = "[registryObjectInfo_Create]",
    .deleteTag = "[VEXA_RegistryObjectInfo_Delete]",
    .innerDeleteTag = "[regsitryObjectInfo_Delete]",
    .handleName = "registryObjectInfo_Handle",
    .deleteHandleName = "registryObjectInfo_Handle",
    .size = sizeof(ZOVEXA_RegistryObjectInfo_),
    .fields = kRegistryObjectInfoFields,
    .rules = kRegistryObjectInfoRules,
};

constexpr Field kResourceInfoFields[] = {ZO_F(ResourceInfo, nameInApp), ZO_F(ResourceInfo, nameInPolicy),
                                         ZO_F(ResourceInfo, type), ZO_F(ResourceInfo, attributes)};
constexpr Rule kResourceInfoRules[] = {ZO_REQ(ResourceInfo, nameInApp), ZO_REQ(ResourceInfo, type),
                                       ZO_REQ(ResourceInfo, nameInPolicy)};
constexpr RecordType kResourceInfo =
    ZO_RECORD(ResourceInfo, resourceInfo, kResourceInfoFields, kResourceInfoRules);

constexpr Field kUserInfoFields[] = {ZO_F(UserInfo, registryUserName), ZO_F(UserInfo, appUserName),
                                     ZO_F(UserInfo, domain),           ZO_F(UserInfo, realm),
                                     ZO_F(UserInfo, location),         ZO_F(UserInfo, locationType),
                                     ZO_F(UserInfo, sessionId),        ZO_F(UserInfo, uniqueId),
                                     ZO_F(UserInfo, callerList),       ZO_F(UserInfo, attributes)};
constexpr Rule kUserInfoRules[] = {ZO_REQ(UserInfo, appUserName), ZO_REQ(UserInfo, registryUserName),
                                   ZO_RULE(UserInfo, kOptionalLocType, locationType, "locationType")};
constexpr RecordType kUserInfo = ZO_RECORD(UserInfo, userInfo, kUserInfoFields, kUserInfoRules);

constexpr Field kWorkItemInfoFields[] = {ZO_F(WorkItemInfo, id), ZO_F(WorkItemInfo, type)};
constexpr Rule kWorkItemInfoRules[] = {ZO_REQ(WorkItemInfo, type)};
// The delete tags spell the record "workitem", as the trace readers know them.
constexpr RecordType kWorkItemInfo = {
    .createTag = "[VEXA_WorkItemInfo_Create]",
    .innerCreateTag = "[workItemInfo_Create]",
    .deleteTag = "[VEXA_WorkitemInfo_Delete]",
    .innerDeleteTag = "[workitemInfo_Delete]",
    .handleName = "workItemInfo_Handle",
    .deleteHandleName = "workItemInfo_Handle",
    .size = sizeof(ZOVEXA_WorkItemInfo_),
    .fields = kWorkItemInfoFields,
    .rules = kWorkItemInfoRules,
};

// The record types in value-type order, from VEXA_VT_ATTRIBUTE.
constexpr const RecordType *kByValueType[] = {&kAttribute,      &kAttributePermissionInfo,
                                              &kComponentId,    &kHTTPURLInfo,
                                              &kMembershipInfo, &kMgmtInfo,
                                              &kMsgDataElement, &kOutcome,
                                              &kPerfInfo,       &kPolicyInfo,
                                              &kPermissionInfo, &kProvisioningInfo,
                                              &kRegistryInfo,   &kRegistryObjectInfo,
                                              &kResourceInfo,   &kTargetInfo,
                                              &kUserInfo,       &kWorkItemInfo};
static_assert(std::size(kByValueType) == VEXA_VT_WORK_ITEM_INFO - VEXA_VT_ATTRIBUTE + 1);

// ---- generic record code ----------------------------------------------------------------------------

template <typename M>
M &MemberAt(void *record, size_t offset) {
  return *reinterpret_cast<M *>(static_cast<char *>(record) + offset);
}
template <typename M>
const M &MemberAt(const void *record, size_t offset) {
  return *reinterpret_cast<const M *>(static_cast<const char *>(record) + offset);
}

// The pointer held by a checked field, whichever pointer type it has.
const void *PointerAt(const void *record, size_t offset) {
  const void *p;
  memcpy(&p, static_cast<const char *>(record) + offset, sizeof p);
  return p;
}

void ReportNoMemory(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *tag) {
  ZOreport(context, result, 1, 0, 0);
  ZO_ERROR(context, tag, "ERROR: cannot malloc");
}

void ReleaseRecord(const RecordType &type, void *record);

template <typename T>
void FreeArray(const RecordType &type, T **array) {
  if (array == nullptr) return;
  for (T **p = array; *p != nullptr; ++p) ReleaseRecord(type, *p);
  free(array);
}

// Frees every field, then the record. Fields never set are NULL (records are
// allocated zeroed), so a half-built record is released the same way.
void ReleaseRecord(const RecordType &type, void *record) {
  if (record == nullptr) return;
  for (const Field &f : type.fields) {
    switch (f.kind) {
      case Kind::kString:
        free(MemberAt<char *>(record, f.offset));
        break;
      case Kind::kStrings:
        ZOfreeStringArray(MemberAt<char **>(record, f.offset));
        break;
      case Kind::kAttributes:
        FreeArray(kAttribute, MemberAt<ZOVEXA_Attribute **>(record, f.offset));
        break;
      case Kind::kTarget:
        ReleaseRecord(kTargetInfo, MemberAt<ZOVEXA_TargetInfo *>(record, f.offset));
        break;
      case Kind::kInt:
      case Kind::kLong:
        break;
    }
  }
  free(record);
}

bool CheckRules(ZOVEXA_AuditClientContext *context, const RecordType &type, const void *source,
                ZOVEXA_result *result) {
  const char *tag = type.innerCreateTag;
  bool unsuccessful = false;  // the outcome result checked before was "UNSUCCESSFUL"
  for (const Rule &rule : type.rules) {
    const void *p = PointerAt(source, rule.offset);
    if (p == nullptr) {
      bool required =
          rule.check != Check::kOptionalLocType && (rule.check != Check::kRequiredOnFailure || unsuccessful);
      if (!required) continue;
      ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, rule.name);
      return false;
    }
    const char *s = static_cast<const char *>(p);
    switch (rule.check) {
      case Check::kRequiredLocType:
      case Check::kOptionalLocType:
        if (!ZOisLocationType(context, s)) {
          ZOreport(context, result, 8, static_cast<uint32_t>(strlen(s) + 1), 2, rule.name, s);
          ZO_ERROR(context, tag, "ERROR: value of %s is not a valid value: %s", rule.name, s);
          return false;
        }
        break;
      case Check::kOutcomeResult:
        // Compared with the terminating NUL: case and trailing characters count.
        unsuccessful = strcmp(s, "UNSUCCESSFUL") == 0;
        if (!unsuccessful && strcmp(s, "SUCCESSFUL") != 0) {
          ZOreport(context, result, 8, static_cast<uint32_t>(strlen(s) + 1), 2, rule.name, s);
          ZO_ERROR(context, tag, "ERROR: The value of the result parameter, %s, is invalid", s);
          return false;
        }
        break;
      case Check::kRequired:
      case Check::kRequiredOnFailure:
        break;
    }
  }
  return true;
}

void *CreateRecord(ZOVEXA_AuditClientContext *context, const RecordType &type, const void *source,
                   int convert, ZOVEXA_result *result);

// Sets `target` to copy(source) unless source is NULL; false when the copy failed.
template <typename P, typename Copy>
bool CopyUnlessNull(P source, P &target, Copy copy) {
  if (source == nullptr) return true;
  target = copy(source);
  return target != nullptr;
}

template <typename T>
T **CopyArray(ZOVEXA_AuditClientContext *context, const RecordType &type, T *const *array, int convert,
              const char *tag, ZOVEXA_result *result) {
  if (array == nullptr) return nullptr;
  size_t count = 0;
  while (array[count] != nullptr) ++count;
  auto **copy = static_cast<T **>(ZOcalloc(count + 1, sizeof(T *)));
  if (copy == nullptr) {
    ReportNoMemory(context, result, tag);
    return nullptr;
  }
  for (size_t i = 0; i < count; ++i) {
    copy[i] = static_cast<T *>(CreateRecord(context, type, array[i], convert, result));
    if (copy[i] == nullptr) {
      FreeArray(type, copy);
      return nullptr;
    }
  }
  return copy;
}

bool CopyField(ZOVEXA_AuditClientContext *context, const Field &f, void *record, const void *source,
               int convert, ZOVEXA_result *result) {
  switch (f.kind) {
    case Kind::kInt:
      MemberAt<int32_t>(record, f.offset) = MemberAt<int32_t>(source, f.offset);
      return true;
    case Kind::kLong:
      MemberAt<int64_t>(record, f.offset) = MemberAt<int64_t>(source, f.offset);
      return true;
    case Kind::kString:
      return CopyUnlessNull(MemberAt<char *>(source, f.offset), MemberAt<char *>(record, f.offset),
                            [&](const char *s) {
                              return ZOutf8Convert(context, s, convert ? ZO_TO_UTF8 : ZO_NO_CONVERT, result);
                            });
    case Kind::kStrings:
      return CopyUnlessNull(MemberAt<char **>(source, f.offset), MemberAt<char **>(record, f.offset),
                            [&](char **a) { return ZOcopyStringArray(context, a, convert, result); });
    // Nested records hold UTF-8 already: they are copied without conversion.
    case Kind::kAttributes:
      return CopyUnlessNull(
          MemberAt<ZOVEXA_Attribute **>(source, f.offset), MemberAt<ZOVEXA_Attribute **>(record, f.offset),
          [&](ZOVEXA_Attribute **a) { return ZOcopyAttributeArray(context, a, 0, result); });
    case Kind::kTarget:
      return CopyUnlessNull(
          MemberAt<ZOVEXA_TargetInfo *>(source, f.offset), MemberAt<ZOVEXA_TargetInfo *>(record, f.offset),
          [&](ZOVEXA_TargetInfo *t) {
            return static_cast<ZOVEXA_TargetInfo *>(CreateRecord(context, kTargetInfo, t, 0, result));
          });
  }
  return false;
}

// A new record of `type` made from the fields of `source` (a record of the
// same type whose pointers are only borrowed): checked, then copied field by
// field. Fails whole: NULL with a message and nothing left allocated.
void *CreateRecord(ZOVEXA_AuditClientContext *context, const RecordType &type, const void *source,
                   int convert, ZOVEXA_result *result) {
  const char *tag = type.innerCreateTag;
  ZO_ENTRY(context, tag);
  void *record = ZOcalloc(1, type.size);
  if (record == nullptr) {
    ReportNoMemory(context, result, tag);
  } else {
    bool ok = CheckRules(context, type, source, result);
    for (size_t i = 0; ok && i < type.fields.size(); ++i)
      ok = CopyField(context, type.fields[i], record, source, convert, result);
    if (!ok) {
      ReleaseRecord(type, record);
      record = nullptr;
    }
  }
  ZO_EXIT(context, tag);
  return record;
}

int DeleteRecord(ZOVEXA_AuditClientContext *context, const RecordType &type, void *record) {
  if (record == nullptr) return 0;
  ZO_ENTRY(context, type.innerDeleteTag);
  ReleaseRecord(type, record);
  ZO_EXIT_RC(context, type.innerDeleteTag, 0);
  return 0;
}

// The internal creates take their fields as the caller's const strings; the
// borrowed source record needs them as the struct's plain pointers.
inline char *Borrow(const char *s) { return const_cast<char *>(s); }
template <typename V>
V Borrow(V v) {
  return v;
}

// Builds a borrowed source record from the field arguments (given in the
// struct's order) and creates the record from it.
template <typename T, typename... Fields>
T *Build(ZOVEXA_AuditClientContext *context, const RecordType &type, int convert, ZOVEXA_result *result,
         Fields... fields) {
  const T source{Borrow(fields)...};
  return static_cast<T *>(CreateRecord(context, type, &source, convert, result));
}

// ---- shared parts of the exported calls ----------------------------------------------------------------

// Resets the result and checks the context, the result record and `handle`
// (skipped when handleName is NULL). False when the call must fail.
bool Begin(ZOVEXA_AuditClientContext *context, const void *handle, const char *handleName, const char *tag,
           ZOVEXA_result *result) {
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return false;
  }
  ZO_ENTRY(context, tag);
  if (handleName != nullptr && handle == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, handleName);
    ZO_EXIT(context, tag);
    return false;
  }
  return true;
}

template <typename Create>
auto PublicCreate(ZOVEXA_AuditClientContext *context, const RecordType &type, ZOVEXA_result *result,
                  Create create) -> decltype(create()) {
  if (!Begin(context, nullptr, nullptr, type.createTag, result)) return nullptr;
  auto *record = create();
  ZO_EXIT(context, type.createTag);
  return record;
}

template <typename Delete>
int32_t PublicDelete(ZOVEXA_AuditClientContext *context, const RecordType &type, const void *record,
                     ZOVEXA_result *result, Delete innerDelete) {
  if (!Begin(context, record, type.deleteHandleName, type.deleteTag, result)) return -1;
  int32_t rc = innerDelete();
  ZO_EXIT_RC(context, type.deleteTag, rc);
  return rc;
}

// A getter: strings come back as new copies in the element codeset (NULL for
// an unset field); numbers, arrays and the nested record as they are held.
template <typename T, typename M>
M GetField(ZOVEXA_AuditClientContext *context, const RecordType &type, const T *record, M T::*member,
           const char *tag, ZOVEXA_result *result) {
  if (!Begin(context, record, type.handleName, tag, result)) {
    if constexpr (std::is_integral_v<M>) {
      return -1;
    } else {
      return nullptr;
    }
  }
  M value = record->*member;
  if constexpr (std::is_same_v<M, char *>) {
    if (value != nullptr) value = ZOutf8Convert(context, value, ZO_FROM_UTF8, result);
  }
  ZO_EXIT(context, tag);
  return value;
}

void ReportBadValueType(ZOVEXA_AuditClientContext *context, uint32_t valueType, const char *tag,
                        ZOVEXA_result *result) {
  std::string number = std::to_string(valueType);
  ZOreport(context, result, 8, 0, 2, "valueType", number.c_str());
  ZO_ERROR(context, tag, "ERROR: value type %u is not a record type", valueType);
}

}  // namespace

// ---- internal creates -------------------------------------------------------------------------------

ZOVEXA_Attribute *ZOattribute_Create(ZOVEXA_AuditClientContext *context, const char *name, const char *value,
                                     const char *source, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_Attribute>(context, kAttribute, convert, result, name, value, source);
}

ZOVEXA_AttributePermissionInfo *ZOattributePermissionInfo_Create(ZOVEXA_AuditClientContext *context,
                                                                 char **attributeNames, char **checked,
                                                                 char **granted, char **denied, int convert,
                                                                 ZOVEXA_result *result) {
  return Build<ZOVEXA_AttributePermissionInfo>(context, kAttributePermissionInfo, convert, result,
                                               attributeNames, checked, granted, denied);
}

ZOVEXA_ComponentId *ZOcomponentId_Create(ZOVEXA_AuditClientContext *context, const char *location,
                                         const char *locationType, const char *application,
                                         const char *executionEnvironment, const char *component,
                                         const char *componentType, const char *componentIdType,
                                         const char *subComponent, const char *instanceId,
                                         const char *processId, const char *threadId, int convert,
                                         ZOVEXA_result *result) {
  return Build<ZOVEXA_ComponentId>(context, kComponentId, convert, result, location, locationType,
                                   application, executionEnvironment, component, componentType,
                                   componentIdType, subComponent, instanceId, processId, threadId);
}

ZOVEXA_HTTPURLInfo *ZOHTTPURLInfo_Create(ZOVEXA_AuditClientContext *context, const char *url,
                                         const char *method, const char *requestHeaders,
                                         const char *responseHeaders, int32_t responseCode, int convert,
                                         ZOVEXA_result *result) {
  return Build<ZOVEXA_HTTPURLInfo>(context, kHTTPURLInfo, convert, result, url, method, requestHeaders,
                                   responseHeaders, responseCode);
}

ZOVEXA_MembershipInfo *ZOmembershipInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                               const char *id, const char *name, int convert,
                                               ZOVEXA_result *result) {
  return Build<ZOVEXA_MembershipInfo>(context, kMembershipInfo, convert, result, type, id, name);
}

ZOVEXA_MgmtInfo *ZOmgmtInfo_Create(ZOVEXA_AuditClientContext *context, ZOVEXA_TargetInfo *targetInfo,
                                   const char *command, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_MgmtInfo>(context, kMgmtInfo, convert, result, targetInfo, command);
}

ZOVEXA_MsgDataElement *ZOmsgDataElement_Create(ZOVEXA_AuditClientContext *context, const char *msgId,
                                               const char *msgIdType, const char *msgCatalogId,
                                               const char *msgCatalog, const char *msgCatalogType,
                                               const char *msgLocale, char **msgCatalogTokens, int convert,
                                               ZOVEXA_result *result) {
  return Build<ZOVEXA_MsgDataElement>(context, kMsgDataElement, convert, result, msgId, msgIdType,
                                      msgCatalogId, msgCatalog, msgCatalogType, msgLocale, msgCatalogTokens);
}

ZOVEXA_Outcome *ZOoutcome_Create(ZOVEXA_AuditClientContext *context, const char *outcomeResult,
                                 int32_t majorStatus, int32_t minorStatus, const char *failureReason,
                                 int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_Outcome>(context, kOutcome, convert, result, outcomeResult, majorStatus, minorStatus,
                               failureReason);
}

ZOVEXA_PerfInfo *ZOperfInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                   const char *description, int32_t numDataPoints, const char *unit,
                                   int64_t maxValue, int64_t minValue, int64_t value, const char *aggregate,
                                   int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_PerfInfo>(context, kPerfInfo, convert, result, name, description, numDataPoints, unit,
                                maxValue, minValue, value, aggregate);
}

ZOVEXA_PolicyInfo *ZOpolicyInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                       const char *branch, const char *type, const char *description,
                                       ZOVEXA_Attribute **attributes, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_PolicyInfo>(context, kPolicyInfo, convert, result, name, branch, type, description,
                                  attributes);
}

ZOVEXA_PermissionInfo *ZOpermissionInfo_Create(ZOVEXA_AuditClientContext *context, char **checked,
                                               char **granted, char **denied, char **J2EERolesChecked,
                                               char **J2EERolesGranted, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_PermissionInfo>(context, kPermissionInfo, convert, result, checked, granted, denied,
                                      J2EERolesChecked, J2EERolesGranted);
}

ZOVEXA_ProvisioningInfo *ZOprovisioningInfo_Create(ZOVEXA_AuditClientContext *context, const char *accountId,
                                                   const char *resourceId, const char *resourceType,
                                                   int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_ProvisioningInfo>(context, kProvisioningInfo, convert, result, accountId, resourceId,
                                        resourceType);
}

ZOVEXA_RegistryInfo *ZOregistryInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                           const char *serverLocation, const char *serverLocationType,
                                           const char *serverPort, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_RegistryInfo>(context, kRegistryInfo, convert, result, type, serverLocation,
                                    serverLocationType, serverPort);
}

ZOVEXA_RegistryObjectInfo *ZOregistryObjectInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                                       const char *registryName, const char *type,
                                                       const char *description, ZOVEXA_Attribute **attributes,
                                                       int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_RegistryObjectInfo>(context, kRegistryObjectInfo, convert, result, name, registryName,
                                          type, description, attributes);
}

ZOVEXA_ResourceInfo *ZOresourceInfo_Create(ZOVEXA_AuditClientContext *context, const char *nameInApp,
                                           const char *nameInPolicy, const char *type,
                                           ZOVEXA_Attribute **attributes, int convert,
                                           ZOVEXA_result *result) {
  return Build<ZOVEXA_ResourceInfo>(context, kResourceInfo, convert, result, nameInApp, nameInPolicy, type,
                                    attributes);
}

ZOVEXA_TargetInfo *ZOtargetInfo_Create(ZOVEXA_AuditClientContext *context, char **targetNames,
                                       ZOVEXA_Attribute **attributes, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_TargetInfo>(context, kTargetInfo, convert, result, targetNames, attributes);
}

ZOVEXA_UserInfo *ZOuserInfo_Create(ZOVEXA_AuditClientContext *context, const char *registryUserName,
                                   const char *appUserName, const char *domain, const char *realm,
                                   const char *location, const char *locationType, const char *sessionId,
                                   int32_t uniqueId, char **callerList, ZOVEXA_Attribute **attributes,
                                   int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_UserInfo>(context, kUserInfo, convert, result, registryUserName, appUserName, domain,
                                realm, location, locationType, sessionId, uniqueId, callerList, attributes);
}

ZOVEXA_WorkItemInfo *ZOworkItemInfo_Create(ZOVEXA_AuditClientContext *context, const char *id,
                                           const char *type, int convert, ZOVEXA_result *result) {
  return Build<ZOVEXA_WorkItemInfo>(context, kWorkItemInfo, convert, result, id, type);
}

// ---- arrays of records and element values ---------------------------------------------------------------

ZOVEXA_Attribute **ZOcopyAttributeArray(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *const *array,
                                        int convert, ZOVEXA_result *result) {
  return CopyArray(context, kAttribute, array, convert, "[copyAttributeArray]", result);
}

ZOVEXA_AttributePermissionInfo **ZOcopyAttrPermInfoArray(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_AttributePermissionInfo *const *array,
                                                         int convert, ZOVEXA_result *result) {
  return CopyArray(context, kAttributePermissionInfo, array, convert, "[copyAttrPermInfoArray]", result);
}

ZOVEXA_MembershipInfo **ZOcopyMembershipInfoArray(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_MembershipInfo *const *array, int convert,
                                                  ZOVEXA_result *result) {
  return CopyArray(context, kMembershipInfo, array, convert, "[copyMembershipInfoArray]", result);
}

ZOVEXA_PolicyInfo **ZOcopyPolicyInfoArray(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *const *array,
                                          int convert, ZOVEXA_result *result) {
  return CopyArray(context, kPolicyInfo, array, convert, "[copyPolicyInfoArray]", result);
}

void ZOfreeAttributeArray(ZOVEXA_Attribute **array) { FreeArray(kAttribute, array); }
void ZOfreeAttrPermInfoArray(ZOVEXA_AttributePermissionInfo **array) {
  FreeArray(kAttributePermissionInfo, array);
}
void ZOfreeMembershipInfoArray(ZOVEXA_MembershipInfo **array) { FreeArray(kMembershipInfo, array); }
void ZOfreePolicyInfoArray(ZOVEXA_PolicyInfo **array) { FreeArray(kPolicyInfo, array); }

std::span<const ZOrecordField> ZOrecordFields(uint32_t valueType) {
  if (valueType < VEXA_VT_ATTRIBUTE || valueType > VEXA_VT_WORK_ITEM_INFO) return {};
  return kByValueType[valueType - VEXA_VT_ATTRIBUTE]->fields;
}

void *ZOcopyRecordValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, const void *value,
                        int convert, ZOVEXA_result *result) {
  const char *tag = "[copyRecordValue]";
  if (value == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, "value");
    return nullptr;
  }
  if (valueType >= VEXA_VT_ATTRIBUTE && valueType <= VEXA_VT_WORK_ITEM_INFO)
    return CreateRecord(context, *kByValueType[valueType - VEXA_VT_ATTRIBUTE], value, convert, result);
  switch (valueType) {
    case VEXA_VT_ATTRIBUTE_ARRAY:
      return ZOcopyAttributeArray(context, static_cast<ZOVEXA_Attribute *const *>(value), convert, result);
    case VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY:
      return ZOcopyAttrPermInfoArray(context, static_cast<ZOVEXA_AttributePermissionInfo *const *>(value),
                                     convert, result);
    case VEXA_VT_MEMBERSHIP_INFO_ARRAY:
      return ZOcopyMembershipInfoArray(context, static_cast<ZOVEXA_MembershipInfo *const *>(value), convert,
                                       result);
    case VEXA_VT_POLICY_INFO_ARRAY:
      return ZOcopyPolicyInfoArray(context, static_cast<ZOVEXA_PolicyInfo *const *>(value), convert, result);
    default:
      ReportBadValueType(context, valueType, tag, result);
      return nullptr;
  }
}

int ZOfreeRecordValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, void *value,
                      ZOVEXA_result *result) {
  if (valueType >= VEXA_VT_ATTRIBUTE && valueType <= VEXA_VT_WORK_ITEM_INFO)
    return DeleteRecord(context, *kByValueType[valueType - VEXA_VT_ATTRIBUTE], value);
  switch (valueType) {
    case VEXA_VT_ATTRIBUTE_ARRAY:
      ZOfreeAttributeArray(static_cast<ZOVEXA_Attribute **>(value));
      return 0;
    case VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY:
      ZOfreeAttrPermInfoArray(static_cast<ZOVEXA_AttributePermissionInfo **>(value));
      return 0;
    case VEXA_VT_MEMBERSHIP_INFO_ARRAY:
      ZOfreeMembershipInfoArray(static_cast<ZOVEXA_MembershipInfo **>(value));
      return 0;
    case VEXA_VT_POLICY_INFO_ARRAY:
      ZOfreePolicyInfoArray(static_cast<ZOVEXA_PolicyInfo **>(value));
      return 0;
    default:
      ReportBadValueType(context, valueType, "[freeRecordValue]", result);
      return -1;
  }
}

// ---- exported creates -----------------------------------------------------------------------------------

ZOVEXA_Attribute *ZOVEXA_Attribute_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                          const char *value, const char *source, ZOVEXA_result *result) {
  return PublicCreate(context, kAttribute, result,
                      [&] { return ZOattribute_Create(context, name, value, source, 1, result); });
}

ZOVEXA_AttributePermissionInfo *ZOVEXA_AttributePermissionInfo_Create(ZOVEXA_AuditClientContext *context,
                                                                      char **attributeNames, char **checked,
                                                                      char **granted, char **denied,
                                                                      ZOVEXA_result *result) {
  return PublicCreate(context, kAttributePermissionInfo, result, [&] {
    return ZOattributePermissionInfo_Create(context, attributeNames, checked, granted, denied, 1, result);
  });
}

ZOVEXA_ComponentId *ZOVEXA_ComponentId_Create(ZOVEXA_AuditClientContext *context, const char *location,
                                              const char *locationType, const char *application,
                                              const char *executionEnvironment, const char *component,
                                              const char *componentType, const char *componentIdType,
                                              const char *subComponent, const char *instanceId,
                                              const char *processId, const char *threadId,
                                              ZOVEXA_result *result) {
  return PublicCreate(context, kComponentId, result, [&] {
    return ZOcomponentId_Create(context, location, locationType, application, executionEnvironment, component,
                                componentType, componentIdType, subComponent, instanceId, processId, threadId,
                                1, result);
  });
}

ZOVEXA_HTTPURLInfo *ZOVEXA_HTTPURLInfo_Create(ZOVEXA_AuditClientContext *context, const char *url,
                                              const char *method, const char *requestHeaders,
                                              const char *responseHeaders, int32_t responseCode,
                                              ZOVEXA_result *result) {
  return PublicCreate(context, kHTTPURLInfo, result, [&] {
    return ZOHTTPURLInfo_Create(context, url, method, requestHeaders, responseHeaders, responseCode, 1,
                                result);
  });
}

ZOVEXA_MembershipInfo *ZOVEXA_MembershipInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                                    const char *id, const char *name, ZOVEXA_result *result) {
  return PublicCreate(context, kMembershipInfo, result,
                      [&] { return ZOmembershipInfo_Create(context, type, id, name, 1, result); });
}

ZOVEXA_MgmtInfo *ZOVEXA_MgmtInfo_Create(ZOVEXA_AuditClientContext *context, ZOVEXA_TargetInfo *targetInfo,
                                        const char *command, ZOVEXA_result *result) {
  return PublicCreate(context, kMgmtInfo, result,
                      [&] { return ZOmgmtInfo_Create(context, targetInfo, command, 1, result); });
}

ZOVEXA_MsgDataElement *ZOVEXA_MsgDataElement_Create(ZOVEXA_AuditClientContext *context, const char *msgId,
                                                    const char *msgIdType, const char *msgCatalogId,
                                                    const char *msgCatalog, const char *msgCatalogType,
                                                    const char *msgLocale, char **msgCatalogTokens,
                                                    ZOVEXA_result *result) {
  return PublicCreate(context, kMsgDataElement, result, [&] {
    return ZOmsgDataElement_Create(context, msgId, msgIdType, msgCatalogId, msgCatalog, msgCatalogType,
                                   msgLocale, msgCatalogTokens, 1, result);
  });
}

ZOVEXA_Outcome *ZOVEXA_Outcome_Create(ZOVEXA_AuditClientContext *context, const char *outcomeResult,
                                      int32_t majorStatus, int32_t minorStatus, const char *failureReason,
                                      ZOVEXA_result *result) {
  return PublicCreate(context, kOutcome, result, [&] {
    return ZOoutcome_Create(context, outcomeResult, majorStatus, minorStatus, failureReason, 1, result);
  });
}

ZOVEXA_PerfInfo *ZOVEXA_PerfInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                        const char *description, int32_t numDataPoints, const char *unit,
                                        int64_t maxValue, int64_t minValue, int64_t value,
                                        const char *aggregate, ZOVEXA_result *result) {
  return PublicCreate(context, kPerfInfo, result, [&] {
    return ZOperfInfo_Create(context, name, description, numDataPoints, unit, maxValue, minValue, value,
                             aggregate, 1, result);
  });
}

ZOVEXA_PolicyInfo *ZOVEXA_PolicyInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                            const char *branch, const char *type, const char *description,
                                            ZOVEXA_Attribute **attributes, ZOVEXA_result *result) {
  return PublicCreate(context, kPolicyInfo, result, [&] {
    return ZOpolicyInfo_Create(context, name, branch, type, description, attributes, 1, result);
  });
}

ZOVEXA_PermissionInfo *ZOVEXA_PermissionInfo_Create(ZOVEXA_AuditClientContext *context, char **checked,
                                                    char **granted, char **denied, char **J2EERolesChecked,
                                                    char **J2EERolesGranted, ZOVEXA_result *result) {
  return PublicCreate(context, kPermissionInfo, result, [&] {
    return ZOpermissionInfo_Create(context, checked, granted, denied, J2EERolesChecked, J2EERolesGranted, 1,
                                   result);
  });
}

ZOVEXA_ProvisioningInfo *ZOVEXA_ProvisioningInfo_Create(ZOVEXA_AuditClientContext *context,
                                                        const char *accountId, const char *resourceId,
                                                        const char *resourceType, ZOVEXA_result *result) {
  return PublicCreate(context, kProvisioningInfo, result, [&] {
    return ZOprovisioningInfo_Create(context, accountId, resourceId, resourceType, 1, result);
  });
}

ZOVEXA_RegistryInfo *ZOVEXA_RegistryInfo_Create(ZOVEXA_AuditClientContext *context, const char *type,
                                                const char *serverLocation, const char *serverLocationType,
                                                const char *serverPort, ZOVEXA_result *result) {
  return PublicCreate(context, kRegistryInfo, result, [&] {
    return ZOregistryInfo_Create(context, type, serverLocation, serverLocationType, serverPort, 1, result);
  });
}

ZOVEXA_RegistryObjectInfo *ZOVEXA_RegistryObjectInfo_Create(ZOVEXA_AuditClientContext *context,
                                                            const char *name, const char *registryName,
                                                            const char *type, const char *description,
                                                            ZOVEXA_Attribute **attributes,
                                                            ZOVEXA_result *result) {
  return PublicCreate(context, kRegistryObjectInfo, result, [&] {
    return ZOregistryObjectInfo_Create(context, name, registryName, type, description, attributes, 1, result);
  });
}

ZOVEXA_ResourceInfo *ZOVEXA_ResourceInfo_Create(ZOVEXA_AuditClientContext *context, const char *nameInApp,
                                                const char *nameInPolicy, const char *type,
                                                ZOVEXA_Attribute **attributes, ZOVEXA_result *result) {
  return PublicCreate(context, kResourceInfo, result, [&] {
    return ZOresourceInfo_Create(context, nameInApp, nameInPolicy, type, attributes, 1, result);
  });
}

ZOVEXA_TargetInfo *ZOVEXA_TargetInfo_Create(ZOVEXA_AuditClientContext *context, char **targetNames,
                                            ZOVEXA_Attribute **attributes, ZOVEXA_result *result) {
  return PublicCreate(context, kTargetInfo, result,
                      [&] { return ZOtargetInfo_Create(context, targetNames, attributes, 1, result); });
}

ZOVEXA_UserInfo *ZOVEXA_UserInfo_Create(ZOVEXA_AuditClientContext *context, const char *registryUserName,
                                        const char *appUserName, const char *domain, const char *realm,
                                        const char *location, const char *locationType, const char *sessionId,
                                        int32_t uniqueId, char **callerList, ZOVEXA_Attribute **attributes,
                                        ZOVEXA_result *result) {
  return PublicCreate(context, kUserInfo, result, [&] {
    return ZOuserInfo_Create(context, registryUserName, appUserName, domain, realm, location, locationType,
                             sessionId, uniqueId, callerList, attributes, 1, result);
  });
}

ZOVEXA_WorkItemInfo *ZOVEXA_WorkItemInfo_Create(ZOVEXA_AuditClientContext *context, const char *id,
                                                const char *type, ZOVEXA_result *result) {
  return PublicCreate(context, kWorkItemInfo, result,
                      [&] { return ZOworkItemInfo_Create(context, id, type, 1, result); });
}

// ---- getters ----------------------------------------------------------------------------------------------

// Defines ZOVEXA_<T>_Get<Getter>, returning the record's `member` as GetField
// hands it out; the return type is the member's type.
#define ZO_GETTER_TAGGED(T, Getter, member, tag)                                                        \
  decltype(ZOVEXA_##T##_::member) ZOVEXA_##T##_Get##Getter(ZOVEXA_AuditClientContext *context,          \
                                                           ZOVEXA_##T *record, ZOVEXA_result *result) { \
    return GetField(context, k##T, record, &ZOVEXA_##T##_::member, tag, result);                        \
  }
#define ZO_GETTER(T, Getter, member) ZO_GETTER_TAGGED(T, Getter, member, "[VEXA_" #T "_Get" #Getter "]")

ZO_GETTER(Attribute, Name, name)
ZO_GETTER(Attribute, Value, value)
ZO_GETTER(Attribute, Source, source)

ZO_GETTER(AttributePermissionInfo, AttributeNames, attributeNames)
ZO_GETTER(AttributePermissionInfo, Checked, checked)
ZO_GETTER(AttributePermissionInfo, Granted, granted)
ZO_GETTER(AttributePermissionInfo, Denied, denied)

ZO_GETTER(ComponentId, Location, location)
ZO_GETTER(ComponentId, LocationType, locationType)
ZO_GETTER(ComponentId, Application, application)
ZO_GETTER(ComponentId, ExecuteEnv, executionEnvironment)
ZO_GETTER(ComponentId, Component, component)
ZO_GETTER(ComponentId, ComponentType, componentType)
ZO_GETTER(ComponentId, ComponentIdType, componentIdType)
ZO_GETTER(ComponentId, SubComponent, subComponent)
ZO_GETTER_TAGGED(ComponentId, InstanceId, instanceId, "[VEXA_ComponentId_GetInstance]")
ZO_GETTER(ComponentId, ProcessId, processId)
ZO_GETTER(ComponentId, ThreadId, threadId)

ZO_GETTER(HTTPURLInfo, Url, url)
ZO_GETTER(HTTPURLInfo, Method, method)
ZO_GETTER(HTTPURLInfo, RequestHeaders, requestHeaders)
ZO_GETTER(HTTPURLInfo, ResponseHeaders, responseHeaders)
ZO_GETTER(HTTPURLInfo, ResponseCode, responseCode)

ZO_GETTER(MembershipInfo, Type, type)
ZO_GETTER(MembershipInfo, Id, id)
ZO_GETTER(MembershipInfo, Name, name)

ZO_GETTER(MgmtInfo, TargetInfo, targetInfo)
ZO_GETTER(MgmtInfo, Command, command)

ZO_GETTER(MsgDataElement, MsgId, msgId)
ZO_GETTER(MsgDataElement, MsgIdType, msgIdType)
ZO_GETTER(MsgDataElement, MsgCatalogId, msgCatalogId)
ZO_GETTER(MsgDataElement, MsgCatalog, msgCatalog)
ZO_GETTER(MsgDataElement, MsgCatalogType, msgCatalogType)
ZO_GETTER(MsgDataElement, MsgLocale, msgLocale)
ZO_GETTER(MsgDataElement, MsgCatalogTokens, msgCatalogTokens)

ZO_GETTER(Outcome, Result, result)
ZO_GETTER(Outcome, MajorStatus, majorStatus)
ZO_GETTER(Outcome, MinorStatus, minorStatus)
ZO_GETTER(Outcome, FailureReason, failureReason)

ZO_GETTER(PerfInfo, Name, name)
ZO_GETTER(PerfInfo, Description, description)
ZO_GETTER(PerfInfo, NumDataPoints, numDataPoints)
ZO_GETTER(PerfInfo, Unit, unit)
ZO_GETTER(PerfInfo, MaxValue, maxValue)
ZO_GETTER(PerfInfo, MinValue, minValue)
ZO_GETTER(PerfInfo, Value, value)
ZO_GETTER(PerfInfo, Aggregate, aggregate)

ZO_GETTER(PolicyInfo, Name, name)
ZO_GETTER(PolicyInfo, Branch, branch)
ZO_GETTER(PolicyInfo, Type, type)
ZO_GETTER(PolicyInfo, Description, description)
ZO_GETTER(PolicyInfo, Attributes, attributes)

ZO_GETTER(PermissionInfo, Checked, checked)
ZO_GETTER(PermissionInfo, Granted, granted)
ZO_GETTER(PermissionInfo, Denied, denied)
ZO_GETTER(PermissionInfo, J2EERolesChecked, J2EERolesChecked)
ZO_GETTER(PermissionInfo, J2EERolesGranted, J2EERolesGranted)

ZO_GETTER(ProvisioningInfo, AccountId, accountId)
ZO_GETTER(ProvisioningInfo, ResourceId, resourceId)
ZO_GETTER(ProvisioningInfo, ResourceType, resourceType)

ZO_GETTER(RegistryInfo, Type, type)
ZO_GETTER(RegistryInfo, ServerLocation, serverLocation)
ZO_GETTER(RegistryInfo, ServerLocationType, serverLocationType)
ZO_GETTER(RegistryInfo, ServerPort, serverPort)

ZO_GETTER(RegistryObjectInfo, Name, name)
ZO_GETTER(RegistryObjectInfo, RegistryName, registryName)
ZO_GETTER(RegistryObjectInfo, Type, type)
ZO_GETTER(RegistryObjectInfo, Description, description)
ZO_GETTER(RegistryObjectInfo, Attributes, attributes)

ZO_GETTER(ResourceInfo, NameInApp, nameInApp)
ZO_GETTER(ResourceInfo, NameInPolicy, nameInPolicy)
ZO_GETTER(ResourceInfo, Type, type)
ZO_GETTER(ResourceInfo, Attributes, attributes)

ZO_GETTER(TargetInfo, TargetNames, targetNames)
ZO_GETTER(TargetInfo, Attributes, attributes)

ZO_GETTER(UserInfo, RegistryUserName, registryUserName)
ZO_GETTER(UserInfo, AppUserName, appUserName)
ZO_GETTER(UserInfo, Domain, domain)
ZO_GETTER(UserInfo, Realm, realm)
ZO_GETTER(UserInfo, Location, location)
ZO_GETTER(UserInfo, LocationType, locationType)
ZO_GETTER(UserInfo, SessionId, sessionId)
ZO_GETTER(UserInfo, UniqueId, uniqueId)
ZO_GETTER(UserInfo, CallerList, callerList)
ZO_GETTER(UserInfo, Attributes, attributes)

ZO_GETTER(WorkItemInfo, Id, id)
ZO_GETTER(WorkItemInfo, Type, type)

// ---- deletes
// ------------------------------------------------------------------------------------------------

// Defines the internal delete ZO<inner>_Delete and the exported
// ZOVEXA_<T>_Delete, which checks its arguments and calls the internal one.
#define ZO_DELETES(T, inner)                                                                        \
  int ZO##inner##_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_##T *record, ZOVEXA_result *) { \
    return DeleteRecord(context, k##T, record);                                                     \
  }                                                                                                 \
  int32_t ZOVEXA_##T##_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_##T *record,               \
                              ZOVEXA_result *result) {                                              \
    return PublicDelete(context, k##T, record, result,                                              \
                        [&] { return ZO##inner##_Delete(context, record, result); });               \
  }

ZO_DELETES(Attribute, attribute)
ZO_DELETES(AttributePermissionInfo, attributePermissionInfo)
ZO_DELETES(ComponentId, componentId)
ZO_DELETES(HTTPURLInfo, HTTPURLInfo)
ZO_DELETES(MembershipInfo, membershipInfo)
ZO_DELETES(MgmtInfo, mgmtInfo)
ZO_DELETES(MsgDataElement, msgDataElement)
ZO_DELETES(Outcome, outcome)
ZO_DELETES(PerfInfo, perfInfo)
ZO_DELETES(PolicyInfo, policyInfo)
ZO_DELETES(PermissionInfo, permissionInfo)
ZO_DELETES(ProvisioningInfo, provisioningInfo)
ZO_DELETES(RegistryInfo, registryInfo)
ZO_DELETES(RegistryObjectInfo, registryObjectInfo)
ZO_DELETES(ResourceInfo, resourceInfo)
ZO_DELETES(TargetInfo, targetInfo)
ZO_DELETES(UserInfo, userInfo)
ZO_DELETES(WorkItemInfo, workItemInfo)
