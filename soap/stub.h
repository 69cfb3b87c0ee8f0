// Stub: the base of generated client stubs. It owns one Call (m_pCall) and
// the user preferences applied to it before each invocation.
#ifndef ZOVEXA_SOAP_STUB_H_
#define ZOVEXA_SOAP_STUB_H_

#include <string>

#include "soap/call.h"

enum AXIS_PROTOCOL_TYPE { APTHTTP1_0, APTHTTP1_1 };

class Stub {
 public:
  Stub(const char *endpoint, AXIS_PROTOCOL_TYPE protocol);
  virtual ~Stub();
  Stub(const Stub &) = delete;
  Stub &operator=(const Stub &) = delete;

  void setEndPoint(const char *endpoint);
  void setUsername(const char *user);
  void setPassword(const char *password);
  // Transfer time-out in seconds for each invocation (0: none).
  void setTransportTimeout(long seconds);

 protected:
  // Copies user, password and time-out into the call.
  void applyUserPreferences();
  Call *m_pCall;

 private:
  // The user preferences, applied to the call by applyUserPreferences.
  std::string user_, password_;
  bool hasUser_ = false, hasPassword_ = false;
  long timeoutSeconds_ = 0;
};

#endif  // ZOVEXA_SOAP_STUB_H_
