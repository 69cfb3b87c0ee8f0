#include "tests/test_util.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>

#include <filesystem>

namespace testutil {

TempDir::TempDir() {
  const char *base = std::getenv("TMPDIR");
  std::string tmpl = std::string(base && *base ? base : "/tmp") + "/zovexa-test-XXXXXX";
  std::vector<char> buf(tmpl.begin(), tmpl.end());
  buf.push_back('\0');
  if (mkdtemp(buf.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string ReadFile(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

bool FileExists(const std::string &path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

void WriteFile(const std::string &path, const std::string &content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

std::vector<std::string> SplitLines(const std::string &text) {
  std::vector<std::string> lines;
  std::string cur;
  for (char c : text) {
    if (c == '\n') {
      lines.push_back(cur);
      cur.clear();
    } else {
      cur.push_back(c);
    }
  }
  if (!cur.empty()) lines.push_back(cur);
  return lines;
}

std::string BuildCatalogPath() { return std::string(ZOVEXA_TEST_NLS_DIR) + "/msg/%L/%N.cat"; }

std::string Take(char *text) {
  std::string s = text != nullptr ? text : "<null>";
  CCgFree(text);
  return s;
}

std::vector<std::string> Names(CCgIterator *it) {
  std::vector<std::string> out;
  for (; CCgIteratorHasNext(it); CCgIteratorNext(it)) out.push_back(Take(CCgIteratorGetKey(it)));
  CCgFreeIterator(it);
  return out;
}

char *LineFormat(CCgObject *, CCgEvent *event) {
  char *text = CCgBindEventMsg(event, nullptr);
  std::string line = std::string(text != nullptr ? text : "") + "\n";
  CCgFree(text);
  return strdup(line.c_str());
}

char *LineHeader(CCgObject *) { return strdup("HEADER\n"); }
char *LineTrailer(CCgObject *) { return strdup("TRAILER\n"); }

}  // namespace testutil
