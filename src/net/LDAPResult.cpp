#include "net/LDAPResult.h"

#include "asn1/Buffer.h"
#include "net/LDAPSteps.h"

LDAPResult::LDAPResult(int code, const char* matched, const char* message)
    : resultCode(code),
      matchedDN(matched != nullptr ? matched : ""),
      diagnosticMessage(message != nullptr ? message : "") {}

LDAPResult* LDAPResult::clone() const {
    return new LDAPResult(*this);
}

unsigned int LDAPResult::contentLength(Buffer* b) {
    return b->lenASN1(resultCode, ldap::kEnumerated) +
           ldap::stringLength(b, ldap::kOctetString, matchedDN) +
           ldap::stringLength(b, ldap::kOctetString, diagnosticMessage);
}

unsigned int LDAPResult::getWrapLength(Buffer* b, unsigned char tag) {
    return ldap::wrappedLength(b, tag, contentLength(b));
}

void LDAPResult::wrapASN1(Buffer* b, unsigned char tag) {
    b->writeASN1Header(tag, contentLength(b));
    b->writeASN1(resultCode, ldap::kEnumerated);
    ldap::writeString(b, ldap::kOctetString, matchedDN);
    ldap::writeString(b, ldap::kOctetString, diagnosticMessage);
}

unsigned char LDAPResult::unwrapASN1(Buffer* b, unsigned char* tag) {
    unsigned int len;
    if (!ldap::readHeader(b, tag, &len)) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!ldap::readNumber(b, ldap::kEnumerated, &resultCode) ||
        !ldap::readString(b, ldap::kOctetString, &matchedDN) ||
        !ldap::readString(b, ldap::kOctetString, &diagnosticMessage)) {
        return 0;
    }
    while (b->getReadPos() < end) {
        if (!ldap::skipElement(b)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
