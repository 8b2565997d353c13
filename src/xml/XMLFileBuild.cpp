// XMLFile: the building side, used for the report.
#include <libxml/parser.h>
#include <libxml/xmlsave.h>

#include <cstdio>
#include <memory>

#include "asn1/UTF8.h"
#include "xml/TransformChain.h"
#include "xml/XMLFile.h"

namespace {

const xmlChar* X(const char* s) {
    return reinterpret_cast<const xmlChar*>(s);
}

}  // namespace

XMLFile::XMLFile(Buffer* b)
    : buffer(b),
      document(xmlNewDoc(X("1.0"))),
      current(nullptr),
      text(nullptr),
      subTree(nullptr),
      namespaces(nullptr),
      pushContext(nullptr),
      lastError() {}

XMLFile::~XMLFile() {
    xmlFree(text);
    xmlFree(subTree);
    dropNamespaces();
    if (pushContext != nullptr) {
        if (pushContext->myDoc != nullptr && pushContext->myDoc != document) {
            xmlFreeDoc(pushContext->myDoc);
        }
        xmlFreeParserCtxt(pushContext);
    }
    xmlResetError(&lastError);
    chain.reset();
    xmlFreeDoc(document);
}

xmlNodePtr XMLFile::addChild(xmlNodePtr node) {
    if (current == nullptr) {
        xmlNodePtr old = xmlDocSetRootElement(document, node);
        if (old != nullptr) xmlFreeNode(old);
        return node;
    }
    return xmlAddChild(current, node);
}

unsigned char XMLFile::openTag(const char* name) {
    xmlNodePtr node = addChild(xmlNewDocNode(document, nullptr, X(name), nullptr));
    current = node;
    return 255;
}

unsigned char XMLFile::closeTag() {
    if (current != nullptr) current = current->parent;
    // Above the root is the document itself, which is no element to build in.
    if (current != nullptr && current->type == XML_DOCUMENT_NODE) current = nullptr;
    return 255;
}

unsigned char XMLFile::insertTag(const char* name, const char* value) {
    xmlNodePtr node = xmlNewDocNode(document, nullptr, X(name), nullptr);
    if (value != nullptr) xmlAddChild(node, xmlNewDocText(document, X(value)));
    bool root = current == nullptr;
    addChild(node);
    if (root) current = node;
    return 255;
}

unsigned char XMLFile::insertTag(const char* name) {
    return insertTag(name, nullptr);
}

unsigned char XMLFile::insertTag(const char* name, long value) {
    char digits[21];
    snprintf(digits, sizeof digits, "%ld", value);
    return insertTag(name, digits);
}

unsigned char XMLFile::insertTagHex(const char* name, unsigned int value) {
    char digits[21];
    snprintf(digits, sizeof digits, "%.8X", value);
    return insertTag(name, digits);
}

unsigned char XMLFile::setTagValue(const char* value) {
    if (current != nullptr && value != nullptr) {
        xmlAddChild(current, xmlNewDocText(document, X(value)));
    }
    return 255;
}

unsigned char XMLFile::setTagValue(int value) {
    char digits[21];
    snprintf(digits, sizeof digits, "%ld", static_cast<long>(value));
    return setTagValue(digits);
}

unsigned char XMLFile::setTagHexValue(unsigned int value) {
    char digits[21];
    snprintf(digits, sizeof digits, "%.8X", value);
    return setTagValue(digits);
}

unsigned char XMLFile::setTagAttribute(const char* name, const char* value) {
    if (current == nullptr || value == nullptr) return 0;
    std::unique_ptr<char[]> utf8(UTF8::encode(value));
    return xmlSetProp(current, X(name), X(utf8.get())) != nullptr ? 255 : 0;
}

unsigned char XMLFile::setTagAttribute(const char* name, unsigned int value) {
    char digits[21];
    snprintf(digits, sizeof digits, "%.8X", value);
    return setTagAttribute(name, digits);
}

char* XMLFile::getTagAttribute(const char* name) {
    if (current == nullptr) return nullptr;
    return reinterpret_cast<char*>(xmlGetProp(current, X(name)));
}

unsigned char XMLFile::insertComment(const char* comment) {
    xmlNodePtr node = xmlNewDocComment(document, X(comment));
    if (current == nullptr) {
        xmlAddChild(reinterpret_cast<xmlNodePtr>(document), node);
    } else {
        xmlAddChild(current, node);
    }
    return 255;
}

unsigned char XMLFile::insertXMLFile(XMLFile* other) {
    if (other == nullptr) return 255;
    xmlNodePtr root = xmlDocGetRootElement(other->document);
    if (root == nullptr) return 255;
    addChild(xmlDocCopyNode(root, document, 1));
    return 255;
}

const char* XMLFile::getXML(unsigned char flat) {
    if (text != nullptr) return reinterpret_cast<const char*>(text);
    int size = 0;
    if (flat) {
        xmlKeepBlanksDefault(1);
        xmlIndentTreeOutput = 0;
        xmlDocDumpFormatMemory(document, &text, &size, 2);
    } else {
        xmlKeepBlanksDefault(0);
        xmlIndentTreeOutput = 1;
        xmlDocDumpFormatMemoryEnc(document, &text, &size, "UTF-8", 1);
    }
    xmlKeepBlanksDefault(1);
    return reinterpret_cast<const char*>(text);
}

// The same two layouts as getXML: flat is one element a line without indentation, the other
// form is indented.
const char* XMLFile::getXMLSubTree(unsigned char flat) {
    xmlFree(subTree);
    subTree = nullptr;
    if (current == nullptr) return nullptr;
    xmlBufferPtr out = xmlBufferCreate();
    int indent = xmlIndentTreeOutput;
    xmlIndentTreeOutput = flat ? 0 : 1;
    xmlNodeDump(out, document, current, 0, 1);
    xmlIndentTreeOutput = indent;
    subTree = xmlStrdup(xmlBufferContent(out));
    xmlBufferFree(out);
    return reinterpret_cast<const char*>(subTree);
}
