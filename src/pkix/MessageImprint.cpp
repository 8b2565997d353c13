#include "pkix/MessageImprint.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"

MessageImprint::MessageImprint()
    : hashAlgorithm(nullptr), hashedMessage(nullptr), hashedMessageLen(0) {}

MessageImprint::MessageImprint(const AlgorithmIdentifier* algorithm, const unsigned char* hash,
                               unsigned int length)
    : MessageImprint() {
    setHashAlgorithm(algorithm);
    setHashedMessage(hash, length);
}

MessageImprint::~MessageImprint() {
    delete hashAlgorithm;
    delete[] hashedMessage;
}

MessageImprint* MessageImprint::clone() const {
    MessageImprint* copy = new MessageImprint();
    copy->hashAlgorithm = pkix::cloneOf(hashAlgorithm);
    copy->hashedMessage = pkix::copyBytes(hashedMessage, hashedMessageLen);
    copy->hashedMessageLen = hashedMessageLen;
    return copy;
}

AlgorithmIdentifier* MessageImprint::getHashAlgorithm() const {
    return pkix::cloneOf(hashAlgorithm);
}

void MessageImprint::setHashAlgorithm(const AlgorithmIdentifier* algorithm) {
    pkix::replaceWithCopy(hashAlgorithm, algorithm);
}

char* MessageImprint::getHashAlgorithmName() const {
    return hashAlgorithm != nullptr ? hashAlgorithm->getAlgorithm() : nullptr;
}

unsigned char* MessageImprint::getHashedMessage() const {
    return pkix::copyBytes(hashedMessage, hashedMessageLen);
}

void MessageImprint::setHashedMessage(const unsigned char* hash, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(hash, length);
    delete[] hashedMessage;
    hashedMessage = copy;
    hashedMessageLen = hash != nullptr ? length : 0;
}

unsigned char MessageImprint::isEqual(const MessageImprint* other) const {
    if (other == nullptr || hashAlgorithm == nullptr || other->hashAlgorithm == nullptr) return 0;
    if (!hashAlgorithm->isEqual(other->hashAlgorithm->_getAlgorithm())) return 0;
    if (hashedMessageLen != other->hashedMessageLen) return 0;
    if (hashedMessageLen == 0) return 255;
    return memcmp(hashedMessage, other->hashedMessage, hashedMessageLen) == 0 ? 255 : 0;
}

unsigned int MessageImprint::contentLength(Buffer* b) {
    return (hashAlgorithm != nullptr ? hashAlgorithm->getWrapLength(b) : 0) +
           b->lenASN1(hashedMessage, hashedMessageLen);
}

unsigned int MessageImprint::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void MessageImprint::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (hashAlgorithm != nullptr) hashAlgorithm->wrapASN1(b);
    b->writeASN1(hashedMessage, hashedMessageLen);
}

unsigned char MessageImprint::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete hashAlgorithm;
    hashAlgorithm = new AlgorithmIdentifier();
    if (!hashAlgorithm->unwrapASN1(b)) return 0;
    delete[] hashedMessage;
    hashedMessage = nullptr;
    hashedMessageLen = 0;
    // A NULL in place of the digest would leave nothing to compare: refused.
    if (!b->readASN1(&hashedMessage, &hashedMessageLen) || hashedMessage == nullptr) return 0;
    return 255;
}
