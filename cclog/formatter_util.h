// Helpers shared by the formatter classes (basic, XML and trace formatters).
// All of them run under the toolkit's API mutex, inside a format operation.
#ifndef ZOVEXA_CCLOG_FORMATTER_UTIL_H_
#define ZOVEXA_CCLOG_FORMATTER_UTIL_H_

#include <cstdint>
#include <string>

#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"

namespace ccgfmt {

// Lends the formatter's locale (when it has one) to the event for the
// duration of one format call and puts the event's own locale back
// afterwards, so that no event or message keeps pointing at a formatter's
// locale that a later "locale" property change may free.
class ScopedFormatterLocale {
 public:
  ScopedFormatterLocale(const CCgObject *formatter, CCgEvent *event)
      : event_(event), eventLocale_(event->locale), msgLocale_(event->message.locale) {
    if (formatter != nullptr && formatter->locale != nullptr) event->locale = formatter->locale;
  }
  ~ScopedFormatterLocale() {
    event_->locale = eventLocale_;
    event_->message.locale = msgLocale_;
  }
  ScopedFormatterLocale(const ScopedFormatterLocale &) = delete;
  ScopedFormatterLocale &operator=(const ScopedFormatterLocale &) = delete;

 private:
  CCgEvent *event_;
  const TisLocale *eventLocale_;
  const TisLocale *msgLocale_;
};

// Appends the date text of timeMillis (see CCgBasicFormatterFormatDate).
void AppendDate(const CCgObject *formatter, uint64_t timeMillis, std::string *out);

// An integer-valued event property (source line, process and thread ids).
// False when the event lacks the property or its text is not a decimal
// integer; such a property is treated as absent.
bool EventPropInt64(const CCgEvent *event, const char *key, int64_t *value);

// A per-thread buffer in which a record is assembled before it is copied out,
// so that formatting a record does not allocate for the assembly itself.
std::string &RecordBuffer();

// A fresh malloc'd copy of text, released by the caller with CCgFree.
char *CopyOut(const std::string &text);

}  // namespace ccgfmt

#endif  // ZOVEXA_CCLOG_FORMATTER_UTIL_H_
