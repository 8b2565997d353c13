// XMLFile: the reading side. Loading outside XML and walking it by element name.
#include <libxml/xmlerror.h>
#include <libxml/xpathInternals.h>

#include <cstring>
#include <set>
#include <string>

#include "asn1/Buffer.h"
#include "xml/SafeParse.h"
#include "xml/TransformChain.h"
#include "xml/XMLFile.h"

namespace {

constexpr int kReadOptions = SafeParse::kOptions;

bool isNamed(xmlNodePtr node, const char* name) {
    return node->type == XML_ELEMENT_NODE && node->name != nullptr &&
           strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

// Depth-first from `start` over it and its following siblings with their subtrees, never
// climbing above start's parent.
xmlNodePtr walk(xmlNodePtr start, const char* name) {
    if (start == nullptr || name == nullptr) return nullptr;
    xmlNodePtr stop = start->parent;
    xmlNodePtr node = start;
    while (node != nullptr) {
        if (isNamed(node, name)) return node;
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            node = node->children;
            continue;
        }
        while (node != nullptr && node->next == nullptr) {
            node = node->parent;
            if (node == stop) return nullptr;
        }
        if (node != nullptr) node = node->next;
    }
    return nullptr;
}

// The prefixes that XPath expressions of the transforms may use, each bound as it is first
// declared in document order: that is the binding the first namespace node with the prefix in
// "(//namespace::*)" carries, and the first binding of a prefix is the one the transforms
// register. Built by a walk over the declarations, since that node set holds one copied node
// for every namespace in scope at every element, which in a large document is millions of
// allocations for a handful of prefixes.
xmlXPathObjectPtr firstDeclarations(xmlNodePtr root) {
    xmlXPathObjectPtr out = xmlXPathNewNodeSet(nullptr);
    if (out == nullptr || out->nodesetval == nullptr) return out;
    std::set<std::string> seen;
    xmlNodePtr node = root;
    while (node != nullptr) {
        if (node->type == XML_ELEMENT_NODE) {
            for (xmlNsPtr ns = node->nsDef; ns != nullptr; ns = ns->next) {
                if (ns->prefix == nullptr || ns->href == nullptr) continue;
                if (seen.insert(reinterpret_cast<const char*>(ns->prefix)).second) {
                    xmlXPathNodeSetAddNs(out->nodesetval, node, ns);
                }
            }
            if (node->children != nullptr) {
                node = node->children;
                continue;
            }
        }
        while (node != nullptr && node != root && node->next == nullptr) node = node->parent;
        if (node == nullptr || node == root) break;
        node = node->next;
    }
    return out;
}

}  // namespace

void XMLFile::dropNamespaces() {
    if (namespaces != nullptr) xmlXPathFreeObject(namespaces);
    namespaces = nullptr;
}

unsigned char XMLFile::adopt(xmlDocPtr parsed) {
    if (parsed == nullptr) {
        xmlResetError(&lastError);
        xmlCopyError(xmlGetLastError(), &lastError);
        return 0;
    }
    if (!SafeParse::acceptable(parsed)) {
        // Entity declarations or an external DTD: refused whole (see SafeParse).
        if (parsed != document) xmlFreeDoc(parsed);
        xmlResetError(&lastError);
        return 0;
    }
    // The chain points into the old document.
    chain.reset();
    dropNamespaces();
    xmlFree(text);
    text = nullptr;
    if (document != parsed) xmlFreeDoc(document);
    document = parsed;
    bookmarks.clear();
    current = xmlDocGetRootElement(document);
    namespaces = firstDeclarations(current);
    return current != nullptr ? 255 : 0;
}

unsigned char XMLFile::fromFile(const char* path) {
    if (path == nullptr) return 0;
    xmlResetLastError();
    return adopt(xmlReadFile(path, nullptr, kReadOptions));
}

unsigned char XMLFile::fromBuffer(Buffer* b) {
    if (b == nullptr || b->_getData() == nullptr || b->getWritePos() == 0) return 0;
    xmlResetLastError();
    int size = b->getWritePos() > 0x7FFFFFFFu ? 0x7FFFFFFF : static_cast<int>(b->getWritePos());
    return adopt(xmlReadMemory(reinterpret_cast<const char*>(b->_getData()), size, "input", nullptr,
                               kReadOptions));
}

// The first call of a document creates (or resets) the push context with the first four bytes;
// further calls feed the rest until one marks the last piece.
unsigned char XMLFile::parse(const char* bytes, int length, unsigned char last) {
    if (length < 0 || (bytes == nullptr && length > 0)) return 0;
    int head = length < 4 ? length : 4;
    bool starting = pushContext == nullptr || pushContext->disableSAX == 2 ||
                    pushContext->instate == XML_PARSER_EOF;
    if (starting) {
        if (pushContext == nullptr) {
            pushContext = xmlCreatePushParserCtxt(nullptr, nullptr, bytes, head, "input");
            if (pushContext == nullptr) return 0;
        } else {
            if (pushContext->myDoc != nullptr && pushContext->myDoc != document) {
                xmlFreeDoc(pushContext->myDoc);
            }
            pushContext->myDoc = nullptr;
            xmlCtxtResetPush(pushContext, bytes, head, "input", nullptr);
        }
        xmlCtxtUseOptions(pushContext, kReadOptions);
        bytes += head;
        length -= head;
    }
    if (length > 0) xmlParseChunk(pushContext, bytes, length, 0);
    if (!last) return pushContext->errNo == 0 ? 255 : 0;
    xmlParseChunk(pushContext, nullptr, 0, 1);
    xmlResetError(&lastError);
    xmlCopyError(xmlCtxtGetLastError(pushContext), &lastError);
    xmlDocPtr parsed = pushContext->myDoc;
    pushContext->myDoc = nullptr;
    if (parsed == nullptr || !pushContext->wellFormed) {
        xmlFreeDoc(parsed);
        return 0;
    }
    return adopt(parsed);
}

const char* XMLFile::getErrorMessage() const {
    return lastError.message;
}

int XMLFile::getErrorCode() const {
    return lastError.code;
}

int XMLFile::getErrorLineNum() const {
    return lastError.line;
}

unsigned char XMLFile::findTag(const char* name) {
    xmlNodePtr hit = walk(current, name);
    if (hit == nullptr) return 0;
    current = hit;
    return 255;
}

unsigned char XMLFile::findSubTag(const char* name) {
    if (current == nullptr) return 0;
    xmlNodePtr hit = walk(current->children, name);
    if (hit == nullptr) return 0;
    current = hit;
    return 255;
}

unsigned char XMLFile::findSiblingTag(const char* name) {
    if (current == nullptr) return 0;
    xmlNodePtr hit = walk(current->next, name);
    if (hit == nullptr) return 0;
    current = hit;
    return 255;
}

unsigned char XMLFile::findLevelSubTag(const char* name) {
    if (current == nullptr || name == nullptr) return 0;
    for (xmlNodePtr child = current->children; child != nullptr; child = child->next) {
        if (isNamed(child, name)) {
            current = child;
            return 255;
        }
    }
    return 0;
}

char* XMLFile::getTagValue() {
    if (current == nullptr) return nullptr;
    return reinterpret_cast<char*>(xmlNodeListGetString(document, current->children, 1));
}

char* XMLFile::getTagValue(const char* name) {
    if (current == nullptr) return nullptr;
    xmlNodePtr hit = walk(current->children, name);
    if (hit == nullptr) return nullptr;
    return reinterpret_cast<char*>(xmlNodeListGetString(document, hit->children, 1));
}

char* XMLFile::getSubTagAttribute(const char* name, const char* attribute) {
    if (current == nullptr || attribute == nullptr) return nullptr;
    xmlNodePtr hit = walk(current->children, name);
    if (hit == nullptr) return nullptr;
    return reinterpret_cast<char*>(xmlGetProp(hit, reinterpret_cast<const xmlChar*>(attribute)));
}

void XMLFile::freeTagValue(char* value) {
    xmlFree(value);
}

void XMLFile::rewind() {
    current = xmlDocGetRootElement(document);
}

void XMLFile::setBookmark() {
    bookmarks.push_back(current);
}

unsigned char XMLFile::goBookmark() {
    if (bookmarks.empty()) return 0;
    current = bookmarks.back();
    bookmarks.pop_back();
    return 255;
}

unsigned char XMLFile::goBookmark(const char* name) {
    for (size_t i = bookmarks.size(); i-- > 0;) {
        if (bookmarks[i] != nullptr && isNamed(bookmarks[i], name)) {
            current = bookmarks[i];
            bookmarks.resize(i);
            return 255;
        }
    }
    return 0;
}
