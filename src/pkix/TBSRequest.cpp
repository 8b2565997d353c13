#include "pkix/TBSRequest.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/ReadSteps.h"
#include "pkix/Request.h"

namespace {
constexpr unsigned char kVersionTag = 0xA0;
constexpr unsigned char kRequestorTag = 0xA1;
constexpr unsigned char kExtensionsTag = 0xA2;
}  // namespace

TBSRequest::TBSRequest()
    : version(0), requestorName(nullptr), requestList(nullptr), extensions(nullptr) {}

TBSRequest::~TBSRequest() {
    clear();
}

void TBSRequest::clear() {
    delete requestorName;
    delete requestList;
    delete extensions;
    requestorName = nullptr;
    requestList = nullptr;
    extensions = nullptr;
    version = 0;
}

TBSRequest* TBSRequest::clone() const {
    TBSRequest* copy = new TBSRequest();
    copy->version = version;
    copy->requestorName = pkix::cloneOf(requestorName);
    copy->requestList = pkix::cloneOf(requestList);
    copy->extensions = pkix::cloneOf(extensions);
    return copy;
}

GeneralName* TBSRequest::getRequestorName() const {
    return pkix::cloneOf(requestorName);
}
void TBSRequest::setRequestorName(const GeneralName* name) {
    pkix::replaceWithCopy(requestorName, name);
}
RequestList* TBSRequest::getRequestList() const {
    return pkix::cloneOf(requestList);
}
void TBSRequest::setRequestList(const RequestList* list) {
    pkix::replaceWithCopy(requestList, list);
}
ExtensionList* TBSRequest::getRequestExtensions() const {
    return pkix::cloneOf(extensions);
}
void TBSRequest::setRequestExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int TBSRequest::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (version != 0) sum += pkix::lenExplicit(b, kVersionTag, b->lenASN1(version));
    if (requestorName != nullptr) {
        sum += pkix::lenExplicit(b, kRequestorTag, requestorName->getWrapLength(b));
    }
    sum += requestList != nullptr ? requestList->getWrapLength(b) : b->lenASN1Sequence(0);
    if (extensions != nullptr) {
        sum += pkix::lenExplicit(b, kExtensionsTag, extensions->getWrapLength(b));
    }
    return sum;
}

unsigned int TBSRequest::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TBSRequest::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (version != 0) {
        b->writeASN1Header(kVersionTag, b->lenASN1(version));
        b->writeASN1(version);
    }
    if (requestorName != nullptr) {
        b->writeASN1Header(kRequestorTag, requestorName->getWrapLength(b));
        requestorName->wrapASN1(b);
    }
    if (requestList != nullptr) {
        requestList->wrapASN1(b);
    } else {
        b->writeASN1Sequence(0);
    }
    if (extensions != nullptr) {
        b->writeASN1Header(kExtensionsTag, extensions->getWrapLength(b));
        extensions->wrapASN1(b);
    }
}

unsigned char TBSRequest::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len, inner;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kVersionTag) {
        if (!pkix::openExplicit(b, kVersionTag, &inner) || !b->readASN1(&version) ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kRequestorTag) {
        if (!pkix::openExplicit(b, kRequestorTag, &inner)) return 0;
        requestorName = new GeneralName();
        if (!requestorName->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    requestList = new RequestList();
    if (!requestList->unwrapASN1(b) || requestList->getCount() > kMaxRequests) return 0;
    if (!pkix::atEnd(b, end)) {
        if (!pkix::openExplicit(b, kExtensionsTag, &inner)) return 0;
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
