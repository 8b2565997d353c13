#include "pkix/OCSPResponse.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/ResponseBytes.h"

namespace {
constexpr unsigned char kBytesTag = 0xA0;
}

OCSPResponse::OCSPResponse() : responseStatus(kSuccessful), responseBytes(nullptr) {}

OCSPResponse::~OCSPResponse() {
    delete responseBytes;
}

OCSPResponse* OCSPResponse::clone() const {
    OCSPResponse* copy = new OCSPResponse();
    copy->responseStatus = responseStatus;
    copy->responseBytes = pkix::cloneOf(responseBytes);
    return copy;
}

ResponseBytes* OCSPResponse::getResponseBytes() const {
    return pkix::cloneOf(responseBytes);
}

void OCSPResponse::setResponseBytes(const ResponseBytes* bytes) {
    pkix::replaceWithCopy(responseBytes, bytes);
}

unsigned int OCSPResponse::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1Enum(responseStatus);
    if (responseBytes != nullptr) {
        sum += pkix::lenExplicit(b, kBytesTag, responseBytes->getWrapLength(b));
    }
    return sum;
}

unsigned int OCSPResponse::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void OCSPResponse::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1Enum(responseStatus);
    if (responseBytes != nullptr) {
        b->writeASN1Header(kBytesTag, responseBytes->getWrapLength(b));
        responseBytes->wrapASN1(b);
    }
}

unsigned char OCSPResponse::unwrapASN1(Buffer* b) {
    delete responseBytes;
    responseBytes = nullptr;
    responseStatus = kSuccessful;
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readASN1Enum(&responseStatus)) return 0;
    if (!pkix::atEnd(b, end)) {
        unsigned int inner;
        if (!pkix::openExplicit(b, kBytesTag, &inner)) return 0;
        responseBytes = new ResponseBytes();
        if (!responseBytes->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
