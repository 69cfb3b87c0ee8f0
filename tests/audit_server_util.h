// The audit server (vexa-audit-server) as a child process of a test: started on
// a free loopback port with its own database in a fresh temporary directory,
// controlled over its /control requests, and killed when the object goes away
// (also when the test process dies: the child gets SIGKILL with its parent).
//
//   testutil::AuditServer srv({"--reject-nth", "2"});
//   ASSERT_TRUE(srv.ok()) << srv.error();
//   ... send to srv.Url() ...
//   EXPECT_EQ(srv.StoredCount(), 2);
//
// Fault modes switched with SetMode (names as in the server's --help):
//   delay_ms=N                answer after N ms (the request is processed)
//   close=1                   close the connection without an answer
//   status503=1               HTTP 503
//   server_fault=1            a "soapenv:Server" fault
//   empty_200=1               HTTP 200 with an empty body
//   reject_nth=N              a "soapenv:client" fault naming event N of each batch
//                             that has an N-th event; nothing of that batch stored
//   client_fault_no_detail=1  the client faults above carry no "failedevent" detail
//                             (with reject_nth=2: a batch of three is refused, each
//                             event resent alone is stored)
//   pause_s=N                 requests arriving in the next N seconds are held, then
//                             dropped unanswered and unprocessed
//   clear                     every mode back to normal
// Each object is independent (own port, directory, database), so tests may run
// in parallel. Construct it on the thread that lives as long as it does: the
// child's parent-death signal follows the creating thread.
#ifndef ZOVEXA_TESTS_AUDIT_SERVER_UTIL_H_
#define ZOVEXA_TESTS_AUDIT_SERVER_UTIL_H_

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/test_util.h"

// The server binary the including test was built with ("" when the target is
// not part of the build). Taken at the call site: only test programs get the
// macro.
#ifdef ZOVEXA_TEST_AUDIT_SERVER
#define ZOVEXA_AUDIT_SERVER_BINARY ZOVEXA_TEST_AUDIT_SERVER
#else
#define ZOVEXA_AUDIT_SERVER_BINARY ""
#endif

namespace testutil {

// One stored event as the server's --dump prints it (NULL columns are "").
struct StoredEvent {
  long long id = 0;
  std::string received;
  std::string globalInstanceId;
  std::string extensionName;
  std::string creationTime;
  std::string xml;
};

// Blocks SIGPIPE on the calling thread while it lives and discards one raised
// meanwhile, so that writing to a socket the peer closed (as httplib's TLS
// client does against a server that refused the handshake) fails with EPIPE
// instead of killing the test. The control requests below use it.
class ScopedNoSigpipe {
 public:
  ScopedNoSigpipe();
  ~ScopedNoSigpipe();
  ScopedNoSigpipe(const ScopedNoSigpipe &) = delete;
  ScopedNoSigpipe &operator=(const ScopedNoSigpipe &) = delete;

 private:
  bool wasBlocked_ = false;
};

class AuditServer {
 public:
  // Starts `binary` with --port 0 --bind 127.0.0.1 --db <dir>/audit.db and then
  // `args` (later options win). With "--cert" among the args Url() is https.
  explicit AuditServer(const std::vector<std::string> &args = {},
                       const std::string &binary = ZOVEXA_AUDIT_SERVER_BINARY);
  ~AuditServer();
  AuditServer(const AuditServer &) = delete;
  AuditServer &operator=(const AuditServer &) = delete;

  bool ok() const { return pid_ > 0 && port_ > 0; }
  // Why the start failed, with the server's standard error.
  const std::string &error() const { return error_; }
  int port() const { return port_; }
  bool secure() const { return secure_; }
  const std::string &dbPath() const { return db_; }
  const std::string &dir() const { return dir_.path(); }

  // The Emitter endpoint: Url() in the scheme the server speaks, the others in
  // a fixed one (a plain client against a TLS server, for example).
  std::string Url(const std::string &host = "127.0.0.1") const;
  std::string HttpUrl(const std::string &host = "127.0.0.1") const;
  std::string HttpsUrl(const std::string &host = "127.0.0.1") const;

  // The server's standard error so far (one line per request unless --quiet).
  std::string Log() const;

  // For a server started with --client-ca: the identity the control requests
  // present. Control requests do not verify the server certificate.
  void SetControlClientCert(const std::string &certFile, const std::string &keyFile);

  // GET /control/stats: requests, events_stored, batches_stored, probes,
  // faults, client_faults, auth_failures, injected, connections. Empty when the
  // server cannot be reached.
  std::map<std::string, long long> Stats();
  // One counter, -1 when unreachable or unknown.
  long long Stat(const std::string &key);
  // Polls Stat(key) until it reaches atLeast; false after timeoutMs.
  bool WaitForStat(const std::string &key, long long atLeast, int timeoutMs = 10000);
  // POST /control/mode with "key=value" pairs separated by blanks, '&' or new
  // lines; false when the server refused them (unknown key, bad value).
  bool SetMode(const std::string &pairs);

  // What the database holds, read with the server's --dump and --count (also
  // after Stop). StoredCount is -1 when the database cannot be read.
  long long StoredCount();
  std::vector<StoredEvent> Stored();
  std::vector<std::string> StoredGiids();
  std::vector<std::string> StoredExtensionNames();
  std::vector<std::string> StoredXml();
  // The --count report ("events=..", "distinct_global_instance_ids=..", "duplicates=..").
  std::string CountReport();

  // SIGTERM, then SIGKILL after five seconds; waits for the child. Idempotent.
  // Returns the exit status as waitpid reports it (-1 if it was not running).
  int Stop();

 private:
  // Runs the binary with `args` and collects its standard output; false when
  // it could not run or did not exit with 0.
  bool RunTool(const std::vector<std::string> &args, std::string *out) const;

  TempDir dir_;
  std::string binary_;
  std::string db_;
  std::string logPath_;
  std::string error_;
  pid_t pid_ = -1;
  int portPipe_ = -1;
  int port_ = 0;
  bool secure_ = false;
  std::string clientCert_, clientKey_;
};

}  // namespace testutil

#endif  // ZOVEXA_TESTS_AUDIT_SERVER_UTIL_H_
