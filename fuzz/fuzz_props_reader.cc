// libFuzzer target for the properties reader. Each input is read twice, into a
// property list and into the log manager's configurations, and the two results
// are checked against each other: the state machine is the same, so the log
// manager can only fail where the list does, every entry it took must be in
// the list with the same value, and every configuration it created must be
// named by a list key and be marked as read from a file.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "cclog.h"
#include "cclog/ccg_object.h"
#include "cclog/ccg_toolkit.h"
#include "cclog/props_reader.h"

namespace {

FILE *g_report = nullptr;  // the real standard error

void Check(bool ok, const char *what, const std::string &detail) {
  if (ok) return;
  std::fprintf(g_report, "invariant broken: %s [%s]\n", what, detail.c_str());
  std::abort();
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\v'; }

void CheckList(const CxPropList &list) {
  for (size_t i = 0; i < list.entries.size(); ++i) {
    const std::string &key = list.entries[i].first;
    Check(!key.empty(), "empty key", key);
    Check(key.find_first_of("\r\n") == std::string::npos, "line end in key", key);
    Check(!IsBlank(key[0]), "key starts with a blank", key);
    for (size_t j = 0; j < i; ++j) Check(list.entries[j].first != key, "key listed twice", key);
  }
}

bool ListNamesConfiguration(const CxPropList &list, const std::string &cfgName) {
  for (const auto &entry : list.entries) {
    const std::string &key = entry.first;
    const size_t dot = key.rfind('.');
    if (dot != std::string::npos && key.compare(0, dot, cfgName) == 0 && dot == cfgName.size())
      return true;
  }
  return false;
}

// Reads into the log manager and checks the result against the list; restores
// the configurations as they were before.
void ReadIntoLogManager(const char *text, size_t size, const CxPropList &list, bool listOk) {
  CCgApiLock lock;
  Check(lock.ok(), "API lock", "");

  const std::vector<std::string> before = ccgLogMgrConfigNamesSnapshot();
  std::vector<std::pair<std::string, StringMap>> saved;
  for (const std::string &name : before) {
    CCgObjCfg *cfg = ccgIntlLogMgrFindCfg(name.c_str());
    Check(cfg != nullptr, "listed configuration missing", name);
    saved.emplace_back(name, cfg->properties);
    ccgIntlReleaseObjCfg(cfg);
  }

  const bool mgrOk = ccgReadPropsFromBuffer(text, size, nullptr);
  Check(!mgrOk || listOk, "log manager read succeeded where the list read failed", "");
  if (mgrOk) {
    for (const auto &[key, value] : list.entries) {
      const size_t dot = key.rfind('.');
      Check(dot != std::string::npos, "log manager took a key without a dot", key);
      CCgObjCfg *cfg = ccgIntlLogMgrFindCfg(key.substr(0, dot).c_str());
      Check(cfg != nullptr, "no configuration for key", key);
      const std::string *stored = ccgObjCfgPropPeek(cfg, key.c_str() + dot + 1);
      Check(stored != nullptr && *stored == value, "property differs from the list", key);
      ccgIntlReleaseObjCfg(cfg);
    }
  }

  for (const std::string &name : ccgLogMgrConfigNamesSnapshot()) {
    bool existed = false;
    for (const std::string &old : before) existed = existed || old == name;
    if (existed) continue;
    Check(ListNamesConfiguration(list, name), "configuration named by no key", name);
    CCgObjCfg *cfg = ccgIntlLogMgrFindCfg(name.c_str());
    Check(cfg != nullptr, "new configuration missing", name);
    Check(cfg->fromFile, "new configuration not marked as read from a file", name);
    ccgIntlLogMgrRemCfg(cfg);
    ccgIntlReleaseObjCfg(cfg);
  }
  for (auto &[name, properties] : saved) {
    CCgObjCfg *cfg = ccgIntlLogMgrFindCfg(name.c_str());
    cfg->properties = std::move(properties);
    ccgIntlReleaseObjCfg(cfg);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // A bad escape writes message 52 to stderr; with one per input the fuzzer's
  // own output would drown. The sanitizers and libFuzzer do not write through
  // the stdio stream, so only the library's messages are silenced.
  g_report = stderr;
  if (FILE *null = std::fopen("/dev/null", "w")) stderr = null;
  if (!CCgOpenToolkit(nullptr)) {
    std::fprintf(g_report, "the toolkit does not open\n");
    std::abort();
  }
  // Closed at exit so that the leak check sees the configurations freed.
  std::atexit(CCgCloseToolkit);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *text = reinterpret_cast<const char *>(data);
  CxPropList list;
  const bool listOk = ccgReadPropsFromBuffer(text, size, &list);
  CheckList(list);
  ReadIntoLogManager(text, size, list, listOk);
  return 0;
}
