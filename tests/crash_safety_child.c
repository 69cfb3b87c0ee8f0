/* The process that crash_safety_test kills. It uses the public interface
 * only, through the shared library, like any application.
 *
 *   crash_safety_child write URL CACHEPATH ERRORLOG ACCEPTEDFILE RUN COUNT PAUSE_US
 *     useDiskCache "always": each SendEvent writes its event to the disk
 *     cache before it returns. Appends "ready <RUN>" to ACCEPTEDFILE once the
 *     client exists, then sends up to COUNT events, PAUSE_US microseconds
 *     apart, whose globalInstanceId is "CRASHR<RUN>N<seq>", and appends
 *     "accepted <id>" only after SendEvent returned 0 (a refused event gives
 *     "refused <id>"); then "finished <RUN>", and waits to be killed. Each
 *     line is one write(2).
 *
 *   crash_safety_child drain URL CACHEPATH ERRORLOG
 *     useDiskCache "auto": an idle client whose cache-manager thread sends
 *     what the cache holds; prints "ready" and waits to be killed.
 *
 * Exits with 2 on a usage or set-up error. */
#define _POSIX_C_SOURCE 200809L

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "zovexa.h"

static void printMessages(const char *step, ZOVEXA_result *result) {
  int32_t i;
  for (i = 0; i < result->count; ++i)
    fprintf(stderr, "crash_safety_child: %s: %s\n", step, result->entries[i].text);
  ZOVEXA_Result_Clean(result);
}

/* Writes one line with a single write(2): a kill leaves it whole or absent. */
static void writeLine(int fd, const char *word, const char *id) {
  char line[128];
  int n = snprintf(line, sizeof line, "%s %s\n", word, id);
  if (write(fd, line, (size_t)n) != n) {
    perror("crash_safety_child: write");
    exit(2);
  }
}

static ZOVEXA_AuditEvent *makeEvent(ZOVEXA_AuditClientContext *context, ZOVEXA_ComponentId *component,
                                    ZOVEXA_Outcome *outcome, ZOVEXA_UserInfo *user, const char *id,
                                    ZOVEXA_result *result) {
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(context, "AUDIT_AUTHN", result);
  if (event == NULL) return NULL;
  if (ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", component, 1, result) == NULL ||
      ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 1, result) == NULL ||
      ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 1, result) == NULL ||
      ZOVEXA_AuditEvent_AddStringElement(event, "authnType", "password", 1, result) == NULL ||
      ZOVEXA_AuditEvent_AddStringElement(event, "globalInstanceId", id, 1, result) == NULL) {
    ZOVEXA_AuditEvent_Delete(event, result);
    return NULL;
  }
  return event;
}

int main(int argc, char **argv) {
  int writer = argc == 9 && strcmp(argv[1], "write") == 0;
  int drainer = argc == 5 && strcmp(argv[1], "drain") == 0;
  int32_t one = 1, none = 0;
  ZOVEXA_result result = {0, 0, NULL};
  ZOVEXA_AuditClientContext *context;
  ZOVEXA_AuditClient *client;

  if (!writer && !drainer) {
    fprintf(stderr,
            "usage: crash_safety_child write URL CACHEPATH ERRORLOG ACCEPTEDFILE RUN COUNT PAUSE_US\n"
            "       crash_safety_child drain URL CACHEPATH ERRORLOG\n");
    return 2;
  }
  {
    /* Short intervals: a writer's cache-manager thread finds the server
     * down at once and then only polls; a drainer notices it quickly. */
    ZOVEXA_property properties[] = {
        {"serverURL", VEXA_VT_STRING, argv[2]},
        {"diskCachePath", VEXA_VT_STRING, argv[3]},
        {"errorFilePath", VEXA_VT_STRING, argv[4]},
        {"useDiskCache", VEXA_VT_STRING, writer ? "always" : "auto"},
        {"numberRetries", VEXA_VT_INTEGER, &none},
        {"retryInterval", VEXA_VT_INTEGER, &one},
        {"rebindInterval", VEXA_VT_INTEGER, &one},
        {"flushInterval", VEXA_VT_INTEGER, &one},
        {"elementCodeSet", VEXA_VT_STRING, "UTF8"},
        {NULL, 0, NULL},
    };
    context = ZOVEXA_AuditClientContext_Create(properties, &result);
  }
  if (context == NULL) {
    printMessages("creating the context", &result);
    return 2;
  }
  client = ZOVEXA_AuditClient_Create(context, &result);
  printMessages("creating the client", &result); /* a writer's server-down warning, too */
  if (client == NULL) return 2;

  if (writer) {
    int fd = open(argv[5], O_WRONLY | O_APPEND | O_CREAT, 0644);
    int run = atoi(argv[6]);
    long count = atol(argv[7]);
    long pauseNs = atol(argv[8]) * 1000L;
    long seq;
    ZOVEXA_ComponentId *component =
        ZOVEXA_ComponentId_Create(context, "host1.example.com", "FQHostname", "crash", "linux", "writer",
                                  "service", "ProductName", "events", NULL, NULL, NULL, &result);
    ZOVEXA_Outcome *outcome = ZOVEXA_Outcome_Create(context, "SUCCESSFUL", 0, 0, NULL, &result);
    ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(context, "cn=alice", "alice", NULL, NULL, NULL, NULL, NULL,
                                                   0, NULL, NULL, &result);
    if (fd < 0 || component == NULL || outcome == NULL || user == NULL) {
      printMessages("set-up", &result);
      return 2;
    }
    writeLine(fd, "ready", argv[6]);
    for (seq = 1; seq <= count; ++seq) {
      char id[64];
      ZOVEXA_AuditEvent *event;
      struct timespec gap = {pauseNs / 1000000000L, pauseNs % 1000000000L};
      nanosleep(&gap, NULL);
      snprintf(id, sizeof id, "CRASHR%04dN%06ld", run, seq);
      event = makeEvent(context, component, outcome, user, id, &result);
      if (event == NULL) {
        printMessages("building an event", &result);
        return 2;
      }
      if (ZOVEXA_AuditClient_SendEvent(client, event, &result) == 0) {
        writeLine(fd, "accepted", id);
      } else {
        printMessages(id, &result);
        ZOVEXA_AuditEvent_Delete(event, &result);
        writeLine(fd, "refused", id);
      }
    }
    writeLine(fd, "finished", argv[6]);
  } else {
    printf("ready\n");
    fflush(stdout);
  }
  for (;;) pause();
}
