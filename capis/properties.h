// The forty properties of a context's property list: names, value types,
// defaults and accepted values, as one table in index order. The index is
// also the slot of the value in the context (ZOVEXA_AuditClientContext_::props).
#ifndef ZOVEXA_CAPIS_PROPERTIES_H_
#define ZOVEXA_CAPIS_PROPERTIES_H_

#include <cstdint>

enum ZOpropIndex : int {
  ZOP_serverURL,
  ZOP_keyFilePath,
  ZOP_stashFilePath,
  ZOP_enableFIPS,
  ZOP_clientUserName,
  ZOP_clientPassword,
  ZOP_transferSize,
  ZOP_queueSize,
  ZOP_hiWater,
  ZOP_flushInterval,
  ZOP_numberEQThreads,
  ZOP_numberCMThreads,
  ZOP_numberRetries,
  ZOP_retryInterval,
  ZOP_compress,
  ZOP_elementCodeSet,
  ZOP_errorLocale,
  ZOP_errorCodeSet,
  ZOP_traceLevel,
  ZOP_errorTraceLevel,
  ZOP_entryTraceLevel,
  ZOP_flowTraceLevel,
  ZOP_usingCCLOG,
  ZOP_traceLoggerName,
  ZOP_traceFilePath,
  ZOP_maxTraceFileSize,
  ZOP_maxTraceFiles,
  ZOP_errorLoggerName,
  ZOP_errorFilePath,
  ZOP_maxErrorFileSize,
  ZOP_maxErrorFiles,
  ZOP_useDiskCache,
  ZOP_lowWater,
  ZOP_diskCachePath,
  ZOP_maxCacheFileSize,
  ZOP_maxCacheFiles,
  ZOP_rebindInterval,
  ZOP_tempStorageFullTimeout,
  ZOP_shutDownTimeout,
  ZOP_responseTimeout,
  ZOP_COUNT
};

// How a value is checked. Keyword properties are strings stored also as the
// keyword's position in `keywords` (yes/no: 1/0; never/always/auto: 0/1/2).
enum ZOpropCheck : uint8_t {
  ZO_CHECK_NONE,     // any value
  ZO_CHECK_MIN,      // integer at least minValue
  ZO_CHECK_KEYWORD,  // string exactly one of keywords
  ZO_CHECK_CLAMP,    // integer at least minValue, else reported and set back to minValue
};

struct ZOpropertyDef {
  const char *name;
  uint32_t valueType;  // VEXA_VT_STRING or VEXA_VT_INTEGER
  ZOpropCheck check;
  int32_t minValue;
  const char *const *keywords;  // NULL-terminated, for ZO_CHECK_KEYWORD
  const char *defaultString;    // NULL: no default
  int32_t defaultInt;           // integers and keyword positions
};

extern const ZOpropertyDef kZOproperties[ZOP_COUNT];

// Values of useDiskCache.
enum { ZO_DISKCACHE_NEVER = 0, ZO_DISKCACHE_ALWAYS = 1, ZO_DISKCACHE_AUTO = 2 };

// The index of `name` (exact comparison), or -1.
int ZOfindProperty(const char *name);

// The default of responseTimeout: VEXA_SERVER_RESPONSE_TIMEOUT read now,
// 180 when it is missing or converts to less than 1.
int32_t ZOresponseTimeoutDefault();

#endif  // ZOVEXA_CAPIS_PROPERTIES_H_
