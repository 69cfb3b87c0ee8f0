#include "soap/any_type.h"

#include <cstdlib>

#include "capis/zo_memory.h"

AnyType *ZOnewAnyType(const char *text) {
  auto *any = static_cast<AnyType *>(ZOcalloc(1, sizeof(AnyType)));
  if (any == nullptr) return nullptr;
  any->_array = static_cast<char **>(ZOcalloc(1, sizeof(char *)));
  if (any->_array != nullptr) any->_array[0] = ZOstrdup(text);
  if (any->_array == nullptr || any->_array[0] == nullptr) {
    ZOfreeAnyType(any);
    return nullptr;
  }
  any->_size = 1;
  return any;
}

void ZOfreeAnyType(AnyType *any) {
  if (any == nullptr) return;
  if (any->_array != nullptr) {
    for (int i = 0; i < any->_size; ++i) free(any->_array[i]);
    free(any->_array);
  }
  free(any);
}
