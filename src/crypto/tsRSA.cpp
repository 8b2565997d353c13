#include "crypto/tsRSA.h"

#include <cstring>
#include <memory>

#include "crypto/BigInteger.h"
#include "crypto/DES.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"

namespace {

const BigInteger* modulusOf(Key* key) {
    if (key == nullptr) return nullptr;
    if (key->getKeyType() == Key::kPublic) return &static_cast<RSAPublicKey*>(key)->getModulus();
    if (key->getKeyType() == Key::kPrivate) {
        return &static_cast<RSAPrivateKey*>(key)->getModulus();
    }
    return nullptr;
}

}  // namespace

unsigned long tsRSA::modulusLength(Key* key) {
    const BigInteger* n = modulusOf(key);
    if (n == nullptr || n->isNegative() || n->bits() > kMaxModulusBits) return 0;
    if (key->getKeyType() == Key::kPublic) {
        const BigInteger& e = static_cast<RSAPublicKey*>(key)->getPublicExponent();
        if (e.isNegative() || e.isZero() || e.bits() > n->bits()) return 0;
    }
    unsigned long m = static_cast<unsigned long>(n->size());
    return m >= 12 ? m : 0;
}

unsigned long tsRSA::getOutLength(Key* key) {
    return modulusLength(key);
}

bool tsRSA::raise(const BigInteger& x, Key* key, BigInteger* result) {
    const BigInteger* n = modulusOf(key);
    if (n == nullptr || BigInteger::cmp(x, *n) >= 0) return false;
    if (key->getKeyType() == Key::kPrivate) {
        *result = static_cast<RSAPrivateKey*>(key)->pow_mod(x);
    } else {
        BigInteger::powm(*result, x, static_cast<RSAPublicKey*>(key)->getPublicExponent(), *n);
    }
    return true;
}

unsigned char* tsRSA::fixedBytes(const BigInteger& v, unsigned long m) {
    unsigned char* words;
    unsigned long n;
    v.toByteArray(&words, &n);
    unsigned long skip = 0;
    while (n - skip > m) {
        if (words[skip] != 0) {
            delete[] words;
            return nullptr;
        }
        ++skip;
    }
    unsigned char* out = new unsigned char[m];
    unsigned long pad = m - (n - skip);
    memset(out, 0, pad);
    memcpy(out + pad, words + skip, n - skip);
    delete[] words;
    return out;
}

unsigned char* tsRSA::encode(const unsigned char* in, unsigned long* len, Key* key) {
    unsigned long m = modulusLength(key);
    if (m == 0 || len == nullptr || *len > m - 11 || (in == nullptr && *len > 0)) return nullptr;
    std::unique_ptr<unsigned char[]> block(new unsigned char[m]);
    unsigned long padLen = m - *len - 3;
    block[0] = 0;
    if (key->getKeyType() == Key::kPublic) {
        if (generator == nullptr) return nullptr;
        block[1] = 2;
        for (unsigned long i = 0; i < padLen; ++i) {
            unsigned char r = 0;
            while (r == 0) generator->random(&r, 1);
            block[2 + i] = r;
        }
    } else {
        block[1] = 1;
        memset(block.get() + 2, 0xFF, padLen);
    }
    block[2 + padLen] = 0;
    if (*len > 0) memcpy(block.get() + 3 + padLen, in, *len);
    BigInteger x(block.get(), static_cast<int>(m)), y;
    memset(block.get(), 0, m);
    if (!raise(x, key, &y)) return nullptr;
    unsigned char* out = fixedBytes(y, m);
    if (out != nullptr) *len = m;
    return out;
}

unsigned char* tsRSA::decode(const unsigned char* in, unsigned long* len, Key* key) {
    unsigned long m = modulusLength(key);
    if (m == 0 || len == nullptr || in == nullptr || *len > m || *len == 0) return nullptr;
    BigInteger c(in, static_cast<int>(*len)), x;
    if (!raise(c, key, &x)) return nullptr;
    unsigned char* words;
    unsigned long n;
    x.toByteArray(&words, &n);
    std::unique_ptr<unsigned char[]> block(words);
    // A correct block has the modulus length, starting with a zero byte; in whole words that
    // holds only when the modulus length is a multiple of eight.
    if (n != m || block[0] != 0) return nullptr;
    const unsigned char* p = block.get() + 1;
    const unsigned char* end = block.get() + n;
    unsigned char type = *p++;
    unsigned long run = 0;
    if (type == 1 && key->getKeyType() == Key::kPublic) {
        while (p + run < end && p[run] == 0xFF) ++run;
    } else if (type == 2 && key->getKeyType() == Key::kPrivate) {
        while (p + run < end && p[run] != 0) ++run;
    } else {
        return nullptr;
    }
    if (p + run >= end || p[run] != 0 || run < kMinPadding) return nullptr;
    p += run + 1;
    unsigned long messageLen = static_cast<unsigned long>(end - p);
    unsigned char* out = new unsigned char[messageLen > 0 ? messageLen : 1];
    if (messageLen > 0) memcpy(out, p, messageLen);
    *len = messageLen;
    return out;
}

unsigned char* tsRSA::encodeX509(const unsigned char* in, unsigned long* len, Key* key) {
    unsigned long m = modulusLength(key);
    if (m == 0 || len == nullptr || in == nullptr || *len > m) return nullptr;
    BigInteger x(in, static_cast<int>(*len)), y;
    if (!raise(x, key, &y)) return nullptr;
    unsigned char* out = fixedBytes(y, m);
    if (out != nullptr) *len = m;
    return out;
}

unsigned char* tsRSA::decodeX509(const unsigned char* in, unsigned long* len, Key* key) {
    return encodeX509(in, len, key);
}

unsigned char* tsRSA::signISO9796(const unsigned char* hash, unsigned long* len, Key* key) {
    unsigned long m = modulusLength(key);
    if (m == 0 || len == nullptr || hash == nullptr || *len + 4 > m) return nullptr;
    std::unique_ptr<unsigned char[]> block(new unsigned char[m]);
    block[0] = 0;
    block[1] = 0x6A;
    memset(block.get() + 2, 0xBB, m - 3 - *len);
    memcpy(block.get() + m - 1 - *len, hash, *len);
    block[m - 1] = 0xBC;
    unsigned long n = m;
    unsigned char* out = encodeX509(block.get(), &n, key);
    if (out != nullptr) *len = n;
    return out;
}

unsigned char* tsRSA::verifyISO9796(const unsigned char* in, unsigned long* len, Key* key) {
    return decodeX509(in, len, key);
}

DES3Key* tsRSA::extractDES3Key(Key* key) {
    const BigInteger* n = modulusOf(key);
    if (n == nullptr || n->size() < static_cast<int>(DES3Key::kLength)) return nullptr;
    unsigned char* bytes;
    unsigned long len;
    n->toMinimalByteArray(&bytes, &len);
    DES3Key* k = new DES3Key(bytes);
    memset(bytes, 0, len);
    delete[] bytes;
    return k;
}

DES3Key* tsRSA::extractDES3KeyFromPrivate(Key* key) {
    if (key == nullptr || key->getKeyType() != Key::kPrivate) return nullptr;
    const BigInteger& d = static_cast<RSAPrivateKey*>(key)->getPrivateExponent();
    if (d.size() < static_cast<int>(DES3Key::kLength)) return nullptr;
    unsigned char* bytes;
    unsigned long len;
    d.toMinimalByteArray(&bytes, &len);
    DES3Key* k = new DES3Key(bytes);
    memset(bytes, 0, len);
    delete[] bytes;
    return k;
}
