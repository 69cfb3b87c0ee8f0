// Certificates and key stores for the TLS tests, made with the `openssl`
// command once per test program into one temporary directory (removed at
// exit). Keys are EC P-256, so the whole set takes a fraction of a second.
//
//   CA: server (SAN IP 127.0.0.1, DNS localhost; serverAuth),
//       client (CN zovexa-client; clientAuth),
//       wrongHost (SAN DNS other.invalid only)
//   wrong CA: wrongCaServer (SAN IP 127.0.0.1, DNS localhost)
//
// Client key stores (what a context's keyFilePath names) and their stash
// files (first line: the password):
//   pemStore    CA + client certificate + client key encrypted with `password`
//   p12Store    PKCS#12 of the client key and certificate plus the CA, `password`
//   caOnlyStore CA certificate only (no client identity); its stash is empty
//   wrongCaStore the wrong CA only
//   garbageStore text that is neither PEM nor PKCS#12
#ifndef ZOVEXA_TESTS_TLS_CERTS_UTIL_H_
#define ZOVEXA_TESTS_TLS_CERTS_UTIL_H_

#include <string>

namespace testutil {

struct TlsCerts {
  bool ok = false;
  std::string error;  // the failing openssl command and its output, when !ok

  std::string dir;
  std::string password;

  std::string caCert, caKey;
  std::string serverCert, serverKey;
  std::string clientCert, clientKey;  // client key unencrypted
  std::string wrongHostCert, wrongHostKey;
  std::string wrongCaCert, wrongCaKey;
  std::string wrongCaServerCert, wrongCaServerKey;

  std::string pemStore, pemStash;
  std::string p12Store, p12Stash;
  std::string caOnlyStore, caOnlyStash;
  std::string wrongCaStore;
  std::string wrongPasswordStash;  // another password
  std::string garbageStore;
};

// The process's certificate set, made on first use (thread-safe). Check `ok`.
const TlsCerts &TestTlsCerts();

}  // namespace testutil

#endif  // ZOVEXA_TESTS_TLS_CERTS_UTIL_H_
