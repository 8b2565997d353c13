#include "pkix/EncapsulatedContentInfo.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kContentTag = 0xA0;

}  // namespace

EncapsulatedContentInfo::EncapsulatedContentInfo() : eContentType(nullptr) {}

EncapsulatedContentInfo::~EncapsulatedContentInfo() {
    delete eContentType;
}

EncapsulatedContentInfo* EncapsulatedContentInfo::clone() const {
    EncapsulatedContentInfo* copy = new EncapsulatedContentInfo();
    copy->eContentType = eContentType != nullptr ? eContentType->clone() : nullptr;
    eContent.cloneInto(&copy->eContent);
    return copy;
}

OID* EncapsulatedContentInfo::getEContentType() const {
    return eContentType != nullptr ? eContentType->clone() : nullptr;
}

void EncapsulatedContentInfo::setEContentType(const char* dotted) {
    delete eContentType;
    eContentType = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char EncapsulatedContentInfo::isEqual(const char* dotted) const {
    return eContentType != nullptr && dotted != nullptr ? eContentType->isEqual(dotted) : 0;
}

unsigned int EncapsulatedContentInfo::contentLength(Buffer* b) {
    unsigned int sum = eContentType != nullptr ? b->lenASN1(eContentType) : 0;
    if (eContent.present()) {
        unsigned int inner = eContent.wrapLength(b);
        sum += b->lenASN1Header(kContentTag, inner) + inner;
    }
    return sum;
}

unsigned int EncapsulatedContentInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void EncapsulatedContentInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (eContentType != nullptr) b->writeASN1(eContentType);
    if (eContent.present()) {
        b->writeASN1Header(kContentTag, eContent.wrapLength(b));
        eContent.write(b);
    }
}

unsigned int EncapsulatedContentInfo::getIndefiniteWrapLength(Buffer* b) {
    unsigned int sum = b->lenASN1Header(0x30) + b->lenEOC();
    if (eContentType != nullptr) sum += b->lenASN1(eContentType);
    if (eContent.present())
        sum += b->lenASN1Header(kContentTag) + eContent.wrapLength(b) + b->lenEOC();
    return sum;
}

void EncapsulatedContentInfo::wrapIndefiniteASN1(Buffer* b) {
    b->writeASN1Header(0x30);
    if (eContentType != nullptr) b->writeASN1(eContentType);
    if (eContent.present()) {
        b->writeASN1Header(kContentTag);
        eContent.write(b);
        b->writeEOC();
    }
    b->writeEOC();
}

// The [0] may itself be definite inside an indefinite SEQUENCE (and the reverse); each
// indefinite header is closed by its own end-of-contents.
unsigned char EncapsulatedContentInfo::read(Buffer* b, bool borrow) {
    eContent.release();
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    delete eContentType;
    eContentType = new OID();
    if (!b->readASN1(eContentType)) return 0;
    if (definite) {
        if (pkix::atEnd(b, end)) return 255;
    } else if (b->peekByte() == 0) {
        return b->readEOC() ? 255 : 0;
    }
    unsigned char tag, innerDefinite;
    unsigned int innerLen;
    if (!b->readASN1Header(&tag, &innerLen, &innerDefinite) || tag != kContentTag) return 0;
    if (!eContent.read(b, borrow)) return 0;
    if (!innerDefinite && !b->readEOC()) return 0;
    if (!definite && !b->readEOC()) return 0;
    return 255;
}

unsigned char EncapsulatedContentInfo::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char EncapsulatedContentInfo::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
