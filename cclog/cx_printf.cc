// The printf engine. A format is parsed into pieces (literal runs and
// conversions, each conversion knowing which argument it takes), then the
// arguments are collected, then the pieces are written straight into the
// string buffer. Collecting before emitting is what makes positional
// arguments ("%2$s") possible with a va_list, whose arguments can only be
// fetched in order and with their exact types.
//
// Choices where C leaves the behaviour open:
// - A format that mixes numbered values ("%2$d") with unnumbered values or
//   unnumbered '*' is invalid: 'e', and the buffer is left as it was. A
//   numbered '*' ("%*3$d") is explicit and fits either kind of format; the
//   unnumbered items take arguments 1, 2, ... in order (width, precision,
//   value) whatever numbered '*' there are, as the C library does.
// - An unknown conversion character (and a conversion cut short by the end of
//   the format) is written literally, "%" and all, and takes no argument.
//   "%n" is unknown here: a log message must never write to memory.
// - Positional arguments that no conversion uses are fetched from a va_list as
//   int; an argument used by several conversions gets its type from the first.
// - A value whose type does not suit its conversion (possible with
//   CxStringBuffPrintfArgs and with conflicting positional uses) is written by
//   the conversion of its own type, keeping flags, width and precision:
//   integers as d, characters as c, floating values as f, strings as s.
// - %C, %lc, %S and %ls write UTF-8 whatever the locale; a value that has no
//   UTF-8 form fails the call with 'e'.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <langinfo.h>
#include <string>
#include <vector>

#include "cclog/cx.h"

namespace {

// The highest argument position accepted (glibc's NL_ARGMAX).
constexpr int kMaxArgs = 4096;

// A vector that lives on the stack while it is small: formatting a short log
// message should not allocate.
template <typename T, size_t N>
class SmallVec {
 public:
  SmallVec() = default;
  SmallVec(const SmallVec &) = delete;
  SmallVec &operator=(const SmallVec &) = delete;
  ~SmallVec() {
    if (data_ != local_) std::free(data_);
  }
  size_t size() const { return size_; }
  T &operator[](size_t i) { return data_[i]; }
  const T &operator[](size_t i) const { return data_[i]; }
  bool Push(const T &v) {
    if (size_ == cap_ && !Grow(size_ + 1)) return false;
    data_[size_++] = v;
    return true;
  }
  bool Resize(size_t n, const T &fill) {
    if (n > cap_ && !Grow(n)) return false;
    for (size_t i = size_; i < n; ++i) data_[i] = fill;
    size_ = n;
    return true;
  }

 private:
  bool Grow(size_t need) {
    size_t cap = cap_ * 2 > need ? cap_ * 2 : need;
    T *p = static_cast<T *>(std::malloc(cap * sizeof(T)));
    if (p == nullptr) return false;
    std::memcpy(static_cast<void *>(p), data_, size_ * sizeof(T));
    if (data_ != local_) std::free(data_);
    data_ = p;
    cap_ = cap;
    return true;
  }
  T local_[N];
  T *data_ = local_;
  size_t size_ = 0;
  size_t cap_ = N;
};

enum Length : uint8_t { LEN_NONE, LEN_HH, LEN_H, LEN_L, LEN_LL, LEN_BIGL, LEN_J, LEN_Z, LEN_T };

enum Flag : uint8_t {
  F_MINUS = 1,
  F_PLUS = 2,
  F_SPACE = 4,
  F_ALT = 8,
  F_ZERO = 16,
  F_GROUP = 32,
};

// A literal run (conv == 0) or a conversion.
struct Piece {
  const char *text;  // literal pieces
  uint32_t textLen;
  char conv;
  uint8_t flags;
  uint8_t length;
  int32_t width;     // when widthArg < 0
  int32_t prec;      // -1: none; when precArg < 0
  int32_t widthArg;  // argument index of a '*' width, or -1
  int32_t precArg;
  int32_t arg;  // argument index of the value
};

// How an argument is fetched from a va_list.
enum FetchType : uint8_t {
  T_UNUSED,
  T_INT,
  T_UINT,
  T_LONG,
  T_ULONG,
  T_LLONG,
  T_ULLONG,
  T_INTMAX,
  T_UINTMAX,
  T_SSIZE,
  T_SIZE,
  T_PTRDIFF,
  T_WINT,
  T_DOUBLE,
  T_LDOUBLE,
  T_STR,
  T_WSTR,
  T_PTR,
};

// V_CHAR is an integer that CxStringBuffPrintfArgs was given as a character.
enum Kind : uint8_t { V_INT, V_CHAR, V_WCHAR, V_DOUBLE, V_LDOUBLE, V_STR, V_WSTR, V_PTR };

// A collected argument. Integers are kept sign- or zero-extended to 64 bits
// with the width they had (bits), so that the conversion can narrow them.
struct Value {
  Kind kind;
  uint8_t bits;
  union {
    int64_t i;
    double d;
    long double ld;
    const char *s;
    const wchar_t *ws;
    const void *p;
  };
};

struct Parsed {
  SmallVec<Piece, 32> pieces;
  SmallVec<uint8_t, 16> types;  // FetchType per argument index
};

bool IsConversion(char c) {
  switch (c) {
    case 'd': case 'i': case 'o': case 'u': case 'x': case 'X': case 'p':
    case 'a': case 'A': case 'e': case 'E': case 'f': case 'F': case 'g': case 'G':
    case 'c': case 's': case 'C': case 'S':
      return true;
    default:
      return false;
  }
}

FetchType FetchTypeFor(char conv, uint8_t length) {
  switch (conv) {
    case 'd':
    case 'i':
      switch (length) {
        case LEN_L: return T_LONG;
        case LEN_LL:
        case LEN_BIGL: return T_LLONG;
        case LEN_J: return T_INTMAX;
        case LEN_Z: return T_SSIZE;
        case LEN_T: return T_PTRDIFF;
        default: return T_INT;
      }
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      switch (length) {
        case LEN_L: return T_ULONG;
        case LEN_LL:
        case LEN_BIGL: return T_ULLONG;
        case LEN_J: return T_UINTMAX;
        case LEN_Z: return T_SIZE;
        case LEN_T: return T_PTRDIFF;
        default: return T_UINT;
      }
    case 'c': return length == LEN_L ? T_WINT : T_INT;
    case 'C': return T_WINT;
    case 's': return length == LEN_L ? T_WSTR : T_STR;
    case 'S': return T_WSTR;
    case 'p': return T_PTR;
    default: return length == LEN_BIGL ? T_LDOUBLE : T_DOUBLE;
  }
}

// Reads a decimal number of at most INT_MAX; false on overflow.
bool ReadNumber(const char **p, int *out) {
  long long n = 0;
  while (**p >= '0' && **p <= '9') {
    n = n * 10 + (**p - '0');
    if (n > INT_MAX) return false;
    ++*p;
  }
  *out = static_cast<int>(n);
  return true;
}

// Reads "m$" (m from 1); leaves *p alone and gives 0 when it is not there,
// -1 for a position out of range.
int ReadPosition(const char **p) {
  const char *q = *p;
  if (*q < '1' || *q > '9') return 0;
  int n = 0;
  if (!ReadNumber(&q, &n) || *q != '$') return *q == '$' ? -1 : 0;
  if (n > kMaxArgs) return -1;
  *p = q + 1;
  return n;
}

bool NoteType(Parsed *out, int index, FetchType type) {
  if (index < 0) return true;
  size_t i = static_cast<size_t>(index);
  if (i >= out->types.size() && !out->types.Resize(i + 1, T_UNUSED)) return false;
  if (out->types[i] == T_UNUSED) out->types[i] = type;
  return true;
}

uint8_t FlagOf(char c) {
  switch (c) {
    case ' ': return F_SPACE;
    case '#': return F_ALT;
    case '\'': return F_GROUP;
    case '+': return F_PLUS;
    case '-': return F_MINUS;
    case '0': return F_ZERO;
    default: return 0;
  }
}

constexpr int32_t kSequential = -2;  // a '*' whose argument index is not yet known

CxStatus Parse(const char *fmt, Parsed *out) {
  const CxStatus invalid = CxOtherError(CX_CODE_INVALID);
  const CxStatus noMemory = CxPlatformError(ENOMEM);
  bool anyPositional = false;
  bool anySequential = false;
  int next = 0;  // next sequential argument
  const char *p = fmt;
  const char *lit = p;
  auto literal = [out](const char *from, const char *to) {
    if (from == to) return true;
    Piece piece{};
    piece.text = from;
    piece.textLen = static_cast<uint32_t>(to - from);
    return out->pieces.Push(piece);
  };

  while (*p != '\0') {
    p = std::strchr(p, '%');
    if (p == nullptr) {
      p = lit + std::strlen(lit);
      break;
    }
    if (!literal(lit, p)) return noMemory;
    const char *start = p++;
    Piece c{};
    c.prec = -1;
    c.widthArg = -1;
    c.precArg = -1;
    bool positional = false;
    bool sequential = false;

    int pos = ReadPosition(&p);
    if (pos < 0) return invalid;
    if (pos > 0) positional = true;

    while (uint8_t flag = FlagOf(*p)) {
      c.flags |= flag;
      ++p;
    }

    if (*p == '*') {
      ++p;
      int m = ReadPosition(&p);
      if (m < 0) return invalid;
      c.widthArg = m > 0 ? m - 1 : kSequential;
      if (m == 0) sequential = true;
    } else if (!ReadNumber(&p, &c.width)) {
      return invalid;
    }

    if (*p == '.') {
      ++p;
      if (*p == '*') {
        ++p;
        int m = ReadPosition(&p);
        if (m < 0) return invalid;
        c.precArg = m > 0 ? m - 1 : kSequential;
        if (m == 0) sequential = true;
      } else if (!ReadNumber(&p, &c.prec)) {
        return invalid;
      }
    }

    switch (*p) {
      case 'h':
        c.length = p[1] == 'h' ? LEN_HH : LEN_H;
        p += c.length == LEN_HH ? 2 : 1;
        break;
      case 'l':
        c.length = p[1] == 'l' ? LEN_LL : LEN_L;
        p += c.length == LEN_LL ? 2 : 1;
        break;
      case 'L':
        c.length = LEN_BIGL;
        ++p;
        break;
      case 'q':
        c.length = LEN_LL;
        ++p;
        break;
      case 'j':
        c.length = LEN_J;
        ++p;
        break;
      case 'z':
      case 'Z':
        c.length = LEN_Z;
        ++p;
        break;
      case 't':
        c.length = LEN_T;
        ++p;
        break;
      case 'I':  // "I64"; a lone 'I' is left to be an unknown conversion
        if (p[1] == '6' && p[2] == '4') {
          c.length = LEN_LL;
          p += 3;
        }
        break;
      default: break;
    }

    if (*p == '%') {  // "%5%" is still just "%"
      if (!literal(p, p + 1)) return noMemory;
      lit = ++p;
      continue;
    }
    if (!IsConversion(*p)) {
      if (*p != '\0') ++p;
      if (!literal(start, p)) return noMemory;
      lit = p;
      continue;
    }
    c.conv = *p++;
    lit = p;

    // Sequential arguments are taken in the order width, precision, value.
    if (c.widthArg == kSequential) c.widthArg = next++;
    if (c.precArg == kSequential) c.precArg = next++;
    if (pos > 0) {
      c.arg = pos - 1;
    } else {
      c.arg = next++;
      sequential = true;
    }
    anyPositional |= positional;
    anySequential |= sequential;
    if ((anyPositional && anySequential) || next > kMaxArgs) return invalid;
    if (!NoteType(out, c.widthArg, T_INT) || !NoteType(out, c.precArg, T_INT) ||
        !NoteType(out, c.arg, FetchTypeFor(c.conv, c.length)) || !out->pieces.Push(c)) {
      return noMemory;
    }
  }
  if (!literal(lit, p)) return noMemory;
  return CX_SUCCESS;
}

void SetInt(Value *v, int64_t i, int bits) {
  v->kind = V_INT;
  v->bits = static_cast<uint8_t>(bits);
  v->i = i;
}

void Fetch(va_list *ap, FetchType type, Value *v) {
  v->bits = 64;
  switch (type) {
    case T_UNUSED:
    case T_INT: return SetInt(v, va_arg(*ap, int), 32);
    case T_UINT: return SetInt(v, va_arg(*ap, unsigned int), 32);
    case T_LONG: return SetInt(v, va_arg(*ap, long), sizeof(long) * 8);
    case T_ULONG: return SetInt(v, static_cast<int64_t>(va_arg(*ap, unsigned long)), sizeof(long) * 8);
    case T_LLONG: return SetInt(v, va_arg(*ap, long long), 64);
    case T_ULLONG: return SetInt(v, static_cast<int64_t>(va_arg(*ap, unsigned long long)), 64);
    case T_INTMAX: return SetInt(v, va_arg(*ap, intmax_t), 64);
    case T_UINTMAX: return SetInt(v, static_cast<int64_t>(va_arg(*ap, uintmax_t)), 64);
    case T_SSIZE: return SetInt(v, va_arg(*ap, ssize_t), sizeof(ssize_t) * 8);
    case T_SIZE: return SetInt(v, static_cast<int64_t>(va_arg(*ap, size_t)), sizeof(size_t) * 8);
    case T_PTRDIFF: return SetInt(v, va_arg(*ap, ptrdiff_t), sizeof(ptrdiff_t) * 8);
    case T_WINT:
      SetInt(v, static_cast<uint32_t>(va_arg(*ap, wint_t)), 32);
      v->kind = V_WCHAR;
      return;
    case T_DOUBLE:
      v->kind = V_DOUBLE;
      v->d = va_arg(*ap, double);
      return;
    case T_LDOUBLE:
      v->kind = V_LDOUBLE;
      v->ld = va_arg(*ap, long double);
      return;
    case T_STR:
      v->kind = V_STR;
      v->s = va_arg(*ap, const char *);
      return;
    case T_WSTR:
      v->kind = V_WSTR;
      v->ws = va_arg(*ap, const wchar_t *);
      return;
    case T_PTR:
      v->kind = V_PTR;
      v->p = va_arg(*ap, const void *);
      return;
  }
}

// ---- emitting --------------------------------------------------------------------

// Writers for bytes that CxStringBuffReserve has made room for.
inline void PutBytes(CxStringBuff *sb, const char *s, size_t n) {
  std::memcpy(sb->text + sb->length, s, n);
  sb->length += static_cast<uint32_t>(n);
}
inline void PutFill(CxStringBuff *sb, char c, size_t n) {
  std::memset(sb->text + sb->length, c, n);
  sb->length += static_cast<uint32_t>(n);
}
inline void Terminate(CxStringBuff *sb) { sb->text[sb->length] = '\0'; }

struct Conv {
  char conv;
  uint8_t flags;
  uint8_t length;
  size_t width;
  int prec;  // -1: none
};

inline size_t Pad(const Conv &c, size_t len) { return c.width > len ? c.width - len : 0; }

// Writes len bytes produced by put() padded with spaces to the width.
template <typename Put>
CxStatus EmitPadded(CxStringBuff *sb, const Conv &c, size_t len, Put put) {
  size_t pad = Pad(c, len);
  CxStatus status = CxStringBuffReserve(sb, len + pad);
  if (!CxOK(status)) return status;
  if (!(c.flags & F_MINUS)) PutFill(sb, ' ', pad);
  put();
  if (c.flags & F_MINUS) PutFill(sb, ' ', pad);
  Terminate(sb);
  return CX_SUCCESS;
}

CxStatus EmitText(CxStringBuff *sb, const Conv &c, const char *s, size_t n) {
  return EmitPadded(sb, c, n, [&] { PutBytes(sb, s, n); });
}

// The number of UTF-8 bytes of c; 0 when it has no UTF-8 form.
size_t UTF8Length(uint32_t c) {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (c >= 0xD800 && c <= 0xDFFF) return 0;
  if (c < 0x10000) return 3;
  return c <= 0x10FFFF ? 4 : 0;
}

CxStatus EmitWideChar(CxStringBuff *sb, const Conv &c, uint32_t wc) {
  size_t n = UTF8Length(wc);
  if (n == 0) return CxOtherError(CX_CODE_INVALID);
  // The appends below cannot fail: the room is reserved.
  return EmitPadded(sb, c, n, [&] { CxStringBuffAppendUTF32Char(sb, wc); });
}

CxStatus EmitWideString(CxStringBuff *sb, const Conv &c, const wchar_t *ws) {
  if (ws == nullptr) ws = (c.prec < 0 || c.prec >= 6) ? L"(null)" : L"";
  // The precision counts bytes of output and never splits a character; no
  // character is read once it is reached.
  size_t bytes = 0;
  size_t count = 0;
  for (; (c.prec < 0 || bytes < static_cast<size_t>(c.prec)) && ws[count] != L'\0'; ++count) {
    size_t n = UTF8Length(static_cast<uint32_t>(ws[count]));
    if (n == 0) return CxOtherError(CX_CODE_INVALID);
    if (c.prec >= 0 && bytes + n > static_cast<size_t>(c.prec)) break;
    bytes += n;
  }
  return EmitPadded(sb, c, bytes, [&] {
    for (size_t i = 0; i < count; ++i) CxStringBuffAppendUTF32Char(sb, static_cast<uint32_t>(ws[i]));
  });
}

CxStatus EmitString(CxStringBuff *sb, const Conv &c, const char *s) {
  if (s == nullptr) {
    // As the C library does: the whole placeholder or nothing.
    s = (c.prec < 0 || c.prec >= 6) ? "(null)" : "";
  }
  size_t n = c.prec >= 0 ? strnlen(s, static_cast<size_t>(c.prec)) : std::strlen(s);
  return EmitText(sb, c, s, n);
}

// The current locale's thousands separator and grouping.
void LocaleGrouping(const char **sep, const char **grouping) {
  *sep = nl_langinfo(THOUSEP);
  *grouping = nl_langinfo(GROUPING);
}

// Writes sign and prefix, the precision's zeros and the digits, padded to
// the width with spaces or (flag '0' without precision) zeros after the prefix.
CxStatus EmitDigits(CxStringBuff *sb, const Conv &c, const char *prefix, size_t nprefix, size_t precZeros,
                    const char *body, size_t bodyLen) {
  size_t len = nprefix + precZeros + bodyLen;
  size_t pad = Pad(c, len);
  const bool zeroPad = (c.flags & F_ZERO) && !(c.flags & F_MINUS) && c.prec < 0;
  CxStatus status = CxStringBuffReserve(sb, len + pad);
  if (!CxOK(status)) return status;
  if (!(c.flags & F_MINUS) && !zeroPad) PutFill(sb, ' ', pad);
  PutBytes(sb, prefix, nprefix);
  if (zeroPad) PutFill(sb, '0', pad);
  PutFill(sb, '0', precZeros);
  PutBytes(sb, body, bodyLen);
  if (c.flags & F_MINUS) PutFill(sb, ' ', pad);
  Terminate(sb);
  return CX_SUCCESS;
}

CxStatus EmitInteger(CxStringBuff *sb, const Conv &c, uint64_t mag, bool negative, bool isSigned) {
  const bool pointer = c.conv == 'p';
  const unsigned base = (c.conv == 'o') ? 8 : (c.conv == 'x' || c.conv == 'X' || pointer) ? 16 : 10;
  const char *set = c.conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";

  char buf[24];
  char *end = buf + sizeof buf;
  char *digits = end;
  const bool zero = mag == 0;
  if (!(zero && c.prec == 0)) {
    // Constant divisors let the compiler avoid a division per digit.
    switch (base) {
      case 10:
        do {
          *--digits = static_cast<char>('0' + mag % 10);
          mag /= 10;
        } while (mag != 0);
        break;
      case 16:
        do {
          *--digits = set[mag & 15];
          mag >>= 4;
        } while (mag != 0);
        break;
      default:
        do {
          *--digits = static_cast<char>('0' + (mag & 7));
          mag >>= 3;
        } while (mag != 0);
        break;
    }
  }
  size_t ndigits = static_cast<size_t>(end - digits);
  size_t precZeros = c.prec > 0 && static_cast<size_t>(c.prec) > ndigits ? c.prec - ndigits : 0;
  if ((c.flags & F_ALT) && base == 8 && precZeros == 0 && (ndigits == 0 || *digits != '0')) precZeros = 1;

  char prefix[3];
  size_t nprefix = 0;
  if (isSigned || pointer) {
    if (negative) {
      prefix[nprefix++] = '-';
    } else if (c.flags & F_PLUS) {
      prefix[nprefix++] = '+';
    } else if (c.flags & F_SPACE) {
      prefix[nprefix++] = ' ';
    }
  }
  if (pointer || (base == 16 && (c.flags & F_ALT) && !zero)) {
    prefix[nprefix++] = '0';
    prefix[nprefix++] = c.conv == 'X' ? 'X' : 'x';
  }

  if ((c.flags & F_GROUP) && base == 10 && !pointer && ndigits + precZeros > 0) {
    // The precision's zeros are digits of the number and are grouped too.
    std::string plain(precZeros, '0');
    plain.append(digits, ndigits);
    const char *sep;
    const char *grouping;
    LocaleGrouping(&sep, &grouping);
    std::string grouped = cxPrintfDoThousandSep(plain, sep, grouping);
    return EmitDigits(sb, c, prefix, nprefix, 0, grouped.data(), grouped.size());
  }
  return EmitDigits(sb, c, prefix, nprefix, precZeros, digits, ndigits);
}

// Floating conversions are rendered by the C library, one conversion at a
// time, straight into the buffer's free space.
CxStatus EmitFloat(CxStringBuff *sb, const Conv &c, const Value &v) {
  char fmtBuf[16];
  size_t n = 0;
  fmtBuf[n++] = '%';
  if (c.flags & F_MINUS) fmtBuf[n++] = '-';
  if (c.flags & F_PLUS) fmtBuf[n++] = '+';
  if (c.flags & F_SPACE) fmtBuf[n++] = ' ';
  if (c.flags & F_ALT) fmtBuf[n++] = '#';
  if (c.flags & F_ZERO) fmtBuf[n++] = '0';
  if (c.flags & F_GROUP) fmtBuf[n++] = '\'';
  fmtBuf[n++] = '*';
  fmtBuf[n++] = '.';
  fmtBuf[n++] = '*';
  const bool isLong = c.length == LEN_BIGL;
  if (isLong) fmtBuf[n++] = 'L';
  fmtBuf[n++] = c.conv;
  fmtBuf[n] = '\0';

  long double ld = 0;
  double d = 0;
  switch (v.kind) {
    case V_LDOUBLE:
      ld = v.ld;
      d = static_cast<double>(v.ld);
      break;
    case V_DOUBLE:
      ld = v.d;
      d = v.d;
      break;
    default:
      ld = static_cast<long double>(v.i);
      d = static_cast<double>(v.i);
      break;
  }
  if (c.width > INT_MAX) return CxOtherError(CX_CODE_INVALID);
  const int width = static_cast<int>(c.width);

  CxStatus status = CxStringBuffReserve(sb, 64);
  if (!CxOK(status)) return status;
  for (int attempt = 0; attempt < 2; ++attempt) {
    size_t room = sb->capacity - sb->length;
    int written = isLong ? std::snprintf(sb->text + sb->length, room, fmtBuf, width, c.prec, ld)
                         : std::snprintf(sb->text + sb->length, room, fmtBuf, width, c.prec, d);
    if (written < 0) {
      Terminate(sb);
      return CxPlatformError(errno);
    }
    if (static_cast<size_t>(written) < room) {
      sb->length += static_cast<uint32_t>(written);
      return CX_SUCCESS;
    }
    Terminate(sb);
    status = CxStringBuffReserve(sb, static_cast<size_t>(written));
    if (!CxOK(status)) return status;
  }
  return CxOtherError(CX_CODE_INVALID);
}

// The conversion that suits a value of this kind.
char OwnConversion(Kind kind) {
  switch (kind) {
    case V_INT: return 'd';
    case V_CHAR: return 'c';
    case V_WCHAR: return 'C';
    case V_DOUBLE:
    case V_LDOUBLE: return 'f';
    case V_STR: return 's';
    case V_WSTR: return 'S';
    case V_PTR: return 'p';
  }
  return 'd';
}

bool Accepts(char conv, Kind kind) {
  const bool integer = kind == V_INT || kind == V_CHAR || kind == V_WCHAR;
  switch (conv) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'p': return integer || kind == V_PTR;
    case 'c':
    case 'C': return integer;
    case 's':
    case 'S': return kind == V_STR || kind == V_WSTR;
    default: return integer || kind == V_DOUBLE || kind == V_LDOUBLE;
  }
}

CxStatus EmitConversion(CxStringBuff *sb, Conv c, const Value &v) {
  if (!Accepts(c.conv, v.kind)) {
    c.conv = OwnConversion(v.kind);
    c.length = v.kind == V_LDOUBLE ? LEN_BIGL : LEN_NONE;
  }
  switch (c.conv) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'p': {
      if (c.conv == 'p' && v.kind == V_PTR && v.p == nullptr) {
        Conv text = c;
        text.prec = -1;
        return EmitString(sb, text, "(nil)");
      }
      uint64_t raw = v.kind == V_PTR ? reinterpret_cast<uintptr_t>(v.p) : static_cast<uint64_t>(v.i);
      int bits = v.kind == V_PTR ? 64 : v.bits;
      if (c.length == LEN_HH && bits > 8) bits = 8;
      if (c.length == LEN_H && bits > 16) bits = 16;
      const bool isSigned = c.conv == 'd' || c.conv == 'i';
      if (isSigned) {
        int64_t s = static_cast<int64_t>(raw << (64 - bits)) >> (64 - bits);
        uint64_t mag = s < 0 ? 0 - static_cast<uint64_t>(s) : static_cast<uint64_t>(s);
        return EmitInteger(sb, c, mag, s < 0, true);
      }
      uint64_t mask = bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
      return EmitInteger(sb, c, raw & mask, false, false);
    }
    case 'c':
    case 'C':
      c.prec = -1;
      if (c.conv == 'C' || c.length == LEN_L || v.kind == V_WCHAR) {
        return EmitWideChar(sb, c, static_cast<uint32_t>(v.i));
      } else {
        char ch = static_cast<char>(static_cast<unsigned char>(v.i));
        return EmitText(sb, c, &ch, 1);
      }
    case 's':
    case 'S':
      return v.kind == V_WSTR ? EmitWideString(sb, c, v.ws) : EmitString(sb, c, v.s);
    default: return EmitFloat(sb, c, v);
  }
}

// Width or precision from an argument: an integer that fits an int.
bool IntArgument(const Value &v, int *out) {
  if (v.kind != V_INT && v.kind != V_CHAR && v.kind != V_WCHAR) return false;
  int64_t s = v.bits >= 64 ? v.i : static_cast<int64_t>(static_cast<uint64_t>(v.i) << (64 - v.bits)) >> (64 - v.bits);
  if (s < INT_MIN || s > INT_MAX) return false;
  *out = static_cast<int>(s);
  return true;
}

CxStatus Emit(CxStringBuff *sb, const Parsed &parsed, const SmallVec<Value, 16> &values) {
  const uint32_t start = sb->length;
  CxStatus status = CX_SUCCESS;
  for (size_t i = 0; i < parsed.pieces.size() && CxOK(status); ++i) {
    const Piece &piece = parsed.pieces[i];
    if (piece.conv == 0) {
      status = CxStringBuffReserve(sb, piece.textLen);
      if (CxOK(status)) {
        PutBytes(sb, piece.text, piece.textLen);
        Terminate(sb);
      }
      continue;
    }
    Conv c{piece.conv, piece.flags, piece.length, static_cast<size_t>(piece.width), piece.prec};
    if (piece.widthArg >= 0) {
      int w;
      if (!IntArgument(values[static_cast<size_t>(piece.widthArg)], &w)) {
        status = CxOtherError(CX_CODE_INVALID);
        break;
      }
      // A negative width is the '-' flag and its absolute value.
      if (w < 0) c.flags |= F_MINUS;
      c.width = w < 0 ? 0 - static_cast<size_t>(static_cast<int64_t>(w)) : static_cast<size_t>(w);
    }
    if (piece.precArg >= 0) {
      int p;
      if (!IntArgument(values[static_cast<size_t>(piece.precArg)], &p)) {
        status = CxOtherError(CX_CODE_INVALID);
        break;
      }
      c.prec = p < 0 ? -1 : p;
    }
    status = EmitConversion(sb, c, values[static_cast<size_t>(piece.arg)]);
  }
  if (!CxOK(status) && sb->text != nullptr) {
    sb->length = start;
    Terminate(sb);
  }
  return status;
}

}  // namespace

CxStatus CxStringBuffPrintfV(CxStringBuff *sb, const char *fmt, va_list ap) {
  if (sb == nullptr || fmt == nullptr) return CxOtherError(CX_CODE_INVALID);
  Parsed parsed;
  CxStatus status = Parse(fmt, &parsed);
  if (!CxOK(status)) return status;
  SmallVec<Value, 16> values;
  va_list args;
  va_copy(args, ap);
  if (values.Resize(parsed.types.size(), Value{})) {
    for (size_t i = 0; i < parsed.types.size(); ++i) Fetch(&args, static_cast<FetchType>(parsed.types[i]), &values[i]);
  } else {
    status = CxPlatformError(ENOMEM);
  }
  va_end(args);
  if (!CxOK(status)) return status;
  return Emit(sb, parsed, values);
}

CxStatus CxStringBuffPrintf(CxStringBuff *sb, const char *fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  CxStatus status = CxStringBuffPrintfV(sb, fmt, ap);
  va_end(ap);
  return status;
}

CxStatus CxStringBuffPrintfArgs(CxStringBuff *sb, const char *fmt, const CxPrintfArg *args, size_t nargs) {
  if (sb == nullptr || fmt == nullptr || (args == nullptr && nargs != 0)) return CxOtherError(CX_CODE_INVALID);
  Parsed parsed;
  CxStatus status = Parse(fmt, &parsed);
  if (!CxOK(status)) return status;
  if (parsed.types.size() > nargs) return CxOtherError(CX_CODE_ARGUMENT);
  SmallVec<Value, 16> values;
  if (!values.Resize(parsed.types.size(), Value{})) return CxPlatformError(ENOMEM);
  for (size_t i = 0; i < parsed.types.size(); ++i) {
    const CxPrintfArg &a = args[i];
    Value &v = values[i];
    switch (a.type) {
      case CX_ARG_INT32: SetInt(&v, a.v.i32, 32); break;
      case CX_ARG_INT64: SetInt(&v, a.v.i64, 64); break;
      case CX_ARG_CHAR:
        SetInt(&v, a.v.ch, 32);
        v.kind = V_CHAR;
        break;
      case CX_ARG_LDOUBLE:
        v.kind = V_LDOUBLE;
        v.ld = a.v.ld;
        break;
      case CX_ARG_STRING:
        v.kind = V_STR;
        v.s = a.v.s;
        break;
      default: return CxOtherError(CX_CODE_INVALID);
    }
  }
  return Emit(sb, parsed, values);
}

std::string cxPrintfDoThousandSep(const std::string &digits, const char *sep, const char *grouping) {
  if (sep == nullptr || grouping == nullptr || sep[0] == '\0') return digits;
  // A group size of CHAR_MAX (or 255 where char is unsigned) means that no
  // further grouping is done; 0 repeats the previous size.
  auto ends = [](unsigned size) { return size == 0 || size == CHAR_MAX || size >= 255; };
  unsigned size = static_cast<unsigned char>(grouping[0]);
  if (ends(size)) return digits;

  // Positions (from the left) where a separator goes, right to left.
  std::vector<size_t> cuts;
  size_t remaining = digits.size();
  const char *g = grouping;
  while (remaining > size) {
    remaining -= size;
    cuts.push_back(remaining);
    if (g[1] != '\0') {
      ++g;
      size = static_cast<unsigned char>(*g);
      if (ends(size)) break;
    }
  }

  const size_t sepLen = std::strlen(sep);
  std::string out;
  out.reserve(digits.size() + cuts.size() * sepLen);
  size_t from = 0;
  for (size_t i = cuts.size(); i-- > 0;) {
    out.append(digits, from, cuts[i] - from);
    out.append(sep, sepLen);
    from = cuts[i];
  }
  out.append(digits, from, std::string::npos);
  return out;
}
