// tsRSA: the RSA operations with their padding. A key is an RSAPublicKey or an RSAPrivateKey,
// told apart by its key type; the private operation goes by the Chinese remainder theorem.
//
// Every operation refuses a modulus above kMaxModulusBits, a public exponent longer than the
// modulus and an input not below the modulus, so that a hostile key or signature costs a
// bounded time and a value has one representation only.
#ifndef SIGILO_CRYPTO_TSRSA_H
#define SIGILO_CRYPTO_TSRSA_H

#include "crypto/Crypto.h"

class BigInteger;
class DES3Key;

class tsRSA : public Crypto {
public:
    static constexpr int kMaxModulusBits = 16384;
    static constexpr unsigned int kMinPadding = 8;

    explicit tsRSA(RandomGenerator* generator = nullptr) : Crypto(generator, 0) {}

    // PKCS#1 v1.5: block type 2 with random padding under a public key (encryption), type 1
    // with 0xFF padding under a private key (signature). The output has the modulus length.
    unsigned char* encode(const unsigned char* in, unsigned long* len, Key* key) override;
    // The inverse: the message inside a block of type 1 (public key) or 2 (private key).
    // The raised value is taken in whole 64-bit words, and must come out at the modulus
    // length with its leading zero, so that a modulus whose length is not a multiple of eight
    // bytes decodes nothing.
    unsigned char* decode(const unsigned char* in, unsigned long* len, Key* key) override;
    // The modulus length in bytes; 0 for a key that is not usable.
    unsigned long getOutLength(Key* key) override;

    // Raw RSA: the input (at most the modulus length) raised by the key, left-padded with
    // zeros to the modulus length.
    unsigned char* encodeX509(const unsigned char* in, unsigned long* len, Key* key);
    unsigned char* decodeX509(const unsigned char* in, unsigned long* len, Key* key);

    // ISO 9796 framing around a hash: 00 6A BB..BB hash BC, raised by the private key. The
    // hash is at most the modulus length - 4 bytes. verifyISO9796 returns the raised block.
    unsigned char* signISO9796(const unsigned char* hash, unsigned long* len, Key* key);
    unsigned char* verifyISO9796(const unsigned char* in, unsigned long* len, Key* key);

    // A triple-DES key from the first 24 bytes of the modulus or of the private exponent;
    // null when they are shorter.
    static DES3Key* extractDES3Key(Key* key);
    static DES3Key* extractDES3KeyFromPrivate(Key* key);

private:
    // Modulus length of a usable key, or 0.
    static unsigned long modulusLength(Key* key);
    // x raised by the key (x below the modulus); false when x is not.
    static bool raise(const BigInteger& x, Key* key, BigInteger* result);
    // The value as exactly m big-endian bytes, or null when it does not fit.
    static unsigned char* fixedBytes(const BigInteger& v, unsigned long m);
};

#endif
