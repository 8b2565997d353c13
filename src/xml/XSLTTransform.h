// XSLTTransform: a stylesheet carried inside a signature, applied to octets. The stylesheet is
// outside input: it runs with every libxslt security preference set to forbid (no file read or
// written, no folder created, no network either way), including for xsl:import and xsl:include
// while it is parsed, and with its XPath work and template depth bounded.
#ifndef SIGILO_XML_XSLTTRANSFORM_H
#define SIGILO_XML_XSLTTRANSFORM_H

#include <libxml/tree.h>

#include <string>

namespace XSLTTransform {

// Applies the stylesheet element (serialised and parsed again, the document is left alone) to the
// document that `input` parses to, and serialises the result as the stylesheet's output method
// says. False when the stylesheet or the input doesn't parse or the transform fails.
bool apply(xmlNodePtr stylesheet, const std::string& input, std::string* output);

// The same for a stylesheet of the program's own (its text), under the same security
// preferences but without the work budgets an outside stylesheet gets: a report of many files
// needs more steps than one signature's transform may take.
bool applyOwn(const char* stylesheet, const std::string& input, std::string* output);

}  // namespace XSLTTransform

#endif
