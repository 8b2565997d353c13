// C14N: canonical serialisation of a node set by libxml2, into a string.
#ifndef SIGILO_XML_C14N_H
#define SIGILO_XML_C14N_H

#include <libxml/tree.h>

#include <string>

class NodeSet;

namespace C14N {

// The modes of xmlC14NExecute: canonical XML 1.0, exclusive 1.0, canonical XML 1.1.
constexpr int kInclusive10 = 0;
constexpr int kExclusive10 = 1;
constexpr int kInclusive11 = 2;

// Serialises the nodes of `set` (all of the document when null). False, with `out` empty,
// when libxml2 refuses (an unknown node kind, an entity reference...).
bool run(xmlDocPtr doc, const NodeSet* set, int mode, bool comments, std::string* out);

// The mode and comment flag that an algorithm URI names; false for an unknown URI.
// "http://www.w3.org/2006/12/xml-c14n11#" is read as keeping comments.
bool methodOf(const char* uri, int* mode, bool* comments);

}  // namespace C14N

#endif
