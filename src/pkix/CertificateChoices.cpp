#include "pkix/CertificateChoices.h"

#include "asn1/Buffer.h"
#include "pkix/AttributeCertificate.h"
#include "pkix/Certificate.h"
#include "pkix/CopySteps.h"
#include "pkix/ExtendedCertificate.h"
#include "pkix/OtherCertificateFormat.h"
#include "pkix/ReadSteps.h"

using pkix::cloneOf;

namespace {

constexpr unsigned char kExtendedTag = 0xA0;
constexpr unsigned char kV1AttrTag = 0xA1;
constexpr unsigned char kV2AttrTag = 0xA2;
constexpr unsigned char kOtherTag = 0xA3;

}  // namespace

// ---- CertificateChoices ----

CertificateChoices::CertificateChoices()
    : certificate(nullptr),
      extendedCertificate(nullptr),
      v1AttrCert(nullptr),
      v2AttrCert(nullptr),
      other(nullptr) {}

CertificateChoices::~CertificateChoices() {
    clear();
}

void CertificateChoices::clear() {
    delete certificate;
    delete extendedCertificate;
    delete v1AttrCert;
    delete v2AttrCert;
    delete other;
    certificate = nullptr;
    extendedCertificate = nullptr;
    v1AttrCert = nullptr;
    v2AttrCert = nullptr;
    other = nullptr;
}

CertificateChoices* CertificateChoices::clone() const {
    CertificateChoices* copy = new CertificateChoices();
    copy->certificate = cloneOf(certificate);
    copy->extendedCertificate = cloneOf(extendedCertificate);
    copy->v1AttrCert = cloneOf(v1AttrCert);
    copy->v2AttrCert = cloneOf(v2AttrCert);
    copy->other = cloneOf(other);
    return copy;
}

unsigned char CertificateChoices::getType() const {
    if (certificate != nullptr) return 0x30;
    if (extendedCertificate != nullptr) return kExtendedTag;
    if (v1AttrCert != nullptr) return kV1AttrTag;
    if (v2AttrCert != nullptr) return kV2AttrTag;
    if (other != nullptr) return kOtherTag;
    return 0;
}

Certificate* CertificateChoices::getCertificate() const {
    return cloneOf(certificate);
}
void CertificateChoices::setCertificate(const Certificate* c) {
    Certificate* copy = cloneOf(c);
    clear();
    certificate = copy;
}
ExtendedCertificate* CertificateChoices::getExtendedCertificate() const {
    return cloneOf(extendedCertificate);
}
void CertificateChoices::setExtendedCertificate(const ExtendedCertificate* c) {
    ExtendedCertificate* copy = cloneOf(c);
    clear();
    extendedCertificate = copy;
}
AttributeCertificateV1* CertificateChoices::getV1AttrCert() const {
    return cloneOf(v1AttrCert);
}
AttributeCertificate* CertificateChoices::getV2AttrCert() const {
    return cloneOf(v2AttrCert);
}
OtherCertificateFormat* CertificateChoices::getOther() const {
    return cloneOf(other);
}

unsigned int CertificateChoices::getWrapLength(Buffer* b) {
    if (certificate != nullptr) return certificate->getWrapLength(b);
    if (extendedCertificate != nullptr) return extendedCertificate->getWrapLength(b);
    if (v1AttrCert != nullptr) return v1AttrCert->getWrapLength(b);
    if (v2AttrCert != nullptr) return v2AttrCert->getWrapLength(b);
    if (other != nullptr) return other->getWrapLength(b);
    return 0;
}

void CertificateChoices::wrapASN1(Buffer* b) {
    if (certificate != nullptr) {
        certificate->wrapASN1(b);
    } else if (extendedCertificate != nullptr) {
        extendedCertificate->wrapASN1(kExtendedTag, b);
    } else if (v1AttrCert != nullptr) {
        v1AttrCert->wrapASN1(b);
    } else if (v2AttrCert != nullptr) {
        v2AttrCert->wrapASN1(b);
    } else if (other != nullptr) {
        other->wrapASN1(kOtherTag, b);
    }
}

unsigned char CertificateChoices::unwrapASN1(Buffer* b) {
    clear();
    switch (pkix::peekTag(b)) {
        case 0x30:
            certificate = new Certificate();
            return certificate->unwrapASN1(b);
        case kExtendedTag:
            extendedCertificate = new ExtendedCertificate();
            return extendedCertificate->unwrapASN1(kExtendedTag, b);
        case kV1AttrTag:
            v1AttrCert = new AttributeCertificateV1();
            return v1AttrCert->unwrapASN1(kV1AttrTag, b);
        case kV2AttrTag:
            v2AttrCert = new AttributeCertificate();
            return v2AttrCert->unwrapASN1(kV2AttrTag, b);
        case kOtherTag:
            other = new OtherCertificateFormat();
            return other->unwrapASN1(kOtherTag, b);
        default:
            return 0;
    }
}

// ---- ExtCertificateOrCertificate ----

ExtCertificateOrCertificate::ExtCertificateOrCertificate()
    : certificate(nullptr), extendedCertificate(nullptr) {}

ExtCertificateOrCertificate::~ExtCertificateOrCertificate() {
    clear();
}

void ExtCertificateOrCertificate::clear() {
    delete certificate;
    delete extendedCertificate;
    certificate = nullptr;
    extendedCertificate = nullptr;
}

ExtCertificateOrCertificate* ExtCertificateOrCertificate::clone() const {
    ExtCertificateOrCertificate* copy = new ExtCertificateOrCertificate();
    copy->certificate = cloneOf(certificate);
    copy->extendedCertificate = cloneOf(extendedCertificate);
    return copy;
}

Certificate* ExtCertificateOrCertificate::getCertificate() const {
    return cloneOf(certificate);
}
void ExtCertificateOrCertificate::setCertificate(const Certificate* c) {
    Certificate* copy = cloneOf(c);
    clear();
    certificate = copy;
}
ExtendedCertificate* ExtCertificateOrCertificate::getExtendedCertificate() const {
    return cloneOf(extendedCertificate);
}
void ExtCertificateOrCertificate::setExtendedCertificate(const ExtendedCertificate* c) {
    ExtendedCertificate* copy = cloneOf(c);
    clear();
    extendedCertificate = copy;
}

unsigned int ExtCertificateOrCertificate::getWrapLength(Buffer* b) {
    if (certificate != nullptr) return certificate->getWrapLength(b);
    if (extendedCertificate != nullptr) return extendedCertificate->getWrapLength(b);
    return 0;
}

void ExtCertificateOrCertificate::wrapASN1(Buffer* b) {
    if (certificate != nullptr) {
        certificate->wrapASN1(b);
    } else if (extendedCertificate != nullptr) {
        extendedCertificate->wrapASN1(kExtendedTag, b);
    }
}

unsigned char ExtCertificateOrCertificate::unwrapASN1(Buffer* b) {
    clear();
    if (pkix::peekTag(b) == kExtendedTag) {
        extendedCertificate = new ExtendedCertificate();
        return extendedCertificate->unwrapASN1(kExtendedTag, b);
    }
    certificate = new Certificate();
    return certificate->unwrapASN1(b);
}
