#include "pkix/OCSPRequest.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/TBSRequest.h"

namespace {
constexpr unsigned char kSignatureTag = 0xA0;
}

OCSPRequest::OCSPRequest() : tbsRequest(nullptr), signature(nullptr), signatureLength(0) {}

OCSPRequest::~OCSPRequest() {
    clear();
}

void OCSPRequest::clear() {
    delete tbsRequest;
    delete[] signature;
    tbsRequest = nullptr;
    signature = nullptr;
    signatureLength = 0;
}

OCSPRequest* OCSPRequest::clone() const {
    OCSPRequest* copy = new OCSPRequest();
    copy->tbsRequest = pkix::cloneOf(tbsRequest);
    copy->signature = pkix::copyBytes(signature, signatureLength);
    copy->signatureLength = signature != nullptr ? signatureLength : 0;
    return copy;
}

TBSRequest* OCSPRequest::getTBSRequest() const {
    return pkix::cloneOf(tbsRequest);
}

void OCSPRequest::setTBSRequest(const TBSRequest* request) {
    pkix::replaceWithCopy(tbsRequest, request);
}

unsigned int OCSPRequest::contentLength(Buffer* b) {
    return (tbsRequest != nullptr ? tbsRequest->getWrapLength(b) : 0) + signatureLength;
}

unsigned int OCSPRequest::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void OCSPRequest::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (tbsRequest != nullptr) tbsRequest->wrapASN1(b);
    if (signature != nullptr) b->writeBytes(signature, signatureLength);
}

unsigned char OCSPRequest::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    tbsRequest = new TBSRequest();
    if (!tbsRequest->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end)) {
        if (pkix::peekTag(b) != kSignatureTag) return 0;
        if (!pkix::readRawElement(b, &signature, &signatureLength)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
