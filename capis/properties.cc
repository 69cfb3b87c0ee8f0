#include "capis/properties.h"

#include <cstdlib>
#include <cstring>

#include "zovexa.h"

namespace {

const char *const kYesNo[] = {"no", "yes", nullptr};
const char *const kDiskCacheModes[] = {"never", "always", "auto", nullptr};

constexpr uint32_t S = VEXA_VT_STRING;
constexpr uint32_t I = VEXA_VT_INTEGER;

}  // namespace

// name, type, check, minimum, keywords, default string, default number
const ZOpropertyDef kZOproperties[ZOP_COUNT] = {
    {"serverURL", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"keyFilePath", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"stashFilePath", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"enableFIPS", S, ZO_CHECK_KEYWORD, 0, kYesNo, "no", 0},
    {"clientUserName", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"clientPassword", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"transferSize", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 10},
    {"queueSize", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 50},
    {"hiWater", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 20},
    {"flushInterval", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 2},
    {"numberEQThreads", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 1},
    {"numberCMThreads", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 1},
    {"numberRetries", I, ZO_CHECK_MIN, 0, nullptr, nullptr, 3},
    {"retryInterval", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 2},
    {"compress", S, ZO_CHECK_KEYWORD, 0, kYesNo, "no", 0},
    {"elementCodeSet", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"errorLocale", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"errorCodeSet", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"traceLevel", I, ZO_CHECK_NONE, 0, nullptr, nullptr, 1},
    {"errorTraceLevel", I, ZO_CHECK_NONE, 0, nullptr, nullptr, 1},
    {"entryTraceLevel", I, ZO_CHECK_NONE, 0, nullptr, nullptr, 2},
    {"flowTraceLevel", I, ZO_CHECK_NONE, 0, nullptr, nullptr, 3},
    {"usingCCLOG", S, ZO_CHECK_KEYWORD, 0, kYesNo, "no", 0},
    {"traceLoggerName", S, ZO_CHECK_NONE, 0, nullptr, "traceLogger", 0},
    {"traceFilePath", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"maxTraceFileSize", I, ZO_CHECK_MIN, 512, nullptr, nullptr, 1000000},
    {"maxTraceFiles", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 2},
    {"errorLoggerName", S, ZO_CHECK_NONE, 0, nullptr, "errorLogger", 0},
    {"errorFilePath", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"maxErrorFileSize", I, ZO_CHECK_MIN, 512, nullptr, nullptr, 1000000},
    {"maxErrorFiles", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 2},
    {"useDiskCache", S, ZO_CHECK_KEYWORD, 0, kDiskCacheModes, "auto", ZO_DISKCACHE_AUTO},
    // -1 means "not given": context creation then makes it transferSize.
    {"lowWater", I, ZO_CHECK_MIN, 1, nullptr, nullptr, -1},
    {"diskCachePath", S, ZO_CHECK_NONE, 0, nullptr, nullptr, 0},
    {"maxCacheFileSize", I, ZO_CHECK_MIN, 10240, nullptr, nullptr, 10485760},
    {"maxCacheFiles", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 1000},
    {"rebindInterval", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 10},
    {"tempStorageFullTimeout", I, ZO_CHECK_CLAMP, -1, nullptr, nullptr, -1},
    {"shutDownTimeout", I, ZO_CHECK_NONE, 0, nullptr, nullptr, -1},
    // The default is read from the environment when defaults are set.
    {"responseTimeout", I, ZO_CHECK_MIN, 1, nullptr, nullptr, 180},
};

int ZOfindProperty(const char *name) {
  if (name == nullptr) return -1;
  for (int i = 0; i < ZOP_COUNT; ++i)
    if (strcmp(kZOproperties[i].name, name) == 0) return i;
  return -1;
}

int32_t ZOresponseTimeoutDefault() {
  const char *env = getenv("VEXA_SERVER_RESPONSE_TIMEOUT");
  if (env == nullptr) return 180;
  long value = strtol(env, nullptr, 10);
  return value < 1 || value > INT32_MAX ? 180 : static_cast<int32_t>(value);
}
