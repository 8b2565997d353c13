#include "pkix/DistributionPointName.h"

#include "asn1/Buffer.h"
#include "pkix/GeneralName.h"
#include "pkix/ReadSteps.h"
#include "pkix/RelativeDistinguishedName.h"

DistributionPointName::DistributionPointName() : fullName(nullptr), relative(nullptr) {}

DistributionPointName::~DistributionPointName() {
    delete fullName;
    delete relative;
}

DistributionPointName* DistributionPointName::clone() const {
    DistributionPointName* copy = new DistributionPointName();
    copy->fullName = fullName != nullptr ? fullName->clone() : nullptr;
    copy->relative = relative != nullptr ? relative->clone() : nullptr;
    return copy;
}

GeneralNameList* DistributionPointName::getFullName() const {
    return fullName != nullptr ? fullName->clone() : nullptr;
}

void DistributionPointName::setFullName(const GeneralNameList* names) {
    delete fullName;
    delete relative;
    relative = nullptr;
    fullName = names != nullptr ? names->clone() : nullptr;
}

RelativeDistinguishedName* DistributionPointName::getNameRelativeToCRLIssuer() const {
    return relative != nullptr ? relative->clone() : nullptr;
}

void DistributionPointName::setNameRelativeToCRLIssuer(const RelativeDistinguishedName* rdn) {
    delete fullName;
    fullName = nullptr;
    delete relative;
    relative = rdn != nullptr ? rdn->clone() : nullptr;
}

unsigned int DistributionPointName::getWrapLength(Buffer* b) {
    if (fullName != nullptr) return fullName->getWrapLength(b);
    if (relative != nullptr) return relative->getWrapLength(b);
    return 0;
}

void DistributionPointName::wrapASN1(Buffer* b) {
    if (fullName != nullptr) {
        fullName->wrapASN1(0xA0, b);
    } else if (relative != nullptr) {
        relative->wrapASN1(0xA1, b);
    }
}

unsigned char DistributionPointName::unwrapASN1(Buffer* b) {
    delete fullName;
    fullName = nullptr;
    delete relative;
    relative = nullptr;
    unsigned char tag = pkix::peekTag(b);
    if (tag == 0xA0) {
        fullName = new GeneralNameList();
        return fullName->unwrapASN1(0xA0, b);
    }
    if (tag == 0xA1) {
        relative = new RelativeDistinguishedName();
        return relative->unwrapASN1(0xA1, b);
    }
    return 0;
}
