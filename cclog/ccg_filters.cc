// Filters: the basic filter dispatch, the level filter, the message-ID filter
// and the pattern matching it uses.
#include <cstring>
#include <string>
#include <vector>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/cx.h"

namespace {

constexpr int32_t kModeBlock = 1;
constexpr int32_t kModePassThru = 2;

// Private data of "ccg_msgidfilter".
struct MsgIdFilterVars {
  int32_t mode = kModeBlock;
  std::vector<std::string> msgIds{"*W", "*I"};
  CCgObject *msgFormatter = nullptr;  // computes identifiers; held
  int64_t repeatTime = 0;             // ms; 0: no repeat suppression
  StringMap lastLogged;               // identifier -> time of its last passed event
};

std::vector<std::string> splitWords(const std::string &text) {
  std::vector<std::string> words;
  size_t i = 0;
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
  while (i < text.size()) {
    while (i < text.size() && blank(text[i])) ++i;
    size_t start = i;
    while (i < text.size() && !blank(text[i])) ++i;
    if (i > start) words.push_back(text.substr(start, i - start));
  }
  return words;
}

}  // namespace

extern "C" {

CCG_API CCgBool CCgPatternMatch(const char *pattern, const char *text) {
  if (pattern == nullptr || text == nullptr) return 0;
  std::vector<std::string> pieces;
  {
    std::string cur;
    for (const char *p = pattern; *p; ++p) {
      if (*p == '*') {
        if (!cur.empty()) pieces.push_back(cur);
        cur.clear();
      } else {
        cur.push_back(*p);
      }
    }
    if (!cur.empty()) pieces.push_back(cur);
  }
  if (pieces.empty()) return 1;  // only stars
  if (strchr(pattern, '*') == nullptr) return strcmp(pattern, text) == 0;

  size_t plen = strlen(pattern);
  bool leadingStar = pattern[0] == '*';
  bool trailingStar = pattern[plen - 1] == '*';
  size_t tlen = strlen(text);
  size_t pos = 0;
  size_t first = 0;
  if (!leadingStar) {
    const std::string &p0 = pieces[0];
    if (strncmp(text, p0.c_str(), p0.size()) != 0) return 0;
    if (pieces.size() == 1 && !trailingStar) return tlen == p0.size();
    pos = p0.size();
    first = 1;
  }
  for (size_t i = first; i < pieces.size(); ++i) {
    const char *hit = strstr(text + pos, pieces[i].c_str());
    if (hit == nullptr) return 0;
    pos = static_cast<size_t>(hit - text) + pieces[i].size();
  }
  // The last piece's first occurrence must end the text; a later occurrence is
  // deliberately not looked for, so "*W" does not match "CCGWH0094W".
  if (!trailingStar && pos != tlen) return 0;
  return 1;
}

CCG_API void CCgBasicFilterFProcess(CCgObject *filter, CCgEvent *event) {
  if (filter == nullptr || event == nullptr || filter->cls == nullptr) return;
  if (filter->enabled.load(std::memory_order_relaxed) == 0) return;
  if (filter->cls->isLoggable == nullptr || filter->cls->log == nullptr) return;
  if (filter->cls->isLoggable(filter, event)) filter->cls->log(filter, event);
}

CCG_API CCgBool CCgLevelFilterFIsLoggable(CCgObject *filter, CCgEvent *event) {
  if (filter == nullptr || event == nullptr) return 0;
  int32_t own = filter->level.load(std::memory_order_relaxed);
  // A filter without a "level" property (unspecified) passes every event.
  if (own == 0 || own == CCG_LEVEL_UNSPECIFIED || event->level == CCG_LEVEL_UNSPECIFIED) return 1;
  return own <= event->level;
}

CCG_API void CCgLevelFilterFCfgChange(CCgObject *filter, const char *key) {
  CCgBasicLoggerFCfgChange(filter, key);  // "level" is handled alike
}

}  // extern "C"

void *CCgMsgIdFilterFAllocVars(CCgObject *) {
  MsgIdFilterVars *vars = new (std::nothrow) MsgIdFilterVars;
  if (vars == nullptr) return nullptr;
  vars->msgFormatter = ccgIntlGetObject("msgFormatter", "ccg_xmlformatter");
  return vars;
}

void CCgMsgIdFilterFFreeVars(CCgObject *, void *p) {
  MsgIdFilterVars *vars = static_cast<MsgIdFilterVars *>(p);
  if (vars == nullptr) return;
  if (!ccgToolkitIsClosing()) ccgIntlReleaseObject(vars->msgFormatter);
  delete vars;
}

void CCgMsgIdFilterFCfgChange(CCgObject *obj, const char *key) {
  MsgIdFilterVars *vars = static_cast<MsgIdFilterVars *>(obj->vars);
  const std::string *v = ccgObjPropPeek(obj, key);
  if (vars == nullptr || v == nullptr) {
    CCgBasicObjectFCfgChange(obj, key);
    return;
  }
  if (strcmp(key, "mode") == 0) {
    if (TosStringICmp(v->c_str(), "BLOCK") == 0) {
      vars->mode = kModeBlock;
    } else if (TosStringICmp(v->c_str(), "PASSTHRU") == 0) {
      vars->mode = kModePassThru;
    } else {
      ccgReportMsg(CCG_LEVEL_WARN, 76, CCG_PARM_STRING, obj->name.c_str(), CCG_PARM_STRING,
                   v->c_str(), CCG_PARM_END);
      vars->mode = kModeBlock;
    }
  } else if (strcmp(key, "msgIds") == 0) {
    vars->msgIds = splitWords(*v);
  } else if (strcmp(key, "msgIdRepeatTime") == 0) {
    int64_t t;
    if (ccgParseInt64(v->c_str(), &t)) vars->repeatTime = t;
  } else {
    CCgBasicObjectFCfgChange(obj, key);
  }
}

CCgBool CCgMsgIdFilterFIsLoggable(CCgObject *obj, CCgEvent *event) {
  MsgIdFilterVars *vars = static_cast<MsgIdFilterVars *>(obj->vars);
  if (vars == nullptr || event == nullptr) return 0;
  if (!event->messageId && vars->msgFormatter != nullptr)
    ccgQDXMLFormatterCacheMessageID(vars->msgFormatter, event);
  const std::string id = event->messageId.value_or("");
  bool matched = false;
  for (const std::string &pattern : vars->msgIds) {
    if (CCgPatternMatch(pattern.c_str(), id.c_str())) {
      matched = true;
      break;
    }
  }
  bool passes = vars->mode == kModeBlock ? !matched : matched;
  if (!passes || id.empty() || vars->repeatTime < 1) return passes;

  // Repeat suppression: the interval runs from the last event that passed.
  if (const std::string *last = vars->lastLogged.Find(id.c_str())) {
    int64_t lastTime = 0;
    if (!ccgParseInt64(last->c_str(), &lastTime)) lastTime = 0;
    if (lastTime + vars->repeatTime > static_cast<int64_t>(event->time)) return 0;
  }
  vars->lastLogged.Put(id.c_str(), std::to_string(event->time).c_str());
  return 1;
}
