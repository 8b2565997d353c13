#include "pkix/OCSPCertID.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/DigestInfo.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/ReadSteps.h"

namespace {

// No hash the responders use is longer than SHA-512's 64 bytes; anything longer is no hash.
constexpr unsigned int kMaxHash = 64;

std::unique_ptr<DigestInfo> sha1Of(CryptoDevice* device, const unsigned char* p, unsigned int n) {
    if (!device->setDigestAlgorithm(OCSPCertID::kSHA1)) return nullptr;
    return std::unique_ptr<DigestInfo>(device->digest(p, n));
}

}  // namespace

OCSPCertID::OCSPCertID()
    : hashAlgorithm(nullptr),
      nameHash(nullptr),
      nameHashLength(0),
      keyHash(nullptr),
      keyHashLength(0) {}

OCSPCertID::~OCSPCertID() {
    clear();
}

void OCSPCertID::clear() {
    delete hashAlgorithm;
    delete[] nameHash;
    delete[] keyHash;
    hashAlgorithm = nullptr;
    nameHash = keyHash = nullptr;
    nameHashLength = keyHashLength = 0;
    serialNumber = BigInteger();
}

OCSPCertID* OCSPCertID::clone() const {
    OCSPCertID* copy = new OCSPCertID();
    copy->hashAlgorithm = pkix::cloneOf(hashAlgorithm);
    copy->setIssuerNameHash(nameHash, nameHashLength);
    copy->setIssuerKeyHash(keyHash, keyHashLength);
    copy->serialNumber = serialNumber;
    return copy;
}

OCSPCertID* OCSPCertID::forIssuer(CryptoDevice* device, const Certificate* issuer,
                                  const BigInteger& serial) {
    const CertificateInfo* info = issuer != nullptr ? issuer->_getCertInfo() : nullptr;
    if (device == nullptr || info == nullptr || info->_getSubject() == nullptr ||
        info->_getSubjectPubKey() == nullptr) {
        return nullptr;
    }
    Buffer subject;
    Name* name = const_cast<Name*>(info->_getSubject());
    subject.enlarge(name->getWrapLength(&subject));
    name->wrapASN1(&subject);
    std::unique_ptr<DigestInfo> nameDigest(
        sha1Of(device, subject._getData(), subject.getWritePos()));
    const KeyInfo* key = info->_getSubjectPubKey();
    if (key->_getKeyBits() == nullptr) return nullptr;
    std::unique_ptr<DigestInfo> keyDigest(
        sha1Of(device, key->_getKeyBits(), key->getKeyBitsLength()));
    if (!nameDigest || !keyDigest) return nullptr;

    OCSPCertID* id = new OCSPCertID();
    id->hashAlgorithm = new AlgorithmIdentifier(kSHA1);
    id->setIssuerNameHash(nameDigest->_getDigest(), nameDigest->getLength());
    id->setIssuerKeyHash(keyDigest->_getDigest(), keyDigest->getLength());
    id->serialNumber = serial;
    return id;
}

AlgorithmIdentifier* OCSPCertID::getHashAlgorithm() const {
    return pkix::cloneOf(hashAlgorithm);
}

void OCSPCertID::setHashAlgorithm(const AlgorithmIdentifier* algorithm) {
    pkix::replaceWithCopy(hashAlgorithm, algorithm);
}

void OCSPCertID::setIssuerNameHash(const unsigned char* p, unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] nameHash;
    nameHash = copy;
    nameHashLength = copy != nullptr ? n : 0;
}

void OCSPCertID::setIssuerKeyHash(const unsigned char* p, unsigned int n) {
    unsigned char* copy = pkix::copyBytes(p, n);
    delete[] keyHash;
    keyHash = copy;
    keyHashLength = copy != nullptr ? n : 0;
}

unsigned char OCSPCertID::isEqual(const OCSPCertID* other) const {
    if (other == nullptr || hashAlgorithm == nullptr || other->hashAlgorithm == nullptr) return 0;
    if (!hashAlgorithm->isEqual(other->hashAlgorithm)) return 0;
    if (nameHashLength != other->nameHashLength || keyHashLength != other->keyHashLength) return 0;
    if (nameHashLength > 0 && std::memcmp(nameHash, other->nameHash, nameHashLength) != 0) return 0;
    if (keyHashLength > 0 && std::memcmp(keyHash, other->keyHash, keyHashLength) != 0) return 0;
    return BigInteger::cmp(serialNumber, other->serialNumber) == 0 ? 255 : 0;
}

unsigned int OCSPCertID::contentLength(Buffer* b) {
    return (hashAlgorithm != nullptr ? hashAlgorithm->getWrapLength(b) : 0) +
           b->lenASN1(nameHash, nameHashLength) + b->lenASN1(keyHash, keyHashLength) +
           serialNumber.lenASN1(b);
}

unsigned int OCSPCertID::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void OCSPCertID::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (hashAlgorithm != nullptr) hashAlgorithm->wrapASN1(b);
    b->writeASN1(nameHash, nameHashLength);
    b->writeASN1(keyHash, keyHashLength);
    serialNumber.writeASN1(b);
}

unsigned char OCSPCertID::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->readASN1Sequence(&len) || len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    hashAlgorithm = new AlgorithmIdentifier();
    if (!hashAlgorithm->unwrapASN1(b)) return 0;
    // The string reader takes a NULL for an absent value; a hash must be there.
    if (!b->readASN1(&nameHash, &nameHashLength) || nameHash == nullptr ||
        nameHashLength > kMaxHash) {
        return 0;
    }
    if (!b->readASN1(&keyHash, &keyHashLength) || keyHash == nullptr || keyHashLength > kMaxHash) {
        return 0;
    }
    if (!serialNumber.readASN1(b)) return 0;
    return b->getReadPos() == end ? 255 : 0;
}
