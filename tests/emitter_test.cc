#include "cbe/emitter.h"

#include <gtest/gtest.h>

#include <thread>

#include "soap/http_transport.h"
#include "tests/soap_server_util.h"

using testutil::SoapTestServer;

namespace {

constexpr char kBodyHead[] =
    "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><soapenv:Body>"
    "<ns1:sendEvent xmlns:ns1=\"urn:orv:vexa:10\">";
constexpr char kBodyTail[] = "</ns1:sendEvent></soapenv:Body></soapenv:Envelope>";

class TestEmitter : public Emitter {
 public:
  using Emitter::Emitter;
  Call *call() { return m_pCall; }
};

// A batch of the given texts; NULL makes an entry without text.
class Batch {
 public:
  explicit Batch(std::vector<const char *> texts) {
    EXPECT_TRUE(ZOnewBatch(&tag, static_cast<int>(texts.size())));
    for (size_t i = 0; i < texts.size(); ++i) {
      if (texts[i] != nullptr) tag.m_Array[i].any = ZOnewAnyType(texts[i]);
    }
  }
  ~Batch() { ZOfreeBatch(&tag); }
  CommonBaseEventType_ArrayTag tag{};
};

// What sendEvent did: "" when it returned, else the exception's code and the
// fault's parts or the message.
struct Outcome {
  int code = 0;
  std::string what, faultCode, faultString, faultActor, detail;
};
Outcome Send(Emitter &emitter, const Batch &batch) {
  Outcome o;
  try {
    emitter.sendEvent(batch.tag);
  } catch (const OtherFaultException &e) {
    o = {e.getExceptionCode(), e.what(),          e.getFaultCode(),
         e.getFaultString(),   e.getFaultActor(), e.getFaultDetail()};
  } catch (const AxisException &e) {
    o.code = e.getExceptionCode();
    o.what = e.what();
  }
  return o;
}

class EmitterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testutil::StartSoapRuntime(); }
  void TearDown() override { ZOhttpReleaseThreadConnections(); }
  SoapTestServer server_;
};

TEST_F(EmitterTest, EndpointsAndSecureArguments) {
  EXPECT_EQ("http://localhost:9080/vexaws/services/Emitter", TestEmitter().call()->getEndpointURI());
  EXPECT_EQ("https://h/x", TestEmitter("https://h/x", APTHTTP1_1).call()->getEndpointURI());

  char *const kTrue = reinterpret_cast<char *>(1);
  char a[] = "a", b[] = "b", c[] = "c", d[] = "d", e[] = "e", f[] = "f", g[] = "g", h[] = "h", i[] = "i";
  struct Case {
    std::vector<char *> args;  // NULL-terminated at its size
    std::vector<std::string> stored;
  } cases[] = {
      {{a}, {"a", "", "", "", "", "", "", ""}},
      {{a, kTrue, c}, {"a", "true", "c", "", "", "", "", ""}},
      {{a, b, c, d, e, f}, {"a", "b", "c", "d", "e", "f", "false", ""}},
      {{a, b, c, d, e, f, g}, {"a", "b", "c", "d", "e", "f", "g", ""}},
      {{a, b, c, d, e, f, g, h, i}, {"a", "b", "c", "d", "e", "f", "g", "h"}},
      {{}, {"", "", "", "", "", "", "", ""}},
  };
  for (const Case &k : cases) {
    std::vector<char *> v = k.args;
    v.resize(10, nullptr);
    TestEmitter emitter;
    emitter.SetSecure(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9]);
    emitter.includeSecure();
    EXPECT_EQ(k.stored, emitter.call()->getSecureProperties()) << k.args.size() << " arguments";
  }
  TestEmitter emitter;
  emitter.SetSecure(a, b, nullptr);
  emitter.SetSecure(nullptr, c, nullptr);  // changes nothing
  emitter.includeSecure();
  EXPECT_EQ("b", emitter.call()->getSecureProperties()[1]);
}

TEST_F(EmitterTest, BatchIsWrittenEntryByEntry) {
  ASSERT_TRUE(server_.ok());
  struct Case {
    std::vector<const char *> texts;
    std::string events;
  } cases[] = {
      {{}, ""},
      {{"<CommonBaseEvent a=\"1\">\xC3\xBC &amp;</CommonBaseEvent>", nullptr, "<CommonBaseEvent/>"},
       "<ns1:event><CommonBaseEvent a=\"1\">\xC3\xBC &amp;</CommonBaseEvent></ns1:event>"
       "<ns1:event xsi:nil=\"true\"></ns1:event><ns1:event><CommonBaseEvent/></ns1:event>"},
  };
  for (const Case &c : cases) {
    TestEmitter emitter(server_.Url().c_str(), APTHTTP1_1);
    emitter.setUsername("u");
    Batch batch(c.texts);
    EXPECT_EQ(0, Send(emitter, batch).code);
    std::vector<testutil::SeenRequest> seen = server_.Requests();
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(kBodyHead + c.events + kBodyTail, seen.back().body);
    EXPECT_EQ("\"\"", seen.back().Header("SOAPAction"));
    EXPECT_EQ("Basic dTo=", seen.back().Header("Authorization"));  // "u:" (no password set)
  }
}

TEST_F(EmitterTest, AnswersBecomeReturnsOrExceptions) {
  ASSERT_TRUE(server_.ok());
  const char *elementDetail = "<failedevent><eventNumber>2</eventNumber></failedevent>";
  const std::string kFaultString =
      "b\xC3\xA4"
      "d &amp; worse";
  const std::string envNs = " xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"";
  auto faultXml = [&](const std::string &detail) {
    return "<soapenv:Fault" + envNs + "><faultcode>soapenv:Client</faultcode><faultstring>" + kFaultString +
           "</faultstring><faultactor>act</faultactor>" + detail + "</soapenv:Fault>";
  };
  auto fault = [&](const char *detail) {
    return testutil::SoapFaultAnswer("soapenv:Client", kFaultString, "act", detail);
  };
  struct Case {
    int status;
    std::string body;
    int code;
    std::string detailOrMessage;
  } cases[] = {
      {200, testutil::SoapOkAnswer(), 0, ""},
      {200, "", 0, ""},  // empty 2xx: taken as delivered
      {500, fault("event &lt;2&gt;"), kAxisSoapFault, "event <2>"},
      {500, fault(elementDetail), kAxisSoapFault,
       faultXml(std::string("<detail>") + elementDetail + "</detail>")},
      {500, fault(""), kAxisSoapFault, faultXml("<detail/>")},
      {500, fault(nullptr), kAxisSoapFault, faultXml("")},
      {503, "", kAxisHttpStatus, "HTTP 503 Service Unavailable"},
  };
  Batch batch({"<CommonBaseEvent/>"});
  TestEmitter emitter(server_.Url().c_str(), APTHTTP1_1);  // one stub for all: each send starts afresh
  for (const Case &c : cases) {
    SCOPED_TRACE(std::to_string(c.status) + " " + c.body);
    server_.Answer(c.status, c.body);
    Outcome o = Send(emitter, batch);
    EXPECT_EQ(c.code, o.code);
    if (c.code == kAxisSoapFault) {
      EXPECT_EQ("soapenv:Client", o.faultCode);
      EXPECT_EQ(
          "b\xC3\xA4"
          "d & worse",
          o.faultString);
      EXPECT_EQ("act", o.faultActor);
      EXPECT_EQ(c.detailOrMessage, o.detail);
    } else {
      EXPECT_NE(std::string::npos, o.what.find(c.detailOrMessage)) << o.what;
    }
    EXPECT_EQ(nullptr, emitter.call()->checkFault("Fault", "")) << "the call is left uninitialised";
  }
  EXPECT_EQ(std::size(cases), server_.Requests().size());
}

TEST_F(EmitterTest, StubsOfOneThreadShareItsConnection) {
  ASSERT_TRUE(server_.ok());
  Batch batch({"<CommonBaseEvent/>"});
  auto send = [&](int stubs) {
    long before = ZOhttpThreadConnectCount();
    for (int i = 0; i < stubs; ++i) {
      Emitter emitter(server_.Url().c_str(), APTHTTP1_1);
      EXPECT_EQ(0, Send(emitter, batch).code);
    }
    return ZOhttpThreadConnectCount() - before;
  };
  EXPECT_EQ(1, send(3));
  EXPECT_EQ(1, server_.Connections());
  long other = 0;
  std::thread([&] { other = send(2); }).join();  // its connection closes as the thread ends
  EXPECT_EQ(1, other);
  EXPECT_EQ(2, server_.Connections());
  EXPECT_EQ(5u, server_.Requests().size());
}

TEST_F(EmitterTest, PartGlue) {
  EXPECT_EQ(static_cast<int>(sizeof(CommonBaseEventType)), Axis_GetSize_CommonBaseEventType());
  // Growing an array keeps the entries it had; new ones are empty.
  auto *two = static_cast<CommonBaseEventType *>(Axis_Create_CommonBaseEventType(nullptr, true, 2));
  ASSERT_NE(nullptr, two);
  AnyType *first = ZOnewAnyType("<a/>"), *second = ZOnewAnyType("<b/>");
  two[0].any = first;
  two[1].any = second;
  auto *four = static_cast<CommonBaseEventType *>(Axis_Create_CommonBaseEventType(two, true, 4));
  ASSERT_NE(nullptr, four);
  EXPECT_EQ(first, four[0].any);
  EXPECT_EQ(second, four[1].any);
  EXPECT_EQ(nullptr, four[3].any);
  // Parts read back from an answer, until none is left.
  SoapDeSerializer parts({"<x>1</x>"});
  EXPECT_EQ(kSoapSuccess, Axis_DeSerialize_CommonBaseEventType(&four[2], &parts));
  ASSERT_NE(nullptr, four[2].any);
  EXPECT_STREQ("<x>1</x>", four[2].any->_array[0]);
  EXPECT_EQ(kSoapFail, Axis_DeSerialize_CommonBaseEventType(&four[3], &parts));
  for (int i = 0; i < 4; ++i) ZOfreeAnyType(four[i].any);
  Axis_Delete_CommonBaseEventType(four, true, 4);
}

}  // namespace
