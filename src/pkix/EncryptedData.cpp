#include "pkix/EncryptedData.h"

#include <cstring>
#include <vector>

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

EncryptedData::EncryptedData() : version(0), rest(nullptr), restLen(0) {}

EncryptedData::~EncryptedData() {
    delete[] rest;
}

EncryptedData* EncryptedData::clone() const {
    EncryptedData* copy = new EncryptedData();
    copy->version = version;
    copy->rest = pkix::copyBytes(rest, restLen);
    copy->restLen = restLen;
    return copy;
}

unsigned char* EncryptedData::getEncryptedContent() const {
    return pkix::copyBytes(rest, restLen);
}

unsigned int EncryptedData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(b->lenASN1(version) + restLen);
}

void EncryptedData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(b->lenASN1(version) + restLen);
    b->writeASN1(version);
    if (rest != nullptr) b->writeBytes(rest, restLen);
}

// The elements after the version, each whole, up to the end of the SEQUENCE (or to its
// end-of-contents), joined.
unsigned char EncryptedData::unwrapASN1(Buffer* b) {
    delete[] rest;
    rest = nullptr;
    restLen = 0;
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    if (!b->readASN1(&version)) return 0;
    std::vector<unsigned char> joined;
    while (definite ? !pkix::atEnd(b, end) : b->peekByte() != 0) {
        unsigned char* element;
        unsigned int n;
        unsigned int before = b->getReadPos();
        if (!pkix::readRawElement(b, &element, &n) || b->getReadPos() == before) return 0;
        joined.insert(joined.end(), element, element + n);
        delete[] element;
    }
    if (!definite && !b->readEOC()) return 0;
    rest = pkix::copyBytes(joined.data(), static_cast<unsigned int>(joined.size()));
    restLen = static_cast<unsigned int>(joined.size());
    return 1;
}
