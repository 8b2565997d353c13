#include "pkix/SignerIdentifier.h"

#include "asn1/Buffer.h"
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/ReadSteps.h"

SignerIdentifier::SignerIdentifier() : issuerAndSerial(nullptr), keyId(nullptr), keyIdLen(0) {}

SignerIdentifier::~SignerIdentifier() {
    clear();
}

void SignerIdentifier::clear() {
    delete issuerAndSerial;
    delete[] keyId;
    issuerAndSerial = nullptr;
    keyId = nullptr;
    keyIdLen = 0;
}

SignerIdentifier* SignerIdentifier::clone() const {
    SignerIdentifier* copy = new SignerIdentifier();
    copy->issuerAndSerial = issuerAndSerial != nullptr ? issuerAndSerial->clone() : nullptr;
    copy->keyId = pkix::copyBytes(keyId, keyIdLen);
    copy->keyIdLen = keyIdLen;
    return copy;
}

IssuerAndSerialNumber* SignerIdentifier::getIssuerAndSerialNumber() const {
    return issuerAndSerial != nullptr ? issuerAndSerial->clone() : nullptr;
}

void SignerIdentifier::setIssuerAndSerialNumber(const IssuerAndSerialNumber* value) {
    IssuerAndSerialNumber* copy = value != nullptr ? value->clone() : nullptr;
    clear();
    issuerAndSerial = copy;
}

unsigned char* SignerIdentifier::getSubjectKeyIdentifier() const {
    return pkix::copyBytes(keyId, keyIdLen);
}

void SignerIdentifier::setSubjectKeyIdentifier(const unsigned char* id, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(id, length);
    clear();
    keyId = copy;
    keyIdLen = id != nullptr ? length : 0;
}

unsigned int SignerIdentifier::getWrapLength(Buffer* b) {
    if (issuerAndSerial != nullptr) return issuerAndSerial->getWrapLength(b);
    if (keyId != nullptr) return b->lenASN1(keyId, keyIdLen, kKeyIdTag);
    return 0;
}

void SignerIdentifier::wrapASN1(Buffer* b) {
    if (issuerAndSerial != nullptr) {
        issuerAndSerial->wrapASN1(b);
    } else if (keyId != nullptr) {
        b->writeASN1(keyId, keyIdLen, kKeyIdTag);
    }
}

unsigned char SignerIdentifier::unwrapASN1(Buffer* b) {
    clear();
    if (pkix::peekTag(b) == kKeyIdTag) {
        if (!b->readASN1(&keyId, &keyIdLen, kKeyIdTag)) return 0;
        // A NULL in place of the identifier gives no bytes: that identifies nobody.
        return keyId != nullptr ? 255 : 0;
    }
    issuerAndSerial = new IssuerAndSerialNumber();
    return issuerAndSerial->unwrapASN1(b);
}
