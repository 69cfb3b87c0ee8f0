#include "cbe/dom_helper.h"

#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XercesVersion.hpp>

#include "capis/results.h"
#include "capis/trace.h"
#include "capis/zo_memory.h"
#include "cbe/xml_writer.h"

#define ZO_SRC "cbe/dom_helper"

namespace xc = XERCES_CPP_NAMESPACE;

int initializeXMLParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  try {
    xc::XMLPlatformUtils::Initialize();
  } catch (const xc::XMLException &e) {
    char *reason = xc::XMLString::transcode(e.getMessage());
    std::string text = reason != nullptr ? reason : "unknown error";
    xc::XMLString::release(&reason);
    ZO_ERROR(context, "[initializeXMLParser]", "XML Parser Initialization failed: %s", text.c_str());
    ZOreport(context, result, 62, static_cast<uint32_t>(text.size() + 1), 2, "initializeXMLParser()",
             text.c_str());
    return -1;
  } catch (...) {
    ZO_ERROR(context, "[initializeXMLParser]", "XML Parser Initialization failed: %s", "unknown error");
    ZOreport(context, result, 62, 0, 2, "initializeXMLParser()", "unknown error");
    return -1;
  }
  return 0;
}

void terminateXMLParser() {
  try {
    xc::XMLPlatformUtils::Terminate();
  } catch (...) {
    // Nothing can be done about a failed shutdown; the process goes on.
  }
}

namespace {

// Building an event makes about 170 nodes, and each public DOM mutation in
// Xerces-C 3.2 (appendChild, setAttribute, setValue, even its own fast
// append) runs several cross-class dynamic_casts, which dominate the cost of
// encoding. Nodes made by the "Core" implementation and its parser are always
// the library's *Impl classes, so the helpers below reach the same state by
// setting the fields those operations set, after checking what they check.
// Anything unusual takes the public path.
// The fields used are those of the 3.2 series, whose shared library (soname
// libxerces-c-3.2) keeps one layout; another series must be looked at again.
static_assert(XERCES_VERSION_MAJOR == 3 && XERCES_VERSION_MINOR == 2,
              "the DOM helpers' direct linking is written for Xerces-C 3.2");

xc::DOMElementImpl *impl(xc::DOMElement *element) { return static_cast<xc::DOMElementImpl *>(element); }

// The node record and sibling links of an element or text node; false for
// other kinds, which the direct append leaves to the library.
bool nodeParts(xc::DOMNode *node, xc::DOMNodeImpl **record, xc::DOMChildNode **links) {
  switch (node->getNodeType()) {
    case xc::DOMNode::ELEMENT_NODE:
      *record = &static_cast<xc::DOMElementImpl *>(node)->fNode;
      *links = &static_cast<xc::DOMElementImpl *>(node)->fChild;
      return true;
    case xc::DOMNode::TEXT_NODE:
      *record = &static_cast<xc::DOMTextImpl *>(node)->fNode;
      *links = &static_cast<xc::DOMTextImpl *>(node)->fChild;
      return true;
    default:
      return false;
  }
}

// Appends `child` (new, without a parent, of the parent's document) as the
// last child of `parent` (an element or attribute, whose child list is
// `children`), as the library's own append does: the first child's previous
// link points at the last child. Returns false, changing nothing, when a node
// involved is of a kind it does not handle.
bool appendDirect(xc::DOMNode *parent, xc::DOMParentNode &children, xc::DOMNode *child) {
  xc::DOMNodeImpl *childRecord, *ignored;
  xc::DOMChildNode *childLinks, *firstLinks = nullptr, *lastLinks = nullptr;
  if (!nodeParts(child, &childRecord, &childLinks)) return false;
  xc::DOMNode *first = children.fFirstChild;
  xc::DOMNode *last = nullptr;
  if (first != nullptr) {
    if (!nodeParts(first, &ignored, &firstLinks)) return false;
    last = firstLinks->previousSibling;
    if (!nodeParts(last, &ignored, &lastLinks)) return false;
  }
  childRecord->fOwnerNode = parent;
  childRecord->isOwned(true);
  if (first == nullptr) {
    children.fFirstChild = child;
    childRecord->isFirstChild(true);
    childLinks->previousSibling = child;
  } else {
    lastLinks->nextSibling = child;
    childLinks->previousSibling = last;
    firstLinks->previousSibling = child;
  }
  // Node lists made earlier notice the change through the document's count.
  static_cast<xc::DOMDocumentImpl *>(children.fOwnerDocument)->changed();
  return true;
}

bool appendDirect(xc::DOMElement *parent, xc::DOMNode *child) {
  return appendDirect(parent, impl(parent)->fParent, child);
}

// Gives a new attribute its value: a text child, marked specified.
void setNewAttributeValue(xc::DOMAttrImpl *attr, const XMLCh *value) {
  xc::DOMNode *text = attr->fParent.fOwnerDocument->createTextNode(value);
  if (!appendDirect(attr, attr->fParent, text)) attr->fParent.appendChildFast(text);
  attr->fNode.isSpecified(true);
}

// True when `child` may be appended to `parent` without the public checks:
// it has no parent, both belong to one document, and it is not `parent` or
// an ancestor of it (which would make a cycle).
bool canAppendFast(xc::DOMElement *parent, xc::DOMElement *child) {
  if (impl(child)->fNode.isOwned() || impl(parent)->fNode.isReadOnly()) return false;
  if (impl(child)->fParent.fOwnerDocument != impl(parent)->fParent.fOwnerDocument) return false;
  if (parent == child) return false;
  if (impl(child)->fParent.fFirstChild == nullptr) return true;  // a leaf is nobody's ancestor
  for (xc::DOMElement *node = parent;;) {
    if (node == child) return false;
    const xc::DOMNodeImpl &n = impl(node)->fNode;
    if (!n.isOwned() || n.fOwnerNode == nullptr || n.fOwnerNode->getNodeType() != xc::DOMNode::ELEMENT_NODE)
      return true;
    node = static_cast<xc::DOMElement *>(n.fOwnerNode);
  }
}

// Sets attribute name = value on a new or existing attribute of `element`.
void setAttributeFast(xc::DOMElement *element, const XMLCh *name, const XMLCh *value) {
  xc::DOMElementImpl *e = impl(element);
  if (e->fAttributes == nullptr || e->fNode.isReadOnly() || e->fAttributes->getNamedItem(name) != nullptr) {
    element->setAttribute(name, value);  // replacing a value: the public path
    return;
  }
  auto *attr = static_cast<xc::DOMAttrImpl *>(e->fParent.fOwnerDocument->createAttribute(name));
  setNewAttributeValue(attr, value);
  e->fAttributes->reserve(4);  // allocates the list of a map that has none yet
  e->fAttributes->setNamedItemFast(attr);
}

// How each helper reports a failure: its trace tag, the function named in
// messages 62 to 64, and its error lines for a DOM exception code (message
// 63), a library message (62) and a failure that carries neither (64).
struct DomOp {
  const char *tag;
  const char *function;
  const char *codeLine;     // "%d" (and first a "%s" detail when withDetail)
  const char *messageLine;  // "%s"
  const char *plainLine;
  bool domMessage;  // a DOMException is reported by its message (62), not its code
  bool withDetail;  // codeLine names the helper's text argument first
};

enum DomOpId {
  kCreateParser,
  kDeleteParser,
  kCreateDocument,
  kDeleteDocument,
  kGetRootElement,
  kCreateElement,
  kCreateAttribute,
  kAddAttributeToElement,
  kSetAttribute,
  kSetAttributeValue,
  kAddElementToElement,
  kSetElementData,
  kGetElementData,
  kGetFirstChildElement,
  kGetElementByTagName,
  kDeleteElement,
  kConvertToDOM,
  kConvertToString,
  kDomOpCount
};

constexpr DomOp kDomOps[] = {
    {"[createXercesDOMParser]", "createXercesDOMParser()", "Failed to create a DOM parser. Error code is %d",
     "Failed to create a DOM parser: %s", "Failed to create a DOM parser", false, false},
    {"[deleteXercesDOMParser]", "deleteXercesDOMParser()", "Failed to delete a DOM parser. Error code is %d",
     "Failed to delete a DOM parser: %s", "Failed to delete a DOM parser", false, false},
    {"[createDocument]", "createDocument()", "Failed to create a DOMDocument object. Error code is %d",
     "Failed to create a DOMDocument object: %s", "Failed to create a DOMDocument object", true, false},
    {"[deleteDocument]", "deleteDocument()",
     "Failed to relinquish resources associated with DOMDocument. Error code is %d",
     "Failed to relinquish resources associated with DOMDocument: %s",
     "Failed to relinquish resources associated with DOMDocument", false, false},
    {"[getRootElement]", "getRootElement()", "Failed to get the root element. Error code  is %d:",
     "Failed to get the root element: %s", "Failed to get the root element", false, false},
    {"[createElement]", "createElement()", "Failed to crate an element. Error code is %d",
     "Failed to crate an element: %s", "Failed to crate an element", false, false},
    {"[createAttribute]", "createAttribute()", "Failed to create an attribute. Error code is %d",
     "Failed to create an attribute: %s", "Failed to create an attribute", false, false},
    {"[addAttributeToElement]", "setAttribute()",
     "Failed to set an attribute node of an element. Error code is %d",
     "Failed to set an attribute node of an element: %s", "Failed to set an attribute node of an element",
     false, false},
    {"[setAttribute]", "setAttribute()", "Failed to set the attribute of an element. Error code is %d",
     "Failed to set the attribute of an element: %s", "Failed to set the attribute of an element", false,
     false},
    {"[setAttributeValue]", "setAttributeValue()",
     "Failed to set the value of an attribute. Error code is %d",
     "Failed to set the value of an attribute: %s", "Failed to set the value of an attribute", false, false},
    {"[addElementToElement]", "addElementToElement()",
     "Failed to append an element to another element. Error code is %d",
     "Failed to append an element to another element: %s", "Failed to append an element to another element",
     false, false},
    {"[setElementData]", "setElementData()", "Failed to set the element data. Error code is %d",
     "Failed to set the element data: %s", "Failed to set the element data", false, false},
    {"[getElementData]", "getElementData()", "Failed to get the element data. Error code is %d",
     "Failed to get the element data: %s", "Failed to get the element data", false, false},
    {"[getFirstChildElement]", "getFirstChildElement()",
     "Failed to get the first child element. Error code is %d", "Failed to get the first child element: %s",
     "Failed to get the first child element", false, false},
    {"[getElementByTagName]", "getElementByTagName()",
     "Failed to get the element with the tag %s. Error code is %d",
     "Failed to get the element with a tag: %s", "Failed to get the element with a tag", false, true},
    {"[deleteElement]", "deleteElement()", "Failed to release the document of an element. Error code is %d",
     "Failed to release the document of an element: %s", "Failed to release the document of an element",
     false, false},
    {"[convertToDOM]", "convertToDOM()", "Failed to convert a string into a DOMElement. Error code is %d",
     "Failed to convert a string into a DOMElement: %s", "Failed to convert a string into a DOMElement", true,
     false},
    {"[convertToString]", "convertToString()",
     "Failed to convert a DOMElement into a string. Error code is %d",
     "Failed to convert a DOMElement into a string: %s", "Failed to convert a DOMElement into a string",
     false, false},
};

static_assert(std::size(kDomOps) == kDomOpCount, "one entry per helper, in DomOpId order");

// Library messages in reports are cut to this many bytes (with the NUL), so
// that reporting needs no allocation of its own.
constexpr size_t kMessageBytes = 1024;

// The UTF-8 form of a library message, cut to fit `out`.
void MessageText(const XMLCh *message, char (&out)[kMessageBytes]) {
  size_t units = message != nullptr ? xc::XMLString::stringLen(message) : 0;
  if (units > (kMessageBytes - 1) / 3) units = (kMessageBytes - 1) / 3;
  utf16ToUtf8(message != nullptr ? message : u"", units, out);
}

void ReportNull(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id, int line,
                const char *name) {
  const char *format = id == kGetRootElement ? "The parameter %s passed to the function is NULL"
                                             : "The required parameter %s passed to the function is NULL";
  if (ZOtraceEnabled(context, ZO_TL_ERROR))
    ZOtraceWrite(context, ZO_SRC, kDomOps[id].tag, line, format, name);
  ZOreport(context, result, 9, static_cast<uint32_t>(strlen(name)), 1, name);
}

void ReportOutOfMemory(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id,
                       int line) {
  if (ZOtraceEnabled(context, ZO_TL_ERROR))
    ZOtraceWrite(context, ZO_SRC, kDomOps[id].tag, line, "Error: Cannot allocate memory");
  ZOreport(context, result, 1, 0, 0);
}

void ReportMessage(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id, int line,
                   const char *message) {
  const DomOp &op = kDomOps[id];
  if (ZOtraceEnabled(context, ZO_TL_ERROR))
    ZOtraceWrite(context, ZO_SRC, op.tag, line, op.messageLine, message);
  ZOreport(context, result, 62, static_cast<uint32_t>(strlen(op.function) + strlen(message)), 2, op.function,
           message);
}

void ReportCode(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id, int line,
                int code, const char *detail) {
  const DomOp &op = kDomOps[id];
  if (ZOtraceEnabled(context, ZO_TL_ERROR)) {
    if (op.withDetail)
      ZOtraceWrite(context, ZO_SRC, op.tag, line, op.codeLine, detail != nullptr ? detail : "", code);
    else
      ZOtraceWrite(context, ZO_SRC, op.tag, line, op.codeLine, code);
  }
  ZOreport(context, result, 63, static_cast<uint32_t>(strlen(op.function) + 12), 2, op.function, code);
}

void ReportPlain(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id, int line) {
  const DomOp &op = kDomOps[id];
  if (ZOtraceEnabled(context, ZO_TL_ERROR)) ZOtraceWrite(context, ZO_SRC, op.tag, line, "%s", op.plainLine);
  ZOreport(context, result, 64, static_cast<uint32_t>(strlen(op.function)), 1, op.function);
}

// Called only from a catch block: reports the exception in flight as helper
// `id`'s failure. `detail` is the text argument some error lines name.
void ReportException(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result, DomOpId id, int line,
                     const char *detail = nullptr) {
  char message[kMessageBytes];
  try {
    throw;
  } catch (const xc::DOMException &e) {
    if (kDomOps[id].domMessage) {
      MessageText(e.getMessage(), message);
      ReportMessage(context, result, id, line, message);
    } else {
      ReportCode(context, result, id, line, e.code, detail);
    }
  } catch (const xc::OutOfMemoryException &) {
    ReportOutOfMemory(context, result, id, line);
  } catch (const std::bad_alloc &) {
    ReportOutOfMemory(context, result, id, line);
  } catch (const xc::XMLException &e) {
    MessageText(e.getMessage(), message);
    ReportMessage(context, result, id, line, message);
  } catch (const xc::SAXException &e) {  // SAXParseException too
    MessageText(e.getMessage(), message);
    ReportMessage(context, result, id, line, message);
  } catch (...) {
    ReportPlain(context, result, id, line);
  }
}

// Records the first error of a parse; the parser stops at the first fatal
// one, and without a handler it would not say anything at all.
class FirstErrorHandler : public xc::ErrorHandler {
 public:
  void warning(const xc::SAXParseException &) override {}
  void error(const xc::SAXParseException &e) override { record(e); }
  void fatalError(const xc::SAXParseException &e) override { record(e); }
  void resetErrors() override { failed_ = false; }

  bool failed() const { return failed_; }
  const char *message() const { return message_; }

 private:
  void record(const xc::SAXParseException &e) {
    if (failed_) return;
    failed_ = true;
    MessageText(e.getMessage(), message_);
  }

  bool failed_ = false;
  char message_[kMessageBytes] = "";
};

// Settings of one parse, undone when it ends however it ends: the handler and
// the security manager live on the stack of convertToDOM.
class ParseSettings {
 public:
  ParseSettings(xc::XercesDOMParser *parser, FirstErrorHandler *handler, xc::SecurityManager *security)
      : parser_(parser) {
    // Text is read as it is: no DTD or entity is fetched from anywhere, no
    // validation, and entity expansion within an internal subset is bounded.
    parser->setValidationScheme(xc::XercesDOMParser::Val_Never);
    parser->setDoNamespaces(false);
    parser->setDoSchema(false);
    parser->setLoadExternalDTD(false);
    parser->setDisableDefaultEntityResolution(true);
    parser->setCreateEntityReferenceNodes(false);
    parser->setExitOnFirstFatalError(true);
    parser->setSecurityManager(security);
    parser->setErrorHandler(handler);
  }
  ~ParseSettings() {
    parser_->setErrorHandler(nullptr);
    parser_->setSecurityManager(nullptr);
  }
  ParseSettings(const ParseSettings &) = delete;
  ParseSettings &operator=(const ParseSettings &) = delete;

 private:
  xc::XercesDOMParser *parser_;
};

}  // namespace

// A NULL argument `arg` of helper `op`: message 9 naming it, then `failed`.
#define ZO_REQUIRE(op, arg, name, failed)                  \
  do {                                                     \
    if ((arg) == nullptr) {                                \
      ReportNull(context, result, (op), __LINE__, (name)); \
      return failed;                                       \
    }                                                      \
  } while (0)

xc::XercesDOMParser *createXercesDOMParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result) {
  try {
    return new xc::XercesDOMParser();
  } catch (...) {
    ReportException(context, result, kCreateParser, __LINE__);
    return nullptr;
  }
}

void deleteXercesDOMParser(const ZOVEXA_AuditClientContext *context, xc::XercesDOMParser *parser,
                           ZOVEXA_result *result) {
  ZO_REQUIRE(kDeleteParser, parser, "parser", );
  try {
    delete parser;
  } catch (...) {
    ReportException(context, result, kDeleteParser, __LINE__);
  }
}

xc::DOMDocument *createDocument(const ZOVEXA_AuditClientContext *context, const char *rootName,
                                ZOVEXA_result *result) {
  ZO_REQUIRE(kCreateDocument, rootName, "name", nullptr);
  try {
    xc::DOMImplementation *core = xc::DOMImplementationRegistry::getDOMImplementation(u"Core");
    if (core == nullptr) {
      ReportPlain(context, result, kCreateDocument, __LINE__);
      return nullptr;
    }
    Utf16Text name(rootName);
    return core->createDocument(nullptr, name.get(), nullptr);
  } catch (...) {
    ReportException(context, result, kCreateDocument, __LINE__);
    return nullptr;
  }
}

int deleteDocument(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, ZOVEXA_result *result) {
  ZO_REQUIRE(kDeleteDocument, doc, "doc", -1);
  try {
    doc->release();
    return 0;
  } catch (...) {
    ReportException(context, result, kDeleteDocument, __LINE__);
    return -1;
  }
}

xc::DOMElement *getRootElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                               ZOVEXA_result *result) {
  ZO_REQUIRE(kGetRootElement, doc, "doc", nullptr);
  try {
    xc::DOMElement *root = doc->getDocumentElement();
    if (root == nullptr) ReportPlain(context, result, kGetRootElement, __LINE__);
    return root;
  } catch (...) {
    ReportException(context, result, kGetRootElement, __LINE__);
    return nullptr;
  }
}

xc::DOMElement *createElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                              const char *name, ZOVEXA_result *result) {
  ZO_REQUIRE(kCreateElement, doc, "doc", nullptr);
  ZO_REQUIRE(kCreateElement, name, "name", nullptr);
  try {
    Utf16Text text(name);
    return doc->createElement(text.get());
  } catch (...) {
    ReportException(context, result, kCreateElement, __LINE__);
    return nullptr;
  }
}

xc::DOMAttr *createAttribute(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, const char *name,
                             const char *value, ZOVEXA_result *result) {
  ZO_REQUIRE(kCreateAttribute, doc, "doc", nullptr);
  ZO_REQUIRE(kCreateAttribute, name, "name", nullptr);
  ZO_REQUIRE(kCreateAttribute, value, "value", nullptr);
  xc::DOMAttr *attribute = nullptr;
  try {
    Utf16Text nameText(name);
    attribute = doc->createAttribute(nameText.get());
    Utf16Text valueText(value);
    setNewAttributeValue(static_cast<xc::DOMAttrImpl *>(attribute), valueText.get());
    return attribute;
  } catch (...) {
    ReportException(context, result, kCreateAttribute, __LINE__);
    if (attribute != nullptr) attribute->release();
    return nullptr;
  }
}

int addAttributeToElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                          xc::DOMAttr *attribute, ZOVEXA_result *result) {
  ZO_REQUIRE(kAddAttributeToElement, element, "element", -1);
  ZO_REQUIRE(kAddAttributeToElement, attribute, "attribute", -1);
  try {
    element->setAttributeNode(attribute);
    return 0;
  } catch (...) {
    ReportException(context, result, kAddAttributeToElement, __LINE__);
    return -1;
  }
}

int setAttribute(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element, const char *name,
                 const char *value, ZOVEXA_result *result) {
  ZO_REQUIRE(kSetAttribute, element, "element", -1);
  ZO_REQUIRE(kSetAttribute, name, "name", -1);
  ZO_REQUIRE(kSetAttribute, value, "value", -1);
  try {
    Utf16Text nameText(name);
    Utf16Text valueText(value);
    setAttributeFast(element, nameText.get(), valueText.get());
    return 0;
  } catch (...) {
    ReportException(context, result, kSetAttribute, __LINE__);
    return -1;
  }
}

int setAttributeValue(const ZOVEXA_AuditClientContext *context, xc::DOMAttr *attribute, const char *value,
                      ZOVEXA_result *result) {
  ZO_REQUIRE(kSetAttributeValue, attribute, "attribute", -1);
  ZO_REQUIRE(kSetAttributeValue, value, "value", -1);
  try {
    Utf16Text text(value);
    attribute->setValue(text.get());
    return 0;
  } catch (...) {
    ReportException(context, result, kSetAttributeValue, __LINE__);
    return -1;
  }
}

int addElementToElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *pElement,
                        xc::DOMElement *cElement, ZOVEXA_result *result) {
  ZO_REQUIRE(kAddElementToElement, pElement, "pElement", -1);
  ZO_REQUIRE(kAddElementToElement, cElement, "cElement", -1);
  if (pElement == cElement) {
    // The DOM's cycle check starts at the parent's parent and lets this one
    // through; the writer would then never finish.
    ReportCode(context, result, kAddElementToElement, __LINE__, xc::DOMException::HIERARCHY_REQUEST_ERR,
               nullptr);
    return -1;
  }
  try {
    if (!canAppendFast(pElement, cElement) || !appendDirect(pElement, cElement)) pElement->appendChild(cElement);
    return 0;
  } catch (...) {
    ReportException(context, result, kAddElementToElement, __LINE__);
    return -1;
  }
}

int setElementData(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *element,
                   const char *data, ZOVEXA_result *result) {
  ZO_REQUIRE(kSetElementData, doc, "doc", -1);
  ZO_REQUIRE(kSetElementData, element, "element", -1);
  ZO_REQUIRE(kSetElementData, data, "data", -1);
  xc::DOMText *text = nullptr;
  try {
    Utf16Text utf16(data);
    text = doc->createTextNode(utf16.get());
    // A new text node of the element's document: nothing else to check.
    if (impl(element)->fParent.fOwnerDocument != doc || impl(element)->fNode.isReadOnly() ||
        !appendDirect(element, text))
      element->appendChild(text);
    return 0;
  } catch (...) {
    ReportException(context, result, kSetElementData, __LINE__);
    if (text != nullptr && text->getParentNode() == nullptr) text->release();
    return -1;
  }
}

char *getElementData(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                     ZOVEXA_result *result) {
  ZO_REQUIRE(kGetElementData, element, "element", nullptr);
  try {
    XmlWriter writer(64);
    char *text = writer.writeTextContent(element) ? writer.release() : nullptr;
    if (text == nullptr) ReportOutOfMemory(context, result, kGetElementData, __LINE__);
    return text;
  } catch (...) {
    ReportException(context, result, kGetElementData, __LINE__);
    return nullptr;
  }
}

xc::DOMElement *getFirstChildElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                                     ZOVEXA_result *result) {
  ZO_REQUIRE(kGetFirstChildElement, element, "element", nullptr);
  try {
    return element->getFirstElementChild();
  } catch (...) {
    ReportException(context, result, kGetFirstChildElement, __LINE__);
    return nullptr;
  }
}

xc::DOMElement *getElementByTagName(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                                    const char *tagName, ZOVEXA_result *result) {
  ZO_REQUIRE(kGetElementByTagName, doc, "doc", nullptr);
  ZO_REQUIRE(kGetElementByTagName, tagName, "tagName", nullptr);
  try {
    Utf16Text name(tagName);
    xc::DOMNodeList *list = doc->getElementsByTagName(name.get());
    XMLSize_t count = list != nullptr ? list->getLength() : 0;
    ZO_FLOW(context, kDomOps[kGetElementByTagName].tag, "Number of elements in list is %d",
            static_cast<int>(count));
    return count > 0 ? static_cast<xc::DOMElement *>(list->item(0)) : nullptr;
  } catch (...) {
    ReportException(context, result, kGetElementByTagName, __LINE__, tagName);
    return nullptr;
  }
}

int deleteElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element, ZOVEXA_result *result) {
  ZO_REQUIRE(kDeleteElement, element, "element", -1);
  try {
    element->getOwnerDocument()->release();
    return 0;
  } catch (...) {
    ReportException(context, result, kDeleteElement, __LINE__);
    return -1;
  }
}

xc::DOMDocument *convertToDOM(const ZOVEXA_AuditClientContext *context, xc::XercesDOMParser *parser,
                              const char *xmlString, ZOVEXA_result *result) {
  ZO_REQUIRE(kConvertToDOM, parser, "parser", nullptr);
  ZO_REQUIRE(kConvertToDOM, xmlString, "xmlString", nullptr);
  xc::DOMDocument *doc = nullptr;
  try {
    FirstErrorHandler handler;
    xc::SecurityManager security;
    ParseSettings settings(parser, &handler, &security);
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte *>(xmlString), strlen(xmlString),
                                 u"vexaInfo");
    source.setEncoding(u"UTF-8");  // whatever a declaration says: text is UTF-8 here
    parser->parse(source);
    // Adopted even after a failure, so that a reused parser does not keep
    // every broken document until it is deleted.
    doc = parser->adoptDocument();
    if (handler.failed() || parser->getErrorCount() > 0 || doc == nullptr) {
      if (doc != nullptr) doc->release();
      if (handler.failed())
        ReportMessage(context, result, kConvertToDOM, __LINE__, handler.message());
      else
        ReportPlain(context, result, kConvertToDOM, __LINE__);
      return nullptr;
    }
    return doc;
  } catch (...) {
    ReportException(context, result, kConvertToDOM, __LINE__);
    try {
      if (doc == nullptr) doc = parser->adoptDocument();
      if (doc != nullptr) doc->release();
    } catch (...) {
      // The parser releases what it still holds when it is deleted.
    }
    return nullptr;
  }
}

char *convertToString(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                      ZOVEXA_result *result) {
  ZO_REQUIRE(kConvertToString, element, "element", nullptr);
  try {
    XmlWriter writer;
    char *text = writer.writeElement(element) ? writer.release() : nullptr;
    if (text == nullptr) ReportOutOfMemory(context, result, kConvertToString, __LINE__);
    return text;
  } catch (...) {
    ReportException(context, result, kConvertToString, __LINE__);
    return nullptr;
  }
}
