// Global instance ids and the table behind them.
#include "capis/giid.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "capis/context.h"
#include "capis/results.h"
#include "capis/trace.h"
#include "capis/uuid.h"
#include "capis/zo_memory.h"

namespace {

constexpr size_t kProcessIdSize = 10;
constexpr size_t kValueSize = 65;
constexpr const char *kPrefix = "KZT60";

// Counts the fork() calls of the process (seen in the children). Tables
// compare it with their own to notice that they now live in another process.
std::atomic<uint32_t> gForkGeneration{0};
std::once_flag gAtForkOnce;
void onForkInChild() { gForkGeneration.fetch_add(1, std::memory_order_relaxed); }

void writeProcessId(char *processId) {
  std::snprintf(processId, kProcessIdSize, "%08X", static_cast<unsigned>(getpid()));
}

}  // namespace

// The table belongs to context creation and deletion; its trace lines carry
// that module's path.
#define ZO_SRC "capis/context"

int ZOcreateGIIdTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  constexpr const char *kTag = "[createGIIdTable]";
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, kTag);
    return -1;
  }
  ZO_ENTRY(context, kTag);
  auto *table = static_cast<ZOgiidTable *>(ZOcalloc(1, sizeof(ZOgiidTable)));
  char *processId = static_cast<char *>(ZOcalloc(1, kProcessIdSize));
  if (table == nullptr || processId == nullptr) {
    free(table);
    free(processId);
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    ZO_EXIT_RC(context, kTag, -1);
    return -1;
  }
  const int rc = pthread_mutex_init(&table->mutex, nullptr);
  if (rc != 0) {
    const char *text = std::strerror(rc);
    free(table);
    free(processId);
    ZOreport(context, result, 34, 0, 1, text);
    ZO_ERROR(context, kTag, "ERROR - pthread_mutex_init returned msg: %s, code: %d", text, rc);
    ZO_EXIT_RC(context, kTag, -1);
    return -1;
  }
  std::call_once(gAtForkOnce, [] { pthread_atfork(nullptr, nullptr, onForkInChild); });
  table->forkGeneration = gForkGeneration.load(std::memory_order_relaxed);
  writeProcessId(processId);
  table->processId = processId;
  table->counter = 0;
  ZO_FLOW(context, kTag, "FLOW: process id = %s", processId);
  context->giidTable = table;
  ZO_EXIT_RC(context, kTag, 0);
  return 0;
}

void ZOfreeGIIdTable(ZOVEXA_AuditClientContext *context, ZOgiidTable *table) {
  if (table != nullptr) {
    free(table->processId);
    pthread_mutex_destroy(&table->mutex);
    free(table);
  }
  if (context != nullptr && context->giidTable == table) context->giidTable = nullptr;
}

#undef ZO_SRC
// Ids are made by the audit client's send path; its trace lines carry the
// client's module path.
#define ZO_SRC "capis/client"

namespace {

// Upper-case hexadecimal digits of `value`, exactly `digits` of them, as
// "%0<digits>X" would write them for a value that fits.
char *putHex(char *out, uint32_t value, int digits) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = kDigits[value & 0xF];
    value >>= 4;
  }
  return out + digits;
}

char *putText(char *out, const char *text) {
  const size_t length = std::strlen(text);
  std::memcpy(out, text, length);
  return out + length;
}

}  // namespace

// The text is "%s%04X%04X%02X%02X%08X%02X%02X%02X%02X%02X%02X%s%08X" of the
// prefix, the UUID's fields, the process id and the counter. It is written
// digit by digit: the id is made for every event sent, and a formatted print
// costs several times as much as the rest of the call.
char *ZOcreateGIIdValue(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  constexpr const char *kTag = "[createGIIdValue]";
  if (context == nullptr || result == nullptr) {
    ZOnullParmHandler1(context, result, ZO_SRC, __LINE__, kTag);
    return nullptr;
  }
  char *value = static_cast<char *>(ZOmalloc(kValueSize));
  if (value == nullptr) {
    ZOreport(context, result, 1, 0, 0);
    ZO_ERROR(context, kTag, "ERROR: cannot malloc");
    return nullptr;
  }
  ZOgiidTable *table = context->giidTable;
  if (table == nullptr) {
    ZO_ERROR(context, kTag, "ERROR: globalInstanceId table not initialized");
    free(value);
    return nullptr;
  }

  qd_uuid_t uuid;
  pthread_mutex_lock(&table->mutex);
  if (ZOvexa_create_uuid(context, &uuid, result) != 0) {
    ZO_ERROR(context, kTag, "ERROR: cannot create uuid");
    pthread_mutex_unlock(&table->mutex);
    free(value);
    return nullptr;
  }
  const uint32_t counter = ++table->counter;
  const uint32_t forks = gForkGeneration.load(std::memory_order_relaxed);
  if (table->forkGeneration != forks) {
    writeProcessId(table->processId);
    table->forkGeneration = forks;
  }
  char processId[kProcessIdSize];
  std::memcpy(processId, table->processId, kProcessIdSize);
  pthread_mutex_unlock(&table->mutex);

  char *out = putText(value, kPrefix);
  out = putHex(out, uuid.time_hi_and_version, 4);
  out = putHex(out, uuid.time_mid, 4);
  out = putHex(out, uuid.clock_seq_hi_and_reserved, 2);
  out = putHex(out, uuid.clock_seq_low, 2);
  out = putHex(out, uuid.time_low, 8);
  for (uint8_t byte : uuid.node) out = putHex(out, byte, 2);
  out = putText(out, processId);
  out = putHex(out, counter, 8);
  *out = '\0';
  ZO_FLOW(context, kTag, "FLOW: GIID value = %s", value);
  return value;
}
