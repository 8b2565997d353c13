#include "pkix/RevokedInfo.h"

#include "asn1/AsnList.h"
#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kGeneralizedTimeTag = 0x18;
constexpr unsigned char kReasonTag = 0xA0;
}  // namespace

RevokedInfo::RevokedInfo() : revocationTime(nullptr), reason(0), reasonPresent(0) {}

RevokedInfo::~RevokedInfo() {
    delete revocationTime;
}

RevokedInfo* RevokedInfo::clone() const {
    RevokedInfo* copy = new RevokedInfo();
    copy->revocationTime = pkix::cloneOf(revocationTime);
    copy->reason = reason;
    copy->reasonPresent = reasonPresent;
    return copy;
}

X500Time* RevokedInfo::getRevocationTime() const {
    return pkix::cloneOf(revocationTime);
}

void RevokedInfo::setRevocationTime(const X500Time* time) {
    pkix::replaceWithCopy(revocationTime, time);
}

void RevokedInfo::setReason(unsigned char value) {
    reason = value;
    reasonPresent = 255;
}

void RevokedInfo::clearReason() {
    reason = 0;
    reasonPresent = 0;
}

unsigned int RevokedInfo::contentLength(Buffer* b) {
    unsigned int sum = revocationTime != nullptr ? revocationTime->getWrapLength(b) : 0;
    if (reasonPresent) sum += pkix::lenExplicit(b, kReasonTag, b->lenASN1Enum(reason));
    return sum;
}

unsigned int RevokedInfo::getWrapLength(Buffer* b) {
    return getWrapLength(kSequenceTag, b);
}

unsigned int RevokedInfo::getWrapLength(unsigned char tag, Buffer* b) {
    return b->lenASN1Header(tag, contentLength(b)) + contentLength(b);
}

void RevokedInfo::wrapASN1(Buffer* b) {
    wrapASN1(kSequenceTag, b);
}

void RevokedInfo::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (revocationTime != nullptr) revocationTime->wrapASN1(b);
    if (reasonPresent) {
        b->writeASN1Header(kReasonTag, b->lenASN1Enum(reason));
        b->writeASN1Enum(reason);
    }
}

unsigned char RevokedInfo::unwrapASN1(Buffer* b) {
    return unwrapASN1(kSequenceTag, b);
}

unsigned char RevokedInfo::unwrapASN1(unsigned char tag, Buffer* b) {
    delete revocationTime;
    revocationTime = nullptr;
    clearReason();
    unsigned int end;
    if (!pkix::openExplicit(b, tag, &end)) return 0;
    // The time reader would take any other tag as a UTCTime.
    if (pkix::peekTag(b) != kGeneralizedTimeTag) return 0;
    revocationTime = new X500Time();
    if (!revocationTime->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end)) {
        unsigned int inner;
        if (!pkix::openExplicit(b, kReasonTag, &inner) || !b->readASN1Enum(&reason) ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
        reasonPresent = 255;
    }
    return pkix::closeExplicit(b, end);
}
