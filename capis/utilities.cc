#include "capis/utilities.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "capis/context.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"

#define ZO_SRC "capis/utilities"

namespace {

constexpr uint32_t kPrimeSizes[] = {29, 37, 53, 97, 193, 389, 769, 1543, 3079, 6151, 12289, 24593, 49157};

}  // namespace

const char *const kZOlocTypes[kZOlocTypeCount] = {
    "Unknown", "IPV4", "IPV6", "NWA", "ISDN", "ICD",   "OID-OSI",  "Dial",       "HWA",
    "HID",     "X25",  "DCC",  "SNA", "IPX",  "E.164", "Hostname", "FQHostname", "Devicename"};

uint32_t ZOhashFunc(const char *s) {
  uint32_t hash = 0;
  if (s == nullptr) return 0;
  for (; *s != '\0'; ++s) {
    // The byte is taken as a signed char, so bytes from 0x80 up contribute
    // their sign-extended value.
    uint32_t byte = static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*s)));
    hash = ((hash << 5) | (hash >> 27)) ^ byte;
  }
  return hash;
}

uint32_t computeHashTableSz(uint32_t count) {
  if (count < 20) return 19;
  for (uint32_t size : kPrimeSizes)
    if (size >= count) return size;
  return kPrimeSizes[sizeof kPrimeSizes / sizeof kPrimeSizes[0] - 1];
}

ZOhashNode **ZOcreateHashTable(uint32_t size) {
  return static_cast<ZOhashNode **>(ZOcalloc(size, sizeof(ZOhashNode *)));
}

ZOhashNode *ZOaddToHashTable(const char *name, uint32_t index, ZOhashNode **table, uint32_t size) {
  if (name == nullptr || table == nullptr || size == 0) return nullptr;
  auto *node = static_cast<ZOhashNode *>(ZOmalloc(sizeof(ZOhashNode)));
  if (node == nullptr) return nullptr;
  uint32_t bucket = ZOhashFunc(name) % size;
  node->name = name;
  node->index = index;
  node->next = table[bucket];
  table[bucket] = node;
  return node;
}

const ZOhashNode *ZOfindInHashTable(const char *name, ZOhashNode *const *table, uint32_t size) {
  if (name == nullptr || table == nullptr || size == 0) return nullptr;
  for (const ZOhashNode *node = table[ZOhashFunc(name) % size]; node != nullptr; node = node->next)
    if (strcmp(node->name, name) == 0) return node;
  return nullptr;
}

int ZOcheckHashTableForMatch(const ZOVEXA_AuditClientContext *, const char *name, ZOhashNode *const *table,
                             uint32_t size, ZOVEXA_result *) {
  return ZOfindInHashTable(name, table, size) != nullptr ? 0 : -1;
}

int freeHashTable(ZOhashNode **table, uint32_t size) {
  if (table == nullptr) return 0;
  for (uint32_t i = 0; i < size; ++i) {
    ZOhashNode *node = table[i];
    while (node != nullptr) {
      ZOhashNode *next = node->next;
      free(node);
      node = next;
    }
  }
  free(table);
  return 0;
}

int ZObuildLocTypeHashTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  uint32_t size = computeHashTableSz(kZOlocTypeCount);
  ZOhashNode **table = ZOcreateHashTable(size);
  bool ok = table != nullptr;
  for (uint32_t i = 0; ok && i < kZOlocTypeCount; ++i)
    ok = ZOaddToHashTable(kZOlocTypes[i], i, table, size) != nullptr;
  if (!ok) {
    freeHashTable(table, size);
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, "[buildLocTypeHashTable]", "ERROR: cannot malloc");
    return -1;
  }
  context->locTypes.buckets = table;
  context->locTypes.size = size;
  return 0;
}

bool ZOisLocationType(const ZOVEXA_AuditClientContext *context, const char *name) {
  if (context == nullptr || name == nullptr) return false;
  return ZOfindInHashTable(name, context->locTypes.buckets, context->locTypes.size) != nullptr;
}

char *ZOutf8Convert(const ZOVEXA_AuditClientContext *context, const char *s, int direction,
                    ZOVEXA_result *result) {
  if (s == nullptr) return nullptr;
  char *out = nullptr;
  if (direction == ZO_NO_CONVERT || context == nullptr || context->elementUTF8) {
    out = ZOstrdup(s);
  } else {
    std::string converted;
    size_t len = strlen(s);
    bool ok = direction == ZO_TO_UTF8 ? TisToUTF8(context->elementCodeset, s, len, &converted)
                                      : TisFromUTF8(context->elementCodeset, s, len, &converted);
    if (!ok) {
      // A byte sequence the codesets cannot map: refuse the string rather
      // than store or hand back a text that differs from it. The message
      // shows the bytes escaped, so the error log stays readable text.
      std::string shown;
      for (const unsigned char *p = reinterpret_cast<const unsigned char *>(s); *p != '\0'; ++p) {
        char esc[8];
        if (*p >= 0x20 && *p < 0x7F) {
          shown += static_cast<char>(*p);
        } else {
          snprintf(esc, sizeof esc, "\\x%02X", *p);
          shown += esc;
        }
      }
      ZOreport(context, result, 8, static_cast<uint32_t>(shown.size() + 1), 2, "string", shown.c_str());
      ZO_ERROR(context, "[utf8Convert]", "ERROR: the string %s cannot be converted", shown.c_str());
      return nullptr;
    }
    out = ZOstrndup(converted.data(), converted.size());
  }
  if (out == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, "[utf8Convert]", "ERROR: cannot malloc");
  }
  return out;
}

char **ZOcopyStringArray(const ZOVEXA_AuditClientContext *context, char *const *array, int convert,
                         ZOVEXA_result *result) {
  if (array == nullptr) return nullptr;
  size_t count = 0;
  while (array[count] != nullptr) ++count;
  auto *copy = static_cast<char **>(ZOcalloc(count + 1, sizeof(char *)));
  if (copy == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, "[copyStringArray]", "ERROR: cannot malloc");
    return nullptr;
  }
  for (size_t i = 0; i < count; ++i) {
    copy[i] = ZOutf8Convert(context, array[i], convert ? ZO_TO_UTF8 : ZO_NO_CONVERT, result);
    if (copy[i] == nullptr) {
      ZOfreeStringArray(copy);
      return nullptr;
    }
  }
  return copy;
}

void ZOfreeStringArray(char **array) {
  if (array == nullptr) return;
  for (char **p = array; *p != nullptr; ++p) free(*p);
  free(array);
}

timespec ZOdeadlineIn(int seconds) {
  timespec t;
  clock_gettime(CLOCK_REALTIME, &t);
  t.tv_sec += seconds;
  return t;
}
