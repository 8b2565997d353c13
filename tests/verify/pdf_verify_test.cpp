// PDF signatures end to end, on files signed by openssl, python cryptography, pikepdf and
// @signpdf under the engine test PKI (tests/data/pdf/verify/make_signed.sh): each case of
// cases.vec gives the switches and what the report must hold, with the root in the trust list
// and its CRL served by a transport of the test's own. The digests of the signed ranges are
// checked against python's hashlib over the ranges pdfsig reports.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/DigestInfo.h"
#include "frontend/Messages.h"
#include "pdf/PDFFile.h"
#include "pdf/pdf_test_support.h"
#include "support/EngineFixture.h"
#include "support/ReportText.h"
#include "support/VecFile.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

std::string signedPDF(const std::string& name) {
    return testData("pdf/verify/" + name);
}

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

size_t countOf(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// The SHA-256 of the two ranges of a file, in hexadecimal, by python's hashlib; with sha1, the
// SHA-256 of their SHA-1 (the document an adbe.pkcs7.sha1 signer signs).
std::string pythonDigest(const std::string& path, const pdftest::Range& r, bool sha1) {
    std::string command = std::string(SIGILO_PYTHON3) +
                          " -c 'import hashlib,sys; d=open(sys.argv[1],\"rb\").read(); "
                          "a,b,c,n,s=map(int,sys.argv[2:]); m=d[a:a+b]+d[c:c+n]; "
                          "m=hashlib.sha1(m).digest() if s else m; "
                          "print(hashlib.sha256(m).hexdigest())' '" +
                          path + "' " + std::to_string(r.start1) + " " + std::to_string(r.length1) +
                          " " + std::to_string(r.start2) + " " + std::to_string(r.length2) +
                          (sha1 ? " 1" : " 0");
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "";
    char line[128] = {0};
    if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = 0;
    pclose(pipe);
    std::string out(line);
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
}

class PDFVerify : public EngineFixture {
protected:
    void SetUp() override {
        startStore(testData("engine/pki/root.pem"), "http://127.0.0.1/engine.crl",
                   testData("engine/pki/root.crl"));
    }

    // A verifier writing into report, with the switches of a case.
    std::unique_ptr<DocVerifier> verifier(XMLFile* report, const VecCase* c = nullptr) {
        auto v = std::make_unique<DocVerifier>(device, store.get());
        report->openTag("sigilo");
        v->setXMLOutput(report);
        if (c != nullptr && c->has("july2011"))
            v->setCheckJuly2011Constraint(std::stoi(c->get("july2011")));
        if (c != nullptr && c->has("time")) {
            X500Time when = utcTimeOf(c->get("time"));
            EXPECT_EQ(v->setVerificationTime(&when), 255);
        }
        return v;
    }
};

TEST_F(PDFVerify, EveryCaseGivesItsVerdicts) {
    auto cases = casesOfKind(readVecFile(signedPDF("cases.vec")), "case");
    ASSERT_GE(cases.size(), 20u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        Buffer text(4096);
        XMLFile report(&text);
        auto v = verifier(&report, &c);
        std::string file = signedPDF(c.get("file"));
        ASSERT_EQ(v->guessInputType(file.c_str()), InputType::InputPDF);
        // The result tells only that the file was read as a PDF with signatures; the verdicts
        // are in the report.
        EXPECT_EQ(v->verifyPDFFile(file.c_str(), nullptr),
                  c.has("returns") ? std::stoi(c.get("returns")) : 255);
        std::string xml = flatReport(report.getXML(1));
        EXPECT_EQ(joined(valuesOf(xml, "status")), c.get("statuses")) << xml;
        EXPECT_EQ(joined(valuesOf(xml, "errorMessage")), c.get("messages")) << xml;
        for (const std::string& part : fragments(c.get("contains")))
            EXPECT_NE(xml.find(part), std::string::npos) << "missing " << part << "\n" << xml;
        for (const std::string& part : fragments(c.get("lacks")))
            EXPECT_EQ(xml.find(part), std::string::npos) << "unwanted " << part << "\n" << xml;
        EXPECT_EQ(std::to_string(countOf(xml, "<signer")), c.get("signers")) << xml;
        unsigned long code = v->getErrCode();
        EXPECT_EQ(code == NoError ? "FFFFFFFF" : std::to_string(code), c.get("errcode"));
        EXPECT_EQ(v->_getPDFFile(), nullptr);
    }
}

// The file's signatures come out in the order they were made, whichever tool appended them.
TEST_F(PDFVerify, SignaturesAreReportedOldestFirst) {
    for (const char* name : {"cades-twice.pdf", "signpdf-twice.pdf"}) {
        SCOPED_TRACE(name);
        Buffer text(4096);
        XMLFile report(&text);
        auto v = verifier(&report);
        v->setCheckJuly2011Constraint(0);
        v->verifyPDFFile(signedPDF(name).c_str(), nullptr);
        std::string xml = flatReport(report.getXML(1));
        size_t first = xml.find("<CN>Firmatario Buono</CN>");
        size_t second = xml.find("<CN>Secondo Firmatario</CN>");
        ASSERT_NE(first, std::string::npos) << xml;
        ASSERT_NE(second, std::string::npos) << xml;
        EXPECT_LT(first, second);
    }
}

// The ranges the reader digests are those pdfsig reports, and their SHA-256 is python's.
TEST_F(PDFVerify, RangeDigestsMatchPdfsigRangesAndPython) {
    for (const char* name :
         {"cades.pdf", "cades-twice.pdf", "cades-timestamp.pdf", "pkcs7-sha1.pdf", "signpdf.pdf",
          "signpdf-twice.pdf", "cades-then-revision.pdf", "cades-partial.pdf"}) {
        SCOPED_TRACE(name);
        std::string path = signedPDF(name);
        std::vector<pdftest::Range> theirs;
        if (!pdftest::pdfsigRanges(path, &theirs)) GTEST_SKIP() << "pdfsig is not installed";
        DocVerifier v(device, store.get());
        ASSERT_EQ(v.loadPDF(path.c_str()), 255);
        PDFFile* pdf = v._getPDFFile();
        ASSERT_EQ(static_cast<size_t>(pdf->signaturesCount()), theirs.size());
        for (int i = 0; i < pdf->signaturesCount(); ++i) {
            pdf->setCurrentSignature(i);
            pdftest::Range ours = pdftest::rangeOf(pdf->_getSignature(i));
            bool listed = false;
            for (const pdftest::Range& r : theirs) listed = listed || r == ours;
            EXPECT_TRUE(listed) << "signature " << i;
            // With no envelope the table holds the SHA-256 alone.
            ASSERT_EQ(v.calculatePDFDigests(nullptr), 255);
            const digestTableEntry* table = v._getDigestTable();
            ASSERT_NE(table[0].digest, nullptr);
            EXPECT_STREQ(table[0].algorithmOid, "2.16.840.1.101.3.4.2.1");
            EXPECT_EQ(toHex(table[0].digest->_getDigest(), table[0].digest->getLength()),
                      pythonDigest(path, ours, pdf->isSubFilter("adbe.pkcs7.sha1") != 0));
        }
    }
}

// Signatures pdfsig finds valid or broken are judged the same way here (with the 2011 rule and
// the revocation off, so that only the signatures themselves decide). pdfsig does not find a
// signer named by its key identifier, so cades-cms.pdf is not among them.
TEST_F(PDFVerify, ValidityAgreesWithPdfsig) {
    for (const char* name :
         {"cades.pdf", "pkcs7-sha1.pdf", "signpdf.pdf", "cades-tampered.pdf", "cades-twice.pdf"}) {
        SCOPED_TRACE(name);
        std::string text;
        if (!pdftest::pdfsigText(signedPDF(name), &text)) GTEST_SKIP() << "pdfsig is missing";
        size_t valid = countOf(text, "Signature is Valid");
        size_t broken = countOf(text, "Digest Mismatch");
        Buffer out(4096);
        XMLFile report(&out);
        auto v = verifier(&report);
        v->setCheckJuly2011Constraint(0);
        v->setCheckCRLPKCS7(0);
        v->verifyPDFFile(signedPDF(name).c_str(), nullptr);
        std::string xml = flatReport(report.getXML(1));
        auto statuses = valuesOf(xml, "status");
        EXPECT_EQ(static_cast<size_t>(std::count(statuses.begin(), statuses.end(), "OK")), valid)
            << xml;
        EXPECT_EQ(static_cast<size_t>(std::count(statuses.begin(), statuses.end(), "KO")), broken)
            << xml;
    }
}

// With an output name the revision before the newest signature is written out: for a document
// signed once, the unsigned original pikepdf wrote; for one signed twice, the file as it was
// after the first signature.
TEST_F(PDFVerify, ExtractedFileIsTheRevisionBeforeTheSignature) {
    std::string dir = ::testing::TempDir() + "pdf_extract";
    mkdir(dir.c_str(), 0755);
    struct {
        const char* signedName;
        std::string original;
    } cases[] = {{"cades.pdf", testData("pdf/base.pdf")},
                 {"cades-twice.pdf", signedPDF("cades.pdf")}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.signedName);
        std::string stem = dir + "/" + c.signedName;
        std::remove((stem + "-EXTRACTED.pdf").c_str());
        Buffer text(4096);
        XMLFile report(&text);
        auto v = verifier(&report);
        EXPECT_EQ(v->verifyPDFFile(signedPDF(c.signedName).c_str(), stem.c_str()), 255);
        std::string xml = flatReport(report.getXML(1));
        EXPECT_NE(xml.find("content=\"" + stem + "-EXTRACTED.pdf\""), std::string::npos) << xml;
        EXPECT_EQ(fileBytes(stem + "-EXTRACTED.pdf"), fileBytes(c.original));
    }
    // A file with no signature leaves nothing to extract.
    std::string stem = dir + "/base";
    std::remove((stem + "-EXTRACTED.pdf").c_str());
    Buffer text(4096);
    XMLFile report(&text);
    auto v = verifier(&report);
    v->verifyPDFFile(testData("pdf/base.pdf").c_str(), stem.c_str());
    struct stat st;
    EXPECT_NE(stat((stem + "-EXTRACTED.pdf").c_str(), &st), 0);
    // An output folder that does not exist is refused with its message.
    Buffer text2(4096);
    XMLFile report2(&text2);
    auto v2 = verifier(&report2);
    v2->verifyPDFFile(signedPDF("cades.pdf").c_str(), "/nonexistent/folder/x");
    EXPECT_NE(flatReport(report2.getXML(1))
                  .find("<errorMessage>Non e' possibile aprire il file di output</errorMessage>"),
              std::string::npos);
}

// The form over bytes in memory (a time-stamped PDF's content) writes no element of its own.
TEST_F(PDFVerify, BytesInMemoryAreVerifiedWithoutAnElementOfTheirOwn) {
    Buffer text(4096);
    XMLFile report(&text);
    auto v = verifier(&report);
    std::string bytes = fileBytes(signedPDF("cades.pdf"));
    Buffer in;
    in.fromByteArray(reinterpret_cast<const unsigned char*>(bytes.data()),
                     static_cast<unsigned int>(bytes.size()));
    EXPECT_EQ(v->verifyPDFFile(&in), 255);
    std::string xml = flatReport(report.getXML(1));
    EXPECT_EQ(xml.find("<signedData"), std::string::npos) << xml;
    EXPECT_EQ(joined(valuesOf(xml, "status")), "OK") << xml;
    // Bytes that are no PDF.
    Buffer junk;
    junk.fromByteArray(reinterpret_cast<const unsigned char*>("%PDF-1.4 nothing"), 16);
    EXPECT_EQ(v->verifyPDFFile(&junk), 0);
    EXPECT_EQ(v->getErrCode(), 5207u);
}

// A PDF as the content of a time-stamped file goes through the same verification; whether it
// held a signature is told back, and the content is saved as it came.
TEST_F(PDFVerify, APDFInsideATimeStampedFileIsVerified) {
    std::string dir = ::testing::TempDir() + "pdf_tsd";
    mkdir(dir.c_str(), 0755);
    struct {
        std::string file;
        unsigned char isSigned;
        std::string statuses;
    } cases[] = {{signedPDF("cades.pdf"), 255, "OK"}, {testData("pdf/base.pdf"), 0, "KO"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        Buffer text(4096);
        XMLFile report(&text);
        auto v = verifier(&report);
        std::string bytes = fileBytes(c.file);
        v->_getDocumentBuffer()->rewind();
        v->_getDocumentBuffer()->writeBytes(reinterpret_cast<const unsigned char*>(bytes.data()),
                                            static_cast<unsigned int>(bytes.size()));
        std::string content = dir + "/content.pdf";
        std::remove(content.c_str());
        unsigned char isSigned = 1, saved = 0;
        v->verifyTSDContent(nullptr, content.c_str(), &isSigned, &saved);
        EXPECT_EQ(isSigned, c.isSigned);
        EXPECT_EQ(saved, 255);
        EXPECT_EQ(fileBytes(content), bytes);
        std::string xml = flatReport(report.getXML(1));
        EXPECT_EQ(joined(valuesOf(xml, "status")), c.statuses) << xml;
    }
}

// A later signature whose dictionary no longer reads (its /Contents key damaged, its offset in
// the cross-reference table changed) must not vanish and leave the earlier one to speak for the
// file: its field is still there, and the file is reported not verified.
TEST_F(PDFVerify, ASignatureFieldWhoseDictionaryDoesNotReadIsNotVerified) {
    std::string original = fileBytes(signedPDF("cades-twice.pdf"));
    size_t second = original.rfind("/Contents <");
    ASSERT_NE(second, std::string::npos);
    std::string damagedKey = original;
    damagedKey[second + 9] = '!';
    std::string movedOffset = original;
    size_t entry = movedOffset.find("0000013704 00000 n");
    ASSERT_NE(entry, std::string::npos);
    movedOffset[entry + 9] = '5';
    for (const std::string& bytes : {damagedKey, movedOffset}) {
        Buffer text(4096);
        XMLFile report(&text);
        auto v = verifier(&report);
        Buffer in;
        in.fromByteArray(reinterpret_cast<const unsigned char*>(bytes.data()),
                         static_cast<unsigned int>(bytes.size()));
        v->verifyPDFFile(&in);
        std::string xml = flatReport(report.getXML(1));
        // The first signature still holds; after it comes at least one KO, and the last word
        // is that a signature could not be verified.
        auto statuses = valuesOf(xml, "status");
        ASSERT_GE(statuses.size(), 2u) << xml;
        EXPECT_EQ(statuses.front(), "OK") << xml;
        EXPECT_EQ(statuses.back(), "KO") << xml;
        auto messages = valuesOf(xml, "errorMessage");
        ASSERT_FALSE(messages.empty()) << xml;
        EXPECT_EQ(messages.back(), "Firma non verificata") << xml;
        EXPECT_EQ(v->getErrCode(), 5200u);
    }
}

// Without a report the engine still runs every route and leaves its result code.
TEST_F(PDFVerify, WithoutAReportTheCodesStillTell) {
    DocVerifier v(device, store.get());
    v.setCheckJuly2011Constraint(0);
    EXPECT_EQ(v.verifyPDFFile(signedPDF("rsa-sha1-revoked.pdf").c_str()), 255);
    EXPECT_EQ(v.getErrCode(), 5128u);
    EXPECT_EQ(v.verifyPDFFile(signedPDF("cades-partial.pdf").c_str()), 255);
    EXPECT_EQ(v.getErrCode(), 5229u);
    EXPECT_EQ(v.verifyPDFFile(testData("engine/cades.p7m").c_str()), 0);
    EXPECT_EQ(v.getErrCode(), 5207u);
}

}  // namespace
