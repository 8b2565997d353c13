#include "pkix/RevocationInfoChoice.h"

#include "asn1/Buffer.h"
#include "pkix/CertificateList.h"
#include "pkix/OtherRevocationInfoFormat.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kOtherTag = 0xA1;

}  // namespace

RevocationInfoChoice::RevocationInfoChoice() : crl(nullptr), other(nullptr) {}

RevocationInfoChoice::~RevocationInfoChoice() {
    clear();
}

void RevocationInfoChoice::clear() {
    delete crl;
    delete other;
    crl = nullptr;
    other = nullptr;
}

RevocationInfoChoice* RevocationInfoChoice::clone() const {
    RevocationInfoChoice* copy = new RevocationInfoChoice();
    copy->crl = crl != nullptr ? crl->clone() : nullptr;
    copy->other = other != nullptr ? other->clone() : nullptr;
    return copy;
}

CertificateList* RevocationInfoChoice::getCrl() const {
    return crl != nullptr ? crl->clone() : nullptr;
}

void RevocationInfoChoice::setCrl(const CertificateList* list) {
    CertificateList* copy = list != nullptr ? list->clone() : nullptr;
    clear();
    crl = copy;
}

OtherRevocationInfoFormat* RevocationInfoChoice::getOther() const {
    return other != nullptr ? other->clone() : nullptr;
}

void RevocationInfoChoice::setOther(const OtherRevocationInfoFormat* info) {
    OtherRevocationInfoFormat* copy = info != nullptr ? info->clone() : nullptr;
    clear();
    other = copy;
}

unsigned int RevocationInfoChoice::getWrapLength(Buffer* b) {
    if (crl != nullptr) return crl->getWrapLength(b);
    if (other != nullptr) return other->getWrapLength(b);
    return 0;
}

// `other` goes out under its implicit tag in place of the SEQUENCE tag.
void RevocationInfoChoice::wrapASN1(Buffer* b) {
    if (crl != nullptr) {
        crl->wrapASN1(b);
    } else if (other != nullptr) {
        unsigned int from = b->getWritePos();
        other->wrapASN1(b);
        if (b->getWritePos() > from) b->_getData()[from] = kOtherTag;
    }
}

unsigned char RevocationInfoChoice::unwrapASN1(Buffer* b) {
    clear();
    if (pkix::peekTag(b) == kOtherTag) {
        other = new OtherRevocationInfoFormat();
        return other->unwrapASN1(kOtherTag, b);
    }
    crl = new CertificateList();
    return crl->unwrapASN1(b);
}
