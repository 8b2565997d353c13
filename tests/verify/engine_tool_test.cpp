// The sigilo tool on the engine's envelopes, as a user runs it: a trust list made by
// --import-pem from the test root, the root's CRL in a "crlCache" file of its own (so no network
// is asked), and several envelopes in one run, each with its verdict in the one report.
#include <gtest/gtest.h>
#include <sys/stat.h>
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

std::string engineData(const std::string& name) {
    return testData("engine/" + name);
}

// The report of one file: its signedData element, without line breaks.
std::string elementOf(const std::string& report, const std::string& file) {
    size_t at = report.find("<signedData filename=\"" + engineData(file) + "\"");
    if (at == std::string::npos) return "";
    // Nested elements are not used here: the first closing tag ends it.
    size_t end = report.find("</signedData>", at);
    std::string out;
    for (char c : report.substr(at, end - at)) {
        if (c != '\n' && c != '\r') out += c;
    }
    return out;
}

class EngineTool : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/engine_tool_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::string reset = "rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca' '" + dir +
                            "/crl' && cp '" + engineData("crl/crlCache") + "' '" + dir + "/crl/'";
        ASSERT_EQ(system(reset.c_str()), 0);
    }
    int sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR + "/sigilo -c ca -r crl " +
                              arguments + " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    std::string dir;
};

TEST_F(EngineTool, ImportedRootAndCachedCRLGiveEachFileItsVerdict) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0)
        << fileBytes(dir + "/err.txt");
    std::vector<std::string> files = {"cades.p7m", "revoked.p7m", "held.p7m", "cades_keyid.p7m",
                                      "stranger.p7m"};
    std::string list;
    for (const std::string& f : files) list += " '" + engineData(f) + "'";
    // One file is not good: the exit status says so.
    EXPECT_EQ(sigilo(list), 1) << fileBytes(dir + "/err.txt");
    std::string report = fileBytes(dir + "/out.txt");

    std::string good = elementOf(report, "cades.p7m");
    for (const char* part :
         {"filetype=\"PKCS7 file\"", "<signer cadesCompliant=\"true\">", "<serial>10</serial>",
          "<CN>Firmatario Buono</CN>", "<CN>Radice Motore</CN>",
          "<certNotBefore>200101000000Z</certNotBefore>",
          "<certNotAfter>20991231000000Z</certNotAfter>", "-----BEGIN CERTIFICATE-----",
          "<signedAttributes>", "<messageDigest/>",
          "<signingCertificateV2>2.16.840.1.101.3.4.2.1</signingCertificateV2>",
          "<digestAlgorithm>2.16.840.1.101.3.4.2.1</digestAlgorithm>", "<verificationTime>",
          "<status>OK</status>"}) {
        EXPECT_NE(good.find(part), std::string::npos) << part << "\n" << good;
    }

    // The revoked and the suspended signers, from the cached CRL.
    std::string revoked = elementOf(report, "revoked.p7m");
    EXPECT_NE(revoked.find("<crlRevocationDate>210601000000Z</crlRevocationDate>"),
              std::string::npos)
        << revoked;
    EXPECT_NE(revoked.find("<errorMessage>Certificato del Firmatario revocato</errorMessage>"
                           "<status>KO</status>"),
              std::string::npos)
        << revoked;
    std::string held = elementOf(report, "held.p7m");
    EXPECT_NE(held.find("<errorMessage>Certificato del Firmatario sospeso</errorMessage>"
                        "<status>KO</status>"),
              std::string::npos)
        << held;

    std::string cms = elementOf(report, "cades_keyid.p7m");
    EXPECT_NE(cms.find("filetype=\"CMS file\""), std::string::npos) << cms;
    EXPECT_NE(cms.find("<status>OK</status>"), std::string::npos) << cms;

    std::string stranger = elementOf(report, "stranger.p7m");
    EXPECT_NE(stranger.find("<errorMessage>Certificato di CA non trovato</errorMessage>"),
              std::string::npos)
        << stranger;
    EXPECT_EQ(stranger.find("<status>OK</status>"), std::string::npos) << stranger;
}

TEST_F(EngineTool, AnEmptyTrustListTrustsNoSigner) {
    EXPECT_EQ(sigilo("'" + engineData("cades.p7m") + "'"), 1);
    std::string good = elementOf(fileBytes(dir + "/out.txt"), "cades.p7m");
    EXPECT_NE(good.find("<status>KO</status>"), std::string::npos) << good;
    EXPECT_EQ(good.find("<status>OK</status>"), std::string::npos) << good;
}

TEST_F(EngineTool, AllGoodFilesExitZero) {
    ASSERT_EQ(sigilo("--import-pem '" + engineData("pki/root.pem") + "'"), 0);
    EXPECT_EQ(sigilo("'" + engineData("cades.p7m") + "' '" + engineData("two_signers.p7m") + "'"),
              0)
        << fileBytes(dir + "/out.txt") << fileBytes(dir + "/err.txt");
    // A detached signature with its document.
    EXPECT_EQ(
        sigilo("-D '" + engineData("document.txt") + "' '" + engineData("detached.p7s") + "'"), 0)
        << fileBytes(dir + "/out.txt") << fileBytes(dir + "/err.txt");
    EXPECT_NE(fileBytes(dir + "/out.txt").find("detachedDocument="), std::string::npos);
}

}  // namespace
