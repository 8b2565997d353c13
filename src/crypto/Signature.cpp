#include "crypto/Signature.h"

#include <cstring>

#include "asn1/Buffer.h"

Signature::Signature() : sign(nullptr), length(0) {}

Signature::Signature(const unsigned char* p, unsigned int n) : Signature() { setSign(p, n); }

Signature::~Signature() { delete[] sign; }

Signature* Signature::clone() const { return new Signature(sign, length); }

unsigned char* Signature::getSign() const {
    if (sign == nullptr) return nullptr;
    unsigned char* copy = new unsigned char[length > 0 ? length : 1];
    if (length > 0) memcpy(copy, sign, length);
    return copy;
}

void Signature::setSign(const unsigned char* p, unsigned int n) {
    delete[] sign;
    sign = nullptr;
    length = 0;
    if (p == nullptr) return;
    sign = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(sign, p, n);
    length = n;
}

// With no bytes the BIT STRING writer puts out only a header (05 01).
unsigned int Signature::getWrapLength(Buffer* b) {
    return sign != nullptr ? b->lenASN1BitString(length) : b->lenASN1Header(0x05, 1);
}

void Signature::wrapASN1(Buffer* b) { b->writeASN1BitString(sign, length, 0); }

unsigned char Signature::unwrapASN1(Buffer* b) {
    delete[] sign;
    sign = nullptr;
    length = 0;
    unsigned char unused;
    if (!b->readASN1BitString(&sign, &length, &unused)) return 0;
    // A signature is a whole number of bytes: a count of unused bits is a changed byte that the
    // signature itself cannot catch, so it is refused here.
    return unused == 0 ? 255 : 0;
}
