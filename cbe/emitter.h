// The client stub of the audit web service "Emitter": one operation,
// "sendEvent", taking a batch of Common Base Events. The session layer makes
// one Emitter per attempt, sets user, password, secure argument and time-out,
// and calls sendEvent; every failure is an exception of the SOAP runtime.
#ifndef ZOVEXA_CBE_EMITTER_H_
#define ZOVEXA_CBE_EMITTER_H_

#include "cbe/common_base_event_type.h"
#include "soap/stub.h"

class Emitter : public Stub {
 public:
  // The default endpoint http://localhost:9080/vexaws/services/Emitter.
  Emitter();
  Emitter(const char *endpoint, AXIS_PROTOCOL_TYPE protocol);
  ~Emitter() override;

  // Stores a NULL-terminated list of texts into the eight secure arguments
  // in order (a pointer value of 1 stores "true"; at most eight; exactly six
  // make the seventh "false"; a NULL first argument changes nothing).
  void SetSecure(char *first, ...);
  // Hands the secure arguments to the call.
  void includeSecure();
  // Sends one batch. Returns normally when the server accepted it (or
  // answered 2xx with an empty body); throws OtherFaultException for a SOAP
  // fault and AxisException for everything else.
  void sendEvent(CommonBaseEventType_ArrayTag events);

 private:
  std::string secure_[8];
};

// The glue of the message part `CommonBaseEventType`, in the call's
// function types (cast `part` to CommonBaseEventType *).
// Writes one "event" element's attributes and content: xsi:nil="true" for a
// NULL part or a part without text, else the text unescaped. Returns 0.
int Axis_Serialize_CommonBaseEventType(void *part, SoapSerializer *serializer, bool isArray);
// Reads the part's `any` from the deserializer; returns its status.
int Axis_DeSerialize_CommonBaseEventType(void *part, SoapDeSerializer *deserializer);
// One new zeroed record, or an array of `size` (isArray) into which the
// `size / 2` records of `existing` are moved (`existing` is then freed).
// NULL when memory ran out; `existing` is then untouched. Free with
// Axis_Delete_CommonBaseEventType.
void *Axis_Create_CommonBaseEventType(void *existing, bool isArray, int size);
// Releases a record or an array of them; the AnyType texts stay the owner's.
void Axis_Delete_CommonBaseEventType(void *part, bool isArray, int size);
int Axis_GetSize_CommonBaseEventType();

#endif  // ZOVEXA_CBE_EMITTER_H_
