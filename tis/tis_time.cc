// strftime with UTF-8 format and result in any locale.
#include <langinfo.h>
#include <locale.h>

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "tis/tis.h"
#include "tis/tis_internal.h"

namespace {

struct CodesetDeleter {
  void operator()(TisCodeset *cs) const { TisCodesetFree(cs); }
};

// Codesets of locales seen so far, by name. Formatting times is frequent (every
// log record) and opening iconv descriptors is not cheap, so they are kept for
// the life of the process; there are only as many as distinct locale codesets.
// Entries are never removed, so a returned pointer stays valid.
const TisCodeset *LocaleCodeset(const char *name, bool *ok) {
  static std::mutex *mu = new std::mutex;
  static auto *cache = new std::map<std::string, std::unique_ptr<TisCodeset, CodesetDeleter>>;
  std::lock_guard<std::mutex> lock(*mu);
  auto it = cache->find(name);
  if (it == cache->end()) {
    it = cache->emplace(name, std::unique_ptr<TisCodeset, CodesetDeleter>(TisCodesetCreate(name)))
             .first;
  }
  *ok = it->second != nullptr;
  return it->second.get();
}

}  // namespace

bool TisStrftimeUTF8(const char *fmtUtf8, const struct tm *tm, const TisLocale *loc,
                     size_t max, std::string *out) {
  if (fmtUtf8 == nullptr || *fmtUtf8 == '\0' || tm == nullptr || out == nullptr || max == 0) {
    return false;
  }
  bool known;
  const TisCodeset *cs = LocaleCodeset(TisLocaleCodesetName(loc), &known);
  if (!known) return false;

  std::string fmt;
  if (!TisFromUTF8(cs, fmtUtf8, std::strlen(fmtUtf8), &fmt)) return false;
  std::string buf(max, '\0');
  // The process locale goes through plain strftime: LC_GLOBAL_LOCALE is not a
  // valid argument for the _l functions.
  const size_t n = loc ? strftime_l(buf.data(), max, fmt.c_str(), tm, TisLocaleHandle(loc))
                       : strftime(buf.data(), max, fmt.c_str(), tm);
  if (n == 0) return false;

  // The limit applies to what the caller receives, too, which may be longer
  // in UTF-8 than in the locale's codeset.
  std::string result;
  if (!TisToUTF8(cs, buf.data(), n, &result) || result.size() >= max) return false;
  *out = std::move(result);
  return true;
}
