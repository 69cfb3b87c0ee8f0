#include "cbe/xml_writer.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMCharacterData.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/dom/DOMProcessingInstruction.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/util/XMLString.hpp>

#include "capis/zo_memory.h"

namespace {

// The most bytes one UTF-16 unit can become: "&quot;".
constexpr size_t kMaxBytesPerUnit = 6;

constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";  // U+FFFD

// What each ASCII character becomes, per escape kind: `plain` characters
// are copied, the others replaced by `escape`.
struct EscapeTable {
  std::array<bool, 128> plain;
  std::array<std::string_view, 128> escape;
};

// XML 1.0 has no form at all, escaped or not, for the C0 controls other than
// tab, line feed and carriage return, nor for U+FFFE, U+FFFF and unpaired
// surrogates: one of them makes a parser refuse the whole text. The DOM
// accepts them in data, though, so in XML output each becomes U+FFFD: the
// event still arrives, with only that character marked as lost.
//
// A literal CR in text and tab, LF, CR in attribute values would come back
// from a parser as LF or as a space (line-end and attribute-value
// normalisation), so those are written as character references. ">" is
// always escaped in text so that "]]>" never appears.
constexpr EscapeTable MakeEscapeTable(int kind) {
  EscapeTable table{};
  if (kind != 0) {  // kind 0, no escaping: data handed back to callers
    for (int c = 0; c < 0x20; ++c)
      if (c != '\t' && c != '\n' && c != '\r') table.escape[c] = kReplacementUtf8;
  }
  if (kind == 2) {  // element text
    table.escape['&'] = "&amp;";
    table.escape['<'] = "&lt;";
    table.escape['>'] = "&gt;";
    table.escape['\r'] = "&#13;";
  } else if (kind == 3) {  // attribute value between double quotes
    table.escape['&'] = "&amp;";
    table.escape['<'] = "&lt;";
    table.escape['"'] = "&quot;";
    table.escape['\t'] = "&#9;";
    table.escape['\n'] = "&#10;";
    table.escape['\r'] = "&#13;";
  }
  for (int c = 0; c < 128; ++c) table.plain[c] = table.escape[c].empty();
  return table;
}

// Indexed by XmlWriter::Escape: kNone, kName, kText, kAttribute.
constexpr std::array<EscapeTable, 4> kEscapeTables = {MakeEscapeTable(0), MakeEscapeTable(1),
                                                      MakeEscapeTable(2), MakeEscapeTable(3)};

inline char *PutBytes(char *p, std::string_view bytes) {
  memcpy(p, bytes.data(), bytes.size());
  return p + bytes.size();
}

// UTF-16 to UTF-8 with the table's escapes; `strict` also replaces U+FFFE and
// U+FFFF. Unpaired surrogates always become U+FFFD: UTF-8 has no form for
// them. Returns the end of the written bytes.
char *Encode(const XMLCh *s, size_t units, char *p, const EscapeTable &table, bool strict) {
  for (size_t i = 0; i < units; ++i) {
    uint32_t c = s[i];
    if (c < 0x80) {
      if (table.plain[c])
        *p++ = static_cast<char>(c);
      else
        p = PutBytes(p, table.escape[c]);
    } else if (c < 0x800) {
      *p++ = static_cast<char>(0xC0 | (c >> 6));
      *p++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      uint32_t low = i + 1 < units ? s[i + 1] : 0;
      if (c <= 0xDBFF && low >= 0xDC00 && low <= 0xDFFF) {
        uint32_t cp = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        *p++ = static_cast<char>(0xF0 | (cp >> 18));
        *p++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        *p++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        *p++ = static_cast<char>(0x80 | (cp & 0x3F));
        ++i;
      } else {
        p = PutBytes(p, kReplacementUtf8);
      }
    } else if (strict && c >= 0xFFFE) {
      p = PutBytes(p, kReplacementUtf8);
    } else {
      *p++ = static_cast<char>(0xE0 | (c >> 12));
      *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      *p++ = static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return p;
}

// The open ancestors of a walk. Asking the DOM for a node's parent costs a
// checked cross-cast inside this library on every call; a walk knows its
// ancestors anyway.
class NodeStack {
 public:
  void push(const xc::DOMNode *node) {
    if (size_ < kInline)
      inline_[size_] = node;
    else
      more_.push_back(node);
    ++size_;
  }
  const xc::DOMNode *pop() {
    --size_;
    if (size_ < kInline) return inline_[size_];
    const xc::DOMNode *node = more_.back();
    more_.pop_back();
    return node;
  }

 private:
  static constexpr size_t kInline = 64;
  const xc::DOMNode *inline_[kInline];
  std::vector<const xc::DOMNode *> more_;
  size_t size_ = 0;
};

// An attribute value and its length. DOMAttr::getValue pays a checked
// cross-cast even for the usual single text child, which is read directly.
const XMLCh *AttributeValue(const xc::DOMAttr *attribute, size_t *units) {
  const xc::DOMNode *first = attribute->getFirstChild();
  if (first != nullptr && first->getNextSibling() == nullptr &&
      first->getNodeType() == xc::DOMNode::TEXT_NODE) {
    const auto *text = static_cast<const xc::DOMText *>(first);
    *units = text->getLength();
    return text->getData();
  }
  const XMLCh *value = attribute->getValue();
  *units = xc::XMLString::stringLen(value);
  return value;
}

}  // namespace

size_t utf8ToUtf16(const char *in, size_t length, XMLCh *out) {
  const auto *s = reinterpret_cast<const unsigned char *>(in);
  const unsigned char *end = s + length;
  XMLCh *o = out;
  while (s < end) {
    uint32_t c = *s;
    if (c < 0x80) {
      *o++ = static_cast<XMLCh>(c);
      ++s;
      continue;
    }
    // The well-formed sequences: the lead byte fixes the number of
    // continuation bytes and the range of the first one, which excludes
    // overlong forms, surrogates and values above U+10FFFF.
    int more;
    uint32_t lo = 0x80, hi = 0xBF, cp;
    if (c >= 0xC2 && c <= 0xDF) {
      more = 1;
      cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      more = 2;
      cp = c & 0x0F;
      if (c == 0xE0) lo = 0xA0;
      if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      more = 3;
      cp = c & 0x07;
      if (c == 0xF0) lo = 0x90;
      if (c == 0xF4) hi = 0x8F;
    } else {
      *o++ = 0xFFFD;
      ++s;
      continue;
    }
    ++s;
    bool complete = true;
    for (int k = 0; k < more; ++k, lo = 0x80, hi = 0xBF) {
      if (s == end || *s < lo || *s > hi) {
        complete = false;  // the bytes read so far are one ill-formed sequence
        break;
      }
      cp = (cp << 6) | (*s++ & 0x3F);
    }
    if (!complete) {
      *o++ = 0xFFFD;
    } else if (cp >= 0x10000) {
      cp -= 0x10000;
      *o++ = static_cast<XMLCh>(0xD800 + (cp >> 10));
      *o++ = static_cast<XMLCh>(0xDC00 + (cp & 0x3FF));
    } else {
      *o++ = static_cast<XMLCh>(cp);
    }
  }
  *o = 0;
  return static_cast<size_t>(o - out);
}

size_t utf16ToUtf8(const XMLCh *in, size_t units, char *out) {
  char *end = Encode(in, units, out, kEscapeTables[0], false);
  *end = '\0';
  return static_cast<size_t>(end - out);
}

std::string utf16ToUtf8String(const XMLCh *in) {
  if (in == nullptr) return std::string();
  size_t units = xc::XMLString::stringLen(in);
  std::string out(3 * units + 1, '\0');
  out.resize(utf16ToUtf8(in, units, out.data()));
  return out;
}

Utf16Text::Utf16Text(const char *utf8) {
  size_t length = strlen(utf8);
  text_ = length < kInlineUnits ? inline_ : new XMLCh[length + 1];
  utf8ToUtf16(utf8, length, text_);
}

Utf16Text::~Utf16Text() {
  if (text_ != inline_) delete[] text_;
}

XmlWriter::~XmlWriter() { free(buffer_); }

bool XmlWriter::reserve(size_t more) {
  size_t needed = length_ + more + 1;  // and the closing NUL
  if (needed <= capacity_) return true;
  size_t capacity = capacity_ == 0 ? (initialCapacity_ > 0 ? initialCapacity_ : 1) : capacity_;
  while (capacity < needed) {
    if (capacity > SIZE_MAX / 2) return false;
    capacity *= 2;
  }
  void *grown = ZOrealloc(buffer_, capacity);
  if (grown == nullptr) return false;
  buffer_ = static_cast<char *>(grown);
  capacity_ = capacity;
  return true;
}

void XmlWriter::put(const XMLCh *s, size_t units, Escape escape) {
  char *end =
      Encode(s, units, buffer_ + length_, kEscapeTables[static_cast<int>(escape)], escape != Escape::kNone);
  length_ = static_cast<size_t>(end - buffer_);
}

void XmlWriter::put(const char *ascii, size_t bytes) {
  memcpy(buffer_ + length_, ascii, bytes);
  length_ += bytes;
}

bool XmlWriter::putString(const XMLCh *s, Escape escape) {
  size_t units = xc::XMLString::stringLen(s);
  if (!reserve(kMaxBytesPerUnit * units)) return false;
  put(s, units, escape);
  return true;
}

bool XmlWriter::putGuarded(const XMLCh *s, XMLCh mark, XMLCh next, bool atEnd) {
  size_t units = xc::XMLString::stringLen(s);
  if (!reserve(kMaxBytesPerUnit * units)) return false;  // 3 bytes and a space at most
  size_t start = 0;
  for (size_t i = 0; i < units; ++i) {
    if (s[i] != mark || (i + 1 < units ? s[i + 1] != next : !atEnd)) continue;
    put(s + start, i + 1 - start, Escape::kName);
    put(" ", 1);
    start = i + 1;
  }
  put(s + start, units - start, Escape::kName);
  return true;
}

bool XmlWriter::startTag(const xc::DOMElement *element, bool empty) {
  if (!reserve(1)) return false;
  put("<", 1);
  if (!putString(element->getTagName(), Escape::kName)) return false;
  const xc::DOMNamedNodeMap *attributes = element->getAttributes();
  XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
  for (XMLSize_t i = 0; i < count; ++i) {
    const auto *attribute = static_cast<const xc::DOMAttr *>(attributes->item(i));
    const XMLCh *name = attribute->getName();
    size_t nameUnits = xc::XMLString::stringLen(name);
    size_t valueUnits;
    const XMLCh *value = AttributeValue(attribute, &valueUnits);
    if (!reserve(kMaxBytesPerUnit * (nameUnits + valueUnits) + 4)) return false;
    put(" ", 1);
    put(name, nameUnits, Escape::kName);
    put("=\"", 2);
    put(value, valueUnits, Escape::kAttribute);
    put("\"", 1);
  }
  if (!reserve(2)) return false;
  if (empty)
    put("/>", 2);
  else
    put(">", 1);
  return true;
}

bool XmlWriter::leaf(const xc::DOMNode *node) {
  switch (node->getNodeType()) {
    case xc::DOMNode::TEXT_NODE:
    case xc::DOMNode::CDATA_SECTION_NODE: {
      const auto *data = static_cast<const xc::DOMCharacterData *>(node);
      XMLSize_t units = data->getLength();
      if (!reserve(kMaxBytesPerUnit * units)) return false;
      put(data->getData(), units, Escape::kText);
      return true;
    }
    case xc::DOMNode::COMMENT_NODE:
      if (!reserve(4)) return false;
      put("<!--", 4);
      if (!putGuarded(node->getNodeValue(), u'-', u'-', true) || !reserve(3)) return false;
      put("-->", 3);
      return true;
    case xc::DOMNode::PROCESSING_INSTRUCTION_NODE: {
      const auto *pi = static_cast<const xc::DOMProcessingInstruction *>(node);
      if (!reserve(2)) return false;
      put("<?", 2);
      if (!putString(pi->getTarget(), Escape::kName)) return false;
      const XMLCh *data = pi->getData();
      if (data != nullptr && *data != 0) {
        if (!reserve(1)) return false;
        put(" ", 1);
        if (!putGuarded(data, u'?', u'>', false)) return false;
      }
      if (!reserve(2)) return false;
      put("?>", 2);
      return true;
    }
    default:  // nothing else can sit inside an element
      return true;
  }
}

bool XmlWriter::writeElement(const xc::DOMElement *element) {
  // Iterative, so that a deep parsed document cannot exhaust the stack.
  const xc::DOMNode *root = element;
  const xc::DOMNode *node = root;
  NodeStack parents;
  for (;;) {
    const xc::DOMNode *child = node->getFirstChild();
    switch (node->getNodeType()) {
      case xc::DOMNode::ELEMENT_NODE:
        if (!startTag(static_cast<const xc::DOMElement *>(node), child == nullptr)) return false;
        break;
      case xc::DOMNode::ENTITY_REFERENCE_NODE:  // its content, in place
        break;
      default:
        if (!leaf(node)) return false;
        child = nullptr;
    }
    if (child != nullptr) {
      parents.push(node);
      node = child;
      continue;
    }
    // Close every element whose last child is done.
    for (;;) {
      if (node == root) return true;
      const xc::DOMNode *next = node->getNextSibling();
      if (next != nullptr) {
        node = next;
        break;
      }
      node = parents.pop();
      if (node->getNodeType() != xc::DOMNode::ELEMENT_NODE) continue;
      if (!reserve(2)) return false;
      put("</", 2);
      if (!putString(static_cast<const xc::DOMElement *>(node)->getTagName(), Escape::kName) || !reserve(1))
        return false;
      put(">", 1);
    }
  }
}

bool XmlWriter::writeTextContent(const xc::DOMNode *root) {
  const xc::DOMNode *node = root;
  NodeStack parents;
  for (;;) {
    const xc::DOMNode *child = nullptr;
    switch (node->getNodeType()) {
      case xc::DOMNode::TEXT_NODE:
      case xc::DOMNode::CDATA_SECTION_NODE: {
        const auto *data = static_cast<const xc::DOMCharacterData *>(node);
        XMLSize_t units = data->getLength();
        if (!reserve(kMaxBytesPerUnit * units)) return false;
        put(data->getData(), units, Escape::kNone);
        break;
      }
      case xc::DOMNode::ELEMENT_NODE:
      case xc::DOMNode::ENTITY_REFERENCE_NODE:
        child = node->getFirstChild();
        break;
      default:  // comments and processing instructions are not text
        break;
    }
    if (child != nullptr) {
      parents.push(node);
      node = child;
      continue;
    }
    for (;;) {
      if (node == root) return true;
      const xc::DOMNode *next = node->getNextSibling();
      if (next != nullptr) {
        node = next;
        break;
      }
      node = parents.pop();
    }
  }
}

char *XmlWriter::release() {
  if (!reserve(0)) return nullptr;
  buffer_[length_] = '\0';
  char *text = buffer_;
  buffer_ = nullptr;
  length_ = 0;
  capacity_ = 0;
  return text;
}
