// BigInteger: a value class over an OpenSSL BIGNUM. Copies duplicate the number; arithmetic is
// static, with the result by reference and the operands by value.
//
// ASN.1: INTEGER, in two readers. The strict one (readASN1NoBER) refuses redundant leading bytes
// (00 before a byte with its top bit clear, FF before one with it set), as DER demands of serial
// numbers. The lax one (readASN1) accepts and skips them and then clears the BER flag, so that a
// caller can tell a conforming encoding from a tolerated one.
#ifndef SIGILO_CRYPTO_BIGINTEGER_H
#define SIGILO_CRYPTO_BIGINTEGER_H

#include <openssl/bn.h>

class Buffer;
class CryptoDevice;
class RandomGenerator;

class BigInteger {
public:
    BigInteger();
    explicit BigInteger(unsigned long value);
    BigInteger(const unsigned char* bytes, int length);
    BigInteger(const BigInteger& other);
    BigInteger& operator=(const BigInteger& other);
    ~BigInteger();

    // Unsigned big-endian bytes; an empty array is 0.
    void set(const unsigned char* bytes, int length);
    void set(unsigned long value);
    // Bytes of the magnitude: (bits + 7) / 8.
    int size() const;
    int bits() const;
    // The magnitude as whole 64-bit words, most significant first: always a multiple of 8
    // bytes, with leading zeros (1 gives seven zero bytes and 0x01). A new array.
    void toByteArray(unsigned char** bytes, unsigned long* length) const;
    // The magnitude in the fewest big-endian bytes (at least one). A new array.
    void toMinimalByteArray(unsigned char** bytes, unsigned long* length) const;

    static void powm(BigInteger& r, BigInteger base, BigInteger exponent, BigInteger modulus);
    static void mod(BigInteger& r, BigInteger a, BigInteger m);
    static void add(BigInteger& r, BigInteger a, BigInteger b);
    static void sub(BigInteger& r, BigInteger a, BigInteger b);
    static void mul(BigInteger& r, BigInteger a, BigInteger b);
    static void mulm(BigInteger& r, BigInteger a, BigInteger b, BigInteger m);
    // Quotient; a zero divisor leaves r at 0.
    static void div(BigInteger& r, BigInteger a, BigInteger b);
    static int cmp(BigInteger a, BigInteger b);
    static void gcd(BigInteger& r, BigInteger a, BigInteger b);
    // Inverse modulo m; false (r at 0) when there is none.
    static bool invert(BigInteger& r, BigInteger a, BigInteger m);
    static bool probabPrime(BigInteger p, int rounds);
    void increment();

    // A number of the given bits with the top bit set, from the generator or the device.
    void random(int bits, RandomGenerator* generator);
    void random(int bits, CryptoDevice* device);

    bool isZero() const;
    bool isOdd() const;
    bool isNegative() const;
    bool isMSBOne() const;
    // Reverses the order of the bytes of the magnitude.
    void reverseByteOrder();
    // Two's complement within the byte length of the magnitude.
    void complement();
    // The low bits as a long (negative numbers keep their sign).
    long toLong() const;
    // New text in base 10 or 16 (upper-case digits), or null for another base.
    char* toString(int base) const;
    // The text of a serial number, shared by every class that prints one (certificates, CRL
    // entries, issuer-and-serial records, key identifiers), because those texts are compared
    // with strcmp: base 16 is two upper-case digits for each byte of the magnitude, most
    // significant first, at least one byte ("00" for zero), with "-" in front of a negative
    // value; base 10 is the decimal text. Any other base gives null. A new string.
    char* printSerial(int base) const;
    bool fromString(const char* text, int base);

    // True unless the lax reader met redundant leading bytes.
    bool isBER() const { return ber; }

    unsigned int lenASN1(Buffer* b) const;
    void writeASN1(Buffer* b) const;
    void writeASN1(Buffer* b, unsigned char tag) const;
    unsigned char readASN1NoBER(Buffer* b);
    unsigned char readASN1NoBER(Buffer* b, unsigned char tag);
    unsigned char readASN1(Buffer* b);
    unsigned char readASN1(Buffer* b, unsigned char tag);

    const BIGNUM* _getBN() const { return bn; }
    BIGNUM* _getBN() { return bn; }

private:
    // Two's-complement content bytes of the value (minimal).
    void contentBytes(unsigned char** bytes, unsigned int* length) const;
    unsigned char readInteger(Buffer* b, unsigned char tag, bool strict);

    BIGNUM* bn;
    bool ber;
};

#endif
