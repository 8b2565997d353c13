#include "pkix/TimeStampedData.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

TimeStampedData::TimeStampedData() : encoded(nullptr), encodedLen(0) {}

TimeStampedData::~TimeStampedData() {
    delete[] encoded;
}

TimeStampedData* TimeStampedData::clone() const {
    TimeStampedData* copy = new TimeStampedData();
    copy->encoded = pkix::copyBytes(encoded, encodedLen);
    copy->encodedLen = encodedLen;
    return copy;
}

unsigned char* TimeStampedData::getEncoded() const {
    return pkix::copyBytes(encoded, encodedLen);
}

unsigned int TimeStampedData::getWrapLength(Buffer*) {
    return encodedLen;
}

void TimeStampedData::wrapASN1(Buffer* b) {
    if (encoded != nullptr) b->writeBytes(encoded, encodedLen);
}

unsigned char TimeStampedData::unwrapASN1(Buffer* b) {
    delete[] encoded;
    encoded = nullptr;
    encodedLen = 0;
    if (pkix::peekTag(b) != 0x30) return 0;
    return pkix::readRawElement(b, &encoded, &encodedLen) ? 1 : 0;
}
