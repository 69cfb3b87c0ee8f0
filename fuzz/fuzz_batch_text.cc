// libFuzzer target for reading batch text back, the path every cached batch
// takes after an outage. For any input the reader must either refuse it or
// yield events whose texts, read again, come back unchanged: the writer's
// output is a fixed point of reading and writing. (An event nested inside
// another is read as both, as the reader takes every CommonBaseEvent element,
// so the check is made per event, not on the whole batch.)
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cbe/batch_text.h"
#include "cbe/dom_helper.h"
#include "zovexa.h"

namespace {

void Check(bool ok, const char *what) {
  if (ok) return;
  std::fprintf(stderr, "invariant broken: %s\n", what);
  std::abort();
}

// The texts of a batch read from `text`, or false when it was refused.
bool Read(const std::string &text, std::vector<std::string> *events, std::string *joined) {
  ZOVEXA_result r{};
  CommonBaseEventType_ArrayTag *batch = vexaStringToCommonBaseEvents(nullptr, text.c_str(), &r);
  ZOVEXA_Result_Clean(&r);
  if (batch == nullptr) return false;
  for (int i = 0; i < batch->m_Size; ++i) {
    Check(batch->m_Array[i].any != nullptr && batch->m_Array[i].any->_size == 1, "one text per entry");
    events->push_back(batch->m_Array[i].any->_array[0]);
  }
  char *all = vexaCommonBaseEventsToString(nullptr, batch, &r);
  ZOVEXA_Result_Clean(&r);
  Check(all != nullptr, "a read batch can be written");
  *joined = all;
  free(all);
  ZOfreeBatch(batch);
  free(batch);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  ZOVEXA_result r{};
  Check(initializeXMLParser(nullptr, &r) == 0, "parser starts");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::string text(reinterpret_cast<const char *>(data), size);
  if (text.find('\0') != std::string::npos) return 0;  // batch text is a C string
  std::vector<std::string> events;
  std::string joined;
  if (!Read(text, &events, &joined)) return 0;
  std::string concatenated;
  for (const std::string &e : events) concatenated += e;
  Check(joined == concatenated, "batch text is the texts back to back");
  for (const std::string &e : events) {
    std::vector<std::string> again;
    std::string rejoined;
    Check(Read(e, &again, &rejoined), "an event's text reads back");
    Check(!again.empty() && again.front() == e, "an event survives a second trip unchanged");
  }
  return 0;
}
