#include "pkix/CertificateList.h"

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "pkix/CertificateListInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/SignedPart.h"

using pkix::cloneOf;

CertificateList::CertificateList()
    : certListInfo(nullptr), signAlgorithm(nullptr), sign(nullptr), digest(nullptr) {}

CertificateList::~CertificateList() {
    clear();
}

void CertificateList::clear() {
    delete certListInfo;
    delete signAlgorithm;
    delete sign;
    delete digest;
    certListInfo = nullptr;
    signAlgorithm = nullptr;
    sign = nullptr;
    digest = nullptr;
}

CertificateList* CertificateList::clone() const {
    CertificateList* copy = new CertificateList();
    copy->certListInfo = cloneOf(certListInfo);
    copy->signAlgorithm = cloneOf(signAlgorithm);
    copy->sign = cloneOf(sign);
    copy->digest = cloneOf(digest);
    return copy;
}

CertificateListInfo* CertificateList::getCertListInfo() const {
    return cloneOf(certListInfo);
}

// A new signed part makes a kept digest stale.
void CertificateList::setCertListInfo(const CertificateListInfo* info) {
    CertificateListInfo* copy = cloneOf(info);
    delete certListInfo;
    certListInfo = copy;
    delete digest;
    digest = nullptr;
}

CertificateListInfo* CertificateList::_detachCertListInfo() {
    CertificateListInfo* info = certListInfo;
    certListInfo = nullptr;
    return info;
}

AlgorithmIdentifier* CertificateList::getSignAlgorithm() const {
    return cloneOf(signAlgorithm);
}

void CertificateList::setSignAlgorithm(const AlgorithmIdentifier* algorithm) {
    AlgorithmIdentifier* copy = cloneOf(algorithm);
    delete signAlgorithm;
    signAlgorithm = copy;
}

Signature* CertificateList::getSign() const {
    return cloneOf(sign);
}

void CertificateList::setSign(const Signature* s) {
    Signature* copy = cloneOf(s);
    delete sign;
    sign = copy;
}

DigestInfo* CertificateList::getDigest() const {
    return cloneOf(digest);
}

// ---- Signatures ----

unsigned char CertificateList::checkSignature(CryptoDevice* device, KeyInfo* key) {
    if (device == nullptr || signAlgorithm == nullptr || sign == nullptr || digest == nullptr) {
        return 0;
    }
    device->setSignAlgorithm(signAlgorithm);
    return device->verify(sign, digest, key) ? 255 : 0;
}

unsigned char CertificateList::checkSignature1(CryptoDevice* device, CertificateListInfo* info,
                                               KeyInfo* key) {
    return pkix::verifyOverPart(device, info, signAlgorithm, sign, key);
}

// ---- Reading ----

// The outer SEQUENCE, the signed part, the algorithm; with a SecureBuffer the signed part's
// bytes are digested as they came, between the algorithm and the signature. The result is the
// signature's.
unsigned char CertificateList::read(Buffer* b, SecureBuffer* secure) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int from = b->getReadPos();
    certListInfo = new CertificateListInfo();
    if (!certListInfo->unwrapASN1(b)) return 0;
    unsigned int to = b->getReadPos();
    signAlgorithm = new AlgorithmIdentifier();
    if (!signAlgorithm->unwrapASN1(b)) return 0;
    if (secure != nullptr) {
        secure->setSignAlgorithm(signAlgorithm);
        digest = secure->digestInputMessage(from, to);
    }
    sign = new Signature();
    return sign->unwrapASN1(b) ? 255 : 0;
}

unsigned char CertificateList::unwrapASN1(Buffer* b) {
    return read(b, nullptr);
}

unsigned char CertificateList::unwrapASN1(SecureBuffer* b) {
    return read(b, b);
}

// ---- Writing ----

unsigned int CertificateList::contentLength(Buffer* b) {
    return (certListInfo != nullptr ? certListInfo->getWrapLength(b) : 0) +
           (signAlgorithm != nullptr ? signAlgorithm->getWrapLength(b) : 0) +
           (sign != nullptr ? sign->getWrapLength(b) : 0);
}

unsigned int CertificateList::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void CertificateList::writeParts(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (certListInfo != nullptr) certListInfo->wrapASN1(b);
    if (signAlgorithm != nullptr) signAlgorithm->wrapASN1(b);
    if (sign != nullptr) sign->wrapASN1(b);
}

void CertificateList::wrapASN1(Buffer* b) {
    writeParts(b);
}

unsigned char CertificateList::wrapASN1(SecureBuffer* b) {
    if (sign == nullptr && !pkix::signPart(b, certListInfo, signAlgorithm, &sign)) return 0;
    b->enlarge(b->getWritePos() + getWrapLength(b));
    writeParts(b);
    return 255;
}

unsigned char CertificateList::wrapASN1(SecureBuffer* b, CryptoDevice* signer,
                                        CryptoDevice* digester) {
    if (sign == nullptr &&
        !pkix::signPart(b, certListInfo, signAlgorithm, &sign, signer, digester)) {
        return 0;
    }
    b->enlarge(b->getWritePos() + getWrapLength(b));
    writeParts(b);
    return 255;
}
