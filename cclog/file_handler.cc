// "ccg_filehandler": writes formatted events to a log file and rolls it over
// into numbered backups once it reaches maxFileBytes. Its allocVars, freeVars
// and cfgChange serve the multi-process handler as well.
//
// The file is kept open between events, but its path is looked at before each
// write, so a log file that was removed or moved away is recreated (with a
// header) and a file grown by someone else still rolls over on time.

#include "cclog/file_handler.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "tis/tis.h"

namespace {

constexpr size_t kMaxFileNameChars = 256;
constexpr size_t kCwdBufferBytes = 256;
constexpr uint32_t kDefaultMaxFileBytesOnError = 1024;
constexpr uint32_t kDefaultMaxFilesOnError = 3;

bool IsKey(const char *key, const char *name) { return std::strcmp(key, name) == 0; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A decimal number that fits 32 unsigned bits.
bool ParseUInt32(const std::string *text, uint32_t *out) {
  int64_t value = 0;
  if (text == nullptr || !ccgParseInt64(text->c_str(), &value)) return false;
  if (value < 0 || value > static_cast<int64_t>(UINT32_MAX)) return false;
  *out = static_cast<uint32_t>(value);
  return true;
}

// One to four octal digits, such as "0660".
bool ParsePermission(const std::string *text, uint32_t *out) {
  if (text == nullptr || text->empty() || text->size() > 4) return false;
  uint32_t value = 0;
  for (char c : *text) {
    if (c < '0' || c > '7') return false;
    value = value * 8 + static_cast<uint32_t>(c - '0');
  }
  *out = value;
  return true;
}

// File properties close the file through the class's own close, so that the
// multi-process handler, which shares this cfgChange, writes no trailer.
void CloseForChange(CCgObject *obj) {
  if (obj->cls != nullptr && obj->cls->close != nullptr)
    obj->cls->close(obj);
  else
    CCgFileHandlerFClose(obj);
}

void WriteTrailer(CCgObject *obj, CCgFileHandlerVars *v) {
  char *trailer = ccgHandlerTrailer(obj);
  if (trailer == nullptr) return;
  const char *data;
  size_t len;
  ccgFHEncode(v, trailer, &data, &len);
  if (len > 0) ccgFHWrite(v, data, len);
  CCgFree(trailer);
}

// Opens the active file read-write (appending or truncating) and reads its
// size. False, with the file closed, on failure.
bool OpenActive(CCgFileHandlerVars *v) {
  uint32_t flags = CX_FILE_READ | CX_FILE_WRITE | CX_FILE_CREATE;
  flags |= v->appending ? CX_FILE_APPEND : CX_FILE_TRUNC;
  CxStatus status = CxFileOpenMode(v->fullName.c_str(), flags, v->filePermission, &v->file);
  if (!CxOK(status)) {
    v->file = nullptr;
    ccgFHReportPlatformErr(v, status);
    return false;
  }
  status = CxFileGetSize(v->file, &v->size);
  if (!CxOK(status)) {
    ccgFHReportPlatformErr(v, status);
    ccgFHCloseFile(v);
    return false;
  }
  return true;
}

bool NeedsRollover(const CCgFileHandlerVars *v) {
  return v->maxFiles >= 2 && v->size >= v->maxFileBytes;
}

}  // namespace

// ---- shared steps ----------------------------------------------------------------

std::string ccgFHFileName(const CCgFileHandlerVars *v, uint32_t n) {
  std::string name;
  name.reserve(v->dir.size() + v->base.size() + v->ext.size() + 12);
  name += v->dir;
  name += '/';
  name += v->base;
  if (n != 0) name += std::to_string(n);
  if (!v->ext.empty()) {
    name += '.';
    name += v->ext;
  }
  return name;
}

// Only the last component of the path is looked at: a "." or a digit in a
// directory name says nothing about the file's base name.
std::string ccgFHTrailingBaseDigit(const std::string &name) {
  size_t sep = name.find_last_of("/\\");
  size_t start = sep == std::string::npos ? 0 : sep + 1;
  size_t dot = name.rfind('.');
  size_t end = (dot == std::string::npos || dot < start) ? name.size() : dot;
  if (end == start || !IsDigit(name[end - 1])) return name;
  std::string result = name;
  result.insert(end, "_");
  return result;
}

void ccgFHGetFileNameParts(CCgFileHandlerVars *v, const char *value) {
  v->dir.clear();
  v->base.clear();
  v->ext.clear();
  v->index = 0;
  v->fullName.clear();
  if (value == nullptr || *value == '\0') {
    if (v->logInternalErrs) ccgReportMsg(CCG_LEVEL_ERROR, 30, CCG_PARM_STRING, "fileName", CCG_PARM_END);
    return;
  }
  if (std::strlen(value) > kMaxFileNameChars) {
    if (v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_ERROR, 31, CCG_PARM_STRING, "fileName", CCG_PARM_INT,
                   static_cast<int>(kMaxFileNameChars), CCG_PARM_END);
    return;
  }
  std::string native;
  if (!CxOK(CxFileNameGetNative(value, &native))) {
    if (v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_ERROR, 32, CCG_PARM_STRING, "fileName", CCG_PARM_STRING, value,
                   CCG_PARM_END);
    return;
  }

  size_t sep = native.find_last_of("/\\");
  std::string name = sep == std::string::npos ? native : native.substr(sep + 1);
  size_t dot = name.rfind('.');
  if (dot != std::string::npos) {
    v->ext = name.substr(dot + 1);
    name.resize(dot);
  }
  size_t digits = name.size();
  while (digits > 0 && IsDigit(name[digits - 1])) --digits;
  if (digits < name.size()) {
    int32_t index = 0;
    v->index = ccgParseInt32(name.c_str() + digits, &index) ? index : 0;
    name.resize(digits);
  }
  v->base = name;

  if (sep != std::string::npos) {
    v->dir = native.substr(0, sep);  // empty for a file directly under "/"
  } else {
    char cwd[kCwdBufferBytes];
    CxStatus status = CxProcessGetCwd(cwd, sizeof cwd);
    if (!CxOK(status)) {
      ccgFHReportPlatformErr(v, status);
      return;  // without a directory there is no usable name
    }
    v->dir = cwd;
  }
  v->fullName = ccgFHFileName(v, 0);
}

void ccgFHMakeDirs(CCgFileHandlerVars *v) {
  if (v->dir.empty()) return;  // the root directory
  CxFilePath path;
  CxStatus status = CxInitFilePath(&path, v->dir.c_str());
  if (CxOK(status)) status = CxFilePathMkdirs(&path, v->dirPermission);
  if (!CxOK(status) && v->logInternalErrs)
    ccgReportMsg(CCG_LEVEL_ERROR, 32, CCG_PARM_STRING, "fileName", CCG_PARM_STRING,
                 v->dir.c_str(), CCG_PARM_END);
}

void ccgFHShiftBackups(CCgFileHandlerVars *v, uint32_t lowest) {
  if (v->maxFiles < 2) return;
  CxStatus status = CxFileNameRemove(ccgFHFileName(v, v->maxFiles - 1).c_str());
  if (!CxOK(status) && CxStatusErrno(status) != ENOENT) ccgFHReportPlatformErr(v, status);
  for (int64_t n = static_cast<int64_t>(v->maxFiles) - 2; n >= static_cast<int64_t>(lowest); --n) {
    uint32_t from = static_cast<uint32_t>(n);
    status = CxFileNameRename(ccgFHFileName(v, from).c_str(), ccgFHFileName(v, from + 1).c_str());
    if (!CxOK(status) && CxStatusErrno(status) != ENOENT) ccgFHReportPlatformErr(v, status);
  }
}

void ccgFHEncode(CCgFileHandlerVars *v, const char *text, const char **out, size_t *len) {
  size_t n = std::strlen(text);
  if (v->encoding != nullptr) {
    v->scratch.clear();
    if (TisFromUTF8(v->encoding, text, n, &v->scratch)) {
      *out = v->scratch.data();
      *len = v->scratch.size();
      return;
    }
  }
  *out = text;
  *len = n;
}

bool ccgFHWrite(CCgFileHandlerVars *v, const char *data, size_t len) {
  size_t written = 0;
  CxStatus status = CxFileWrite(v->file, data, len, &written);
  v->size += written;
  if (CxOK(status)) return true;
  ccgFHReportPlatformErr(v, status);
  return false;
}

void ccgFHReportPlatformErr(const CCgFileHandlerVars *v, CxStatus status) {
  if (v->logInternalErrs) CCgReportPlatformErr(status);
}

void ccgFHCloseFile(CCgFileHandlerVars *v) {
  CxFile *file = v->file;
  v->file = nullptr;
  v->opened = false;
  if (file == nullptr) return;
  CxStatus status = CxFileClose(file);
  if (!CxOK(status)) ccgFHReportPlatformErr(v, status);
}

// ---- class operations ----------------------------------------------------------------

void *CCgFileHandlerFAllocVars(CCgObject * /*obj*/) {
  auto *v = new CCgFileHandlerVars;
  ccgFHGetFileNameParts(v, "default.log");
  return v;
}

void CCgFileHandlerFFreeVars(CCgObject *obj, void *vars) {
  auto *v = static_cast<CCgFileHandlerVars *>(vars);
  if (v == nullptr) return;
  if (v->opened && obj != nullptr && obj->cls != nullptr && obj->cls->close != nullptr) {
    // The toolkit may already have detached vars from the object when it
    // closes; the class's close (trailer or not) needs to find them there.
    void *saved = obj->vars;
    obj->vars = v;
    obj->cls->close(obj);
    obj->vars = saved;
  }
  ccgFHCloseFile(v);
  TisCodesetFree(v->encoding);
  delete v;
}

void CCgFileHandlerFCfgChange(CCgObject *obj, const char *key) {
  CCgFileHandlerVars *v = obj != nullptr ? ccgFHVars(obj) : nullptr;
  if (v == nullptr || key == nullptr) {
    CCgBasicHandlerFCfgChange(obj, key);
    return;
  }
  const std::string *value = ccgObjPropPeek(obj, key);

  if (IsKey(key, "fileName")) {
    std::string name = value != nullptr ? ccgFHTrailingBaseDigit(*value) : std::string();
    CloseForChange(obj);
    ccgFHGetFileNameParts(v, value != nullptr ? name.c_str() : nullptr);
  } else if (IsKey(key, "maxFileSize") || IsKey(key, "maxFileBytes")) {
    CloseForChange(obj);
    if (!ParseUInt32(value, &v->maxFileBytes)) v->maxFileBytes = kDefaultMaxFileBytesOnError;
  } else if (IsKey(key, "maxFiles")) {
    CloseForChange(obj);
    if (!ParseUInt32(value, &v->maxFiles)) v->maxFiles = kDefaultMaxFilesOnError;
  } else if (IsKey(key, "appending")) {
    CloseForChange(obj);
    bool appending = true;
    v->appending = value != nullptr && ccgParseBool(value->c_str(), &appending) ? appending : true;
  } else if (IsKey(key, "filePermission") || IsKey(key, "dirPermission")) {
    CloseForChange(obj);
    uint32_t *target = IsKey(key, "filePermission") ? &v->filePermission : &v->dirPermission;
    if (!ParsePermission(value, target) && v->logInternalErrs)
      ccgReportMsg(CCG_LEVEL_WARN, 74, CCG_PARM_STRING, value != nullptr ? value->c_str() : "",
                   CCG_PARM_STRING, obj->name.c_str(), CCG_PARM_END);
  } else if (IsKey(key, "fileEncoding")) {
    CloseForChange(obj);
    TisCodesetFree(v->encoding);
    v->encoding = nullptr;
    if (value != nullptr && !value->empty()) {
      TisCodeset *codeset = TisCodesetCreate(value->c_str());
      if (codeset == nullptr) {
        if (v->logInternalErrs)
          ccgReportMsg(CCG_LEVEL_WARN, 36, CCG_PARM_STRING, value->c_str(), CCG_PARM_END);
      } else if (TisCodesetIsUTF8(codeset)) {
        TisCodesetFree(codeset);  // the text is UTF-8 already
      } else {
        v->encoding = codeset;
      }
    }
  } else if (IsKey(key, "MPFileSemKey")) {
    CloseForChange(obj);
    int32_t semKey = 0;
    if (value != nullptr && ccgParseInt32(value->c_str(), &semKey) && semKey != v->semKey) {
      v->semKey = semKey;
      v->semReady = false;  // the next open attaches to the set of the new key
      v->semId = -1;
    }
  } else if (IsKey(key, "logInternalErrs")) {
    // Deliberately paired with "appending": the switch follows that
    // property's value, not its own.
    const std::string *appending = ccgObjPropPeek(obj, "appending");
    bool on = true;
    v->logInternalErrs = appending != nullptr && ccgParseBool(appending->c_str(), &on) ? on : true;
  } else {
    CCgBasicHandlerFCfgChange(obj, key);
  }
}

void CCgFileHandlerFOpen(CCgObject *obj) {
  CCgFileHandlerVars *v = obj != nullptr ? ccgFHVars(obj) : nullptr;
  if (v == nullptr) return;
  if (v->opened) {
    CxFileInfo info;
    if (CxOK(CxFileNameGetInfo(v->fullName.c_str(), &info)) && info.isRegular) {
      // The size of what the path names now, so that writes by others count.
      v->size = info.size;
      if (!NeedsRollover(v)) return;
      CCgFileHandlerFClose(obj);
      ccgFHShiftBackups(v, 0);
    } else {
      CCgFileHandlerFClose(obj);  // removed or replaced: recreate it
    }
    v->size = 0;
  }
  if (v->fullName.empty()) return;  // the name was refused and reported

  ccgFHMakeDirs(v);
  if (!OpenActive(v)) return;
  if (NeedsRollover(v)) {
    WriteTrailer(obj, v);
    ccgFHCloseFile(v);
    ccgFHShiftBackups(v, 0);
    v->size = 0;
    if (!OpenActive(v)) return;
  }
  char *header = ccgHandlerHeader(obj);
  if (header != nullptr) {
    const char *data;
    size_t len;
    ccgFHEncode(v, header, &data, &len);
    bool ok = len == 0 || ccgFHWrite(v, data, len);
    CCgFree(header);
    if (!ok) {
      ccgFHCloseFile(v);
      return;
    }
  }
  v->opened = true;
}

void CCgFileHandlerFProcess(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || !obj->enabled.load()) return;
  CCgFileHandlerVars *v = ccgFHVars(obj);
  if (v != nullptr && !v->busy) {
    v->busy = true;
    CCgFileHandlerFOpen(obj);
    if (v->opened) {
      char *text = ccgHandlerFormat(obj, event);
      if (text != nullptr) {
        const char *data;
        size_t len;
        ccgFHEncode(v, text, &data, &len);
        if (len > 0) ccgFHWrite(v, data, len);  // a failed record is lost
        CCgFree(text);
      }
    }
    v->busy = false;
  }
  ccgDispatchToListeners(obj, event);
}

void CCgFileHandlerFClose(CCgObject *obj) {
  CCgFileHandlerVars *v = obj != nullptr ? ccgFHVars(obj) : nullptr;
  if (v == nullptr || !v->opened) return;
  bool wasBusy = v->busy;
  v->busy = true;
  WriteTrailer(obj, v);
  ccgFHCloseFile(v);
  v->busy = wasBusy;
}
