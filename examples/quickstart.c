/* quickstart: the smallest complete use of the audit client.
 *
 *   quickstart [serverURL [directory]]
 *
 * Builds a client context, creates the audit client, sends one
 * authentication event and shuts everything down. The error log and the disk
 * cache go to `directory` (default /tmp). If the server cannot be reached the
 * event waits in the disk cache, and the next client that uses the same
 * diskCachePath sends it. Exits with 0 when the event was handed over. */
#include <stdio.h>

#include "zovexa.h"

/* Prints every message of a result record and empties it. */
static void printMessages(const char *step, ZOVEXA_result *result) {
  int32_t i;
  for (i = 0; i < result->count; ++i) fprintf(stderr, "quickstart: %s: %s\n", step, result->entries[i].text);
  ZOVEXA_Result_Clean(result);
}

int main(int argc, char **argv) {
  const char *serverURL = argc > 1 ? argv[1] : "http://127.0.0.1:9080/vexaws/services/Emitter";
  const char *directory = argc > 2 ? argv[2] : "/tmp";
  char errorFilePath[512];
  char diskCachePath[512];
  ZOVEXA_result result = {0, 0, NULL};
  ZOVEXA_AuditClientContext *context;
  ZOVEXA_AuditClient *client;
  ZOVEXA_AuditEvent *event;
  ZOVEXA_ComponentId *component;
  ZOVEXA_Outcome *outcome;
  ZOVEXA_UserInfo *user;
  int failed = 0;

  /* diskCachePath is a path prefix: cache files are <directory>/quickstart-cache.<time>.<n>. */
  snprintf(errorFilePath, sizeof errorFilePath, "%s/quickstart-error.log", directory);
  snprintf(diskCachePath, sizeof diskCachePath, "%s/quickstart-cache", directory);
  ZOVEXA_property properties[] = {
      {"serverURL", VEXA_VT_STRING, (void *)serverURL},
      {"errorFilePath", VEXA_VT_STRING, errorFilePath},
      {"diskCachePath", VEXA_VT_STRING, diskCachePath},
      {NULL, 0, NULL},
  };

  context = ZOVEXA_AuditClientContext_Create(properties, &result);
  if (context == NULL) {
    printMessages("creating the context", &result);
    return 1;
  }

  /* Creating the client probes the server; without an answer it warns (the
   * disk cache keeps the events) and goes on. */
  client = ZOVEXA_AuditClient_Create(context, &result);
  printMessages("creating the client", &result);
  if (client == NULL) {
    ZOVEXA_AuditClientContext_Delete(context, &result);
    return 1;
  }

  /* An authentication event needs who (userInfo), how (authnType), the
   * reporting component (sourceComponentId) and the outcome. With copy 0 the
   * event takes each record over and deletes it with itself. Every call
   * empties the result record on entry, so the chain stops at the first
   * failure and its message is the one printed (a record whose add failed is
   * still ours; this program just ends). */
  if ((event = ZOVEXA_AuditEvent_Create(context, "AUDIT_AUTHN", &result)) == NULL ||
      (component = ZOVEXA_ComponentId_Create(context, "app.example.com", "FQHostname", "quickstart", "linux",
                                             "login", "service", "ProductName", "password-check", NULL, NULL,
                                             NULL, &result)) == NULL ||
      ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", component, 0, &result) == NULL ||
      (outcome = ZOVEXA_Outcome_Create(context, "SUCCESSFUL", 0, 0, NULL, &result)) == NULL ||
      ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 0, &result) == NULL ||
      (user = ZOVEXA_UserInfo_Create(context, "cn=alice,o=example", "alice", NULL, NULL, NULL, NULL, NULL, 0,
                                     NULL, NULL, &result)) == NULL ||
      ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 0, &result) == NULL ||
      ZOVEXA_AuditEvent_AddStringElement(event, "authnType", "password", 1, &result) == NULL) {
    printMessages("building the event", &result);
    failed = 1;
  } else if (ZOVEXA_AuditClient_SendEvent(client, event, &result) != 0) {
    /* Refused: the event is still ours. */
    printMessages("sending the event", &result);
    failed = 1;
  } else {
    event = NULL; /* the library owns it now */
    printf("quickstart: one AUDIT_AUTHN event handed to the audit client for %s\n", serverURL);
  }
  if (event != NULL) ZOVEXA_AuditEvent_Delete(event, &result);

  /* Deleting the client sends what is still queued; deleting the context
   * closes the logs and the cache files. */
  ZOVEXA_AuditClient_Delete(client, &result);
  printMessages("deleting the client", &result);
  ZOVEXA_AuditClientContext_Delete(context, &result);
  printMessages("deleting the context", &result);
  return failed;
}
