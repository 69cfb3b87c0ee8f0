// Global instance ids: "KZT60" + a version-1 UUID + process id + a counter,
// 53 upper-case characters, unique across processes, hosts and time.
#ifndef ZOVEXA_CAPIS_GIID_H_
#define ZOVEXA_CAPIS_GIID_H_

#include <pthread.h>

#include <cstdint>

#include "zovexa.h"

// The state behind the ids of a context. `mutex` serialises the UUID call and
// the counter, so that within one table the counter and the UUID order agree.
struct ZOgiidTable {
  pthread_mutex_t mutex;
  uint32_t counter;  // the last value handed out; the first id gets 1
  char *processId;   // "%08X" of the process id, in a 10-byte buffer
  // The fork count processId was written at: a child process made by fork()
  // rewrites it before its first id, so parent and child never share ids.
  uint32_t forkGeneration;
};

// Length of an id: prefix, 32 digits of UUID, 8 of process id, 8 of counter.
constexpr int kZOgiidLength = 53;

// Creates the identifier table and stores it in context->giidTable. 0, or -1
// with message 1 or 34.
int ZOcreateGIIdTable(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
// Frees `table` and clears the context's pointer to it (context may be NULL;
// a context pointing at another table keeps it).
void ZOfreeGIIdTable(ZOVEXA_AuditClientContext *context, ZOgiidTable *table);
// A new 53-character id (allocated with ZOmalloc, the caller frees it), or
// NULL (message 1, or trace lines only when there is no table or no UUID).
char *ZOcreateGIIdValue(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

#endif  // ZOVEXA_CAPIS_GIID_H_
