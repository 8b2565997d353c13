// NodeSet: the set of nodes that a chain of signature transforms has reached.
//
// Two shapes exist. A "subtree" set holds a few roots and stands for them and everything below
// them (the shape a same-document reference starts with); a "complete" set holds every member
// explicitly. Namespace nodes are never stored: a namespace node is visible exactly when the
// element it belongs to is, which is what canonicalisation asks for.
#ifndef SIGILO_XML_NODESET_H
#define SIGILO_XML_NODESET_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <unordered_set>
#include <vector>

class NodeSet {
public:
    NodeSet() = default;

    // Empties the set and gives it its shape. `withComments` false keeps comment nodes out
    // whatever the roots hold.
    void reset(bool complete, bool withComments);
    void add(xmlNodePtr node);
    // Adds the non-namespace nodes of an XPath result, in its order.
    void addAll(xmlNodeSetPtr nodes);

    bool isComplete() const { return complete; }
    bool keepsComments() const { return withComments; }
    bool empty() const { return nodes.empty(); }
    const std::vector<xmlNodePtr>& members() const { return nodes; }

    // Membership as canonicalisation sees it: `parent` is the element a namespace node belongs
    // to (the callback's third argument).
    bool contains(xmlNodePtr node, xmlNodePtr parent) const;
    bool contains(xmlNodePtr node) const { return contains(node, nullptr); }
    // True when the node itself or one of its ancestors is stored, whatever the shape.
    bool coversSubtree(xmlNodePtr node) const;

    // Turns a subtree set into a complete one holding every node it stands for.
    void makeComplete();
    // Removes the node and its whole subtree; the set must be complete.
    void removeSubtree(xmlNodePtr top);
    // Keeps only the nodes for which keep() is true; the set must be complete.
    template <typename Keep>
    void retain(Keep keep) {
        std::vector<xmlNodePtr> kept;
        for (xmlNodePtr n : nodes) {
            if (keep(n)) kept.push_back(n);
        }
        replace(kept);
    }
    void replace(const std::vector<xmlNodePtr>& kept);

    // The callback that xmlC14NExecute calls with this set as its data.
    static int visible(void* set, xmlNodePtr node, xmlNodePtr parent);

private:
    // Adds the node, its attributes, and (for elements and documents) its children recursively.
    void addSubtree(xmlNodePtr top, std::vector<xmlNodePtr>* out) const;

    bool complete = false;
    bool withComments = true;
    std::vector<xmlNodePtr> nodes;
    std::unordered_set<const void*> index;
};

#endif
