// Toolkit-wide state: the API mutex, the toolkit error logger, the toolkit's own
// messages, and the operations of every built-in class (registered by
// ccgToolkitInitObjClasses).
#ifndef ZOVEXA_CCLOG_CCG_TOOLKIT_H_
#define ZOVEXA_CCLOG_CCG_TOOLKIT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "cclog.h"
#include "cclog/cx.h"

struct CCgObjClass;

// ---- the API mutex ------------------------------------------------------------------

// Holds the process-wide API mutex for its lifetime. The mutex is created on
// first use and destroyed by CCgCloseToolkit. A thread that already holds it
// (a class operation calling back into a CCg operation) passes straight
// through, so callbacks cannot deadlock. ok() is false when the mutex could not
// be created or locked; the operation must then return its failure value.
class CCgApiLock {
 public:
  CCgApiLock();
  ~CCgApiLock();
  CCgApiLock(const CCgApiLock &) = delete;
  CCgApiLock &operator=(const CCgApiLock &) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_ = false;
  bool locked_ = false;
};

// ---- toolkit state ----------------------------------------------------------------------

bool ccgToolkitIsOpen();
// True while CCgCloseToolkit frees every object at once. Private data freed
// then must not release the objects it holds: they are being freed as well.
bool ccgToolkitIsClosing();
// The toolkit error logger while the toolkit is open, else null. Not acquired.
CCgObject *ccgToolkitLogger();

// ---- the toolkit's own messages (catalog "ccgmsg", set 1, key = number) ------------------

// The built-in text of message `number` (the catalog's placeholder text for
// numbers without a message); "" beyond the table.
const char *ccgMsgDefaultText(uint32_t number);
// Logs toolkit message `number` at `level` through the toolkit error logger,
// with a parameter marker list ended by CCG_PARM_END. Dropped when the toolkit
// is not open. Assumes the API mutex is held.
void ccgReportMsg(int32_t level, uint32_t number, ...);
// Writes toolkit message `number`, bound with the marker list and converted to
// the local codeset, and a line feed to standard error (for faults before the
// error logger exists).
void ccgReportMsgToStderr(uint32_t number, ...);
// Reports a 'p' status as a WARN message with the system's error text (no
// catalog entry); other statuses are not reported.
void CCgReportPlatformErr(CxStatus status);

// Logs an event through `logger` under the held API mutex: the level test,
// building the event from the marker list and calling the logger's log
// operation. Used by the public logging calls and by ccgReportMsg.
void ccgIntlLogVA(CCgObject *logger, int32_t level, bool isMessage, const char *catalog,
                  uint32_t set, uint32_t key, const char *defaultText, const char *srcFile,
                  const char *srcFunction, int32_t srcLine, va_list args);

// ---- classes ---------------------------------------------------------------------------------

// Registers the built-in classes once (when the class registry does not exist).
bool ccgToolkitInitObjClasses();
void ccgToolkitFreeObjClasses();
// The registered class of that name, or null.
CCgObjClass *ccgFindClass(const char *name);
std::vector<std::string> ccgClassNamesOfKind(uint32_t kind);

// ---- built-in class operations, by class --------------------------------------------------------
// (CCgBasicObjectFLog, CCgBasicObjectFCfgChange, CCgBasicLoggerFCfgChange,
// CCgBasicFilterFProcess, CCgLevelFilterF*, CCgBasicHandlerF* and
// CCgBasicFormatterF* are declared in cclog.h.)

// "ccg_qdlogger"
void *CCgQDLoggerFAllocVars(CCgObject *obj);
void CCgQDLoggerFFreeVars(CCgObject *obj, void *vars);
void CCgQDLoggerFCfgChange(CCgObject *obj, const char *key);
void CCgQDLoggerFLog(CCgObject *obj, CCgEvent *event);

// "ccg_msgidfilter"
void *CCgMsgIdFilterFAllocVars(CCgObject *obj);
void CCgMsgIdFilterFFreeVars(CCgObject *obj, void *vars);
void CCgMsgIdFilterFCfgChange(CCgObject *obj, const char *key);
CCgBool CCgMsgIdFilterFIsLoggable(CCgObject *obj, CCgEvent *event);

// "ccg_consolehandler"
void *CCgConsoleHandlerFAllocVars(CCgObject *obj);
void CCgConsoleHandlerFFreeVars(CCgObject *obj, void *vars);
void CCgConsoleHandlerFProcess(CCgObject *obj, CCgEvent *event);
void CCgConsoleHandlerFOpen(CCgObject *obj);
void CCgConsoleHandlerFClose(CCgObject *obj);

// "ccg_filehandler" (allocVars, freeVars and cfgChange shared with the
// multi-process handler)
void *CCgFileHandlerFAllocVars(CCgObject *obj);
void CCgFileHandlerFFreeVars(CCgObject *obj, void *vars);
void CCgFileHandlerFCfgChange(CCgObject *obj, const char *key);
void CCgFileHandlerFProcess(CCgObject *obj, CCgEvent *event);
void CCgFileHandlerFOpen(CCgObject *obj);
void CCgFileHandlerFClose(CCgObject *obj);

// "ccg_multiproc_filehandler"
void CCgMultiProcFileHandlerFProcess(CCgObject *obj, CCgEvent *event);
void CCgMultiProcFileHandlerFOpen(CCgObject *obj);
void CCgMultiProcFileHandlerFClose(CCgObject *obj);

// "ccg_hldhandler"
void *CCgHldHandlerFAllocVars(CCgObject *obj);
void CCgHldHandlerFFreeVars(CCgObject *obj, void *vars);
void CCgHldHandlerFCfgChange(CCgObject *obj, const char *key);
void CCgHldHandlerFProcess(CCgObject *obj, CCgEvent *event);
void CCgHldHandlerFOpen(CCgObject *obj);
void CCgHldHandlerFClose(CCgObject *obj);

// "ccg_xmlformatter"
void *CCgQDXMLFormatterFAllocVars(CCgObject *obj);
void CCgQDXMLFormatterFFreeVars(CCgObject *obj, void *vars);
void CCgQDXMLFormatterFCfgChange(CCgObject *obj, const char *key);
char *CCgQDXMLFormatterFFormat(CCgObject *obj, CCgEvent *event);
char *CCgQDXMLFormatterFGetHeader(CCgObject *obj);
char *CCgQDXMLFormatterFGetTrailer(CCgObject *obj);

// "ccg_nortraceformatter"
char *CCgNorTraceFormatterFFormat(CCgObject *obj, CCgEvent *event);

// ---- formatter helpers used by loggers and filters ------------------------------------------

// Computes the event's message identifier once (binding its message and
// parsing the leading identifier) and stores it; "" when none is found.
void ccgQDXMLFormatterCacheMessageID(CCgObject *formatter, CCgEvent *event);
// Parses a message identifier from the start of text: letters, digits and a
// severity letter I/W/E in one of the supported shapes. *shape (may be null)
// gets the shape name such as "ORV5.4.1".
bool CxParseTMSID(const char *text, std::string *id, std::string *shape);
// The date text of an event time for a formatter (its dateTimeFormat and
// locale, or the built-in format).
std::string CCgBasicFormatterFormatDate(CCgObject *formatter, uint64_t timeMillis);

#endif  // ZOVEXA_CCLOG_CCG_TOOLKIT_H_
