#include "pkix/SignerInfo.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/Attribute.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignerIdentifier.h"

using pkix::cloneOf;
using pkix::replaceWithCopy;

namespace {

constexpr unsigned char kSignedAttrsTag = 0xA0;
constexpr unsigned char kUnsignedAttrsTag = 0xA1;

}  // namespace

SignerInfo::SignerInfo()
    : version(0),
      sid(nullptr),
      digestAlgorithm(nullptr),
      signedAttrs(nullptr),
      signatureAlgorithm(nullptr),
      signature(nullptr),
      signatureLen(0),
      unsignedAttrs(nullptr) {}

SignerInfo::~SignerInfo() {
    clear();
}

void SignerInfo::clear() {
    delete sid;
    delete digestAlgorithm;
    delete signedAttrs;
    delete signatureAlgorithm;
    delete[] signature;
    delete unsignedAttrs;
    sid = nullptr;
    digestAlgorithm = nullptr;
    signedAttrs = nullptr;
    signatureAlgorithm = nullptr;
    signature = nullptr;
    signatureLen = 0;
    unsignedAttrs = nullptr;
}

SignerInfo* SignerInfo::clone() const {
    SignerInfo* copy = new SignerInfo();
    copy->version = version;
    copy->sid = cloneOf(sid);
    copy->digestAlgorithm = cloneOf(digestAlgorithm);
    copy->signedAttrs = cloneOf(signedAttrs);
    copy->signatureAlgorithm = cloneOf(signatureAlgorithm);
    copy->signature = pkix::copyBytes(signature, signatureLen);
    copy->signatureLen = signatureLen;
    copy->unsignedAttrs = cloneOf(unsignedAttrs);
    return copy;
}

SignerIdentifier* SignerInfo::getSid() const {
    return cloneOf(sid);
}
void SignerInfo::setSid(const SignerIdentifier* value) {
    replaceWithCopy(sid, value);
}
AlgorithmIdentifier* SignerInfo::getDigestAlgorithm() const {
    return cloneOf(digestAlgorithm);
}
void SignerInfo::setDigestAlgorithm(const AlgorithmIdentifier* a) {
    replaceWithCopy(digestAlgorithm, a);
}
AttributeSet* SignerInfo::getSignedAttrs() const {
    return cloneOf(signedAttrs);
}
void SignerInfo::setSignedAttrs(const AttributeSet* set) {
    replaceWithCopy(signedAttrs, set);
}
AlgorithmIdentifier* SignerInfo::getSignatureAlgorithm() const {
    return cloneOf(signatureAlgorithm);
}
void SignerInfo::setSignatureAlgorithm(const AlgorithmIdentifier* a) {
    replaceWithCopy(signatureAlgorithm, a);
}
unsigned char* SignerInfo::getSignature() const {
    return pkix::copyBytes(signature, signatureLen);
}
void SignerInfo::setSignature(const unsigned char* value, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(value, length);
    delete[] signature;
    signature = copy;
    signatureLen = value != nullptr ? length : 0;
}
AttributeSet* SignerInfo::getUnsignedAttrs() const {
    return cloneOf(unsignedAttrs);
}
void SignerInfo::setUnsignedAttrs(const AttributeSet* set) {
    replaceWithCopy(unsignedAttrs, set);
}

unsigned int SignerInfo::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (sid != nullptr) sum += sid->getWrapLength(b);
    if (digestAlgorithm != nullptr) sum += digestAlgorithm->getWrapLength(b);
    if (signedAttrs != nullptr) sum += signedAttrs->getWrapLength(b);
    if (signatureAlgorithm != nullptr) sum += signatureAlgorithm->getWrapLength(b);
    sum += b->lenASN1(signature, signatureLen);
    if (unsignedAttrs != nullptr) sum += unsignedAttrs->getWrapLength(b);
    return sum;
}

unsigned int SignerInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void SignerInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (sid != nullptr) sid->wrapASN1(b);
    if (digestAlgorithm != nullptr) digestAlgorithm->wrapASN1(b);
    if (signedAttrs != nullptr) signedAttrs->wrapASN1(kSignedAttrsTag, b);
    if (signatureAlgorithm != nullptr) signatureAlgorithm->wrapASN1(b);
    b->writeASN1(signature, signatureLen);
    if (unsignedAttrs != nullptr) unsignedAttrs->wrapASN1(kUnsignedAttrsTag, b);
}

unsigned char SignerInfo::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (!b->readASN1(&version)) return 0;
    sid = new SignerIdentifier();
    if (!sid->unwrapASN1(b)) return 0;
    digestAlgorithm = new AlgorithmIdentifier();
    if (!digestAlgorithm->unwrapASN1(b)) return 0;
    if (pkix::peekTag(b) == kSignedAttrsTag) {
        signedAttrs = new AttributeSet();
        if (!signedAttrs->unwrapASN1(kSignedAttrsTag, b)) return 0;
    }
    signatureAlgorithm = new AlgorithmIdentifier();
    if (!signatureAlgorithm->unwrapASN1(b)) return 0;
    if (!b->readASN1(&signature, &signatureLen) || signature == nullptr) return 0;
    if (pkix::atEnd(b, end)) return 255;
    unsignedAttrs = new AttributeSet();
    return unsignedAttrs->unwrapASN1(kUnsignedAttrsTag, b);
}
