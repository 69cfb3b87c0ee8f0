// Delivery of one batch of ten typical events to the audit server on
// loopback, over HTTP and HTTPS, with the connection kept alive between
// batches: batches per second in real time, and the client's own CPU time per
// batch (the server is a separate process and not counted).
//
// The server binary is the one built with this tree; the HTTPS case makes a
// throw-away CA and server certificate with the openssl command.
#include <benchmark/benchmark.h>
#include <sys/time.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_util.h"
#include "cbe/cbe_builder.h"
#include "cbe/common_base_event_type.h"
#include "cbe/server_session.h"
#include "soap/http_transport.h"
#include "zovexa.h"

#ifndef ZOVEXA_BENCH_AUDIT_SERVER
#define ZOVEXA_BENCH_AUDIT_SERVER ""
#endif

namespace {

using benchutil::AuditServerProcess;
using benchutil::MakeTempDir;
using benchutil::ProcessCpuSeconds;
using benchutil::Run;

constexpr int kEventsPerBatch = 10;

// A CA, a server certificate for 127.0.0.1 signed by it, and a client key
// store holding only the CA (with its empty stash file).
bool MakeCertificates(const std::string &dir) {
  const std::string in = "cd '" + dir + "' && ";
  const std::string quiet = " >/dev/null 2>&1";
  const std::string ec = " -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes";
  return Run(in + "openssl req -x509" + ec + " -keyout ca.key -out ca.pem -days 2 -subj /CN=bench-ca" +
             quiet) &&
         Run(in + "openssl req" + ec + " -keyout server.key -out server.csr -subj /CN=127.0.0.1" + quiet) &&
         Run(in + "printf 'subjectAltName=IP:127.0.0.1\\n' > san.ext") &&
         Run(in + "openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 " +
             "-extfile san.ext -out server.pem" + quiet) &&
         Run(in + ": > ca.sth");
}

// What a typical audit client sends: an authentication event with the
// user, the outcome, the source component, a time stamp, a message and its
// global instance id.
char *TypicalEventText(ZOVEXA_AuditClientContext *ctx, int n, ZOVEXA_result *r) {
  ZOVEXA_UserInfo *user = ZOVEXA_UserInfo_Create(ctx, "cn=alice,o=example", "alice", "example.com", "realm1",
                                                 "10.0.0.7", "IPV4", "session-42", 1001, nullptr, nullptr, r);
  ZOVEXA_Outcome *outcome = ZOVEXA_Outcome_Create(ctx, "SUCCESSFUL", 0, 0, nullptr, r);
  ZOVEXA_ComponentId *source =
      ZOVEXA_ComponentId_Create(ctx, "host1.example.com", "FQHostname", "orders", nullptr, "orderService",
                                "service", "ProductName", "authn", nullptr, nullptr, nullptr, r);
  ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(ctx, "AUDIT_AUTHN", r);
  if (user == nullptr || outcome == nullptr || source == nullptr || event == nullptr) return nullptr;
  struct timeval now;
  gettimeofday(&now, nullptr);
  std::string giid = "KZT60-send-bench-" + std::to_string(n);
  ZOVEXA_AuditEvent_AddUserInfoElement(event, "userInfo", user, 0, r);
  ZOVEXA_AuditEvent_AddOutcomeElement(event, "outcome", outcome, 0, r);
  ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", source, 0, r);
  ZOVEXA_AuditEvent_AddDateTimeElement(event, "timestamp", &now, 1, r);
  ZOVEXA_AuditEvent_AddStringElement(event, "auditMsg", "user alice logged in", 1, r);
  ZOVEXA_AuditEvent_AddStringElement(event, "authnType", "password", 1, r);
  ZOVEXA_AuditEvent_AddStringElement(event, "globalInstanceId", giid.c_str(), 1, r);
  char *text = vexaAuditEventToXMLString(ctx, event, r);
  ZOVEXA_AuditEvent_Delete(event, r);
  return text;
}

// state.range(0): 0 for HTTP, 1 for HTTPS.
void BM_SendBatchOfTen(benchmark::State &state) {
  const bool tls = state.range(0) != 0;
  std::string dir = MakeTempDir("zovexa-send-bench");
  AuditServerProcess server(ZOVEXA_BENCH_AUDIT_SERVER);
  std::vector<std::string> tlsArgs = {"--cert", dir + "/server.pem", "--key", dir + "/server.key"};
  if (dir.empty() || (tls && !MakeCertificates(dir)) ||
      !server.Start(dir, 0, tls ? tlsArgs : std::vector<std::string>{})) {
    state.SkipWithError("the audit server could not be started");
    return;
  }
  std::string errorFile = dir + "/error.log", url = server.Url(tls), keyFile = dir + "/ca.pem",
              stashFile = dir + "/ca.sth";
  std::vector<ZOVEXA_property> props = {{"serverURL", VEXA_VT_STRING, url.data()},
                                        {"errorFilePath", VEXA_VT_STRING, errorFile.data()},
                                        {"elementCodeSet", VEXA_VT_STRING, const_cast<char *>("UTF8")}};
  if (tls) {
    props.push_back({"keyFilePath", VEXA_VT_STRING, keyFile.data()});
    props.push_back({"stashFilePath", VEXA_VT_STRING, stashFile.data()});
  }
  props.push_back({nullptr, 0, nullptr});
  ZOVEXA_result r{};
  ZOVEXA_AuditClientContext *ctx = ZOVEXA_AuditClientContext_Create(props.data(), &r);
  CommonBaseEventType_ArrayTag batch{};
  bool ready = ctx != nullptr && ZOnewBatch(&batch, kEventsPerBatch);
  for (int i = 0; ready && i < kEventsPerBatch; ++i) {
    char *text = TypicalEventText(ctx, i, &r);
    batch.m_Array[i].any = text != nullptr ? ZOnewAnyType(text) : nullptr;
    ready = batch.m_Array[i].any != nullptr;
    free(text);
  }
  // The first batch opens the connection that the measured ones reuse.
  if (!ready || sendEvent(ctx, batch, 0, &r) != 0) {
    state.SkipWithError("the batch could not be made or sent");
  } else {
    long connectsBefore = ZOhttpThreadConnectCount();
    double cpuBefore = ProcessCpuSeconds();
    for (auto _ : state) {
      if (sendEvent(ctx, batch, 0, &r) != 0) {
        state.SkipWithError("a batch was not delivered");
        break;
      }
    }
    double cpu = ProcessCpuSeconds() - cpuBefore;
    // 0 when every batch went over the connection opened before the loop.
    state.counters["new_connections"] = static_cast<double>(ZOhttpThreadConnectCount() - connectsBefore);
    state.SetItemsProcessed(state.iterations());
    state.counters["events_per_second"] = benchmark::Counter(
        static_cast<double>(state.iterations() * kEventsPerBatch), benchmark::Counter::kIsRate);
    state.counters["client_cpu_us_per_batch"] =
        state.iterations() > 0 ? cpu * 1e6 / static_cast<double>(state.iterations()) : 0.0;
  }
  ZOfreeBatch(&batch);
  ZOhttpReleaseThreadConnections();
  if (ctx != nullptr) ZOVEXA_AuditClientContext_Delete(ctx, &r);
  ZOVEXA_Result_Clean(&r);
  Run("rm -rf '" + dir + "'");
}
BENCHMARK(BM_SendBatchOfTen)->Arg(0)->Arg(1)->ArgName("https")->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
