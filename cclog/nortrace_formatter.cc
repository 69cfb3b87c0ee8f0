// The trace formatter "ccg_nortraceformatter": one fixed-layout line per
// event, meant for reading trace files by eye and splitting them with simple
// tools.
//
// Layout, fields separated by one space:
//
//   DATE LEVEL SERVER PROCESS THREAD LOCATION - TEXT\n
//
//   DATE      the date text of the basic formatter (dateTimeFormat honoured)
//   LEVEL     always five characters: " MIN ", " MID ", " MAX ", "INFO ",
//             "WARN ", "ERROR" (6000 and 7000) or "OTHER" (any other level,
//             the unspecified one included)
//   SERVER    the "server" property
//   PROCESS   the "processId" property, in decimal
//   THREAD    the "threadId" property, in decimal
//   LOCATION  source file, function and line, those present joined with "."
//   TEXT      the message bound with the class's bindMsg
//
// A field whose property is missing or empty (or, for the ids, not a number)
// is written as "-", so every line has the same number of fields before " - ".
// Example:
//   2006-04-13 12:55:24.042+02:00  MIN  host1 4711 4712 queue.cc.drain.88 - drained 3
#include <string>

#include "cclog.h"
#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/formatter_util.h"

namespace {

const char *LevelWord(int32_t level) {
  switch (level) {
    case CCG_LEVEL_DEBUG_MIN: return " MIN ";
    case CCG_LEVEL_DEBUG_MID: return " MID ";
    case CCG_LEVEL_DEBUG_MAX: return " MAX ";
    case CCG_LEVEL_INFO: return "INFO ";
    case CCG_LEVEL_WARN: return "WARN ";
    case CCG_LEVEL_ERROR:
    case CCG_LEVEL_FATAL: return "ERROR";
    default: return "OTHER";
  }
}

void AppendIdField(const CCgEvent *event, const char *key, std::string *out) {
  int64_t id;
  out->append(ccgfmt::EventPropInt64(event, key, &id) ? std::to_string(id) : "-");
}

void AppendLocation(const CCgEvent *event, std::string *out) {
  const size_t start = out->size();
  auto join = [&](const std::string &part) {
    if (out->size() > start) out->push_back('.');
    out->append(part);
  };
  if (const std::string *file = ccgEventPropPeek(event, CCG_PROP_SRCFILE)) join(*file);
  if (const std::string *function = ccgEventPropPeek(event, CCG_PROP_SRCFUNCTION)) join(*function);
  int64_t line;
  if (ccgfmt::EventPropInt64(event, CCG_PROP_SRCLINE, &line)) join(std::to_string(line));
  if (out->size() == start) out->push_back('-');
}

}  // namespace

char *CCgNorTraceFormatterFFormat(CCgObject *formatter, CCgEvent *event) {
  if (formatter == nullptr || event == nullptr) return nullptr;
  std::string text;
  {
    ccgfmt::ScopedFormatterLocale locale(formatter, event);
    text = ccgBindEventMsg(event, formatter->cls ? formatter->cls->bindMsg : nullptr);
  }

  std::string &line = ccgfmt::RecordBuffer();
  ccgfmt::AppendDate(formatter, event->time, &line);
  line.push_back(' ');
  line.append(LevelWord(event->level));
  line.push_back(' ');
  const std::string *server = ccgEventPropPeek(event, "server");
  line.append(server && !server->empty() ? *server : "-");
  line.push_back(' ');
  AppendIdField(event, "processId", &line);
  line.push_back(' ');
  AppendIdField(event, "threadId", &line);
  line.push_back(' ');
  AppendLocation(event, &line);
  line.append(" - ");
  line.append(text);
  line.push_back('\n');
  return ccgfmt::CopyOut(line);
}
