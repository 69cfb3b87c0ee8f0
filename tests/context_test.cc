// Context creation from property lists: defaults, validation, combination
// checks, loggers, texts and the process-wide start and stop.
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "capis/context.h"
#include "capis/results.h"
#include "cbe/secure_session.h"
#include "gtest/gtest.h"
#include "tests/capis_test_util.h"
#include "tests/tls_certs_util.h"

namespace {

TEST(ContextDefaults, MinimalListGivesEveryDefault) {
  unsetenv("VEXA_SERVER_RESPONSE_TIMEOUT");
  TestContext tc;
  ASSERT_NE(tc.ctx, nullptr) << Texts(tc.result)[0];
  const ZOVEXA_AuditClientContext *c = tc.ctx;
  struct {
    ZOpropIndex p;
    int32_t value;
  } ints[] = {{ZOP_transferSize, 10},     {ZOP_queueSize, 50},        {ZOP_hiWater, 20},
              {ZOP_flushInterval, 2},     {ZOP_numberEQThreads, 1},   {ZOP_numberCMThreads, 1},
              {ZOP_numberRetries, 3},     {ZOP_retryInterval, 2},     {ZOP_errorTraceLevel, 1},
              {ZOP_entryTraceLevel, 2},   {ZOP_flowTraceLevel, 3},    {ZOP_maxTraceFileSize, 1000000},
              {ZOP_maxTraceFiles, 2},     {ZOP_maxErrorFileSize, 1000000}, {ZOP_maxErrorFiles, 2},
              {ZOP_useDiskCache, 2},      {ZOP_lowWater, 10},         {ZOP_maxCacheFileSize, 10485760},
              {ZOP_maxCacheFiles, 1000},  {ZOP_rebindInterval, 10},   {ZOP_tempStorageFullTimeout, -1},
              {ZOP_shutDownTimeout, -1},  {ZOP_responseTimeout, 180}, {ZOP_enableFIPS, 0},
              {ZOP_compress, 0},          {ZOP_usingCCLOG, 0}};
  for (const auto &e : ints) EXPECT_EQ(c->Int(e.p), e.value) << kZOproperties[e.p].name;
  EXPECT_STREQ(c->Str(ZOP_traceLoggerName), "traceLogger");
  EXPECT_STREQ(c->Str(ZOP_errorLoggerName), "errorLogger");
  EXPECT_STREQ(c->Str(ZOP_useDiskCache), "auto");
  EXPECT_EQ(c->Str(ZOP_diskCachePath), nullptr);
  EXPECT_FALSE(c->tls);
  EXPECT_FALSE(c->elementUTF8);
  // Without a trace file nothing is traced.
  ZOVEXA_result r{};
  EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(tc.ctx, &r), 0);
  EXPECT_EQ(ZOVEXA_AuditClientContext_SetTraceLevel(tc.ctx, 5, &r), -1);
  EXPECT_EQ(r.count, 0);
}

// One property set to a value: accepted, or refused with a message.
struct PropCase {
  TestProp prop;
  uint32_t code;  // 0: accepted
  const char *text;
};

TEST(ContextValidation, PropertyBoundaries) {
  const PropCase cases[] = {
      {IntProp("maxTraceFileSize", 511), 7,
       "KZTCC0007E The property maxTraceFileSize has a value in the property list that is not valid: 511 ."},
      {IntProp("maxTraceFileSize", 512), 0, nullptr},
      {IntProp("maxErrorFileSize", 511), 7, nullptr},
      {IntProp("maxCacheFileSize", 10239), 7, nullptr},
      {IntProp("maxCacheFileSize", 10240), 0, nullptr},
      {IntProp("tempStorageFullTimeout", -1), 0, nullptr},
      {IntProp("tempStorageFullTimeout", -2), 7, nullptr},
      {IntProp("shutDownTimeout", -100), 0, nullptr},
      {IntProp("numberRetries", 0), 0, nullptr},
      {IntProp("numberRetries", -1), 7, nullptr},
      {IntProp("transferSize", 0), 7, nullptr},
      {IntProp("retryInterval", 0), 7, nullptr},
      {IntProp("responseTimeout", 0), 7, nullptr},
      {IntProp("traceLevel", -5), 0, nullptr},
      {StrProp("enableFIPS", "Yes"), 7,
       "KZTCC0007E The property enableFIPS has a value in the property list that is not valid: Yes ."},
      {StrProp("enableFIPS", "yes"), 0, nullptr},
      {StrProp("compress", "true"), 7, nullptr},
      {StrProp("useDiskCache", "Auto"), 7, nullptr},
      {StrProp("useDiskCache", "never"), 0, nullptr},
      {StrProp("elementCodeSet", "NO-SUCH-CODESET"), 7, nullptr},
      {StrProp("errorLocale", "xx_NOWHERE"), 0, nullptr},
      {StrProp("errorCodeSet", "NO-SUCH-CODESET"), 0, nullptr},
      {IntProp("queueSize", 20), 0, nullptr},  // hiWater (20) equal to queueSize
      {IntProp("queueSize", 19), 50,
       "KZTCC0050E The property hiWater has a value in the property list that is not valid because it is greater "
       "than the value of the property queueSize ."},
      {IntProp("transferSize", 20), 0, nullptr},  // equal to hiWater
      {IntProp("transferSize", 21), 50,
       "KZTCC0050E The property transferSize has a value in the property list that is not valid because it is "
       "greater than the value of the property hiWater ."},
      {IntProp("lowWater", 50), 0, nullptr},
      {IntProp("lowWater", 51), 50, nullptr},
      {IntProp("lowWater", 0), 7, nullptr},
      {StrProp("transferSize", "10"), 5,
       "KZTCC0005E The property 'transferSize' in the property list has a value type that is not valid."},
      {IntProp("serverURL", 1), 5, nullptr},
      {StrProp("noSuchProperty", "whatever"), 0, nullptr},
  };
  for (const PropCase &c : cases) {
    TestContext tc({c.prop});
    std::string what = c.prop.name + "=" + (c.prop.isString ? c.prop.s : std::to_string(c.prop.i));
    if (c.code == 0) {
      EXPECT_NE(tc.ctx, nullptr) << what << ": " << (tc.result.count ? Texts(tc.result)[0] : "");
      continue;
    }
    EXPECT_EQ(tc.ctx, nullptr) << what;
    EXPECT_EQ(OnlyCode(tc.result), c.code) << what;
    if (c.text != nullptr && tc.result.count == 1) {
      EXPECT_STREQ(tc.result.entries[0].text, c.text) << what;
    }
  }
}

TEST(ContextValidation, RequiredPropertiesAndNullValues) {
  ZOVEXA_result r{};
  EXPECT_EQ(ZOVEXA_AuditClientContext_Create(nullptr, &r), nullptr);
  EXPECT_EQ(Texts(r), (std::vector<std::string>{"KZTCC0009E The required parameter 'propertyList' passed to the "
                                                "function was null."}));
  ZOVEXA_Result_Clean(&r);

  ZOVEXA_property noUrl[] = {{"errorFilePath", VEXA_VT_STRING, const_cast<char *>("/tmp/x.log")}, {}};
  EXPECT_EQ(ZOVEXA_AuditClientContext_Create(noUrl, &r), nullptr);
  EXPECT_EQ(Texts(r),
            (std::vector<std::string>{"KZTCC0006E The required property 'serverURL' is missing in the property list."}));
  ZOVEXA_Result_Clean(&r);

  ZOVEXA_property noErrorFile[] = {{"serverURL", VEXA_VT_STRING, const_cast<char *>("http://h/")}, {}};
  EXPECT_EQ(ZOVEXA_AuditClientContext_Create(noErrorFile, &r), nullptr);
  EXPECT_EQ(OnlyCode(r), 6u);
  EXPECT_NE(std::string(r.entries[0].text).find("'errorFilePath'"), std::string::npos);
  ZOVEXA_Result_Clean(&r);

  ZOVEXA_property nullValue[] = {{"serverURL", VEXA_VT_STRING, nullptr}, {}};
  EXPECT_EQ(ZOVEXA_AuditClientContext_Create(nullValue, &r), nullptr);
  EXPECT_EQ(Texts(r), (std::vector<std::string>{"KZTCC0004E The property 'serverURL' in the property list has a "
                                                "null value."}));
  ZOVEXA_Result_Clean(&r);
}

TEST(ContextValidation, HttpsNeedsKeyAndStashFiles) {
  // The scheme is compared without regard to case.
  TestContext noKey({StrProp("serverURL", "HTTPS://audit.example:9443/x")});
  EXPECT_EQ(noKey.ctx, nullptr);
  EXPECT_EQ(Texts(noKey.result), (std::vector<std::string>{"KZTCC0006E The required property 'keyFilePath' is "
                                                           "missing in the property list."}));
  TestContext noStash({StrProp("serverURL", "https://audit.example/x"), StrProp("keyFilePath", "/k.p12")});
  EXPECT_EQ(noStash.ctx, nullptr);
  EXPECT_EQ(OnlyCode(noStash.result), 6u);
  EXPECT_NE(Texts(noStash.result)[0].find("'stashFilePath'"), std::string::npos);
}

TEST(ContextSecure, HttpsContextsOpenTheirKeyStoreOrFail) {
  const testutil::TlsCerts &certs = testutil::TestTlsCerts();
  ASSERT_TRUE(certs.ok) << certs.error;
  const std::string fipsLine = "INFO :: ------VEXA Client Initialized in FIPS MODE------";
  const std::string nonFipsLine = "INFO :: ------VEXA Client Initialized in non FIPS MODE------";
  const struct {
    std::string store, stash, fips;
    bool opens;
    std::string step;  // the failing step named in message 19
  } cases[] = {
      {certs.pemStore, certs.pemStash, "no", true, ""},
      {certs.p12Store, certs.p12Stash, "yes", true, ""},
      {certs.caOnlyStore, certs.caOnlyStash, "yes", true, ""},
      {certs.pemStore, certs.wrongPasswordStash, "no", false, "function PEM_read_bio_PrivateKey failed"},
      {certs.p12Store, certs.wrongPasswordStash, "yes", false, "function PKCS12_parse failed"},
      {certs.p12Store, certs.dir + "/no-such.sth", "no", false, "function read stash file failed"},
      {certs.garbageStore, certs.pemStash, "no", false, "failed with the following error: "},
  };
  int serial = 0;
  for (const auto &c : cases) {
    SCOPED_TRACE(c.store + " " + c.stash);
    TestContext tc({StrProp("serverURL", "https://127.0.0.1:9/vexaws/services/Emitter"),
                    StrProp("keyFilePath", c.store), StrProp("stashFilePath", c.stash),
                    StrProp("enableFIPS", c.fips),
                    StrProp("errorLoggerName", "ctxSecure" + std::to_string(++serial))});
    if (c.opens) {
      ASSERT_NE(tc.ctx, nullptr) << Texts(tc.result)[0];
      ASSERT_NE(tc.ctx->secureEnvText, nullptr);
      EXPECT_EQ(tc.result.count, 0);
      EXPECT_EQ(std::string(tc.ctx->secureEnvText).find_first_not_of("0123456789abcdef", 2),
                std::string::npos);
      EXPECT_EQ(std::string(tc.ctx->secureEnvText).substr(0, 2), "0x");
      ZOVEXA_result r{};
      EXPECT_EQ(terminateVTLKitEnvironment(tc.ctx, &r), 0);
      EXPECT_EQ(tc.ctx->secureEnvText, nullptr);
      EXPECT_EQ(terminateVTLKitEnvironment(tc.ctx, &r), -1);  // nothing open any more
      EXPECT_EQ(OnlyCode(r), 19u);
      ZOVEXA_Result_Clean(&r);
    } else {
      EXPECT_EQ(tc.ctx, nullptr);
      EXPECT_EQ(OnlyCode(tc.result), 19u);
      EXPECT_EQ(Texts(tc.result)[0].rfind("KZTCC0019E An error occurred during secure communication with the "
                                          "audit server. The function ",
                                          0),
                0u);
      EXPECT_NE(Texts(tc.result)[0].find(c.step), std::string::npos) << Texts(tc.result)[0];
    }
    // The mode line is written whether or not the key store opened.
    std::string log = ReadFile(tc.dir.File("error.log"));
    EXPECT_EQ(log.find(fipsLine) != std::string::npos, c.fips == "yes") << log;
    EXPECT_EQ(log.find(nonFipsLine) != std::string::npos, c.fips == "no") << log;
  }
  EXPECT_EQ(ZOgetCommonBlock()->liveContexts, 0);
}

TEST(ContextValidation, LaterValueOfARepeatedPropertyWins) {
  TestContext tc({IntProp("queueSize", 30), IntProp("queueSize", 40), StrProp("elementCodeSet", "UTF8")});
  ASSERT_NE(tc.ctx, nullptr);
  EXPECT_EQ(tc.ctx->Int(ZOP_queueSize), 40);
  EXPECT_TRUE(tc.ctx->elementUTF8);
}

TEST(ContextDefaults, ResponseTimeoutFromTheEnvironment) {
  const struct {
    const char *env;
    int32_t expected;
  } cases[] = {{"30", 30}, {"0", 180}, {"text", 180}, {"-4", 180}};
  for (const auto &c : cases) {
    setenv("VEXA_SERVER_RESPONSE_TIMEOUT", c.env, 1);
    TestContext tc;
    ASSERT_NE(tc.ctx, nullptr);
    EXPECT_EQ(tc.ctx->Int(ZOP_responseTimeout), c.expected) << c.env;
  }
  unsetenv("VEXA_SERVER_RESPONSE_TIMEOUT");
}

TEST(ContextTrace, TraceLinesFollowTheLevelsAndHideThePassword) {
  TempDir dir;
  std::string trace = dir.File("trace.log");
  {
    TestContext tc({StrProp("traceFilePath", trace), IntProp("traceLevel", 3), StrProp("clientPassword", "s3cret"),
                    StrProp("clientUserName", "auditor"), StrProp("errorCodeSet", "NO-SUCH-CODESET"),
                    StrProp("traceLoggerName", "ctxTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    ZOVEXA_result r{};
    EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(tc.ctx, &r), 3);
    EXPECT_EQ(ZOVEXA_AuditClientContext_SetTraceLevel(tc.ctx, 2, &r), 0);
    EXPECT_EQ(ZOVEXA_AuditClientContext_SetTraceLevel(tc.ctx, 1, &r), 0);  // below entry level: not traced
    EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(tc.ctx, &r), 1);
  }
  std::string log = ReadFile(trace);
  EXPECT_NE(log.find("ENTRY"), std::string::npos) << log;
  EXPECT_NE(log.find("[VEXA_AuditClientContext_Create]"), std::string::npos);
  EXPECT_NE(log.find(" property name = clientUserName, value = auditor, valueType = VEXA_VT_STRING"),
            std::string::npos);
  EXPECT_NE(log.find(" property name = traceLevel, value = 3, valueType = VEXA_VT_INTEGER"), std::string::npos);
  EXPECT_EQ(log.find("s3cret"), std::string::npos);
  EXPECT_EQ(log.find("clientPassword"), std::string::npos);
  EXPECT_NE(log.find("WARNING: the value of the errorCodeSet property, NO-SUCH-CODESET, is invalid, using default "
                     "codeset instead."),
            std::string::npos);
  EXPECT_NE(log.find("FLOW: calling initializeXMLParser"), std::string::npos);
  EXPECT_NE(log.find("FLOW: calling initializeAxis"), std::string::npos);
  EXPECT_NE(log.find("EXIT: returning trace level = 3"), std::string::npos);
  EXPECT_NE(log.find("EXIT: trace level set to = 2"), std::string::npos);
  EXPECT_EQ(log.find("EXIT: trace level set to = 1"), std::string::npos);
  EXPECT_EQ(log.find("EXIT: returning trace level = 1"), std::string::npos);
  EXPECT_NE(log.find("capis/context"), std::string::npos);
}

TEST(ContextProcess, FirstContextStartsAndLastStopsTheRuntimes) {
  {
    TestContext a;
    ASSERT_NE(a.ctx, nullptr);
    ZOcommonBlock *common = ZOgetCommonBlock();
    ASSERT_NE(common, nullptr);
    EXPECT_EQ(common->liveContexts, 1);
    EXPECT_TRUE(common->xmlParserUp);
    EXPECT_TRUE(common->soapRuntimeUp);
    {
      TestContext b;
      ASSERT_NE(b.ctx, nullptr);
      EXPECT_EQ(common->liveContexts, 2);
      EXPECT_EQ(a.ctx->giidTable, b.ctx->giidTable);
    }
    EXPECT_EQ(common->liveContexts, 1);
    EXPECT_TRUE(common->xmlParserUp);
  }
  ZOcommonBlock *common = ZOgetCommonBlock();
  EXPECT_EQ(common->liveContexts, 0);
  EXPECT_FALSE(common->xmlParserUp);
  EXPECT_EQ(common->giidTable, nullptr);
  // A new first context starts everything again.
  TestContext again;
  ASSERT_NE(again.ctx, nullptr);
  EXPECT_TRUE(common->xmlParserUp);
  EXPECT_NE(again.ctx->giidTable, nullptr);
}

TEST(ContextProcess, OnlyAContextThatWasMadeGetsTheProcessWideLogs) {
  TempDir dir;
  TestContext a({StrProp("errorFilePath", dir.File("a.log")), StrProp("traceFilePath", dir.File("a.trace")),
                 StrProp("traceLoggerName", "ctxGlobalA"), StrProp("errorLoggerName", "ctxErrorA")});
  ASSERT_NE(a.ctx, nullptr);
  {
    TestContext failed({StrProp("errorFilePath", dir.File("b.log")), StrProp("errorLoggerName", "ctxErrorB"),
                        StrProp("elementCodeSet", "NO-SUCH-CODESET")});
    EXPECT_EQ(failed.ctx, nullptr);
  }
  ZOVEXA_result r{};
  // Reports without a context still go to the logs of the last context made.
  EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(nullptr, &r), -1);
  EXPECT_NE(ReadFile(dir.File("a.log")).find("KZTCC0010E"), std::string::npos);
  EXPECT_EQ(ReadFile(dir.File("b.log")).find("KZTCC0010E"), std::string::npos);
  TestContext quiet({StrProp("errorFilePath", dir.File("c.log")), StrProp("errorLoggerName", "ctxErrorC")});
  ASSERT_NE(quiet.ctx, nullptr);
  // A missing result record is traced where the handle's context traces, or
  // else in the process-wide trace.
  EXPECT_EQ(ZOVEXA_AuditClientContext_GetTraceLevel(quiet.ctx, nullptr), -1);
  EXPECT_NE(ReadFile(dir.File("a.trace")).find("ERROR: status parameter is NULL"), std::string::npos);
  ZOVEXA_Result_Clean(&r);
}

TEST(ContextProcess, ReportsWithoutAContextWhileTheLastContextGoes) {
  TempDir dir;
  std::atomic<bool> stop{false};
  std::thread reporter([&stop] {
    while (!stop.load()) {
      ZOVEXA_result r{};
      ZOVEXA_AuditClientContext_GetTraceLevel(nullptr, &r);  // traces and logs through the process-wide loggers
      ZOVEXA_Result_Clean(&r);
    }
  });
  for (int i = 0; i < 30; ++i) {
    TestContext tc({StrProp("traceFilePath", dir.File("t.log")), StrProp("errorFilePath", dir.File("e.log"))});
    EXPECT_NE(tc.ctx, nullptr);
  }
  stop = true;
  reporter.join();
}

TEST(ContextProcess, FailedCreationLeavesNoCount) {
  { TestContext bad({IntProp("queueSize", 0)}); }
  ZOcommonBlock *common = ZOgetCommonBlock();
  if (common != nullptr) {
    EXPECT_EQ(common->liveContexts, 0);
  }
}

TEST(ContextProcess, ContextsMadeAndDeletedFromManyThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&failures] {
      for (int i = 0; i < 20; ++i) {
        TestContext tc;
        if (tc.ctx == nullptr || tc.ctx->giidTable == nullptr) ++failures;
      }
    });
  }
  for (std::thread &t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(ZOgetCommonBlock()->liveContexts, 0);
}

}  // namespace
