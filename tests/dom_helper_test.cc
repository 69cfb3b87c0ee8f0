// The DOM helpers and the XML writer: texts that must survive a trip through
// convertToString and convertToDOM, the characters XML cannot carry, UTF-8
// independent of the locale, argument checks and DOM failures as messages.
#include "cbe/dom_helper.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "capis/zo_memory.h"
#include "cbe/xml_writer.h"
#include "tests/capis_test_util.h"
#include "zovexa.h"

namespace {

const bool xmlParser = UseXmlParser();

std::string Take(char *text) {
  std::string s = text != nullptr ? text : "<null>";
  free(text);
  return s;
}

class DomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    doc = createDocument(nullptr, "root", &r);
    root = getRootElement(nullptr, doc, &r);
    parser = createXercesDOMParser(nullptr, &r);
    ASSERT_TRUE(doc != nullptr && root != nullptr && parser != nullptr);
  }
  void TearDown() override {
    for (xc::DOMDocument *d : parsed) EXPECT_EQ(deleteDocument(nullptr, d, &r), 0);
    if (parser != nullptr) deleteXercesDOMParser(nullptr, parser, &r);
    EXPECT_EQ(deleteDocument(nullptr, doc, &r), 0);
    EXPECT_EQ(r.count, 0) << ::testing::PrintToString(Texts(r));
    ZOVEXA_Result_Clean(&r);
  }
  // The root of `text` parsed with the fixture's parser, kept until teardown.
  xc::DOMElement *Parse(const std::string &text) {
    xc::DOMDocument *d = convertToDOM(nullptr, parser, text.c_str(), &r);
    if (d != nullptr) parsed.push_back(d);
    return d != nullptr ? getRootElement(nullptr, d, &r) : nullptr;
  }
  std::string Attribute(xc::DOMElement *e, const char *name) {
    return utf16ToUtf8String(e->getAttribute(Utf16Text(name).get()));
  }
  // The last call reported exactly message `code` with `word` in its text;
  // empties the record.
  ::testing::AssertionResult Said(uint32_t code, const std::string &word) {
    std::vector<std::string> texts = Texts(r);
    uint32_t only = OnlyCode(r);
    ZOVEXA_Result_Clean(&r);
    if (only == code && texts[0].find(word) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << code << " " << word << " vs " << ::testing::PrintToString(texts);
  }

  ZOVEXA_result r{};
  xc::DOMDocument *doc = nullptr;
  xc::DOMElement *root = nullptr;
  xc::XercesDOMParser *parser = nullptr;
  std::vector<xc::DOMDocument *> parsed;
};

#define FFFD "\xEF\xBF\xBD"

// An attribute value and element data in, the text written (when checked),
// and what a parser reads back.
const struct RoundTrip {
  const char *what, *value, *data, *written, *valueBack, *dataBack;
} kRoundTrips[] = {
    {"markup", "q\"a'm&l<g>", "x&y<z>'\"", "<root a=\"q&quot;a'm&amp;l&lt;g>\">x&amp;y&lt;z&gt;'\"</root>",
     "q\"a'm&l<g>", "x&y<z>'\""},
    {"CDATA end", "]]>", "a]]>b", "<root a=\"]]>\">a]]&gt;b</root>", "]]>", "a]]>b"},
    {"white space", "t\tl\nc\rs  e", "l1\r\nl2\tt\n",
     "<root a=\"t&#9;l&#10;c&#13;s  e\">l1&#13;\nl2\tt\n</root>", "t\tl\nc\rs  e", "l1\r\nl2\tt\n"},
    {"non-ASCII", "Jos\xC3\xA9", "\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80",
     "<root a=\"Jos\xC3\xA9\">\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80</root>", "Jos\xC3\xA9",
     "\xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80"},
    // C0 controls and U+FFFE have no XML form; DEL has.
    {"forbidden", "a\x01z\x1f", "b\x0b\x7f\xEF\xBF\xBE",
     "<root a=\"a" FFFD "z" FFFD "\">b" FFFD "\x7f" FFFD "</root>", "a" FFFD "z" FFFD, "b" FFFD "\x7f" FFFD},
    // A truncated pair; an encoded surrogate (three lone faults); an overlong
    // slash (two); a 4-byte form cut off at the end (one).
    {"invalid UTF-8", "a\xC3(b", "\xED\xA0\x80x\xC0\xAFy\xF0\x9F\x98", nullptr, "a" FFFD "(b",
     FFFD FFFD FFFD "x" FFFD FFFD "y" FFFD},
    {"empty", "", "", "<root a=\"\"/>", "", ""},
};

TEST_F(DomTest, TextsSurviveWritingAndParsingInTheCLocale) {
  std::string saved = setlocale(LC_ALL, nullptr);
  setlocale(LC_ALL, "C");
  for (const RoundTrip &c : kRoundTrips) {
    SCOPED_TRACE(c.what);
    xc::DOMDocument *d = createDocument(nullptr, "root", &r);
    xc::DOMElement *e = getRootElement(nullptr, d, &r);
    ASSERT_EQ(setAttribute(nullptr, e, "a", c.value, &r), 0);
    ASSERT_EQ(*c.data == '\0' ? 0 : setElementData(nullptr, d, e, c.data, &r), 0);
    std::string text = Take(convertToString(nullptr, e, &r));
    EXPECT_EQ(c.written != nullptr ? c.written : text, text);
    xc::DOMElement *back = Parse(text);
    ASSERT_NE(back, nullptr) << text;
    EXPECT_EQ(Attribute(back, "a"), c.valueBack);
    EXPECT_EQ(Take(getElementData(nullptr, back, &r)), c.dataBack);
    EXPECT_EQ(Take(convertToString(nullptr, back, &r)), text);  // the parsed copy writes the same
    EXPECT_EQ(deleteDocument(nullptr, d, &r), 0);
  }
  setlocale(LC_ALL, saved.c_str());
}

TEST_F(DomTest, NamesAndLongTextsConvertOnAndOffTheStack) {
  for (size_t n : {158u, 159u, 160u, 161u, 20000u}) {  // around the converter's inline buffer
    SCOPED_TRACE(n);
    std::string value, name = "n\xC3\xA9" + std::to_string(n);
    while (value.size() + 2 <= n) value += "\xC3\xA9";
    value.resize(n, 'x');
    xc::DOMElement *e = createElement(nullptr, doc, name.c_str(), &r);
    ASSERT_EQ(setAttribute(nullptr, e, "v", value.c_str(), &r), 0);
    ASSERT_EQ(setElementData(nullptr, doc, e, value.c_str(), &r), 0);
    xc::DOMElement *back = Parse(Take(convertToString(nullptr, e, &r)));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(utf16ToUtf8String(back->getTagName()), name);
    EXPECT_EQ(Attribute(back, "v"), value);
    EXPECT_EQ(Take(getElementData(nullptr, back, &r)), value);
  }
}

TEST_F(DomTest, WriterShapesAndNodeKinds) {
  xc::DOMElement *a = createElement(nullptr, doc, "a", &r), *b = createElement(nullptr, doc, "b", &r);
  xc::DOMAttr *attr = createAttribute(nullptr, doc, "k", "v1", &r);
  EXPECT_EQ(setAttributeValue(nullptr, attr, "v&2", &r), 0);
  EXPECT_EQ(addAttributeToElement(nullptr, b, attr, &r), 0);
  EXPECT_EQ(addElementToElement(nullptr, root, a, &r) + addElementToElement(nullptr, a, b, &r), 0);
  EXPECT_EQ(setElementData(nullptr, doc, a, "t1", &r) + setElementData(nullptr, doc, root, "t2", &r), 0);
  // Comments and processing instructions cannot be closed early by their
  // text; CDATA is written as text; unpaired surrogates become U+FFFD.
  root->appendChild(doc->createComment(u"c--d-"));
  root->appendChild(doc->createProcessingInstruction(u"pi", u"x?>y"));
  root->appendChild(doc->createCDATASection(u"<]]>"));
  root->appendChild(doc->createTextNode(u"\xD800!\xDC00"));
  std::string text = Take(convertToString(nullptr, root, &r));
  EXPECT_EQ(text, "<root><a><b k=\"v&amp;2\"/>t1</a>t2<!--c- -d- --><?pi x? >y?>&lt;]]&gt;" FFFD "!" FFFD
                  "</root>");
  xc::DOMElement *back = Parse(text);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(Take(getElementData(nullptr, back, &r)), "t1t2<]]>" FFFD "!" FFFD);
  EXPECT_EQ(Take(convertToString(nullptr, b, &r)), "<b k=\"v&amp;2\"/>");

  EXPECT_EQ(getFirstChildElement(nullptr, root, &r), a);  // not the text before it
  EXPECT_EQ(getFirstChildElement(nullptr, b, &r), nullptr);
  EXPECT_EQ(getElementByTagName(nullptr, doc, "b", &r), b);
  EXPECT_EQ(getElementByTagName(nullptr, doc, "none", &r), nullptr);
  EXPECT_EQ(Take(getElementData(nullptr, b, &r)), "");

  // Deep trees are walked without recursion.
  std::string opening, closing;
  for (int i = 0; i < 50000; ++i) {
    ASSERT_EQ(addElementToElement(nullptr, b, createElement(nullptr, doc, "d", &r), &r), 0);
    b = b->getFirstElementChild();
    if (i > 0) opening += "<d>", closing += "</d>";
  }
  EXPECT_EQ(Take(convertToString(nullptr, a->getFirstElementChild()->getFirstElementChild(), &r)),
            opening + "<d/>" + closing);
}

TEST_F(DomTest, ParsingGivesCallerOwnedDocumentsOrNull) {
  xc::DOMDocument *first = convertToDOM(nullptr, parser, "<e a=\"1\">one</e>", &r);
  xc::DOMDocument *second =
      convertToDOM(nullptr, parser, "<!DOCTYPE e [<!ENTITY y \"why\">]><e>&y;<f/></e>", &r);
  ASSERT_TRUE(first != nullptr && second != nullptr);
  // Not well-formed, external entities (never read), unbounded expansion.
  TempDir dir;
  WriteFile(dir.File("secret"), "SECRET");
  std::string bomb = "<!DOCTYPE e [<!ENTITY a \"aaaaaaaaaa\">";
  for (char c = 'b'; c <= 'g'; ++c) {
    bomb += std::string("<!ENTITY ") + c + " \"";
    for (int i = 0; i < 10; ++i) bomb += std::string("&") + static_cast<char>(c - 1) + ";";
    bomb += "\">";
  }
  for (const std::string &text :
       {std::string("<a><b></a>"), std::string(""), std::string("<a/><b/>"),
        std::string("<a>&undefined;</a>"), std::string("<a>\xFF</a>"), bomb + "]><e>&g;</e>",
        "<!DOCTYPE e [<!ENTITY x SYSTEM \"file://" + dir.File("secret") + "\">]><e>&x;</e>"}) {
    EXPECT_EQ(convertToDOM(nullptr, parser, text.c_str(), &r), nullptr);
    EXPECT_TRUE(Said(62, "The function convertToDOM() failed with the following error: ")) << text;
  }
  // The documents outlive the parser that made them.
  deleteXercesDOMParser(nullptr, parser, &r);
  parser = nullptr;
  EXPECT_EQ(Take(getElementData(nullptr, getRootElement(nullptr, first, &r), &r)), "one");
  EXPECT_EQ(Take(convertToString(nullptr, getRootElement(nullptr, second, &r), &r)), "<e>why<f/></e>");
  EXPECT_EQ(deleteElement(nullptr, getRootElement(nullptr, first, &r), &r), 0);
  EXPECT_EQ(deleteDocument(nullptr, second, &r), 0);
}

TEST_F(DomTest, MissingArgumentsAndDomFailuresAreReported) {
  xc::DOMDocument *other = createDocument(nullptr, "other", &r);
  xc::DOMElement *holder = createElement(nullptr, doc, "holder", &r);
  xc::DOMAttr *attr = createAttribute(nullptr, doc, "k", "v", &r);
  ASSERT_EQ(addAttributeToElement(nullptr, holder, attr, &r) + addElementToElement(nullptr, root, holder, &r),
            0);
  const struct {
    std::function<bool()> fails;
    uint32_t code;
    const char *word;
  } cases[] = {
      {[&] { return getRootElement(nullptr, nullptr, &r) == nullptr; }, 9, "'doc'"},
      {[&] { return createElement(nullptr, doc, nullptr, &r) == nullptr; }, 9, "'name'"},
      {[&] { return createDocument(nullptr, nullptr, &r) == nullptr; }, 9, "'name'"},
      {[&] { return createAttribute(nullptr, doc, "k", nullptr, &r) == nullptr; }, 9, "'value'"},
      {[&] { return addAttributeToElement(nullptr, root, nullptr, &r) == -1; }, 9, "'attribute'"},
      {[&] { return setAttribute(nullptr, root, "k", nullptr, &r) == -1; }, 9, "'value'"},
      {[&] { return addElementToElement(nullptr, nullptr, root, &r) == -1; }, 9, "'pElement'"},
      {[&] { return addElementToElement(nullptr, root, nullptr, &r) == -1; }, 9, "'cElement'"},
      {[&] { return setElementData(nullptr, doc, root, nullptr, &r) == -1; }, 9, "'data'"},
      {[&] { return getElementByTagName(nullptr, doc, nullptr, &r) == nullptr; }, 9, "'tagName'"},
      {[&] { return convertToDOM(nullptr, nullptr, "<a/>", &r) == nullptr; }, 9, "'parser'"},
      {[&] { return convertToDOM(nullptr, parser, nullptr, &r) == nullptr; }, 9, "'xmlString'"},
      {[&] { return deleteElement(nullptr, nullptr, &r) == -1; }, 9, "'element'"},
      // DOM exception codes: 5 bad character, 10 attribute in use, 3 cycle, 4 wrong document.
      {[&] { return createElement(nullptr, doc, "1x", &r) == nullptr; }, 63,
       "createElement() failed with the following error: 5"},
      {[&] { return setAttribute(nullptr, root, "a b", "v", &r) == -1; }, 63,
       "setAttribute() failed with the following error: 5"},
      {[&] { return createAttribute(nullptr, doc, "<", "v", &r) == nullptr; }, 63,
       "createAttribute() failed with the following error: 5"},
      {[&] { return addAttributeToElement(nullptr, root, attr, &r) == -1; }, 63,
       "setAttribute() failed with the following error: 10"},
      {[&] { return addElementToElement(nullptr, root, root, &r) == -1; }, 63,
       "addElementToElement() failed with the following error: 3"},
      {[&] { return addElementToElement(nullptr, holder, root, &r) == -1; }, 63,
       "addElementToElement() failed with the following error: 3"},
      {[&] { return addElementToElement(nullptr, root, getRootElement(nullptr, other, &r), &r) == -1; }, 63,
       "addElementToElement() failed with the following error: 4"},
      {[&] { return setElementData(nullptr, other, root, "x", &r) == -1; }, 63,
       "setElementData() failed with the following error: 4"},
      {[&] { return createDocument(nullptr, "", &r) == nullptr; }, 62,
       "createDocument() failed with the following error: "},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.word);
    EXPECT_TRUE(c.fails());
    EXPECT_TRUE(Said(c.code, c.word));
  }
  EXPECT_EQ(Take(convertToString(nullptr, root, &r)), "<root><holder k=\"v\"/></root>");  // nothing changed
  deleteDocument(nullptr, other, &r);
}

// The helpers link new nodes and attribute values themselves; the library's
// own navigation must see exactly what its public operations would have made.
TEST_F(DomTest, NodesAddedByTheHelpersAreWhatTheLibraryNavigates) {
  xc::DOMNodeList *values = doc->getElementsByTagName(Utf16Text("values").get());
  ASSERT_EQ(values->getLength(), 0u);  // a list made before the appends
  xc::DOMElement *a = createElement(nullptr, doc, "values", &r);
  xc::DOMElement *b = createElement(nullptr, doc, "values", &r);
  ASSERT_EQ(setElementData(nullptr, doc, root, "t1", &r) + addElementToElement(nullptr, root, a, &r) +
                addElementToElement(nullptr, root, b, &r) + setElementData(nullptr, doc, root, "t2", &r) +
                setAttribute(nullptr, a, "k", "v1", &r) + setAttribute(nullptr, a, "j", "w", &r) +
                setAttribute(nullptr, a, "k", "v2", &r),
            0);
  EXPECT_EQ(values->getLength(), 2u);
  std::vector<std::string> forward, backward;
  for (xc::DOMNode *n = root->getFirstChild(); n != nullptr; n = n->getNextSibling()) {
    EXPECT_EQ(n->getParentNode(), root);
    forward.push_back(utf16ToUtf8String(n->getNodeName()));
  }
  for (xc::DOMNode *n = root->getLastChild(); n != nullptr; n = n->getPreviousSibling())
    backward.push_back(utf16ToUtf8String(n->getNodeName()));
  EXPECT_EQ(forward, (std::vector<std::string>{"#text", "values", "values", "#text"}));
  EXPECT_EQ(backward, (std::vector<std::string>{"#text", "values", "values", "#text"}));
  xc::DOMAttr *k = a->getAttributeNode(Utf16Text("k").get());
  ASSERT_NE(k, nullptr);
  EXPECT_TRUE(k->getSpecified());
  EXPECT_EQ(k->getOwnerElement(), a);
  EXPECT_EQ(Attribute(a, "k"), "v2");  // a second value replaces the first
  EXPECT_EQ(a->getAttributes()->getLength(), 2u);
  // An attached element moves through the library's own path.
  ASSERT_EQ(addElementToElement(nullptr, b, a, &r), 0);
  EXPECT_EQ(a->getParentNode(), b);
  EXPECT_EQ(Take(convertToString(nullptr, root, &r)), "<root>t1<values><values j=\"w\" k=\"v2\"/></values>t2</root>");
}

TEST_F(DomTest, OutOfMemoryForTheTextGivesNull) {
  ASSERT_EQ(setElementData(nullptr, doc, root, "data", &r), 0);
  for (long n : {1, 2}) {  // 2: when a long text outgrows the first buffer
    for (auto *call : {+[](xc::DOMElement *e, ZOVEXA_result *r) { return convertToString(nullptr, e, r); },
                       +[](xc::DOMElement *e, ZOVEXA_result *r) { return getElementData(nullptr, e, r); }}) {
      ZOsetAllocFailAfter(n);
      EXPECT_EQ(call(root, &r), nullptr);
      ZOsetAllocFailAfter(0);
      EXPECT_TRUE(Said(1, "KZTCC0001E"));
    }
    ASSERT_EQ(setElementData(nullptr, doc, root, std::string(20000, 'x').c_str(), &r), 0);
  }
}

TEST(DomTrace, FailuresAndCountsAreTraced) {
  TempDir dir;
  {
    TestContext tc({StrProp("traceFilePath", dir.File("trace.log")), IntProp("traceLevel", 3),
                    StrProp("traceLoggerName", "domTraceTest")});
    ASSERT_NE(tc.ctx, nullptr);
    ZOVEXA_result r{};
    xc::DOMDocument *d = createDocument(tc.ctx, "root", &r);
    xc::DOMElement *root = getRootElement(tc.ctx, d, &r);
    for (int i = 0; i < 2; ++i) addElementToElement(tc.ctx, root, createElement(tc.ctx, d, "x", &r), &r);
    EXPECT_NE(getElementByTagName(tc.ctx, d, "x", &r), nullptr);
    EXPECT_EQ(createElement(tc.ctx, d, "1x", &r), nullptr);
    EXPECT_EQ(getRootElement(tc.ctx, nullptr, &r), nullptr);
    EXPECT_EQ(setElementData(tc.ctx, d, root, nullptr, &r), -1);
    EXPECT_EQ(Codes(r), (std::vector<uint32_t>{63, 9, 9}));
    deleteDocument(tc.ctx, d, &r);
    ZOVEXA_Result_Clean(&r);
  }
  std::string log = ReadFile(dir.File("trace.log"));
  for (const char *line :
       {"[getElementByTagName]", "Number of elements in list is 2", "[createElement]",
        "Failed to crate an element. Error code is 5", "The parameter doc passed to the function is NULL",
        "The required parameter data passed to the function is NULL"})
    EXPECT_NE(log.find(line), std::string::npos) << line;
}

}  // namespace
