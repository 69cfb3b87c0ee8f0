// In-process servers for the SOAP runtime tests: a cpp-httplib server (HTTP,
// or HTTPS with optional client certificates) that records every request and
// answers with a programmable status, body and delay, and a bare TCP server
// that resets each connection after reading the request.
#ifndef ZOVEXA_TESTS_SOAP_SERVER_UTIL_H_
#define ZOVEXA_TESTS_SOAP_SERVER_UTIL_H_

#include <openssl/ssl.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testutil {

// Starts what the SOAP runtime needs in a test program (Xerces-C, libcurl);
// idempotent.
void StartSoapRuntime();

struct SeenRequest {
  std::string method;
  std::string path;
  std::string version;  // "HTTP/1.1"
  std::multimap<std::string, std::string> headers;
  std::string body;
  std::string remote;  // "address:port" of the client's socket
  bool HasHeader(const std::string &name) const;
  std::string Header(const std::string &name) const;  // "" when absent
};

struct TlsServerConfig {
  std::string cert, key;
  std::string clientCa;                  // non-empty: a client certificate from this CA is required
  std::function<void(SSL_CTX *)> tweak;  // further settings of the server's TLS context
};

// "<soapenv:Envelope ...><soapenv:Body><ns1:sendEventResponse .../></soapenv:Body></soapenv:Envelope>"
std::string SoapOkAnswer();
// A fault envelope; `detailXml` goes inside <detail> as it is, and no
// <detail> is written when it is NULL.
std::string SoapFaultAnswer(const std::string &code, const std::string &string, const std::string &actor,
                            const char *detailXml);

class SoapTestServer {
 public:
  // HTTP without `tls`, HTTPS with it. Answers 200 with SoapOkAnswer() until
  // told otherwise.
  explicit SoapTestServer(const TlsServerConfig *tls = nullptr);
  ~SoapTestServer();
  SoapTestServer(const SoapTestServer &) = delete;
  SoapTestServer &operator=(const SoapTestServer &) = delete;

  bool ok() const { return port_ > 0; }
  int port() const { return port_; }
  // <scheme>://<host>:<port>/vexaws/services/Emitter
  std::string Url(const std::string &host = "127.0.0.1") const;

  void Answer(int status, std::string body, std::string contentType = "text/xml; charset=utf-8");
  void Delay(std::chrono::milliseconds delay) { delay_ = delay; }

  std::vector<SeenRequest> Requests() const;
  // Distinct client sockets that sent a request: the connections used.
  int Connections() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  int port_ = -1;
  std::atomic<std::chrono::milliseconds> delay_{std::chrono::milliseconds(0)};
};

// Accepts connections, reads what arrives for a moment, then resets the
// connection (SO_LINGER 0) without answering.
class ResettingServer {
 public:
  ResettingServer();
  ~ResettingServer();
  ResettingServer(const ResettingServer &) = delete;
  ResettingServer &operator=(const ResettingServer &) = delete;
  std::string Url() const;
  int accepted() const { return accepted_; }

 private:
  int listenFd_ = -1;
  int port_ = -1;
  std::atomic<bool> stop_{false};
  std::atomic<int> accepted_{0};
  std::thread thread_;
};

// A port on 127.0.0.1 where nothing listens (bound, then closed).
int UnusedPort();

}  // namespace testutil

#endif  // ZOVEXA_TESTS_SOAP_SERVER_UTIL_H_
