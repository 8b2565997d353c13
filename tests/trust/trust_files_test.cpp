// The trust store's imports and files: trust lists in the ETSI shape and PEM files
// (gen_trust_data.py), "caCertsList" written by one process and read by another, damaged files
// of both kinds, and the CRL cache's retrieval modes driven through a transport of the test's
// own that serves the intermediate's CRL from the test data.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "asn1/X500Time.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "trust/CertVerifier.h"
#include "trust_test_support.h"

namespace {

class TrustFiles : public TrustTest {
protected:
    int rowOf(const std::string& name) { return cache->getCACerts(nameOf(subjectOf(name)).get()); }
};

TEST_F(TrustFiles, TrustListTakesTheFirstCertificateOfEveryService) {
    ASSERT_EQ(cache->addCACertListTSL(trustData("tsl_good.xml").c_str()), 255);
    // root and its renewed key share a row; the withdrawn service counts like any other; of
    // two certificates in one identity only the first; no history, no pointed-to list.
    EXPECT_EQ(CACache::getCACertListMax(), 4);
    EXPECT_EQ(CACache::getRowCertCount(rowOf("root")), 2);
    EXPECT_GE(rowOf("inter"), 0);
    EXPECT_GE(rowOf("ca_san"), 0);
    EXPECT_GE(rowOf("ca_no_certsign"), 0);
    EXPECT_EQ(rowOf("ca_ian"), -1);
    EXPECT_EQ(rowOf("ca_pathlen0"), -1);
    EXPECT_EQ(rowOf("ca_expired"), -1);
}

TEST_F(TrustFiles, TrustListFailuresKeepWhatCameBefore) {
    EXPECT_EQ(cache->addCACertListTSL(trustData("tsl_bad_certificate.xml").c_str()), 0);
    EXPECT_GE(rowOf("root"), 0);
    EXPECT_EQ(rowOf("inter"), -1);
    cache->clean();
    EXPECT_EQ(cache->addCACertListTSL(trustData("tsl_provider_without_services.xml").c_str()), 0);
    EXPECT_GE(rowOf("root"), 0);
    EXPECT_EQ(rowOf("inter"), -1);
    EXPECT_EQ(cache->addCACertListTSL(trustData("tsl_no_certificate.xml").c_str()), 0);
    // Not XML: nothing changes. The wrong shape under init: the table is emptied first.
    int before = CACache::getCACertListMax();
    EXPECT_EQ(cache->addCACertListTSL(trustData("tsl_not_xml.xml").c_str()), 0);
    EXPECT_EQ(CACache::getCACertListMax(), before);
    EXPECT_EQ(cache->initCACertListTSL(trustData("tsl_wrong_shape.xml").c_str()), 0);
    EXPECT_EQ(CACache::getCACertListMax(), 0);
}

TEST_F(TrustFiles, PEMImports) {
    EXPECT_EQ(cache->addCACertListPEM(trustData("pem_three.pem").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 3);
    EXPECT_EQ(cache->initCACertListPEM(trustData("pem_second_damaged.pem").c_str()), 0);
    EXPECT_EQ(CACache::getCACertListMax(), 1);
    EXPECT_EQ(cache->addCACertListPEM(trustData("pem_garbage.pem").c_str()), 0);
    EXPECT_EQ(cache->addCACertListPEM(trustData("pem_blank_lines.pem").c_str()), 255);
    EXPECT_EQ(cache->addCACertListPEM(trustData("pem_trailing_blank.pem").c_str()), 255);
    EXPECT_EQ(cache->addCACertListPEM("/nonexistent.pem"), 0);
    // An empty file is a success that adds nothing, and its init form empties the table.
    EXPECT_EQ(cache->initCACertListPEM(trustData("pem_empty.pem").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 0);
}

// A child process writes the list; this one reads it back.
TEST_F(TrustFiles, ACACertListWrittenByOneProcessLoadsInAnother) {
    std::string path = dir + "/caCertsList";
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        CACache writer(device);
        bool ok = writer.addCACertListTSL(trustData("tsl_good.xml").c_str()) == 255 &&
                  writer.saveCACertList(path.c_str()) == 255;
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u);
    EXPECT_EQ(CACache::getCACertListMax(), 0);
    ASSERT_EQ(cache->loadCACertList(path.c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 4);
    EXPECT_EQ(CACache::getRowCertCount(rowOf("root")), 2);
}

TEST_F(TrustFiles, KnownAndDamagedFilesLoadWithoutHarm) {
    EXPECT_EQ(cache->loadCACertList(trustData("caCertsList_four_rows").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 4);
    cache->clean();
    EXPECT_EQ(cache->loadCACertList(trustData("caCertsList_empty").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), 0);
    EXPECT_EQ(cache->loadCACertList(trustData("caCertsList_600_rows").c_str()), 255);
    EXPECT_EQ(CACache::getCACertListMax(), CACache::kMaxCACertRows);
    cache->clean();
    // Every cut of both files, and each file read as the other kind.
    for (const char* name : {"caCertsList_four_rows", "crlCache_two_rows"}) {
        std::string whole = fileBytes(trustData(name));
        std::string cut = dir + "/cut";
        for (size_t n = 0; n < whole.size(); n += 3) {
            writeFile(cut, whole.substr(0, n));
            cache->clean();
            cache->loadCACertList(cut.c_str());
            EXPECT_LE(CACache::getCACertListMax(), 4);
            cache->loadCRLCache(cut.c_str());
            EXPECT_LE(CACache::getCRLCacheMax(), 2);
        }
    }
    cache->clean();
    // A missing CRL cache is an empty one; a missing CA list is a failure.
    EXPECT_EQ(cache->loadCRLCache((dir + "/none").c_str()), 255);
    EXPECT_EQ(cache->loadCACertList((dir + "/none").c_str()), 0);
}

TEST_F(TrustFiles, CRLCacheRowsSaveAndLoad) {
    const VecCase* expected = nullptr;
    for (const VecCase& c : trustCases()) {
        if (c.kind == "crl_file") expected = &c;
    }
    ASSERT_NE(expected, nullptr);
    ASSERT_EQ(cache->loadCRLCache(trustData(expected->get("file")).c_str()), 255);
    ASSERT_EQ(CACache::getCRLCacheMax(), std::stoi(expected->get("rows")));
    EXPECT_EQ(text(CACache::getCRLRowURI(0)), expected->get("uri0"));
    EXPECT_EQ(text(CACache::getCRLRowURI(1)), expected->get("uri1"));
    int caRow = -1, caIndex = -1;
    ASSERT_TRUE(CACache::getCRLRowPosition(0, &caRow, &caIndex));
    EXPECT_EQ(caRow, std::stoi(expected->get("ca_row0")));
    // Written out and read back, the same rows, the time without value kept as it is.
    std::string path = dir + "/crlCache";
    ASSERT_EQ(cache->saveCRLCache(path.c_str()), 255);
    cache->clean();
    ASSERT_EQ(cache->loadCRLCache(path.c_str()), 255);
    EXPECT_EQ(CACache::getCRLCacheMax(), 2);
    std::unique_ptr<X500Time> expired(CACache::getCRLRowTime(0, 2));
    ASSERT_NE(expired, nullptr);
    EXPECT_EQ(expired->getClockValue(), 0);
}

// The retrieval modes, with a transport that counts its fetches.
class CRLModes : public TrustTest {
protected:
    void SetUp() override {
        TrustTest::SetUp();
        fetches = 0;
        CACache::setCRLTransport(
            [](const char* uri, Buffer* der, X500Time** stamp) -> unsigned char {
                ++fetches;
                *stamp = nullptr;
                if (std::string(uri) != "http://127.0.0.1/intermedia.crl") return 0;
                return der->fromFile(trustData("pki/inter_crl.der").c_str());
            },
            nullptr);
        for (const char* name : {"root", "inter"}) {
            ASSERT_EQ(cache->addCACert(pkiCertificate(name).get()), 255);
        }
        pointName.reset(new DistributionPointName());
        GeneralNameList names;
        GeneralName uri;
        uri.setUniformResourceIdentifier("http://127.0.0.1/intermedia.crl");
        names.addElementCopy(&uri);
        pointName->setFullName(&names);
    }
    void TearDown() override {
        CACache::setCRLTransport(nullptr, nullptr);
        TrustTest::TearDown();
    }
    unsigned char search(const char* serial) {
        return cache->searchCRL(pointName.get(), 1, serial);
    }

    static std::atomic<int> fetches;
    std::unique_ptr<DistributionPointName> pointName;
};

std::atomic<int> CRLModes::fetches{0};

TEST_F(CRLModes, LocalOnlyMakesNoRowAndGivesNoAnswer) {
    CACache::setDownloadCRL(4);
    EXPECT_EQ(search("10"), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_EQ(CACache::getCRLCacheMax(), 0);
    EXPECT_EQ(fetches.load(), 0);
}

TEST_F(CRLModes, FetchedOnceThenKeptUntilDue) {
    CACache::setDownloadCRL(2);
    EXPECT_EQ(search("11"), 255);
    EXPECT_EQ(cache->getReason(), 1);
    EXPECT_EQ(fetches.load(), 1);
    EXPECT_EQ(CACache::isCRLCacheModified(), 255);
    EXPECT_EQ(search("10"), 0);
    EXPECT_EQ(cache->getErrCode(), CACache::kNoError);
    EXPECT_EQ(fetches.load(), 1);  // nextUpdate is in 2099
    // Mode 3 fetches on every search; a CRL no newer than the stored one changes nothing.
    CACache::clearCRLCacheModified();
    CACache::setDownloadCRL(3);
    EXPECT_EQ(search("12"), 255);
    EXPECT_EQ(cache->getReason(), 6);
    EXPECT_EQ(fetches.load(), 2);
    EXPECT_EQ(CACache::isCRLCacheModified(), 0);
    // Mode 4 reads the row as it stands.
    CACache::setDownloadCRL(4);
    EXPECT_EQ(search("11"), 255);
    EXPECT_EQ(fetches.load(), 2);
}

TEST_F(CRLModes, ACRLOfAnUntrustedIssuerIsRefused) {
    cache->clean();
    ASSERT_EQ(cache->addCACert(pkiCertificate("root").get()), 255);
    CACache::setDownloadCRL(2);
    EXPECT_EQ(search("11"), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
}

}  // namespace
