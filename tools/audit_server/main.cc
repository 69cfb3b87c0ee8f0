// vexa-audit-server: the audit service on loopback for tests and development.
// Stores every event it accepts in SQLite and can misbehave on request; see
// --help.
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

#include "tools/audit_server/emitter_service.h"
#include "tools/audit_server/event_store.h"
#include "tools/audit_server/fault_control.h"
#include "tools/audit_server/http_front.h"
#include "tools/audit_server/users.h"

namespace auditserver {
namespace {

struct Options {
  ListenOptions listen;
  std::string db = "vexa-audit.db";
  std::string users;
  std::string modes;  // "key=value" pairs from the fault flags
  bool dump = false;
  bool count = false;
  bool help = false;
};

// An option that is not a fault mode: its flag, the name of its argument
// ("" for a switch), what it sets and its help line.
struct Flag {
  const char *flag;
  const char *arg;
  std::function<void(Options *, const std::string &)> set;
  const char *help;
};

const std::vector<Flag> &Flags() {
  static const std::vector<Flag> kFlags = {
      {"--port", "N", [](Options *o, const std::string &v) { o->listen.port = std::atoi(v.c_str()); },
       "port to listen on (default 9080); 0 picks a free one. The port is the first line printed"},
      {"--bind", "ADDR", [](Options *o, const std::string &v) { o->listen.bind = v; },
       "address to listen on (default 127.0.0.1)"},
      {"--db", "FILE", [](Options *o, const std::string &v) { o->db = v; },
       "SQLite database of received events (default vexa-audit.db)"},
      {"--cert", "FILE", [](Options *o, const std::string &v) { o->listen.cert = v; },
       "server certificate (PEM): serve HTTPS"},
      {"--key", "FILE", [](Options *o, const std::string &v) { o->listen.key = v; },
       "private key of the server certificate (PEM)"},
      {"--client-ca", "FILE", [](Options *o, const std::string &v) { o->listen.clientCa = v; },
       "require client certificates signed by this CA (PEM)"},
      {"--users", "FILE", [](Options *o, const std::string &v) { o->users = v; },
       "basic authentication: lines user:password:role1,role2; role writer may send events"},
      {"--quiet", "", [](Options *o, const std::string &) { o->listen.quiet = true; },
       "no request log on standard error"},
      {"--dump", "", [](Options *o, const std::string &) { o->dump = true; },
       "print the stored events (tab-separated, one per line) and exit"},
      {"--count", "", [](Options *o, const std::string &) { o->count = true; },
       "print the number of events, distinct global instance ids and duplicates, and exit"},
      {"--help", "", [](Options *o, const std::string &) { o->help = true; }, "this text"},
  };
  return kFlags;
}

void Usage(std::ostream &out) {
  out << "usage: vexa-audit-server [options]\n\nOptions:\n";
  constexpr size_t kColumn = 34;
  auto line = [&](std::string head, const char *help) {
    head = "  " + head;
    head +=
        head.size() < kColumn ? std::string(kColumn - head.size(), ' ') : "\n" + std::string(kColumn, ' ');
    out << head << help << "\n";
  };
  for (const auto &f : Flags()) line(std::string(f.flag) + (*f.arg ? std::string(" ") + f.arg : ""), f.help);
  out << "\nFault injection (also at run time: POST /control/mode with key=value pairs):\n";
  for (const auto &m : ModeOptions()) {
    line(std::string(m.flag) + (m.number != nullptr ? " N" : "") + " (" + m.key + ")", m.help);
  }
  out << "\nControl: GET /control/stats, GET /control/mode, POST /control/mode (\"clear\" resets).\n";
}

// False with *error for an unknown option or a missing argument.
bool Parse(int argc, char **argv, Options *o, std::string *error) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    const Flag *flag = nullptr;
    for (const auto &f : Flags()) {
      if (a == f.flag) flag = &f;
    }
    const ModeOption *mode = nullptr;
    for (const auto &m : ModeOptions()) {
      if (a == m.flag) mode = &m;
    }
    if (flag == nullptr && mode == nullptr) {
      *error = "unknown option " + a;
      return false;
    }
    bool takesValue = flag != nullptr ? *flag->arg != '\0' : mode->number != nullptr;
    std::string value;
    if (takesValue) {
      if (i + 1 >= argc) {
        *error = a + " needs a value";
        return false;
      }
      value = argv[++i];
    }
    if (flag != nullptr) {
      flag->set(o, value);
    } else {
      o->modes += std::string(mode->key) + "=" + (takesValue ? value : "1") + "\n";
    }
  }
  if (o->listen.cert.empty() != o->listen.key.empty()) {
    *error = "--cert and --key go together";
    return false;
  }
  if (!o->listen.clientCa.empty() && o->listen.cert.empty()) {
    *error = "--client-ca needs --cert and --key";
    return false;
  }
  return true;
}

int Serve(const Options &o) {
  std::string error;
  UserTable users;
  if (!o.users.empty() && !users.Load(o.users, &error)) {
    std::cerr << "vexa-audit-server: " << error << "\n";
    return 1;
  }
  FaultControl control;
  if (!control.Apply(o.modes, &error)) {
    std::cerr << "vexa-audit-server: " << error << "\n";
    return 2;
  }
  auto store = EventStore::Open(o.db, &error);
  if (!store) {
    std::cerr << "vexa-audit-server: " << error << "\n";
    return 1;
  }

  // SIGTERM and SIGINT are taken by one thread that stops the server; every
  // other thread (started below) inherits the blocked mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  Stats stats;
  EmitterService service(store.get(), &users, &control, &stats);
  HttpFront front(&service, &control, &stats);
  int port = 0;
  if (!front.Bind(o.listen, &port, &error)) {
    std::cerr << "vexa-audit-server: " << error << "\n";
    return 1;
  }
  std::printf("%d\n", port);
  std::fflush(stdout);
  if (!o.listen.quiet) {
    std::cerr << "vexa-audit-server: listening on " << (o.listen.cert.empty() ? "http" : "https") << "://"
              << o.listen.bind << ":" << port << kEmitterPath << ", database " << o.db << std::endl;
  }

  std::atomic<bool> done{false};
  std::thread signals([&] {
    int sig = 0;
    sigwait(&stopSignals, &sig);
    control.Stop();
    // A signal that comes before the listener runs must still stop it.
    while (!done && !front.IsRunning()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (!done) front.Stop();
  });
  bool served = front.Run();
  done = true;
  // Ended without a signal (the listener failed): wake the signal thread.
  control.Stop();
  pthread_kill(signals.native_handle(), SIGTERM);
  signals.join();
  if (!o.listen.quiet) std::cerr << "vexa-audit-server: stopped" << std::endl;
  return served ? 0 : 1;
}

int Main(int argc, char **argv) {
  Options o;
  std::string error;
  if (!Parse(argc, argv, &o, &error)) {
    std::cerr << "vexa-audit-server: " << error << "\n";
    Usage(std::cerr);
    return 2;
  }
  if (o.help) {
    Usage(std::cout);
    return 0;
  }
  if (o.dump || o.count) {
    bool ok = (!o.dump || EventStore::Dump(o.db, std::cout, &error)) &&
              (!o.count || EventStore::Count(o.db, std::cout, &error));
    if (!ok) std::cerr << "vexa-audit-server: " << error << "\n";
    return ok ? 0 : 1;
  }
  try {
    xercesc::XMLPlatformUtils::Initialize();
  } catch (...) {
    std::cerr << "vexa-audit-server: the XML parser cannot be initialised\n";
    return 1;
  }
  int rc = Serve(o);
  xercesc::XMLPlatformUtils::Terminate();
  return rc;
}

}  // namespace
}  // namespace auditserver

int main(int argc, char **argv) { return auditserver::Main(argc, argv); }
