#include "soap/soap_response.h"

#include <gtest/gtest.h>

#include "tests/soap_server_util.h"

namespace {

constexpr char kEnv[] = "http://schemas.xmlsoap.org/soap/envelope/";

std::string Envelope(const std::string &body, const std::string &header = "") {
  return std::string("<s:Envelope xmlns:s=\"") + kEnv + "\">" + header + "<s:Body>" + body +
         "</s:Body></s:Envelope>";
}

class SoapResponseTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testutil::StartSoapRuntime(); }
};

TEST_F(SoapResponseTest, MessagePartsAreStandaloneXml) {
  SoapResponse r;
  std::string error;
  ASSERT_TRUE(ZOparseSoapResponse(
      Envelope(
          "<m:sendEventResponse xmlns:m=\"urn:orv:vexa:10\" xmlns=\"urn:d\"><m:a k=\"x&quot;&#10;\">1 &lt; 2"
          "</m:a><b><![CDATA[c&d]]></b><c xmlns=\"\"/></m:sendEventResponse>",
          "<s:Header><h/></s:Header>"),
      &r, &error))
      << error;
  EXPECT_EQ(nullptr, r.fault);
  EXPECT_EQ("sendEventResponse", r.messageName);
  EXPECT_EQ("urn:orv:vexa:10", r.messageNs);
  EXPECT_EQ((std::vector<std::string>{"<m:a k=\"x&quot;&#10;\" xmlns:m=\"urn:orv:vexa:10\">1 &lt; 2</m:a>",
                                      "<b xmlns=\"urn:d\">c&amp;d</b>", "<c xmlns=\"\"/>"}),
            r.parts);
}

TEST_F(SoapResponseTest, EnvelopeWithoutBodyIsRefused) {
  SoapResponse r;
  std::string error;
  EXPECT_FALSE(ZOparseSoapResponse(
      std::string("<s:Envelope xmlns:s=\"") + kEnv + "\"><s:Header/></s:Envelope>", &r, &error));
  EXPECT_EQ("the answer's envelope has no Body", error);
  ASSERT_TRUE(ZOparseSoapResponse(Envelope(""), &r, &error)) << error;
  EXPECT_EQ("", r.messageName);
  EXPECT_EQ(nullptr, r.fault);
}

}  // namespace
