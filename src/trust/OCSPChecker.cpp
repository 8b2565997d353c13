#include "trust/OCSPChecker.h"

#include "asn1/X500Time.h"
#include "net/Logger.h"
#include "pkix/CopySteps.h"

OCSPChecker::OCSPChecker(CryptoDevice* device, Semaphore* deviceSemaphore)
    : log(nullptr),
      cryptoDevice(device),
      semaphore(deviceSemaphore),
      errCode(kNoError),
      reason(0),
      thisUpdate(nullptr),
      nextUpdate(nullptr),
      revocationDate(nullptr),
      invalidSince(nullptr) {}

OCSPChecker::~OCSPChecker() {
    resetReport();
    delete log;
}

void OCSPChecker::enableLog(unsigned char level) {
    if (log == nullptr) log = new Logger(level);
    log->enableLog(static_cast<char>(level));
}

void OCSPChecker::disableLog() {
    delete log;
    log = nullptr;
}

void OCSPChecker::resetReport() {
    errCode = kNoError;
    reason = 0;
    delete thisUpdate;
    delete nextUpdate;
    delete revocationDate;
    delete invalidSince;
    thisUpdate = nextUpdate = revocationDate = invalidSince = nullptr;
}

bool OCSPChecker::check(const char* uri, const Certificate*, const BigInteger&) {
    resetReport();
    errCode = kErrNoAnswer;
    if (log != nullptr) {
        log->print(7, 5215, "Servizio OCSP non disponibile in questa versione: %s",
                   uri != nullptr ? uri : "");
        log->print(3, 5214, "Impossibile accedere allo stato OCSP");
    }
    return false;
}

X500Time* OCSPChecker::getThisUpdate() const {
    return pkix::cloneOf(thisUpdate);
}
X500Time* OCSPChecker::getNextUpdate() const {
    return pkix::cloneOf(nextUpdate);
}
X500Time* OCSPChecker::getRevocationDate() const {
    return pkix::cloneOf(revocationDate);
}
X500Time* OCSPChecker::getInvalidSince() const {
    return pkix::cloneOf(invalidSince);
}
