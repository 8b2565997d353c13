// XPathEval: evaluation of expressions that come from signed documents, which are outside input.
// Every evaluation runs under an operation budget, so that a hostile expression ends in a
// refusal instead of hours of work, and only node-set results are accepted.
#ifndef SIGILO_XML_XPATHEVAL_H
#define SIGILO_XML_XPATHEVAL_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <string>

namespace XPathEval {

// The operation budget of one evaluation, and the longest expression looked at.
constexpr unsigned long kOpLimit = 4000000;
constexpr size_t kMaxExpression = 8192;

// Registers every prefix of the namespace nodes that isn't registered yet (the first binding of
// a prefix wins).
void registerNamespaces(xmlXPathContextPtr context, xmlNodeSetPtr namespaces);

// Evaluates with the document node as the context node. Returns the result, to free with
// xmlXPathFreeObject, or null when the expression is refused, fails, or gives no node set.
// With `xpointer` the text is an XPointer (scheme parts such as "xpointer(...)"), whose
// collapsed-range results are turned into a plain node set.
xmlXPathObjectPtr nodes(xmlDocPtr doc, const std::string& expression, xmlNodeSetPtr namespaces,
                        bool xpointer);

}  // namespace XPathEval

#endif
