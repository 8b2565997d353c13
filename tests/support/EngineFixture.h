// The set-up the engine tests share: one software token for the whole suite, and for each test a
// trust store holding one root, with the CRLs the test serves itself for a single URI (no
// network; none served when the URI is empty).
#ifndef SIGILO_TESTS_SUPPORT_ENGINEFIXTURE_H
#define SIGILO_TESTS_SUPPORT_ENGINEFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"

class EngineFixture : public ::testing::Test {
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

    // The store with root trusted; crlFile is served for crlUri.
    void startStore(const std::string& root, const std::string& crlUri,
                    const std::string& crlFile) {
        CACache::init();
        CACache::setDownloadCRL(2);
        served().uri = crlUri;
        served().file = crlFile;
        CACache::setCRLTransport(
            [](const char* uri, Buffer* der, X500Time** stamp) -> unsigned char {
                *stamp = nullptr;
                if (served().uri.empty() || served().uri != uri) return 0;
                return der->fromFile(served().file.c_str());
            },
            nullptr);
        store = std::make_unique<LocalTrustStore>(device);
        ASSERT_EQ(store->addCACert(root.c_str()), 255);
    }
    void TearDown() override {
        CACache::setCRLTransport(nullptr, nullptr);
        if (store) store->clean();
    }

    inline static CryptoKi* ki = nullptr;
    inline static CryptoDevice* device = nullptr;
    std::unique_ptr<LocalTrustStore> store;

private:
    struct ServedCRL {
        std::string uri;
        std::string file;
    };
    // The transport is a plain function: what it serves lives here.
    static ServedCRL& served() {
        static ServedCRL crl;
        return crl;
    }
};

// A time from its UTCTime text (YYMMDDhhmmssZ).
X500Time utcTimeOf(const std::string& text);

#endif
