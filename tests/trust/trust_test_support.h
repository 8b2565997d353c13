// What the trust-store tests share: the PKI of tests/data/trust (gen_trust_data.py), a crypto
// device over the built-in token, a fresh table for every test, and the log lines of the store
// with their level and code.
#ifndef SIGILO_TESTS_TRUST_SUPPORT_H
#define SIGILO_TESTS_TRUST_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "asn1/SecureBuffer.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "net/Logger.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "support/VecFile.h"
#include "trust/CACache.h"

inline std::string trustData(const std::string& name) {
    return testData("trust/" + name);
}

inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A new[] text into a string; null gives "(null)", which no real value spells.
inline std::string text(char* owned) {
    std::string s = owned != nullptr ? owned : "(null)";
    delete[] owned;
    return s;
}

inline const std::vector<VecCase>& trustCases() {
    static const std::vector<VecCase> all = readVecFile(trustData("trust.vec"));
    return all;
}

inline const VecCase& pkiCase(const std::string& name) {
    for (const VecCase& c : trustCases()) {
        if (c.kind == "cert" && c.get("name") == name) return c;
    }
    ADD_FAILURE() << "no certificate " << name << " in trust.vec";
    static VecCase none;
    return none;
}

// A certificate of the PKI, read through a SecureBuffer as the store reads it.
inline std::unique_ptr<Certificate> pkiCertificate(const std::string& name) {
    std::string der = fileBytes(trustData(pkiCase(name).get("file")));
    SecureBuffer in(nullptr);
    in.fromByteArray(reinterpret_cast<const unsigned char*>(der.data()),
                     static_cast<unsigned int>(der.size()));
    std::unique_ptr<Certificate> certificate(new Certificate());
    EXPECT_TRUE(certificate->unwrapASN1(&in)) << name;
    return certificate;
}

inline std::unique_ptr<Name> nameOf(const std::string& text) {
    return std::unique_ptr<Name>(
        new Name(text.c_str(), 12, kNameLabelOIDs, kNameShortLabels, kNameLabelCount));
}

// A copy of the certificate with another subject. Its signature no longer holds, which the table
// does not look at.
inline std::unique_ptr<Certificate> withSubject(const Certificate& certificate,
                                                const std::string& subject) {
    std::unique_ptr<CertificateInfo> info(certificate.getCertInfo());
    info->setSubject(nameOf(subject).get());
    std::unique_ptr<Certificate> copy(certificate.clone());
    copy->setCertInfo(info.get());
    return copy;
}

// Log lines as the syslog sink receives them: level, then "Word CODE text".
struct LogLine {
    int level;
    std::string line;
};

inline std::vector<LogLine>& capturedLog() {
    static std::vector<LogLine> lines;
    return lines;
}

inline void captureLine(int priority, const char* line) {
    capturedLog().push_back(LogLine{priority, line});
}

class TrustTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (device == nullptr) {
            ki = new CryptoKi();
            device = new CryptoDevice(ki);
            ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
        }
    }

    void SetUp() override {
        CACache::init();
        CACache::setDownloadCRL(2);
        cache.reset(new CACache(device));
        dir = ::testing::TempDir() + "/trust_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "_" +
              ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::string command = "rm -rf '" + dir + "'";
        ASSERT_EQ(system(command.c_str()), 0);
        ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
        capturedLog().clear();
    }

    void TearDown() override {
        cache.reset();
        Logger::_setSyslogSink(nullptr);
    }

    // The store's lines, with their codes, into capturedLog().
    void startLog() {
        Logger::init("Sigilo", 0, "", nullptr);
        Logger::_setSyslogSink(captureLine);
        cache->enableLog(7);
    }

    // Whether a line of that level and code, with that text, was logged.
    static bool logged(int level, unsigned int code, const std::string& text) {
        char head[32];
        snprintf(head, sizeof head, " %.8X ", code);
        for (const LogLine& l : capturedLog()) {
            if (l.level == level && l.line.find(head) != std::string::npos &&
                l.line.size() >= text.size() &&
                l.line.compare(l.line.size() - text.size(), text.size(), text) == 0) {
                return true;
            }
        }
        return false;
    }

    static bool loggedCode(unsigned int code) {
        char head[32];
        snprintf(head, sizeof head, " %.8X ", code);
        for (const LogLine& l : capturedLog()) {
            if (l.line.find(head) != std::string::npos) return true;
        }
        return false;
    }

    // The rows of the table as "uri|subject|count" lines.
    static std::vector<std::string> rows() {
        std::vector<std::string> out;
        for (int i = 0; i < CACache::getCACertListMax(); ++i) {
            out.push_back(text(CACache::getRowURI(i)) + "|" + text(CACache::getRowSubject(i)) +
                          "|" + std::to_string(CACache::getRowCertCount(i)));
        }
        return out;
    }

    static std::string subjectOf(const std::string& name) { return pkiCase(name).get("subject"); }

    static CryptoKi* ki;
    static CryptoDevice* device;
    std::unique_ptr<CACache> cache;
    std::string dir;
};

inline CryptoKi* TrustTest::ki = nullptr;
inline CryptoDevice* TrustTest::device = nullptr;

#endif
