#include "tools/audit_server/fault_control.h"

#include <cerrno>
#include <cstdlib>
#include <map>

namespace auditserver {
namespace {

bool ParseNumber(const std::string &text, long long *out) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  errno = 0;
  *out = std::strtoll(text.c_str(), nullptr, 10);
  return errno == 0;
}

bool ParseSwitch(const std::string &text, bool *out) {
  static const std::map<std::string, bool> kWords = {{"1", true},      {"0", false}, {"true", true},
                                                     {"false", false}, {"on", true}, {"off", false},
                                                     {"yes", true},    {"no", false}};
  auto it = kWords.find(text);
  if (it == kWords.end()) return false;
  *out = it->second;
  return true;
}

std::vector<std::string> SplitPairs(const std::string &text) {
  std::vector<std::string> pairs;
  std::string cur;
  for (char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '&' || c == ';') {
      if (!cur.empty()) pairs.push_back(cur);
      cur.clear();
    } else {
      cur += c;
    }
  }
  if (!cur.empty()) pairs.push_back(cur);
  return pairs;
}

}  // namespace

const std::vector<ModeOption> &ModeOptions() {
  static const std::vector<ModeOption> kOptions = {
      {"delay_ms", "--delay-ms", &FaultModes::delayMs, nullptr,
       "answer after N milliseconds (the request is processed)"},
      {"close", "--close", nullptr, &FaultModes::close, "close the connection without answering"},
      {"status503", "--http-503", nullptr, &FaultModes::status503, "answer HTTP 503"},
      {"server_fault", "--server-fault", nullptr, &FaultModes::serverFault, "answer a soapenv:Server fault"},
      {"reject_nth", "--reject-nth", &FaultModes::rejectNth, nullptr,
       "reject the N-th event of each batch with a client fault"},
      {"client_fault_no_detail", "--client-fault-no-detail", nullptr, &FaultModes::clientFaultNoDetail,
       "client faults carry no failedevent detail"},
      {"empty_200", "--empty-200", nullptr, &FaultModes::empty200, "answer HTTP 200 with an empty body"},
      {"pause_s", "--pause", &FaultModes::pauseS, nullptr,
       "hold requests arriving in the next N seconds, then drop them unanswered"},
  };
  return kOptions;
}

bool FaultControl::Set(FaultModes *modes, Clock::time_point *pauseUntil, const std::string &key,
                       const std::string &value, bool hasValue, std::string *error) const {
  if (key == "clear") {
    *modes = FaultModes();
    *pauseUntil = Clock::time_point();
    return true;
  }
  const ModeOption *opt = nullptr;
  for (const auto &o : ModeOptions()) {
    if (key == o.key) opt = &o;
  }
  if (opt == nullptr) {
    *error = "unknown mode '" + key + "'";
    return false;
  }
  if (opt->onOff != nullptr) {
    bool on = true;
    if (hasValue && !ParseSwitch(value, &on)) {
      *error = "'" + key + "' takes 0 or 1, not '" + value + "'";
      return false;
    }
    modes->*opt->onOff = on;
    return true;
  }
  long long n = 0;
  if (!hasValue || !ParseNumber(value, &n)) {
    *error = "'" + key + "' takes a number";
    return false;
  }
  modes->*opt->number = n;
  if (opt->number == &FaultModes::pauseS) *pauseUntil = Clock::now() + std::chrono::seconds(n);
  return true;
}

bool FaultControl::Apply(const std::string &pairs, std::string *error) {
  std::lock_guard<std::mutex> lock(mu_);
  FaultModes modes = modes_;
  Clock::time_point pauseUntil = pauseUntil_;
  for (const auto &pair : SplitPairs(pairs)) {
    size_t eq = pair.find('=');
    bool hasValue = eq != std::string::npos;
    if (!Set(&modes, &pauseUntil, pair.substr(0, eq), hasValue ? pair.substr(eq + 1) : "", hasValue, error)) {
      return false;
    }
  }
  modes_ = modes;
  pauseUntil_ = pauseUntil;
  changed_.notify_all();
  return true;
}

FaultModes FaultControl::Get() const {
  std::lock_guard<std::mutex> lock(mu_);
  return modes_;
}

std::string FaultControl::Describe() const {
  FaultModes modes;
  Clock::time_point pauseUntil;
  {
    std::lock_guard<std::mutex> lock(mu_);
    modes = modes_;
    pauseUntil = pauseUntil_;
  }
  auto left = std::chrono::ceil<std::chrono::seconds>(pauseUntil - Clock::now()).count();
  modes.pauseS = left > 0 ? left : 0;
  std::string out;
  for (const auto &opt : ModeOptions()) {
    long long value = opt.onOff != nullptr ? (modes.*opt.onOff ? 1 : 0) : modes.*opt.number;
    out += std::string(opt.key) + "=" + std::to_string(value) + "\n";
  }
  return out;
}

bool FaultControl::WaitOutPause(bool *held) {
  std::unique_lock<std::mutex> lock(mu_);
  *held = false;
  while (!stopped_ && Clock::now() < pauseUntil_) {
    *held = true;
    changed_.wait_until(lock, pauseUntil_);
  }
  return !stopped_;
}

bool FaultControl::SleepUntil(Clock::time_point until) {
  std::unique_lock<std::mutex> lock(mu_);
  changed_.wait_until(lock, until, [&] { return stopped_; });
  return !stopped_;
}

void FaultControl::Stop() {
  std::lock_guard<std::mutex> lock(mu_);
  stopped_ = true;
  changed_.notify_all();
}

std::string Stats::Describe() const {
  static const std::pair<const char *, std::atomic<long long> Stats::*> kCounters[] = {
      {"requests", &Stats::requests},
      {"events_stored", &Stats::eventsStored},
      {"batches_stored", &Stats::batchesStored},
      {"probes", &Stats::probes},
      {"faults", &Stats::faults},
      {"client_faults", &Stats::clientFaults},
      {"auth_failures", &Stats::authFailures},
      {"injected", &Stats::injected},
      {"connections", &Stats::connections},
  };
  std::string out;
  for (const auto &[name, counter] : kCounters) {
    out += std::string(name) + "=" + std::to_string((this->*counter).load()) + "\n";
  }
  return out;
}

}  // namespace auditserver
