// LocalTrustStore: the trust store of a library that verifies by itself, that is the CACache
// with its CA list and CRL cache, behind the interface the front end and the engine use.
#ifndef SIGILO_TRUST_LOCALTRUSTSTORE_H
#define SIGILO_TRUST_LOCALTRUSTSTORE_H

#include "trust/CACache.h"
#include "verify/TrustStore.h"

class CryptoDevice;

class LocalTrustStore : public TrustStore {
public:
    // CACache::init must have run.
    explicit LocalTrustStore(CryptoDevice* device);
    ~LocalTrustStore() override;

    void enableLog(unsigned char level) override { cache.enableLog(level); }
    void disableLog() override { cache.disableLog(); }
    void clean() override { cache.clean(); }
    unsigned char loadCACertList(const char* path) override { return cache.loadCACertList(path); }
    unsigned char saveCACertList(const char* path) override { return cache.saveCACertList(path); }
    unsigned char initCACertListPEM(const char* path) override {
        return cache.initCACertListPEM(path);
    }
    unsigned char initCACertListTSL(const char* path) override {
        return cache.initCACertListTSL(path);
    }
    unsigned char addCACertListPEM(const char* path) override {
        return cache.addCACertListPEM(path);
    }
    unsigned char addCACertListTSL(const char* path) override {
        return cache.addCACertListTSL(path);
    }
    unsigned char addCACert(const char* path) override { return cache.addCACert(path); }
    unsigned char holdsCACert(const char* path) override { return cache.holdsCACert(path); }
    unsigned char removeCACert(const char* path) override { return cache.removeCACert(path); }
    unsigned char trustedCA(const unsigned char* der, unsigned int length) override {
        return cache.trustedCA(der, length);
    }
    unsigned char loadCRLCache(const char* path) override { return cache.loadCRLCache(path); }
    unsigned char saveCRLCache(const char* path) override { return cache.saveCRLCache(path); }
    unsigned char updateCRLCache() override { return cache.updateCRLCache(); }
    unsigned char isCRLCacheModified() override { return CACache::isCRLCacheModified(); }
    void clearCRLCacheModified() override { CACache::clearCRLCacheModified(); }

    // The store itself, for the engine's certificate checks.
    CACache* getCACache() { return &cache; }
    CACache* _getCACache() override { return &cache; }

private:
    CACache cache;
};

#endif
