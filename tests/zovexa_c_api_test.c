/* Compiled as C99: a program that uses the public header alone builds a
 * context, an "AUDIT_AUTHN" event with a user info, an outcome and a source
 * component id, has it checked and reads everything back; then checks the
 * exact messages of three refused property lists. Exits non-zero on the first
 * failed check. */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "zovexa.h"

/* The check made on each event before it is sent; not part of the public
 * interface, reached here through the static library. */
int ZOcheckEvent(ZOVEXA_AuditClientContext *context, ZOVEXA_AuditEvent *event, ZOVEXA_result *result);

static int failures = 0;

#define CHECK(cond)                                                             \
  do {                                                                          \
    if (!(cond)) {                                                              \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                               \
    }                                                                           \
  } while (0)

static int sameText(char *got, const char *expected) {
  int same = got != NULL && strcmp(got, expected) == 0;
  if (!same) fprintf(stderr, "got '%s', expected '%s'\n", got ? got : "(null)", expected);
  ZOVEXA_Free(got);
  return same;
}

/* Creates a context from a list with serverURL, errorFilePath and one more
 * property (none when extraName is NULL); expects it refused with `code` and
 * `text`. */
static void expectRefused(const char *errorFile, const char *serverURL, const char *extraName, uint32_t extraType,
                          void *extraValue, uint32_t code, const char *text) {
  ZOVEXA_result result = {0, 0, NULL};
  ZOVEXA_property list[4];
  int n = 0;
  ZOVEXA_AuditClientContext *context;
  if (serverURL != NULL) {
    list[n].name = "serverURL";
    list[n].valueType = VEXA_VT_STRING;
    list[n].value = (void *)serverURL;
    ++n;
  }
  list[n].name = "errorFilePath";
  list[n].valueType = VEXA_VT_STRING;
  list[n].value = (void *)errorFile;
  ++n;
  if (extraName != NULL) {
    list[n].name = extraName;
    list[n].valueType = extraType;
    list[n].value = extraValue;
    ++n;
  }
  list[n].name = NULL;
  list[n].valueType = 0;
  list[n].value = NULL;
  context = ZOVEXA_AuditClientContext_Create(list, &result);
  CHECK(context == NULL);
  CHECK(result.count == 1);
  if (result.count == 1) {
    CHECK(result.entries[0].code == code);
    if (strcmp(result.entries[0].text, text) != 0) {
      fprintf(stderr, "got '%s'\nexpected '%s'\n", result.entries[0].text, text);
      ++failures;
    }
  }
  CHECK(ZOVEXA_Result_Clean(&result) == 0);
}

int main(void) {
  char dir[] = "/tmp/zovexa_c_api_XXXXXX";
  char errorFile[128];
  char *callers[] = {"alice", "bob", NULL};
  ZOVEXA_result result = {0, 0, NULL};
  ZOVEXA_property list[4];
  ZOVEXA_AuditClientContext *context;
  ZOVEXA_UserInfo *user;
  ZOVEXA_Outcome *outcome;
  ZOVEXA_ComponentId *component;
  ZOVEXA_AuditEvent *event;
  ZOVEXA_AuditElement *element;
  ZOVEXA_UserInfo *storedUser;
  ZOVEXA_Outcome *storedOutcome;
  char **storedCallers;
  struct timeval *stamp;
  struct timeval *storedStamp;
  int32_t hiWater = 60;

  if (mkdtemp(dir) == NULL) return 2;
  snprintf(errorFile, sizeof errorFile, "%s/error.log", dir);

  list[0].name = "serverURL";
  list[0].valueType = VEXA_VT_STRING;
  list[0].value = (void *)"http://127.0.0.1:9/vexaws/services/Emitter";
  list[1].name = "errorFilePath";
  list[1].valueType = VEXA_VT_STRING;
  list[1].value = errorFile;
  list[2].name = "elementCodeSet";
  list[2].valueType = VEXA_VT_STRING;
  list[2].value = (void *)"UTF8";
  list[3].name = NULL;
  list[3].valueType = 0;
  list[3].value = NULL;
  context = ZOVEXA_AuditClientContext_Create(list, &result);
  CHECK(context != NULL);
  CHECK(result.count == 0);
  if (context == NULL) return 1;

  user = ZOVEXA_UserInfo_Create(context, "cn=alice,o=example", "alice", "example.com", "EXAMPLE", "10.0.0.7", "IPV4",
                                "session-42", 1001, callers, NULL, &result);
  outcome = ZOVEXA_Outcome_Create(context, "SUCCESSFUL", 0, 0, NULL, &result);
  component = ZOVEXA_ComponentId_Create(context, "host7.example.com", "FQHostname", "payroll", "linux-x86_64",
                                        "login", "service", "ProductName", "auth", "instance-1", "4242", "17",
                                        &result);
  CHECK(user != NULL && outcome != NULL && component != NULL);
  CHECK(result.count == 0);

  event = ZOVEXA_AuditEvent_Create(context, "AUDIT_AUTHN", &result);
  CHECK(event != NULL);
  CHECK(ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 1, &result) != NULL);
  CHECK(ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 1, &result) != NULL);
  CHECK(ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", component, 1, &result) != NULL);
  CHECK(ZOVEXA_AuditEvent_AddStringElement(event, "authnType", "password", 1, &result) != NULL);
  CHECK(result.count == 0);

  /* The check passes and adds the time stamp the event was made with. */
  CHECK(ZOcheckEvent(context, event, &result) == 0);
  CHECK(result.count == 0);
  stamp = ZOVEXA_AuditEvent_GetDefaultTimeStamp(event, &result);
  element = ZOVEXA_AuditEvent_GetElement(event, "timestamp", &result);
  CHECK(element != NULL);
  if (element != NULL) {
    CHECK(ZOVEXA_AuditElement_GetValueType(context, element, &result) == VEXA_VT_DATETIME);
    storedStamp = (struct timeval *)ZOVEXA_AuditElement_GetValue(context, element, &result);
    CHECK(storedStamp != NULL && stamp != NULL && storedStamp->tv_sec == stamp->tv_sec &&
          storedStamp->tv_usec == stamp->tv_usec);
  }

  /* Read everything back. */
  CHECK(sameText(ZOVEXA_AuditEvent_GetType(event, &result), "AUDIT_AUTHN"));
  element = ZOVEXA_AuditEvent_GetElement(event, "userInfo", &result);
  CHECK(element != NULL);
  CHECK(strcmp(ZOVEXA_AuditElement_GetName(context, element, &result), "userInfo") == 0);
  storedUser = (ZOVEXA_UserInfo *)ZOVEXA_AuditElement_GetValue(context, element, &result);
  CHECK(storedUser != NULL && storedUser != user); /* an independent copy */
  CHECK(sameText(ZOVEXA_UserInfo_GetAppUserName(context, storedUser, &result), "alice"));
  CHECK(sameText(ZOVEXA_UserInfo_GetRegistryUserName(context, storedUser, &result), "cn=alice,o=example"));
  CHECK(sameText(ZOVEXA_UserInfo_GetLocationType(context, storedUser, &result), "IPV4"));
  CHECK(ZOVEXA_UserInfo_GetUniqueId(context, storedUser, &result) == 1001);
  storedCallers = ZOVEXA_UserInfo_GetCallerList(context, storedUser, &result);
  CHECK(storedCallers != NULL && strcmp(storedCallers[0], "alice") == 0 && strcmp(storedCallers[1], "bob") == 0 &&
        storedCallers[2] == NULL);
  element = ZOVEXA_AuditEvent_GetElement(event, "outcome", &result);
  storedOutcome = (ZOVEXA_Outcome *)ZOVEXA_AuditElement_GetValue(context, element, &result);
  CHECK(sameText(ZOVEXA_Outcome_GetResult(context, storedOutcome, &result), "SUCCESSFUL"));
  CHECK(ZOVEXA_Outcome_GetFailureReason(context, storedOutcome, &result) == NULL);
  element = ZOVEXA_AuditEvent_GetElement(event, "sourceComponentId", &result);
  CHECK(sameText(ZOVEXA_ComponentId_GetApplication(
                     context, (ZOVEXA_ComponentId *)ZOVEXA_AuditElement_GetValue(context, element, &result), &result),
                 "payroll"));
  element = ZOVEXA_AuditEvent_GetElement(event, "authnType", &result);
  CHECK(sameText((char *)ZOVEXA_AuditElement_GetValue(context, element, &result), "password"));
  CHECK(result.count == 0);

  CHECK(ZOVEXA_AuditEvent_Delete(event, &result) == 0);
  CHECK(ZOVEXA_UserInfo_Delete(context, user, &result) == 0);
  CHECK(ZOVEXA_Outcome_Delete(context, outcome, &result) == 0);
  CHECK(ZOVEXA_ComponentId_Delete(context, component, &result) == 0);
  CHECK(ZOVEXA_AuditClientContext_Delete(context, &result) == 0);
  CHECK(result.count == 0);

  /* Refused property lists and their exact messages. */
  expectRefused(errorFile, NULL, NULL, 0, NULL, 6,
                "KZTCC0006E The required property 'serverURL' is missing in the property list.");
  expectRefused(errorFile, "http://127.0.0.1:9/", "enableFIPS", VEXA_VT_STRING, (void *)"maybe", 7,
                "KZTCC0007E The property enableFIPS has a value in the property list that is not valid: maybe .");
  expectRefused(errorFile, "http://127.0.0.1:9/", "hiWater", VEXA_VT_INTEGER, &hiWater, 50,
                "KZTCC0050E The property hiWater has a value in the property list that is not valid because it is "
                "greater than the value of the property queueSize .");

  unlink(errorFile);
  rmdir(dir);
  if (failures != 0) fprintf(stderr, "%d checks failed\n", failures);
  return failures == 0 ? 0 : 1;
}
