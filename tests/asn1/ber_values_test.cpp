// Primitive values: vectors from asn1crypto read back, re-encoded byte for byte where the
// writer makes DER, and the odd corners of each reader.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("asn1/ber_vectors.vec"));
    return all;
}

std::unique_ptr<Buffer> bufferOf(const std::vector<unsigned char>& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

std::vector<unsigned char> written(Buffer& b) {
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

TEST(BerValues, IntegersRoundTrip) {
    for (const VecCase& c : casesOfKind(vectors(), "integer")) {
        auto in = bufferOf(c.hex("der"));
        int v = 0;
        ASSERT_TRUE(in->readASN1(&v)) << c.where();
        EXPECT_EQ(v, std::stoi(c.get("value"))) << c.where();
        Buffer out;
        out.writeASN1(v);
        EXPECT_EQ(written(out), c.hex("der")) << c.where();
        EXPECT_EQ(out.lenASN1(v), c.hex("der").size()) << c.where();
    }
}

TEST(BerValues, LongsReadUpToEightBytes) {
    for (const VecCase& c : casesOfKind(vectors(), "long")) {
        auto in = bufferOf(c.hex("der"));
        long v = 0;
        ASSERT_TRUE(in->readLong(&v)) << c.where();
        EXPECT_EQ(v, std::stol(c.get("value"))) << c.where();
        // Too long for an int: refused and skipped.
        auto again = bufferOf(c.hex("der"));
        int small = 0;
        EXPECT_FALSE(again->readASN1(&small)) << c.where();
        EXPECT_EQ(again->getReadPos(), c.hex("der").size()) << c.where();
    }
    for (const VecCase& c : casesOfKind(vectors(), "integer_too_long_for_long")) {
        auto in = bufferOf(c.hex("der"));
        long v;
        EXPECT_FALSE(in->readLong(&v)) << c.where();
    }
}

TEST(BerValues, WriteLongAlwaysWritesZero) {
    Buffer out;
    out.writeLong(1234);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x02, 0x01, 0x00}));
    EXPECT_EQ(out.lenLong(1234), 3u);
}

TEST(BerValues, EmptyIntegerIsRefused) {
    auto in = bufferOf({0x02, 0x00, 0x05, 0x00});
    int v = 42;
    EXPECT_FALSE(in->readASN1(&v));
    EXPECT_EQ(v, 42);
    auto l = bufferOf({0x02, 0x00});
    long lv;
    EXPECT_FALSE(l->readLong(&lv));
}

TEST(BerValues, FiveByteIntegerIsSkipped) {
    auto in = bufferOf({0x02, 0x05, 1, 2, 3, 4, 5, 0x05, 0x00});
    int v;
    EXPECT_FALSE(in->readASN1(&v));
    EXPECT_EQ(in->getReadPos(), 7u);
    EXPECT_TRUE(in->readNULL());
}

TEST(BerValues, TruncatedIntegerFails) {
    auto in = bufferOf({0x02, 0x04, 0x01, 0x02});
    int v;
    EXPECT_FALSE(in->readASN1(&v));
}

TEST(BerValues, TaggedIntegers) {
    Buffer out;
    out.writeASN1(300, 0x80);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x80, 0x02, 0x01, 0x2C}));
    int v;
    EXPECT_FALSE(out.readASN1(&v, 0x81));
    out.setReadPos(0);
    EXPECT_TRUE(out.readASN1(&v, 0x80));
    EXPECT_EQ(v, 300);
}

TEST(BerValues, BooleansAndEnumerations) {
    for (const VecCase& c : casesOfKind(vectors(), "boolean")) {
        auto in = bufferOf(c.hex("der"));
        unsigned char v;
        ASSERT_TRUE(in->readBoolean(&v)) << c.where();
        EXPECT_EQ(v != 0, c.get("value") == "1") << c.where();
    }
    for (const VecCase& c : casesOfKind(vectors(), "enumerated")) {
        auto in = bufferOf(c.hex("der"));
        unsigned char v;
        ASSERT_TRUE(in->readASN1Enum(&v)) << c.where();
        EXPECT_EQ(v, std::stoi(c.get("value"))) << c.where();
        Buffer out;
        out.writeASN1Enum(v);
        EXPECT_EQ(written(out), c.hex("der")) << c.where();
    }
    // The value is written as given and read as it stands, not normalised.
    Buffer out;
    out.writeBoolean(1);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x01, 0x01, 0x01}));
    unsigned char v;
    EXPECT_TRUE(out.readBoolean(&v));
    EXPECT_EQ(v, 1);
}

TEST(BerValues, OneByteReadersTakeAByteEvenForLengthZero) {
    auto in = bufferOf({0x01, 0x00, 0xFF});
    unsigned char v = 0;
    EXPECT_TRUE(in->readBoolean(&v));
    EXPECT_EQ(v, 0xFF);
    auto wide = bufferOf({0x02, 0x02, 0x01, 0x00});
    EXPECT_FALSE(wide->readASN1(&v));
    auto atEnd = bufferOf({0x01, 0x00});
    EXPECT_FALSE(atEnd->readBoolean(&v));
}

TEST(BerValues, Nulls) {
    Buffer out;
    out.writeNULL();
    out.writeNULL(0x82);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x05, 0x00, 0x82, 0x00}));
    EXPECT_TRUE(out.readASN1());
    EXPECT_TRUE(out.readNULL(0x82));
    auto bad = bufferOf({0x05, 0x01, 0x00});
    EXPECT_FALSE(bad->readNULL());
}

TEST(BerValues, OctetStringsCopyAndBorrow) {
    for (const VecCase& c : casesOfKind(vectors(), "octet_string")) {
        std::vector<unsigned char> der = c.hex("der"), value = c.hex("value");
        value.reserve(1);  // a real array even for the empty case: null means "no value"
        auto in = bufferOf(der);
        unsigned char* p = nullptr;
        unsigned int n = 0;
        ASSERT_EQ(in->_readASN1(&p, &n), 1) << c.where();
        ASSERT_EQ(n, value.size()) << c.where();
        EXPECT_EQ(std::vector<unsigned char>(p, p + n), value) << c.where();
        EXPECT_TRUE(p >= in->_getData() && p + n <= in->_getData() + in->getMaxSize());

        auto copyIn = bufferOf(der);
        ASSERT_TRUE(copyIn->readASN1(&p, &n)) << c.where();
        EXPECT_EQ(std::vector<unsigned char>(p, p + n), value) << c.where();
        EXPECT_NE(p, copyIn->_getData() + (der.size() - n));
        delete[] p;

        Buffer out;
        out.writeASN1(value.data(), static_cast<unsigned int>(value.size()));
        EXPECT_EQ(written(out), der) << c.where();
        EXPECT_EQ(out.lenASN1(value.data(), static_cast<unsigned int>(value.size())), der.size());
    }
}

TEST(BerValues, NullStandsForAnAbsentString) {
    Buffer out;
    out.writeASN1(static_cast<const unsigned char*>(nullptr), 10);
    out.writeASN1(static_cast<const unsigned char*>(nullptr), 3, 0x80);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x05, 0x00, 0x05, 0x00}));
    unsigned char* p = reinterpret_cast<unsigned char*>(1);
    unsigned int n = 9;
    EXPECT_EQ(out._readASN1(&p, &n), 1);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_TRUE(out.readASN1(&p, &n, 0x80));
    EXPECT_EQ(p, nullptr);
    // Text under a given tag is the exception: a null text is the tag with length 0.
    Buffer text;
    text.writeASN1(static_cast<const char*>(nullptr), static_cast<unsigned char>(0x0C));
    EXPECT_EQ(written(text), (std::vector<unsigned char>{0x0C, 0x00}));
}

TEST(BerValues, StringLongerThanTheDataIsRefused) {
    // A corrupt length must not turn into a large allocation or a pointer past the data.
    auto in = bufferOf({0x04, 0x84, 0x7F, 0xFF, 0xFF, 0xFF, 0xAA});
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(in->_readASN1(&p, &n), 0);
    in->rewind();
    in->setWritePos(7);
    EXPECT_EQ(in->readASN1(&p, &n), 0);
    EXPECT_EQ(p, nullptr);
    auto tagged = bufferOf({0x80, 0x03, 0xAA});
    EXPECT_EQ(tagged->_readASN1(&p, &n, 0x80), 0);
    auto constructed = bufferOf({0x24, 0x84, 0x7F, 0xFF, 0xFF, 0xFF, 0x04, 0x01, 0xAA});
    EXPECT_EQ(constructed->_readASN1(&p, &n), 0);
}

TEST(BerValues, IndefiniteConstructedStringIsAssembled) {
    auto in = bufferOf({0x24, 0x80, 0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB, 0x00, 0x00});
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(in->_readASN1(&p, &n), 2);  // a new array: the caller frees it
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(p[0], 0xAA);
    EXPECT_EQ(p[1], 0xBB);
    EXPECT_TRUE(in->isEmpty());
    delete[] p;

    auto copy = bufferOf({0x24, 0x80, 0x04, 0x02, 0xCC, 0xDD, 0x00, 0x00});
    ASSERT_TRUE(copy->readASN1(&p, &n));
    EXPECT_EQ(n, 2u);
    delete[] p;
}

TEST(BerValues, DefiniteConstructedStringDeliversItsFirstPiece) {
    auto in = bufferOf({0x24, 0x06, 0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB});
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(in->_readASN1(&p, &n), 2);
    EXPECT_EQ(n, 6u);  // the outer length
    EXPECT_EQ(p[0], 0xAA);
    EXPECT_EQ(p[1], 0);  // the rest is zeroed, never stale memory
    EXPECT_EQ(in->getReadPos(), 5u);  // before the second piece
    delete[] p;
}

TEST(BerValues, BadConstructedStringsFailAndFreeEverything) {
    std::vector<std::vector<unsigned char>> bad = {
        {0x24, 0x80, 0x05, 0x00, 0x00, 0x00},        // a piece that is not an OCTET STRING
        {0x24, 0x80, 0x04, 0x05, 0xAA},               // a piece past the end
        {0x24, 0x80, 0x04, 0x01, 0xAA},               // no end-of-contents
        {0x24, 0x80, 0x24, 0x80, 0x00, 0x00, 0x00, 0x00},  // nested constructed pieces
        {0x24, 0x00},                                 // empty definite form
        {0x24, 0x03, 0x30, 0x01, 0x00},               // definite form, wrong inner tag
        {0x24, 0x03, 0x04, 0x05, 0x00},               // inner piece longer than the outer
    };
    for (const auto& v : bad) {
        auto in = bufferOf(v);
        unsigned char* p = nullptr;
        unsigned int n = 0;
        EXPECT_EQ(in->_readASN1(&p, &n), 0) << toHex(v.data(), v.size());
        EXPECT_EQ(p, nullptr);
    }
}

TEST(BerValues, TextGetsATerminator) {
    for (const VecCase& c : casesOfKind(vectors(), "utf8_string")) {
        auto in = bufferOf(c.hex("der"));
        char* text = nullptr;
        ASSERT_TRUE(in->readASN1(&text, static_cast<unsigned char>(0x0C))) << c.where();
        EXPECT_EQ(std::string(text), c.get("value")) << c.where();
        Buffer out;
        out.writeASN1(text, static_cast<unsigned char>(0x0C));
        EXPECT_EQ(written(out), c.hex("der")) << c.where();
        delete[] text;
    }
    auto octets = bufferOf({0x04, 0x02, 'o', 'k'});
    char* text = nullptr;
    unsigned int n = 0;
    ASSERT_TRUE(octets->readASN1(&text, &n));
    EXPECT_STREQ(text, "ok");
    delete[] text;
}

TEST(BerValues, BitStrings) {
    for (const VecCase& c : casesOfKind(vectors(), "bit_string")) {
        auto in = bufferOf(c.hex("der"));
        unsigned char* p = nullptr;
        unsigned int n = 0;
        unsigned char unused = 0;
        ASSERT_TRUE(in->readASN1BitString(&p, &n, &unused)) << c.where();
        EXPECT_EQ(unused, std::stoi(c.get("unused"))) << c.where();
        EXPECT_EQ(toHex(p, n), c.get("value")) << c.where();
        Buffer out;
        out.writeASN1BitString(p, n, unused);
        EXPECT_EQ(written(out), c.hex("der")) << c.where();
        EXPECT_EQ(out.lenASN1BitString(n), c.hex("der").size());
        delete[] p;
    }
}

TEST(BerValues, BitStringCornerCases) {
    Buffer nullString;
    nullString.writeASN1BitString(nullptr, 0, 0);
    EXPECT_EQ(written(nullString), (std::vector<unsigned char>{0x05, 0x01}));

    // Unused bits are cleared in the last byte whatever the input holds.
    auto dirty = bufferOf({0x03, 0x02, 0x04, 0xFF});
    unsigned char* p = nullptr;
    unsigned int n;
    unsigned char unused;
    ASSERT_TRUE(dirty->readASN1BitString(&p, &n, &unused));
    EXPECT_EQ(p[0], 0xF0);
    delete[] p;

    auto empty = bufferOf({0x03, 0x01, 0x00});
    EXPECT_TRUE(empty->readASN1BitString(&p, &n, &unused));
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(p, nullptr);
    auto emptyWithBits = bufferOf({0x03, 0x01, 0x03});
    EXPECT_FALSE(emptyWithBits->readASN1BitString(&p, &n, &unused));
    auto noUnusedByte = bufferOf({0x03, 0x00});
    EXPECT_FALSE(noUnusedByte->readASN1BitString(&p, &n, &unused));
    auto asNull = bufferOf({0x05, 0x00});
    EXPECT_TRUE(asNull->readASN1BitString(&p, &n, &unused));
    EXPECT_EQ(p, nullptr);
    auto taggedEmpty = bufferOf({0x81, 0x01, 0x00});
    EXPECT_TRUE(taggedEmpty->readASN1BitString(&p, &n, &unused, 0x81));
    EXPECT_EQ(n, 0u);
    auto truncated = bufferOf({0x03, 0x05, 0x00, 0x01});
    EXPECT_FALSE(truncated->readASN1BitString(&p, &n, &unused));
    EXPECT_EQ(p, nullptr);

    Buffer header;
    header.writeASN1BitStringHeader(4, 0);
    EXPECT_EQ(written(header), (std::vector<unsigned char>{0x03, 0x05, 0x00}));
    ASSERT_TRUE(header.readASN1BitStringHeader(&n, &unused));
    EXPECT_EQ(n, 4u);
}

TEST(BerValues, ObjectIdentifiers) {
    for (const VecCase& c : casesOfKind(vectors(), "oid")) {
        auto in = bufferOf(c.hex("der"));
        OID oid;
        ASSERT_TRUE(in->readASN1(&oid)) << c.where();
        char* dotted = oid.getValue();
        EXPECT_EQ(std::string(dotted), c.get("value")) << c.where();
        delete[] dotted;
        Buffer out;
        out.writeASN1(&oid);
        EXPECT_EQ(written(out), c.hex("der")) << c.where();
        EXPECT_EQ(out.lenASN1(&oid), c.hex("der").size()) << c.where();
    }
}

TEST(BerValues, ObjectIdentifierCorners) {
    OID keyUsage("2.5.29.15");
    Buffer out;
    out.writeASN1(&keyUsage);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x06, 0x03, 0x55, 0x1D, 0x0F}));
    OID back;
    ASSERT_TRUE(out.readASN1(&back));
    EXPECT_EQ(back.getLength(), 4);
    EXPECT_TRUE(back.isEqual("2.5.29.15"));

    // The first subidentifier is always split by 40: 2.999 (1079) comes back as 26.39.
    auto big = bufferOf({0x06, 0x02, 0x88, 0x37});
    OID odd;
    ASSERT_TRUE(big->readASN1(&odd));
    EXPECT_EQ(odd.getPos(0), 26u);
    EXPECT_EQ(odd.getPos(1), 39u);

    auto empty = bufferOf({0x06, 0x00});
    OID none;
    ASSERT_TRUE(empty->readASN1(&none));
    EXPECT_EQ(none.getLength(), 1);
    EXPECT_EQ(none.getPos(0), 0u);

    // A subidentifier cut off by the end of the content still counts.
    auto cut = bufferOf({0x06, 0x02, 0x2A, 0x86});
    OID partial;
    ASSERT_TRUE(cut->readASN1(&partial));
    EXPECT_EQ(partial.getLength(), 3);

    auto wrongTag = bufferOf({0x04, 0x01, 0x2A});
    EXPECT_FALSE(wrongTag->readASN1(&partial));
    auto tagged = bufferOf({0x80, 0x01, 0x2A});
    EXPECT_TRUE(tagged->readASN1(&partial, 0x80));

    // More subidentifiers than an OID holds: read, but marked as overflowed.
    std::vector<unsigned char> many = {0x06, 70};
    for (int i = 0; i < 70; ++i) many.push_back(0x01);
    auto longOid = bufferOf(many);
    OID overflowed;
    EXPECT_TRUE(longOid->readASN1(&overflowed));
    EXPECT_EQ(overflowed.getLength(), OID::kMaxArcs);
    EXPECT_FALSE(overflowed.isEqual(&overflowed));
}

}  // namespace
