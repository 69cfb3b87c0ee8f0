// Process-wide settings of the text layer: the message search path, the data
// directory and the reference count of TisInit/TisShutdown.
#include "tis/tis.h"

#include <cstdlib>
#include <mutex>

namespace {

struct State {
  std::mutex mu;
  int users = 0;
  std::string msgPath;
  std::string dataDir;
};

// Never destroyed, so that threads still logging while static destructors run
// at exit do not touch a dead mutex.
State &TheState() {
  static State *state = new State;
  return *state;
}

std::string EnvOrEmpty(const char *name) {
  const char *value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

bool TisInit() {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.users++ == 0) {
    s.msgPath = EnvOrEmpty("NLSPATH");
    s.dataDir = EnvOrEmpty("TISDIR");
  }
  return true;
}

void TisShutdown() {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.users == 0) return;  // unbalanced call: nothing to undo
  if (--s.users == 0) {
    s.msgPath.clear();
    s.dataDir.clear();
  }
}

void TisSetMsgPath(const char *path) {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  s.msgPath = path ? path : "";
}

std::string TisGetMsgPath() {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  return s.msgPath;
}

void TisSetDataDir(const char *dir) {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  s.dataDir = dir ? dir : "";
}

std::string TisGetDataDir() {
  State &s = TheState();
  std::lock_guard<std::mutex> lock(s.mu);
  return s.dataDir;
}
