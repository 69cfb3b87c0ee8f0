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
 *    UTF-8; strings a getter copies out are converted back (no conversion
 *    when elementCodeSet is "UTF8"). Element names and the string arrays of
 *    records are handed out as stored, in UTF-8.
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
 * queueSize); 62 (the error log, the XML parser or the HTTP runtime could
 * not be set up); 7, 38 or 56 (diskCachePath has no "/", or its directory
 * cannot take or list files). Nothing is reported for a NULL result record. */
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

/* ---- audit client ---------------------------------------------------------------------------------
 * One client per context sends events to the audit server asynchronously:
 * SendEvent queues the event and returns; queue threads send batches of
 * transferSize events; while the server cannot be reached (or the queue
 * overflows, useDiskCache "auto"), batches go to cache files under
 * diskCachePath, which cache-manager threads send once the server is back,
 * also after a restart of the process. */

/* Probes the server, sets up the queue and the cache files and starts the
 * threads. Returns the client, or NULL with: 1; 10 (NULL context); 20 (the
 * server cannot be reached and useDiskCache is "never"); 6 (the disk cache
 * is in use but diskCachePath is missing); 52 or 53 (no thread could be
 * started); 61 (the context already has a client). 54 and 55 say that only
 * some threads started. */
ZOVEXA_API ZOVEXA_AuditClient *ZOVEXA_AuditClient_Create(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_result *result);
/* Validates the event, gives it a "globalInstanceId" element unless it has
 * one, and queues it (useDiskCache "always": sends or caches it at once).
 * On 0 the event belongs to the library: do not use or delete it again. A
 * full queue waits up to tempStorageFullTimeout seconds for room ("auto":
 * the calling thread sends or caches the event itself); an event that finds
 * no room is counted and reported later (66 or 67) and the call returns 0.
 * Negative: the event check's result (it stays the caller's), or -1 with
 * 12 (NULL event), 13 (NULL client), 1, 28 or 31-33. */
ZOVEXA_API int32_t ZOVEXA_AuditClient_SendEvent(ZOVEXA_AuditClient *client, ZOVEXA_AuditEvent *event,
                                                ZOVEXA_result *result);
/* Sends what is queued (waiting at most shutDownTimeout seconds; -1 without
 * limit), stops the threads and frees the client. Reports 18 when events
 * were still queued at the time limit and 67 when events were lost. Cache
 * files stay on disk for the next client or process. 0, or -1 with 13 (NULL
 * client) or for a NULL result record. */
ZOVEXA_API int32_t ZOVEXA_AuditClient_Delete(ZOVEXA_AuditClient *client, ZOVEXA_result *result);

/* ---- audit elements -----------------------------------------------------------------------------
 * An element has a name, one value of a value type and ordered sub-elements.
 * `name` may be a dotted path (a.b.c): the new element c is added below the
 * existing a.b. With copy != 0 the value is copied (records deeply); with
 * copy 0 the element takes ownership of the pointer (strings and time values
 * must then come from ZOVEXA_Malloc, records from their Create operation) and
 * the value is not checked: a string taken this way must already be UTF-8.
 * A VEXA_VT_NONE element needs a non-NULL value pointer, which stays the
 * caller's and is never freed. Adds report 2 (the name exists under that
 * parent), 8 (an unknown value type with copy, or an empty name or path
 * segment), 17 (the parent path does not exist),
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
/* Deletes a static element: clears its mark and deletes it with its
 * sub-elements, also those that were static only because SetStatic marked
 * this element (sub-elements made static on their own stay whole). Delete
 * every event and element that holds it first. 0, or -1 with 29 when the
 * element is not static. */
ZOVEXA_API int32_t ZOVEXA_AuditElement_DeleteStatic(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_AuditElement *element, ZOVEXA_result *result);

/* ---- audit events ---------------------------------------------------------------------------------
 * An event has a type name ("AUDIT_AUTHN", ...), a default time stamp read
 * at creation and top-level elements. Any type name is accepted here; the
 * event is checked when it is sent. Operations other than Create find the
 * context through the event; a NULL event gives message 12. */

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
 *
 * Eighteen structured records that an element can carry as its value. Each
 * has one Create taking its fields in the order listed, one getter per field
 * and one Delete. What every family shares:
 *  - Create copies everything it is given: strings (converted to UTF-8), NULL-
 *    terminated string arrays, NULL-terminated attribute arrays (each attribute
 *    record deeply) and a nested record. The caller keeps its own arguments.
 *    Optional arguments may be NULL. Create returns the record, or NULL with
 *    9 naming the first required argument that is NULL (in the order given
 *    for each family), 8 for a value that is not valid, 1 when memory runs out;
 *    a failed Create leaves nothing allocated.
 *  - A string getter returns a new copy of the field in the element codeset,
 *    which the caller releases with ZOVEXA_Free; NULL for a field that was not
 *    set. An array or record getter returns the record's own array or record:
 *    do not free or change it; it lives until the record is deleted. An integer
 *    getter returns the value.
 *  - A NULL record handle gives message 9 naming the handle ("outcome_Handle",
 *    ...) and NULL, or -1 from integer getters and Delete. A NULL context gives
 *    message 10; a NULL result record makes the call fail without a message.
 *  - Delete releases the record with everything it holds. 0, or -1.
 * The handle names are given per family; most are "<record>_Handle". */

/* ---- attributes: name, value, source ----
 * Create: 9 "value", 9 "name". Handle name "attribute_Handle". */
ZOVEXA_API ZOVEXA_Attribute *ZOVEXA_Attribute_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                                     const char *value, const char *source,
                                                     ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_Attribute_GetName(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *attribute,
                                          ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_Attribute_GetValue(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *attribute,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_Attribute_GetSource(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *attribute,
                                            ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_Attribute_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_Attribute *attribute,
                                           ZOVEXA_result *result);

/* ---- attribute permission info: attribute names and the checked, granted and
 * denied permissions, all string arrays ----
 * Create: 9 "checked", 9 "attributeNames". Handle name
 * "attributePermissionInfo_Handle". */
ZOVEXA_API ZOVEXA_AttributePermissionInfo *ZOVEXA_AttributePermissionInfo_Create(
    ZOVEXA_AuditClientContext *context, char **attributeNames, char **checked, char **granted, char **denied,
    ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_AttributePermissionInfo_GetAttributeNames(ZOVEXA_AuditClientContext *context,
                                                                   ZOVEXA_AttributePermissionInfo *info,
                                                                   ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_AttributePermissionInfo_GetChecked(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_AttributePermissionInfo *info,
                                                            ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_AttributePermissionInfo_GetGranted(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_AttributePermissionInfo *info,
                                                            ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_AttributePermissionInfo_GetDenied(ZOVEXA_AuditClientContext *context,
                                                           ZOVEXA_AttributePermissionInfo *info,
                                                           ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_AttributePermissionInfo_Delete(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_AttributePermissionInfo *info,
                                                         ZOVEXA_result *result);

/* ---- component ids: the reporting component, all strings ----
 * Create: 9 "location", 9 "locationType", 8 "locationType" for a name that is
 * not a location type ("Unknown", "IPV4", "IPV6", "NWA", "ISDN", "ICD",
 * "OID-OSI", "Dial", "HWA", "HID", "X25", "DCC", "SNA", "IPX", "E.164",
 * "Hostname", "FQHostname", "Devicename"; exact case), then 9 "application",
 * "component", "componentType", "subcomponent", "componentIdType".
 * Handle name "componentId_Handle". */
ZOVEXA_API ZOVEXA_ComponentId *ZOVEXA_ComponentId_Create(
    ZOVEXA_AuditClientContext *context, const char *location, const char *locationType,
    const char *application, const char *executionEnvironment, const char *component,
    const char *componentType, const char *componentIdType, const char *subComponent, const char *instanceId,
    const char *processId, const char *threadId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetLocation(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetLocationType(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetApplication(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
/* The executionEnvironment field. */
ZOVEXA_API char *ZOVEXA_ComponentId_GetExecuteEnv(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetComponent(ZOVEXA_AuditClientContext *context,
                                                 ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetComponentType(ZOVEXA_AuditClientContext *context,
                                                     ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetComponentIdType(ZOVEXA_AuditClientContext *context,
                                                       ZOVEXA_ComponentId *componentId,
                                                       ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetSubComponent(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetInstanceId(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetProcessId(ZOVEXA_AuditClientContext *context,
                                                 ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ComponentId_GetThreadId(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_ComponentId_Delete(ZOVEXA_AuditClientContext *context,
                                             ZOVEXA_ComponentId *componentId, ZOVEXA_result *result);

/* ---- HTTP URL info: url, method, request and response headers (strings),
 * response code ----
 * Create: 9 "method", 9 "url". Handle name "HTTPURLInfo_Handle". */
ZOVEXA_API ZOVEXA_HTTPURLInfo *ZOVEXA_HTTPURLInfo_Create(ZOVEXA_AuditClientContext *context, const char *url,
                                                         const char *method, const char *requestHeaders,
                                                         const char *responseHeaders, int32_t responseCode,
                                                         ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_HTTPURLInfo_GetUrl(ZOVEXA_AuditClientContext *context, ZOVEXA_HTTPURLInfo *info,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_HTTPURLInfo_GetMethod(ZOVEXA_AuditClientContext *context, ZOVEXA_HTTPURLInfo *info,
                                              ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_HTTPURLInfo_GetRequestHeaders(ZOVEXA_AuditClientContext *context,
                                                      ZOVEXA_HTTPURLInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_HTTPURLInfo_GetResponseHeaders(ZOVEXA_AuditClientContext *context,
                                                       ZOVEXA_HTTPURLInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_HTTPURLInfo_GetResponseCode(ZOVEXA_AuditClientContext *context,
                                                      ZOVEXA_HTTPURLInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_HTTPURLInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_HTTPURLInfo *info,
                                             ZOVEXA_result *result);

/* ---- membership info: type, id, name ----
 * Create: 9 "type". Handle name "membershipInfo_Handle", but
 * "membershipInfo__Handle" (two underscores) from Delete. */
ZOVEXA_API ZOVEXA_MembershipInfo *ZOVEXA_MembershipInfo_Create(ZOVEXA_AuditClientContext *context,
                                                               const char *type, const char *id,
                                                               const char *name, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MembershipInfo_GetType(ZOVEXA_AuditClientContext *context,
                                               ZOVEXA_MembershipInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MembershipInfo_GetId(ZOVEXA_AuditClientContext *context, ZOVEXA_MembershipInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MembershipInfo_GetName(ZOVEXA_AuditClientContext *context,
                                               ZOVEXA_MembershipInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_MembershipInfo_Delete(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_MembershipInfo *info, ZOVEXA_result *result);

/* ---- management info: a target info record and a command ----
 * Create: nothing is required; the target info is copied deeply, so the
 * caller still deletes its own. GetTargetInfo returns the record's own copy.
 * Handle name "mgmtInfo_Handle". */
ZOVEXA_API ZOVEXA_MgmtInfo *ZOVEXA_MgmtInfo_Create(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_TargetInfo *targetInfo, const char *command,
                                                   ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_TargetInfo *ZOVEXA_MgmtInfo_GetTargetInfo(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_MgmtInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MgmtInfo_GetCommand(ZOVEXA_AuditClientContext *context, ZOVEXA_MgmtInfo *info,
                                            ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_MgmtInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_MgmtInfo *info,
                                          ZOVEXA_result *result);

/* ---- message data: a message id and its catalog (strings) and the catalog
 * tokens (string array) ----
 * Create: nothing is required. Handle name "msgDataElement_Handle". */
ZOVEXA_API ZOVEXA_MsgDataElement *ZOVEXA_MsgDataElement_Create(
    ZOVEXA_AuditClientContext *context, const char *msgId, const char *msgIdType, const char *msgCatalogId,
    const char *msgCatalog, const char *msgCatalogType, const char *msgLocale, char **msgCatalogTokens,
    ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgId(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgIdType(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgCatalogId(ZOVEXA_AuditClientContext *context,
                                                       ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgCatalog(ZOVEXA_AuditClientContext *context,
                                                     ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgCatalogType(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_MsgDataElement_GetMsgLocale(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_MsgDataElement_GetMsgCatalogTokens(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_MsgDataElement *msg,
                                                            ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_MsgDataElement_Delete(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_MsgDataElement *msg, ZOVEXA_result *result);

/* ---- outcomes: result ("SUCCESSFUL" or "UNSUCCESSFUL"), major and minor
 * status, failure reason ----
 * Create: 9 "result"; 8 "result" for anything but those two exact texts
 * (case and trailing characters count); 9 "failureReason" when the result is
 * "UNSUCCESSFUL". Handle name "outcome_Handle". */
ZOVEXA_API ZOVEXA_Outcome *ZOVEXA_Outcome_Create(ZOVEXA_AuditClientContext *context,
                                                 const char *outcomeResult, int32_t majorStatus,
                                                 int32_t minorStatus, const char *failureReason,
                                                 ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_Outcome_GetResult(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *outcome,
                                          ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_Outcome_GetMajorStatus(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *outcome,
                                                 ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_Outcome_GetMinorStatus(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *outcome,
                                                 ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_Outcome_GetFailureReason(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *outcome,
                                                 ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_Outcome_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_Outcome *outcome,
                                         ZOVEXA_result *result);

/* ---- performance info: name, description, number of data points, unit,
 * maximum, minimum and value (64-bit), aggregate ----
 * Create: 9 "name", "description", "aggregate", "unit". Handle name
 * "perfInfo_Handle". */
ZOVEXA_API ZOVEXA_PerfInfo *ZOVEXA_PerfInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                                   const char *description, int32_t numDataPoints,
                                                   const char *unit, int64_t maxValue, int64_t minValue,
                                                   int64_t value, const char *aggregate,
                                                   ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PerfInfo_GetName(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                         ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PerfInfo_GetDescription(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                                ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_PerfInfo_GetNumDataPoints(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                                    ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PerfInfo_GetUnit(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                         ZOVEXA_result *result);
ZOVEXA_API int64_t ZOVEXA_PerfInfo_GetMaxValue(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                               ZOVEXA_result *result);
ZOVEXA_API int64_t ZOVEXA_PerfInfo_GetMinValue(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                               ZOVEXA_result *result);
ZOVEXA_API int64_t ZOVEXA_PerfInfo_GetValue(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                            ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PerfInfo_GetAggregate(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                              ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_PerfInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_PerfInfo *info,
                                          ZOVEXA_result *result);

/* ---- policy info: name, branch, type, description, attributes ----
 * Create: 9 "type", 9 "name". Handle name "policyInfo_Handle". */
ZOVEXA_API ZOVEXA_PolicyInfo *ZOVEXA_PolicyInfo_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                                       const char *branch, const char *type,
                                                       const char *description, ZOVEXA_Attribute **attributes,
                                                       ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PolicyInfo_GetName(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *info,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PolicyInfo_GetBranch(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PolicyInfo_GetType(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *info,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_PolicyInfo_GetDescription(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *info,
                                                  ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_Attribute **ZOVEXA_PolicyInfo_GetAttributes(ZOVEXA_AuditClientContext *context,
                                                              ZOVEXA_PolicyInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_PolicyInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_PolicyInfo *info,
                                            ZOVEXA_result *result);

/* ---- permission info: checked, granted and denied permissions, J2EE roles
 * checked and granted, all string arrays ----
 * Create: 9 "checked". Handle name "permInfo_Handle", but
 * "permissionInfo_Handle" from Delete. */
ZOVEXA_API ZOVEXA_PermissionInfo *ZOVEXA_PermissionInfo_Create(ZOVEXA_AuditClientContext *context,
                                                               char **checked, char **granted, char **denied,
                                                               char **J2EERolesChecked,
                                                               char **J2EERolesGranted,
                                                               ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_PermissionInfo_GetChecked(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_PermissionInfo *info, ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_PermissionInfo_GetGranted(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_PermissionInfo *info, ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_PermissionInfo_GetDenied(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_PermissionInfo *info, ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_PermissionInfo_GetJ2EERolesChecked(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_PermissionInfo *info,
                                                            ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_PermissionInfo_GetJ2EERolesGranted(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_PermissionInfo *info,
                                                            ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_PermissionInfo_Delete(ZOVEXA_AuditClientContext *context,
                                                ZOVEXA_PermissionInfo *info, ZOVEXA_result *result);

/* ---- provisioning info: account id, resource id, resource type ----
 * Create: 9 "resourceId". Handle name "provisioningInfo_Handle", but
 * "provsioningInfo_Handle" from Delete. */
ZOVEXA_API ZOVEXA_ProvisioningInfo *ZOVEXA_ProvisioningInfo_Create(ZOVEXA_AuditClientContext *context,
                                                                   const char *accountId,
                                                                   const char *resourceId,
                                                                   const char *resourceType,
                                                                   ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ProvisioningInfo_GetAccountId(ZOVEXA_AuditClientContext *context,
                                                      ZOVEXA_ProvisioningInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ProvisioningInfo_GetResourceId(ZOVEXA_AuditClientContext *context,
                                                       ZOVEXA_ProvisioningInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ProvisioningInfo_GetResourceType(ZOVEXA_AuditClientContext *context,
                                                         ZOVEXA_ProvisioningInfo *info,
                                                         ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_ProvisioningInfo_Delete(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_ProvisioningInfo *info, ZOVEXA_result *result);

/* ---- registry info: type, server location, its location type, server port,
 * all strings ----
 * Create: 9 "type", "serverLocation", "serverPort", "serverLocationType"; 8
 * "serverLocationType" for a name that is not a location type (the list under
 * component ids). Handle name "registryInfo_Handle". */
ZOVEXA_API ZOVEXA_RegistryInfo *ZOVEXA_RegistryInfo_Create(ZOVEXA_AuditClientContext *context,
                                                           const char *type, const char *serverLocation,
                                                           const char *serverLocationType,
                                                           const char *serverPort, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryInfo_GetType(ZOVEXA_AuditClientContext *context, ZOVEXA_RegistryInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryInfo_GetServerLocation(ZOVEXA_AuditClientContext *context,
                                                       ZOVEXA_RegistryInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryInfo_GetServerLocationType(ZOVEXA_AuditClientContext *context,
                                                           ZOVEXA_RegistryInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryInfo_GetServerPort(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_RegistryInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_RegistryInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_RegistryInfo *info,
                                              ZOVEXA_result *result);

/* ---- registry object info: name, registry name, type, description,
 * attributes ----
 * Create: 9 "type", 9 "name". Handle name "registryObjectInfo_Handle". */
ZOVEXA_API ZOVEXA_RegistryObjectInfo *ZOVEXA_RegistryObjectInfo_Create(
    ZOVEXA_AuditClientContext *context, const char *name, const char *registryName, const char *type,
    const char *description, ZOVEXA_Attribute **attributes, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryObjectInfo_GetName(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_RegistryObjectInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryObjectInfo_GetRegistryName(ZOVEXA_AuditClientContext *context,
                                                           ZOVEXA_RegistryObjectInfo *info,
                                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryObjectInfo_GetType(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_RegistryObjectInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_RegistryObjectInfo_GetDescription(ZOVEXA_AuditClientContext *context,
                                                          ZOVEXA_RegistryObjectInfo *info,
                                                          ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_Attribute **ZOVEXA_RegistryObjectInfo_GetAttributes(ZOVEXA_AuditClientContext *context,
                                                                      ZOVEXA_RegistryObjectInfo *info,
                                                                      ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_RegistryObjectInfo_Delete(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_RegistryObjectInfo *info, ZOVEXA_result *result);

/* ---- resource info: name in the application, name in the policy, type,
 * attributes ----
 * Create: 9 "nameInApp", "type", "nameInPolicy". Handle name
 * "resourceInfo_Handle". */
ZOVEXA_API ZOVEXA_ResourceInfo *ZOVEXA_ResourceInfo_Create(ZOVEXA_AuditClientContext *context,
                                                           const char *nameInApp, const char *nameInPolicy,
                                                           const char *type, ZOVEXA_Attribute **attributes,
                                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ResourceInfo_GetNameInApp(ZOVEXA_AuditClientContext *context,
                                                  ZOVEXA_ResourceInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ResourceInfo_GetNameInPolicy(ZOVEXA_AuditClientContext *context,
                                                     ZOVEXA_ResourceInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_ResourceInfo_GetType(ZOVEXA_AuditClientContext *context, ZOVEXA_ResourceInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_Attribute **ZOVEXA_ResourceInfo_GetAttributes(ZOVEXA_AuditClientContext *context,
                                                                ZOVEXA_ResourceInfo *info,
                                                                ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_ResourceInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_ResourceInfo *info,
                                              ZOVEXA_result *result);

/* ---- target info: target names (string array), attributes ----
 * Create: 9 "targetNames". Handle name "targetInfo_Handle". */
ZOVEXA_API ZOVEXA_TargetInfo *ZOVEXA_TargetInfo_Create(ZOVEXA_AuditClientContext *context, char **targetNames,
                                                       ZOVEXA_Attribute **attributes, ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_TargetInfo_GetTargetNames(ZOVEXA_AuditClientContext *context,
                                                   ZOVEXA_TargetInfo *info, ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_Attribute **ZOVEXA_TargetInfo_GetAttributes(ZOVEXA_AuditClientContext *context,
                                                              ZOVEXA_TargetInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_TargetInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_TargetInfo *info,
                                            ZOVEXA_result *result);

/* ---- user info: registry and application user names, domain, realm,
 * location, location type, session id (strings), unique id, caller list
 * (string array), attributes ----
 * Create: 9 "appUserName", 9 "registryUserName"; a location type that is
 * given must be a location type (the list under component ids), else 8
 * "locationType". Handle name "userInfo_Handle". */
ZOVEXA_API ZOVEXA_UserInfo *ZOVEXA_UserInfo_Create(ZOVEXA_AuditClientContext *context,
                                                   const char *registryUserName, const char *appUserName,
                                                   const char *domain, const char *realm,
                                                   const char *location, const char *locationType,
                                                   const char *sessionId, int32_t uniqueId, char **callerList,
                                                   ZOVEXA_Attribute **attributes, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetRegistryUserName(ZOVEXA_AuditClientContext *context,
                                                     ZOVEXA_UserInfo *info, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetAppUserName(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                                ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetDomain(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetRealm(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                          ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetLocation(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetLocationType(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                                 ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_UserInfo_GetSessionId(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                              ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_UserInfo_GetUniqueId(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                               ZOVEXA_result *result);
ZOVEXA_API char **ZOVEXA_UserInfo_GetCallerList(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                                ZOVEXA_result *result);
ZOVEXA_API ZOVEXA_Attribute **ZOVEXA_UserInfo_GetAttributes(ZOVEXA_AuditClientContext *context,
                                                            ZOVEXA_UserInfo *info, ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_UserInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_UserInfo *info,
                                          ZOVEXA_result *result);

/* ---- work item info: id, type ----
 * Create: 9 "type". Handle name "workItemInfo_Handle". */
ZOVEXA_API ZOVEXA_WorkItemInfo *ZOVEXA_WorkItemInfo_Create(ZOVEXA_AuditClientContext *context, const char *id,
                                                           const char *type, ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_WorkItemInfo_GetId(ZOVEXA_AuditClientContext *context, ZOVEXA_WorkItemInfo *info,
                                           ZOVEXA_result *result);
ZOVEXA_API char *ZOVEXA_WorkItemInfo_GetType(ZOVEXA_AuditClientContext *context, ZOVEXA_WorkItemInfo *info,
                                             ZOVEXA_result *result);
ZOVEXA_API int32_t ZOVEXA_WorkItemInfo_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_WorkItemInfo *info,
                                              ZOVEXA_result *result);

#ifdef __cplusplus
}
#endif

#endif /* ZOVEXA_H_ */
