// Audit elements: named, typed values with ordered sub-elements, addressed by
// dotted paths, optionally static (shared by several events, never deleted
// with them). An event keeps its top-level elements in the same kind of list,
// so add, attach and find work on either through ZOelementList.
#ifndef ZOVEXA_CAPIS_AUDIT_ELEMENT_H_
#define ZOVEXA_CAPIS_AUDIT_ELEMENT_H_

#include <cstdint>

#include "zovexa.h"

enum : uint32_t {
  ZO_ELT_STATIC = 1u << 0,    // shared; deletes of its holders leave it whole
  ZO_ELT_ATTACHED = 1u << 1,  // added to an event or element
  // Static only because SetStatic marked an ancestor: DeleteStatic of that
  // ancestor releases it with the tree.
  ZO_ELT_STATIC_INHERITED = 1u << 2,
};

// An ordered list of element pointers that grows by doubling.
struct ZOelementList {
  int32_t capacity = 0;
  int32_t count = 0;
  ZOVEXA_AuditElement **items = nullptr;
};

struct ZOVEXA_AuditElement_ {
  char *name = nullptr;   // last path segment, UTF-8
  void *value = nullptr;  // owned; layout given by valueType
  uint32_t valueType = VEXA_VT_NONE;
  uint32_t nameHash = 0;
  uint32_t flags = 0;
  ZOelementList sub;  // sub-elements in order of addition
};

// A free-standing element. convert: the name is converted to UTF-8. With copy
// the value is copied by its type (message 8 "valueType" for an unknown
// type); without it the element takes the pointer. NULL on failure.
ZOVEXA_AuditElement *ZOauditElement_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                           uint32_t valueType, void *value, int copy, int convert,
                                           ZOVEXA_result *result);
// Deletes a non-static element with its value and non-static sub-elements;
// 0 for a static element, which stays whole. -1 when a value could not be
// released (deletion continues).
int ZOauditElement_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                          ZOVEXA_result *result);

// The general add below `list` (an element's sub-elements or an event's
// elements): splits a dotted name at its last ".", finds the head below
// `list`, creates the element from the tail and attaches it. `eventLevel`
// selects the event's growth rule (20 slots first) and trace texts when the
// element is attached directly to the event's list. On failure nothing is
// kept, and a value given without a copy remains the caller's.
ZOVEXA_AuditElement *ZOaddElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                                  const ZOVEXA_AuditElement *listOwner, bool eventLevel, const char *name,
                                  uint32_t valueType, void *value, int copy, ZOVEXA_result *result);
// Attaches `child` to `list` (message 30 static parent, 21 attached already,
// 2 duplicate name, 1); -1 on failure with the list unchanged.
int ZOattachElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                    const ZOVEXA_AuditElement *listOwner, bool eventLevel, ZOVEXA_AuditElement *child,
                    ZOVEXA_result *result);
// The shared part of both AddStaticElement calls: refuses a NULL element (9
// "staticElement") or one without the static mark (29), then attaches it.
// Once attached it is shared on its own and no longer goes with the tree
// whose SetStatic marked it. Returns the element, or NULL.
ZOVEXA_AuditElement *ZOattachStaticElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                                           const ZOVEXA_AuditElement *listOwner, bool eventLevel,
                                           ZOVEXA_AuditElement *staticElement, ZOVEXA_result *result,
                                           const char *tag);
// The element at `path` (dotted, in the element codeset) below `list`, or NULL.
ZOVEXA_AuditElement *ZOfindElement(ZOVEXA_AuditClientContext *context, const ZOelementList *list,
                                   const char *path, ZOVEXA_result *result);
// A direct member of `list` with this UTF-8 name, or NULL (hash, then name).
ZOVEXA_AuditElement *ZOfindInList(const ZOelementList *list, const char *utf8Name);
// The look-up behind both GetElement calls: a dotted name through
// ZOfindElement, a plain one by a scan of `list`; 9 "subElementName" for a
// NULL name. Traces under the caller's `tag`.
ZOVEXA_AuditElement *ZOgetElement(ZOVEXA_AuditClientContext *context, const ZOelementList *list,
                                  const char *name, ZOVEXA_result *result, const char *tag);

// Copies and releases a value of any value type: numbers and time values
// into blocks of their size, strings converted to UTF-8 (convert set),
// records and arrays through the info-record copies.
void *ZOcopyValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, const void *value, int convert,
                  ZOVEXA_result *result);
// Values of VEXA_VT_NONE or of an unknown type (stored only without a copy)
// are released with free(), like the ZOVEXA_Malloc blocks they must be.
int ZOfreeValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, void *value, ZOVEXA_result *result);

// The typed adds of elements and events: (operation, value argument type,
// value type). Integer and Long take their number by value and are written
// out separately.
#define ZO_FOR_EACH_TYPED_ADD(X)                                                                            \
  X(AddStringElement, const char *, VEXA_VT_STRING)                                                         \
  X(AddDateTimeElement, const struct timeval *, VEXA_VT_DATETIME)                                           \
  X(AddAttributeElement, ZOVEXA_Attribute *, VEXA_VT_ATTRIBUTE)                                             \
  X(AddAttributePermissionInfoElement, ZOVEXA_AttributePermissionInfo *, VEXA_VT_ATTRIBUTE_PERMISSION_INFO) \
  X(AddComponentIdElement, ZOVEXA_ComponentId *, VEXA_VT_COMPONENT_ID)                                      \
  X(AddHTTPURLInfoElement, ZOVEXA_HTTPURLInfo *, VEXA_VT_HTTPURL_INFO)                                      \
  X(AddMembershipInfoElement, ZOVEXA_MembershipInfo *, VEXA_VT_MEMBERSHIP_INFO)                             \
  X(AddMgmtInfoElement, ZOVEXA_MgmtInfo *, VEXA_VT_MGMT_INFO)                                               \
  X(AddMsgDataElement, ZOVEXA_MsgDataElement *, VEXA_VT_MSG_DATA_ELEMENT)                                   \
  X(AddOutcomeElement, ZOVEXA_Outcome *, VEXA_VT_OUTCOME)                                                   \
  X(AddPerfInfoElement, ZOVEXA_PerfInfo *, VEXA_VT_PERF_INFO)                                               \
  X(AddPolicyInfoElement, ZOVEXA_PolicyInfo *, VEXA_VT_POLICY_INFO)                                         \
  X(AddPermissionInfoElement, ZOVEXA_PermissionInfo *, VEXA_VT_PERMISSION_INFO)                             \
  X(AddProvisioningInfoElement, ZOVEXA_ProvisioningInfo *, VEXA_VT_PROVISIONING_INFO)                       \
  X(AddRegistryInfoElement, ZOVEXA_RegistryInfo *, VEXA_VT_REGISTRY_INFO)                                   \
  X(AddRegistryObjectInfoElement, ZOVEXA_RegistryObjectInfo *, VEXA_VT_REGISTRY_OBJECT_INFO)                \
  X(AddResourceInfoElement, ZOVEXA_ResourceInfo *, VEXA_VT_RESOURCE_INFO)                                   \
  X(AddTargetInfoElement, ZOVEXA_TargetInfo *, VEXA_VT_TARGET_INFO)                                         \
  X(AddUserInfoElement, ZOVEXA_UserInfo *, VEXA_VT_USER_INFO)                                               \
  X(AddWorkItemInfoElement, ZOVEXA_WorkItemInfo *, VEXA_VT_WORK_ITEM_INFO)                                  \
  X(AddAttributeArrayElement, ZOVEXA_Attribute **, VEXA_VT_ATTRIBUTE_ARRAY)                                 \
  X(AddAttributePermissionInfoArrayElement, ZOVEXA_AttributePermissionInfo **,                              \
    VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY)                                                                \
  X(AddMembershipInfoArrayElement, ZOVEXA_MembershipInfo **, VEXA_VT_MEMBERSHIP_INFO_ARRAY)                 \
  X(AddPolicyInfoArrayElement, ZOVEXA_PolicyInfo **, VEXA_VT_POLICY_INFO_ARRAY)

#endif  // ZOVEXA_CAPIS_AUDIT_ELEMENT_H_
