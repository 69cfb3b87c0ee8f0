// Internal records of log events and catalog messages, and their operations.
#ifndef ZOVEXA_CCLOG_CCG_EVENT_H_
#define ZOVEXA_CCLOG_CCG_EVENT_H_

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cclog.h"
#include "cclog/string_map.h"

struct TisLocale;

// One message parameter: a type marker (CCG_PARM_BOOL .. CCG_PARM_STRING) and
// its value.
struct CCgParm {
  int32_t type = CCG_PARM_STRING;
  union {
    bool b;
    int32_t i;
    int64_t l;
    float f;
    double d;
    char c;
  } v{};
  std::string s;  // CCG_PARM_STRING
};

struct CCgI18Msg {
  std::optional<std::string> catalog;  // absent for plain text
  uint32_t set = 0;
  uint32_t key = 0;
  std::string defaultText;  // fallback and format template
  std::vector<CCgParm> parms;
  // The locale used to open the catalog. `locale` is what binding uses; it
  // points either to ownedLocale or to a locale owned by a formatter that set
  // it for the duration of one format call.
  const TisLocale *locale = nullptr;
  TisLocale *ownedLocale = nullptr;

  CCgI18Msg() = default;
  CCgI18Msg(const CCgI18Msg &other);
  CCgI18Msg &operator=(const CCgI18Msg &) = delete;
  ~CCgI18Msg();
};

struct CCgEvent {
  bool isMessage = false;
  uint64_t time = 0;  // milliseconds since 1970-01-01 UTC
  int32_t level = CCG_LEVEL_UNSPECIFIED;
  CCgI18Msg message;
  std::optional<std::string> messageId;
  const TisLocale *locale = nullptr;  // set on the message before binding
  StringMap properties;
};

// Builds an event from a marker list (see CCgVaAllocEvent). Reports CCGBC0070W
// and CCGBC0071W through the toolkit error logger; never null unless memory is
// exhausted.
CCgEvent *ccgIntlVaAllocEvent(int32_t level, const char *catalog, uint32_t set, uint32_t key,
                              const char *defaultText, va_list args);

// The default bindMsg: catalog text (or default text) formatted with the
// parameters by the printf engine; the unformatted default text when a
// parameter is missing or formatting yields nothing. Fresh string (CCgFree).
char *ccgIntlBindI18Msg(CCgI18Msg *msg);
// The same into a std::string (no extra copy on the hot path).
void ccgBindI18MsgTo(CCgI18Msg *msg, std::string *out);
// The event's message through bindMsg (null: the default), after setting the
// event's locale on the message.
std::string ccgBindEventMsg(CCgEvent *event, CCgBindMsgFn bindMsg);

// Typed access to event properties (stored as text).
const std::string *ccgEventPropPeek(const CCgEvent *event, const char *key);
void ccgSetEventProp(CCgEvent *event, const char *key, const std::string &value);

#endif  // ZOVEXA_CCLOG_CCG_EVENT_H_
