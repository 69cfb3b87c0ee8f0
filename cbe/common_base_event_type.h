// The message part of the "sendEvent" operation and its array form: a batch
// of encoded events. Entry i owns one AnyType holding the CBE text of event i,
// or NULL for an empty entry (sent as a nil "event" element).
#ifndef ZOVEXA_CBE_COMMON_BASE_EVENT_TYPE_H_
#define ZOVEXA_CBE_COMMON_BASE_EVENT_TYPE_H_

#include "soap/any_type.h"

struct CommonBaseEventType {
  AnyType *any;
};

// The runtime's array form, passed by value: m_Size consecutive records.
struct CommonBaseEventType_ArrayTag {
  CommonBaseEventType *m_Array;
  int m_Size;
};

// A batch of `count` empty entries (m_Array zeroed, m_Size = count); the
// array is ZOcalloc'ed. Returns false when memory ran out (batch untouched).
bool ZOnewBatch(CommonBaseEventType_ArrayTag *batch, int count);
// Frees the AnyType of every entry and the array, and empties the tag.
// `entries` is the number of entries the array was made with, when that
// differs from m_Size (a batch whose count was lowered after failed
// conversions); -1 means m_Size.
void ZOfreeBatch(CommonBaseEventType_ArrayTag *batch, int entries = -1);

#endif  // ZOVEXA_CBE_COMMON_BASE_EVENT_TYPE_H_
