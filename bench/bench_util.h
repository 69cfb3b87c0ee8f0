// What the benchmarks share: a context whose logs go to a scratch directory
// for the whole run, and a typical authorisation event.
#ifndef ZOVEXA_BENCH_BENCH_UTIL_H_
#define ZOVEXA_BENCH_BENCH_UTIL_H_

#include <curl/curl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "zovexa.h"

namespace benchutil {

// A context for a server nobody answers at (the benchmarks using it never
// send); making it also starts the XML parser and the SOAP runtime.
class BenchContext {
 public:
  BenchContext() {
    const char *base = std::getenv("TMPDIR");
    dir_ = std::string(base && *base ? base : "/tmp") + "/zovexa-bench-XXXXXX";
    if (mkdtemp(dir_.data()) == nullptr) std::abort();
    errorFile_ = dir_ + "/error.log";
    ZOVEXA_property props[] = {
        {"serverURL", VEXA_VT_STRING, const_cast<char *>("http://127.0.0.1:9/vexaws/services/Emitter")},
        {"errorFilePath", VEXA_VT_STRING, errorFile_.data()},
        {"elementCodeSet", VEXA_VT_STRING, const_cast<char *>("UTF8")},
        {nullptr, 0, nullptr},
    };
    ZOVEXA_result r{};
    ctx = ZOVEXA_AuditClientContext_Create(props, &r);
    if (ctx == nullptr) std::abort();
    ZOVEXA_Result_Clean(&r);
  }
  ~BenchContext() {
    ZOVEXA_result r{};
    ZOVEXA_AuditClientContext_Delete(ctx, &r);
    ZOVEXA_Result_Clean(&r);
    std::remove(errorFile_.c_str());
    rmdir(dir_.c_str());
  }
  ZOVEXA_AuditClientContext *ctx = nullptr;

 private:
  std::string dir_;
  std::string errorFile_;
};

inline BenchContext &Context() {
  static BenchContext context;
  return context;
}

// A typical AUDIT_AUTHZ event: user, resource and permission info, outcome,
// source component, time stamp, the access decision that a successful
// outcome demands, a message and a global instance id. The records are
// handed to the event (copy 0). NULL on failure.
// Without `withGiid` the event has no identifier yet, as an application
// hands it to SendEvent.
inline ZOVEXA_AuditEvent *BuildAuthzEvent(ZOVEXA_AuditClientContext *ctx, ZOVEXA_result *r,
                                          bool withGiid = true) {
  char *checked[] = {const_cast<char *>("read"), const_cast<char *>("write"), nullptr};
  char *granted[] = {const_cast<char *>("read"), nullptr};
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(ctx, "cn=alice,o=example", "alice", "example.com", "realm1",
                                                 "10.0.0.7", "IPV4", "session-42", 1001, nullptr, nullptr, r);
  ZOVEXA_ResourceInfo *resource = ZOVEXA_ResourceInfo_Create(ctx, "/orders/17", "orders", "file", nullptr, r);
  ZOVEXA_PermissionInfo *permission =
      ZOVEXA_PermissionInfo_Create(ctx, checked, granted, nullptr, nullptr, nullptr, r);
  ZOVEXA_Outcome *outcome = ZOVEXA_Outcome_Create(ctx, "SUCCESSFUL", 0, 0, nullptr, r);
  ZOVEXA_ComponentId *source =
      ZOVEXA_ComponentId_Create(ctx, "host1.example.com", "FQHostname", "orders", nullptr, "orderService",
                                "service", "ProductName", "authz", nullptr, nullptr, nullptr, r);
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(ctx, "AUDIT_AUTHZ", r);
  if (user == nullptr || resource == nullptr || permission == nullptr || outcome == nullptr ||
      source == nullptr || event == nullptr) {
    return nullptr;
  }
  struct timeval now;
  gettimeofday(&now, nullptr);
  bool ok = ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddResourceInfoElement(event, "resourceInfo", resource, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddPermissionInfoElement(event, "permissionInfo", permission, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", source, 0, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddDateTimeElement(event, "timestamp", &now, 1, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "accessDecision", "permitted", 1, r) != nullptr;
  ok = ok && ZOVEXA_AuditEvent_AddStringElement(event, "auditMsg", "access to /orders/17", 1, r) != nullptr;
  ok = ok &&
       (!withGiid || ZOVEXA_AuditEvent_AddStringElement(
                         event, "globalInstanceId", "c0a8000701dcd2d4a95a2b6e8f4e3b11a7d2", 1, r) != nullptr);
  if (!ok) {
    ZOVEXA_AuditEvent_Delete(event, r);
    return nullptr;
  }
  return event;
}

inline std::string MakeTempDir(const char *name) {
  const char *base = std::getenv("TMPDIR");
  std::string dir = std::string(base && *base ? base : "/tmp") + "/" + name + "-XXXXXX";
  if (mkdtemp(dir.data()) == nullptr) return "";
  return dir;
}

inline bool Run(const std::string &command) { return std::system(command.c_str()) == 0; }

inline double ProcessCpuSeconds() {
  struct rusage u;
  getrusage(RUSAGE_SELF, &u);
  return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
         static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// The audit server built with this tree (`binary`), as a child process on
// loopback with its database in `dir`; stopped by Stop or at destruction.
// Start with port 0 picks a free port; a restart passes the old port.
class AuditServerProcess {
 public:
  explicit AuditServerProcess(std::string binary) : binary_(std::move(binary)) {}
  AuditServerProcess(const AuditServerProcess &) = delete;
  AuditServerProcess &operator=(const AuditServerProcess &) = delete;
  ~AuditServerProcess() { Stop(); }

  bool Start(const std::string &dir, int port = 0, const std::vector<std::string> &extra = {}) {
    std::vector<std::string> args = {binary_,     "--port", std::to_string(port), "--bind",
                                     "127.0.0.1", "--db",   dir + "/audit.db",    "--quiet"};
    args.insert(args.end(), extra.begin(), extra.end());
    int out[2];
    if (binary_.empty() || pipe(out) != 0) return false;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      close(out[0]);
      close(out[1]);
      std::vector<char *> argv;
      for (std::string &a : args) argv.push_back(a.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    FILE *first = fdopen(out[0], "r");
    char line[32] = {0};
    bool ok = pid_ > 0 && first != nullptr && fgets(line, sizeof line, first) != nullptr;
    if (first != nullptr) fclose(first);
    port_ = ok ? atoi(line) : 0;
    return port_ > 0;
  }
  // Ends the server process and waits for it.
  void Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  int Port() const { return port_; }
  std::string Url(bool tls = false) const {
    return std::string(tls ? "https" : "http") + "://127.0.0.1:" + std::to_string(port_) +
           "/vexaws/services/Emitter";
  }
  // A counter of GET /control/stats ("events_stored", "requests"), or -1.
  long long Stat(const std::string &key) const {
    std::string body;
    CURL *curl = curl_easy_init();
    if (curl == nullptr) return -1;
    std::string url = "http://127.0.0.1:" + std::to_string(port_) + "/control/stats";
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(
        curl, CURLOPT_WRITEFUNCTION, +[](char *p, size_t size, size_t n, void *out) {
          static_cast<std::string *>(out)->append(p, size * n);
          return size * n;
        });
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    CURLcode rc = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    if (rc != CURLE_OK) return -1;
    size_t at = body.find(key + "=");
    return at == std::string::npos ? -1 : std::atoll(body.c_str() + at + key.size() + 1);
  }

 private:
  std::string binary_;
  pid_t pid_ = -1;
  int port_ = 0;
};

}  // namespace benchutil

#endif  // ZOVEXA_BENCH_BENCH_UTIL_H_
