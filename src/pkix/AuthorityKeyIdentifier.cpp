#include "pkix/AuthorityKeyIdentifier.h"

#include "asn1/Buffer.h"
#include "pkix/GeneralName.h"
#include "pkix/ReadSteps.h"

AuthorityKeyIdentifier::AuthorityKeyIdentifier()
    : keyIdentifier(nullptr),
      keyIdentifierLen(0),
      authorityCertIssuer(nullptr),
      authorityCertSerialNumber(0UL) {}

AuthorityKeyIdentifier::~AuthorityKeyIdentifier() {
    delete[] keyIdentifier;
    delete authorityCertIssuer;
}

AuthorityKeyIdentifier* AuthorityKeyIdentifier::clone() const {
    AuthorityKeyIdentifier* copy = new AuthorityKeyIdentifier();
    copy->setKeyIdentifier(keyIdentifier, keyIdentifierLen);
    copy->authorityCertIssuer =
        authorityCertIssuer != nullptr ? authorityCertIssuer->clone() : nullptr;
    copy->authorityCertSerialNumber = authorityCertSerialNumber;
    return copy;
}

unsigned char* AuthorityKeyIdentifier::getKeyIdentifier() const {
    return pkix::copyBytes(keyIdentifier, keyIdentifierLen);
}

void AuthorityKeyIdentifier::setKeyIdentifier(const unsigned char* id, unsigned int length) {
    delete[] keyIdentifier;
    keyIdentifier = pkix::copyBytes(id, length);
    keyIdentifierLen = id != nullptr ? length : 0;
}

GeneralNameList* AuthorityKeyIdentifier::getAuthorityCertIssuer() const {
    return authorityCertIssuer != nullptr ? authorityCertIssuer->clone() : nullptr;
}

void AuthorityKeyIdentifier::setAuthorityCert(const GeneralNameList* issuer,
                                              const BigInteger& serial) {
    delete authorityCertIssuer;
    authorityCertIssuer = issuer != nullptr ? issuer->clone() : nullptr;
    authorityCertSerialNumber = issuer != nullptr ? serial : BigInteger(0UL);
}

char* AuthorityKeyIdentifier::printAuthorityCertSerialNumber(int base) const {
    return authorityCertSerialNumber.printSerial(base);
}

unsigned int AuthorityKeyIdentifier::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (keyIdentifier != nullptr) {
        sum += b->lenASN1(keyIdentifier, keyIdentifierLen, static_cast<unsigned char>(0x80));
    }
    if (authorityCertIssuer != nullptr) {
        sum += authorityCertIssuer->getWrapLength(b) + authorityCertSerialNumber.lenASN1(b);
    }
    return sum;
}

unsigned int AuthorityKeyIdentifier::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void AuthorityKeyIdentifier::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (keyIdentifier != nullptr) {
        b->writeASN1(keyIdentifier, keyIdentifierLen, static_cast<unsigned char>(0x80));
    }
    if (authorityCertIssuer != nullptr) {
        authorityCertIssuer->wrapASN1(0xA1, b);
        authorityCertSerialNumber.writeASN1(b, 0x82);
    }
}

unsigned char AuthorityKeyIdentifier::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (pkix::atEnd(b, end)) return 255;
    unsigned char tag;
    unsigned int n;
    if (!b->peekASN1Header(&tag, &n)) return 0;
    if (tag == 0x80) {
        delete[] keyIdentifier;
        keyIdentifier = nullptr;
        if (!b->readASN1(&keyIdentifier, &keyIdentifierLen, static_cast<unsigned char>(0x80))) {
            return 0;
        }
        if (keyIdentifier == nullptr) keyIdentifier = new unsigned char[1];
        if (pkix::atEnd(b, end)) return 255;
        if (!b->peekASN1Header(&tag, &n)) return 255;
    }
    if (tag != 0xA1) return 255;
    delete authorityCertIssuer;
    authorityCertIssuer = new GeneralNameList();
    if (!authorityCertIssuer->unwrapASN1(0xA1, b)) return 0;
    return authorityCertSerialNumber.readASN1NoBER(b, 0x82) ? 255 : 0;
}
