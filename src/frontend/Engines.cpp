#include "frontend/Engines.h"

#include "crypto/CryptoDevice.h"
#include "verify/TrustStore.h"

namespace {

Engines standIns;
Engines* current = &standIns;

}  // namespace

CryptoDevice* Engines::openCryptoDevice(CryptoKi** cryptoKi) {
    if (cryptoKi != nullptr) *cryptoKi = nullptr;
    return new CryptoDevice();
}

void Engines::initTrustStore(unsigned char) {}

TrustStore* Engines::createTrustStore(CryptoDevice*) {
    return new UnavailableTrustStore();
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
