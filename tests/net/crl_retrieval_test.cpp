// CRLs fetched over HTTP into the CRL cache, from a web server the test starts: the forms of
// the answer, a server that is down or hung, and the four retrieval modes, with the server's
// requests counted to see that each mode asks exactly when it should. Also the three forms of
// HTTP dates.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "net/NetFixture.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "trust/CACache.h"

namespace {

class CRLRetrieval : public WebServerTest {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
    }
    void SetUp() override {
        WebServerTest::SetUp();
        cache = freshNetworkStore(device);
        writeFile(root("crl_current.der.lastmod"), "Mon, 01 Jan 2024 00:00:00 GMT");
    }
    void TearDown() override {
        cache->clean();
        CACache::setDownloadCRL(2);
        CACache::setTimeout(60);
    }
    unsigned char search(const std::string& path, const char* serial) {
        return cache->searchCRL(pointOf(url(path)).get(), 0, serial);
    }

    inline static CryptoKi* ki = nullptr;
    inline static CryptoDevice* device = nullptr;
    std::unique_ptr<CACache> cache;
};

TEST_F(CRLRetrieval, EveryFormOfAnswerFillsTheCache) {
    for (const char* path : {"/crl/crl_current.der", "/b64/crl_current.der", "/b64/crl_current.pem",
                             "/redirect/crl/crl_current.der", "/page/crl/crl_current.der"}) {
        EXPECT_EQ(search(path, kRevoked), 255) << path;
        EXPECT_EQ(cache->getReason(), 1) << path;
        EXPECT_EQ(search(path, kHeld), 255) << path;
        EXPECT_EQ(cache->getReason(), 6) << path;
        EXPECT_EQ(search(path, kGood), 0) << path;
        EXPECT_EQ(cache->getErrCode(), CACache::kNoError) << path;
    }
    EXPECT_EQ(CACache::getCRLCacheMax(), 5);
    EXPECT_EQ(CACache::isCRLCacheModified(), 255);
    // The server's date is the row's time stamp.
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 3)), "240101000000Z");
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 0)), "240101000000Z");
    // A base64 answer has no Last-Modified: the row is stamped 1970.
    EXPECT_EQ(timeText(CACache::getCRLRowTime(1, 3)), "700101000001Z");
}

TEST_F(CRLRetrieval, NoCRLFromADownHungOrWrongServer) {
    EXPECT_EQ(cache->searchCRL(pointOf("http://127.0.0.1:9/crl.der").get(), 0, kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_EQ(search("/crl/missing.der", kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_EQ(search("/nolink", kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    // Something that is not a CRL of a trusted issuer.
    EXPECT_EQ(search("/crl/root.pem", kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    // HTTPS has no client: no request leaves.
    EXPECT_EQ(cache->searchCRL(pointOf("https://127.0.0.1:" + std::to_string(server.port()) +
                                       "/crl/crl_current.der")
                                   .get(),
                               0, kRevoked),
              0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_EQ(countOf("/crl/crl_current.der"), 0);
    // A hung server is given up after the time-out, and the next search goes on.
    CACache::setTimeout(1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(search("/hang", kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_LT(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count(),
        5);
    EXPECT_EQ(search("/crl/crl_current.der", kRevoked), 255);
}

TEST_F(CRLRetrieval, ModeTwoFetchesWhenTheServerHasANewerOne) {
    const std::string path = "/crl/crl_current.der";
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(countOf(path), 1);
    // The stored CRL is not due: only the server's date is asked for, and it is not newer.
    EXPECT_EQ(search(path, kGood), 0);
    EXPECT_EQ(countOf(path), 2);
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 0)), "240101000000Z");
    // The server now holds a newer CRL with a later date: asked for the date, then fetched.
    writeFile(root("crl_current.der"), readFile(testData("net/crl_newer.der")));
    writeFile(root("crl_current.der.lastmod"), "Wed, 01 Jan 2025 00:00:00 GMT");
    CACache::clearCRLCacheModified();
    EXPECT_EQ(search(path, kGood), 0);
    EXPECT_EQ(countOf(path), 4);
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 0)), "250101000000Z");
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 3)), "250101000000Z");
    EXPECT_EQ(CACache::isCRLCacheModified(), 255);
    // Without the date check nothing is asked while the CRL is not due.
    CACache::setTimeStampCheck(0);
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(countOf(path), 4);
}

TEST_F(CRLRetrieval, ModeTwoFetchesAStaleCRLOnEverySearch) {
    const std::string path = "/crl/crl_stale.der";
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(countOf(path), 1);
    EXPECT_EQ(search(path, kHeld), 255);
    EXPECT_EQ(countOf(path), 2);
    // Mode 1 keeps it however old.
    CACache::setDownloadCRL(1);
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(countOf(path), 2);
    std::unique_ptr<X500Time> next(cache->getNextUpdate());
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(timeText(next.release()), "210101000000Z");
}

TEST_F(CRLRetrieval, ModesOneThreeAndFour) {
    const std::string path = "/crl/crl_current.der";
    CACache::setDownloadCRL(4);
    EXPECT_EQ(search(path, kRevoked), 0);
    EXPECT_EQ(cache->getErrCode(), 5137u);
    EXPECT_EQ(CACache::getCRLCacheMax(), 0);
    CACache::setDownloadCRL(1);
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(search(path, kHeld), 255);
    EXPECT_EQ(countOf(path), 1);
    CACache::setDownloadCRL(3);
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(search(path, kGood), 0);
    EXPECT_EQ(countOf(path), 3);
    CACache::setDownloadCRL(4);
    EXPECT_EQ(search(path, kRevoked), 255);
    EXPECT_EQ(countOf(path), 3);
    EXPECT_EQ(countOf("/"), 3);
}

TEST_F(CRLRetrieval, UpdateAsksAsModeTwoInEveryModeButOneAndFour) {
    const std::string path = "/crl/crl_current.der";
    ASSERT_EQ(search(path, kRevoked), 255);
    ASSERT_EQ(countOf(path), 1);
    struct {
        unsigned char mode;
        int requests;
    } steps[] = {{2, 1}, {3, 1}, {1, 0}, {4, 0}};
    int expected = 1;
    for (const auto& step : steps) {
        CACache::setDownloadCRL(step.mode);
        EXPECT_EQ(cache->updateCRLCache(), 255);
        expected += step.requests;
        EXPECT_EQ(countOf(path), expected) << "mode " << int(step.mode);
    }
    // A newer CRL on the server is taken by the update.
    writeFile(root("crl_current.der"), readFile(testData("net/crl_newer.der")));
    writeFile(root("crl_current.der.lastmod"), "Wed, 01 Jan 2025 00:00:00 GMT");
    CACache::setDownloadCRL(2);
    EXPECT_EQ(cache->updateCRLCache(), 255);
    EXPECT_EQ(countOf(path), expected + 2);
    EXPECT_EQ(timeText(CACache::getCRLRowTime(0, 0)), "250101000000Z");
}

TEST(HTTPDate, TheThreeFormsGiveOneTime) {
    for (const char* text : {"Sun, 06 Nov 1994 08:49:37 GMT", "sunday, 06-nov-94 08:49:37 gmt",
                             "Sun Nov  6 08:49:37 1994", "sun, 06 nov 1994 08:49:37 gmt"}) {
        EXPECT_EQ(timeText(CACache::readHTTPDate(text)), "941106084937Z") << text;
    }
    EXPECT_EQ(timeText(CACache::readHTTPDate("Thu, 01 Jan 2026 23:59:60 GMT")), "260101235960Z");
    EXPECT_EQ(timeText(CACache::readHTTPDate("thu, 01 jan 1970 00:00:01 gmt")), "700101000001Z");
    for (const char* bad : {"", "Sun, 06 Foo 1994 08:49:37 GMT", "Sun, 06 Nov 1994 GMT",
                            "Sun, 32 Nov 1994 08:49:37 GMT", "garbage"}) {
        EXPECT_EQ(CACache::readHTTPDate(bad), nullptr) << bad;
    }
    EXPECT_EQ(CACache::readHTTPDate(nullptr), nullptr);
}

}  // namespace
