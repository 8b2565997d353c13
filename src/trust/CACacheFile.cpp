// CACache: the files "caCertsList" and "crlCache".
//
// Both are written in two passes (lengths first, so that every header is definite) under the
// table's mutex, and then put on disk under the file mutex with a whole-file write lock. Both
// are read leniently: a row is taken only when it has been read whole, reading stops at the
// first element of another shape, and the count of rows changes only when the reader reaches
// the end of the SET (or the table's size). A damaged file thus never stops the library, and a
// file damaged before its end adds no row that a lookup can reach in a fresh table.
#include <sys/stat.h>

#include <memory>
#include <mutex>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "net/Logger.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "pkix/Certificate.h"
#include "pkix/ReadSteps.h"
#include "trust/CACache.h"

namespace {

struct TextDeleter {
    void operator()(char* p) const { delete[] p; }
};
using Text = std::unique_ptr<char, TextDeleter>;
struct BytesDeleter {
    void operator()(unsigned char* p) const { delete[] p; }
};
using Bytes = std::unique_ptr<unsigned char, BytesDeleter>;

constexpr mode_t kSharedFileMode = 0666;

// The SET header of a file; its end, or 0 when the file does not start with a definite SET that
// lies inside the data.
bool readFileSet(Buffer* b, unsigned int* end) {
    unsigned int length;
    unsigned char definite;
    if (!b->readASN1Set(&length, &definite) || definite == 0 || length > b->remaining()) {
        return false;
    }
    *end = b->getReadPos() + length;
    return true;
}

// A text field: OCTET STRING, or NULL for none. Any other tag (a constructed string among them)
// is damage.
bool readTextField(Buffer* b, Text* text) {
    char* p = nullptr;
    if (!b->readASN1(&p, static_cast<unsigned char>(0x04))) return false;
    text->reset(p);
    return true;
}

bool readTime(Buffer* b, std::unique_ptr<X500Time>* time) {
    time->reset(new X500Time());
    return (*time)->unwrapASN1(b) != 0;
}

}  // namespace

// ---- caCertsList ----

void CACache::encodeCACertList(Buffer* b) {
    std::vector<unsigned int> lengths(static_cast<size_t>(caCertListMax));
    unsigned int total = 0;
    for (int i = 0; i < caCertListMax; ++i) {
        CACertEntry& entry = caCertList[i];
        unsigned int length = b->lenASN1(entry.uri) + b->lenASN1(entry.subject);
        length += entry.certs != nullptr ? entry.certs->getWrapLength(b) : b->lenASN1Sequence(0);
        lengths[static_cast<size_t>(i)] = length;
        total += b->lenASN1Sequence(length);
    }
    unsigned int needed = b->lenASN1Set(total);
    if (b->getMaxSize() < needed) b->enlarge(needed);
    b->writeASN1Set(total);
    for (int i = 0; i < caCertListMax; ++i) {
        CACertEntry& entry = caCertList[i];
        b->writeASN1Sequence(lengths[static_cast<size_t>(i)]);
        // A null text is written as NULL.
        b->writeASN1(entry.uri);
        b->writeASN1(entry.subject);
        if (entry.certs != nullptr) {
            entry.certs->wrapASN1(b);
        } else {
            b->writeASN1Sequence(0);
        }
    }
}

unsigned char CACache::saveCACertList(const char* path) {
    note(7, 4688, "Inizio copia su disco della lista dei CAcert");
    buffer->rewind();
    {
        MutexLock hold(*certMutex);
        encodeCACertList(buffer);
    }
    unsigned char written;
    {
        MutexLock hold(*certFileMutex);
        written = path != nullptr ? buffer->toLockedFile(path) : 0;
    }
    if (!written) {
        note(3, 5153, "Impossibile salvare la lista dei Certificati");
        return 0;
    }
    chmod(path, kSharedFileMode);
    note(7, 4689, "Fine copia su disco della lista dei CAcert");
    return 255;
}

bool CACache::decodeCACertList(Buffer* b) {
    unsigned int end;
    if (!readFileSet(b, &end)) return false;
    for (int row = 0;; ++row) {
        if (b->getReadPos() >= end || row >= kMaxCACertRows) {
            caCertListMax = row;
            return true;
        }
        unsigned int length;
        if (!b->readASN1Sequence(&length)) return false;
        Text uri, subject;
        if (!readTextField(b, &uri) || !readTextField(b, &subject)) return false;
        std::unique_ptr<CertList> certs(new CertList());
        if (!certs->unwrapASN1(b)) return false;
        CACertEntry& entry = caCertList[row];
        freeCACertRow(&entry);
        entry.uri = uri.release();
        entry.subject = subject.release();
        entry.certs = certs.release();
    }
}

unsigned char CACache::loadCACertList(const char* path) {
    note(6, 4643, "Caricamento lista dei certificati di CA in corso");
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0 || !buffer->fromLockedFile(path)) {
        note(3, 5150, "Impossibile leggere la lista dei Certificati");
        return 0;
    }
    bool whole;
    {
        MutexLock hold(*certMutex);
        std::unique_lock<std::shared_mutex> table(certTableLock);
        whole = decodeCACertList(buffer);
    }
    // A list that does not read to its end is not the list that was saved: saying it loaded
    // would let the caller verify against a table that silently lacks its CAs.
    if (!whole) {
        note(3, 5150, "Impossibile leggere la lista dei Certificati");
        return 0;
    }
    note(6, 4654, "Caricamento lista dei certificati di CA completato");
    noteCount(6);
    return 255;
}

// ---- crlCache ----

namespace {

// One row with a CRL, whole, into a buffer of its own.
void encodeCRLRow(const CRLCacheEntry& entry, Buffer* row) {
    Buffer& b = *row;
    unsigned int length = b.lenASN1(entry.uri) + b.lenASN1(entry.issuer) + b.lenASN1(entry.caRow) +
                          b.lenASN1(entry.caIndex) + entry.crlLength;
    X500Time unset;
    X500Time* times[] = {entry.thisUpdate, entry.nextUpdate, entry.expiredCertsOnCRL,
                         entry.timeStamp};
    // A row always has its four times in the file; one that was never set goes as a time without
    // value, which is what a reader of the row takes for "none".
    for (X500Time*& t : times) {
        if (t == nullptr) t = &unset;
        length += t->getWrapLength(&b);
    }
    b.writeASN1Sequence(length);
    b.writeASN1(entry.uri);
    b.writeASN1(entry.issuer);
    b.writeASN1(entry.caRow);
    b.writeASN1(entry.caIndex);
    b.writeBytes(entry.crl, entry.crlLength);
    for (X500Time* t : times) t->wrapASN1(&b);
}

}  // namespace

// Each row is copied out under its own semaphore, since a fetch may replace a row's CRL with
// no more than that semaphore held; the rows are then joined under one SET.
void CACache::encodeCRLCache(Buffer* b) {
    std::vector<std::unique_ptr<Buffer>> rows;
    unsigned int total = 0;
    for (int i = 0; i < crlCacheMax; ++i) {
        CRLCacheEntry& entry = crlCache[i];
        entry.semaphore->wait();
        if (entry.crl != nullptr) {
            std::unique_ptr<Buffer> row(new Buffer());
            encodeCRLRow(entry, row.get());
            total += row->getWritePos();
            rows.push_back(std::move(row));
        }
        entry.semaphore->post();
    }
    unsigned int needed = b->lenASN1Set(total);
    if (b->getMaxSize() < needed) b->enlarge(needed);
    b->writeASN1Set(total);
    for (const std::unique_ptr<Buffer>& row : rows) {
        b->writeBytes(row->_getData(), row->getWritePos());
    }
}

unsigned char CACache::saveCRLCache(const char* path) {
    note(7, 4686, "Inizio copia su disco della cache delle CRL");
    buffer->rewind();
    {
        MutexLock hold(*crlMutex);
        encodeCRLCache(buffer);
    }
    unsigned char written;
    {
        MutexLock hold(*crlFileMutex);
        written = path != nullptr ? buffer->toLockedFile(path) : 0;
    }
    if (!written) {
        note(3, 5155, "Impossibile salvare la cache delle CRL");
        return 0;
    }
    chmod(path, kSharedFileMode);
    note(7, 4687, "Fine copia su disco della cache delle CRL");
    return 255;
}

// caRow and caIndex are taken as they stand: they are positions in the CA table of the process
// that wrote the file, and whoever uses them checks them against the table.
void CACache::decodeCRLCache(Buffer* b) {
    unsigned int end;
    if (!readFileSet(b, &end)) return;
    for (int row = 0;; ++row) {
        if (b->getReadPos() >= end || row >= kMaxCRLRows) {
            crlCacheMax = row;
            return;
        }
        unsigned int length;
        if (!b->readASN1Sequence(&length)) return;
        Text uri, issuer;
        if (!readTextField(b, &uri) || !readTextField(b, &issuer)) return;
        int caRow, caIndex;
        if (!b->readASN1(&caRow) || !b->readASN1(&caIndex)) return;
        // The CRL body is kept whole, as the SEQUENCE it is.
        if (pkix::peekTag(b) != 0x30) return;
        unsigned char* raw = nullptr;
        unsigned int rawLength = 0;
        if (!pkix::readRawElement(b, &raw, &rawLength)) return;
        Bytes crl(raw);
        std::unique_ptr<X500Time> thisUpdate, nextUpdate, expired, timeStamp;
        if (!readTime(b, &thisUpdate) || !readTime(b, &nextUpdate) || !readTime(b, &expired) ||
            !readTime(b, &timeStamp)) {
            return;
        }
        CRLCacheEntry& entry = crlCache[row];
        entry.semaphore->wait();
        freeCRLRow(&entry);
        entry.uri = uri.release();
        entry.issuer = issuer.release();
        entry.caRow = caRow;
        entry.caIndex = caIndex;
        entry.crl = crl.release();
        entry.crlLength = rawLength;
        entry.thisUpdate = thisUpdate.release();
        entry.nextUpdate = nextUpdate.release();
        entry.expiredCertsOnCRL = expired.release();
        entry.timeStamp = timeStamp.release();
        entry.semaphore->post();
    }
}

unsigned char CACache::loadCRLCache(const char* path) {
    note(7, 4644, "Caricamento cache delle CRL in corso");
    struct stat st;
    // No cache yet is the normal state of a new installation, not an error.
    if (path == nullptr || stat(path, &st) != 0) return 255;
    if (!buffer->fromLockedFile(path)) {
        note(3, 5149, "Impossibile leggere la cache delle CRL");
        return 0;
    }
    {
        MutexLock hold(*crlMutex);
        decodeCRLCache(buffer);
    }
    note(7, 4655, "Caricamento cache delle CRL completato");
    return 255;
}
