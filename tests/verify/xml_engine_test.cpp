// The XML signer checks in the engine itself, on the xadesjs and xmlsec1 documents of
// tests/data/xml/xades with the engine's test root trusted: a document handed over in a buffer
// (as out of an envelope) with no file references, and documents changed in ways a byte sweep
// does not reach: elements moved or added where the signature does not look, a counter-signature
// that covers something else, a serial written in decimal.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "asn1/Buffer.h"
#include "support/EngineFixture.h"
#include "support/VecFile.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

int count(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

class XMLEngine : public EngineFixture {
protected:
    void SetUp() override { startStore(testData("engine/pki/root.pem"), "", ""); }
    // The report of a document given as bytes, as an envelope's content is.
    std::string verifyBytes(const std::string& xml, unsigned long* code = nullptr) {
        DocVerifier verifier(device, store.get());
        verifier.setCheckCRLPKCS7(0);
        verifier.setCheckCACRL(0);
        Buffer text(4096);
        XMLFile report(&text);
        report.openTag("sigilo");
        verifier.setXMLOutput(&report);
        Buffer document(static_cast<unsigned int>(xml.size()) + 1);
        document.writeBytes(reinterpret_cast<const unsigned char*>(xml.data()),
                            static_cast<unsigned int>(xml.size()));
        verifier.verifyXMLFile(&document);
        if (code != nullptr) *code = verifier.getErrCode();
        std::string out;
        for (char c : std::string(report.getXML(1))) {
            if (c != '\n') out += c;
        }
        return out;
    }
    std::string xades(const std::string& name) { return fileBytes(testData("xml/xades/" + name)); }
};

TEST_F(XMLEngine, ADocumentInABufferIsVerifiedLikeAFile) {
    std::string report = verifyBytes(xades("bes.xml"));
    EXPECT_NE(report.find("<signer cadesCompliant=\"true\"><serial>10</serial>"), std::string::npos)
        << report;
    EXPECT_EQ(count(report, "<status>OK</status>"), 1) << report;
    unsigned long code = 0;
    report = verifyBytes("<?xml version=\"1.0\"?><a><b>", &code);
    EXPECT_EQ(code, 5204ul);
    EXPECT_NE(report.find("File non conforme allo standard XML"), std::string::npos) << report;
}

// A document out of an envelope has no folder: a reference that names a file is refused even
// when a file of that name stands in the working folder.
TEST_F(XMLEngine, ADocumentInABufferNamesNoFile) {
    std::string doc = replaced(xades("bes.xml"), "<ds:Reference URI=\"\">",
                               "<ds:Reference URI=\"CMakeCache.txt\">");
    unsigned long code = 0;
    std::string report = verifyBytes(doc, &code);
    EXPECT_NE(report.find("<errorMessage>Reference con URI non gestita</errorMessage>"),
              std::string::npos)
        << report;
    EXPECT_EQ(report.find("<status>OK"), std::string::npos) << report;
}

// Signed properties that no reference covers are not the signer's: a second Object with its
// own properties put before the signed one, and the signed one's reference pointed elsewhere.
TEST_F(XMLEngine, PropertiesNoReferenceCoversAreRefused) {
    std::string doc = xades("bes.xml");
    size_t object = doc.find("<ds:Object>");
    size_t end = doc.find("</ds:Object>") + std::string("</ds:Object>").size();
    ASSERT_NE(object, std::string::npos);
    std::string forged = doc.substr(object, end - object);
    forged = replaced(forged, "2024-03-01T10:00:00.000Z", "2020-01-02T10:00:00.000Z");
    forged = replaced(forged, "SignedProperties Id=\"", "SignedProperties Id=\"altro-");
    std::string report = verifyBytes(doc.substr(0, object) + forged + doc.substr(object));
    EXPECT_NE(report.find("<signingTime>2020-01-02T10:00:00.000Z</signingTime>"), std::string::npos)
        << report;
    EXPECT_NE(report.find("<errorMessage>Digest in authenticatedAttrs non corretto</errorMessage>"),
              std::string::npos)
        << report;
    EXPECT_EQ(report.find("<status>OK"), std::string::npos) << report;
}

// A signed element moved under a wrapper keeps its digest but its identifier now names two
// elements when the original is left in place: neither is taken.
TEST_F(XMLEngine, AnIdentifierThatOccursTwiceSelectsNothing) {
    std::string doc = xades("two_signers.xml");
    std::string forged = replaced(doc, "<testo Id=\"testo-1\">",
                                  "<testo Id=\"testo-1\">Altro</testo><testo Id=\"testo-1\">");
    std::string report = verifyBytes(forged);
    // The first signer's reference is not resolved; the second's still is.
    EXPECT_NE(report.find("<errorMessage>Reference con URI non gestita</errorMessage>"),
              std::string::npos)
        << report;
    EXPECT_EQ(count(report, "<status>OK</status>"), 1) << report;
}

// A counter-signature must cover the value of the signature it stands under: once that value no
// longer carries the identifier the counter-signature names, the counter-signer is refused and
// the signer keeps its own verdict.
TEST_F(XMLEngine, ACounterSignatureCoversItsOwnSignersValue) {
    std::string good = verifyBytes(xades("countersigned.xml"));
    EXPECT_EQ(count(good, "<status>OK</status>"), 2) << good;
    std::string doc =
        replaced(xades("countersigned.xml"), "<ds:SignatureValue Id=\"valore-firma-1\">",
                 "<ds:SignatureValue Id=\"valore-firma-2\">");
    std::string report = verifyBytes(doc);
    // The parent is untouched (its value is not signed by itself); the counter-signer is not.
    EXPECT_NE(report.find("<status>OK</status><countersigner"), std::string::npos) << report;
    EXPECT_NE(report.find("non gestita</errorMessage><status>KO</status></countersigner>"),
              std::string::npos)
        << report;
}

// The serial of SigningCertificate is read as hexadecimal first, then as decimal: xadesjs
// writes 16 for the certificate 0x10, which matches only by the second reading. A serial of
// another certificate matches neither.
TEST_F(XMLEngine, ADecimalSerialMatchesAndAnotherDoesNot) {
    std::string doc = xades("bes_plain.xml");
    ASSERT_NE(doc.find("<ds:X509SerialNumber>16</ds:X509SerialNumber>"), std::string::npos);
    std::string report = verifyBytes(doc);
    EXPECT_NE(report.find("<signingCertificateV2>2.16.840.1.101.3.4.2.1</signingCertificateV2>"),
              std::string::npos)
        << report;
    // Changing the serial changes the signed properties too; what is checked here is that the
    // properties' own check refuses it before any digest is trusted.
    report = verifyBytes(replaced(doc, "<ds:X509SerialNumber>16<", "<ds:X509SerialNumber>17<"));
    EXPECT_NE(report.find("L'attributo SigningCertificateV2 non identifica il firmatario"),
              std::string::npos)
        << report;
}

}  // namespace
