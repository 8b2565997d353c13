// TrustListCheck: the signer and the shape of a signed trust list.
#include "frontend/TrustListCheck.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "xml/XMLFile.h"
#include "xml/XMLNodes.h"

namespace {

using namespace xmlnodes;

// A certificate file or text larger than this is not a certificate.
constexpr size_t kMaxCertificateText = 1 << 20;
// Elements of a trust list walked at most; the real lists hold well under a million.
constexpr long kMaxElements = 20000000;

// The DER bytes of the first certificate in PEM text, or of DER bytes as they are.
std::string derOf(const std::string& text) {
    size_t begin = text.find("-----BEGIN");
    if (begin == std::string::npos) return text;
    size_t body = text.find('\n', begin);
    size_t end = text.find("-----END", begin);
    if (body == std::string::npos || end == std::string::npos || end < body) return "";
    std::string b64 = text.substr(body, end - body);
    unsigned int length = 0;
    std::unique_ptr<unsigned char[]> der(
        Base64::decode(b64.c_str(), static_cast<unsigned int>(b64.size()), &length));
    return der ? std::string(reinterpret_cast<char*>(der.get()), length) : "";
}

bool named(xmlNodePtr n, const char* name) {
    return n->type == XML_ELEMENT_NODE && n->name != nullptr &&
           strcmp(reinterpret_cast<const char*>(n->name), name) == 0;
}

}  // namespace

namespace trustlist {

unsigned char signedBy(XMLFile* report, const char* certPath) {
    if (report == nullptr || certPath == nullptr) return 0;
    std::ifstream in(certPath, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.empty() || text.size() > kMaxCertificateText) return 0;
    std::string expected = derOf(text);
    if (expected.empty()) return 0;
    xmlNodePtr root = xmlDocGetRootElement(report->_getDocument());
    int signers = 0;
    for (xmlNodePtr file = childNamed(root, "signedData"); file != nullptr;
         file = nextNamed(file, "signedData")) {
        for (xmlNodePtr signer = childNamed(file, "signer"); signer != nullptr;
             signer = nextNamed(signer, "signer")) {
            if (derOf(textOf(childNamed(signer, "certificate"))) != expected) return 0;
            ++signers;
        }
    }
    return signers > 0 ? 255 : 0;
}

unsigned char providersOutsideSignatures(const char* path) {
    Buffer work(4096);
    XMLFile list(&work);
    if (path == nullptr || !list.fromFile(path)) return 0;
    xmlNodePtr node = xmlDocGetRootElement(list._getDocument());
    int found = 0;
    // Depth first, without recursion; the depth of the document was bounded by its parser.
    for (long walked = 0; node != nullptr && walked < kMaxElements; ++walked) {
        if (named(node, "TrustServiceProviderList")) {
            ++found;
            for (xmlNodePtr up = node->parent; up != nullptr; up = up->parent) {
                if (named(up, "Signature")) return 0;
            }
        }
        if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
            node = node->children;
            continue;
        }
        while (node != nullptr && node->next == nullptr) node = node->parent;
        if (node != nullptr) node = node->next;
        if (node != nullptr && node->type == XML_DOCUMENT_NODE) break;
    }
    return found == 1 && node == nullptr ? 255 : 0;
}

}  // namespace trustlist
