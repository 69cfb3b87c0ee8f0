// UTF-8 text to and from Xerces' UTF-16 without the process locale, and the
// writer that turns a DOM element into XML text.
//
// Every conversion here is plain Unicode arithmetic: a process running in the
// "C" locale keeps "José" and CJK text intact, which the local-code-page
// transcoding of the library would not.
#ifndef ZOVEXA_CBE_XML_WRITER_H_
#define ZOVEXA_CBE_XML_WRITER_H_

#include <cstddef>
#include <string>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>

namespace xc = XERCES_CPP_NAMESPACE;

// Converts `length` bytes of UTF-8 into `out`, which has room for length + 1
// units (never more are needed), and NUL-terminates it. Each ill-formed
// sequence (stray continuation byte, overlong form, encoded surrogate, value
// above U+10FFFF, truncated sequence) becomes one U+FFFD. Returns the number
// of units written, without the NUL.
size_t utf8ToUtf16(const char *in, size_t length, XMLCh *out);

// Converts `units` UTF-16 units into `out`, which has room for 3 * units + 1
// bytes, and NUL-terminates it; an unpaired surrogate becomes U+FFFD.
// Returns the number of bytes written, without the NUL.
size_t utf16ToUtf8(const XMLCh *in, size_t units, char *out);

// The UTF-8 form of a NUL-terminated UTF-16 text ("" for NULL).
std::string utf16ToUtf8String(const XMLCh *in);

// The UTF-16 form of a UTF-8 text for the duration of one Xerces call. Texts
// up to kInlineUnits - 1 bytes are converted into the object itself, longer
// ones into the heap (std::bad_alloc when that fails).
class Utf16Text {
 public:
  explicit Utf16Text(const char *utf8);
  ~Utf16Text();
  Utf16Text(const Utf16Text &) = delete;
  Utf16Text &operator=(const Utf16Text &) = delete;

  const XMLCh *get() const { return text_; }

 private:
  static constexpr size_t kInlineUnits = 160;
  XMLCh *text_;
  XMLCh inline_[kInlineUnits];
};

// Writes XML text as UTF-8 into one growable buffer from the allocation seam
// (capis/zo_memory.h), in a single pass over the DOM.
class XmlWriter {
 public:
  // The buffer starts at `initialCapacity` bytes and doubles when full.
  explicit XmlWriter(size_t initialCapacity = 8192) : initialCapacity_(initialCapacity) {}
  ~XmlWriter();
  XmlWriter(const XmlWriter &) = delete;
  XmlWriter &operator=(const XmlWriter &) = delete;

  // Appends the element and its subtree as XML without a declaration: no
  // added white space, attributes in the DOM's order, childless elements as
  // <x/>, CDATA sections as escaped text, entity references as their
  // content. The text parses back to the same elements, attributes and text.
  // false when memory ran out.
  bool writeElement(const xc::DOMElement *element);

  // Appends the text of the node's text and CDATA descendants in document
  // order, unescaped (the DOM's text content). false when memory ran out.
  bool writeTextContent(const xc::DOMNode *node);

  size_t size() const { return length_; }

  // The NUL-terminated text, handed over to the caller (free()); the writer
  // is empty afterwards. NULL when memory ran out.
  char *release();

 private:
  enum class Escape { kNone, kName, kText, kAttribute };

  bool reserve(size_t more);
  // Appends `units` units of `s`; the caller has reserved 6 bytes per unit.
  void put(const XMLCh *s, size_t units, Escape escape);
  void put(const char *ascii, size_t bytes);
  bool putString(const XMLCh *s, Escape escape);
  // Comment and processing-instruction text: a space is written after each
  // `mark` that is followed by `next` (or, with `atEnd`, that ends the text),
  // so the text cannot close its construct early.
  bool putGuarded(const XMLCh *s, XMLCh mark, XMLCh next, bool atEnd);
  bool startTag(const xc::DOMElement *element, bool empty);
  bool leaf(const xc::DOMNode *node);

  size_t initialCapacity_;
  char *buffer_ = nullptr;
  size_t length_ = 0;
  size_t capacity_ = 0;
};

#endif  // ZOVEXA_CBE_XML_WRITER_H_
