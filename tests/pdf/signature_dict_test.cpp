// Signature dictionaries and fields read byte by byte: which keys are kept, how values are
// decoded, which dictionaries are refused, and the coverage test over the signed ranges.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "pdf/PDFFile.h"
#include "pdf_test_support.h"

namespace {

using pdftest::classicFile;
using pdftest::readBytes;

const char* const kPlaceholder = "/ByteRange [SSSSSSSSSS AAAAAAAAAA BBBBBBBBBB CCCCCCCCCC]";

// Fills the ranges placeholder of the file with the given values, ten digits each.
std::string withRanges(std::string file, unsigned long a, unsigned long b, unsigned long c,
                       unsigned long d) {
    char text[80];
    std::snprintf(text, sizeof text, "/ByteRange [%010lu %010lu %010lu %010lu]", a, b, c, d);
    size_t at = file.find(kPlaceholder);
    EXPECT_NE(at, std::string::npos);
    file.replace(at, std::string(kPlaceholder).size(), text);
    return file;
}

// A file of one catalog and one signature dictionary (object 2) with the given body.
std::string oneDictionary(const std::string& body) {
    return classicFile({"<< /Type /Catalog >>", body});
}

struct Reader {
    unsigned char ok = 0;
    std::unique_ptr<PDFFile> pdf;
    explicit Reader(const std::string& bytes) : pdf(readBytes(bytes, &ok)) {
        pdf->setCurrentSignature(0);
    }
    const signatureRecord* sig() const { return pdf->_getSignature(0); }
};

// The file's ranges around its only /Contents: from the start to "<", and from past ">".
std::string coveringRanges(const std::string& file, long endAdjust) {
    size_t lt = file.find("/Contents <") + 10;
    size_t gt = file.find('>', lt) + 1;
    return withRanges(file, 0, lt, gt, file.size() - gt + endAdjust);
}

TEST(SignatureDictTest, CoverageOfTheRanges) {
    std::string file = oneDictionary(std::string("<< /Type /Sig /SubFilter /adbe.pkcs7.detached ") +
                                     kPlaceholder + " /Contents <308203> >>");
    // The whole file, then the whole file but its last line end: both end at "%%EOF".
    for (long adjust : {0L, -1L}) {
        Reader r(coveringRanges(file, adjust));
        ASSERT_EQ(r.pdf->signaturesCount(), 1);
        EXPECT_TRUE(r.pdf->signOverall()) << adjust;
    }
    // A range that ends in the middle of the file.
    size_t lt = file.find("/Contents <") + 10;
    size_t gt = file.find('>', lt) + 1;
    Reader middle(withRanges(file, 0, lt, gt, 20));
    EXPECT_FALSE(middle.pdf->signOverall());
    // A range past the end of the file: no pointer into it either.
    Reader past(withRanges(file, 0, lt, gt, file.size()));
    EXPECT_FALSE(past.pdf->signOverall());
    EXPECT_EQ(past.pdf->toDigest2(), nullptr);
    EXPECT_NE(past.pdf->toDigest1(), nullptr);
    // A first range that does not start the file, or misses the "<", or a second range that
    // does not start just past ">".
    size_t rest = file.size() - gt;
    EXPECT_FALSE(Reader(withRanges(file, 1, lt - 1, gt, rest)).pdf->signOverall());
    EXPECT_FALSE(Reader(withRanges(file, 0, lt - 1, gt, rest)).pdf->signOverall());
    EXPECT_FALSE(Reader(withRanges(file, 0, lt, gt + 1, rest - 1)).pdf->signOverall());
    // A zero range leaves the dictionary uncounted.
    EXPECT_EQ(Reader(withRanges(file, 0, lt, gt, 0)).pdf->signaturesCount(), 0);
    EXPECT_EQ(Reader(withRanges(file, 0, 0, gt, rest)).pdf->signaturesCount(), 0);
}

TEST(SignatureDictTest, ContentsAtOneHundredAndGapToTwoHundred) {
    // Padding puts "<" of /Contents at byte 100 and ">" at 199.
    auto make = [](size_t pad) {
        return oneDictionary("<< /Name (" + std::string(pad, 'x') + ") /Contents <" +
                             std::string(98, 'A') + "> " + kPlaceholder + " /Type /Sig >>");
    };
    size_t lt = make(0).find("/Contents <") + 10;
    ASSERT_LT(lt, 100u);
    std::string file = make(100 - lt);
    ASSERT_EQ(file[100], '<');
    ASSERT_EQ(file[199], '>');
    Reader r(withRanges(file, 0, 100, 200, file.size() - 200));
    ASSERT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_EQ(r.sig()->contentsStart, 100u);
    EXPECT_EQ(r.sig()->contentsEnd, 200u);
    EXPECT_EQ(r.pdf->getContentsLen(), 49u);
    EXPECT_EQ(r.pdf->getContents()[48], 0xAA);
    EXPECT_TRUE(r.pdf->signOverall());
}

TEST(SignatureDictTest, ValuesKeptAndDecoded) {
    std::string body =
        "<</Type/Sig/Filter/Adobe.PPKLite/SubFilter/adbe.x509.rsa_sha1/ByteRange [0 5 10 5]"
        "/Contents <ABC>/Cert (a\\(b\\)\\\\\\n\\101\\7z\\q)/M(D:20240102030405+01'00')>>";
    Reader r(oneDictionary(body));
    ASSERT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_TRUE(r.pdf->isSubFilter("adbe.x509.rsa_sha1"));
    // Odd hexadecimal: the last digit pairs with ">".
    ASSERT_EQ(r.pdf->getContentsLen(), 2u);
    EXPECT_EQ(r.pdf->getContents()[0], 0xAB);
    EXPECT_EQ(r.pdf->getContents()[1], 0x0C);
    // A literal string with its escapes.
    std::string cert(reinterpret_cast<char*>(r.pdf->getCert()), r.pdf->getCertLen());
    EXPECT_EQ(cert, std::string("a(b)\\\nA\007zq"));
    std::unique_ptr<char[]> when(r.pdf->getSigningTime());
    EXPECT_STREQ(when.get(), "20240102030405+01'00'");
    EXPECT_EQ(r.sig()->objectNumber, 2u);
    EXPECT_EQ(r.sig()->start2, 10u);

    // /M without "D:" is kept whole; /Cert in hexadecimal.
    Reader plain(
        oneDictionary("<< /ByteRange [0 5 10 5] /Contents <00> /M (20240102) "
                      "/Cert <30 82 01> >>"));
    ASSERT_EQ(plain.pdf->signaturesCount(), 1);
    std::unique_ptr<char[]> whole(plain.pdf->getSigningTime());
    EXPECT_STREQ(whole.get(), "20240102");
    // Blanks in hexadecimal are read as "%x" reads them, two characters at a time.
    ASSERT_EQ(plain.pdf->getCertLen(), 4u);
    EXPECT_EQ(plain.pdf->getCert()[0], 0x30);
    // No /SubFilter: no name matches it.
    EXPECT_FALSE(plain.pdf->isSubFilter("adbe.pkcs7.detached"));
    EXPECT_FALSE(plain.pdf->isSubFilter(""));

    // An empty /Contents counts, with a length of zero.
    Reader empty(oneDictionary("<< /Type /Sig /ByteRange [0 5 10 5] /Contents <> >>"));
    ASSERT_EQ(empty.pdf->signaturesCount(), 1);
    EXPECT_EQ(empty.pdf->getContentsLen(), 0u);
    EXPECT_NE(empty.pdf->getContents(), nullptr);
    EXPECT_EQ(empty.sig()->contentsEnd, empty.sig()->contentsStart + 2);
    EXPECT_EQ(empty.pdf->getSigningTime(), nullptr);
}

TEST(SignatureDictTest, DictionariesThatAreRefused) {
    const char* refused[] = {
        // Another /Type.
        "<< /Type /DocTimeStamp /ByteRange [0 5 10 5] /Contents <00> >>",
        "<< /Type /Sigs /ByteRange [0 5 10 5] /Contents <00> >>",
        // /Contents that is no hexadecimal string, or never ends.
        "<< /ByteRange [0 5 10 5] /Contents (00) >>",
        "<< /ByteRange [0 5 10 5] /Contents 7 0 R >>",
        // /SubFilter, /ByteRange, /Cert, /M of the wrong kind.
        "<< /SubFilter (x) /ByteRange [0 5 10 5] /Contents <00> >>",
        "<< /ByteRange 5 0 R /Contents <00> >>",
        "<< /ByteRange [0 5 10 5] /Contents <00> /Cert [(a) (b)] >>",
        "<< /ByteRange [0 5 10 5] /Contents <00> /M D:2024 >>",
        // /Changes followed by one blank is refused, as it always was; with two it is read.
        "<< /ByteRange [0 5 10 5] /Contents <00> /Changes [1 2 3] >>",
        // Missing /Contents.
        "<< /Type /Sig /ByteRange [0 5 10 5] >>",
    };
    for (const char* body : refused) {
        Reader r(oneDictionary(body));
        EXPECT_TRUE(r.ok) << body;
        EXPECT_EQ(r.pdf->signaturesCount(), 0) << body;
    }
    Reader twoBlanks(oneDictionary("<< /ByteRange [0 5 10 5] /Contents <00> /Changes  [1 2] >>"));
    EXPECT_EQ(twoBlanks.pdf->signaturesCount(), 1);
    // An object that does not end is no dictionary.
    std::string open = oneDictionary("<< /ByteRange [0 5 10 5] /Contents <00> >>");
    open.replace(open.rfind("endobj"), 6, "endobX");
    EXPECT_EQ(Reader(open).pdf->signaturesCount(), 0);
}

TEST(SignatureDictTest, SkippedValuesHideNoKeys) {
    // Keys inside skipped strings and arrays are not taken; nested dictionaries are not
    // understood, so a key there counts like any other.
    Reader r(oneDictionary(
        "<< /Type /Sig /Name (x /Contents <FF> \\) /Type /Other) /Reason (y (/M (bad)) ) "
        "/Location (z) /ContactInfo (/Type /X) /Prop_AuthType /PIN "
        "/Reference [<< /Type /SigRef /Data [1 [2]] >>] /ByteRange [0 5 10 5] "
        "/Prop_Build << /Filter << /Name /Adobe.PPKLite >> >> /Contents <0102> >>"));
    ASSERT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_EQ(r.pdf->getContentsLen(), 2u);
    EXPECT_EQ(r.pdf->getSigningTime(), nullptr);
    // A later key replaces the earlier value.
    Reader twice(
        oneDictionary("<< /ByteRange [0 5 10 5] /Contents <01> /SubFilter /a "
                      "/Contents <0203> /SubFilter /b >>"));
    ASSERT_EQ(twice.pdf->signaturesCount(), 1);
    EXPECT_EQ(twice.pdf->getContentsLen(), 2u);
    EXPECT_TRUE(twice.pdf->isSubFilter("b"));
}

// The walks pass quickly over bytes that cannot start a key, such as a long run of "e"; the
// keys and "endobj" right after such runs must still be found, in fields and dictionaries.
TEST(SignatureDictTest, KeysRightAfterLongRunsOfOtherBytes) {
    std::string run(100000, 'e');
    Reader r(classicFile(
        {"<< /Type /Catalog >>",
         "<< /Type /Sig " + run + "/ByteRange [0 5 10 5] " + run + "e/Contents <0102> " + run +
             "/SubFilter /adbe.pkcs7.detached " + run + ">>",
         "<< /FT " + run + " /X >> " + run + "endobj", "<< /FT /Sig " + run + "/V 2 0 R >>"}));
    ASSERT_TRUE(r.ok);
    ASSERT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_EQ(r.pdf->getContentsLen(), 2u);
    EXPECT_TRUE(r.pdf->isSubFilter("adbe.pkcs7.detached"));
    EXPECT_EQ(r.sig()->length2, 5u);
    // Only object 4 is a field: object 3 ends (at its first "endobj") before any /Sig.
    ASSERT_EQ(r.pdf->fieldsCount(), 1);
    EXPECT_EQ(r.pdf->_getField(0)->objectNumber, 4u);
    EXPECT_EQ(r.pdf->_getField(0)->valueObject, 2u);
    // An "endobj" after a run ends the dictionary: the /Contents after it is not its own.
    Reader ended(oneDictionary("<< /ByteRange [0 5 10 5] " + run + "endobj /Contents <01> >>"));
    EXPECT_EQ(ended.pdf->signaturesCount(), 0);
}

TEST(SignatureDictTest, FieldsAndTheirValues) {
    const char* dictionary = "<< /Type /Sig /ByteRange [0 5 10 5] /Contents <00> >>";
    // A field names its dictionary through /V, wherever /V stands.
    Reader r(classicFile({"<< /V 3 0 R /T (A) /FT /Sig >>", "<< /Type /Catalog >>", dictionary}));
    ASSERT_EQ(r.pdf->fieldsCount(), 1);
    EXPECT_EQ(r.pdf->_getField(0)->objectNumber, 1u);
    EXPECT_EQ(r.pdf->_getField(0)->valueObject, 3u);
    EXPECT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_TRUE(r.pdf->hasValue());

    // Fields with no value, a direct value, or of another type are not counted.
    for (const char* field : {"<< /FT /Sig /T (A) >>", "<< /FT /Sig /V << /Type /Sig >> >>",
                              "<< /FT /Tx /V 3 0 R >>", "<< /FT /Sigs /V 3 0 R >>"}) {
        Reader other(classicFile({field, "<< /Type /Catalog >>", dictionary}));
        EXPECT_EQ(other.pdf->fieldsCount(), 0) << field;
        // The dictionary, named by no counted field, is read all the same.
        EXPECT_EQ(other.pdf->signaturesCount(), 1) << field;
        EXPECT_FALSE(other.pdf->hasValue()) << field;
    }

    // A field whose value names no dictionary.
    Reader dangling(classicFile({"<< /FT /Sig /V 9 0 R >>", "<< /Type /Catalog >>", dictionary}));
    EXPECT_EQ(dangling.pdf->fieldsCount(), 1);
    EXPECT_FALSE(dangling.pdf->hasValue());
}

}  // namespace
