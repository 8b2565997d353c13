// SafeParse: how outside XML is parsed. Nothing is fetched from the network, no external DTD or
// entity is loaded, and a document that declares entities at all is refused, so that neither an
// external entity (XXE) nor an exponential expansion ("billion laughs") can reach the code that
// reads the tree. Predefined and character references are unaffected.
#ifndef SIGILO_XML_SAFEPARSE_H
#define SIGILO_XML_SAFEPARSE_H

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace SafeParse {

// No error or warning output and no network. Entities are not substituted (so external ones are
// never loaded), no DTD is loaded or validated, and the parser's depth and size limits stay on
// (no XML_PARSE_HUGE).
constexpr int kOptions = XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;

// True when the document declares no entity and refers to no external DTD subset.
bool acceptable(xmlDocPtr doc);

// Parses bytes with kOptions; null when they don't parse or the document isn't acceptable.
xmlDocPtr memory(const char* bytes, size_t size);

}  // namespace SafeParse

#endif
