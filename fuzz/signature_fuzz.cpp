// Signatures, keys and DigestInfos of arbitrary bytes through the verification path:
//   byte 0: the signature algorithm (an index into a table);
//   2 bytes n, n bytes: a SubjectPublicKeyInfo (at most 600 bytes, which bounds the cost);
//   2 bytes m, m bytes: the signature;
//   the rest: the signed data, and also a DigestInfo.
// The same bytes go through the key, DigestInfo, Signature and PBEParameter readers, and
// through tsRSA::decode under a fixed small key.
#include <cstdint>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "crypto/PBEParameter.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/Signature.h"
#include "crypto/tsRSA.h"
#include "pkix/KeyInfo.h"

namespace {

const char* const kAlgorithms[] = {"1.2.840.113549.1.1.5",  "1.2.840.113549.1.1.11",
                                   "1.2.840.113549.1.1.13", "1.2.840.113549.1.1.4",
                                   "1.2.840.113549.1.1.1",  "2.5.8.1.1",
                                   "1.3.36.3.4.1",          "1.3.36.3.3.1.2"};

struct Device {
    CryptoKi ki;
    CryptoDevice device{&ki};
    RSAPrivateKey key;
    Device() {
        device.openToken(0, nullptr, 0);
        SystemRandomGenerator random;
        key.generateNewKey(512, &random);
    }
};

Device& device() {
    static Device d;
    return d;
}

template <class T>
void read(const uint8_t* data, size_t size) {
    Buffer b;
    b.fromByteArray(data, static_cast<unsigned int>(size));
    T object;
    if (object.unwrapASN1(&b)) {
        Buffer out;
        out.enlarge(object.getWrapLength(&out));
        object.wrapASN1(&out);
    }
}

bool take(const uint8_t*& p, size_t& left, size_t* n) {
    if (left < 2) return false;
    *n = (size_t(p[0]) << 8) | p[1];
    p += 2;
    left -= 2;
    return *n <= left;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    read<DigestInfo>(data, size);
    read<Signature>(data, size);
    read<RSAPublicKey>(data, size);
    read<RSAPrivateKey>(data, size);
    read<PBEParameter>(data, size);
    Device& d = device();
    tsRSA rsa;
    if (size <= 128) {
        unsigned long n = size;
        std::unique_ptr<unsigned char[]> out(rsa.decode(data, &n, &d.key));
        n = size;
        out.reset(rsa.decodeX509(data, &n, &d.key));
    }
    if (size < 1) return 0;
    const uint8_t* p = data + 1;
    size_t left = size - 1, keyLen, sigLen;
    if (!take(p, left, &keyLen) || keyLen > 600) return 0;
    const uint8_t* keyBytes = p;
    p += keyLen;
    left -= keyLen;
    if (!take(p, left, &sigLen)) return 0;
    Signature signature(p, static_cast<unsigned int>(sigLen));
    p += sigLen;
    left -= sigLen;
    KeyInfo key;
    Buffer b;
    b.fromByteArray(keyBytes, static_cast<unsigned int>(keyLen));
    if (!key.unwrapASN1(&b)) return 0;
    CryptoDevice& dev = d.device;
    const char* algorithm = kAlgorithms[data[0] % (sizeof kAlgorithms / sizeof kAlgorithms[0])];
    if (!dev.setSignAlgorithm(algorithm)) dev.setCryptoAlgorithm(algorithm);
    dev.verify(&signature, p, left, &key);
    Buffer rest;
    rest.fromByteArray(p, static_cast<unsigned int>(left));
    DigestInfo digest;
    if (digest.unwrapASN1(&rest)) dev.verify(&signature, &digest, &key);
    return 0;
}
