#include "soap/secure_env.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace {

// FIPS-approved AEAD suites: AES-GCM with ECDHE or DHE key exchange on TLS
// 1.2, and the AES-GCM suites of TLS 1.3.
constexpr const char kFipsTls12Ciphers[] =
    "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384:"
    "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-RSA-AES128-GCM-SHA256:"
    "DHE-RSA-AES256-GCM-SHA384:DHE-RSA-AES128-GCM-SHA256";
constexpr const char kFipsTls13Ciphers[] = "TLS_AES_256_GCM_SHA384:TLS_AES_128_GCM_SHA256";

struct X509Free {
  void operator()(X509 *x) const { X509_free(x); }
};
using X509Ptr = std::unique_ptr<X509, X509Free>;

}  // namespace

struct ZOsecureEnv {
  uint64_t id = 0;
  std::string handleText;
  bool fips = false;
  std::atomic<bool> closed{false};
  X509_STORE *store = nullptr;
  X509 *cert = nullptr;     // client identity, or NULL
  EVP_PKEY *key = nullptr;  // its key
  std::vector<X509Ptr> anchors;

  ~ZOsecureEnv() {
    X509_STORE_free(store);
    X509_free(cert);
    EVP_PKEY_free(key);
  }
};

namespace {

std::mutex gRegistryMutex;
std::unordered_map<std::string, std::shared_ptr<ZOsecureEnv>> gRegistry;
std::atomic<uint64_t> gNextId{1};

// The OpenSSL errors queued since the step began, oldest first; `fallback`
// when none is queued.
std::string OpensslReason(const char *fallback) {
  std::string text;
  unsigned long e;
  while ((e = ERR_get_error()) != 0) {
    char buf[256];
    ERR_error_string_n(e, buf, sizeof(buf));
    if (!text.empty()) text += "; ";
    text += buf;
  }
  return text.empty() ? fallback : text;
}

// A failed opening step, reported to the caller.
struct OpenFailure {
  std::string step;
  std::string reason;
};

bool ReadWholeFile(const char *path, std::string *out, std::string *error) {
  FILE *f = std::fopen(path, "rb");
  if (f == nullptr) {
    *error = std::strerror(errno);
    return false;
  }
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0) out->append(buf, n);
  bool ok = !std::ferror(f);
  if (!ok) *error = std::strerror(errno);
  std::fclose(f);
  return ok;
}

// The stash's first line without its line end. No stash file means an empty
// password.
bool ReadStash(const char *path, std::string *password, OpenFailure *failure) {
  password->clear();
  if (path == nullptr) return true;
  std::string text, error;
  if (!ReadWholeFile(path, &text, &error)) {
    *failure = {"read stash file", error};
    return false;
  }
  *password = text.substr(0, text.find_first_of("\r\n"));
  return true;
}

bool LoadPkcs12(const std::string &data, const std::string &password, ZOsecureEnv *env,
                OpenFailure *failure) {
  BIO *bio = BIO_new_mem_buf(data.data(), static_cast<int>(data.size()));
  PKCS12 *p12 = bio != nullptr ? d2i_PKCS12_bio(bio, nullptr) : nullptr;
  BIO_free(bio);
  if (p12 == nullptr) {
    *failure = {"d2i_PKCS12_bio", OpensslReason("the key store is neither PEM nor PKCS#12")};
    return false;
  }
  STACK_OF(X509) *ca = nullptr;
  int ok = PKCS12_parse(p12, password.c_str(), &env->key, &env->cert, &ca);
  PKCS12_free(p12);
  if (ok != 1) {
    *failure = {"PKCS12_parse", OpensslReason("the key store could not be decoded")};
    return false;
  }
  // PKCS12_parse hands over its stack and the certificates in it.
  for (int i = 0; ca != nullptr && i < sk_X509_num(ca); ++i) env->anchors.emplace_back(sk_X509_value(ca, i));
  sk_X509_free(ca);
  return true;
}

bool LoadPem(const std::string &data, const std::string &password, ZOsecureEnv *env, OpenFailure *failure) {
  std::vector<X509Ptr> certs;
  BIO *bio = BIO_new_mem_buf(data.data(), static_cast<int>(data.size()));
  while (X509 *x = PEM_read_bio_X509(bio, nullptr, nullptr, nullptr)) certs.emplace_back(x);
  BIO_free(bio);
  // Reading stops with "no start line" at the end of the bundle; anything
  // else is a damaged certificate.
  unsigned long last = ERR_peek_last_error();
  if (ERR_GET_LIB(last) != ERR_LIB_PEM || ERR_GET_REASON(last) != PEM_R_NO_START_LINE) {
    *failure = {"PEM_read_bio_X509", OpensslReason("damaged certificate")};
    return false;
  }
  ERR_clear_error();

  if (data.find("PRIVATE KEY-----") != std::string::npos) {
    bio = BIO_new_mem_buf(data.data(), static_cast<int>(data.size()));
    // The password is passed as the callback's user data, so OpenSSL never
    // prompts on a terminal.
    env->key = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, const_cast<char *>(password.c_str()));
    BIO_free(bio);
    if (env->key == nullptr) {
      *failure = {"PEM_read_bio_PrivateKey", OpensslReason("the private key could not be read")};
      return false;
    }
    for (auto it = certs.begin(); it != certs.end(); ++it) {
      if (X509_check_private_key(it->get(), env->key) == 1) {
        env->cert = it->release();
        certs.erase(it);
        break;
      }
    }
    ERR_clear_error();  // mismatches of the other certificates
    if (env->cert == nullptr) {
      *failure = {"X509_check_private_key", "no certificate in the key store matches its private key"};
      return false;
    }
  }
  env->anchors = std::move(certs);
  return true;
}

bool BuildStore(ZOsecureEnv *env, OpenFailure *failure) {
  if (env->anchors.empty()) {
    *failure = {"load CA certificates", "the key store holds no CA certificate"};
    return false;
  }
  env->store = X509_STORE_new();
  if (env->store == nullptr) {
    *failure = {"X509_STORE_new", OpensslReason("out of memory")};
    return false;
  }
  for (const X509Ptr &anchor : env->anchors) {
    if (X509_STORE_add_cert(env->store, anchor.get()) != 1) {
      *failure = {"X509_STORE_add_cert", OpensslReason("the CA certificate was refused")};
      return false;
    }
  }
  return true;
}

}  // namespace

ZOsecureEnv *ZOsecureEnvOpen(const char *keyFilePath, const char *stashFilePath, bool fips,
                             std::string *failedStep, std::string *reason) {
  ERR_clear_error();
  auto env = std::make_shared<ZOsecureEnv>();
  env->fips = fips;
  OpenFailure failure;
  std::string password, data, error;
  bool ok = false;
  if (keyFilePath == nullptr || !ReadWholeFile(keyFilePath, &data, &error)) {
    failure = {"read key file", keyFilePath == nullptr ? "no key file given" : error};
  } else if (ReadStash(stashFilePath, &password, &failure)) {
    bool pem = data.find("-----BEGIN ") != std::string::npos;
    ok = (pem ? LoadPem(data, password, env.get(), &failure)
              : LoadPkcs12(data, password, env.get(), &failure)) &&
         BuildStore(env.get(), &failure);
  }
  OPENSSL_cleanse(password.data(), password.size());
  if (!ok) {
    if (failedStep != nullptr) *failedStep = failure.step;
    if (reason != nullptr) *reason = failure.reason;
    ERR_clear_error();
    return nullptr;
  }
  env->anchors.clear();  // the store holds its own references

  std::lock_guard<std::mutex> lock(gRegistryMutex);
  env->id = gNextId++;
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", static_cast<unsigned>(env->id & 0xffffffffu));
  env->handleText = text;
  gRegistry[env->handleText] = env;
  return env.get();
}

const char *ZOsecureEnvHandleText(const ZOsecureEnv *env) {
  return env != nullptr ? env->handleText.c_str() : "";
}

void ZOsecureEnvClose(ZOsecureEnv *env) {
  if (env == nullptr) return;
  std::shared_ptr<ZOsecureEnv> keep;  // released outside the lock
  std::lock_guard<std::mutex> lock(gRegistryMutex);
  auto it = gRegistry.find(env->handleText);
  if (it == gRegistry.end() || it->second.get() != env) return;
  env->closed = true;
  keep = std::move(it->second);
  gRegistry.erase(it);
}

std::shared_ptr<const ZOsecureEnv> ZOsecureEnvResolve(std::string_view handleText) {
  std::lock_guard<std::mutex> lock(gRegistryMutex);
  auto it = gRegistry.find(std::string(handleText));
  if (it == gRegistry.end()) return nullptr;
  return it->second;
}

uint64_t ZOsecureEnvId(const ZOsecureEnv &env) { return env.id; }
bool ZOsecureEnvIsClosed(const ZOsecureEnv &env) { return env.closed; }
bool ZOsecureEnvHasClientIdentity(const ZOsecureEnv &env) { return env.cert != nullptr; }

int ZOsecureEnvConfigure(const ZOsecureEnv &env, SSL_CTX *ctx) {
  if (SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION) != 1) return 0;
  if (env.fips && (SSL_CTX_set_cipher_list(ctx, kFipsTls12Ciphers) != 1 ||
                   SSL_CTX_set_ciphersuites(ctx, kFipsTls13Ciphers) != 1)) {
    return 0;
  }
  // Replaces whatever trust the HTTP library set up: only the key store's
  // CA certificates are anchors.
  SSL_CTX_set1_cert_store(ctx, env.store);
  if (env.cert != nullptr &&
      (SSL_CTX_use_certificate(ctx, env.cert) != 1 || SSL_CTX_use_PrivateKey(ctx, env.key) != 1)) {
    return 0;
  }
  return 1;
}
