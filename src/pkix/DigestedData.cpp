#include "pkix/DigestedData.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/ContentInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignedData.h"

DigestedData::DigestedData()
    : version(0), digestAlgorithm(nullptr), digest(nullptr), digestLen(0) {}

DigestedData::~DigestedData() {
    delete digestAlgorithm;
    delete[] digest;
}

int DigestedData::peekVersion(Buffer* b) {
    return SignedData::peekVersion(b);
}

AlgorithmIdentifier* DigestedData::getDigestAlgorithm() const {
    return pkix::cloneOf(digestAlgorithm);
}

unsigned char* DigestedData::getDigest() const {
    return pkix::copyBytes(digest, digestLen);
}

void DigestedData::copyTo(DigestedData* target) const {
    target->version = version;
    target->digestAlgorithm = pkix::cloneOf(digestAlgorithm);
    target->digest = pkix::copyBytes(digest, digestLen);
    target->digestLen = digestLen;
}

unsigned int DigestedData::contentLength(Buffer* b) {
    return b->lenASN1(version) +
           (digestAlgorithm != nullptr ? digestAlgorithm->getWrapLength(b) : 0) +
           contentPartLength(b) + b->lenASN1(digest, digestLen);
}

unsigned int DigestedData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void DigestedData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (digestAlgorithm != nullptr) digestAlgorithm->wrapASN1(b);
    writeContentPart(b);
    b->writeASN1(digest, digestLen);
}

unsigned char DigestedData::read(Buffer* b, bool borrow) {
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite) || !b->readASN1(&version)) return 0;
    delete digestAlgorithm;
    digestAlgorithm = new AlgorithmIdentifier();
    if (!digestAlgorithm->unwrapASN1(b)) return 0;
    unsigned char inner = readContentPart(b, borrow);
    if (inner != 1) return inner;
    delete[] digest;
    digest = nullptr;
    digestLen = 0;
    if (!b->readASN1(&digest, &digestLen)) return 0;
    if (!definite && !b->readEOC()) return 0;
    return 1;
}

unsigned char DigestedData::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char DigestedData::_unwrapASN1(Buffer* b) {
    return read(b, true);
}

// ---- PKCS#7 ----

PKCS7DigestedData::PKCS7DigestedData() : contentInfo(nullptr) {}
PKCS7DigestedData::~PKCS7DigestedData() {
    delete contentInfo;
}

PKCS7DigestedData* PKCS7DigestedData::clone() const {
    PKCS7DigestedData* copy = new PKCS7DigestedData();
    copyTo(copy);
    copy->contentInfo = pkix::cloneOf(contentInfo);
    return copy;
}

unsigned int PKCS7DigestedData::contentPartLength(Buffer* b) {
    return contentInfo != nullptr ? contentInfo->getWrapLength(b) : 0;
}

void PKCS7DigestedData::writeContentPart(Buffer* b) {
    if (contentInfo != nullptr) contentInfo->wrapASN1(b);
}

unsigned char PKCS7DigestedData::readContentPart(Buffer* b, bool borrow) {
    delete contentInfo;
    contentInfo = new ContentInfo();
    return borrow ? contentInfo->_unwrapASN1(b) : contentInfo->unwrapASN1(b);
}

// ---- CMS ----

CMSDigestedData::CMSDigestedData() : encapContentInfo(nullptr) {}
CMSDigestedData::~CMSDigestedData() {
    delete encapContentInfo;
}

CMSDigestedData* CMSDigestedData::clone() const {
    CMSDigestedData* copy = new CMSDigestedData();
    copyTo(copy);
    copy->encapContentInfo = pkix::cloneOf(encapContentInfo);
    return copy;
}

unsigned int CMSDigestedData::contentPartLength(Buffer* b) {
    return encapContentInfo != nullptr ? encapContentInfo->getWrapLength(b) : 0;
}

void CMSDigestedData::writeContentPart(Buffer* b) {
    if (encapContentInfo != nullptr) encapContentInfo->wrapASN1(b);
}

unsigned char CMSDigestedData::readContentPart(Buffer* b, bool borrow) {
    delete encapContentInfo;
    encapContentInfo = new EncapsulatedContentInfo();
    return (borrow ? encapContentInfo->_unwrapASN1(b) : encapContentInfo->unwrapASN1(b)) ? 1 : 0;
}
