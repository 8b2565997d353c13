#include "pkix/SignedData.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CopySteps.h"

SignedData::SignedData() : version(0), digestAlgorithms(nullptr) {}

SignedData::~SignedData() {
    delete digestAlgorithms;
}

int SignedData::peekVersion(Buffer* b) {
    unsigned int from = b->getReadPos();
    unsigned int len;
    int v = -1;
    if (!b->readASN1Sequence(&len) || !b->readASN1(&v)) v = -1;
    b->setReadPos(from);
    return v;
}

AlgorithmIdentifierSet* SignedData::getDigestAlgorithms() const {
    return pkix::cloneOf(digestAlgorithms);
}

void SignedData::setDigestAlgorithms(const AlgorithmIdentifierSet* set) {
    pkix::replaceWithCopy(digestAlgorithms, set);
}

void SignedData::copyCommonTo(SignedData* target) const {
    target->version = version;
    target->setDigestAlgorithms(digestAlgorithms);
}

unsigned char SignedData::readHead(Buffer* b, unsigned char* definite) {
    unsigned int len;
    if (!b->readASN1Sequence(&len, definite) || !b->readASN1(&version)) return 0;
    delete digestAlgorithms;
    digestAlgorithms = new AlgorithmIdentifierSet();
    return digestAlgorithms->unwrapASN1(b) ? 1 : 0;
}

unsigned int SignedData::headLength(Buffer* b) {
    return b->lenASN1(version) +
           (digestAlgorithms != nullptr ? digestAlgorithms->getWrapLength(b) : 0);
}

void SignedData::writeHead(Buffer* b) {
    b->writeASN1(version);
    if (digestAlgorithms != nullptr) digestAlgorithms->wrapASN1(b);
}
