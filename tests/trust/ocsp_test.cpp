// The OCSP checker against real responders that the test starts on 127.0.0.1: `openssl ocsp`
// over the database of tests/data/ocsp (signing as the CA itself or as a delegated responder,
// and, under faketime, answers long stale), and tests/data/ocsp/ocsp_server.py serving the
// responses that openssl cannot make (make_responses.py) or never answering. Then the same
// through CertVerifier and the engine's report, where OCSP and the CRL share the verdict.
#include <unistd.h>

#include <chrono>

#include "asn1/X500Time.h"
#include "pkix/CrlID.h"
#include "support/ReportText.h"
#include "support/ServerProcess.h"
#include "trust/CertVerifier.h"
#include "trust/LocalTrustStore.h"
#include "trust/OCSPChecker.h"
#include "trust_test_support.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned long kNoError = OCSPChecker::kNoError;
// The port the signers' certificates name for their OCSP service.
constexpr unsigned short kNamedPort = 47321;
constexpr char kCRLURI[] = "http://127.0.0.1/ocsp_ca.crl";

std::string ocspData(const std::string& name) {
    return testData("ocsp/" + name);
}

std::unique_ptr<Certificate> ocspCertificate(const std::string& name) {
    SecureBuffer in(nullptr);
    EXPECT_TRUE(in.fromPEMFile(ocspData(name + ".pem").c_str(), nullptr)) << name;
    auto certificate = std::make_unique<Certificate>();
    EXPECT_TRUE(certificate->unwrapASN1(&in)) << name;
    return certificate;
}

std::string timeText(X500Time* owned) {
    std::unique_ptr<X500Time> t(owned);
    return t != nullptr ? text(t->getValue()) : "(null)";
}

int& crlFetches() {
    static int n = 0;
    return n;
}

// An `openssl ocsp` responder on the port over the test database, signing with the key pair.
bool startOpenssl(ServerProcess& server, unsigned short port, const std::string& signer,
                  bool stale = false) {
    std::vector<std::string> argv;
    if (stale) argv = {"faketime", "2020-01-01 00:00:00"};
    for (const std::string& a :
         {std::string(SIGILO_OPENSSL), std::string("ocsp"), std::string("-index"),
          ocspData("index.txt"), std::string("-port"), std::to_string(port),
          std::string("-rsigner"), ocspData(signer + ".pem"), std::string("-rkey"),
          ocspData(signer + ".key"), std::string("-CA"), ocspData("ca.pem"), std::string("-ndays"),
          std::string("1")}) {
        argv.push_back(a);
    }
    return server.startListening(argv, port);
}

class OCSP : public TrustTest {
protected:
    void SetUp() override {
        TrustTest::SetUp();
        OCSPChecker::setTimeout(OCSPChecker::kDefaultTimeout);
        crlFetches() = 0;
        CACache::setCRLTransport(
            [](const char* uri, Buffer* der, X500Time** stamp) -> unsigned char {
                *stamp = nullptr;
                if (std::string(uri) != kCRLURI) return 0;
                ++crlFetches();
                return der->fromFile(ocspData("ocsp_ca.crl").c_str());
            },
            nullptr);
        ASSERT_EQ(cache->addCACert(ocspData("ca.pem").c_str()), 255);
        ca = ocspCertificate("ca");
        checker = std::make_unique<OCSPChecker>(device);
    }
    void TearDown() override {
        checker.reset();
        OCSPChecker::setTimeout(OCSPChecker::kDefaultTimeout);
        CACache::setCRLTransport(nullptr, nullptr);
        TrustTest::TearDown();
    }

    // The stand-in responder serving one response file ("hang": none ever).
    void serve(const std::string& response) {
        std::string path = response == "hang" ? response : ocspData(response);
        ASSERT_TRUE(stand.startPrintingPort(
            {SIGILO_PYTHON3, ocspData("ocsp_server.py"), path, "60", dir + "/request.der"}));
    }
    std::string standURI() const {
        return "http://127.0.0.1:" + std::to_string(stand.port()) + "/";
    }

    bool ask(const std::string& uri, unsigned long serial) {
        return checker->check(uri.c_str(), ca.get(), BigInteger(serial));
    }
    void expectFailure(unsigned long detail, int value = 0) {
        EXPECT_EQ(checker->getErrCode(), OCSPChecker::kErrNoAnswer);
        EXPECT_EQ(checker->getDetailCode(), detail);
        EXPECT_EQ(checker->getDetailValue(), value);
    }

    std::unique_ptr<Certificate> ca;
    std::unique_ptr<OCSPChecker> checker;
    ServerProcess stand;
};

TEST_F(OCSP, OpensslSigningAsTheCAOrAsADelegateAnswersEachStatus) {
    for (const char* signer : {"ca", "responder"}) {
        SCOPED_TRACE(signer);
        ServerProcess responder;
        unsigned short port = ServerProcess::freePort();
        ASSERT_TRUE(startOpenssl(responder, port, signer));
        std::string uri = "http://127.0.0.1:" + std::to_string(port) + "/";

        EXPECT_FALSE(ask(uri, 0x1001));
        EXPECT_EQ(checker->getErrCode(), kNoError);
        std::unique_ptr<X500Time> thisUpdate(checker->getThisUpdate());
        ASSERT_NE(thisUpdate, nullptr);
        std::unique_ptr<X500Time> nextUpdate(checker->getNextUpdate());
        ASSERT_NE(nextUpdate, nullptr);
        EXPECT_TRUE(*thisUpdate < *nextUpdate);
        EXPECT_NE(timeText(checker->getProducedAt()), "(null)");
        EXPECT_EQ(checker->getRevocationDate(), nullptr);

        // Revoked for key compromise with a compromise date: the reason and the invalidity.
        EXPECT_TRUE(ask(uri, 0x1002));
        EXPECT_EQ(checker->getErrCode(), kNoError);
        EXPECT_EQ(checker->getReason(), 1);
        EXPECT_EQ(timeText(checker->getRevocationDate()), "20230401000000Z");
        EXPECT_EQ(timeText(checker->getInvalidSince()), "20230301000000Z");

        // Revoked without a reason reads as unspecified.
        EXPECT_TRUE(ask(uri, 0x1003));
        EXPECT_EQ(checker->getReason(), 0);
        EXPECT_EQ(timeText(checker->getRevocationDate()), "20230401000000Z");
        EXPECT_EQ(checker->getInvalidSince(), nullptr);

        EXPECT_TRUE(ask(uri, 0x1004));
        EXPECT_EQ(checker->getReason(), 6);

        // Not in the database: unknown, a failure and never good.
        EXPECT_FALSE(ask(uri, 0x1005));
        expectFailure(OCSPChecker::kErrUnknown);
    }
}

TEST_F(OCSP, AStaleAnswerIsStillReadButSaysSo) {
    if (!ServerProcess::installed("faketime")) GTEST_SKIP() << "faketime is not installed";
    ServerProcess responder;
    unsigned short port = ServerProcess::freePort();
    ASSERT_TRUE(startOpenssl(responder, port, "ca", true));
    std::string uri = "http://127.0.0.1:" + std::to_string(port) + "/";
    EXPECT_FALSE(ask(uri, 0x1001));
    EXPECT_EQ(checker->getErrCode(), OCSPChecker::kErrStale);
    EXPECT_EQ(timeText(checker->getNextUpdate()).substr(0, 8), "20200102");
    // Revoked stays revoked, with the staleness noted.
    EXPECT_TRUE(ask(uri, 0x1002));
    EXPECT_EQ(checker->getErrCode(), OCSPChecker::kErrStale);
}

TEST_F(OCSP, ResponsesOpensslCannotMake) {
    struct Case {
        const char* file;
        unsigned long serial;
        bool revoked;
        unsigned long err, detail;
        int value;
    } cases[] = {
        // Signed by the CA's certificate that may not sign for OCSP.
        {"resp_noeku.der", 0x1001, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrSignature, 0},
        // Signed by a key that has nothing to do with the CA, with or without its certificate.
        {"resp_unrelated.der", 0x1001, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrSignature,
         0},
        {"resp_unrelated_cert.der", 0x1001, false, OCSPChecker::kErrNoAnswer,
         OCSPChecker::kErrSignature, 0},
        // A good answer, properly signed, about another certificate.
        {"resp_otherserial.der", 0x1002, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrUnknown,
         0},
        {"resp_otherserial.der", 0x1001, false, kNoError, kNoError, 0},
        // Past its next update.
        {"resp_stale.der", 0x1001, false, OCSPChecker::kErrStale, kNoError, 0},
        // Signed by the delegated responder, by python this time.
        {"resp_delegated.der", 0x1001, false, kNoError, kNoError, 0},
        {"resp_trylater.der", 0x1001, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrStatus, 3},
        // Successful, but no basic response: no answer at all.
        {"resp_othertype.der", 0x1001, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrFormat,
         0},
        // Two answers: each certificate gets its own.
        {"resp_twoentries.der", 0x1002, true, kNoError, kNoError, 0},
        {"resp_twoentries.der", 0x1001, false, kNoError, kNoError, 0},
        // Not DER at all.
        {"document.txt", 0x1001, false, OCSPChecker::kErrNoAnswer, OCSPChecker::kErrFormat, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " " + std::to_string(c.serial));
        ServerProcess server;
        ASSERT_TRUE(server.startPrintingPort(
            {SIGILO_PYTHON3, ocspData("ocsp_server.py"), ocspData(c.file), "60"}));
        std::string uri = "http://127.0.0.1:" + std::to_string(server.port()) + "/ocsp";
        EXPECT_EQ(ask(uri, c.serial), c.revoked);
        EXPECT_EQ(checker->getErrCode(), c.err);
        EXPECT_EQ(checker->getDetailCode(), c.detail);
        EXPECT_EQ(checker->getDetailValue(), c.value);
    }
}

TEST_F(OCSP, TheRequestSentIsOneOpensslReads) {
    serve("resp_delegated.der");
    EXPECT_FALSE(ask(standURI(), 0x1001));
    std::string command = std::string(SIGILO_OPENSSL) + " ocsp -reqin '" + dir +
                          "/request.der' -req_text > '" + dir + "/request.txt' 2>&1";
    ASSERT_EQ(system(command.c_str()), 0);
    std::string printed = fileBytes(dir + "/request.txt");
    EXPECT_NE(printed.find("Hash Algorithm: sha1"), std::string::npos) << printed;
    EXPECT_NE(printed.find("Serial Number: 1001"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("Nonce"), std::string::npos) << printed;
    EXPECT_EQ(fileBytes(dir + "/request.der"), fileBytes(ocspData("req_good.der")));
}

TEST_F(OCSP, UnreachableHangingAndUnsupportedResponders) {
    // Nothing listens.
    unsigned short port = ServerProcess::freePort();
    EXPECT_FALSE(ask("http://127.0.0.1:" + std::to_string(port) + "/", 0x1001));
    expectFailure(OCSPChecker::kErrHTTP, 11);

    // A responder that takes the request and never answers: the time-out decides.
    serve("hang");
    OCSPChecker::setTimeout(2);
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(ask(standURI(), 0x1001));
    auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count();
    expectFailure(OCSPChecker::kErrHTTP, 11);
    EXPECT_LT(seconds, 10);

    // No TLS: an https responder cannot be reached; ldap and nonsense have no way to post.
    EXPECT_FALSE(ask("https://127.0.0.1:" + std::to_string(port) + "/", 0x1001));
    expectFailure(OCSPChecker::kErrHTTP, 11);
    EXPECT_FALSE(ask("ldap://127.0.0.1/cn=ocsp", 0x1001));
    expectFailure(OCSPChecker::kErrHTTP, 0);
    EXPECT_FALSE(ask("ocsp.example", 0x1001));
    expectFailure(OCSPChecker::kErrHTTP, 0);
}

TEST_F(OCSP, TheLogTellsTheStepsAndTheCause) {
    startLog();
    checker->enableLog(7);
    serve("resp_twoentries.der");
    EXPECT_TRUE(ask(standURI(), 0x1002));
    EXPECT_TRUE(logged(7, 4692, "Inizio accesso OCSP"));
    EXPECT_TRUE(logged(5, 4614, "OCSP uri " + standURI()));
    EXPECT_TRUE(logged(7, 4620, "Inizio verifica risposta OCSP"));
    EXPECT_TRUE(logged(7, 4623, "Fine verifica risposta OCSP"));
    EXPECT_TRUE(logged(6, 4629, "Data allineamento OCSP: Jan 01 00:00:00 2024 GMT"));
    EXPECT_TRUE(logged(6, 5140, "Data revoca: Apr 01 00:00:00 2023 GMT"));
    EXPECT_TRUE(logged(7, 4694, "Fine accesso OCSP: certificato revocato"));
    capturedLog().clear();
    EXPECT_FALSE(ask("https://127.0.0.1/", 0x1002));
    EXPECT_TRUE(logged(7, 5215, "Servizio OCSP: errore HTTP [11]"));
    EXPECT_TRUE(logged(3, 5214, "Impossibile accedere allo stato OCSP"));
}

// Through the certificate verifier, with the signers' own OCSP service on the port their
// certificates name and their CRL served by the test.
class OCSPVerifier : public OCSP {
protected:
    void SetUp() override {
        OCSP::SetUp();
        // The tests of this fixture may run side by side (ctest -j), all wanting the port the
        // certificates name: each waits its turn, for a bounded time.
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        bool started = false;
        while (!started && std::chrono::steady_clock::now() < deadline) {
            started = !ServerProcess::listening(kNamedPort) &&
                      startOpenssl(responder, kNamedPort, "responder");
            if (!started) usleep(200 * 1000);
        }
        if (!started) GTEST_SKIP() << "port 47321 stayed taken";
        verifier = std::make_unique<CertVerifier>(device, cache.get());
        verifier->setCheckCRL(255);
        verifier->setUseOCSP(255);
    }
    void TearDown() override {
        verifier.reset();
        OCSP::TearDown();
    }
    unsigned char verify(const std::string& name) {
        return verifier->verify(ocspCertificate(name).get());
    }

    ServerProcess responder;
    std::unique_ptr<CertVerifier> verifier;
};

TEST_F(OCSPVerifier, AnOCSPAnswerSettlesTheMatterWithoutTheCRL) {
    EXPECT_EQ(verify("good"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getSource(), 2);
    EXPECT_NE(timeText(verifier->getThisUpdate()), "(null)");
    EXPECT_EQ(crlFetches(), 0);

    EXPECT_EQ(verify("revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(verifier->getSource(), 2);
    EXPECT_EQ(timeText(verifier->getRevocationDate()), "20230401000000Z");
    EXPECT_EQ(timeText(verifier->getInvalidSince()), "20230301000000Z");
    EXPECT_EQ(verifier->getCRLReason(), 1);

    EXPECT_EQ(verify("held"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5161u);
    EXPECT_EQ(crlFetches(), 0);

    // The https service fails, the http one after it answers.
    EXPECT_EQ(verify("twoaia"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getSource(), 2);
}

TEST_F(OCSPVerifier, WithoutAnOCSPAnswerTheCRLDecides) {
    // Unknown to the responder: the CRL is asked, and does not list it.
    EXPECT_EQ(verify("unknown"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getSource(), 1);
    EXPECT_EQ(crlFetches(), 1);

    // With OCSP off only the CRL speaks: it does not list 1003, which OCSP knows as revoked.
    verifier->setUseOCSP(0);
    EXPECT_EQ(verify("revoked_noreason"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getSource(), 1);
    verifier->setUseOCSP(255);
    EXPECT_EQ(verify("revoked_noreason"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(verifier->getSource(), 2);

    // With the responder gone, the CRL again, which lists 1002.
    responder.stop();
    EXPECT_EQ(verify("revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(verifier->getSource(), 1);
}

TEST_F(OCSPVerifier, TheReportCarriesTheOCSPFindings) {
    LocalTrustStore store(device);
    struct Case {
        const char* file;
        std::vector<std::string> present;
    } cases[] = {
        {"good.p7m", {"<ocspThisUpdate>", "<status>OK</status>"}},
        {"revoked.p7m",
         {"<ocspThisUpdate>", "<ocspRevocationDate>20230401000000Z</ocspRevocationDate>",
          "<ocspInvalidSince>20230301000000Z</ocspInvalidSince>",
          "<errorMessage>Certificato del Firmatario revocato</errorMessage>"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        DocVerifier engine(device, &store);
        engine.setUseOCSP(255);
        Buffer text(4096);
        XMLFile report(&text);
        report.openTag("sigilo");
        engine.setXMLOutput(&report);
        std::string file = ocspData(c.file);
        InputType type = engine.guessInputType(file.c_str());
        ASSERT_TRUE(type == InputType::InputCMS || type == InputType::InputPKCS7);
        if (type == InputType::InputCMS) {
            engine.verifyCMSFile(file.c_str(), "", nullptr);
        } else {
            engine.verifyPKCS7File(file.c_str(), "", nullptr);
        }
        std::string xml = flatReport(report.getXML(1));
        for (const std::string& element : c.present) {
            EXPECT_NE(xml.find(element), std::string::npos) << element << "\n" << xml;
        }
        EXPECT_EQ(xml.find("<crlThisUpdate>"), std::string::npos) << xml;
    }
    EXPECT_EQ(crlFetches(), 0);
}

}  // namespace

namespace {

// The tool as a user runs it: with --ocsp the signers' own service answers; without it only
// their CRL can, whose server (port 80 here) does not exist.
TEST_F(OCSPVerifier, TheToolAsksOCSPWhenTold) {
    auto sigilo = [this](const std::string& arguments) {
        std::string command = "cd '" + dir + "' && " + SIGILO_BINARY_DIR +
                              "/sigilo -c ca --july2011 0 " + arguments + " >out.txt 2>err.txt";
        return system(command.c_str());
    };
    ASSERT_EQ(system(("mkdir -p '" + dir + "/ca'").c_str()), 0);
    ASSERT_EQ(sigilo("--import-pem '" + ocspData("ca.pem") + "'"), 0);
    std::string files = " '" + ocspData("good.p7m") + "' '" + ocspData("revoked.p7m") + "'";

    sigilo("--ocsp --ocsp-timeout 5" + files);
    std::string report = fileBytes(dir + "/out.txt");
    size_t revokedAt = report.find("revoked.p7m");
    ASSERT_NE(revokedAt, std::string::npos) << report;
    std::string good = report.substr(0, revokedAt), revoked = report.substr(revokedAt);
    EXPECT_NE(good.find("<ocspThisUpdate>"), std::string::npos) << report;
    EXPECT_NE(good.find("<status>OK</status>"), std::string::npos) << report;
    EXPECT_NE(revoked.find("<ocspRevocationDate>20230401000000Z</ocspRevocationDate>"),
              std::string::npos)
        << report;
    EXPECT_NE(revoked.find("Certificato del Firmatario revocato"), std::string::npos) << report;

    sigilo(files);
    report = fileBytes(dir + "/out.txt");
    EXPECT_EQ(report.find("<ocspThisUpdate>"), std::string::npos) << report;
    EXPECT_EQ(report.find("<status>OK</status>"), std::string::npos) << report;
}

}  // namespace
