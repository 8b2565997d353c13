#include "pkix/TSTInfo.h"

#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "asn1/X500Time.h"
#include "pkix/Accuracy.h"
#include "pkix/CopySteps.h"
#include "pkix/Extension.h"
#include "pkix/GeneralName.h"
#include "pkix/MessageImprint.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kBooleanTag = 0x01;
constexpr unsigned char kIntegerTag = 0x02;
constexpr unsigned char kGeneralizedTimeTag = 0x18;
constexpr unsigned char kTsaTag = 0xA0;
constexpr unsigned char kExtensionsTag = 0xA1;

}  // namespace

TSTInfo::TSTInfo() : TSTInfo(static_cast<unsigned char>(0)) {}

TSTInfo::TSTInfo(unsigned char draftForm)
    : draft09(draftForm),
      version(1),
      policy(nullptr),
      messageImprint(nullptr),
      genTime(nullptr),
      accuracy(nullptr),
      ordering(0),
      noncePresent(0),
      tsa(nullptr),
      extensions(nullptr) {}

TSTInfo::~TSTInfo() {
    clear();
}

void TSTInfo::clear() {
    delete policy;
    delete messageImprint;
    delete genTime;
    delete accuracy;
    delete tsa;
    delete extensions;
    policy = nullptr;
    messageImprint = nullptr;
    genTime = nullptr;
    accuracy = nullptr;
    tsa = nullptr;
    extensions = nullptr;
    ordering = 0;
    clearNonce();
}

void TSTInfo::copyTo(TSTInfo* target) const {
    target->version = version;
    target->policy = pkix::cloneOf(policy);
    target->messageImprint = pkix::cloneOf(messageImprint);
    target->serialNumber = serialNumber;
    target->genTime = pkix::cloneOf(genTime);
    target->accuracy = pkix::cloneOf(accuracy);
    target->ordering = ordering;
    target->noncePresent = noncePresent;
    target->nonce = nonce;
    target->tsa = pkix::cloneOf(tsa);
    target->extensions = pkix::cloneOf(extensions);
}

TSTInfo* TSTInfo::clone() const {
    TSTInfo* copy = new TSTInfo(draft09);
    copyTo(copy);
    return copy;
}

TSTInfo* TSTInfo::readAnyForm(const unsigned char* der, unsigned int length) {
    if (der == nullptr) return nullptr;
    Buffer b;
    b.fromByteArray(der, length);
    std::unique_ptr<TSTInfo> draft(new TSTInfoDraft09());
    if (draft->unwrapASN1(&b)) return draft.release();
    b.setReadPos(0);
    std::unique_ptr<TSTInfo> final(new TSTInfo());
    if (final->unwrapASN1(&b)) return final.release();
    return nullptr;
}

char* TSTInfo::getPolicy() const {
    return policy != nullptr ? policy->getValue() : nullptr;
}

void TSTInfo::setPolicy(const char* dotted) {
    delete policy;
    policy = dotted != nullptr ? new OID(dotted) : nullptr;
}

MessageImprint* TSTInfo::getMessageImprint() const {
    return pkix::cloneOf(messageImprint);
}

void TSTInfo::setMessageImprint(const MessageImprint* imprint) {
    pkix::replaceWithCopy(messageImprint, imprint);
}

X500Time* TSTInfo::getGenTime() const {
    return pkix::cloneOf(genTime);
}

void TSTInfo::setGenTime(const X500Time* time) {
    pkix::replaceWithCopy(genTime, time);
}

Accuracy* TSTInfo::newAccuracy() const {
    return draft09 ? new AccuracyDraft09() : new Accuracy();
}

Accuracy* TSTInfo::getAccuracy() const {
    return pkix::cloneOf(accuracy);
}

void TSTInfo::setAccuracy(const Accuracy* value) {
    Accuracy* copy = nullptr;
    if (value != nullptr) {
        copy = newAccuracy();
        copy->setSeconds(value->getSeconds());
        copy->setMillis(value->getMillis());
        copy->setMicros(value->getMicros());
    }
    delete accuracy;
    accuracy = copy;
}

void TSTInfo::setNonce(const BigInteger& value) {
    nonce = value;
    noncePresent = 255;
}

void TSTInfo::clearNonce() {
    nonce = BigInteger();
    noncePresent = 0;
}

GeneralName* TSTInfo::getTsa() const {
    return pkix::cloneOf(tsa);
}

void TSTInfo::setTsa(const GeneralName* name) {
    pkix::replaceWithCopy(tsa, name);
}

ExtensionList* TSTInfo::getExtensions() const {
    return pkix::cloneOf(extensions);
}

void TSTInfo::setExtensions(const ExtensionList* list) {
    pkix::replaceWithCopy(extensions, list);
}

unsigned int TSTInfo::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (policy != nullptr) sum += b->lenASN1(policy);
    if (messageImprint != nullptr) sum += messageImprint->getWrapLength(b);
    sum += serialNumber.lenASN1(b);
    if (genTime != nullptr) sum += genTime->getWrapLength(b);
    if (accuracy != nullptr) sum += accuracy->getWrapLength(b);
    if (ordering) sum += b->lenBoolean(ordering);
    if (noncePresent) sum += nonce.lenASN1(b);
    if (tsa != nullptr) {
        unsigned int inner = tsa->getWrapLength(b);
        sum += b->lenASN1Header(kTsaTag, inner) + inner;
    }
    if (extensions != nullptr) sum += extensions->getWrapLength(b);
    return sum;
}

unsigned int TSTInfo::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void TSTInfo::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(version);
    if (policy != nullptr) b->writeASN1(policy);
    if (messageImprint != nullptr) messageImprint->wrapASN1(b);
    serialNumber.writeASN1(b);
    if (genTime != nullptr) genTime->wrapASN1(b);
    if (accuracy != nullptr) accuracy->wrapASN1(b);
    // FALSE is the default, which DER leaves out.
    if (ordering) b->writeBoolean(ordering);
    if (noncePresent) nonce.writeASN1(b);
    if (tsa != nullptr) {
        b->writeASN1Header(kTsaTag, tsa->getWrapLength(b));
        tsa->wrapASN1(b);
    }
    if (extensions != nullptr) extensions->wrapASN1(kExtensionsTag, b);
}

unsigned char TSTInfo::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readASN1(&version) || version != 1) return 0;
    policy = new OID();
    if (!b->readASN1(policy)) return 0;
    messageImprint = new MessageImprint();
    if (!messageImprint->unwrapASN1(b)) return 0;
    if (!serialNumber.readASN1(b)) return 0;
    // genTime is a GeneralizedTime by definition; the time reader would take any other tag as
    // a UTCTime.
    if (pkix::peekTag(b) != kGeneralizedTimeTag) return 0;
    genTime = new X500Time();
    if (!genTime->unwrapASN1(b)) return 0;

    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == 0x30) {
        accuracy = newAccuracy();
        if (!accuracy->unwrapASN1(b)) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kBooleanTag) {
        if (!b->readBoolean(&ordering)) return 0;
        ordering = ordering ? 255 : 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kIntegerTag) {
        if (!nonce.readASN1(b)) return 0;
        noncePresent = 255;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kTsaTag) {
        unsigned char tag;
        unsigned int innerLen;
        if (!b->readASN1Header(&tag, &innerLen) || innerLen > b->remaining()) return 0;
        unsigned int innerEnd = b->getReadPos() + innerLen;
        tsa = new GeneralName();
        if (!tsa->unwrapASN1(b) || b->getReadPos() != innerEnd) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kExtensionsTag) {
        extensions = new ExtensionList();
        if (!extensions->unwrapASN1(kExtensionsTag, b)) return 0;
    }
    return b->getReadPos() == end ? 255 : 0;
}

TSTInfoDraft09::TSTInfoDraft09() : TSTInfo(static_cast<unsigned char>(255)) {}

TSTInfoDraft09* TSTInfoDraft09::clone() const {
    TSTInfoDraft09* copy = new TSTInfoDraft09();
    copyTo(copy);
    return copy;
}
