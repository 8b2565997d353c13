#include "pkix/SigningCertificate.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ESSCertID.h"
#include "pkix/PolicyInformation.h"
#include "pkix/ReadSteps.h"

namespace {

using pkix::cloneOf;

template <class T>
void replace(T*& field, const T* value) {
    pkix::replaceWithCopy(field, value);
}

// Both forms: the identifier list, then the policy part when the SEQUENCE goes on.
template <class Certs, class Policies>
unsigned char readSigningCertificate(Buffer* b, Certs*& certs, Policies*& policies) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete certs;
    certs = new Certs();
    if (!certs->unwrapASN1(b)) return 0;
    delete policies;
    policies = nullptr;
    if (pkix::atEnd(b, end)) return 255;
    policies = new Policies();
    return policies->unwrapASN1(b);
}

template <class Certs, class Policies>
unsigned int partsLength(Buffer* b, Certs* certs, Policies* policies) {
    return (certs != nullptr ? certs->getWrapLength(b) : 0) +
           (policies != nullptr ? policies->getWrapLength(b) : 0);
}

template <class Certs, class Policies>
void writeParts(Buffer* b, Certs* certs, Policies* policies) {
    b->writeASN1Sequence(partsLength(b, certs, policies));
    if (certs != nullptr) certs->wrapASN1(b);
    if (policies != nullptr) policies->wrapASN1(b);
}

}  // namespace

SigningCertificate::SigningCertificate() : certs(nullptr), policies(nullptr) {}
SigningCertificate::~SigningCertificate() {
    delete certs;
    delete policies;
}
SigningCertificate* SigningCertificate::clone() const {
    SigningCertificate* copy = new SigningCertificate();
    copy->certs = cloneOf(certs);
    copy->policies = cloneOf(policies);
    return copy;
}
ESSCertIDList* SigningCertificate::getCerts() const {
    return cloneOf(certs);
}
void SigningCertificate::setCerts(const ESSCertIDList* list) {
    replace(certs, list);
}
PolicyInformation* SigningCertificate::getPolicies() const {
    return cloneOf(policies);
}
void SigningCertificate::setPolicies(const PolicyInformation* p) {
    replace(policies, p);
}
unsigned int SigningCertificate::contentLength(Buffer* b) {
    return partsLength(b, certs, policies);
}
unsigned int SigningCertificate::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}
void SigningCertificate::wrapASN1(Buffer* b) {
    writeParts(b, certs, policies);
}
unsigned char SigningCertificate::unwrapASN1(Buffer* b) {
    return readSigningCertificate(b, certs, policies);
}

SigningCertificateV2::SigningCertificateV2() : certs(nullptr), policies(nullptr) {}
SigningCertificateV2::~SigningCertificateV2() {
    delete certs;
    delete policies;
}
SigningCertificateV2* SigningCertificateV2::clone() const {
    SigningCertificateV2* copy = new SigningCertificateV2();
    copy->certs = cloneOf(certs);
    copy->policies = cloneOf(policies);
    return copy;
}
ESSCertIDV2List* SigningCertificateV2::getCerts() const {
    return cloneOf(certs);
}
void SigningCertificateV2::setCerts(const ESSCertIDV2List* list) {
    replace(certs, list);
}
PolicyInformationList* SigningCertificateV2::getPolicies() const {
    return cloneOf(policies);
}
void SigningCertificateV2::setPolicies(const PolicyInformationList* p) {
    replace(policies, p);
}
unsigned int SigningCertificateV2::contentLength(Buffer* b) {
    return partsLength(b, certs, policies);
}
unsigned int SigningCertificateV2::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}
void SigningCertificateV2::wrapASN1(Buffer* b) {
    writeParts(b, certs, policies);
}
unsigned char SigningCertificateV2::unwrapASN1(Buffer* b) {
    return readSigningCertificate(b, certs, policies);
}
