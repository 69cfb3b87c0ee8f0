// The client context: every setting of one audit client, taken from the
// property list, and what context creation derives from them (loggers,
// catalog, codesets, the location-type index, the identifier table). A
// context is read-only after creation except for traceLevel.
#ifndef ZOVEXA_CAPIS_CONTEXT_H_
#define ZOVEXA_CAPIS_CONTEXT_H_

#include <atomic>
#include <cstdint>
#include <mutex>

#include "capis/properties.h"
#include "capis/utilities.h"
#include "cclog.h"
#include "tis/tis.h"
#include "zovexa.h"

struct ZOgiidTable;
struct ZOcacheInfo;
struct ZOsecureEnv;
struct ZOeventQueue;

// One property value: the copied string (string and keyword properties) and
// the number (integers, and a keyword's position).
struct ZOpropValue {
  char *s = nullptr;
  int32_t i = 0;
};

struct ZOVEXA_AuditClientContext_ {
  ZOpropValue props[ZOP_COUNT];
  // The live trace level: SetTraceLevel changes it while other threads trace.
  std::atomic<int32_t> traceLevel{0};

  bool tls = false;                  // serverURL begins with "https"
  bool elementUTF8 = false;          // elementCodeSet is exactly "UTF8": no conversion
  CCgObject *traceLogger = nullptr;  // held reference, or NULL without traceFilePath
  CCgObject *errorLogger = nullptr;  // held reference
  TisLocale *locale = nullptr;
  TisCatalog *catalog = nullptr;  // "zovexamsg", or NULL (built-in texts)
  TisCodeset *utf8Codeset = nullptr;
  TisCodeset *errorCodeset = nullptr;
  TisCodeset *elementCodeset = nullptr;
  ZOhashTable locTypes;                  // location-type names
  ZOcacheInfo *diskCache = nullptr;      // owned by the disk cache
  ZOsecureEnv *secureEnv = nullptr;      // owned by the transport, TLS contexts only
  char *secureEnvText = nullptr;         // "0x%x" handle of secureEnv, the stubs' secure argument
  ZOeventQueue *eventQueue = nullptr;    // the audit client's queue, borrowed; NULL without a client
  ZOVEXA_AuditClient *client = nullptr;  // the one audit client of this context, or NULL
  int32_t actualEQThreads = 0;           // queue threads started for the client
  int32_t actualCMThreads = 0;           // cache-manager threads started for the client
  // Behaviour switches that no property changes.
  bool checkServerAtCreate = true;   // client creation probes the server
  bool validateEvents = true;        // SendEvent runs the event check
  bool freeEventsAfterSend = true;   // events are freed once their batch is processed
  ZOgiidTable *giidTable = nullptr;  // the process-wide table, borrowed
  bool counted = false;              // counted in the live-context count
  bool tisStarted = false;           // holds a reference on the text layer

  // A relaxed atomic read (a plain load): client deletion lowers a few
  // settings with atomic stores while queue and cache-manager threads run.
  int32_t Int(ZOpropIndex p) const { return __atomic_load_n(&props[p].i, __ATOMIC_RELAXED); }
  const char *Str(ZOpropIndex p) const { return props[p].s; }
};

// The process-wide block, created once and never freed. `mutex` serialises
// the predefined-table build, the live-context count and the start and stop
// of the XML parser and the SOAP runtime.
struct ZOcommonBlock {
  std::mutex mutex;
  int liveContexts = 0;              // guarded by mutex
  ZOgiidTable *giidTable = nullptr;  // guarded by mutex
  bool xmlParserUp = false;          // guarded by mutex
  bool soapRuntimeUp = false;        // guarded by mutex
};
ZOcommonBlock *ZOgetCommonBlock();  // NULL only when it could not be allocated

// The installation root ("/opt/Corvantisgrove" unless the build chose
// another), newly allocated; NULL with message 1.
char *getVEXAInstallPath(ZOVEXA_result *result);

// Deletes a context, also a half-built one: the disk-cache state, the
// live-context count (the last one stops the process-wide runtimes), the
// loggers, strings, tables and the record. Returns 0.
int ZOdeleteContext(ZOVEXA_AuditClientContext *context);

#endif  // ZOVEXA_CAPIS_CONTEXT_H_
