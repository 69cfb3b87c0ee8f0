/* zovexa: the audit-event client library, C interface.
 *
 * Conventions shared by every function here:
 *  - The last argument is the caller's result record. On entry each call sets its
 *    count and capacity to 0 without freeing anything, so read a failure and call
 *    ZOVEXA_Result_Clean before reusing the record. A NULL result record makes the
 *    call fail without any message.
 *  - Status returns are 0 on success and -1 on failure; creators return a handle
 *    or NULL. Every failure also appends a numbered message "KZTCC00nnE ..." to
 *    the result record (entry code nn) and writes it to the context's error log.
 *  - Strings passed in are in the context's elementCodeSet and are stored as
 *    UTF-8; strings handed back are converted back (no conversion when
 *    elementCodeSet is "UTF8").
 *  - Memory a getter hands out is released with ZOVEXA_Free; records, events
 *    and elements with their Delete operations.
 *  - Contexts may be created and deleted from any thread. Events, elements,
 *    info records and result records belong to the thread that uses them.
 *
 * Message numbers common to all calls: 1 (out of memory), 9 (a required
 * argument was NULL; the text names it), 10 (NULL context), 12 (NULL event). */
#ifndef ZOVEXA_H_
#define ZOVEXA_H_

#include <stdint.h>
#include <sys/time.h>

#if defined(__GNUC__)
#define ZOVEXA_API __attribute__((visibility("default")))
#else
#define ZOVEXA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- result records ---------------------------------------------------------------------------- */

typedef struct ZOVEXA_resultEntry {
  uint32_t code; /* message number: KZTCC00nnE has code nn */
  char *text;    /* the formatted message, owned by the record */
} ZOVEXA_resultEntry;

typedef struct ZOVEXA_result {
  int32_t count;    /* entries in use */
  int32_t capacity; /* entries allocated */
  ZOVEXA_resultEntry *entries;
} ZOVEXA_result;

/* ---- property lists ------------------------------------------------------------------------------ */

/* One property of a context's property list. The list ends with an entry
 * whose name is NULL. valueType is VEXA_VT_STRING (value: the string) or
 * VEXA_VT_INTEGER (value: pointer to an int32_t). */
typedef struct ZOVEXA_property {
  const char *name;
  uint32_t valueType;
  void *value;
} ZOVEXA_property;

/* ---- value types of elements -------------------------------------------------------------------- */

#define VEXA_VT_NONE 0 /* no value: an element that only carries sub-elements */
#define VEXA_VT_INTEGER 1
#define VEXA_VT_LONG 2
#define VEXA_VT_STRING 3
#define VEXA_VT_DATETIME 4 /* struct timeval */
#define VEXA_VT_ATTRIBUTE 5
#define VEXA_VT_ATTRIBUTE_PERMISSION_INFO 6
#define VEXA_VT_COMPONENT_ID 7
#define VEXA_VT_HTTPURL_INFO 8
#define VEXA_VT_MEMBERSHIP_INFO 9
#define VEXA_VT_MGMT_INFO 10
#define VEXA_VT_MSG_DATA_ELEMENT 11
#define VEXA_VT_OUTCOME 12
#define VEXA_VT_PERF_INFO 13
#define VEXA_VT_POLICY_INFO 14
#define VEXA_VT_PERMISSION_INFO 15
#define VEXA_VT_PROVISIONING_INFO 16
#define VEXA_VT_REGISTRY_INFO 17
#define VEXA_VT_REGISTRY_OBJECT_INFO 18
#define VEXA_VT_RESOURCE_INFO 19
#define VEXA_VT_TARGET_INFO 20
#define VEXA_VT_USER_INFO 21
#define VEXA_VT_WORK_ITEM_INFO 22
#define VEXA_VT_ATTRIBUTE_ARRAY 23 /* NULL-terminated ZOVEXA_Attribute ** */
#define VEXA_VT_ATTRIBUTE_PERMISSION_INFO_ARRAY 24
#define VEXA_VT_MEMBERSHIP_INFO_ARRAY 25
#define VEXA_VT_POLICY_INFO_ARRAY 26

/* ---- opaque handles ------------------------------------------------------------------------------ */

typedef struct ZOVEXA_AuditClientContext_ ZOVEXA_AuditClientContext;
typedef struct ZOVEXA_AuditClient_ ZOVEXA_AuditClient;
typedef struct ZOVEXA_AuditEvent_ ZOVEXA_AuditEvent;
typedef struct ZOVEXA_AuditElement_ ZOVEXA_AuditElement;

typedef struct ZOVEXA_Attribute_ ZOVEXA_Attribute;
typedef struct ZOVEXA_AttributePermissionInfo_ ZOVEXA_AttributePermissionInfo;
typedef struct ZOVEXA_ComponentId_ ZOVEXA_ComponentId;
typedef struct ZOVEXA_HTTPURLInfo_ ZOVEXA_HTTPURLInfo;
typedef struct ZOVEXA_MembershipInfo_ ZOVEXA_MembershipInfo;
typedef struct ZOVEXA_MgmtInfo_ ZOVEXA_MgmtInfo;
typedef struct ZOVEXA_MsgDataElement_ ZOVEXA_MsgDataElement;
typedef struct ZOVEXA_Outcome_ ZOVEXA_Outcome;
typedef struct ZOVEXA_PerfInfo_ ZOVEXA_PerfInfo;
typedef struct ZOVEXA_PolicyInfo_ ZOVEXA_PolicyInfo;
typedef struct ZOVEXA_PermissionInfo_ ZOVEXA_PermissionInfo;
typedef struct ZOVEXA_ProvisioningInfo_ ZOVEXA_ProvisioningInfo;
typedef struct ZOVEXA_RegistryInfo_ ZOVEXA_RegistryInfo;
typedef struct ZOVEXA_RegistryObjectInfo_ ZOVEXA_RegistryObjectInfo;
typedef struct ZOVEXA_ResourceInfo_ ZOVEXA_ResourceInfo;
typedef struct ZOVEXA_TargetInfo_ ZOVEXA_TargetInfo;
typedef struct ZOVEXA_UserInfo_ ZOVEXA_UserInfo;
typedef struct ZOVEXA_WorkItemInfo_ ZOVEXA_WorkItemInfo;

/* ---- results, memory, sleep ---------------------------------------------------------------------- */

/* Frees every entry text and the entry array, then empties the record.
 * Returns -1 for a NULL record, else 0. */
ZOVEXA_API int32_t ZOVEXA_Result_Clean(ZOVEXA_result *result);
/* The standard allocator's block of `size` bytes, or NULL (also for size < 0).
 * Release it with ZOVEXA_Free; values handed to elements with copy 0 must come
 * from here. */
ZOVEXA_API void *ZOVEXA_Malloc(int32_t size);
/* Frees memory the library handed out (getter strings). -1 for NULL, else 0. */
ZOVEXA_API int32_t ZOVEXA_Free(void *ptr);
/* Sleeps that many whole seconds; returns 0. */
ZOVEXA_API int32_t ZOVEXA_Sleep(uint32_t seconds);

/* ---- client context ------------------------------------------------------------------------------ */

/* Builds a context from a property list (see the README for the forty
 * properties; serverURL and errorFilePath are required, unknown names are
 * ignored). The first context of the process starts the XML parser and the
 * SOAP runtime; the last one deleted stops them.
 * Returns the context, or NULL with one of: 1; 4 (a NULL value); 5 (a value
 * of the wrong type); 6 (a required property missing); 7 (a value not valid);
 * 9 "propertyList"; 50 (a size greater than another, such as hiWater >
 * queueSize). Nothing is reported for a NULL result record. */
ZOVEXA_API ZOVEXA_AuditClientContext *ZOVEXA_AuditClientContext_Create(const ZOVEXA_property *propertyList,
                                                                       ZOVEXA_result *result);
/* Deletes the context and everything it opened. Delete the audit client and
 * the events first. 0, or -1 with message 10 for a NULL context. */
ZOVEXA_API int32_t ZOVEXA_AuditClientContext_Delete(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_result *result);
/* The context's traceLevel (0 when it has no traceFilePath), or -1 with
 * message 10 for a NULL context. */
ZOVEXA_API int32_t ZOVEXA_AuditClientContext_GetTraceLevel(ZOVEXA_AuditClientContext *context,
                                                           ZOVEXA_result *result);
/* Changes traceLevel. Returns 0; -1 with message 10 for a NULL context, and
 * -1 without a message when the context has no traceFilePath. */
ZOVEXA_API int32_t ZOVEXA_AuditClientContext_SetTraceLevel(ZOVEXA_AuditClientContext *context, int32_t level,
                                                           ZOVEXA_result *result);

/* ---- audit elements -----------------------------------------------------------------------------
 * An element has a name, one value of a value type and ordered sub-elements.
 * `name` may be a dotted path (a.b.c): the new element c is added below the
 * existing a.b. With copy != 0 the value is copied (records deeply); with
 * copy 0 the element takes ownership of the pointer (strings and time values
 * must then come from ZOVEXA_Malloc, records from their Create operation) and
 * the value is not checked. Adds report 2 (the name exists under that parent),
 * 8 (an unknown value type with copy), 17 (the parent path does not exist),
 * 21 (a non-static element added twice), 30 (the parent is static). On
 * failure the parent is unchanged and nothing is kept. */

ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddElement(ZOVEXA_AuditClientContext *context,
                                                               ZOVEXA_AuditElement *parent, const char *name,
                                                               uint32_t valueType, void *value, int copy,
                                                               ZOVEXA_result *result);
/* Integer and Long always copy the number. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddIntegerElement(ZOVEXA_AuditClientContext *context,
                                                                      ZOVEXA_AuditElement *parent,
                                                                      const char *name, int32_t value,
                                                                      ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddLongElement(ZOVEXA_AuditClientContext *context,
                                                                   ZOVEXA_AuditElement *parent,
                                                                   const char *name, int64_t value,
                                                                   ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddStringElement(ZOVEXA_AuditClientContext *context,
                                                                     ZOVEXA_AuditElement *parent,
                                                                     const char *name, const char *value,
                                                                     int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddDateTimeElement(ZOVEXA_AuditClientContext *context,
                                                                       ZOVEXA_AuditElement *parent,
                                                                       const char *name,
                                                                       const struct timeval *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddAttributeElement(ZOVEXA_AuditClientContext *context,
                                                                        ZOVEXA_AuditElement *parent,
                                                                        const char *name,
                                                                        ZOVEXA_Attribute *value, int copy,
                                                                        ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddAttributePermissionInfoElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_AttributePermissionInfo *value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddComponentIdElement(ZOVEXA_AuditClientContext *context,
                                                                          ZOVEXA_AuditElement *parent,
                                                                          const char *name,
                                                                          ZOVEXA_ComponentId *value, int copy,
                                                                          ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddHTTPURLInfoElement(ZOVEXA_AuditClientContext *context,
                                                                          ZOVEXA_AuditElement *parent,
                                                                          const char *name,
                                                                          ZOVEXA_HTTPURLInfo *value, int copy,
                                                                          ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddMembershipInfoElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_MembershipInfo *value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddMgmtInfoElement(ZOVEXA_AuditClientContext *context,
                                                                       ZOVEXA_AuditElement *parent,
                                                                       const char *name,
                                                                       ZOVEXA_MgmtInfo *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddMsgDataElement(ZOVEXA_AuditClientContext *context,
                                                                      ZOVEXA_AuditElement *parent,
                                                                      const char *name,
                                                                      ZOVEXA_MsgDataElement *value, int copy,
                                                                      ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddOutcomeElement(ZOVEXA_AuditClientContext *context,
                                                                      ZOVEXA_AuditElement *parent,
                                                                      const char *name, ZOVEXA_Outcome *value,
                                                                      int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddPerfInfoElement(ZOVEXA_AuditClientContext *context,
                                                                       ZOVEXA_AuditElement *parent,
                                                                       const char *name,
                                                                       ZOVEXA_PerfInfo *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddPolicyInfoElement(ZOVEXA_AuditClientContext *context,
                                                                         ZOVEXA_AuditElement *parent,
                                                                         const char *name,
                                                                         ZOVEXA_PolicyInfo *value, int copy,
                                                                         ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddPermissionInfoElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_PermissionInfo *value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddProvisioningInfoElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_ProvisioningInfo *value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddRegistryInfoElement(ZOVEXA_AuditClientContext *context,
                                                                           ZOVEXA_AuditElement *parent,
                                                                           const char *name,
                                                                           ZOVEXA_RegistryInfo *value,
                                                                           int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddRegistryObjectInfoElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_RegistryObjectInfo *value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddResourceInfoElement(ZOVEXA_AuditClientContext *context,
                                                                           ZOVEXA_AuditElement *parent,
                                                                           const char *name,
                                                                           ZOVEXA_ResourceInfo *value,
                                                                           int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddTargetInfoElement(ZOVEXA_AuditClientContext *context,
                                                                         ZOVEXA_AuditElement *parent,
                                                                         const char *name,
                                                                         ZOVEXA_TargetInfo *value, int copy,
                                                                         ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddUserInfoElement(ZOVEXA_AuditClientContext *context,
                                                                       ZOVEXA_AuditElement *parent,
                                                                       const char *name,
                                                                       ZOVEXA_UserInfo *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddWorkItemInfoElement(ZOVEXA_AuditClientContext *context,
                                                                           ZOVEXA_AuditElement *parent,
                                                                           const char *name,
                                                                           ZOVEXA_WorkItemInfo *value,
                                                                           int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddAttributeArrayElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_Attribute **value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddAttributePermissionInfoArrayElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_AttributePermissionInfo **value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddMembershipInfoArrayElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_MembershipInfo **value, int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddPolicyInfoArrayElement(
    ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent, const char *name,
    ZOVEXA_PolicyInfo **value, int copy, ZOVEXA_result *result);

/* Attaches a static element (see SetStatic) below parent; the same static
 * element may be attached to any number of parents and events. Returns it, or
 * NULL with 9 "parentElement"/"staticElement", 29 (not static), 2, 30. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddStaticElement(ZOVEXA_AuditClientContext *context,
                                                                     ZOVEXA_AuditElement *parent,
                                                                     ZOVEXA_AuditElement *staticElement,
                                                                     ZOVEXA_result *result);
/* The sub-element of parent with that name or dotted path, or NULL (no
 * message when it does not exist; 9 "parentElementHandle"/"subElementName"
 * for NULL arguments). The element stays owned by its parent. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditElement_GetElement(ZOVEXA_AuditClientContext *context,
                                                               ZOVEXA_AuditElement *parent,
                                                               const char *subElementName,
                                                               ZOVEXA_result *result);
/* The element's own name, as stored (UTF-8), owned by the element. */
ZOVEXA_API const char *ZOVEXA_AuditElement_GetName(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_AuditElement *element, ZOVEXA_result *result);
/* For VEXA_VT_STRING a new string in the element codeset (free it with
 * ZOVEXA_Free); for every other type the stored value itself, owned by the
 * element (int32_t *, int64_t *, struct timeval *, a record handle, or a
 * NULL-terminated array of record handles). */
ZOVEXA_API void *ZOVEXA_AuditElement_GetValue(ZOVEXA_AuditClientContext *context,
                                              ZOVEXA_AuditElement *element, ZOVEXA_result *result);
/* The value type, or -1. */
ZOVEXA_API int32_t ZOVEXA_AuditElement_GetValueType(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_AuditElement *element, ZOVEXA_result *result);
/* Marks the element and all its sub-elements static: deleting an event or
 * element that holds it leaves it whole, so one tree can serve many events.
 * 0, or -1. */
ZOVEXA_API int32_t ZOVEXA_AuditElement_SetStatic(ZOVEXA_AuditClientContext *context,
                                                 ZOVEXA_AuditElement *element, ZOVEXA_result *result);
/* 1 when static, 0 when not, -1 on a NULL argument. */
ZOVEXA_API int32_t ZOVEXA_AuditElement_IsStatic(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_AuditElement *element, ZOVEXA_result *result);
/* Clears the static mark of this element (not of its sub-elements) and deletes
 * it with its non-static sub-elements. Do this only once no event that holds it
 * is still in use. 0, or -1. */
ZOVEXA_API int32_t ZOVEXA_AuditElement_DeleteStatic(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_AuditElement *element, ZOVEXA_result *result);

/* ---- audit events ---------------------------------------------------------------------------------
 * An event has a type name ("AUDIT_AUTHN", ...), a default time stamp read
 * at creation and top-level elements. Any type name is accepted here; the
 * event is checked when it is sent. Operations other than Create find the
 * context through the event; a NULL event or result gives message 12. */

/* A new event, or NULL with 9 "eventType" or 1. */
ZOVEXA_API ZOVEXA_AuditEvent *ZOVEXA_AuditEvent_Create(ZOVEXA_AuditClientContext *context,
                                                       const char *eventType, ZOVEXA_result *result);
/* Deletes the event and its elements, except static ones. 0, or -1. */
ZOVEXA_API int32_t ZOVEXA_AuditEvent_Delete(ZOVEXA_AuditEvent *event, ZOVEXA_result *result);
/* A new string with the type name in the element codeset (ZOVEXA_Free it). */
ZOVEXA_API char *ZOVEXA_AuditEvent_GetType(ZOVEXA_AuditEvent *event, ZOVEXA_result *result);
/* The event's own time stamp (not a copy). */
ZOVEXA_API struct timeval *ZOVEXA_AuditEvent_GetDefaultTimeStamp(ZOVEXA_AuditEvent *event,
                                                                 ZOVEXA_result *result);
/* The top-level element with that name, or the element at a dotted path. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_GetElement(ZOVEXA_AuditEvent *event, const char *name,
                                                             ZOVEXA_result *result);
/* Adds an element to the event (a name without ".") or below the element at
 * the dotted path's head. Same rules and messages as the element adds. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddElement(ZOVEXA_AuditEvent *event, const char *name,
                                                             uint32_t valueType, void *value, int copy,
                                                             ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddIntegerElement(ZOVEXA_AuditEvent *event,
                                                                    const char *name, int32_t value,
                                                                    ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddLongElement(ZOVEXA_AuditEvent *event, const char *name,
                                                                 int64_t value, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddStringElement(ZOVEXA_AuditEvent *event, const char *name,
                                                                   const char *value, int copy,
                                                                   ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddDateTimeElement(ZOVEXA_AuditEvent *event,
                                                                     const char *name,
                                                                     const struct timeval *value, int copy,
                                                                     ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddAttributeElement(ZOVEXA_AuditEvent *event,
                                                                      const char *name,
                                                                      ZOVEXA_Attribute *value, int copy,
                                                                      ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddAttributePermissionInfoElement(
    ZOVEXA_AuditEvent *event, const char *name, ZOVEXA_AttributePermissionInfo *value, int copy,
    ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddComponentIdElement(ZOVEXA_AuditEvent *event,
                                                                        const char *name,
                                                                        ZOVEXA_ComponentId *value, int copy,
                                                                        ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddHTTPURLInfoElement(ZOVEXA_AuditEvent *event,
                                                                        const char *name,
                                                                        ZOVEXA_HTTPURLInfo *value, int copy,
                                                                        ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddMembershipInfoElement(ZOVEXA_AuditEvent *event,
                                                                           const char *name,
                                                                           ZOVEXA_MembershipInfo *value,
                                                                           int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddMgmtInfoElement(ZOVEXA_AuditEvent *event,
                                                                     const char *name, ZOVEXA_MgmtInfo *value,
                                                                     int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddMsgDataElement(ZOVEXA_AuditEvent *event,
                                                                    const char *name,
                                                                    ZOVEXA_MsgDataElement *value, int copy,
                                                                    ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddOutcomeElement(ZOVEXA_AuditEvent *event,
                                                                    const char *name, ZOVEXA_Outcome *value,
                                                                    int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddPerfInfoElement(ZOVEXA_AuditEvent *event,
                                                                     const char *name, ZOVEXA_PerfInfo *value,
                                                                     int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddPolicyInfoElement(ZOVEXA_AuditEvent *event,
                                                                       const char *name,
                                                                       ZOVEXA_PolicyInfo *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddPermissionInfoElement(ZOVEXA_AuditEvent *event,
                                                                           const char *name,
                                                                           ZOVEXA_PermissionInfo *value,
                                                                           int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddProvisioningInfoElement(ZOVEXA_AuditEvent *event,
                                                                             const char *name,
                                                                             ZOVEXA_ProvisioningInfo *value,
                                                                             int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddRegistryInfoElement(ZOVEXA_AuditEvent *event,
                                                                         const char *name,
                                                                         ZOVEXA_RegistryInfo *value, int copy,
                                                                         ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddRegistryObjectInfoElement(
    ZOVEXA_AuditEvent *event, const char *name, ZOVEXA_RegistryObjectInfo *value, int copy,
    ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddResourceInfoElement(ZOVEXA_AuditEvent *event,
                                                                         const char *name,
                                                                         ZOVEXA_ResourceInfo *value, int copy,
                                                                         ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddTargetInfoElement(ZOVEXA_AuditEvent *event,
                                                                       const char *name,
                                                                       ZOVEXA_TargetInfo *value, int copy,
                                                                       ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddUserInfoElement(ZOVEXA_AuditEvent *event,
                                                                     const char *name, ZOVEXA_UserInfo *value,
                                                                     int copy, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddWorkItemInfoElement(ZOVEXA_AuditEvent *event,
                                                                         const char *name,
                                                                         ZOVEXA_WorkItemInfo *value, int copy,
                                                                         ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddAttributeArrayElement(ZOVEXA_AuditEvent *event,
                                                                           const char *name,
                                                                           ZOVEXA_Attribute **value, int copy,
                                                                           ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddAttributePermissionInfoArrayElement(
    ZOVEXA_AuditEvent *event, const char *name, ZOVEXA_AttributePermissionInfo **value, int copy,
    ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddMembershipInfoArrayElement(ZOVEXA_AuditEvent *event,
                                                                                const char *name,
                                                                                ZOVEXA_MembershipInfo **value,
                                                                                int copy,
                                                                                ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddPolicyInfoArrayElement(ZOVEXA_AuditEvent *event,
                                                                            const char *name,
                                                                            ZOVEXA_PolicyInfo **value,
                                                                            int copy, ZOVEXA_result *result);

/* Attaches a static element at the top level of the event. Returns it, or
 * NULL with 9 "staticElement", 29 (not static), 2. */
ZOVEXA_API ZOVEXA_AuditElement *ZOVEXA_AuditEvent_AddStaticElement(ZOVEXA_AuditEvent *event,
                                                                   ZOVEXA_AuditElement *staticElement,
                                                                   ZOVEXA_result *result);

/* ---- info records -----------------------------------------------------------------------------------
 * BEGIN INFO RECORDS (this section is maintained with capis/info_records.cc) */
/* END INFO RECORDS */

#ifdef __cplusplus
}
#endif

#endif /* ZOVEXA_H_ */
