// Process-wide start and stop of the SOAP client runtime: the HTTP and TLS
// libraries (libcurl and OpenSSL) under it. The first context created starts
// it and the last one deleted stops it; the libraries themselves initialise
// once per process and stay up.
#ifndef ZOVEXA_SOAP_SOAP_RUNTIME_H_
#define ZOVEXA_SOAP_SOAP_RUNTIME_H_

#include "zovexa.h"

// The security base (OpenSSL), then the HTTP library. 0, or -1 with message
// 62 naming the call that failed.
int initializeAxis(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
// Closes the calling thread's kept-alive connections. 0.
int terminateAxis(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

#endif  // ZOVEXA_SOAP_SOAP_RUNTIME_H_
