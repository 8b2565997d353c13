// The reader over files signed and rewritten by independent tools: @signpdf (plain and pdf-lib
// placeholders, incremental updates), qpdf (cross-reference streams, object streams, back to
// tables), and the hand-made files for what no tool writes. pdfsig is the second opinion.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "pdf/PDFFile.h"
#include "pdf_test_support.h"

namespace {

using pdftest::Range;
using pdftest::readBytes;
using pdftest::readFixture;

struct Read {
    std::string bytes;
    unsigned char ok = 0;
    std::unique_ptr<PDFFile> pdf;
    explicit Read(const std::string& name) : bytes(readFixture(name)) {
        pdf = readBytes(bytes, &ok);
    }
};

std::vector<Range> rangesOf(PDFFile* pdf) {
    std::vector<Range> out;
    for (int i = 0; i < pdf->signaturesCount(); ++i)
        out.push_back(pdftest::rangeOf(pdf->_getSignature(i)));
    return out;
}

TEST(PDFFileTest, OneSignatureByThePlainPlaceholder) {
    Read r("signed-plain.pdf");
    ASSERT_TRUE(r.ok);
    PDFFile* pdf = r.pdf.get();
    // The signature came in an incremental update over pikepdf's file.
    EXPECT_EQ(pdf->revisionsRead(), 1u);
    ASSERT_EQ(pdf->fieldsCount(), 1);
    ASSERT_EQ(pdf->signaturesCount(), 1);
    const signatureField* field = pdf->_getField(0);
    const signatureRecord* sig = pdf->_getSignature(0);
    EXPECT_EQ(field->revision, 0u);
    EXPECT_EQ(field->valueObject, sig->objectNumber);
    EXPECT_FALSE(field->shadowed);

    pdf->setCurrentSignature(0);
    EXPECT_TRUE(pdf->hasValue());
    EXPECT_TRUE(pdf->isSubFilter("adbe.pkcs7.detached"));
    EXPECT_FALSE(pdf->isSubFilter("adbe.pkcs7"));
    EXPECT_FALSE(pdf->isSubFilter("ETSI.CAdES.detached"));
    std::unique_ptr<char[]> when(pdf->getSigningTime());
    ASSERT_NE(when, nullptr);
    EXPECT_STREQ(when.get(), "20240506070809Z");

    // /Contents: the DER signature, then the tool's zero padding; its "<" and ">" are the gap.
    ASSERT_EQ(pdf->getContentsLen(), 3000u);
    EXPECT_EQ(pdf->getContents()[0], 0x30);
    EXPECT_EQ(pdf->getContents()[1], 0x82);
    EXPECT_EQ(pdf->getContents()[2999], 0);
    EXPECT_EQ(r.bytes[sig->contentsStart], '<');
    EXPECT_EQ(r.bytes[sig->contentsEnd - 1], '>');
    EXPECT_EQ(pdf->getCert(), nullptr);

    // The ranges point into the file and cover all of it but the gap.
    EXPECT_EQ(pdf->toDigest1(), pdf->toDigest2() - sig->start2);
    EXPECT_EQ(pdf->toDigestLen1(), sig->contentsStart);
    EXPECT_EQ(sig->start2 + pdf->toDigestLen2(), r.bytes.size());
    EXPECT_EQ(std::memcmp(pdf->toDigest2(), r.bytes.data() + sig->start2, pdf->toDigestLen2()), 0);
    EXPECT_TRUE(pdf->signOverall());
}

TEST(PDFFileTest, TwoIncrementalSignaturesNewestFirst) {
    Read r("signed-twice.pdf");
    ASSERT_TRUE(r.ok);
    PDFFile* pdf = r.pdf.get();
    EXPECT_EQ(pdf->revisionsRead(), 2u);
    ASSERT_EQ(pdf->signaturesCount(), 2);
    ASSERT_EQ(pdf->fieldsCount(), 2);
    const signatureRecord* newer = pdf->_getSignature(0);
    const signatureRecord* older = pdf->_getSignature(1);
    EXPECT_EQ(newer->revision, 0u);
    EXPECT_EQ(older->revision, 1u);
    EXPECT_LT(older->contentsStart, newer->contentsStart);
    EXPECT_EQ(pdf->_getField(0)->valueObject, newer->objectNumber);
    EXPECT_EQ(pdf->_getField(1)->valueObject, older->objectNumber);
    // Both cover: the older one ends at the "%%EOF" of the revision it signed.
    for (int i = 0; i < 2; ++i) {
        pdf->setCurrentSignature(i);
        EXPECT_TRUE(pdf->signOverall()) << i;
        EXPECT_TRUE(pdf->hasValue()) << i;
    }
    EXPECT_LT(older->start2 + older->length2, r.bytes.size());
    EXPECT_EQ(pdf->_getSignature(2), nullptr);
    EXPECT_EQ(pdf->_getField(-1), nullptr);
}

TEST(PDFFileTest, SavedOriginalIsTheRevisionBeforeTheSignature) {
    Read twice("signed-twice.pdf");
    ASSERT_TRUE(twice.ok);
    char path[] = "/tmp/sigilo-pdf-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    twice.pdf->setCurrentSignature(0);
    EXPECT_TRUE(twice.pdf->saveOrigFile(fd));
    close(fd);
    std::FILE* f = std::fopen(path, "rb");
    std::string saved;
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) saved.append(chunk, n);
    std::fclose(f);
    unlink(path);
    // The second signature was added over the file with one signature: that file comes back,
    // up to its "%%EOF" and the line end the tool wrote after it.
    std::string once = readFixture("signed-plain.pdf");
    ASSERT_GE(saved.size(), once.size() - 1);
    EXPECT_EQ(saved.substr(0, once.size() - 1), once.substr(0, once.size() - 1));
    EXPECT_EQ(saved.substr(saved.size() - 6, 5), "%%EOF");

    // With no signature selected nothing is written.
    Read plain("signed-plain.pdf");
    plain.pdf->setCurrentSignature(5);
    EXPECT_FALSE(plain.pdf->saveOrigFile(-1));
}

TEST(PDFFileTest, SubFiltersOfOtherTools) {
    Read cades("signed-cades.pdf");
    ASSERT_TRUE(cades.ok);
    ASSERT_EQ(cades.pdf->signaturesCount(), 1);
    cades.pdf->setCurrentSignature(0);
    EXPECT_TRUE(cades.pdf->isSubFilter("ETSI.CAdES.detached"));
    EXPECT_TRUE(cades.pdf->signOverall());

    // pdf-lib rewrites the whole file: one revision, field and dictionary in the file.
    Read pdflib("signed-pdflib.pdf");
    ASSERT_TRUE(pdflib.ok);
    EXPECT_EQ(pdflib.pdf->revisionsRead(), 0u);
    ASSERT_EQ(pdflib.pdf->signaturesCount(), 1);
    pdflib.pdf->setCurrentSignature(0);
    EXPECT_TRUE(pdflib.pdf->signOverall());
    EXPECT_TRUE(pdflib.pdf->hasValue());

    // An unsigned placeholder: the field is there, the dictionary's /ByteRange is not numbers.
    Read empty("placeholder-plain.pdf");
    ASSERT_TRUE(empty.ok);
    EXPECT_EQ(empty.pdf->fieldsCount(), 1);
    EXPECT_EQ(empty.pdf->signaturesCount(), 0);

    // No signature at all reads with counts of zero, tables and streams alike.
    for (const char* name : {"base.pdf", "base-xrefstream.pdf"}) {
        Read base(name);
        EXPECT_TRUE(base.ok) << name;
        EXPECT_EQ(base.pdf->signaturesCount(), 0) << name;
        EXPECT_EQ(base.pdf->fieldsCount(), 0) << name;
    }
}

TEST(PDFFileTest, FilesRewrittenByQpdf) {
    Read signedOnce("signed-plain.pdf");
    Read twice("signed-twice.pdf");
    // Back to one classic table: both fields and dictionaries, now in one revision; the ranges
    // the dictionaries declare no longer fit the file.
    for (const char* name : {"signed-twice-classic.pdf", "signed-qdf.pdf"}) {
        Read r(name);
        ASSERT_TRUE(r.ok) << name;
        EXPECT_EQ(r.pdf->revisionsRead(), 0u);
        EXPECT_EQ(r.pdf->signaturesCount(), r.pdf->fieldsCount()) << name;
        for (int i = 0; i < r.pdf->signaturesCount(); ++i) {
            r.pdf->setCurrentSignature(i);
            EXPECT_FALSE(r.pdf->signOverall()) << name;
            EXPECT_TRUE(r.pdf->hasValue()) << name;
        }
    }
    // A cross-reference stream with object streams, as qpdf writes it: no /Index, so the
    // fields, compressed, are not found; the dictionaries stay in the file and are.
    Read objstm("signed-twice-objstm.pdf");
    ASSERT_TRUE(objstm.ok);
    EXPECT_EQ(objstm.pdf->fieldsCount(), 0);
    ASSERT_EQ(objstm.pdf->signaturesCount(), 2);
    std::vector<Range> expected = rangesOf(twice.pdf.get());
    std::vector<Range> found = rangesOf(objstm.pdf.get());
    std::sort(found.begin(), found.end(),
              [](const Range& a, const Range& b) { return a.length1 > b.length1; });
    EXPECT_EQ(found, expected);

    Read plainStreams("signed-objstm-plainstreams.pdf");
    ASSERT_TRUE(plainStreams.ok);
    ASSERT_EQ(plainStreams.pdf->signaturesCount(), 1);
    EXPECT_EQ(rangesOf(plainStreams.pdf.get()), rangesOf(signedOnce.pdf.get()));
}

TEST(PDFFileTest, HandMadeStreams) {
    // LZW cross-reference stream with PNG rows and two /Index subsections; the field in an
    // LZW object stream.
    Read lzw("handmade-lzw.pdf");
    ASSERT_TRUE(lzw.ok);
    ASSERT_EQ(lzw.pdf->fieldsCount(), 1);
    ASSERT_EQ(lzw.pdf->signaturesCount(), 1);
    EXPECT_EQ(lzw.pdf->_getField(0)->objectNumber, 5u);
    EXPECT_EQ(lzw.pdf->_getField(0)->valueObject, 6u);
    lzw.pdf->setCurrentSignature(0);
    EXPECT_TRUE(lzw.pdf->signOverall());

    // TIFF rows in the object stream.
    Read tiff("handmade-tiff.pdf");
    ASSERT_TRUE(tiff.ok);
    ASSERT_EQ(tiff.pdf->fieldsCount(), 1);
    EXPECT_EQ(tiff.pdf->_getField(0)->objectNumber, 5u);

    // /W [0 2 1]: every row is of type 1, the free entry included.
    Read w021("handmade-w021.pdf");
    ASSERT_TRUE(w021.ok);
    EXPECT_EQ(w021.pdf->fieldsCount(), 1);
    EXPECT_EQ(w021.pdf->signaturesCount(), 1);

    // The last object of an object stream is never examined, and without /Index no object
    // stream is found: the dictionary, in the file, is read all the same.
    for (const char* name : {"handmade-objstm-last.pdf", "handmade-noindex.pdf"}) {
        Read r(name);
        ASSERT_TRUE(r.ok) << name;
        EXPECT_EQ(r.pdf->fieldsCount(), 0) << name;
        ASSERT_EQ(r.pdf->signaturesCount(), 1) << name;
        r.pdf->setCurrentSignature(0);
        EXPECT_FALSE(r.pdf->hasValue()) << name;
    }
}

TEST(PDFFileTest, FieldRewrittenByALaterRevision) {
    Read r("handmade-shadowed.pdf");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.pdf->revisionsRead(), 1u);
    ASSERT_EQ(r.pdf->fieldsCount(), 2);
    const signatureField* newer = r.pdf->_getField(0);
    const signatureField* older = r.pdf->_getField(1);
    EXPECT_EQ(newer->objectNumber, older->objectNumber);
    EXPECT_FALSE(newer->shadowed);
    EXPECT_TRUE(older->shadowed);
    EXPECT_EQ(older->revision, 1u);
    // Only the dictionary of the current value is a signature of the file.
    ASSERT_EQ(r.pdf->signaturesCount(), 1);
    EXPECT_EQ(r.pdf->_getSignature(0)->objectNumber, newer->valueObject);
}

TEST(PDFFileTest, SameRangesAsPdfsig) {
    const char* names[] = {"signed-plain.pdf",
                           "signed-twice.pdf",
                           "signed-cades.pdf",
                           "signed-pdflib.pdf",
                           "signed-twice-classic.pdf",
                           "signed-twice-objstm.pdf",
                           "signed-objstm-plainstreams.pdf",
                           "signed-qdf.pdf",
                           "handmade-lzw.pdf",
                           "handmade-w021.pdf",
                           "handmade-shadowed.pdf",
                           "handmade-objstm-last.pdf",
                           "handmade-noindex.pdf"};
    for (const char* name : names) {
        std::vector<Range> theirs;
        if (!pdftest::pdfsigRanges(pdftest::fixturePath(name), &theirs))
            GTEST_SKIP() << "pdfsig is not installed";
        Read r(name);
        ASSERT_TRUE(r.ok) << name;
        std::vector<Range> ours = rangesOf(r.pdf.get());
        auto order = [](const Range& a, const Range& b) {
            return a.start2 != b.start2 ? a.start2 < b.start2 : a.length2 < b.length2;
        };
        std::sort(ours.begin(), ours.end(), order);
        std::sort(theirs.begin(), theirs.end(), order);
        EXPECT_EQ(ours, theirs) << name;
    }
}

TEST(PDFFileTest, SameFieldsAsPdfsig) {
    // Where the fields are in the file (not hidden in object streams), the fields of the
    // newest revisions are the ones pdfsig lists.
    for (const char* name :
         {"signed-plain.pdf", "signed-twice.pdf", "signed-cades.pdf", "signed-pdflib.pdf",
          "placeholder-plain.pdf", "signed-qdf.pdf", "signed-twice-classic.pdf",
          "handmade-30fields.pdf", "handmade-shadowed.pdf", "handmade-lzw.pdf", "base.pdf"}) {
        int theirs = 0;
        if (!pdftest::pdfsigFieldCount(pdftest::fixturePath(name), &theirs))
            GTEST_SKIP() << "pdfsig is not installed";
        Read r(name);
        ASSERT_TRUE(r.ok) << name;
        int current = 0;
        for (int i = 0; i < r.pdf->fieldsCount(); ++i)
            if (!r.pdf->_getField(i)->shadowed) ++current;
        EXPECT_EQ(current, theirs) << name;
    }
}

TEST(PDFFileTest, FromFileReadsTheSameAsFromBuffer) {
    Buffer work;
    PDFFile pdf(&work);
    ASSERT_TRUE(pdf.fromFile(pdftest::fixturePath("signed-twice.pdf").c_str()));
    EXPECT_EQ(pdf.signaturesCount(), 2);
    EXPECT_EQ(pdf.fieldsCount(), 2);
    PDFFile missing(&work);
    EXPECT_FALSE(missing.fromFile("/nonexistent/file.pdf"));
    EXPECT_FALSE(missing.fromFile(SIGILO_TEST_DATA));
    EXPECT_EQ(missing.signaturesCount(), 0);
}

}  // namespace
