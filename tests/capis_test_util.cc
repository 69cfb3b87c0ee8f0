#include "tests/capis_test_util.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>

#include "cbe/dom_helper.h"

TestProp StrProp(const std::string &name, const std::string &value) { return TestProp{name, true, value, 0}; }
TestProp IntProp(const std::string &name, int32_t value) { return TestProp{name, false, "", value}; }

void UseBuildCatalogs() {
  static std::once_flag once;
  std::call_once(once, [] {
    std::string path = std::string(ZOVEXA_TEST_NLS_DIR) + "/msg/%L/%N.cat";
    setenv("NLSPATH", path.c_str(), 1);
  });
}

TestContext::TestContext(const std::vector<TestProp> &extra) {
  UseBuildCatalogs();
  std::vector<TestProp> props = {StrProp("serverURL", "http://127.0.0.1:9/vexaws/services/Emitter"),
                                 StrProp("errorFilePath", dir.File("error.log"))};
  props.insert(props.end(), extra.begin(), extra.end());
  std::vector<ZOVEXA_property> list;
  for (TestProp &p : props) {
    if (p.isString)
      list.push_back({p.name.c_str(), VEXA_VT_STRING, const_cast<char *>(p.s.c_str())});
    else
      list.push_back({p.name.c_str(), VEXA_VT_INTEGER, &p.i});
  }
  list.push_back({nullptr, 0, nullptr});
  ctx = ZOVEXA_AuditClientContext_Create(list.data(), &result);
}

TestContext::~TestContext() {
  ZOVEXA_result r{};
  if (ctx != nullptr) ZOVEXA_AuditClientContext_Delete(ctx, &r);
  ZOVEXA_Result_Clean(&r);
  ZOVEXA_Result_Clean(&result);
}

std::vector<uint32_t> Codes(const ZOVEXA_result &r) {
  std::vector<uint32_t> codes;
  for (int32_t i = 0; i < r.count; ++i) codes.push_back(r.entries[i].code);
  return codes;
}

std::vector<std::string> Texts(const ZOVEXA_result &r) {
  std::vector<std::string> texts;
  for (int32_t i = 0; i < r.count; ++i) texts.push_back(r.entries[i].text != nullptr ? r.entries[i].text : "");
  return texts;
}

uint32_t OnlyCode(const ZOVEXA_result &r) { return r.count == 1 ? r.entries[0].code : 0; }

namespace {

class XmlParserEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    ZOVEXA_result r{};
    ASSERT_EQ(initializeXMLParser(nullptr, &r), 0);
  }
  void TearDown() override { terminateXMLParser(); }
};

}  // namespace

bool UseXmlParser() {
  ::testing::AddGlobalTestEnvironment(new XmlParserEnvironment);
  return true;
}
