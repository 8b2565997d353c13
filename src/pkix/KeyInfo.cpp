#include "pkix/KeyInfo.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/RSAPublicKey.h"

KeyInfo::KeyInfo() : algorithm(nullptr), bits(nullptr), length(0), unused(0) {}

KeyInfo::KeyInfo(Key* key, const AlgorithmIdentifier* a) : KeyInfo() {
    if (a != nullptr) {
        setAlgorithm(a);
    } else {
        algorithm = new AlgorithmIdentifier(kRSAEncryption);
    }
    setKey(key);
}

KeyInfo::~KeyInfo() {
    delete algorithm;
    delete[] bits;
}

KeyInfo* KeyInfo::clone() const {
    KeyInfo* copy = new KeyInfo();
    copy->setAlgorithm(algorithm);
    if (bits != nullptr) {
        copy->bits = new unsigned char[length > 0 ? length : 1];
        if (length > 0) memcpy(copy->bits, bits, length);
    }
    copy->length = length;
    copy->unused = unused;
    return copy;
}

AlgorithmIdentifier* KeyInfo::getAlgorithm() const {
    return algorithm != nullptr ? algorithm->clone() : nullptr;
}

void KeyInfo::setAlgorithm(const AlgorithmIdentifier* a) {
    delete algorithm;
    algorithm = a != nullptr ? a->clone() : nullptr;
}

Key* KeyInfo::getKey() const {
    if (algorithm == nullptr || bits == nullptr || !algorithm->isEqual(kRSAEncryption)) {
        return nullptr;
    }
    Buffer b;
    b.fromByteArray(bits, length);
    auto key = std::make_unique<RSAPublicKey>();
    if (!key->unwrapASN1(&b)) return nullptr;
    return key.release();
}

void KeyInfo::setKey(Key* key) {
    delete[] bits;
    bits = nullptr;
    length = 0;
    unused = 0;
    if (key == nullptr) return;
    Buffer b;
    b.enlarge(key->getWrapLength(&b));
    key->wrapASN1(&b);
    b.toByteArray(&bits, &length);
}

bool KeyInfo::isBEREncoded() const {
    std::unique_ptr<Key> key(getKey());
    return key != nullptr && key->isBEREncoded();
}

unsigned char KeyInfo::isEqual(const KeyInfo* other) const {
    if (other == nullptr || length != other->length) return 0;
    if (algorithm == nullptr || !algorithm->isEqual(other->algorithm)) return 0;
    if (length > 0 && memcmp(bits, other->bits, length) != 0) return 0;
    return 255;
}

unsigned int KeyInfo::getWrapLength(Buffer* b) {
    unsigned int sum = (algorithm != nullptr ? algorithm->getWrapLength(b) : 0) +
                       (bits != nullptr ? b->lenASN1BitString(length) : b->lenASN1Header(5, 1));
    return b->lenASN1Sequence(sum);
}

void KeyInfo::wrapASN1(Buffer* b) {
    unsigned int sum = (algorithm != nullptr ? algorithm->getWrapLength(b) : 0) +
                       (bits != nullptr ? b->lenASN1BitString(length) : b->lenASN1Header(5, 1));
    b->writeASN1Sequence(sum);
    if (algorithm != nullptr) algorithm->wrapASN1(b);
    b->writeASN1BitString(bits, length, unused);
}

unsigned char KeyInfo::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete algorithm;
    algorithm = new AlgorithmIdentifier();
    if (!algorithm->unwrapASN1(b)) return 0;
    delete[] bits;
    bits = nullptr;
    length = 0;
    if (!b->readASN1BitString(&bits, &length, &unused, 0x03)) return 0;
    // An empty BIT STRING is still a key field: kept as an empty array, it is written back as
    // 03 01 00 and not as the NULL that an absent one gives.
    if (bits == nullptr) bits = new unsigned char[1];
    return 1;
}
