#include "tools/audit_server/soap_request.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "tools/audit_server/soap_reply.h"

namespace auditserver {
namespace {

// The element that carries the in-scope namespace declarations around an
// event's content when that content is parsed on its own.
constexpr char kWrapper[] = "zovexa-event-content";

struct Attribute {
  std::string name;
  std::string value;
};

struct Tag {
  bool end = false;
  bool selfClosing = false;
  std::string qname;
  std::vector<Attribute> attributes;
  size_t finish = 0;  // one past the closing '>'
};

// prefix ("" for the default namespace) -> namespace name
using NsScope = std::map<std::string, std::string>;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

void AppendUtf8(unsigned long cp, std::string *out) {
  if (cp < 0x80) {
    *out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    *out += static_cast<char>(0xC0 | (cp >> 6));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    *out += static_cast<char>(0xE0 | (cp >> 12));
    *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (cp >> 18));
    *out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// Attribute values of the envelope: the predefined entities and character
// references; anything else is kept as written.
std::string DecodeEntities(const std::string &raw) {
  static const std::map<std::string, char> kNamed = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  std::string out;
  for (size_t i = 0; i < raw.size(); ++i) {
    size_t semi = raw[i] == '&' ? raw.find(';', i) : std::string::npos;
    if (semi == std::string::npos) {
      out += raw[i];
      continue;
    }
    std::string name = raw.substr(i + 1, semi - i - 1);
    if (auto it = kNamed.find(name); it != kNamed.end()) {
      out += it->second;
    } else if (name.size() > 1 && name[0] == '#') {
      bool hex = name[1] == 'x';
      AppendUtf8(std::strtoul(name.c_str() + (hex ? 2 : 1), nullptr, hex ? 16 : 10), &out);
    } else {
      out += raw.substr(i, semi - i + 1);
    }
    i = semi;
  }
  return out;
}

std::string Utf8(const XMLCh *s) {
  if (s == nullptr) return "";
  xercesc::TranscodeToStr t(s, "UTF-8");
  return std::string(reinterpret_cast<const char *>(t.str()), t.length());
}

// Walks the markup of the envelope outside the events: tags with their
// attributes, skipping text, comments and processing instructions.
class Scanner {
 public:
  explicit Scanner(const std::string &text) : s_(text) {}

  size_t pos() const { return pos_; }
  void set_pos(size_t p) { pos_ = p; }

  // The next start or end tag; false with *error at the end of the input or
  // on markup that has no place in an envelope.
  bool NextTag(Tag *tag, std::string *error) {
    for (;;) {
      size_t lt = s_.find('<', pos_);
      if (lt == std::string::npos) {
        *error = "the request ends early";
        return false;
      }
      if (Skip(lt, "<!--", "-->") || Skip(lt, "<?", "?>") || Skip(lt, "<![CDATA[", "]]>")) {
        if (pos_ == std::string::npos) {
          *error = "unterminated markup";
          return false;
        }
        continue;
      }
      if (s_.compare(lt, 2, "<!") == 0) {
        *error = "document type declarations are not accepted";
        return false;
      }
      return ReadTag(lt, tag, error);
    }
  }

  // Moves past the element whose start tag was just read.
  bool SkipElement(const Tag &start, std::string *error) {
    if (start.selfClosing) return true;
    int depth = 1;
    Tag tag;
    while (depth > 0) {
      if (!NextTag(&tag, error)) return false;
      if (tag.end) {
        --depth;
      } else if (!tag.selfClosing) {
        ++depth;
      }
    }
    return true;
  }

  // Finds the end tag `qname` that closes an element whose content starts at
  // pos(), counting nested elements of the same name but nothing else, so
  // malformed content in between does not matter. Sets the content end and
  // moves past the end tag.
  bool FindEndTag(const std::string &qname, size_t *contentEnd) {
    int depth = 0;
    size_t p = pos_;
    for (;;) {
      size_t lt = s_.find('<', p);
      if (lt == std::string::npos) return false;
      pos_ = lt;
      if (Skip(lt, "<!--", "-->") || Skip(lt, "<?", "?>") || Skip(lt, "<![CDATA[", "]]>")) {
        if (pos_ == std::string::npos) return false;
        p = pos_;
        continue;
      }
      bool end = s_.compare(lt + 1, 1, "/") == 0;
      size_t name = lt + (end ? 2 : 1);
      size_t after = name + qname.size();
      if (s_.compare(name, qname.size(), qname) != 0 || after >= s_.size() ||
          !(IsBlank(s_[after]) || s_[after] == '>' || s_[after] == '/')) {
        p = lt + 1;
        continue;
      }
      size_t gt = s_.find('>', after);
      if (gt == std::string::npos) return false;
      if (end && depth == 0) {
        *contentEnd = lt;
        pos_ = gt + 1;
        return true;
      }
      if (end) {
        --depth;
      } else if (s_[gt - 1] != '/') {
        ++depth;
      }
      p = gt + 1;
    }
  }

 private:
  // When s_ has `open` at `at`: moves pos_ past the matching `close`
  // (npos when there is none) and returns true.
  bool Skip(size_t at, const char *open, const char *close) {
    std::string o(open);
    if (s_.compare(at, o.size(), o) != 0) return false;
    size_t end = s_.find(close, at + o.size());
    pos_ = end == std::string::npos ? end : end + std::string(close).size();
    return true;
  }

  size_t SkipBlanks(size_t p) const {
    while (p < s_.size() && IsBlank(s_[p])) ++p;
    return p;
  }

  size_t NameEnd(size_t p) const {
    while (p < s_.size() && !IsBlank(s_[p]) && s_[p] != '>' && s_[p] != '/' && s_[p] != '=') ++p;
    return p;
  }

  bool ReadTag(size_t lt, Tag *tag, std::string *error) {
    *tag = Tag();
    *error = "malformed tag";
    size_t p = lt + 1;
    if (p < s_.size() && s_[p] == '/') {
      tag->end = true;
      ++p;
    }
    size_t nameEnd = NameEnd(p);
    if (nameEnd == p) return false;
    tag->qname = s_.substr(p, nameEnd - p);
    p = SkipBlanks(nameEnd);
    for (;;) {
      if (p >= s_.size()) return false;
      if (s_[p] == '>') break;
      if (s_.compare(p, 2, "/>") == 0 && !tag->end) {
        tag->selfClosing = true;
        ++p;
        break;
      }
      if (tag->end) return false;
      size_t attrEnd = NameEnd(p);
      if (attrEnd == p) return false;
      Attribute a{s_.substr(p, attrEnd - p), ""};
      p = SkipBlanks(attrEnd);
      if (p >= s_.size() || s_[p] != '=') return false;
      p = SkipBlanks(p + 1);
      if (p >= s_.size() || (s_[p] != '"' && s_[p] != '\'')) return false;
      size_t close = s_.find(s_[p], p + 1);
      if (close == std::string::npos) return false;
      a.value = DecodeEntities(s_.substr(p + 1, close - p - 1));
      tag->attributes.push_back(std::move(a));
      p = SkipBlanks(close + 1);
    }
    tag->finish = p + 1;
    pos_ = tag->finish;
    error->clear();
    return true;
  }

  const std::string &s_;
  size_t pos_ = 0;
};

// The scope inside an element: the parent's plus its xmlns declarations.
NsScope Enter(const NsScope &parent, const Tag &tag) {
  NsScope scope = parent;
  for (const auto &a : tag.attributes) {
    if (a.name == "xmlns") scope[""] = a.value;
    if (a.name.rfind("xmlns:", 0) == 0) scope[a.name.substr(6)] = a.value;
  }
  return scope;
}

struct ExpandedName {
  std::string ns;
  std::string local;
  bool bound = true;
};

ExpandedName Expand(const NsScope &scope, const std::string &qname, bool isAttribute) {
  size_t colon = qname.find(':');
  std::string prefix = colon == std::string::npos ? "" : qname.substr(0, colon);
  ExpandedName n;
  n.local = colon == std::string::npos ? qname : qname.substr(colon + 1);
  if (prefix.empty() && isAttribute) return n;
  auto it = scope.find(prefix);
  if (it != scope.end()) {
    n.ns = it->second;
  } else if (!prefix.empty()) {
    n.bound = false;
  }
  return n;
}

bool Is(const NsScope &scope, const Tag &tag, const char *ns, const char *local) {
  ExpandedName n = Expand(scope, tag.qname, false);
  return n.bound && n.ns == ns && n.local == local;
}

bool IsNil(const NsScope &scope, const Tag &tag) {
  for (const auto &a : tag.attributes) {
    ExpandedName n = Expand(scope, a.name, true);
    if (n.bound && n.ns == kXsiNs && n.local == "nil") return a.value == "true" || a.value == "1";
  }
  return false;
}

class ErrorCollector : public xercesc::ErrorHandler {
 public:
  void warning(const xercesc::SAXParseException &) override {}
  void error(const xercesc::SAXParseException &e) override { Record(e); }
  void fatalError(const xercesc::SAXParseException &e) override { Record(e); }
  void resetErrors() override { first_.clear(); }
  const std::string &first() const { return first_; }
  bool any() const { return !first_.empty(); }

 private:
  void Record(const xercesc::SAXParseException &e) {
    if (first_.empty()) first_ = Utf8(e.getMessage());
    if (first_.empty()) first_ = "parse error";
  }
  std::string first_;
};

bool AllBlank(const XMLCh *s, XMLSize_t n) {
  for (XMLSize_t i = 0; i < n; ++i) {
    if (s[i] != u' ' && s[i] != u'\t' && s[i] != u'\r' && s[i] != u'\n') return false;
  }
  return true;
}

bool IsNsDeclaration(const XMLCh *qname) {
  return xercesc::XMLString::equals(qname, u"xmlns") || xercesc::XMLString::startsWith(qname, u"xmlns:");
}

// Follows the parse of one event's content inside the wrapper element: the
// elements directly in the wrapper, blank or not text beside them, and for
// the first of them its local name, the attributes read from it and whether
// it has neither attributes (namespace declarations aside) nor content other
// than blank text.
class ContentTracker : public xercesc::DefaultHandler {
 public:
  void Reset() {
    depth_ = 0;
    sawWrapper_ = false;
    textBeside_ = false;
    elements_ = 0;
    local_.clear();
    globalInstanceId_.reset();
    extensionName_.reset();
    creationTime_.reset();
    bare_ = true;
  }

  void startElement(const XMLCh *const, const XMLCh *const localname, const XMLCh *const,
                    const xercesc::Attributes &attrs) override {
    if (depth_ == 0) {
      sawWrapper_ = true;
    } else if (depth_ == 1) {
      if (++elements_ == 1) ReadFirst(localname, attrs);
    } else if (InFirst()) {
      bare_ = false;
    }
    ++depth_;
  }
  void endElement(const XMLCh *const, const XMLCh *const, const XMLCh *const) override { --depth_; }
  void characters(const XMLCh *const chars, const XMLSize_t length) override {
    if (depth_ == 1) {
      if (!AllBlank(chars, length)) textBeside_ = true;
    } else if (InFirst()) {
      if (!AllBlank(chars, length)) bare_ = false;
    }
  }
  void ignorableWhitespace(const XMLCh *const, const XMLSize_t) override {}
  void processingInstruction(const XMLCh *const, const XMLCh *const) override {
    if (InFirst()) bare_ = false;
  }
  void comment(const XMLCh *const, const XMLSize_t) override {
    if (InFirst()) bare_ = false;
  }
  void startCDATA() override {
    if (InFirst()) bare_ = false;
  }

  bool sawWrapper() const { return sawWrapper_; }
  bool textBeside() const { return textBeside_; }
  int elements() const { return elements_; }
  const std::string &local() const { return local_; }
  bool bare() const { return bare_; }
  const std::optional<std::string> &globalInstanceId() const { return globalInstanceId_; }
  const std::optional<std::string> &extensionName() const { return extensionName_; }
  const std::optional<std::string> &creationTime() const { return creationTime_; }

 private:
  // Directly inside the first element of the wrapper.
  bool InFirst() const { return depth_ == 2 && elements_ == 1; }

  void ReadFirst(const XMLCh *localname, const xercesc::Attributes &attrs) {
    local_ = Utf8(localname);
    for (XMLSize_t i = 0; i < attrs.getLength(); ++i) {
      if (IsNsDeclaration(attrs.getQName(i))) continue;
      bare_ = false;
      const XMLCh *uri = attrs.getURI(i);
      if (uri != nullptr && *uri != 0) continue;
      const XMLCh *name = attrs.getLocalName(i);
      if (xercesc::XMLString::equals(name, u"globalInstanceId")) {
        globalInstanceId_ = Utf8(attrs.getValue(i));
      } else if (xercesc::XMLString::equals(name, u"extensionName")) {
        extensionName_ = Utf8(attrs.getValue(i));
      } else if (xercesc::XMLString::equals(name, u"creationTime")) {
        creationTime_ = Utf8(attrs.getValue(i));
      }
    }
  }

  int depth_ = 0;
  bool sawWrapper_ = false;
  bool textBeside_ = false;
  int elements_ = 0;
  std::string local_;
  std::optional<std::string> globalInstanceId_, extensionName_, creationTime_;
  bool bare_ = true;
};

// The reader for the contents of one request, with its handlers.
struct ContentReader {
  ContentReader() : reader(xercesc::XMLReaderFactory::createXMLReader()) {
    using xercesc::XMLUni;
    reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, true);
    // Namespace declarations are reported as attributes, so that they are
    // seen (and skipped) by their names.
    reader->setFeature(XMLUni::fgSAX2CoreNameSpacePrefixes, true);
    reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
    reader->setFeature(XMLUni::fgXercesDynamic, false);
    reader->setFeature(XMLUni::fgXercesSchema, false);
    reader->setFeature(XMLUni::fgXercesLoadSchema, false);
    reader->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
    reader->setContentHandler(&tracker);
    reader->setLexicalHandler(&tracker);
    reader->setErrorHandler(&errors);
  }

  std::unique_ptr<xercesc::SAX2XMLReader> reader;
  ContentTracker tracker;
  ErrorCollector errors;
};

// Parses one event's content on its own, with the namespace declarations in
// scope at the event, and checks that it is one CommonBaseEvent element.
void CheckContent(ContentReader *cr, const NsScope &scope, const std::string &content, EventEntry *entry) {
  std::string doc = std::string("<") + kWrapper;
  for (const auto &[prefix, ns] : scope) {
    doc += prefix.empty() ? " xmlns=\"" : " xmlns:" + prefix + "=\"";
    doc += XmlEscape(ns) + "\"";
  }
  doc += ">" + content + "</" + kWrapper + ">";

  ErrorCollector *errors = &cr->errors;
  ContentTracker &t = cr->tracker;
  errors->resetErrors();
  t.Reset();
  try {
    xercesc::MemBufInputSource src(reinterpret_cast<const XMLByte *>(doc.data()), doc.size(), "event");
    cr->reader->parse(src);
  } catch (const xercesc::XMLException &e) {
    entry->reason = "not well-formed XML: " + Utf8(e.getMessage());
    return;
  } catch (...) {
    entry->reason = "not well-formed XML";
    return;
  }
  if (errors->any()) {
    entry->reason = "not well-formed XML: " + errors->first();
    return;
  }
  if (!t.sawWrapper()) {
    entry->reason = "not well-formed XML";
    return;
  }
  if (t.textBeside()) {
    entry->reason = "text beside the CommonBaseEvent element";
    return;
  }
  if (t.elements() != 1) {
    entry->reason = t.elements() == 0 ? "no element" : "more than one element";
    return;
  }
  if (t.local() != "CommonBaseEvent") {
    entry->reason = "element " + t.local() + " is not a CommonBaseEvent";
    return;
  }

  entry->valid = true;
  entry->globalInstanceId = t.globalInstanceId();
  entry->extensionName = t.extensionName();
  entry->creationTime = t.creationTime();
  entry->bare = t.bare();

  size_t first = content.find_first_not_of(" \t\r\n");
  size_t last = content.find_last_not_of(" \t\r\n");
  entry->xml = content.substr(first, last - first + 1);
}

// The part of ParseSendEvent up to the first child of sendEvent; leaves the
// scanner inside sendEvent and *scope at its scope. False with *error when the
// envelope does not have that shape; *none when sendEvent is empty.
bool EnterSendEvent(Scanner *scan, NsScope *scope, bool *none, std::string *error) {
  Tag tag;
  if (!scan->NextTag(&tag, error)) return false;
  *scope = Enter({}, tag);
  if (tag.end || !Is(*scope, tag, kSoapEnvelopeNs, "Envelope")) {
    *error = "not a SOAP 1.1 envelope";
    return false;
  }
  NsScope envelope = *scope;
  for (;;) {
    if (tag.selfClosing || !scan->NextTag(&tag, error) || tag.end) {
      *error = "the envelope has no Body";
      return false;
    }
    *scope = Enter(envelope, tag);
    if (Is(*scope, tag, kSoapEnvelopeNs, "Body")) break;
    if (!scan->SkipElement(tag, error)) return false;
  }
  NsScope body = *scope;
  if (tag.selfClosing || !scan->NextTag(&tag, error) || tag.end) {
    *error = "the Body is empty";
    return false;
  }
  *scope = Enter(body, tag);
  if (!Is(*scope, tag, kVexaNs, "sendEvent")) {
    *error = "the Body holds " + tag.qname + ", not sendEvent";
    return false;
  }
  *none = tag.selfClosing;
  return true;
}

}  // namespace

size_t SendEventRequest::FirstInvalid() const {
  for (size_t i = 0; i < events.size(); ++i) {
    if (!events[i].valid) return i + 1;
  }
  return 0;
}

SendEventRequest ParseSendEvent(const std::string &body) {
  SendEventRequest req;
  Scanner scan(body);
  NsScope sendEvent;
  bool none = false;
  if (!EnterSendEvent(&scan, &sendEvent, &none, &req.error)) return req;
  req.ok = true;
  if (none) return req;

  ContentReader reader;

  Tag tag;
  for (;;) {
    if (!scan.NextTag(&tag, &req.error)) {
      req.ok = false;
      return req;
    }
    if (tag.end) return req;  // the end of sendEvent
    NsScope scope = Enter(sendEvent, tag);
    if (!Is(scope, tag, kVexaNs, "event")) {
      req.ok = false;
      req.error = "sendEvent holds " + tag.qname + ", not event";
      return req;
    }
    EventEntry &entry = req.events.emplace_back();
    bool nil = IsNil(scope, tag);
    if (tag.selfClosing) {
      entry.reason = nil ? "a nil event" : "an empty event";
      continue;
    }
    size_t contentStart = scan.pos();
    size_t contentEnd = 0;
    if (!scan.FindEndTag(tag.qname, &contentEnd)) {
      entry.reason = "the event has no end tag";
      return req;
    }
    if (nil) {
      entry.reason = "a nil event";
      continue;
    }
    CheckContent(&reader, scope, body.substr(contentStart, contentEnd - contentStart), &entry);
  }
}

}  // namespace auditserver
