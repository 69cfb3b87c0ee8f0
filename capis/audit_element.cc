// Audit elements: creation and value storage, the add/attach/find algorithms
// shared with events, static elements, and the public element calls.
#define ZO_SRC "capis/audit_element"

#include "capis/audit_element.h"

#include <sys/time.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "capis/info_records.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/utilities.h"
#include "capis/zo_memory.h"

// Elements live in ZOcalloc'd memory and are released with free(): nothing
// may need a destructor.
static_assert(std::is_trivially_destructible_v<ZOVEXA_AuditElement_>);

namespace {

// First sizes of a sub-element list and of an event's element list; both
// double from there.
constexpr int32_t kElementListFirstCapacity = 10;
constexpr int32_t kEventListFirstCapacity = 20;

bool isRecordType(uint32_t valueType) {
  return valueType >= VEXA_VT_ATTRIBUTE && valueType <= VEXA_VT_POLICY_INFO_ARRAY;
}

// A fixed-size block holding a copy of `size` bytes at `value`; message 1.
void *copyBlock(const ZOVEXA_AuditClientContext *context, const void *value, size_t size,
                ZOVEXA_result *result) {
  void *copy = ZOmalloc(size);
  if (copy == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    return nullptr;
  }
  memcpy(copy, value, size);
  return copy;
}

// The direct member of `list` with this hash and name, or NULL.
ZOVEXA_AuditElement *findByHash(const ZOelementList *list, uint32_t hash, const char *name) {
  for (int32_t i = 0; i < list->count; ++i) {
    ZOVEXA_AuditElement *e = list->items[i];
    if (e->nameHash == hash && strcmp(e->name, name) == 0) return e;
  }
  return nullptr;
}

// Makes room for one more entry when capacity - 1 is not greater than count:
// the list always keeps a spare slot. The old array is released. false when
// memory ran out (the list is unchanged).
bool growIfNeeded(ZOelementList *list, int32_t firstCapacity) {
  if (list->capacity - 1 > list->count) return true;
  int32_t newCapacity = list->capacity == 0 ? firstCapacity : list->capacity * 2;
  auto **items = static_cast<ZOVEXA_AuditElement **>(ZOcalloc(newCapacity, sizeof(ZOVEXA_AuditElement *)));
  if (items == nullptr) return false;
  if (list->count > 0) memcpy(items, list->items, list->count * sizeof(ZOVEXA_AuditElement *));
  free(list->items);
  list->items = items;
  list->capacity = newCapacity;
  return true;
}

// Sets the static bit on `element` and every element below it. Elements
// below that were not static on their own are marked as inheriting it, so
// that DeleteStatic of this tree can release them with it.
int makeStatic(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element, bool inherited) {
  static const char kTag[] = "[VEXA_AuditElement_SetStatic]";
  ZO_TRACE(context, ZO_TL_ENTRY, kTag, "ENTRY - making element %s static", element->name);
  if (!inherited)
    element->flags = (element->flags | ZO_ELT_STATIC) & ~static_cast<uint32_t>(ZO_ELT_STATIC_INHERITED);
  else if (!(element->flags & ZO_ELT_STATIC))
    element->flags |= ZO_ELT_STATIC | ZO_ELT_STATIC_INHERITED;
  for (int32_t i = 0; i < element->sub.count; ++i) {
    ZOVEXA_AuditElement *child = element->sub.items[i];
    if (child == nullptr || makeStatic(context, child, true) != 0) {
      ZO_ERROR(context, kTag, "ERROR making sub-element static");
      return -1;
    }
  }
  return 0;
}

// Clears the static mark of the sub-elements that only inherited it, so that
// deleting `element` releases them; elements static on their own stay whole.
void dropInheritedStatic(ZOVEXA_AuditElement *element) {
  for (int32_t i = 0; i < element->sub.count; ++i) {
    ZOVEXA_AuditElement *child = element->sub.items[i];
    if (child->flags & ZO_ELT_STATIC_INHERITED) {
      child->flags &= ~static_cast<uint32_t>(ZO_ELT_STATIC | ZO_ELT_STATIC_INHERITED);
      dropInheritedStatic(child);
    }
  }
}

// The element's own name, or "" for a half-built one (traces only).
const char *nameOf(const ZOVEXA_AuditElement *element) {
  return element != nullptr && element->name != nullptr ? element->name : "";
}

}  // namespace

// ---- values ------------------------------------------------------------------------------------------

void *ZOcopyValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, const void *value, int convert,
                  ZOVEXA_result *result) {
  switch (valueType) {
    case VEXA_VT_INTEGER:
      return copyBlock(context, value, sizeof(int32_t), result);
    case VEXA_VT_LONG:
      return copyBlock(context, value, sizeof(int64_t), result);
    case VEXA_VT_DATETIME:
      return copyBlock(context, value, sizeof(struct timeval), result);
    case VEXA_VT_STRING:
      return ZOutf8Convert(context, static_cast<const char *>(value), convert ? ZO_TO_UTF8 : ZO_NO_CONVERT,
                           result);
    default:
      break;
  }
  // A record's strings are UTF-8 already (its create converted them), so the
  // copy takes them as they are whatever `convert` says.
  if (isRecordType(valueType)) return ZOcopyRecordValue(context, valueType, value, 0, result);
  // VEXA_VT_NONE has nothing to copy and any other number is not a type.
  char number[16];
  snprintf(number, sizeof number, "%u", valueType);
  ZOreport(context, result, 8, 0, 2, "valueType", number);
  return nullptr;
}

int ZOfreeValue(ZOVEXA_AuditClientContext *context, uint32_t valueType, void *value, ZOVEXA_result *result) {
  if (value == nullptr) return 0;
  if (isRecordType(valueType)) return ZOfreeRecordValue(context, valueType, value, result);
  // An element without a value type only carries sub-elements: the pointer
  // it was given is the caller's and is never freed.
  if (valueType == VEXA_VT_NONE) return 0;
  // Numbers, strings and time values are plain blocks. A value stored
  // without a copy under an unknown type can only be a block from
  // ZOVEXA_Malloc as well, and the element owns it.
  free(value);
  return 0;
}

// ---- element records -----------------------------------------------------------------------------------

ZOVEXA_AuditElement *ZOauditElement_Create(ZOVEXA_AuditClientContext *context, const char *name,
                                           uint32_t valueType, void *value, int copy, int convert,
                                           ZOVEXA_result *result) {
  static const char kTag[] = "[auditElement_Create]";
  if (name == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "name");
    return nullptr;
  }
  if (value == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "value");
    return nullptr;
  }
  void *memory = ZOcalloc(1, sizeof(ZOVEXA_AuditElement));
  if (memory == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    return nullptr;
  }
  auto *element = new (memory) ZOVEXA_AuditElement_{};
  element->name = ZOutf8Convert(context, name, convert ? ZO_TO_UTF8 : ZO_NO_CONVERT, result);
  if (element->name == nullptr) {
    free(element);
    return nullptr;
  }
  // The hash is taken from the stored (UTF-8) name, as look-ups hash the
  // converted search name: non-ASCII names are found in any element codeset.
  element->nameHash = ZOhashFunc(element->name);
  element->valueType = valueType;
  if (copy) {
    element->value = ZOcopyValue(context, valueType, value, convert, result);
    if (element->value == nullptr) {
      free(element->name);
      free(element);
      return nullptr;
    }
  } else {
    element->value = value;
  }
  return element;
}

int ZOauditElement_Delete(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                          ZOVEXA_result *result) {
  static const char kTag[] = "[auditElement_Delete]";
  if (element == nullptr) return 0;
  if (element->flags & ZO_ELT_STATIC) {
    ZO_TRACE(context, ZO_TL_ENTRY, kTag, "EXIT - element is static, so it was not deleted");
    return 0;
  }
  int rc = 0;
  if (ZOfreeValue(context, element->valueType, element->value, result) != 0) rc = -1;
  for (int32_t i = 0; i < element->sub.count; ++i) {
    if (ZOauditElement_Delete(context, element->sub.items[i], result) != 0) rc = -1;
  }
  free(element->sub.items);
  free(element->name);
  free(element);
  return rc;
}

// ---- add, attach, find ---------------------------------------------------------------------------------

ZOVEXA_AuditElement *ZOfindInList(const ZOelementList *list, const char *utf8Name) {
  return findByHash(list, ZOhashFunc(utf8Name), utf8Name);
}

ZOVEXA_AuditElement *ZOfindElement(ZOVEXA_AuditClientContext *context, const ZOelementList *list,
                                   const char *path, ZOVEXA_result *result) {
  // Always a fresh copy: the segments are cut in place.
  char *copy = ZOutf8Convert(context, path, ZO_TO_UTF8, result);
  if (copy == nullptr) return nullptr;
  ZOVEXA_AuditElement *found = nullptr;
  const ZOelementList *current = list;
  char *segment = copy;
  while (true) {
    char *dot = strchr(segment, '.');
    if (dot != nullptr) *dot = '\0';
    if (dot == nullptr && *segment == '\0' && segment != copy) {
      found = nullptr;  // the path ends in "."
      break;
    }
    found = ZOfindInList(current, segment);
    if (found == nullptr || dot == nullptr) break;
    if (found->sub.count == 0) {
      found = nullptr;  // segments remain below an element without sub-elements
      break;
    }
    current = &found->sub;
    segment = dot + 1;
  }
  free(copy);
  return found;
}

int ZOattachElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                    const ZOVEXA_AuditElement *listOwner, bool eventLevel, ZOVEXA_AuditElement *child,
                    ZOVEXA_result *result) {
  static const char kTag[] = "[attachElement]";
  if (listOwner != nullptr && (listOwner->flags & ZO_ELT_STATIC)) {
    ZOreport(context, result, 30, 0, 1, listOwner->name);
    ZO_ERROR(context, kTag, "ERROR: The parent element %s is static & cannot be added to", listOwner->name);
    return -1;
  }
  // A static element may hang below any number of parents; any other only once.
  if ((child->flags & ZO_ELT_ATTACHED) && !(child->flags & ZO_ELT_STATIC)) {
    ZOreport(context, result, 21, 0, 1, child->name);
    ZO_ERROR(context, kTag, "ERROR: The element %s has already been added to event or elt", child->name);
    return -1;
  }
  if (findByHash(list, child->nameHash, child->name) != nullptr) {
    ZOreport(context, result, 2, 0, 1, child->name);
    if (eventLevel) {
      ZO_ERROR(context, kTag, "ERROR: The element %s already exists in the event", child->name);
    } else {
      ZO_ERROR(context, kTag, "ERROR: The sub-element %s already exists in the element %s", child->name,
               nameOf(listOwner));
    }
    return -1;
  }
  if (!growIfNeeded(list, eventLevel ? kEventListFirstCapacity : kElementListFirstCapacity)) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    return -1;
  }
  list->items[list->count++] = child;
  child->flags |= ZO_ELT_ATTACHED;
  return 0;
}

ZOVEXA_AuditElement *ZOaddElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                                  const ZOVEXA_AuditElement *listOwner, bool eventLevel, const char *name,
                                  uint32_t valueType, void *value, int copy, ZOVEXA_result *result) {
  static const char kTag[] = "[addElement]";
  if (name == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "name");
    return nullptr;
  }
  const char *leaf = name;
  const char *dot = strrchr(name, '.');
  if (dot != nullptr) {
    char *parentPath = ZOstrndup(name, dot - name);
    if (parentPath == nullptr) {
      ZOreport(context, result, 1, 0, 0);
      ZO_ERROR(context, kTag, "ERROR: cannot malloc");
      return nullptr;
    }
    int32_t reported = result != nullptr ? result->count : 0;
    ZOVEXA_AuditElement *parent = ZOfindElement(context, list, parentPath, result);
    if (parent == nullptr) {
      // A failed conversion of the path has been reported already.
      if (result == nullptr || result->count == reported) {
        ZOreport(context, result, 17, 0, 1, parentPath);
        ZO_ERROR(context, kTag, "ERROR: The parent element %s does not exist", parentPath);
      }
      free(parentPath);
      return nullptr;
    }
    free(parentPath);
    list = &parent->sub;
    listOwner = parent;
    eventLevel = false;
    leaf = dot + 1;
  }
  if (*leaf == '\0') {
    // An element without a name could never be found or encoded.
    ZOreport(context, result, 8, static_cast<uint32_t>(strlen(name) + 1), 2, "name", name);
    ZO_ERROR(context, kTag, "ERROR: the element name %s is not valid", name);
    return nullptr;
  }
  ZOVEXA_AuditElement *element = ZOauditElement_Create(context, leaf, valueType, value, copy, 1, result);
  if (element == nullptr) return nullptr;
  if (ZOattachElement(context, list, listOwner, eventLevel, element, result) != 0) {
    // A value taken without a copy stays the caller's when the add fails.
    if (!copy) element->value = nullptr;
    ZOauditElement_Delete(context, element, result);
    return nullptr;
  }
  return element;
}

// ---- public element calls ------------------------------------------------------------------------------

namespace {

// The general add below `parent`, shared by AddElement and every typed add;
// `tag` is the public function's trace tag.
ZOVEXA_AuditElement *addBelowElement(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *parent,
                                     const char *name, uint32_t valueType, const void *value, int copy,
                                     ZOVEXA_result *result, const char *tag) {
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return nullptr;
  }
  ZO_ENTRY(context, tag);
  if (parent == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, "parentElement");
    return nullptr;
  }
  ZOVEXA_AuditElement *element = ZOaddElement(context, &parent->sub, parent, false, name, valueType,
                                              const_cast<void *>(value), copy, result);
  ZO_EXIT(context, tag);
  return element;
}

// The checks every call on one element starts with: false (after reporting)
// when the call must fail.
bool elementCallOk(ZOVEXA_AuditClientContext *context, const ZOVEXA_AuditElement *element,
                   ZOVEXA_result *result, const char *tag) {
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, tag);
    return false;
  }
  ZO_ENTRY(context, tag);
  if (element == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, "element_Handle");
    return false;
  }
  return true;
}

}  // namespace

ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddElement(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_AuditElement *parent, const char *name,
                                                    uint32_t valueType, void *value, int copy,
                                                    ZOVEXA_result *result) {
  return addBelowElement(context, parent, name, valueType, value, copy, result,
                         "[VEXA_AuditElement_AddElement]");
}

// Integer and Long pass the address of their by-value argument, so they must copy.
ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddIntegerElement(ZOVEXA_AuditClientContext *context,
                                                           ZOVEXA_AuditElement *parent, const char *name,
                                                           int32_t value, ZOVEXA_result *result) {
  return addBelowElement(context, parent, name, VEXA_VT_INTEGER, &value, 1, result,
                         "[VEXA_AuditElement_AddIntegerElement]");
}

ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddLongElement(ZOVEXA_AuditClientContext *context,
                                                        ZOVEXA_AuditElement *parent, const char *name,
                                                        int64_t value, ZOVEXA_result *result) {
  return addBelowElement(context, parent, name, VEXA_VT_LONG, &value, 1, result,
                         "[VEXA_AuditElement_AddLongElement]");
}

// The typed adds differ only in the value type they pass.
#define ZO_TYPED_ELEMENT_ADD(Fn, ValueT, valueType)                                                          \
  ZOVEXA_AuditElement *ZOVEXA_AuditElement_##Fn(ZOVEXA_AuditClientContext *context,                          \
                                                ZOVEXA_AuditElement *parent, const char *name, ValueT value, \
                                                int copy, ZOVEXA_result *result) {                           \
    return addBelowElement(context, parent, name, valueType, value, copy, result,                            \
                           "[VEXA_AuditElement_" #Fn "]");                                                   \
  }

ZO_FOR_EACH_TYPED_ADD(ZO_TYPED_ELEMENT_ADD)

#undef ZO_TYPED_ELEMENT_ADD

ZOVEXA_AuditElement *ZOVEXA_AuditElement_AddStaticElement(ZOVEXA_AuditClientContext *context,
                                                          ZOVEXA_AuditElement *parent,
                                                          ZOVEXA_AuditElement *staticElement,
                                                          ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_AddStaticElement]";
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, kTag);
    return nullptr;
  }
  ZO_ENTRY(context, kTag);
  if (parent == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "parentElement");
    return nullptr;
  }
  return ZOattachStaticElement(context, &parent->sub, parent, false, staticElement, result, kTag);
}

ZOVEXA_AuditElement *ZOattachStaticElement(ZOVEXA_AuditClientContext *context, ZOelementList *list,
                                           const ZOVEXA_AuditElement *listOwner, bool eventLevel,
                                           ZOVEXA_AuditElement *staticElement, ZOVEXA_result *result,
                                           const char *tag) {
  if (staticElement == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, "staticElement");
    return nullptr;
  }
  if (!(staticElement->flags & ZO_ELT_STATIC)) {
    ZOreport(context, result, 29, 0, 1, staticElement->name);
    ZO_ERROR(context, tag, "ERROR: the element with name %s is not static", staticElement->name);
    return nullptr;
  }
  if (ZOattachElement(context, list, listOwner, eventLevel, staticElement, result) != 0) return nullptr;
  // Shared on its own from now on: deleting the tree it was marked with
  // must leave it whole.
  staticElement->flags &= ~static_cast<uint32_t>(ZO_ELT_STATIC_INHERITED);
  ZO_EXIT(context, tag);
  return staticElement;
}

ZOVEXA_AuditElement *ZOVEXA_AuditElement_GetElement(ZOVEXA_AuditClientContext *context,
                                                    ZOVEXA_AuditElement *parent, const char *subElementName,
                                                    ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_GetElement]";
  ZOresetResult(result);
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, kTag);
    return nullptr;
  }
  ZO_ENTRY(context, kTag);
  if (parent == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, kTag, __LINE__, "parentElementHandle");
    return nullptr;
  }
  return ZOgetElement(context, &parent->sub, subElementName, result, kTag);
}

ZOVEXA_AuditElement *ZOgetElement(ZOVEXA_AuditClientContext *context, const ZOelementList *list,
                                  const char *name, ZOVEXA_result *result, const char *tag) {
  if (name == nullptr) {
    ZOreportMissing(context, result, ZO_SRC, tag, __LINE__, "subElementName");
    return nullptr;
  }
  ZOVEXA_AuditElement *found = nullptr;
  if (strchr(name, '.') != nullptr) {
    found = ZOfindElement(context, list, name, result);
  } else {
    char *utf8Name = ZOutf8Convert(context, name, ZO_TO_UTF8, result);
    if (utf8Name == nullptr) return nullptr;
    found = ZOfindInList(list, utf8Name);
    free(utf8Name);
  }
  if (found != nullptr) {
    ZO_FLOW(context, tag, "The sub-element %s was found", name);
  } else {
    ZO_FLOW(context, tag, "The sub-element %s was not found", name);
  }
  ZO_EXIT(context, tag);
  return found;
}

const char *ZOVEXA_AuditElement_GetName(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                        ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_GetName]";
  if (!elementCallOk(context, element, result, kTag)) return nullptr;
  ZO_EXIT(context, kTag);
  return element->name;
}

void *ZOVEXA_AuditElement_GetValue(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                   ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_GetValue]";
  if (!elementCallOk(context, element, result, kTag)) return nullptr;
  void *value = element->value;
  // Strings are held in UTF-8; the caller gets its own copy in its codeset.
  if (element->valueType == VEXA_VT_STRING && value != nullptr) {
    value = ZOutf8Convert(context, static_cast<const char *>(value), ZO_FROM_UTF8, result);
  }
  ZO_EXIT(context, kTag);
  return value;
}

int32_t ZOVEXA_AuditElement_GetValueType(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                         ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_GetValueType]";
  if (!elementCallOk(context, element, result, kTag)) return -1;
  ZO_EXIT(context, kTag);
  return static_cast<int32_t>(element->valueType);
}

int32_t ZOVEXA_AuditElement_SetStatic(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                      ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_SetStatic]";
  if (!elementCallOk(context, element, result, kTag)) return -1;
  int rc = makeStatic(context, element, false);
  ZO_EXIT_RC(context, kTag, rc);
  return rc;
}

int32_t ZOVEXA_AuditElement_IsStatic(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                     ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_IsStatic]";
  if (!elementCallOk(context, element, result, kTag)) return -1;
  ZO_EXIT(context, kTag);
  return (element->flags & ZO_ELT_STATIC) ? 1 : 0;
}

int32_t ZOVEXA_AuditElement_DeleteStatic(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditElement *element,
                                         ZOVEXA_result *result) {
  static const char kTag[] = "[VEXA_AuditElement_DeleteStatic]";
  if (!elementCallOk(context, element, result, kTag)) return -1;
  if (!(element->flags & ZO_ELT_STATIC)) {
    // A non-static element belongs to the event or element that holds it.
    ZOreport(context, result, 29, 0, 1, element->name);
    ZO_ERROR(context, kTag, "ERROR: the element with name %s is not static", element->name);
    return -1;
  }
  // This element loses its mark, and so do the sub-elements that were static
  // only through it; sub-elements made static on their own may be shared with
  // other trees and stay whole.
  element->flags &= ~static_cast<uint32_t>(ZO_ELT_STATIC | ZO_ELT_STATIC_INHERITED);
  dropInheritedStatic(element);
  int rc = ZOauditElement_Delete(context, element, result);
  ZO_EXIT_RC(context, kTag, rc);
  return rc;
}
