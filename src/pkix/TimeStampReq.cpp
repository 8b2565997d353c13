#include "pkix/TimeStampReq.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/CopySteps.h"
#include "pkix/Extension.h"
#include "pkix/MessageImprint.h"
#include "pkix/ReadSteps.h"

namespace {
constexpr unsigned char kExtensionsTag = 0xA0;
}

TimeStampReq::TimeStampReq()
    : version(1),
      messageImprint(nullptr),
      reqPolicy(nullptr),
      noncePresent(0),
      certReq(0),
      extensions(nullptr) {}

TimeStampReq::~TimeStampReq() {
    clear();
}

void TimeStampReq::clear() {
    delete messageImprint;
    delete reqPolicy;
    delete extensions;
    messageImprint = nullptr;
    reqPolicy = nullptr;
    extensions = nullptr;
    certReq = 0;
    clearNonce();
}

TimeStampReq* TimeStampReq::clone() const {
    TimeStampReq* copy = new TimeStampReq();
    copy->version = version;
    copy->messageImprint = pkix::cloneOf(messageImprint);
    copy->reqPolicy = pkix::cloneOf(reqPolicy);
    copy->noncePresent = noncePresent;
    copy->nonce = nonce;
    copy->certReq = certReq;
    copy->extensions = pkix::cloneOf(extensions);
    return copy;
}

MessageImprint* TimeStampReq::getMessageImprint() const {
    return pkix::cloneOf(messageImprint);
}

void TimeStampReq::setMessageImprint(const MessageImprint* imprint) {
    pkix::replaceWithCopy(messageImprint, imprint);
}

char* TimeStampReq::getReqPolicy() const {
    return reqPolicy != nullptr ? reqPolicy->getValue() : nullptr;
}

void TimeStampReq::setReqPolicy(const char* dotted) {
    delete reqPolicy;
    reqPolicy = dotted != nullptr ? new OID(dotted) : nullptr;
}

void TimeStampReq::setNonce(const BigInteger& value) {
    nonce = value;
    noncePresent = 255;
}

void TimeStampReq::clearNonce() {
    nonce = BigInteger();
    noncePresent = 0;
}

ExtensionList* TimeStampReq::getExtensions() const {
    return pkix::cloneOf(extensions);
}

void TimeStampReq::setExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int TimeStampReq::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (messageImprint != nullptr) sum += messageImprint->getWrapLength(b);
    if (reqPolicy != nullptr) sum += b->lenASN1(reqPolicy);
    if (noncePresent) sum += nonce.lenASN1(b);
    if (certReq) sum += b->lenBoolean(certReq);
    if (extensions != nullptr) sum += extensions->getWrapLength(b);
    return sum;
}

unsigned int TimeStampReq::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TimeStampReq::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (messageImprint != nullptr) messageImprint->wrapASN1(b);
    if (reqPolicy != nullptr) b->writeASN1(reqPolicy);
    if (noncePresent) nonce.writeASN1(b);
    if (certReq) b->writeBoolean(certReq);
    if (extensions != nullptr) extensions->wrapASN1(kExtensionsTag, b);
}

unsigned char TimeStampReq::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readASN1(&version)) return 0;
    messageImprint = new MessageImprint();
    if (!messageImprint->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x06) {
        reqPolicy = new OID();
        if (!b->readASN1(reqPolicy)) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x02) {
        if (!nonce.readASN1(b)) return 0;
        noncePresent = 255;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x01) {
        if (!b->readBoolean(&certReq)) return 0;
        certReq = certReq ? 255 : 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kExtensionsTag) {
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(kExtensionsTag, b)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}
