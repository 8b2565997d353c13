#include "pkix/OtherRevocationInfoFormat.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/ReadSteps.h"

OtherRevocationInfoFormat::OtherRevocationInfoFormat()
    : otherRevInfoFormat(nullptr), otherRevInfo(nullptr), readInfo(nullptr), readInfoLength(0) {}

OtherRevocationInfoFormat::~OtherRevocationInfoFormat() {
    delete otherRevInfoFormat;
    delete[] readInfo;
}

OtherRevocationInfoFormat* OtherRevocationInfoFormat::clone() const {
    OtherRevocationInfoFormat* copy = new OtherRevocationInfoFormat();
    copy->otherRevInfoFormat = getOtherRevInfoFormat();
    copy->otherRevInfo = otherRevInfo;
    copy->readInfo = pkix::copyBytes(readInfo, readInfoLength);
    copy->readInfoLength = readInfoLength;
    return copy;
}

OID* OtherRevocationInfoFormat::getOtherRevInfoFormat() const {
    return otherRevInfoFormat != nullptr ? otherRevInfoFormat->clone() : nullptr;
}

void OtherRevocationInfoFormat::setOtherRevInfoFormat(const OID* oid) {
    OID* copy = oid != nullptr ? oid->clone() : nullptr;
    delete otherRevInfoFormat;
    otherRevInfoFormat = copy;
}

void OtherRevocationInfoFormat::setOtherRevInfoFormat(const char* dotted) {
    delete otherRevInfoFormat;
    otherRevInfoFormat = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned int OtherRevocationInfoFormat::getWrapLength(Buffer* b) {
    unsigned int inner = otherRevInfoFormat != nullptr ? b->lenASN1(otherRevInfoFormat) : 0;
    return b->lenASN1Sequence(inner);
}

// The opaque information cannot be written back: only the OID goes out.
void OtherRevocationInfoFormat::wrapASN1(Buffer* b) {
    unsigned int inner = otherRevInfoFormat != nullptr ? b->lenASN1(otherRevInfoFormat) : 0;
    b->writeASN1Sequence(inner);
    if (otherRevInfoFormat != nullptr) b->writeASN1(otherRevInfoFormat);
}

unsigned char OtherRevocationInfoFormat::unwrapASN1(Buffer* b) {
    return unwrapASN1(0x30, b);
}

unsigned char OtherRevocationInfoFormat::unwrapASN1(unsigned char tag, Buffer* b) {
    unsigned char t, definite;
    unsigned int len;
    if (!b->readASN1Header(&t, &len, &definite) || t != tag) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    delete otherRevInfoFormat;
    otherRevInfoFormat = new OID();
    if (!b->readASN1(otherRevInfoFormat)) return 0;
    delete[] readInfo;
    readInfo = nullptr;
    readInfoLength = 0;
    if (definite) {
        if (pkix::atEnd(b, end)) return 255;
        return pkix::readRawElement(b, &readInfo, &readInfoLength);
    }
    if (b->peekByte() != 0 && !pkix::readRawElement(b, &readInfo, &readInfoLength)) return 0;
    return b->readEOC() ? 255 : 0;
}
