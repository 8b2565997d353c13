// Revocation on the real store, with the CRLs of an openssl PKI (tests/data/revocation,
// gen_revocation_data.sh) served by a transport of the test's own that counts every fetch:
// a revoked intermediate seen from the certificate below it, CRLs refused for their issuer or
// their signature, the retrieval modes, a stale CRL followed to its issuing distribution point,
// the refresh of the whole cache, and a stored cache damaged byte by byte.
#include <map>

#include "asn1/X500Time.h"
#include "support/ReportText.h"
#include "trust/CertVerifier.h"
#include "trust/LocalTrustStore.h"
#include "trust_test_support.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

std::string revocationData(const std::string& name) {
    return testData("revocation/" + name);
}

std::string uriOf(const std::string& file) {
    return "http://127.0.0.1/" + file;
}

// What the transport serves (URI -> file) and how often each URI was asked for.
struct Served {
    std::map<std::string, std::string> files;
    std::map<std::string, int> fetches;
};

Served& served() {
    static Served s;
    return s;
}

std::string timeText(X500Time* owned) {
    std::string s = owned != nullptr ? text(owned->getValue()) : "(null)";
    delete owned;
    return s;
}

std::unique_ptr<Certificate> pemCertificate(const std::string& path) {
    SecureBuffer in(nullptr);
    EXPECT_TRUE(in.fromPEMFile(path.c_str(), nullptr)) << path;
    std::unique_ptr<Certificate> certificate(new Certificate());
    EXPECT_TRUE(certificate->unwrapASN1(&in)) << path;
    return certificate;
}

class Revocation : public TrustTest {
protected:
    void SetUp() override {
        TrustTest::SetUp();
        served() = Served();
        CACache::setCRLTransport(
            [](const char* uri, Buffer* der, X500Time** stamp) -> unsigned char {
                *stamp = nullptr;
                ++served().fetches[uri];
                auto it = served().files.find(uri);
                return it != served().files.end() ? der->fromFile(it->second.c_str()) : 0;
            },
            nullptr);
        verifier.reset(new CertVerifier(device, cache.get()));
    }
    void TearDown() override {
        verifier.reset();
        CACache::setCRLTransport(nullptr, nullptr);
        CACache::setDownloadCRL(2);
        TrustTest::TearDown();
    }

    void trust(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            ASSERT_EQ(cache->addCACert(revocationData(std::string(name) + ".pem").c_str()), 255)
                << name;
        }
    }
    // Serves the file under the URI named by the certificates.
    static void serve(const std::string& uriFile, const std::string& file) {
        served().files[uriOf(uriFile)] = revocationData(file);
    }
    static int fetches(const std::string& uriFile) { return served().fetches[uriOf(uriFile)]; }

    unsigned char verify(const std::string& name) {
        return verifier->verify(pemCertificate(revocationData(name + ".pem")).get());
    }

    std::unique_ptr<CertVerifier> verifier;
};

constexpr unsigned long kNoError = CertVerifier::kNoError;

TEST_F(Revocation, ARevokedIntermediateStaysReadableForTheCertificateBelowIt) {
    trust({"root", "inter"});
    serve("root.crl", "root.crl");
    serve("inter.crl", "inter.crl");
    // The signer itself is not revoked: the path goes on, and the intermediate's revocation
    // date is what the caller reads.
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(timeText(verifier->getRevocationDate()), "220601000000Z");
    // A signer revoked on its own CRL reads its own date, not the intermediate's.
    EXPECT_EQ(verify("signer_revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(timeText(verifier->getRevocationDate()), "230301000000Z");
    EXPECT_EQ(verifier->getCRLReason(), 1);
    // With a later root CRL clean of the intermediate, nothing is left over from the last check.
    serve("root.crl", "root_clean.crl");
    CACache::setDownloadCRL(3);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getRevocationDate(), nullptr);
}

TEST_F(Revocation, TheReportOfADocumentUnderARevokedIntermediateSaysSo) {
    LocalTrustStore store(device);
    trust({"root", "inter"});
    serve("root.crl", "root.crl");
    serve("inter.crl", "inter.crl");
    DocVerifier engine(device, &store);
    Buffer text(4096);
    XMLFile report(&text);
    report.openTag("sigilo");
    engine.setXMLOutput(&report);
    std::string file = revocationData("signer.p7m");
    InputType type = engine.guessInputType(file.c_str());
    ASSERT_TRUE(type == InputType::InputCMS || type == InputType::InputPKCS7);
    EXPECT_TRUE(type == InputType::InputCMS ? engine.verifyCMSFile(file.c_str(), "", nullptr)
                                            : engine.verifyPKCS7File(file.c_str(), "", nullptr));
    std::string xml = flatReport(report.getXML(1));
    EXPECT_NE(xml.find("<caCertRevoked>220601000000Z</caCertRevoked>"), std::string::npos) << xml;
}

TEST_F(Revocation, ACRLFromACAThatMayNotSignCRLsIsNoAnswer) {
    startLog();
    trust({"root", "nocrlsign"});
    serve("nocrlsign.crl", "nocrlsign.crl");
    EXPECT_EQ(verify("nocrl_signer"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5137u);
    EXPECT_TRUE(logged(3, 5136, "Chiave della CA non abilitata alla firma CRL"));
    EXPECT_TRUE(logged(3, 5137, "Impossibile scaricare la CRL"));
    EXPECT_EQ(CACache::isCRLCacheModified(), 0);
}

TEST_F(Revocation, ACRLWithABadSignatureIsNoAnswer) {
    startLog();
    trust({"root", "inter"});
    serve("root.crl", "root_clean.crl");
    serve("inter.crl", "inter_badsig.crl");
    EXPECT_EQ(verify("signer_revoked"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5137u);
    EXPECT_TRUE(logged(3, 5138, "Firma sulla CRL non verificata"));
}

TEST_F(Revocation, ModeOneKeepsAStoredCRLHoweverOldAndModeTwoFetchesItAgain) {
    trust({"root", "inter"});
    serve("root.crl", "root_clean.crl");
    serve("inter.crl", "inter_stale.crl");
    CACache::setDownloadCRL(1);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(fetches("inter.crl"), 1);
    EXPECT_EQ(timeText(verifier->getNextUpdate()), "200201000000Z");
    CACache::setDownloadCRL(2);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(fetches("inter.crl"), 2);
    // Mode 4 asks nothing, and a URI it has no row for gives no answer.
    CACache::setDownloadCRL(4);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(fetches("inter.crl"), 2);
}

TEST_F(Revocation, AStaleCRLFetchedTheFirstTimeIsFollowedToItsIssuingPoint) {
    trust({"root", "inter"});
    serve("root.crl", "root_clean.crl");
    serve("inter.crl", "inter_stale.crl");
    serve("inter_fresh.crl", "inter_fresh.crl");
    EXPECT_EQ(verify("signer_revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(fetches("inter.crl"), 1);
    EXPECT_EQ(fetches("inter_fresh.crl"), 1);
    // The fresher CRL took the row's place.
    EXPECT_EQ(timeText(verifier->getThisUpdate()), "240601000000Z");
    EXPECT_EQ(timeText(verifier->getNextUpdate()), "20990101000000Z");
}

TEST_F(Revocation, UpdateCRLCacheFillsAnEmptyCacheFromTheCAsAndRefreshesByTheMode) {
    trust({"root", "inter"});
    serve("root.crl", "root.crl");
    ASSERT_EQ(cache->updateCRLCache(), 255);
    // The intermediate names the root's CRL; the root names none.
    EXPECT_EQ(CACache::getCRLCacheMax(), 1);
    EXPECT_EQ(text(CACache::getCRLRowURI(0)), uriOf("root.crl"));
    EXPECT_EQ(fetches("root.crl"), 1);
    EXPECT_NE(CACache::isCRLCacheModified(), 0);
    // A fresh row is not fetched again, in mode 2 or in mode 3.
    for (unsigned char mode : {2, 3, 1}) {
        CACache::setDownloadCRL(mode);
        ASSERT_EQ(cache->updateCRLCache(), 255);
    }
    EXPECT_EQ(fetches("root.crl"), 1);
    // A stale row is, except in mode 1.
    serve("inter.crl", "inter_stale.crl");
    CACache::setDownloadCRL(2);
    EXPECT_EQ(verify("signer"), 255);
    EXPECT_EQ(fetches("inter.crl"), 1);
    CACache::setDownloadCRL(1);
    ASSERT_EQ(cache->updateCRLCache(), 255);
    EXPECT_EQ(fetches("inter.crl"), 1);
    CACache::setDownloadCRL(2);
    ASSERT_EQ(cache->updateCRLCache(), 255);
    EXPECT_EQ(fetches("inter.crl"), 2);
    // Mode 4 touches nothing.
    CACache::setDownloadCRL(4);
    ASSERT_EQ(cache->updateCRLCache(), 255);
    EXPECT_EQ(fetches("inter.crl"), 2);
}

// An old document: its CA expired before its signer did, and both long ago. The signer's own
// date is the one kept, and the CA's copy is freed on the way (LeakSanitizer watches this run).
TEST_F(Revocation, AnExpiredSignerUnderAnExpiredCAKeepsItsOwnDate) {
    trust({"root", "old_ca"});
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(verify("old_signer"), 255);
        EXPECT_EQ(verifier->getErrCode(), 5127u);
        EXPECT_EQ(timeText(verifier->getNotAfter()), "141231000000Z");
    }
}

// A stored CRL is local state outside the library's hands between two runs: whatever single
// byte of the file changes, a revoked certificate must not come back good.
TEST_F(Revocation, NoSingleChangedByteOfTheStoredCacheMakesARevokedCertificateGood) {
    trust({"root", "inter"});
    serve("root.crl", "root_clean.crl");
    serve("inter.crl", "inter.crl");
    ASSERT_EQ(verify("signer_revoked"), 255);
    ASSERT_EQ(verifier->getErrCode(), 5128u);
    std::string path = dir + "/crlCache";
    ASSERT_EQ(cache->saveCRLCache(path.c_str()), 255);
    const std::string good = fileBytes(path);
    ASSERT_GT(good.size(), 1000u);

    // From here on nothing can be fetched: the answer comes from the file or not at all.
    served().files.clear();
    CACache::setDownloadCRL(4);
    auto judge = [&](const std::string& bytes) {
        writeFile(path, bytes);
        cache->clean();
        trust({"root", "inter"});
        cache->loadCRLCache(path.c_str());
        unsigned char result = verify("signer_revoked");
        return result == 255 && verifier->getErrCode() == kNoError;
    };
    ASSERT_FALSE(judge(good));
    ASSERT_EQ(verifier->getErrCode(), 5128u);
    int unrevoked = 0;
    // Every byte in turn, changed in its lowest bit or in all the others, so lengths and tags
    // move by one and values by much.
    for (size_t i = 0; i < good.size(); ++i) {
        unsigned char flip = i % 2 == 0 ? 0x01 : 0xFE;
        std::string damaged = good;
        damaged[i] = static_cast<char>(damaged[i] ^ flip);
        if (judge(damaged)) {
            ++unrevoked;
            ADD_FAILURE() << "byte " << i << " ^ " << int(flip) << " made the signer good";
        }
    }
    EXPECT_EQ(unrevoked, 0);
}

TEST_F(Revocation, ARowInTheOldFormWithoutSignatureIsFetchedAgainNotTrusted) {
    startLog();
    trust({"root", "inter"});
    // The intermediate's CRL as rows of earlier releases kept it: its signed part alone.
    CACache::setDownloadCRL(1);
    ASSERT_EQ(cache->loadCRLCache(revocationData("crlCache_tbs_only").c_str()), 255);
    ASSERT_EQ(CACache::getCRLCacheMax(), 1);
    serve("root.crl", "root_clean.crl");
    serve("inter.crl", "inter.crl");
    EXPECT_EQ(verify("signer_revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(fetches("inter.crl"), 1);
}

// A CA list that does not read to its end is a failed load, not a shorter list loaded well:
// the file cut short (as a reader of a half-written file would have found it) and an empty one.
TEST_F(Revocation, ACAListThatDoesNotReadWholeIsAFailedLoad) {
    trust({"root", "inter"});
    std::string path = dir + "/caCertsList";
    ASSERT_EQ(cache->saveCACertList(path.c_str()), 255);
    const std::string whole = fileBytes(path);
    for (size_t cut : {size_t(0), size_t(1), whole.size() / 2, whole.size() - 1}) {
        writeFile(path, whole.substr(0, cut));
        cache->clean();
        EXPECT_EQ(cache->loadCACertList(path.c_str()), 0) << cut;
    }
    writeFile(path, whole);
    cache->clean();
    EXPECT_EQ(cache->loadCACertList(path.c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 2);
}

// The files as another program sees them: python3 asn1crypto reads back every row.
TEST_F(Revocation, WrittenFilesReadBackWithAsn1crypto) {
    trust({"root", "inter"});
    serve("root.crl", "root.crl");
    serve("inter.crl", "inter.crl");
    ASSERT_EQ(verify("signer"), 255);
    std::string ca = dir + "/caCertsList", crl = dir + "/crlCache";
    ASSERT_EQ(cache->saveCACertList(ca.c_str()), 255);
    ASSERT_EQ(cache->saveCRLCache(crl.c_str()), 255);
    std::string out = dir + "/read.txt";
    std::string command = std::string(SIGILO_PYTHON3) + " '" +
                          revocationData("read_trust_files.py") + "' '" + ca + "' '" + crl +
                          "' >'" + out + "' 2>&1";
    ASSERT_EQ(system(command.c_str()), 0) << fileBytes(out);
    EXPECT_EQ(fileBytes(out),
              "ca|-|C=IT,O=Sigilo Revoche,CN=Radice Revoche|1|C=IT,O=Sigilo Revoche,CN=Radice "
              "Revoche\n"
              "ca|-|C=IT,O=Sigilo Revoche,CN=Intermedia Revoche|1|C=IT,O=Sigilo Revoche,CN="
              "Intermedia Revoche\n"
              "crl|http://127.0.0.1/root.crl|C=IT,O=Sigilo Revoche,CN=Radice Revoche|0|0|"
              "240101000000Z|20990101000000Z|revoked=10|signature=ok\n"
              "crl|http://127.0.0.1/inter.crl|C=IT,O=Sigilo Revoche,CN=Intermedia Revoche|1|0|"
              "240101000000Z|20990101000000Z|revoked=21|signature=ok\n");
}

}  // namespace
