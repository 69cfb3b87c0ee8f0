// Message identifiers: the leading "KZTCC0001E"-style token of a message text,
// parsed once per event and cached on it for the message-ID filter and the
// XML formatter.
#include <cstddef>
#include <string>

#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/formatter_util.h"

namespace {

// Only this many leading characters are looked at; the longest supported
// identifier fills them exactly.
constexpr size_t kScanLength = 10;

struct Shape {
  size_t letters;
  size_t digits;
};
constexpr Shape kShapes[] = {{3, 3}, {3, 4}, {3, 5}, {3, 6}, {4, 3}, {4, 4},
                             {4, 5}, {5, 2}, {5, 3}, {5, 4}, {6, 3}};

bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsSeverity(char c) { return c == 'I' || c == 'W' || c == 'E'; }

bool IsSupported(size_t letters, size_t digits) {
  for (const Shape &s : kShapes) {
    if (s.letters == letters && s.digits == digits) return true;
  }
  return false;
}

}  // namespace

// On failure id and shape are left as they were.
bool CxParseTMSID(const char *text, std::string *id, std::string *shape) {
  if (text == nullptr) return false;
  size_t length = 0;
  while (length < kScanLength && text[length] != '\0') ++length;

  size_t letters = 0;
  while (letters < length && IsLetter(text[letters])) ++letters;
  size_t digits = 0;
  while (letters + digits < length && IsDigit(text[letters + digits])) ++digits;
  const size_t severity = letters + digits;
  if (severity >= length || !IsSeverity(text[severity])) return false;
  if (!IsSupported(letters, digits)) return false;

  if (id != nullptr) id->assign(text, severity + 1);
  if (shape != nullptr) {
    *shape = "ORV" + std::to_string(letters) + "." + std::to_string(digits) + ".1";
  }
  return true;
}

void ccgQDXMLFormatterCacheMessageID(CCgObject *formatter, CCgEvent *event) {
  if (event == nullptr || event->messageId) return;
  std::string text;
  {
    ccgfmt::ScopedFormatterLocale locale(formatter, event);
    text = ccgBindEventMsg(event, nullptr);
  }
  std::string id;
  if (!CxParseTMSID(text.c_str(), &id, nullptr)) id.clear();
  event->messageId = std::move(id);
}
