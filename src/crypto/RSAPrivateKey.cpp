#include "crypto/RSAPrivateKey.h"

#include "asn1/Buffer.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"

RSAPrivateKey::RSAPrivateKey()
    : Key(kPrivate), fields{&version, &modulus,   &publicExponent, &privateExponent, &prime1,
                            &prime2,  &exponent1, &exponent2,      &coefficient} {}

bool RSAPrivateKey::isBEREncoded() const {
    for (const BigInteger* f : fields) {
        if (!f->isBER()) return false;
    }
    return true;
}

unsigned char* RSAPrivateKey::getKey() const {
    unsigned char* bytes;
    unsigned long n;
    modulus.toMinimalByteArray(&bytes, &n);
    return bytes;
}

unsigned int RSAPrivateKey::getKeyLen() const {
    int n = modulus.size();
    return n > 0 ? static_cast<unsigned int>(n) : 1;
}

RSAPrivateKey* RSAPrivateKey::clone() const {
    RSAPrivateKey* copy = new RSAPrivateKey();
    for (int i = 0; i < 9; ++i) *copy->fields[i] = *fields[i];
    return copy;
}

unsigned int RSAPrivateKey::getWrapLength(Buffer* b) {
    unsigned int sum = 0;
    for (BigInteger* f : fields) sum += f->lenASN1(b);
    return b->lenASN1Sequence(sum);
}

void RSAPrivateKey::wrapASN1(Buffer* b) {
    unsigned int sum = 0;
    for (BigInteger* f : fields) sum += f->lenASN1(b);
    b->writeASN1Sequence(sum);
    for (BigInteger* f : fields) f->writeASN1(b);
}

unsigned char RSAPrivateKey::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    for (BigInteger* f : fields) {
        if (!f->readASN1(b)) return 0;
    }
    return 255;
}

BigInteger RSAPrivateKey::pow_mod(BigInteger c) const {
    BigInteger result;
    if (prime1.isZero() || prime2.isZero() || coefficient.isZero()) {
        BigInteger::powm(result, c, privateExponent, modulus);
        return result;
    }
    BigInteger c1, c2, m1, m2, m2p, h;
    BigInteger::mod(c1, c, prime1);
    BigInteger::powm(m1, c1, exponent1, prime1);
    BigInteger::mod(c2, c, prime2);
    BigInteger::powm(m2, c2, exponent2, prime2);
    // h = (m1 - m2) mod p, kept positive by adding p first when m1 is the smaller.
    BigInteger::mod(m2p, m2, prime1);
    if (BigInteger::cmp(m1, m2p) >= 0) {
        BigInteger::sub(h, m1, m2p);
    } else {
        BigInteger::add(h, m1, prime1);
        BigInteger::sub(h, h, m2p);
    }
    BigInteger::mulm(h, h, coefficient, prime1);
    BigInteger::mul(h, h, prime2);
    BigInteger::add(result, m2, h);
    return result;
}

bool RSAPrivateKey::generateNewKey(int bits, const unsigned char* e, unsigned long eLen,
                                   RandomGenerator* generator) {
    if (bits < 64 || bits > 16384 || e == nullptr || eLen == 0 || eLen > 8 ||
        generator == nullptr) {
        return false;
    }
    publicExponent.set(e, static_cast<int>(eLen));
    if (!publicExponent.isOdd() || BigInteger::cmp(publicExponent, BigInteger(1)) <= 0) {
        return false;
    }
    BigInteger one(1), p, q, n, g, pm1, qm1;
    // Each prime gets half the bits, with its top bit set, so that the product has `bits` or
    // `bits - 1` bits; the latter case starts again.
    auto nextPrime = [&](BigInteger& prime, const BigInteger* other) {
        for (;;) {
            prime.random(bits - bits / 2, generator);
            if (!prime.isOdd()) prime.increment();
            if (other != nullptr && BigInteger::cmp(prime, *other) == 0) continue;
            if (!BigInteger::probabPrime(prime, 50)) continue;
            BigInteger pm;
            BigInteger::sub(pm, prime, one);
            BigInteger::gcd(g, pm, publicExponent);
            if (BigInteger::cmp(g, one) == 0) return;
        }
    };
    for (;;) {
        nextPrime(p, nullptr);
        nextPrime(q, &p);
        if (BigInteger::cmp(p, q) < 0) {
            BigInteger t = p;
            p = q;
            q = t;
        }
        BigInteger::mul(n, p, q);
        if (n.bits() == bits) break;
    }
    modulus = n;
    prime1 = p;
    prime2 = q;
    version.set(0ul);
    BigInteger::sub(pm1, p, one);
    BigInteger::sub(qm1, q, one);
    BigInteger phi;
    BigInteger::mul(phi, pm1, qm1);
    if (!BigInteger::invert(privateExponent, publicExponent, phi)) return false;
    BigInteger::mod(exponent1, privateExponent, pm1);
    BigInteger::mod(exponent2, privateExponent, qm1);
    return BigInteger::invert(coefficient, q, p);
}

bool RSAPrivateKey::generateNewKey(int bits, unsigned long exponent, RandomGenerator* generator) {
    unsigned char bytes[8];
    for (int i = 7; i >= 0; --i, exponent >>= 8) bytes[i] = static_cast<unsigned char>(exponent);
    return generateNewKey(bits, bytes, 8, generator);
}

bool RSAPrivateKey::generateNewKey(int bits, RandomGenerator* generator) {
    return generateNewKey(bits, 65537ul, generator);
}

RSAPublicKey* RSAPrivateKey::toRSAPublicKey() const {
    return new RSAPublicKey(modulus, publicExponent);
}
