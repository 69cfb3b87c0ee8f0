// The secure environment of a TLS context: its trust anchors, its optional
// client identity and its protocol policy, loaded once from a key store and
// its stash file, and named by a handle text ("0x%x") that stubs receive as
// their secure argument. The HTTP transport resolves the text to the
// environment and configures every TLS connection from it.
//
// Key store: a PKCS#12 file, or a PEM bundle of certificates and at most one
// private key (possibly encrypted). Its CA certificates are the only trust
// anchors; a certificate matching the key, with the key, is the client
// identity for mutual TLS. The stash file's first line is the password of the
// key store or key (it may be empty). The server certificate and host name
// are always verified.
//
// Policy: TLS 1.2 or later. FIPS mode further restricts the suites to
// FIPS-approved AEAD ones (ECDHE/DHE with AES-GCM; on TLS 1.3 the AES-GCM
// suites only).
#ifndef ZOVEXA_SOAP_SECURE_ENV_H_
#define ZOVEXA_SOAP_SECURE_ENV_H_

#include <openssl/ssl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct ZOsecureEnv;

// Opens and registers an environment. NULL on failure, with `failedStep`
// naming the step ("read key file", "read stash file", "PKCS12_parse",
// "PEM_read_bio_PrivateKey", ...) and `reason` the OpenSSL error text or the
// system error; either pointer may be NULL.
ZOsecureEnv *ZOsecureEnvOpen(const char *keyFilePath, const char *stashFilePath, bool fips,
                             std::string *failedStep, std::string *reason);
// The handle text: the low 32 bits of the environment's id as "0x%x".
const char *ZOsecureEnvHandleText(const ZOsecureEnv *env);
// Unregisters the environment. Requests in flight finish with it; each
// thread drops its connections made with it at its next request. NULL is
// ignored.
void ZOsecureEnvClose(ZOsecureEnv *env);

// The open environment named by `handleText`, or NULL. The reference keeps
// it usable after a close.
std::shared_ptr<const ZOsecureEnv> ZOsecureEnvResolve(std::string_view handleText);
// A process-unique number, never reused, that keys connections made with it.
uint64_t ZOsecureEnvId(const ZOsecureEnv &env);
bool ZOsecureEnvIsClosed(const ZOsecureEnv &env);
bool ZOsecureEnvHasClientIdentity(const ZOsecureEnv &env);
// Applies trust anchors, identity and policy to a new TLS context. 1, or 0
// when OpenSSL refused a setting.
int ZOsecureEnvConfigure(const ZOsecureEnv &env, SSL_CTX *ctx);

#endif  // ZOVEXA_SOAP_SECURE_ENV_H_
