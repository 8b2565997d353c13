#include "pkix/Request.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/Extension.h"
#include "pkix/OCSPCertID.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kExtensionsTag = 0xA0;
}

Request::Request() : reqCert(nullptr), extensions(nullptr) {}

Request::Request(const OCSPCertID* certID) : Request() {
    setReqCert(certID);
}

Request::~Request() {
    clear();
}

void Request::clear() {
    delete reqCert;
    delete extensions;
    reqCert = nullptr;
    extensions = nullptr;
}

Request* Request::clone() const {
    Request* copy = new Request();
    copy->reqCert = pkix::cloneOf(reqCert);
    copy->extensions = pkix::cloneOf(extensions);
    return copy;
}

OCSPCertID* Request::getReqCert() const {
    return pkix::cloneOf(reqCert);
}

void Request::setReqCert(const OCSPCertID* certID) {
    pkix::replaceWithCopy(reqCert, certID);
}

ExtensionList* Request::getSingleRequestExtensions() const {
    return pkix::cloneOf(extensions);
}

void Request::setSingleRequestExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int Request::contentLength(Buffer* b) {
    unsigned int sum = reqCert != nullptr ? reqCert->getWrapLength(b) : 0;
    if (extensions != nullptr) {
        sum += pkix::lenExplicit(b, kExtensionsTag, extensions->getWrapLength(b));
    }
    return sum;
}

unsigned int Request::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void Request::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (reqCert != nullptr) reqCert->wrapASN1(b);
    if (extensions != nullptr) {
        b->writeASN1Header(kExtensionsTag, extensions->getWrapLength(b));
        extensions->wrapASN1(b);
    }
}

unsigned char Request::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    reqCert = new OCSPCertID();
    if (!reqCert->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end)) {
        unsigned int inner;
        if (!pkix::openExplicit(b, kExtensionsTag, &inner)) return 0;
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
