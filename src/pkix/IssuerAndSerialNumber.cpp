#include "pkix/IssuerAndSerialNumber.h"

#include "asn1/Buffer.h"
#include "pkix/Name.h"

IssuerAndSerialNumber::IssuerAndSerialNumber() : issuer(nullptr) {}

IssuerAndSerialNumber::~IssuerAndSerialNumber() {
    delete issuer;
}

IssuerAndSerialNumber* IssuerAndSerialNumber::clone() const {
    IssuerAndSerialNumber* copy = new IssuerAndSerialNumber();
    copy->issuer = issuer != nullptr ? issuer->clone() : nullptr;
    copy->serialNumber = serialNumber;
    return copy;
}

Name* IssuerAndSerialNumber::getIssuer() const {
    return issuer != nullptr ? issuer->clone() : nullptr;
}

void IssuerAndSerialNumber::setIssuer(const Name* name) {
    Name* copy = name != nullptr ? name->clone() : nullptr;
    delete issuer;
    issuer = copy;
}

unsigned int IssuerAndSerialNumber::contentLength(Buffer* b) {
    return (issuer != nullptr ? issuer->getWrapLength(b) : 0) + serialNumber.lenASN1(b);
}

unsigned int IssuerAndSerialNumber::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void IssuerAndSerialNumber::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (issuer != nullptr) issuer->wrapASN1(b);
    serialNumber.writeASN1(b);
}

unsigned char IssuerAndSerialNumber::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete issuer;
    issuer = new Name();
    if (!issuer->unwrapASN1(b)) return 0;
    return serialNumber.readASN1NoBER(b) ? 255 : 0;
}
