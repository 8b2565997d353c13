#include "pkix/PKIStatusInfo.h"

#include <memory>

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/PKIFreeText.h"
#include "pkix/ReadSteps.h"

PKIStatusInfo::PKIStatusInfo() : PKIStatusInfo(kGranted) {}

PKIStatusInfo::PKIStatusInfo(int s)
    : status(s), statusString(nullptr), failInfoPresent(0), failInfo(0) {}

PKIStatusInfo::~PKIStatusInfo() {
    delete statusString;
}

PKIStatusInfo* PKIStatusInfo::clone() const {
    PKIStatusInfo* copy = new PKIStatusInfo(status);
    copy->statusString = pkix::cloneOf(statusString);
    copy->failInfoPresent = failInfoPresent;
    copy->failInfo = failInfo;
    return copy;
}

PKIFreeText* PKIStatusInfo::getStatusString() const {
    return pkix::cloneOf(statusString);
}

void PKIStatusInfo::setStatusString(const PKIFreeText* text) {
    pkix::replaceWithCopy(statusString, text);
}

void PKIStatusInfo::setFailInfo(unsigned int mask) {
    failInfoPresent = 255;
    failInfo = mask;
}

void PKIStatusInfo::clearFailInfo() {
    failInfoPresent = 0;
    failInfo = 0;
}

// Bit n of the mask is bit n of the BIT STRING, counted from the first byte's top bit.
unsigned int PKIStatusInfo::failInfoBytes(unsigned char out[4], unsigned char* unused) const {
    int highest = -1;
    for (int n = 0; n < 32; ++n) {
        if (failInfo & (1u << n)) highest = n;
    }
    *unused = 0;
    if (highest < 0) return 0;
    unsigned int count = static_cast<unsigned int>(highest / 8 + 1);
    for (unsigned int i = 0; i < 4; ++i) out[i] = 0;
    for (int n = 0; n <= highest; ++n) {
        if (failInfo & (1u << n)) out[n / 8] |= static_cast<unsigned char>(0x80u >> (n % 8));
    }
    *unused = static_cast<unsigned char>(7 - highest % 8);
    return count;
}

unsigned int PKIStatusInfo::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(status);
    if (statusString != nullptr) sum += statusString->getWrapLength(b);
    if (failInfoPresent) {
        unsigned char bytes[4];
        unsigned char unused;
        sum += b->lenASN1BitString(failInfoBytes(bytes, &unused));
    }
    return sum;
}

unsigned int PKIStatusInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PKIStatusInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(status);
    if (statusString != nullptr) statusString->wrapASN1(b);
    if (failInfoPresent) {
        unsigned char bytes[4];
        unsigned char unused;
        unsigned int n = failInfoBytes(bytes, &unused);
        // An empty BIT STRING is still a BIT STRING: bytes must not be null here.
        b->writeASN1BitString(bytes, n, unused, 0x03);
    }
}

unsigned char PKIStatusInfo::unwrapASN1(Buffer* b) {
    delete statusString;
    statusString = nullptr;
    clearFailInfo();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readASN1(&status)) return 0;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x30) {
        statusString = new PKIFreeText();
        if (!statusString->unwrapASN1(b)) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x03) {
        unsigned char* raw = nullptr;
        unsigned int n = 0;
        unsigned char unused = 0;
        if (!b->readASN1BitString(&raw, &n, &unused, 0x03)) return 0;
        std::unique_ptr<unsigned char[]> owned(raw);
        if (unused > 7) return 0;
        unsigned int mask = 0;
        for (unsigned int bit = 0; bit < 32 && bit < 8 * n; ++bit) {
            if (raw[bit / 8] & (0x80u >> (bit % 8))) mask |= 1u << bit;
        }
        setFailInfo(mask);
    }
    return b->getReadPos() == end ? 255 : 0;
}
