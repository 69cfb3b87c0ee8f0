// Codeset objects and conversions between a codeset, UTF-8 and UCS-2.
//
// A codeset other than UTF-8 keeps two iconv descriptors (to and from UTF-8)
// for its whole life. A descriptor carries conversion state and must not be
// used by two threads at once, so each codeset has a mutex held for the
// duration of one conversion; threads that convert heavily in parallel should
// use codesets of their own. UCS-2 (UTF-16 code units in host order, no BOM,
// surrogate pairs for characters beyond U+FFFF) is converted here from and to
// UTF-8 without iconv, so conversions to or from UCS-2 go through UTF-8.
#include <errno.h>
#include <iconv.h>
#include <langinfo.h>

#include <cctype>
#include <mutex>

#include "tis/tis.h"

struct TisCodeset {
  std::string name;
  bool utf8 = false;
  iconv_t toUtf8 = reinterpret_cast<iconv_t>(-1);
  iconv_t fromUtf8 = reinterpret_cast<iconv_t>(-1);
  mutable std::mutex mu;  // guards the state inside both descriptors
};

namespace {

const iconv_t kNoDescriptor = reinterpret_cast<iconv_t>(-1);

// "UTF-8", "utf8", "UTF_8": names iconv treats as UTF-8, which needs no
// descriptor because our internal form already is UTF-8.
bool IsUtf8Name(const std::string &name) {
  std::string folded;
  for (char c : name) {
    if (c == '-' || c == '_') continue;
    folded.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  }
  return folded == "UTF8";
}

// Converts all of in through cd and appends the result to *out, or appends
// nothing and returns false on invalid, incomplete or unrepresentable input.
bool RunIconv(iconv_t cd, const char *in, size_t len, std::string *out) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);  // forget a failed earlier call
  std::string buf(len + len / 2 + 16, '\0');
  char *inp = const_cast<char *>(in);
  size_t inLeft = len;
  size_t used = 0;
  bool flushing = false;  // after the input, emit the final shift sequence
  for (;;) {
    char *outp = buf.data() + used;
    size_t outLeft = buf.size() - used;
    size_t rc = flushing ? iconv(cd, nullptr, nullptr, &outp, &outLeft)
                         : iconv(cd, &inp, &inLeft, &outp, &outLeft);
    used = static_cast<size_t>(outp - buf.data());
    if (rc != static_cast<size_t>(-1)) {
      if (flushing) break;
      flushing = true;
      continue;
    }
    if (errno != E2BIG) {
      iconv(cd, nullptr, nullptr, nullptr, nullptr);
      return false;
    }
    buf.resize(buf.size() * 2);
  }
  out->append(buf.data(), used);
  return true;
}

// Decodes one UTF-8 sequence at in[*pos] into *cp and advances *pos. Rejects
// overlong forms, surrogates, values above U+10FFFF and truncated sequences.
bool DecodeUtf8(const char *in, size_t len, size_t *pos, char32_t *cp) {
  const unsigned char lead = static_cast<unsigned char>(in[*pos]);
  size_t extra;
  char32_t value;
  char32_t minimum;
  if (lead < 0x80) {
    *cp = lead;
    ++*pos;
    return true;
  } else if ((lead & 0xE0) == 0xC0) {
    extra = 1, value = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, value = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3, value = lead & 0x07, minimum = 0x10000;
  } else {
    return false;
  }
  if (len - *pos <= extra) return false;
  for (size_t i = 1; i <= extra; ++i) {
    const unsigned char c = static_cast<unsigned char>(in[*pos + i]);
    if ((c & 0xC0) != 0x80) return false;
    value = (value << 6) | (c & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
  *cp = value;
  *pos += extra + 1;
  return true;
}

void EncodeUtf8(char32_t cp, std::string *out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

bool ValidUtf8(const char *in, size_t len) {
  size_t pos = 0;
  char32_t cp;
  while (pos < len) {
    if (!DecodeUtf8(in, len, &pos, &cp)) return false;
  }
  return true;
}

// in == NULL is acceptable only for empty input.
bool BadArgs(const void *in, size_t len, const void *out) {
  return out == nullptr || (in == nullptr && len != 0);
}

}  // namespace

TisCodeset *TisCodesetCreate(const char *name) {
  auto cs = new TisCodeset;
  if (name == nullptr || *name == '\0') {
    cs->name = nl_langinfo(CODESET);
  } else {
    cs->name = name;
  }
  if (IsUtf8Name(cs->name)) {
    cs->name = "UTF-8";
    cs->utf8 = true;
    return cs;
  }
  cs->toUtf8 = iconv_open("UTF-8", cs->name.c_str());
  cs->fromUtf8 = iconv_open(cs->name.c_str(), "UTF-8");
  if (cs->toUtf8 == kNoDescriptor || cs->fromUtf8 == kNoDescriptor) {
    TisCodesetFree(cs);
    return nullptr;
  }
  return cs;
}

void TisCodesetFree(TisCodeset *cs) {
  if (cs == nullptr) return;
  if (cs->toUtf8 != kNoDescriptor) iconv_close(cs->toUtf8);
  if (cs->fromUtf8 != kNoDescriptor) iconv_close(cs->fromUtf8);
  delete cs;
}

const char *TisCodesetName(const TisCodeset *cs) { return cs ? cs->name.c_str() : "UTF-8"; }

bool TisCodesetIsUTF8(const TisCodeset *cs) { return cs == nullptr || cs->utf8; }

bool TisToUTF8(const TisCodeset *from, const char *in, size_t len, std::string *out) {
  if (BadArgs(in, len, out)) return false;
  if (TisCodesetIsUTF8(from)) {
    if (!ValidUtf8(in, len)) return false;
    out->append(in, len);
    return true;
  }
  std::lock_guard<std::mutex> lock(from->mu);
  return RunIconv(from->toUtf8, in, len, out);
}

bool TisFromUTF8(const TisCodeset *to, const char *in, size_t len, std::string *out) {
  if (BadArgs(in, len, out)) return false;
  if (TisCodesetIsUTF8(to)) {
    if (!ValidUtf8(in, len)) return false;
    out->append(in, len);
    return true;
  }
  std::lock_guard<std::mutex> lock(to->mu);
  return RunIconv(to->fromUtf8, in, len, out);
}

bool TisUTF8ToUCS2(const char *in, size_t len, std::u16string *out) {
  if (BadArgs(in, len, out)) return false;
  std::u16string result;
  result.reserve(len);
  size_t pos = 0;
  while (pos < len) {
    char32_t cp;
    if (!DecodeUtf8(in, len, &pos, &cp)) return false;
    if (cp < 0x10000) {
      result.push_back(static_cast<char16_t>(cp));
    } else {
      cp -= 0x10000;
      result.push_back(static_cast<char16_t>(0xD800 | (cp >> 10)));
      result.push_back(static_cast<char16_t>(0xDC00 | (cp & 0x3FF)));
    }
  }
  out->append(result);
  return true;
}

bool TisUCS2ToUTF8(const char16_t *in, size_t len, std::string *out) {
  if (BadArgs(in, len, out)) return false;
  std::string result;
  result.reserve(len * 3);
  for (size_t i = 0; i < len; ++i) {
    char32_t cp = in[i];
    if (cp >= 0xDC00 && cp <= 0xDFFF) return false;  // trail without lead
    if (cp >= 0xD800 && cp <= 0xDBFF) {
      if (i + 1 == len || in[i + 1] < 0xDC00 || in[i + 1] > 0xDFFF) return false;
      cp = 0x10000 + ((cp - 0xD800) << 10) + (in[i + 1] - 0xDC00);
      ++i;
    }
    EncodeUtf8(cp, &result);
  }
  out->append(result);
  return true;
}

bool TisToUCS2(const TisCodeset *from, const char *in, size_t len, std::u16string *out) {
  if (BadArgs(in, len, out)) return false;
  std::string utf8;
  return TisToUTF8(from, in, len, &utf8) && TisUTF8ToUCS2(utf8.data(), utf8.size(), out);
}

bool TisFromUCS2(const TisCodeset *to, const char16_t *in, size_t len, std::string *out) {
  if (BadArgs(in, len, out)) return false;
  std::string utf8;
  return TisUCS2ToUTF8(in, len, &utf8) && TisFromUTF8(to, utf8.data(), utf8.size(), out);
}
