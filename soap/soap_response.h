// Reading a SOAP 1.1 answer: the envelope's Body, its first element (the
// response message or a Fault) and the parts inside it. Parsed with Xerces-C,
// which the process must have initialised; text comes out as UTF-8.
#ifndef ZOVEXA_SOAP_SOAP_RESPONSE_H_
#define ZOVEXA_SOAP_SOAP_RESPONSE_H_

#include <memory>
#include <string>
#include <vector>

#include "soap/call.h"

inline constexpr const char kSoapEnvelopeNs[] = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr const char kXsiNs[] = "http://www.w3.org/2001/XMLSchema-instance";

struct SoapResponse {
  // The Body's first element when it is not a fault (empty for an empty
  // Body), and its child elements as XML text.
  std::string messageName;
  std::string messageNs;
  std::vector<std::string> parts;
  // Set when the Body's first element is a Fault.
  std::unique_ptr<SoapFault> fault;
};

// Parses `text` as a SOAP 1.1 envelope. False, with the reason in `error`,
// when it is not well-formed XML, carries a document type declaration, or is
// not an Envelope with a Body.
bool ZOparseSoapResponse(const std::string &text, SoapResponse *response, std::string *error);

#endif  // ZOVEXA_SOAP_SOAP_RESPONSE_H_
