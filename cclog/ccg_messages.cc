// The toolkit's own numbered messages: built-in texts (generated from the same
// source as the "ccgmsg" catalog) and the ways they are reported.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "cclog/ccg_event.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "tis/tis.h"

namespace {

struct MsgEntry {
  uint32_t number;
  const char *text;
};

// Set while this thread reports a toolkit message: a fault met while reporting
// (a failing handler of the error logger, say) is dropped instead of being
// reported through the same path again.
thread_local bool t_reporting = false;

struct ReportingScope {
  bool entered;
  ReportingScope() : entered(!t_reporting) { t_reporting = true; }
  ~ReportingScope() {
    if (entered) t_reporting = false;
  }
};

constexpr MsgEntry kMessages[] = {
#include "ccgmsg_table.inc"
};

// Logs a message without catalog; the marker list is just CCG_PARM_END.
void logWithoutParms(CCgObject *logger, int32_t level, const char *text, ...) {
  va_list ap;
  va_start(ap, text);
  ccgIntlLogVA(logger, level, true, nullptr, 0, 0, text, nullptr, nullptr, 0, ap);
  va_end(ap);
}

}  // namespace

const char *ccgMsgDefaultText(uint32_t number) {
  // The table is dense and ordered by number; look the entry up by value all
  // the same so a gap in the source cannot shift the texts.
  if (number < sizeof(kMessages) / sizeof(kMessages[0]) && kMessages[number].number == number)
    return kMessages[number].text;
  for (const MsgEntry &m : kMessages)
    if (m.number == number) return m.text;
  return "";
}

void ccgReportMsg(int32_t level, uint32_t number, ...) {
  CCgObject *logger = ccgToolkitLogger();
  if (logger == nullptr) return;
  ReportingScope scope;
  if (!scope.entered) return;
  va_list ap;
  va_start(ap, number);
  ccgIntlLogVA(logger, level, true, CCG_MSG_CATALOG, CCG_MSG_SET, number, ccgMsgDefaultText(number),
               nullptr, nullptr, 0, ap);
  va_end(ap);
}

void ccgReportMsgToStderr(uint32_t number, ...) {
  va_list ap;
  va_start(ap, number);
  CCgEvent *event = ccgIntlVaAllocEvent(CCG_LEVEL_ERROR, CCG_MSG_CATALOG, CCG_MSG_SET, number,
                                        ccgMsgDefaultText(number), ap);
  va_end(ap);
  if (event == nullptr) return;
  std::string text;
  ccgBindI18MsgTo(&event->message, &text);
  delete event;
  std::string local;
  TisCodeset *cs = TisCodesetCreate(nullptr);
  if (cs == nullptr || !TisFromUTF8(cs, text.data(), text.size(), &local)) local = text;
  TisCodesetFree(cs);
  local.push_back('\n');
  fwrite(local.data(), 1, local.size(), stderr);
  fflush(stderr);
}

void CCgReportPlatformErr(CxStatus status) {
  if (CxStatusCode(status) != CX_CODE_PLATFORM) return;
  CCgObject *logger = ccgToolkitLogger();
  if (logger == nullptr) return;
  ReportingScope scope;
  if (!scope.entered) return;
  char buf[512];
  const char *text = strerror_r(CxStatusErrno(status), buf, sizeof buf);
  std::string utf8;
  TisCodeset *cs = TisCodesetCreate(nullptr);
  if (cs == nullptr || !TisToUTF8(cs, text, strlen(text), &utf8)) utf8 = text;
  TisCodesetFree(cs);
  if (utf8.size() > 511) utf8.resize(511);
  // A plain message without catalog entry; the text is the template, so any
  // "%" in the system's text is doubled to stay literal.
  std::string escaped;
  for (char c : utf8) {
    escaped.push_back(c);
    if (c == '%') escaped.push_back('%');
  }
  logWithoutParms(logger, CCG_LEVEL_WARN, escaped.c_str(), CCG_PARM_END);
}
