#include "tools/audit_server/soap_reply.h"

namespace auditserver {
namespace {

constexpr char kEnvelopeStart[] =
    "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"><soapenv:Body>";
constexpr char kEnvelopeEnd[] = "</soapenv:Body></soapenv:Envelope>";

}  // namespace

std::string XmlEscape(const std::string &text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string SendEventResponse() {
  return std::string(kEnvelopeStart) + "<ns1:sendEventResponse xmlns:ns1=\"urn:orv:vexa:10\"/>" +
         kEnvelopeEnd;
}

std::string FaultEnvelope(const Fault &fault) {
  return std::string(kEnvelopeStart) + "<soapenv:Fault><faultcode>" + XmlEscape(fault.code) +
         "</faultcode><faultstring>" + XmlEscape(fault.string) + "</faultstring><faultactor>" +
         XmlEscape(fault.actor) + "</faultactor><detail>" + fault.detail + "</detail></soapenv:Fault>" +
         kEnvelopeEnd;
}

std::string FailedEventDetail(size_t eventNumber) {
  return "<failedevent><eventNumber>" + std::to_string(eventNumber) + "</eventNumber></failedevent>";
}

}  // namespace auditserver
