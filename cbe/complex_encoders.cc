// The complex-type encoders. The fields of every record type (XML name,
// kind, place in the struct, in the order they are written) are those the
// record code describes (ZOrecordFields); this file adds each type's type
// string. One generic walk writes any record from them; the named encoders
// are shims over it. Consecutive
// string fields go out through addChldsToElement from an attr_val table built
// on the stack.
#define ZO_SRC "cbe/complex_encoders"

#include "cbe/complex_encoders.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>

#include "capis/info_records.h"
#include "capis/results.h"
#include "capis/trace.h"

namespace {

using FieldKind = ZOfieldKind;
using FieldDesc = ZOrecordField;

// A record type as the encoder announces it: its type string, and the value
// type whose record fields it writes.
struct RecordDesc {
  const char *typeString;
  uint32_t valueType;
};

#define ZO_RECORD(typeName, valueType) \
  { "VEXAComplexType:" typeName, valueType }
// Indexed by value type - VEXA_VT_ATTRIBUTE. Message data announces itself
// with the management info type string: there is no type string of its own.
constexpr RecordDesc kRecords[] = {
    ZO_RECORD("VEXAAuditAttribute", VEXA_VT_ATTRIBUTE),
    ZO_RECORD("VEXAAuditAttributePermissionInfo", VEXA_VT_ATTRIBUTE_PERMISSION_INFO),
    ZO_RECORD("VEXAAuditComponentID", VEXA_VT_COMPONENT_ID),
    ZO_RECORD("VEXAAuditHTTPURLInfo", VEXA_VT_HTTPURL_INFO),
    ZO_RECORD("VEXAAuditMembershipInfo", VEXA_VT_MEMBERSHIP_INFO),
    ZO_RECORD("VEXAAuditMgmtInfo", VEXA_VT_MGMT_INFO),
    ZO_RECORD("VEXAAuditMgmtInfo", VEXA_VT_MSG_DATA_ELEMENT),
    ZO_RECORD("VEXAAuditOutcome", VEXA_VT_OUTCOME),
    ZO_RECORD("VEXAAuditPerfInfo", VEXA_VT_PERF_INFO),
    ZO_RECORD("VEXAAuditPolicyInfo", VEXA_VT_POLICY_INFO),
    ZO_RECORD("VEXAAuditPermissionInfo", VEXA_VT_PERMISSION_INFO),
    ZO_RECORD("VEXAAuditProvisioningInfo", VEXA_VT_PROVISIONING_INFO),
    ZO_RECORD("VEXAAuditRegistryInfo", VEXA_VT_REGISTRY_INFO),
    ZO_RECORD("VEXAAuditRegistryObjectInfo", VEXA_VT_REGISTRY_OBJECT_INFO),
    ZO_RECORD("VEXAAuditResourceInfo", VEXA_VT_RESOURCE_INFO),
    ZO_RECORD("VEXAAuditTargetInfo", VEXA_VT_TARGET_INFO),
    ZO_RECORD("VEXAAuditUserInfo", VEXA_VT_USER_INFO),
    ZO_RECORD("VEXAAuditWorkItemInfo", VEXA_VT_WORK_ITEM_INFO),
};
static_assert(std::size(kRecords) == VEXA_VT_WORK_ITEM_INFO - VEXA_VT_ATTRIBUTE + 1);

// The record arrays, indexed by value type - VEXA_VT_ATTRIBUTE_ARRAY: the
// array's type string and the value type of its items.
struct ArrayDesc {
  const char *typeString;
  uint32_t itemType;
};
constexpr ArrayDesc kArrays[] = {
    {"VEXAComplexType:VEXAAuditAttributeArray", VEXA_VT_ATTRIBUTE},
    {"VEXAComplexType:VEXAAuditAttributePermissionInfoArray", VEXA_VT_ATTRIBUTE_PERMISSION_INFO},
    {"VEXAComplexType:VEXAAuditMembershipInfoArray", VEXA_VT_MEMBERSHIP_INFO},
    {"VEXAComplexType:VEXAAuditPolicyInfoArray", VEXA_VT_POLICY_INFO},
};
static_assert(std::size(kArrays) == VEXA_VT_POLICY_INFO_ARRAY - VEXA_VT_ATTRIBUTE_ARRAY + 1);

// Room for a run of string fields and its terminator; a longer run is written
// in pieces, which appends the same children in the same order. The longest
// run of any record (component id) has eleven.
constexpr size_t kMaxStringRun = 16;

const RecordDesc &descOf(uint32_t valueType) { return kRecords[valueType - VEXA_VT_ATTRIBUTE]; }

template <typename T>
T fieldOf(const void *record, const FieldDesc &field) {
  return *reinterpret_cast<const T *>(static_cast<const char *>(record) + field.offset);
}

// "name", then "type" = "string" with the type string as "values", or
// "type" = "noValue".
int writeRecordHeader(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                      const char *name, uint32_t hasValue, const char *typeString, ZOVEXA_result *result) {
  if (setAttribute(context, target, "name", name, result) != 0) return -1;
  if (hasValue == 1) {
    if (setAttribute(context, target, "type", "string", result) != 0) return -1;
    return appendTextElement(context, doc, target, "values", typeString, result);
  }
  return setAttribute(context, target, "type", "noValue", result);
}

// Writes the pending run of string fields and empties it.
int flushStrings(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                 attr_val *run, size_t &count, ZOVEXA_result *result) {
  if (count == 0) return 0;
  run[count] = attr_val{nullptr, nullptr};
  count = 0;
  return addChldsToElement(context, doc, run, target, result);
}

int writeStringArray(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                     const char *name, char *const *array, ZOVEXA_result *result) {
  xc::DOMElement *child = createElement(context, doc, "children", result);
  if (child == nullptr) return -1;
  if (setAttribute(context, child, "name", name, result) != 0) return -1;
  if (setAttribute(context, child, "type", "stringArray", result) != 0) return -1;
  if (addArrayToElement(context, doc, child, "values", ZO_ARRAY_STRING,
                        reinterpret_cast<const void *const *>(array), result) != 0) {
    return -1;
  }
  return addElementToElement(context, target, child, result);
}

int encodeRecord(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                 const char *name, uint32_t hasValue, const RecordDesc &desc, const void *record,
                 ZOVEXA_result *result);

// The nested target info of a management info, in its own "children".
int writeNestedTarget(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                      const char *name, const ZOVEXA_TargetInfo *nested, ZOVEXA_result *result) {
  xc::DOMElement *child = createElement(context, doc, "children", result);
  if (child == nullptr) return -1;
  if (encodeRecord(context, doc, child, name, 0, descOf(VEXA_VT_TARGET_INFO), nested, result) != 0) return -1;
  return addElementToElement(context, target, child, result);
}

int encodeRecord(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                 const char *name, uint32_t hasValue, const RecordDesc &desc, const void *record,
                 ZOVEXA_result *result) {
  if (record == nullptr) return -1;
  if (writeRecordHeader(context, doc, target, name, hasValue, desc.typeString, result) != 0) return -1;

  attr_val run[kMaxStringRun];
  size_t pending = 0;
  char number[1024];
  for (const FieldDesc &field : ZOrecordFields(desc.valueType)) {
    if (field.kind == FieldKind::kString) {
      run[pending++] = attr_val{field.name, fieldOf<const char *>(record, field)};
      if (pending + 1 == kMaxStringRun && flushStrings(context, doc, target, run, pending, result) != 0)
        return -1;
      continue;
    }
    if (flushStrings(context, doc, target, run, pending, result) != 0) return -1;
    int rc = 0;
    switch (field.kind) {
      case FieldKind::kInt:
        snprintf(number, sizeof number, "%d", static_cast<int>(fieldOf<int32_t>(record, field)));
        rc = appendDataChild(context, doc, target, field.name, "int", number, result);
        break;
      case FieldKind::kLong:
        snprintf(number, sizeof number, "%lld", static_cast<long long>(fieldOf<int64_t>(record, field)));
        rc = appendDataChild(context, doc, target, field.name, "long", number, result);
        break;
      case FieldKind::kStrings: {
        char *const *array = fieldOf<char *const *>(record, field);
        if (array != nullptr && array[0] != nullptr) {
          rc = writeStringArray(context, doc, target, field.name, array, result);
        }
        break;
      }
      case FieldKind::kAttributes: {
        ZOVEXA_Attribute *const *attributes = fieldOf<ZOVEXA_Attribute *const *>(record, field);
        if (attributes != nullptr) buildAttributes(context, doc, target, attributes, result);
        break;
      }
      case FieldKind::kTarget: {
        const ZOVEXA_TargetInfo *nested = fieldOf<const ZOVEXA_TargetInfo *>(record, field);
        if (nested != nullptr) rc = writeNestedTarget(context, doc, target, field.name, nested, result);
        break;
      }
      case FieldKind::kString:
        break;
    }
    if (rc != 0) return -1;
  }
  return flushStrings(context, doc, target, run, pending, result);
}

}  // namespace

#define ZO_DEFINE_RECORD_ENCODER(fn, Record, valueType)                                           \
  int fn(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,  \
         const char *name, uint32_t hasValue, const Record *record, ZOVEXA_result *result) {      \
    return encodeRecord(context, doc, target, name, hasValue, descOf(valueType), record, result); \
  }
ZO_DEFINE_RECORD_ENCODER(buildAttribute, ZOVEXA_Attribute, VEXA_VT_ATTRIBUTE)
ZO_DEFINE_RECORD_ENCODER(buildAttributePermissionInfo, ZOVEXA_AttributePermissionInfo,
                         VEXA_VT_ATTRIBUTE_PERMISSION_INFO)
ZO_DEFINE_RECORD_ENCODER(buildComponentId, ZOVEXA_ComponentId, VEXA_VT_COMPONENT_ID)
ZO_DEFINE_RECORD_ENCODER(buildHTTPURLInfo, ZOVEXA_HTTPURLInfo, VEXA_VT_HTTPURL_INFO)
ZO_DEFINE_RECORD_ENCODER(buildMembershipInfo, ZOVEXA_MembershipInfo, VEXA_VT_MEMBERSHIP_INFO)
ZO_DEFINE_RECORD_ENCODER(buildMgmtInfo, ZOVEXA_MgmtInfo, VEXA_VT_MGMT_INFO)
ZO_DEFINE_RECORD_ENCODER(buildMsgDataElement, ZOVEXA_MsgDataElement, VEXA_VT_MSG_DATA_ELEMENT)
ZO_DEFINE_RECORD_ENCODER(buildOutcome, ZOVEXA_Outcome, VEXA_VT_OUTCOME)
ZO_DEFINE_RECORD_ENCODER(buildPerfInfo, ZOVEXA_PerfInfo, VEXA_VT_PERF_INFO)
ZO_DEFINE_RECORD_ENCODER(buildPolicyInfo, ZOVEXA_PolicyInfo, VEXA_VT_POLICY_INFO)
ZO_DEFINE_RECORD_ENCODER(buildPermissionInfo, ZOVEXA_PermissionInfo, VEXA_VT_PERMISSION_INFO)
ZO_DEFINE_RECORD_ENCODER(buildProvisioningInfo, ZOVEXA_ProvisioningInfo, VEXA_VT_PROVISIONING_INFO)
ZO_DEFINE_RECORD_ENCODER(buildRegistryInfo, ZOVEXA_RegistryInfo, VEXA_VT_REGISTRY_INFO)
ZO_DEFINE_RECORD_ENCODER(buildRegistryObjectInfo, ZOVEXA_RegistryObjectInfo, VEXA_VT_REGISTRY_OBJECT_INFO)
ZO_DEFINE_RECORD_ENCODER(buildResourceInfo, ZOVEXA_ResourceInfo, VEXA_VT_RESOURCE_INFO)
ZO_DEFINE_RECORD_ENCODER(buildTargetInfo, ZOVEXA_TargetInfo, VEXA_VT_TARGET_INFO)
ZO_DEFINE_RECORD_ENCODER(buildUserInfo, ZOVEXA_UserInfo, VEXA_VT_USER_INFO)
ZO_DEFINE_RECORD_ENCODER(buildWorkItemInfo, ZOVEXA_WorkItemInfo, VEXA_VT_WORK_ITEM_INFO)
#undef ZO_DEFINE_RECORD_ENCODER

int buildComplexType(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                     const char *name, uint32_t hasValue, uint32_t valueType, const void *record,
                     ZOVEXA_result *result) {
  if (valueType < VEXA_VT_ATTRIBUTE || valueType > VEXA_VT_WORK_ITEM_INFO) return -1;
  return encodeRecord(context, doc, target, name, hasValue, descOf(valueType), record, result);
}

int buildAttributes(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                    ZOVEXA_Attribute *const *attributes, ZOVEXA_result *result) {
  if (attributes == nullptr) return 0;
  int rc = 0;
  for (ZOVEXA_Attribute *const *a = attributes; *a != nullptr; ++a) {
    xc::DOMElement *child = createElement(context, doc, "children", result);
    if (child == nullptr || buildAttribute(context, doc, child, "attributes", 0, *a, result) != 0 ||
        addElementToElement(context, target, child, result) != 0) {
      rc = -1;
    }
  }
  return rc;
}

int createElementArray(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                       const char *name, uint32_t hasValue, uint32_t valueType, const void *array,
                       ZOVEXA_result *result) {
  static const char kTag[] = "[createElementArray]";
  if (name == nullptr || array == nullptr) return 0;
  if (valueType < VEXA_VT_ATTRIBUTE_ARRAY || valueType > VEXA_VT_POLICY_INFO_ARRAY) {
    reportInvalidValueType(context, ZO_SRC, kTag, __LINE__, name, valueType, result);
    return -1;
  }
  const ArrayDesc &arrayDesc = kArrays[valueType - VEXA_VT_ATTRIBUTE_ARRAY];
  if (writeRecordHeader(context, doc, target, name, hasValue, arrayDesc.typeString, result) != 0) return -1;
  const void *const *items = static_cast<const void *const *>(array);
  if (valueType == VEXA_VT_ATTRIBUTE_ARRAY) {
    buildAttributes(context, doc, target, static_cast<ZOVEXA_Attribute *const *>(array), result);
    return 0;
  }
  const RecordDesc &itemDesc = descOf(arrayDesc.itemType);
  int rc = 0;
  for (const void *const *item = items; *item != nullptr; ++item) {
    xc::DOMElement *child = createElement(context, doc, "children", result);
    if (child == nullptr) return -1;
    rc = encodeRecord(context, doc, child, "value", 0, itemDesc, *item, result);
    if (rc == 0 && addElementToElement(context, target, child, result) != 0) return -1;
  }
  return rc;
}

int buildComponentIdBaseElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                                cbe_base_elts *base, const char *name, const ZOVEXA_ComponentId *record,
                                ZOVEXA_result *result) {
  xc::DOMElement **slot = nullptr;
  if (strcmp(name, "sourceComponentId") == 0) {
    slot = &base->sourceComponentId;
  } else if (strcmp(name, "reporterComponentId") == 0) {
    slot = &base->reporterComponentId;
  }
  if (slot == nullptr || record == nullptr) return -1;
  xc::DOMElement *element = createElement(context, doc, name, result);
  if (element == nullptr) return -1;
  std::span<const FieldDesc> fields = ZOrecordFields(VEXA_VT_COMPONENT_ID);
  attr_val table[kMaxStringRun];
  if (fields.size() >= kMaxStringRun) return -1;  // cannot happen: eleven fields
  size_t n = 0;
  for (const FieldDesc &field : fields) table[n++] = attr_val{field.name, fieldOf<const char *>(record, field)};
  table[n] = attr_val{nullptr, nullptr};
  if (addAttrsToElement(context, table, element, result) != 0) return -1;
  *slot = element;
  return 0;
}

int buildMsgDataBaseElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                            cbe_base_elts *base, const ZOVEXA_MsgDataElement *record, ZOVEXA_result *result) {
  if (record == nullptr) return -1;
  xc::DOMElement *element = createElement(context, doc, "msgDataElement", result);
  if (element == nullptr) return -1;
  if (record->msgLocale != nullptr &&
      setAttribute(context, element, "msgLocale", record->msgLocale, result) != 0) {
    return -1;
  }
  for (char *const *token = record->msgCatalogTokens; token != nullptr && *token != nullptr; ++token) {
    xc::DOMElement *child = createElement(context, doc, "msgCatalogTokens", result);
    if (child == nullptr || setAttribute(context, child, "value", *token, result) != 0 ||
        addElementToElement(context, element, child, result) != 0) {
      return -1;
    }
  }
  // msgCatalogType before msgCatalog: the order receivers of this element
  // expect, which differs from the data-element form.
  const attr_val texts[] = {
      {"msgId", record->msgId},
      {"msgIdType", record->msgIdType},
      {"msgCatalogId", record->msgCatalogId},
      {"msgCatalogType", record->msgCatalogType},
      {"msgCatalog", record->msgCatalog},
  };
  for (const attr_val &t : texts) {
    if (t.value != nullptr && appendTextElement(context, doc, element, t.name, t.value, result) != 0)
      return -1;
  }
  base->msgDataElement = element;
  return 0;
}
