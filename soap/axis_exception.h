// The exceptions of the SOAP client runtime. Every failure of a call reaches
// the caller as an AxisException with a numeric code from the table below and
// a message naming the cause; a SOAP fault answered by the server becomes an
// OtherFaultException (code kAxisSoapFault) carrying the fault's parts.
#ifndef ZOVEXA_SOAP_AXIS_EXCEPTION_H_
#define ZOVEXA_SOAP_AXIS_EXCEPTION_H_

#include <exception>
#include <string>

// The runtime's exception codes, in one place. 67 and 71 are fixed: callers
// compare with them (an empty 2xx answer counts as delivered; a fault is
// looked up). The others name transport failures.
enum AxisExceptionCode {
  kAxisEmptyResponse = 67,  // 2xx answer with an empty body
  kAxisSoapFault = 71,      // the answer is a SOAP fault
  kAxisConnectFailed = 80,  // refused, unreachable, name not resolved
  kAxisTimedOut = 81,       // connect or transfer time-out (responseTimeout)
  kAxisConnectionLost = 82, // reset or closed before a complete answer
  kAxisTlsFailed = 83,      // handshake, certificate or host name verification
  kAxisHttpStatus = 84,     // HTTP status other than 2xx without a SOAP fault body
  kAxisBadResponse = 85,    // 2xx answer that is not the expected SOAP message
  kAxisCallState = 86,      // call used out of order (not initialised, no operation)
  kAxisTransportSetup = 87, // the HTTP library could not be set up for the request
};

class AxisException : public std::exception {
 public:
  AxisException(int code, std::string message) : code_(code), message_(std::move(message)) {}
  int getExceptionCode() const noexcept { return code_; }
  const char *what() const noexcept override { return message_.c_str(); }

 private:
  int code_;
  std::string message_;
};

class OtherFaultException : public AxisException {
 public:
  OtherFaultException(std::string faultCode, std::string faultString, std::string faultActor,
                      std::string faultDetail, int code)
      : AxisException(code, "SOAP fault: " + faultString),
        faultCode_(std::move(faultCode)),
        faultString_(std::move(faultString)),
        faultActor_(std::move(faultActor)),
        faultDetail_(std::move(faultDetail)) {}
  const char *getFaultCode() const noexcept { return faultCode_.c_str(); }
  const char *getFaultString() const noexcept { return faultString_.c_str(); }
  const char *getFaultActor() const noexcept { return faultActor_.c_str(); }
  const char *getFaultDetail() const noexcept { return faultDetail_.c_str(); }

 private:
  std::string faultCode_, faultString_, faultActor_, faultDetail_;
};

#endif  // ZOVEXA_SOAP_AXIS_EXCEPTION_H_
