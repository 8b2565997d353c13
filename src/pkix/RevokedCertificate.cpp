#include "pkix/RevokedCertificate.h"

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "pkix/Extension.h"
#include "pkix/ReadSteps.h"

RevokedCertificate::RevokedCertificate() : revocationDate(nullptr), crlEntryExtensions(nullptr) {}

RevokedCertificate::~RevokedCertificate() {
    delete revocationDate;
    delete crlEntryExtensions;
}

RevokedCertificate* RevokedCertificate::clone() const {
    RevokedCertificate* copy = new RevokedCertificate();
    copy->userCertificate = userCertificate;
    copy->revocationDate = revocationDate != nullptr ? revocationDate->clone() : nullptr;
    copy->crlEntryExtensions =
        crlEntryExtensions != nullptr ? crlEntryExtensions->clone() : nullptr;
    return copy;
}

char* RevokedCertificate::printUserCertificate(int base) const {
    return userCertificate.printSerial(base);
}

X500Time* RevokedCertificate::getRevocationDate() const {
    return revocationDate != nullptr ? revocationDate->clone() : nullptr;
}

void RevokedCertificate::setRevocationDate(const X500Time* t) {
    X500Time* copy = t != nullptr ? t->clone() : nullptr;
    delete revocationDate;
    revocationDate = copy;
}

ExtensionList* RevokedCertificate::getCrlEntryExtensions() const {
    return crlEntryExtensions != nullptr ? crlEntryExtensions->clone() : nullptr;
}

void RevokedCertificate::setCrlEntryExtensions(const ExtensionList* list) {
    ExtensionList* copy = list != nullptr ? list->clone() : nullptr;
    delete crlEntryExtensions;
    crlEntryExtensions = copy;
}

unsigned int RevokedCertificate::contentLength(Buffer* b) {
    unsigned int sum = userCertificate.lenASN1(b);
    if (revocationDate != nullptr) sum += revocationDate->getWrapLength(b);
    if (crlEntryExtensions != nullptr) sum += crlEntryExtensions->getWrapLength(b);
    return sum;
}

unsigned int RevokedCertificate::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void RevokedCertificate::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    userCertificate.writeASN1(b);
    if (revocationDate != nullptr) revocationDate->wrapASN1(b);
    if (crlEntryExtensions != nullptr) crlEntryExtensions->wrapASN1(b);
}

// The extensions are looked for only when the SEQUENCE has bytes left after the date; an
// indefinite entry ends at its end-of-contents instead.
unsigned char RevokedCertificate::unwrapASN1(Buffer* b) {
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    if (!userCertificate.readASN1(b)) return 0;
    delete revocationDate;
    revocationDate = new X500Time();
    if (!revocationDate->unwrapASN1(b)) return 0;
    setCrlEntryExtensions(nullptr);
    if (definite) {
        if (pkix::atEnd(b, end)) return 255;
    } else if (b->peekByte() == 0) {
        return b->readEOC() ? 255 : 0;
    }
    crlEntryExtensions = new ExtensionList();
    if (!crlEntryExtensions->unwrapASN1(b)) return 0;
    if (!definite) return b->readEOC() ? 255 : 0;
    return 255;
}
