#include "soap/http_transport.h"

#include <curl/curl.h>

#include <atomic>
#include <cstring>

#include "soap/axis_exception.h"
#include "soap/secure_env.h"

namespace {

// Bounds the connection set-up when the caller gave no transfer time-out.
constexpr long kConnectTimeoutSeconds = 30;

// libcurl results and the runtime's code for each; anything not listed is
// a lost connection.
struct CurlCodeEntry {
  CURLcode curl;
  int code;
};
constexpr CurlCodeEntry kCurlCodes[] = {
    {CURLE_COULDNT_RESOLVE_PROXY, kAxisConnectFailed},
    {CURLE_COULDNT_RESOLVE_HOST, kAxisConnectFailed},
    {CURLE_COULDNT_CONNECT, kAxisConnectFailed},
    {CURLE_INTERFACE_FAILED, kAxisConnectFailed},
    {CURLE_OPERATION_TIMEDOUT, kAxisTimedOut},
    {CURLE_SSL_CONNECT_ERROR, kAxisTlsFailed},
    {CURLE_SSL_CERTPROBLEM, kAxisTlsFailed},
    {CURLE_SSL_CIPHER, kAxisTlsFailed},
    {CURLE_PEER_FAILED_VERIFICATION, kAxisTlsFailed},
    {CURLE_SSL_ENGINE_NOTFOUND, kAxisTlsFailed},
    {CURLE_SSL_ENGINE_SETFAILED, kAxisTlsFailed},
    {CURLE_SSL_ENGINE_INITFAILED, kAxisTlsFailed},
    {CURLE_SSL_CACERT_BADFILE, kAxisTlsFailed},
    {CURLE_SSL_SHUTDOWN_FAILED, kAxisTlsFailed},
    {CURLE_SSL_CRL_BADFILE, kAxisTlsFailed},
    {CURLE_SSL_ISSUER_ERROR, kAxisTlsFailed},
    {CURLE_SSL_PINNEDPUBKEYNOTMATCH, kAxisTlsFailed},
    {CURLE_SSL_INVALIDCERTSTATUS, kAxisTlsFailed},
    {CURLE_SSL_CLIENTCERT, kAxisTlsFailed},
    {CURLE_UNSUPPORTED_PROTOCOL, kAxisTransportSetup},
    {CURLE_FAILED_INIT, kAxisTransportSetup},
    {CURLE_URL_MALFORMAT, kAxisTransportSetup},
    {CURLE_OUT_OF_MEMORY, kAxisTransportSetup},
    {CURLE_BAD_FUNCTION_ARGUMENT, kAxisTransportSetup},
    {CURLE_NOT_BUILT_IN, kAxisTransportSetup},
};

// A TLS alert received after the handshake (TLS 1.3 reports a refused
// client certificate that way) surfaces as a receive error; it is a TLS
// failure all the same.
int CodeFor(CURLcode rc, const char *detail) {
  for (const CurlCodeEntry &e : kCurlCodes) {
    if (e.curl == rc) return e.code;
  }
  if ((rc == CURLE_RECV_ERROR || rc == CURLE_SEND_ERROR) && std::strstr(detail, "SSL") != nullptr &&
      std::strstr(detail, "alert") != nullptr) {
    return kAxisTlsFailed;
  }
  return kAxisConnectionLost;
}

std::atomic<HttpTransport *> gTransport{nullptr};

// One easy handle, and so one connection cache, per secure environment
// (key 0: none) for the thread that owns this record.
class ThreadHandles {
 public:
  ThreadHandles() = default;
  ThreadHandles(const ThreadHandles &) = delete;
  ThreadHandles &operator=(const ThreadHandles &) = delete;
  ~ThreadHandles() { release(); }

  void release() {
    for (Entry &e : entries_) curl_easy_cleanup(e.curl);
    entries_.clear();
  }

  CURL *get(const std::shared_ptr<const ZOsecureEnv> &env) {
    for (auto it = entries_.begin(); it != entries_.end();) {
      if (it->env != nullptr && ZOsecureEnvIsClosed(*it->env)) {
        curl_easy_cleanup(it->curl);
        it = entries_.erase(it);
      } else {
        ++it;
      }
    }
    uint64_t id = env != nullptr ? ZOsecureEnvId(*env) : 0;
    for (Entry &e : entries_) {
      if (e.id == id) return e.curl;
    }
    CURL *curl = curl_easy_init();
    if (curl != nullptr) entries_.push_back({id, curl, env});
    return curl;
  }

  long connects = 0;

 private:
  struct Entry {
    uint64_t id;
    CURL *curl;
    std::shared_ptr<const ZOsecureEnv> env;  // keeps the callback's data alive
  };
  std::vector<Entry> entries_;
};

thread_local ThreadHandles tHandles;

size_t WriteBody(char *data, size_t size, size_t count, void *userdata) {
  static_cast<HttpResponse *>(userdata)->body.append(data, size * count);
  return size * count;
}

// Collects the header lines of the final answer: a new status line starts
// the set again (interim answers, proxies).
size_t WriteHeader(char *data, size_t size, size_t count, void *userdata) {
  auto *response = static_cast<HttpResponse *>(userdata);
  std::string line(data, size * count);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.rfind("HTTP/", 0) == 0) {
    response->headers.clear();
    response->reason.clear();
    size_t sp1 = line.find(' ');
    size_t sp2 = sp1 == std::string::npos ? sp1 : line.find(' ', sp1 + 1);
    if (sp2 != std::string::npos) response->reason = line.substr(sp2 + 1);
  } else if (size_t colon = line.find(':'); colon != std::string::npos) {
    size_t value = line.find_first_not_of(" \t", colon + 1);
    response->headers.emplace_back(line.substr(0, colon),
                                   value == std::string::npos ? "" : line.substr(value));
  }
  return size * count;
}

// Set when a server asked this thread's current transfer for a client
// certificate that its environment does not have. Under TLS 1.3 the server's
// refusal then arrives after the handshake, often as a reset connection, so
// this is what names the cause.
thread_local bool tCertificateMissing = false;

int NoteCertificateRequest(SSL *, X509 **, EVP_PKEY **) {
  tCertificateMissing = true;
  return 0;  // continue without a certificate
}

CURLcode ConfigureSsl(CURL *, void *sslctx, void *userdata) {
  const auto *env = static_cast<const ZOsecureEnv *>(userdata);
  auto *ctx = static_cast<SSL_CTX *>(sslctx);
  if (ZOsecureEnvConfigure(*env, ctx) != 1) return CURLE_SSL_CERTPROBLEM;
  if (!ZOsecureEnvHasClientIdentity(*env)) SSL_CTX_set_client_cert_cb(ctx, NoteCertificateRequest);
  return CURLE_OK;
}

struct HeaderList {
  curl_slist *list = nullptr;
  ~HeaderList() { curl_slist_free_all(list); }
  bool add(const char *line) {
    curl_slist *next = curl_slist_append(list, line);
    if (next == nullptr) return false;
    list = next;
    return true;
  }
};

class CurlTransport : public HttpTransport {
 public:
  HttpResponse post(const HttpRequest &request) override {
    CURL *curl = tHandles.get(request.secureEnv);
    if (curl == nullptr) throw AxisException(kAxisTransportSetup, "the HTTP library could not make a handle");
    // A reset keeps the handle's open connections and TLS sessions.
    curl_easy_reset(curl);

    HeaderList headers;
    bool ok = headers.add("Expect:");
    for (const std::string &h : request.headers) ok = ok && headers.add(h.c_str());
    if (!ok) throw AxisException(kAxisTransportSetup, "out of memory for the request headers");

    HttpResponse response;
    char error[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.list);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION,
                     request.http10 ? CURL_HTTP_VERSION_1_0 : CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);
    if (request.timeoutSeconds > 0) curl_easy_setopt(curl, CURLOPT_TIMEOUT, request.timeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, WriteBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, WriteHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response);
    if (request.basicAuth) {
      curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
      curl_easy_setopt(curl, CURLOPT_USERNAME, request.user.c_str());
      curl_easy_setopt(curl, CURLOPT_PASSWORD, request.password.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
    if (request.secureEnv != nullptr) {
      // The environment supplies every trust anchor: no system bundle is
      // loaded, and no store is shared between handles.
      curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
      curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
      curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, 0L);
      curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, ConfigureSsl);
      curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, const_cast<ZOsecureEnv *>(request.secureEnv.get()));
    }

    tCertificateMissing = false;
    CURLcode rc = curl_easy_perform(curl);
    long connects = 0;
    if (curl_easy_getinfo(curl, CURLINFO_NUM_CONNECTS, &connects) == CURLE_OK) tHandles.connects += connects;
    // The handle outlives this call; it must not keep pointers into it.
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, nullptr);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, nullptr);
    if (rc != CURLE_OK) {
      std::string message = curl_easy_strerror(rc);
      if (error[0] != '\0') message += std::string(": ") + error;
      message += " (" + request.url + ")";
      // A refused client identity shows as a failed handshake or as a
      // connection the server drops; a time-out has another cause.
      bool refusedIdentity = rc != CURLE_OPERATION_TIMEDOUT && rc != CURLE_COULDNT_CONNECT;
      if (tCertificateMissing && refusedIdentity) {
        throw AxisException(kAxisTlsFailed, message +
                                                ": the server asked for a client certificate and the "
                                                "secure environment has none");
      }
      throw AxisException(CodeFor(rc, error), message);
    }
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
    return response;
  }
};

}  // namespace

HttpTransport &ZOcurlTransport() {
  static CurlTransport transport;
  return transport;
}

HttpTransport &ZOhttpTransport() {
  HttpTransport *t = gTransport.load();
  return t != nullptr ? *t : ZOcurlTransport();
}

HttpTransport *ZOsetHttpTransport(HttpTransport *transport) {
  HttpTransport *previous = gTransport.exchange(transport);
  return previous != nullptr ? previous : &ZOcurlTransport();
}

void ZOhttpReleaseThreadConnections() { tHandles.release(); }

long ZOhttpThreadConnectCount() { return tHandles.connects; }
