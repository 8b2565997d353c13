#include "pkix/TimeStampAndCRL.h"

#include "asn1/Buffer.h"
#include "pkix/CertificateList.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"
#include "pkix/TimeStampToken.h"

TimeStampAndCRL::TimeStampAndCRL() : timeStamp(nullptr), crl(nullptr) {}

TimeStampAndCRL::~TimeStampAndCRL() {
    delete timeStamp;
    delete crl;
}

TimeStampAndCRL* TimeStampAndCRL::clone() const {
    TimeStampAndCRL* copy = new TimeStampAndCRL();
    copy->timeStamp = pkix::cloneOf(timeStamp);
    copy->crl = pkix::cloneOf(crl);
    return copy;
}

TimeStampToken* TimeStampAndCRL::getTimeStamp() const {
    return pkix::cloneOf(timeStamp);
}

void TimeStampAndCRL::setTimeStamp(const TimeStampToken* token) {
    pkix::replaceWithCopy(timeStamp, token);
}

CertificateList* TimeStampAndCRL::getCrl() const {
    return pkix::cloneOf(crl);
}

void TimeStampAndCRL::setCrl(const CertificateList* list) {
    pkix::replaceWithCopy(crl, list);
}

unsigned int TimeStampAndCRL::contentLength(Buffer* b) {
    return (timeStamp != nullptr ? timeStamp->getWrapLength(b) : 0) +
           (crl != nullptr ? crl->getWrapLength(b) : 0);
}

unsigned int TimeStampAndCRL::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TimeStampAndCRL::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (timeStamp != nullptr) timeStamp->wrapASN1(b);
    if (crl != nullptr) crl->wrapASN1(b);
}

unsigned char TimeStampAndCRL::unwrapASN1(Buffer* b) {
    delete timeStamp;
    delete crl;
    timeStamp = nullptr;
    crl = nullptr;
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    if (definite && len > b->remaining()) return 0;
    unsigned int end = definite ? b->getReadPos() + len : 0;
    timeStamp = new TimeStampToken();
    if (timeStamp->unwrapASN1(b) != 1) return 0;
    bool more = definite ? !pkix::atEnd(b, end) : b->peekByte() != 0;
    if (more) {
        crl = new CertificateList();
        if (!crl->unwrapASN1(b)) return 0;
    }
    if (!definite) return b->readEOC() ? 1 : 0;
    return b->getReadPos() == end ? 1 : 0;
}
