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

namespace {

// Reads the header at the read position: the tag, or 0 when the read fails.
unsigned char headerTag(Buffer& b, unsigned int* len = nullptr) {
    unsigned char tag = 0, definite = 0;
    unsigned int n = 0;
    if (!b.readASN1Header(&tag, &n, &definite)) return 0;
    if (len != nullptr) *len = n;
    return tag;
}

// Steps over the content of a primitive value whose header was just read.
void skip(Buffer& b, unsigned int len) {
    b.setReadPos(b.getReadPos() + len);
}

}  // namespace

// A definite constructed value must hold exactly the children read from it.
TEST(BerNesting, AParentEndsExactlyWhereItsLastChildEnds) {
    unsigned int len = 0;
    // SEQUENCE { INTEGER 1, SEQUENCE { INTEGER 2 } }, then a NULL: all well formed.
    Bytes good({0x30, 0x08, 0x02, 0x01, 0x01, 0x30, 0x03, 0x02, 0x01, 0x02, 0x05, 0x00});
    EXPECT_EQ(headerTag(good.b), 0x30);
    EXPECT_EQ(headerTag(good.b, &len), 0x02);
    skip(good.b, len);
    EXPECT_EQ(headerTag(good.b), 0x30);
    EXPECT_EQ(headerTag(good.b, &len), 0x02);
    skip(good.b, len);
    EXPECT_EQ(headerTag(good.b), 0x05);

    // The inner SEQUENCE one byte shorter than its INTEGER: the child runs past its parent.
    Bytes shorter({0x30, 0x08, 0x02, 0x01, 0x01, 0x30, 0x02, 0x02, 0x01, 0x02, 0x05, 0x00});
    EXPECT_EQ(headerTag(shorter.b), 0x30);
    EXPECT_EQ(headerTag(shorter.b, &len), 0x02);
    skip(shorter.b, len);
    EXPECT_EQ(headerTag(shorter.b), 0x30);
    EXPECT_EQ(headerTag(shorter.b), 0);

    // The inner SEQUENCE one byte longer: after its INTEGER the next value starts inside it and
    // runs past its end.
    Bytes longer({0x30, 0x09, 0x02, 0x01, 0x01, 0x30, 0x04, 0x02, 0x01, 0x02, 0x05, 0x00});
    EXPECT_EQ(headerTag(longer.b), 0x30);
    EXPECT_EQ(headerTag(longer.b, &len), 0x02);
    skip(longer.b, len);
    EXPECT_EQ(headerTag(longer.b), 0x30);
    EXPECT_EQ(headerTag(longer.b, &len), 0x02);
    skip(longer.b, len);
    EXPECT_EQ(headerTag(longer.b), 0);

    // Zero bytes that pad a value up to its declared end are no child of it.
    Bytes padded({0x30, 0x04, 0x02, 0x01, 0x01, 0x00, 0x05, 0x00});
    EXPECT_EQ(headerTag(padded.b), 0x30);
    EXPECT_EQ(headerTag(padded.b, &len), 0x02);
    skip(padded.b, len);
    EXPECT_EQ(headerTag(padded.b), 0);
    // Outside every value they are skipped as before.
    Bytes leading({0x00, 0x00, 0x30, 0x00, 0x00, 0x05, 0x00});
    EXPECT_EQ(headerTag(leading.b), 0x30);
    EXPECT_EQ(headerTag(leading.b), 0x05);
}

TEST(BerNesting, StepsBackPeeksAndLooserFormsStillRead) {
    unsigned int len = 0;
    // A reader that steps back to a header and reads it again, and one that peeks first.
    Bytes again({0x30, 0x05, 0x31, 0x03, 0x02, 0x01, 0x07, 0x05, 0x00});
    EXPECT_EQ(headerTag(again.b), 0x30);
    EXPECT_EQ(headerTag(again.b), 0x31);
    again.b.setReadPos(0);
    unsigned char tag;
    EXPECT_TRUE(again.b.peekASN1Header(&tag, &len));
    EXPECT_EQ(headerTag(again.b), 0x30);
    EXPECT_EQ(headerTag(again.b), 0x31);
    EXPECT_EQ(headerTag(again.b, &len), 0x02);
    skip(again.b, len);
    EXPECT_EQ(headerTag(again.b), 0x05);
    // A value stepped over whole (kept as bytes) closes what it was in.
    Bytes stepped({0x30, 0x03, 0x30, 0x01, 0x05, 0x05, 0x00});
    EXPECT_EQ(headerTag(stepped.b, &len), 0x30);
    skip(stepped.b, len);
    EXPECT_EQ(headerTag(stepped.b), 0x05);
    // An indefinite value inside a definite one: its children are held to the outer end.
    Bytes mixed({0x30, 0x07, 0x30, 0x80, 0x02, 0x01, 0x01, 0x00, 0x00});
    EXPECT_EQ(headerTag(mixed.b), 0x30);
    EXPECT_EQ(headerTag(mixed.b), 0x30);
    EXPECT_EQ(headerTag(mixed.b, &len), 0x02);
    skip(mixed.b, len);
    EXPECT_TRUE(mixed.b.readEOC());
    Bytes mixedOver({0x30, 0x06, 0x30, 0x80, 0x02, 0x03, 0x01, 0x00, 0x00});
    EXPECT_EQ(headerTag(mixedOver.b), 0x30);
    EXPECT_EQ(headerTag(mixedOver.b), 0x30);
    EXPECT_EQ(headerTag(mixedOver.b), 0);
    // A definite constructed OCTET STRING keeps its reading by the first piece.
    Bytes pieces({0x24, 0x06, 0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB});
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(pieces.b._readASN1(&p, &n), 2);
    delete[] p;
    EXPECT_EQ(headerTag(pieces.b), 0x04);
    // The same buffer filled again starts with nothing open.
    Bytes reused({0x30, 0x01, 0x02, 0x01, 0x01});
    EXPECT_EQ(headerTag(reused.b), 0x30);
    EXPECT_EQ(headerTag(reused.b), 0);
    std::vector<unsigned char> fresh = {0x02, 0x01, 0x01};
    reused.b.fromByteArray(fresh.data(), 3);
    EXPECT_EQ(headerTag(reused.b), 0x02);
}
