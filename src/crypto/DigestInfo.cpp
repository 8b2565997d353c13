#include "crypto/DigestInfo.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"

DigestInfo::DigestInfo() : algorithm(nullptr), digest(nullptr), length(0) {}

DigestInfo::DigestInfo(const AlgorithmIdentifier* a, const unsigned char* p, unsigned int n)
    : DigestInfo() {
    setAlgorithm(a);
    setDigest(p, n);
}

DigestInfo::DigestInfo(const char* dotted, const unsigned char* p, unsigned int n) : DigestInfo() {
    algorithm = new AlgorithmIdentifier(dotted);
    setDigest(p, n);
}

DigestInfo::~DigestInfo() {
    delete algorithm;
    delete[] digest;
}

DigestInfo* DigestInfo::clone() const {
    return new DigestInfo(algorithm, digest, length);
}

AlgorithmIdentifier* DigestInfo::getAlgorithm() const {
    return algorithm != nullptr ? algorithm->clone() : nullptr;
}

void DigestInfo::setAlgorithm(const AlgorithmIdentifier* a) {
    delete algorithm;
    algorithm = a != nullptr ? a->clone() : nullptr;
}

void DigestInfo::setUseAlgorithmParameters(unsigned char use) {
    if (algorithm != nullptr) algorithm->setUseParameters(use);
}

unsigned char DigestInfo::getUseAlgorithmParameters() const {
    return algorithm != nullptr && algorithm->getUseParameters() == 255 ? 255 : 0;
}

unsigned char* DigestInfo::getDigest() const {
    if (digest == nullptr) return nullptr;
    unsigned char* copy = new unsigned char[length > 0 ? length : 1];
    if (length > 0) memcpy(copy, digest, length);
    return copy;
}

void DigestInfo::setDigest(const unsigned char* p, unsigned int n) {
    delete[] digest;
    digest = nullptr;
    length = 0;
    if (p == nullptr) return;
    digest = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(digest, p, n);
    length = n;
}

unsigned char DigestInfo::isEqual(const DigestInfo* other) const {
    if (other == nullptr || algorithm == nullptr || !algorithm->isEqual(other->algorithm)) {
        return 0;
    }
    if (length != other->length || digest == nullptr || other->digest == nullptr) return 0;
    return memcmp(digest, other->digest, length) == 0 ? 255 : 0;
}

unsigned int DigestInfo::getWrapLength(Buffer* b) {
    unsigned int sum =
        (algorithm != nullptr ? algorithm->getWrapLength(b) : 0) + b->lenASN1(digest, length);
    return b->lenASN1Sequence(sum);
}

void DigestInfo::wrapASN1(Buffer* b) {
    unsigned int sum =
        (algorithm != nullptr ? algorithm->getWrapLength(b) : 0) + b->lenASN1(digest, length);
    b->writeASN1Sequence(sum);
    if (algorithm != nullptr) algorithm->wrapASN1(b);
    b->writeASN1(digest, length);
}

unsigned char DigestInfo::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete algorithm;
    algorithm = new AlgorithmIdentifier();
    if (!algorithm->unwrapASN1(b)) return 0;
    delete[] digest;
    digest = nullptr;
    length = 0;
    unsigned char tag;
    unsigned int n;
    // A digest is a primitive OCTET STRING; nothing else (NULL included) will do.
    if (!b->peekASN1Header(&tag, &n) || tag != 0x04) return 0;
    return b->readASN1(&digest, &length);
}
