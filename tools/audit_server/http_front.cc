#include "tools/audit_server/http_front.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <httplib.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <list>
#include <mutex>
#include <thread>

namespace auditserver {
namespace {

constexpr size_t kKeepAliveMaxRequests = 100000;

// One thread per accepted connection: a request held by a pause or a delay
// must not keep other clients waiting, whatever their number. Counts the
// connections, too.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(Stats *stats) : stats_(stats) {}
  ~ConnectionThreads() override { shutdown(); }

  void enqueue(std::function<void()> fn) override {
    ++stats_->connections;
    std::lock_guard<std::mutex> lock(mu_);
    for (auto it = threads_.begin(); it != threads_.end();) {
      if (*it->done) {
        it->thread.join();
        it = threads_.erase(it);
      } else {
        ++it;
      }
    }
    auto done = std::make_shared<std::atomic<bool>>(false);
    threads_.push_back({std::thread([fn = std::move(fn), done] {
                          fn();
                          *done = true;
                        }),
                        done});
  }

  void shutdown() override {
    std::list<Worker> threads;
    {
      std::lock_guard<std::mutex> lock(mu_);
      threads.swap(threads_);
    }
    for (auto &w : threads) w.thread.join();
  }

 private:
  struct Worker {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };
  Stats *stats_;
  std::mutex mu_;
  std::list<Worker> threads_;
};

// Port and address text of a socket address.
bool Endpoint(const sockaddr_storage &sa, std::string *ip, int *port) {
  char buf[INET6_ADDRSTRLEN] = "";
  if (sa.ss_family == AF_INET) {
    const auto *in = reinterpret_cast<const sockaddr_in *>(&sa);
    inet_ntop(AF_INET, &in->sin_addr, buf, sizeof buf);
    *port = ntohs(in->sin_port);
  } else if (sa.ss_family == AF_INET6) {
    const auto *in6 = reinterpret_cast<const sockaddr_in6 *>(&sa);
    inet_ntop(AF_INET6, &in6->sin6_addr, buf, sizeof buf);
    *port = ntohs(in6->sin6_port);
  } else {
    return false;
  }
  *ip = buf;
  return true;
}

// The accepted socket a request came in on, or -1. Handlers are not given
// it, so it is looked up among the process's descriptors by its two ends.
int ConnectionSocket(const httplib::Request &req) {
  DIR *dir = opendir("/proc/self/fd");
  if (dir == nullptr) return -1;
  int found = -1;
  while (dirent *e = readdir(dir)) {
    int fd = std::atoi(e->d_name);
    if (fd <= 2 || fd == dirfd(dir)) continue;
    sockaddr_storage local{}, peer{};
    socklen_t localLen = sizeof local, peerLen = sizeof peer;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&local), &localLen) != 0 ||
        getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peerLen) != 0) {
      continue;
    }
    std::string localIp, peerIp;
    int localPort = 0, peerPort = 0;
    if (Endpoint(local, &localIp, &localPort) && Endpoint(peer, &peerIp, &peerPort) &&
        localPort == req.local_port && peerPort == req.remote_port && peerIp == req.remote_addr) {
      found = fd;
      break;
    }
  }
  closedir(dir);
  return found;
}

// Listening socket options: address reuse as usual, and TCP_NODELAY, which
// accepted sockets inherit; without it a keep-alive client's POST (headers
// and body in two writes) waits on the delayed ACK of the first write.
void SocketOptions(socket_t sock) {
  int on = 1;
  setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

HttpFront::HttpFront(EmitterService *service, FaultControl *control, Stats *stats)
    : service_(service), control_(control), stats_(stats) {}

HttpFront::~HttpFront() = default;

void HttpFront::Log(const std::string &line) {
  if (quiet_) return;
  std::string text = line + "\n";
  // One write per line keeps lines of concurrent requests whole.
  fwrite(text.data(), 1, text.size(), stderr);
}

bool HttpFront::Bind(const ListenOptions &options, int *port, std::string *error) {
  quiet_ = options.quiet;
  if (!options.cert.empty()) {
    auto ssl =
        std::make_unique<httplib::SSLServer>(options.cert.c_str(), options.key.c_str(),
                                             options.clientCa.empty() ? nullptr : options.clientCa.c_str());
    if (!ssl->is_valid()) {
      *error = "cannot use the certificate " + options.cert + ", key " + options.key +
               (options.clientCa.empty() ? "" : " or client CA " + options.clientCa);
      return false;
    }
    server_ = std::move(ssl);
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  httplib::Server &s = *server_;
  Stats *stats = stats_;
  s.new_task_queue = [stats] { return new ConnectionThreads(stats); };
  s.set_tcp_nodelay(true);
  s.set_socket_options(SocketOptions);
  s.set_keep_alive_max_count(kKeepAliveMaxRequests);

  s.Post(kEmitterPath, [this](const httplib::Request &req, httplib::Response &res) {
    auto start = Clock::now();
    Reply reply = service_->Handle(req.get_header_value("Authorization"), req.body);
    if (reply.closeConnection) {
      int fd = ConnectionSocket(req);
      if (fd >= 0) shutdown(fd, SHUT_RDWR);
      // Should the socket not be found, break the answer off after its headers.
      res.set_content_provider(1, "text/plain", [](size_t, size_t, httplib::DataSink &) { return false; });
    } else {
      res.status = reply.status;
      for (const auto &[name, value] : reply.headers) res.set_header(name, value);
      res.set_content(reply.body, reply.contentType);
    }
    long long ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    Log(req.remote_addr + ":" + std::to_string(req.remote_port) + " POST " + req.path + " " +
        (reply.closeConnection ? "closed" : std::to_string(reply.status)) + " " + reply.note + " (" +
        std::to_string(ms) + " ms)");
  });
  s.Get("/control/stats", [this](const httplib::Request &, httplib::Response &res) {
    res.set_content(stats_->Describe(), "text/plain");
  });
  s.Get("/control/mode", [this](const httplib::Request &, httplib::Response &res) {
    res.set_content(control_->Describe(), "text/plain");
  });
  s.Post("/control/mode", [this](const httplib::Request &req, httplib::Response &res) {
    std::string error;
    if (!control_->Apply(req.body, &error)) {
      res.status = 400;
      res.set_content(error + "\n", "text/plain");
      Log("control: refused '" + req.body + "': " + error);
      return;
    }
    res.set_content(control_->Describe(), "text/plain");
    Log("control: " + req.body);
  });

  if (options.port == 0) {
    *port = s.bind_to_any_port(options.bind);
  } else {
    *port = s.bind_to_port(options.bind, options.port) ? options.port : -1;
  }
  if (*port <= 0) {
    *error = "cannot listen on " + options.bind + ":" + std::to_string(options.port);
    return false;
  }
  return true;
}

bool HttpFront::Run() { return server_->listen_after_bind(); }

bool HttpFront::IsRunning() const { return server_ && server_->is_running(); }

void HttpFront::Stop() {
  if (server_) server_->stop();
}

}  // namespace auditserver
