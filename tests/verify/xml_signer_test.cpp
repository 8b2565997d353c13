// XML signatures end to end, through the sigilo tool as a user runs it: documents signed by
// xadesjs (XAdES-BES, a counter-signature), stamped by openssl ts (XAdES-T) and signed by
// xmlsec1 (plain XML DSig), under the engine's test PKI, with the root imported and its CRL in
// a cache of its own. Each file's report element must hold its verdict and the elements that
// explain it; no changed file is ever "OK".
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/VecFile.h"

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string xadesData(const std::string& name) {
    return testData("xml/xades/" + name);
}

// The element of one file in the report, without line breaks; a counter-signer is nested in its
// signer, so the element ends at the first closing signedData.
std::string elementOf(const std::string& report, const std::string& file) {
    size_t at = report.find("<signedData filename=\"" + xadesData(file) + "\"");
    if (at == std::string::npos) return "";
    size_t end = report.find("</signedData>", at);
    std::string out;
    for (char c : report.substr(at, end - at)) {
        if (c != '\n' && c != '\r') out += c;
    }
    return out;
}

int count(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

class XMLSigner : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/xml_signer_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::string reset = "rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca' '" + dir +
                            "/crl' && cp '" + testData("engine/crl/crlCache") + "' '" + dir +
                            "/crl/'";
        ASSERT_EQ(system(reset.c_str()), 0);
        ASSERT_EQ(sigilo("--import-pem '" + testData("engine/pki/root.pem") + "'"), 0);
    }
    int sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR + "/sigilo -c ca -r crl " +
                              arguments + " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    // Verifies the files in one run and returns the report.
    std::string verify(const std::vector<std::string>& files, const std::string& options = "") {
        std::string list;
        for (const std::string& f : files) list += " '" + xadesData(f) + "'";
        sigilo(options + list);
        return fileBytes(dir + "/out.txt");
    }
    std::string dir;
};

struct Expectation {
    const char* file;
    std::vector<const char*> parts;
};

TEST_F(XMLSigner, EachSignedFileHasTheVerdictItsSignatureEarns) {
    const std::vector<Expectation> cases = {
        // XAdES-BES by xadesjs with KeyInfo and the signed properties covered.
        {"bes.xml",
         {"filetype=\"XML file\"", "<signer cadesCompliant=\"true\"><serial>10</serial>",
          "<CN>Firmatario Buono</CN>", "<issuer><C>IT</C><O>Sigilo Motore</O><CN>Radice Motore",
          "<certNotBefore>200101000000Z</certNotBefore>",
          "<certNotAfter>20991231000000Z</certNotAfter>",
          "<certificate>-----BEGIN CERTIFICATE-----",
          "<signedAttributes><signingTime>2024-03-01T10:00:00.000Z</signingTime>"
          "<signingCertificateV2>2.16.840.1.101.3.4.2.1</signingCertificateV2></signedAttributes>",
          "<digestAlgorithm>2.16.840.1.101.3.4.2.1</digestAlgorithm><verificationTime>",
          "<status>OK</status></signer>"}},
        // SHA-1 after June 2011 is refused by the dated rule.
        {"bes_sha1.xml",
         {"<signer cadesCompliant=\"false\">",
          "<signingCertificateV2>1.3.14.3.2.26</signingCertificateV2>",
          "<digestAlgorithm>1.3.14.3.2.26</digestAlgorithm>",
          "<errorMessage>Firma non valida in quanto apposta dopo il 30 giugno 2011</errorMessage>"
          "<status>KO</status>"}},
        // Without a reference over KeyInfo the signature is not conformant.
        {"bes_plain.xml",
         {"<signer cadesCompliant=\"false\">",
          "<errorMessage>Busta crittografica non conforme alla normativa vigente</errorMessage>"}},
        {"dsig_sha256.xml",
         {"<signer cadesCompliant=\"false\">", "<CN>Firmatario Buono</CN>",
          "<errorMessage>Busta crittografica non conforme alla normativa vigente</errorMessage>"}},
        // One changed byte in what a reference covers: described, then refused.
        {"tampered_content.xml",
         {"<signer><serial>10</serial>", "<CN>Firmatario Buono</CN>",
          "<errorMessage>Digest in authenticatedAttrs non corretto</errorMessage>"
          "<status>KO</status></signer>"}},
        {"tampered_properties.xml",
         {"<signingTime>2024-03-02T10:00:00.000Z</signingTime>",
          "<errorMessage>Digest in authenticatedAttrs non corretto</errorMessage>"
          "<status>KO</status></signer>"}},
        {"tampered_value.xml",
         {"<signer cadesCompliant=\"true\">",
          "<errorMessage>Firma non verificata</errorMessage><status>KO</status></signer>"}},
        // A SigningCertificate naming a certificate of the same issuer and serial.
        {"wrong_cert_digest.xml",
         {"<signer><serial>10</serial>",
          "<errorMessage>L'attributo SigningCertificateV2 non identifica il "
          "firmatario</errorMessage><status>KO</status></signer>"}},
        {"untrusted.xml",
         {"<CN>Firmatario Estraneo</CN>",
          "<errorMessage>Certificato di CA non trovato</errorMessage><status>KO</status>"}},
        {"expired.xml",
         {"<CN>Firmatario Scaduto</CN>", "<verificationTime>",
          "<errorMessage>Certificato del Firmatario scaduto</errorMessage><status>KO</status>"}},
        // Revoked in 2021 by the CRL in the cache.
        {"revoked.xml",
         {"<CN>Firmatario Revocato</CN>", "<crlThisUpdate>240101000000Z</crlThisUpdate>",
          "<crlRevocationDate>210601000000Z</crlRevocationDate>",
          "<errorMessage>Certificato del Firmatario revocato</errorMessage><status>KO</status>"}},
        // The counter-signer stands inside the signer, after its status.
        {"countersigned.xml",
         {"<signer cadesCompliant=\"true\"><serial>10</serial>",
          "<status>OK</status><countersigner cadesCompliant=\"true\"><serial>16</serial>",
          "<CN>Controfirmatario</CN>", "<status>OK</status></countersigner></signer>"}},
        // XAdES-T: the token dates the signature, so no verification time is shown.
        {"xades_t.xml",
         {"<signatureTimeStamp><subject><C>IT</C><O>Sigilo Motore</O><CN>Marcatore di Prova",
          "<timeStampSerial>", "<timeStampImprintAlgorithm>2.16.840.1.101.3.4.2.1",
          "<status>OK</status></signatureTimeStamp><digestAlgorithm>"
          "2.16.840.1.101.3.4.2.1</digestAlgorithm><status>OK</status></signer>"}},
        // A token over something else is refused on its own; the signer keeps its verdict, and
        // is dated by the time of the verification, not by the failed token.
        {"xades_t_bad.xml",
         {"<errorMessage>Marca Temporale non valida</errorMessage><status>KO</status>"
          "</signatureTimeStamp>",
          "</digestAlgorithm><verificationTime>", "<status>OK</status></signer>"}},
        // Two signers, each with its own verdict: the first untrusted, the second good.
        {"two_signers.xml",
         {"<CN>Firmatario Estraneo</CN>",
          "<errorMessage>Certificato di CA non trovato</errorMessage><status>KO</status>"
          "</signer><signer cadesCompliant=\"true\"><serial>10</serial>",
          "<status>OK</status></signer>"}},
        {"document.xml",
         {"<errorMessage>Il file non contiene nessuna XML Signature</errorMessage>"
          "<status>KO</status>"}},
    };
    std::vector<std::string> files;
    for (const Expectation& c : cases) files.push_back(c.file);
    std::string report = verify(files);
    for (const Expectation& c : cases) {
        std::string element = elementOf(report, c.file);
        ASSERT_FALSE(element.empty()) << c.file << "\n" << report;
        for (const char* part : c.parts) {
            EXPECT_NE(element.find(part), std::string::npos) << c.file << ": " << part << "\n"
                                                             << element;
        }
    }
    // Only the good signers are OK: one each in four files, two in the counter-signed one.
    const std::vector<std::pair<const char*, int>> oks = {
        {"bes.xml", 1},         {"countersigned.xml", 2}, {"xades_t.xml", 2},
        {"xades_t_bad.xml", 1}, {"two_signers.xml", 1},
    };
    int expected = 0;
    for (const auto& ok : oks) {
        EXPECT_EQ(count(elementOf(report, ok.first), "<status>OK</status>"), ok.second) << ok.first;
        expected += ok.second;
    }
    EXPECT_EQ(count(report, "<status>OK</status>"), expected) << report;
}

// With the dated rules off, a plain XML DSig of xmlsec1 is judged on its signature and
// certificate alone, with SHA-1 as with SHA-256.
TEST_F(XMLSigner, PlainSignaturesPassWithTheDatedRulesOff) {
    std::string report =
        verify({"dsig_sha256.xml", "dsig_sha1.xml", "tampered_value.xml"}, "--july2011 0 ");
    for (const char* file : {"dsig_sha256.xml", "dsig_sha1.xml"}) {
        std::string element = elementOf(report, file);
        EXPECT_NE(element.find("<status>OK</status></signer>"), std::string::npos) << file << "\n"
                                                                                   << element;
    }
    EXPECT_NE(elementOf(report, "dsig_sha1.xml").find("<digestAlgorithm>1.3.14.3.2.26"),
              std::string::npos);
    EXPECT_EQ(elementOf(report, "tampered_value.xml").find("<status>OK</status>"),
              std::string::npos);
}

// A verification time inside the revoked signer's life, before its revocation, saves it; one
// after the revocation does not.
TEST_F(XMLSigner, TheVerificationTimeIsTheReferenceTime) {
    std::string before = elementOf(verify({"revoked.xml"}, "--time 210101000000Z "), "revoked.xml");
    EXPECT_NE(before.find("<verificationTime>210101000000Z</verificationTime><status>OK</status>"),
              std::string::npos)
        << before;
    std::string after = elementOf(verify({"revoked.xml"}, "--time 220101000000Z "), "revoked.xml");
    EXPECT_NE(after.find("<errorMessage>Certificato del Firmatario revocato</errorMessage>"),
              std::string::npos)
        << after;
}

// Without the root in the trust list no XML signer is good, however sound its signature.
TEST_F(XMLSigner, AnEmptyTrustListTrustsNoXMLSigner) {
    ASSERT_EQ(system(("rm -f '" + dir + "/ca/caCertsList'").c_str()), 0);
    std::string report = verify({"bes.xml", "countersigned.xml", "xades_t.xml"});
    EXPECT_EQ(report.find("<status>OK</status></signer>"), std::string::npos) << report;
    EXPECT_NE(report.find("Certificato di CA non trovato"), std::string::npos) << report;
}

// A XAdES document signed again in a CAdES envelope: the envelope's signer and the XML signer
// are both in the envelope's element. An unsigned XML document in an envelope is content only.
TEST_F(XMLSigner, AnXMLSignatureInsideAnEnvelopeHasItsOwnSigner) {
    std::string report = verify({"bes.xml.p7m", "document.xml.p7m", "tampered_value.xml"});
    std::string both = elementOf(report, "bes.xml.p7m");
    EXPECT_NE(both.find("filetype=\"PKCS7 file\""), std::string::npos) << both;
    EXPECT_EQ(count(both, "<signer cadesCompliant=\"true\"><serial>10</serial>"), 2) << both;
    EXPECT_EQ(count(both, "<status>OK</status></signer>"), 2) << both;
    EXPECT_NE(both.find("<signingTime>2024-03-01T10:00:00.000Z</signingTime>"), std::string::npos)
        << both;
    std::string plain = elementOf(report, "document.xml.p7m");
    EXPECT_EQ(count(plain, "<signer"), 1) << plain;
    EXPECT_EQ(plain.find("XML Signature"), std::string::npos) << plain;
}

}  // namespace
