// Engines: where the exported functions reach the engines that later work supplies, so that the
// front end can be complete before they are.
//
// The front end asks this object for the crypto facade at start-up, for the trust store, and
// hands it the network settings (time-outs, proxies, the no-SOCKS list) that belong to the CRL,
// OCSP and server clients. The base class gives the crypto facade over the built-in token and
// the local trust store (CACache), hands the CRL retrieval's settings to its clients (CACache,
// HTTP, Transport) and the OCSP time-out to the OCSP checker. A build with other engines installs a
// subclass with set() before init; the front end logs each refusal, so nothing fails unnoticed.
#ifndef SIGILO_FRONTEND_ENGINES_H
#define SIGILO_FRONTEND_ENGINES_H

class CryptoDevice;
class CryptoKi;
class TrustStore;

class Engines {
public:
    Engines() = default;
    virtual ~Engines() = default;

    Engines(const Engines&) = delete;
    Engines& operator=(const Engines&) = delete;

    // The PKCS#11 table over the built-in token, the facade over it, and the token of slot 0
    // opened. The table goes to *cryptoKi (the caller owns both and keeps the table as long as
    // the facade); the facade is the result.
    virtual CryptoDevice* openCryptoDevice(CryptoKi** cryptoKi);
    // Process-wide set-up of the trust store, and its CRL retrieval mode.
    virtual void initTrustStore(unsigned char downloadCRL);
    virtual TrustStore* createTrustStore(CryptoDevice* device);

    // Each 255 when the engine took the setting.
    // Seconds for the CRL retrieval and the verification server.
    virtual unsigned char setTCPTimeout(int seconds);
    virtual unsigned char setOCSPTimeout(int seconds);
    // Whether CRL retrieval asks for the remote time stamp of a CRL.
    virtual unsigned char setTimeStampCheck(unsigned char on);
    // A null host turns the proxy off.
    virtual unsigned char setHTTPProxy(const char* host, int port, const char* user,
                                       const char* password);
    virtual unsigned char setSOCKSProxy(const char* host, unsigned short port, const char* user,
                                        const char* password);
    // One network that is reached without the SOCKS proxy, as dotted address and mask.
    virtual unsigned char setNoSOCKS(const char* address, const char* mask);

    // The engines in use; never null. set(null) brings back the stand-ins. The object given is
    // not owned and must outlive its use.
    static Engines* get();
    static void set(Engines* engines);
};

#endif
