// CACache: the trust store. One process-wide table of trusted CA certificates grouped by
// subject, kept in the file "caCertsList", and one process-wide table of CRLs keyed by the URI
// they came from, kept in the file "crlCache". Every CACache object, and so every thread, shares
// the two tables; an object only brings its log, its crypto device and its work buffer, so one
// object serves one thread at a time.
//
// The file "caCertsList" is one DER object with nothing behind it:
//
//     SET OF SEQUENCE {
//         uri      OCTET STRING or NULL,    -- NULL when the row has no URI
//         subject  OCTET STRING,            -- the short text of the subject
//         certs    SEQUENCE OF Certificate }
//
// and "crlCache" likewise, one row for each CRL held:
//
//     SET OF SEQUENCE {
//         uri                OCTET STRING,      -- the key
//         issuer             OCTET STRING,      -- short text of the CRL's issuer
//         caRow              INTEGER,
//         caIndex            INTEGER,
//         crl                CertificateListInfo,
//         thisUpdate         Time,
//         nextUpdate         Time,
//         expiredCertsOnCRL  Time,              -- a time without value when the CRL has none
//         timeStamp          Time }             -- note: after expiredCertsOnCRL
//
// Both readers take NULL for either text, stop at the first element of another shape, and keep
// the rows read before it. The files have no version and no checksum: they are local state
// written by this library under whole-file fcntl locks and made world-writable (0666) so that
// every process of the installation can refresh them.
//
// Locks. certMutex serialises every change of the CA table (an import holds it for its whole
// run); certFileMutex and crlFileMutex serialise the two file writes; crlMutex guards the shape
// of the CRL table; each CRL row has a binary semaphore that guards its CRL. Lookups in the CA
// table run alongside imports: they see the rows added so far. Since adding a certificate may
// move a row's array, the table's memory is guarded by one reader-writer lock, held shared by
// the lookups (only long enough to copy what they need) and exclusively by the short steps that
// change it.
//
// Results: 255 for success, 0 for failure.
#ifndef SIGILO_TRUST_CACACHE_H
#define SIGILO_TRUST_CACACHE_H

#include <atomic>
#include <functional>
#include <memory>
#include <shared_mutex>

class AuthorityKeyIdentifier;
class Buffer;
class Certificate;
class CertificateList;
class CertificateListInfo;
class CertList;
class DistributionPointName;
class CryptoDevice;
class GeneralName;
class KeyInfo;
class Logger;
class Mutex;
class Name;
class SecureBuffer;
class Semaphore;
class X500Time;
class XMLFile;

// A row of the CA table: every certificate of one subject (and URI), in order of arrival, so
// that a CA that renewed its key stands in one row with all its keys.
struct CACertEntry {
    // The first URI of the subject alternative name, else of the issuer alternative name,
    // cleaned of its escapes; null when neither has one.
    char* uri;
    // The subject's short text: the key of every lookup, compared without regard to case. Null
    // only in a row read from a damaged file; such a row is never found.
    char* subject;
    CertList* certs;
};

// A row of the CRL table. It is born with its URI alone and keeps its place after a failed
// download.
struct CRLCacheEntry {
    char* uri;
    char* issuer;
    // The CA that signed the CRL: its row in the CA table and its index in that row.
    int caRow;
    int caIndex;
    // The whole signed CRL as it arrived; null while the row has no CRL. The CRL classes parse
    // it when a serial is looked up.
    unsigned char* crl;
    unsigned int crlLength;
    // 255 once this process has proved the row's CRL (its issuer in the CA table, its
    // signature); a row read from the file waits for that proof before it is used.
    unsigned char checked;
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    // When the CRL was fetched, by the server's word (the HTTP Last-Modified date).
    X500Time* timeStamp;
    // The date of the CRL's expiredCertsOnCRL extension; a time without value when it has none.
    X500Time* expiredCertsOnCRL;
    // Taken while the row's CRL is read or replaced. Made once by init, never freed.
    Semaphore* semaphore;
};

class CACache {
public:
    static constexpr int kMaxCACertRows = 512;
    static constexpr int kMaxCRLRows = 512;
    static constexpr unsigned int kBufferSize = 4096;
    // lastError when there is none.
    static constexpr unsigned long kNoError = 0xFFFFFFFFul;

    // The device checks signatures; the semaphore, when given, is taken around every check on
    // it (the device may be shared between threads). Neither is owned. No log at the start.
    CACache(CryptoDevice* device, Semaphore* semaphore);
    explicit CACache(CryptoDevice* device);
    ~CACache();

    CACache(const CACache&) = delete;
    CACache& operator=(const CACache&) = delete;

    // Process set-up, before any other use and while no other thread uses the store: empties
    // both tables and makes the locks and the row semaphores that are not there yet.
    static void init();
    // Empties both tables, the CA table under certMutex and then the CRL table under crlMutex,
    // never holding both. The row semaphores stay.
    void clean();

    void enableLog(unsigned char level);
    void disableLog();
    void resetBuffer();
    // Forgets the results of the last CRL check.
    void resetReport();

    // ---- The CA table ----
    unsigned char saveCACertList(const char* path);
    // Adds the file's rows over the table from row 0; a caller that wants only the file's rows
    // calls clean first. 0 when the file cannot be read or does not read as a whole list (the
    // rows read before the damage are then in the table, but not counted).
    unsigned char loadCACertList(const char* path);
    // One certificate, DER or PEM, from a file.
    unsigned char addCACert(const char* path);
    // Stores a copy of the certificate in the row of its subject (and URI), making the row when
    // there is none; 0 when a new row is needed and the table is full. The certificate stays
    // the caller's on every path.
    unsigned char addCACert(const Certificate* certificate);
    // The first row of that subject, or -1.
    int getCACerts(const Name* subject);
    // A copy of a certificate of a row, or null when there is no such certificate.
    Certificate* getCACert(int row, int index);
    // The index of the certificate in the row that issued the given certificate: with a key
    // identifier, the first whose key identifier (or issuer and serial) matches, else -1; without
    // one, the first whose key verifies the certificate's signature. A search by signature that
    // finds none answers 0 all the same, and an empty row 255: the caller checks the signature
    // with the certificate it gets, and finds no certificate at 255. -1 for a row not in use.
    int getCAIndex(Certificate* certificate, int row, const AuthorityKeyIdentifier* aki);
    // The same search for any signed object, whose check against a key the caller supplies.
    int getCAIndex(int row, const AuthorityKeyIdentifier* aki,
                   const std::function<unsigned char(KeyInfo* key)>& verifies);
    // Whether exactly this certificate (DER or PEM file) stands in the table.
    unsigned char holdsCACert(const char* path);
    // Takes the last copy of exactly this certificate out of the table again; 0 when there is
    // none. For undoing an addition that turned out not to be wanted.
    unsigned char removeCACert(const char* path);
    // Whether the identifier names the certificate: by issuer and serial, else by key identifier.
    unsigned char checkKeyId(const AuthorityKeyIdentifier* aki, const Certificate* certificate);
    // Whether the issuer of the DER certificate has a row. No signature is checked.
    unsigned char trustedCA(const unsigned char* der, unsigned int length);
    // The cleaned text of a uniformResourceIdentifier (a new array), else null.
    static char* getURI(const GeneralName* name);

    // Copies of a row's fields for inspection (new arrays, or null), and its number of
    // certificates (-1 for a row not in use).
    static int getCACertListMax();
    static char* getRowURI(int row);
    static char* getRowSubject(int row);
    static int getRowCertCount(int row);

    // ---- Filling the CA table: add forms and replacing (init) forms ----
    // Concatenated PEM blocks, each a certificate.
    unsigned char addCACertListPEM(const char* path);
    unsigned char initCACertListPEM(const char* path);
    // A trust list in the ETSI TSL shape: the first certificate of every service of every
    // provider is trusted, whatever the service's type or status. The list's own signature is
    // not checked here: that is the caller's safeguard.
    unsigned char addCACertListTSL(const char* path);
    unsigned char initCACertListTSL(const char* path);
    // The walk of a parsed list; the caller holds certMutex.
    unsigned char manageTSL(XMLFile* xml);

    // ---- The CRL table ----
    unsigned char saveCRLCache(const char* path);
    // A missing file is an empty cache and gives 255; 0 when the file cannot be read.
    unsigned char loadCRLCache(const char* path);
    // Refreshes every CRL by the rules of the retrieval mode (mode 4 touches nothing).
    unsigned char updateCRLCache();

    // The transport that fetches a CRL: the DER of the CRL into der, and the server's time
    // stamp of it (or null) into *timeStamp; 0 when nothing could be fetched. Tests that serve
    // CRLs from files plug in here. With none set (the start, or nulls), the network fetches:
    // fetchCRL and getTimeStamp below.
    using CRLFetcher =
        std::function<unsigned char(const char* uri, Buffer* der, X500Time** timeStamp)>;
    // The server's time stamp of a CRL without the CRL; null when unknown.
    using CRLStamper = std::function<X500Time*(const char* uri)>;
    static void setCRLTransport(CRLFetcher fetcher, CRLStamper stamper);

    // ---- CRLs from the network, by the scheme of the URI ("http://", "ldap://", "https://";
    // any other fails). Each fills der with the CRL as it arrived and *timeStamp with the
    // server's date of it (or null), and gives 255, or 0 when no CRL arrived. ----
    unsigned char fetchCRL(const char* uri, Buffer* der, X500Time** timeStamp);
    unsigned char httpCRL(const char* url, Buffer* der, X500Time** timeStamp);
    // Always 0: there is no TLS.
    unsigned char httpsCRL(const char* url, Buffer* der, X500Time** timeStamp);
    // An anonymous bind, then a search of the DN for the attribute text
    // "attribute?scope?filterName=filterValue" (scope "base", "one" or "sub"; the filter an
    // equality match unless its value starts with "*"), asking for the attribute and
    // modifyTimestamp; without an answer, once more for "attribute;binary". A CRL without a
    // date of the directory's is dated now.
    unsigned char ldapCRL(const char* host, int port, const char* dn, const char* attributes,
                          Buffer* der, X500Time** timeStamp);
    // The server's date of the CRL at the URI, or null when unknown or when time stamps are not
    // asked for (setTimeStampCheck(0)).
    X500Time* getTimeStamp(const char* uri);
    X500Time* getHttpTimeStamp(const char* url);
    X500Time* getHttpsTimeStamp(const char* url);
    X500Time* getLdapTimeStamp(const char* host, int port, const char* dn);
    // An HTTP date in any of its three forms (RFC 1123, RFC 850, asctime), taken as UTC; null
    // when it does not read.
    static X500Time* readHTTPDate(const char* text);
    static int getTimeout();
    static unsigned char getTimeStampCheck();

    // 255 when the serial (hexadecimal text) is on the newest usable CRL of the distribution
    // point, else 0; with 0, getErrCode other than kNoError means no answer could be had (5137).
    unsigned char searchCRL(const DistributionPointName* name, int caRow, const char* serial);
    // The row of the newest usable CRL among the URIs of the name, fetched as the mode says,
    // or -1.
    int getCRL(const DistributionPointName* name, int caRow);
    // Whether the CRL's issuer is a CA of the table allowed to sign CRLs, and the signature
    // holds; the CA's place in *caRow and *caIndex.
    unsigned char isCRLOk(CertificateList* crl, const CertificateListInfo* info, int* caRow,
                          int* caIndex);
    // The date of the CRL's expiredCertsOnCRL extension, or a time without value (clock 0).
    static X500Time* includeExpiredCerts(const CertificateListInfo* info);
    // Fetches every URI of the name into its row, making the rows that are new. 0 only when
    // the table is full.
    unsigned char retrieveCRL(const DistributionPointName* name, int caRow);
    // The first fetch into a row just claimed, whose semaphore the caller holds; takes the URI
    // (a new[] array) over. A CRL that arrives stale is followed to its issuing distribution
    // point. 0 when nothing could be fetched (the row stays, without CRL).
    unsigned char retrieveCRL(char* uri, int row);
    // Fetches every URI of the name into the row; 0 when the name has no full name.
    unsigned char followCRL(const DistributionPointName* name, int row);
    // Fetches one URI into a row: 255 when a CRL arrived and passed isCRLOk, whether or not it
    // replaced the row's.
    unsigned char doRetrieveCRL(const char* uri, int row);
    static int getCRLCacheMax();
    static unsigned char isCRLCacheModified();
    static void clearCRLCacheModified();
    // 1 once per session, 2 when stale (default), 3 always, 4 local only.
    static void setDownloadCRL(unsigned char mode);
    static unsigned char getDownloadCRL();
    static void setTimeStampCheck(unsigned char on);
    static void setTimeout(int seconds);
    // Copies of a CRL row's fields for inspection, or null / -1 / 0 for a row not in use.
    static char* getCRLRowURI(int row);
    static char* getCRLRowIssuer(int row);
    static unsigned char getCRLRowPosition(int row, int* caRow, int* caIndex);
    static unsigned char* getCRLRowBody(int row, unsigned int* length);
    // Which time: 0 thisUpdate, 1 nextUpdate, 2 expiredCertsOnCRL, 3 timeStamp.
    static X500Time* getCRLRowTime(int row, int which);

    // ---- Results of the last CRL check; times are copies the caller deletes, or null ----
    unsigned long getErrCode() const { return lastError; }
    unsigned char getReason() const { return reason; }
    X500Time* getThisUpdate() const;
    X500Time* getNextUpdate() const;
    X500Time* getExpiredCertsOnCRL() const;
    X500Time* getRevocationDate() const;
    X500Time* getInvalidSince() const;

private:
    // Log lines, skipped while there is no log.
    void note(int level, unsigned int code, const char* text);
    void noteCount(int level);
    // The certificate of a file, DER or else PEM; null when it is neither.
    Certificate* readCertificateFile(const char* path);
    // The short text of a name (a new array).
    static char* shortText(const Name* name);
    // The URI a CA certificate's row is keyed by (a new array), or null.
    static char* rowURI(const Certificate* certificate);
    bool findExactCert(Certificate* certificate, int* row, int* index);
    // Adds under the exclusive table lock; the row, or -1 when the table is full.
    int insertCertificate(const Certificate* certificate);
    // Frees every CA row; the caller holds certMutex.
    static void clearCACertRows();
    static void freeCACertRow(CACertEntry* entry);
    static void freeCRLRow(CRLCacheEntry* entry);
    // A copy of the certificates of a row in use, or null.
    static CertList* rowCertificates(int row);
    // The CA table into the buffer; the caller holds certMutex.
    static void encodeCACertList(Buffer* b);
    // false when the file does not read as a whole list of rows.
    static bool decodeCACertList(Buffer* b);
    // The CRL table into the buffer; the caller holds crlMutex.
    static void encodeCRLCache(Buffer* b);
    static void decodeCRLCache(Buffer* b);
    // PEM and TSL imports share their frame; replace empties the table first.
    unsigned char importPEM(const char* path, bool replace);
    unsigned char importTSL(const char* path, bool replace);
    unsigned char addTSLService(XMLFile* xml);
    // Whether the row's CRL must be fetched again by the mode's test; the caller holds the
    // row's semaphore.
    bool isStale(int row, const char* uri);
    // Keeps a fetched CRL in the row if it is newer than the row's; the caller holds the row's
    // semaphore.
    void storeCRL(int row, const unsigned char* der, unsigned int length,
                  const CertificateListInfo* info, X500Time* timeStamp);
    // Proves a row read from the file (its CRL whole, its issuer a CA of the table, its
    // signature) or drops the row's CRL; the caller holds the row's semaphore.
    void checkStoredRow(int row);
    static void dropRowCRL(CRLCacheEntry* entry);
    // The row's dates and issuer text, as the CRL gives them.
    static void setRowFromCRL(CRLCacheEntry* entry, const CertificateListInfo* info);
    // Follows a row's CRL that has arrived stale to its issuing distribution point; the caller
    // holds the row's semaphore.
    void followIfStale(int row);
    // The row of the URI, or -1; the caller holds crlMutex.
    static int findCRLRow(const char* uri);
    // The signed part of a CRL kept in a row, parsed; null unless the row's bytes are exactly
    // one CertificateList.
    static CertificateListInfo* parseStoredCRL(const unsigned char* der, unsigned int length);
    // Makes the newest usable CRL row between best and row the best one.
    void considerRow(int row, int caRow, int* best, std::unique_ptr<X500Time>* bestTime);

    Logger* log;
    CryptoDevice* cryptoDevice;
    Semaphore* semaphore;
    SecureBuffer* buffer;
    unsigned long lastError;
    unsigned char reason;
    // Copies of the times of the CRL row last searched (owned: another thread may replace that
    // row's CRL while these are still read).
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    X500Time* expiredCertsOnCRL;
    // Owned.
    X500Time* revocationDate;
    X500Time* invalidSince;

    static CACertEntry caCertList[kMaxCACertRows];
    static int caCertListMax;
    static Mutex* certMutex;
    static Mutex* certFileMutex;
    static std::shared_mutex certTableLock;

    static CRLCacheEntry crlCache[kMaxCRLRows];
    static int crlCacheMax;
    // Set by a fetch under its row's semaphore alone, so it cannot need crlMutex.
    static std::atomic<unsigned char> crlCacheModified;
    static unsigned char downloadCRL;
    static unsigned char timeStampCheck;
    static int tcpTimeout;
    static unsigned char sameIssuer;
    static Mutex* crlMutex;
    static Mutex* crlFileMutex;
    static CRLFetcher crlFetcher;
    static CRLStamper crlStamper;
};

#endif
