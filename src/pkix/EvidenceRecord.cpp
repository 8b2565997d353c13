#include "pkix/EvidenceRecord.h"

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "pkix/CopySteps.h"
#include "pkix/ReadSteps.h"

namespace {

constexpr unsigned char kCryptoInfosTag = 0xA0;
constexpr unsigned char kEncryptionInfoTag = 0xA1;

void replaceBytes(unsigned char*& field, unsigned int& length, const unsigned char* p,
                  unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] field;
    field = copy;
    length = p != nullptr ? n : 0;
}

// One whole element that must carry the given tag.
unsigned char readTagged(Buffer* b, unsigned char tag, unsigned char*& field,
                         unsigned int& length) {
    if (pkix::peekTag(b) != tag) return 0;
    return pkix::readRawElement(b, &field, &length);
}

}  // namespace

EvidenceRecord::EvidenceRecord()
    : version(1),
      digestAlgorithms(nullptr),
      cryptoInfos(nullptr),
      cryptoInfosLen(0),
      encryptionInfo(nullptr),
      encryptionInfoLen(0),
      archiveTimeStamps(nullptr),
      archiveTimeStampsLen(0) {}

EvidenceRecord::~EvidenceRecord() {
    clear();
}

void EvidenceRecord::clear() {
    delete digestAlgorithms;
    digestAlgorithms = nullptr;
    replaceBytes(cryptoInfos, cryptoInfosLen, nullptr, 0);
    replaceBytes(encryptionInfo, encryptionInfoLen, nullptr, 0);
    replaceBytes(archiveTimeStamps, archiveTimeStampsLen, nullptr, 0);
}

EvidenceRecord* EvidenceRecord::clone() const {
    EvidenceRecord* copy = new EvidenceRecord();
    copy->version = version;
    copy->digestAlgorithms = pkix::cloneOf(digestAlgorithms);
    copy->setCryptoInfos(cryptoInfos, cryptoInfosLen);
    copy->setEncryptionInfo(encryptionInfo, encryptionInfoLen);
    copy->setArchiveTimeStampSequence(archiveTimeStamps, archiveTimeStampsLen);
    return copy;
}

AlgorithmIdentifierList* EvidenceRecord::getDigestAlgorithms() const {
    return pkix::cloneOf(digestAlgorithms);
}

void EvidenceRecord::setDigestAlgorithms(const AlgorithmIdentifierList* list) {
    pkix::replaceWithCopy(digestAlgorithms, list);
}

unsigned char* EvidenceRecord::getCryptoInfos() const {
    return pkix::copyBytes(cryptoInfos, cryptoInfosLen);
}

void EvidenceRecord::setCryptoInfos(const unsigned char* der, unsigned int length) {
    replaceBytes(cryptoInfos, cryptoInfosLen, der, length);
}

unsigned char* EvidenceRecord::getEncryptionInfo() const {
    return pkix::copyBytes(encryptionInfo, encryptionInfoLen);
}

void EvidenceRecord::setEncryptionInfo(const unsigned char* der, unsigned int length) {
    replaceBytes(encryptionInfo, encryptionInfoLen, der, length);
}

unsigned char* EvidenceRecord::getArchiveTimeStampSequence() const {
    return pkix::copyBytes(archiveTimeStamps, archiveTimeStampsLen);
}

void EvidenceRecord::setArchiveTimeStampSequence(const unsigned char* der, unsigned int length) {
    replaceBytes(archiveTimeStamps, archiveTimeStampsLen, der, length);
}

unsigned int EvidenceRecord::contentLength(Buffer* b) {
    unsigned int sum = b->lenASN1(version);
    if (digestAlgorithms != nullptr) sum += digestAlgorithms->getWrapLength(b);
    return sum + cryptoInfosLen + encryptionInfoLen + archiveTimeStampsLen;
}

unsigned int EvidenceRecord::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void EvidenceRecord::wrapASN1(Buffer* b) {
    wrapASN1(b, 0x30);
}

void EvidenceRecord::wrapASN1(Buffer* b, unsigned char tag) {
    b->writeASN1Header(tag, contentLength(b));
    b->writeASN1(version);
    if (digestAlgorithms != nullptr) digestAlgorithms->wrapASN1(b);
    if (cryptoInfos != nullptr) b->writeBytes(cryptoInfos, cryptoInfosLen);
    if (encryptionInfo != nullptr) b->writeBytes(encryptionInfo, encryptionInfoLen);
    if (archiveTimeStamps != nullptr) b->writeBytes(archiveTimeStamps, archiveTimeStampsLen);
}

unsigned char EvidenceRecord::unwrapASN1(Buffer* b) {
    return unwrapASN1(b, 0x30);
}

unsigned char EvidenceRecord::unwrapASN1(Buffer* b, unsigned char tag) {
    clear();
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!b->readASN1(&version)) return 0;
    digestAlgorithms = new AlgorithmIdentifierList();
    if (!digestAlgorithms->unwrapASN1(b)) return 0;
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kCryptoInfosTag) {
        if (!readTagged(b, kCryptoInfosTag, cryptoInfos, cryptoInfosLen)) return 0;
    }
    if (!pkix::atEnd(b, end) && pkix::peekTag(b) == kEncryptionInfoTag) {
        if (!readTagged(b, kEncryptionInfoTag, encryptionInfo, encryptionInfoLen)) return 0;
    }
    if (!readTagged(b, 0x30, archiveTimeStamps, archiveTimeStampsLen)) return 0;
    return b->getReadPos() == end ? 255 : 0;
}
