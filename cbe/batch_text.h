// Batch text: a batch of encoded events as one text, as the disk cache stores
// it, and back. The text is the events' CommonBaseEvent texts back to back,
// with nothing before, between or after them.
#ifndef ZOVEXA_CBE_BATCH_TEXT_H_
#define ZOVEXA_CBE_BATCH_TEXT_H_

#include <cstddef>

#include "cbe/common_base_event_type.h"
#include "zovexa.h"

// The text of every AnyType of every entry, in order (NULL texts skipped), as
// one newly allocated text (free()). NULL for a NULL batch (message 9 naming
// "events") or when memory ran out (message 1).
char *vexaCommonBaseEventsToString(const ZOVEXA_AuditClientContext *context,
                                   const CommonBaseEventType_ArrayTag *batch, ZOVEXA_result *result);

// The batch held in a batch text: one entry per CommonBaseEvent element in
// document order, each an AnyType holding that element's text. Text without
// any such element gives an empty batch. NULL for NULL text (message 9 naming
// "buffer"), text that is not well-formed, or a failure to write an element
// back; the reports are those of the DOM helpers.
// The tag and its array are newly allocated: release them with
//   ZOfreeBatch(tag); free(tag);
CommonBaseEventType_ArrayTag *vexaStringToCommonBaseEvents(const ZOVEXA_AuditClientContext *context,
                                                           const char *text, ZOVEXA_result *result);

// The size of the batch-text buffer once `needed` bytes must fit in it:
// `capacity` doubled as often as it takes (so never exactly `needed` unless a
// doubling lands there), or `capacity` itself when it is large enough. 0 when
// doubling would overflow or `capacity` is 0.
size_t batchTextCapacity(size_t capacity, size_t needed);

#endif  // ZOVEXA_CBE_BATCH_TEXT_H_
