// CACache: the search of the CRL table. A serial is looked up in the newest usable CRL among
// the URIs of a distribution point; a CRL counts only if its issuer is a CA of the table that
// may sign CRLs and its signature holds.
#include <strings.h>

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "net/SystemClock.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/CertificateList.h"
#include "pkix/CertificateListInfo.h"
#include "pkix/DistributionPointName.h"
#include "pkix/GeneralName.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/RevokedCertificate.h"
#include "trust/CACache.h"
#include "trust/TrustSteps.h"

using trust::Text;

namespace {

const char kAuthorityKeyIdentifier[] = "2.5.29.35";
const char kExpiredCertsOnCRL[] = "2.5.29.60";
const char kReasonCode[] = "2.5.29.21";
const char kInvalidityDate[] = "2.5.29.24";
constexpr unsigned char kCRLSign = 0x02;
constexpr unsigned char kReasonHold = 6;

}  // namespace

// A row keeps the whole signed CRL as it arrived. It reads back only if the bytes are one
// CertificateList and nothing else: a row whose stored bytes lost their shape gives no CRL at all,
// never one with part of its revoked list gone.
CertificateListInfo* CACache::parseStoredCRL(const unsigned char* der, unsigned int length) {
    if (der == nullptr || length == 0) return nullptr;
    Buffer in;
    in.fromByteArray(der, length);
    CertificateList crl;
    if (!crl.unwrapASN1(&in) || in.getReadPos() != length) return nullptr;
    return crl._detachCertListInfo();
}

// A row read from the file is trusted only once its CRL has been read back whole and its
// signature checked again by a CA of this process's table: the file is outside the library's
// hands between two runs. A row that fails loses its CRL and is then fetched again where the
// mode allows. The caller holds the row's semaphore; the search's own result code stays as it
// was, since a dropped row is not an answer by itself.
void CACache::checkStoredRow(int row) {
    CRLCacheEntry& entry = crlCache[row];
    if (entry.crl == nullptr || entry.checked) return;
    unsigned long keepError = lastError;
    bool good = false;
    {
        SecureBuffer in(kBufferSize, cryptoDevice);
        in.fromByteArray(entry.crl, entry.crlLength);
        CertificateList crl;
        // Reading through a SecureBuffer digests the signed part on the device, which other
        // threads may share.
        if (semaphore != nullptr) semaphore->wait();
        bool read = crl.unwrapASN1(&in) != 0;
        if (semaphore != nullptr) semaphore->post();
        if (read && in.getReadPos() == entry.crlLength) {
            std::unique_ptr<CertificateListInfo> info(crl._detachCertListInfo());
            int caRow = -1, caIndex = -1;
            if (isCRLOk(&crl, info.get(), &caRow, &caIndex) && info->_getThisUpdate() != nullptr) {
                // The row's own copies of the dates and issuer are taken again from the CRL
                // that was just proved, so no damage to them can stand either.
                entry.caRow = caRow;
                entry.caIndex = caIndex;
                setRowFromCRL(&entry, info.get());
                good = true;
            }
        }
    }
    lastError = keepError;
    if (good) {
        entry.checked = 255;
        return;
    }
    if (log != nullptr) log->print(3, "CRL della cache non valida, ignorata: %s", entry.uri);
    dropRowCRL(&entry);
}

void CACache::setRowFromCRL(CRLCacheEntry* entry, const CertificateListInfo* info) {
    delete entry->thisUpdate;
    entry->thisUpdate = info->getThisUpdate();
    delete entry->nextUpdate;
    entry->nextUpdate = info->getNextUpdate();
    delete entry->expiredCertsOnCRL;
    entry->expiredCertsOnCRL = includeExpiredCerts(info);
    delete[] entry->issuer;
    entry->issuer = shortText(info->_getIssuer());
}

void CACache::dropRowCRL(CRLCacheEntry* entry) {
    delete[] entry->crl;
    entry->crl = nullptr;
    entry->crlLength = 0;
    entry->checked = 0;
    delete entry->thisUpdate;
    entry->thisUpdate = new X500Time();
    delete entry->nextUpdate;
    entry->nextUpdate = nullptr;
    delete entry->expiredCertsOnCRL;
    entry->expiredCertsOnCRL = nullptr;
}

X500Time* CACache::includeExpiredCerts(const CertificateListInfo* info) {
    X500Time* date = new X500Time();
    const Extension* extension =
        info != nullptr ? trust::findExtension(info->_getCrlExtensions(), kExpiredCertsOnCRL)
                        : nullptr;
    if (extension != nullptr && extension->_getExtnValue() != nullptr) {
        Buffer view;
        view.fromByteArray(extension->_getExtnValue(), extension->getVlen());
        X500Time read;
        if (read.unwrapASN1(&view)) {
            delete date;
            date = read.clone();
        }
    }
    return date;
}

int CACache::findCRLRow(const char* uri) {
    for (int i = 0; i < crlCacheMax; ++i) {
        if (crlCache[i].uri != nullptr && strcasecmp(crlCache[i].uri, uri) == 0) return i;
    }
    return -1;
}

// The row counts if it holds a CRL (of the CA row's subject, when sameIssuer asks for it) and
// it is the first such or strictly newer than the best so far. The caller holds the row's
// semaphore.
void CACache::considerRow(int row, int caRow, int* best, std::unique_ptr<X500Time>* bestTime) {
    const CRLCacheEntry& entry = crlCache[row];
    if (entry.crl == nullptr) return;
    if (sameIssuer) {
        Text subject(getRowSubject(caRow));
        if (subject == nullptr || entry.issuer == nullptr ||
            strcmp(entry.issuer, subject.get()) != 0) {
            return;
        }
    }
    note(7, 4714, "Fine ricerca cache delle CRL: CRL trovata");
    // The best row's date is a copy taken under that row's semaphore: another thread may be
    // replacing the row's own while this one goes on with the next URI.
    if (*best < 0 ||
        (entry.thisUpdate != nullptr && *bestTime != nullptr && *entry.thisUpdate > **bestTime)) {
        *best = row;
        bestTime->reset(entry.thisUpdate != nullptr ? entry.thisUpdate->clone() : nullptr);
    }
}

int CACache::getCRL(const DistributionPointName* name, int caRow) {
    const GeneralNameList* names = name != nullptr ? name->_getFullName() : nullptr;
    if (names == nullptr) {
        note(3, 5199, "Formato del DistributionPoint non valido");
        return -1;
    }
    int best = -1;
    std::unique_ptr<X500Time> bestTime;
    for (int i = 0; i < names->getCount(); ++i) {
        Text uri(getURI(names->_getElement(i)));
        if (uri == nullptr) {
            note(3, 5199, "Formato del DistributionPoint non valido");
            continue;
        }
        note(7, 4713, "Inizio ricerca cache delle CRL");
        crlMutex->lock();
        int row = findCRLRow(uri.get());
        if (row >= 0) {
            crlMutex->unlock();
            crlCache[row].semaphore->wait();
            checkStoredRow(row);
            bool fetch = crlCache[row].crl == nullptr ||
                         (downloadCRL == 3 || (downloadCRL != 1 && isStale(row, uri.get())));
            if (downloadCRL != 4 && fetch) doRetrieveCRL(uri.get(), row);
            considerRow(row, caRow, &best, &bestTime);
            crlCache[row].semaphore->post();
            continue;
        }
        note(7, 4715, "Fine ricerca cache delle CRL: CRL non trovata");
        if (crlCacheMax >= kMaxCRLRows) {
            crlMutex->unlock();
            lastError = 5120;
            note(3, 5120, "Errore interno");
            return -1;
        }
        if (downloadCRL == 4) {
            crlMutex->unlock();
            continue;
        }
        // Claiming the row under the mutex keeps a second thread from making another row for
        // the same URI; the fetch itself runs under the row's semaphore alone.
        row = crlCacheMax++;
        CRLCacheEntry& entry = crlCache[row];
        entry.semaphore->wait();
        crlMutex->unlock();
        if (retrieveCRL(uri.release(), row)) considerRow(row, caRow, &best, &bestTime);
        entry.semaphore->post();
    }
    return best;
}

// Only the result code is cleared here: a revocation date found for a CA higher up the path
// must stay readable after the search for the certificate below it (its caller clears the
// rest before each certificate it verifies).
unsigned char CACache::searchCRL(const DistributionPointName* name, int caRow, const char* serial) {
    lastError = kNoError;
    int row = getCRL(name, caRow);
    if (row < 0) {
        lastError = 5137;
        note(3, 5137, "Impossibile scaricare la CRL");
        return 0;
    }
    CRLCacheEntry& entry = crlCache[row];
    entry.semaphore->wait();
    delete thisUpdate;
    delete nextUpdate;
    delete expiredCertsOnCRL;
    thisUpdate = entry.thisUpdate != nullptr ? entry.thisUpdate->clone() : nullptr;
    nextUpdate = entry.nextUpdate != nullptr ? entry.nextUpdate->clone() : nullptr;
    expiredCertsOnCRL =
        entry.expiredCertsOnCRL != nullptr && entry.expiredCertsOnCRL->getClockValue() != 0
            ? entry.expiredCertsOnCRL->clone()
            : nullptr;
    std::unique_ptr<CertificateListInfo> info(parseStoredCRL(entry.crl, entry.crlLength));
    entry.semaphore->post();

    if (log != nullptr && thisUpdate != nullptr) {
        char date[40];
        log->print(6, 4626, "Data CRL: %s",
                   thisUpdate->printGMFormatted(date, sizeof date, "%b %d %H:%M:%S %Y GMT"));
        std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
        if (nextUpdate != nullptr && *now > *nextUpdate) {
            log->print(6, 5156, "CRL scaduta: %s",
                       nextUpdate->printGMFormatted(date, sizeof date, "%b %d %H:%M:%S %Y GMT"));
        }
    }
    if (info == nullptr) {
        // A row whose CRL no longer reads gives no answer rather than "not revoked".
        lastError = 5137;
        note(3, 5137, "Impossibile scaricare la CRL");
        return 0;
    }
    note(7, 4708, "Inizio ricerca CRL");
    const RevokedCertificateList* revoked = info->_getRevokedCertificates();
    for (int i = 0; serial != nullptr && revoked != nullptr && i < revoked->getCount(); ++i) {
        const RevokedCertificate* entryOnList = revoked->_getRevokedCertificatePointer(i);
        Text text(entryOnList->printUserCertificate(16));
        if (text == nullptr || strcmp(text.get(), serial) != 0) continue;
        // This certificate's own findings replace those of any CA above it.
        reason = 0;
        delete revocationDate;
        delete invalidSince;
        invalidSince = nullptr;
        revocationDate = entryOnList->getRevocationDate();
        const ExtensionList* extensions = entryOnList->_getCrlEntryExtensions();
        if (const Extension* code = trust::findExtension(extensions, kReasonCode)) {
            Buffer view;
            view.fromByteArray(code->_getExtnValue(), code->getVlen());
            unsigned char value = 0;
            if (view.readASN1Enum(&value)) reason = value;
        }
        if (const Extension* since = trust::findExtension(extensions, kInvalidityDate)) {
            Buffer view;
            view.fromByteArray(since->_getExtnValue(), since->getVlen());
            auto date = std::make_unique<X500Time>();
            if (date->unwrapASN1(&view)) invalidSince = date.release();
        }
        if (log != nullptr) {
            char date[X500Time::kPrintSize];
            if (reason == kReasonHold) {
                log->print(6, 5162, "Data sospensione:");
            } else if (revocationDate != nullptr) {
                log->print(6, 5140, "Data revoca: %s", revocationDate->printLocalDateTime(date));
            }
            if (invalidSince != nullptr) log->print(6, 5148, "Non valido dal:");
        }
        note(7, 4709, "Fine ricerca CRL: certificato revocato ");
        return 255;
    }
    note(7, 4710, "Fine ricerca CRL: certificato non revocato ");
    return 0;
}

unsigned char CACache::isCRLOk(CertificateList* crl, const CertificateListInfo* info, int* caRow,
                               int* caIndex) {
    note(7, 4704, "Inizio controllo CRL");
    if (crl == nullptr || info == nullptr) return 0;
    std::unique_ptr<AuthorityKeyIdentifier> aki = trust::decodeExtension<AuthorityKeyIdentifier>(
        trust::findExtension(info->_getCrlExtensions(), kAuthorityKeyIdentifier));
    *caRow = getCACerts(info->_getIssuer());
    if (*caRow < 0) return 0;
    *caIndex = getCAIndex(*caRow, aki.get(), [this, crl](KeyInfo* key) {
        return crl->checkSignature(cryptoDevice, key);
    });
    if (*caIndex < 0) return 0;
    Text issuerText(shortText(info->_getIssuer()));
    std::unique_ptr<Certificate> ca(getCACert(*caRow, *caIndex));
    std::unique_ptr<unsigned char[]> usage(
        trust::keyUsageOf(trust::findExtension(ca.get(), "2.5.29.15")));
    if (usage == nullptr || !(usage[0] & kCRLSign)) {
        lastError = 5136;
        if (log != nullptr) log->print(6, 4676, "%s", issuerText.get());
        note(3, 5136, "Chiave della CA non abilitata alla firma CRL");
        return 0;
    }
    std::unique_ptr<KeyInfo> key(ca->_getCertInfo()->getSubjectPubKey());
    if (semaphore != nullptr) semaphore->wait();
    unsigned char verified = crl->checkSignature(cryptoDevice, key.get());
    if (semaphore != nullptr) semaphore->post();
    if (!verified) {
        lastError = 5138;
        if (log != nullptr) log->print(6, 4676, "%s", issuerText.get());
        note(3, 5138, "Firma sulla CRL non verificata");
        return 0;
    }
    note(7, 4705, "Fine controllo CRL");
    return 255;
}
