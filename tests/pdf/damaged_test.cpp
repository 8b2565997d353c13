// Damaged and hostile files: every bound of the reader (trailer window, /Prev chains and loops,
// entry lines, filters, lying lengths, inflation, the two arrays, the work budget) ends in the
// reader's error or a partial result, never in an overrun or a hang.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "pdf/PDFFile.h"
#include "pdf_test_support.h"

namespace {

using pdftest::classicFile;
using pdftest::readBytes;
using pdftest::readFixture;

std::string replaceOnce(std::string s, const std::string& from, const std::string& to) {
    size_t at = s.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) s.replace(at, from.size(), to);
    return s;
}

std::string replaceLast(std::string s, const std::string& from, const std::string& to) {
    size_t at = s.rfind(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) s.replace(at, from.size(), to);
    return s;
}

struct Counts {
    unsigned char ok;
    int fields;
    int signatures;
    unsigned int revisions;
};

Counts countsOf(const std::string& bytes) {
    Counts c;
    auto pdf = readBytes(bytes, &c.ok);
    c.fields = pdf->fieldsCount();
    c.signatures = pdf->signaturesCount();
    c.revisions = pdf->revisionsRead();
    return c;
}

TEST(DamagedPDFTest, StartxrefMustLieInTheLast64Bytes) {
    std::string file = readFixture("signed-plain.pdf");
    size_t at = file.rfind("startxref");
    ASSERT_LT(file.size() - at, 64u);
    std::string inside = file + std::string(64 - (file.size() - at), '\n');
    std::string outside = inside + "\n";
    EXPECT_TRUE(countsOf(inside).ok);
    EXPECT_EQ(countsOf(inside).signatures, 1);
    EXPECT_FALSE(countsOf(outside).ok);
    EXPECT_FALSE(countsOf("").ok);
    EXPECT_FALSE(countsOf("startxref\n").ok);
    EXPECT_FALSE(countsOf("startxref\n999999\n%%EOF").ok);
}

TEST(DamagedPDFTest, PrevChainOfTables) {
    std::string file = readFixture("signed-twice.pdf");
    // A /Prev ahead of the trailer stops the chain: the older revisions are not read.
    Counts forward = countsOf(replaceLast(file, "/Prev 7901", "/Prev 99999"));
    EXPECT_TRUE(forward.ok);
    EXPECT_EQ(forward.revisions, 0u);
    EXPECT_EQ(forward.signatures, 1);
    // A /Prev back to the newest table is a loop: the read fails.
    size_t start = file.rfind("startxref\n") + 10;
    std::string newest = file.substr(start, file.find('\n', start) - start);
    EXPECT_FALSE(countsOf(replaceLast(file, "/Prev 7901", "/Prev " + newest)).ok);
    // A /Prev with no table after it (the search meets "startxref") fails the read.
    std::string past = std::to_string(std::stoul(newest) + 1);
    EXPECT_FALSE(countsOf(replaceLast(file, "/Prev 7901", "/Prev " + past)).ok);
    // No /Prev: only the newest revision.
    Counts alone = countsOf(replaceLast(file, "/Prev 7901", "/Size 14"));
    EXPECT_TRUE(alone.ok);
    EXPECT_EQ(alone.signatures, 1);
}

const char* const kField = "<< /FT /Sig /T (Firma) /V 3 0 R >>";
const char* const kDictionary =
    "<< /Type /Sig /SubFilter /adbe.pkcs7.detached /ByteRange [0 10 20 30] /Contents <3082> >>";

TEST(DamagedPDFTest, EntryLinesOf19Or21BytesEndTheSubsection) {
    std::string file = classicFile({"<< /Type /Catalog >>", kField, kDictionary});
    Counts whole = countsOf(file);
    EXPECT_TRUE(whole.ok);
    EXPECT_EQ(whole.fields, 1);
    EXPECT_EQ(whole.signatures, 1);

    size_t second = file.find("xref\n") + 5 + 4 + 2 * 20;  // "0 4\n", the free entry, object 1
    ASSERT_EQ(file.substr(second + 17, 3), "n\r\n");
    std::string nineteen = file;
    nineteen.replace(second + 18, 2, "\n");
    Counts cut = countsOf(nineteen);
    EXPECT_TRUE(cut.ok);
    EXPECT_EQ(cut.fields, 0);
    EXPECT_EQ(cut.signatures, 0);

    std::string twentyOne = file;
    twentyOne.replace(second + 18, 2, "  \n");
    cut = countsOf(twentyOne);
    EXPECT_TRUE(cut.ok);
    EXPECT_EQ(cut.fields, 0);
    EXPECT_EQ(cut.signatures, 0);

    // Entries with offsets past the file or negative are passed over.
    std::string wild = file;
    wild.replace(second, 10, "9999999999");
    EXPECT_TRUE(countsOf(wild).ok);
    wild.replace(second, 10, "-000000001");
    EXPECT_TRUE(countsOf(wild).ok);
}

TEST(DamagedPDFTest, CrossReferenceStreamFilters) {
    std::string file = readFixture("handmade-w021.pdf");
    ASSERT_EQ(countsOf(file).signatures, 1);
    // An array of filters, or a filter the reader lacks, fails the read.
    EXPECT_FALSE(countsOf(replaceLast(file, "/Filter /FlateDecode", "/Filter [/FlateDecode]")).ok);
    EXPECT_FALSE(
        countsOf(replaceLast(file, "/Filter /FlateDecode", "/Filter /RunLengthDecode")).ok);
    // A /Length past the end of the file is cut at the end: the stream still decodes.
    Counts longer = countsOf(replaceLast(file, "/Length 35", "/Length 4000000000"));
    EXPECT_TRUE(longer.ok);
    EXPECT_EQ(longer.signatures, 1);
    // A /Length short of the data: nothing decodes, so the table has no entries.
    Counts shorter = countsOf(replaceLast(file, "/Length 35", "/Length 10"));
    EXPECT_TRUE(shorter.ok);
    EXPECT_EQ(shorter.signatures, 0);
    // A /Type other than /XRef fails.
    EXPECT_FALSE(countsOf(replaceLast(file, "/Type /XRef", "/Type /XObj")).ok);
    // A row width of zero fails.
    EXPECT_FALSE(countsOf(replaceLast(file, "/W [0 2 1]", "/W [0 0 0]")).ok);
}

TEST(DamagedPDFTest, LoopsAndBombs) {
    // A cross-reference stream whose /Prev names itself.
    auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(countsOf(readFixture("handmade-prevloop.pdf")).ok);
    // 2 MB of zeros packed in 2 KB: refused, and the table has no entries.
    Counts bomb = countsOf(readFixture("handmade-bomb.pdf"));
    EXPECT_TRUE(bomb.ok);
    EXPECT_EQ(bomb.fields, 0);
    EXPECT_EQ(bomb.signatures, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(DamagedPDFTest, MoreThanThirtyFieldsOrSignaturesFailTheRead) {
    Counts thirty = countsOf(readFixture("handmade-30fields.pdf"));
    EXPECT_TRUE(thirty.ok);
    EXPECT_EQ(thirty.fields, 30);
    Counts more = countsOf(readFixture("handmade-31fields.pdf"));
    EXPECT_FALSE(more.ok);
    EXPECT_LE(more.fields, 30);
    Counts signatures = countsOf(readFixture("handmade-31sigs.pdf"));
    EXPECT_FALSE(signatures.ok);
    EXPECT_LE(signatures.signatures, 30);
}

TEST(DamagedPDFTest, ObjectStreamThatIsAnotherObject) {
    std::string file = readFixture("handmade-lzw.pdf");
    std::string wrong = replaceOnce(file, "8 0 obj\n<< /Type /ObjStm", "7 0 obj\n<< /Type /ObjStm");
    // The notice goes to standard error, never into a report written on standard output.
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Counts c = countsOf(wrong);
    std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(c.ok);
    EXPECT_EQ(c.fields, 0);
    EXPECT_EQ(c.signatures, 1);
    EXPECT_EQ(printed, "\n object number mismatch 8 != 7\n");
    // An object stream whose /Type is not /ObjStm gives no objects.
    c = countsOf(replaceOnce(file, "<< /Type /ObjStm", "<< /Type /Object"));
    EXPECT_TRUE(c.ok);
    EXPECT_EQ(c.fields, 0);
}

TEST(DamagedPDFTest, EntriesPointingAtOneEndlessObjectExhaustTheBudget) {
    // 20000 entries at one object of 2 MB with no "endobj": walked in full each time, that
    // would be 40 GB of steps.
    std::string file = "%PDF-1.4\n1 0 obj\n<< /Big (" + std::string(2 << 20, 'a') + ")\n";
    size_t start = file.size();
    file += "xref\n0 20000\n";
    for (int i = 0; i < 20000; ++i) file += "0000000009 00000 n\r\n";
    file += "trailer\n<< /Size 20000 >>\nstartxref\n" + std::to_string(start) + "\n%%EOF\n";
    auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(countsOf(file).ok);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(DamagedPDFTest, RowsSwitchingBetweenLargeObjectStreamsExhaustTheBudget) {
    // Two object streams of 1 MB, and 200000 rows that name them in turn: each switch decodes
    // a stream again.
    std::string file = "%PDF-1.5\n";
    std::vector<size_t> offsets;
    for (int k = 0; k < 2; ++k) {
        offsets.push_back(file.size());
        std::string body = "5 0 " + std::string(1 << 20, ' ');
        file += std::to_string(k + 1) + " 0 obj\n<< /Type /ObjStm /N 1 /First 4 /Length " +
                std::to_string(body.size()) + " >>\nstream\n" + body + "\nendstream\nendobj\n";
    }
    size_t start = file.size();
    offsets.push_back(start);
    std::string rows;
    auto row = [&rows](unsigned char type, unsigned int a, unsigned int b) {
        rows += static_cast<char>(type);
        for (int shift = 24; shift >= 0; shift -= 8) rows += static_cast<char>(a >> shift);
        rows += static_cast<char>(b >> 8);
        rows += static_cast<char>(b);
    };
    row(0, 0, 65535);
    for (size_t offset : offsets) row(1, static_cast<unsigned int>(offset), 0);
    for (int i = 0; i < 200000; ++i) row(2, 1 + i % 2, 0);
    file += "3 0 obj\n<< /Type /XRef /W [1 4 2] /Index [0 4 10 200000] /Size 200010 /Length " +
            std::to_string(rows.size()) + " >>\nstream\n" + rows + "\nendstream\nendobj\n";
    file += "startxref\n" + std::to_string(start) + "\n%%EOF\n";
    auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(countsOf(file).ok);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(DamagedPDFTest, TruncatedAndFlippedFilesStayInBounds) {
    for (const char* name : {"signed-twice.pdf", "signed-twice-objstm.pdf", "handmade-lzw.pdf",
                             "handmade-tiff.pdf", "handmade-shadowed.pdf"}) {
        std::string file = readFixture(name);
        for (size_t n = 0; n < file.size(); n += 97) {
            Counts c = countsOf(file.substr(0, n));
            EXPECT_LE(c.signatures, 30);
            std::string flipped = file;
            flipped[n] = static_cast<char>(flipped[n] ^ 0x5A);
            c = countsOf(flipped);
            EXPECT_LE(c.fields, 30);
        }
    }
}

}  // namespace
