#include "pkix/OCSPCertStatus.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/RevokedInfo.h"

OCSPCertStatus::OCSPCertStatus() : tag(0), revoked(nullptr) {}

OCSPCertStatus::~OCSPCertStatus() {
    clear();
}

void OCSPCertStatus::clear() {
    delete revoked;
    revoked = nullptr;
    tag = 0;
}

OCSPCertStatus* OCSPCertStatus::clone() const {
    OCSPCertStatus* copy = new OCSPCertStatus();
    copy->tag = tag;
    copy->revoked = pkix::cloneOf(revoked);
    return copy;
}

void OCSPCertStatus::setGood() {
    clear();
    tag = kGood;
}

void OCSPCertStatus::setUnknown() {
    clear();
    tag = kUnknown;
}

void OCSPCertStatus::setRevoked(const RevokedInfo* info) {
    RevokedInfo* copy = info != nullptr ? info->clone() : new RevokedInfo();
    clear();
    tag = kRevoked;
    revoked = copy;
}

RevokedInfo* OCSPCertStatus::getRevokedInfo() const {
    return pkix::cloneOf(revoked);
}

unsigned int OCSPCertStatus::getWrapLength(Buffer* b) {
    if (revoked != nullptr) return revoked->getWrapLength(kRevoked, b);
    return b->lenASN1Header(tag, 0);
}

void OCSPCertStatus::wrapASN1(Buffer* b) {
    if (revoked != nullptr) {
        revoked->wrapASN1(kRevoked, b);
    } else {
        b->writeASN1Header(tag, 0);
    }
}

unsigned char OCSPCertStatus::unwrapASN1(Buffer* b) {
    clear();
    unsigned char t = pkix::peekTag(b);
    if (t == 0) return 0;
    if (t == kRevoked) {
        revoked = new RevokedInfo();
        if (!revoked->unwrapASN1(kRevoked, b)) return 0;
        tag = t;
        return 255;
    }
    if (t == kGood || t == kUnknown) {
        unsigned int len;
        if (!b->readASN1Header(&t, &len) || len != 0) return 0;
        tag = t;
        return 255;
    }
    unsigned char* raw = nullptr;
    unsigned int n = 0;
    unsigned char ok = pkix::readRawElement(b, &raw, &n);
    delete[] raw;
    if (!ok) return 0;
    tag = t;
    return 255;
}
