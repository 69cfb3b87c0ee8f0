// The audit server driven over raw HTTP(S): what it stores, how it answers
// good, bad and rejected batches, authentication, injected faults, and its
// database reports.
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/audit_server_util.h"
#include "tests/tls_certs_util.h"

namespace {

using testutil::AuditServer;

constexpr char kPath[] = "/vexaws/services/Emitter";
constexpr char kSoapNs[] = "http://schemas.xmlsoap.org/soap/envelope/";

std::string Cbe(const std::string &giid, const std::string &ext = "AuthN") {
  return "<CommonBaseEvent version=\"1.0.1\" globalInstanceId=\"" + giid + "\" extensionName=\"" + ext +
         "\" creationTime=\"2024-05-01T10:00:00.000Z\"><situation categoryName=\"ReportSituation\"/>"
         "</CommonBaseEvent>";
}

// A sendEvent request with the given event contents (each written inside one
// "event" element, as is).
std::string Envelope(const std::vector<std::string> &events) {
  std::string body =
      std::string("<?xml version='1.0' encoding='utf-8' ?><SOAP-ENV:Envelope xmlns:SOAP-ENV=\"") + kSoapNs +
      "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><SOAP-ENV:Body>"
      "<ns1:sendEvent xmlns:ns1=\"urn:orv:vexa:10\">";
  for (const auto &e : events) body += "<ns1:event>" + e + "</ns1:event>";
  return body + "</ns1:sendEvent></SOAP-ENV:Body></SOAP-ENV:Envelope>";
}

std::string FailedDetail(int n) {
  return "<detail><failedevent><eventNumber>" + std::to_string(n) + "</eventNumber></failedevent></detail>";
}

httplib::Result Post(AuditServer &srv, const std::string &body, const std::string &user = "",
                     const std::string &password = "", int readTimeoutMs = 10000) {
  httplib::Client cli("http://127.0.0.1:" + std::to_string(srv.port()));
  cli.set_read_timeout(std::chrono::milliseconds(readTimeoutMs));
  if (!user.empty()) cli.set_basic_auth(user, password);
  return cli.Post(kPath, body, "text/xml; charset=utf-8");
}

int StatusOf(const httplib::Result &res) { return res ? res->status : -1; }

std::string Between(const std::string &s, const std::string &open, const std::string &close) {
  size_t a = s.find(open);
  if (a == std::string::npos) return "<none>";
  a += open.size();
  return s.substr(a, s.find(close, a) - a);
}

TEST(AuditServerTest, StoresABatchWithItsAttributesAndAnswersSendEventResponse) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  auto res = Post(srv, Envelope({Cbe("G1", "AuthN"), "\n  " + Cbe("G2", "AuthZ") + "  ", Cbe("G3", "Key")}));
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
  EXPECT_EQ(res->get_header_value("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_NE(res->body.find("<ns1:sendEventResponse xmlns:ns1=\"urn:orv:vexa:10\"/>"), std::string::npos);

  auto stored = srv.Stored();
  ASSERT_EQ(stored.size(), 3u);
  EXPECT_EQ(srv.StoredGiids(), (std::vector<std::string>{"G1", "G2", "G3"}));
  EXPECT_EQ(srv.StoredExtensionNames(), (std::vector<std::string>{"AuthN", "AuthZ", "Key"}));
  EXPECT_EQ(stored[1].xml, Cbe("G2", "AuthZ"));  // as sent, blanks around it dropped
  EXPECT_EQ(stored[0].creationTime, "2024-05-01T10:00:00.000Z");
  EXPECT_EQ(stored[0].received, stored[2].received);  // one request, one arrival time
  EXPECT_FALSE(stored[0].received.empty());

  auto stats = srv.Stats();
  EXPECT_EQ(stats["requests"], 1);
  EXPECT_EQ(stats["events_stored"], 3);
  EXPECT_EQ(stats["batches_stored"], 1);
  EXPECT_EQ(stats["faults"], 0);
}

// Prefixes, namespaces and the envelope's trimmings vary between clients.
TEST(AuditServerTest, AcceptsAnyPrefixesHeadersCommentsAndNamespacedEvents) {
  struct Case {
    const char *name;
    std::string body;
    size_t stored;
  };
  const std::string soap = kSoapNs;
  const std::vector<Case> cases = {
      {"default namespaces",
       "<Envelope xmlns=\"" + soap + "\"><Body><sendEvent xmlns=\"urn:orv:vexa:10\"><event>" + Cbe("D1") +
           "</event></sendEvent></Body></Envelope>",
       1},
      {"header, comments, PI",
       "<?xml version=\"1.0\"?><!-- c --><s:Envelope xmlns:s='" + soap +
           "'><s:Header><x:h xmlns:x='u'><x:event/></x:h></s:Header><s:Body><!-- b -->"
           "<a:sendEvent xmlns:a='urn:orv:vexa:10'><a:event><!-- e -->" +
           Cbe("H1") + "<?pi x?></a:event><a:event>" + Cbe("H2") +
           "</a:event></a:sendEvent></s:Body></s:Envelope>",
       2},
      {"namespaced CBE using a prefix of the envelope",
       "<s:Envelope xmlns:s='" + soap +
           "' xmlns:c='http://www.ibm.com/AC/commonbaseevent1_0_1' xmlns:xsi='http://www.w3.org/2001/"
           "XMLSchema-instance'><s:Body><v:sendEvent xmlns:v='urn:orv:vexa:10'><v:event>"
           "<c:CommonBaseEvent globalInstanceId='N1'><c:extendedDataElements xsi:type='c:T'/>"
           "</c:CommonBaseEvent></v:event></v:sendEvent></s:Body></s:Envelope>",
       1},
      {"CDATA and an end-tag lookalike inside the event",
       Envelope(
           {"<CommonBaseEvent globalInstanceId='C1'><msg><![CDATA[</ns1:event>]]></msg></CommonBaseEvent>"}),
       1},
      {"no events", Envelope({}), 0},
  };
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  size_t total = 0;
  for (const auto &c : cases) {
    auto res = Post(srv, c.body);
    ASSERT_TRUE(res) << c.name;
    EXPECT_EQ(res->status, 200) << c.name << ": " << res->body;
    total += c.stored;
    EXPECT_EQ(srv.StoredCount(), static_cast<long long>(total)) << c.name;
  }
  EXPECT_EQ(srv.StoredGiids(), (std::vector<std::string>{"D1", "H1", "H2", "N1", "C1"}));
}

TEST(AuditServerTest, TheProbeIsAnsweredButNotStored) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  for (const char *probe : {"<CommonBaseEvent/>", "<CommonBaseEvent></CommonBaseEvent>"}) {
    auto res = Post(srv, Envelope({probe}));
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200) << probe;
    EXPECT_NE(res->body.find("sendEventResponse"), std::string::npos);
  }
  // Not probes: an attribute, or a second event.
  ASSERT_TRUE(Post(srv, Envelope({"<CommonBaseEvent version=\"1.0.1\"/>"})));
  ASSERT_TRUE(Post(srv, Envelope({"<CommonBaseEvent/>", "<CommonBaseEvent/>"})));
  EXPECT_EQ(srv.Stat("probes"), 2);
  EXPECT_EQ(srv.StoredCount(), 3);
  EXPECT_EQ(srv.Stored()[0].globalInstanceId, "");
}

// Whatever is wrong with an event, the fault names its position and nothing
// of the batch is kept.
TEST(AuditServerTest, AnInvalidEventGetsAClientFaultNamingItsPosition) {
  struct Case {
    const char *name;
    std::vector<std::string> events;
    int failed;
  };
  const std::vector<Case> cases = {
      {"malformed XML", {Cbe("A"), "<CommonBaseEvent><open></CommonBaseEvent>", Cbe("B")}, 2},
      {"two elements", {Cbe("A"), Cbe("B"), Cbe("C") + Cbe("D")}, 3},
      {"another element", {"<AuditEvent/>", Cbe("A")}, 1},
      {"text beside the element", {Cbe("A"), Cbe("B") + "tail"}, 2},
      {"no content", {Cbe("A"), ""}, 2},
      {"undeclared prefix", {"<q:CommonBaseEvent/>"}, 1},
  };
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  for (const auto &c : cases) {
    auto res = Post(srv, Envelope(c.events));
    ASSERT_TRUE(res) << c.name;
    EXPECT_EQ(res->status, 500) << c.name;
    EXPECT_EQ(Between(res->body, "<faultcode>", "</faultcode>"), "soapenv:client") << c.name;
    EXPECT_NE(res->body.find(FailedDetail(c.failed)), std::string::npos) << c.name << ": " << res->body;
  }
  // A nil event, as a client writes an empty batch entry.
  std::string nil = Envelope({Cbe("A")});
  nil.insert(nil.find("</ns1:sendEvent>"),
             "<ns1:event xsi:nil=\"true\"></ns1:event><ns1:event xsi:nil=\"true\"/>");
  auto res = Post(srv, nil);
  ASSERT_TRUE(res);
  EXPECT_NE(res->body.find(FailedDetail(2)), std::string::npos) << res->body;
  // An event whose end tag never comes.
  std::string cut = Envelope({Cbe("A")});
  cut = cut.substr(0, cut.find("</ns1:event>") + 12) + "<ns1:event><CommonBaseEvent/>";
  res = Post(srv, cut);
  ASSERT_TRUE(res);
  EXPECT_NE(res->body.find(FailedDetail(2)), std::string::npos) << res->body;

  EXPECT_EQ(srv.StoredCount(), 0);
  EXPECT_EQ(srv.Stat("client_faults"), static_cast<long long>(cases.size()) + 2);
}

// Namespaces decide what an event is, whatever the prefixes; the event's own
// end tag is found past nested elements of the same name.
TEST(AuditServerTest, EventsAreRecognisedByNamespaceNotByPrefix) {
  struct Case {
    const char *name;
    std::string eventsXml;  // inside sendEvent, where ns1 is "urn:orv:vexa:10"
    int failed;             // 0: stored
  };
  const std::string cbe = Cbe("E");
  const std::vector<Case> cases = {
      {"nil through another prefix, even with content",
       "<ns1:event xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='1'>" + cbe + "</ns1:event>", 1},
      {"nil of a foreign namespace is an ordinary attribute",
       "<ns1:event xmlns:o='urn:other' o:nil='true'>" + cbe + "</ns1:event>", 0},
      {"event namespace written with character references",
       "<x:event xmlns:x='urn&#58;orv:vexa&#x3a;10'>" + cbe + "</x:event>", 0},
      {"an element of the event's name inside the event",
       "<ns1:event><CommonBaseEvent><ns1:event>n</ns1:event><ns1:event/></CommonBaseEvent></ns1:event>", 0},
      {"two events, the second broken",
       "<ns1:event>" + cbe + "</ns1:event><ns1:event>" + cbe + "x</ns1:event>", 2},
  };
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  long long stored = 0;
  for (const auto &c : cases) {
    std::string body = Envelope({});
    body.insert(body.find("</ns1:sendEvent>"), c.eventsXml);
    auto res = Post(srv, body);
    ASSERT_TRUE(res) << c.name;
    if (c.failed == 0) {
      EXPECT_EQ(res->status, 200) << c.name << ": " << res->body;
      ++stored;
    } else {
      EXPECT_NE(res->body.find(FailedDetail(c.failed)), std::string::npos) << c.name << ": " << res->body;
    }
    EXPECT_EQ(srv.StoredCount(), stored) << c.name;
  }
}

TEST(AuditServerTest, ARequestThatIsNotSendEventGetsAClientFaultWithoutPosition) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  std::string wrongOperation = Envelope({Cbe("A")});
  wrongOperation.replace(wrongOperation.find("urn:orv:vexa:10"), 15, "urn:other");
  for (const std::string &body : {std::string("not xml"), std::string("<Envelope/>"), wrongOperation}) {
    auto res = Post(srv, body);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 500) << body;
    EXPECT_EQ(Between(res->body, "<faultcode>", "</faultcode>"), "soapenv:client");
    EXPECT_EQ(res->body.find("failedevent"), std::string::npos) << res->body;
  }
  EXPECT_EQ(srv.StoredCount(), 0);
}

TEST(AuditServerTest, RejectNthRefusesThatPositionInEveryBatchThatHasIt) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  ASSERT_TRUE(srv.SetMode("reject_nth=2"));
  auto res = Post(srv, Envelope({Cbe("A"), Cbe("B"), Cbe("C")}));
  ASSERT_TRUE(res);
  EXPECT_NE(res->body.find(FailedDetail(2)), std::string::npos) << res->body;
  EXPECT_EQ(srv.StoredCount(), 0);
  // Each event resent alone has no second event: stored.
  for (const char *g : {"A", "C"}) EXPECT_EQ(StatusOf(Post(srv, Envelope({Cbe(g)}))), 200);
  // An invalid event before position 2 is named first.
  res = Post(srv, Envelope({"<bad/>", Cbe("B")}));
  ASSERT_TRUE(res);
  EXPECT_NE(res->body.find(FailedDetail(1)), std::string::npos) << res->body;

  ASSERT_TRUE(srv.SetMode("client_fault_no_detail"));
  res = Post(srv, Envelope({Cbe("A"), Cbe("B")}));
  ASSERT_TRUE(res);
  EXPECT_EQ(Between(res->body, "<faultcode>", "</faultcode>"), "soapenv:client");
  EXPECT_EQ(res->body.find("failedevent"), std::string::npos) << res->body;

  ASSERT_TRUE(srv.SetMode("clear"));
  EXPECT_EQ(StatusOf(Post(srv, Envelope({Cbe("D"), Cbe("E")}))), 200);
  EXPECT_EQ(srv.StoredGiids(), (std::vector<std::string>{"A", "C", "D", "E"}));
}

TEST(AuditServerTest, BasicAuthenticationAndTheWriterRole) {
  testutil::TempDir dir;
  testutil::WriteFile(dir.File("users"),
                      "# user:password:roles\nalice:s3cr:et:writer,reader\n\nbob:pw:reader\n");
  AuditServer srv({"--users", dir.File("users")});
  ASSERT_TRUE(srv.ok()) << srv.error();

  auto res = Post(srv, Envelope({Cbe("A")}), "alice", "s3cr:et");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);

  struct Refused {
    const char *user, *password;
  };
  for (const Refused &r : {Refused{"alice", "wrong"}, Refused{"carol", "pw"}, Refused{"", ""}}) {
    res = Post(srv, Envelope({Cbe("X")}), r.user, r.password);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 401) << r.user << "/" << r.password;
    EXPECT_EQ(res->get_header_value("WWW-Authenticate").rfind("Basic realm=", 0), 0u);
  }
  EXPECT_EQ(srv.Stat("auth_failures"), 3);

  // A reader may not send, not even the probe: a fault that is not a client fault.
  for (const std::string &body : {Envelope({Cbe("B")}), Envelope({"<CommonBaseEvent/>"})}) {
    res = Post(srv, body, "bob", "pw");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 500);
    EXPECT_NE(Between(res->body, "<faultstring>", "</faultstring>").find("QRTX0053E"), std::string::npos);
    EXPECT_EQ(Between(res->body, "<faultcode>", "</faultcode>"), "soapenv:Server");
  }
  EXPECT_EQ(srv.StoredGiids(), std::vector<std::string>{"A"});
}

// Each injected fault, switched on from the command line and at run time.
TEST(AuditServerTest, InjectedFaultsFromFlagsAndControlRequests) {
  struct Case {
    std::vector<std::string> flags;
    const char *mode;
    int status;  // 0: no answer at all
    const char *bodyHas;
  };
  const std::vector<Case> cases = {
      {{"--http-503"}, "status503=1", 503, ""},
      {{"--empty-200"}, "empty_200=1", 200, ""},
      {{"--server-fault"}, "server_fault=1", 500, "<faultcode>soapenv:Server</faultcode>"},
      {{"--close"}, "close=1", 0, ""},
      {{"--reject-nth", "1"}, "reject_nth=1", 500, "<eventNumber>1</eventNumber>"},
  };
  AuditServer runtime;
  ASSERT_TRUE(runtime.ok()) << runtime.error();
  for (const auto &c : cases) {
    AuditServer fromFlags(c.flags);
    ASSERT_TRUE(fromFlags.ok()) << fromFlags.error();
    ASSERT_TRUE(runtime.SetMode(std::string("clear ") + c.mode)) << c.mode;
    for (AuditServer *srv : {&fromFlags, &runtime}) {
      auto res = Post(*srv, Envelope({Cbe("A")}));
      if (c.status == 0) {
        EXPECT_FALSE(res) << c.mode;
        continue;
      }
      ASSERT_TRUE(res) << c.mode;
      EXPECT_EQ(res->status, c.status) << c.mode;
      EXPECT_NE(res->body.find(c.bodyHas), std::string::npos) << c.mode << ": " << res->body;
      if (std::string(c.mode) == "empty_200=1") {
        EXPECT_EQ(res->body, "");
      }
    }
    EXPECT_EQ(fromFlags.StoredCount(), 0) << c.mode;
    EXPECT_EQ(fromFlags.Stat("requests"), 1) << c.mode;
  }
  EXPECT_EQ(runtime.StoredCount(), 0);
  EXPECT_EQ(runtime.Stat("injected"), 4);  // reject_nth is not an injected answer
  ASSERT_TRUE(runtime.SetMode("clear"));
  EXPECT_EQ(StatusOf(Post(runtime, Envelope({Cbe("A")}))), 200);
}

TEST(AuditServerTest, DelayAnswersLateButStoresAndPauseHoldsThenDrops) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  ASSERT_TRUE(srv.SetMode("delay_ms=300"));
  auto start = std::chrono::steady_clock::now();
  auto res = Post(srv, Envelope({Cbe("SLOW")}));
  ASSERT_TRUE(res);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
  EXPECT_EQ(res->status, 200);
  // A client that gives up early still leaves the event stored, as a slow server would.
  EXPECT_FALSE(Post(srv, Envelope({Cbe("LATE")}), "", "", 50));
  EXPECT_TRUE(srv.WaitForStat("events_stored", 2));

  ASSERT_TRUE(srv.SetMode("clear pause_s=2"));
  EXPECT_FALSE(Post(srv, Envelope({Cbe("HELD")}), "", "", 300));
  EXPECT_EQ(srv.Stat("requests"), 3);  // the control channel still answers
  // When the window ends the held request is dropped unprocessed.
  EXPECT_TRUE(srv.WaitForStat("injected", 1, 5000));
  res = Post(srv, Envelope({Cbe("AFTER")}));
  ASSERT_TRUE(res);
  EXPECT_EQ(res->status, 200);
  EXPECT_EQ(srv.StoredGiids(), (std::vector<std::string>{"SLOW", "LATE", "AFTER"}));
}

TEST(AuditServerTest, ModeRequestsAreAllOrNothing) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  for (const char *bad : {"bogus=1", "reject_nth=x", "close=maybe", "delay_ms", "reject_nth=2 nope"}) {
    EXPECT_FALSE(srv.SetMode(bad)) << bad;
  }
  EXPECT_EQ(StatusOf(Post(srv, Envelope({Cbe("A"), Cbe("B")}))), 200);
  ASSERT_TRUE(srv.SetMode("reject_nth=2&status503=0;close=off"));
  EXPECT_EQ(StatusOf(Post(srv, Envelope({Cbe("A"), Cbe("B")}))), 500);
}

TEST(AuditServerTest, CountReportsDistinctIdsAndDuplicates) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  ASSERT_EQ(StatusOf(Post(srv, Envelope({Cbe("G1"), Cbe("G2")}))), 200);
  ASSERT_EQ(StatusOf(Post(srv, Envelope({Cbe("G1"), "<CommonBaseEvent version='1.0.1'/>"}))), 200);
  ASSERT_EQ(StatusOf(Post(srv, Envelope({Cbe("G1")}))), 200);
  EXPECT_EQ(srv.CountReport(),
            "events=5\ndistinct_global_instance_ids=2\nduplicates=2\nwithout_global_instance_id=1\n"
            "duplicate G1 3\n");
  // The database outlives the server and the reports still read it.
  int status = srv.Stop();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(srv.StoredCount(), 5);
}

TEST(AuditServerTest, DumpKeepsAwkwardCharactersOfTheStoredXml) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  const std::string xml =
      "<CommonBaseEvent globalInstanceId=\"T\\1\">\n\t<msg>a\\nb &amp; \xc3\xa9</msg>\r\n</CommonBaseEvent>";
  ASSERT_EQ(StatusOf(Post(srv, Envelope({xml}))), 200);
  auto stored = srv.Stored();
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].xml, xml);
  EXPECT_EQ(stored[0].globalInstanceId, "T\\1");
}

TEST(AuditServerTest, ConcurrentClientsAreAllCountedAndStored) {
  constexpr int kThreads = 6, kBatches = 10, kEvents = 5;
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  std::vector<std::thread> threads;
  std::atomic<int> answered{0};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int b = 0; b < kBatches; ++b) {
        std::vector<std::string> events;
        for (int e = 0; e < kEvents; ++e)
          events.push_back(Cbe(std::to_string(t) + "-" + std::to_string(b) + "-" + std::to_string(e)));
        if (StatusOf(Post(srv, Envelope(events))) == 200) ++answered;
      }
    });
  }
  for (auto &th : threads) th.join();
  EXPECT_EQ(answered, kThreads * kBatches);
  auto stats = srv.Stats();
  EXPECT_EQ(stats["requests"], kThreads * kBatches);
  EXPECT_EQ(stats["events_stored"], kThreads * kBatches * kEvents);
  EXPECT_EQ(srv.CountReport().substr(0, 48), "events=300\ndistinct_global_instance_ids=300\ndupl");
}

// SIGTERM ends the server at once, also while it holds requests.
TEST(AuditServerTest, StopsPromptlyWhileARequestIsHeld) {
  AuditServer srv({"--pause", "60"});
  ASSERT_TRUE(srv.ok()) << srv.error();
  std::thread client([&] { EXPECT_FALSE(Post(srv, Envelope({Cbe("H")}), "", "", 30000)); });
  EXPECT_TRUE(srv.WaitForStat("requests", 1));
  auto start = std::chrono::steady_clock::now();
  int status = srv.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  client.join();
  EXPECT_EQ(srv.StoredCount(), 0);
}

TEST(AuditServerTest, TheModeRequestReportsTheCurrentModes) {
  AuditServer srv({"--delay-ms", "5"});
  ASSERT_TRUE(srv.ok()) << srv.error();
  ASSERT_TRUE(srv.SetMode("reject_nth=3 pause_s=30 pause_s=0 client_fault_no_detail=yes"));
  httplib::Client cli("http://127.0.0.1:" + std::to_string(srv.port()));
  auto res = cli.Get("/control/mode");
  ASSERT_TRUE(res);
  EXPECT_EQ(res->body,
            "delay_ms=5\nclose=0\nstatus503=0\nserver_fault=0\nreject_nth=3\nclient_fault_no_detail=1\n"
            "empty_200=0\npause_s=0\n");
  ASSERT_TRUE(srv.SetMode("pause_s=30"));
  res = cli.Get("/control/mode");
  ASSERT_TRUE(res);
  EXPECT_TRUE(res->body.find("pause_s=30\n") != std::string::npos ||
              res->body.find("pause_s=29\n") != std::string::npos)
      << res->body;
}

TEST(AuditServerTest, ConnectionsAreKeptAliveAndCounted) {
  AuditServer srv;
  ASSERT_TRUE(srv.ok()) << srv.error();
  httplib::Client cli("http://127.0.0.1:" + std::to_string(srv.port()));
  cli.set_keep_alive(true);
  cli.set_tcp_nodelay(true);
  for (int i = 0; i < 20; ++i) {
    auto res = cli.Post(kPath, Envelope({Cbe("K" + std::to_string(i))}), "text/xml");
    ASSERT_TRUE(res);
    ASSERT_EQ(res->status, 200);
  }
  EXPECT_EQ(srv.Stat("connections"), 2);  // the keep-alive one, the stats request
  EXPECT_EQ(srv.StoredCount(), 20);
}

TEST(AuditServerTest, HttpsWithRequiredClientCertificates) {
  testutil::ScopedNoSigpipe noSigpipe;
  const auto &certs = testutil::TestTlsCerts();
  ASSERT_TRUE(certs.ok) << certs.error;
  AuditServer srv({"--cert", certs.serverCert, "--key", certs.serverKey, "--client-ca", certs.caCert});
  ASSERT_TRUE(srv.ok()) << srv.error();
  EXPECT_EQ(srv.Url(), "https://127.0.0.1:" + std::to_string(srv.port()) + kPath);
  srv.SetControlClientCert(certs.clientCert, certs.clientKey);

  httplib::Client with("https://127.0.0.1:" + std::to_string(srv.port()), certs.clientCert, certs.clientKey);
  with.set_ca_cert_path(certs.caCert);
  auto res = with.Post(kPath, Envelope({Cbe("TLS1")}), "text/xml");
  ASSERT_TRUE(res) << httplib::to_string(res.error());
  EXPECT_EQ(res->status, 200);

  httplib::Client without("https://127.0.0.1:" + std::to_string(srv.port()));
  without.set_ca_cert_path(certs.caCert);
  EXPECT_FALSE(without.Post(kPath, Envelope({Cbe("TLS2")}), "text/xml"));
  httplib::Client plain("http://127.0.0.1:" + std::to_string(srv.port()));
  EXPECT_FALSE(plain.Post(kPath, Envelope({Cbe("TLS3")}), "text/xml"));

  EXPECT_EQ(srv.StoredGiids(), std::vector<std::string>{"TLS1"});
  EXPECT_EQ(srv.Stat("connections"), 4);
}

TEST(AuditServerTest, StartFailuresAreReportedWithTheServerLog) {
  testutil::TempDir dir;
  testutil::WriteFile(dir.File("users"), "no-colons-here\n");
  struct Case {
    std::vector<std::string> args;
    const char *logHas;
  };
  for (const Case &c : {Case{{"--users", dir.File("users")}, "expected user:password:roles"},
                        Case{{"--users", dir.File("missing")}, "cannot read"},
                        Case{{"--cert", dir.File("users")}, "--cert and --key"},
                        Case{{"--cert", dir.File("users"), "--key", dir.File("users")}, "cannot use"},
                        Case{{"--reject-nth"}, "needs a value"}, Case{{"--frobnicate"}, "unknown option"}}) {
    AuditServer srv(c.args);
    EXPECT_FALSE(srv.ok()) << c.logHas;
    EXPECT_NE(srv.error().find(c.logHas), std::string::npos) << srv.error();
  }
}

}  // namespace
