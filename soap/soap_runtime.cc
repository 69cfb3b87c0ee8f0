#include "soap/soap_runtime.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include "capis/results.h"
#include "capis/trace.h"
#include "soap/http_transport.h"

#define ZO_SRC "soap/soap_runtime"

int initializeAxis(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  // OpenSSL initialises itself once per process and cannot be restarted, so
  // only libcurl is started and stopped with the first and last context.
  if (OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr) != 1) {
    ZO_ERROR(context, "[initializeAxis]", "ERROR The function norsec_initialize() failed. Error status is %d",
             1);
    ZOreport(context, result, 62, 0, 2, "norsec_initialize()", "OpenSSL could not be initialised");
    return -1;
  }
  CURLcode rc = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (rc != CURLE_OK) {
    ZO_ERROR(context, "[initializeAxis]", "ERROR: the HTTP runtime failed to start: %s",
             curl_easy_strerror(rc));
    ZOreport(context, result, 62, 0, 2, "curl_global_init()", curl_easy_strerror(rc));
    return -1;
  }
  return 0;
}

int terminateAxis(const ZOVEXA_AuditClientContext *, ZOVEXA_result *) {
  // The calling thread's kept-alive connections go before the library they
  // belong to; other threads' connections close when those threads end.
  ZOhttpReleaseThreadConnections();
  curl_global_cleanup();
  return 0;
}
