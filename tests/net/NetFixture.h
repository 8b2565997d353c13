// The web server of tests/data/net/http_server.py for one test: a scratch document root with
// the CRLs of tests/data/net, the server's request log, and its port. The server ends by itself
// after two minutes, and is stopped by its process id when the test ends.
#ifndef SIGILO_TESTS_NET_NETFIXTURE_H
#define SIGILO_TESTS_NET_NETFIXTURE_H

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "support/ServerProcess.h"
#include "support/VecFile.h"
#include "trust/CACache.h"

// Serials of the signers of tests/data/net, as the CRL search prints them.
constexpr char kGood[] = "11";
constexpr char kRevoked[] = "12";
constexpr char kHeld[] = "13";

inline std::string timeText(X500Time* owned) {
    std::unique_ptr<X500Time> t(owned);
    if (t == nullptr) return "(null)";
    std::unique_ptr<char[]> v(t->getValue());
    return v.get();
}

// A distribution point naming one URI.
inline std::unique_ptr<DistributionPointName> pointOf(const std::string& uri) {
    auto name = std::make_unique<DistributionPointName>();
    GeneralNameList names;
    GeneralName one;
    one.setUniformResourceIdentifier(uri.c_str());
    names.addElementCopy(&one);
    name->setFullName(&names);
    return name;
}

// A fresh store that fetches over the network (no test transport), trusting the root of
// tests/data/net; the retrieval settings at their test values.
inline std::unique_ptr<CACache> freshNetworkStore(CryptoDevice* device) {
    CACache::init();
    CACache::setCRLTransport(nullptr, nullptr);
    CACache::setTimeout(10);
    CACache::setTimeStampCheck(255);
    CACache::setDownloadCRL(2);
    auto cache = std::make_unique<CACache>(device);
    EXPECT_EQ(cache->addCACert(testData("net/root.pem").c_str()), 255);
    return cache;
}

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

class WebServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir = ::testing::TempDir() + "/net_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "/root'").c_str()), 0);
        for (const char* name :
             {"crl_current.der", "crl_current.pem", "crl_newer.der", "crl_stale.der", "root.pem"}) {
            writeFile(root(name), readFile(testData(std::string("net/") + name)));
        }
        log = dir + "/requests.log";
        writeFile(log, "");
        ASSERT_TRUE(server.startPrintingPort(
            {SIGILO_PYTHON3, testData("net/http_server.py"), dir + "/root", log, "120"}));
    }

    std::string root(const std::string& name) const { return dir + "/root/" + name; }
    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(server.port()) + path;
    }
    // The request lines the server logged so far: "METHOD PATH FORM AUTH PROXYAUTH".
    std::vector<std::string> requests() const {
        std::vector<std::string> lines;
        std::istringstream in(readFile(log));
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    // How many requests asked for a path starting with the prefix.
    int countOf(const std::string& prefix) const {
        int n = 0;
        for (const std::string& line : requests()) {
            size_t blank = line.find(' ');
            if (blank != std::string::npos && line.compare(blank + 1, prefix.size(), prefix) == 0) {
                ++n;
            }
        }
        return n;
    }

    std::string dir;
    std::string log;
    ServerProcess server;
};

#endif
