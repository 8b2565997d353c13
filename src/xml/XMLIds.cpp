// XMLIds: one walk over the elements, comparing identifier attributes.
#include "xml/XMLIds.h"

#include <cstring>

namespace {

bool isIdAttribute(xmlAttrPtr a) {
    if (a->atype == XML_ATTRIBUTE_ID) return true;
    const char* name = reinterpret_cast<const char*>(a->name);
    if (a->ns != nullptr) {
        return strcmp(name, "id") == 0 && a->ns->prefix != nullptr &&
               strcmp(reinterpret_cast<const char*>(a->ns->prefix), "xml") == 0;
    }
    return strcmp(name, "Id") == 0 || strcmp(name, "ID") == 0 || strcmp(name, "id") == 0;
}

bool hasValue(xmlDocPtr doc, xmlAttrPtr a, const char* value) {
    xmlChar* text = xmlNodeListGetString(doc, a->children, 1);
    bool same = text != nullptr && strcmp(reinterpret_cast<const char*>(text), value) == 0;
    xmlFree(text);
    return same;
}

// Calls visit on each element in document order, iteratively.
template <typename Visit>
void eachElement(xmlDocPtr doc, Visit visit) {
    xmlNodePtr node = xmlDocGetRootElement(doc);
    while (node != nullptr) {
        if (node->type == XML_ELEMENT_NODE) {
            visit(node);
            if (node->children != nullptr) {
                node = node->children;
                continue;
            }
        }
        while (node != nullptr && node->next == nullptr) {
            node = node->parent;
            if (node != nullptr && node->type == XML_DOCUMENT_NODE) node = nullptr;
        }
        if (node != nullptr) node = node->next;
    }
}

}  // namespace

namespace XMLIds {

int holders(xmlDocPtr doc, const char* value) {
    if (doc == nullptr || value == nullptr) return 0;
    int count = 0;
    eachElement(doc, [&](xmlNodePtr element) {
        for (xmlAttrPtr a = element->properties; a != nullptr; a = a->next) {
            if (isIdAttribute(a) && hasValue(doc, a, value)) {
                ++count;
                break;
            }
        }
    });
    return count;
}

xmlNodePtr unique(xmlDocPtr doc, const char* value) {
    if (doc == nullptr || value == nullptr || *value == '\0') return nullptr;
    xmlNodePtr found = nullptr;
    int count = 0;
    eachElement(doc, [&](xmlNodePtr element) {
        bool holds = false;
        for (xmlAttrPtr a = element->properties; a != nullptr; a = a->next) {
            if (!isIdAttribute(a) || !hasValue(doc, a, value)) continue;
            holds = true;
            if (a->ns == nullptr && strcmp(reinterpret_cast<const char*>(a->name), "Id") == 0) {
                found = element;
            }
        }
        if (holds) ++count;
    });
    return count == 1 ? found : nullptr;
}

}  // namespace XMLIds
