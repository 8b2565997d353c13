#include "asn1/Buffer.h"
#include "pkix/CertificateChoices.h"
#include "pkix/CertificateList.h"
#include "pkix/ContentInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/PKCS7SignerInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignedData.h"
#include "pkix/SignedDataTail.h"

using pkix::cloneOf;
using pkix::replaceWithCopy;

namespace {

constexpr unsigned char kCertificatesTag = 0xA0;
constexpr unsigned char kCrlsTag = 0xA1;

}  // namespace

PKCS7SignedData::PKCS7SignedData()
    : contentInfo(nullptr), certificates(nullptr), crls(nullptr), signerInfos(nullptr) {}

PKCS7SignedData::~PKCS7SignedData() {
    clear();
}

void PKCS7SignedData::clear() {
    delete contentInfo;
    delete certificates;
    delete crls;
    delete signerInfos;
    contentInfo = nullptr;
    certificates = nullptr;
    crls = nullptr;
    signerInfos = nullptr;
}

PKCS7SignedData* PKCS7SignedData::clone() const {
    PKCS7SignedData* copy = new PKCS7SignedData();
    copyCommonTo(copy);
    copy->contentInfo = cloneOf(contentInfo);
    copy->certificates = cloneOf(certificates);
    copy->crls = cloneOf(crls);
    copy->signerInfos = cloneOf(signerInfos);
    return copy;
}

ContentInfo* PKCS7SignedData::getContentInfo() const {
    return cloneOf(contentInfo);
}
void PKCS7SignedData::setContentInfo(const ContentInfo* value) {
    replaceWithCopy(contentInfo, value);
}
ExtCertificatesAndCertificates* PKCS7SignedData::getCertificates() const {
    return cloneOf(certificates);
}
void PKCS7SignedData::setCertificates(const ExtCertificatesAndCertificates* set) {
    replaceWithCopy(certificates, set);
}
CertificateRevocationLists* PKCS7SignedData::getCrls() const {
    return cloneOf(crls);
}
void PKCS7SignedData::setCrls(const CertificateRevocationLists* set) {
    replaceWithCopy(crls, set);
}
PKCS7SignerInfoSet* PKCS7SignedData::getSignerInfos() const {
    return cloneOf(signerInfos);
}
void PKCS7SignedData::setSignerInfos(const PKCS7SignerInfoSet* set) {
    replaceWithCopy(signerInfos, set);
}

unsigned int PKCS7SignedData::contentLength(Buffer* b) {
    unsigned int sum = headLength(b);
    if (contentInfo != nullptr) sum += contentInfo->getWrapLength(b);
    if (certificates != nullptr) sum += certificates->getWrapLength(b);
    if (crls != nullptr) sum += crls->getWrapLength(b);
    if (signerInfos != nullptr) sum += signerInfos->getWrapLength(b);
    return sum;
}

unsigned int PKCS7SignedData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void PKCS7SignedData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    writeHead(b);
    if (contentInfo != nullptr) contentInfo->wrapASN1(b);
    if (certificates != nullptr) certificates->wrapASN1(kCertificatesTag, b);
    if (crls != nullptr) crls->wrapASN1(kCrlsTag, b);
    if (signerInfos != nullptr) signerInfos->wrapASN1(b);
}

unsigned char PKCS7SignedData::read(Buffer* b, bool borrow) {
    clear();
    unsigned char definite;
    if (!readHead(b, &definite)) return 0;
    contentInfo = new ContentInfo();
    unsigned char inner = borrow ? contentInfo->_unwrapASN1(b) : contentInfo->unwrapASN1(b);
    if (inner != 1) return inner;

    unsigned char tag = pkix::peekTag(b);
    if (tag == 0) return 0;
    if (tag == kCertificatesTag) {
        certificates = new ExtCertificatesAndCertificates();
        if (!certificates->unwrapASN1(kCertificatesTag, b)) return 2;
        tag = pkix::peekTag(b);
        if (tag == 0) return 0;
    }
    if (tag == kCrlsTag) {
        crls = new CertificateRevocationLists();
        if (!crls->unwrapASN1(kCrlsTag, b)) return 0;
    }
    return readTail(b, definite, signerInfos);
}

unsigned char PKCS7SignedData::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char PKCS7SignedData::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
