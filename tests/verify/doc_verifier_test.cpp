// DocVerifier: loading inputs, writing extracted files, the verification time, and what each
// file driver puts in the report and in the result code.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/SystemClock.h"
#include "support/ServerProcess.h"
#include "support/VecFile.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

namespace {

std::string bytesOf(const Buffer* b) {
    return std::string(reinterpret_cast<const char*>(b->_getData()), b->getWritePos());
}

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string tempDir(const std::string& name) {
    std::string dir = ::testing::TempDir() + "/" + name;
    mkdir(dir.c_str(), 0755);
    return dir;
}

class Verifier : public ::testing::Test {
protected:
    Verifier() : report(&reportBuffer) {
        verifier.setXMLOutput(&report);
        report.openTag("r");
    }
    // The report's children of the root, flat.
    std::string tree() { return report.getXML(1); }

    UnavailableTrustStore store;
    DocVerifier verifier{nullptr, &store};
    Buffer reportBuffer{4096};
    XMLFile report;
};

TEST_F(Verifier, LoadsDERAsItIsAndPEMDecoded) {
    std::string der = fileBytes(testData("verify/doc_der.p7m"));
    ASSERT_TRUE(verifier.loadDoc(testData("verify/doc_der.p7m").c_str()));
    EXPECT_EQ(bytesOf(verifier._getDocumentBuffer()), der);
    // doc_b64.p7m is the same bytes as base64 lines.
    ASSERT_TRUE(verifier.loadDoc(testData("verify/doc_b64.p7m").c_str()));
    EXPECT_EQ(bytesOf(verifier._getDocumentBuffer()), der);
    EXPECT_EQ(verifier._getDocumentBuffer()->getReadPos(), 0u);
    EXPECT_FALSE(verifier.loadDoc("/nonexistent"));
    EXPECT_EQ(verifier._getDocumentBuffer()->getWritePos(), 0u);
}

TEST_F(Verifier, LoadDetachedTellsTextFromDER) {
    EXPECT_TRUE(verifier.loadDetached(testData("verify/doc.txt").c_str()));
    EXPECT_EQ(bytesOf(verifier._getDetachedBuffer()), fileBytes(testData("verify/doc.txt")));
    EXPECT_FALSE(verifier.loadDetached(testData("verify/doc_der.p7m").c_str()));
    EXPECT_EQ(verifier._getDetachedBuffer()->getWritePos(), 1662u);
    EXPECT_FALSE(verifier.loadDetached("/nonexistent"));
    EXPECT_EQ(verifier._getDetachedBuffer()->getWritePos(), 0u);
}

TEST_F(Verifier, SavePlainDataWritesWithoutTruncating) {
    std::string name = tempDir("save") + "/contenuto.txt";
    std::ofstream(name) << "una riga piu' lunga del contenuto";
    const unsigned char data[] = "nuovo";
    ASSERT_TRUE(verifier.savePlainData(name.c_str(), data, 5));
    // The file is written from its start and keeps the tail of what stood there.
    EXPECT_EQ(fileBytes(name), "nuovoiga piu' lunga del contenuto");
    EXPECT_EQ(tree(), "<?xml version=\"1.0\"?>\n<r content=\"" + name + "\"/>\n");
    EXPECT_EQ(verifier.getErrCode(), NoError);
    EXPECT_FALSE(verifier.savePlainData(name.c_str(), nullptr, 5));
}

TEST_F(Verifier, AFailedSaveStoresItsCodeButLeavesTheReport) {
    const unsigned char data[] = "x";
    EXPECT_FALSE(verifier.savePlainData("/nonexistent/dir/file", data, 1));
    EXPECT_EQ(verifier.getErrCode(), kErrOutputFile);
    EXPECT_FALSE(verifier.saveSignedData("/nonexistent/dir/file", 0, data, 1));
    std::string longName(5000, 'a');
    EXPECT_FALSE(verifier.saveSignedData(longName.c_str(), 1, data, 1));
    EXPECT_EQ(tree(), "<?xml version=\"1.0\"?>\n<r/>\n");
}

TEST_F(Verifier, SaveSignedDataNamesTheLayer) {
    std::string stem = tempDir("layers") + "/doc";
    const unsigned char data[] = "\x30\x00";
    ASSERT_TRUE(verifier.saveSignedData(stem.c_str(), 2, data, 2));
    EXPECT_EQ(fileBytes(stem + ".sig2"), std::string("\x30\x00", 2));
    EXPECT_EQ(tree(), "<?xml version=\"1.0\"?>\n<r encapsulated=\"" + stem + ".sig2\"/>\n");
}

TEST_F(Verifier, VerificationTimeMustLieInThePast) {
    X500Time past;
    ASSERT_TRUE(past.setUTCValue("200101120000Z"));
    ASSERT_TRUE(verifier.setVerificationTime(&past));
    std::unique_ptr<X500Time> kept(verifier.getVerificationTime());
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(*kept, past);

    // A future time is refused, and the earlier one is gone too; the result code stays.
    std::unique_ptr<X500Time> future(SystemClock::getUTCTime());
    future->shiftClockDate(1, 0, 0);
    EXPECT_FALSE(verifier.setVerificationTime(future.get()));
    EXPECT_EQ(verifier.getVerificationTime(), nullptr);
    EXPECT_EQ(verifier.getErrCode(), NoError);

    // A text that did not parse carries the failure values, which are no date to judge at.
    ASSERT_TRUE(verifier.setVerificationTime(&past));
    X500Time broken;
    EXPECT_FALSE(broken.setUTCValue("not a time"));
    EXPECT_FALSE(verifier.setVerificationTime(&broken));
    EXPECT_EQ(verifier.getVerificationTime(), nullptr);
    EXPECT_TRUE(verifier.setVerificationTime(nullptr));
}

TEST_F(Verifier, DriversRefuseWhatIsNotTheirs) {
    const std::string p7m = testData("verify/doc_der.p7m");
    const std::string signatureKO =
        "<errorMessage>Firma non verificata</errorMessage>\n<status>KO</status>\n";
    const std::string noStamp =
        "<errorMessage>La busta PKCS#7 non contiene una Marca Temporale</errorMessage>\n"
        "<status>KO</status>\n";
    const std::string noToken =
        "<errorMessage>Il file non contiene un TimeStamp Token</errorMessage>\n"
        "<status>KO</status>\n";
    struct Case {
        std::function<unsigned char()> run;
        std::string element;
        unsigned long code;
    } cases[] = {
        // A signed envelope is neither a time-stamp response nor a token nor a TSD.
        {[&] { return verifier.verifyTSRFile(p7m.c_str(), nullptr); },
         "<timeStamp filename=\"" + p7m + "\">\n" + noStamp + "</timeStamp>\n", 5168},
        {[&] { return verifier.verifyTSTFile(p7m.c_str(), nullptr); },
         "<timeStamp filename=\"" + p7m + "\">\n" + noToken + "</timeStamp>\n",
         kErrNoTimeStampToken},
        {[&] { return verifier.verifyTSDFile(p7m.c_str(), nullptr, nullptr, nullptr); },
         "<timeStamp filename=\"" + p7m + "\" filetype=\"TSD file\">\n" + noToken +
             "</timeStamp>\n",
         kErrNoTimeStampToken},
        // A token with its document named but unreadable is not judged on nothing.
        {[&] { return verifier.verifyTSRFile(p7m.c_str(), "/nonexistent/doc.txt"); },
         "<timeStamp filename=\"" + p7m +
             "\" detachedDocument=\"/nonexistent/doc.txt\">\n"
             "<errorMessage>Documento originale non trovato</errorMessage>\n<status>KO</status>\n"
             "</timeStamp>\n",
         5193},
        // An envelope is no PDF: refused as such, with nothing extracted.
        {[&] { return verifier.verifyPDFFile(p7m.c_str(), nullptr); },
         "<signedData filename=\"" + p7m +
             "\" filetype=\"PDF file\">\n"
             "<errorMessage>File non conforme allo standard PDF 1.4</errorMessage>\n"
             "<status>KO</status>\n</signedData>\n",
         5207},
        // An envelope is no XML document.
        {[&] { return verifier.verifyXMLFile(p7m.c_str()); },
         "<signedData filename=\"" + p7m +
             "\" filetype=\"XML file\">\n"
             "<errorMessage>File non conforme allo standard XML</errorMessage>\n"
             "<status>KO</status>\n</signedData>\n",
         5204},
    };
    for (Case& c : cases) {
        Buffer b(4096);
        XMLFile x(&b);
        verifier.setXMLOutput(&x);
        x.openTag("r");
        EXPECT_FALSE(c.run());
        EXPECT_EQ(std::string(x.getXML(1)),
                  "<?xml version=\"1.0\"?>\n<r>\n" + c.element + "</r>\n");
        EXPECT_EQ(verifier.getErrCode(), c.code);
    }
    // Without a report the drivers still refuse, and say so only in the result.
    verifier.setXMLOutput(nullptr);
    EXPECT_FALSE(verifier.verifyTSRFile(p7m.c_str(), nullptr));
    EXPECT_EQ(verifier.getErrCode(), 5168u);
}

// With no trust store and no crypto device the PKCS#7 engine runs and finds the signer's
// certificate in the envelope, but nothing can make it good: the signer is KO, never OK (here
// the envelope, not CAdES and with no time stamp, already fails the 2011 rule).
TEST_F(Verifier, WithoutATrustStoreNoSignerIsGood) {
    const std::string p7m = testData("verify/doc_der.p7m");
    EXPECT_TRUE(verifier.verifyPKCS7File(p7m.c_str(), nullptr, nullptr));
    std::string xml = tree();
    EXPECT_NE(xml.find("<signer cadesCompliant=\"false\">"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<status>KO</status>"), std::string::npos) << xml;
    // With the 2011 rule off the certificate check is reached, and no CA can be found. (A
    // report's text is made once: the second run writes into a report of its own.)
    verifier.setCheckJuly2011Constraint(0);
    Buffer second(4096);
    XMLFile again(&second);
    verifier.setXMLOutput(&again);
    EXPECT_TRUE(verifier.verifyPKCS7File(p7m.c_str(), nullptr, nullptr));
    xml = again.getXML(1);
    EXPECT_NE(xml.find("<errorMessage>Certificato di CA non trovato</errorMessage>"),
              std::string::npos)
        << xml;
    EXPECT_EQ(xml.find("<status>OK</status>"), std::string::npos) << xml;
}

TEST_F(Verifier, M7MDriverSplitsAndExtractsBothParts) {
    std::string stem = tempDir("m7m") + "/estratto";
    const std::string m7m = testData("verify/doc.m7m");
    EXPECT_FALSE(verifier.verifyMIMEFile(m7m.c_str(), stem.c_str(), nullptr));
    // Both parts named on the envelope's element, and the token's element after it.
    std::string xml = tree();
    EXPECT_NE(xml.find("<signedData filename=\"" + m7m + "\" filetype=\"M7M file\" pkcs7=\"" +
                       stem + ".p7m\" tsr=\"" + stem + ".tsr\">"),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("</signedData>\n<timeStamp>"), std::string::npos) << xml;
    // The envelope was base64 in the message, and is written as it came; the token is always
    // written as base64. Both decode to the files they were made from.
    Buffer p7m, tsr;
    ASSERT_TRUE(p7m.fromPEMFile((stem + ".p7m").c_str(), nullptr));
    EXPECT_EQ(bytesOf(&p7m), fileBytes(testData("verify/doc_der.p7m")));
    ASSERT_TRUE(tsr.fromPEMFile((stem + ".tsr").c_str(), nullptr));
    EXPECT_EQ(bytesOf(&tsr), fileBytes(testData("verify/doc.tsr")));
    // The envelope, decoded, was verified from the document buffer.
    EXPECT_EQ(bytesOf(verifier._getDocumentBuffer()), fileBytes(testData("verify/doc_der.p7m")));
}

TEST_F(Verifier, SwitchDefaults) {
    EXPECT_EQ(verifier.getCheckCRLPKCS7(), 255);
    EXPECT_EQ(verifier.getCheckCertificateValidity(), 255);
    EXPECT_EQ(verifier.getCheckSigningCertificateAttr(), 0);
    EXPECT_EQ(verifier.getUseOCSP(), 0);
    EXPECT_EQ(verifier.getCheckJuly2011Constraint(), 2);
    EXPECT_EQ(verifier.getCheckEncapSigs(), 1);
    EXPECT_EQ(verifier.getErrCode(), NoError);
    verifier.setServerName("127.0.0.1");
    verifier.setServerPort(0);
    EXPECT_TRUE(verifier.isServerMode());
    EXPECT_EQ(verifier.getServerPort(), 0);
    // Nothing listens there: the server does not answer.
    unsigned short port = ServerProcess::freePort();
    verifier.setServerPort(port);
    EXPECT_EQ(verifier.getServerPort(), port);
    EXPECT_FALSE(verifier.checkServerStatus());
    verifier.setServerName(nullptr);
    EXPECT_FALSE(verifier.isServerMode());
}

}  // namespace
