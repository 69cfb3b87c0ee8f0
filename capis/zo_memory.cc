#include "capis/zo_memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

// 0: the seam is off. Otherwise the position of the failing allocation,
// counted down by each allocation; the one that takes it from 1 to 0 fails.
std::atomic<long> g_failAfter{0};

bool allocationFails() {
  long n = g_failAfter.load(std::memory_order_relaxed);
  while (n > 0 && !g_failAfter.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
  }
  return n == 1;
}

}  // namespace

void ZOsetAllocFailAfter(long n) { g_failAfter.store(n < 0 ? 0 : n, std::memory_order_relaxed); }

void *ZOmalloc(size_t size) { return allocationFails() ? nullptr : malloc(size == 0 ? 1 : size); }

void *ZOcalloc(size_t count, size_t size) {
  if (allocationFails()) return nullptr;
  return calloc(count == 0 ? 1 : count, size == 0 ? 1 : size);
}

void *ZOrealloc(void *ptr, size_t size) {
  return allocationFails() ? nullptr : realloc(ptr, size == 0 ? 1 : size);
}

char *ZOstrndup(const char *s, size_t n) {
  if (s == nullptr) return nullptr;
  char *copy = static_cast<char *>(ZOmalloc(n + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, s, n);
  copy[n] = '\0';
  return copy;
}

char *ZOstrdup(const char *s) { return s == nullptr ? nullptr : ZOstrndup(s, strlen(s)); }
