// XMLNodes: small reads of a parsed document by element, for code that walks a known structure
// (an XML signature, a trust list) one level at a time. Names are compared by local name, so
// prefixes play no part. Every function takes a null node and then answers null or "".
#ifndef SIGILO_XML_XMLNODES_H
#define SIGILO_XML_XMLNODES_H

#include <libxml/tree.h>

#include <string>

class XMLFile;

namespace xmlnodes {

// The first element child of parent with that local name.
xmlNodePtr childNamed(xmlNodePtr parent, const char* name);
// The next element sibling of node with that local name.
xmlNodePtr nextNamed(xmlNodePtr node, const char* name);
// The text of the node and its descendants.
std::string textOf(xmlNodePtr node);
// The attribute's value, "" when absent.
std::string attributeOf(xmlNodePtr node, const char* name);

// The canonical form of the document's current node (with its descendants) by the URI of a
// CanonicalizationMethod; "" for a URI that is not known, which no digest then matches.
std::string canonicalOf(XMLFile* xml, const std::string& method);

}  // namespace xmlnodes

#endif
