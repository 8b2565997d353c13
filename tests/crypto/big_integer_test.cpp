// BigInteger: INTEGER readers and writer against asn1crypto, the word-padded byte form, text.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "crypto/BigInteger.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/key_vectors.vec"));
    return all;
}

std::string text(const BigInteger& v, int base) {
    std::unique_ptr<char[]> t(v.toString(base));
    return t ? std::string(t.get()) : std::string("(null)");
}

std::unique_ptr<Buffer> bufferOf(const std::vector<unsigned char>& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

TEST(BigInteger, IntegersFromAsn1cryptoBothReaders) {
    for (const VecCase& c : casesOfKind(vectors(), "integer")) {
        for (bool strict : {true, false}) {
            auto in = bufferOf(c.hex("der"));
            BigInteger v;
            ASSERT_TRUE(strict ? v.readASN1NoBER(in.get()) : v.readASN1(in.get())) << c.where();
            EXPECT_EQ(text(v, 10), c.get("dec")) << c.where();
            EXPECT_TRUE(v.isBER());
            Buffer out;
            v.writeASN1(&out);
            EXPECT_EQ(toHex(out._getData(), out.getWritePos()), c.get("der")) << c.where();
            EXPECT_EQ(v.lenASN1(&out), c.hex("der").size());
        }
    }
}

TEST(BigInteger, RedundantLeadingBytes) {
    for (const VecCase& c : casesOfKind(vectors(), "padded_integer")) {
        auto strictIn = bufferOf(c.hex("der"));
        BigInteger strict;
        EXPECT_FALSE(strict.readASN1NoBER(strictIn.get())) << c.where();
        auto laxIn = bufferOf(c.hex("der"));
        BigInteger lax;
        ASSERT_TRUE(lax.readASN1(laxIn.get())) << c.where();
        EXPECT_FALSE(lax.isBER()) << c.where();
        EXPECT_EQ(text(lax, 10), c.get("dec")) << c.where();
    }
    // 00 FF is the minimal form of 255, not padding.
    auto in = bufferOf(fromHex("020200ff"));
    BigInteger v;
    ASSERT_TRUE(v.readASN1NoBER(in.get()));
    EXPECT_EQ(text(v, 10), "255");
}

TEST(BigInteger, MalformedIntegersFail) {
    for (const char* hex : {"", "0200", "0201", "0500", "0401ff", "02847fffffff01"}) {
        auto in = bufferOf(fromHex(hex));
        BigInteger v;
        EXPECT_FALSE(v.readASN1(in.get())) << hex;
    }
    auto tagged = bufferOf(fromHex("820105"));
    BigInteger v;
    EXPECT_FALSE(v.readASN1NoBER(tagged.get()));
    tagged->rewind();
    tagged->setWritePos(3);
    EXPECT_TRUE(v.readASN1NoBER(tagged.get(), 0x82));
    EXPECT_EQ(v.toLong(), 5);
}

// The serial rule shared by certificates and CRL entries (compared byte by byte): two upper-case
// digits a byte, as openssl prints serials; the certificate corpus checks it against openssl.
TEST(BigInteger, SerialText) {
    for (const VecCase& c : casesOfKind(vectors(), "integer")) {
        auto in = bufferOf(c.hex("der"));
        BigInteger v;
        ASSERT_TRUE(v.readASN1(in.get()));
        std::string hex = c.get("hex");
        std::string digits = hex[0] == '-' ? hex.substr(1) : hex;
        if (digits.size() % 2 != 0) digits = "0" + digits;
        EXPECT_EQ(std::unique_ptr<char[]>(v.printSerial(16)).get(),
                  (hex[0] == '-' ? "-" : "") + digits)
            << c.where();
        EXPECT_EQ(std::unique_ptr<char[]>(v.printSerial(10)).get(), c.get("dec")) << c.where();
    }
    EXPECT_EQ(BigInteger(0UL).printSerial(8), nullptr);
}

TEST(BigInteger, ByteArrayIsWholeWords) {
    BigInteger one(1UL);
    unsigned char* bytes;
    unsigned long n;
    one.toByteArray(&bytes, &n);
    EXPECT_EQ(n, 8u);
    EXPECT_EQ(toHex(bytes, n), "0000000000000001");
    delete[] bytes;
    BigInteger nine(fromHex("010203040506070809").data(), 9);
    nine.toByteArray(&bytes, &n);
    EXPECT_EQ(n, 16u);
    delete[] bytes;
    BigInteger empty(nullptr, 0);
    EXPECT_TRUE(empty.isZero());
}

TEST(BigInteger, ArithmeticAndText) {
    BigInteger a, b, r;
    ASSERT_TRUE(a.fromString("123456789012345678901234567890", 10));
    ASSERT_TRUE(b.fromString("FFFFFFFFFFFFFFFF", 16));
    BigInteger::mul(r, a, b);
    BigInteger q;
    BigInteger::div(q, r, b);
    EXPECT_EQ(BigInteger::cmp(q, a), 0);
    BigInteger::powm(r, BigInteger(4UL), BigInteger(13UL), BigInteger(497UL));
    EXPECT_EQ(r.toLong(), 445);
    EXPECT_TRUE(BigInteger::invert(r, BigInteger(3UL), BigInteger(11UL)));
    EXPECT_EQ(r.toLong(), 4);
    EXPECT_FALSE(BigInteger::invert(r, BigInteger(2UL), BigInteger(4UL)));
    BigInteger::div(r, a, BigInteger(0UL));  // no crash on a zero divisor
    EXPECT_TRUE(r.isZero());
    EXPECT_TRUE(BigInteger::probabPrime(BigInteger(65537UL), 50));
    EXPECT_FALSE(BigInteger::probabPrime(BigInteger(65535UL), 50));
    EXPECT_FALSE(a.fromString("12x", 10));
    EXPECT_EQ(a.toString(8), nullptr);
    BigInteger copy = b;
    copy.increment();
    EXPECT_EQ(text(copy, 16), "010000000000000000");
    EXPECT_EQ(text(b, 16), "FFFFFFFFFFFFFFFF");
}

}  // namespace
