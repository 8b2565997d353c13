// The exported functions: the CA list and the CRL cache.
#include <climits>

#include "frontend/Globals.h"
#include "frontend/Messages.h"
#include "frontend/Report.h"
#include "frontend/Sigilo.h"
#include "frontend/TrustListCheck.h"
#include "net/Logger.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

using namespace sigilo;

namespace {

void ensureCACertList() {
    if (!loadedCACertList) loadedCACertList = cache->loadCACertList(caCertsListName);
}

void logCode(unsigned int code) {
    if (log != nullptr) log->print(3, code, "%s", Messages::getText(code));
}

// The three ways of adding to the list share their frame: nothing to do in server mode, the
// list loaded first, and one log line on failure.
template <class Add>
unsigned char addToList(Add add) {
    if (cache == nullptr) return 0;
    if (!standAlone) return 255;
    ensureCACertList();
    if (add()) return 255;
    logCode(kErrAddCACert);
    return 0;
}

}  // namespace

unsigned char trustedCA(const unsigned char* cert, unsigned long length) {
    if (cache == nullptr || cert == nullptr || length > UINT_MAX) return 0;
    ensureCACertList();
    return cache->trustedCA(cert, static_cast<unsigned int>(length));
}

unsigned char importCACertsListPEM(const char* file) {
    if (cache == nullptr) return 0;
    // The list is emptied first, so a failed import leaves it empty rather than half old.
    cache->clean();
    loadedCACertList = cache->initCACertListPEM(file);
    if (!loadedCACertList) return 0;
    return cache->saveCACertList(caCertsListName);
}

unsigned char importCACertsList(const char* file) {
    return importCACertsListPEM(file);
}

unsigned char importCACertsCache(const char* file) {
    return importCACertsListPEM(file);
}

unsigned char importCACertsListTSL(const char* tslFile, const char* signerCert) {
    if (cache == nullptr || docVerifier == nullptr || signerCert == nullptr) return 0;
    // The signer is trusted only for the check of the list's own signature: a list that is
    // refused must not leave it behind, or documents under it would verify in this process.
    bool signerWasTrusted = standAlone && cache->holdsCACert(signerCert);
    addCACert(signerCert);
    auto refuse = [&]() -> unsigned char {
        if (standAlone && !signerWasTrusted) cache->removeCACert(signerCert);
        return 0;
    };
    // The trust list is verified as an ordinary document, in a report of its own that is then
    // thrown away. A report the caller is collecting is set aside meanwhile, not lost.
    XMLFile* callersReport = out;
    out = nullptr;
    docVerifier->setXMLOutput(nullptr);
    // Only an XML signature that the engine judged and found clean lets the list in: a list that
    // could not be read or classified leaves the result code as it was, which may well be
    // NoError from an earlier file, so the type and the driver's result are asked too.
    bool isXML = docVerifier->guessInputType(tslFile) == InputXML;
    unsigned char handled = verifyDocuments(tslFile, nullptr, false);
    // The result code tells of the last signer only; the report tells of every one.
    bool allGood = out != nullptr && Report::allVerdictsOK(out);
    // The list must be signed by the certificate named, not merely by one that chains to a CA
    // already trusted; and what the import reads must be what that signature covers.
    bool bySigner = out != nullptr && trustlist::signedBy(out, signerCert);
    deleteResults();
    out = callersReport;
    docVerifier->setXMLOutput(out);
    if (!isXML || !handled || !allGood || !bySigner || getErrorCode() != NoError ||
        !trustlist::providersOutsideSignatures(tslFile)) {
        return refuse();
    }

    cache->clean();
    loadedCACertList = cache->initCACertListTSL(tslFile);
    if (!loadedCACertList) return 0;
    return cache->saveCACertList(caCertsListName);
}

unsigned char addCACertsPEM(const char* file) {
    return addToList([file] { return cache->addCACertListPEM(file); });
}

unsigned char addCACertsTSL(const char* file) {
    return addToList([file] { return cache->addCACertListTSL(file); });
}

unsigned char addCACert(const char* file) {
    return addToList([file] { return cache->addCACert(file); });
}

unsigned char updateCRLCache() {
    if (cache == nullptr) return 0;
    if (!standAlone) return 255;
    ensureCACertList();
    if (!loadedCRLCache && (checkCRLPKCS7 || checkCRLTS || checkCACRL) && downloadCRL != 3) {
        loadedCRLCache = cache->loadCRLCache(crlCacheName);
    }
    if (!cache->updateCRLCache()) {
        logCode(kErrCRLCacheUpdate);
        return 0;
    }
    if (cache->isCRLCacheModified()) {
        if (!cache->saveCRLCache(crlCacheName)) {
            logCode(kErrCRLCacheSave);
            return 0;
        }
        cache->clearCRLCacheModified();
    }
    return 255;
}
