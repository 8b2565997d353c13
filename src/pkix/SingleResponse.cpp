#include "pkix/SingleResponse.h"

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/Extension.h"
#include "pkix/OCSPCertID.h"
#include "pkix/OCSPCertStatus.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kGeneralizedTimeTag = 0x18;
constexpr unsigned char kNextUpdateTag = 0xA0;
constexpr unsigned char kExtensionsTag = 0xA1;
}  // namespace

SingleResponse::SingleResponse()
    : certID(nullptr),
      certStatus(nullptr),
      thisUpdate(nullptr),
      nextUpdate(nullptr),
      extensions(nullptr) {}

SingleResponse::~SingleResponse() {
    clear();
}

void SingleResponse::clear() {
    delete certID;
    delete certStatus;
    delete thisUpdate;
    delete nextUpdate;
    delete extensions;
    certID = nullptr;
    certStatus = nullptr;
    thisUpdate = nextUpdate = nullptr;
    extensions = nullptr;
}

SingleResponse* SingleResponse::clone() const {
    SingleResponse* copy = new SingleResponse();
    copy->certID = pkix::cloneOf(certID);
    copy->certStatus = pkix::cloneOf(certStatus);
    copy->thisUpdate = pkix::cloneOf(thisUpdate);
    copy->nextUpdate = pkix::cloneOf(nextUpdate);
    copy->extensions = pkix::cloneOf(extensions);
    return copy;
}

OCSPCertID* SingleResponse::getCertID() const {
    return pkix::cloneOf(certID);
}
void SingleResponse::setCertID(const OCSPCertID* id) {
    pkix::replaceWithCopy(certID, id);
}
OCSPCertStatus* SingleResponse::getCertStatus() const {
    return pkix::cloneOf(certStatus);
}
void SingleResponse::setCertStatus(const OCSPCertStatus* status) {
    pkix::replaceWithCopy(certStatus, status);
}
X500Time* SingleResponse::getThisUpdate() const {
    return pkix::cloneOf(thisUpdate);
}
void SingleResponse::setThisUpdate(const X500Time* time) {
    pkix::replaceWithCopy(thisUpdate, time);
}
X500Time* SingleResponse::getNextUpdate() const {
    return pkix::cloneOf(nextUpdate);
}
void SingleResponse::setNextUpdate(const X500Time* time) {
    pkix::replaceWithCopy(nextUpdate, time);
}
ExtensionList* SingleResponse::getSingleExtensions() const {
    return pkix::cloneOf(extensions);
}
void SingleResponse::setSingleExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int SingleResponse::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (certID != nullptr) sum += certID->getWrapLength(b);
    if (certStatus != nullptr) sum += certStatus->getWrapLength(b);
    if (thisUpdate != nullptr) sum += thisUpdate->getWrapLength(b);
    if (nextUpdate != nullptr) {
        sum += pkix::lenExplicit(b, kNextUpdateTag, nextUpdate->getWrapLength(b));
    }
    if (extensions != nullptr) {
        sum += pkix::lenExplicit(b, kExtensionsTag, extensions->getWrapLength(b));
    }
    return sum;
}

unsigned int SingleResponse::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void SingleResponse::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (certID != nullptr) certID->wrapASN1(b);
    if (certStatus != nullptr) certStatus->wrapASN1(b);
    if (thisUpdate != nullptr) thisUpdate->wrapASN1(b);
    if (nextUpdate != nullptr) {
        b->writeASN1Header(kNextUpdateTag, nextUpdate->getWrapLength(b));
        nextUpdate->wrapASN1(b);
    }
    if (extensions != nullptr) {
        b->writeASN1Header(kExtensionsTag, extensions->getWrapLength(b));
        extensions->wrapASN1(b);
    }
}

unsigned char SingleResponse::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len, inner;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    certID = new OCSPCertID();
    if (!certID->unwrapASN1(b)) return 0;
    certStatus = new OCSPCertStatus();
    if (!certStatus->unwrapASN1(b)) return 0;
    // The time reader would take any other tag as a UTCTime.
    if (pkix::peekTag(b) != kGeneralizedTimeTag) return 0;
    thisUpdate = new X500Time();
    if (!thisUpdate->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kNextUpdateTag) {
        if (!pkix::openExplicit(b, kNextUpdateTag, &inner) ||
            pkix::peekTag(b) != kGeneralizedTimeTag) {
            return 0;
        }
        nextUpdate = new X500Time();
        if (!nextUpdate->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    if (!pkix::atEnd(b, end)) {
        if (!pkix::openExplicit(b, kExtensionsTag, &inner)) return 0;
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
