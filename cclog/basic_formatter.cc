// The basic formatter "ccg_basicformatter": one line per event, fields each
// followed by the formatter's separator, and the date text shared by every
// formatter class.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/formatter_util.h"
#include "tis/tis.h"

namespace {

// Longest date text that a dateTimeFormat may produce, terminator included.
constexpr size_t kMaxDateBytes = 128;

// The built-in date text depends only on the second and the local offset, so
// the text of the last second formatted on this thread is kept. The key holds
// the offset as well as the second: local time is a function of both, so a
// change of time zone (TZ and tzset) can never be served a stale text.
struct DateCache {
  bool valid = false;
  time_t seconds = 0;
  long gmtoff = 0;
  char text[48] = {};  // "YYYY-MM-DD HH:MM:SS" and the offset, without milliseconds
  size_t secondsLen = 0;  // length of the "YYYY-MM-DD HH:MM:SS" part
  size_t offsetLen = 0;   // length of the "+HH:MM" part that follows it
};

thread_local DateCache t_dateCache;

// Fills the cache for `seconds` from its broken-down local time.
bool FillDateCache(DateCache *cache, time_t seconds, const struct tm &tm) {
  const size_t n = strftime(cache->text, sizeof cache->text, "%Y-%m-%d %H:%M:%S", &tm);
  if (n == 0) return false;
  // Offset hours truncate toward zero and carry the sign; the minutes are the
  // remainder of the absolute offset, so -03:30 and +05:30 read naturally (a
  // zone less than an hour west of Greenwich reads +00:MM, as it always has).
  const long hours = tm.tm_gmtoff / 3600;
  const long minutes = std::labs(tm.tm_gmtoff / 60) % 60;
  char offset[16];
  const int m = std::snprintf(offset, sizeof offset, "%+.2ld:%.2ld", hours, minutes);
  if (m <= 0 || n + static_cast<size_t>(m) >= sizeof cache->text) return false;
  std::memcpy(cache->text + n, offset, static_cast<size_t>(m) + 1);
  cache->secondsLen = n;
  cache->offsetLen = static_cast<size_t>(m);
  cache->seconds = seconds;
  cache->gmtoff = tm.tm_gmtoff;
  cache->valid = true;
  return true;
}

bool IsKey(const char *key, const char *name) { return std::strcmp(key, name) == 0; }

void AppendPropWithSep(const CCgEvent *event, const char *key, const std::string &sep,
                       std::string *out) {
  if (const std::string *value = ccgEventPropPeek(event, key)) {
    out->append(*value);
    out->append(sep);
  }
}

}  // namespace

namespace ccgfmt {

void AppendDate(const CCgObject *formatter, uint64_t timeMillis, std::string *out) {
  const time_t seconds = static_cast<time_t>(timeMillis / 1000);
  struct tm tm;
  if (localtime_r(&seconds, &tm) == nullptr) return;

  if (formatter != nullptr && formatter->dateTimeFormat) {
    std::string text;
    if (TisStrftimeUTF8(formatter->dateTimeFormat->c_str(), &tm, formatter->locale, kMaxDateBytes,
                        &text)) {
      out->append(text);
    }
    return;
  }

  DateCache &cache = t_dateCache;
  if (!cache.valid || cache.seconds != seconds || cache.gmtoff != tm.tm_gmtoff) {
    if (!FillDateCache(&cache, seconds, tm)) {
      cache.valid = false;
      return;
    }
  }
  const unsigned ms = static_cast<unsigned>(timeMillis % 1000);
  const char millis[4] = {'.', static_cast<char>('0' + ms / 100),
                          static_cast<char>('0' + ms / 10 % 10), static_cast<char>('0' + ms % 10)};
  out->append(cache.text, cache.secondsLen);
  out->append(millis, sizeof millis);
  out->append(cache.text + cache.secondsLen, cache.offsetLen);
}

bool EventPropInt64(const CCgEvent *event, const char *key, int64_t *value) {
  const std::string *text = ccgEventPropPeek(event, key);
  return text != nullptr && ccgParseInt64(text->c_str(), value);
}

std::string &RecordBuffer() {
  // Records are usually a few hundred bytes; a buffer that once grew for a
  // huge record is given back rather than kept for the life of the thread.
  constexpr size_t kKeepCapacity = 64 * 1024;
  thread_local std::string buffer;
  if (buffer.capacity() > kKeepCapacity) std::string().swap(buffer);
  buffer.clear();
  return buffer;
}

char *CopyOut(const std::string &text) {
  char *copy = static_cast<char *>(std::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace ccgfmt

std::string CCgBasicFormatterFormatDate(CCgObject *formatter, uint64_t timeMillis) {
  std::string text;
  ccgfmt::AppendDate(formatter, timeMillis, &text);
  return text;
}

CCG_API void CCgBasicFormatterFCfgChange(CCgObject *formatter, const char *key) {
  if (formatter == nullptr || key == nullptr) return;
  const std::string *value = ccgObjPropPeek(formatter, key);
  if (IsKey(key, "separator")) {
    formatter->separator = value ? std::optional<std::string>(*value) : std::nullopt;
  } else if (IsKey(key, "dateTimeFormat")) {
    formatter->dateTimeFormat = value ? std::optional<std::string>(*value) : std::nullopt;
  } else if (IsKey(key, "locale")) {
    // A locale that is not installed leaves the formatter with none, so
    // messages are bound in the process locale rather than a stale one.
    TisLocale *locale = value ? TisLocaleCreate(value->c_str()) : nullptr;
    TisLocaleFree(formatter->locale);
    formatter->locale = locale;
  } else {
    CCgBasicObjectFCfgChange(formatter, key);
  }
}

// The record: the date, then those of the source file, function, line,
// organization, product, component, client and server that the event has,
// each followed by the separator; then the message text and a line feed.
CCG_API char *CCgBasicFormatterFFormat(CCgObject *formatter, CCgEvent *event) {
  if (formatter == nullptr || event == nullptr || formatter->cls == nullptr ||
      formatter->cls->bindMsg == nullptr) {
    return nullptr;
  }
  std::string text;
  {
    ccgfmt::ScopedFormatterLocale locale(formatter, event);
    text = ccgBindEventMsg(event, formatter->cls->bindMsg);
  }

  static const std::string kDefaultSeparator = " ";
  const std::string &sep = formatter->separator ? *formatter->separator : kDefaultSeparator;
  std::string &record = ccgfmt::RecordBuffer();
  ccgfmt::AppendDate(formatter, event->time, &record);
  record.append(sep);
  AppendPropWithSep(event, CCG_PROP_SRCFILE, sep, &record);
  AppendPropWithSep(event, CCG_PROP_SRCFUNCTION, sep, &record);
  int64_t line;
  if (ccgfmt::EventPropInt64(event, CCG_PROP_SRCLINE, &line)) {
    record.append(std::to_string(line));
    record.append(sep);
  }
  for (const char *key : {"organization", "product", "component", "client", "server"}) {
    AppendPropWithSep(event, key, sep, &record);
  }
  record.append(text);
  record.push_back('\n');
  return ccgfmt::CopyOut(record);
}

CCG_API char *CCgBasicFormatterFGetHeader(CCgObject *) { return nullptr; }

CCG_API char *CCgBasicFormatterFGetTrailer(CCgObject *) { return nullptr; }
