// AnyType: a counted list of raw XML texts that the SOAP runtime writes into a
// message body as they are, without escaping. One CBE text per entry of a
// batch. Texts and record come from ZOmalloc, so the allocation seam covers them.
#ifndef ZOVEXA_SOAP_ANY_TYPE_H_
#define ZOVEXA_SOAP_ANY_TYPE_H_

struct AnyType {
  char **_array;  // _size texts, each NUL-terminated UTF-8 XML
  int _size;
};

// A new AnyType holding a copy of `text`; NULL when memory ran out.
AnyType *ZOnewAnyType(const char *text);
// Frees the texts and the record; NULL is ignored.
void ZOfreeAnyType(AnyType *any);

#endif  // ZOVEXA_SOAP_ANY_TYPE_H_
