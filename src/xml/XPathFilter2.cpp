// XPathFilter2: evaluation of the filters and the pass test.
#include "xml/XPathFilter2.h"

#include <cstring>

#include "xml/XPathEval.h"

void XPathFilter2::start(xmlDocPtr document, xmlNodeSetPtr ns) {
    doc = document;
    namespaces = ns;
    entries.clear();
}

bool XPathFilter2::add(const char* filter, const char* expression) {
    if (filter == nullptr || expression == nullptr || doc == nullptr) return false;
    char op;
    if (strcmp(filter, "intersect") == 0) {
        op = '/';
    } else if (strcmp(filter, "subtract") == 0) {
        op = '-';
    } else if (strcmp(filter, "union") == 0) {
        op = '+';
    } else {
        return false;
    }
    if (entries.size() >= kMaxFilters) return false;
    xmlXPathObjectPtr result = XPathEval::nodes(doc, expression, namespaces, false);
    if (result == nullptr) return false;
    entries.push_back(Entry{op, NodeSet()});
    entries.back().selected.reset(false, true);
    entries.back().selected.addAll(result->nodesetval);
    xmlXPathFreeObject(result);
    return true;
}

// The operations are applied in order over the whole document: a union after a subtraction
// brings nodes back, as the filter's definition says. A namespace node follows its element.
bool XPathFilter2::passes(xmlNodePtr node) const {
    bool in = true;
    for (const Entry& e : entries) {
        bool present = e.selected.coversSubtree(node);
        if (e.op == '/') {
            in = in && present;
        } else if (e.op == '-') {
            in = in && !present;
        } else {
            in = in || present;
        }
    }
    return in;
}

void XPathFilter2::apply(NodeSet* set) {
    set->makeComplete();
    set->retain([this](xmlNodePtr n) { return passes(n); });
    entries.clear();
}
