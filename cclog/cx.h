// Portability layer of the logging toolkit: memory and string wrappers (Tos),
// files, paths, mutexes, processes, threads, time, growable string buffers,
// property lists and a printf engine with positional arguments (Cx).
//
// Every Cx operation that can fail returns a CxStatus: the low byte is '-' for
// success or 'p' for an operating-system failure, with errno in the upper 32
// bits. Other low bytes are failures that are not the system's ('a' for a
// formatting argument that is missing, 'e' for an invalid argument).
#ifndef ZOVEXA_CCLOG_CX_H_
#define ZOVEXA_CCLOG_CX_H_

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <utility>
#include <vector>

struct TisCodeset;

// ---- status --------------------------------------------------------------------

using CxStatus = uint64_t;
inline constexpr CxStatus CX_SUCCESS = '-';
inline constexpr char CX_CODE_PLATFORM = 'p';
inline constexpr char CX_CODE_ARGUMENT = 'a';
inline constexpr char CX_CODE_INVALID = 'e';
inline constexpr CxStatus CxPlatformError(int err) {
  return (static_cast<uint64_t>(static_cast<uint32_t>(err)) << 32) | static_cast<uint8_t>(CX_CODE_PLATFORM);
}
inline constexpr CxStatus CxOtherError(char code) { return static_cast<uint8_t>(code); }
inline constexpr bool CxOK(CxStatus s) { return (s & 0xff) == '-'; }
inline constexpr char CxStatusCode(CxStatus s) { return static_cast<char>(s & 0xff); }
inline constexpr int CxStatusErrno(CxStatus s) { return static_cast<int>(static_cast<uint32_t>(s >> 32)); }

// ---- memory and strings (POSIX meaning; NULL-safe where noted) -------------------

void *TosMemoryMalloc(size_t size);
void *TosMemoryCalloc(size_t count, size_t size);
void *TosMemoryRealloc(void *p, size_t size);
void TosMemoryFree(void *p);  // NULL does nothing

char *TosStringDup(const char *s);  // NULL gives NULL; free with TosMemoryFree
size_t TosStringLen(const char *s);
int TosStringCmp(const char *a, const char *b);
int TosStringNCmp(const char *a, const char *b, size_t n);
int TosStringICmp(const char *a, const char *b);  // ASCII letters without case
int TosStringNICmp(const char *a, const char *b, size_t n);
char *TosStringChr(const char *s, int c);
char *TosStringRChr(const char *s, int c);
char *TosStringStr(const char *hay, const char *needle);
size_t TosStringStrspn(const char *s, const char *accept);
size_t TosStringStrcspn(const char *s, const char *reject);
char *TosStringStrpbrk(const char *s, const char *accept);
char *TosStringCpy(char *dst, const char *src);
char *TosStringNCpy(char *dst, const char *src, size_t n);
char *TosStringCat(char *dst, const char *src);
char *TosStringNCat(char *dst, const char *src, size_t n);
int TosStringSprintf(char *buf, size_t size, const char *fmt, ...) __attribute__((format(printf, 3, 4)));

// ---- files -----------------------------------------------------------------------

// Open flags for CxFileOpen / CxFileOpenMode.
enum : uint32_t {
  CX_FILE_READ = 1u,
  CX_FILE_WRITE = 2u,
  CX_FILE_CREATE = 4u,
  CX_FILE_APPEND = 8u,
  CX_FILE_TRUNC = 16u,
};

// An open file: a file descriptor and the path it was opened with.
struct CxFile;

// The seam through which every toolkit file operation reaches the system.
// Tests replace it (CxSetFileOps) to inject ENOSPC, EIO, short reads and
// writes; the defaults are the plain system calls. Each returns what the
// system call returns and sets errno on failure.
struct CxFileOps {
  int (*open)(const char *path, int flags, mode_t mode);
  ssize_t (*read)(int fd, void *buf, size_t len);
  ssize_t (*write)(int fd, const void *buf, size_t len);
  off_t (*lseek)(int fd, off_t off, int whence);
  int (*ftruncate)(int fd, off_t len);
  int (*fsync)(int fd);
  int (*close)(int fd);
  int (*fstat)(int fd, struct stat *st);
  int (*stat)(const char *path, struct stat *st);
  int (*rename)(const char *from, const char *to);
  int (*unlink)(const char *path);
  int (*mkdir)(const char *path, mode_t mode);
  int (*chmod)(const char *path, mode_t mode);
};
// Installs ops (NULL restores the defaults); returns the previous table.
const CxFileOps *CxSetFileOps(const CxFileOps *ops);
const CxFileOps *CxDefaultFileOps();

CxStatus CxFileOpen(const char *path, uint32_t flags, CxFile **out);  // creates with 0666
CxStatus CxFileOpenMode(const char *path, uint32_t flags, uint32_t perm, CxFile **out);
// Reads at most len bytes; *got is 0 at end of file. Retries EINTR.
CxStatus CxFileRead(CxFile *f, void *buf, size_t len, size_t *got);
// Writes all len bytes (looping over short writes); *written (may be NULL) is
// the count written, also on failure.
CxStatus CxFileWrite(CxFile *f, const void *buf, size_t len, size_t *written);
CxStatus CxFileSeek(CxFile *f, int64_t offset, int whence);
CxStatus CxFileTrunc(CxFile *f);  // truncates to 0 bytes
CxStatus CxFileFlush(CxFile *f);  // forces the data to the device
CxStatus CxFileClose(CxFile *f);  // frees f whatever the result
CxStatus CxFileGetSize(CxFile *f, uint64_t *size);
const char *CxFileGetPath(const CxFile *f);

// ---- file names and paths ----------------------------------------------------------

struct CxFileInfo {
  bool isRegular;
  bool isDir;
  uint64_t size;
  uint32_t mode;  // permission bits
};
// A missing file gives a 'p' status with ENOENT.
CxStatus CxFileNameRename(const char *from, const char *to);
CxStatus CxFileNameRemove(const char *path);
CxStatus CxFileNameGetInfo(const char *path, CxFileInfo *info);
// The native form of a toolkit path ('\' separators become '/'). Fails with 'e'
// for an empty path, an embedded control character or a path of PATH_MAX bytes
// or more.
CxStatus CxFileNameGetNative(const char *path, std::string *native);
// Converts a UTF-8 file name to the process codeset for the file system.
CxStatus CxFileNameLocalize(const char *utf8, std::string *local);

struct CxFilePath {
  std::string path;  // native form, no trailing '/' except for "/"
};
CxStatus CxInitFilePath(CxFilePath *fp, const char *path);
bool CxFilePathIsDir(const CxFilePath *fp);
bool CxFilePathExists(const CxFilePath *fp);
// The parent directory; fails with 'e' when the path has none ("a", "/").
CxStatus CxFilePathParent(const CxFilePath *fp, CxFilePath *parent);
// Creates the directory and its missing parents. Each directory created gets
// exactly `mode` (set with chmod, so the umask does not apply); an existing
// directory succeeds; an existing non-directory fails with ENOTDIR.
CxStatus CxFilePathMkdirs(const CxFilePath *fp, uint32_t mode);

// ---- mutex, processes, threads, system ----------------------------------------------

struct CxMutex;  // non-recursive, process-local
CxStatus CxMutexCreate(CxMutex **out);
CxStatus CxMutexLock(CxMutex *m);
CxStatus CxMutexUnlock(CxMutex *m);
CxStatus CxMutexDestroy(CxMutex *m);  // frees m when it succeeds

// A fresh copy of the variable's value, or NULL; free with TosMemoryFree.
char *CxProcessGetEnv(const char *name);
int64_t CxProcessGetCurrentID();
// Fails with 'p'/ERANGE when the directory does not fit the buffer.
CxStatus CxProcessGetCwd(char *buf, size_t size);
// Starts argv[0] (searched in PATH) with the given arguments (NULL-terminated).
CxStatus CxProcessCreate(char *const argv[], int64_t *pid);
// Waits for the process to end; *exitCode gets its exit status (128 + signal
// number when it was killed).
CxStatus CxProcessWaitFor(int64_t pid, int *exitCode);
CxStatus CxProcessRelease(int64_t pid);  // forgets a process without waiting

struct CxThread;
bool CxHasThreadSupport();
int64_t CxThreadGetCurrentID();  // the kernel thread id
CxStatus CxThreadCreate(CxThread **out, void *(*fn)(void *), void *arg);
CxStatus CxThreadJoin(CxThread *t, void **result);  // frees t
void CxThreadYield();
void CxThreadSleep(uint32_t millis);

// Milliseconds since 1970-01-01 UTC: seconds * 1000 + microseconds / 1000.
uint64_t CxSystemGetTimestamp();
// The fully qualified host name, NUL-terminated, into buf of the given size.
CxStatus CxSystemGetFQHostname(char *buf, size_t size);

// ---- characters ---------------------------------------------------------------------

bool CxIsASCIIDigit(int c);
bool CxIsLocalDigit(int c);  // isdigit in the current locale
bool CxIsASCIIAlpha(int c);
// Converts len bytes of EBCDIC (code page 037) text to ASCII in place.
void CxETOA(char *text, size_t len);

// ---- growable strings -----------------------------------------------------------------

// A zero-initialised CxStringBuff is empty and valid. The first append
// allocates 1024 bytes; the capacity doubles until length + added + 1 fits.
// A failed append leaves the buffer as it was.
struct CxStringBuff {
  char *text = nullptr;  // NUL-terminated once allocated
  uint32_t length = 0;
  uint32_t capacity = 0;
};

// Makes room for `added` more bytes and the NUL (growing by the rule above)
// without changing the text, so that a writer can fill text + length
// directly. Fails with 'p'/ENOMEM, leaving sb as it was.
CxStatus CxStringBuffReserve(CxStringBuff *sb, size_t added);
CxStatus CxStringBuffAppendStr(CxStringBuff *sb, const char *s);
// The N forms stop at the first NUL within n units.
CxStatus CxStringBuffAppendStrN(CxStringBuff *sb, const char *s, size_t n);
CxStatus CxStringBuffAppendWStrN(CxStringBuff *sb, const wchar_t *s, size_t n);  // UTF-32 to UTF-8
CxStatus CxStringBuffAppendChar(CxStringBuff *sb, char c);
CxStatus CxStringBuffAppendUCS2Char(CxStringBuff *sb, uint16_t c);    // UTF-8 encoded
CxStatus CxStringBuffAppendUTF32Char(CxStringBuff *sb, uint32_t c);   // UTF-8 encoded
// (A surrogate or a value above 0x10FFFF has no UTF-8 form: 'e'.)
CxStatus CxStringBuffAppendInt32(CxStringBuff *sb, int32_t v);
CxStatus CxStringBuffAppendInt64(CxStringBuff *sb, int64_t v);
CxStatus CxStringBuffAppendUInt64(CxStringBuff *sb, uint64_t v);
CxStatus CxStringBuffAppendEBCDICInt64(CxStringBuff *sb, int64_t v);  // digits in EBCDIC
CxStatus CxStringBuffInsertStr(CxStringBuff *sb, uint32_t pos, const char *s);
// Convert the whole buffer from `cs` to UTF-8, or from UTF-8 to `cs`.
CxStatus CxStringBuffChangeToUTF8(CxStringBuff *sb, const TisCodeset *cs);
CxStatus CxStringBuffChangeFromUTF8(CxStringBuff *sb, const TisCodeset *cs);
char *CxStringBuffTakeStr(CxStringBuff *sb);  // caller frees (TosMemoryFree); "" when empty
const char *CxStringBuffPeekStr(const CxStringBuff *sb);  // "" when empty
char *CxStringBuffCopyStr(const CxStringBuff *sb);
void CxStringBuffRestart(CxStringBuff *sb);  // empties, keeps the memory
void CxStringBuffDiscard(CxStringBuff *sb);  // frees the memory
CxStatus CxStringBuffPack(CxStringBuff *sb);  // trims the capacity to length + 1

// ---- printf engine ----------------------------------------------------------------------

// Formats with C printf syntax plus positional arguments ("%2$s", "%*3$d"),
// the "'" flag (thousands grouping of the current locale), the lengths h hh l
// ll L I64 j q t z Z and the conversions d i o u x X p a A e E f F g G c s C S
// (C and S take wide characters and write them as UTF-8). Appends to sb.
// A format that mixes numbered and unnumbered arguments fails with 'e',
// leaving sb as it was; an unknown conversion ("%y", "%n") is copied as it is.
CxStatus CxStringBuffPrintf(CxStringBuff *sb, const char *fmt, ...);
CxStatus CxStringBuffPrintfV(CxStringBuff *sb, const char *fmt, va_list ap);

// A typed argument for CxStringBuffPrintfArgs, the form used to bind catalog
// messages to their parameter lists.
enum CxArgType { CX_ARG_INT32, CX_ARG_INT64, CX_ARG_LDOUBLE, CX_ARG_CHAR, CX_ARG_STRING };
struct CxPrintfArg {
  CxArgType type;
  union {
    int32_t i32;
    int64_t i64;
    long double ld;
    int ch;
    const char *s;
  } v;
};
// Formats with arguments taken from args by position (or in order of
// appearance when the format has no positions). Integer conversions accept any
// integer or char argument, floating conversions any number, %s a string (other
// types are printed as for their own conversion). A conversion whose argument
// is missing fails the whole call with code 'a', leaving sb as it was.
CxStatus CxStringBuffPrintfArgs(CxStringBuff *sb, const char *fmt, const CxPrintfArg *args, size_t nargs);

// Groups the decimal digits `digits` with `sep` by the C-locale style grouping
// string `grouping` (sizes from the right, the last repeated; CHAR_MAX or 0
// ends). An empty sep or grouping, or a first group of 0 or >= 255, copies the
// digits unchanged.
std::string cxPrintfDoThousandSep(const std::string &digits, const char *sep, const char *grouping);

// ---- property lists -----------------------------------------------------------------------

// An ordered list of key/value strings; Put replaces the value of an existing
// key in place.
struct CxPropList {
  std::vector<std::pair<std::string, std::string>> entries;
};
struct CxPropListIterator {
  const CxPropList *list;
  size_t pos;
};

CxPropList *CxPropListCreate();
void CxPropListDiscard(CxPropList *pl);  // NULL does nothing
// Reads a properties file (the toolkit's properties syntax) into pl; false
// when pl is NULL or the file does not read cleanly.
bool CxPropListRead(const char *fileName, CxPropList *pl);
CxPropListIterator CxPropListGetIterator(const CxPropList *pl);
bool CxPropListIteratorHasNext(const CxPropListIterator *it);
char *CxPropListIteratorCopyKey(const CxPropListIterator *it);  // caller frees
char *CxPropListIteratorCopyVal(const CxPropListIterator *it);
const char *CxPropListIteratorPeekKey(const CxPropListIterator *it);
const char *CxPropListIteratorPeekVal(const CxPropListIterator *it);
void CxPropListIteratorNext(CxPropListIterator *it);
bool CxPropListHasKey(const CxPropList *pl, const char *key);
CxStatus CxPropListRemove(CxPropList *pl, const char *key);  // 'e' when absent
CxStatus CxPropListPutStr(CxPropList *pl, const char *key, const char *val);
const char *CxPropListPeekStr(const CxPropList *pl, const char *key);  // NULL when absent
char *CxPropListCopyStr(const CxPropList *pl, const char *key);

#endif  // ZOVEXA_CCLOG_CX_H_
