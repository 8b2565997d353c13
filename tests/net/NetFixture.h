// The web server of tests/data/net/http_server.py for one test: a scratch document root with
// the CRLs of tests/data/net, the server's request log, and its port. The server ends by itself
// after two minutes, and is stopped by its process id when the test ends.
#ifndef SIGILO_TESTS_NET_NETFIXTURE_H
#define SIGILO_TESTS_NET_NETFIXTURE_H

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/ServerProcess.h"
#include "support/VecFile.h"

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
