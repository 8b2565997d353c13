#include "crypto/RSAPublicKey.h"

#include "asn1/Buffer.h"

RSAPublicKey::RSAPublicKey() : Key(kPublic) {}

RSAPublicKey::RSAPublicKey(const BigInteger& n, const BigInteger& e)
    : Key(kPublic), modulus(n), publicExponent(e) {}

bool RSAPublicKey::isBEREncoded() const { return modulus.isBER() && publicExponent.isBER(); }

unsigned char* RSAPublicKey::getKey() const {
    unsigned char* bytes;
    unsigned long n;
    modulus.toMinimalByteArray(&bytes, &n);
    return bytes;
}

unsigned int RSAPublicKey::getKeyLen() const {
    int n = modulus.size();
    return n > 0 ? static_cast<unsigned int>(n) : 1;
}

RSAPublicKey* RSAPublicKey::clone() const { return new RSAPublicKey(modulus, publicExponent); }

unsigned int RSAPublicKey::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(modulus.lenASN1(b) + publicExponent.lenASN1(b));
}

void RSAPublicKey::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(modulus.lenASN1(b) + publicExponent.lenASN1(b));
    modulus.writeASN1(b);
    publicExponent.writeASN1(b);
}

unsigned char RSAPublicKey::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    if (!modulus.readASN1(b)) return 0;
    return publicExponent.readASN1(b);
}
