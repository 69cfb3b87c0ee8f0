#include "cclog/props_reader.h"

#include <cstdint>
#include <cstring>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"

namespace {

// The reader's states. The numbers are part of the reader's definition (its
// state table is indexed by them), so they are spelled out.
enum RdprState : int {
  kStartLine = 1,
  kStartLineBlanks = 2,
  kCommentLine = 3,
  kKeyChars = 4,
  kKeyCharEscape = 5,
  kKeyEndBlanksFirst = 6,
  kKeyEndBlanksFinal = 7,
  kValChars = 8,
  kValEscape = 9,
  kMultiLineVal = 10,
  kUU0 = 11,
  kUU1 = 12,
  kUU2 = 13,
  kUU3 = 14,
  kDone = 15,
  kFailed = 16,
};

// Message 52: a backslash in a value that starts no valid escape.
constexpr uint32_t kMsgBadEscape = 52;

struct Reader {
  explicit Reader(CxPropList *dest) : propList(dest) {}
  ~Reader() {
    CxStringBuffDiscard(&key);
    CxStringBuffDiscard(&value);
  }
  Reader(const Reader &) = delete;
  Reader &operator=(const Reader &) = delete;

  CxStringBuff key;
  CxStringBuff value;
  int state = kStartLine;
  int prevByte = -1;         // no byte read yet
  CxPropList *propList;      // null: the log manager's configurations
  uint16_t accumulator = 0;  // the code unit of a \u escape being read
};

bool IsBlank(int c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }
bool IsLineEnd(int c) { return c == '\r' || c == '\n'; }
bool IsSeparator(int c) { return c == ':' || c == '='; }
bool IsCommentStart(int c) { return c == '!' || c == '#'; }
bool Stopped(const Reader &r) { return r.state == kDone || r.state == kFailed; }

int Append(CxStringBuff *sb, int c, int next) {
  return CxOK(CxStringBuffAppendChar(sb, static_cast<char>(c))) ? next : kFailed;
}

// The reader is also used for plain property lists by callers that do not hold
// the API mutex; the lock passes straight through for those that do.
void ReportPlatformErr(CxStatus status) {
  if (CxStatusCode(status) != CX_CODE_PLATFORM) return;
  CCgApiLock lock;
  if (lock.ok()) CCgReportPlatformErr(status);
}

void ReportBadEscape(const Reader &r) {
  CCgApiLock lock;
  ccgReportMsgToStderr(kMsgBadEscape, CCG_PARM_STRING, CxStringBuffPeekStr(&r.key), CCG_PARM_END);
}

// Emits the entry held in the key and value buffers to the destination;
// returns `next`, or kFailed when the key names nothing that can be set.
int EmitCfg(Reader *r, int next) {
  // The destinations take C strings: a NUL byte read into the key ends it
  // there, and a key that is empty by that reading names nothing.
  const char *key = CxStringBuffPeekStr(&r->key);
  const char *value = CxStringBuffPeekStr(&r->value);
  if (key[0] == '\0') return kFailed;
  if (r->propList != nullptr) return CxOK(CxPropListPutStr(r->propList, key, value)) ? next : kFailed;

  const char *dot = std::strrchr(key, '.');
  if (dot == nullptr || dot == key || dot[1] == '\0') return kFailed;
  const std::string cfgName(key, static_cast<size_t>(dot - key));
  CCgObjCfg *cfg = ccgIntlLogMgrFindCfg(cfgName.c_str());
  const bool isNew = cfg == nullptr;
  // Getting a missing configuration also adds it to the log manager and links
  // it into the tree.
  if (isNew) cfg = ccgIntlLogMgrGetCfg(cfgName.c_str());
  if (cfg == nullptr) return kFailed;  // the name was "/", which has no configuration
  ccgIntlSetObjCfgProp(cfg, dot + 1, value);
  if (isNew) cfg->fromFile = true;
  ccgIntlReleaseObjCfg(cfg);
  return next;
}

// ---- state handlers: each takes one byte and returns the next state ----------

int StartLine(Reader *r, int c) {
  CxStringBuffRestart(&r->key);
  CxStringBuffRestart(&r->value);
  if (IsBlank(c)) return kStartLineBlanks;
  if (IsCommentStart(c)) return kCommentLine;
  if (IsLineEnd(c)) return kStartLine;
  // ':' and '=' in the very first column start a key.
  return Append(&r->key, c, kKeyChars);
}

int StartLineBlanks(Reader *r, int c) {
  if (IsBlank(c)) return kStartLineBlanks;
  if (IsCommentStart(c)) return kCommentLine;
  if (IsLineEnd(c)) return kStartLine;
  if (IsSeparator(c)) return kFailed;  // a separator after leading blanks has no key
  return Append(&r->key, c, kKeyChars);
}

int CommentLine(Reader *, int c) { return IsLineEnd(c) ? kStartLine : kCommentLine; }

int KeyChars(Reader *r, int c) {
  if (c == '\\') return kKeyCharEscape;
  if (IsBlank(c)) return kKeyEndBlanksFirst;
  if (IsSeparator(c)) return kKeyEndBlanksFinal;
  if (IsLineEnd(c)) return kFailed;  // a key without separator or value
  return Append(&r->key, c, kKeyChars);
}

int KeyCharEscape(Reader *r, int c) {
  if (c == '\\' || IsBlank(c) || IsSeparator(c)) return Append(&r->key, c, kKeyChars);
  return kFailed;
}

int KeyEndBlanksFirst(Reader *r, int c) {
  if (IsBlank(c)) return kKeyEndBlanksFirst;
  if (IsSeparator(c)) return kKeyEndBlanksFinal;
  if (c == '\\') return kValEscape;
  if (IsLineEnd(c)) return kFailed;
  return Append(&r->value, c, kValChars);
}

int KeyEndBlanksFinal(Reader *r, int c) {
  if (IsBlank(c)) return kKeyEndBlanksFinal;
  if (IsLineEnd(c)) return EmitCfg(r, kStartLine);
  if (c == '\\') return kValEscape;
  return Append(&r->value, c, kValChars);
}

int ValChars(Reader *r, int c) {
  if (c == '\\') return kValEscape;
  if (IsLineEnd(c)) return EmitCfg(r, kStartLine);
  return Append(&r->value, c, kValChars);
}

int ValEscape(Reader *r, int c) {
  // Only these escapes exist; "\n", "\t" and "\r" are errors, not control
  // characters.
  if (IsBlank(c) || c == '"' || c == '\'' || c == '\\') return Append(&r->value, c, kValChars);
  if (IsLineEnd(c)) return kMultiLineVal;
  if (c == 'u' || c == 'U') {
    r->accumulator = 0;
    return kUU0;
  }
  ReportBadEscape(*r);
  return kFailed;
}

int MultiLineVal(Reader *r, int c) {
  if (IsBlank(c)) return kMultiLineVal;
  if (c == '\\') return kValEscape;
  if (IsLineEnd(c)) return EmitCfg(r, kStartLine);
  return Append(&r->value, c, kValChars);
}

// One hex digit of a \u escape, worth `weight` times its value.
int HexDigit(Reader *r, int c, uint16_t weight, int next) {
  const int digit = ccgRdprHexConv(c);
  if (digit < 0) return kFailed;
  // At most 0x9999, since no digit is worth more than 9.
  r->accumulator = static_cast<uint16_t>(r->accumulator + digit * weight);
  return next;
}

int UU0(Reader *r, int c) { return HexDigit(r, c, 0x1000, kUU1); }
int UU1(Reader *r, int c) { return HexDigit(r, c, 0x100, kUU2); }
int UU2(Reader *r, int c) { return HexDigit(r, c, 0x10, kUU3); }
int UU3(Reader *r, int c) {
  if (HexDigit(r, c, 1, kValChars) == kFailed) return kFailed;
  return CxOK(CxStringBuffAppendUCS2Char(&r->value, r->accumulator)) ? kValChars : kFailed;
}

using StateHandler = int (*)(Reader *, int);

// Indexed by state; the final states have no handler.
constexpr StateHandler kStateTable[] = {
    nullptr,            // 0: unused
    StartLine,          // 1
    StartLineBlanks,    // 2
    CommentLine,        // 3
    KeyChars,           // 4
    KeyCharEscape,      // 5
    KeyEndBlanksFirst,  // 6
    KeyEndBlanksFinal,  // 7
    ValChars,           // 8
    ValEscape,          // 9
    MultiLineVal,       // 10
    UU0,                // 11
    UU1,                // 12
    UU2,                // 13
    UU3,                // 14
    nullptr,            // 15: done
    nullptr,            // 16: failed
};
static_assert(sizeof kStateTable / sizeof kStateTable[0] == kFailed + 1);

// Passes bytes to the state machine until it stops. A line end directly after
// another one (the LF of a CRLF pair, or an empty line) is skipped without
// calling the handler.
void Feed(Reader *r, const char *data, size_t len) {
  for (size_t i = 0; i < len && !Stopped(*r); ++i) {
    const int c = static_cast<unsigned char>(data[i]);
    const bool skip = IsLineEnd(c) && IsLineEnd(r->prevByte);
    r->prevByte = c;
    if (!skip) r->state = kStateTable[r->state](r, c);
  }
}

// End of input: whatever the key buffer holds is emitted, in whatever state the
// last line stopped, so a last line without line end still counts.
void Finish(Reader *r) {
  if (Stopped(*r)) return;
  r->state = r->key.length > 0 ? EmitCfg(r, kDone) : kDone;
}

bool ReadPropsFile(const char *fileName, CxPropList *dest) {
  if (fileName == nullptr) return false;
  Reader r(dest);
  CxFile *file = nullptr;
  CxStatus status = CxFileOpen(fileName, CX_FILE_READ, &file);
  if (!CxOK(status)) {
    ReportPlatformErr(status);
    return false;
  }
  char chunk[4096];
  while (!Stopped(r)) {
    size_t got = 0;
    status = CxFileRead(file, chunk, sizeof chunk, &got);
    if (!CxOK(status)) {
      ReportPlatformErr(status);
      r.state = kFailed;
    } else if (got == 0) {
      Finish(&r);
    } else {
      Feed(&r, chunk, got);
    }
  }
  // A failure to close loses nothing that was read, so it does not fail the read.
  status = CxFileClose(file);
  if (!CxOK(status)) ReportPlatformErr(status);
  return r.state == kDone;
}

}  // namespace

int ccgRdprHexConv(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a';
  if (c >= 'A' && c <= 'F') return c - 'A';
  return -1;
}

bool ccgReadPropsFromBuffer(const char *data, size_t len, CxPropList *dest) {
  Reader r(dest);
  if (len > 0) Feed(&r, data, len);
  Finish(&r);
  return r.state == kDone;
}

bool ccgIntlLogMgrReadProps(const char *fileName) { return ReadPropsFile(fileName, nullptr); }

bool CxPropListRead(const char *fileName, CxPropList *pl) {
  if (pl == nullptr) return false;
  return ReadPropsFile(fileName, pl);
}
