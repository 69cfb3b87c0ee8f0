#include "tests/tls_certs_util.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tests/test_util.h"

namespace testutil {
namespace {

// One certificate signed by an issuer: subject, extensions, output names.
struct Leaf {
  const char *name;  // files <name>.key, <name>.pem
  const char *issuer;
  const char *subject;
  const char *extensions;
};

constexpr const char kCaExtensions[] =
    "basicConstraints=critical,CA:TRUE\n"
    "keyUsage=critical,keyCertSign,cRLSign\n"
    "subjectKeyIdentifier=hash\n";

constexpr Leaf kLeaves[] = {
    {"server", "ca", "/CN=127.0.0.1",
     "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n"
     "subjectAltName=IP:127.0.0.1,DNS:localhost\n"},
    {"client", "ca", "/CN=zovexa-client",
     "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=clientAuth\n"},
    {"wronghost", "ca", "/CN=other.invalid",
     "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n"
     "subjectAltName=DNS:other.invalid\n"},
    {"wrongcaserver", "wrongca", "/CN=127.0.0.1",
     "basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth\n"
     "subjectAltName=IP:127.0.0.1,DNS:localhost\n"},
};

constexpr const char kPassword[] = "zovexa-store-pw";
constexpr const char kKeyOptions[] = "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes";

class Maker {
 public:
  explicit Maker(TlsCerts *certs) : c_(certs) {}

  // Runs `openssl <args>` in the directory; false (and the error set) on failure.
  bool Openssl(const std::string &args) {
    std::string log = Path("openssl.log");
    std::string cmd = "cd '" + c_->dir + "' && openssl " + args + " >'" + log + "' 2>&1";
    if (std::system(cmd.c_str()) == 0) return true;
    c_->error = "openssl " + args + ": " + ReadFile(log);
    return false;
  }

  bool Ca(const std::string &name, const std::string &subject) {
    WriteFile(Path(name + ".ext"), kCaExtensions);
    std::string cfg = Path(name + ".cnf");
    WriteFile(
        cfg, std::string("[req]\ndistinguished_name=dn\nx509_extensions=ext\n[dn]\n[ext]\n") + kCaExtensions);
    return Openssl("req -x509 -config " + name + ".cnf " + kKeyOptions + " -keyout " + name + ".key -out " +
                   name + ".pem -days 3650 -subj '" + subject + "'");
  }

  bool Sign(const Leaf &leaf) {
    std::string n = leaf.name;
    WriteFile(Path(n + ".ext"), leaf.extensions);
    WriteFile(Path(n + ".cnf"), "[req]\ndistinguished_name=dn\n[dn]\n");
    return Openssl("req -new -config " + n + ".cnf " + kKeyOptions + " -keyout " + n + ".key -out " + n +
                   ".csr -subj '" + leaf.subject + "'") &&
           Openssl("x509 -req -in " + n + ".csr -CA " + leaf.issuer + ".pem -CAkey " + leaf.issuer +
                   ".key -set_serial " + std::to_string(++serial_) + " -days 3650 -extfile " + n +
                   ".ext -out " + n + ".pem");
  }

  std::string Path(const std::string &name) const { return c_->dir + "/" + name; }

 private:
  TlsCerts *c_;
  int serial_ = 1000;
};

std::unique_ptr<TlsCerts> Make(const std::string &dir) {
  auto c = std::make_unique<TlsCerts>();
  c->dir = dir;
  c->password = kPassword;
  Maker m(c.get());
  if (!m.Ca("ca", "/CN=Zovexa Test CA") || !m.Ca("wrongca", "/CN=Zovexa Unrelated CA")) return c;
  for (const Leaf &leaf : kLeaves) {
    if (!m.Sign(leaf)) return c;
  }
  std::string pw = std::string("pass:") + kPassword;
  if (!m.Openssl("pkey -in client.key -aes-256-cbc -passout " + pw + " -out client.enc.key") ||
      !m.Openssl("pkcs12 -export -inkey client.key -in client.pem -certfile ca.pem -name zovexa-client"
                 " -passout " +
                 pw + " -out client.p12")) {
    return c;
  }
  c->caCert = m.Path("ca.pem");
  c->caKey = m.Path("ca.key");
  c->serverCert = m.Path("server.pem");
  c->serverKey = m.Path("server.key");
  c->clientCert = m.Path("client.pem");
  c->clientKey = m.Path("client.key");
  c->wrongHostCert = m.Path("wronghost.pem");
  c->wrongHostKey = m.Path("wronghost.key");
  c->wrongCaCert = m.Path("wrongca.pem");
  c->wrongCaKey = m.Path("wrongca.key");
  c->wrongCaServerCert = m.Path("wrongcaserver.pem");
  c->wrongCaServerKey = m.Path("wrongcaserver.key");

  c->pemStore = m.Path("store.pem");
  WriteFile(c->pemStore, ReadFile(c->caCert) + ReadFile(c->clientCert) + ReadFile(m.Path("client.enc.key")));
  c->pemStash = m.Path("store.sth");
  WriteFile(c->pemStash, std::string(kPassword) + "\n");
  c->p12Store = m.Path("store.p12");
  WriteFile(c->p12Store, ReadFile(m.Path("client.p12")));
  c->p12Stash = m.Path("store.p12.sth");
  WriteFile(c->p12Stash, std::string(kPassword) + "\n");
  c->caOnlyStore = m.Path("caonly.pem");
  WriteFile(c->caOnlyStore, ReadFile(c->caCert));
  c->caOnlyStash = m.Path("caonly.sth");
  WriteFile(c->caOnlyStash, "");
  c->wrongCaStore = m.Path("wrongcaonly.pem");
  WriteFile(c->wrongCaStore, ReadFile(c->wrongCaCert));
  c->wrongPasswordStash = m.Path("wrongpw.sth");
  WriteFile(c->wrongPasswordStash, "not-the-password\n");
  c->garbageStore = m.Path("garbage.kdb");
  WriteFile(c->garbageStore, "this is neither a PEM bundle nor a PKCS#12 key store\n");
  c->ok = true;
  return c;
}

}  // namespace

const TlsCerts &TestTlsCerts() {
  // The directory lives as long as the process; the set is made only once.
  static TempDir dir;
  static std::unique_ptr<TlsCerts> certs = Make(dir.path());
  return *certs;
}

}  // namespace testutil
