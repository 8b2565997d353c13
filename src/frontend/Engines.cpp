#include "frontend/Engines.h"

#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "net/HTTP.h"
#include "net/HTTPS.h"
#include "net/Transport.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"
#include "trust/ServerInterface.h"
#include "trust/OCSPChecker.h"
#include "verify/TrustStore.h"

namespace {

Engines standIns;
Engines* current = &standIns;

}  // namespace

// The built-in token, its function table, and the facade opened on the virtual slot 0, which
// needs no login. A token that does not open leaves a facade whose every operation fails.
CryptoDevice* Engines::openCryptoDevice(CryptoKi** cryptoKi) {
    CryptoKi* table = new CryptoKi();
    CryptoDevice* device = new CryptoDevice(table);
    device->openToken(0, nullptr, 0);
    *cryptoKi = table;
    return device;
}

void Engines::initTrustStore(unsigned char downloadCRL) {
    CACache::init();
    CACache::setDownloadCRL(downloadCRL);
}

TrustStore* Engines::createTrustStore(CryptoDevice* device) {
    return new LocalTrustStore(device);
}

// The CRL retrieval, its clients and the verification server take the network settings, and
// the OCSP checker its own time-out.
unsigned char Engines::setTCPTimeout(int seconds) {
    CACache::setTimeout(seconds);
    ServerInterface::setTimeout(seconds);
    return 255;
}
unsigned char Engines::setOCSPTimeout(int seconds) {
    OCSPChecker::setTimeout(seconds);
    return 255;
}
unsigned char Engines::setTimeStampCheck(unsigned char on) {
    CACache::setTimeStampCheck(on);
    return 255;
}
unsigned char Engines::setHTTPProxy(const char* host, int port, const char* user,
                                    const char* password) {
    HTTP::setProxy(host, port, user, password);
    HTTPS::setProxy(host, port, user, password);
    return 255;
}
unsigned char Engines::setSOCKSProxy(const char* host, unsigned short port, const char* user,
                                     const char* password) {
    Transport::setSOCKSProxy(host, port, user, password);
    return 255;
}
unsigned char Engines::setNoSOCKS(const char* address, const char* mask) {
    return Transport::setNoSOCKS(address, mask);
}

Engines* Engines::get() {
    return current;
}

void Engines::set(Engines* engines) {
    current = engines != nullptr ? engines : &standIns;
}
