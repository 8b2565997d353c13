// RSAPublicKey ::= SEQUENCE {
//     modulus         INTEGER,  -- n
//     publicExponent  INTEGER } -- e
//
// Both integers are read by the lax reader: redundant leading zeros are tolerated, and recorded
// so that isBEREncoded can report them.
#ifndef SIGILO_CRYPTO_RSAPUBLICKEY_H
#define SIGILO_CRYPTO_RSAPUBLICKEY_H

#include "crypto/BigInteger.h"
#include "crypto/Key.h"

class RSAPublicKey : public Key {
public:
    RSAPublicKey();
    RSAPublicKey(const BigInteger& modulus, const BigInteger& publicExponent);

    bool isBEREncoded() const override;
    unsigned char* getKey() const override;
    unsigned int getKeyLen() const override;
    RSAPublicKey* clone() const override;

    const BigInteger& getModulus() const { return modulus; }
    const BigInteger& getPublicExponent() const { return publicExponent; }
    void setModulus(const BigInteger& n) { modulus = n; }
    void setPublicExponent(const BigInteger& e) { publicExponent = e; }

    void wrapASN1(Buffer* b) override;
    unsigned int getWrapLength(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;

private:
    BigInteger modulus;
    BigInteger publicExponent;
};

#endif
