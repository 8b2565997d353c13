#include "verify/TrustStore.h"

#include "frontend/Messages.h"
#include "net/Logger.h"

const char* const UnavailableTrustStore::kReason =
    "Lista dei certificati di CA e cache delle CRL non disponibili in questa versione";

UnavailableTrustStore::UnavailableTrustStore() = default;
UnavailableTrustStore::~UnavailableTrustStore() = default;

void UnavailableTrustStore::enableLog(unsigned char level) {
    if (!log) log.reset(new Logger(level));
    log->enableLog(static_cast<char>(level));
}

void UnavailableTrustStore::disableLog() {
    log.reset();
}

unsigned char UnavailableTrustStore::refuse(unsigned int code, const char* path) {
    if (log) {
        log->print(3, code, "%s", Messages::getText(code));
        log->print(3, "%s: %s", kReason, path != nullptr ? path : "");
    }
    return 0;
}

unsigned char UnavailableTrustStore::loadCACertList(const char* path) {
    return refuse(5150, path);
}
unsigned char UnavailableTrustStore::saveCACertList(const char* path) {
    return refuse(5153, path);
}
unsigned char UnavailableTrustStore::initCACertListPEM(const char* path) {
    return refuse(5192, path);
}
unsigned char UnavailableTrustStore::initCACertListTSL(const char* path) {
    return refuse(5192, path);
}
unsigned char UnavailableTrustStore::addCACertListPEM(const char* path) {
    return refuse(kErrAddCACert, path);
}
unsigned char UnavailableTrustStore::addCACertListTSL(const char* path) {
    return refuse(kErrAddCACert, path);
}
unsigned char UnavailableTrustStore::addCACert(const char* path) {
    return refuse(kErrAddCACert, path);
}
unsigned char UnavailableTrustStore::trustedCA(const unsigned char*, unsigned int) {
    if (log) log->print(3, "%s", kReason);
    return 0;
}
unsigned char UnavailableTrustStore::loadCRLCache(const char* path) {
    return refuse(5149, path);
}
unsigned char UnavailableTrustStore::saveCRLCache(const char* path) {
    return refuse(kErrCRLCacheSave, path);
}
unsigned char UnavailableTrustStore::updateCRLCache() {
    if (log) log->print(3, "%s", kReason);
    return 0;
}
