#include "crypto/BigInteger.h"

#include <openssl/crypto.h>

#include <cstring>
#include <memory>
#include <vector>

#include "asn1/Buffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/RandomGenerator.h"

namespace {

struct CtxDeleter {
    void operator()(BN_CTX* ctx) const { BN_CTX_free(ctx); }
};
using Ctx = std::unique_ptr<BN_CTX, CtxDeleter>;

Ctx newCtx() { return Ctx(BN_CTX_new()); }

}  // namespace

BigInteger::BigInteger() : bn(BN_new()), ber(true) {}

BigInteger::BigInteger(unsigned long value) : BigInteger() { set(value); }

BigInteger::BigInteger(const unsigned char* bytes, int length) : BigInteger() {
    set(bytes, length);
}

BigInteger::BigInteger(const BigInteger& other) : bn(BN_dup(other.bn)), ber(other.ber) {}

BigInteger& BigInteger::operator=(const BigInteger& other) {
    if (this != &other) {
        BN_copy(bn, other.bn);
        ber = other.ber;
    }
    return *this;
}

BigInteger::~BigInteger() { BN_free(bn); }

void BigInteger::set(const unsigned char* bytes, int length) {
    if (bytes == nullptr || length <= 0) {
        BN_zero(bn);
        return;
    }
    BN_bin2bn(bytes, length, bn);
}

void BigInteger::set(unsigned long value) { BN_set_word(bn, value); }

int BigInteger::size() const { return BN_num_bytes(bn); }

int BigInteger::bits() const { return BN_num_bits(bn); }

void BigInteger::toByteArray(unsigned char** bytes, unsigned long* length) const {
    int words = (BN_num_bytes(bn) + 7) / 8;
    if (words == 0) words = 1;
    *length = static_cast<unsigned long>(words) * 8;
    *bytes = new unsigned char[*length];
    BN_bn2binpad(bn, *bytes, static_cast<int>(*length));
}

void BigInteger::toMinimalByteArray(unsigned char** bytes, unsigned long* length) const {
    int n = BN_num_bytes(bn);
    if (n == 0) n = 1;
    *length = static_cast<unsigned long>(n);
    *bytes = new unsigned char[n];
    BN_bn2binpad(bn, *bytes, n);
}

void BigInteger::powm(BigInteger& r, BigInteger base, BigInteger exponent, BigInteger modulus) {
    if (BN_is_zero(modulus.bn)) {
        BN_zero(r.bn);
        return;
    }
    Ctx ctx = newCtx();
    BN_mod_exp(r.bn, base.bn, exponent.bn, modulus.bn, ctx.get());
}

void BigInteger::mod(BigInteger& r, BigInteger a, BigInteger m) {
    if (BN_is_zero(m.bn)) {
        BN_zero(r.bn);
        return;
    }
    Ctx ctx = newCtx();
    BN_nnmod(r.bn, a.bn, m.bn, ctx.get());
}

void BigInteger::add(BigInteger& r, BigInteger a, BigInteger b) { BN_add(r.bn, a.bn, b.bn); }

void BigInteger::sub(BigInteger& r, BigInteger a, BigInteger b) { BN_sub(r.bn, a.bn, b.bn); }

void BigInteger::mul(BigInteger& r, BigInteger a, BigInteger b) {
    Ctx ctx = newCtx();
    BN_mul(r.bn, a.bn, b.bn, ctx.get());
}

void BigInteger::mulm(BigInteger& r, BigInteger a, BigInteger b, BigInteger m) {
    if (BN_is_zero(m.bn)) {
        BN_zero(r.bn);
        return;
    }
    Ctx ctx = newCtx();
    BN_mod_mul(r.bn, a.bn, b.bn, m.bn, ctx.get());
}

void BigInteger::div(BigInteger& r, BigInteger a, BigInteger b) {
    if (BN_is_zero(b.bn)) {
        BN_zero(r.bn);
        return;
    }
    Ctx ctx = newCtx();
    BN_div(r.bn, nullptr, a.bn, b.bn, ctx.get());
}

int BigInteger::cmp(BigInteger a, BigInteger b) { return BN_cmp(a.bn, b.bn); }

void BigInteger::gcd(BigInteger& r, BigInteger a, BigInteger b) {
    Ctx ctx = newCtx();
    BN_gcd(r.bn, a.bn, b.bn, ctx.get());
}

bool BigInteger::invert(BigInteger& r, BigInteger a, BigInteger m) {
    Ctx ctx = newCtx();
    if (BN_is_zero(m.bn) || BN_mod_inverse(r.bn, a.bn, m.bn, ctx.get()) == nullptr) {
        BN_zero(r.bn);
        return false;
    }
    return true;
}

bool BigInteger::probabPrime(BigInteger p, int rounds) {
    (void)rounds;  // the library chooses the rounds for the size; it is never fewer than asked
    Ctx ctx = newCtx();
    return BN_check_prime(p.bn, ctx.get(), nullptr) == 1;
}

void BigInteger::increment() { BN_add_word(bn, 1); }

static void fromRandomBytes(BIGNUM* bn, int bits, std::vector<unsigned char>& bytes) {
    int excess = static_cast<int>(bytes.size()) * 8 - bits;
    bytes[0] &= static_cast<unsigned char>(0xFF >> excess);
    bytes[0] |= static_cast<unsigned char>(0x80 >> excess);
    BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), bn);
}

void BigInteger::random(int bits, RandomGenerator* generator) {
    if (bits <= 0 || generator == nullptr) {
        BN_zero(bn);
        return;
    }
    std::vector<unsigned char> bytes((bits + 7) / 8);
    generator->random(bytes.data(), static_cast<unsigned int>(bytes.size()));
    fromRandomBytes(bn, bits, bytes);
}

void BigInteger::random(int bits, CryptoDevice* device) {
    std::vector<unsigned char> bytes(bits > 0 ? (bits + 7) / 8 : 1);
    if (bits <= 0 || device == nullptr || !device->random(bytes.data(), bytes.size())) {
        BN_zero(bn);
        return;
    }
    fromRandomBytes(bn, bits, bytes);
}

bool BigInteger::isZero() const { return BN_is_zero(bn); }

bool BigInteger::isOdd() const { return BN_is_odd(bn); }

bool BigInteger::isNegative() const { return BN_is_negative(bn); }

bool BigInteger::isMSBOne() const {
    int n = BN_num_bits(bn);
    return n > 0 && n % 8 == 0;
}

void BigInteger::reverseByteOrder() {
    int n = BN_num_bytes(bn);
    if (n == 0) return;
    std::vector<unsigned char> bytes(n);
    BN_bn2bin(bn, bytes.data());
    std::vector<unsigned char> reversed(bytes.rbegin(), bytes.rend());
    BN_bin2bn(reversed.data(), n, bn);
}

void BigInteger::complement() {
    int n = BN_num_bytes(bn);
    if (n == 0) return;
    std::vector<unsigned char> bytes(n);
    BN_bn2bin(bn, bytes.data());
    for (unsigned char& c : bytes) c = static_cast<unsigned char>(~c);
    BN_bin2bn(bytes.data(), n, bn);
    BN_add_word(bn, 1);
}

long BigInteger::toLong() const {
    unsigned long low = BN_get_word(bn);
    if (low == static_cast<unsigned long>(-1) && BN_num_bits(bn) > 64) {
        // Larger than a word: keep the low 64 bits.
        unsigned char bytes[8];
        BIGNUM* masked = BN_dup(bn);
        BN_mask_bits(masked, 64);
        BN_bn2binpad(masked, bytes, 8);
        BN_free(masked);
        low = 0;
        for (unsigned char b : bytes) low = (low << 8) | b;
    }
    long value = static_cast<long>(low);
    return BN_is_negative(bn) ? -value : value;
}

char* BigInteger::toString(int base) const {
    char* text = nullptr;
    if (base == 16) {
        text = BN_bn2hex(bn);
    } else if (base == 10) {
        text = BN_bn2dec(bn);
    }
    if (text == nullptr) return nullptr;
    char* copy = new char[strlen(text) + 1];
    strcpy(copy, text);
    OPENSSL_free(text);
    return copy;
}

// Two digits a byte, so that the text has the form openssl prints for a serial and does not
// depend on how a library version trims a leading zero digit.
char* BigInteger::printSerial(int base) const {
    if (base == 10) return toString(10);
    if (base != 16) return nullptr;
    unsigned char* bytes;
    unsigned long n;
    toMinimalByteArray(&bytes, &n);
    bool negative = BN_is_negative(bn) != 0;
    char* text = new char[2 * n + 2];
    char* out = text;
    if (negative) *out++ = '-';
    static const char kDigits[] = "0123456789ABCDEF";
    for (unsigned long i = 0; i < n; ++i) {
        *out++ = kDigits[bytes[i] >> 4];
        *out++ = kDigits[bytes[i] & 0x0F];
    }
    *out = 0;
    delete[] bytes;
    return text;
}

bool BigInteger::fromString(const char* text, int base) {
    if (text == nullptr || *text == 0) return false;
    int used = 0;
    if (base == 16) {
        used = BN_hex2bn(&bn, text);
    } else if (base == 10) {
        used = BN_dec2bn(&bn, text);
    }
    return used > 0 && text[used] == 0;
}

// ---- ASN.1 ----

void BigInteger::contentBytes(unsigned char** bytes, unsigned int* length) const {
    int n = BN_num_bytes(bn);
    std::vector<unsigned char> magnitude(n > 0 ? n : 1, 0);
    if (n > 0) BN_bn2bin(bn, magnitude.data());
    std::vector<unsigned char> out;
    if (!BN_is_negative(bn)) {
        if (magnitude[0] & 0x80) out.push_back(0);
        out.insert(out.end(), magnitude.begin(), magnitude.end());
    } else {
        // Two's complement of the magnitude, then drop redundant leading FF bytes.
        std::vector<unsigned char> twos(magnitude.size() + 1, 0);
        std::copy(magnitude.begin(), magnitude.end(), twos.begin() + 1);
        unsigned int carry = 1;
        for (size_t i = twos.size(); i-- > 0;) {
            unsigned int v = static_cast<unsigned char>(~twos[i]) + carry;
            twos[i] = static_cast<unsigned char>(v);
            carry = v >> 8;
        }
        size_t start = 0;
        while (start + 1 < twos.size() && twos[start] == 0xFF && (twos[start + 1] & 0x80)) ++start;
        out.assign(twos.begin() + static_cast<long>(start), twos.end());
    }
    *length = static_cast<unsigned int>(out.size());
    *bytes = new unsigned char[out.size()];
    memcpy(*bytes, out.data(), out.size());
}

unsigned int BigInteger::lenASN1(Buffer* b) const {
    unsigned char* bytes;
    unsigned int n;
    contentBytes(&bytes, &n);
    delete[] bytes;
    return b->lenASN1Header(0x02, n) + n;
}

void BigInteger::writeASN1(Buffer* b) const { writeASN1(b, 0x02); }

void BigInteger::writeASN1(Buffer* b, unsigned char tag) const {
    unsigned char* bytes;
    unsigned int n;
    contentBytes(&bytes, &n);
    b->writeASN1Header(tag, n);
    b->writeBytes(bytes, n);
    delete[] bytes;
}

unsigned char BigInteger::readASN1NoBER(Buffer* b) { return readInteger(b, 0x02, true); }

unsigned char BigInteger::readASN1NoBER(Buffer* b, unsigned char tag) {
    return readInteger(b, tag, true);
}

unsigned char BigInteger::readASN1(Buffer* b) { return readInteger(b, 0x02, false); }

unsigned char BigInteger::readASN1(Buffer* b, unsigned char tag) {
    return readInteger(b, tag, false);
}

// The sign comes from the top bit of the first byte. Redundant leading bytes (00 before a byte
// with its top bit clear, FF before one with it set) are refused by the strict reader; the lax
// one skips them and clears the BER flag.
unsigned char BigInteger::readInteger(Buffer* b, unsigned char tag, bool strict) {
    unsigned char t;
    unsigned int len;
    if (!b->peekASN1Header(&t, &len) || t != tag) return 0;
    unsigned char* content = nullptr;
    unsigned int n = 0;
    if (!b->_readASN1(&content, &n, tag) || content == nullptr || n == 0) return 0;
    bool negative = (content[0] & 0x80) != 0;
    unsigned int start = 0;
    while (start + 1 < n && content[start] == (negative ? 0xFF : 0x00) &&
           ((content[start + 1] & 0x80) != 0) == negative) {
        ++start;
    }
    if (start > 0) {
        if (strict) return 0;
        ber = false;
    } else {
        ber = true;
    }
    BN_bin2bn(content + start, static_cast<int>(n - start), bn);
    if (negative) {
        // value = content - 2^(8 * length)
        BIGNUM* power = BN_new();
        BN_set_bit(power, static_cast<int>(8 * (n - start)));
        BN_sub(bn, bn, power);
        BN_free(power);
    }
    return 255;
}
