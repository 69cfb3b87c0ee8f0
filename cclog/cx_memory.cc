// Memory and string wrappers: the toolkit's only route to the C library's
// allocator and string functions, so that all of them are NULL-safe where the
// header promises it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cclog/cx.h"

void *TosMemoryMalloc(size_t size) { return std::malloc(size); }
void *TosMemoryCalloc(size_t count, size_t size) { return std::calloc(count, size); }
void *TosMemoryRealloc(void *p, size_t size) { return std::realloc(p, size); }
void TosMemoryFree(void *p) { std::free(p); }

char *TosStringDup(const char *s) {
  if (s == nullptr) return nullptr;
  size_t n = std::strlen(s) + 1;
  char *copy = static_cast<char *>(std::malloc(n));
  if (copy != nullptr) std::memcpy(copy, s, n);
  return copy;
}

size_t TosStringLen(const char *s) { return std::strlen(s); }
int TosStringCmp(const char *a, const char *b) { return std::strcmp(a, b); }
int TosStringNCmp(const char *a, const char *b, size_t n) { return std::strncmp(a, b, n); }

namespace {
// Folds ASCII letters only: the comparison must not change with the locale.
inline unsigned char AsciiLower(unsigned char c) { return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c; }
}  // namespace

int TosStringICmp(const char *a, const char *b) { return TosStringNICmp(a, b, static_cast<size_t>(-1)); }

int TosStringNICmp(const char *a, const char *b, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    unsigned char ca = AsciiLower(static_cast<unsigned char>(a[i]));
    unsigned char cb = AsciiLower(static_cast<unsigned char>(b[i]));
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == '\0') return 0;
  }
  return 0;
}

char *TosStringChr(const char *s, int c) { return const_cast<char *>(std::strchr(s, c)); }
char *TosStringRChr(const char *s, int c) { return const_cast<char *>(std::strrchr(s, c)); }
char *TosStringStr(const char *hay, const char *needle) { return const_cast<char *>(std::strstr(hay, needle)); }
size_t TosStringStrspn(const char *s, const char *accept) { return std::strspn(s, accept); }
size_t TosStringStrcspn(const char *s, const char *reject) { return std::strcspn(s, reject); }
char *TosStringStrpbrk(const char *s, const char *accept) { return const_cast<char *>(std::strpbrk(s, accept)); }
char *TosStringCpy(char *dst, const char *src) { return std::strcpy(dst, src); }
char *TosStringNCpy(char *dst, const char *src, size_t n) { return std::strncpy(dst, src, n); }
char *TosStringCat(char *dst, const char *src) { return std::strcat(dst, src); }
char *TosStringNCat(char *dst, const char *src, size_t n) { return std::strncat(dst, src, n); }

int TosStringSprintf(char *buf, size_t size, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int n = std::vsnprintf(buf, size, fmt, ap);
  va_end(ap);
  return n;
}
