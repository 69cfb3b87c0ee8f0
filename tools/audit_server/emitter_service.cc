#include "tools/audit_server/emitter_service.h"

#include "tools/audit_server/soap_reply.h"
#include "tools/audit_server/soap_request.h"

namespace auditserver {
namespace {

Reply Closed(const std::string &note) {
  Reply r;
  r.closeConnection = true;
  r.note = note;
  return r;
}

Reply Plain(int status, const std::string &contentType, const std::string &body, const std::string &note) {
  Reply r;
  r.status = status;
  r.contentType = contentType;
  r.body = body;
  r.note = note;
  return r;
}

}  // namespace

Reply EmitterService::SoapFault(const std::string &code, const std::string &string, const std::string &detail,
                                const std::string &note) {
  ++stats_->faults;
  if (code == kClientFaultCode) ++stats_->clientFaults;
  return Plain(500, kSoapContentType, FaultEnvelope({code, string, kEmitterPath, detail}), note);
}

// The faults that stand for a broken network or server; *handled is false
// when none of them applies.
Reply EmitterService::Injected(const FaultModes &modes, bool *handled) {
  *handled = true;
  if (modes.close) return Closed("connection closed (injected)");
  if (modes.status503) return Plain(503, "text/plain", "Service Unavailable\n", "503 (injected)");
  if (modes.empty200) return Plain(200, kSoapContentType, "", "empty 200 (injected)");
  if (modes.serverFault) {
    return SoapFault(kServerFaultCode, "The audit service failed to process the request (injected fault).",
                     "injected server fault", "server fault (injected)");
  }
  *handled = false;
  return Reply();
}

Reply EmitterService::Handle(const std::string &authorization, const std::string &body) {
  ++stats_->requests;

  // A pause holds the request to its end and then drops it: the client sees a
  // server that does not answer, and nothing is stored behind its back.
  bool held = false;
  if (!control_->WaitOutPause(&held)) return Closed("dropped at shutdown");
  if (held) {
    ++stats_->injected;
    return Closed("held by a pause, dropped (injected)");
  }
  FaultModes modes = control_->Get();
  if (modes.delayMs > 0 && !control_->SleepUntil(Clock::now() + std::chrono::milliseconds(modes.delayMs))) {
    return Closed("dropped at shutdown");
  }
  bool injected = false;
  Reply reply = Injected(modes, &injected);
  if (injected) {
    ++stats_->injected;
    return reply;
  }

  if (!users_->empty()) {
    std::string user;
    switch (users_->Authorize(authorization, kWriterRole, &user)) {
      case UserTable::Check::kGranted:
        break;
      case UserTable::Check::kRefused: {
        ++stats_->authFailures;
        Reply r = Plain(401, "text/plain", "Unauthorized\n", "401 for user '" + user + "'");
        r.headers.emplace_back("WWW-Authenticate", "Basic realm=\"vexa-audit-server\"");
        return r;
      }
      case UserTable::Check::kNoRole:
        return SoapFault(
            kServerFaultCode,
            std::string(kNoRoleMessageId) + " The user " + user +
                " is not granted the security role needed to send audit events.",
            XmlEscape(std::string(kNoRoleMessageId) + ": user " + user + " lacks role " + kWriterRole),
            "role fault for user '" + user + "'");
    }
  }

  SendEventRequest req = ParseSendEvent(body);
  if (!req.ok) {
    return SoapFault(kClientFaultCode, "The request is not a sendEvent request: " + req.error,
                     XmlEscape(req.error), "malformed request: " + req.error);
  }
  if (req.IsProbe()) {
    ++stats_->probes;
    return Plain(200, kSoapContentType, SendEventResponse(), "probe");
  }

  size_t bad = req.FirstInvalid();
  std::string why = bad != 0 ? req.events[bad - 1].reason : "";
  size_t nth = static_cast<size_t>(modes.rejectNth);
  if (nth != 0 && nth <= req.events.size() && (bad == 0 || nth < bad)) {
    bad = nth;
    why = "rejected by the reject_nth mode";
  }
  if (bad != 0) {
    std::string number = std::to_string(bad);
    return SoapFault(
        kClientFaultCode, "Event " + number + " of the request is not valid: " + why,
        modes.clientFaultNoDetail ? XmlEscape(why) : FailedEventDetail(bad),
        "client fault for event " + number + " of " + std::to_string(req.events.size()) + ": " + why);
  }

  std::string error;
  if (!store_->Store(req.events, &error)) {
    return SoapFault(kServerFaultCode, "The events could not be stored: " + error, XmlEscape(error),
                     "storage failed: " + error);
  }
  stats_->eventsStored += static_cast<long long>(req.events.size());
  ++stats_->batchesStored;
  return Plain(200, kSoapContentType, SendEventResponse(),
               "stored " + std::to_string(req.events.size()) + " event(s)");
}

}  // namespace auditserver
