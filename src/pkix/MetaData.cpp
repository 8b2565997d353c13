#include "pkix/MetaData.h"

#include "asn1/Buffer.h"
#include "pkix/Attribute.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kUTF8StringTag = 0x0C;
constexpr unsigned char kIA5StringTag = 0x16;

void replaceText(char*& field, const char* text) {
    char* copy = pkix::copyText(text);
    delete[] field;
    field = copy;
}
}  // namespace

MetaData::MetaData()
    : hashProtected(0),
      encoded(nullptr),
      encodedLen(0),
      fileName(nullptr),
      mediaType(nullptr),
      otherMetaData(nullptr) {}

MetaData::~MetaData() {
    clear();
}

void MetaData::edited() {
    delete[] encoded;
    encoded = nullptr;
    encodedLen = 0;
}

void MetaData::clear() {
    edited();
    delete[] fileName;
    delete[] mediaType;
    delete otherMetaData;
    fileName = nullptr;
    mediaType = nullptr;
    otherMetaData = nullptr;
    hashProtected = 0;
}

MetaData* MetaData::clone() const {
    MetaData* copy = new MetaData();
    copy->hashProtected = hashProtected;
    copy->encoded = pkix::copyBytes(encoded, encodedLen);
    copy->encodedLen = encodedLen;
    copy->fileName = pkix::copyText(fileName);
    copy->mediaType = pkix::copyText(mediaType);
    copy->otherMetaData = pkix::cloneOf(otherMetaData);
    return copy;
}

char* MetaData::getFileName() const {
    return pkix::copyText(fileName);
}

void MetaData::setFileName(const char* text) {
    edited();
    replaceText(fileName, text);
}

char* MetaData::getMediaType() const {
    return pkix::copyText(mediaType);
}

void MetaData::setMediaType(const char* text) {
    edited();
    replaceText(mediaType, text);
}

AttributeSet* MetaData::getOtherMetaData() const {
    return pkix::cloneOf(otherMetaData);
}

void MetaData::setOtherMetaData(const AttributeSet* set) {
    edited();
    pkix::replaceWithCopy(otherMetaData, set);
}

unsigned int MetaData::contentLength(Buffer* b) {
    unsigned int sum = b->lenBoolean(hashProtected);
    if (fileName != nullptr) sum += b->lenASN1(fileName, kUTF8StringTag);
    if (mediaType != nullptr) sum += b->lenASN1(mediaType, kIA5StringTag);
    if (otherMetaData != nullptr) sum += otherMetaData->getWrapLength(b);
    return sum;
}

unsigned int MetaData::getWrapLength(Buffer* b) {
    if (encoded != nullptr) return encodedLen;
    return b->lenASN1Sequence(contentLength(b));
}

void MetaData::wrapASN1(Buffer* b) {
    if (encoded != nullptr) {
        b->writeBytes(encoded, encodedLen);
        return;
    }
    b->writeASN1Sequence(contentLength(b));
    b->writeBoolean(hashProtected);
    if (fileName != nullptr) b->writeASN1(fileName, kUTF8StringTag);
    if (mediaType != nullptr) b->writeASN1(mediaType, kIA5StringTag);
    if (otherMetaData != nullptr) otherMetaData->wrapASN1(b);
}

unsigned char MetaData::unwrapASN1(Buffer* b) {
    clear();
    while (b->remaining() > 0 && b->peekByte() == 0) b->readByte();
    unsigned int start = b->getReadPos();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readBoolean(&hashProtected)) return 0;
    // Kept as 0 or 255 whatever byte came: the writer puts out 0xFF for true, and a
    // hash-protected structure is only ever written back from the DER that was signed.
    hashProtected = hashProtected ? 255 : 0;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kUTF8StringTag) {
        if (!pkix::readText(b, kUTF8StringTag, &fileName) || fileName == nullptr) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kIA5StringTag) {
        if (!pkix::readText(b, kIA5StringTag, &mediaType) || mediaType == nullptr) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kSetTag) {
        otherMetaData = new AttributeSet();
        if (!otherMetaData->unwrapASN1(b)) return 0;
    }
    if (b->getReadPos() != end) return 0;
    encodedLen = end - start;
    encoded = pkix::copyBytes(b->_getData() + start, encodedLen);
    return 255;
}
