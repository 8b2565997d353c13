// The engine's rules that stand apart from a signer: the two dated rules over every combination
// of time stamps and verification time (tests/data/engine/dated.vec), the files a walk writes
// (content and inner envelopes, in each mode of the walk), and the result code when no report
// is being built.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "support/EngineFixture.h"
#include "support/ReportText.h"
#include "support/VecFile.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

std::string engineData(const std::string& name) {
    return testData("engine/" + name);
}

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

// A time from the seconds of the data, or none for "-".
std::unique_ptr<X500Time> timeOf(const VecCase& c, const std::string& key) {
    if (c.get(key).empty()) return nullptr;
    auto t = std::make_unique<X500Time>();
    t->setGeneralizedValue(std::stol(c.get(key)));
    return t;
}

TEST(EngineDatedRules, EveryCombinationOfProofs) {
    auto cases = casesOfKind(readVecFile(engineData("dated.vec")), "rule");
    ASSERT_GE(cases.size(), 14u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        DocVerifier verifier(nullptr, nullptr);
        verifier.setCheckJuly2011Constraint(static_cast<unsigned char>(std::stoi(c.get("mode"))));
        std::unique_ptr<X500Time> notBefore = timeOf(c, "notBefore");
        std::unique_ptr<X500Time> last = timeOf(c, "last");
        std::unique_ptr<X500Time> envelope = timeOf(c, "envelope");
        std::unique_ptr<X500Time> verification = timeOf(c, "verification");
        verifier._setTimeStampTimes(last.get(), envelope.get());
        if (verification) {
            ASSERT_EQ(verifier.setVerificationTime(verification.get()), 255);
        }
        EXPECT_EQ(verifier.checkJuly2011(notBefore.get()), std::stoul(c.get("july")));
        EXPECT_EQ(verifier.checkConformance2011(notBefore.get()), std::stoul(c.get("conformance")));
    }
}

// Envelopes of tests/data/engine verified with the root in the trust list and no report unless
// the test makes one.
class EngineFiles : public EngineFixture {
protected:
    void SetUp() override {
        // No CRL is needed by these envelopes' signers; none is served.
        startStore(engineData("pki/root.pem"), "", "");
        dir = ::testing::TempDir() + "/engine_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        mkdir(dir.c_str(), 0755);
        for (const char* name : {"/out", "/out.sig0", "/out.sig1", "/out.sig2"}) {
            std::remove((dir + name).c_str());
        }
    }
    std::string dir;
};

TEST_F(EngineFiles, TheInnermostDataIsTheContent) {
    DocVerifier verifier(device, store.get());
    std::string out = dir + "/out";
    ASSERT_TRUE(verifier.verifyPKCS7File(engineData("nested.p7m").c_str(), nullptr, out.c_str()));
    EXPECT_EQ(fileBytes(out), fileBytes(engineData("document.txt")));
    // Flattened: no inner envelope is written.
    EXPECT_FALSE(exists(out + ".sig1"));
}

TEST_F(EngineFiles, NestedModeWritesEachInnerEnvelopeByItsLayer) {
    DocVerifier verifier(device, store.get());
    verifier.setCheckEncapSigs(2);
    std::string out = dir + "/out";
    ASSERT_TRUE(verifier.verifyPKCS7File(engineData("nested.p7m").c_str(), nullptr, out.c_str()));
    EXPECT_EQ(fileBytes(out), fileBytes(engineData("document.txt")));
    EXPECT_EQ(fileBytes(out + ".sig1"), fileBytes(engineData("cades.p7m")));
    EXPECT_FALSE(exists(out + ".sig0"));
}

TEST_F(EngineFiles, NestedCMSWritesEveryLayerToIndexZero) {
    DocVerifier verifier(device, store.get());
    verifier.setCheckEncapSigs(2);
    std::string out = dir + "/out";
    ASSERT_TRUE(verifier.verifyCMSFile(engineData("nested_cms.p7m").c_str(), nullptr, out.c_str()));
    EXPECT_EQ(fileBytes(out + ".sig0"), fileBytes(engineData("cades_keyid.p7m")));
    EXPECT_FALSE(exists(out + ".sig1"));
    EXPECT_EQ(fileBytes(out), fileBytes(engineData("document.txt")));
}

TEST_F(EngineFiles, WithInnerLayersOffTheInnerEnvelopeIsTheContent) {
    DocVerifier verifier(device, store.get());
    verifier.setCheckEncapSigs(0);
    std::string out = dir + "/out";
    ASSERT_TRUE(verifier.verifyPKCS7File(engineData("nested.p7m").c_str(), nullptr, out.c_str()));
    EXPECT_EQ(fileBytes(out), fileBytes(engineData("cades.p7m")));
}

TEST_F(EngineFiles, ABase64LayerLeftByTheCMSWalkIsTheContentAsItStands) {
    DocVerifier verifier(device, store.get());
    std::string out = dir + "/out";
    ASSERT_TRUE(
        verifier.verifyCMSFile(engineData("nested_b64_cms.p7m").c_str(), nullptr, out.c_str()));
    std::string text = fileBytes(out);
    EXPECT_EQ(text.substr(0, 4), "MIIG") << text.substr(0, 40);
}

TEST_F(EngineFiles, WithoutAReportTheVerdictLeavesTheCodeAlone) {
    // A signer with a good time stamp: no code, report or not.
    DocVerifier quiet(device, store.get());
    ASSERT_TRUE(quiet.verifyPKCS7File(engineData("token.p7m").c_str(), nullptr, nullptr));
    EXPECT_EQ(quiet.getErrCode(), 0xFFFFFFFFul);
    // The certificate check writes its own code, report or not.
    ASSERT_TRUE(quiet.verifyPKCS7File(engineData("expired.p7m").c_str(), nullptr, nullptr));
    EXPECT_EQ(quiet.getErrCode(), 5127ul);

    DocVerifier reporting(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("r");
    reporting.setXMLOutput(&report);
    ASSERT_TRUE(reporting.verifyPKCS7File(engineData("expired.p7m").c_str(), nullptr, nullptr));
    EXPECT_EQ(reporting.getErrCode(), 5127ul);
    // The next file starts again from no error, and a clean one leaves it there.
    ASSERT_TRUE(reporting.verifyPKCS7File(engineData("token.p7m").c_str(), nullptr, nullptr));
    EXPECT_EQ(reporting.getErrCode(), 0xFFFFFFFFul);
}

TEST_F(EngineFiles, AFileThatIsNoEnvelopeOrNoSignedData) {
    DocVerifier verifier(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("r");
    verifier.setXMLOutput(&report);
    // Plain text is no PKCS#7 envelope at all.
    EXPECT_FALSE(verifier.verifyPKCS7File(engineData("document.txt").c_str(), nullptr, nullptr));
    EXPECT_EQ(verifier.getErrCode(), 5123ul);
    std::string xml = flatReport(report.getXML(1));
    EXPECT_NE(xml.find("<errorMessage>Il file non contiene una busta PKCS#7</errorMessage>"
                       "<status>KO</status></signedData>"),
              std::string::npos)
        << xml;
}

TEST_F(EngineFiles, ADetachedEnvelopeWithoutItsDocument) {
    DocVerifier verifier(device, store.get());
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("r");
    verifier.setXMLOutput(&report);
    // Detached, and no document given: nothing to digest.
    EXPECT_TRUE(verifier.verifyPKCS7File(engineData("detached.p7s").c_str(), nullptr, nullptr));
    EXPECT_EQ(verifier.getErrCode(), 5193ul);
    std::string xml = flatReport(report.getXML(1));
    EXPECT_NE(xml.find("<errorMessage>Documento originale non trovato</errorMessage>"),
              std::string::npos)
        << xml;
    EXPECT_EQ(xml.find("<status>OK</status>"), std::string::npos) << xml;
}

}  // namespace
