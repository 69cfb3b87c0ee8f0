// Locale objects: a named glibc locale_t owned by the object.
#include <langinfo.h>
#include <locale.h>

#include "tis/tis.h"
#include "tis/tis_internal.h"

struct TisLocale {
  std::string name;
  locale_t handle = static_cast<locale_t>(0);
};

TisLocale *TisLocaleCreate(const char *name) {
  locale_t handle;
  std::string localeName;
  if (name == nullptr || *name == '\0') {
    // A snapshot of the process locale: later setlocale calls do not change it.
    handle = duplocale(LC_GLOBAL_LOCALE);
    const char *messages = setlocale(LC_MESSAGES, nullptr);
    localeName = messages ? messages : "C";
  } else {
    handle = newlocale(LC_ALL_MASK, name, static_cast<locale_t>(0));
    localeName = name;
  }
  if (handle == static_cast<locale_t>(0)) return nullptr;
  auto loc = new TisLocale;
  loc->name = std::move(localeName);
  loc->handle = handle;
  return loc;
}

TisLocale *TisLocaleCopy(const TisLocale *loc) {
  if (loc == nullptr) return nullptr;
  locale_t handle = duplocale(loc->handle);
  if (handle == static_cast<locale_t>(0)) return nullptr;
  auto copy = new TisLocale;
  copy->name = loc->name;
  copy->handle = handle;
  return copy;
}

void TisLocaleFree(TisLocale *loc) {
  if (loc == nullptr) return;
  freelocale(loc->handle);
  delete loc;
}

const char *TisLocaleName(const TisLocale *loc) {
  if (loc != nullptr) return loc->name.c_str();
  const char *messages = setlocale(LC_MESSAGES, nullptr);
  return messages ? messages : "C";
}

const char *TisLocaleCodesetName(const TisLocale *loc) {
  return loc ? nl_langinfo_l(CODESET, loc->handle) : nl_langinfo(CODESET);
}

locale_t TisLocaleHandle(const TisLocale *loc) { return loc->handle; }
