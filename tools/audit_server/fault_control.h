// Injected faults of the Emitter path and the server's counters. Modes are set
// from the command line and changed at run time by "key=value" control
// requests; the same table gives both their names.
#ifndef ZOVEXA_TOOLS_AUDIT_SERVER_FAULT_CONTROL_H_
#define ZOVEXA_TOOLS_AUDIT_SERVER_FAULT_CONTROL_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace auditserver {

using Clock = std::chrono::steady_clock;

struct FaultModes {
  long long delayMs = 0;             // answer after this many milliseconds
  bool close = false;                // close the connection, no answer
  bool status503 = false;            // HTTP 503
  bool serverFault = false;          // a soapenv:Server fault
  long long rejectNth = 0;           // client fault for event N of each batch (0: off)
  bool clientFaultNoDetail = false;  // client faults without the failedevent detail
  bool empty200 = false;             // HTTP 200 with an empty body
  long long pauseS = 0;              // hold requests for this many seconds from when it was set
};

// One mode: its control key, its command-line flag, and where it lives in
// FaultModes: a number or a switch (exactly one of the two is set).
struct ModeOption {
  const char *key;
  const char *flag;
  long long FaultModes::*number;
  bool FaultModes::*onOff;
  const char *help;
};
const std::vector<ModeOption> &ModeOptions();

class FaultControl {
 public:
  // Applies "key=value" pairs separated by blanks, '&', ';' or line ends; a
  // switch given without "=value" is turned on, "clear" resets every mode.
  // All or nothing: false with *error naming the first bad pair.
  bool Apply(const std::string &pairs, std::string *error);
  FaultModes Get() const;
  // Current modes as "key=value" lines; pause_s shows the seconds left.
  std::string Describe() const;

  // Holds the caller while a pause window lasts, setting *held when it had to
  // wait; false when the server stops.
  bool WaitOutPause(bool *held);
  // Sleeps until `until`; false when the server stops first.
  bool SleepUntil(Clock::time_point until);
  // Wakes every waiter for good.
  void Stop();

 private:
  bool Set(FaultModes *modes, Clock::time_point *pauseUntil, const std::string &key, const std::string &value,
           bool hasValue, std::string *error) const;

  mutable std::mutex mu_;
  std::condition_variable changed_;
  FaultModes modes_;
  Clock::time_point pauseUntil_{};
  bool stopped_ = false;
};

// Counters of what the server saw, kept for the lifetime of the process.
struct Stats {
  std::atomic<long long> requests{0};  // POSTs to the Emitter, whatever became of them
  std::atomic<long long> eventsStored{0};
  std::atomic<long long> batchesStored{0};
  std::atomic<long long> probes{0};
  std::atomic<long long> faults{0};        // SOAP faults sent
  std::atomic<long long> clientFaults{0};  // of which soapenv:client
  std::atomic<long long> authFailures{0};  // HTTP 401
  std::atomic<long long> injected{0};      // requests answered by an injected fault
  std::atomic<long long> connections{0};   // accepted sockets

  std::string Describe() const;
};

}  // namespace auditserver

#endif  // ZOVEXA_TOOLS_AUDIT_SERVER_FAULT_CONTROL_H_
