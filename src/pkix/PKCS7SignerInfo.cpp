#include "pkix/PKCS7SignerInfo.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/Attribute.h"
#include "pkix/CopySteps.h"
#include "pkix/IssuerAndSerialNumber.h"
#include "pkix/ReadSteps.h"

using pkix::cloneOf;
using pkix::replaceWithCopy;

namespace {

constexpr unsigned char kAuthenticatedTag = 0xA0;
constexpr unsigned char kUnauthenticatedTag = 0xA1;

}  // namespace

PKCS7SignerInfo::PKCS7SignerInfo()
    : version(0),
      issuerAndSerial(nullptr),
      digestAlgorithm(nullptr),
      authenticatedAttrs(nullptr),
      digestEncryptionAlgorithm(nullptr),
      encryptedDigest(nullptr),
      encryptedDigestLen(0),
      unauthenticatedAttrs(nullptr) {}

PKCS7SignerInfo::~PKCS7SignerInfo() {
    clear();
}

void PKCS7SignerInfo::clear() {
    delete issuerAndSerial;
    delete digestAlgorithm;
    delete authenticatedAttrs;
    delete digestEncryptionAlgorithm;
    delete[] encryptedDigest;
    delete unauthenticatedAttrs;
    issuerAndSerial = nullptr;
    digestAlgorithm = nullptr;
    authenticatedAttrs = nullptr;
    digestEncryptionAlgorithm = nullptr;
    encryptedDigest = nullptr;
    encryptedDigestLen = 0;
    unauthenticatedAttrs = nullptr;
}

PKCS7SignerInfo* PKCS7SignerInfo::clone() const {
    PKCS7SignerInfo* copy = new PKCS7SignerInfo();
    copy->version = version;
    copy->issuerAndSerial = cloneOf(issuerAndSerial);
    copy->digestAlgorithm = cloneOf(digestAlgorithm);
    copy->authenticatedAttrs = cloneOf(authenticatedAttrs);
    copy->digestEncryptionAlgorithm = cloneOf(digestEncryptionAlgorithm);
    copy->encryptedDigest = pkix::copyBytes(encryptedDigest, encryptedDigestLen);
    copy->encryptedDigestLen = encryptedDigestLen;
    copy->unauthenticatedAttrs = cloneOf(unauthenticatedAttrs);
    return copy;
}

IssuerAndSerialNumber* PKCS7SignerInfo::getIssuerAndSerialNumber() const {
    return cloneOf(issuerAndSerial);
}
void PKCS7SignerInfo::setIssuerAndSerialNumber(const IssuerAndSerialNumber* value) {
    replaceWithCopy(issuerAndSerial, value);
}
AlgorithmIdentifier* PKCS7SignerInfo::getDigestAlgorithm() const {
    return cloneOf(digestAlgorithm);
}
void PKCS7SignerInfo::setDigestAlgorithm(const AlgorithmIdentifier* a) {
    replaceWithCopy(digestAlgorithm, a);
}
AttributeSet* PKCS7SignerInfo::getAuthenticatedAttrs() const {
    return cloneOf(authenticatedAttrs);
}
void PKCS7SignerInfo::setAuthenticatedAttrs(const AttributeSet* set) {
    replaceWithCopy(authenticatedAttrs, set);
}
AlgorithmIdentifier* PKCS7SignerInfo::getDigestEncryptionAlgorithm() const {
    return cloneOf(digestEncryptionAlgorithm);
}
void PKCS7SignerInfo::setDigestEncryptionAlgorithm(const AlgorithmIdentifier* a) {
    replaceWithCopy(digestEncryptionAlgorithm, a);
}
unsigned char* PKCS7SignerInfo::getEncryptedDigest() const {
    return pkix::copyBytes(encryptedDigest, encryptedDigestLen);
}
void PKCS7SignerInfo::setEncryptedDigest(const unsigned char* value, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(value, length);
    delete[] encryptedDigest;
    encryptedDigest = copy;
    encryptedDigestLen = value != nullptr ? length : 0;
}
AttributeSet* PKCS7SignerInfo::getUnauthenticatedAttrs() const {
    return cloneOf(unauthenticatedAttrs);
}
void PKCS7SignerInfo::setUnauthenticatedAttrs(const AttributeSet* set) {
    replaceWithCopy(unauthenticatedAttrs, set);
}

unsigned int PKCS7SignerInfo::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (issuerAndSerial != nullptr) sum += issuerAndSerial->getWrapLength(b);
    if (digestAlgorithm != nullptr) sum += digestAlgorithm->getWrapLength(b);
    if (authenticatedAttrs != nullptr) sum += authenticatedAttrs->getWrapLength(b);
    if (digestEncryptionAlgorithm != nullptr) sum += digestEncryptionAlgorithm->getWrapLength(b);
    sum += b->lenASN1(encryptedDigest, encryptedDigestLen);
    if (unauthenticatedAttrs != nullptr) sum += unauthenticatedAttrs->getWrapLength(b);
    return sum;
}

unsigned int PKCS7SignerInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PKCS7SignerInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (issuerAndSerial != nullptr) issuerAndSerial->wrapASN1(b);
    if (digestAlgorithm != nullptr) digestAlgorithm->wrapASN1(b);
    if (authenticatedAttrs != nullptr) authenticatedAttrs->wrapASN1(kAuthenticatedTag, b);
    if (digestEncryptionAlgorithm != nullptr) digestEncryptionAlgorithm->wrapASN1(b);
    b->writeASN1(encryptedDigest, encryptedDigestLen);
    if (unauthenticatedAttrs != nullptr) unauthenticatedAttrs->wrapASN1(kUnauthenticatedTag, b);
}

unsigned char PKCS7SignerInfo::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    if (!b->readASN1(&version)) return 0;
    issuerAndSerial = new IssuerAndSerialNumber();
    if (!issuerAndSerial->unwrapASN1(b)) return 0;
    digestAlgorithm = new AlgorithmIdentifier();
    if (!digestAlgorithm->unwrapASN1(b)) return 0;
    if (pkix::peekTag(b) == kAuthenticatedTag) {
        authenticatedAttrs = new AttributeSet();
        if (!authenticatedAttrs->unwrapASN1(kAuthenticatedTag, b)) return 0;
    }
    digestEncryptionAlgorithm = new AlgorithmIdentifier();
    if (!digestEncryptionAlgorithm->unwrapASN1(b)) return 0;
    if (!b->readASN1(&encryptedDigest, &encryptedDigestLen) || encryptedDigest == nullptr) {
        return 0;
    }
    if (definite) {
        if (pkix::atEnd(b, end)) return 255;
        unauthenticatedAttrs = new AttributeSet();
        return unauthenticatedAttrs->unwrapASN1(kUnauthenticatedTag, b);
    }
    if (b->peekByte() == 0) return b->readEOC() ? 255 : 0;
    unauthenticatedAttrs = new AttributeSet();
    if (!unauthenticatedAttrs->unwrapASN1(kUnauthenticatedTag, b)) return 0;
    return b->readEOC() ? 255 : 0;
}
