// CACache: the process-wide tables, their set-up and clearing, the log and the results of the
// last CRL check.
#include "trust/CACache.h"

#include <cstring>
#include <mutex>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "pkix/Certificate.h"
#include "pkix/CopySteps.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/ReadSteps.h"

CACertEntry CACache::caCertList[kMaxCACertRows] = {};
int CACache::caCertListMax = 0;
Mutex* CACache::certMutex = nullptr;
Mutex* CACache::certFileMutex = nullptr;
std::shared_mutex CACache::certTableLock;

CRLCacheEntry CACache::crlCache[kMaxCRLRows] = {};
int CACache::crlCacheMax = 0;
std::atomic<unsigned char> CACache::crlCacheModified{0};
unsigned char CACache::downloadCRL = 2;
unsigned char CACache::timeStampCheck = 255;
int CACache::tcpTimeout = 60;
unsigned char CACache::sameIssuer = 0;
Mutex* CACache::crlMutex = nullptr;
Mutex* CACache::crlFileMutex = nullptr;
CACache::CRLFetcher CACache::crlFetcher;
CACache::CRLStamper CACache::crlStamper;

CACache::CACache(CryptoDevice* device, Semaphore* deviceSemaphore)
    : log(nullptr),
      cryptoDevice(device),
      semaphore(deviceSemaphore),
      buffer(new SecureBuffer(kBufferSize, device)),
      lastError(kNoError),
      reason(0),
      thisUpdate(nullptr),
      nextUpdate(nullptr),
      expiredCertsOnCRL(nullptr),
      revocationDate(nullptr),
      invalidSince(nullptr) {}

CACache::CACache(CryptoDevice* device) : CACache(device, nullptr) {}

CACache::~CACache() {
    resetReport();
    delete buffer;
    delete log;
}

// A second init (the front end runs one for each init of its own) must neither leak the rows
// of the first nor replace locks that other objects may be waiting on, so the rows are freed
// and the locks and semaphores are made only once.
void CACache::init() {
    if (certMutex == nullptr) certMutex = new Mutex();
    if (certFileMutex == nullptr) certFileMutex = new Mutex();
    if (crlMutex == nullptr) crlMutex = new Mutex();
    if (crlFileMutex == nullptr) crlFileMutex = new Mutex();
    {
        std::unique_lock<std::shared_mutex> table(certTableLock);
        for (CACertEntry& entry : caCertList) freeCACertRow(&entry);
        caCertListMax = 0;
    }
    for (CRLCacheEntry& entry : crlCache) {
        freeCRLRow(&entry);
        if (entry.semaphore == nullptr) entry.semaphore = new Semaphore(0, 1);
    }
    crlCacheMax = 0;
    crlCacheModified = 0;
}

void CACache::clean() {
    {
        MutexLock hold(*certMutex);
        clearCACertRows();
    }
    MutexLock hold(*crlMutex);
    // Each row is cleared under its semaphore, so that a thread that still reads a row's CRL
    // finishes before the CRL goes. Every row is visited, also those past the count, which a
    // damaged file may have filled.
    for (CRLCacheEntry& entry : crlCache) {
        entry.semaphore->wait();
        freeCRLRow(&entry);
        entry.semaphore->post();
    }
    crlCacheMax = 0;
}

void CACache::clearCACertRows() {
    std::unique_lock<std::shared_mutex> table(certTableLock);
    for (CACertEntry& entry : caCertList) freeCACertRow(&entry);
    caCertListMax = 0;
}

void CACache::freeCACertRow(CACertEntry* entry) {
    delete[] entry->uri;
    delete[] entry->subject;
    delete entry->certs;
    entry->uri = nullptr;
    entry->subject = nullptr;
    entry->certs = nullptr;
}

// Everything but the semaphore, which outlives the row's content.
void CACache::freeCRLRow(CRLCacheEntry* entry) {
    delete[] entry->uri;
    delete[] entry->issuer;
    delete[] entry->crl;
    delete entry->thisUpdate;
    delete entry->nextUpdate;
    delete entry->timeStamp;
    delete entry->expiredCertsOnCRL;
    Semaphore* keep = entry->semaphore;
    *entry = CRLCacheEntry();
    entry->semaphore = keep;
}

void CACache::enableLog(unsigned char level) {
    if (log == nullptr) log = new Logger(level);
    log->enableLog(static_cast<char>(level));
}

void CACache::disableLog() {
    delete log;
    log = nullptr;
}

void CACache::note(int level, unsigned int code, const char* text) {
    if (log != nullptr) log->print(level, code, "%s", text);
}

void CACache::noteCount(int level) {
    if (log != nullptr) {
        log->print(level, 4677, "Certificati di CA presenti nella lista: %d", getCACertListMax());
    }
}

void CACache::resetBuffer() {
    delete buffer;
    buffer = new SecureBuffer(kBufferSize, cryptoDevice);
}

void CACache::resetReport() {
    lastError = kNoError;
    reason = 0;
    delete thisUpdate;
    delete nextUpdate;
    delete expiredCertsOnCRL;
    thisUpdate = nullptr;
    nextUpdate = nullptr;
    expiredCertsOnCRL = nullptr;
    delete revocationDate;
    delete invalidSince;
    revocationDate = nullptr;
    invalidSince = nullptr;
}

using pkix::copyText;

X500Time* CACache::getThisUpdate() const {
    return pkix::cloneOf(thisUpdate);
}
X500Time* CACache::getNextUpdate() const {
    return pkix::cloneOf(nextUpdate);
}
X500Time* CACache::getExpiredCertsOnCRL() const {
    return pkix::cloneOf(expiredCertsOnCRL);
}
X500Time* CACache::getRevocationDate() const {
    return pkix::cloneOf(revocationDate);
}
X500Time* CACache::getInvalidSince() const {
    return pkix::cloneOf(invalidSince);
}

char* CACache::shortText(const Name* name) {
    if (name == nullptr) return nullptr;
    return name->getPrintableShortString(kNameLabelOIDs, kNameShortLabels, kNameLabelCount);
}

// ---- Inspection of the tables ----

int CACache::getCACertListMax() {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    return caCertListMax;
}

char* CACache::getRowURI(int row) {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    if (row < 0 || row >= caCertListMax) return nullptr;
    return copyText(caCertList[row].uri);
}

char* CACache::getRowSubject(int row) {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    if (row < 0 || row >= caCertListMax) return nullptr;
    return copyText(caCertList[row].subject);
}

int CACache::getRowCertCount(int row) {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    if (row < 0 || row >= caCertListMax) return -1;
    return caCertList[row].certs != nullptr ? caCertList[row].certs->getCount() : 0;
}

CertList* CACache::rowCertificates(int row) {
    std::shared_lock<std::shared_mutex> table(certTableLock);
    if (row < 0 || row >= caCertListMax || caCertList[row].certs == nullptr) return nullptr;
    return caCertList[row].certs->clone();
}

int CACache::getCRLCacheMax() {
    MutexLock hold(*crlMutex);
    return crlCacheMax;
}

unsigned char CACache::isCRLCacheModified() {
    return crlCacheModified;
}

void CACache::clearCRLCacheModified() {
    crlCacheModified = 0;
}

void CACache::setDownloadCRL(unsigned char mode) {
    downloadCRL = mode;
}

unsigned char CACache::getDownloadCRL() {
    return downloadCRL;
}

void CACache::setTimeStampCheck(unsigned char on) {
    timeStampCheck = on;
}

void CACache::setTimeout(int seconds) {
    tcpTimeout = seconds;
}

// A row is read under crlMutex (which fixes the count) and its own semaphore (which fixes its
// CRL); the same order as every other user of both.
namespace {

template <class F>
auto withCRLRow(Mutex* mutex, const int* max, CRLCacheEntry* row, int index, F f)
    -> decltype(f(row)) {
    MutexLock hold(*mutex);
    if (index < 0 || index >= *max) return decltype(f(row))();
    row->semaphore->wait();
    auto result = f(row);
    row->semaphore->post();
    return result;
}

}  // namespace

char* CACache::getCRLRowURI(int row) {
    if (row < 0 || row >= kMaxCRLRows) return nullptr;
    return withCRLRow(crlMutex, &crlCacheMax, &crlCache[row], row,
                      [](CRLCacheEntry* e) { return copyText(e->uri); });
}

char* CACache::getCRLRowIssuer(int row) {
    if (row < 0 || row >= kMaxCRLRows) return nullptr;
    return withCRLRow(crlMutex, &crlCacheMax, &crlCache[row], row,
                      [](CRLCacheEntry* e) { return copyText(e->issuer); });
}

unsigned char CACache::getCRLRowPosition(int row, int* caRow, int* caIndex) {
    if (row < 0 || row >= kMaxCRLRows) return 0;
    return withCRLRow(crlMutex, &crlCacheMax, &crlCache[row], row, [&](CRLCacheEntry* e) {
        *caRow = e->caRow;
        *caIndex = e->caIndex;
        return static_cast<unsigned char>(255);
    });
}

unsigned char* CACache::getCRLRowBody(int row, unsigned int* length) {
    *length = 0;
    if (row < 0 || row >= kMaxCRLRows) return nullptr;
    return withCRLRow(crlMutex, &crlCacheMax, &crlCache[row], row, [&](CRLCacheEntry* e) {
        if (e->crl == nullptr) return static_cast<unsigned char*>(nullptr);
        unsigned char* copy = new unsigned char[e->crlLength > 0 ? e->crlLength : 1];
        memcpy(copy, e->crl, e->crlLength);
        *length = e->crlLength;
        return copy;
    });
}

X500Time* CACache::getCRLRowTime(int row, int which) {
    if (row < 0 || row >= kMaxCRLRows || which < 0 || which > 3) return nullptr;
    return withCRLRow(crlMutex, &crlCacheMax, &crlCache[row], row, [which](CRLCacheEntry* e) {
        const X500Time* times[] = {e->thisUpdate, e->nextUpdate, e->expiredCertsOnCRL,
                                   e->timeStamp};
        return pkix::cloneOf(times[which]);
    });
}
