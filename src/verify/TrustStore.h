// TrustStore: what the verification engine and the exported functions ask of the trust store,
// that is the list of trusted CA certificates and the CRL cache with their two files.
//
// The store itself (CACache) comes with the trust work. Until it is wired in, the library runs
// on UnavailableTrustStore, which refuses every request and logs why: a missing trust store must
// never pass for a working one that happens to be empty. Results are 255 for success and 0 for
// failure.
#ifndef SIGILO_VERIFY_TRUSTSTORE_H
#define SIGILO_VERIFY_TRUSTSTORE_H

#include <memory>

class CACache;
class Logger;

class TrustStore {
public:
    virtual ~TrustStore() = default;

    virtual void enableLog(unsigned char level) = 0;
    virtual void disableLog() = 0;

    // Empties the CA list and the CRL cache in memory.
    virtual void clean() = 0;
    // The caCertsList file.
    virtual unsigned char loadCACertList(const char* path) = 0;
    virtual unsigned char saveCACertList(const char* path) = 0;
    // Replace the list (init forms) or add to it, from concatenated PEM blocks or a trust list.
    virtual unsigned char initCACertListPEM(const char* path) = 0;
    virtual unsigned char initCACertListTSL(const char* path) = 0;
    virtual unsigned char addCACertListPEM(const char* path) = 0;
    virtual unsigned char addCACertListTSL(const char* path) = 0;
    // One certificate, DER or PEM.
    virtual unsigned char addCACert(const char* path) = 0;
    // Whether exactly this certificate stands in the list, and its removal again (undoing an
    // addCACert that turned out not to be wanted).
    virtual unsigned char holdsCACert(const char* /*path*/) { return 0; }
    virtual unsigned char removeCACert(const char* /*path*/) { return 0; }
    // Whether the issuer of the DER certificate is in the list.
    virtual unsigned char trustedCA(const unsigned char* der, unsigned int length) = 0;

    // The crlCache file, and the refresh of every CRL in it.
    virtual unsigned char loadCRLCache(const char* path) = 0;
    virtual unsigned char saveCRLCache(const char* path) = 0;
    virtual unsigned char updateCRLCache() = 0;
    virtual unsigned char isCRLCacheModified() = 0;
    virtual void clearCRLCacheModified() = 0;

    // The store the certificate verifier works on; null when there is none, and then no
    // certificate can be judged good.
    virtual CACache* _getCACache() { return nullptr; }
};

// The stand-in: every operation fails and says so in the log, with the code the real store
// uses for the same failure.
class UnavailableTrustStore : public TrustStore {
public:
    UnavailableTrustStore();
    ~UnavailableTrustStore() override;

    void enableLog(unsigned char level) override;
    void disableLog() override;
    void clean() override {}
    unsigned char loadCACertList(const char* path) override;
    unsigned char saveCACertList(const char* path) override;
    unsigned char initCACertListPEM(const char* path) override;
    unsigned char initCACertListTSL(const char* path) override;
    unsigned char addCACertListPEM(const char* path) override;
    unsigned char addCACertListTSL(const char* path) override;
    unsigned char addCACert(const char* path) override;
    unsigned char trustedCA(const unsigned char* der, unsigned int length) override;
    unsigned char loadCRLCache(const char* path) override;
    unsigned char saveCRLCache(const char* path) override;
    unsigned char updateCRLCache() override;
    unsigned char isCRLCacheModified() override { return 0; }
    void clearCRLCacheModified() override {}

    // The log line that tells why every request fails.
    static const char* const kReason;

private:
    unsigned char refuse(unsigned int code, const char* path);

    std::unique_ptr<Logger> log;
};

#endif
