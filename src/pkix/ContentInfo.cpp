#include "pkix/ContentInfo.h"

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/Content.h"
#include "pkix/DigestedData.h"
#include "pkix/EncryptedData.h"
#include "pkix/PlainData.h"
#include "pkix/ReadSteps.h"
#include "pkix/SignedData.h"
#include "pkix/TimeStampedData.h"

namespace {

constexpr unsigned char kContentTag = 0xA0;

// How deep the ContentInfo readers of this thread are nested.
thread_local int readDepth = 0;

struct DepthGuard {
    DepthGuard() { ++readDepth; }
    ~DepthGuard() { --readDepth; }
    bool tooDeep() const { return readDepth > ContentInfo::kMaxDepth; }
};

// The class for the content type; for the versioned families the version at the read position
// decides. Null for a type or version that is not accepted.
Content* contentFor(const OID* type, Buffer* b) {
    if (type->isEqual(ContentInfo::kData)) return new PlainData();
    if (type->isEqual(ContentInfo::kSignedData)) {
        int version = SignedData::peekVersion(b);
        if (version == 1) return new PKCS7SignedData();
        if (version == 3 || version == 4) return new CMSSignedData();
        return nullptr;
    }
    if (type->isEqual(ContentInfo::kDigestedData)) {
        int version = DigestedData::peekVersion(b);
        if (version == 0) return new PKCS7DigestedData();
        if (version == 2 || version == 4) return new CMSDigestedData();
        return nullptr;
    }
    if (type->isEqual(ContentInfo::kEncryptedData)) return new EncryptedData();
    if (type->isEqual(ContentInfo::kTimeStampedData)) return new TimeStampedData();
    return nullptr;
}

}  // namespace

ContentInfo::ContentInfo() : contentType(nullptr), content(nullptr) {}

ContentInfo::~ContentInfo() {
    delete contentType;
    delete content;
}

ContentInfo* ContentInfo::clone() const {
    ContentInfo* copy = new ContentInfo();
    copy->contentType = contentType != nullptr ? contentType->clone() : nullptr;
    copy->content = content != nullptr ? content->clone() : nullptr;
    return copy;
}

OID* ContentInfo::getContentType() const {
    return contentType != nullptr ? contentType->clone() : nullptr;
}

void ContentInfo::setContentType(const char* dotted) {
    delete contentType;
    contentType = dotted != nullptr ? new OID(dotted) : nullptr;
}

unsigned char ContentInfo::isEqual(const char* dotted) const {
    return contentType != nullptr && dotted != nullptr ? contentType->isEqual(dotted) : 0;
}

Content* ContentInfo::getContent() const {
    return content != nullptr ? content->clone() : nullptr;
}

void ContentInfo::setContent(const Content* value) {
    Content* copy = value != nullptr ? value->clone() : nullptr;
    delete content;
    content = copy;
}

unsigned int ContentInfo::contentLength(Buffer* b) {
    unsigned int sum = contentType != nullptr ? b->lenASN1(contentType) : 0;
    if (content != nullptr) {
        unsigned int inner = content->getWrapLength(b);
        sum += b->lenASN1Header(kContentTag, inner) + inner;
    }
    return sum;
}

unsigned int ContentInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ContentInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (contentType != nullptr) b->writeASN1(contentType);
    if (content != nullptr) {
        b->writeASN1Header(kContentTag, content->getWrapLength(b));
        content->wrapASN1(b);
    }
}

unsigned int ContentInfo::getIndefiniteWrapLength(Buffer* b) {
    unsigned int sum = b->lenASN1Header(0x30) + b->lenEOC();
    if (contentType != nullptr) sum += b->lenASN1(contentType);
    if (content != nullptr) {
        sum += b->lenASN1Header(kContentTag) + content->getWrapLength(b) + b->lenEOC();
    }
    return sum;
}

void ContentInfo::wrapIndefiniteASN1(Buffer* b) {
    b->writeASN1Header(0x30);
    if (contentType != nullptr) b->writeASN1(contentType);
    if (content != nullptr) {
        b->writeASN1Header(kContentTag);
        content->wrapASN1(b);
        b->writeEOC();
    }
    b->writeEOC();
}

unsigned char ContentInfo::read(Buffer* b, bool borrow) {
    DepthGuard depth;
    if (depth.tooDeep()) return 0;
    unsigned int len;
    unsigned char definite;
    // The envelope ends with the data put into the buffer: what a work buffer holds beyond it
    // (zeros, or an earlier content) must not complete a truncated envelope, least of all its
    // closing end-of-contents marks.
    const unsigned int dataEnd =
        b->getWritePos() < b->getMaxSize() ? b->getWritePos() : b->getMaxSize();
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    if (b->getReadPos() > dataEnd) return 0;
    // An envelope that claims more bytes than there are is cut off, not complete.
    if (definite && len > dataEnd - b->getReadPos()) return 0;
    unsigned int end = definite ? pkix::endOf(b, len) : 0;
    delete contentType;
    delete content;
    content = nullptr;
    contentType = new OID();
    if (!b->readASN1(contentType)) return 0;

    if (definite) {
        if (pkix::atEnd(b, end)) return 1;
    } else if (b->peekByte() == 0) {
        return b->readEOC() && b->getReadPos() <= dataEnd ? 1 : 0;
    }
    unsigned char tag, innerDefinite;
    unsigned int innerLen;
    if (!b->readASN1Header(&tag, &innerLen, &innerDefinite) || tag != kContentTag) return 0;
    content = contentFor(contentType, b);
    if (content == nullptr) return 0;
    unsigned char result = borrow ? content->_unwrapASN1(b) : content->unwrapASN1(b);
    if (result != 1) return result;
    if (!innerDefinite && !b->readEOC()) return 0;
    if (!definite && !b->readEOC()) return 0;
    return b->getReadPos() <= dataEnd ? 1 : 0;
}

unsigned char ContentInfo::unwrapASN1(Buffer* b) {
    return read(b, false);
}

unsigned char ContentInfo::_unwrapASN1(Buffer* b) {
    return read(b, true);
}
