// XPG4 message catalogs located through the search path of the text layer.
//
// The locale to open for may differ from the process's, so the search path is
// expanded here rather than by catopen: every expanded template is handed to
// catopen as a path (a name with a '/' is opened as it is), and the first file
// that opens wins. Locale names are tried from the most to the least specific,
// and for each one every template in turn, so that a catalog in the right
// language found late in the path beats a "C" catalog found early.
#include <locale.h>
#include <nl_types.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "tis/tis.h"

struct TisCatalog {
  nl_catd catd;
  std::string path;
};

namespace {

const nl_catd kNoCatalog = reinterpret_cast<nl_catd>(-1);

// The parts of "language_TERRITORY.codeset@modifier"; absent parts are empty.
struct LocaleParts {
  std::string language;
  std::string territory;
  std::string codeset;
};

LocaleParts SplitLocaleName(const std::string &name) {
  LocaleParts parts;
  const size_t at = name.find('@');
  const std::string head = name.substr(0, at);
  const size_t dot = head.find('.');
  const std::string langTerr = head.substr(0, dot);
  if (dot != std::string::npos) parts.codeset = head.substr(dot + 1);
  const size_t underscore = langTerr.find('_');
  parts.language = langTerr.substr(0, underscore);
  if (underscore != std::string::npos) parts.territory = langTerr.substr(underscore + 1);
  return parts;
}

// "C" in any of its spellings ("POSIX", "C.UTF-8", "C.utf8") has its catalogs
// under "C".
bool IsCLocale(const std::string &name) {
  return name.empty() || name == "C" || name == "POSIX" || name.rfind("C.", 0) == 0 ||
         name.rfind("C@", 0) == 0;
}

// The locale names to try, most specific first, ending with "C".
std::vector<std::string> LocaleCandidates(const std::string &name) {
  std::vector<std::string> result;
  auto add = [&result](const std::string &candidate) {
    if (candidate.empty()) return;
    for (const std::string &seen : result) {
      if (seen == candidate) return;
    }
    result.push_back(candidate);
  };
  if (!IsCLocale(name)) {
    const LocaleParts parts = SplitLocaleName(name);
    add(name);
    add(parts.territory.empty() ? parts.language : parts.language + "_" + parts.territory);
    add(parts.language);
  }
  add("C");
  return result;
}

std::string ExpandTemplate(const std::string &tmpl, const std::string &catalog,
                           const std::string &locale) {
  const LocaleParts parts = SplitLocaleName(locale);
  std::string result;
  for (size_t i = 0; i < tmpl.size(); ++i) {
    if (tmpl[i] != '%' || i + 1 == tmpl.size()) {
      result.push_back(tmpl[i]);
      continue;
    }
    switch (tmpl[++i]) {
      case 'N': result += catalog; break;
      case 'L': result += locale; break;
      case 'l': result += parts.language; break;
      case 't': result += parts.territory; break;
      case 'c': result += parts.codeset; break;
      case '%': result.push_back('%'); break;
      default:  // not a substitution: keep it as written
        result.push_back('%');
        result.push_back(tmpl[i]);
        break;
    }
  }
  return result;
}

std::vector<std::string> SearchTemplates() {
  std::vector<std::string> templates;
  const std::string path = TisGetMsgPath();
  size_t start = 0;
  while (start <= path.size()) {
    size_t colon = path.find(':', start);
    if (colon == std::string::npos) colon = path.size();
    if (colon > start) templates.push_back(path.substr(start, colon - start));
    start = colon + 1;
  }
  const std::string dataDir = TisGetDataDir();
  if (!dataDir.empty()) templates.push_back(dataDir + "/msg/%L/%N.cat");
  return templates;
}

// The locale whose catalogs are wanted when the caller names no locale object.
std::string ProcessLocaleName(TisCatalogMode mode) {
  if (mode == TIS_CAT_LOCALE) {
    const char *messages = setlocale(LC_MESSAGES, nullptr);
    return messages ? messages : "C";
  }
  const char *lang = std::getenv("LANG");
  return lang && *lang ? lang : "C";
}

TisCatalog *OpenPath(const std::string &path) {
  // Without a '/' catopen would run its own NLSPATH search instead.
  const std::string direct = path.find('/') == std::string::npos ? "./" + path : path;
  nl_catd catd = catopen(direct.c_str(), 0);
  if (catd == kNoCatalog) return nullptr;
  return new TisCatalog{catd, direct};
}

}  // namespace

TisCatalog *TisCatalogOpen(const char *name, const TisLocale *loc, TisCatalogMode mode) {
  if (name == nullptr || *name == '\0') return nullptr;
  if (std::strchr(name, '/') != nullptr) return OpenPath(name);
  const std::string localeName = loc ? TisLocaleName(loc) : ProcessLocaleName(mode);
  const std::vector<std::string> templates = SearchTemplates();
  for (const std::string &locale : LocaleCandidates(localeName)) {
    for (const std::string &tmpl : templates) {
      const std::string path = ExpandTemplate(tmpl, name, locale);
      if (TisCatalog *cat = OpenPath(path)) return cat;
    }
  }
  return nullptr;
}

void TisCatalogClose(TisCatalog *cat) {
  if (cat == nullptr) return;
  catclose(cat->catd);
  delete cat;
}

const char *TisCatalogPath(const TisCatalog *cat) { return cat ? cat->path.c_str() : nullptr; }

const char *TisCatalogGetRaw(TisCatalog *cat, int set, int key, const char *dflt) {
  if (cat == nullptr) return dflt;
  // catgets hands back its last argument untouched when the message is
  // missing, which keeps the pointer identity callers rely on.
  return catgets(cat->catd, set, key, dflt);
}

void TisCatalogGetText(TisCatalog *cat, int set, int key, const char *dflt,
                       const TisCodeset *to, std::string *out, bool *usedDefault) {
  const char *text = TisCatalogGetRaw(cat, set, key, dflt);
  if (usedDefault != nullptr) *usedDefault = (text == dflt);
  if (out == nullptr) return;
  out->clear();
  if (text == nullptr) return;
  const size_t len = std::strlen(text);
  if (!TisFromUTF8(to, text, len, out)) out->assign(text, len);
}
