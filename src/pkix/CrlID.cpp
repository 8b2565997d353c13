#include "pkix/CrlID.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kIA5StringTag = 0x16;
constexpr unsigned char kGeneralizedTimeTag = 0x18;
constexpr unsigned char kUrlTag = 0xA0;
constexpr unsigned char kNumTag = 0xA1;
constexpr unsigned char kTimeTag = 0xA2;
}  // namespace

CrlID::CrlID() : crlUrl(nullptr), crlNumPresent(0), crlTime(nullptr) {}

CrlID::~CrlID() {
    clear();
}

void CrlID::clear() {
    delete[] crlUrl;
    delete crlTime;
    crlUrl = nullptr;
    crlTime = nullptr;
    crlNum = BigInteger();
    crlNumPresent = 0;
}

CrlID* CrlID::clone() const {
    CrlID* copy = new CrlID();
    copy->crlUrl = pkix::copyText(crlUrl);
    copy->crlNum = crlNum;
    copy->crlNumPresent = crlNumPresent;
    copy->crlTime = pkix::cloneOf(crlTime);
    return copy;
}

char* CrlID::getCrlUrl() const {
    return pkix::copyText(crlUrl);
}

void CrlID::setCrlUrl(const char* url) {
    char* copy = pkix::copyText(url);
    delete[] crlUrl;
    crlUrl = copy;
}

void CrlID::setCrlNum(const BigInteger& number) {
    crlNum = number;
    crlNumPresent = 255;
}

X500Time* CrlID::getCrlTime() const {
    return pkix::cloneOf(crlTime);
}

void CrlID::setCrlTime(const X500Time* time) {
    pkix::replaceWithCopy(crlTime, time);
}

unsigned int CrlID::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (crlUrl != nullptr) sum += pkix::lenExplicit(b, kUrlTag, b->lenASN1(crlUrl, kIA5StringTag));
    if (crlNumPresent) sum += pkix::lenExplicit(b, kNumTag, crlNum.lenASN1(b));
    if (crlTime != nullptr) sum += pkix::lenExplicit(b, kTimeTag, crlTime->getWrapLength(b));
    return sum;
}

unsigned int CrlID::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void CrlID::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (crlUrl != nullptr) {
        b->writeASN1Header(kUrlTag, b->lenASN1(crlUrl, kIA5StringTag));
        b->writeASN1(crlUrl, kIA5StringTag);
    }
    if (crlNumPresent) {
        b->writeASN1Header(kNumTag, crlNum.lenASN1(b));
        crlNum.writeASN1(b);
    }
    if (crlTime != nullptr) {
        b->writeASN1Header(kTimeTag, crlTime->getWrapLength(b));
        crlTime->wrapASN1(b);
    }
}

unsigned char CrlID::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len, inner;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kUrlTag) {
        if (!pkix::openExplicit(b, kUrlTag, &inner) || !pkix::readText(b, kIA5StringTag, &crlUrl) ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kNumTag) {
        if (!pkix::openExplicit(b, kNumTag, &inner) || !crlNum.readASN1(b) ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
        crlNumPresent = 255;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kTimeTag) {
        if (!pkix::openExplicit(b, kTimeTag, &inner) || pkix::peekTag(b) != kGeneralizedTimeTag) {
            return 0;
        }
        crlTime = new X500Time();
        if (!crlTime->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
