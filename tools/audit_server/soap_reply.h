// What the audit service answers: the sendEvent response and SOAP 1.1 faults.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REPLY_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REPLY_H_

#include <cstddef>
#include <string>

namespace auditserver {

inline constexpr char kSoapContentType[] = "text/xml; charset=utf-8";
// Clients tell a rejected event from other faults by this exact code.
inline constexpr char kClientFaultCode[] = "soapenv:client";
inline constexpr char kServerFaultCode[] = "soapenv:Server";
// Clients recognise missing security roles by this message id in the fault string.
inline constexpr char kNoRoleMessageId[] = "QRTX0053E";

struct Fault {
  std::string code;
  std::string string;  // text
  std::string actor;   // text
  std::string detail;  // XML placed inside <detail>, written as given
};

std::string SendEventResponse();
std::string FaultEnvelope(const Fault &fault);
// The detail of a rejected batch: the 1-based position of the event at fault.
std::string FailedEventDetail(size_t eventNumber);
std::string XmlEscape(const std::string &text);

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_SOAP_REPLY_H_
