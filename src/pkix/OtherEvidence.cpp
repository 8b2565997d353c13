#include "pkix/OtherEvidence.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"

OtherEvidence::OtherEvidence() : oeType(nullptr), oeValue(nullptr), oeValueLen(0) {}

OtherEvidence::~OtherEvidence() {
    delete oeType;
    delete[] oeValue;
}

OtherEvidence* OtherEvidence::clone() const {
    OtherEvidence* copy = new OtherEvidence();
    copy->oeType = pkix::cloneOf(oeType);
    copy->oeValue = pkix::copyBytes(oeValue, oeValueLen);
    copy->oeValueLen = oeValueLen;
    return copy;
}

char* OtherEvidence::getOeType() const {
    return oeType != nullptr ? oeType->getValue() : nullptr;
}

void OtherEvidence::setOeType(const char* dotted) {
    delete oeType;
    oeType = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char OtherEvidence::isEqual(const char* dotted) const {
    return oeType != nullptr && dotted != nullptr ? oeType->isEqual(dotted) : 0;
}

unsigned char* OtherEvidence::getOeValue() const {
    return pkix::copyBytes(oeValue, oeValueLen);
}

void OtherEvidence::setOeValue(const unsigned char* der, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(der, length);
    delete[] oeValue;
    oeValue = copy;
    oeValueLen = der != nullptr ? length : 0;
}

unsigned int OtherEvidence::contentLength(Buffer* b) {
    return (oeType != nullptr ? b->lenASN1(oeType) : 0) + oeValueLen;
}

unsigned int OtherEvidence::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void OtherEvidence::wrapASN1(Buffer* b) {
    wrapASN1(b, 0x30);
}

void OtherEvidence::wrapASN1(Buffer* b, unsigned char tag) {
    b->writeASN1Header(tag, contentLength(b));
    if (oeType != nullptr) b->writeASN1(oeType);
    if (oeValue != nullptr) b->writeBytes(oeValue, oeValueLen);
}

unsigned char OtherEvidence::unwrapASN1(Buffer* b) {
    return unwrapASN1(b, 0x30);
}

unsigned char OtherEvidence::unwrapASN1(Buffer* b, unsigned char tag) {
    delete oeType;
    oeType = nullptr;
    delete[] oeValue;
    oeValue = nullptr;
    oeValueLen = 0;
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    oeType = new OID();
    if (!b->readASN1(oeType)) return 0;
    if (!pkix::readRawElement(b, &oeValue, &oeValueLen)) return 0;
    return b->getReadPos() == end ? 255 : 0;
}
