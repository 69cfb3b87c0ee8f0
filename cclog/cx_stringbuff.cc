// Growable NUL-terminated strings. All appends go through
// CxStringBuffReserve, so a failure (no memory, a value that cannot be
// encoded) is detected before the text is touched.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cclog/cx.h"
#include "tis/tis.h"

namespace {

constexpr uint32_t kFirstCapacity = 1024;

// Ensures capacity >= total (total counts the NUL).
CxStatus EnsureCapacity(CxStringBuff *sb, uint64_t total) {
  if (total <= sb->capacity && sb->text != nullptr) return CX_SUCCESS;
  if (total > UINT32_MAX) return CxPlatformError(ENOMEM);
  uint64_t capacity = sb->capacity != 0 ? sb->capacity : kFirstCapacity;
  while (capacity < total) capacity *= 2;
  if (capacity > UINT32_MAX) capacity = UINT32_MAX;
  char *text = static_cast<char *>(std::realloc(sb->text, capacity));
  if (text == nullptr) return CxPlatformError(ENOMEM);
  if (sb->text == nullptr) text[0] = '\0';
  sb->text = text;
  sb->capacity = static_cast<uint32_t>(capacity);
  return CX_SUCCESS;
}

// The UTF-8 form of c into out (room for 4); 0 when c has none.
size_t EncodeUTF8(uint32_t c, char *out) {
  if (c < 0x80) {
    out[0] = static_cast<char>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<char>(0xC0 | (c >> 6));
    out[1] = static_cast<char>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c >= 0xD800 && c <= 0xDFFF) return 0;
  if (c < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (c >> 12));
    out[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (c & 0x3F));
    return 3;
  }
  if (c > 0x10FFFF) return 0;
  out[0] = static_cast<char>(0xF0 | (c >> 18));
  out[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (c & 0x3F));
  return 4;
}

// Appends bytes that are known to fit.
inline void Put(CxStringBuff *sb, const char *s, size_t n) {
  std::memcpy(sb->text + sb->length, s, n);
  sb->length += static_cast<uint32_t>(n);
  sb->text[sb->length] = '\0';
}

// Whether s points into the buffer's own memory, which growing may move.
bool PointsInto(const CxStringBuff *sb, const char *s) {
  auto p = reinterpret_cast<uintptr_t>(s);
  auto base = reinterpret_cast<uintptr_t>(sb->text);
  return sb->text != nullptr && p >= base && p < base + sb->capacity;
}

CxStatus AppendBytes(CxStringBuff *sb, const char *s, size_t n) {
  if (sb == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (PointsInto(sb, s)) {
    size_t offset = static_cast<size_t>(s - sb->text);
    CxStatus status = CxStringBuffReserve(sb, n);
    if (CxOK(status)) Put(sb, sb->text + offset, n);
    return status;
  }
  CxStatus status = CxStringBuffReserve(sb, n);
  if (CxOK(status)) Put(sb, s, n);
  return status;
}

// Decimal digits of v, written backwards ending at end; returns the start.
char *UnsignedDigits(uint64_t v, char *end) {
  do {
    *--end = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  return end;
}

CxStatus AppendSigned(CxStringBuff *sb, int64_t v) {
  char buf[24];
  char *end = buf + sizeof buf;
  uint64_t magnitude = v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  char *start = UnsignedDigits(magnitude, end);
  if (v < 0) *--start = '-';
  return AppendBytes(sb, start, static_cast<size_t>(end - start));
}

// Replaces the whole text by s, keeping the buffer as it was on failure.
CxStatus ReplaceText(CxStringBuff *sb, const std::string &s) {
  CxStatus status = EnsureCapacity(sb, static_cast<uint64_t>(s.size()) + 1);
  if (!CxOK(status)) return status;
  std::memcpy(sb->text, s.data(), s.size());
  sb->length = static_cast<uint32_t>(s.size());
  sb->text[sb->length] = '\0';
  return CX_SUCCESS;
}

}  // namespace

CxStatus CxStringBuffReserve(CxStringBuff *sb, size_t added) {
  if (sb == nullptr) return CxOtherError(CX_CODE_INVALID);
  return EnsureCapacity(sb, static_cast<uint64_t>(sb->length) + added + 1);
}

CxStatus CxStringBuffAppendStr(CxStringBuff *sb, const char *s) {
  if (s == nullptr) return CxOtherError(CX_CODE_INVALID);
  return AppendBytes(sb, s, std::strlen(s));
}

CxStatus CxStringBuffAppendStrN(CxStringBuff *sb, const char *s, size_t n) {
  if (s == nullptr) return CxOtherError(CX_CODE_INVALID);
  return AppendBytes(sb, s, strnlen(s, n));
}

CxStatus CxStringBuffAppendWStrN(CxStringBuff *sb, const wchar_t *s, size_t n) {
  if (sb == nullptr || s == nullptr) return CxOtherError(CX_CODE_INVALID);
  char tmp[4];
  size_t bytes = 0;
  size_t count = 0;
  for (; count < n && s[count] != L'\0'; ++count) {
    size_t k = EncodeUTF8(static_cast<uint32_t>(s[count]), tmp);
    if (k == 0) return CxOtherError(CX_CODE_INVALID);
    bytes += k;
  }
  CxStatus status = CxStringBuffReserve(sb, bytes);
  if (!CxOK(status)) return status;
  for (size_t i = 0; i < count; ++i) {
    Put(sb, tmp, EncodeUTF8(static_cast<uint32_t>(s[i]), tmp));
  }
  return CX_SUCCESS;
}

CxStatus CxStringBuffAppendChar(CxStringBuff *sb, char c) { return AppendBytes(sb, &c, 1); }

CxStatus CxStringBuffAppendUCS2Char(CxStringBuff *sb, uint16_t c) { return CxStringBuffAppendUTF32Char(sb, c); }

CxStatus CxStringBuffAppendUTF32Char(CxStringBuff *sb, uint32_t c) {
  char tmp[4];
  size_t k = EncodeUTF8(c, tmp);
  if (k == 0) return CxOtherError(CX_CODE_INVALID);
  return AppendBytes(sb, tmp, k);
}

CxStatus CxStringBuffAppendInt32(CxStringBuff *sb, int32_t v) { return AppendSigned(sb, v); }
CxStatus CxStringBuffAppendInt64(CxStringBuff *sb, int64_t v) { return AppendSigned(sb, v); }

CxStatus CxStringBuffAppendUInt64(CxStringBuff *sb, uint64_t v) {
  char buf[24];
  char *end = buf + sizeof buf;
  char *start = UnsignedDigits(v, end);
  return AppendBytes(sb, start, static_cast<size_t>(end - start));
}

CxStatus CxStringBuffAppendEBCDICInt64(CxStringBuff *sb, int64_t v) {
  char buf[24];
  char *end = buf + sizeof buf;
  uint64_t magnitude = v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
  char *start = UnsignedDigits(magnitude, end);
  // EBCDIC digits are 0xF0..0xF9 and its minus sign is 0x60.
  for (char *p = start; p < end; ++p) *p = static_cast<char>(0xF0 + (*p - '0'));
  if (v < 0) *--start = static_cast<char>(0x60);
  return AppendBytes(sb, start, static_cast<size_t>(end - start));
}

CxStatus CxStringBuffInsertStr(CxStringBuff *sb, uint32_t pos, const char *s) {
  if (sb == nullptr || s == nullptr || pos > sb->length) return CxOtherError(CX_CODE_INVALID);
  size_t n = std::strlen(s);
  // Text taken from the buffer itself would move under the shift below.
  std::string copy;
  if (PointsInto(sb, s)) {
    copy.assign(s, n);
    s = copy.c_str();
  }
  CxStatus status = CxStringBuffReserve(sb, n);
  if (!CxOK(status)) return status;
  std::memmove(sb->text + pos + n, sb->text + pos, sb->length - pos + 1);
  std::memcpy(sb->text + pos, s, n);
  sb->length += static_cast<uint32_t>(n);
  return CX_SUCCESS;
}

CxStatus CxStringBuffChangeToUTF8(CxStringBuff *sb, const TisCodeset *cs) {
  if (sb == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (cs == nullptr || TisCodesetIsUTF8(cs) || sb->length == 0) return CX_SUCCESS;
  std::string out;
  if (!TisToUTF8(cs, sb->text, sb->length, &out)) return CxOtherError(CX_CODE_INVALID);
  return ReplaceText(sb, out);
}

CxStatus CxStringBuffChangeFromUTF8(CxStringBuff *sb, const TisCodeset *cs) {
  if (sb == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (cs == nullptr || TisCodesetIsUTF8(cs) || sb->length == 0) return CX_SUCCESS;
  std::string out;
  if (!TisFromUTF8(cs, sb->text, sb->length, &out)) return CxOtherError(CX_CODE_INVALID);
  return ReplaceText(sb, out);
}

char *CxStringBuffTakeStr(CxStringBuff *sb) {
  if (sb == nullptr) return nullptr;
  char *text = sb->text;
  sb->text = nullptr;
  sb->length = 0;
  sb->capacity = 0;
  return text != nullptr ? text : TosStringDup("");
}

const char *CxStringBuffPeekStr(const CxStringBuff *sb) {
  return sb != nullptr && sb->text != nullptr ? sb->text : "";
}

char *CxStringBuffCopyStr(const CxStringBuff *sb) { return TosStringDup(CxStringBuffPeekStr(sb)); }

void CxStringBuffRestart(CxStringBuff *sb) {
  if (sb == nullptr) return;
  sb->length = 0;
  if (sb->text != nullptr) sb->text[0] = '\0';
}

void CxStringBuffDiscard(CxStringBuff *sb) {
  if (sb == nullptr) return;
  std::free(sb->text);
  sb->text = nullptr;
  sb->length = 0;
  sb->capacity = 0;
}

CxStatus CxStringBuffPack(CxStringBuff *sb) {
  if (sb == nullptr) return CxOtherError(CX_CODE_INVALID);
  if (sb->text == nullptr || sb->capacity == sb->length + 1) return CX_SUCCESS;
  char *text = static_cast<char *>(std::realloc(sb->text, sb->length + 1));
  if (text == nullptr) return CxPlatformError(ENOMEM);
  sb->text = text;
  sb->capacity = sb->length + 1;
  return CX_SUCCESS;
}
