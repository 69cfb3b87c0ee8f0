// Encoders of the eighteen info records and of the four record arrays, as
// nested extended data elements. Each writes into a target element made by
// the caller (an extendedDataElements or a "children" element) and returns
// 0, or -1 at the first DOM failure, leaving what it wrote attached; the
// caller then abandons the document.
//
// `hasValue` is 1 when the record is an element's own value: the target gets
// "name", "type" = "string" and a "values" child with the record's type
// string ("VEXAComplexType:VEXAAuditUserInfo"). It is 0 for a record inside
// an array or another record: "name" and "type" = "noValue" only. The
// record's fields follow as "children" elements in a fixed order: string
// fields when not NULL, int and long fields always, string arrays when not
// empty, attribute lists when not NULL (these never fail the record).
#ifndef ZOVEXA_CBE_COMPLEX_ENCODERS_H_
#define ZOVEXA_CBE_COMPLEX_ENCODERS_H_

#include <cstdint>

#include "capis/info_records.h"
#include "cbe/cbe_builder.h"
#include "cbe/dom_helper.h"
#include "zovexa.h"

#define ZO_DECLARE_RECORD_ENCODER(fn, Record)                                                    \
  int fn(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target, \
         const char *name, uint32_t hasValue, const Record *record, ZOVEXA_result *result)
ZO_DECLARE_RECORD_ENCODER(buildAttribute, ZOVEXA_Attribute);
ZO_DECLARE_RECORD_ENCODER(buildAttributePermissionInfo, ZOVEXA_AttributePermissionInfo);
ZO_DECLARE_RECORD_ENCODER(buildComponentId, ZOVEXA_ComponentId);
ZO_DECLARE_RECORD_ENCODER(buildHTTPURLInfo, ZOVEXA_HTTPURLInfo);
ZO_DECLARE_RECORD_ENCODER(buildMembershipInfo, ZOVEXA_MembershipInfo);
ZO_DECLARE_RECORD_ENCODER(buildMgmtInfo, ZOVEXA_MgmtInfo);
ZO_DECLARE_RECORD_ENCODER(buildMsgDataElement, ZOVEXA_MsgDataElement);
ZO_DECLARE_RECORD_ENCODER(buildOutcome, ZOVEXA_Outcome);
ZO_DECLARE_RECORD_ENCODER(buildPerfInfo, ZOVEXA_PerfInfo);
ZO_DECLARE_RECORD_ENCODER(buildPolicyInfo, ZOVEXA_PolicyInfo);
ZO_DECLARE_RECORD_ENCODER(buildPermissionInfo, ZOVEXA_PermissionInfo);
ZO_DECLARE_RECORD_ENCODER(buildProvisioningInfo, ZOVEXA_ProvisioningInfo);
ZO_DECLARE_RECORD_ENCODER(buildRegistryInfo, ZOVEXA_RegistryInfo);
ZO_DECLARE_RECORD_ENCODER(buildRegistryObjectInfo, ZOVEXA_RegistryObjectInfo);
ZO_DECLARE_RECORD_ENCODER(buildResourceInfo, ZOVEXA_ResourceInfo);
ZO_DECLARE_RECORD_ENCODER(buildTargetInfo, ZOVEXA_TargetInfo);
ZO_DECLARE_RECORD_ENCODER(buildUserInfo, ZOVEXA_UserInfo);
ZO_DECLARE_RECORD_ENCODER(buildWorkItemInfo, ZOVEXA_WorkItemInfo);
#undef ZO_DECLARE_RECORD_ENCODER

// The encoder of record value type `valueType` (VEXA_VT_ATTRIBUTE ..
// VEXA_VT_WORK_ITEM_INFO) applied to `record`; -1 for any other type or a
// NULL record.
int buildComplexType(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                     const char *name, uint32_t hasValue, uint32_t valueType, const void *record,
                     ZOVEXA_result *result);

// Appends one "children" element per attribute ("name" = "attributes",
// "type" = "noValue", then its name, value and source). A failing attribute
// is left out; -1 when any failed, which callers ignore.
int buildAttributes(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                    ZOVEXA_Attribute *const *attributes, ZOVEXA_result *result);

// A NULL-terminated record array of value type 23..26. Attribute arrays are
// written with buildAttributes (always 0); for the others each item becomes a
// "children" element named "value" (hasValue 0), a failing item is left out
// and the result is that of the last item (0 for an empty array). A NULL
// name or array writes nothing and gives 0; any other value type gives
// message 14 and -1.
int createElementArray(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                       const char *name, uint32_t hasValue, uint32_t valueType, const void *array,
                       ZOVEXA_result *result);

// The forms the root takes its base children in.
//
// A component id as element `name` ("sourceComponentId" or
// "reporterComponentId") with its eleven fields as attributes, stored in the
// base record's field of that name; any other name stores nothing and gives -1.
int buildComponentIdBaseElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                                cbe_base_elts *base, const char *name, const ZOVEXA_ComponentId *record,
                                ZOVEXA_result *result);
// A message data record as element "msgDataElement": attribute "msgLocale";
// one "msgCatalogTokens" child per token (attribute "value"); then text
// children msgId, msgIdType, msgCatalogId, msgCatalogType, msgCatalog (this
// order, unlike the data-element form), each only when set. Stored in
// base->msgDataElement.
int buildMsgDataBaseElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                            cbe_base_elts *base, const ZOVEXA_MsgDataElement *record, ZOVEXA_result *result);

#endif  // ZOVEXA_CBE_COMPLEX_ENCODERS_H_
