/* audit_demo: an application that keeps sending audit events of every type at
 * a steady pace, whatever the audit server does, and shows the disk cache
 * filling while the server is away and draining once it is back.
 *
 *   audit_demo [--url URL] [--cache PATH] [--count N] [--rate N] [--drain-timeout S]
 *              [--error-log FILE] [--trace FILE]
 *
 * Once a second it prints the events handed over so far and the cache files
 * under PATH's directory (files, bytes, bytes not yet sent). After the last
 * event it waits up to S seconds for the cache to hold nothing unsent, then
 * deletes the client and the context. The last line reads
 *   audit_demo: done: <sent> events sent, <refused> refused, cache <state>
 * Exit status: 0 when every event was accepted and the cache drained, 1 when
 * some were refused, 2 when the cache still held unsent data, 3 for a usage
 * or set-up error. */
#define _POSIX_C_SOURCE 200809L

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include "zovexa.h"

/* ---- command line ------------------------------------------------------------------------------- */

typedef struct Options {
  const char *url;
  const char *cachePath;
  const char *errorLog;
  const char *traceFile;
  long count;
  long rate;
  long drainTimeout;
} Options;

static void usage(FILE *out) {
  fprintf(out,
          "usage: audit_demo [options]\n"
          "  --url URL            audit server endpoint (default "
          "http://127.0.0.1:9080/vexaws/services/Emitter)\n"
          "  --cache PATH         diskCachePath: <directory>/<file prefix> (default /tmp/audit_demo/cache)\n"
          "  --count N            events to send (default 3000)\n"
          "  --rate N             events per second (default 100)\n"
          "  --drain-timeout S    seconds to wait for the cache to drain at the end (default 60)\n"
          "  --error-log FILE     the library's error log (default <directory>/audit_demo-error.log)\n"
          "  --trace FILE         the library's trace log (default: none)\n");
}

/* 0, or -1 after printing why. */
static int parseOptions(int argc, char **argv, Options *o) {
  int i;
  o->url = "http://127.0.0.1:9080/vexaws/services/Emitter";
  o->cachePath = "/tmp/audit_demo/cache";
  o->errorLog = NULL;
  o->traceFile = NULL;
  o->count = 3000;
  o->rate = 100;
  o->drainTimeout = 60;
  for (i = 1; i < argc; ++i) {
    const char *flag = argv[i];
    const char *value = i + 1 < argc ? argv[i + 1] : NULL;
    char *end = NULL;
    long number = value != NULL ? strtol(value, &end, 10) : 0;
    int isNumber = value != NULL && *value != '\0' && *end == '\0';
    if (strcmp(flag, "--help") == 0) {
      usage(stdout);
      exit(0);
    }
    if (value == NULL) {
      fprintf(stderr, "audit_demo: %s needs a value\n", flag);
      return -1;
    }
    if (strcmp(flag, "--url") == 0) {
      o->url = value;
    } else if (strcmp(flag, "--cache") == 0) {
      o->cachePath = value;
    } else if (strcmp(flag, "--error-log") == 0) {
      o->errorLog = value;
    } else if (strcmp(flag, "--trace") == 0) {
      o->traceFile = value;
    } else if (strcmp(flag, "--count") == 0 && isNumber && number >= 0) {
      o->count = number;
    } else if (strcmp(flag, "--rate") == 0 && isNumber && number > 0) {
      o->rate = number;
    } else if (strcmp(flag, "--drain-timeout") == 0 && isNumber && number >= 0) {
      o->drainTimeout = number;
    } else {
      fprintf(stderr, "audit_demo: bad option %s %s\n", flag, value);
      return -1;
    }
    ++i;
  }
  if (strrchr(o->cachePath, '/') == NULL) {
    fprintf(stderr, "audit_demo: --cache needs a directory part, such as ./cache\n");
    return -1;
  }
  return 0;
}

/* ---- time --------------------------------------------------------------------------------------- */

static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static void sleepUntil(double when) {
  double left = when - now();
  struct timespec t;
  if (left <= 0) return;
  t.tv_sec = (time_t)left;
  t.tv_nsec = (long)((left - (double)t.tv_sec) * 1e9);
  while (nanosleep(&t, &t) != 0 && errno == EINTR) {
  }
}

/* ---- the cache directory -------------------------------------------------------------------------- */

typedef struct CacheState {
  int files;        /* cache files (corrupt ones not counted) */
  long long bytes;  /* their total size */
  long long unsent; /* bytes after each file's read checkpoint */
  int corrupt;      /* files renamed as corrupt */
} CacheState;

/* Reads what the cache files under `cachePath` hold. A cache file is named
 * <prefix>.<time>.<n> and starts with its read checkpoint: ten decimal digits
 * giving the offset of the first record not yet sent. */
static CacheState cacheState(const char *cachePath) {
  CacheState s = {0, 0, 0, 0};
  const char *slash = strrchr(cachePath, '/');
  const char *prefix = slash + 1;
  size_t prefixLen = strlen(prefix);
  char directory[1024];
  char path[2048];
  DIR *dir;
  struct dirent *entry;
  snprintf(directory, sizeof directory, "%.*s", (int)(slash - cachePath), cachePath);
  if (directory[0] == '\0') strcpy(directory, "/");
  dir = opendir(directory);
  if (dir == NULL) return s;
  while ((entry = readdir(dir)) != NULL) {
    struct stat st;
    FILE *f;
    char head[11] = {0};
    if (strncmp(entry->d_name, prefix, prefixLen) != 0 || entry->d_name[prefixLen] != '.') continue;
    if (strstr(entry->d_name, "corrupt") != NULL) {
      ++s.corrupt;
      continue;
    }
    snprintf(path, sizeof path, "%s/%s", directory, entry->d_name);
    if (stat(path, &st) != 0) continue; /* deleted meanwhile */
    ++s.files;
    s.bytes += (long long)st.st_size;
    f = fopen(path, "rb");
    if (f != NULL) {
      if (fread(head, 1, 10, f) == 10) {
        long long checkpoint = atoll(head);
        if ((long long)st.st_size > checkpoint) s.unsent += (long long)st.st_size - checkpoint;
      }
      fclose(f);
    }
  }
  closedir(dir);
  return s;
}

/* Creates the directory part of `cachePath` when it does not exist. */
static int makeCacheDirectory(const char *cachePath) {
  char directory[1024];
  const char *slash = strrchr(cachePath, '/');
  snprintf(directory, sizeof directory, "%.*s", (int)(slash - cachePath), cachePath);
  if (directory[0] == '\0' || mkdir(directory, 0755) == 0 || errno == EEXIST) return 0;
  fprintf(stderr, "audit_demo: cannot create %s: %s\n", directory, strerror(errno));
  return -1;
}

/* ---- the records events are made of -------------------------------------------------------------------
 * Built once and added to each event with copy 1, so the event gets its own
 * copy and the originals serve every event. */

/* Every call empties the result record on entry: stop at the first failure,
 * so that its message is the one left in the record. */
#define NEED(call) \
  if ((call) == NULL) return -1

typedef struct Records {
  ZOVEXA_ComponentId *component;
  ZOVEXA_Outcome *success;
  ZOVEXA_UserInfo *user;
  ZOVEXA_UserInfo *targetUser;
  ZOVEXA_RegistryInfo *registry;
  ZOVEXA_ResourceInfo *resource;
  ZOVEXA_PermissionInfo *permission;
  ZOVEXA_PolicyInfo *policy;
  ZOVEXA_PolicyInfo *policies[2];
  ZOVEXA_TargetInfo *target;
  ZOVEXA_MgmtInfo *mgmt;
  ZOVEXA_RegistryObjectInfo *registryObject;
  ZOVEXA_RegistryObjectInfo *account;
  ZOVEXA_ProvisioningInfo *provisioning;
  ZOVEXA_PerfInfo *perf;
  ZOVEXA_HTTPURLInfo *http;
  ZOVEXA_WorkItemInfo *workItem;
  ZOVEXA_MembershipInfo *memberships[3];
  ZOVEXA_AttributePermissionInfo *attributePermissions[2];
  ZOVEXA_Attribute *inputs[3];
  ZOVEXA_MsgDataElement *message;
} Records;

static int makeRecords(ZOVEXA_AuditClientContext *c, Records *r, ZOVEXA_result *res) {
  char *readOnly[] = {"read", NULL};
  char *readWrite[] = {"read", "write", NULL};
  char *writeOnly[] = {"write", NULL};
  char *roles[] = {"auditor", NULL};
  char *targets[] = {"payroll-db", "payroll-web", NULL};
  char *attributeNames[] = {"salary", NULL};
  char *tokens[] = {"alice", "payroll", NULL};
  memset(r, 0, sizeof *r);
  NEED(r->component =
           ZOVEXA_ComponentId_Create(c, "app7.example.com", "FQHostname", "payroll", "linux-x86_64",
                                     "audit_demo", "service", "ProductName", "events", "1", NULL, NULL, res));
  NEED(r->success = ZOVEXA_Outcome_Create(c, "SUCCESSFUL", 0, 0, NULL, res));
  NEED(r->user = ZOVEXA_UserInfo_Create(c, "cn=alice,o=example", "alice", "example.com", "EXAMPLE",
                                        "10.0.0.7", "IPV4", "session-42", 1001, NULL, NULL, res));
  NEED(r->targetUser = ZOVEXA_UserInfo_Create(c, "cn=bob,o=example", "bob", "example.com", "EXAMPLE", NULL,
                                              NULL, NULL, 1002, NULL, NULL, res));
  NEED(r->registry = ZOVEXA_RegistryInfo_Create(c, "LDAP", "ldap.example.com", "FQHostname", "389", res));
  NEED(r->resource = ZOVEXA_ResourceInfo_Create(c, "/payroll/2024", "payroll-records", "file", NULL, res));
  NEED(r->permission = ZOVEXA_PermissionInfo_Create(c, readWrite, readOnly, writeOnly, roles, roles, res));
  NEED(r->policy = ZOVEXA_PolicyInfo_Create(c, "payroll-access", "finance", "acl", "who may read payroll",
                                            NULL, res));
  r->policies[0] = r->policy;
  NEED(r->target = ZOVEXA_TargetInfo_Create(c, targets, NULL, res));
  NEED(r->mgmt = ZOVEXA_MgmtInfo_Create(c, r->target, "update", res));
  NEED(r->registryObject = ZOVEXA_RegistryObjectInfo_Create(c, "cn=payroll,ou=groups", "corporate-ldap",
                                                            "group", "payroll clerks", NULL, res));
  NEED(r->account = ZOVEXA_RegistryObjectInfo_Create(c, "cn=bob,o=example", "corporate-ldap", "user",
                                                     "new clerk", NULL, res));
  NEED(r->provisioning = ZOVEXA_ProvisioningInfo_Create(c, "bob", "payroll-app", "application", res));
  NEED(r->perf = ZOVEXA_PerfInfo_Create(c, "requests", "requests per minute", 60, "count", 340, 12, 127,
                                        "average", res));
  NEED(r->http = ZOVEXA_HTTPURLInfo_Create(c, "https://app7.example.com/payroll", "GET", "Accept: text/html",
                                           NULL, 200, res));
  NEED(r->workItem = ZOVEXA_WorkItemInfo_Create(c, "req-1187", "approval", res));
  NEED(r->memberships[0] = ZOVEXA_MembershipInfo_Create(c, "group", "g-17", "payroll clerks", res));
  NEED(r->memberships[1] = ZOVEXA_MembershipInfo_Create(c, "role", "r-3", "approver", res));
  NEED(r->attributePermissions[0] =
           ZOVEXA_AttributePermissionInfo_Create(c, attributeNames, readOnly, readOnly, NULL, res));
  NEED(r->inputs[0] = ZOVEXA_Attribute_Create(c, "reason", "new hire", "form", res));
  NEED(r->inputs[1] = ZOVEXA_Attribute_Create(c, "approver", "carol", "form", res));
  NEED(r->message = ZOVEXA_MsgDataElement_Create(c, "PAY0042I", "Unknown", NULL, "payroll.cat", "XPG",
                                                 "en_US", tokens, res));
  return 0;
}

static void deleteRecords(ZOVEXA_AuditClientContext *c, Records *r, ZOVEXA_result *res) {
  int i;
  ZOVEXA_ComponentId_Delete(c, r->component, res);
  ZOVEXA_Outcome_Delete(c, r->success, res);
  ZOVEXA_UserInfo_Delete(c, r->user, res);
  ZOVEXA_UserInfo_Delete(c, r->targetUser, res);
  ZOVEXA_RegistryInfo_Delete(c, r->registry, res);
  ZOVEXA_ResourceInfo_Delete(c, r->resource, res);
  ZOVEXA_PermissionInfo_Delete(c, r->permission, res);
  ZOVEXA_PolicyInfo_Delete(c, r->policy, res);
  ZOVEXA_TargetInfo_Delete(c, r->target, res);
  ZOVEXA_MgmtInfo_Delete(c, r->mgmt, res);
  ZOVEXA_RegistryObjectInfo_Delete(c, r->registryObject, res);
  ZOVEXA_RegistryObjectInfo_Delete(c, r->account, res);
  ZOVEXA_ProvisioningInfo_Delete(c, r->provisioning, res);
  ZOVEXA_PerfInfo_Delete(c, r->perf, res);
  ZOVEXA_HTTPURLInfo_Delete(c, r->http, res);
  ZOVEXA_WorkItemInfo_Delete(c, r->workItem, res);
  for (i = 0; r->memberships[i] != NULL; ++i) ZOVEXA_MembershipInfo_Delete(c, r->memberships[i], res);
  ZOVEXA_AttributePermissionInfo_Delete(c, r->attributePermissions[0], res);
  for (i = 0; r->inputs[i] != NULL; ++i) ZOVEXA_Attribute_Delete(c, r->inputs[i], res);
  ZOVEXA_MsgDataElement_Delete(c, r->message, res);
  ZOVEXA_Result_Clean(res);
}

/* ---- one builder per event type ------------------------------------------------------------------
 * Each adds the elements its type requires (and a few optional ones) to an
 * event that already carries the common ones. They return 0, or -1 when an
 * add failed (the message is in the result record). */

typedef ZOVEXA_AuditEvent Ev;
typedef const Records Rec;

static int addUser(Ev *e, Rec *r, ZOVEXA_result *res) {
  NEED(ZOVEXA_AuditEvent_AddUserInfoElement(e, "userInfo", r->user, 1, res));
  NEED(ZOVEXA_AuditEvent_AddRegistryInfoElement(e, "registryInfo", r->registry, 1, res));
  return 0;
}

static int authn(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "authnType", "password", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "authenticate", 1, res));
  return 0;
}

static int authnTerminate(Ev *e, Rec *r, ZOVEXA_result *res) {
  struct timeval loginTime = {1700000000, 0};
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "authnType", "password", 1, res));
  /* A logout must say why. */
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "logout", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "terminateReason", "userLogout", 1, res));
  NEED(ZOVEXA_AuditEvent_AddDateTimeElement(e, "loginTime", &loginTime, 1, res));
  return 0;
}

static int credsModify(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "changePassword", 1, res));
  return 0;
}

static int mapping(Ev *e, Rec *r, ZOVEXA_result *res) {
  (void)r;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "originalSecurityDomain", "EXAMPLE", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "originalUserName", "alice", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "mappedSecurityDomain", "MAINFRAME", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "mappedUserName", "ALICE01", 1, res));
  return 0;
}

static int authz(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddResourceInfoElement(e, "resourceInfo", r->resource, 1, res));
  NEED(ZOVEXA_AuditEvent_AddPermissionInfoElement(e, "permissionInfo", r->permission, 1, res));
  /* A successful outcome needs the decision. */
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "accessDecision", "permitted", 1, res));
  NEED(ZOVEXA_AuditEvent_AddPolicyInfoArrayElement(e, "policyInfo", (ZOVEXA_PolicyInfo **)r->policies, 1,
                                                   res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "appName", "payroll", 1, res));
  return 0;
}

static int mgmtPolicy(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "modify", 1, res));
  NEED(ZOVEXA_AuditEvent_AddPolicyInfoElement(e, "policyInfo", r->policy, 1, res));
  NEED(ZOVEXA_AuditEvent_AddMgmtInfoElement(e, "mgmtInfo", r->mgmt, 1, res));
  NEED(ZOVEXA_AuditEvent_AddMembershipInfoArrayElement(e, "memberships",
                                                       (ZOVEXA_MembershipInfo **)r->memberships, 1, res));
  return 0;
}

static int mgmtRegistry(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "add", 1, res));
  NEED(ZOVEXA_AuditEvent_AddRegistryObjectInfoElement(e, "registryObjectInfo", r->registryObject, 1, res));
  return 0;
}

static int runtime(Ev *e, Rec *r, ZOVEXA_result *res) {
  NEED(ZOVEXA_AuditEvent_AddResourceInfoElement(e, "resourceInfo", r->resource, 1, res));
  /* A statistic carries its numbers. */
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "statistic", 1, res));
  NEED(ZOVEXA_AuditEvent_AddPerfInfoElement(e, "perfInfo", r->perf, 1, res));
  return 0;
}

static int mgmtConfig(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "modify", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "type", "auditSettings", 1, res));
  NEED(ZOVEXA_AuditEvent_AddMgmtInfoElement(e, "mgmtInfo", r->mgmt, 1, res));
  return 0;
}

static int mgmtProvisioning(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  /* The target user is a registry object here. */
  NEED(ZOVEXA_AuditEvent_AddRegistryObjectInfoElement(e, "targetUserInfo", r->account, 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "add", 1, res));
  NEED(ZOVEXA_AuditEvent_AddProvisioningInfoElement(e, "provisioningTargetInfo", r->provisioning, 1, res));
  return 0;
}

static int runtimeKey(Ev *e, Rec *r, ZOVEXA_result *res) {
  struct timeval lifetime = {1893456000, 0};
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "keyLabel", "payroll-signing", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "location", "10.0.0.9", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "locationType", "IPV4", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "sign", 1, res));
  NEED(ZOVEXA_AuditEvent_AddDateTimeElement(e, "lifetime", &lifetime, 1, res));
  NEED(ZOVEXA_AuditEvent_AddUserInfoElement(e, "userInfo", r->user, 1, res));
  return 0;
}

static int passwordChange(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddProvisioningInfoElement(e, "provisioningInfo", r->provisioning, 1, res));
  return 0;
}

static int compliance(Ev *e, Rec *r, ZOVEXA_result *res) {
  (void)r;
  /* A violation must be named. */
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "complianceStatus", "nonCompliant", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "violationName", "stale-account", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "policyName", "account-hygiene", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "targetAccount", "bob", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "severity", "medium", 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "suppressed", "No", 1, res));
  return 0;
}

static int resourceAccess(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddResourceInfoElement(e, "resourceInfo", r->resource, 1, res));
  NEED(ZOVEXA_AuditEvent_AddPermissionInfoElement(e, "permissionInfo", r->permission, 1, res));
  /* An HTTP request carries its URL record. */
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "httpRequest", 1, res));
  NEED(ZOVEXA_AuditEvent_AddHTTPURLInfoElement(e, "httpURLInfo", r->http, 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "accessDecision", "permitted", 1, res));
  NEED(ZOVEXA_AuditEvent_AddAttributePermissionInfoArrayElement(
      e, "attributePermissionInfo", (ZOVEXA_AttributePermissionInfo **)r->attributePermissions, 1, res));
  return 0;
}

static int mgmtResource(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "delete", 1, res));
  NEED(ZOVEXA_AuditEvent_AddResourceInfoElement(e, "resourceInfo", r->resource, 1, res));
  return 0;
}

static int dataSync(Ev *e, Rec *r, ZOVEXA_result *res) {
  NEED(ZOVEXA_AuditEvent_AddResourceInfoElement(e, "resourceInfo", r->resource, 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "synchronize", 1, res));
  return 0;
}

static int workflow(Ev *e, Rec *r, ZOVEXA_result *res) {
  if (addUser(e, r, res) != 0) return -1;
  NEED(ZOVEXA_AuditEvent_AddWorkItemInfoElement(e, "workItemInfo", r->workItem, 1, res));
  NEED(ZOVEXA_AuditEvent_AddStringElement(e, "action", "approve", 1, res));
  NEED(ZOVEXA_AuditEvent_AddUserInfoElement(e, "targetUserInfo", r->targetUser, 1, res));
  NEED(ZOVEXA_AuditEvent_AddAttributeArrayElement(e, "userInputs", (ZOVEXA_Attribute **)r->inputs, 1, res));
  return 0;
}

typedef struct EventKind {
  const char *type;
  int (*build)(Ev *, Rec *, ZOVEXA_result *);
} EventKind;

static const EventKind kKinds[] = {
    {"AUDIT_AUTHN", authn},
    {"AUDIT_AUTHN_TERMINATE", authnTerminate},
    {"AUDIT_AUTHN_CREDS_MODIFY", credsModify},
    {"AUDIT_AUTHN_MAPPING", mapping},
    {"AUDIT_AUTHZ", authz},
    {"AUDIT_MGMT_POLICY", mgmtPolicy},
    {"AUDIT_MGMT_REGISTRY", mgmtRegistry},
    {"AUDIT_RUNTIME", runtime},
    {"AUDIT_MGMT_CONFIG", mgmtConfig},
    {"AUDIT_MGMT_PROVISIONING", mgmtProvisioning},
    {"AUDIT_RUNTIME_KEY", runtimeKey},
    {"AUDIT_PASSWORD_CHANGE", passwordChange},
    {"AUDIT_COMPLIANCE", compliance},
    {"AUDIT_RESOURCE_ACCESS", resourceAccess},
    {"AUDIT_MGMT_RESOURCE", mgmtResource},
    {"AUDIT_DATA_SYNC", dataSync},
    {"AUDIT_WORKFLOW", workflow},
};
enum { kNumKinds = sizeof kKinds / sizeof kKinds[0] };

/* Event number n: the common elements (the reporting component, the
 * outcome, a sequence number and a message) and those of type n % 17. NULL
 * when something could not be added. */
static ZOVEXA_AuditEvent *makeEvent(ZOVEXA_AuditClientContext *c, const Records *r, long n,
                                    ZOVEXA_result *res) {
  const EventKind *kind = &kKinds[n % kNumKinds];
  ZOVEXA_AuditEvent *e = ZOVEXA_AuditEvent_Create(c, kind->type, res);
  char text[64];
  if (e == NULL) return NULL;
  snprintf(text, sizeof text, "audit_demo event %ld", n);
  if (ZOVEXA_AuditEvent_AddComponentIdElement(e, "sourceComponentId", r->component, 1, res) == NULL ||
      ZOVEXA_AuditEvent_AddOutcomeElement(e, "outcome", r->success, 1, res) == NULL ||
      ZOVEXA_AuditEvent_AddLongElement(e, "sequenceNumber", n, res) == NULL ||
      ZOVEXA_AuditEvent_AddStringElement(e, "auditMsg", text, 1, res) == NULL ||
      ZOVEXA_AuditEvent_AddMsgDataElement(e, "auditMsgElement", r->message, 1, res) == NULL ||
      kind->build(e, r, res) != 0) {
    ZOVEXA_result scratch = {0, 0, NULL};
    ZOVEXA_AuditEvent_Delete(e, &scratch);
    ZOVEXA_Result_Clean(&scratch);
    return NULL;
  }
  return e;
}

/* ---- main ------------------------------------------------------------------------------------------ */

static void printMessages(const char *step, ZOVEXA_result *res) {
  int32_t i;
  for (i = 0; i < res->count; ++i) printf("audit_demo: %s: %s\n", step, res->entries[i].text);
  ZOVEXA_Result_Clean(res);
}

static void printProgress(double start, long sent, long count, long refused, const char *cachePath) {
  CacheState s = cacheState(cachePath);
  printf("[%5.1fs] sent %5ld/%ld", now() - start, sent, count);
  if (refused > 0) printf(" (%ld refused)", refused);
  printf("   cache: %d file%s, %lld bytes, %lld unsent", s.files, s.files == 1 ? "" : "s", s.bytes, s.unsent);
  if (s.corrupt > 0) printf(", %d corrupt", s.corrupt);
  printf("\n");
}

int main(int argc, char **argv) {
  Options o;
  char errorLog[1100];
  ZOVEXA_result res = {0, 0, NULL};
  ZOVEXA_AuditClientContext *context;
  ZOVEXA_AuditClient *client;
  Records records;
  int32_t numberRetries = 1, retryInterval = 1, rebindInterval = 2, flushInterval = 1;
  long n, sent = 0, refused = 0;
  double start, nextReport;
  CacheState end;
  int drained;

  setvbuf(stdout, NULL, _IOLBF, 0);
  if (parseOptions(argc, argv, &o) != 0) {
    usage(stderr);
    return 3;
  }
  if (makeCacheDirectory(o.cachePath) != 0) return 3;
  if (o.errorLog == NULL) {
    snprintf(errorLog, sizeof errorLog, "%.*s/audit_demo-error.log",
             (int)(strrchr(o.cachePath, '/') - o.cachePath), o.cachePath);
    o.errorLog = errorLog;
  }

  /* Short retry and rebind intervals: a lost server is noticed within a
   * couple of seconds and a returning one as quickly. */
  {
    ZOVEXA_property properties[] = {
        {"serverURL", VEXA_VT_STRING, (void *)o.url},
        {"errorFilePath", VEXA_VT_STRING, (void *)o.errorLog},
        {"diskCachePath", VEXA_VT_STRING, (void *)o.cachePath},
        {"useDiskCache", VEXA_VT_STRING, "auto"},
        {"numberRetries", VEXA_VT_INTEGER, &numberRetries},
        {"retryInterval", VEXA_VT_INTEGER, &retryInterval},
        {"rebindInterval", VEXA_VT_INTEGER, &rebindInterval},
        {"flushInterval", VEXA_VT_INTEGER, &flushInterval},
        {"elementCodeSet", VEXA_VT_STRING, "UTF8"},
        /* Last: without a trace file this entry ends the list. */
        {o.traceFile != NULL ? "traceFilePath" : NULL, VEXA_VT_STRING, (void *)o.traceFile},
        {NULL, 0, NULL},
    };
    context = ZOVEXA_AuditClientContext_Create(properties, &res);
  }
  if (context == NULL) {
    printMessages("creating the context", &res);
    return 3;
  }
  client = ZOVEXA_AuditClient_Create(context, &res);
  printMessages("creating the client", &res);
  if (client == NULL || makeRecords(context, &records, &res) != 0) {
    printMessages("building the records", &res);
    return 3;
  }

  printf("audit_demo: sending %ld events of %d types at %ld/s to %s\n", o.count, (int)kNumKinds, o.rate,
         o.url);
  printf("audit_demo: disk cache %s, error log %s\n", o.cachePath, o.errorLog);
  start = now();
  nextReport = start + 1.0;
  for (n = 0; n < o.count; ++n) {
    ZOVEXA_AuditEvent *event;
    sleepUntil(start + (double)n / (double)o.rate);
    if (now() >= nextReport) {
      printProgress(start, sent, o.count, refused, o.cachePath);
      nextReport += 1.0;
    }
    event = makeEvent(context, &records, n, &res);
    if (event == NULL) {
      printMessages(kKinds[n % kNumKinds].type, &res);
      ++refused;
      continue;
    }
    if (ZOVEXA_AuditClient_SendEvent(client, event, &res) == 0) {
      ++sent; /* the library owns the event now */
    } else {
      printMessages("sending", &res);
      ZOVEXA_AuditEvent_Delete(event, &res);
      ZOVEXA_Result_Clean(&res);
      ++refused;
    }
  }
  printProgress(start, sent, o.count, refused, o.cachePath);

  /* The application is done; what the cache holds goes out as soon as the
   * server answers. Wait for that, showing the cache shrink. */
  printf("audit_demo: all events handed over; waiting up to %lds for the disk cache to drain\n",
         o.drainTimeout);
  {
    double deadline = now() + (double)o.drainTimeout;
    nextReport = now() + 1.0;
    for (;;) {
      CacheState s = cacheState(o.cachePath);
      if (s.unsent == 0 || now() >= deadline) break;
      sleepUntil(nextReport);
      nextReport += 1.0;
      printProgress(start, sent, o.count, refused, o.cachePath);
    }
  }

  deleteRecords(context, &records, &res);
  ZOVEXA_AuditClient_Delete(client, &res);
  printMessages("deleting the client", &res);
  ZOVEXA_AuditClientContext_Delete(context, &res);
  printMessages("deleting the context", &res);

  end = cacheState(o.cachePath);
  drained = end.unsent == 0;
  printProgress(start, sent, o.count, refused, o.cachePath);
  printf("audit_demo: done: %ld events sent, %ld refused, cache %s\n", sent, refused,
         drained ? "empty" : "still holding unsent events");
  if (refused > 0) return 1;
  return drained ? 0 : 2;
}
