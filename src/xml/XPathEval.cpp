// XPathEval: bounded XPath and XPointer evaluation over an outside document.
#include "xml/XPathEval.h"

#include <libxml/xpathInternals.h>
#include <libxml/xpointer.h>

#include <memory>

namespace {

struct ContextFree {
    void operator()(xmlXPathContextPtr c) const { xmlXPathFreeContext(c); }
};
using Context = std::unique_ptr<xmlXPathContext, ContextFree>;

void quiet(void*, xmlErrorPtr) {}

// XPointer results may come as a location set of collapsed ranges, one per node; anything else
// (points, real ranges) has no meaning for a signature and is refused.
xmlXPathObjectPtr toNodeSet(xmlXPathObjectPtr result) {
    if (result == nullptr) return nullptr;
    if (result->type == XPATH_NODESET) return result;
    xmlXPathObjectPtr out = nullptr;
#ifdef LIBXML_XPTR_ENABLED
    if (result->type == XPATH_LOCATIONSET) {
        auto* locations = static_cast<xmlLocationSetPtr>(result->user);
        out = xmlXPathNewNodeSet(nullptr);
        bool ok = out != nullptr;
        for (int i = 0; ok && locations != nullptr && i < locations->locNr; ++i) {
            xmlXPathObjectPtr loc = locations->locTab[i];
            if (loc == nullptr || loc->type != XPATH_RANGE || loc->user2 != nullptr ||
                loc->user == nullptr) {
                ok = false;
                break;
            }
            if (xmlXPathNodeSetAdd(out->nodesetval, static_cast<xmlNodePtr>(loc->user)) < 0) {
                ok = false;
            }
        }
        if (!ok) {
            xmlXPathFreeObject(out);
            out = nullptr;
        }
    }
#endif
    xmlXPathFreeObject(result);
    return out;
}

}  // namespace

namespace XPathEval {

void registerNamespaces(xmlXPathContextPtr context, xmlNodeSetPtr namespaces) {
    if (context == nullptr || namespaces == nullptr) return;
    for (int i = 0; i < namespaces->nodeNr; ++i) {
        xmlNodePtr node = namespaces->nodeTab[i];
        if (node == nullptr || node->type != XML_NAMESPACE_DECL) continue;
        auto ns = reinterpret_cast<xmlNsPtr>(node);
        if (ns->prefix == nullptr || ns->href == nullptr) continue;
        if (xmlXPathNsLookup(context, ns->prefix) != nullptr) continue;
        xmlXPathRegisterNs(context, ns->prefix, ns->href);
    }
}

xmlXPathObjectPtr nodes(xmlDocPtr doc, const std::string& expression, xmlNodeSetPtr namespaces,
                        bool xpointer) {
    if (doc == nullptr || expression.empty() || expression.size() > kMaxExpression ||
        expression.find('\0') != std::string::npos) {
        return nullptr;
    }
#ifdef LIBXML_XPTR_ENABLED
    Context context(xpointer ? xmlXPtrNewContext(doc, nullptr, nullptr) : xmlXPathNewContext(doc));
#else
    if (xpointer) return nullptr;
    Context context(xmlXPathNewContext(doc));
#endif
    if (!context) return nullptr;
    context->node = reinterpret_cast<xmlNodePtr>(doc);
    context->opLimit = kOpLimit;
    context->opCount = 0;
    context->error = quiet;
    registerNamespaces(context.get(), namespaces);
    auto text = reinterpret_cast<const xmlChar*>(expression.c_str());
    xmlXPathObjectPtr result = nullptr;
#ifdef LIBXML_XPTR_ENABLED
    if (xpointer) {
        result = xmlXPtrEval(text, context.get());
    } else {
        result = xmlXPathEvalExpression(text, context.get());
    }
#else
    result = xmlXPathEvalExpression(text, context.get());
#endif
    return toNodeSet(result);
}

}  // namespace XPathEval
