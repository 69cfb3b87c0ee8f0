// Call: one SOAP 1.1 document-literal request and its answer. A stub owns one
// Call and drives it through initialize, the request settings, invoke, the
// response check and uninitialize. Every failure of invoke or of the response
// check is thrown as an AxisException (soap/axis_exception.h); a SOAP fault in
// the answer is thrown with code kAxisSoapFault and is then available through
// checkFault until uninitialize.
//
// A Call belongs to one thread at a time. The HTTP connection under it is the
// calling thread's own and outlives the Call, so successive calls (and
// successive stubs) on one thread reuse it.
#ifndef ZOVEXA_SOAP_CALL_H_
#define ZOVEXA_SOAP_CALL_H_

#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "soap/any_type.h"
#include "soap/axis_exception.h"

// Status of the operations that return one instead of throwing.
constexpr int kSoapSuccess = 0;
constexpr int kSoapFail = -1;

// How the body is laid out; the runtime writes document-literal messages only.
enum class SoapProvider { kDocumentLiteral };
// Envelope version; the runtime writes SOAP 1.1 envelopes only.
enum class SoapVersion { kSoap11 };
enum class SoapHttpVersion { kHttp10, kHttp11 };

// Name of the transport property holding the SOAPAction header value.
inline constexpr const char kSoapActionProperty[] = "SOAPAction";

// Writes the request body. Part serializers of generated stubs receive it
// between the opening tag name of a parameter element and its closing tag:
// they add attributes, then ">" and the content.
class SoapSerializer {
 public:
  SoapSerializer() = default;
  SoapSerializer(const SoapSerializer &) = delete;
  SoapSerializer &operator=(const SoapSerializer &) = delete;

  // Appends `text` as it is (no escaping).
  void serialize(const char *text);
  // Appends ` name="true"` or ` name="false"`.
  void serializeAsAttribute(const char *qname, bool value);
  // Appends every text of `any` as it is; NULL appends nothing.
  void serializeAnyObject(const AnyType *any);
  // The prefix bound to `ns` in this message, made on first use ("ns1", ...).
  const char *getNamespacePrefix(const char *ns);
  // Namespace declarations of every prefix made so far.
  std::string namespaceDeclarations() const;
  // Forgets the text and the prefixes.
  void reset();

  const std::string &text() const { return text_; }
  std::string &mutableText() { return text_; }

 private:
  std::string text_;
  // {namespace, prefix}; a deque, so returned prefixes stay valid as more are made.
  std::deque<std::pair<std::string, std::string>> prefixes_;
};

// Reads parameter parts of an answer: the child elements of the response
// message, each as XML text.
class SoapDeSerializer {
 public:
  explicit SoapDeSerializer(std::vector<std::string> items) : items_(std::move(items)) {}
  // The next child element as a new AnyType of one text (ZOfreeAnyType), or
  // NULL when none is left or memory ran out; the status then is kSoapFail.
  AnyType *getAnyObject();
  int getStatus() const { return status_; }

 private:
  std::vector<std::string> items_;
  size_t next_ = 0;
  int status_ = kSoapSuccess;
};

// Functions a generated stub gives for an array of complex parts. `part`
// points at one record; the size function returns the record size, which
// steps through the array.
using SoapSerializeFn = int (*)(void *part, SoapSerializer *serializer, bool isArray);
using SoapDeleteFn = void (*)(void *part, bool isArray, int size);
using SoapGetSizeFn = int (*)();

// A SOAP fault read from an answer. `detail` is the simple text of the
// "detail" element (empty when missing); `xml` is the whole fault element as
// XML text, with the namespace declarations it uses.
struct SoapFault {
  std::string faultCode;
  std::string faultString;
  std::string faultActor;
  std::string detail;
  std::string xml;
};

struct SoapResponse;

class Call {
 public:
  Call();
  ~Call();
  Call(const Call &) = delete;
  Call &operator=(const Call &) = delete;

  // Starts a new request: clears the operation, parameters and the last
  // answer. Endpoint, transport properties, user, password, time-out and
  // secure arguments stay.
  int initialize(SoapProvider provider);
  // Ends the request and releases the answer and any fault read from it.
  void uninitialize();

  void setEndpointURI(const char *endpoint);
  const std::string &getEndpointURI() const { return endpoint_; }
  void setProtocol(SoapHttpVersion version) { httpVersion_ = version; }
  void setSOAPVersion(SoapVersion version) { soapVersion_ = version; }
  // The body's operation element and its namespace.
  void setOperation(const char *operation, const char *ns);

  // HTTP header of the request ("SOAPAction" among them). A NULL value
  // removes it.
  void setTransportProperty(const char *name, const char *value);
  // The header's value, or NULL when it is not set.
  const char *getTransportProperty(const char *name) const;
  // The secure-channel arguments: the first one is the handle text of a
  // secure environment (soap/secure_env.h), which the request's TLS uses;
  // the others are kept for the stub's record.
  void setSecureProperties(std::span<const std::string> args);
  const std::vector<std::string> &getSecureProperties() const { return secure_; }

  void setUsername(const char *user);
  void setPassword(const char *password);
  // Whole-transfer time-out in seconds; 0 means none.
  void setTransportTimeout(long seconds) { timeoutSeconds_ = seconds; }

  // The prefix of `ns` in the request being built.
  const char *getNamespacePrefix(const char *ns);
  // Adds `count` records starting at `array`, each written as one element
  // `name` in `ns` by `serialize`. The array stays the caller's; `release`
  // is kept for the caller's contract and never called by the Call.
  void addCmplxArrayParameter(void *array, int count, SoapSerializeFn serialize, SoapDeleteFn release,
                              SoapGetSizeFn getSize, const char *name, const char *ns);

  // Sends the request and reads the answer. Returns kSoapSuccess for a 2xx
  // answer holding a SOAP body; throws AxisException otherwise (code 67 for
  // an empty 2xx answer, 71 for a fault, transport codes for the rest).
  int invoke();
  // kSoapSuccess when the body's first element is `name` in `ns`; throws
  // AxisException(kAxisBadResponse) otherwise.
  int checkMessage(const char *name, const char *ns);
  // A deserializer over the children of the checked response element.
  SoapDeSerializer responseParts() const;
  // The fault of the last answer when its Body holds an element with the
  // local name `name` (the envelope namespace is implied; `ns` is not
  // compared), else NULL. Owned by the Call until uninitialize.
  const SoapFault *checkFault(const char *name, const char *ns);

  // The request body of the last invoke (tests and traces).
  const std::string &lastRequest() const { return lastRequest_; }

 private:
  struct Parameter {
    void *array;
    int count;
    SoapSerializeFn serialize;
    SoapGetSizeFn getSize;
    std::string name;
    std::string ns;
  };
  std::string buildRequest();

  bool initialized_ = false;
  std::string endpoint_;
  SoapHttpVersion httpVersion_ = SoapHttpVersion::kHttp11;
  SoapVersion soapVersion_ = SoapVersion::kSoap11;
  std::string operation_, operationNs_;
  std::vector<std::pair<std::string, std::string>> headers_;
  std::vector<std::string> secure_;
  std::string user_, password_;
  bool hasUser_ = false, hasPassword_ = false;
  long timeoutSeconds_ = 0;
  std::vector<Parameter> params_;
  SoapSerializer serializer_;
  std::string lastRequest_;
  std::unique_ptr<SoapResponse> response_;
};

#endif  // ZOVEXA_SOAP_CALL_H_
