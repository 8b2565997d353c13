#include "pkix/TimeStampedData.h"

#include "asn1/Buffer.h"
#include "pkix/CopySteps.h"
#include "pkix/Evidence.h"
#include "pkix/MetaData.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kIA5StringTag = 0x16;

// True while the SEQUENCE has members left: by the end position in the definite form, by the
// end-of-contents mark in the indefinite one.
bool more(Buffer* b, unsigned char definite, unsigned int end) {
    return definite ? !pkix::atEnd(b, end) : b->peekByte() != 0;
}

}  // namespace

TimeStampedData::TimeStampedData()
    : version(1), dataUri(nullptr), metaData(nullptr), temporalEvidence(nullptr) {}

TimeStampedData::~TimeStampedData() {
    clear();
}

void TimeStampedData::clear() {
    delete[] dataUri;
    delete metaData;
    delete temporalEvidence;
    dataUri = nullptr;
    metaData = nullptr;
    temporalEvidence = nullptr;
    content.release();
}

TimeStampedData* TimeStampedData::clone() const {
    TimeStampedData* copy = new TimeStampedData();
    copy->version = version;
    copy->dataUri = pkix::copyText(dataUri);
    copy->metaData = pkix::cloneOf(metaData);
    content.cloneInto(&copy->content);
    copy->temporalEvidence = pkix::cloneOf(temporalEvidence);
    return copy;
}

char* TimeStampedData::getDataUri() const {
    return pkix::copyText(dataUri);
}

void TimeStampedData::setDataUri(const char* uri) {
    char* copy = pkix::copyText(uri);
    delete[] dataUri;
    dataUri = copy;
}

MetaData* TimeStampedData::getMetaData() const {
    return pkix::cloneOf(metaData);
}

void TimeStampedData::setMetaData(const MetaData* value) {
    pkix::replaceWithCopy(metaData, value);
}

Evidence* TimeStampedData::getTemporalEvidence() const {
    return pkix::cloneOf(temporalEvidence);
}

void TimeStampedData::setTemporalEvidence(const Evidence* value) {
    pkix::replaceWithCopy(temporalEvidence, value);
}

const TimeStampAndCRLList* TimeStampedData::_getTimeStampAndCRLList() const {
    return temporalEvidence != nullptr ? temporalEvidence->_getTstEvidence() : nullptr;
}

unsigned int TimeStampedData::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (dataUri != nullptr) sum += b->lenASN1(dataUri, kIA5StringTag);
    if (metaData != nullptr) sum += metaData->getWrapLength(b);
    if (content.present()) sum += content.wrapLength(b);
    if (temporalEvidence != nullptr) sum += temporalEvidence->getWrapLength(b);
    return sum;
}

unsigned int TimeStampedData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TimeStampedData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (dataUri != nullptr) b->writeASN1(dataUri, kIA5StringTag);
    if (metaData != nullptr) metaData->wrapASN1(b);
    if (content.present()) content.write(b);
    if (temporalEvidence != nullptr) temporalEvidence->wrapASN1(b);
}

unsigned char TimeStampedData::read(Buffer* b, bool borrow) {
    clear();
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    if (definite && len > b->remaining()) return 0;
    unsigned int end = definite ? b->getReadPos() + len : 0;
    // Only version 1 is defined; another version may lay the members out differently.
    if (!b->readASN1(&version) || version != 1) return 0;
    if (more(b, definite, end) && pkix::peekTag(b) == kIA5StringTag) {
        if (!pkix::readText(b, kIA5StringTag, &dataUri) || dataUri == nullptr) return 0;
    }
    if (more(b, definite, end) && pkix::peekTag(b) == 0x30) {
        metaData = new MetaData();
        if (!metaData->unwrapASN1(b)) return 0;
    }
    if (more(b, definite, end)) {
        unsigned char tag = pkix::peekTag(b);
        if (tag == 0x04 || tag == 0x24) {
            if (!content.read(b, borrow)) return 0;
            // A NULL read in place of the string would be "no content": refused, as the
            // tag promised one.
            if (!content.present()) return 0;
        }
    }
    if (!more(b, definite, end)) return 0;
    temporalEvidence = new Evidence();
    if (!temporalEvidence->unwrapASN1(b)) return 0;
    if (!definite) return b->readEOC() ? 1 : 0;
    return b->getReadPos() == end ? 1 : 0;
}

unsigned char TimeStampedData::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char TimeStampedData::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
