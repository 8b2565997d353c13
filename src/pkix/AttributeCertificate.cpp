#include "pkix/AttributeCertificate.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

CarriedElement::~CarriedElement() {
    delete[] encoded;
}

unsigned char* CarriedElement::getEncoded() const {
    return pkix::copyBytes(encoded, encodedLen);
}

void CarriedElement::setEncoded(const unsigned char* p, unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] encoded;
    encoded = copy;
    encodedLen = p != nullptr ? n : 0;
}

void CarriedElement::wrapASN1(Buffer* b) const {
    if (encoded != nullptr) b->writeBytes(encoded, encodedLen);
}

unsigned char CarriedElement::unwrapASN1(unsigned char tag, Buffer* b) {
    if (pkix::peekTag(b) != tag) return 0;
    delete[] encoded;
    encoded = nullptr;
    encodedLen = 0;
    return pkix::readRawElement(b, &encoded, &encodedLen) ? 255 : 0;
}
