// RSAPrivateKey ::= SEQUENCE {
//     version          INTEGER,  -- 0
//     modulus          INTEGER,  -- n
//     publicExponent   INTEGER,  -- e
//     privateExponent  INTEGER,  -- d
//     prime1           INTEGER,  -- p
//     prime2           INTEGER,  -- q
//     exponent1        INTEGER,  -- d mod (p-1)
//     exponent2        INTEGER,  -- d mod (q-1)
//     coefficient      INTEGER } -- (inverse of q) mod p
//
// The private operation runs by the Chinese remainder theorem when the primes are known.
#ifndef SIGILO_CRYPTO_RSAPRIVATEKEY_H
#define SIGILO_CRYPTO_RSAPRIVATEKEY_H

#include "crypto/BigInteger.h"
#include "crypto/Key.h"

class RSAPublicKey;
class RandomGenerator;

class RSAPrivateKey : public Key {
public:
    RSAPrivateKey();

    bool isBEREncoded() const override;
    unsigned char* getKey() const override;
    unsigned int getKeyLen() const override;
    RSAPrivateKey* clone() const override;

    void wrapASN1(Buffer* b) override;
    unsigned int getWrapLength(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;

    // c ^ d mod n, by the primes when they are there, else by d directly.
    BigInteger pow_mod(BigInteger c) const;

    // A new key pair of `bits` bits with the given public exponent (65537 by default). False
    // when the arguments cannot give a key (too few bits, an even exponent, no generator).
    bool generateNewKey(int bits, const unsigned char* exponent, unsigned long exponentLen,
                        RandomGenerator* generator);
    bool generateNewKey(int bits, unsigned long exponent, RandomGenerator* generator);
    bool generateNewKey(int bits, RandomGenerator* generator);

    // The public half, a new object the caller deletes.
    RSAPublicKey* toRSAPublicKey() const;

    const BigInteger& getModulus() const { return modulus; }
    const BigInteger& getPublicExponent() const { return publicExponent; }
    const BigInteger& getPrivateExponent() const { return privateExponent; }
    const BigInteger& getPrime1() const { return prime1; }
    const BigInteger& getPrime2() const { return prime2; }
    const BigInteger& getExponent1() const { return exponent1; }
    const BigInteger& getExponent2() const { return exponent2; }
    const BigInteger& getCoefficient() const { return coefficient; }
    void setModulus(const BigInteger& v) { modulus = v; }
    void setPublicExponent(const BigInteger& v) { publicExponent = v; }
    void setPrivateExponent(const BigInteger& v) { privateExponent = v; }
    void setPrime1(const BigInteger& v) { prime1 = v; }
    void setPrime2(const BigInteger& v) { prime2 = v; }
    void setExponent1(const BigInteger& v) { exponent1 = v; }
    void setExponent2(const BigInteger& v) { exponent2 = v; }
    void setCoefficient(const BigInteger& v) { coefficient = v; }

private:
    BigInteger* fields[9];
    BigInteger version, modulus, publicExponent, privateExponent, prime1, prime2, exponent1,
        exponent2, coefficient;
};

#endif
