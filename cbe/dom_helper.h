// The DOM helper layer: the only code that talks to Xerces-C. For now the
// process-wide start and stop of the parser, made by the first context created
// and the last one deleted.
#ifndef ZOVEXA_CBE_DOM_HELPER_H_
#define ZOVEXA_CBE_DOM_HELPER_H_

#include "zovexa.h"

// Initialises Xerces-C. 0, or -1 with message 62 naming "initializeXMLParser()"
// and the parser's reason.
int initializeXMLParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
void terminateXMLParser();

#endif  // ZOVEXA_CBE_DOM_HELPER_H_
