// NodeSet: membership with a hash index, so that canonicalising a large document costs one look-up
// per node rather than a scan of the set.
#include "xml/NodeSet.h"

void NodeSet::reset(bool isComplete, bool comments) {
    complete = isComplete;
    withComments = comments;
    nodes.clear();
    index.clear();
}

void NodeSet::add(xmlNodePtr node) {
    if (node == nullptr || node->type == XML_NAMESPACE_DECL) return;
    if (index.insert(node).second) nodes.push_back(node);
}

void NodeSet::addAll(xmlNodeSetPtr set) {
    if (set == nullptr) return;
    for (int i = 0; i < set->nodeNr; ++i) add(set->nodeTab[i]);
}

bool NodeSet::coversSubtree(xmlNodePtr node) const {
    // The walk ends at the document node; a document holds no loops, and the depth is bounded by
    // the parser's own nesting limit.
    for (xmlNodePtr n = node; n != nullptr; n = n->parent) {
        if (index.count(n) != 0) return true;
        if (n->type == XML_DOCUMENT_NODE) break;
    }
    return false;
}

bool NodeSet::contains(xmlNodePtr node, xmlNodePtr parent) const {
    if (node == nullptr || index.empty()) return false;
    if (node->type == XML_NAMESPACE_DECL) {
        // A namespace node stands or falls with its element.
        if (parent == nullptr) return false;
        node = parent;
    }
    if (!withComments && node->type == XML_COMMENT_NODE) return false;
    if (complete) return index.count(node) != 0;
    return coversSubtree(node);
}

int NodeSet::visible(void* set, xmlNodePtr node, xmlNodePtr parent) {
    return static_cast<const NodeSet*>(set)->contains(node, parent) ? 1 : 0;
}

void NodeSet::addSubtree(xmlNodePtr top, std::vector<xmlNodePtr>* out) const {
    // Iterative, so that a deep document costs no stack.
    xmlNodePtr node = top;
    while (node != nullptr) {
        if (withComments || node->type != XML_COMMENT_NODE) out->push_back(node);
        if (node->type == XML_ELEMENT_NODE) {
            for (xmlAttrPtr a = node->properties; a != nullptr; a = a->next) {
                out->push_back(reinterpret_cast<xmlNodePtr>(a));
            }
        }
        bool descend = (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE) &&
                       node->children != nullptr;
        if (descend) {
            node = node->children;
            continue;
        }
        while (node != nullptr && node != top && node->next == nullptr) node = node->parent;
        if (node == nullptr || node == top) break;
        node = node->next;
    }
}

void NodeSet::makeComplete() {
    if (complete) return;
    std::vector<xmlNodePtr> all;
    for (xmlNodePtr root : nodes) {
        // A root below another root is already inside that one's subtree.
        if (root->parent != nullptr && coversSubtree(root->parent)) continue;
        if (root->type == XML_ATTRIBUTE_NODE) {
            all.push_back(root);
            continue;
        }
        addSubtree(root, &all);
    }
    reset(true, withComments);
    for (xmlNodePtr n : all) add(n);
}

void NodeSet::removeSubtree(xmlNodePtr top) {
    if (top == nullptr) return;
    std::vector<xmlNodePtr> gone;
    addSubtree(top, &gone);
    std::unordered_set<const void*> drop(gone.begin(), gone.end());
    retain([&](xmlNodePtr n) { return drop.count(n) == 0; });
}

void NodeSet::replace(const std::vector<xmlNodePtr>& kept) {
    nodes.clear();
    index.clear();
    for (xmlNodePtr n : kept) add(n);
}
