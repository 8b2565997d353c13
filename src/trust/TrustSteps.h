// Small steps shared by the trust store and the certificate verifier: owned texts, and the
// extensions of certificates and CRLs decoded by their own readers.
#ifndef SIGILO_TRUST_TRUSTSTEPS_H
#define SIGILO_TRUST_TRUSTSTEPS_H

#include <memory>

#include "asn1/Buffer.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Extension.h"

namespace trust {

struct TextDeleter {
    void operator()(char* p) const { delete[] p; }
};
// A new[] text owned.
using Text = std::unique_ptr<char, TextDeleter>;

// The first extension of the list with that OID, or null.
inline const Extension* findExtension(const ExtensionList* list, const char* oid) {
    if (list == nullptr) return nullptr;
    int i = list->findExtension(oid);
    return i >= 0 ? list->_getElement(i) : nullptr;
}

inline const Extension* findExtension(const Certificate* certificate, const char* oid) {
    const CertificateInfo* info = certificate != nullptr ? certificate->_getCertInfo() : nullptr;
    return findExtension(info != nullptr ? info->_getExtensions() : nullptr, oid);
}

// The extension's value read by T's reader; null when the extension is absent or its value
// does not read.
template <class T>
std::unique_ptr<T> decodeExtension(const Extension* extension) {
    if (extension == nullptr || extension->_getExtnValue() == nullptr) return nullptr;
    Buffer view;
    view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
    auto value = std::make_unique<T>();
    if (!value->unwrapASN1(&view)) return nullptr;
    return value;
}

// The first byte of a key-usage extension's bit string (keyCertSign is 0x04, cRLSign 0x02,
// digitalSignature 0x80, nonRepudiation 0x40), as a new one-byte array; null when absent or
// unreadable.
inline unsigned char* keyUsageOf(const Extension* extension) {
    if (extension == nullptr || extension->_getExtnValue() == nullptr) return nullptr;
    Buffer view;
    view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
    unsigned char* bits = nullptr;
    unsigned int n = 0;
    unsigned char unused = 0;
    if (!view.readASN1BitString(&bits, &n, &unused)) {
        delete[] bits;
        return nullptr;
    }
    unsigned char* first = new unsigned char[1];
    first[0] = bits != nullptr && n > 0 ? bits[0] : 0;
    delete[] bits;
    return first;
}

}  // namespace trust

#endif
