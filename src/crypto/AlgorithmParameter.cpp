#include "crypto/AlgorithmParameter.h"

#include <cstring>

#include "asn1/Buffer.h"

RawAlgorithmParameter::RawAlgorithmParameter(const unsigned char* p, unsigned int n) {
    if (p == nullptr) return;
    encoded = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(encoded, p, n);
    length = n;
}

RawAlgorithmParameter::~RawAlgorithmParameter() { delete[] encoded; }

RawAlgorithmParameter* RawAlgorithmParameter::clone() const {
    return new RawAlgorithmParameter(encoded, length);
}

void RawAlgorithmParameter::wrapASN1(Buffer* b) {
    if (encoded != nullptr) b->writeBytes(encoded, length);
}

unsigned int RawAlgorithmParameter::getWrapLength(Buffer*) { return length; }

unsigned char RawAlgorithmParameter::unwrapASN1(Buffer* b) {
    unsigned int start = b->getReadPos();
    unsigned char tag, definite;
    unsigned int len;
    // Indefinite parameters are not a form any algorithm uses; refusing them keeps this simple.
    if (!b->readASN1Header(&tag, &len, &definite) || definite == 0 || len > b->remaining()) {
        return 0;
    }
    b->setReadPos(b->getReadPos() + len);
    delete[] encoded;
    length = b->getReadPos() - start;
    encoded = new unsigned char[length];
    memcpy(encoded, b->_getData() + start, length);
    return 255;
}
