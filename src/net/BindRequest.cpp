#include "net/BindRequest.h"

#include "asn1/Buffer.h"
#include "net/LDAPSteps.h"

namespace {

constexpr unsigned char kSimple = 0x80;

}  // namespace

BindRequest::BindRequest(int v, const char* n, const char* p)
    : version(v), name(n != nullptr ? n : ""), password(p != nullptr ? p : "") {}

BindRequest* BindRequest::clone() const {
    return new BindRequest(*this);
}

unsigned int BindRequest::contentLength(Buffer* b) {
    return b->lenASN1(version) + ldap::stringLength(b, ldap::kOctetString, name) +
           ldap::stringLength(b, kSimple, password);
}

unsigned int BindRequest::getWrapLength(Buffer* b) {
    return ldap::wrappedLength(b, kTag, contentLength(b));
}

void BindRequest::wrapASN1(Buffer* b) {
    b->writeASN1Header(kTag, contentLength(b));
    b->writeASN1(version);
    ldap::writeString(b, ldap::kOctetString, name);
    ldap::writeString(b, kSimple, password);
}

unsigned char BindRequest::unwrapASN1(Buffer* b) {
    unsigned char tag;
    unsigned int len;
    if (!ldap::readHeader(b, &tag, &len) || tag != kTag) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!ldap::readNumber(b, ldap::kInteger, &version) ||
        !ldap::readString(b, ldap::kOctetString, &name) ||
        !ldap::readString(b, kSimple, &password)) {
        return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
