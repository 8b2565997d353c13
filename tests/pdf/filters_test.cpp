// The stream filters: Flate through zlib with its growing block, the PNG and TIFF predictors,
// and the LZW coder against libtiff's and an independent encoder's output.
#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "pdf/LZW.h"
#include "pdf/PDFFile.h"
#include "pdf_test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes deflateWithZlib(const Bytes& plain) {
    uLongf n = compressBound(static_cast<uLong>(plain.size()));
    Bytes out(n);
    EXPECT_EQ(compress2(out.data(), &n, plain.data(), static_cast<uLong>(plain.size()), 9), Z_OK);
    out.resize(n);
    return out;
}

Bytes fixtureBytes(const std::string& name) {
    std::string s = pdftest::readFixture(name);
    return Bytes(s.begin(), s.end());
}

struct Decoded {
    std::unique_ptr<unsigned char[]> block;
    unsigned int length = 0;
    Bytes bytes() const { return block ? Bytes(block.get(), block.get() + length) : Bytes(); }
};

class FilterTest : public ::testing::Test {
protected:
    Buffer work;
    PDFFile pdf{&work};

    Decoded flate(const Bytes& input) {
        Decoded d;
        d.block.reset(
            pdf.flateDecode(input.data(), static_cast<unsigned int>(input.size()), &d.length));
        return d;
    }
    Decoded lzw(const Bytes& input) {
        Decoded d;
        d.block.reset(
            pdf.lzwDecode(input.data(), static_cast<unsigned int>(input.size()), &d.length));
        return d;
    }
};

TEST_F(FilterTest, FlateGrowsTheBlockOnceThenRefuses) {
    // Varied bytes compress a little: they fit the first block of three times the input.
    Bytes text;
    for (unsigned int i = 0; i < 3000; ++i)
        text.push_back(static_cast<unsigned char>(((i * 7919 + i * i / 3) >> 3) % 61));
    ASSERT_LT(text.size(), 3 * deflateWithZlib(text).size());
    EXPECT_EQ(flate(deflateWithZlib(text)).bytes(), text);

    // Runs of the same bytes expand between 3 and 15 times: decoded at the second attempt.
    Bytes medium;
    for (unsigned int i = 0; i < 3000; ++i) medium.push_back(text[i / 8]);
    Bytes packed = deflateWithZlib(medium);
    ASSERT_GT(medium.size(), 3 * packed.size());
    ASSERT_LT(medium.size(), 15 * packed.size());
    EXPECT_EQ(flate(packed).bytes(), medium);

    // More than fifteen times: refused, with a length of zero.
    Bytes zeros(200000, 0);
    Decoded bomb = flate(deflateWithZlib(zeros));
    EXPECT_EQ(bomb.block, nullptr);
    EXPECT_EQ(bomb.length, 0u);

    // Damaged and truncated data.
    Bytes broken = deflateWithZlib(text);
    EXPECT_EQ(flate(Bytes(broken.begin(), broken.begin() + broken.size() / 2)).block, nullptr);
    broken[3] ^= 0x55;
    EXPECT_EQ(flate(broken).block, nullptr);
    EXPECT_EQ(flate(Bytes()).block, nullptr);
}

TEST_F(FilterTest, PngRowsFourStoredRowsGiveThree) {
    // Five columns, four rows with the tag "Up": each row adds the row above it.
    Bytes rows = {2, 1, 2, 3, 4, 5, 2, 1, 1, 1, 1, 1, 2, 10, 10, 10, 10, 250, 2, 0, 0, 0, 0, 0};
    pdf.setDecodeParms(12, 1, 8, 5);
    Decoded d = flate(deflateWithZlib(rows));
    EXPECT_EQ(d.bytes(), (Bytes{1, 2, 3, 4, 5, 2, 3, 4, 5, 6, 12, 13, 14, 15, 0}));

    // The row's tag decides, whatever the predictor above 9 said.
    pdf.setDecodeParms(15, 1, 8, 5);
    EXPECT_EQ(flate(deflateWithZlib(rows)).bytes(), d.bytes());
    pdf.setDecodeParms(10, 1, 8, 5);
    EXPECT_EQ(flate(deflateWithZlib(rows)).bytes(), d.bytes());
}

TEST_F(FilterTest, PngSubAverageAndPaethRows) {
    // Rows written by Pillow (libpng's filters) for a 24 x 12 grey image: all rows but the
    // last come back.
    Bytes raw = fixtureBytes("pillow-png-rows.raw");
    pdf.setDecodeParms(15, 1, 8, 24);
    Decoded d = flate(fixtureBytes("pillow-png-rows.bin"));
    ASSERT_EQ(d.length, 11u * 24);
    EXPECT_EQ(d.bytes(), Bytes(raw.begin(), raw.begin() + 11 * 24));

    // Average and None by hand: 3 columns, the first row unfiltered, the second averaged.
    Bytes rows = {0, 10, 20, 30, 3, 1, 1, 1, 0, 0, 0, 0};
    pdf.setDecodeParms(12, 1, 8, 3);
    // Second row: 1 + (0 + 10) / 2 = 6; 1 + (6 + 20) / 2 = 14; 1 + (14 + 30) / 2 = 23.
    EXPECT_EQ(flate(deflateWithZlib(rows)).bytes(), (Bytes{10, 20, 30, 6, 14, 23}));
}

TEST_F(FilterTest, TiffRowsUndoTheDifferences) {
    // Each stored row has the one lead byte of the reader's row stride.
    Bytes eightBit = {0, 10, 5, 5, 5, 0, 1, 1, 1, 1, 0, 0, 0, 0, 0};
    pdf.setDecodeParms(2, 1, 8, 4);
    EXPECT_EQ(flate(deflateWithZlib(eightBit)).bytes(), (Bytes{10, 15, 20, 25, 1, 2, 3, 4}));

    // Three colours: each component adds the same component of the pixel before.
    Bytes rgb = {0, 0, 0, 1, 2, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    pdf.setDecodeParms(2, 3, 8, 2);
    EXPECT_EQ(flate(deflateWithZlib(rgb)).bytes(), (Bytes{1, 2, 3, 2, 3, 4}));

    // One bit per sample: each bit is the exclusive-or with the bit before.
    Bytes bits = {0, 0x80, 0, 0};  // 1000 0000 -> 1111 1111
    pdf.setDecodeParms(2, 1, 1, 8);
    EXPECT_EQ(flate(deflateWithZlib(bits)).bytes(), (Bytes{0xFF}));

    // Four bits: nibbles added modulo 16.
    Bytes nibbles = {0, 0x1F, 0x11, 0, 0, 0};  // 1, 15, 1, 1 -> 1, 0, 1, 2
    pdf.setDecodeParms(2, 1, 4, 4);
    EXPECT_EQ(flate(deflateWithZlib(nibbles)).bytes(), (Bytes{0x10, 0x12}));

    // Sixteen bits: big-endian samples added modulo 65536.
    Bytes wide = {0, 0, 0x01, 0x00, 0xFF, 0xFF, 0x00, 0x02, 0, 0, 0, 0, 0, 0, 0, 0};
    pdf.setDecodeParms(2, 1, 16, 3);
    EXPECT_EQ(flate(deflateWithZlib(wide)).bytes(), (Bytes{0x01, 0x00, 0x00, 0xFF, 0x01, 0x01}));
}

TEST_F(FilterTest, PredictorParametersOutOfBoundsAreRefused) {
    Bytes rows(64, 0);
    Bytes packed = deflateWithZlib(rows);
    const unsigned int bad[][3] = {{0, 8, 4}, {33, 8, 4},         {1, 3, 4},
                                   {1, 8, 0}, {1, 8, 0x7FFFFFFF}, {32, 16, 0xFFFFFFFF}};
    for (const auto& p : bad) {
        pdf.setDecodeParms(12, p[0], p[1], p[2]);
        EXPECT_EQ(flate(packed).block, nullptr) << p[0] << " " << p[1] << " " << p[2];
    }
    // A short last row is read as padded and, being last, dropped.
    pdf.setDecodeParms(12, 1, 8, 4);
    Bytes shortRows = {2, 1, 2, 3, 4, 2, 1};
    EXPECT_EQ(flate(deflateWithZlib(shortRows)).bytes(), (Bytes{1, 2, 3, 4}));
}

TEST_F(FilterTest, LzwDecodesLibtiffAndPdfEncoders) {
    // libtiff's coder (TIFF LZW is PDF's LZW with early change) across the 9 to 12-bit widths.
    Bytes raw = fixtureBytes("libtiff-lzw.raw");
    Decoded d = lzw(fixtureBytes("libtiff-lzw.bin"));
    EXPECT_EQ(d.bytes(), raw);

    // An encoder written after the PDF reference, over a table that fills and is cleared.
    EXPECT_EQ(lzw(fixtureBytes("python-lzw.bin")).bytes(), fixtureBytes("python-lzw.raw"));

    // The same data with PNG rows.
    Bytes rows = {2, 1, 2, 3, 2, 1, 1, 1, 2, 0, 0, 0};
    LZW coder;
    Bytes coded(64);
    unsigned long n = coded.size();
    ASSERT_EQ(coder.compress(coded.data(), &n, rows.data(), rows.size()), 0);
    coded.resize(n);
    pdf.setDecodeParms(12, 1, 8, 3);
    EXPECT_EQ(lzw(coded).bytes(), (Bytes{1, 2, 3, 2, 3, 4}));
}

TEST(LZWTest, RoundTripAndHostileCodes) {
    // Long enough to fill the table several times.
    Bytes plain;
    for (unsigned int i = 0; i < 60000; ++i) plain.push_back(static_cast<unsigned char>((i * i) >> 7));
    Bytes coded(plain.size() * 2);
    unsigned long n = coded.size();
    LZW encoder;
    ASSERT_EQ(encoder.compress(coded.data(), &n, plain.data(), plain.size()), 0);
    coded.resize(n);
    Bytes back(plain.size());
    unsigned long m = back.size();
    LZW decoder;
    ASSERT_EQ(decoder.uncompress(back.data(), &m, coded.data(), coded.size()), 0);
    EXPECT_EQ(m, plain.size());
    EXPECT_EQ(back, plain);

    // Output that does not fit is a failure, not an overrun.
    unsigned long small = 100;
    EXPECT_NE(decoder.uncompress(back.data(), &small, coded.data(), coded.size()), 0);
    EXPECT_LE(small, 100u);

    // Data that ends without the end code keeps what was decoded.
    Bytes cut(coded.begin(), coded.begin() + 40);
    m = back.size();
    EXPECT_EQ(decoder.uncompress(back.data(), &m, cut.data(), cut.size()), 0);
    EXPECT_GT(m, 0u);
    EXPECT_TRUE(std::equal(back.begin(), back.begin() + m, plain.begin()));

    // A first code that is no byte, and a code far beyond the table, are refused.
    Bytes badFirst = {0x81, 0x00, 0x00};  // 9 bits 100000010: 258 as the first code
    m = back.size();
    EXPECT_NE(decoder.uncompress(back.data(), &m, badFirst.data(), badFirst.size()), 0);
    EXPECT_NE(decoder.lastError(), nullptr);

    // Whatever the codes, the decoder stays inside its table and its output.
    for (int seed = 0; seed < 200; ++seed) {
        Bytes noise(64);
        for (size_t i = 0; i < noise.size(); ++i)
            noise[i] = static_cast<unsigned char>((seed * 131 + i * 29 + (i * i * seed)) >> 1);
        m = 256;
        decoder.uncompress(back.data(), &m, noise.data(), noise.size());
        EXPECT_LE(m, 256u);
    }
}

}  // namespace
