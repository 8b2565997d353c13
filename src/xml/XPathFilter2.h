// XPathFilter2: the filter table of an XPath Filter 2.0 transform. Each entry is an operation
// (intersect, subtract, union) and the nodes its expression selected, standing for their whole
// subtrees. The table starts as the whole document, and a node passes when it survives the
// operations applied in order.
#ifndef SIGILO_XML_XPATHFILTER2_H
#define SIGILO_XML_XPATHFILTER2_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <vector>

#include "xml/NodeSet.h"

class XPathFilter2 {
public:
    // The table holds at most this many entries besides the whole document; more are refused.
    static constexpr size_t kMaxFilters = 31;

    void start(xmlDocPtr doc, xmlNodeSetPtr namespaces);
    // `filter` is "intersect", "subtract" or "union"; false for another word, an expression that
    // doesn't evaluate, or a full table.
    bool add(const char* filter, const char* expression);
    // Keeps the nodes of `set` (made complete first) that pass; the table is emptied.
    void apply(NodeSet* set);
    bool passes(xmlNodePtr node) const;

private:
    struct Entry {
        char op;  // '/' intersect, '-' subtract, '+' union
        NodeSet selected;
    };
    xmlDocPtr doc = nullptr;
    xmlNodeSetPtr namespaces = nullptr;
    std::vector<Entry> entries;
};

#endif
