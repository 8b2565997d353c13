#include "pkix/Validity.h"

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"

Validity::Validity() : notBefore(nullptr), notAfter(nullptr) {}

Validity::Validity(const X500Time* before, const X500Time* after) : Validity() {
    setNotBefore(before);
    setNotAfter(after);
}

Validity::~Validity() {
    delete notBefore;
    delete notAfter;
}

Validity* Validity::clone() const { return new Validity(notBefore, notAfter); }

X500Time* Validity::getNotBefore() const {
    return notBefore != nullptr ? notBefore->clone() : nullptr;
}

X500Time* Validity::getNotAfter() const {
    return notAfter != nullptr ? notAfter->clone() : nullptr;
}

void Validity::setNotBefore(const X500Time* t) {
    delete notBefore;
    notBefore = t != nullptr ? t->clone() : nullptr;
}

void Validity::setNotAfter(const X500Time* t) {
    delete notAfter;
    notAfter = t != nullptr ? t->clone() : nullptr;
}

unsigned int Validity::contentLength(Buffer* b) {
    return (notBefore != nullptr ? notBefore->getWrapLength(b) : 0) +
           (notAfter != nullptr ? notAfter->getWrapLength(b) : 0);
}

unsigned int Validity::getWrapLength(Buffer* b) { return b->lenASN1Sequence(contentLength(b)); }

void Validity::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (notBefore != nullptr) notBefore->wrapASN1(b);
    if (notAfter != nullptr) notAfter->wrapASN1(b);
}

unsigned char Validity::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete notBefore;
    delete notAfter;
    notAfter = nullptr;
    notBefore = new X500Time();
    if (!notBefore->unwrapASN1(b)) return 0;
    notAfter = new X500Time();
    return notAfter->unwrapASN1(b);
}
