#include "frontend/Engines.h"

#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "trust/CACache.h"
#include "trust/LocalTrustStore.h"
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

unsigned char Engines::setTCPTimeout(int) {
    return 0;
}
unsigned char Engines::setOCSPTimeout(int) {
    return 0;
}
unsigned char Engines::setTimeStampCheck(unsigned char) {
    return 0;
}
unsigned char Engines::setHTTPProxy(const char*, int, const char*, const char*) {
    return 0;
}
unsigned char Engines::setSOCKSProxy(const char*, unsigned short, const char*, const char*) {
    return 0;
}
unsigned char Engines::setNoSOCKS(const char*, const char*) {
    return 0;
}

Engines* Engines::get() {
    return current;
}

void Engines::set(Engines* engines) {
    current = engines != nullptr ? engines : &standIns;
}
