#include "pkix/Certificate.h"

#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "pkix/AlgorithmNames.h"
#include "pkix/CertificateInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignedPart.h"

Certificate::Certificate()
    : certInfo(nullptr), signAlgorithm(nullptr), sign(nullptr), digest(nullptr) {}

Certificate::~Certificate() {
    delete certInfo;
    delete signAlgorithm;
    delete sign;
    delete digest;
}

template <class T>
static T* cloneOf(const T* p) {
    return p != nullptr ? p->clone() : nullptr;
}

Certificate* Certificate::clone() const {
    Certificate* copy = new Certificate();
    copy->certInfo = cloneOf(certInfo);
    copy->signAlgorithm = cloneOf(signAlgorithm);
    copy->sign = cloneOf(sign);
    copy->digest = cloneOf(digest);
    return copy;
}

// A new to-be-signed part makes a kept digest stale.
void Certificate::setCertInfo(const CertificateInfo* info) {
    CertificateInfo* copy = cloneOf(info);
    delete certInfo;
    certInfo = copy;
    delete digest;
    digest = nullptr;
}

CertificateInfo* Certificate::getCertInfo() const {
    return cloneOf(certInfo);
}
AlgorithmIdentifier* Certificate::getSignAlgorithm() const {
    return cloneOf(signAlgorithm);
}

void Certificate::setSignAlgorithm(const AlgorithmIdentifier* algorithm) {
    AlgorithmIdentifier* copy = cloneOf(algorithm);
    delete signAlgorithm;
    signAlgorithm = copy;
}

void Certificate::setSignAlgorithm(const char* dotted) {
    delete signAlgorithm;
    signAlgorithm = dotted != nullptr ? new AlgorithmIdentifier(dotted) : nullptr;
}

Signature* Certificate::getSign() const {
    return cloneOf(sign);
}

void Certificate::setSign(const Signature* s) {
    Signature* copy = cloneOf(s);
    delete sign;
    sign = copy;
}

DigestInfo* Certificate::getDigest() const {
    return cloneOf(digest);
}

bool Certificate::isBEREncoded() const {
    return certInfo == nullptr || certInfo->isBEREncoded();
}

// ---- Signatures ----

unsigned char Certificate::checkSignature(CryptoDevice* device, KeyInfo* key) {
    if (device == nullptr || certInfo == nullptr || signAlgorithm == nullptr || sign == nullptr) {
        return 0;
    }
    device->setSignAlgorithm(signAlgorithm);
    if (digest == nullptr) {
        SecureBuffer encoded(10, device);
        encoded.enlarge(certInfo->getWrapLength(&encoded));
        certInfo->wrapASN1(&encoded);
        digest = encoded.digestOutputMessage();
        if (digest == nullptr) return 0;
    }
    return device->verify(sign, digest, key) ? 255 : 0;
}

unsigned char Certificate::checkSignature1(CryptoDevice* device, KeyInfo* key) {
    return pkix::verifyOverPart(device, certInfo, signAlgorithm, sign, key);
}

// ---- Reading ----

namespace {

// The parts of a certificate, read in order; with a SecureBuffer the to-be-signed bytes are
// digested as they came, between reading the outer algorithm and the signature.
unsigned char readCertificate(Buffer* b, SecureBuffer* secure, CertificateInfo*& certInfo,
                              AlgorithmIdentifier*& signAlgorithm, Signature*& sign,
                              DigestInfo*& digest) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    if (b->getReadPos() > b->getWritePos() || len > b->getWritePos() - b->getReadPos()) return 0;
    delete certInfo;
    delete signAlgorithm;
    delete sign;
    delete digest;
    signAlgorithm = nullptr;
    sign = nullptr;
    digest = nullptr;
    unsigned int from = b->getReadPos();
    certInfo = new CertificateInfo();
    if (!certInfo->unwrapASN1(b)) return 0;
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

}  // namespace

unsigned char Certificate::unwrapASN1(Buffer* b) {
    return readCertificate(b, nullptr, certInfo, signAlgorithm, sign, digest);
}

unsigned char Certificate::unwrapASN1(SecureBuffer* b) {
    return readCertificate(b, b, certInfo, signAlgorithm, sign, digest);
}

// ---- Writing ----

unsigned int Certificate::contentLength(Buffer* b) {
    return (certInfo != nullptr ? certInfo->getWrapLength(b) : 0) +
           (signAlgorithm != nullptr ? signAlgorithm->getWrapLength(b) : 0) +
           (sign != nullptr ? sign->getWrapLength(b) : 0);
}

unsigned int Certificate::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void Certificate::writeParts(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (certInfo != nullptr) certInfo->wrapASN1(b);
    if (signAlgorithm != nullptr) signAlgorithm->wrapASN1(b);
    if (sign != nullptr) sign->wrapASN1(b);
}

void Certificate::wrapASN1(Buffer* b) {
    writeParts(b);
}

unsigned char Certificate::wrapASN1(SecureBuffer* b) {
    if (sign == nullptr && !pkix::signPart(b, certInfo, signAlgorithm, &sign)) return 0;
    b->enlarge(b->getWritePos() + getWrapLength(b));
    writeParts(b);
    return 255;
}

unsigned char Certificate::wrapASN1(SecureBuffer* b, CryptoDevice* signer, CryptoDevice* digester) {
    if (sign == nullptr && !pkix::signPart(b, certInfo, signAlgorithm, &sign, signer, digester)) {
        return 0;
    }
    b->enlarge(b->getWritePos() + getWrapLength(b));
    writeParts(b);
    return 255;
}

unsigned char Certificate::writePEMFile(int descriptor, SecureBuffer* b) {
    if (b == nullptr) return 0;
    b->rewind();
    if (!wrapASN1(b)) return 0;
    return b->toPEMFile(descriptor, kPEMLabel);
}

unsigned char Certificate::readPEMFile(int descriptor, SecureBuffer* b) {
    if (b == nullptr || !b->fromPEMFile(descriptor, nullptr)) return 0;
    return unwrapASN1(b);
}

// ---- Printable form ----

char* Certificate::getPrintableString() const {
    std::string out;
    if (certInfo != nullptr) {
        std::unique_ptr<char[]> info(certInfo->getPrintableString());
        out = info.get();
    }
    out += "Algoritmo di firma utilizzato: \n";
    out += "    " + pkix::algorithmName(signAlgorithm) + "\n";
    return pkix::newText(out);
}
