#include "cbe/common_base_event_type.h"

#include <cstdlib>

#include "capis/zo_memory.h"

bool ZOnewBatch(CommonBaseEventType_ArrayTag *batch, int count) {
  if (count < 0) return false;
  // One spare slot so that a batch of zero entries still owns an array.
  auto *array = static_cast<CommonBaseEventType *>(ZOcalloc(static_cast<size_t>(count) + 1,
                                                            sizeof(CommonBaseEventType)));
  if (array == nullptr) return false;
  batch->m_Array = array;
  batch->m_Size = count;
  return true;
}

void ZOfreeBatch(CommonBaseEventType_ArrayTag *batch, int entries) {
  if (batch == nullptr) return;
  if (batch->m_Array != nullptr) {
    int n = entries < 0 ? batch->m_Size : entries;
    for (int i = 0; i < n; ++i) ZOfreeAnyType(batch->m_Array[i].any);
    free(batch->m_Array);
  }
  batch->m_Array = nullptr;
  batch->m_Size = 0;
}
