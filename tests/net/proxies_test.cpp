// The HTTP client behind real proxies that the test starts on 127.0.0.1 in front of its web
// server: microsocks (SOCKS 5, with and without user name and password) and tinyproxy (an HTTP
// proxy with basic authorization). Each proxy is shown to be in the path by stopping it.
#include <gtest/gtest.h>

#include <string>

#include "asn1/Buffer.h"
#include "net/HTTP.h"
#include "net/NetFixture.h"
#include "net/Transport.h"

namespace {

class Proxies : public WebServerTest {
protected:
    void SetUp() override {
        WebServerTest::SetUp();
        HTTP::setTimeout(10);
        HTTP::setProxy(nullptr, 0, nullptr, nullptr);
        Transport::clearSOCKS();
        crl = readFile(testData("net/crl_current.der"));
    }
    void TearDown() override {
        Transport::clearSOCKS();
        HTTP::setProxy(nullptr, 0, nullptr, nullptr);
        HTTP::setTimeout(-1);
    }
    std::string get(const std::string& target) {
        Buffer b;
        if (!HTTP::getDER(target.c_str(), &b)) return "";
        return std::string(reinterpret_cast<const char*>(b._getData()), b.getWritePos());
    }
    // The SOCKS proxy for every connection, the loopback included.
    void useSOCKS(const char* user, const char* password) {
        Transport::setSOCKSProxy("127.0.0.1", proxyPort, user, password);
        Transport::clearNoSOCKS();
    }
    bool startMicrosocks(bool withUser) {
        if (!ServerProcess::installed("microsocks")) return false;
        proxyPort = ServerProcess::freePort();
        std::vector<std::string> argv = {"microsocks", "-i", "127.0.0.1", "-p",
                                         std::to_string(proxyPort)};
        if (withUser) argv.insert(argv.end(), {"-u", "socksuser", "-P", "sockspass"});
        return proxy.startOnPort(argv, proxyPort);
    }

    std::string crl;
    ServerProcess proxy;
    unsigned short proxyPort = 0;
};

TEST_F(Proxies, SOCKSWithoutUser) {
    if (!ServerProcess::installed("microsocks")) {
        GTEST_SKIP() << "microsocks is not installed (scripts/install-deps.sh installs it)";
    }
    ASSERT_TRUE(startMicrosocks(false));
    useSOCKS(nullptr, nullptr);
    EXPECT_EQ(get(url("/crl/crl_current.der")), crl);
    // A proxy that asks for a user name is refused when none is set.
    proxy.stop();
    ASSERT_TRUE(startMicrosocks(true));
    useSOCKS(nullptr, nullptr);
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");
    // With the proxy gone, nothing passes, unless the network is on the no-SOCKS table.
    proxy.stop();
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");
    ASSERT_EQ(Transport::setNoSOCKS("127.0.0.0", "255.0.0.0"), 255);
    EXPECT_EQ(get(url("/crl/crl_current.der")), crl);
    EXPECT_EQ(countOf("/crl/crl_current.der"), 2);
}

TEST_F(Proxies, SOCKSWithUserAndPassword) {
    if (!ServerProcess::installed("microsocks")) {
        GTEST_SKIP() << "microsocks is not installed (scripts/install-deps.sh installs it)";
    }
    ASSERT_TRUE(startMicrosocks(true));
    useSOCKS("socksuser", "wrong");
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");
    useSOCKS("socksuser", "sockspass");
    EXPECT_EQ(get(url("/crl/crl_current.der")), crl);
    EXPECT_EQ(countOf("/crl/crl_current.der"), 1);
    // The local networks go around the proxy unless the table is emptied.
    proxy.stop();
    Transport::setSOCKSProxy("127.0.0.1", proxyPort, "socksuser", "sockspass");
    EXPECT_EQ(get(url("/crl/crl_current.der")), crl);
}

TEST_F(Proxies, HTTPProxyWithBasicAuthorization) {
    if (!ServerProcess::installed("tinyproxy")) {
        GTEST_SKIP() << "tinyproxy is not installed (scripts/install-deps.sh installs it)";
    }
    unsigned short port = ServerProcess::freePort();
    writeFile(dir + "/tinyproxy.conf", "User nobody\nGroup nogroup\nPort " + std::to_string(port) +
                                           "\nListen 127.0.0.1\nTimeout 20\nMaxClients 10\n"
                                           "Allow 127.0.0.1\nBasicAuth user secret\n"
                                           "DisableViaHeader Yes\n");
    ASSERT_TRUE(proxy.startOnPort({"tinyproxy", "-d", "-c", dir + "/tinyproxy.conf"}, port,
                                  dir + "/tinyproxy.log"));
    HTTP::setProxy("127.0.0.1", port, nullptr, nullptr);
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");  // 407 without credentials
    HTTP::setProxy("127.0.0.1", port, "user", "wrong");
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");
    HTTP::setProxy("127.0.0.1", port, "user", "secret");
    EXPECT_EQ(get(url("/crl/crl_current.der")), crl);
    EXPECT_EQ(get(url("/redirect/page/crl/crl_current.der")), crl);
    // The proxy asked the server in the origin form: the request went through it.
    EXPECT_EQ(countOf("/crl/crl_current.der"), 2);
    for (const std::string& line : requests()) {
        EXPECT_NE(line.find(" origin "), std::string::npos) << line;
    }
    proxy.stop();
    EXPECT_EQ(get(url("/crl/crl_current.der")), "");
}

}  // namespace
