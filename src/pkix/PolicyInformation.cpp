#include "pkix/PolicyInformation.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/ReadSteps.h"
#include "pkix/UserNotice.h"

// ---- PolicyQualifierInfo ----

PolicyQualifierInfo::PolicyQualifierInfo()
    : policyQualifierId(nullptr), cpsURI(nullptr), userNotice(nullptr), raw(nullptr), rawLen(0) {}

PolicyQualifierInfo::~PolicyQualifierInfo() {
    delete policyQualifierId;
    clearQualifier();
}

void PolicyQualifierInfo::clearQualifier() {
    delete[] cpsURI;
    cpsURI = nullptr;
    delete userNotice;
    userNotice = nullptr;
    delete[] raw;
    raw = nullptr;
    rawLen = 0;
}

PolicyQualifierInfo* PolicyQualifierInfo::clone() const {
    PolicyQualifierInfo* copy = new PolicyQualifierInfo();
    copy->policyQualifierId = policyQualifierId != nullptr ? policyQualifierId->clone() : nullptr;
    copy->cpsURI = pkix::copyText(cpsURI);
    copy->userNotice = userNotice != nullptr ? userNotice->clone() : nullptr;
    copy->raw = pkix::copyBytes(raw, rawLen);
    copy->rawLen = rawLen;
    return copy;
}

char* PolicyQualifierInfo::getPolicyQualifierId() const {
    return policyQualifierId != nullptr ? policyQualifierId->getValue() : nullptr;
}

unsigned char PolicyQualifierInfo::isEqual(const char* dotted) const {
    return policyQualifierId != nullptr ? policyQualifierId->isEqual(dotted) : 0;
}

char* PolicyQualifierInfo::getCPSuri() const {
    return pkix::copyText(cpsURI);
}

UserNotice* PolicyQualifierInfo::getUserNotice() const {
    return userNotice != nullptr ? userNotice->clone() : nullptr;
}

void PolicyQualifierInfo::setCPSuri(const char* uri) {
    clearQualifier();
    delete policyQualifierId;
    policyQualifierId = new OID(kCPS);
    cpsURI = pkix::copyText(uri);
}

void PolicyQualifierInfo::setUserNotice(const UserNotice* notice) {
    clearQualifier();
    delete policyQualifierId;
    policyQualifierId = new OID(kUserNotice);
    userNotice = notice != nullptr ? notice->clone() : nullptr;
}

unsigned int PolicyQualifierInfo::contentLength(Buffer* b) {
    unsigned int sum = policyQualifierId != nullptr ? b->lenASN1(policyQualifierId) : 0;
    if (cpsURI != nullptr) sum += b->lenASN1(cpsURI, static_cast<unsigned char>(22));
    if (userNotice != nullptr) sum += userNotice->getWrapLength(b);
    if (raw != nullptr) sum += rawLen;
    return sum;
}

unsigned int PolicyQualifierInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PolicyQualifierInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (policyQualifierId != nullptr) b->writeASN1(policyQualifierId);
    if (cpsURI != nullptr) b->writeASN1(cpsURI, static_cast<unsigned char>(22));
    if (userNotice != nullptr) userNotice->wrapASN1(b);
    if (raw != nullptr) b->writeBytes(raw, rawLen);
}

unsigned char PolicyQualifierInfo::unwrapASN1(Buffer* b) {
    clearQualifier();
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete policyQualifierId;
    policyQualifierId = new OID();
    if (!b->readASN1(policyQualifierId)) return 0;
    if (pkix::atEnd(b, end)) return 255;
    if (policyQualifierId->isEqual(kCPS) && pkix::peekTag(b) == 22) {
        return pkix::readText(b, 22, &cpsURI) && cpsURI != nullptr ? 255 : 0;
    }
    if (policyQualifierId->isEqual(kUserNotice)) {
        userNotice = new UserNotice();
        return userNotice->unwrapASN1(b);
    }
    return pkix::readRawElement(b, &raw, &rawLen) ? 255 : 0;
}

// ---- PolicyInformation ----

PolicyInformation::PolicyInformation() : policyIdentifier(nullptr), policyQualifiers(nullptr) {}

PolicyInformation::PolicyInformation(const char* dotted) : PolicyInformation() {
    setPolicyIdentifier(dotted);
}

PolicyInformation::~PolicyInformation() {
    delete policyIdentifier;
    delete policyQualifiers;
}

PolicyInformation* PolicyInformation::clone() const {
    PolicyInformation* copy = new PolicyInformation();
    copy->policyIdentifier = policyIdentifier != nullptr ? policyIdentifier->clone() : nullptr;
    copy->setPolicyQualifiers(policyQualifiers);
    return copy;
}

char* PolicyInformation::getPolicyIdentifier() const {
    return policyIdentifier != nullptr ? policyIdentifier->getValue() : nullptr;
}

void PolicyInformation::setPolicyIdentifier(const char* dotted) {
    delete policyIdentifier;
    policyIdentifier = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char PolicyInformation::isEqual(const char* dotted) const {
    return policyIdentifier != nullptr ? policyIdentifier->isEqual(dotted) : 0;
}

PolicyQualifierInfoList* PolicyInformation::getPolicyQualifiers() const {
    return policyQualifiers != nullptr ? policyQualifiers->clone() : nullptr;
}

void PolicyInformation::setPolicyQualifiers(const PolicyQualifierInfoList* qualifiers) {
    delete policyQualifiers;
    policyQualifiers = qualifiers != nullptr ? qualifiers->clone() : nullptr;
}

unsigned int PolicyInformation::contentLength(Buffer* b) {
    return (policyIdentifier != nullptr ? b->lenASN1(policyIdentifier) : 0) +
           (policyQualifiers != nullptr ? policyQualifiers->getWrapLength(b) : 0);
}

unsigned int PolicyInformation::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PolicyInformation::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (policyIdentifier != nullptr) b->writeASN1(policyIdentifier);
    if (policyQualifiers != nullptr) policyQualifiers->wrapASN1(b);
}

unsigned char PolicyInformation::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete policyIdentifier;
    policyIdentifier = new OID();
    if (!b->readASN1(policyIdentifier)) return 0;
    delete policyQualifiers;
    policyQualifiers = nullptr;
    if (pkix::atEnd(b, end)) return 255;
    policyQualifiers = new PolicyQualifierInfoList();
    return policyQualifiers->unwrapASN1(b);
}
