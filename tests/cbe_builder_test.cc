// The CBE document builder: events are encoded, the text is parsed back and
// compared node by node with the expected document (tags, attribute sets,
// texts, order). Also date texts, failures and the table writers.
#include "cbe/cbe_builder.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/util/TransService.hpp>

#include "capis/audit_event.h"
#include "capis/info_records.h"
#include "tests/capis_test_util.h"

namespace {

char *S(const char *s) { return const_cast<char *>(s); }

std::string U8(const XMLCh *s) {
  return s == nullptr ? "" : reinterpret_cast<const char *>(xc::TranscodeToStr(s, "UTF-8").str());
}

// An element: tag, attributes (compared as a set), own text, children.
struct Node {
  std::string tag;
  std::vector<std::pair<std::string, std::string>> attrs;
  std::string text;
  std::vector<Node> kids;
};

Node ToNode(const xc::DOMElement *e) {
  Node n{U8(e->getTagName()), {}, "", {}};
  xc::DOMNamedNodeMap *map = e->getAttributes();
  for (XMLSize_t i = 0; i < map->getLength(); ++i)
    n.attrs.emplace_back(U8(map->item(i)->getNodeName()), U8(map->item(i)->getNodeValue()));
  for (const xc::DOMNode *c = e->getFirstChild(); c != nullptr; c = c->getNextSibling()) {
    if (c->getNodeType() == xc::DOMNode::TEXT_NODE) n.text += U8(c->getNodeValue());
    if (c->getNodeType() == xc::DOMNode::ELEMENT_NODE)
      n.kids.push_back(ToNode(static_cast<const xc::DOMElement *>(c)));
  }
  return n;
}

// One line per element, indented by depth: the form both sides are compared in.
std::string Dump(Node n, int depth = 0) {
  std::sort(n.attrs.begin(), n.attrs.end());
  std::string out = std::string(2 * depth, ' ') + n.tag + "[";
  for (const auto &[name, value] : n.attrs) out += (out.back() == '[' ? "" : " ") + name + "=" + value;
  out += "]" + (n.text.empty() ? "" : " \"" + n.text + "\"") + "\n";
  for (const Node &k : n.kids) out += Dump(k, depth + 1);
  return out;
}

// A data element: extendedDataElements at the top, "children" below.
Node Data(const std::string &name, const std::string &type, const std::string &value,
          std::vector<Node> kids = {}, const char *tag = "extendedDataElements") {
  Node n{tag, {{"name", name}, {"type", type}}, "", {Node{"values", {}, value, {}}}};
  n.kids.insert(n.kids.end(), kids.begin(), kids.end());
  return n;
}
Node Child(const std::string &name, const std::string &type, const std::string &value,
           std::vector<Node> kids = {}) {
  return Data(name, type, value, std::move(kids), "children");
}
// The root of an AUDIT_AUTHN event: the situation first, `middle`, the
// version data element last.
std::string Root(std::vector<std::pair<std::string, std::string>> attrs, std::vector<Node> middle) {
  Node root{"CommonBaseEvent", {{"version", "1.0.1"}, {"extensionName", "ORV_KZT_AUDIT_AUTHN"}}, "", {}};
  root.attrs.insert(root.attrs.end(), attrs.begin(), attrs.end());
  root.kids.push_back(Node{
      "situation",
      {{"categoryName", "ReportSituation"}},
      "",
      {Node{"situationType", {{"reportCategory", "SECURITY"}, {"reasoningScope", "INTERNAL"}}, "", {}}}});
  root.kids.insert(root.kids.end(), middle.begin(), middle.end());
  root.kids.push_back(Data("VEXAEventVersion", "string", "6.0"));
  return Dump(root);
}

class BuilderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(tc.ctx, nullptr);
    event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
  }
  void TearDown() override {
    ZOVEXA_AuditEvent_Delete(event, &r);
    ZOVEXA_Result_Clean(&r);
  }
  // The event's text parsed back and dumped; "" when either step fails.
  std::string Encoded() {
    char *text = vexaAuditEventToXMLString(tc.ctx, event, &r);
    if (text == nullptr) return "";
    lastText = text;
    free(text);
    xc::XercesDOMParser *parser = createXercesDOMParser(tc.ctx, &r);
    xc::DOMDocument *doc = convertToDOM(tc.ctx, parser, lastText.c_str(), &r);
    std::string dump = doc != nullptr ? Dump(ToNode(doc->getDocumentElement())) : "";
    if (doc != nullptr) deleteDocument(tc.ctx, doc, &r);
    deleteXercesDOMParser(tc.ctx, parser, &r);
    return dump;
  }
  bool Add(const char *name, const char *value) {
    return ZOVEXA_AuditEvent_AddStringElement(event, name, value, 1, &r) != nullptr;
  }
  bool AddDate(const char *name, long sec, long usec) {
    struct timeval tv = {sec, usec};
    return ZOVEXA_AuditEvent_AddDateTimeElement(event, name, &tv, 1, &r) != nullptr;
  }

  TestContext tc{{StrProp("elementCodeSet", "UTF8")}};
  ZOVEXA_result r{};
  ZOVEXA_AuditEvent *event = nullptr;
  std::string lastText;
};

constexpr long kSec = 1236262051;  // 2009-03-05T14:07:31Z

TEST_F(BuilderTest, WorkedExampleComesBackNodeForNode) {
  EXPECT_EQ(Encoded(), Root({}, {}));  // no elements: only the fixed parts
  ASSERT_TRUE(AddDate("timestamp", kSec, 250000));
  ASSERT_NE(ZOVEXA_AuditEvent_AddLongElement(event, "sequenceNumber", 42, &r), nullptr);
  ASSERT_TRUE(Add("action", "login"));
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "retries", 3, &r), nullptr);
  EXPECT_EQ(Encoded(), Root({{"creationTime", "2009-03-05T14:07:31.250000Z"}, {"sequenceNumber", "42"}},
                            {Data("action", "string", "login"), Data("retries", "int", "3")}));
  EXPECT_NE(lastText.find("creationTime=\"2009-03-05T14:07:31.250000Z\""), std::string::npos) << lastText;
  EXPECT_EQ(r.count, 0);
}

TEST_F(BuilderTest, BaseElementsGoToTheRootInTheOrderOfTheEvent) {
  ZOVEXA_ComponentId id{S("h"), S("IPV4"), S("a"),  nullptr, S("c"), S("t"),
                        S("i"), S("s"),    nullptr, nullptr, S("7")};
  char *tokens[] = {S("tok"), nullptr};
  ZOVEXA_MsgDataElement msg{S("M1"), nullptr, nullptr, S("cat"), S("ct"), nullptr, tokens};
  ASSERT_NE(ZOVEXA_AuditEvent_AddComponentIdElement(event, "reporterComponentId", &id, 1, &r), nullptr);
  ASSERT_TRUE(Add("auditMsg", "hello") && Add("first", "1") && Add("globalInstanceId", "gid"));
  ASSERT_NE(ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", &id, 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddMsgDataElement(event, "auditMsgElement", &msg, 1, &r), nullptr);
  // Not base elements: another name, another type, a name compared case-sensitively.
  ASSERT_NE(ZOVEXA_AuditEvent_AddLongElement(event, "auditMsg2", 1, &r), nullptr);
  ASSERT_TRUE(Add("sequenceNumber", "9") && AddDate("Timestamp", kSec, 0));
  ASSERT_NE(ZOVEXA_AuditEvent_AddComponentIdElement(event, "componentId", &id, 1, &r), nullptr);
  int64_t five = 5;
  ASSERT_NE(ZOVEXA_AuditEvent_AddElement(event, "auditMsg.x", VEXA_VT_LONG, &five, 1, &r), nullptr);

  std::vector<std::pair<std::string, std::string>> idAttrs = {
      {"location", "h"},      {"locationType", "IPV4"}, {"application", "a"},  {"component", "c"},
      {"componentType", "t"}, {"componentIdType", "i"}, {"subComponent", "s"}, {"threadId", "7"}};
  std::vector<Node> idKids;
  for (const auto &[name, value] : idAttrs) idKids.push_back(Child(name, "string", value));
  Node msgNode{"msgDataElement",
               {},
               "",
               {Node{"msgCatalogTokens", {{"value", "tok"}}, "", {}}, Node{"msgId", {}, "M1", {}},
                Node{"msgCatalogType", {}, "ct", {}}, Node{"msgCatalog", {}, "cat", {}}}};
  EXPECT_EQ(Encoded(), Root({{"msg", "hello"}, {"globalInstanceId", "gid"}},
                            {Node{"reporterComponentId", idAttrs, "", {}},
                             // a sub-element under a base element becomes a top-level data element
                             Data("x", "long", "5"), Data("first", "string", "1"),
                             Node{"sourceComponentId", idAttrs, "", {}}, msgNode,
                             Data("auditMsg2", "long", "1"), Data("sequenceNumber", "string", "9"),
                             Data("Timestamp", "dateTime", "2009-03-05T14:07:31Z"),
                             Data("componentId", "string", "VEXAComplexType:VEXAAuditComponentID", idKids)}));
}

TEST_F(BuilderTest, BaseNamesWithAnotherTypeAreDataElements) {
  ASSERT_NE(ZOVEXA_AuditEvent_AddLongElement(event, "auditMsg", 7, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "globalInstanceId", 8, &r), nullptr);
  ASSERT_TRUE(Add("timestamp", "not a time value"));
  EXPECT_EQ(Encoded(), Root({}, {Data("auditMsg", "long", "7"), Data("globalInstanceId", "int", "8"),
                                 Data("timestamp", "string", "not a time value")}));
}

TEST_F(BuilderTest, SubElementsNestAndBaseOnesAmongThemReachTheRoot) {
  ASSERT_TRUE(Add("action", "login") && Add("action.note", "n"));
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "action.count", 2, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddLongElement(event, "action.count.big", -5000000000LL, &r), nullptr);
  ASSERT_TRUE(AddDate("action.timestamp", kSec, 500000) && Add("action.auditMsg", "first"));
  // Two of a kind: the later attribute value wins, both children appear.
  ASSERT_TRUE(Add("auditMsg", "second"));
  ZOVEXA_ComponentId id{S("h"), S("IPV4"), S("a"),  nullptr, S("c"), S("t"),
                        S("i"), S("s"),    nullptr, nullptr, nullptr};
  ASSERT_NE(ZOVEXA_AuditEvent_AddComponentIdElement(event, "sourceComponentId", &id, 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddIntegerElement(event, "holder", 1, &r), nullptr);
  ASSERT_NE(ZOVEXA_AuditEvent_AddComponentIdElement(event, "holder.sourceComponentId", &id, 1, &r), nullptr);
  Node idNode{"sourceComponentId",
              {{"location", "h"},
               {"locationType", "IPV4"},
               {"application", "a"},
               {"component", "c"},
               {"componentType", "t"},
               {"componentIdType", "i"},
               {"subComponent", "s"}},
              "",
              {}};
  EXPECT_EQ(Encoded(), Root({{"creationTime", "2009-03-05T14:07:31.500000Z"}, {"msg", "second"}},
                            {Data("action", "string", "login",
                                  {Child("note", "string", "n"),
                                   Child("count", "int", "2", {Child("big", "long", "-5000000000")})}),
                             idNode, idNode, Data("holder", "int", "1")}));
}

TEST_F(BuilderTest, NonAsciiTextSurvivesInTheCLocale) {
  std::string saved = setlocale(LC_ALL, nullptr);
  setlocale(LC_ALL, "C");
  ASSERT_TRUE(Add("user", "Jos\xc3\xa9") && Add("auditMsg", "\xe6\x97\xa5\xe6\x9c\xac"));
  std::string dump = Encoded();
  setlocale(LC_ALL, saved.c_str());
  EXPECT_EQ(dump, Root({{"msg", "\xe6\x97\xa5\xe6\x9c\xac"}}, {Data("user", "string", "Jos\xc3\xa9")}));
  EXPECT_NE(lastText.find(">Jos\xc3\xa9<"), std::string::npos) << lastText;
}

TEST_F(BuilderTest, AnElementThatCannotBeEncodedFailsTheEvent) {
  int dummy = 0;
  for (uint32_t type : {0u, 27u}) {  // stored unchecked without a copy; the element frees a 27 block
    ZOVEXA_AuditEvent *bad = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ASSERT_NE(ZOVEXA_AuditEvent_AddStringElement(bad, "ok", "fine", 1, &r), nullptr);
    void *value = type == 0 ? static_cast<void *>(&dummy) : ZOVEXA_Malloc(4);
    ASSERT_NE(ZOVEXA_AuditEvent_AddElement(bad, "ok.odd", type, value, 0, &r), nullptr);
    EXPECT_EQ(vexaAuditEventToXMLString(tc.ctx, bad, &r), nullptr);
    ASSERT_EQ(OnlyCode(r), 14u);
    EXPECT_NE(Texts(r)[0].find("odd , has a value type that is not valid: " + std::to_string(type)),
              std::string::npos);
    ZOVEXA_Result_Clean(&r);
    ZOVEXA_AuditEvent_Delete(bad, &r);
  }
  // A NULL value fails too; a NULL slot is skipped.
  ZOVEXA_AuditElement *e = ZOVEXA_AuditEvent_AddStringElement(event, "s", "x", 1, &r);
  ASSERT_TRUE(e != nullptr && Add("kept", "y"));
  void *value = e->value;
  e->value = nullptr;
  EXPECT_EQ(convertToCBE(tc.ctx, event, &r), nullptr);
  event->elements.items[0] = nullptr;
  EXPECT_EQ(Encoded(), Root({}, {Data("kept", "string", "y")}));
  e->value = value;
  event->elements.items[0] = e;
}

TEST(BuilderTrace, FailuresLeaveTheirLinesInTheTrace) {
  TempDir dir;
  {
    TestContext tc({StrProp("elementCodeSet", "UTF8"), StrProp("traceFilePath", dir.File("trace.log")),
                    IntProp("traceLevel", 3), StrProp("traceLoggerName", "cbeBuilderTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    ZOVEXA_result r{};
    ZOVEXA_AuditEvent *event = ZOVEXA_AuditEvent_Create(tc.ctx, "AUDIT_AUTHN", &r);
    ASSERT_NE(ZOVEXA_AuditEvent_AddStringElement(event, "first", "x", 1, &r), nullptr);
    ASSERT_NE(ZOVEXA_AuditEvent_AddElement(event, "odd", 27, ZOVEXA_Malloc(4), 0, &r), nullptr);
    EXPECT_EQ(vexaAuditEventToXMLString(tc.ctx, event, &r), nullptr);
    ZOVEXA_Result_Clean(&r);
    ZOVEXA_AuditEvent_Delete(event, &r);
  }
  std::string log = ReadFile(dir.File("trace.log"));
  for (const char *line :
       {"FLOW: Element name is first", "FLOW: return code from buildDOMElement is 0",
        "The element odd has an invalid value type: 27", "FLOW: return code from buildDOMElement is -1",
        "ERROR: buildDOMElement failed...", "ERROR Failed to convert VEXA Audit Event into CBE DOM Element"})
    EXPECT_NE(log.find(line), std::string::npos) << line;
}

TEST(DateTime, FractionsAreSixDigitsInSinglePrecision) {
  TestContext tc;
  ZOVEXA_result r{};
  const struct {
    long sec, usec;
    const char *text;
  } cases[] = {
      {kSec, 0, "2009-03-05T14:07:31Z"},
      {kSec, 500000, "2009-03-05T14:07:31.500000Z"},
      {kSec, 1, "2009-03-05T14:07:31.000001Z"},
      {kSec, 999999, "2009-03-05T14:07:31.999999Z"},
      {0, 0, "1970-01-01T00:00:00Z"},
      {kSec, 16777217, "2009-03-05T14:07:31.777216Z"},  // not a float: exactly it would end in 7
  };
  for (const auto &c : cases) {
    struct timeval tv = {c.sec, c.usec};
    char *text = convertTodateTimeFormat(tc.ctx, &tv, &r);
    EXPECT_STREQ(text, c.text);
    free(text);
  }
}

TEST(TableWriters, ArraysAndTablesSkipWhatIsMissing) {
  TestContext tc;
  ZOVEXA_result r{};
  xc::DOMDocument *doc = createDocument(tc.ctx, "p", &r);
  xc::DOMElement *p = getRootElement(tc.ctx, doc, &r);
  int32_t i1 = -7;
  int64_t l1 = 9000000000LL;
  const void *ints[] = {&i1, nullptr}, *longs[] = {&l1, nullptr}, *strings[] = {"a", "b & c", nullptr};
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, p, "i", ZO_ARRAY_INT, ints, &r), 0);
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, p, "l", ZO_ARRAY_LONG, longs, &r), 0);
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, p, "s", ZO_ARRAY_STRING, strings, &r), 0);
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, p, "x", 4, strings, &r), 0);  // unknown kind: nothing
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, p, "x", ZO_ARRAY_STRING, nullptr, &r), 0);
  EXPECT_EQ(addArrayToElement(tc.ctx, doc, nullptr, "x", ZO_ARRAY_STRING, strings, &r), 0);
  const attr_val table[] = {{"a", "1"}, {"skipped", nullptr}, {"b", "2"}, {nullptr, "after the end"}};
  EXPECT_EQ(addAttrsToElement(tc.ctx, table, p, &r), 0);
  EXPECT_EQ(addChldsToElement(tc.ctx, doc, table, p, &r), 0);
  EXPECT_EQ(Dump(ToNode(p)),
            Dump(Node{"p",
                      {{"a", "1"}, {"b", "2"}},
                      "",
                      {Node{"i", {}, "-7", {}}, Node{"l", {}, "9000000000", {}}, Node{"s", {}, "a", {}},
                       Node{"s", {}, "b & c", {}}, Child("a", "string", "1"), Child("b", "string", "2")}}));
  EXPECT_EQ(addAttrsToElement(tc.ctx, nullptr, p, &r), -1);
  EXPECT_EQ(addChldsToElement(tc.ctx, doc, table, nullptr, &r), -1);
  EXPECT_EQ(r.count, 0);
  deleteDocument(tc.ctx, doc, &r);
}

}  // namespace
