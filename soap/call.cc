#include "soap/call.h"

#include <strings.h>

#include <cstring>

#include "soap/http_transport.h"
#include "soap/secure_env.h"
#include "soap/soap_response.h"

namespace {

bool IsHttps(const std::string &url) { return strncasecmp(url.c_str(), "https:", 6) == 0; }

// "HTTP 503 Service Unavailable"
std::string StatusText(const HttpResponse &r) {
  std::string text = "HTTP " + std::to_string(r.status);
  if (!r.reason.empty()) text += " " + r.reason;
  return text;
}

bool Blank(const std::string &s) { return s.find_first_not_of(" \t\r\n") == std::string::npos; }

}  // namespace

// ---- SoapSerializer

void SoapSerializer::serialize(const char *text) {
  if (text != nullptr) text_ += text;
}

void SoapSerializer::serializeAsAttribute(const char *qname, bool value) {
  text_ += std::string(" ") + qname + (value ? "=\"true\"" : "=\"false\"");
}

void SoapSerializer::serializeAnyObject(const AnyType *any) {
  if (any == nullptr) return;
  for (int i = 0; i < any->_size; ++i) serialize(any->_array[i]);
}

const char *SoapSerializer::getNamespacePrefix(const char *ns) {
  std::string uri = ns != nullptr ? ns : "";
  for (const auto &p : prefixes_) {
    if (p.first == uri) return p.second.c_str();
  }
  prefixes_.emplace_back(uri, "ns" + std::to_string(prefixes_.size() + 1));
  return prefixes_.back().second.c_str();
}

std::string SoapSerializer::namespaceDeclarations() const {
  std::string decls;
  for (const auto &p : prefixes_) decls += " xmlns:" + p.second + "=\"" + p.first + "\"";
  return decls;
}

void SoapSerializer::reset() {
  text_.clear();
  prefixes_.clear();
}

// ---- SoapDeSerializer

AnyType *SoapDeSerializer::getAnyObject() {
  if (next_ >= items_.size()) {
    status_ = kSoapFail;
    return nullptr;
  }
  AnyType *any = ZOnewAnyType(items_[next_++].c_str());
  if (any == nullptr) status_ = kSoapFail;
  return any;
}

// ---- Call

Call::Call() = default;
Call::~Call() = default;

int Call::initialize(SoapProvider) {
  operation_.clear();
  operationNs_.clear();
  params_.clear();
  serializer_.reset();
  response_.reset();
  initialized_ = true;
  return kSoapSuccess;
}

void Call::uninitialize() {
  initialized_ = false;
  params_.clear();
  response_.reset();
}

void Call::setEndpointURI(const char *endpoint) { endpoint_ = endpoint != nullptr ? endpoint : ""; }

void Call::setOperation(const char *operation, const char *ns) {
  operation_ = operation != nullptr ? operation : "";
  operationNs_ = ns != nullptr ? ns : "";
  serializer_.getNamespacePrefix(operationNs_.c_str());
}

void Call::setTransportProperty(const char *name, const char *value) {
  if (name == nullptr) return;
  for (auto it = headers_.begin(); it != headers_.end(); ++it) {
    if (strcasecmp(it->first.c_str(), name) == 0) {
      if (value == nullptr) {
        headers_.erase(it);
      } else {
        it->second = value;
      }
      return;
    }
  }
  if (value != nullptr) headers_.emplace_back(name, value);
}

const char *Call::getTransportProperty(const char *name) const {
  if (name == nullptr) return nullptr;
  for (const auto &h : headers_) {
    if (strcasecmp(h.first.c_str(), name) == 0) return h.second.c_str();
  }
  return nullptr;
}

void Call::setSecureProperties(std::span<const std::string> args) {
  secure_.assign(args.begin(), args.end());
}

void Call::setUsername(const char *user) {
  hasUser_ = user != nullptr;
  user_ = hasUser_ ? user : "";
}

void Call::setPassword(const char *password) {
  hasPassword_ = password != nullptr;
  password_ = hasPassword_ ? password : "";
}

const char *Call::getNamespacePrefix(const char *ns) { return serializer_.getNamespacePrefix(ns); }

void Call::addCmplxArrayParameter(void *array, int count, SoapSerializeFn serialize, SoapDeleteFn,
                                  SoapGetSizeFn getSize, const char *name, const char *ns) {
  params_.push_back({array, count, serialize, getSize, name != nullptr ? name : "", ns != nullptr ? ns : ""});
}

std::string Call::buildRequest() {
  // Parts are written first: their serializers may bind namespaces, which
  // are then all declared on the operation element.
  serializer_.mutableText().clear();
  for (const Parameter &p : params_) {
    std::string qname = std::string(serializer_.getNamespacePrefix(p.ns.c_str())) + ":" + p.name;
    auto *record = static_cast<char *>(p.array);
    size_t stride = static_cast<size_t>(p.getSize());
    for (int i = 0; i < p.count; ++i) {
      serializer_.mutableText().append("<").append(qname);
      p.serialize(record + stride * i, &serializer_, true);
      serializer_.mutableText().append("</").append(qname).append(">");
    }
  }
  std::string op = std::string(serializer_.getNamespacePrefix(operationNs_.c_str())) + ":" + operation_;
  std::string body;
  body.reserve(serializer_.text().size() + 512);
  body += "<soapenv:Envelope xmlns:soapenv=\"";
  body += kSoapEnvelopeNs;
  body += "\" xmlns:xsi=\"";
  body += kXsiNs;
  body += "\"><soapenv:Body><" + op + serializer_.namespaceDeclarations() + ">";
  body += serializer_.text();
  body += "</" + op + "></soapenv:Body></soapenv:Envelope>";
  return body;
}

int Call::invoke() {
  if (!initialized_ || operation_.empty()) {
    throw AxisException(kAxisCallState, "the call has no operation: initialize and setOperation come first");
  }
  HttpRequest request;
  request.url = endpoint_;
  request.body = buildRequest();
  lastRequest_ = request.body;
  request.headers.push_back("Content-Type: text/xml; charset=utf-8");
  for (const auto &h : headers_) {
    std::string value = h.second;
    // The SOAPAction value is a quoted URI; an empty one is sent as "".
    if (strcasecmp(h.first.c_str(), kSoapActionProperty) == 0 && (value.size() < 2 || value.front() != '"')) {
      value = "\"" + value + "\"";
    }
    request.headers.push_back(h.first + ": " + value);
  }
  request.basicAuth = hasUser_ || hasPassword_;
  request.user = user_;
  request.password = password_;
  request.timeoutSeconds = timeoutSeconds_;
  request.http10 = httpVersion_ == SoapHttpVersion::kHttp10;
  if (IsHttps(endpoint_) && !secure_.empty() && !secure_[0].empty()) {
    request.secureEnv = ZOsecureEnvResolve(secure_[0]);
    if (request.secureEnv == nullptr) {
      throw AxisException(kAxisTlsFailed, "no open secure environment is named " + secure_[0]);
    }
  }

  HttpResponse answer = ZOhttpTransport().post(request);
  bool ok = answer.status >= 200 && answer.status < 300;
  if (Blank(answer.body)) {
    if (ok) throw AxisException(kAxisEmptyResponse, StatusText(answer) + " with an empty body");
    throw AxisException(kAxisHttpStatus, StatusText(answer));
  }
  auto response = std::make_unique<SoapResponse>();
  std::string error;
  if (!ZOparseSoapResponse(answer.body, response.get(), &error)) {
    if (ok) throw AxisException(kAxisBadResponse, StatusText(answer) + ": " + error);
    throw AxisException(kAxisHttpStatus, StatusText(answer));
  }
  response_ = std::move(response);
  if (response_->fault != nullptr) {
    throw AxisException(kAxisSoapFault,
                        "SOAP fault " + response_->fault->faultCode + ": " + response_->fault->faultString);
  }
  if (!ok) throw AxisException(kAxisHttpStatus, StatusText(answer));
  return kSoapSuccess;
}

int Call::checkMessage(const char *name, const char *ns) {
  std::string wantName = name != nullptr ? name : "", wantNs = ns != nullptr ? ns : "";
  if (response_ == nullptr || response_->fault != nullptr) {
    throw AxisException(kAxisCallState, "there is no answer to check");
  }
  if (response_->messageName != wantName || response_->messageNs != wantNs) {
    throw AxisException(kAxisBadResponse, "expected {" + wantNs + "}" + wantName + " in the answer, found {" +
                                              response_->messageNs + "}" + response_->messageName);
  }
  return kSoapSuccess;
}

SoapDeSerializer Call::responseParts() const {
  return SoapDeSerializer(response_ != nullptr ? response_->parts : std::vector<std::string>{});
}

const SoapFault *Call::checkFault(const char *name, const char *) {
  if (response_ == nullptr || response_->fault == nullptr) return nullptr;
  if (name == nullptr || std::strcmp(name, "Fault") != 0) return nullptr;
  return response_->fault.get();
}
