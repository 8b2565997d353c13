// CACache: fetching CRLs into the table, through the network or a transport plugged in
// (setCRLTransport); what arrives is read as a CRL, judged by isCRLOk, and kept only if it is
// newer than the row's.
#include <strings.h>

#include <cstring>
#include <memory>

#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "net/SystemClock.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateList.h"
#include "pkix/CertificateListInfo.h"
#include "pkix/DistributionPoint.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "pkix/IssuingDistPointSyntax.h"
#include "pkix/ReadSteps.h"
#include "trust/CACache.h"
#include "trust/TrustSteps.h"

using trust::Text;

namespace {

const char kIssuingDistributionPoint[] = "2.5.29.28";
const char kCRLDistributionPoints[] = "2.5.29.31";

}  // namespace

void CACache::setCRLTransport(CRLFetcher fetcher, CRLStamper stamper) {
    crlFetcher = std::move(fetcher);
    crlStamper = std::move(stamper);
}

// The test of mode 2: the CRL is due (nextUpdate now or earlier, or unknown), or the server
// holds one stamped later than ours. A stamp the server does not give decides nothing.
bool CACache::isStale(int row, const char* uri) {
    // Mode 4 uses no network at all, not even to ask for a date.
    if (downloadCRL == 4) return false;
    const CRLCacheEntry& entry = crlCache[row];
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    if (entry.nextUpdate == nullptr || *entry.nextUpdate <= *now) return true;
    if (!timeStampCheck) return false;
    // A plugged fetcher without a stamper gives no stamps; with neither, the network does.
    std::unique_ptr<X500Time> remote(crlStamper   ? crlStamper(uri)
                                     : crlFetcher ? nullptr
                                                  : getTimeStamp(uri));
    return remote != nullptr && (entry.timeStamp == nullptr || *remote > *entry.timeStamp);
}

void CACache::storeCRL(int row, const unsigned char* der, unsigned int length,
                       const CertificateListInfo* info, X500Time* timeStamp) {
    CRLCacheEntry& entry = crlCache[row];
    // The comparison below must be with a CRL that was proved, not with dates a damaged file
    // may carry.
    checkStoredRow(row);
    if (entry.crl != nullptr && entry.thisUpdate != nullptr &&
        !(*info->_getThisUpdate() > *entry.thisUpdate)) {
        delete timeStamp;
        return;
    }
    note(6, entry.crl != nullptr ? 4638 : 4637,
         entry.crl != nullptr ? "Aggiornata CRL nella cache" : "Inserita nuova CRL nella cache");
    delete[] entry.crl;
    entry.crl = pkix::copyBytes(der, length);
    entry.crlLength = length;
    entry.checked = 255;
    delete entry.timeStamp;
    entry.timeStamp = timeStamp != nullptr ? timeStamp : new X500Time();
    setRowFromCRL(&entry, info);
    crlCacheModified = 255;
}

unsigned char CACache::doRetrieveCRL(const char* uri, int row) {
    if (uri == nullptr || row < 0 || row >= kMaxCRLRows) return 0;
    if (log != nullptr) log->print(5, 4712, "CRL: %s", uri);
    // The CRL is read through a SecureBuffer so that its digest comes from the bytes as they
    // arrived.
    SecureBuffer der(kBufferSize, cryptoDevice);
    X500Time* stamp = nullptr;
    if (!(crlFetcher ? crlFetcher(uri, &der, &stamp) : fetchCRL(uri, &der, &stamp))) {
        delete stamp;
        return 0;
    }
    std::unique_ptr<X500Time> timeStamp(stamp);
    CertificateList crl;
    unsigned int from = der.getReadPos();
    if (!crl.unwrapASN1(&der)) return 0;
    unsigned int to = der.getReadPos();
    std::unique_ptr<CertificateListInfo> info(crl._detachCertListInfo());
    int caRow = -1, caIndex = -1;
    if (!isCRLOk(&crl, info.get(), &caRow, &caIndex)) return 0;
    crlCache[row].caRow = caRow;
    crlCache[row].caIndex = caIndex;
    // The row keeps the signed CRL as it came, so that it can be proved again after a reload.
    storeCRL(row, der._getData() + from, to - from, info.get(), timeStamp.release());
    return 255;
}

// The first fetch of a URI into a row just claimed (the caller holds its semaphore), which
// takes the URI over.
unsigned char CACache::retrieveCRL(char* uri, int row) {
    CRLCacheEntry& entry = crlCache[row];
    delete[] entry.uri;
    entry.uri = uri;
    delete[] entry.crl;
    entry.crl = nullptr;
    entry.crlLength = 0;
    entry.checked = 0;
    delete entry.timeStamp;
    delete entry.thisUpdate;
    entry.timeStamp = new X500Time();
    entry.thisUpdate = new X500Time();
    if (!doRetrieveCRL(entry.uri, row)) return 0;
    followIfStale(row);
    return 255;
}

// A CRL that has arrived stale sends the fetch on to the issuing distribution point it names,
// in case a fresher CRL stands there; what that finds is not looked at.
void CACache::followIfStale(int row) {
    const CRLCacheEntry& entry = crlCache[row];
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    if (entry.nextUpdate == nullptr || !(*entry.nextUpdate <= *now)) return;
    std::unique_ptr<CertificateListInfo> info(parseStoredCRL(entry.crl, entry.crlLength));
    std::unique_ptr<IssuingDistPointSyntax> idp =
        info != nullptr ? trust::decodeExtension<IssuingDistPointSyntax>(trust::findExtension(
                              info->_getCrlExtensions(), kIssuingDistributionPoint))
                        : nullptr;
    if (idp != nullptr && idp->_getDistributionPoint() != nullptr) {
        followCRL(idp->_getDistributionPoint(), row);
    }
}

unsigned char CACache::followCRL(const DistributionPointName* name, int row) {
    const GeneralNameList* names = name != nullptr ? name->_getFullName() : nullptr;
    if (names == nullptr) return 0;
    for (int i = 0; i < names->getCount(); ++i) {
        Text uri(getURI(names->_getElement(i)));
        if (uri != nullptr) doRetrieveCRL(uri.get(), row);
    }
    return 255;
}

// Every URI of the name into its row, made when new. 0 only when the table is full.
unsigned char CACache::retrieveCRL(const DistributionPointName* name, int /*caRow*/) {
    const GeneralNameList* names = name != nullptr ? name->_getFullName() : nullptr;
    for (int i = 0; names != nullptr && i < names->getCount(); ++i) {
        Text uri(getURI(names->_getElement(i)));
        if (uri == nullptr) continue;
        crlMutex->lock();
        int row = findCRLRow(uri.get());
        if (row < 0 && crlCacheMax >= kMaxCRLRows) {
            crlMutex->unlock();
            lastError = 5120;
            note(3, 5120, "Errore interno");
            return 0;
        }
        if (row < 0) {
            row = crlCacheMax++;
            // A new row is known to no other thread yet: its semaphore is free, and taking it
            // before the mutex goes keeps the others out until its first fetch is done.
            crlCache[row].semaphore->wait();
            crlMutex->unlock();
            retrieveCRL(uri.release(), row);
        } else {
            crlMutex->unlock();
            // An existing row's semaphore is waited for without the mutex: its holder may be
            // storing a CRL.
            crlCache[row].semaphore->wait();
            if (doRetrieveCRL(crlCache[row].uri, row)) followIfStale(row);
        }
        crlCache[row].semaphore->post();
    }
    return 255;
}

// The rows are refreshed one by one under their own semaphores, with crlMutex held only to
// read the shape of the table: a fetch stores its CRL under the row's semaphore, and holding
// the table's mutex across network work would stop every other search for its length.
unsigned char CACache::updateCRLCache() {
    if (downloadCRL == 4) return 255;
    note(6, 4645, "Aggiornamento cache delle CRL in corso");
    int rows;
    {
        MutexLock hold(*crlMutex);
        rows = crlCacheMax;
    }
    if (rows > 0) {
        for (int row = 0; downloadCRL != 1 && row < rows; ++row) {
            CRLCacheEntry& entry = crlCache[row];
            entry.semaphore->wait();
            checkStoredRow(row);
            if (entry.uri != nullptr && isStale(row, entry.uri)) doRetrieveCRL(entry.uri, row);
            entry.semaphore->post();
        }
    } else {
        for (int caRow = 0; caRow < getCACertListMax(); ++caRow) {
            for (int index = 0; index < getRowCertCount(caRow); ++index) {
                std::unique_ptr<Certificate> ca(getCACert(caRow, index));
                std::unique_ptr<DistributionPointList> points =
                    trust::decodeExtension<DistributionPointList>(
                        trust::findExtension(ca.get(), kCRLDistributionPoints));
                for (int p = 0; points != nullptr && p < points->getCount(); ++p) {
                    if (!retrieveCRL(points->_getElement(p)->_getDistributionPoint(), caRow)) {
                        note(3, 5151, "Impossibile aggiornare la cache delle CRL");
                        return 0;
                    }
                }
            }
        }
    }
    if (log != nullptr) log->print(6, 4711, "CRL presenti nella chache: %d", getCRLCacheMax());
    note(6, 4646, "Aggiornamento cache delle CRL completato");
    return 255;
}
