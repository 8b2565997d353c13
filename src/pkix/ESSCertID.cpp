#include "pkix/ESSCertID.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CopySteps.h"
#include "pkix/GeneralName.h"
#include "pkix/ReadSteps.h"

namespace {

using pkix::cloneOf;

template <class T>
void replace(T*& field, const T* value) {
    pkix::replaceWithCopy(field, value);
}

void replaceBytes(unsigned char*& field, unsigned int& length, const unsigned char* p,
                  unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] field;
    field = copy;
    length = p != nullptr ? n : 0;
}

// The hash and the optional issuer-serial tail shared by both identifiers.
unsigned char readHashAndTail(Buffer* b, unsigned int end, unsigned char*& hash,
                              unsigned int& hashLen, ESSIssuerSerial*& issuerSerial) {
    delete[] hash;
    hash = nullptr;
    hashLen = 0;
    if (!b->readASN1(&hash, &hashLen) || hash == nullptr) return 0;
    delete issuerSerial;
    issuerSerial = nullptr;
    if (pkix::atEnd(b, end)) return 255;
    issuerSerial = new ESSIssuerSerial();
    return issuerSerial->unwrapASN1(b);
}

}  // namespace

// ---- ESSIssuerSerial ----

ESSIssuerSerial::ESSIssuerSerial() : issuer(nullptr) {}
ESSIssuerSerial::~ESSIssuerSerial() {
    delete issuer;
}

ESSIssuerSerial* ESSIssuerSerial::clone() const {
    ESSIssuerSerial* copy = new ESSIssuerSerial();
    copy->issuer = cloneOf(issuer);
    copy->serialNumber = serialNumber;
    return copy;
}

GeneralNameList* ESSIssuerSerial::getIssuer() const {
    return cloneOf(issuer);
}
void ESSIssuerSerial::setIssuer(const GeneralNameList* names) {
    replace(issuer, names);
}

unsigned int ESSIssuerSerial::contentLength(Buffer* b) {
    return (issuer != nullptr ? issuer->getWrapLength(b) : 0) + serialNumber.lenASN1(b);
}

unsigned int ESSIssuerSerial::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ESSIssuerSerial::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (issuer != nullptr) issuer->wrapASN1(b);
    serialNumber.writeASN1(b);
}

unsigned char ESSIssuerSerial::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete issuer;
    issuer = new GeneralNameList();
    if (!issuer->unwrapASN1(b)) return 0;
    return serialNumber.readASN1(b) ? 255 : 0;
}

// ---- ESSCertID ----

ESSCertID::ESSCertID() : certHash(nullptr), hashLen(0), issuerSerial(nullptr) {}

ESSCertID::~ESSCertID() {
    delete[] certHash;
    delete issuerSerial;
}

ESSCertID* ESSCertID::clone() const {
    ESSCertID* copy = new ESSCertID();
    copy->certHash = pkix::copyBytes(certHash, hashLen);
    copy->hashLen = hashLen;
    copy->issuerSerial = cloneOf(issuerSerial);
    return copy;
}

unsigned char* ESSCertID::getCertHash() const {
    return pkix::copyBytes(certHash, hashLen);
}
void ESSCertID::setCertHash(const unsigned char* hash, unsigned int length) {
    replaceBytes(certHash, hashLen, hash, length);
}
ESSIssuerSerial* ESSCertID::getIssuerSerial() const {
    return cloneOf(issuerSerial);
}
void ESSCertID::setIssuerSerial(const ESSIssuerSerial* value) {
    replace(issuerSerial, value);
}

unsigned int ESSCertID::peekLen(Buffer* b) {
    unsigned char tag;
    unsigned int len;
    if (!b->peekASN1Header(&tag, &len) || tag != 0x30) return 0;
    return len;
}

unsigned int ESSCertID::contentLength(Buffer* b) {
    return b->lenASN1(certHash, hashLen) +
           (issuerSerial != nullptr ? issuerSerial->getWrapLength(b) : 0);
}

unsigned int ESSCertID::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ESSCertID::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(certHash, hashLen);
    if (issuerSerial != nullptr) issuerSerial->wrapASN1(b);
}

unsigned char ESSCertID::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    return readHashAndTail(b, pkix::endOf(b, len), certHash, hashLen, issuerSerial);
}

// ---- ESSCertIDV2 ----

ESSCertIDV2::ESSCertIDV2()
    : hashAlgorithm(nullptr), certHash(nullptr), hashLen(0), issuerSerial(nullptr) {}

ESSCertIDV2::~ESSCertIDV2() {
    delete hashAlgorithm;
    delete[] certHash;
    delete issuerSerial;
}

ESSCertIDV2* ESSCertIDV2::clone() const {
    ESSCertIDV2* copy = new ESSCertIDV2();
    copy->hashAlgorithm = cloneOf(hashAlgorithm);
    copy->certHash = pkix::copyBytes(certHash, hashLen);
    copy->hashLen = hashLen;
    copy->issuerSerial = cloneOf(issuerSerial);
    return copy;
}

AlgorithmIdentifier* ESSCertIDV2::getHashAlgorithm() const {
    return cloneOf(hashAlgorithm);
}
void ESSCertIDV2::setHashAlgorithm(const AlgorithmIdentifier* a) {
    replace(hashAlgorithm, a);
}

char* ESSCertIDV2::getHashAlgorithmName() const {
    return hashAlgorithm != nullptr ? hashAlgorithm->getAlgorithm() : nullptr;
}

unsigned char* ESSCertIDV2::getCertHash() const {
    return pkix::copyBytes(certHash, hashLen);
}
void ESSCertIDV2::setCertHash(const unsigned char* hash, unsigned int length) {
    replaceBytes(certHash, hashLen, hash, length);
}
ESSIssuerSerial* ESSCertIDV2::getIssuerSerial() const {
    return cloneOf(issuerSerial);
}
void ESSCertIDV2::setIssuerSerial(const ESSIssuerSerial* value) {
    replace(issuerSerial, value);
}

// The default algorithm is left out, as DER wants.
unsigned int ESSCertIDV2::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(certHash, hashLen);
    if (hashAlgorithm != nullptr && !hashAlgorithm->isEqual(kDefaultHash)) {
        sum += hashAlgorithm->getWrapLength(b);
    }
    if (issuerSerial != nullptr) sum += issuerSerial->getWrapLength(b);
    return sum;
}

unsigned int ESSCertIDV2::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ESSCertIDV2::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (hashAlgorithm != nullptr && !hashAlgorithm->isEqual(kDefaultHash)) {
        hashAlgorithm->wrapASN1(b);
    }
    b->writeASN1(certHash, hashLen);
    if (issuerSerial != nullptr) issuerSerial->wrapASN1(b);
}

unsigned char ESSCertIDV2::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete hashAlgorithm;
    hashAlgorithm = new AlgorithmIdentifier();
    if (pkix::peekTag(b) == 0x30) {
        if (!hashAlgorithm->unwrapASN1(b)) return 0;
    } else {
        hashAlgorithm->setAlgorithm(kDefaultHash);
    }
    return readHashAndTail(b, end, certHash, hashLen, issuerSerial);
}
