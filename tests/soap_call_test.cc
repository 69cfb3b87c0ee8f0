#include <gtest/gtest.h>

#include <chrono>

#include "soap/call.h"
#include "soap/http_transport.h"
#include "tests/soap_server_util.h"

using testutil::SoapTestServer;

namespace {

constexpr char kNs[] = "urn:orv:vexa:10";
constexpr char kEnvelopeHead[] =
    "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><soapenv:Body>";

// A part that is one raw text.
struct TextPart {
  const char *text;
};
int SerializeText(void *part, SoapSerializer *serializer, bool) {
  serializer->serialize(">");
  serializer->serialize(static_cast<TextPart *>(part)->text);
  return 0;
}
int TextPartSize() { return sizeof(TextPart); }

class CallTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testutil::StartSoapRuntime(); }
  // The server waits for open keep-alive connections when it stops.
  void TearDown() override { ZOhttpReleaseThreadConnections(); }

  // Readies `call` for a "sendEvent" request carrying `parts` to `url`.
  static void Prepare(Call &call, const std::string &url, std::vector<TextPart> &parts) {
    call.setEndpointURI(url.c_str());
    ASSERT_EQ(kSoapSuccess, call.initialize(SoapProvider::kDocumentLiteral));
    call.setOperation("sendEvent", kNs);
    call.addCmplxArrayParameter(parts.data(), static_cast<int>(parts.size()), SerializeText, nullptr,
                                TextPartSize, "event", kNs);
  }

  // The code of the exception `invoke` (and, after success, `checkMessage`)
  // throws; 0 when both succeed.
  static int Outcome(Call &call, std::string *message = nullptr) {
    try {
      call.invoke();
      call.checkMessage("sendEventResponse", kNs);
      return 0;
    } catch (const AxisException &e) {
      if (message != nullptr) *message = e.what();
      return e.getExceptionCode();
    }
  }

  SoapTestServer server_;
};

TEST_F(CallTest, RequestCarriesEnvelopeHeadersAndBasicAuthentication) {
  ASSERT_TRUE(server_.ok());
  std::string big(1100000, 'x');  // large enough that a client would wait for "100 Continue"
  std::vector<TextPart> parts = {{"<a>1</a>"}, {big.c_str()}};
  Call call;
  Prepare(call, server_.Url(), parts);
  call.setTransportProperty(kSoapActionProperty, "");
  call.setUsername("auditor");
  call.setPassword("pa:ss");
  EXPECT_EQ(0, Outcome(call));

  std::vector<testutil::SeenRequest> seen = server_.Requests();
  ASSERT_EQ(1u, seen.size());
  const auto &r = seen[0];
  EXPECT_EQ(std::string(kEnvelopeHead) + "<ns1:sendEvent xmlns:ns1=\"urn:orv:vexa:10\"><ns1:event><a>1</a>" +
                "</ns1:event><ns1:event>" + big +
                "</ns1:event></ns1:sendEvent></soapenv:Body></soapenv:Envelope>",
            r.body);
  EXPECT_EQ(call.lastRequest(), r.body);
  EXPECT_EQ("HTTP/1.1", r.version);
  EXPECT_EQ("text/xml; charset=utf-8", r.Header("Content-Type"));
  EXPECT_EQ("\"\"", r.Header("SOAPAction"));
  EXPECT_EQ("Basic YXVkaXRvcjpwYTpzcw==", r.Header("Authorization"));  // auditor:pa:ss
  EXPECT_FALSE(r.HasHeader("Expect"));

  // Transport properties outlive initialize; a quoted action is kept as it is.
  call.setTransportProperty(kSoapActionProperty, "\"urn:act\"");
  call.setProtocol(SoapHttpVersion::kHttp10);
  Prepare(call, server_.Url(), parts);
  EXPECT_EQ(0, Outcome(call));
  EXPECT_EQ("\"urn:act\"", server_.Requests().back().Header("SOAPAction"));
  EXPECT_EQ("HTTP/1.0", server_.Requests().back().version);
}

TEST_F(CallTest, AnswersAreClassifiedByStatusAndBody) {
  const std::string fault = testutil::SoapFaultAnswer("soapenv:Server", "broken", "", "d");
  const std::string other =
      "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body>"
      "<x:other xmlns:x=\"urn:orv:vexa:10\"/></e:Body></e:Envelope>";
  struct Case {
    int status;
    std::string body;
    int code;
    const char *message;
  } cases[] = {
      {200, testutil::SoapOkAnswer(), 0, ""},
      {202, "", kAxisEmptyResponse, "HTTP 202 Accepted with an empty body"},
      {200, " \r\n", kAxisEmptyResponse, "HTTP 200 OK with an empty body"},
      {500, fault, kAxisSoapFault, "broken"},
      {200, fault, kAxisSoapFault, "broken"},
      {503, "", kAxisHttpStatus, "HTTP 503 Service Unavailable"},
      {401, "<html>denied</html>", kAxisHttpStatus, "HTTP 401 Unauthorized"},
      {500, testutil::SoapOkAnswer(), kAxisHttpStatus, "HTTP 500 Internal Server Error"},
      {200, other, kAxisBadResponse, "found {urn:orv:vexa:10}other"},
      {200, "not xml", kAxisBadResponse, "not well-formed"},
      {200, "<?xml version=\"1.0\"?><!DOCTYPE x [<!ENTITY a \"b\">]><x>&a;</x>", kAxisBadResponse,
       "document type"},
      {200, "<e:Envelope xmlns:e=\"http://www.w3.org/2003/05/soap-envelope\"><e:Body/></e:Envelope>",
       kAxisBadResponse, "not a SOAP 1.1 envelope"},
  };
  ASSERT_TRUE(server_.ok());
  std::vector<TextPart> parts;
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + " " + c.body);
    server_.Answer(c.status, c.body);
    Call call;
    Prepare(call, server_.Url(), parts);
    std::string message;
    EXPECT_EQ(c.code, Outcome(call, &message));
    EXPECT_NE(std::string::npos, message.find(c.message)) << message;
  }
}

TEST_F(CallTest, OutOfOrderUseIsRefused) {
  Call call;
  call.setEndpointURI(server_.Url().c_str());
  EXPECT_EQ(kAxisCallState, Outcome(call));  // not initialised
  call.initialize(SoapProvider::kDocumentLiteral);
  EXPECT_EQ(kAxisCallState, Outcome(call));  // no operation
  EXPECT_THROW(call.checkMessage("sendEventResponse", kNs), AxisException);
  EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(CallTest, TransportFailuresNameTheirCause) {
  testutil::ResettingServer resetting;
  SoapTestServer slow;
  slow.Delay(std::chrono::milliseconds(1500));
  struct Case {
    std::string url;
    long timeout;
    int code;
    std::string message;
  } cases[] = {
      {"http://127.0.0.1:" + std::to_string(testutil::UnusedPort()) + "/x", 0, kAxisConnectFailed,
       "Couldn't connect"},
      {slow.Url(), 1, kAxisTimedOut, "Timeout"},
      {resetting.Url(), 0, kAxisConnectionLost, resetting.Url()},
      {"htp:/nowhere", 0, kAxisTransportSetup, "htp"},
      {"https://127.0.0.1:1/x", 0, kAxisTlsFailed, "no open secure environment is named 0xdead"},
  };
  std::vector<TextPart> parts = {{"<x/>"}};
  std::string secure[] = {"0xdead"};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.url);
    Call call;
    Prepare(call, c.url, parts);
    call.setTransportTimeout(c.timeout);
    call.setSecureProperties(secure);
    std::string message;
    EXPECT_EQ(c.code, Outcome(call, &message));
    EXPECT_NE(std::string::npos, message.find(c.message)) << message;
  }
  EXPECT_GE(resetting.accepted(), 1);
}

// A transport that fails its first request as a dead connection would and
// passes the others on.
class FlakyTransport : public HttpTransport {
 public:
  HttpResponse post(const HttpRequest &request) override {
    seen.push_back(request);
    if (seen.size() == 1) throw AxisException(kAxisConnectionLost, "injected: connection reset");
    return ZOcurlTransport().post(request);
  }
  std::vector<HttpRequest> seen;
};

TEST_F(CallTest, InstalledTransportSeesEveryRequest) {
  ASSERT_TRUE(server_.ok());
  FlakyTransport flaky;
  HttpTransport *previous = ZOsetHttpTransport(&flaky);
  std::vector<TextPart> parts = {{"<x/>"}};
  Call call;
  call.setTransportTimeout(7);
  std::string message;
  Prepare(call, server_.Url(), parts);
  EXPECT_EQ(kAxisConnectionLost, Outcome(call, &message));
  EXPECT_EQ("injected: connection reset", message);
  Prepare(call, server_.Url(), parts);
  EXPECT_EQ(0, Outcome(call));
  ZOsetHttpTransport(previous);
  ASSERT_EQ(2u, flaky.seen.size());
  EXPECT_EQ(7, flaky.seen[0].timeoutSeconds);
  EXPECT_FALSE(flaky.seen[0].basicAuth);
  EXPECT_EQ(call.lastRequest(), flaky.seen[1].body);
  EXPECT_EQ(1u, server_.Requests().size());
}

}  // namespace
