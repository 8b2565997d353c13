#include "pkix/ExtendedCertificate.h"

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "pkix/Attribute.h"
#include "pkix/Certificate.h"
#include "pkix/CopySteps.h"

using pkix::cloneOf;
using pkix::replaceWithCopy;

// ---- ExtendedCertificateInfo ----

ExtendedCertificateInfo::ExtendedCertificateInfo()
    : version(0), certificate(nullptr), attributes(nullptr) {}

ExtendedCertificateInfo::~ExtendedCertificateInfo() {
    delete certificate;
    delete attributes;
}

ExtendedCertificateInfo* ExtendedCertificateInfo::clone() const {
    ExtendedCertificateInfo* copy = new ExtendedCertificateInfo();
    copy->version = version;
    copy->certificate = cloneOf(certificate);
    copy->attributes = cloneOf(attributes);
    return copy;
}

Certificate* ExtendedCertificateInfo::getCertificate() const {
    return cloneOf(certificate);
}
void ExtendedCertificateInfo::setCertificate(const Certificate* c) {
    replaceWithCopy(certificate, c);
}
AttributeSet* ExtendedCertificateInfo::getAttributes() const {
    return cloneOf(attributes);
}
void ExtendedCertificateInfo::setAttributes(const AttributeSet* set) {
    replaceWithCopy(attributes, set);
}

unsigned int ExtendedCertificateInfo::contentLength(Buffer* b) {
    return b->lenASN1(version) + (certificate != nullptr ? certificate->getWrapLength(b) : 0) +
           (attributes != nullptr ? attributes->getWrapLength(b) : 0);
}

unsigned int ExtendedCertificateInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ExtendedCertificateInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (certificate != nullptr) certificate->wrapASN1(b);
    if (attributes != nullptr) attributes->wrapASN1(b);
}

unsigned char ExtendedCertificateInfo::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len) || !b->readASN1(&version)) return 0;
    delete certificate;
    certificate = new Certificate();
    if (!certificate->unwrapASN1(b)) return 0;
    delete attributes;
    attributes = new AttributeSet();
    return attributes->unwrapASN1(b);
}

// ---- ExtendedCertificate ----

ExtendedCertificate::ExtendedCertificate()
    : info(nullptr), signatureAlgorithm(nullptr), signature(nullptr), digest(nullptr) {}

ExtendedCertificate::~ExtendedCertificate() {
    clear();
}

void ExtendedCertificate::clear() {
    delete info;
    delete signatureAlgorithm;
    delete signature;
    delete digest;
    info = nullptr;
    signatureAlgorithm = nullptr;
    signature = nullptr;
    digest = nullptr;
}

ExtendedCertificate* ExtendedCertificate::clone() const {
    ExtendedCertificate* copy = new ExtendedCertificate();
    copy->info = cloneOf(info);
    copy->signatureAlgorithm = cloneOf(signatureAlgorithm);
    copy->signature = cloneOf(signature);
    copy->digest = cloneOf(digest);
    return copy;
}

ExtendedCertificateInfo* ExtendedCertificate::getExtendedCertificateInfo() const {
    return cloneOf(info);
}
void ExtendedCertificate::setExtendedCertificateInfo(const ExtendedCertificateInfo* value) {
    replaceWithCopy(info, value);
    delete digest;
    digest = nullptr;
}
AlgorithmIdentifier* ExtendedCertificate::getSignatureAlgorithm() const {
    return cloneOf(signatureAlgorithm);
}
void ExtendedCertificate::setSignatureAlgorithm(const AlgorithmIdentifier* algorithm) {
    replaceWithCopy(signatureAlgorithm, algorithm);
}
Signature* ExtendedCertificate::getSignature() const {
    return cloneOf(signature);
}
void ExtendedCertificate::setSignature(const Signature* s) {
    replaceWithCopy(signature, s);
}

unsigned char ExtendedCertificate::checkSignature(CryptoDevice* device, KeyInfo* key) {
    if (device == nullptr || info == nullptr || signatureAlgorithm == nullptr ||
        signature == nullptr) {
        return 0;
    }
    device->setSignAlgorithm(signatureAlgorithm);
    if (digest == nullptr) {
        SecureBuffer encoded(10, device);
        encoded.enlarge(info->getWrapLength(&encoded));
        info->wrapASN1(&encoded);
        digest = encoded.digestOutputMessage();
        if (digest == nullptr) return 0;
    }
    return device->verify(signature, digest, key) ? 255 : 0;
}

unsigned int ExtendedCertificate::contentLength(Buffer* b) {
    return (info != nullptr ? info->getWrapLength(b) : 0) +
           (signatureAlgorithm != nullptr ? signatureAlgorithm->getWrapLength(b) : 0) +
           (signature != nullptr ? signature->getWrapLength(b) : 0);
}

unsigned int ExtendedCertificate::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ExtendedCertificate::wrapASN1(Buffer* b) {
    wrapASN1(0x30, b);
}

void ExtendedCertificate::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (info != nullptr) info->wrapASN1(b);
    if (signatureAlgorithm != nullptr) signatureAlgorithm->wrapASN1(b);
    if (signature != nullptr) signature->wrapASN1(b);
}

unsigned char ExtendedCertificate::read(unsigned char tag, Buffer* b, SecureBuffer* secure) {
    clear();
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag) return 0;
    unsigned int from = b->getReadPos();
    info = new ExtendedCertificateInfo();
    if (!info->unwrapASN1(b)) return 0;
    unsigned int to = b->getReadPos();
    signatureAlgorithm = new AlgorithmIdentifier();
    if (!signatureAlgorithm->unwrapASN1(b)) return 0;
    if (secure != nullptr) {
        secure->setSignAlgorithm(signatureAlgorithm);
        digest = secure->digestInputMessage(from, to);
    }
    signature = new Signature();
    return signature->unwrapASN1(b) ? 255 : 0;
}

unsigned char ExtendedCertificate::unwrapASN1(Buffer* b) {
    return read(0x30, b, nullptr);
}
unsigned char ExtendedCertificate::unwrapASN1(unsigned char tag, Buffer* b) {
    return read(tag, b, nullptr);
}
unsigned char ExtendedCertificate::unwrapASN1(SecureBuffer* b) {
    return read(0x30, b, b);
}
