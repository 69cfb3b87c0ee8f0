#include "tests/audit_server_util.h"

#include <fcntl.h>
#include <httplib.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace testutil {
namespace {

constexpr char kEmitterPath[] = "/vexaws/services/Emitter";
constexpr int kStartTimeoutMs = 20000;
constexpr int kStopTimeoutMs = 5000;

std::vector<char *> Argv(std::vector<std::string> &args) {
  std::vector<char *> argv;
  for (auto &a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  return argv;
}

// Waits for the child, first politely; returns the waitpid status.
int Reap(pid_t pid) {
  int status = 0;
  kill(pid, SIGTERM);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kStopTimeoutMs);
  while (std::chrono::steady_clock::now() < deadline) {
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid || (r < 0 && errno != EINTR)) return status;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  kill(pid, SIGKILL);
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

// Undoes the --dump escaping of one field.
std::string Unescape(const std::string &field) {
  std::string out;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\' || i + 1 == field.size()) {
      out += field[i];
      continue;
    }
    char c = field[++i];
    out += c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c;
  }
  return out;
}

std::vector<std::string> SplitTabs(const std::string &line) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (;;) {
    size_t tab = line.find('\t', start);
    fields.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
    if (tab == std::string::npos) return fields;
    start = tab + 1;
  }
}

}  // namespace

ScopedNoSigpipe::ScopedNoSigpipe() {
  sigset_t pipe, old;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &old);
  wasBlocked_ = sigismember(&old, SIGPIPE) == 1;
}

ScopedNoSigpipe::~ScopedNoSigpipe() {
  if (wasBlocked_) return;
  sigset_t pipe, pending;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigpending(&pending);
  if (sigismember(&pending, SIGPIPE) == 1) {
    timespec zero{0, 0};
    sigtimedwait(&pipe, nullptr, &zero);
  }
  pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
}

AuditServer::AuditServer(const std::vector<std::string> &args, const std::string &binary)
    : binary_(binary), db_(dir_.File("audit.db")), logPath_(dir_.File("server.log")) {
  if (binary_.empty()) {
    error_ = "the audit server is not part of this build";
    return;
  }
  std::vector<std::string> all = {binary_, "--port", "0", "--bind", "127.0.0.1", "--db", db_};
  for (const auto &a : args) {
    all.push_back(a);
    if (a == "--cert") secure_ = true;
  }
  std::vector<char *> argv = Argv(all);

  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) {
    error_ = "pipe failed";
    return;
  }
  int logFd = open(logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0) {
    // Only async-signal-safe calls until exec: the test may have threads.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);
    dup2(fds[1], STDOUT_FILENO);
    if (logFd >= 0) dup2(logFd, STDERR_FILENO);
    if (chdir(dir_.path().c_str()) != 0) _exit(127);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(fds[1]);
  if (logFd >= 0) close(logFd);
  if (pid < 0) {
    close(fds[0]);
    error_ = "fork failed";
    return;
  }
  pid_ = pid;
  portPipe_ = fds[0];

  // The first line of standard output is the port.
  std::string line;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kStartTimeoutMs);
  for (;;) {
    int left = static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
            .count());
    pollfd p{portPipe_, POLLIN, 0};
    if (left <= 0 || poll(&p, 1, left) <= 0) {
      if (left > 0 && errno == EINTR) continue;
      error_ = "the server did not report its port in time";
      break;
    }
    char c;
    ssize_t n = read(portPipe_, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      error_ = "the server exited before reporting its port";
      break;
    }
    if (c == '\n') {
      port_ = std::atoi(line.c_str());
      if (port_ <= 0) error_ = "bad port line '" + line + "'";
      break;
    }
    line += c;
  }
  if (port_ <= 0) {
    Stop();
    error_ += "; server log:\n" + Log();
  }
}

AuditServer::~AuditServer() { Stop(); }

int AuditServer::Stop() {
  int status = -1;
  if (pid_ > 0) {
    status = Reap(pid_);
    pid_ = -1;
  }
  if (portPipe_ >= 0) {
    close(portPipe_);
    portPipe_ = -1;
  }
  return status;
}

std::string AuditServer::Url(const std::string &host) const {
  return secure_ ? HttpsUrl(host) : HttpUrl(host);
}
std::string AuditServer::HttpUrl(const std::string &host) const {
  return "http://" + host + ":" + std::to_string(port_) + kEmitterPath;
}
std::string AuditServer::HttpsUrl(const std::string &host) const {
  return "https://" + host + ":" + std::to_string(port_) + kEmitterPath;
}

std::string AuditServer::Log() const { return ReadFile(logPath_); }

void AuditServer::SetControlClientCert(const std::string &certFile, const std::string &keyFile) {
  clientCert_ = certFile;
  clientKey_ = keyFile;
}

namespace {

std::unique_ptr<httplib::Client> ControlClient(bool secure, int port, const std::string &cert,
                                               const std::string &key) {
  std::string base = std::string(secure ? "https" : "http") + "://127.0.0.1:" + std::to_string(port);
  auto cli = cert.empty() ? std::make_unique<httplib::Client>(base)
                          : std::make_unique<httplib::Client>(base, cert, key);
  cli->enable_server_certificate_verification(false);
  cli->set_connection_timeout(5);
  cli->set_read_timeout(10);
  return cli;
}

}  // namespace

std::map<std::string, long long> AuditServer::Stats() {
  std::map<std::string, long long> stats;
  if (!ok()) return stats;
  ScopedNoSigpipe noSigpipe;
  auto res = ControlClient(secure_, port_, clientCert_, clientKey_)->Get("/control/stats");
  if (!res || res->status != 200) return stats;
  for (const auto &line : SplitLines(res->body)) {
    size_t eq = line.find('=');
    if (eq != std::string::npos) stats[line.substr(0, eq)] = std::atoll(line.c_str() + eq + 1);
  }
  return stats;
}

long long AuditServer::Stat(const std::string &key) {
  auto stats = Stats();
  auto it = stats.find(key);
  return it == stats.end() ? -1 : it->second;
}

bool AuditServer::WaitForStat(const std::string &key, long long atLeast, int timeoutMs) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    if (Stat(key) >= atLeast) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

bool AuditServer::SetMode(const std::string &pairs) {
  if (!ok()) return false;
  ScopedNoSigpipe noSigpipe;
  auto res =
      ControlClient(secure_, port_, clientCert_, clientKey_)->Post("/control/mode", pairs, "text/plain");
  return res && res->status == 200;
}

bool AuditServer::RunTool(const std::vector<std::string> &args, std::string *out) const {
  out->clear();
  if (binary_.empty()) return false;
  std::vector<std::string> all = {binary_};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char *> argv = Argv(all);
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return false;
  pid_t pid = fork();
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(fds[1]);
  if (pid < 0) {
    close(fds[0]);
    return false;
  }
  char buf[4096];
  for (;;) {
    ssize_t n = read(fds[0], buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    out->append(buf, static_cast<size_t>(n));
  }
  close(fds[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string AuditServer::CountReport() {
  std::string out;
  RunTool({"--db", db_, "--count"}, &out);
  return out;
}

long long AuditServer::StoredCount() {
  std::string out;
  if (!RunTool({"--db", db_, "--count"}, &out)) return -1;
  for (const auto &line : SplitLines(out)) {
    if (line.rfind("events=", 0) == 0) return std::atoll(line.c_str() + 7);
  }
  return -1;
}

std::vector<StoredEvent> AuditServer::Stored() {
  std::vector<StoredEvent> events;
  std::string out;
  if (!RunTool({"--db", db_, "--dump"}, &out)) return events;
  for (const auto &line : SplitLines(out)) {
    auto f = SplitTabs(line);
    if (f.size() != 6) continue;
    StoredEvent e;
    e.id = std::atoll(f[0].c_str());
    e.received = Unescape(f[1]);
    e.globalInstanceId = Unescape(f[2]);
    e.extensionName = Unescape(f[3]);
    e.creationTime = Unescape(f[4]);
    e.xml = Unescape(f[5]);
    events.push_back(std::move(e));
  }
  return events;
}

std::vector<std::string> AuditServer::StoredGiids() {
  std::vector<std::string> v;
  for (auto &e : Stored()) v.push_back(std::move(e.globalInstanceId));
  return v;
}

std::vector<std::string> AuditServer::StoredExtensionNames() {
  std::vector<std::string> v;
  for (auto &e : Stored()) v.push_back(std::move(e.extensionName));
  return v;
}

std::vector<std::string> AuditServer::StoredXml() {
  std::vector<std::string> v;
  for (auto &e : Stored()) v.push_back(std::move(e.xml));
  return v;
}

}  // namespace testutil
