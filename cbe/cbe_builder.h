// One audit event as one Common Base Event element. The event's elements are
// walked in order; each one either becomes a fixed attribute or child of the
// CommonBaseEvent root (time stamp, message, sequence number, global instance
// id, source and reporter component ids, message data) or an
// extendedDataElements child carrying its name, type and value. Info records
// and record arrays are written by the encoders of cbe/complex_encoders.h.
//
// All functions take the client context (its trace levels decide what is
// traced) and the result record that collects messages; integer results are
// 0 for success and -1 for failure unless said otherwise. Strings are UTF-8.
// Nothing here locks: a document belongs to the thread building it.
#ifndef ZOVEXA_CBE_CBE_BUILDER_H_
#define ZOVEXA_CBE_CBE_BUILDER_H_

#include <sys/time.h>

#include <cstdint>

#include "cbe/dom_helper.h"
#include "zovexa.h"

// What one top-level event element contributes to the root. Cleared before
// each top-level element and written to the root right after it.
struct cbe_base_elts {
  char *creationTime;                   // owned; "timestamp" (date-time)
  const char *msg;                      // borrowed from the element; "auditMsg" (string)
  char *sequenceNumber;                 // owned; "sequenceNumber" (long)
  const char *globalInstanceId;         // borrowed; "globalInstanceId" (string)
  xc::DOMElement *sourceComponentId;    // in the document; "sourceComponentId" (component id)
  xc::DOMElement *reporterComponentId;  // in the document; "reporterComponentId" (component id)
  xc::DOMElement *msgDataElement;       // in the document; "auditMsgElement" (message data)
  // The first element made for a non-base element under this top-level
  // element; later ones become "children" below it.
  xc::DOMElement *extendedDataElements;
};

// A name and a value. Tables of them end with a NULL name; entries with a
// NULL value are skipped when a table is written.
struct attr_val {
  const char *name;
  const char *value;
};

// buildBaseElements' answer for an element that is not a base element; not
// an error.
constexpr uint32_t kZOnotBaseElement = UINT32_MAX;

// Kinds of addArrayToElement entries.
enum : int { ZO_ARRAY_INT = 1, ZO_ARRAY_LONG = 2, ZO_ARRAY_STRING = 3 };

// The event as XML text: newly allocated UTF-8 (release with free()), or NULL
// when it cannot be encoded. The document is released in every case.
char *vexaAuditEventToXMLString(const ZOVEXA_AuditClientContext *context, const ZOVEXA_AuditEvent *event,
                                ZOVEXA_result *result);

// The CommonBaseEvent root of a new document, or NULL. The caller owns the
// document and releases it through the root with deleteElement. Any element
// that cannot be encoded (a NULL value, an invalid value type, a failing
// encoder) fails the whole event.
xc::DOMElement *convertToCBE(const ZOVEXA_AuditClientContext *context, const ZOVEXA_AuditEvent *event,
                             ZOVEXA_result *result);

// Encodes `element` and, recursively, its sub-elements. `parent` may be NULL
// (a top-level element: its target is stored in base->extendedDataElements);
// `nameOverride`, when not NULL, replaces the element's own name.
int buildDOMElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                    cbe_base_elts *base, const char *nameOverride, const ZOVEXA_AuditElement *element,
                    ZOVEXA_result *result);

// 0 when the element was taken into `base` as a base element, else
// kZOnotBaseElement (also when a base encoder failed: the element is then
// written as an ordinary data element).
uint32_t buildBaseElements(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                           cbe_base_elts *base, const ZOVEXA_AuditElement *element, const char *name,
                           const void *value, ZOVEXA_result *result);

// Simple data elements: attributes "name" and "type" ("string", "int",
// "long", "dateTime") on `target` and a "values" child holding the value.
int buildString(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                const char *name, const char *value, ZOVEXA_result *result);
int buildInteger(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                 const char *name, const int32_t *value, ZOVEXA_result *result);
int buildLong(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
              const char *name, const int64_t *value, ZOVEXA_result *result);
int builddateTime(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                  const char *name, const struct timeval *value, ZOVEXA_result *result);

// A string data element written into base->extendedDataElements, which is
// made first when NULL. buildVEXAEventType behaves the same and has no caller.
int buildVEXAVersion(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, cbe_base_elts *base,
                     const char *name, const char *value, ZOVEXA_result *result);
int buildVEXAEventType(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, cbe_base_elts *base,
                       const char *name, const char *value, ZOVEXA_result *result);

// "2009-03-05T14:07:31Z" for whole seconds, else with a six-digit fraction
// computed in single precision ("2009-03-05T14:07:31.250000Z"); the float
// rounding is part of the format and may show in the last digit. Newly
// allocated (free()), or NULL when the time cannot be broken down.
char *convertTodateTimeFormat(const ZOVEXA_AuditClientContext *context, const struct timeval *tv,
                              ZOVEXA_result *result);

// ---- table writers, shared with the complex-type encoders ----------------

// Sets attribute name = value on `element` for each entry with a value.
// -1 for a NULL table or element or a DOM failure.
int addAttrsToElement(const ZOVEXA_AuditClientContext *context, const attr_val *table,
                      xc::DOMElement *element, ZOVEXA_result *result);
// Appends a string data child ("children", see appendDataChild) for each
// entry with a value. -1 for a NULL table or element or a DOM failure.
int addChldsToElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, const attr_val *table,
                      xc::DOMElement *element, ZOVEXA_result *result);
// Appends one child named `elementName` per entry of a NULL-terminated array
// of pointers, holding the entry as text: ZO_ARRAY_INT (int32_t *),
// ZO_ARRAY_LONG (int64_t *) or ZO_ARRAY_STRING (char *). A NULL parent,
// name or array writes nothing; an unknown kind is traced and writes
// nothing. 0, or -1 on a DOM failure.
int addArrayToElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                      const char *elementName, int kind, const void *const *array, ZOVEXA_result *result);

// ---- small writers used by both encoder files -----------------------------

// Appends to `parent` a child `childName` whose text is `text`.
int appendTextElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                      const char *childName, const char *text, ZOVEXA_result *result);
// Sets "name" and "type" on `target` and appends a "values" child holding
// `text`: the shape of every simple data element.
int writeDataElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *target,
                     const char *name, const char *typeWord, const char *text, ZOVEXA_result *result);
// Appends to `parent` a "children" element shaped by writeDataElement.
int appendDataChild(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *parent,
                    const char *name, const char *typeWord, const char *text, ZOVEXA_result *result);

// Message 14 (the element name and the value type) and the error trace line
// "The element %s has an invalid value type: %s", written under the caller's
// source path, tag and line.
void reportInvalidValueType(const ZOVEXA_AuditClientContext *context, const char *srcPath, const char *tag,
                            int line, const char *name, uint32_t valueType, ZOVEXA_result *result);

#endif  // ZOVEXA_CBE_CBE_BUILDER_H_
