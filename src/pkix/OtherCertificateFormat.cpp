#include "pkix/OtherCertificateFormat.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/ReadSteps.h"

OtherCertificateFormat::OtherCertificateFormat()
    : otherCertFormat(nullptr), otherCert(nullptr), otherCertLen(0) {}

OtherCertificateFormat::~OtherCertificateFormat() {
    delete otherCertFormat;
    delete[] otherCert;
}

OtherCertificateFormat* OtherCertificateFormat::clone() const {
    OtherCertificateFormat* copy = new OtherCertificateFormat();
    copy->otherCertFormat = otherCertFormat != nullptr ? otherCertFormat->clone() : nullptr;
    copy->setOtherCert(otherCert, otherCertLen);
    return copy;
}

OID* OtherCertificateFormat::getOtherCertFormat() const {
    return otherCertFormat != nullptr ? otherCertFormat->clone() : nullptr;
}

void OtherCertificateFormat::setOtherCertFormat(const char* dotted) {
    delete otherCertFormat;
    otherCertFormat = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char* OtherCertificateFormat::getOtherCert() const {
    return pkix::copyBytes(otherCert, otherCertLen);
}

void OtherCertificateFormat::setOtherCert(const unsigned char* der, unsigned int length) {
    unsigned char* copy = pkix::copyBytes(der, length);
    delete[] otherCert;
    otherCert = copy;
    otherCertLen = der != nullptr ? length : 0;
}

unsigned int OtherCertificateFormat::contentLength(Buffer* b) {
    return (otherCertFormat != nullptr ? b->lenASN1(otherCertFormat) : 0) + otherCertLen;
}

unsigned int OtherCertificateFormat::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void OtherCertificateFormat::wrapASN1(Buffer* b) {
    wrapASN1(0x30, b);
}

void OtherCertificateFormat::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (otherCertFormat != nullptr) b->writeASN1(otherCertFormat);
    if (otherCert != nullptr) b->writeBytes(otherCert, otherCertLen);
}

unsigned char OtherCertificateFormat::unwrapASN1(Buffer* b) {
    return unwrapASN1(0x30, b);
}

unsigned char OtherCertificateFormat::unwrapASN1(unsigned char tag, Buffer* b) {
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete otherCertFormat;
    otherCertFormat = new OID();
    if (!b->readASN1(otherCertFormat)) return 0;
    setOtherCert(nullptr, 0);
    if (pkix::atEnd(b, end)) return 0;
    return pkix::readRawElement(b, &otherCert, &otherCertLen) ? 255 : 0;
}
