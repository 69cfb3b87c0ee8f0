#include "soap/soap_response.h"

#include <utility>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/TransService.hpp>

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

std::string Utf8(const XMLCh *s) {
  if (s == nullptr || *s == 0) return {};
  xc::TranscodeToStr utf8(s, "UTF-8");
  return std::string(reinterpret_cast<const char *>(utf8.str()), utf8.length());
}

// Keeps the first error; the parser stops at the first fatal one.
class FirstError : public xc::ErrorHandler {
 public:
  void warning(const xc::SAXParseException &) override {}
  void error(const xc::SAXParseException &e) override { keep(e); }
  void fatalError(const xc::SAXParseException &e) override { keep(e); }
  void resetErrors() override { message.clear(); }
  std::string message;

 private:
  void keep(const xc::SAXParseException &e) {
    if (!message.empty()) return;
    message = Utf8(e.getMessage()) + " (line " + std::to_string(e.getLineNumber()) + ", column " +
              std::to_string(e.getColumnNumber()) + ")";
  }
};

void Escape(const std::string &text, bool attribute, std::string *out) {
  for (char c : text) {
    switch (c) {
      case '&':
        *out += "&amp;";
        break;
      case '<':
        *out += "&lt;";
        break;
      case '>':
        *out += "&gt;";
        break;
      case '"':
        *out += attribute ? "&quot;" : "\"";
        break;
      case '\t':
        *out += attribute ? "&#9;" : "\t";
        break;
      case '\n':
        *out += attribute ? "&#10;" : "\n";
        break;
      case '\r':
        *out += "&#13;";
        break;
      default:
        *out += c;
    }
  }
}

// In-scope namespace bindings, innermost last: {prefix, uri}; "" is the
// default namespace.
using Scope = std::vector<std::pair<std::string, std::string>>;

std::string Lookup(const Scope &scope, const std::string &prefix) {
  for (auto it = scope.rbegin(); it != scope.rend(); ++it) {
    if (it->first == prefix) return it->second;
  }
  return {};
}

// Writes the element and its subtree. Each element declares the prefixes it
// and its attributes use that are not bound yet, so the text stands alone
// even when the declarations were on ancestors outside the subtree.
void WriteElement(const xc::DOMElement *element, Scope scope, std::string *out) {
  std::string name = Utf8(element->getNodeName());
  *out += "<" + name;
  const xc::DOMNamedNodeMap *attrs = element->getAttributes();
  XMLSize_t count = attrs != nullptr ? attrs->getLength() : 0;
  for (XMLSize_t i = 0; i < count; ++i) {
    auto *attr = static_cast<const xc::DOMAttr *>(attrs->item(i));
    std::string qname = Utf8(attr->getName());
    std::string value = Utf8(attr->getValue());
    if (qname == "xmlns") scope.emplace_back("", value);
    if (qname.rfind("xmlns:", 0) == 0) scope.emplace_back(qname.substr(6), value);
    *out += " " + qname + "=\"";
    Escape(value, true, out);
    *out += "\"";
  }
  auto declare = [&](const std::string &prefix, const std::string &uri) {
    if (prefix == "xml" || prefix == "xmlns" || Lookup(scope, prefix) == uri) return;
    scope.emplace_back(prefix, uri);
    *out += prefix.empty() ? " xmlns=\"" : " xmlns:" + prefix + "=\"";
    Escape(uri, true, out);
    *out += "\"";
  };
  declare(Utf8(element->getPrefix()), Utf8(element->getNamespaceURI()));
  for (XMLSize_t i = 0; i < count; ++i) {
    const xc::DOMNode *attr = attrs->item(i);
    std::string prefix = Utf8(attr->getPrefix());
    if (!prefix.empty()) declare(prefix, Utf8(attr->getNamespaceURI()));
  }
  const xc::DOMNode *child = element->getFirstChild();
  if (child == nullptr) {
    *out += "/>";
    return;
  }
  *out += ">";
  for (; child != nullptr; child = child->getNextSibling()) {
    switch (child->getNodeType()) {
      case xc::DOMNode::ELEMENT_NODE:
        WriteElement(static_cast<const xc::DOMElement *>(child), scope, out);
        break;
      case xc::DOMNode::TEXT_NODE:
      case xc::DOMNode::CDATA_SECTION_NODE:
        Escape(Utf8(child->getNodeValue()), false, out);
        break;
      case xc::DOMNode::COMMENT_NODE:
        *out += "<!--" + Utf8(child->getNodeValue()) + "-->";
        break;
      default:
        break;
    }
  }
  *out += "</" + name + ">";
}

std::string ElementText(const xc::DOMElement *element) {
  std::string text;
  WriteElement(element, {}, &text);
  return text;
}

bool Is(const xc::DOMElement *element, const char *localName, const char *ns) {
  return Utf8(element->getLocalName()) == localName &&
         (ns == nullptr || Utf8(element->getNamespaceURI()) == ns);
}

// The simple text of a fault's detail: its text when it holds no element;
// blank text counts as none.
std::string SimpleDetail(const xc::DOMElement *detail) {
  if (detail->getFirstElementChild() != nullptr) return {};
  std::string text = Utf8(detail->getTextContent());
  return text.find_first_not_of(" \t\r\n") == std::string::npos ? std::string() : text;
}

std::unique_ptr<SoapFault> ReadFault(const xc::DOMElement *element) {
  auto fault = std::make_unique<SoapFault>();
  // The fault's parts are unqualified; a qualified one is accepted too.
  for (const xc::DOMElement *c = element->getFirstElementChild(); c != nullptr;
       c = c->getNextElementSibling()) {
    std::string local = Utf8(c->getLocalName());
    if (local == "faultcode") fault->faultCode = Utf8(c->getTextContent());
    if (local == "faultstring") fault->faultString = Utf8(c->getTextContent());
    if (local == "faultactor") fault->faultActor = Utf8(c->getTextContent());
    if (local == "detail") fault->detail = SimpleDetail(c);
  }
  fault->xml = ElementText(element);
  return fault;
}

}  // namespace

bool ZOparseSoapResponse(const std::string &text, SoapResponse *response, std::string *error) {
  // A SOAP message carries no document type declaration; refusing it before
  // parsing also keeps entity expansion out.
  if (text.find("<!DOCTYPE") != std::string::npos) {
    *error = "the answer carries a document type declaration";
    return false;
  }
  try {
    xc::XercesDOMParser parser;
    FirstError errors;
    parser.setErrorHandler(&errors);
    parser.setDoNamespaces(true);
    parser.setValidationScheme(xc::XercesDOMParser::Val_Never);
    parser.setLoadExternalDTD(false);
    parser.setDisableDefaultEntityResolution(true);
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte *>(text.data()), text.size(), "soap-answer",
                                 false);
    parser.parse(source);
    if (parser.getErrorCount() != 0 || !errors.message.empty()) {
      *error = "the answer is not well-formed XML: " + errors.message;
      return false;
    }
    const xc::DOMDocument *doc = parser.getDocument();
    const xc::DOMElement *root = doc != nullptr ? doc->getDocumentElement() : nullptr;
    if (root == nullptr || !Is(root, "Envelope", kSoapEnvelopeNs)) {
      *error = "the answer is not a SOAP 1.1 envelope";
      return false;
    }
    const xc::DOMElement *body = root->getFirstElementChild();
    while (body != nullptr && !Is(body, "Body", kSoapEnvelopeNs)) body = body->getNextElementSibling();
    if (body == nullptr) {
      *error = "the answer's envelope has no Body";
      return false;
    }
    const xc::DOMElement *first = body->getFirstElementChild();
    if (first != nullptr && Is(first, "Fault", kSoapEnvelopeNs)) {
      response->fault = ReadFault(first);
    } else if (first != nullptr) {
      response->messageName = Utf8(first->getLocalName());
      response->messageNs = Utf8(first->getNamespaceURI());
      for (const xc::DOMElement *c = first->getFirstElementChild(); c != nullptr;
           c = c->getNextElementSibling()) {
        response->parts.push_back(ElementText(c));
      }
    }
    return true;
  } catch (const xc::XMLException &e) {
    *error = "the answer could not be parsed: " + Utf8(e.getMessage());
  } catch (const xc::DOMException &e) {
    *error = "the answer could not be parsed: " + Utf8(e.getMessage());
  } catch (const xc::OutOfMemoryException &) {
    *error = "out of memory while parsing the answer";
  }
  return false;
}
