// Lengths, tag-length headers, end-of-contents, SEQUENCE and SET headers.
#include <gtest/gtest.h>

#include <vector>

#include "asn1/Buffer.h"
#include "support/VecFile.h"

namespace {

struct Bytes {
    Buffer b;
    explicit Bytes(const std::vector<unsigned char>& v) {
        b.fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    }
};

std::vector<unsigned char> written(Buffer& b) {
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

TEST(BerHeaders, SequenceHeadersFromAsn1crypto) {
    auto cases = casesOfKind(readVecFile(testData("asn1/ber_vectors.vec")), "sequence_header");
    ASSERT_GE(cases.size(), 8u);
    for (const VecCase& c : cases) {
        std::vector<unsigned char> header = c.hex("header");
        unsigned int expected = static_cast<unsigned int>(std::stoul(c.get("length")));
        Bytes in(header);
        unsigned int len = 0;
        EXPECT_TRUE(in.b.readASN1Sequence(&len)) << c.where();
        EXPECT_EQ(len, expected) << c.where();
        EXPECT_EQ(in.b.getReadPos(), header.size()) << c.where();

        Buffer out;
        out.writeASN1Sequence(expected);
        EXPECT_EQ(written(out), header) << c.where();
        EXPECT_EQ(out.lenASN1Sequence(expected), header.size() + expected) << c.where();
    }
}

TEST(BerHeaders, LengthFormsAndTheirSizes) {
    Buffer b;
    EXPECT_EQ(b.lenASN1Length(127), 1u);
    EXPECT_EQ(b.lenASN1Length(128), 2u);
    EXPECT_EQ(b.lenASN1Length(65535), 3u);
    EXPECT_EQ(b.lenASN1Length(0xFFFFFF), 4u);
    EXPECT_EQ(b.lenASN1Length(0x1000000), 5u);
    b.writeASN1Length(0xFFFFFFFFu);
    EXPECT_EQ(written(b), (std::vector<unsigned char>{0x84, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(BerHeaders, NonMinimalLengthIsAccepted) {
    Bytes in({0x04, 0x81, 0x05});
    unsigned char tag;
    unsigned int len;
    EXPECT_TRUE(in.b.readASN1Header(&tag, &len));
    EXPECT_EQ(len, 5u);
}

TEST(BerHeaders, MoreThanFourLengthBytesFails) {
    Bytes in({0x30, 0x85, 1, 2, 3, 4, 5});
    unsigned char tag;
    unsigned int len;
    EXPECT_FALSE(in.b.readASN1Header(&tag, &len));
    EXPECT_EQ(in.b.getReadPos(), 2u);  // stays behind the length byte
    in.b.rewind();
    in.b.setWritePos(7);
    EXPECT_FALSE(in.b.peekASN1Header(&tag, &len));
}

TEST(BerHeaders, ZeroBytesBeforeATagAreSkipped) {
    Bytes in({0x00, 0x00, 0x30, 0x03, 0x02, 0x01, 0x07});
    unsigned int len;
    EXPECT_TRUE(in.b.readASN1Sequence(&len));
    EXPECT_EQ(len, 3u);
    int v;
    EXPECT_TRUE(in.b.readASN1(&v));
    EXPECT_EQ(v, 7);
}

TEST(BerHeaders, OnlyZeroBytesLeftIsAFailureNotATag) {
    Bytes in({0x00, 0x00, 0x00});
    unsigned char tag;
    unsigned int len;
    EXPECT_FALSE(in.b.readASN1Header(&tag, &len));
}

TEST(BerHeaders, TruncatedLengthFails) {
    for (auto bytes : {std::vector<unsigned char>{0x30}, {0x30, 0x82, 0x01}, {0x04, 0x84, 1, 2}}) {
        Bytes in(bytes);
        unsigned char tag;
        unsigned int len;
        EXPECT_FALSE(in.b.readASN1Header(&tag, &len)) << toHex(bytes.data(), bytes.size());
    }
}

TEST(BerHeaders, IndefiniteLengthAndItsFlag) {
    Bytes in({0x30, 0x80, 0x00, 0x00});
    unsigned char tag, definite = 7;
    unsigned int len = 99;
    // Without the flag an indefinite length looks like an empty value.
    EXPECT_TRUE(in.b.peekASN1Header(&tag, &len));
    EXPECT_EQ(len, 0u);
    EXPECT_EQ(in.b.getReadPos(), 0u);
    EXPECT_TRUE(in.b.readASN1Sequence(&len, &definite));
    EXPECT_EQ(definite, 0);
    EXPECT_TRUE(in.b.readEOC());

    Bytes definiteForm({0x31, 0x00});
    EXPECT_TRUE(definiteForm.b.readASN1Set(&len, &definite));
    EXPECT_EQ(definite, 255);
}

TEST(BerHeaders, ShortIndefiniteHeader) {
    Buffer out;
    out.writeASN1Sequence();
    out.writeEOC();
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0x30, 0x80, 0x00, 0x00}));
    EXPECT_EQ(out.lenASN1Sequence() + out.lenEOC(), 4u);
    unsigned char tag;
    EXPECT_TRUE(out.peekASN1Header(&tag));
    EXPECT_EQ(out.getReadPos(), 0u);
    EXPECT_TRUE(out.readASN1Sequence());
    // The short reader checks the tag only.
    Bytes set({0x31, 0x05});
    EXPECT_FALSE(set.b.readASN1Sequence());
}

TEST(BerHeaders, EndOfContentsNeedsTwoZeroBytes) {
    Bytes one({0x00, 0x01});
    EXPECT_FALSE(one.b.readEOC());
    Bytes first({0x05, 0x00});
    EXPECT_FALSE(first.b.readEOC());
    EXPECT_EQ(first.b.getReadPos(), 1u);  // the first non-zero byte stops it
    Bytes end({0x00});
    EXPECT_FALSE(end.b.readEOC());
}

TEST(BerHeaders, WrongTagLeavesPositionBehindHeader) {
    Bytes in({0x31, 0x02, 0x05, 0x00});
    unsigned int len;
    EXPECT_FALSE(in.b.readASN1Sequence(&len));
    EXPECT_EQ(in.b.getReadPos(), 2u);
}

TEST(BerHeaders, CheckDataLenComparesWithWritePos) {
    // True when writePos equals the announced length plus one: the header size is not counted.
    Bytes quirk({0x04, 0x02, 0xAA});
    EXPECT_TRUE(quirk.b.checkASN1DataLen());
    EXPECT_EQ(quirk.b.getReadPos(), 0u);
    Bytes exactDer({0x04, 0x01, 0xAA});
    EXPECT_FALSE(exactDer.b.checkASN1DataLen());
    Bytes zero({0x00, 0x01});
    EXPECT_FALSE(zero.b.checkASN1DataLen());
    Bytes longForm({0x30, 0x85, 0, 0, 0, 0, 1});
    EXPECT_FALSE(longForm.b.checkASN1DataLen());
}

TEST(BerHeaders, FreeFormTags) {
    Buffer out;
    unsigned char content[2] = {0xAB, 0xCD};
    out.writeTLV(0xBF8765, 2, content);
    EXPECT_EQ(written(out), (std::vector<unsigned char>{0xBF, 0x87, 0x65, 0x02, 0xAB, 0xCD}));
    EXPECT_EQ(out.lenTLV(0xBF8765, 2), 6u);
    EXPECT_EQ(out.lenTLVHeader(0x30, 300), 4u);
    EXPECT_EQ(out.lenTLVHeader(0x1234, 1), 3u);
    EXPECT_EQ(out.lenTLVHeader(0x01000000, 1), 5u);
    Buffer headerOnly;
    headerOnly.writeTLV(0xA0, 5, nullptr);
    EXPECT_EQ(written(headerOnly), (std::vector<unsigned char>{0xA0, 0x05}));
}

}  // namespace
