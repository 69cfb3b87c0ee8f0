// Private data and shared steps of the two file handler classes,
// "ccg_filehandler" and "ccg_multiproc_filehandler". Both classes use the same
// allocVars, freeVars and cfgChange (file_handler.cc); the multi-process class
// adds its own open, process and close (multiproc_file_handler.cc).
//
// Everything here runs under the toolkit's API mutex.
#ifndef ZOVEXA_CCLOG_FILE_HANDLER_H_
#define ZOVEXA_CCLOG_FILE_HANDLER_H_

#include <cstdint>
#include <string>

#include "cclog.h"
#include "cclog/ccg_object.h"
#include "cclog/cx.h"

struct TisCodeset;

// One per handler object.
struct CCgFileHandlerVars {
  CxFile *file = nullptr;  // the active log file while `opened`
  bool opened = false;
  uint64_t size = 0;  // bytes in the active file, as last seen
  uint32_t maxFileBytes = 1048576;
  uint32_t maxFiles = 3;  // the active file and maxFiles - 1 backups
  std::string fullName;   // path of file number 0; empty while the name is unusable
  std::string dir, base, ext;
  int32_t index = 0;  // digits parsed off the end of the base name
  uint32_t filePermission = 0744;
  uint32_t dirPermission = 0771;
  TisCodeset *encoding = nullptr;  // null: UTF-8, written as formatted
  bool appending = true;
  int32_t semKey = 31821;
  bool semReady = false;
  int32_t semId = -1;
  bool logInternalErrs = true;

  // Set while the handler writes. Reports made meanwhile go through the
  // toolkit error logger, which may lead back into this very handler; such
  // nested events are not written, so a failing file cannot recurse.
  bool busy = false;
  // Reused for text converted to `encoding`, so that the hot path allocates
  // nothing beyond the formatter's text.
  std::string scratch;
};

// The handler's private data, or null (the toolkit clears vars before the
// final release when it closes).
inline CCgFileHandlerVars *ccgFHVars(CCgObject *obj) {
  return static_cast<CCgFileHandlerVars *>(obj->vars);
}

// Path of file number n: dir "/" base [n when n != 0] ["." ext].
std::string ccgFHFileName(const CCgFileHandlerVars *v, uint32_t n);

// Inserts "_" after a digit that ends the base name (trace2.log becomes
// trace2_.log), so that the name's own digits are never read as a backup number.
std::string ccgFHTrailingBaseDigit(const std::string &name);

// Splits a file name into dir, base, index and ext and rebuilds fullName.
// A missing or unusable name reports message 30, 31 or 32 (while
// logInternalErrs) and leaves the parts and fullName empty.
void ccgFHGetFileNameParts(CCgFileHandlerVars *v, const char *value);

// Creates the log directory and its missing parents with dirPermission;
// reports message 32 when that fails.
void ccgFHMakeDirs(CCgFileHandlerVars *v);

// Removes file number maxFiles - 1 and renames file n to n + 1 for n from
// maxFiles - 2 down to `lowest`. Missing files are not an error.
void ccgFHShiftBackups(CCgFileHandlerVars *v, uint32_t lowest);

// The formatter's text converted to the handler's encoding: either `text`
// itself or the converted copy in v->scratch. Text that the encoding cannot
// represent is kept as UTF-8 rather than lost.
void ccgFHEncode(CCgFileHandlerVars *v, const char *text, const char **out, size_t *len);

// Writes len bytes to the open file and adds what was written to v->size;
// reports a failure. True when all bytes were written.
bool ccgFHWrite(CCgFileHandlerVars *v, const char *data, size_t len);

// Reports a failed Cx status, toolkit messages, while logInternalErrs is on.
void ccgFHReportPlatformErr(const CCgFileHandlerVars *v, CxStatus status);

// Closes the active file without trailer and marks it closed.
void ccgFHCloseFile(CCgFileHandlerVars *v);

// The formatter's format, header and trailer texts for any handler (fresh
// strings for CCgFree, or null when the handler has no usable formatter or the
// formatter has no such text). Defined with the common handler operations.
char *ccgHandlerFormat(CCgObject *handler, CCgEvent *event);
char *ccgHandlerHeader(CCgObject *handler);
char *ccgHandlerTrailer(CCgObject *handler);

#endif  // ZOVEXA_CCLOG_FILE_HANDLER_H_
