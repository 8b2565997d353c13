// TransformChain: the transforms of XML signature references.
#include "xml/TransformChain.h"

#include <cstring>
#include <memory>

#include "asn1/Base64.h"
#include "xml/C14N.h"
#include "xml/SafeParse.h"
#include "xml/XMLIds.h"
#include "xml/XPathEval.h"
#include "xml/XSLTTransform.h"

namespace {

constexpr const char* kDSigNamespace = "http://www.w3.org/2000/09/xmldsig#";

bool startsWith(const char* s, const char* prefix) {
    return strncmp(s, prefix, strlen(prefix)) == 0;
}

// The name of "#xpointer(id('name'))" (either quote), or false when the text has another shape
// or the name holds a quote: the name is put into expressions, so it must not end them.
bool idPointerName(const char* uri, std::string* name) {
    const char* head = "#xpointer(id(";
    if (!startsWith(uri, head)) return false;
    std::string rest(uri + strlen(head));
    if (rest.size() < 5 || rest.compare(rest.size() - 2, 2, "))") != 0) return false;
    char quote = rest[0];
    if ((quote != '\'' && quote != '"') || rest[rest.size() - 3] != quote) return false;
    *name = rest.substr(1, rest.size() - 4);
    return !name->empty() && name->find_first_of("'\"") == std::string::npos;
}

// The nearest enclosing dsig Signature element, or null.
xmlNodePtr enclosingSignature(xmlNodePtr node) {
    for (xmlNodePtr n = node; n != nullptr && n->type == XML_ELEMENT_NODE; n = n->parent) {
        if (strcmp(reinterpret_cast<const char*>(n->name), "Signature") == 0 && n->ns != nullptr &&
            n->ns->href != nullptr &&
            strcmp(reinterpret_cast<const char*>(n->ns->href), kDSigNamespace) == 0) {
            return n;
        }
    }
    return nullptr;
}

// The first element named "stylesheet" (any prefix) below the node, depth first.
xmlNodePtr findStylesheet(xmlNodePtr top) {
    xmlNodePtr node = top != nullptr ? top->children : nullptr;
    while (node != nullptr) {
        if (node->type == XML_ELEMENT_NODE) {
            if (strcmp(reinterpret_cast<const char*>(node->name), "stylesheet") == 0) return node;
            if (node->children != nullptr) {
                node = node->children;
                continue;
            }
        }
        while (node != nullptr && node->next == nullptr) {
            node = node->parent;
            if (node == top) return nullptr;
        }
        if (node != nullptr) node = node->next;
    }
    return nullptr;
}

}  // namespace

TransformChain::~TransformChain() {
    freeOwned();
}

void TransformChain::freeOwned() {
    if (owned != nullptr) xmlFreeDoc(owned);
    owned = nullptr;
}

void TransformChain::setOctets(std::string bytes) {
    octets = std::move(bytes);
    hasOctets = true;
}

bool TransformChain::start(xmlDocPtr document, xmlNodeSetPtr ns, const char* uri) {
    freeOwned();
    doc = document;
    namespaces = ns;
    hasOctets = false;
    octets.clear();
    filter.start(nullptr, nullptr);
    nodes.reset(false, true);
    started.reset(false, true);
    if (doc == nullptr) return false;
    if (uri == nullptr || *uri == '\0') {
        // The whole document, comments left out.
        nodes.reset(false, false);
        nodes.add(reinterpret_cast<xmlNodePtr>(doc));
        nodes.makeComplete();
        started.add(reinterpret_cast<xmlNodePtr>(doc));
        return true;
    }
    if (uri[0] != '#') return false;
    if (startsWith(uri, "#xpointer(")) {
        std::string expression;
        std::string name;
        bool byId = startsWith(uri, "#xpointer(id(");
        if (byId) {
            // An id() look-up, then the attribute in lower case, then with the capital.
            if (!idPointerName(uri, &name) || XMLIds::holders(doc, name.c_str()) > 1) return false;
            expression = "xpointer(id('" + name + "')) xpointer(//*[@id='" + name +
                         "']) xpointer(//*[@Id='" + name + "'])";
        } else {
            expression = uri + 1;
        }
        xmlXPathObjectPtr result = XPathEval::nodes(doc, expression, namespaces, true);
        if (result == nullptr) return false;
        nodes.addAll(result->nodesetval);
        started.addAll(result->nodesetval);
        xmlXPathFreeObject(result);
        return !nodes.empty();
    }
    // A bare fragment: only the attribute Id, and only when no other element claims the name.
    xmlNodePtr target = XMLIds::unique(doc, uri + 1);
    if (target == nullptr) return false;
    nodes.reset(false, false);
    nodes.add(target);
    started.add(target);
    return true;
}

bool TransformChain::ensureNodeSet() {
    if (!hasOctets) return doc != nullptr;
    xmlDocPtr parsed = SafeParse::memory(octets.data(), octets.size());
    hasOctets = false;
    octets.clear();
    freeOwned();
    nodes.reset(false, true);
    if (parsed == nullptr) {
        doc = nullptr;
        return false;
    }
    owned = parsed;
    doc = parsed;
    nodes.add(reinterpret_cast<xmlNodePtr>(doc));
    nodes.makeComplete();
    return true;
}

bool TransformChain::applyC14n(int mode, bool comments) {
    std::string out;
    if (ensureNodeSet()) C14N::run(doc, &nodes, mode, comments, &out);
    setOctets(std::move(out));
    return true;
}

bool TransformChain::applyXPath(const char* expression) {
    if (expression == nullptr || !ensureNodeSet()) return false;
    std::string wrapped = std::string("(//. | //@* | //namespace::*)[") + expression + "]";
    xmlXPathObjectPtr result = XPathEval::nodes(doc, wrapped, namespaces, false);
    if (result == nullptr) {
        nodes.reset(true, nodes.keepsComments());
        return false;
    }
    NodeSet selected;
    selected.reset(true, true);
    selected.addAll(result->nodesetval);
    xmlXPathFreeObject(result);
    // The expression picks among the nodes the chain holds, never beyond them.
    nodes.makeComplete();
    nodes.retain([&](xmlNodePtr n) { return selected.contains(n); });
    return true;
}

bool TransformChain::applyBase64() {
    if (!hasOctets) {
        // The text of the node set, in document order.
        std::string text;
        if (doc != nullptr) {
            nodes.makeComplete();
            for (xmlNodePtr n : nodes.members()) {
                if ((n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) &&
                    n->content != nullptr &&
                    (n->parent == nullptr || n->parent->type != XML_ATTRIBUTE_NODE)) {
                    text += reinterpret_cast<const char*>(n->content);
                }
            }
        }
        setOctets(std::move(text));
    }
    unsigned int size = 0;
    unsigned char* decoded = nullptr;
    if (!octets.empty() && octets.size() < 0xFFFFFFF0u) {
        decoded = Base64::decode(octets.data(), static_cast<unsigned int>(octets.size()), &size);
    }
    std::string out;
    if (decoded != nullptr) out.assign(reinterpret_cast<const char*>(decoded), size);
    delete[] decoded;
    setOctets(std::move(out));
    return true;
}

bool TransformChain::startXFilter2() {
    ensureNodeSet();
    filter.start(doc, namespaces);
    return doc != nullptr;
}

bool TransformChain::addXFilter2(const char* filterName, const char* expression) {
    return filter.add(filterName, expression);
}

bool TransformChain::applyXFilter2() {
    if (!ensureNodeSet()) return false;
    filter.apply(&nodes);
    return true;
}

bool TransformChain::applyEnvSig(xmlNodePtr inside) {
    if (!ensureNodeSet()) return false;
    nodes.makeComplete();
    xmlNodePtr signature = enclosingSignature(inside);
    // A signature of another document (octets parsed again) can't be told apart there; the set is
    // left whole and the digest shows it.
    if (signature != nullptr && signature->doc == doc) nodes.removeSubtree(signature);
    return true;
}

bool TransformChain::applyXSLT(xmlNodePtr transform) {
    xmlNodePtr stylesheet = findStylesheet(transform);
    if (stylesheet == nullptr) return true;
    const unsigned char* in = result();
    std::string input(reinterpret_cast<const char*>(in), resultLength());
    std::string output;
    XSLTTransform::apply(stylesheet, input, &output);
    setOctets(std::move(output));
    return true;
}

const unsigned char* TransformChain::result() {
    if (!hasOctets) {
        std::string out;
        if (doc != nullptr) C14N::run(doc, &nodes, C14N::kInclusive10, false, &out);
        setOctets(std::move(out));
    }
    return reinterpret_cast<const unsigned char*>(octets.data());
}

unsigned int TransformChain::resultLength() {
    result();
    return octets.size() > 0xFFFFFFF0u ? 0 : static_cast<unsigned int>(octets.size());
}
