// The exported functions over their globals: set-up, the report they collect, the load rule of
// the trust files, the switches and where each one goes. The engines behind them are the
// recording fakes of Fakes.h.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "frontend/Fakes.h"
#include "frontend/Globals.h"
#include "frontend/Messages.h"
#include "frontend/Sigilo.h"
#include "net/Logger.h"
#include "support/ServerProcess.h"
#include "support/VecFile.h"
#include "trust/OCSPChecker.h"
#include "verify/DocVerifier.h"

namespace {

const char kDefaultRoot[] =
    "<sigilo release=\"3.3.15\" releaseDate=\"22/10/2013\" controlloCACRL=\"abilitato\" "
    "controlloCRLPKCS7=\"abilitato\" controlloCRLTS=\"abilitato\" controlloValidita=\"abilitato\" "
    "controlloSigningCertificateAttr=\"disabilitato\" controlloSHA1Agosto2010=\"abilitato\" "
    "controlloSHA1Luglio2011=\"forte\" controlloFirmeAnnidiate=\"appiattito\" "
    "downloadCRL=\"scarica quando e' scaduta\">";
const char kNotices[] =
    "<!-- Sigilo: verifica di documenti firmati digitalmente secondo la normativa italiana -->\n"
    "<!-- Rapporto di verifica: l'esito di ogni firma e' l'ultimo elemento status della firma "
    "-->\n";

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class Api : public ::testing::Test {
protected:
    void SetUp() override {
        Engines::set(&engines);
        dir = ::testing::TempDir() + "/api_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        mkdir(dir.c_str(), 0755);
        ASSERT_TRUE(init(dir.c_str(), nullptr, nullptr, 2));
        reportPath = dir + "/report.xml";
        setOutput(reportPath.c_str());
        setFlatOutput(255);
        engines.calls.calls.clear();
    }
    void TearDown() override {
        deleteResults();
        setLogLevel(255);
        Engines::set(nullptr);
    }
    // Prints the collected report into its file and returns the text.
    std::string printed() {
        unlink(reportPath.c_str());
        EXPECT_TRUE(printResults());
        return fileBytes(reportPath);
    }
    std::string unreadable(const std::string& name) {
        return "<signedData filename=\"" + name +
               "\">\n<errorMessage>Non e' possibile leggere il file</errorMessage>\n"
               "<status>KO</status>\n</signedData>\n";
    }

    FakeEngines engines;
    std::string dir, reportPath;
};

TEST_F(Api, InitBuildsTheTwoPaths) {
    ASSERT_TRUE(init(nullptr, nullptr, nullptr, 2));
    EXPECT_STREQ(sigilo::caCertsListName, "./caCertsList");
    EXPECT_STREQ(sigilo::crlCacheName, "./crlCache");
    ASSERT_TRUE(init("/ca", nullptr, 1));
    EXPECT_STREQ(sigilo::caCertsListName, "/ca/caCertsList");
    EXPECT_STREQ(sigilo::crlCacheName, "/ca/crlCache");
    ASSERT_TRUE(init("/ca", "/crl", nullptr, 1));
    EXPECT_STREQ(sigilo::crlCacheName, "/crl/crlCache");
    EXPECT_EQ(sigilo::downloadCRL, 1);
    // The crypto facade is made once; each init makes a new trust store and engine.
    EXPECT_EQ(engines.calls.joined(), "initTrust:2 initTrust:1 initTrust:1");
    std::string tooLong(4090, 'd');
    EXPECT_FALSE(init(tooLong.c_str(), nullptr, nullptr, 2));
    EXPECT_STREQ(sigilo::caCertsListName, "");
}

TEST_F(Api, SixArgumentInitSetsTheCRLChecksAndTheLogLevel) {
    ASSERT_TRUE(init(dir.c_str(), nullptr, 5, 9, 4, 1));
    EXPECT_EQ(sigilo::checkCRLPKCS7, 0);
    EXPECT_EQ(sigilo::checkCRLTS, 255);
    EXPECT_EQ(sigilo::docVerifier->getCheckCRLPKCS7(), 0);
    EXPECT_EQ(sigilo::logLevel, 5);
    ASSERT_NE(sigilo::log, nullptr);
}

TEST_F(Api, ReportRootInBothLayouts) {
    std::string missing = dir + "/missing.p7m";
    EXPECT_FALSE(verifyDocuments(missing.c_str(), nullptr, false));
    EXPECT_EQ(printed(), std::string("<?xml version=\"1.0\"?>\n") + kDefaultRoot + "\n" + kNotices +
                             unreadable(missing) + "</sigilo>\n\n");

    setFlatOutput(0);
    EXPECT_FALSE(verifyDocuments(missing.c_str(), nullptr, false));
    EXPECT_EQ(printed(), std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") +
                             kDefaultRoot +
                             "\n  <!-- Sigilo: verifica di documenti firmati digitalmente secondo "
                             "la normativa italiana -->\n  <!-- Rapporto di verifica: l'esito di "
                             "ogni firma e' l'ultimo elemento status della firma -->\n"
                             "  <signedData filename=\"" +
                             missing +
                             "\">\n    <errorMessage>Non e' possibile leggere il file"
                             "</errorMessage>\n    <status>KO</status>\n  </signedData>\n"
                             "</sigilo>\n\n");
}

TEST_F(Api, RootAttributesFollowEverySwitch) {
    struct Case {
        std::function<void()> set;
        std::string attributes;
    } cases[] = {
        {[] { setCheckCACRL(false); }, "controlloCACRL=\"disabilitato\""},
        {[] { setCheckCRL(false); }, "controlloCRLPKCS7=\"disabilitato\""},
        {[] { setCheckCRLTSTMode(4); }, "controlloCRLTS=\"disabilitato\""},
        {[] { skipCertificateValidityCheck(true); }, "controlloValidita=\"disabilitato\""},
        {[] { skipSigningCertificateAttrCheck(false); },
         "controlloSigningCertificateAttr=\"abilitato\""},
        {[] { skipAugust2010ConstraintCheck(true); }, "controlloSHA1Agosto2010=\"disabilitato\""},
        {[] { setCheckJuly2011Constraint(1); }, "controlloSHA1Luglio2011=\"debole\""},
        {[] { skipJuly2011ConstraintCheck(true); }, "controlloSHA1Luglio2011=\"disabilitato\""},
        {[] { setCheckEncapsulatedSigs(0); }, "controlloFirmeAnnidiate=\"disabilitato\""},
        {[] { setCheckEncapsulatedSigs(7); }, "controlloFirmeAnnidiate=\"annidato\""},
        {[] { init(nullptr, nullptr, 1); }, "downloadCRL=\"scarica una volta per sessione\""},
        {[] { init(nullptr, nullptr, 3); }, "downloadCRL=\"scarica sempre dalla rete\""},
        {[] { init(nullptr, nullptr, 4); }, "downloadCRL=\"usa solo quelle locali\""},
    };
    for (Case& c : cases) {
        init(nullptr, nullptr, 2);
        c.set();
        setOutput(reportPath.c_str());
        verifyDocuments("x", nullptr, false);
        EXPECT_NE(printed().find(c.attributes), std::string::npos) << c.attributes;
    }
    // No downloadCRL: a mode without text, every CRL check off, or server mode.
    for (auto set : std::vector<std::function<void()>>{[] { init(nullptr, nullptr, 0); },
                                                       [] {
                                                           setCheckCRL(false);
                                                           setCheckCRLTS(false);
                                                           setCheckCACRL(false);
                                                       }}) {
        init(nullptr, nullptr, 2);
        set();
        setOutput(reportPath.c_str());
        verifyDocuments("x", nullptr, false);
        EXPECT_EQ(printed().find("downloadCRL"), std::string::npos);
    }
    // A switch set after the root was opened shows in the next report only.
    init(nullptr, nullptr, 2);
    setOutput(reportPath.c_str());
    skipJuly2011ConstraintCheck(false);
    EXPECT_EQ(sigilo::checkJuly2011Constraint, 2);
}

TEST_F(Api, SeveralFilesOneReport) {
    std::string a = dir + "/a.p7m", b = testData("verify/random.bin");
    EXPECT_FALSE(verifyDocuments(a.c_str(), nullptr, false));
    EXPECT_FALSE(verifyDocuments(b.c_str(), nullptr, false));
    std::string text = printed();
    EXPECT_EQ(text, std::string("<?xml version=\"1.0\"?>\n") + kDefaultRoot + "\n" + kNotices +
                        unreadable(a) + "<signedData filename=\"" + b +
                        "\">\n<errorMessage>File di input con formato non conosciuto"
                        "</errorMessage>\n<status>KO</status>\n</signedData>\n</sigilo>\n\n");
    EXPECT_FALSE(printResults());
}

TEST_F(Api, TrustFilesAreLoadedOnFirstUseAndRetriedAfterAFailure) {
    engines.store->loadCA = 0;
    verifyDocuments("x", nullptr, false);
    engines.store->loadCA = 255;
    verifyDocuments("x", nullptr, false);
    verifyDocuments("x", nullptr, false);
    std::string ca = "loadCA:" + std::string(sigilo::caCertsListName);
    std::string crl = "loadCRL:" + std::string(sigilo::crlCacheName);
    EXPECT_EQ(engines.calls.joined(), ca + " " + crl + " " + ca);

    // Mode 3 never reads the CRL cache, nor does a run with every CRL check off.
    for (int round = 0; round < 2; ++round) {
        init(dir.c_str(), nullptr, round == 0 ? 3 : 2);
        if (round == 1) {
            setCheckCRL(false);
            setCheckCRLTS(false);
            setCheckCACRL(false);
        }
        engines.calls.calls.clear();
        verifyDocuments("x", nullptr, false);
        EXPECT_EQ(engines.calls.joined(), ca);
        deleteResults();
    }
}

TEST_F(Api, PrintResultsSavesAModifiedCRLCacheEvenWithoutReport) {
    engines.store->modified = 255;
    EXPECT_FALSE(printResults());
    EXPECT_EQ(engines.calls.joined(),
              "saveCRL:" + std::string(sigilo::crlCacheName) + " clearModified");
    // A failed save is cleared all the same; modes 3 and 4 never save.
    engines.calls.calls.clear();
    engines.store->modified = 255;
    engines.store->saveCRL = 0;
    printResults();
    EXPECT_EQ(engines.calls.joined(),
              "saveCRL:" + std::string(sigilo::crlCacheName) + " clearModified");
    init(dir.c_str(), nullptr, 3);
    engines.calls.calls.clear();
    engines.store->modified = 255;
    printResults();
    EXPECT_EQ(engines.calls.joined(), "");
}

TEST_F(Api, ResultCodeRules) {
    const std::string p7m = testData("verify/doc_der.p7m");
    EXPECT_EQ(getErrorCode(), NoError);
    // A file that could not be read is reported, and leaves the code alone.
    verifyDocuments("/nonexistent", nullptr, false);
    EXPECT_EQ(getErrorCode(), NoError);
    // An envelope whose signer fails stores the signer's code, and counts as handled: here the
    // signer is neither CAdES nor time-stamped, which the 2011 rule refuses (5228).
    EXPECT_TRUE(verifyDocuments(p7m.c_str(), nullptr, false));
    EXPECT_EQ(getErrorCode(), 5228u);
    // An M7M with a detached document is refused in the report alone.
    verifyDocuments(testData("verify/doc.m7m").c_str(), p7m.c_str(), false);
    EXPECT_EQ(getErrorCode(), 5228u);
    // A PDF counts as handled whatever its driver said.
    EXPECT_TRUE(verifyDocuments(testData("verify/doc.pdf").c_str(), nullptr, false));
    std::string text = printed();
    EXPECT_NE(text.find("<signedData filename=\"" + testData("verify/doc.m7m") +
                        "\">\n<errorMessage>Detached verify non permessa su file m7m"
                        "</errorMessage>\n<status>KO</status>\n</signedData>"),
              std::string::npos);
    EXPECT_NE(text.find("filetype=\"PDF file\""), std::string::npos);
}

TEST_F(Api, PathIsADirectoryForExtractionOrTheDetachedDocument) {
    const std::string m7m = testData("verify/doc.m7m");
    std::string out = dir + "/out";
    mkdir(out.c_str(), 0755);
    verifyDocuments(m7m.c_str(), out.c_str(), true);
    // A path that names nothing is taken as the detached document.
    std::string nowhere = dir + "/nowhere.txt";
    verifyDocuments(testData("verify/doc_der.p7m").c_str(), nowhere.c_str(), false);
    std::string text = printed();
    EXPECT_NE(text.find("pkcs7=\"" + out + "/doc.p7m\" tsr=\"" + out + "/doc.tsr\""),
              std::string::npos);
    EXPECT_NE(text.find("detachedDocument=\"" + nowhere + "\""), std::string::npos);
    struct stat st;
    EXPECT_EQ(stat((out + "/doc.tsr").c_str(), &st), 0);
    // Without extract, a directory receives the content only: no envelope parts.
    std::string plain = dir + "/plain";
    mkdir(plain.c_str(), 0755);
    verifyDocuments(m7m.c_str(), plain.c_str(), false);
    EXPECT_EQ(printed().find("pkcs7="), std::string::npos);
    EXPECT_NE(stat((plain + "/doc.tsr").c_str(), &st), 0);
}

TEST_F(Api, ContentFileNames) {
    struct Case {
        const char *dir, *input, *expected;
    } cases[] = {
        {"/out", "a.pdf.p7m", "/out/a.pdf"},
        {"/out", "x.p7m.tsd", "/out/x"},
        {"/out", "/carte/Contratto.P7M.m7m", "/out/Contratto"},
        {"/out", "doc.TSD", "/out/doc"},
        {"/out", "a.m7m.pdf", "/out/a"},
        // A name without a dot loses the tail of a dotted directory.
        {"/out.d", "file", "/out"},
    };
    for (const Case& c : cases) {
        std::unique_ptr<char[]> name(getContentFile(c.dir, c.input));
        EXPECT_STREQ(name.get(), c.expected) << c.input;
    }
}

TEST_F(Api, NetworkSettingsReachTheirEngines) {
    char a[] = "  10.0.0.0 \t/  255.0.0.0 trailing", b[] = "192.168.1.0/255.255.255.0";
    char* list[] = {a, b, nullptr};
    EXPECT_TRUE(setNoSOCKS(list));
    // Each item is cut in place into its address and its mask.
    EXPECT_STREQ(a, "  10.0.0.0");
    EXPECT_STREQ(b, "192.168.1.0");
    char* empty[] = {nullptr};
    EXPECT_TRUE(setNoSOCKS(empty));
    char bad[] = "10.0.0.0";
    char* badList[] = {bad, nullptr};
    EXPECT_FALSE(setNoSOCKS(badList));
    EXPECT_TRUE(setSOCKSProxy("socks", 70000, nullptr, nullptr));
    EXPECT_TRUE(setHTTPProxy("proxy", 3128, "u", nullptr));
    EXPECT_TRUE(setTCPTimeout(30));
    EXPECT_TRUE(setOCSPTimeout(5));
    EXPECT_TRUE(setTimeStampCheck(false));
    EXPECT_EQ(engines.calls.joined(),
              "nosocks:[10.0.0.0][255.0.0.0] nosocks:[192.168.1.0][255.255.255.0] "
              "socks:socks:4464 http:proxy:3128:u:- tcp:30 ocsp:5 tscheck:0");
    // The stand-in engines hand the CRL retrieval's settings to its clients and the OCSP
    // time-out to the OCSP checker; a mask that is not dotted names no network.
    Engines::set(nullptr);
    EXPECT_TRUE(setTCPTimeout(30));
    EXPECT_TRUE(setTCPTimeout(60));
    EXPECT_TRUE(setHTTPProxy(nullptr, 0, nullptr, nullptr));
    EXPECT_TRUE(setOCSPTimeout(5));
    EXPECT_EQ(OCSPChecker::getTimeout(), 5);
    EXPECT_TRUE(setOCSPTimeout(OCSPChecker::kDefaultTimeout));
    char c[] = "10.0.0.0/8";
    char* list2[] = {c, nullptr};
    EXPECT_FALSE(setNoSOCKS(list2));
}

TEST_F(Api, ImportsReplaceTheListAndSaveIt) {
    const std::string ca = "saveCA:" + std::string(sigilo::caCertsListName);
    EXPECT_TRUE(importCACertsListPEM("ca.pem"));
    EXPECT_EQ(engines.calls.joined(), "clean initPEM:ca.pem " + ca);
    engines.calls.calls.clear();
    engines.store->init = 0;
    EXPECT_FALSE(importCACertsList("bad.pem"));
    EXPECT_EQ(engines.calls.joined(), "clean initPEM:bad.pem");
    EXPECT_EQ(sigilo::loadedCACertList, 0);

    // Adding loads the list first, and in server mode does nothing at all.
    engines.calls.calls.clear();
    engines.store->add = 0;
    EXPECT_FALSE(addCACertsPEM("more.pem"));
    EXPECT_EQ(engines.calls.joined(),
              "loadCA:" + std::string(sigilo::caCertsListName) + " addPEM:more.pem");
    setServer("verifiche.example", 0);
    EXPECT_TRUE(addCACertsTSL("tsl.xml"));
    EXPECT_TRUE(updateCRLCache());
    setServer(nullptr, 0);
}

TEST_F(Api, ATrustListIsTakenOnlyWhenItsSignatureVerifies) {
    EXPECT_FALSE(importCACertsListTSL(testData("verify/doc_signed.xml").c_str(), nullptr));
    // A list whose signature is not good under the signer given is refused before the CA list
    // is touched, and a report being collected stays as it was.
    verifyDocuments("/nonexistent", nullptr, false);
    engines.calls.calls.clear();
    EXPECT_FALSE(importCACertsListTSL(testData("verify/doc_signed.xml").c_str(), "signer.pem"));
    EXPECT_EQ(engines.calls.joined().find("clean"), std::string::npos);
    EXPECT_EQ(engines.calls.joined().find("initTSL"), std::string::npos);
    EXPECT_EQ(printed().find("doc_signed.xml"), std::string::npos);
    // Nor does a list that cannot be read pass on a result code left at NoError.
    init(dir.c_str(), nullptr, nullptr, 2);
    engines.calls.calls.clear();
    ASSERT_EQ(getErrorCode(), NoError);
    EXPECT_FALSE(importCACertsListTSL("/nonexistent.xml", "signer.pem"));
    EXPECT_EQ(engines.calls.joined().find("clean"), std::string::npos);
}

TEST_F(Api, UpdateCRLCache) {
    const std::string crl = std::string(sigilo::crlCacheName);
    engines.store->modified = 255;
    EXPECT_TRUE(updateCRLCache());
    EXPECT_EQ(engines.calls.joined(), "loadCA:" + std::string(sigilo::caCertsListName) +
                                          " loadCRL:" + crl + " update saveCRL:" + crl +
                                          " clearModified");
    engines.store->update = 0;
    EXPECT_FALSE(updateCRLCache());
    engines.store->update = 255;
    engines.store->modified = 255;
    engines.store->saveCRL = 0;
    EXPECT_FALSE(updateCRLCache());
}

TEST_F(Api, AnUnreachableServerGivesItsOwnReportAtOnce) {
    // Nothing listens there: the client is refused at once.
    setServer("127.0.0.1", ServerProcess::freePort());
    EXPECT_EQ(sigilo::standAlone, 0);
    EXPECT_FALSE(verifyDocuments(testData("verify/doc_der.p7m").c_str(), nullptr, false));
    EXPECT_EQ(sigilo::out, nullptr);
    std::string root(kDefaultRoot);
    root.erase(root.find(" downloadCRL"), root.size() - root.find(" downloadCRL") - 1);
    EXPECT_EQ(fileBytes(reportPath),
              "<?xml version=\"1.0\"?>\n" + root +
                  "\n<errorMessage>sigiloServer non e' raggiungibile</errorMessage>\n"
                  "<status>KO</status>\n</sigilo>\n\n");
    setServer("", 0);
    EXPECT_EQ(sigilo::standAlone, 255);
}

TEST_F(Api, LogLevelAndVerificationTime) {
    setLogLevel(9);
    EXPECT_EQ(sigilo::logLevel, 7);
    ASSERT_NE(sigilo::log, nullptr);
    EXPECT_EQ(sigilo::log->getLevel(), 7);
    EXPECT_NE(engines.calls.joined().find("enableLog:7"), std::string::npos);
    setLogLevel(255);
    EXPECT_EQ(sigilo::log, nullptr);

    EXPECT_TRUE(setVerificationTime("200101120000Z"));
    EXPECT_FALSE(setVerificationTime("491231235959Z"));  // 2049: in the future
    EXPECT_EQ(sigilo::docVerifier->getVerificationTime(), nullptr);
    EXPECT_FALSE(setVerificationTime("domani"));
    EXPECT_TRUE(setVerificationTime(nullptr));
    EXPECT_EQ(getErrorCode(), NoError);
}

TEST_F(Api, AReportThatCannotBeWrittenIsAFailure) {
    setOutput((dir + "/no/such/dir/report.xml").c_str());
    verifyDocuments("x", nullptr, false);
    EXPECT_FALSE(printResults());
    EXPECT_EQ(sigilo::out, nullptr);
    EXPECT_STREQ(getVersion(), "3.3.15");
}

}  // namespace
