// The secure environment of a context whose server URL is "https": opened
// from the key store (keyFilePath) and its password file (stashFilePath) when
// the context is created, named by its handle text in every stub of that
// context, and closed when the context is deleted.
#ifndef ZOVEXA_CBE_SECURE_SESSION_H_
#define ZOVEXA_CBE_SECURE_SESSION_H_

#include "zovexa.h"

// Opens the context's secure environment and stores it with its handle text
// ("0x%x") in the context. 0, or -1 with message 19 naming the step that
// failed and the reason. Either way the error log then gets the mode line
// ("... Initialized in FIPS MODE------" when enableFIPS is "yes", else "...
// non FIPS MODE------") as an informational record.
int initializeVTLKitEnvironment(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Closes the context's secure environment and forgets its handle text. 0, or
// -1 with message 19 when the context has none open.
int terminateVTLKitEnvironment(ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);

// Reports a failed step of the secure environment: message 19 with the
// step's name and the reason, and an error trace line. Nothing happens
// without a step name or a reason.
void logVTLKitErrors(const ZOVEXA_AuditClientContext *context, const char *reason, const char *functionName,
                     ZOVEXA_result *result);

#endif  // ZOVEXA_CBE_SECURE_SESSION_H_
