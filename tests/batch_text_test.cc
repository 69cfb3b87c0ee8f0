// Batch text: batches to back-to-back CBE texts and back, the buffer growth,
// texts without events or not well-formed, and running out of memory.
#include "cbe/batch_text.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "capis/zo_memory.h"
#include "cbe/dom_helper.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

const bool xmlParser = UseXmlParser();

// Texts as the writer makes them, so that they come back unchanged.
const char kEvent1[] =
    "<CommonBaseEvent extensionName=\"ORV_KZT_AUDIT_AUTHN\" version=\"1.0.1\">"
    "<situation categoryName=\"ReportSituation\"/><extendedDataElements name=\"action\" type=\"string\">"
    "<values>Jos\xC3\xA9 &amp; &lt;co&gt;</values></extendedDataElements></CommonBaseEvent>";
const char kEvent2[] =
    "<CommonBaseEvent msg=\"a&quot;b&#10;c\" version=\"1.0.1\"><values>3</values></CommonBaseEvent>";

// A batch whose entry i is an AnyType holding texts[i] (NULL texts kept), or
// a NULL entry for an empty list.
struct Batch {
  Batch(std::initializer_list<std::vector<const char *>> list) {
    std::vector<std::vector<const char *>> texts(list);
    EXPECT_TRUE(ZOnewBatch(&tag, static_cast<int>(texts.size())));
    for (size_t i = 0; i < texts.size(); ++i) {
      if (texts[i].empty()) continue;
      auto *any = static_cast<AnyType *>(calloc(1, sizeof(AnyType)));
      any->_size = static_cast<int>(texts[i].size());
      any->_array = static_cast<char **>(calloc(texts[i].size(), sizeof(char *)));
      for (size_t j = 0; j < texts[i].size(); ++j)
        any->_array[j] = texts[i][j] ? strdup(texts[i][j]) : nullptr;
      tag.m_Array[i].any = any;
    }
  }
  ~Batch() { ZOfreeBatch(&tag); }
  CommonBaseEventType_ArrayTag tag{};
};

// The one text of each entry of a batch read back; releases the batch.
std::vector<std::string> Take(CommonBaseEventType_ArrayTag *batch) {
  std::vector<std::string> texts;
  for (int i = 0; i < batch->m_Size; ++i) {
    EXPECT_EQ(batch->m_Array[i].any->_size, 1);
    texts.push_back(batch->m_Array[i].any->_array[0]);
  }
  EXPECT_NE(batch->m_Array, nullptr);
  ZOfreeBatch(batch);
  free(batch);
  return texts;
}

class BatchTextTest : public ::testing::Test {
 protected:
  void TearDown() override { ZOVEXA_Result_Clean(&r); }
  ZOVEXA_result r{};
};

TEST_F(BatchTextTest, EventsGoBackToBackAndComeBackApart) {
  Batch batch({{kEvent1}, {}, {nullptr, kEvent2}});
  char *text = vexaCommonBaseEventsToString(nullptr, &batch.tag, &r);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::string(text), std::string(kEvent1) + kEvent2);
  EXPECT_GE(malloc_usable_size(text), 3u * 8192);  // the first buffer: 8192 bytes per entry
  CommonBaseEventType_ArrayTag *back = vexaStringToCommonBaseEvents(nullptr, text, &r);
  free(text);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(Take(back), (std::vector<std::string>{kEvent1, kEvent2}));
  EXPECT_EQ(r.count, 0);

  // Events anywhere, in document order; an empty batch is an empty text.
  back = vexaStringToCommonBaseEvents(
      nullptr, "t<x><CommonBaseEvent a='1'/></x><CommonBaseEvent>\n</CommonBaseEvent>", &r);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(Take(back), (std::vector<std::string>{"<CommonBaseEvent a=\"1\"/>",
                                                  "<CommonBaseEvent>\n</CommonBaseEvent>"}));
  Batch empty({});
  EXPECT_EQ(testutil::Take(vexaCommonBaseEventsToString(nullptr, &empty.tag, &r)), "");
}

TEST_F(BatchTextTest, TextWithoutEventsGivesAnEmptyBatchAndALine) {
  TempDir dir;
  {
    TestContext tc({StrProp("traceFilePath", dir.File("trace.log")), IntProp("traceLevel", 3),
                    StrProp("traceLoggerName", "batchTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    const struct {
      const char *text;
      int events;  // -1: no batch
      uint32_t code;
    } cases[] = {{"", 0, 0},
                 {"<other/>plain text", 0, 0},
                 {"<CommonBaseEvent/><CommonBaseEvent/>", 2, 0},
                 {"<a></b>", -1, 62}};
    for (const auto &c : cases) {
      CommonBaseEventType_ArrayTag *back = vexaStringToCommonBaseEvents(tc.ctx, c.text, &r);
      EXPECT_EQ(back != nullptr ? static_cast<int>(Take(back).size()) : -1, c.events) << c.text;
      EXPECT_EQ(OnlyCode(r), c.code) << c.text;
      ZOVEXA_Result_Clean(&r);
    }
  }
  std::string log = ReadFile(dir.File("trace.log"));
  auto count = [&log](const std::string &part) {
    int n = 0;
    for (size_t at = log.find(part); at != std::string::npos; at = log.find(part, at + 1)) ++n;
    return n;
  };
  EXPECT_EQ(count("Number of events is 0"), 2);
  EXPECT_EQ(count("Number of events is 2"), 1);
  EXPECT_EQ(count("[vexaStringToCommonBaseEvents]"), 14);  // 4 entries, 4 exits, 3 counts, 3 lost lines
  EXPECT_EQ(count("ERROR: convertToDOM() failed. Events may have been lost"), 3);
}

TEST_F(BatchTextTest, NotWellFormedTextOrNoArgumentGivesNull) {
  for (const char *text :
       {"<CommonBaseEvent>", "<CommonBaseEvent></events><events>", "&", "<CommonBaseEvent a=>"}) {
    EXPECT_EQ(vexaStringToCommonBaseEvents(nullptr, text, &r), nullptr);
    EXPECT_EQ(Codes(r), std::vector<uint32_t>{62}) << text;
    ZOVEXA_Result_Clean(&r);
  }
  EXPECT_EQ(vexaCommonBaseEventsToString(nullptr, nullptr, &r), nullptr);
  EXPECT_EQ(vexaStringToCommonBaseEvents(nullptr, nullptr, &r), nullptr);
  EXPECT_EQ(Codes(r), (std::vector<uint32_t>{9, 9}));
  EXPECT_NE(Texts(r)[0].find("'events'"), std::string::npos);
  EXPECT_NE(Texts(r)[1].find("'buffer'"), std::string::npos);
}

TEST_F(BatchTextTest, BufferGrowsByDoubling) {
  const struct {
    size_t capacity, needed, expected;
  } cases[] = {{8192, 8192, 8192}, {8192, 8193, 16384}, {8192, 40000, 65536},           {16384, 16385, 32768},
               {3, 13, 24},        {0, 1, 0},           {SIZE_MAX / 2 + 1, SIZE_MAX, 0}};
  for (const auto &c : cases)
    EXPECT_EQ(batchTextCapacity(c.capacity, c.needed), c.expected) << c.capacity << " " << c.needed;

  // One entry (8192 bytes) whose texts need 20002: the buffer becomes 32768;
  // texts that fit but for the two spare bytes leave it as it is.
  std::string a(9000, 'a'), b(11000, 'b'), c(8190, 'c');
  Batch grows({{a.c_str(), b.c_str()}}), fits({{c.c_str()}});
  char *text = vexaCommonBaseEventsToString(nullptr, &grows.tag, &r);
  EXPECT_GE(malloc_usable_size(text), 32768u);
  EXPECT_EQ(testutil::Take(text), a + b);
  text = vexaCommonBaseEventsToString(nullptr, &fits.tag, &r);
  EXPECT_LT(malloc_usable_size(text), 16384u);
  EXPECT_EQ(testutil::Take(text), c);
}

TEST_F(BatchTextTest, OutOfMemoryAtAnyAllocationGivesNull) {
  std::string big(20000, 'x'), text = std::string(kEvent1) + kEvent2;
  Batch batch({{kEvent1}, {big.c_str()}});
  bool converted = false, parsed = false;
  for (long n = 1; n < 40 && !(converted && parsed); ++n) {
    ZOsetAllocFailAfter(converted ? 0 : n);
    char *out = converted ? nullptr : vexaCommonBaseEventsToString(nullptr, &batch.tag, &r);
    ZOsetAllocFailAfter(parsed ? 0 : n);
    CommonBaseEventType_ArrayTag *back =
        parsed ? nullptr : vexaStringToCommonBaseEvents(nullptr, text.c_str(), &r);
    ZOsetAllocFailAfter(0);
    // Each failure gives the one message of running out of memory.
    size_t failures = (!converted && out == nullptr) + (!parsed && back == nullptr);
    EXPECT_EQ(Codes(r), std::vector<uint32_t>(failures, 1)) << n;
    ZOVEXA_Result_Clean(&r);
    converted = converted || out != nullptr;
    parsed = parsed || back != nullptr;
    free(out);
    if (back != nullptr) {
      EXPECT_EQ(Take(back), (std::vector<std::string>{kEvent1, kEvent2}));
    }
  }
  EXPECT_TRUE(converted && parsed);
}

}  // namespace
