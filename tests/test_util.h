// Helpers shared by the tests: scratch directories, whole-file reads and a
// text-layer set-up that points the catalog search path at the build tree.
#ifndef ZOVEXA_TESTS_TEST_UTIL_H_
#define ZOVEXA_TESTS_TEST_UTIL_H_

#include <string>
#include <vector>

#include "cclog.h"

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

// A toolkit string as std::string ("<null>" for NULL); frees it.
std::string Take(char *text);
// Every name (key) of a toolkit iterator, in order; frees the iterator.
std::vector<std::string> Names(CCgIterator *it);

// Operations of a test formatter class: one line per event (its bound message
// and a line feed), with the header "HEADER\n" and the trailer "TRAILER\n",
// so that file contents are known to the byte.
char *LineFormat(CCgObject *formatter, CCgEvent *event);
char *LineHeader(CCgObject *formatter);
char *LineTrailer(CCgObject *formatter);

}  // namespace testutil

#endif  // ZOVEXA_TESTS_TEST_UTIL_H_
