// Text layer: codesets, conversion to and from UTF-8 and UCS-2, locale objects,
// XPG4 message catalogs found through a search path, and a codeset-aware strftime.
// Built on glibc only (iconv, newlocale, catopen/catgets, strftime_l).
//
// Every object here is owned by its creator and freed with its Free function.
// Nothing throws; failures are reported through return values.
#ifndef ZOVEXA_TIS_TIS_H_
#define ZOVEXA_TIS_TIS_H_

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

// ---- library state -----------------------------------------------------------

// Reference-counted start and stop of the text layer. TisInit reads the
// environment variables NLSPATH (message search path) and TISDIR (data
// directory) the first time; TisShutdown of the last user forgets them.
// Both are thread-safe.
bool TisInit();
void TisShutdown();

// The message search path: colon-separated templates with %N (catalog name),
// %L (locale name), %l (language), %t (territory), %c (codeset) and %% . The
// initial value comes from NLSPATH. Set/Get are thread-safe; Get returns a copy.
void TisSetMsgPath(const char *path);
std::string TisGetMsgPath();

// The data directory (initially $TISDIR, or empty). Catalogs not found through
// the search path are also looked for as <dataDir>/msg/%L/%N.cat.
void TisSetDataDir(const char *dir);
std::string TisGetDataDir();

// ---- codesets ------------------------------------------------------------------

struct TisCodeset;

// Creates a codeset by name: the exact name "UTF8" is UTF-8; any name iconv
// knows ("ISO-8859-1", "IBM037", "GB18030", ...) is that codeset; NULL or ""
// gives the process default, nl_langinfo(CODESET). Returns NULL for a name
// iconv does not know.
TisCodeset *TisCodesetCreate(const char *name);
void TisCodesetFree(TisCodeset *cs);
// The name as iconv knows it ("UTF-8" for "UTF8").
const char *TisCodesetName(const TisCodeset *cs);
bool TisCodesetIsUTF8(const TisCodeset *cs);

// Conversions append nothing to *out on failure and return false (invalid or
// incomplete input, or a character the target cannot represent). A NULL codeset
// means UTF-8. The input is len bytes (it need not be NUL-terminated).
// A codeset may be shared between threads: its conversions take turns.
bool TisToUTF8(const TisCodeset *from, const char *in, size_t len, std::string *out);
bool TisFromUTF8(const TisCodeset *to, const char *in, size_t len, std::string *out);
bool TisUTF8ToUCS2(const char *in, size_t len, std::u16string *out);
bool TisUCS2ToUTF8(const char16_t *in, size_t len, std::string *out);
bool TisToUCS2(const TisCodeset *from, const char *in, size_t len, std::u16string *out);
bool TisFromUCS2(const TisCodeset *to, const char16_t *in, size_t len, std::string *out);

// ---- locales -------------------------------------------------------------------

struct TisLocale;

// Creates a locale object with newlocale(LC_ALL_MASK, name). NULL or "" gives
// the process's current locale settings. Returns NULL for a locale that is not
// installed.
TisLocale *TisLocaleCreate(const char *name);
TisLocale *TisLocaleCopy(const TisLocale *loc);
void TisLocaleFree(TisLocale *loc);
// The locale's name as given ("de_DE.UTF-8"), or the process's LC_MESSAGES name.
const char *TisLocaleName(const TisLocale *loc);
// The codeset of the locale's texts (nl_langinfo_l(CODESET)).
const char *TisLocaleCodesetName(const TisLocale *loc);

// ---- message catalogs ----------------------------------------------------------

struct TisCatalog;

// How the locale of a catalog is chosen when no locale object is given:
// TIS_CAT_DEFAULT uses LANG, TIS_CAT_LOCALE uses LC_MESSAGES (as catopen's
// NL_CAT_LOCALE).
enum TisCatalogMode { TIS_CAT_DEFAULT = 0, TIS_CAT_LOCALE = 1 };

// Opens catalog `name` for `loc` (NULL: the process locale chosen by mode).
// Each template of the search path, then <dataDir>/msg/%L/%N.cat, is tried
// for the locale name, then for the name without its codeset and modifier
// ("de_DE"), then for the language alone ("de"), and finally for "C".
// A name containing "/" is opened as a path. Returns NULL when no file opens.
TisCatalog *TisCatalogOpen(const char *name, const TisLocale *loc, TisCatalogMode mode);
void TisCatalogClose(TisCatalog *cat);
// The path of the file that was opened.
const char *TisCatalogPath(const TisCatalog *cat);

// catgets semantics: the catalog's text of (set, key), or dflt itself (the same
// pointer) when the catalog is NULL or lacks the message. The text stays valid
// until the catalog is closed.
const char *TisCatalogGetRaw(TisCatalog *cat, int set, int key, const char *dflt);

// The text of (set, key), converted from UTF-8 (the codeset our catalogs are
// written in) to `to` (NULL: stay UTF-8), replacing *out. *usedDefault (may be NULL)
// tells whether dflt was used. When conversion fails the text is kept as UTF-8.
void TisCatalogGetText(TisCatalog *cat, int set, int key, const char *dflt,
                       const TisCodeset *to, std::string *out, bool *usedDefault);

// ---- time ----------------------------------------------------------------------

// strftime in the given locale (NULL: the process locale), with the format and
// the result in UTF-8 whatever the locale's codeset. At most `max` bytes of
// result (including the terminating NUL of the underlying strftime, and also
// counting the UTF-8 result plus one); returns false, leaving *out alone, when
// the result does not fit, is empty, or conversion fails. Success replaces *out.
bool TisStrftimeUTF8(const char *fmtUtf8, const struct tm *tm, const TisLocale *loc,
                     size_t max, std::string *out);

#endif  // ZOVEXA_TIS_TIS_H_
