#include "soap/secure_env.h"

#include <gtest/gtest.h>

#include <regex>

#include "cbe/emitter.h"
#include "soap/http_transport.h"
#include "tests/soap_server_util.h"
#include "tests/test_util.h"
#include "tests/tls_certs_util.h"

using testutil::TlsCerts;

namespace {

struct EnvCloser {
  void operator()(ZOsecureEnv *env) const { ZOsecureEnvClose(env); }
};
using EnvPtr = std::unique_ptr<ZOsecureEnv, EnvCloser>;

class SecureEnvTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testutil::StartSoapRuntime(); }
  void SetUp() override { ASSERT_TRUE(certs_.ok) << certs_.error; }
  void TearDown() override { ZOhttpReleaseThreadConnections(); }

  static EnvPtr Open(const std::string &store, const std::string &stash, bool fips = false) {
    std::string step, reason;
    EnvPtr env(ZOsecureEnvOpen(store.c_str(), stash.c_str(), fips, &step, &reason));
    EXPECT_NE(nullptr, env) << step << ": " << reason;
    return env;
  }

  // sendEvent of one probe event to `url` with `env` as secure argument:
  // 0 when delivered, else the exception's code (message in `what`).
  static int Send(const std::string &url, const ZOsecureEnv *env, std::string *what = nullptr) {
    Emitter emitter(url.c_str(), APTHTTP1_1);
    emitter.SetSecure(const_cast<char *>(ZOsecureEnvHandleText(env)), nullptr);
    emitter.setTransportTimeout(5);
    CommonBaseEventType part{ZOnewAnyType("<CommonBaseEvent/>")};
    int code = 0;
    try {
      emitter.sendEvent({&part, 1});
    } catch (const AxisException &e) {
      code = e.getExceptionCode();
      if (what != nullptr) *what = e.what();
    }
    ZOfreeAnyType(part.any);
    return code;
  }

  const TlsCerts &certs_ = testutil::TestTlsCerts();
};

TEST_F(SecureEnvTest, KeyStoresOpenOrNameTheFailingStep) {
  testutil::TempDir dir;
  // A key with no certificate of its own: the CA and a key of another certificate.
  std::string mismatched = dir.File("mismatched.pem");
  testutil::WriteFile(mismatched, testutil::ReadFile(certs_.caCert) + testutil::ReadFile(certs_.clientCert) +
                                      testutil::ReadFile(certs_.serverKey));
  std::string noCa = dir.File("noca.pem");
  testutil::WriteFile(noCa, testutil::ReadFile(certs_.clientCert) + testutil::ReadFile(certs_.clientKey));
  std::string damaged = dir.File("damaged.pem");
  testutil::WriteFile(damaged, "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
  std::string missing = dir.File("missing");
  struct Case {
    std::string store, stash;
    bool identity;       // when it opens
    std::string step;    // "" when it opens
    std::string reason;  // part of the reason
  } cases[] = {
      {certs_.pemStore, certs_.pemStash, true, "", ""},
      {certs_.p12Store, certs_.p12Stash, true, "", ""},
      {certs_.caOnlyStore, certs_.caOnlyStash, false, "", ""},
      {certs_.pemStore, certs_.wrongPasswordStash, false, "PEM_read_bio_PrivateKey", "bad decrypt"},
      {certs_.p12Store, certs_.wrongPasswordStash, false, "PKCS12_parse", "mac verify failure"},
      {certs_.pemStore, missing, false, "read stash file", "No such file or directory"},
      {missing, certs_.pemStash, false, "read key file", "No such file or directory"},
      {certs_.garbageStore, certs_.pemStash, false, "d2i_PKCS12_bio", "error:"},
      {damaged, certs_.pemStash, false, "PEM_read_bio_X509", "error:"},
      {mismatched, certs_.pemStash, false, "X509_check_private_key", "matches its private key"},
      {noCa, certs_.pemStash, false, "load CA certificates", "no CA certificate"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.store + " / " + c.stash);
    std::string step = "untouched", reason = "untouched";
    EnvPtr env(ZOsecureEnvOpen(c.store.c_str(), c.stash.c_str(), false, &step, &reason));
    if (c.step.empty()) {
      ASSERT_NE(nullptr, env) << step << ": " << reason;
      EXPECT_EQ(c.identity, ZOsecureEnvHasClientIdentity(*env));
    } else {
      EXPECT_EQ(nullptr, env);
      EXPECT_EQ(c.step, step);
      EXPECT_NE(std::string::npos, reason.find(c.reason)) << reason;
    }
  }
}

TEST_F(SecureEnvTest, HandleTextNamesTheEnvironmentUntilClosed) {
  EnvPtr a = Open(certs_.pemStore, certs_.pemStash);
  EnvPtr b = Open(certs_.caOnlyStore, certs_.caOnlyStash);
  ASSERT_TRUE(a && b);
  std::string ta = ZOsecureEnvHandleText(a.get()), tb = ZOsecureEnvHandleText(b.get());
  EXPECT_TRUE(std::regex_match(ta, std::regex("0x[0-9a-f]+"))) << ta;
  EXPECT_NE(ta, tb);
  EXPECT_EQ(a.get(), ZOsecureEnvResolve(ta).get());
  EXPECT_EQ(b.get(), ZOsecureEnvResolve(tb).get());

  testutil::TlsServerConfig tls{certs_.serverCert, certs_.serverKey, "", nullptr};
  testutil::SoapTestServer server(&tls);
  ASSERT_TRUE(server.ok());
  EXPECT_EQ(0, Send(server.Url(), a.get()));
  std::shared_ptr<const ZOsecureEnv> held = ZOsecureEnvResolve(ta);
  a.reset();
  EXPECT_TRUE(ZOsecureEnvIsClosed(*held));
  EXPECT_EQ(nullptr, ZOsecureEnvResolve(ta));
  std::string what;
  EXPECT_EQ(kAxisTlsFailed, Send(server.Url(), held.get(), &what));
  EXPECT_NE(std::string::npos, what.find(ta)) << what;
  EXPECT_EQ(1u, server.Requests().size());
  ZOhttpReleaseThreadConnections();
}

TEST_F(SecureEnvTest, ConnectionsVerifyTheServerAndPresentTheIdentity) {
  // A server that offers only a suite outside the FIPS set.
  auto chachaOnly = [](SSL_CTX *ctx) {
    SSL_CTX_set_max_proto_version(ctx, TLS1_2_VERSION);
    SSL_CTX_set_cipher_list(ctx, "ECDHE-ECDSA-CHACHA20-POLY1305");
  };
  const TlsCerts &c = certs_;
  struct Case {
    const char *name;
    testutil::TlsServerConfig server;
    std::string store, stash;
    bool fips;
    int code;
  } cases[] = {
      {"PEM store", {c.serverCert, c.serverKey, "", nullptr}, c.pemStore, c.pemStash, false, 0},
      {"PKCS#12 store", {c.serverCert, c.serverKey, "", nullptr}, c.p12Store, c.p12Stash, false, 0},
      {"CA only", {c.serverCert, c.serverKey, "", nullptr}, c.caOnlyStore, c.caOnlyStash, false, 0},
      {"wrong CA",
       {c.serverCert, c.serverKey, "", nullptr},
       c.wrongCaStore,
       c.caOnlyStash,
       false,
       kAxisTlsFailed},
      {"server of another CA",
       {c.wrongCaServerCert, c.wrongCaServerKey, "", nullptr},
       c.pemStore,
       c.pemStash,
       false,
       kAxisTlsFailed},
      {"wrong host",
       {c.wrongHostCert, c.wrongHostKey, "", nullptr},
       c.pemStore,
       c.pemStash,
       false,
       kAxisTlsFailed},
      {"mutual, PEM", {c.serverCert, c.serverKey, c.caCert, nullptr}, c.pemStore, c.pemStash, false, 0},
      {"mutual, PKCS#12", {c.serverCert, c.serverKey, c.caCert, nullptr}, c.p12Store, c.p12Stash, true, 0},
      {"mutual, no identity",
       {c.serverCert, c.serverKey, c.caCert, nullptr},
       c.caOnlyStore,
       c.caOnlyStash,
       false,
       kAxisTlsFailed},
      {"FIPS", {c.serverCert, c.serverKey, "", nullptr}, c.pemStore, c.pemStash, true, 0},
      {"non-FIPS suite, FIPS",
       {c.serverCert, c.serverKey, "", chachaOnly},
       c.pemStore,
       c.pemStash,
       true,
       kAxisTlsFailed},
      {"non-FIPS suite", {c.serverCert, c.serverKey, "", chachaOnly}, c.pemStore, c.pemStash, false, 0},
  };
  for (const Case &k : cases) {
    SCOPED_TRACE(k.name);
    testutil::SoapTestServer server(&k.server);
    ASSERT_TRUE(server.ok());
    EnvPtr env = Open(k.store, k.stash, k.fips);
    ASSERT_NE(nullptr, env);
    std::string what;
    EXPECT_EQ(k.code, Send(server.Url(), env.get(), &what)) << what;
    EXPECT_EQ(k.code == 0 ? 1u : 0u, server.Requests().size());
    ZOhttpReleaseThreadConnections();
  }
}

TEST_F(SecureEnvTest, ConnectionsAreNeverSharedBetweenEnvironments) {
  testutil::TlsServerConfig tls{certs_.serverCert, certs_.serverKey, certs_.caCert, nullptr};
  testutil::SoapTestServer server(&tls);
  ASSERT_TRUE(server.ok());
  EnvPtr pem = Open(certs_.pemStore, certs_.pemStash);
  EnvPtr p12 = Open(certs_.p12Store, certs_.p12Stash);
  EnvPtr caOnly = Open(certs_.caOnlyStore, certs_.caOnlyStash);
  ASSERT_TRUE(pem && p12 && caOnly);
  EXPECT_EQ(0, Send(server.Url(), pem.get()));
  EXPECT_EQ(0, Send(server.Url(), p12.get()));
  EXPECT_EQ(0, Send(server.Url(), pem.get()));
  EXPECT_EQ(2, server.Connections());
  // Without an identity the server refuses, even right after identified requests.
  std::string what;
  EXPECT_EQ(kAxisTlsFailed, Send(server.Url(), caOnly.get(), &what)) << what;
  EXPECT_NE(std::string::npos, what.find("asked for a client certificate")) << what;
  EXPECT_EQ(3u, server.Requests().size());
  ZOhttpReleaseThreadConnections();
}

}  // namespace
