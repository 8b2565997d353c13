#include "pkix/DistributionPoint.h"

#include "asn1/Buffer.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "pkix/ListSteps.h"
#include "pkix/ReadSteps.h"

DistributionPoint::DistributionPoint()
    : distributionPoint(nullptr),
      reasons(kNoReasons),
      reasonsLength(0),
      reasonsUnused(0),
      cRLIssuer(nullptr) {}

DistributionPoint::~DistributionPoint() {
    delete distributionPoint;
    delete cRLIssuer;
}

DistributionPoint* DistributionPoint::clone() const {
    DistributionPoint* copy = new DistributionPoint();
    copy->setDistributionPoint(distributionPoint);
    copy->reasons = reasons;
    copy->reasonsLength = reasonsLength;
    copy->reasonsUnused = reasonsUnused;
    copy->setCRLIssuer(cRLIssuer);
    return copy;
}

DistributionPointName* DistributionPoint::getDistributionPoint() const {
    return distributionPoint != nullptr ? distributionPoint->clone() : nullptr;
}

void DistributionPoint::setDistributionPoint(const DistributionPointName* name) {
    delete distributionPoint;
    distributionPoint = name != nullptr ? name->clone() : nullptr;
}

GeneralNameList* DistributionPoint::getCRLIssuer() const {
    return cRLIssuer != nullptr ? cRLIssuer->clone() : nullptr;
}

void DistributionPoint::setCRLIssuer(const GeneralNameList* issuer) {
    delete cRLIssuer;
    cRLIssuer = issuer != nullptr ? issuer->clone() : nullptr;
}

void DistributionPoint::setReasons(unsigned int value) {
    if (value == kNoReasons) {
        reasons = kNoReasons;
        reasonsLength = 0;
        reasonsUnused = 0;
        return;
    }
    reasons =
        ((value & 0xFF) << 24) | ((value & 0xFF00) << 8) | ((value >> 8) & 0xFF00) | (value >> 24);
    unsigned char wire[4];
    reasonBytes(wire);
    reasonsLength = 4;
    while (reasonsLength > 0 && wire[reasonsLength - 1] == 0) --reasonsLength;
    reasonsUnused = 0;
    if (reasonsLength > 0) {
        unsigned char last = wire[reasonsLength - 1];
        while ((last & 1) == 0) {
            ++reasonsUnused;
            last >>= 1;
        }
    }
}

void DistributionPoint::reasonBytes(unsigned char out[4]) const {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<unsigned char>(reasons >> (8 * i));
}

unsigned int DistributionPoint::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (distributionPoint != nullptr) {
        unsigned int inner = distributionPoint->getWrapLength(b);
        sum += b->lenASN1Header(0xA0, inner) + inner;
    }
    if (reasons != kNoReasons) sum += b->lenASN1BitString(reasonsLength);
    if (cRLIssuer != nullptr) sum += cRLIssuer->getWrapLength(b);
    return sum;
}

unsigned int DistributionPoint::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void DistributionPoint::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (distributionPoint != nullptr) {
        b->writeASN1Header(0xA0, distributionPoint->getWrapLength(b));
        distributionPoint->wrapASN1(b);
    }
    if (reasons != kNoReasons) {
        unsigned char wire[4];
        reasonBytes(wire);
        b->writeASN1BitString(wire, reasonsLength, reasonsUnused, 0x81);
    }
    if (cRLIssuer != nullptr) cRLIssuer->wrapASN1(0xA2, b);
}

unsigned char DistributionPoint::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    if (pkix::atEnd(b, end)) return 255;
    unsigned char tag = pkix::peekTag(b);
    if (tag == 0xA0) {
        unsigned int n;
        b->readASN1Header(&tag, &n);
        delete distributionPoint;
        distributionPoint = new DistributionPointName();
        if (!distributionPoint->unwrapASN1(b)) return 0;
        if (pkix::atEnd(b, end)) return 255;
        tag = pkix::peekTag(b);
    }
    if (tag == 0x81) {
        unsigned char* bits = nullptr;
        unsigned int n;
        unsigned char unused;
        if (!b->readASN1BitString(&bits, &n, &unused, 0x81)) return 0;
        unsigned int value = 0;
        for (unsigned int i = 0; i < n && i < 4; ++i)
            value |= static_cast<unsigned int>(bits[i]) << (8 * i);
        delete[] bits;
        if (n > 4 || value == kNoReasons) return 0;
        reasons = value;
        reasonsLength = n;
        reasonsUnused = unused;
        if (pkix::atEnd(b, end)) return 255;
        tag = pkix::peekTag(b);
    }
    if (tag == 0xA2) {
        delete cRLIssuer;
        cRLIssuer = new GeneralNameList();
        return cRLIssuer->unwrapASN1(0xA2, b);
    }
    return 255;
}

unsigned char DistributionPointList::delDistributionPoint(int i) {
    return pkix::deleteElement(this, i);
}

unsigned char DistributionPointList::substituteDistributionPoint(int i,
                                                                 const DistributionPoint* d) {
    return pkix::substituteElement(this, i, d);
}
