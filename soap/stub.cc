#include "soap/stub.h"

Stub::Stub(const char *endpoint, AXIS_PROTOCOL_TYPE protocol) : m_pCall(new Call) {
  m_pCall->setEndpointURI(endpoint);
  m_pCall->setProtocol(protocol == APTHTTP1_0 ? SoapHttpVersion::kHttp10 : SoapHttpVersion::kHttp11);
}

Stub::~Stub() { delete m_pCall; }

void Stub::setEndPoint(const char *endpoint) { m_pCall->setEndpointURI(endpoint); }

void Stub::setUsername(const char *user) {
  hasUser_ = user != nullptr;
  user_ = hasUser_ ? user : "";
}

void Stub::setPassword(const char *password) {
  hasPassword_ = password != nullptr;
  password_ = hasPassword_ ? password : "";
}

void Stub::setTransportTimeout(long seconds) { timeoutSeconds_ = seconds > 0 ? seconds : 0; }

void Stub::applyUserPreferences() {
  m_pCall->setUsername(hasUser_ ? user_.c_str() : nullptr);
  m_pCall->setPassword(hasPassword_ ? password_.c_str() : nullptr);
  m_pCall->setTransportTimeout(timeoutSeconds_);
}
