// The HTTP(S) side of the audit server: cpp-httplib routes for the Emitter
// path and the control requests, one thread per accepted connection, the
// request log, and closing a connection on demand.
//
//   POST /vexaws/services/Emitter   the audit service
//   GET  /control/stats             counters as "key=value" lines
//   GET  /control/mode              current fault modes as "key=value" lines
//   POST /control/mode              change fault modes ("key=value" pairs)
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_HTTP_FRONT_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_HTTP_FRONT_H_

#include <memory>
#include <string>

#include "tools/audit_server/emitter_service.h"
#include "tools/audit_server/fault_control.h"

namespace httplib {
class Server;
}

namespace auditserver {

struct ListenOptions {
  std::string bind = "127.0.0.1";
  int port = 9080;        // 0: any free port
  std::string cert, key;  // both set: HTTPS
  std::string clientCa;   // set: clients must present a certificate it signed
  bool quiet = false;     // no request log
};

class HttpFront {
 public:
  HttpFront(EmitterService *service, FaultControl *control, Stats *stats);
  ~HttpFront();

  // Sets up the routes and binds; *port is the port bound. False with *error.
  bool Bind(const ListenOptions &options, int *port, std::string *error);
  // Serves until Stop(); returns after every connection thread has ended.
  bool Run();
  bool IsRunning() const;
  // Callable from any thread, once Run has started (IsRunning).
  void Stop();

 private:
  void Log(const std::string &line);

  EmitterService *service_;
  FaultControl *control_;
  Stats *stats_;
  bool quiet_ = false;
  std::unique_ptr<httplib::Server> server_;
};

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_HTTP_FRONT_H_
