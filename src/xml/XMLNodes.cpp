// XMLNodes: reads of a parsed document by element.
#include "xml/XMLNodes.h"

#include <cstring>

#include "xml/XMLFile.h"

namespace xmlnodes {

namespace {

bool isElementNamed(xmlNodePtr n, const char* name) {
    return n->type == XML_ELEMENT_NODE && n->name != nullptr &&
           strcmp(reinterpret_cast<const char*>(n->name), name) == 0;
}

}  // namespace

xmlNodePtr childNamed(xmlNodePtr parent, const char* name) {
    if (parent == nullptr) return nullptr;
    for (xmlNodePtr n = parent->children; n != nullptr; n = n->next) {
        if (isElementNamed(n, name)) return n;
    }
    return nullptr;
}

xmlNodePtr nextNamed(xmlNodePtr node, const char* name) {
    if (node == nullptr) return nullptr;
    for (xmlNodePtr n = node->next; n != nullptr; n = n->next) {
        if (isElementNamed(n, name)) return n;
    }
    return nullptr;
}

std::string textOf(xmlNodePtr node) {
    if (node == nullptr) return "";
    xmlChar* text = xmlNodeGetContent(node);
    std::string out = text != nullptr ? reinterpret_cast<const char*>(text) : "";
    xmlFree(text);
    return out;
}

std::string attributeOf(xmlNodePtr node, const char* name) {
    if (node == nullptr || node->type != XML_ELEMENT_NODE) return "";
    xmlChar* value = xmlGetProp(node, reinterpret_cast<const xmlChar*>(name));
    std::string out = value != nullptr ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return out;
}

std::string canonicalOf(XMLFile* xml, const std::string& method) {
    const char* out = nullptr;
    if (method == "http://www.w3.org/TR/2001/REC-xml-c14n-20010315") {
        out = xml->canonizeC14n(0);
    } else if (method == "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments") {
        out = xml->canonizeC14n(1);
    } else if (method == "http://www.w3.org/2001/10/xml-exc-c14n#") {
        out = xml->canonizeC14nx(0);
    } else if (method == "http://www.w3.org/2001/10/xml-exc-c14n#WithComments") {
        out = xml->canonizeC14nx(1);
    } else if (method == "http://www.w3.org/2006/12/xml-c14n11") {
        out = xml->canonizeC14n11(0);
    } else if (method == "http://www.w3.org/2006/12/xml-c14n11#WithComments" ||
               method == "http://www.w3.org/2006/12/xml-c14n11#") {
        // The second spelling has always been read as keeping comments.
        out = xml->canonizeC14n11(1);
    }
    return out != nullptr ? std::string(out, xml->getCanonicalLength()) : std::string();
}

}  // namespace xmlnodes
