#include "crypto/CryptoDevice.h"

namespace {

// CKR_FUNCTION_NOT_SUPPORTED: what every operation answers while no token is open.
constexpr unsigned long kNotSupported = 0x54;

template <class R>
R notSupported(unsigned long* lastError, unsigned long* outLen = nullptr) {
    if (outLen != nullptr) *outLen = 0;
    *lastError = kNotSupported;
    return R();
}

}  // namespace

CryptoDevice::CryptoDevice() : lastError(0) {}
CryptoDevice::~CryptoDevice() = default;

unsigned char CryptoDevice::random(unsigned char*, unsigned long) {
    return notSupported<unsigned char>(&lastError);
}
unsigned char CryptoDevice::setDigestAlgorithm(AlgorithmIdentifier*) {
    return notSupported<unsigned char>(&lastError);
}
unsigned char CryptoDevice::setDigestAlgorithm(const char*) {
    return notSupported<unsigned char>(&lastError);
}
DigestInfo* CryptoDevice::digest(const unsigned char*, unsigned long) {
    return notSupported<DigestInfo*>(&lastError);
}
unsigned char CryptoDevice::initDigest() { return notSupported<unsigned char>(&lastError); }
unsigned char CryptoDevice::updateDigest(const unsigned char*, unsigned long) {
    return notSupported<unsigned char>(&lastError);
}
DigestInfo* CryptoDevice::finalDigest() { return notSupported<DigestInfo*>(&lastError); }

unsigned char CryptoDevice::setCryptoAlgorithm(AlgorithmIdentifier*) {
    return notSupported<unsigned char>(&lastError);
}
unsigned char CryptoDevice::setSignAlgorithm(AlgorithmIdentifier*) {
    return notSupported<unsigned char>(&lastError);
}
unsigned char CryptoDevice::setSignAlgorithm(const char*) {
    return notSupported<unsigned char>(&lastError);
}
Signature* CryptoDevice::sign(const unsigned char*, unsigned long) {
    return notSupported<Signature*>(&lastError);
}
unsigned char CryptoDevice::initSign() { return notSupported<unsigned char>(&lastError); }
unsigned char CryptoDevice::updateSign(const unsigned char*, unsigned long) {
    return notSupported<unsigned char>(&lastError);
}
Signature* CryptoDevice::finalSign() { return notSupported<Signature*>(&lastError); }

unsigned char* CryptoDevice::encrypt(const unsigned char*, unsigned long, KeyInfo*,
                                     unsigned long* outLen) {
    return notSupported<unsigned char*>(&lastError, outLen);
}
unsigned char* CryptoDevice::decrypt(const unsigned char*, unsigned long, KeyInfo*,
                                     unsigned long* outLen) {
    return notSupported<unsigned char*>(&lastError, outLen);
}
unsigned char CryptoDevice::setCipherAlgorithm(AlgorithmIdentifier*) {
    return notSupported<unsigned char>(&lastError);
}
unsigned char* CryptoDevice::encode(const unsigned char*, unsigned long, unsigned long* outLen) {
    return notSupported<unsigned char*>(&lastError, outLen);
}
unsigned char* CryptoDevice::decode(const unsigned char*, unsigned long, unsigned long* outLen) {
    return notSupported<unsigned char*>(&lastError, outLen);
}
