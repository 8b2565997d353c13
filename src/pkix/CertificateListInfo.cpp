#include "pkix/CertificateListInfo.h"

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CopySteps.h"
#include "pkix/Extension.h"
#include "pkix/Name.h"
#include "pkix/RevokedCertificate.h"

namespace {

using pkix::cloneOf;

template <class T>
void replace(T*& field, const T* value) {
    pkix::replaceWithCopy(field, value);
}

// True when the SEQUENCE at the read position opens with an OBJECT IDENTIFIER; the read
// position does not move. A CRL with no entries and no extensions has the signature algorithm,
// a SEQUENCE too, right after its dates: an OID inside tells it from a list of entries, whose
// members are SEQUENCEs.
bool startsWithOID(Buffer* b) {
    unsigned int from = b->getReadPos();
    unsigned char tag;
    unsigned int len;
    bool oid = b->readASN1Header(&tag, &len) && b->peekByte() == 0x06;
    b->setReadPos(from);
    return oid;
}

}  // namespace

CertificateListInfo::CertificateListInfo()
    : version(-1),
      signature(nullptr),
      issuer(nullptr),
      thisUpdate(nullptr),
      nextUpdate(nullptr),
      revokedCertificates(nullptr),
      crlExtensions(nullptr) {}

CertificateListInfo::~CertificateListInfo() {
    clear();
}

void CertificateListInfo::clear() {
    delete signature;
    delete issuer;
    delete thisUpdate;
    delete nextUpdate;
    delete revokedCertificates;
    delete crlExtensions;
    signature = nullptr;
    issuer = nullptr;
    thisUpdate = nullptr;
    nextUpdate = nullptr;
    revokedCertificates = nullptr;
    crlExtensions = nullptr;
}

CertificateListInfo* CertificateListInfo::clone() const {
    CertificateListInfo* copy = new CertificateListInfo();
    copy->version = version;
    copy->signature = cloneOf(signature);
    copy->issuer = cloneOf(issuer);
    copy->thisUpdate = cloneOf(thisUpdate);
    copy->nextUpdate = cloneOf(nextUpdate);
    copy->revokedCertificates = cloneOf(revokedCertificates);
    copy->crlExtensions = cloneOf(crlExtensions);
    return copy;
}

AlgorithmIdentifier* CertificateListInfo::getSignature() const {
    return cloneOf(signature);
}
void CertificateListInfo::setSignature(const AlgorithmIdentifier* a) {
    replace(signature, a);
}
Name* CertificateListInfo::getIssuer() const {
    return cloneOf(issuer);
}
void CertificateListInfo::setIssuer(const Name* name) {
    replace(issuer, name);
}
X500Time* CertificateListInfo::getThisUpdate() const {
    return cloneOf(thisUpdate);
}
void CertificateListInfo::setThisUpdate(const X500Time* t) {
    replace(thisUpdate, t);
}
X500Time* CertificateListInfo::getNextUpdate() const {
    return cloneOf(nextUpdate);
}
void CertificateListInfo::setNextUpdate(const X500Time* t) {
    replace(nextUpdate, t);
}
RevokedCertificateList* CertificateListInfo::getRevokedCertificates() const {
    return cloneOf(revokedCertificates);
}
void CertificateListInfo::setRevokedCertificates(const RevokedCertificateList* list) {
    replace(revokedCertificates, list);
}
ExtensionList* CertificateListInfo::getCrlExtensions() const {
    return cloneOf(crlExtensions);
}
void CertificateListInfo::setCrlExtensions(const ExtensionList* list) {
    replace(crlExtensions, list);
}

unsigned int CertificateListInfo::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (version >= 0) sum += b->lenASN1(version);
    if (signature != nullptr) sum += signature->getWrapLength(b);
    if (issuer != nullptr) sum += issuer->getWrapLength(b);
    if (thisUpdate != nullptr) sum += thisUpdate->getWrapLength(b);
    if (nextUpdate != nullptr) sum += nextUpdate->getWrapLength(b);
    if (revokedCertificates != nullptr) sum += revokedCertificates->getWrapLength(b);
    if (crlExtensions != nullptr) {
        unsigned int inner = crlExtensions->getWrapLength(b);
        sum += b->lenASN1Header(0xA0, inner) + inner;
    }
    return sum;
}

unsigned int CertificateListInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void CertificateListInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (version >= 0) b->writeASN1(version);
    if (signature != nullptr) signature->wrapASN1(b);
    if (issuer != nullptr) issuer->wrapASN1(b);
    if (thisUpdate != nullptr) thisUpdate->wrapASN1(b);
    if (nextUpdate != nullptr) nextUpdate->wrapASN1(b);
    if (revokedCertificates != nullptr) revokedCertificates->wrapASN1(b);
    if (crlExtensions != nullptr) {
        b->writeASN1Header(0xA0, crlExtensions->getWrapLength(b));
        crlExtensions->wrapASN1(b);
    }
}

unsigned char CertificateListInfo::unwrapASN1(Buffer* b) {
    clear();
    version = -1;
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned char tag;
    unsigned int n;
    if (!b->peekASN1Header(&tag, &n)) return 0;
    if (tag == 0x02 && !b->readASN1(&version)) return 0;

    signature = new AlgorithmIdentifier();
    if (!signature->unwrapASN1(b)) return 0;
    issuer = new Name();
    if (!issuer->unwrapASN1(b)) return 0;
    thisUpdate = new X500Time();
    if (!thisUpdate->unwrapASN1(b)) return 0;

    if (!b->peekASN1Header(&tag, &n)) return 0;
    if (tag == X500Time::kUTCTime || tag == X500Time::kGeneralizedTime) {
        nextUpdate = new X500Time();
        if (!nextUpdate->unwrapASN1(b)) return 0;
        if (!b->peekASN1Header(&tag, &n)) return 0;
    }
    if (tag == 0x30 && !startsWithOID(b)) {
        revokedCertificates = new RevokedCertificateList();
        if (!revokedCertificates->unwrapASN1(b)) return 0;
        if (!b->peekASN1Header(&tag, &n)) return 0;
    }
    if (tag != 0xA0) return 255;
    b->readASN1Header(&tag, &n);
    crlExtensions = new ExtensionList();
    return crlExtensions->unwrapASN1(b);
}
