#include "pkix/IssuingDistPointSyntax.h"

#include "asn1/Buffer.h"
#include "pkix/DistributionPointName.h"
#include "pkix/ReadSteps.h"

IssuingDistPointSyntax::IssuingDistPointSyntax()
    : distributionPoint(nullptr),
      onlyContainsUserCerts(0),
      onlyContainsCACerts(0),
      onlySomeReasons(nullptr),
      reasonsLen(0),
      reasonsUnused(0),
      indirectCRL(0),
      onlyContainsAttributeCerts(0) {}

IssuingDistPointSyntax::~IssuingDistPointSyntax() {
    delete distributionPoint;
    delete[] onlySomeReasons;
}

IssuingDistPointSyntax* IssuingDistPointSyntax::clone() const {
    IssuingDistPointSyntax* copy = new IssuingDistPointSyntax();
    copy->setDistributionPoint(distributionPoint);
    copy->onlyContainsUserCerts = onlyContainsUserCerts;
    copy->onlyContainsCACerts = onlyContainsCACerts;
    copy->setOnlySomeReasons(onlySomeReasons, reasonsLen, reasonsUnused);
    copy->indirectCRL = indirectCRL;
    copy->onlyContainsAttributeCerts = onlyContainsAttributeCerts;
    return copy;
}

DistributionPointName* IssuingDistPointSyntax::getDistributionPoint() const {
    return distributionPoint != nullptr ? distributionPoint->clone() : nullptr;
}

void IssuingDistPointSyntax::setDistributionPoint(const DistributionPointName* name) {
    delete distributionPoint;
    distributionPoint = name != nullptr ? name->clone() : nullptr;
}

unsigned char* IssuingDistPointSyntax::getOnlySomeReasons() const {
    return pkix::copyBytes(onlySomeReasons, reasonsLen);
}

void IssuingDistPointSyntax::setOnlySomeReasons(const unsigned char* bits, unsigned int length,
                                                unsigned char unused) {
    delete[] onlySomeReasons;
    onlySomeReasons = pkix::copyBytes(bits, length);
    reasonsLen = bits != nullptr ? length : 0;
    reasonsUnused = bits != nullptr ? unused : 0;
}

unsigned int IssuingDistPointSyntax::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (distributionPoint != nullptr) {
        unsigned int inner = distributionPoint->getWrapLength(b);
        sum += b->lenASN1Header(0xA0, inner) + inner;
    }
    if (onlyContainsUserCerts) sum += b->lenBoolean(onlyContainsUserCerts, 0x81);
    if (onlyContainsCACerts) sum += b->lenBoolean(onlyContainsCACerts, 0x82);
    if (onlySomeReasons != nullptr) sum += b->lenASN1BitString(reasonsLen);
    if (indirectCRL) sum += b->lenBoolean(indirectCRL, 0x84);
    if (onlyContainsAttributeCerts) sum += b->lenBoolean(onlyContainsAttributeCerts, 0x85);
    return sum;
}

unsigned int IssuingDistPointSyntax::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void IssuingDistPointSyntax::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (distributionPoint != nullptr) {
        b->writeASN1Header(0xA0, distributionPoint->getWrapLength(b));
        distributionPoint->wrapASN1(b);
    }
    if (onlyContainsUserCerts) b->writeBoolean(onlyContainsUserCerts, 0x81);
    if (onlyContainsCACerts) b->writeBoolean(onlyContainsCACerts, 0x82);
    if (onlySomeReasons != nullptr) {
        b->writeASN1BitString(onlySomeReasons, reasonsLen, reasonsUnused, 0x83);
    }
    if (indirectCRL) b->writeBoolean(indirectCRL, 0x84);
    if (onlyContainsAttributeCerts) b->writeBoolean(onlyContainsAttributeCerts, 0x85);
}

unsigned char IssuingDistPointSyntax::unwrapASN1(Buffer* b) {
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
        if (!b->readBoolean(&onlyContainsUserCerts, 0x81)) return 0;
        if (pkix::atEnd(b, end)) return 255;
        tag = pkix::peekTag(b);
    }
    if (tag == 0x82) {
        if (!b->readBoolean(&onlyContainsCACerts, 0x82)) return 0;
        if (pkix::atEnd(b, end)) return 255;
        tag = pkix::peekTag(b);
    }
    if (tag == 0x83) {
        delete[] onlySomeReasons;
        onlySomeReasons = nullptr;
        // The tagged BIT STRING reader clears the unused bits of the last byte.
        if (!b->readASN1BitString(&onlySomeReasons, &reasonsLen, &reasonsUnused, 0x83)) return 0;
        if (onlySomeReasons == nullptr) onlySomeReasons = new unsigned char[1];
        if (pkix::atEnd(b, end)) return 255;
        tag = pkix::peekTag(b);
    }
    if (tag == 0x84) {
        if (!b->readBoolean(&indirectCRL, 0x84)) return 0;
        if (pkix::atEnd(b, end)) return 255;
    }
    return b->readBoolean(&onlyContainsAttributeCerts, 0x85) ? 255 : 0;
}
