#include "pkix/ResponseData.h"

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "pkix/CopySteps.h"
#include "pkix/ExplicitSteps.h"
#include "pkix/Extension.h"
#include "pkix/ReadSteps.h"
#include "pkix/ResponderID.h"
#include "pkix/SingleResponse.h"

namespace {
constexpr unsigned char kGeneralizedTimeTag = 0x18;
constexpr unsigned char kVersionTag = 0xA0;
constexpr unsigned char kExtensionsTag = 0xA1;
}  // namespace

ResponseData::ResponseData()
    : version(0),
      responderID(nullptr),
      producedAt(nullptr),
      responses(nullptr),
      extensions(nullptr) {}

ResponseData::~ResponseData() {
    clear();
}

void ResponseData::clear() {
    delete responderID;
    delete producedAt;
    delete responses;
    delete extensions;
    responderID = nullptr;
    producedAt = nullptr;
    responses = nullptr;
    extensions = nullptr;
    version = 0;
}

ResponseData* ResponseData::clone() const {
    ResponseData* copy = new ResponseData();
    copy->version = version;
    copy->responderID = pkix::cloneOf(responderID);
    copy->producedAt = pkix::cloneOf(producedAt);
    copy->responses = pkix::cloneOf(responses);
    copy->extensions = pkix::cloneOf(extensions);
    return copy;
}

ResponderID* ResponseData::getResponderID() const {
    return pkix::cloneOf(responderID);
}
void ResponseData::setResponderID(const ResponderID* id) {
    pkix::replaceWithCopy(responderID, id);
}
X500Time* ResponseData::getProducedAt() const {
    return pkix::cloneOf(producedAt);
}
void ResponseData::setProducedAt(const X500Time* time) {
    pkix::replaceWithCopy(producedAt, time);
}
SingleResponseList* ResponseData::getResponses() const {
    return pkix::cloneOf(responses);
}
void ResponseData::setResponses(const SingleResponseList* list) {
    pkix::replaceWithCopy(responses, list);
}
ExtensionList* ResponseData::getResponseExtensions() const {
    return pkix::cloneOf(extensions);
}
void ResponseData::setResponseExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int ResponseData::contentLength(Buffer* b) {
    unsigned int sum = 0;
    if (version != 0) sum += pkix::lenExplicit(b, kVersionTag, b->lenASN1(version));
    if (responderID != nullptr) sum += responderID->getWrapLength(b);
    if (producedAt != nullptr) sum += producedAt->getWrapLength(b);
    sum += responses != nullptr ? responses->getWrapLength(b) : b->lenASN1Sequence(0);
    if (extensions != nullptr) {
        sum += pkix::lenExplicit(b, kExtensionsTag, extensions->getWrapLength(b));
    }
    return sum;
}

unsigned int ResponseData::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void ResponseData::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (version != 0) {
        b->writeASN1Header(kVersionTag, b->lenASN1(version));
        b->writeASN1(version);
    }
    if (responderID != nullptr) responderID->wrapASN1(b);
    if (producedAt != nullptr) producedAt->wrapASN1(b);
    if (responses != nullptr) {
        responses->wrapASN1(b);
    } else {
        b->writeASN1Sequence(0);
    }
    if (extensions != nullptr) {
        b->writeASN1Header(kExtensionsTag, extensions->getWrapLength(b));
        extensions->wrapASN1(b);
    }
}

unsigned char ResponseData::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len, inner;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kVersionTag) {
        if (!pkix::openExplicit(b, kVersionTag, &inner) || !b->readASN1(&version) ||
            !pkix::closeExplicit(b, inner)) {
            return 0;
        }
    }
    responderID = new ResponderID();
    if (!responderID->unwrapASN1(b)) return 0;
    // The time reader would take any other tag as a UTCTime.
    if (pkix::peekTag(b) != kGeneralizedTimeTag) return 0;
    producedAt = new X500Time();
    if (!producedAt->unwrapASN1(b)) return 0;
    responses = new SingleResponseList();
    if (!responses->unwrapASN1(b) || responses->getCount() > kMaxResponses) return 0;
    if (!pkix::atEnd(b, end)) {
        if (!pkix::openExplicit(b, kExtensionsTag, &inner)) return 0;
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(b) || !pkix::closeExplicit(b, inner)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
