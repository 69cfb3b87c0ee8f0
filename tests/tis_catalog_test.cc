#include <locale.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/test_util.h"
#include "tis/tis.h"

namespace {

const char kC[] = "tistest C set 1 key 1";
const char kDe[] = "tistest de Satz 1 Nummer 1";

std::string Built(const std::string &locale) {
  return std::string(ZOVEXA_TEST_NLS_DIR) + "/msg/" + locale + "/tistest.cat";
}

// Copies the compiled test catalog of `locale` to dir/relPath.
void Install(const std::string &locale, const std::string &dir, const std::string &relPath) {
  const std::filesystem::path target = std::filesystem::path(dir) / relPath;
  std::filesystem::create_directories(target.parent_path());
  testutil::WriteFile(target.string(), testutil::ReadFile(Built(locale)));
}

bool HaveGerman() {
  TisLocale *loc = TisLocaleCreate("de_DE.UTF-8");
  TisLocaleFree(loc);
  return loc != nullptr;
}

class TisCatalogTest : public ::testing::Test {
 protected:
  void SetUp() override { TisSetMsgPath(testutil::BuildCatalogPath().c_str()); }
  void TearDown() override {
    TisSetMsgPath("");
    TisSetDataDir("");
  }

  // Set 1 key 1 of catalog "tistest" opened for a locale object of that name
  // (NULL: none, the mode decides), or "<none>"; *path gets the file opened.
  std::string Key1(const char *locale, TisCatalogMode mode = TIS_CAT_LOCALE,
                   std::string *path = nullptr) {
    TisLocale *loc = locale ? TisLocaleCreate(locale) : nullptr;
    if (locale && !loc) return "<no locale>";
    TisCatalog *cat = TisCatalogOpen("tistest", loc, mode);
    TisLocaleFree(loc);
    if (cat == nullptr) return "<none>";
    std::string text = TisCatalogGetRaw(cat, 1, 1, "<missing>");
    if (path) *path = TisCatalogPath(cat);
    TisCatalogClose(cat);
    return text;
  }
};

TEST_F(TisCatalogTest, LookupBySetAndKeyWithDefaultPointer) {
  static const char dflt[] = "built-in";
  TisCatalog *cat = TisCatalogOpen("tistest", nullptr, TIS_CAT_LOCALE);
  ASSERT_NE(cat, nullptr);
  EXPECT_STREQ(TisCatalogGetRaw(cat, 1, 1, dflt), kC);
  EXPECT_STREQ(TisCatalogGetRaw(cat, 2, 1, dflt), "tistest C set 2 key 1");
  EXPECT_EQ(TisCatalogGetRaw(cat, 1, 3, dflt), dflt);  // key missing from the set
  EXPECT_EQ(TisCatalogGetRaw(cat, 3, 1, dflt), dflt);  // set missing
  EXPECT_EQ(TisCatalogGetRaw(nullptr, 1, 1, dflt), dflt);
  TisCatalogClose(cat);
  EXPECT_EQ(TisCatalogOpen("tistest-absent", nullptr, TIS_CAT_LOCALE), nullptr);

  cat = TisCatalogOpen("ccgmsg", nullptr, TIS_CAT_LOCALE);
  ASSERT_NE(cat, nullptr);
  EXPECT_STREQ(TisCatalogGetRaw(cat, 1, 20, dflt), "CCGBC0020E Out of memory.");
  TisCatalogClose(cat);
}

TEST_F(TisCatalogTest, LocaleChoosesTheCatalog) {
  if (!HaveGerman()) GTEST_SKIP() << "de_DE.UTF-8 not installed";
  std::string path;
  EXPECT_EQ(Key1("de_DE.UTF-8", TIS_CAT_LOCALE, &path), kDe);  // via "de_DE"
  EXPECT_EQ(path, Built("de_DE"));
  for (const char *c : {"C", "C.UTF-8", "POSIX"}) {
    EXPECT_EQ(Key1(c), kC) << c;
  }
  // No catalog of its own: the C one.
  if (Key1("en_US.UTF-8", TIS_CAT_LOCALE, &path) != "<no locale>") {
    EXPECT_EQ(path, Built("C"));
  }

  // Without a locale object: LANG in the default mode, LC_MESSAGES otherwise.
  const char *lang = std::getenv("LANG");
  const std::string savedLang = lang ? lang : "";
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(Key1(nullptr, TIS_CAT_DEFAULT), kDe);
  EXPECT_EQ(Key1(nullptr, TIS_CAT_LOCALE), kC);
  unsetenv("LANG");
  EXPECT_EQ(Key1(nullptr, TIS_CAT_DEFAULT), kC);
  ASSERT_NE(setlocale(LC_MESSAGES, "de_DE.UTF-8"), nullptr);
  EXPECT_EQ(Key1(nullptr, TIS_CAT_LOCALE), kDe);
  setlocale(LC_MESSAGES, "C");
  if (lang) setenv("LANG", savedLang.c_str(), 1);
}

TEST_F(TisCatalogTest, SearchPathExpansionAndOrder) {
  if (!HaveGerman()) GTEST_SKIP() << "de_DE.UTF-8 not installed";
  testutil::TempDir dir;
  const std::string root = dir.path();
  std::string path;

  Install("de_DE", root, "lang/de/tistest.cat");  // language only
  TisSetMsgPath((root + "/lang/%L/%N.cat").c_str());
  EXPECT_EQ(Key1("de_DE.UTF-8"), kDe);

  Install("de_DE", root, "parts/de/DE/UTF-8/pct%/tistest.cat");
  TisSetMsgPath((root + "/parts/%l/%t/%c/pct%%/%N.cat").c_str());
  EXPECT_EQ(Key1("de_DE.UTF-8", TIS_CAT_LOCALE, &path), kDe);
  EXPECT_EQ(path, root + "/parts/de/DE/UTF-8/pct%/tistest.cat");

  // A better locale match in a later template beats "C" in an earlier one;
  // for the same locale the earlier template wins.
  Install("C", root, "first/C/tistest.cat");
  Install("C", root, "second/C/tistest.cat");
  TisSetMsgPath((root + "/first/%L/%N.cat::" + testutil::BuildCatalogPath() + ":" + root +
                 "/second/%L/%N.cat").c_str());
  EXPECT_EQ(Key1("de_DE.UTF-8"), kDe);
  EXPECT_EQ(Key1("C", TIS_CAT_LOCALE, &path), kC);
  EXPECT_EQ(path, root + "/first/C/tistest.cat");

  // The data directory is searched after the path.
  Install("de_DE", root, "data/msg/de_DE/tistest.cat");
  TisSetMsgPath((root + "/nowhere/%L/%N.cat").c_str());
  EXPECT_EQ(Key1("de_DE.UTF-8"), "<none>");
  TisSetDataDir((root + "/data").c_str());
  EXPECT_EQ(Key1("de_DE.UTF-8", TIS_CAT_LOCALE, &path), kDe);
  EXPECT_EQ(path, root + "/data/msg/de_DE/tistest.cat");

  TisCatalog *cat = TisCatalogOpen(Built("C").c_str(), nullptr, TIS_CAT_DEFAULT);  // a path
  ASSERT_NE(cat, nullptr);
  EXPECT_STREQ(TisCatalogGetRaw(cat, 1, 1, "x"), kC);
  TisCatalogClose(cat);
}

TEST_F(TisCatalogTest, GetTextConvertsFromUtf8) {
  TisLocale *original = TisLocaleCreate("de_DE.UTF-8");
  if (original == nullptr) GTEST_SKIP() << "de_DE.UTF-8 not installed";
  TisLocale *de = TisLocaleCopy(original);  // must not depend on the original
  TisLocaleFree(original);
  ASSERT_NE(de, nullptr);
  EXPECT_STREQ(TisLocaleName(de), "de_DE.UTF-8");
  EXPECT_STREQ(TisLocaleCodesetName(de), "UTF-8");
  TisCatalog *cat = TisCatalogOpen("tistest", de, TIS_CAT_LOCALE);
  TisLocaleFree(de);
  TisCodeset *latin1 = TisCodesetCreate("ISO-8859-1");
  ASSERT_TRUE(cat && latin1);
  std::string out = "old";
  bool usedDefault = true;
  TisCatalogGetText(cat, 2, 3, "dflt", nullptr, &out, &usedDefault);
  EXPECT_EQ(out, "Gr\xC3\xBC\xC3\x9F" "e");
  EXPECT_FALSE(usedDefault);
  TisCatalogGetText(cat, 2, 3, "dflt", latin1, &out, &usedDefault);
  EXPECT_EQ(out, "Gr\xFC\xDF" "e");
  TisCatalogGetText(cat, 2, 9, "d\xC3\xA9" "faut", latin1, &out, &usedDefault);
  EXPECT_EQ(out, "d\xE9" "faut");
  EXPECT_TRUE(usedDefault);
  // Latin-1 has no U+4E2D: the text stays UTF-8 rather than being lost.
  TisCatalogGetText(nullptr, 1, 1, "\xE4\xB8\xAD", latin1, &out, nullptr);
  EXPECT_EQ(out, "\xE4\xB8\xAD");
  TisCodesetFree(latin1);
  TisCatalogClose(cat);
}

TEST(TisStateTest, InitReadsEnvironmentOnceAndLastShutdownForgets) {
  setenv("NLSPATH", "/env/%N", 1);
  setenv("TISDIR", "/env/tis", 1);
  ASSERT_TRUE(TisInit());
  EXPECT_EQ(TisGetMsgPath(), "/env/%N");
  EXPECT_EQ(TisGetDataDir(), "/env/tis");
  TisSetMsgPath("/set/%N");
  ASSERT_TRUE(TisInit());  // a second user keeps the settings
  TisShutdown();
  EXPECT_EQ(TisGetMsgPath(), "/set/%N");
  TisShutdown();
  EXPECT_EQ(TisGetMsgPath(), "");
  EXPECT_EQ(TisGetDataDir(), "");
  unsetenv("NLSPATH");
  unsetenv("TISDIR");
}

}  // namespace
