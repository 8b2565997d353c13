// The sigilo tool fetching the CRL of its signers, as a user runs it. The signers' certificates
// of tests/data/net name http://127.0.0.1:9/crl/root.crl, where no server listens; the test's
// web server is given as the HTTP proxy, so it receives the whole URL and serves the CRL. The
// requests it logs are counted for each retrieval mode.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "net/NetFixture.h"

namespace {

// The report of one file: its signedData element, without line breaks.
std::string elementOf(const std::string& report, const std::string& file) {
    size_t at = report.find("<signedData filename=\"" + testData("net/" + file) + "\"");
    if (at == std::string::npos) return "";
    size_t end = report.find("</signedData>", at);
    std::string out;
    for (char c : report.substr(at, end - at)) {
        if (c != '\n' && c != '\r') out += c;
    }
    return out;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class ToolNetwork : public WebServerTest {
protected:
    void SetUp() override {
        WebServerTest::SetUp();
        writeFile(root("root.crl"), readFile(testData("net/crl_current.der")));
        ASSERT_EQ(system(("mkdir -p '" + dir + "/ca'").c_str()), 0);
        ASSERT_EQ(sigilo("--import-pem '" + testData("net/root.pem") + "'"), 0);
    }
    int sigilo(const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR +
                              "/sigilo -c ca --july2011 0 " + arguments + " >out.txt 2>err.txt";
        int raw = system(command.c_str());
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }
    std::string proxy() const { return "--http-proxy 127.0.0.1:" + std::to_string(server.port()); }
    std::string signers() const {
        std::string list;
        for (const char* f : {"good.p7m", "revoked.p7m", "held.p7m"}) {
            list += " '" + testData(std::string("net/") + f) + "'";
        }
        return list;
    }
    std::string report() const { return readFile(dir + "/out.txt"); }
    // The three signers have the verdicts of the CRL.
    void expectVerdicts() {
        std::string all = report();
        std::string good = elementOf(all, "good.p7m");
        EXPECT_TRUE(has(good, "<crlThisUpdate>240101000000Z</crlThisUpdate>")) << good;
        EXPECT_TRUE(has(good, "<status>OK</status>")) << good;
        std::string revoked = elementOf(all, "revoked.p7m");
        EXPECT_TRUE(has(revoked, "<crlRevocationDate>210601000000Z</crlRevocationDate>"))
            << revoked;
        EXPECT_TRUE(has(revoked,
                        "<errorMessage>Certificato del Firmatario revocato</errorMessage>"
                        "<status>KO</status>"))
            << revoked;
        std::string held = elementOf(all, "held.p7m");
        EXPECT_TRUE(has(held, "<crlHoldDate>210601000000Z</crlHoldDate>")) << held;
        EXPECT_TRUE(has(held,
                        "<errorMessage>Certificato del Firmatario sospeso</errorMessage>"
                        "<status>KO</status>"))
            << held;
    }
    void expectNoCRL(const std::string& file) {
        std::string element = elementOf(report(), file);
        EXPECT_TRUE(has(element,
                        "<errorMessage>Impossibile scaricare la CRL</errorMessage>"
                        "<status>KO</status>"))
            << element;
    }
};

TEST_F(ToolNetwork, AnEmptyCacheIsFilledThenUsedWithoutNetwork) {
    EXPECT_EQ(sigilo(proxy() + signers()), 1) << readFile(dir + "/err.txt");
    expectVerdicts();
    // Mode 2: the first signer fetches; the others find the row and only ask for its date.
    EXPECT_EQ(countOf("/crl/root.crl"), 3);
    EXPECT_EQ(requests()[0], "GET /crl/root.crl proxy - -");
    ASSERT_FALSE(readFile(dir + "/ca/crlCache").empty());
    // Local CRLs only, and no proxy: the same verdicts from the cache file, no request.
    server.stop();
    EXPECT_EQ(sigilo("--download-crl 4" + signers()), 1);
    expectVerdicts();
    EXPECT_EQ(countOf("/"), 3);
}

TEST_F(ToolNetwork, EachModeAsksWhenItShould) {
    EXPECT_EQ(sigilo("--download-crl 1 " + proxy() + signers()), 1);
    expectVerdicts();
    EXPECT_EQ(countOf("/crl/root.crl"), 1);
    // Once per session: a second run with the cache file asks nothing.
    EXPECT_EQ(sigilo("--download-crl 1 " + proxy() + signers()), 1);
    EXPECT_EQ(countOf("/crl/root.crl"), 1);
    // Always from the network: the cache file is not read, and every signer fetches.
    EXPECT_EQ(sigilo("--download-crl 3 " + proxy() + signers()), 1);
    expectVerdicts();
    EXPECT_EQ(countOf("/crl/root.crl"), 4);
    // When stale: the stored CRL is not due, so only its date is asked, once a signer.
    EXPECT_EQ(sigilo("--download-crl 2 --no-crl-timestamp " + proxy() + signers()), 1);
    EXPECT_EQ(countOf("/crl/root.crl"), 4);
    EXPECT_EQ(sigilo("--download-crl 2 " + proxy() + signers()), 1);
    EXPECT_EQ(countOf("/crl/root.crl"), 7);
}

TEST_F(ToolNetwork, UpdateTakesTheNewerCRL) {
    EXPECT_EQ(sigilo(proxy() + signers()), 1);
    int before = countOf("/crl/root.crl");
    writeFile(root("root.crl"), readFile(testData("net/crl_newer.der")));
    writeFile(root("root.crl.lastmod"), "Wed, 01 Jan 2025 00:00:00 GMT");
    EXPECT_EQ(sigilo(proxy() + " --update-crl"), 0) << readFile(dir + "/err.txt");
    EXPECT_EQ(countOf("/crl/root.crl"), before + 2);
    EXPECT_EQ(sigilo("--download-crl 4 '" + testData("net/good.p7m") + "'"), 0);
    EXPECT_TRUE(has(report(), "<crlThisUpdate>250101000000Z</crlThisUpdate>")) << report();
}

TEST_F(ToolNetwork, ADownServerGivesNoCRL) {
    EXPECT_EQ(sigilo(signers()), 1);
    for (const char* f : {"good.p7m", "revoked.p7m", "held.p7m"}) expectNoCRL(f);
    EXPECT_EQ(countOf("/"), 0);
}

TEST_F(ToolNetwork, AHungServerIsGivenUpAndTheBatchGoesOn) {
    writeFile(root("root.crl.hang"), "");
    auto start = std::chrono::steady_clock::now();
    // Two seconds, not one: the server logs a request only once it has read it, which on a
    // loaded machine can take longer than a one-second time-out leaves.
    EXPECT_EQ(sigilo("--timeout 2 " + proxy() + signers()), 1);
    EXPECT_LT(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count(),
        20);
    for (const char* f : {"good.p7m", "revoked.p7m", "held.p7m"}) expectNoCRL(f);
    EXPECT_EQ(countOf("/crl/root.crl"), 3);
}

TEST_F(ToolNetwork, AStaleCRLIsAnErrorUnlessAllowed) {
    writeFile(root("root.crl"), readFile(testData("net/crl_stale.der")));
    std::string good = " '" + testData("net/good.p7m") + "'";
    EXPECT_EQ(sigilo(proxy() + good), 1);
    std::string element = elementOf(report(), "good.p7m");
    EXPECT_TRUE(has(element, "<crlExpired>210101000000Z</crlExpired>")) << element;
    EXPECT_TRUE(has(element,
                    "<errorMessage>Almeno una delle CRL utilizzate nella verifica e' "
                    "scaduta</errorMessage><status>KO</status>"))
        << element;
    EXPECT_EQ(sigilo("--no-expired-crl-error " + proxy() + good), 0);
    element = elementOf(report(), "good.p7m");
    EXPECT_TRUE(has(element, "<crlExpired>210101000000Z</crlExpired>")) << element;
    EXPECT_TRUE(has(element, "<status>OK</status>")) << element;
    // A stale CRL is fetched again on every use.
    EXPECT_EQ(countOf("/crl/root.crl"), 2);
}

}  // namespace
