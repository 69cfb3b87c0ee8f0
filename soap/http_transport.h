// The HTTP transport under Call: "POST this body to this URL with these
// options; give back status, headers and body, or throw". The process uses
// one transport at a time; the default is libcurl, and tests may install a
// wrapper around it to inject failures.
//
// The libcurl transport keeps one connection cache per thread and per secure
// environment, so successive requests of a thread reuse their TCP and TLS
// connection, and a connection made with one environment (trust anchors and
// client identity) never carries a request of another. A thread's handles
// are released when the thread ends; those of a closed environment at the
// thread's next request.
#ifndef ZOVEXA_SOAP_HTTP_TRANSPORT_H_
#define ZOVEXA_SOAP_HTTP_TRANSPORT_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

struct ZOsecureEnv;

struct HttpRequest {
  std::string url;
  std::string body;
  // Header lines ("Name: value") sent with the request; "Expect:" is never
  // sent, so the body follows the headers without waiting.
  std::vector<std::string> headers;
  bool basicAuth = false;  // send user and password as HTTP basic authentication
  std::string user;
  std::string password;
  long timeoutSeconds = 0;  // whole transfer, connection included; 0: none
  bool http10 = false;
  // https: the trust anchors, identity and policy; NULL uses the system's
  // trust store. The peer and its host name are verified in every case.
  std::shared_ptr<const ZOsecureEnv> secureEnv;
};

struct HttpResponse {
  long status = 0;
  std::string reason;  // the status line's reason phrase ("Service Unavailable")
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;
  // Any HTTP status is returned. Throws AxisException with a transport code
  // (connect failed, timed out, connection lost, TLS failed, set-up) and a
  // message naming the cause when no complete answer arrived.
  virtual HttpResponse post(const HttpRequest &request) = 0;
};

// The libcurl transport.
HttpTransport &ZOcurlTransport();
// The transport in use.
HttpTransport &ZOhttpTransport();
// Installs `transport` (NULL: the libcurl one) and returns the previous one.
// Meant for tests, between requests.
HttpTransport *ZOsetHttpTransport(HttpTransport *transport);

// Closes the calling thread's connections now rather than when it ends.
void ZOhttpReleaseThreadConnections();

// The number of new connections the calling thread's libcurl transport has
// opened so far (reused connections do not count).
long ZOhttpThreadConnectCount();

#endif  // ZOVEXA_SOAP_HTTP_TRANSPORT_H_
