#include "cbe/batch_text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "cbe/dom_helper.h"

#define ZO_SRC "cbe/batch_text"

namespace {

constexpr const char *kToTextTag = "[vexaCommonBaseEventsToString]";
constexpr const char *kToBatchTag = "[vexaStringToCommonBaseEvents]";
// The first buffer of a batch text holds this many bytes per entry.
constexpr size_t kBytesPerEntry = 8192;
// Batch text has no root element; reading it back supplies one.
constexpr char kOpenTag[] = "<events>";
constexpr char kCloseTag[] = "</events>";
constexpr const char *kLostLine = "ERROR: convertToDOM() failed. Events may have been lost";

void ReportNoMemory(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, const char *tag) {
  ZO_ERROR(context, tag, "Error: Cannot allocate memory");
  ZOreport(context, result, 1, 0, 0);
}

// One entry per CommonBaseEvent element of `doc`, in document order.
CommonBaseEventType_ArrayTag *CollectEvents(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                                            ZOVEXA_result *result) {
  xc::DOMNodeList *events = nullptr;
  int count = 0;
  try {
    events = doc->getElementsByTagName(u"CommonBaseEvent");
    count = static_cast<int>(events->getLength());
  } catch (...) {  // the list is the only thing made here: memory ran out
    ReportNoMemory(context, result, kToBatchTag);
    return nullptr;
  }
  ZO_FLOW(context, kToBatchTag, "Number of events is %d", count);
  if (count == 0) ZO_ERROR(context, kToBatchTag, "%s", kLostLine);

  auto *batch = static_cast<CommonBaseEventType_ArrayTag *>(ZOmalloc(sizeof(CommonBaseEventType_ArrayTag)));
  if (batch == nullptr || !ZOnewBatch(batch, count)) {
    free(batch);
    ReportNoMemory(context, result, kToBatchTag);
    return nullptr;
  }
  for (int i = 0; i < count; ++i) {
    char *text = convertToString(context, static_cast<xc::DOMElement *>(events->item(i)), result);
    AnyType *any = text != nullptr ? ZOnewAnyType(text) : nullptr;
    if (text != nullptr && any == nullptr) ReportNoMemory(context, result, kToBatchTag);
    free(text);
    if (any == nullptr) {
      ZOfreeBatch(batch);
      free(batch);
      return nullptr;
    }
    batch->m_Array[i].any = any;
  }
  return batch;
}

}  // namespace

size_t batchTextCapacity(size_t capacity, size_t needed) {
  if (capacity == 0) return 0;
  while (needed > capacity) {
    if (capacity > SIZE_MAX / 2) return 0;
    capacity *= 2;
  }
  return capacity;
}

char *vexaCommonBaseEventsToString(const ZOVEXA_AuditClientContext *context,
                                   const CommonBaseEventType_ArrayTag *batch, ZOVEXA_result *result) {
  ZO_ENTRY(context, kToTextTag);
  if (batch == nullptr) {
    ZO_ERROR(context, kToTextTag, "The required parameter %s passed to the function is NULL", "events");
    ZOreport(context, result, 9, 6, 1, "events");
    return nullptr;
  }
  int entries = batch->m_Array != nullptr && batch->m_Size > 0 ? batch->m_Size : 0;
  // Zeroed, so the text is always terminated; a batch without entries still
  // gets one byte for its empty text.
  size_t capacity = entries > 0 ? static_cast<size_t>(entries) * kBytesPerEntry : 1;
  auto *text = static_cast<char *>(ZOcalloc(capacity, 1));
  if (text == nullptr) {
    ReportNoMemory(context, result, kToTextTag);
    return nullptr;
  }
  size_t length = 0;
  for (int i = 0; i < entries; ++i) {
    const AnyType *any = batch->m_Array[i].any;
    if (any == nullptr || any->_array == nullptr) continue;
    for (int j = 0; j < any->_size; ++j) {
      const char *part = any->_array[j];
      if (part == nullptr) continue;
      size_t partLength = strlen(part);
      if (length + partLength + 2 > capacity) {
        size_t grown = batchTextCapacity(capacity, length + partLength + 2);
        auto *moved = grown != 0 ? static_cast<char *>(ZOcalloc(grown, 1)) : nullptr;
        if (moved == nullptr) {
          free(text);
          ReportNoMemory(context, result, kToTextTag);
          return nullptr;
        }
        memcpy(moved, text, length);
        free(text);
        text = moved;
        capacity = grown;
      }
      memcpy(text + length, part, partLength);
      length += partLength;
    }
  }
  ZO_EXIT(context, kToTextTag);
  return text;
}

CommonBaseEventType_ArrayTag *vexaStringToCommonBaseEvents(const ZOVEXA_AuditClientContext *context,
                                                           const char *text, ZOVEXA_result *result) {
  ZO_ENTRY(context, kToBatchTag);
  if (text == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kToBatchTag, __LINE__, "buffer");
    return nullptr;
  }
  size_t length = strlen(text);
  auto *wrapped = static_cast<char *>(ZOmalloc(length + sizeof kOpenTag + sizeof kCloseTag));
  if (wrapped == nullptr) {
    ReportNoMemory(context, result, kToBatchTag);
    return nullptr;
  }
  memcpy(wrapped, kOpenTag, sizeof kOpenTag - 1);
  memcpy(wrapped + sizeof kOpenTag - 1, text, length);
  memcpy(wrapped + sizeof kOpenTag - 1 + length, kCloseTag, sizeof kCloseTag);

  CommonBaseEventType_ArrayTag *batch = nullptr;
  xc::XercesDOMParser *parser = createXercesDOMParser(context, result);
  xc::DOMDocument *doc = parser != nullptr ? convertToDOM(context, parser, wrapped, result) : nullptr;
  free(wrapped);
  if (doc == nullptr) {
    ZO_ERROR(context, kToBatchTag, "%s", kLostLine);
  } else {
    batch = CollectEvents(context, doc, result);
    deleteDocument(context, doc, result);
  }
  if (parser != nullptr) deleteXercesDOMParser(context, parser, result);
  ZO_EXIT(context, kToBatchTag);
  return batch;
}
