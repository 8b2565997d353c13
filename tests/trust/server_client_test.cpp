// The client of the verification server. The judgement of a reply is checked on replies parsed
// here; the transfer against stand-in servers (tests/data/server/fake_server.py) that answer
// well, badly, or not at all, each started by the test on 127.0.0.1.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "support/ServerProcess.h"
#include "support/VecFile.h"
#include "trust/ServerInterface.h"
#include "xml/XMLFile.h"

namespace {

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string timeText(X500Time* owned) {
    std::unique_ptr<X500Time> t(owned);
    if (!t) return "(null)";
    std::unique_ptr<char[]> v(t->getValue());
    return v.get();
}

// The body of a PEM certificate: the base64 text the client sends.
std::string certificateText(const std::string& pemFile) {
    std::string pem = fileText(pemFile);
    std::string out;
    size_t at = pem.find("-----\n");
    size_t end = pem.find("-----END");
    for (char c : pem.substr(at + 6, end - at - 6)) {
        if (c != '\n' && c != '\r') out += c;
    }
    return out;
}

// A report with an open root, as the engine hands the client; its text once finished.
struct Report {
    Buffer buffer;
    XMLFile xml{&buffer};
    Report() { xml.openTag("sigilo"); }
    std::string text() {
        std::string out;
        for (const char* p = xml.getXML(1); *p; ++p) {
            if (*p != '\n') out += *p;
        }
        return out;
    }
};

class ServerReply : public ::testing::Test {
protected:
    // The client's judgement of the reply text; the report collects what it writes.
    unsigned char judge(const std::string& replyText) {
        Buffer buffer;
        XMLFile reply(&buffer);
        EXPECT_EQ(reply.parse(replyText.c_str(), static_cast<int>(replyText.size()), 1), 255);
        client.setXMLOutput(&report.xml);
        return client._judgeReply(&reply);
    }
    unsigned char status(const std::string& replyText) {
        Buffer buffer;
        XMLFile reply(&buffer);
        EXPECT_EQ(reply.parse(replyText.c_str(), static_cast<int>(replyText.size()), 1), 255);
        client.setXMLOutput(&report.xml);
        return client._takeStatusReply(&reply);
    }
    ServerInterface client;
    Report report;
};

TEST_F(ServerReply, AReplyWithoutCodeIsAnUnreachableServer) {
    EXPECT_EQ(judge("<r><crlThisUpdate>240101000000Z</crlThisUpdate></r>"), 0);
    EXPECT_EQ(client.getErrCode(), 5174u);
    std::string text = report.text();
    EXPECT_NE(text.find("<errorMessage>sigiloServer non e' raggiungibile</errorMessage>"
                        "<status>KO</status>"),
              std::string::npos)
        << text;
    // Nothing of an unjudged reply reaches the report.
    EXPECT_EQ(text.find("crlThisUpdate"), std::string::npos) << text;
}

TEST_F(ServerReply, CodesAreReadInBase16AndUnknownOnesRefuse) {
    EXPECT_EQ(judge("<r><errorCode>1428</errorCode></r>"), 0);
    EXPECT_EQ(client.getErrCode(), 5160u);
    EXPECT_NE(report.text().find(std::string("<errorMessage>") + Messages::getText(5160)),
              std::string::npos)
        << report.text();
}

TEST_F(ServerReply, UnreadableCodesAreUnreachable) {
    for (const char* code : {"", "zz", "-1", "+0", "1428x", "123456789ABCDEF01"}) {
        ServerInterface fresh;
        Buffer buffer;
        XMLFile reply(&buffer);
        std::string text = std::string("<r><errorCode>") + code + "</errorCode></r>";
        ASSERT_EQ(reply.parse(text.c_str(), static_cast<int>(text.size()), 1), 255);
        EXPECT_EQ(fresh._judgeReply(&reply), 0) << code;
        EXPECT_EQ(fresh.getErrCode(), 5174u) << code;
    }
}

TEST_F(ServerReply, ZeroIsCleanAndTheFindingsGoInTheirOrder) {
    // Given out of order; OCSP times come as generalized time and go in as UTC time.
    EXPECT_EQ(judge("<r><expiredCertsOnCRL>20200101000000Z</expiredCertsOnCRL>"
                    "<caCertExpired>300101000000Z</caCertExpired>"
                    "<ocspThisUpdate>20240102030405Z</ocspThisUpdate>"
                    "<errorCode> 0 </errorCode>"
                    "<crlThisUpdate>240101000000Z</crlThisUpdate></r>"),
              255);
    EXPECT_EQ(client.getErrCode(), 0xFFFFFFFFu);
    EXPECT_EQ(timeText(client.getRevocationDate()), "(null)");
    X500Time expired;
    expired.setGeneralizedValue("20200101000000Z");
    std::unique_ptr<X500Time> kept(client.getExpiredCertsOnCRL());
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->getClockValue(), expired.getClockValue());
    EXPECT_NE(report.text().find("<crlThisUpdate>240101000000Z</crlThisUpdate>"
                                 "<ocspThisUpdate>240102030405Z</ocspThisUpdate>"
                                 "<caCertExpired>300101000000Z</caCertExpired>"
                                 "<expiredCertsOnCRL>20200101000000Z</expiredCertsOnCRL>"),
              std::string::npos)
        << report.text();
    EXPECT_EQ(report.text().find("status"), std::string::npos) << report.text();
}

TEST_F(ServerReply, RevokedSuspendedAndExpiredAreLeftToTheCaller) {
    EXPECT_EQ(judge("<r><errorCode>1408</errorCode>"
                    "<crlRevocationDate>210601000000Z</crlRevocationDate></r>"),
              255);
    EXPECT_EQ(client.getErrCode(), 5128u);
    EXPECT_EQ(timeText(client.getRevocationDate()), "210601000000Z");

    ServerInterface held;
    Buffer buffer;
    XMLFile reply(&buffer);
    std::string text =
        "<r><errorCode>1429</errorCode><ocspHoldDate>20210601000000Z</ocspHoldDate></r>";
    ASSERT_EQ(reply.parse(text.c_str(), static_cast<int>(text.size()), 1), 255);
    Report heldReport;
    held.setXMLOutput(&heldReport.xml);
    EXPECT_EQ(held._judgeReply(&reply), 255);
    EXPECT_EQ(held.getErrCode(), 5161u);
    X500Time june;
    june.setUTCValue("210601000000Z");
    std::unique_ptr<X500Time> date(held.getRevocationDate());
    ASSERT_TRUE(date);
    EXPECT_EQ(date->getClockValue(), june.getClockValue());
    EXPECT_NE(heldReport.text().find("<ocspHoldDate>210601000000Z</ocspHoldDate>"),
              std::string::npos)
        << heldReport.text();

    ServerInterface expired;
    Buffer expiredBuffer;
    XMLFile expiredReply(&expiredBuffer);
    text = "<r><errorCode>1407</errorCode></r>";
    ASSERT_EQ(expiredReply.parse(text.c_str(), static_cast<int>(text.size()), 1), 255);
    EXPECT_EQ(expired._judgeReply(&expiredReply), 255);
    EXPECT_EQ(expired.getErrCode(), 5127u);
}

TEST_F(ServerReply, AnUnreadableRevocationDateCountsFromTheBeginning) {
    EXPECT_EQ(judge("<r><errorCode>1408</errorCode>"
                    "<crlRevocationDate>not a date</crlRevocationDate>"
                    "<expiredCertsOnCRL>never</expiredCertsOnCRL></r>"),
              255);
    std::unique_ptr<X500Time> date(client.getRevocationDate());
    ASSERT_TRUE(date);
    EXPECT_EQ(date->getClockValue(), 0);
    // An unreadable expired-certificates date is as none: the fixed date then applies.
    EXPECT_EQ(timeText(client.getExpiredCertsOnCRL()), "(null)");
}

TEST_F(ServerReply, AnExpiredCRLRefusesOnlyWhenAsked) {
    const std::string reply =
        "<r><errorCode>0</errorCode><crlExpired>210101000000Z</crlExpired></r>";
    EXPECT_EQ(judge(reply), 0);
    EXPECT_EQ(client.getErrCode(), 5156u);
    EXPECT_NE(report.text().find("<crlExpired>210101000000Z</crlExpired><errorMessage>Almeno una "
                                 "delle CRL utilizzate nella verifica e' scaduta</errorMessage>"
                                 "<status>KO</status>"),
              std::string::npos)
        << report.text();

    ServerInterface lenient;
    lenient.setErrorOnExpiredCRL(0);
    Buffer buffer;
    XMLFile parsed(&buffer);
    ASSERT_EQ(parsed.parse(reply.c_str(), static_cast<int>(reply.size()), 1), 255);
    EXPECT_EQ(lenient._judgeReply(&parsed), 255);
    EXPECT_EQ(lenient.getErrCode(), 0xFFFFFFFFu);
}

TEST_F(ServerReply, TheStatusReplyNamesTheReleaseAndAKnownMode) {
    EXPECT_EQ(status("<r release=\"9.1\" downloadCRL=\"7\"/>"), 255);
    std::string text = report.text();
    EXPECT_NE(text.find("serverRelease=\"9.1\""), std::string::npos) << text;
    EXPECT_EQ(text.find("downloadCRL"), std::string::npos) << text;

    Report second;
    ServerInterface other;
    other.setXMLOutput(&second.xml);
    Buffer buffer;
    XMLFile reply(&buffer);
    std::string body = "<r release=\"9.1\" downloadCRL=\"5\"/>";
    ASSERT_EQ(reply.parse(body.c_str(), static_cast<int>(body.size()), 1), 255);
    EXPECT_EQ(other._takeStatusReply(&reply), 255);
    EXPECT_NE(second.text().find("downloadCRL=\"Il controllo delLe CRL e' disabilitato\""),
              std::string::npos)
        << second.text();

    // With the CRL switch off the mode is not stated.
    Report third;
    ServerInterface noCRL;
    noCRL.setCheckCRL(0);
    noCRL.setXMLOutput(&third.xml);
    EXPECT_EQ(noCRL._takeStatusReply(&reply), 255);
    EXPECT_EQ(third.text().find("downloadCRL"), std::string::npos) << third.text();
}

// ---- Over the network, against stand-in servers ----

class ServerClient : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/server_client_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str()), 0);
        record = dir + "/requests.txt";
        ServerInterface::setTimeout(10);
    }
    void TearDown() override { ServerInterface::setTimeout(ServerInterface::kDefaultTimeout); }
    // Starts the stand-in in the mode, with the payload text.
    void startFake(const std::string& mode, const std::string& payload) {
        std::string path = dir + "/payload";
        std::ofstream(path, std::ios::binary) << payload;
        ASSERT_TRUE(fake.startPrintingPort(
            {SIGILO_PYTHON3, testData("server/fake_server.py"), mode, path, record, "60"}));
        client.setServerName("127.0.0.1");
        client.setServerPort(static_cast<unsigned short>(fake.port()));
        client.setXMLOutput(&report.xml);
    }
    // The child element names of each recorded request, by python's own XML parser.
    std::string recordedShape() {
        std::string out = dir + "/shape.txt";
        std::string script =
            "import sys, xml.etree.ElementTree as E\n"
            "for part in open(sys.argv[1], 'rb').read().split(b'\\n----\\n'):\n"
            "    if part.strip():\n"
            "        root = E.fromstring(part)\n"
            "        print(root.tag, ' '.join(c.tag + '=' + (c.text or '') for c in root))\n";
        std::string scriptPath = dir + "/shape.py";
        std::ofstream(scriptPath) << script;
        std::string command =
            std::string(SIGILO_PYTHON3) + " '" + scriptPath + "' '" + record + "' > '" + out + "'";
        EXPECT_EQ(system(command.c_str()), 0);
        return fileText(out);
    }
    // askServer fails with 5174 and says so, within the seconds given.
    void expectUnreachable(int seconds) {
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(client.askServer(certificate.c_str(), 0), 0);
        auto spent = std::chrono::steady_clock::now() - start;
        EXPECT_LT(std::chrono::duration_cast<std::chrono::seconds>(spent).count(), seconds);
        EXPECT_EQ(client.getErrCode(), 5174u);
        EXPECT_NE(report.text().find("<errorMessage>sigiloServer non e' raggiungibile"
                                     "</errorMessage><status>KO</status>"),
                  std::string::npos)
            << report.text();
    }

    std::string dir;
    std::string record;
    std::string certificate = certificateText(testData("engine/pki/good.pem"));
    ServerProcess fake;
    ServerInterface client;
    Report report;
};

TEST_F(ServerClient, WithEverySwitchOnTheRequestHoldsOnlyOpCodeAndCert) {
    startFake("reply", "<sigiloResponse><errorCode>0</errorCode></sigiloResponse>");
    EXPECT_EQ(client.askServer(certificate.c_str(), 0), 255);
    EXPECT_EQ(client.getErrCode(), 0xFFFFFFFFu);
    EXPECT_EQ(recordedShape(), "sigiloRequest opCode=101 cert=" + certificate + "\n");
}

TEST_F(ServerClient, EverySwitchOffIsNamedAndATimeStampCertificateIs102) {
    startFake("reply", "<sigiloResponse><errorCode>0</errorCode></sigiloResponse>");
    client.setCheckCRL(0);
    client.setCheckCACRL(0);
    client.setUseOCSP(0);
    client.setCheckCertificateValidity(0);
    EXPECT_EQ(client.askServer(certificate.c_str(), 255), 255);
    EXPECT_EQ(recordedShape(),
              "sigiloRequest opCode=102 skipCheckCRL= skipCheckCACRL= skipOCSP= "
              "skipCertValidityCheck= cert=" +
                  certificate + "\n");
}

TEST_F(ServerClient, TheStatusRequestIsOpCode100AndFillsTheRoot) {
    startFake("reply", "<sigiloResponse release=\"4.0\" downloadCRL=\"3\"/>");
    EXPECT_EQ(client.checkServerStatus(), 255);
    EXPECT_EQ(recordedShape(), "sigiloRequest opCode=100\n");
    std::string text = report.text();
    EXPECT_NE(text.find("<sigilo serverRelease=\"4.0\" downloadCRL=\"scarica sempre dalla rete\""),
              std::string::npos)
        << text;
}

TEST_F(ServerClient, AServerThatIsDownIsUnreachable) {
    client.setServerName("127.0.0.1");
    client.setServerPort(ServerProcess::freePort());
    client.setXMLOutput(&report.xml);
    expectUnreachable(5);
    EXPECT_EQ(client.checkServerStatus(), 0);
}

TEST_F(ServerClient, AServerThatHangsIsGivenUp) {
    startFake("hang", "");
    ServerInterface::setTimeout(1);
    expectUnreachable(10);
}

TEST_F(ServerClient, ALengthLargerThanWhatIsSentIsUnreachable) {
    startFake("short", "<sigiloResponse><errorCode>0</errorCode></sigiloResponse>");
    expectUnreachable(10);
}

TEST_F(ServerClient, AnEnormousLengthIsNotBelieved) {
    startFake("huge", "<sigiloResponse><errorCode>0</errorCode></sigiloResponse>");
    expectUnreachable(10);
}

TEST_F(ServerClient, GarbageIsUnreachable) {
    // The first four bytes read as a length of more than a gigabyte.
    startFake("garbage", "HTTP/1.0 200 OK\r\n\r\nhello");
    expectUnreachable(10);
}

TEST_F(ServerClient, AWellFramedTextThatIsNoXMLIsUnreachable) {
    startFake("reply", "this is not XML <<<");
    expectUnreachable(10);
}

TEST_F(ServerClient, AConnectionClosedAtOnceIsUnreachable) {
    startFake("close", "");
    expectUnreachable(10);
}

}  // namespace
