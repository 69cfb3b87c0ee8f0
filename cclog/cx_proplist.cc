// Ordered key/value lists. Lists are short (a handful of configuration
// properties), so lookups are linear and insertion order is kept.
#include <cstring>

#include "cclog/cx.h"

namespace {

std::vector<std::pair<std::string, std::string>>::const_iterator Find(const CxPropList *pl, const char *key) {
  auto it = pl->entries.begin();
  for (; it != pl->entries.end(); ++it) {
    if (it->first == key) break;
  }
  return it;
}

}  // namespace

CxPropList *CxPropListCreate() { return new CxPropList; }

void CxPropListDiscard(CxPropList *pl) { delete pl; }

CxPropListIterator CxPropListGetIterator(const CxPropList *pl) { return CxPropListIterator{pl, 0}; }

bool CxPropListIteratorHasNext(const CxPropListIterator *it) {
  return it != nullptr && it->list != nullptr && it->pos < it->list->entries.size();
}

const char *CxPropListIteratorPeekKey(const CxPropListIterator *it) {
  return CxPropListIteratorHasNext(it) ? it->list->entries[it->pos].first.c_str() : nullptr;
}

const char *CxPropListIteratorPeekVal(const CxPropListIterator *it) {
  return CxPropListIteratorHasNext(it) ? it->list->entries[it->pos].second.c_str() : nullptr;
}

char *CxPropListIteratorCopyKey(const CxPropListIterator *it) { return TosStringDup(CxPropListIteratorPeekKey(it)); }

char *CxPropListIteratorCopyVal(const CxPropListIterator *it) { return TosStringDup(CxPropListIteratorPeekVal(it)); }

void CxPropListIteratorNext(CxPropListIterator *it) {
  if (CxPropListIteratorHasNext(it)) ++it->pos;
}

bool CxPropListHasKey(const CxPropList *pl, const char *key) {
  return pl != nullptr && key != nullptr && Find(pl, key) != pl->entries.end();
}

CxStatus CxPropListRemove(CxPropList *pl, const char *key) {
  if (pl == nullptr || key == nullptr) return CxOtherError(CX_CODE_INVALID);
  auto it = Find(pl, key);
  if (it == pl->entries.end()) return CxOtherError(CX_CODE_INVALID);
  pl->entries.erase(it);
  return CX_SUCCESS;
}

CxStatus CxPropListPutStr(CxPropList *pl, const char *key, const char *val) {
  if (pl == nullptr || key == nullptr || val == nullptr) return CxOtherError(CX_CODE_INVALID);
  auto it = Find(pl, key);
  if (it != pl->entries.end()) {
    pl->entries[static_cast<size_t>(it - pl->entries.begin())].second = val;
  } else {
    pl->entries.emplace_back(key, val);
  }
  return CX_SUCCESS;
}

const char *CxPropListPeekStr(const CxPropList *pl, const char *key) {
  if (pl == nullptr || key == nullptr) return nullptr;
  auto it = Find(pl, key);
  return it != pl->entries.end() ? it->second.c_str() : nullptr;
}

char *CxPropListCopyStr(const CxPropList *pl, const char *key) { return TosStringDup(CxPropListPeekStr(pl, key)); }
