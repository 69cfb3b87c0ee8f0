// Helpers shared by the tests: scratch directories, whole-file reads and a
// text-layer set-up that points the catalog search path at the build tree.
#ifndef ZOVEXA_TESTS_TEST_UTIL_H_
#define ZOVEXA_TESTS_TEST_UTIL_H_

#include <string>
#include <vector>

namespace testutil {

// A fresh directory under $TMPDIR (or /tmp), removed with its contents on
// destruction.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string File(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The whole content of a file, or "" when it cannot be read.
std::string ReadFile(const std::string &path);
bool FileExists(const std::string &path);
void WriteFile(const std::string &path, const std::string &content);
std::vector<std::string> SplitLines(const std::string &text);

// NLSPATH template that finds the catalogs compiled into the build tree.
std::string BuildCatalogPath();

}  // namespace testutil

#endif  // ZOVEXA_TESTS_TEST_UTIL_H_
