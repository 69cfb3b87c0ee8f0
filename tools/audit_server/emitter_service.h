// The Emitter endpoint: one POSTed request in, one reply out. Injected faults
// come first (they stand for a broken network or server), then
// authentication, then the request itself: a probe is answered without being
// stored, a batch with a bad or rejected event gets a client fault naming its
// position and nothing is stored, any other batch is stored as a whole.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_EMITTER_SERVICE_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_EMITTER_SERVICE_H_

#include <string>
#include <utility>
#include <vector>

#include "tools/audit_server/event_store.h"
#include "tools/audit_server/fault_control.h"
#include "tools/audit_server/users.h"

namespace auditserver {

inline constexpr char kEmitterPath[] = "/vexaws/services/Emitter";

struct Reply {
  // Close the connection instead of answering.
  bool closeConnection = false;
  int status = 200;
  std::string contentType;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string note;  // what happened, for the request log
};

class EmitterService {
 public:
  // `users` empty: no authentication.
  EmitterService(EventStore *store, const UserTable *users, FaultControl *control, Stats *stats)
      : store_(store), users_(users), control_(control), stats_(stats) {}

  Reply Handle(const std::string &authorization, const std::string &body);

 private:
  Reply Injected(const FaultModes &modes, bool *handled);
  Reply SoapFault(const std::string &code, const std::string &string, const std::string &detail,
                  const std::string &note);

  EventStore *store_;
  const UserTable *users_;
  FaultControl *control_;
  Stats *stats_;
};

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_EMITTER_SERVICE_H_
