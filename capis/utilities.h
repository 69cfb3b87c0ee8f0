// Small facilities shared by the context, elements, events, records and
// validation: the name hash and chained hash tables with the prime size rule,
// the location-type index, conversion between the element codeset and UTF-8,
// and copies of NULL-terminated string arrays.
#ifndef ZOVEXA_CAPIS_UTILITIES_H_
#define ZOVEXA_CAPIS_UTILITIES_H_

#include <cstdint>
#include <ctime>

#include "zovexa.h"

// Rotate the hash left by 5 bits, then XOR in each byte taken as a signed
// char (sign-extended). The empty string hashes to 0.
uint32_t ZOhashFunc(const char *s);

// A chain node: the name is borrowed from the table the index was built from.
struct ZOhashNode {
  ZOhashNode *next;
  const char *name;
  uint32_t index;
};

// An index of names: `size` bucket heads, each a chain, newest first.
struct ZOhashTable {
  ZOhashNode **buckets = nullptr;
  uint32_t size = 0;
};

// 19 below 20 names, else the first of 29, 37, 53, ... 49157 that is at
// least count, else 49157.
uint32_t computeHashTableSz(uint32_t count);
ZOhashNode **ZOcreateHashTable(uint32_t size);  // NULL when out of memory
ZOhashNode *ZOaddToHashTable(const char *name, uint32_t index, ZOhashNode **table, uint32_t size);
// The node of `name` (exact byte comparison), or NULL.
const ZOhashNode *ZOfindInHashTable(const char *name, ZOhashNode *const *table, uint32_t size);
// 0 when `name` is in the table, -1 when not.
int ZOcheckHashTableForMatch(const ZOVEXA_AuditClientContext *context, const char *name,
                             ZOhashNode *const *table, uint32_t size, ZOVEXA_result *result);
int freeHashTable(ZOhashNode **table, uint32_t size);

// The 18 location-type names ("Unknown", "IPV4", ... "Devicename").
constexpr int kZOlocTypeCount = 18;
extern const char *const kZOlocTypes[kZOlocTypeCount];
// Builds the context's index of location types; -1 with message 1.
int ZObuildLocTypeHashTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
// Whether `name` is a location type (exact, case-sensitive).
bool ZOisLocationType(const ZOVEXA_AuditClientContext *context, const char *name);

// Direction of ZOutf8Convert.
enum { ZO_NO_CONVERT = 0, ZO_TO_UTF8 = 1, ZO_FROM_UTF8 = 2 };
// A new copy of s converted between the element codeset and UTF-8 (a plain
// copy for direction 0 or when the element codeset is "UTF8"). NULL with
// message 1 when memory runs out, or with message 8 when s cannot be
// converted.
char *ZOutf8Convert(const ZOVEXA_AuditClientContext *context, const char *s, int direction,
                    ZOVEXA_result *result);

// A deep copy of a NULL-terminated array (strings converted to UTF-8 when
// convert is set); NULL with message 1, with nothing left allocated.
char **ZOcopyStringArray(const ZOVEXA_AuditClientContext *context, char *const *array, int convert,
                         ZOVEXA_result *result);
void ZOfreeStringArray(char **array);

// The absolute time `seconds` from now on CLOCK_REALTIME, the clock that
// pthread_cond_timedwait measures deadlines against by default.
timespec ZOdeadlineIn(int seconds);

#endif  // ZOVEXA_CAPIS_UTILITIES_H_
