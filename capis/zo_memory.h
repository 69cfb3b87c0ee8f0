// Allocation for everything the C interface hands across its boundary (result
// texts, getter strings, records, elements): the standard allocator, so that
// ZOVEXA_Free and free() release it, behind one seam that tests can make fail.
#ifndef ZOVEXA_CAPIS_ZO_MEMORY_H_
#define ZOVEXA_CAPIS_ZO_MEMORY_H_

#include <cstddef>

void *ZOmalloc(size_t size);
void *ZOcalloc(size_t count, size_t size);
void *ZOrealloc(void *ptr, size_t size);
// A copy of s (NULL for NULL s or when memory runs out).
char *ZOstrdup(const char *s);
char *ZOstrndup(const char *s, size_t n);

// Test seam: the n-th allocation from now (1 = the next one) fails, once;
// later allocations succeed again, so the failure can still be reported
// (message 1). 0 disarms it. Counts only allocations made through this file.
void ZOsetAllocFailAfter(long n);

#endif  // ZOVEXA_CAPIS_ZO_MEMORY_H_
