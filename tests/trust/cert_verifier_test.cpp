// The certificate verifier on the openssl PKI of tests/data/trust (gen_trust_data.py): good,
// revoked and suspended end entities against the intermediate's CRL from a crlCache file with
// no network, a CRL that cannot be had, issuers missing from the table, the CA path rules (key
// usage, path length, expired CA, renewed root keys, a loop of CAs), the usage checks, and
// eight threads sharing one store while another thread adds certificates.
#include <atomic>
#include <thread>
#include <vector>

#include "asn1/OIDList.h"
#include "asn1/X500Time.h"
#include "net/Semaphore.h"
#include "pkix/KeyInfo.h"
#include "trust/CertVerifier.h"
#include "trust_test_support.h"

namespace {

class Verifier : public TrustTest {
protected:
    void SetUp() override {
        TrustTest::SetUp();
        CACache::setDownloadCRL(4);
        verifier.reset(new CertVerifier(device, cache.get()));
    }
    void TearDown() override {
        verifier.reset();
        CACache::setDownloadCRL(2);
        TrustTest::TearDown();
    }

    void trust(std::initializer_list<const char*> names) {
        for (const char* name : names) ASSERT_EQ(cache->addCACert(pkiCertificate(name).get()), 255);
    }
    void loadCRLs() { ASSERT_EQ(cache->loadCRLCache(trustData("crlCache_two_rows").c_str()), 255); }

    unsigned char verify(const char* name) { return verifier->verify(pkiCertificate(name).get()); }

    std::unique_ptr<CertVerifier> verifier;
};

constexpr unsigned long kNoError = CertVerifier::kNoError;

TEST_F(Verifier, GoodRevokedAndSuspendedFromTheCRLCacheWithoutNetwork) {
    trust({"root", "inter"});
    loadCRLs();
    EXPECT_EQ(verify("ee"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getSource(), 1);
    std::unique_ptr<X500Time> thisUpdate(verifier->getThisUpdate());
    ASSERT_NE(thisUpdate, nullptr);
    EXPECT_EQ(text(thisUpdate->getValue()), "240101000000Z");
    EXPECT_EQ(verifier->getThisUpdate(8), nullptr);

    EXPECT_EQ(verify("ee_revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5128u);
    EXPECT_EQ(verifier->getCRLReason(), 1);  // keyCompromise
    std::unique_ptr<X500Time> revoked(verifier->getRevocationDate());
    EXPECT_NE(revoked, nullptr);

    EXPECT_EQ(verify("ee_held"), 255);
    EXPECT_EQ(verifier->getErrCode(), 5161u);
    EXPECT_EQ(verifier->getCRLReason(), 6);

    // Each check starts afresh.
    EXPECT_EQ(verify("ee"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verifier->getRevocationDate(), nullptr);
}

TEST_F(Verifier, ACRLThatCannotBeHadIsNoAnswerNeverGood) {
    trust({"root", "inter"});
    // Mode 4 and an empty cache: nothing to search, and no row is made.
    EXPECT_EQ(verify("ee"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5137u);
    EXPECT_EQ(CACache::getCRLCacheMax(), 0);
    // Another mode with no transport: still no CRL, still no answer.
    CACache::setDownloadCRL(2);
    EXPECT_EQ(verify("ee_revoked"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5137u);
    // Without the CRL check the question is not asked.
    verifier->setCheckCRL(0);
    verifier->setCheckCACRL(0);
    EXPECT_EQ(verify("ee_revoked"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
}

TEST_F(Verifier, IssuersMustStandInTheTable) {
    trust({"inter"});
    EXPECT_EQ(verify("ee"), 0);  // the intermediate's issuer is missing
    EXPECT_EQ(verifier->getErrCode(), 5130u);
    trust({"root"});
    EXPECT_EQ(verify("ee_stranger_noaki"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5130u);
    // A certificate the CA did not sign: its signature fails.
    verifier->setCheckCRL(0);
    verifier->setCheckCACRL(0);
    std::unique_ptr<Certificate> forged = withSubject(*pkiCertificate("ee"), "CN=Falso");
    EXPECT_EQ(verifier->verify(forged.get()), 0);
    EXPECT_EQ(verifier->getErrCode(), 5126u);
}

TEST_F(Verifier, CAPathRules) {
    trust({"root", "root_renewed", "ca_no_certsign", "ca_pathlen0", "ca_expired"});
    verifier->setCheckCACRL(0);
    int noCertSign = cache->getCACerts(nameOf(subjectOf("ca_no_certsign")).get());
    int pathlen0 = cache->getCACerts(nameOf(subjectOf("ca_pathlen0")).get());
    int expired = cache->getCACerts(nameOf(subjectOf("ca_expired")).get());
    ASSERT_GE(noCertSign, 0);
    EXPECT_EQ(verifier->checkCertPath(noCertSign, 0, 0), nullptr);
    EXPECT_EQ(verifier->getErrCode(), 5135u);

    std::unique_ptr<KeyInfo> key(verifier->checkCertPath(pathlen0, 0, 0));
    EXPECT_NE(key, nullptr);
    EXPECT_EQ(verifier->checkCertPath(pathlen0, 0, 1), nullptr);
    EXPECT_EQ(verifier->getErrCode(), 5131u);

    // An expired CA keeps the path; its end of validity is left for the report.
    std::unique_ptr<KeyInfo> expiredKey(verifier->checkCertPath(expired, 0, 0));
    EXPECT_NE(expiredKey, nullptr);
    std::unique_ptr<X500Time> notAfter(verifier->getNotAfter());
    ASSERT_NE(notAfter, nullptr);
    EXPECT_EQ(text(notAfter->getValue()), "120101000000Z");

    // What the renewed root key signed verifies through the second certificate of the row.
    verifier->setCheckCRL(0);
    EXPECT_EQ(verify("ee_renewed"), 255);
    EXPECT_EQ(verifier->getErrCode(), kNoError);
    EXPECT_EQ(verify("ee_renewed_noaki"), 255);
}

// Two CA certificates without key identifiers that name each other as issuer: the climb
// would never end; it stops as an invalid path.
TEST_F(Verifier, ALoopOfCAsInTheTableEnds) {
    std::unique_ptr<Certificate> base = pkiCertificate("inter_noid");
    std::unique_ptr<Certificate> a = withSubject(*base, "CN=Anello A");
    std::unique_ptr<Certificate> b = withSubject(*base, "CN=Anello B");
    auto withIssuer = [](Certificate& c, const std::string& issuer) {
        std::unique_ptr<CertificateInfo> info(c.getCertInfo());
        info->setIssuer(nameOf(issuer).get());
        c.setCertInfo(info.get());
    };
    withIssuer(*a, "CN=Anello B");
    withIssuer(*b, "CN=Anello A");
    ASSERT_EQ(cache->addCACert(a.get()), 255);
    ASSERT_EQ(cache->addCACert(b.get()), 255);
    verifier->setCheckCACRL(0);
    EXPECT_EQ(verifier->checkCertPath(0, 0, 0), nullptr);
    EXPECT_EQ(verifier->getErrCode(), 5131u);
}

TEST_F(Verifier, KeyUsagesAndUpdateErrCode) {
    const unsigned char signing[] = {0xC0};  // digitalSignature, nonRepudiation
    EXPECT_EQ(verifier->checkKeyUsages(signing, 0x40, nullptr, nullptr), 255);
    EXPECT_EQ(verifier->checkKeyUsages(signing, 0x04, nullptr, nullptr), 0);
    EXPECT_EQ(verifier->getErrCode(), 5129u);
    EXPECT_EQ(verifier->checkKeyUsages(nullptr, 0x40, nullptr, nullptr), 0);
    EXPECT_EQ(verifier->checkKeyUsages(nullptr, 0, nullptr, nullptr), 255);
    OIDList usages;
    usages.addOID("1.3.6.1.5.5.7.3.4");
    EXPECT_EQ(verifier->checkKeyUsages(signing, 0, &usages, "1.3.6.1.5.5.7.3.8"), 0);
    EXPECT_EQ(verifier->getErrCode(), 5187u);
    usages.addOID("1.3.6.1.5.5.7.3.8");
    EXPECT_EQ(verifier->checkKeyUsages(signing, 0, &usages, "1.3.6.1.5.5.7.3.8"), 255);
    EXPECT_EQ(verifier->checkKeyUsages(signing, 0, nullptr, "1.3.6.1.5.5.7.3.8"), 0);

    EXPECT_EQ(verifier->updateErrCode(5130), 255);
    EXPECT_EQ(verifier->getErrCode(), 5187u);
}

// Eight verifiers share one store while a ninth thread keeps adding CA certificates: every
// answer stays right. The ThreadSanitizer build runs this too.
TEST_F(Verifier, EightThreadsShareOneStoreWhileItGrows) {
    trust({"root", "inter"});
    loadCRLs();
    std::atomic<int> wrong{0};
    std::atomic<bool> stop{false};
    // The device is one for all: the semaphore is held around every use of it.
    Semaphore deviceLock(0, 1);
    std::thread adder([&] {
        for (int i = 0; i < 60 && !stop; ++i) {
            std::unique_ptr<Certificate> extra =
                withSubject(*pkiCertificate("ca_san"), "CN=Aggiunta " + std::to_string(i));
            CACache adding(device);
            adding.addCACert(extra.get());
        }
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < 8; ++t) {
        workers.emplace_back([&, t] {
            // A certificate keeps the digest of its signed part once checked: each thread has
            // its own copies.
            std::vector<std::unique_ptr<Certificate>> subjects;
            for (const char* name : {"ee", "ee_revoked", "ee_held"}) {
                subjects.push_back(pkiCertificate(name));
            }
            CACache own(device, &deviceLock);
            CertVerifier v(device, &deviceLock, &own);
            for (int round = 0; round < 6; ++round) {
                int which = (t + round) % 3;
                unsigned char result = v.verify(subjects[which].get());
                unsigned long expected = which == 0 ? kNoError : which == 1 ? 5128u : 5161u;
                if (result != 255 || v.getErrCode() != expected) ++wrong;
            }
        });
    }
    for (std::thread& w : workers) w.join();
    stop = true;
    adder.join();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
