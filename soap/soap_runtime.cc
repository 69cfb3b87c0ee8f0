#include "soap/soap_runtime.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <mutex>

#include "capis/results.h"
#include "capis/trace.h"
#include "soap/http_transport.h"

#define ZO_SRC "soap/soap_runtime"

int initializeAxis(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  // OpenSSL and libcurl start once per process and are never stopped:
  // OpenSSL cannot be restarted, and threads of a deleted client (or of the
  // application) may still be closing connections when the last context
  // goes, which a global libcurl clean-up would pull the ground from under.
  if (OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr) != 1) {
    ZO_ERROR(context, "[initializeAxis]", "ERROR The function norsec_initialize() failed. Error status is %d",
             1);
    ZOreport(context, result, 62, 0, 2, "norsec_initialize()", "OpenSSL could not be initialised");
    return -1;
  }
  static std::once_flag once;
  static CURLcode rc = CURLE_OK;
  std::call_once(once, [] { rc = curl_global_init(CURL_GLOBAL_DEFAULT); });
  if (rc != CURLE_OK) {
    ZO_ERROR(context, "[initializeAxis]", "ERROR: the HTTP runtime failed to start: %s",
             curl_easy_strerror(rc));
    ZOreport(context, result, 62, 0, 2, "curl_global_init()", curl_easy_strerror(rc));
    return -1;
  }
  return 0;
}

int terminateAxis(const ZOVEXA_AuditClientContext *, ZOVEXA_result *) {
  // The calling thread's kept-alive connections close now; other threads'
  // close when those threads end.
  ZOhttpReleaseThreadConnections();
  return 0;
}
