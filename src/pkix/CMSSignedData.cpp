#include "asn1/Buffer.h"
#include "pkix/CertificateChoices.h"
#include "pkix/CopySteps.h"
#include "pkix/EncapsulatedContentInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/RevocationInfoChoice.h"
#include "pkix/SignedData.h"
#include "pkix/SignedDataTail.h"
#include "pkix/SignerInfo.h"

using pkix::cloneOf;
using pkix::replaceWithCopy;

namespace {

constexpr unsigned char kCertificatesTag = 0xA0;
constexpr unsigned char kCrlsTag = 0xA1;

}  // namespace

CMSSignedData::CMSSignedData()
    : encapContentInfo(nullptr), certificates(nullptr), crls(nullptr), signerInfos(nullptr) {}

CMSSignedData::~CMSSignedData() {
    clear();
}

void CMSSignedData::clear() {
    delete encapContentInfo;
    delete certificates;
    delete crls;
    delete signerInfos;
    encapContentInfo = nullptr;
    certificates = nullptr;
    crls = nullptr;
    signerInfos = nullptr;
}

CMSSignedData* CMSSignedData::clone() const {
    CMSSignedData* copy = new CMSSignedData();
    copyCommonTo(copy);
    copy->encapContentInfo = cloneOf(encapContentInfo);
    copy->certificates = cloneOf(certificates);
    copy->crls = cloneOf(crls);
    copy->signerInfos = cloneOf(signerInfos);
    return copy;
}

EncapsulatedContentInfo* CMSSignedData::getEncapContentInfo() const {
    return cloneOf(encapContentInfo);
}
void CMSSignedData::setEncapContentInfo(const EncapsulatedContentInfo* value) {
    replaceWithCopy(encapContentInfo, value);
}
CertificateSet* CMSSignedData::getCertificates() const {
    return cloneOf(certificates);
}
void CMSSignedData::setCertificates(const CertificateSet* set) {
    replaceWithCopy(certificates, set);
}
RevocationInfoChoiceSet* CMSSignedData::getCrls() const {
    return cloneOf(crls);
}
void CMSSignedData::setCrls(const RevocationInfoChoiceSet* set) {
    replaceWithCopy(crls, set);
}
SignerInfoSet* CMSSignedData::getSignerInfos() const {
    return cloneOf(signerInfos);
}
void CMSSignedData::setSignerInfos(const SignerInfoSet* set) {
    replaceWithCopy(signerInfos, set);
}

unsigned int CMSSignedData::contentLength(Buffer* b) {
    unsigned int sum = headLength(b);
    if (encapContentInfo != nullptr) sum += encapContentInfo->getWrapLength(b);
    if (certificates != nullptr) sum += certificates->getWrapLength(b);
    if (crls != nullptr) sum += crls->getWrapLength(b);
    if (signerInfos != nullptr) sum += signerInfos->getWrapLength(b);
    return sum;
}

unsigned int CMSSignedData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void CMSSignedData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    writeHead(b);
    if (encapContentInfo != nullptr) encapContentInfo->wrapASN1(b);
    if (certificates != nullptr) certificates->wrapASN1(kCertificatesTag, b);
    if (crls != nullptr) crls->wrapASN1(kCrlsTag, b);
    if (signerInfos != nullptr) signerInfos->wrapASN1(b);
}

// The standard IMPLICIT [0] first; failing that, a universal SET inside an EXPLICIT [0], read
// from the same place. 1 when either reads, 2 when neither does.
unsigned char CMSSignedData::readCertificates(Buffer* b) {
    unsigned int from = b->getReadPos();
    certificates = new CertificateSet();
    if (certificates->unwrapASN1(kCertificatesTag, b)) return 1;
    delete certificates;
    certificates = nullptr;
    b->setReadPos(from);
    unsigned char tag, definite;
    unsigned int len;
    if (!b->readASN1Header(&tag, &len, &definite)) return 2;
    certificates = new CertificateSet();
    if (!certificates->unwrapASN1(b)) return 2;
    if (!definite && !b->readEOC()) return 2;
    return 1;
}

unsigned char CMSSignedData::read(Buffer* b, bool borrow) {
    clear();
    unsigned char definite;
    if (!readHead(b, &definite)) return 0;
    encapContentInfo = new EncapsulatedContentInfo();
    if (!(borrow ? encapContentInfo->_unwrapASN1(b) : encapContentInfo->unwrapASN1(b))) return 0;

    unsigned char tag = pkix::peekTag(b);
    if (tag == 0) return 0;
    if (tag == kCertificatesTag) {
        if (readCertificates(b) != 1) return 2;
        tag = pkix::peekTag(b);
        if (tag == 0) return 0;
    }
    if (tag == kCrlsTag) {
        crls = new RevocationInfoChoiceSet();
        if (!crls->unwrapASN1(kCrlsTag, b)) return 0;
    }
    return readTail(b, definite, signerInfos);
}

unsigned char CMSSignedData::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char CMSSignedData::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
