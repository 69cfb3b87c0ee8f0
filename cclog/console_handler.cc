// "ccg_consolehandler": writes the formatter's header, records and trailer to
// standard output in the local codeset. The toolkit's default console, which
// shows the toolkit's own faults, is one of these.

#include <cstdio>
#include <cstring>
#include <string>

#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/file_handler.h"
#include "tis/tis.h"

namespace {

struct ConsoleVars {
  bool opened = false;
};

ConsoleVars *Vars(CCgObject *obj) { return static_cast<ConsoleVars *>(obj->vars); }

// Writes UTF-8 text converted to the codeset of the process's locale. The
// codeset is looked up per write because the application may change its
// locale at any time; text it cannot represent is written unconverted rather
// than dropped.
void WriteLocal(const char *text) {
  size_t len = std::strlen(text);
  if (len == 0) return;
  std::string local;
  TisCodeset *codeset = TisCodesetCreate(nullptr);
  bool converted = codeset != nullptr && !TisCodesetIsUTF8(codeset) &&
                   TisFromUTF8(codeset, text, len, &local);
  TisCodesetFree(codeset);
  if (converted)
    std::fwrite(local.data(), 1, local.size(), stdout);
  else
    std::fwrite(text, 1, len, stdout);
  std::fflush(stdout);
}

void WriteAndFree(char *text) {
  if (text == nullptr) return;
  WriteLocal(text);
  CCgFree(text);
}

}  // namespace

void *CCgConsoleHandlerFAllocVars(CCgObject * /*obj*/) { return new ConsoleVars; }

void CCgConsoleHandlerFFreeVars(CCgObject *obj, void *vars) {
  auto *v = static_cast<ConsoleVars *>(vars);
  if (v == nullptr) return;
  // Closing the toolkit frees vars before the last release; the trailer is
  // written here then.
  if (v->opened && obj != nullptr) {
    WriteAndFree(ccgHandlerTrailer(obj));
    v->opened = false;
  }
  delete v;
}

void CCgConsoleHandlerFOpen(CCgObject *obj) {
  ConsoleVars *v = obj != nullptr ? Vars(obj) : nullptr;
  if (v == nullptr) return;
  WriteAndFree(ccgHandlerHeader(obj));
  v->opened = true;
}

void CCgConsoleHandlerFProcess(CCgObject *obj, CCgEvent *event) {
  if (obj == nullptr || !obj->enabled.load()) return;
  ConsoleVars *v = Vars(obj);
  if (v != nullptr) {
    if (!v->opened) CCgConsoleHandlerFOpen(obj);
    WriteAndFree(ccgHandlerFormat(obj, event));
  }
  ccgDispatchToListeners(obj, event);
}

void CCgConsoleHandlerFClose(CCgObject *obj) {
  ConsoleVars *v = obj != nullptr ? Vars(obj) : nullptr;
  if (v == nullptr || !v->opened) return;
  WriteAndFree(ccgHandlerTrailer(obj));
  v->opened = false;
}
