// Recording stand-ins for the engines the front end reaches through Engines, so that the tests
// can see which calls the exported functions make, in which order and with which arguments.
#ifndef SIGILO_TESTS_FRONTEND_FAKES_H
#define SIGILO_TESTS_FRONTEND_FAKES_H

#include <string>
#include <vector>

#include "crypto/CryptoDevice.h"
#include "frontend/Engines.h"
#include "verify/TrustStore.h"

struct CallLog {
    std::vector<std::string> calls;
    void add(const std::string& call) { calls.push_back(call); }
    std::string joined() const {
        std::string s;
        for (const std::string& c : calls) s += (s.empty() ? "" : " ") + c;
        return s;
    }
};

class FakeTrustStore : public TrustStore {
public:
    explicit FakeTrustStore(CallLog* log) : calls(log) {}
    void enableLog(unsigned char level) override { calls->add("enableLog:" + std::to_string(level)); }
    void disableLog() override { calls->add("disableLog"); }
    void clean() override { calls->add("clean"); }
    unsigned char loadCACertList(const char* p) override { return note("loadCA", p, loadCA); }
    unsigned char saveCACertList(const char* p) override { return note("saveCA", p, saveCA); }
    unsigned char initCACertListPEM(const char* p) override { return note("initPEM", p, init); }
    unsigned char initCACertListTSL(const char* p) override { return note("initTSL", p, init); }
    unsigned char addCACertListPEM(const char* p) override { return note("addPEM", p, add); }
    unsigned char addCACertListTSL(const char* p) override { return note("addTSL", p, add); }
    unsigned char addCACert(const char* p) override { return note("addCert", p, add); }
    unsigned char trustedCA(const unsigned char*, unsigned int n) override {
        return note("trusted", std::to_string(n).c_str(), 255);
    }
    unsigned char loadCRLCache(const char* p) override { return note("loadCRL", p, loadCRL); }
    unsigned char saveCRLCache(const char* p) override { return note("saveCRL", p, saveCRL); }
    unsigned char updateCRLCache() override { return note("update", "", update); }
    unsigned char isCRLCacheModified() override { return modified; }
    void clearCRLCacheModified() override {
        calls->add("clearModified");
        modified = 0;
    }

    // What the next calls answer.
    unsigned char loadCA = 255, saveCA = 255, init = 255, add = 255, loadCRL = 255,
                  saveCRL = 255, update = 255, modified = 0;

private:
    unsigned char note(const char* what, const char* path, unsigned char result) {
        calls->add(std::string(what) + (path != nullptr && *path ? ":" + std::string(path) : ""));
        return result;
    }
    CallLog* calls;
};

// Engines that take every setting and hand out the fake store.
class FakeEngines : public Engines {
public:
    CryptoDevice* openCryptoDevice(CryptoKi** ki) override {
        calls.add("openCrypto");
        return Engines::openCryptoDevice(ki);
    }
    void initTrustStore(unsigned char mode) override {
        calls.add("initTrust:" + std::to_string(mode));
    }
    TrustStore* createTrustStore(CryptoDevice*) override {
        store = new FakeTrustStore(&calls);
        return store;
    }
    unsigned char setTCPTimeout(int s) override { return take("tcp:" + std::to_string(s)); }
    unsigned char setOCSPTimeout(int s) override { return take("ocsp:" + std::to_string(s)); }
    unsigned char setTimeStampCheck(unsigned char on) override {
        return take("tscheck:" + std::to_string(on));
    }
    unsigned char setHTTPProxy(const char* h, int p, const char* u, const char* w) override {
        return take(std::string("http:") + h + ":" + std::to_string(p) + ":" + (u ? u : "-") +
                    ":" + (w ? w : "-"));
    }
    unsigned char setSOCKSProxy(const char* h, unsigned short p, const char*,
                                const char*) override {
        return take(std::string("socks:") + h + ":" + std::to_string(p));
    }
    unsigned char setNoSOCKS(const char* a, const char* m) override {
        return take(std::string("nosocks:[") + a + "][" + m + "]");
    }

    CallLog calls;
    FakeTrustStore* store = nullptr;

private:
    unsigned char take(const std::string& call) {
        calls.add(call);
        return 255;
    }
};

#endif
