// Every operation declared in include/zovexa.h is exported by the shared
// library and called by at least one test.
#include <dirent.h>
#include <dlfcn.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "tests/test_util.h"

namespace {

std::vector<std::string> DeclaredNames() {
  std::string header = testutil::ReadFile(std::string(ZOVEXA_TEST_SOURCE_DIR) + "/include/zovexa.h");
  std::regex decl(R"(ZOVEXA_API[^;(]*?\b(ZOVEXA_\w+)\s*\()");
  std::vector<std::string> names;
  for (std::sregex_iterator it(header.begin(), header.end(), decl), end; it != end; ++it)
    names.push_back((*it)[1].str());
  return names;
}

// The text of every test source except this one.
std::string AllTestSources() {
  std::string dirPath = std::string(ZOVEXA_TEST_SOURCE_DIR) + "/tests";
  std::string all;
  DIR *dir = opendir(dirPath.c_str());
  if (dir == nullptr) return all;
  while (dirent *e = readdir(dir)) {
    std::string name = e->d_name;
    bool source = name.size() > 2 && (name.ends_with(".cc") || name.ends_with(".c"));
    if (source && name != "public_symbols_test.cc") all += testutil::ReadFile(dirPath + "/" + name);
  }
  closedir(dir);
  return all;
}

TEST(PublicSymbols, EveryDeclaredOperationIsExported) {
  std::vector<std::string> names = DeclaredNames();
  ASSERT_GT(names.size(), 150u);
  // Never unloaded: the library's process-lifetime registries stay reachable.
  void *lib = dlopen(ZOVEXA_TEST_SHARED_LIB, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  ASSERT_NE(lib, nullptr) << dlerror();
  for (const std::string &name : names) EXPECT_NE(dlsym(lib, name.c_str()), nullptr) << name;
  // Internals stay hidden, also those with C names (the static library has it).
  EXPECT_EQ(dlsym(lib, "ZOcheckEvent"), nullptr);
  dlclose(lib);
}

TEST(PublicSymbols, EveryDeclaredOperationIsCalledByATest) {
  std::string sources = AllTestSources();
  std::set<std::string> unused;
  for (const std::string &name : DeclaredNames()) {
    std::regex word("\\b" + name + "\\b");
    if (!std::regex_search(sources, word)) unused.insert(name);
  }
  std::string list;
  for (const std::string &name : unused) list += name + "\n";
  EXPECT_TRUE(unused.empty()) << "not used by any test:\n" << list;
}

}  // namespace
