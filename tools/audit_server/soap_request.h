// Reading a "sendEvent" request of the audit service: the SOAP 1.1 envelope is
// walked by a small scanner that resolves namespace prefixes (so any prefixes
// work), and each "event" is cut out as the text that was sent. The content of
// every event is then parsed on its own, so one malformed event does not hide
// which position it had in the batch.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REQUEST_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REQUEST_H_

#include <optional>
#include <string>
#include <vector>

namespace auditserver {

inline constexpr char kSoapEnvelopeNs[] = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr char kVexaNs[] = "urn:orv:vexa:10";
inline constexpr char kXsiNs[] = "http://www.w3.org/2001/XMLSchema-instance";

// One "event" element of the request.
struct EventEntry {
  // Holds exactly one well-formed CommonBaseEvent element (blanks and comments
  // around it allowed). A nil event is never valid.
  bool valid = false;
  std::string reason;  // why not, when !valid
  std::string xml;     // the element as sent, without the blanks around it
  // Root attributes; absent ones stay empty optionals.
  std::optional<std::string> globalInstanceId, extensionName, creationTime;
  // No attributes and no content: the shape of the service probe.
  bool bare = false;
};

struct SendEventRequest {
  // The body is a sendEvent envelope. When an event's end cannot be found the
  // request is still ok: `events` ends with that event, marked invalid.
  bool ok = false;
  std::string error;  // what is wrong with the envelope, when !ok
  std::vector<EventEntry> events;

  // Exactly one event, a bare CommonBaseEvent.
  bool IsProbe() const { return events.size() == 1 && events[0].valid && events[0].bare; }
  // 1-based position of the first invalid event, 0 when all are valid.
  size_t FirstInvalid() const;
};

// Needs the XML parser runtime initialised (XMLPlatformUtils::Initialize).
SendEventRequest ParseSendEvent(const std::string &body);

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REQUEST_H_
