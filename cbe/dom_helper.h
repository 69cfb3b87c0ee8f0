// The DOM helper layer: the only code that talks to Xerces-C. Every helper
// takes the client context first (for trace lines and message texts) and the
// result record last, checks its arguments (message 9 naming the argument),
// catches every Xerces exception, and reports its own failures (messages 62,
// 63, 64, also to the error log). Pointer results are NULL and integer
// results -1 on failure, 0 on success.
//
// Text crosses this layer as UTF-8 in both directions, whatever the process
// locale: names, values and element data are converted to and from Xerces'
// UTF-16 without the local code page, and convertToString writes UTF-8.
//
// Documents and parsers belong to the thread that made them.
#ifndef ZOVEXA_CBE_DOM_HELPER_H_
#define ZOVEXA_CBE_DOM_HELPER_H_

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "zovexa.h"

namespace xc = XERCES_CPP_NAMESPACE;

// Initialises Xerces-C. 0, or -1 with message 62 naming "initializeXMLParser()"
// and the parser's reason.
int initializeXMLParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
void terminateXMLParser();

xc::XercesDOMParser *createXercesDOMParser(const ZOVEXA_AuditClientContext *context, ZOVEXA_result *result);
void deleteXercesDOMParser(const ZOVEXA_AuditClientContext *context, xc::XercesDOMParser *parser,
                           ZOVEXA_result *result);

// A new document whose root element is `rootName`.
xc::DOMDocument *createDocument(const ZOVEXA_AuditClientContext *context, const char *rootName,
                                ZOVEXA_result *result);
int deleteDocument(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, ZOVEXA_result *result);
xc::DOMElement *getRootElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                               ZOVEXA_result *result);

xc::DOMElement *createElement(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                              const char *name, ZOVEXA_result *result);
xc::DOMAttr *createAttribute(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, const char *name,
                             const char *value, ZOVEXA_result *result);
int addAttributeToElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                          xc::DOMAttr *attribute, ZOVEXA_result *result);
int setAttribute(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element, const char *name,
                 const char *value, ZOVEXA_result *result);
int setAttributeValue(const ZOVEXA_AuditClientContext *context, xc::DOMAttr *attribute, const char *value,
                      ZOVEXA_result *result);
int addElementToElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *pElement,
                        xc::DOMElement *cElement, ZOVEXA_result *result);
// Appends a text node holding `data`.
int setElementData(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc, xc::DOMElement *element,
                   const char *data, ZOVEXA_result *result);
// The element's text content as a newly allocated UTF-8 copy (free()).
char *getElementData(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                     ZOVEXA_result *result);
xc::DOMElement *getFirstChildElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                                     ZOVEXA_result *result);
// The first element named `tagName` in document order, or NULL.
xc::DOMElement *getElementByTagName(const ZOVEXA_AuditClientContext *context, xc::DOMDocument *doc,
                                    const char *tagName, ZOVEXA_result *result);
// Releases the element's whole document.
int deleteElement(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element, ZOVEXA_result *result);

// Parses UTF-8 XML text into a document owned by the caller (release it with
// deleteDocument); the parser may be reused afterwards.
xc::DOMDocument *convertToDOM(const ZOVEXA_AuditClientContext *context, xc::XercesDOMParser *parser,
                              const char *xmlString, ZOVEXA_result *result);
// The element and its subtree as UTF-8 XML text, newly allocated (free()),
// without an XML declaration. The text parses back to the same elements,
// attributes and text for every input.
char *convertToString(const ZOVEXA_AuditClientContext *context, xc::DOMElement *element,
                      ZOVEXA_result *result);

#endif  // ZOVEXA_CBE_DOM_HELPER_H_
