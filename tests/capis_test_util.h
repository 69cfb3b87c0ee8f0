// Helpers for the tests of the C interface: a context made from a minimal
// property list in a temporary directory, and readers of result records.
#ifndef ZOVEXA_TESTS_CAPIS_TEST_UTIL_H_
#define ZOVEXA_TESTS_CAPIS_TEST_UTIL_H_

#include <string>
#include <vector>

#include "tests/test_util.h"
#include "zovexa.h"

// The general test helpers, used unqualified by the tests of the C interface.
using testutil::FileExists;
using testutil::ReadFile;
using testutil::SplitLines;
using testutil::TempDir;
using testutil::WriteFile;

// A string or integer property for MakeContext's extra list.
struct TestProp {
  std::string name;
  bool isString;
  std::string s;
  int32_t i;
};
TestProp StrProp(const std::string &name, const std::string &value);
TestProp IntProp(const std::string &name, int32_t value);

// Owns a context created from serverURL "http://127.0.0.1:9/vexaws/services/Emitter",
// errorFilePath <dir>/error.log and the extra properties (later ones win).
// ctx is NULL when creation failed; result then holds the messages.
class TestContext {
 public:
  explicit TestContext(const std::vector<TestProp> &extra = {});
  ~TestContext();
  TestContext(const TestContext &) = delete;
  TestContext &operator=(const TestContext &) = delete;

  ZOVEXA_AuditClientContext *ctx = nullptr;
  ZOVEXA_result result{};
  TempDir dir;
};

// The codes and texts of a result record's entries.
std::vector<uint32_t> Codes(const ZOVEXA_result &r);
std::vector<std::string> Texts(const ZOVEXA_result &r);
// The code of the only entry, or 0 when there is not exactly one.
uint32_t OnlyCode(const ZOVEXA_result &r);

// Points NLSPATH at the catalogs of the build tree (once per process).
void UseBuildCatalogs();

// For tests of the XML layer without a context: registers a test
// environment that starts the XML parser before the first test and stops it
// after the last. Call at namespace scope:
//   const bool xmlParser = UseXmlParser();
bool UseXmlParser();

#endif  // ZOVEXA_TESTS_CAPIS_TEST_UTIL_H_
