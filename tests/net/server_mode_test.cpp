// sigilo in server mode against sigilo-server, both started by the test on 127.0.0.1: the
// reports must say what stand-alone sigilo says on the same files with the same trust data.
// Then the server alone: many clients at once, hostile connections among good ones, a log
// line per exchange and a clean stop.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "net/NetFixture.h"
#include "trust/ServerInterface.h"

namespace {

const std::string kServer = std::string(SIGILO_BINARY_DIR) + "/sigilo-server";
const std::string kTool = std::string(SIGILO_BINARY_DIR) + "/sigilo";

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The report without what may differ between two runs or two modes: the root's own tag (the
// attributes of the mode) and the verification times.
std::string comparable(const std::string& report) {
    std::string out = std::regex_replace(report, std::regex("<sigilo [^>]*>"), "<sigilo>");
    return std::regex_replace(out, std::regex("<verificationTime>[^<]*</verificationTime>"), "");
}

int run(const std::string& dir, const std::string& arguments, const std::string& output) {
    std::string command =
        "cd '" + dir + "' && " + kTool + " " + arguments + " >" + output + " 2>>err.txt";
    int raw = system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

// The resident memory of a process in kB, from /proc.
long residentKB(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 6, "VmRSS:") == 0) return std::stol(line.substr(6));
    }
    return -1;
}

int countLines(const std::string& text, const std::string& part) {
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// The base64 body of a PEM certificate.
std::string certificateText(const std::string& pemFile) {
    std::string pem = readFile(pemFile);
    size_t at = pem.find("-----\n") + 6;
    std::string out;
    for (char c : pem.substr(at, pem.find("-----END") - at)) {
        if (c != '\n') out += c;
    }
    return out;
}

// Sends raw bytes on a new connection and reads until the server closes it, at most the
// seconds given: the bytes that came back, or "(open)" when the connection stayed open.
std::string rawExchange(int port, const std::string& bytes, int seconds, bool closeWriting) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return "(refused)";
    }
    size_t sent = 0;
    while (sent < bytes.size()) {
        ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    if (closeWriting) shutdown(fd, SHUT_WR);
    std::string got;
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (;;) {
        int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        end - std::chrono::steady_clock::now())
                                        .count());
        pollfd wait = {fd, POLLIN, 0};
        if (left <= 0 || poll(&wait, 1, left) <= 0) {
            close(fd);
            return "(open)";
        }
        char block[4096];
        ssize_t n = recv(fd, block, sizeof block, 0);
        if (n <= 0) break;
        got.append(block, static_cast<size_t>(n));
    }
    close(fd);
    return got;
}

std::string framed(const std::string& text) {
    unsigned int n = static_cast<unsigned int>(text.size());
    std::string head = {static_cast<char>(n >> 24), static_cast<char>(n >> 16),
                        static_cast<char>(n >> 8), static_cast<char>(n)};
    return head + text;
}

class ServerMode : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/server_mode_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "/ca'").c_str()), 0);
        ASSERT_EQ(
            run(dir, "-c ca --import-pem '" + testData("engine/pki/root.pem") + "'", "/dev/null"),
            0);
        writeFile(dir + "/ca/crlCache", readFile(testData("engine/crl/crlCache")));
        ServerInterface::setTimeout(10);
    }
    void TearDown() override { ServerInterface::setTimeout(ServerInterface::kDefaultTimeout); }
    void startServer(const std::vector<std::string>& extra = {}) {
        std::vector<std::string> argv = {kServer, "-p", "0",  "--print-port",     "-c", dir + "/ca",
                                         "-d",    "4",  "-l", dir + "/server.log"};
        argv.insert(argv.end(), extra.begin(), extra.end());
        ASSERT_TRUE(server.startPrintingPort(argv));
    }
    std::string serverOption() const {
        return "--server 127.0.0.1:" + std::to_string(server.port());
    }
    std::string files(const std::vector<std::string>& names) const {
        std::string list;
        for (const std::string& name : names) list += " '" + testData("engine/" + name) + "'";
        return list;
    }
    // A client asking about one certificate; the code it ends with.
    static unsigned long ask(int port, const std::string& certificate) {
        ServerInterface client;
        client.setServerName("127.0.0.1");
        client.setServerPort(static_cast<unsigned short>(port));
        if (!client.askServer(certificate.c_str(), 0)) return 0;
        return client.getErrCode();
    }

    std::string dir;
    ServerProcess server;
};

TEST_F(ServerMode, TheVerdictsAreThoseOfStandAlone) {
    startServer();
    // Good, revoked, suspended, expired and untrusted signers, a CMS signer, and a time stamp
    // whose authority's certificate is asked about as such.
    std::string list = files({"cades.p7m", "revoked.p7m", "held.p7m", "expired.p7m", "stranger.p7m",
                              "cades_keyid.p7m", "token.p7m", "two_signers.p7m"});
    int alone = run(dir, "-c ca -d 4" + list, "alone.xml");
    int remote = run(dir, serverOption() + list, "remote.xml");
    EXPECT_EQ(alone, remote);
    std::string aloneReport = readFile(dir + "/alone.xml");
    std::string remoteReport = readFile(dir + "/remote.xml");
    EXPECT_EQ(comparable(aloneReport), comparable(remoteReport));
    EXPECT_TRUE(
        has(remoteReport, "serverRelease=\"3.3.15\" downloadCRL=\"usa solo quelle locali\""))
        << remoteReport;
    EXPECT_FALSE(has(aloneReport, "serverRelease")) << aloneReport;
    // And they are the verdicts wanted, not the same mistake twice.
    std::string flat = comparable(remoteReport);
    for (const char* part :
         {"<crlRevocationDate>210601000000Z</crlRevocationDate>",
          "<errorMessage>Certificato del Firmatario revocato</errorMessage>",
          "<errorMessage>Certificato del Firmatario sospeso</errorMessage>",
          "<errorMessage>Certificato di CA non trovato</errorMessage>", "<status>OK</status>"}) {
        EXPECT_TRUE(has(flat, part)) << part;
    }

    // One log line for the state and one for each certificate asked about.
    server.stop();
    std::string log = readFile(dir + "/server.log");
    EXPECT_EQ(countLines(log, "opCode=100"), 1) << log;
    EXPECT_GE(countLines(log, "opCode=101"), 8) << log;
    EXPECT_GE(countLines(log, "opCode=102"), 1) << log;
    EXPECT_TRUE(has(log, "sigilo-server fermato")) << log;
}

TEST_F(ServerMode, PDFAndXMLSignersAreJudgedByTheServerAlike) {
    startServer();
    std::string list;
    for (const char* name :
         {"pdf/verify/cades.pdf", "pdf/verify/cades-revoked.pdf", "pdf/verify/rsa-sha1.pdf",
          "pdf/verify/rsa-sha1-revoked.pdf", "pdf/verify/cades-stranger.pdf", "xml/xades/bes.xml",
          "xml/xades/revoked.xml", "xml/xades/expired.xml", "xml/xades/untrusted.xml"}) {
        list += " '" + testData(name) + "'";
    }
    int alone = run(dir, "-c ca -d 4 --july2011 0" + list, "alone.xml");
    int remote = run(dir, serverOption() + " --july2011 0" + list, "remote.xml");
    EXPECT_EQ(alone, remote);
    std::string remoteReport = readFile(dir + "/remote.xml");
    EXPECT_EQ(comparable(readFile(dir + "/alone.xml")), comparable(remoteReport));
    EXPECT_TRUE(has(remoteReport, "<status>OK</status>")) << remoteReport;
    EXPECT_TRUE(has(remoteReport, "<status>KO</status>")) << remoteReport;
    // Every signer's certificate went to the server.
    server.stop();
    EXPECT_GE(countLines(readFile(dir + "/server.log"), "opCode=101"), 9);
}

TEST_F(ServerMode, SwitchesTravelWithTheRequest) {
    startServer();
    std::string list = files({"revoked.p7m", "expired.p7m"});
    int alone = run(dir, "-c ca -d 4 --no-crl --skip-validity" + list, "alone.xml");
    int remote = run(dir, serverOption() + " --no-crl --skip-validity" + list, "remote.xml");
    EXPECT_EQ(alone, remote);
    std::string remoteReport = readFile(dir + "/remote.xml");
    EXPECT_EQ(comparable(readFile(dir + "/alone.xml")), comparable(remoteReport));
    // Without the CRL check the revocation is not seen, and the mode is not stated.
    EXPECT_FALSE(has(remoteReport, "crlRevocationDate")) << remoteReport;
    EXPECT_FALSE(has(remoteReport, "downloadCRL")) << remoteReport;
}

TEST_F(ServerMode, AServerOutOfReachGivesOneFailedReport) {
    std::string command =
        "--server 127.0.0.1:" + std::to_string(ServerProcess::freePort()) + files({"cades.p7m"});
    EXPECT_EQ(run(dir, command, "remote.xml"), 1);
    std::string report = readFile(dir + "/remote.xml");
    EXPECT_TRUE(has(report, "<errorMessage>sigiloServer non e' raggiungibile</errorMessage>"))
        << report;
    EXPECT_FALSE(has(report, "signedData")) << report;
}

TEST_F(ServerMode, EightClientsTwoThousandRequestsNoMixUpAndFlatMemory) {
    // Under AddressSanitizer freed memory is held back in a quarantine, which would read as
    // growth: the server is started without one.
    const char* asan = getenv("ASAN_OPTIONS");
    std::string saved = asan != nullptr ? asan : "";
    setenv("ASAN_OPTIONS",
           (saved + (saved.empty() ? "" : ":") +
            "quarantine_size_mb=0:thread_local_quarantine_size_kb=0")
               .c_str(),
           1);
    startServer({"-w", "4"});
    if (asan != nullptr) {
        setenv("ASAN_OPTIONS", saved.c_str(), 1);
    } else {
        unsetenv("ASAN_OPTIONS");
    }
    const std::string good = certificateText(testData("engine/pki/good.pem"));
    const std::string revoked = certificateText(testData("engine/pki/revoked.pem"));
    const std::string held = certificateText(testData("engine/pki/held.pem"));
    const std::string* certs[3] = {&good, &revoked, &held};
    const unsigned long expected[3] = {0xFFFFFFFFul, 5128, 5161};
    // Warm up, so that what the server keeps for good is in place before the first measure.
    for (int i = 0; i < 60; ++i) ASSERT_EQ(ask(server.port(), *certs[i % 3]), expected[i % 3]);
    long before = residentKB(server.pid());
    ASSERT_GT(before, 0);

    std::atomic<int> wrong{0};
    std::vector<std::thread> clients;
    for (int t = 0; t < 8; ++t) {
        clients.emplace_back([&, t] {
            for (int i = 0; i < 250; ++i) {
                int which = (t + i) % 3;
                if (ask(server.port(), *certs[which]) != expected[which]) ++wrong;
            }
        });
    }
    for (std::thread& c : clients) c.join();
    EXPECT_EQ(wrong.load(), 0);
    long after = residentKB(server.pid());
    // Generous: a leak of even a few hundred bytes a request would pass 2000 requests' worth.
    EXPECT_LT(after - before, 8 * 1024) << before << " kB before, " << after << " kB after";
}

TEST_F(ServerMode, BadConnectionsAreClosedWithoutReplyAndGoodOnesGoOn) {
    startServer({"-w", "3", "-t", "2"});
    const std::string good = certificateText(testData("engine/pki/good.pem"));
    const std::string request =
        "<sigiloRequest><opCode>101</opCode><cert>" + good + "</cert></sigiloRequest>";
    // A good request the raw way, so that the bad ones below differ only in what is wrong.
    std::string answer = rawExchange(server.port(), framed(request), 10, false);
    ASSERT_GT(answer.size(), 4u);
    EXPECT_TRUE(has(answer, "<errorCode>0</errorCode>")) << answer;

    std::atomic<bool> done{false};
    std::atomic<int> goodWrong{0}, goodAsked{0};
    std::thread goodClient([&] {
        while (!done) {
            if (ask(server.port(), good) != 0xFFFFFFFFul) ++goodWrong;
            ++goodAsked;
        }
    });

    std::string huge = "<sigiloRequest><opCode>101</opCode><cert>" + std::string(200000, 'A') +
                       "</cert></sigiloRequest>";
    std::string bigCert = "<sigiloRequest><opCode>101</opCode><cert>" + std::string(60000, 'A') +
                          "</cert></sigiloRequest>";
    std::vector<std::pair<std::string, std::string>> bad = {
        {"truncated length", std::string("\x00\x00", 2)},
        {"zero length", std::string("\x00\x00\x00\x00", 4)},
        {"all-ones length", std::string("\xFF\xFF\xFF\xFF", 4) + "<a/>"},
        {"cut text", framed(request).substr(0, 40)},
        {"not XML", framed("this is not XML <<<")},
        {"another root", framed("<sigiloReply><opCode>100</opCode></sigiloReply>")},
        {"unknown opCode", framed("<sigiloRequest><opCode>103</opCode></sigiloRequest>")},
        {"no certificate", framed("<sigiloRequest><opCode>101</opCode></sigiloRequest>")},
        {"too long", framed(huge)},
    };
    for (const auto& [what, bytes] : bad) {
        EXPECT_EQ(rawExchange(server.port(), bytes, 10, true), "") << what;
    }
    // A certificate of 60000 characters that is no certificate is answered with an error.
    answer = rawExchange(server.port(), framed(bigCert), 10, false);
    EXPECT_TRUE(has(answer, "<errorCode>1441</errorCode>")) << answer.substr(0, 200);
    // A client that sends nothing is cut after the exchange's time (2 s) and holds nobody up.
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(rawExchange(server.port(), "", 10, false), "");
    EXPECT_LT(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count(),
        6);

    done = true;
    goodClient.join();
    EXPECT_EQ(goodWrong.load(), 0);
    EXPECT_GT(goodAsked.load(), 0);
    EXPECT_EQ(ask(server.port(), good), 0xFFFFFFFFul);
    std::string log = readFile(dir + "/server.log");
    EXPECT_GE(countLines(log, "nessuna risposta"), static_cast<int>(bad.size())) << log;
}

// A CRL past its next update, fetched by the server through the test's web server as proxy:
// an error in both modes unless the client allows it, and said so in the report either way.
class ServerModeNetwork : public WebServerTest {};

TEST_F(ServerModeNetwork, AStaleCRLIsAnErrorUnlessAllowed) {
    writeFile(root("root.crl"), readFile(testData("net/crl_stale.der")));
    ASSERT_EQ(system(("mkdir -p '" + dir + "/ca' '" + dir + "/alone'").c_str()), 0);
    ASSERT_EQ(run(dir, "-c ca --import-pem '" + testData("net/root.pem") + "'", "/dev/null"), 0);
    ASSERT_EQ(run(dir, "-c alone --import-pem '" + testData("net/root.pem") + "'", "/dev/null"), 0);
    std::string proxyAddress = "127.0.0.1:" + std::to_string(server.port());
    std::string proxy = "--http-proxy " + proxyAddress;
    ServerProcess verifier;
    ASSERT_TRUE(
        verifier.startPrintingPort({kServer, "-p", "0", "--print-port", "-c", dir + "/ca", "-l",
                                    dir + "/server.log", "--http-proxy", proxyAddress}));
    std::string remote = "--july2011 0 --server 127.0.0.1:" + std::to_string(verifier.port());
    std::string good = " '" + testData("net/good.p7m") + "'";
    for (const std::string& allow : {std::string(""), std::string(" --no-expired-crl-error")}) {
        int a = run(dir, "-c alone --july2011 0 " + proxy + allow + good, "alone.xml");
        int r = run(dir, remote + allow + good, "remote.xml");
        EXPECT_EQ(a, allow.empty() ? 1 : 0) << allow;
        EXPECT_EQ(a, r) << allow;
        std::string report = readFile(dir + "/remote.xml");
        EXPECT_EQ(comparable(readFile(dir + "/alone.xml")), comparable(report)) << allow;
        EXPECT_TRUE(has(report, "<crlExpired>210101000000Z</crlExpired>")) << report;
        EXPECT_EQ(has(report,
                      "<errorMessage>Almeno una delle CRL utilizzate nella verifica e' "
                      "scaduta</errorMessage>"),
                  allow.empty())
            << report;
    }
}

}  // namespace
