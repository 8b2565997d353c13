// XMLFile: canonical forms of the current subtree and the transform chain of a reference.
#include <libxml/xmlschemastypes.h>

#include <mutex>

#include "xml/C14N.h"
#include "xml/NodeSet.h"
#include "xml/TransformChain.h"
#include "xml/XMLFile.h"

xmlNodeSetPtr XMLFile::namespaceNodes() const {
    return namespaces != nullptr ? namespaces->nodesetval : nullptr;
}

const char* XMLFile::canonize(int mode, unsigned char comments) {
    canonical.clear();
    if (current != nullptr && current->doc == document) {
        NodeSet subtree;
        subtree.reset(false, true);
        subtree.add(current);
        C14N::run(document, &subtree, mode, comments != 0, &canonical);
    }
    return canonical.c_str();
}

const char* XMLFile::canonizeC14n(unsigned char comments) {
    return canonize(C14N::kInclusive10, comments);
}

const char* XMLFile::canonizeC14nx(unsigned char comments) {
    return canonize(C14N::kExclusive10, comments);
}

const char* XMLFile::canonizeC14n11(unsigned char comments) {
    return canonize(C14N::kInclusive11, comments);
}

unsigned char XMLFile::startTransforms(const char* uri) {
    if (uri == nullptr || *uri == '\0') return startTransforms();
    if (!chain) chain = std::make_unique<TransformChain>();
    return chain->start(document, namespaceNodes(), uri) ? 255 : 0;
}

unsigned char XMLFile::startTransforms() {
    if (!chain) chain = std::make_unique<TransformChain>();
    return chain->start(document, namespaceNodes(), nullptr) ? 255 : 0;
}

// Every chain operation needs a started chain; before one there is nothing to transform.
unsigned char XMLFile::applyC14n(unsigned char comments) {
    return chain && chain->applyC14n(C14N::kInclusive10, comments != 0) ? 255 : 0;
}

unsigned char XMLFile::applyC14nx(unsigned char comments) {
    return chain && chain->applyC14n(C14N::kExclusive10, comments != 0) ? 255 : 0;
}

unsigned char XMLFile::applyC14n11(unsigned char comments) {
    return chain && chain->applyC14n(C14N::kInclusive11, comments != 0) ? 255 : 0;
}

unsigned char XMLFile::applyXPath(const char* expression) {
    return chain && chain->applyXPath(expression) ? 255 : 0;
}

unsigned char XMLFile::applyBase64() {
    return chain && chain->applyBase64() ? 255 : 0;
}

unsigned char XMLFile::startXFilter2() {
    return chain && chain->startXFilter2() ? 255 : 0;
}

unsigned char XMLFile::addXFilter2(const char* filter, const char* expression) {
    return chain && chain->addXFilter2(filter, expression) ? 255 : 0;
}

unsigned char XMLFile::applyXFilter2() {
    return chain && chain->applyXFilter2() ? 255 : 0;
}

unsigned char XMLFile::applyEnvSig() {
    return chain && chain->applyEnvSig(current) ? 255 : 0;
}

unsigned char XMLFile::applyXSLT() {
    return chain && chain->applyXSLT(current) ? 255 : 0;
}

const unsigned char* XMLFile::getTransformsResult() {
    return chain ? chain->result() : nullptr;
}

unsigned int XMLFile::getTransformsResultLen() {
    return chain ? chain->resultLength() : 0;
}

unsigned char XMLFile::checkDateTime(const char* text) {
    if (text == nullptr) return 0;
    static std::once_flag once;
    std::call_once(once, [] { xmlSchemaInitTypes(); });
    xmlSchemaTypePtr type = xmlSchemaGetBuiltInType(XML_SCHEMAS_DATETIME);
    if (type == nullptr) return 0;
    return xmlSchemaValidatePredefinedType(type, reinterpret_cast<const xmlChar*>(text), nullptr) ==
                   0
               ? 255
               : 0;
}
