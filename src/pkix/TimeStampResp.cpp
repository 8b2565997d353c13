#include "pkix/TimeStampResp.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/PKIStatusInfo.h"
#include "pkix/ReadSteps.h"
#include "pkix/TimeStampToken.h"

TimeStampResp::TimeStampResp() : status(nullptr), timeStampToken(nullptr) {}

TimeStampResp::~TimeStampResp() {
    delete status;
    delete timeStampToken;
}

TimeStampResp* TimeStampResp::clone() const {
    TimeStampResp* copy = new TimeStampResp();
    copy->status = pkix::cloneOf(status);
    copy->timeStampToken = pkix::cloneOf(timeStampToken);
    return copy;
}

PKIStatusInfo* TimeStampResp::getStatus() const {
    return pkix::cloneOf(status);
}

void TimeStampResp::setStatus(const PKIStatusInfo* value) {
    pkix::replaceWithCopy(status, value);
}

TimeStampToken* TimeStampResp::getTimeStampToken() const {
    return pkix::cloneOf(timeStampToken);
}

void TimeStampResp::setTimeStampToken(const TimeStampToken* token) {
    pkix::replaceWithCopy(timeStampToken, token);
}

unsigned int TimeStampResp::contentLength(Buffer* b) {
    return (status != nullptr ? status->getWrapLength(b) : 0) +
           (timeStampToken != nullptr ? timeStampToken->getWrapLength(b) : 0);
}

unsigned int TimeStampResp::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TimeStampResp::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (status != nullptr) status->wrapASN1(b);
    if (timeStampToken != nullptr) timeStampToken->wrapASN1(b);
}

unsigned char TimeStampResp::read(Buffer* b, bool borrow) {
    delete status;
    delete timeStampToken;
    status = nullptr;
    timeStampToken = nullptr;
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    if (definite && len > b->remaining()) return 0;
    unsigned int end = definite ? b->getReadPos() + len : 0;
    status = new PKIStatusInfo();
    if (!status->unwrapASN1(b)) return 0;
    bool more = definite ? !pkix::atEnd(b, end) : b->peekByte() != 0;
    if (more) {
        timeStampToken = new TimeStampToken();
        unsigned char result =
            borrow ? timeStampToken->_unwrapASN1(b) : timeStampToken->unwrapASN1(b);
        if (result != 1) return 0;
    }
    if (!definite) return b->readEOC() ? 1 : 0;
    return b->getReadPos() == end ? 1 : 0;
}

unsigned char TimeStampResp::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char TimeStampResp::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
