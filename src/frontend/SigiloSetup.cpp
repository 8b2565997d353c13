// The exported functions: the globals, init, and the switches.
#include <cctype>
#include <cstring>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "crypto/CryptoDevice.h"
#include "frontend/Engines.h"
#include "frontend/Globals.h"
#include "frontend/Sigilo.h"
#include "net/Logger.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"

namespace sigilo {

CryptoKi* cryptoKi = nullptr;
CryptoDevice* cryptoD = nullptr;
TrustStore* cache = nullptr;
DocVerifier* docVerifier = nullptr;
Buffer* buf = nullptr;
XMLFile* out = nullptr;
Logger* log = nullptr;
unsigned char logLevel = 0;

char caCertsListName[kPathSize] = "";
char crlCacheName[kPathSize] = "";
char reportFilename[kPathSize] = "";
unsigned char outputFormat = 0;

unsigned char loadedCACertList = 0;
unsigned char loadedCRLCache = 0;
unsigned char downloadCRL = 0;
unsigned char flat = 255;
unsigned char standAlone = 255;
unsigned char checkCRLPKCS7 = 255;
unsigned char checkCRLTS = 255;
unsigned char checkCACRL = 255;
unsigned char skipCertificateCheck = 0;
unsigned char skipSigningCertificateCheck = 255;
unsigned char skipAugust2010Check = 0;
unsigned char errorOnExpiredCRL = 255;
unsigned char checkJuly2011Constraint = 2;
unsigned char checkEncapsulatedSigs = 1;

void logUnavailable(const char* what) {
    if (log != nullptr) log->print(3, "Funzione non disponibile in questa versione: %s", what);
}

}  // namespace sigilo

using namespace sigilo;

namespace {

// The switches a new DocVerifier starts with. A second init makes a new engine, and the globals
// follow it, so that the report root never states a check the engine does not make.
void resetSwitches() {
    standAlone = 255;
    checkCRLPKCS7 = 255;
    checkCRLTS = 255;
    checkCACRL = 255;
    skipCertificateCheck = 0;
    skipSigningCertificateCheck = 255;
    skipAugust2010Check = 0;
    errorOnExpiredCRL = 255;
    checkJuly2011Constraint = 2;
    checkEncapsulatedSigs = 1;
}

bool copyPath(char* to, const std::string& from) {
    if (from.size() >= kPathSize) return false;
    memcpy(to, from.c_str(), from.size() + 1);
    return true;
}

}  // namespace

unsigned char init(const char* caCertsDir, const char* crlCacheDir, const char* logFile,
                   unsigned char mode) {
    reportFilename[0] = 0;
    downloadCRL = mode;
    Engines* engines = Engines::get();
    // The crypto facade and its token survive a second init.
    if (cryptoD == nullptr) cryptoD = engines->openCryptoDevice(&cryptoKi);
    X500Time::init();
    engines->initTrustStore(mode);
    DocVerifier::init();

    // A second init replaces the engine and the trust store. The old ones are freed; an open
    // report goes over to the new engine, and logging stays as it was set.
    TrustStore* newCache = engines->createTrustStore(cryptoD);
    DocVerifier* newVerifier = new DocVerifier(cryptoD, newCache);
    delete docVerifier;
    delete cache;
    cache = newCache;
    docVerifier = newVerifier;
    resetSwitches();
    loadedCACertList = 0;
    loadedCRLCache = 0;
    if (buf == nullptr) buf = new Buffer(kReportBufferSize);
    if (out != nullptr) docVerifier->setXMLOutput(out);
    if (log != nullptr) {
        cache->enableLog(logLevel);
        docVerifier->enableLog(logLevel);
    }

    Logger::init("Sigilo", 0, logFile != nullptr ? logFile : "", nullptr);

    // An empty directory is taken as none: "" + "/" would put the files at the root.
    std::string caPath = "./";
    if (caCertsDir != nullptr && *caCertsDir != 0) caPath = std::string(caCertsDir) + "/";
    std::string crlPath = caPath;
    if (crlCacheDir != nullptr && *crlCacheDir != 0) crlPath = std::string(crlCacheDir) + "/";
    caPath += "caCertsList";
    crlPath += "crlCache";
    // A path that does not fit is refused whole: a cut path would name some other file.
    if (!copyPath(caCertsListName, caPath) || !copyPath(crlCacheName, crlPath)) {
        caCertsListName[0] = 0;
        crlCacheName[0] = 0;
        return 0;
    }
    return 255;
}

unsigned char init(const char* caCertsDir, const char* logFile, unsigned char mode) {
    return init(caCertsDir, nullptr, logFile, mode);
}

unsigned char init(const char* caCertsDir, const char* logFile, unsigned char level,
                   unsigned char /*caCertMode*/, unsigned char crlMode, unsigned char crlTSTMode) {
    if (!init(caCertsDir, logFile, crlMode)) return 0;
    setCheckCRL(crlMode != 4);
    setCheckCRLTS(crlTSTMode != 4);
    setLogLevel(level);
    return 255;
}

// ---- Output ----

void setFlatOutput(unsigned char on) {
    flat = on;
}

void setOutput(const char* file) {
    // A name that does not fit is refused whole; the report then goes to standard output
    // rather than to a file of another name.
    if (file == nullptr || !copyPath(reportFilename, file)) reportFilename[0] = 0;
}

void setTDCOutput(const char* file) {
    setOutput(file);
}
void setHTMLOutput(const char* file) {
    setOutput(file);
}
void setXMLOutput(const char* file) {
    setOutput(file);
}

void setLogLevel(unsigned char level) {
    if (level == 255) {
        delete log;
        log = nullptr;
        if (cache != nullptr) cache->disableLog();
        if (docVerifier != nullptr) docVerifier->disableLog();
        return;
    }
    logLevel = level > 7 ? 7 : level;
    if (log == nullptr) log = new Logger(logLevel);
    log->setLevel(logLevel);
    if (cache != nullptr) cache->enableLog(logLevel);
    if (docVerifier != nullptr) docVerifier->enableLog(logLevel);
}

// ---- Switches ----

void setCheckCACertMode(unsigned char) {}

void setCheckCRL(bool on) {
    checkCRLPKCS7 = on ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckCRLPKCS7(checkCRLPKCS7);
}

void setCheckCRLMode(unsigned char mode) {
    setCheckCRL(mode != 4);
}

void setCheckCRLTS(bool on) {
    checkCRLTS = on ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckCRLTS(checkCRLTS);
}

void setCheckCRLTSTMode(unsigned char mode) {
    setCheckCRLTS(mode != 4);
}

void setCheckCACRL(bool on) {
    checkCACRL = on ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckCACRL(checkCACRL);
}

void setUseOCSP(bool on) {
    if (docVerifier != nullptr) docVerifier->setUseOCSP(on ? 255 : 0);
}

void forceBase64(bool on) {
    if (docVerifier != nullptr) docVerifier->forceBase64(on ? 255 : 0);
}

void skipCertificateValidityCheck(bool skip) {
    skipCertificateCheck = skip ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckCertificateValidity(skip ? 0 : 255);
}

void skipSigningCertificateAttrCheck(bool skip) {
    skipSigningCertificateCheck = skip ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckSigningCertificateAttr(skip ? 0 : 255);
}

void skipAugust2010ConstraintCheck(bool skip) {
    skipAugust2010Check = skip ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setCheckAugust2010Constraint(skip ? 0 : 255);
}

void setErrorOnExpiredCRL(bool on) {
    errorOnExpiredCRL = on ? 255 : 0;
    if (docVerifier != nullptr) docVerifier->setErrorOnExpiredCRL(errorOnExpiredCRL);
}

void setCheckJuly2011Constraint(unsigned char mode) {
    checkJuly2011Constraint = mode;
    if (docVerifier != nullptr) docVerifier->setCheckJuly2011Constraint(mode);
}

void skipJuly2011ConstraintCheck(bool skip) {
    if (skip) setCheckJuly2011Constraint(0);
}

void setCheckEncapsulatedSigs(unsigned char mode) {
    checkEncapsulatedSigs = mode;
    if (docVerifier != nullptr) docVerifier->setCheckEncapSigs(mode);
}

// ---- Network ----

unsigned char setHTTPProxy(const char* host, int port, const char* user, const char* password) {
    if (Engines::get()->setHTTPProxy(host, port, user, password)) return 255;
    logUnavailable("proxy HTTP");
    return 0;
}

unsigned char setSOCKSProxy(const char* host, int port, const char* user, const char* password) {
    if (Engines::get()->setSOCKSProxy(host, static_cast<unsigned short>(port), user, password)) {
        return 255;
    }
    logUnavailable("proxy SOCKS");
    return 0;
}

unsigned char setNoSOCKS(char** list) {
    if (list == nullptr || list[0] == nullptr) return 255;
    unsigned char result = 255;
    for (int i = 0; list[i] != nullptr; ++i) {
        char* item = list[i];
        char* slash = strchr(item, '/');
        // An item without its mask names no network; it is skipped rather than guessed at.
        if (slash == nullptr) {
            result = 0;
            continue;
        }
        char* end = slash;
        while (end > item && (end[-1] == ' ' || end[-1] == '\t')) --end;
        *end = 0;
        char* mask = slash + 1;
        while (*mask == ' ' || *mask == '\t') ++mask;
        char* maskEnd = mask;
        while (*maskEnd != 0 && *maskEnd != ' ' && *maskEnd != '\t') ++maskEnd;
        *maskEnd = 0;
        char* address = item;
        while (*address == ' ' || *address == '\t') ++address;
        if (!Engines::get()->setNoSOCKS(address, mask)) {
            logUnavailable("elenco delle reti senza SOCKS");
            result = 0;
        }
    }
    return result;
}

unsigned char setTCPTimeout(int seconds) {
    if (Engines::get()->setTCPTimeout(seconds)) return 255;
    logUnavailable("time-out TCP");
    return 0;
}

unsigned char setOCSPTimeout(int seconds) {
    if (Engines::get()->setOCSPTimeout(seconds)) return 255;
    logUnavailable("time-out OCSP");
    return 0;
}

unsigned char setTimeStampCheck(bool on) {
    if (Engines::get()->setTimeStampCheck(on ? 255 : 0)) return 255;
    logUnavailable("controllo della data delle CRL");
    return 0;
}

void setServer(const char* name, int port) {
    if (docVerifier == nullptr) return;
    // An empty name names no server: it is stand-alone mode, for the report as for the engine.
    if (name != nullptr && *name != 0) {
        standAlone = 0;
        docVerifier->setServerName(name);
        docVerifier->setServerPort(static_cast<unsigned short>(port));
    } else {
        standAlone = 255;
        docVerifier->setServerName(nullptr);
    }
}

unsigned char setVerificationTime(const char* text) {
    if (docVerifier == nullptr) return 0;
    if (text == nullptr) return docVerifier->setVerificationTime(nullptr);
    X500Time time;
    // A text that does not parse leaves the failure values in the time; the engine refuses
    // them (and logs 5226) rather than judge at a date nobody asked for.
    time.setUTCValue(text);
    return docVerifier->setVerificationTime(&time);
}
