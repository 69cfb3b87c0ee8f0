// Opening and closing the toolkit, the process-wide API mutex and the toolkit
// error logger.
#include "cclog/ccg_toolkit.h"

#include <cstdlib>
#include <mutex>

#include "cclog/ccg_object.h"
#include "tis/tis.h"

namespace {

// Guards creation and destruction of the API mutex itself. The API mutex is
// made on first use and destroyed by CCgCloseToolkit, so a later call makes a
// new one; g_createGuard keeps two first callers from making two.
std::mutex g_createGuard;
std::atomic<CxMutex *> g_apiMutex{nullptr};
// How deeply the current thread is inside CCg operations; > 0 means it holds
// the API mutex (a class operation calling back into the public interface).
thread_local int t_apiDepth = 0;

// Guarded by the API mutex.
bool g_open = false;
bool g_closing = false;
TisCodeset *g_utf8 = nullptr;
// References held from opening until closing.
CCgObject *g_errorLogger = nullptr;
CCgObject *g_defaultConsole = nullptr;
CCgObject *g_defaultFormatter = nullptr;

CxMutex *apiMutex() {
  CxMutex *m = g_apiMutex.load(std::memory_order_acquire);
  if (m != nullptr) return m;
  std::lock_guard<std::mutex> guard(g_createGuard);
  m = g_apiMutex.load(std::memory_order_relaxed);
  if (m == nullptr && CxOK(CxMutexCreate(&m))) g_apiMutex.store(m, std::memory_order_release);
  return m;
}

// Frees everything the toolkit holds; the API mutex stays held.
void closeToolkitLocked() {
  // Faults during teardown are not reported; the held references go with the
  // instance registry, which frees every object whatever its count.
  g_closing = true;
  g_errorLogger = nullptr;
  g_defaultConsole = nullptr;
  g_defaultFormatter = nullptr;
  ccgLogMgrClose();
  ccgObjectsFreeAll();
  ccgToolkitFreeObjClasses();
  if (g_utf8 != nullptr) {
    TisCodesetFree(g_utf8);
    g_utf8 = nullptr;
    TisShutdown();
  }
  g_open = false;
  g_closing = false;
}

// Creates the error logger and its default console unless the application made
// an object of that name before opening.
CCgObject *setUpErrorLogger() {
  CCgObject *logger = ccgIntlFindObject("cclog.errorLogger");
  if (logger != nullptr) return logger;
  logger = ccgIntlGetObject("cclog.errorLogger", "ccg_basiclogger");
  if (logger == nullptr) return nullptr;
  CCgObject *console = ccgIntlFindObject("cclog.defaultConsole");
  if (console == nullptr) {
    console = ccgIntlGetObject("cclog.defaultConsole", "ccg_consolehandler");
    if (console != nullptr) {
      g_defaultFormatter = ccgIntlGetObject("cclog.defaultFormatter", "ccg_basicformatter");
      if (g_defaultFormatter != nullptr) ccgIntlSetHandlerFormatter(console, g_defaultFormatter);
    }
  }
  if (console != nullptr) ccgIntlAddListener(logger, console);
  g_defaultConsole = console;
  return logger;
}

}  // namespace

CCgApiLock::CCgApiLock() {
  if (t_apiDepth > 0) {
    ++t_apiDepth;
    ok_ = true;
    return;
  }
  CxMutex *m = apiMutex();
  if (m == nullptr || !CxOK(CxMutexLock(m))) return;
  t_apiDepth = 1;
  ok_ = true;
  locked_ = true;
}

CCgApiLock::~CCgApiLock() {
  if (!ok_) return;
  --t_apiDepth;
  if (locked_) CxMutexUnlock(g_apiMutex.load(std::memory_order_relaxed));
}

bool ccgToolkitIsOpen() { return g_open; }
bool ccgToolkitIsClosing() { return g_closing; }

CCgObject *ccgToolkitLogger() { return g_open ? g_errorLogger : nullptr; }

extern "C" {

CCG_API void CCgFree(void *p) { std::free(p); }

CCG_API CCgBool CCgOpenToolkit(const char *propertiesFile) {
  bool failed = false;
  {
    CCgApiLock lock;
    if (!lock.ok()) return 0;
    if (g_open) return 1;
    if (g_utf8 == nullptr) {
      if (!TisInit()) return 0;
      g_utf8 = TisCodesetCreate("UTF8");
      if (g_utf8 == nullptr) {
        TisShutdown();
        return 0;
      }
    }
    if (!ccgLogMgrInit() || !ccgToolkitInitObjClasses()) {
      ccgReportMsgToStderr(50, CCG_PARM_END);
      closeToolkitLocked();
      return 0;
    }
    if (propertiesFile != nullptr && !ccgIntlLogMgrReadProps(propertiesFile)) {
      ccgReportMsgToStderr(51, CCG_PARM_STRING, propertiesFile, CCG_PARM_END);
      failed = true;
    } else {
      g_errorLogger = setUpErrorLogger();
      g_open = true;
    }
  }
  if (failed) {
    CCgCloseToolkit();
    return 0;
  }
  return 1;
}

CCG_API void CCgCloseToolkit(void) {
  bool outermost = t_apiDepth == 0;
  {
    CCgApiLock lock;
    if (!lock.ok()) return;
    closeToolkitLocked();
  }
  if (!outermost) return;  // called from inside a class operation: keep the mutex
  std::lock_guard<std::mutex> guard(g_createGuard);
  CxMutex *m = g_apiMutex.exchange(nullptr, std::memory_order_acq_rel);
  if (m != nullptr) {
    CxStatus st = CxMutexDestroy(m);
    if (!CxOK(st)) ccgReportMsgToStderr(50, CCG_PARM_END);
  }
}

}  // extern "C"
