#include "cbe/emitter.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "capis/zo_memory.h"

namespace {

constexpr const char kServiceNs[] = "urn:orv:vexa:10";
constexpr const char kDefaultEndpoint[] = "http://localhost:9080/vexaws/services/Emitter";
constexpr int kSecureArgs = 8;
// The pointer value that stands for "true" among the secure arguments.
char *const kSecureTrue = reinterpret_cast<char *>(1);

}  // namespace

Emitter::Emitter() : Stub(" ", APTHTTP1_1) { m_pCall->setEndpointURI(kDefaultEndpoint); }

Emitter::Emitter(const char *endpoint, AXIS_PROTOCOL_TYPE protocol) : Stub(endpoint, protocol) {}

Emitter::~Emitter() = default;

void Emitter::SetSecure(char *first, ...) {
  if (first == nullptr) return;
  va_list args;
  va_start(args, first);
  int given = 0;
  for (char *arg = first; arg != nullptr;) {
    secure_[given++] = arg == kSecureTrue ? "true" : arg;
    if (given == kSecureArgs) break;
    arg = va_arg(args, char *);
  }
  va_end(args);
  if (given == 6) secure_[6] = "false";
}

void Emitter::includeSecure() { m_pCall->setSecureProperties(secure_); }

void Emitter::sendEvent(CommonBaseEventType_ArrayTag events) {
  try {
    if (m_pCall->initialize(SoapProvider::kDocumentLiteral) != kSoapSuccess) return;
    if (m_pCall->getTransportProperty(kSoapActionProperty) == nullptr) {
      m_pCall->setTransportProperty(kSoapActionProperty, "");
    }
    m_pCall->setSOAPVersion(SoapVersion::kSoap11);
    m_pCall->setOperation("sendEvent", kServiceNs);
    includeSecure();
    applyUserPreferences();
    // Binds the service namespace's prefix before any part is written.
    m_pCall->getNamespacePrefix(kServiceNs);
    m_pCall->addCmplxArrayParameter(events.m_Array, events.m_Size, Axis_Serialize_CommonBaseEventType,
                                    Axis_Delete_CommonBaseEventType, Axis_GetSize_CommonBaseEventType,
                                    "event", kServiceNs);
    // Only the answer's element is checked; its content is not read.
    if (m_pCall->invoke() == kSoapSuccess) m_pCall->checkMessage("sendEventResponse", kServiceNs);
    m_pCall->uninitialize();
  } catch (AxisException &e) {
    int code = e.getExceptionCode();
    // An empty 2xx answer means the server took the batch without saying so.
    if (code == kAxisEmptyResponse) {
      m_pCall->uninitialize();
      return;
    }
    if (code == kAxisSoapFault) {
      if (const SoapFault *fault = m_pCall->checkFault("Fault", kDefaultEndpoint)) {
        OtherFaultException thrown(fault->faultCode, fault->faultString, fault->faultActor,
                                   fault->detail.empty() ? fault->xml : fault->detail, kAxisSoapFault);
        m_pCall->uninitialize();
        throw thrown;
      }
    }
    m_pCall->uninitialize();
    throw;
  }
}

int Axis_Serialize_CommonBaseEventType(void *part, SoapSerializer *serializer, bool) {
  auto *event = static_cast<CommonBaseEventType *>(part);
  if (event == nullptr || event->any == nullptr) {
    serializer->serializeAsAttribute("xsi:nil", true);
    serializer->serialize(">");
    return 0;
  }
  serializer->serialize(">");
  serializer->serializeAnyObject(event->any);
  return 0;
}

int Axis_DeSerialize_CommonBaseEventType(void *part, SoapDeSerializer *deserializer) {
  static_cast<CommonBaseEventType *>(part)->any = deserializer->getAnyObject();
  return deserializer->getStatus();
}

void *Axis_Create_CommonBaseEventType(void *existing, bool isArray, int size) {
  if (!isArray || size <= 0) return ZOcalloc(1, sizeof(CommonBaseEventType));
  void *array = ZOcalloc(static_cast<size_t>(size), sizeof(CommonBaseEventType));
  if (array == nullptr || existing == nullptr) return array;
  std::memcpy(array, existing, static_cast<size_t>(size / 2) * sizeof(CommonBaseEventType));
  std::free(existing);
  return array;
}

void Axis_Delete_CommonBaseEventType(void *part, bool, int) { std::free(part); }

int Axis_GetSize_CommonBaseEventType() { return static_cast<int>(sizeof(CommonBaseEventType)); }
