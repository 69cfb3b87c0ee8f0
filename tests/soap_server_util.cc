#include "tests/soap_server_util.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>
#include <xercesc/util/PlatformUtils.hpp>

namespace testutil {
namespace {

constexpr const char kEmitterPath[] = "/vexaws/services/Emitter";

int BoundLoopbackSocket(int *port) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof(addr);
  if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof(addr)) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len) != 0) {
    ::close(fd);
    return -1;
  }
  *port = ntohs(addr.sin_port);
  return fd;
}

}  // namespace

void StartSoapRuntime() {
  static std::once_flag once;
  std::call_once(once, [] {
    XERCES_CPP_NAMESPACE::XMLPlatformUtils::Initialize();
    curl_global_init(CURL_GLOBAL_DEFAULT);
  });
}

bool SeenRequest::HasHeader(const std::string &name) const {
  for (const auto &h : headers) {
    if (strcasecmp(h.first.c_str(), name.c_str()) == 0) return true;
  }
  return false;
}

std::string SeenRequest::Header(const std::string &name) const {
  for (const auto &h : headers) {
    if (strcasecmp(h.first.c_str(), name.c_str()) == 0) return h.second;
  }
  return "";
}

std::string SoapOkAnswer() {
  return "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"><soapenv:Body>"
         "<ns1:sendEventResponse xmlns:ns1=\"urn:orv:vexa:10\"/></soapenv:Body></soapenv:Envelope>";
}

std::string SoapFaultAnswer(const std::string &code, const std::string &string, const std::string &actor,
                            const char *detailXml) {
  std::string text =
      "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"><soapenv:Body>"
      "<soapenv:Fault><faultcode>" +
      code + "</faultcode><faultstring>" + string + "</faultstring><faultactor>" + actor + "</faultactor>";
  if (detailXml != nullptr) text += std::string("<detail>") + detailXml + "</detail>";
  return text + "</soapenv:Fault></soapenv:Body></soapenv:Envelope>";
}

struct SoapTestServer::Impl {
  std::unique_ptr<httplib::Server> server;
  std::thread thread;
  bool tls = false;
  mutable std::mutex mutex;
  std::vector<SeenRequest> requests;
  int status = 200;
  std::string body = SoapOkAnswer();
  std::string contentType = "text/xml; charset=utf-8";
};

SoapTestServer::SoapTestServer(const TlsServerConfig *tls) : impl_(std::make_unique<Impl>()) {
  if (tls != nullptr) {
    auto server = std::make_unique<httplib::SSLServer>(
        tls->cert.c_str(), tls->key.c_str(), tls->clientCa.empty() ? nullptr : tls->clientCa.c_str());
    if (!server->is_valid()) return;
    if (tls->tweak) tls->tweak(server->ssl_context());
    impl_->server = std::move(server);
    impl_->tls = true;
  } else {
    impl_->server = std::make_unique<httplib::Server>();
  }
  impl_->server->set_keep_alive_max_count(1000);
  impl_->server->set_tcp_nodelay(true);
  impl_->server->set_keep_alive_timeout(2);
  impl_->server->Post(kEmitterPath, [this](const httplib::Request &req, httplib::Response &res) {
    SeenRequest seen{req.method, req.path, req.version,
                     {},         req.body, req.remote_addr + ":" + std::to_string(req.remote_port)};
    for (const auto &h : req.headers) seen.headers.emplace(h.first, h.second);
    int status;
    std::string body, contentType;
    {
      std::lock_guard<std::mutex> lock(impl_->mutex);
      impl_->requests.push_back(std::move(seen));
      status = impl_->status;
      body = impl_->body;
      contentType = impl_->contentType;
    }
    std::chrono::milliseconds delay = delay_;
    if (delay.count() > 0) std::this_thread::sleep_for(delay);
    res.status = status;
    if (!body.empty()) res.set_content(body, contentType.c_str());
  });
  port_ = impl_->server->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) return;
  impl_->thread = std::thread([this] { impl_->server->listen_after_bind(); });
  while (!impl_->server->is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

SoapTestServer::~SoapTestServer() {
  if (impl_->server != nullptr) impl_->server->stop();
  if (impl_->thread.joinable()) impl_->thread.join();
}

std::string SoapTestServer::Url(const std::string &host) const {
  return std::string(impl_->tls ? "https" : "http") + "://" + host + ":" + std::to_string(port_) +
         kEmitterPath;
}

void SoapTestServer::Answer(int status, std::string body, std::string contentType) {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->status = status;
  impl_->body = std::move(body);
  impl_->contentType = std::move(contentType);
}

std::vector<SeenRequest> SoapTestServer::Requests() const {
  std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->requests;
}

int SoapTestServer::Connections() const {
  std::set<std::string> sockets;
  for (const SeenRequest &r : Requests()) sockets.insert(r.remote);
  return static_cast<int>(sockets.size());
}

ResettingServer::ResettingServer() {
  listenFd_ = BoundLoopbackSocket(&port_);
  if (listenFd_ < 0 || ::listen(listenFd_, 8) != 0) return;
  thread_ = std::thread([this] {
    while (!stop_) {
      pollfd p{listenFd_, POLLIN, 0};
      if (::poll(&p, 1, 50) <= 0) continue;
      int fd = ::accept(listenFd_, nullptr, nullptr);
      if (fd < 0) continue;
      ++accepted_;
      // Wait for the request, so the reset hits a request in flight.
      pollfd r{fd, POLLIN, 0};
      char buf[4096];
      if (::poll(&r, 1, 1000) > 0) (void)::recv(fd, buf, sizeof(buf), 0);
      linger l{1, 0};
      ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &l, sizeof(l));
      ::close(fd);
    }
  });
}

ResettingServer::~ResettingServer() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
  if (listenFd_ >= 0) ::close(listenFd_);
}

std::string ResettingServer::Url() const {
  return "http://127.0.0.1:" + std::to_string(port_) + kEmitterPath;
}

int UnusedPort() {
  int port = -1;
  int fd = BoundLoopbackSocket(&port);
  if (fd >= 0) ::close(fd);
  return port;
}

}  // namespace testutil
