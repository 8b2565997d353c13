#include "trust/ServerRequest.h"

#include <libxml/tree.h>

#include <cstring>

#include "xml/XMLFile.h"

namespace {

bool named(xmlNodePtr node, const char* name) {
    return node != nullptr && node->type == XML_ELEMENT_NODE && node->name != nullptr &&
           strcmp(reinterpret_cast<const char*>(node->name), name) == 0;
}

// A decimal opCode of one of the three known values, blanks around it allowed; 0 otherwise.
int readOpCode(const char* text) {
    if (text == nullptr) return 0;
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') ++text;
    int value = 0;
    int digits = 0;
    while (*text >= '0' && *text <= '9' && digits < 4) {
        value = value * 10 + (*text - '0');
        ++text;
        ++digits;
    }
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') ++text;
    if (digits == 0 || *text != 0) return 0;
    if (value != ServerRequest::kStatus && value != ServerRequest::kSignerCert &&
        value != ServerRequest::kTimeStampCert) {
        return 0;
    }
    return value;
}

}  // namespace

unsigned char ServerRequest::build(XMLFile* xml) const {
    if (xml == nullptr || !xml->openTag("sigiloRequest")) return 0;
    xml->insertTag("opCode", static_cast<long>(opCode));
    if (!checkCRL) xml->insertTag("skipCheckCRL");
    if (!checkCACRL) xml->insertTag("skipCheckCACRL");
    if (!useOCSP) xml->insertTag("skipOCSP");
    if (!checkCertificateValidity) xml->insertTag("skipCertValidityCheck");
    if (opCode != kStatus) xml->insertTag("cert", cert.c_str());
    xml->closeTag();
    return 255;
}

unsigned char ServerRequest::read(XMLFile* xml) {
    *this = ServerRequest();
    if (xml == nullptr || xml->_getDocument() == nullptr) return 0;
    xmlNodePtr root = xmlDocGetRootElement(xml->_getDocument());
    if (!named(root, "sigiloRequest")) return 0;
    bool haveCert = false;
    // Only the root's children count, each once: the first of a name wins.
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) continue;
        if (named(child, "opCode") && opCode == 0) {
            xmlChar* text = xmlNodeGetContent(child);
            opCode = readOpCode(reinterpret_cast<const char*>(text));
            xmlFree(text);
            if (opCode == 0) return 0;
        } else if (named(child, "skipCheckCRL")) {
            checkCRL = 0;
        } else if (named(child, "skipCheckCACRL")) {
            checkCACRL = 0;
        } else if (named(child, "skipOCSP")) {
            useOCSP = 0;
        } else if (named(child, "skipCertValidityCheck")) {
            checkCertificateValidity = 0;
        } else if (named(child, "cert") && !haveCert) {
            xmlChar* text = xmlNodeGetContent(child);
            size_t length = text != nullptr ? strlen(reinterpret_cast<const char*>(text)) : 0;
            if (length > kMaxCertText) {
                xmlFree(text);
                return 0;
            }
            cert.assign(text != nullptr ? reinterpret_cast<const char*>(text) : "", length);
            xmlFree(text);
            haveCert = true;
        }
    }
    if (opCode == 0) return 0;
    if (opCode != kStatus && cert.empty()) return 0;
    return 255;
}
