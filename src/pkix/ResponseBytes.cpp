#include "pkix/ResponseBytes.h"

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/BasicOCSPResponse.h"
#include "pkix/ReadSteps.h"

ResponseBytes::ResponseBytes() : responseType(nullptr), response(nullptr), responseLength(0) {}

ResponseBytes::~ResponseBytes() {
    clear();
}

void ResponseBytes::clear() {
    delete responseType;
    delete[] response;
    responseType = nullptr;
    response = nullptr;
    responseLength = 0;
}

ResponseBytes* ResponseBytes::clone() const {
    ResponseBytes* copy = new ResponseBytes();
    copy->responseType = responseType != nullptr ? responseType->clone() : nullptr;
    copy->setResponse(response, responseLength);
    return copy;
}

char* ResponseBytes::getResponseType() const {
    return responseType != nullptr ? responseType->getValue() : nullptr;
}

void ResponseBytes::setResponseType(const char* dotted) {
    delete responseType;
    responseType = dotted != nullptr ? new OID(dotted) : nullptr;
}

void ResponseBytes::setResponse(const unsigned char* p, unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] response;
    response = copy;
    responseLength = copy != nullptr ? n : 0;
}

BasicOCSPResponse* ResponseBytes::getBasicResponse() const {
    if (responseType == nullptr || !responseType->isEqual(BasicOCSPResponse::kResponseType) ||
        response == nullptr) {
        return nullptr;
    }
    Buffer view;
    view.fromByteArray(response, responseLength);
    auto basic = std::make_unique<BasicOCSPResponse>();
    if (!basic->unwrapASN1(&view) || view.getReadPos() != responseLength) return nullptr;
    return basic.release();
}

unsigned int ResponseBytes::contentLength(Buffer* b) {
    return (responseType != nullptr ? b->lenASN1(responseType) : 0) +
           b->lenASN1(response, responseLength);
}

unsigned int ResponseBytes::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ResponseBytes::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (responseType != nullptr) b->writeASN1(responseType);
    b->writeASN1(response, responseLength);
}

unsigned char ResponseBytes::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    responseType = new OID();
    if (!b->readASN1(responseType)) return 0;
    if (!b->readASN1(&response, &responseLength) || response == nullptr) return 0;
    return b->getReadPos() == end ? 255 : 0;
}
