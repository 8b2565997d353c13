#include "crypto/PBEParameter.h"

#include <cstring>

#include "asn1/Buffer.h"

PBEParameter::PBEParameter() : salt(nullptr), saltLen(0), iterations(0) {}

PBEParameter::PBEParameter(const unsigned char* p, unsigned int n, int count) : PBEParameter() {
    setSalt(p, n);
    iterations = count;
}

PBEParameter::~PBEParameter() {
    delete[] salt;
}

PBEParameter* PBEParameter::clone() const {
    return new PBEParameter(salt, saltLen, iterations);
}

void PBEParameter::setSalt(const unsigned char* p, unsigned int n) {
    delete[] salt;
    salt = nullptr;
    saltLen = 0;
    if (p == nullptr) return;
    salt = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(salt, p, n);
    saltLen = n;
}

unsigned int PBEParameter::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(b->lenASN1(salt, saltLen) + b->lenASN1(iterations));
}

void PBEParameter::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(b->lenASN1(salt, saltLen) + b->lenASN1(iterations));
    b->writeASN1(salt, saltLen);
    b->writeASN1(iterations);
}

unsigned char PBEParameter::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete[] salt;
    salt = nullptr;
    saltLen = 0;
    unsigned char tag;
    unsigned int n;
    if (!b->peekASN1Header(&tag, &n) || tag != 0x04) return 0;
    if (!b->readASN1(&salt, &saltLen)) return 0;
    // A count below one is no count at all.
    return b->readASN1(&iterations) && iterations > 0 ? 255 : 0;
}
