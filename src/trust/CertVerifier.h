// CertVerifier: the state of an end-entity certificate now. It finds the issuing CA in the
// trust store's table, proves the CA path up to a self-signed root in that table, checks the
// certificate's signature and key usage, looks for revocation (OCSP first when asked, then the
// CRLs of the distribution points), and compares the validity period with the current time.
// The results stay in the object until the next check.
//
// Reading a verdict: 0 means the check itself failed (getErrCode says why); 255 means it ran,
// and getErrCode then tells the outcome: kNoError for a good certificate, 5127 expired, 5128
// revoked, 5161 suspended, or the error of a revocation source that gave no answer.
//
// One object serves one thread. The store's tables are shared; the semaphore, when given, is
// held around each signature check on the (shared) device.
#ifndef SIGILO_TRUST_CERTVERIFIER_H
#define SIGILO_TRUST_CERTVERIFIER_H

#include <memory>

class AuthorityInfoAccessSyntax;
class AuthorityKeyIdentifier;
class CACache;
class Certificate;
class CryptoDevice;
class DistributionPointList;
class KeyInfo;
class Logger;
class Name;
class OCSPChecker;
class OIDList;
class SecureBuffer;
class Semaphore;
class Validity;
class X500Time;

class CertVerifier {
public:
    static constexpr unsigned long kNoError = 0xFFFFFFFFul;
    static constexpr int kTimes = 8;
    // Deepest CA path followed. A legal path is far shorter; a loop of CAs that sign each
    // other in the table would otherwise recurse without end.
    static constexpr int kMaxPathDepth = 16;

    CertVerifier(CryptoDevice* device, Semaphore* semaphore, CACache* cache);
    CertVerifier(CryptoDevice* device, CACache* cache);
    ~CertVerifier();

    CertVerifier(const CertVerifier&) = delete;
    CertVerifier& operator=(const CertVerifier&) = delete;

    void resetBuffer();
    void setCheckCRL(unsigned char on) { checkCRL = on; }
    void setCheckCACRL(unsigned char on) { checkCACRL = on; }
    void setCheckCertificateValidity(unsigned char on) { checkCertificateValidity = on; }
    void setUseOCSP(unsigned char on) { useOCSP = on; }
    // Also switch the logs of the cache and of the OCSP checker.
    void enableLog(unsigned char level);
    void disableLog();

    // The working form: serial is the certificate's serial in hexadecimal. aki, aia,
    // distributionPoints, keyUsage, extKeyUsage and requiredOID may be null.
    unsigned char verify(const Certificate* certificate, const Name* issuer, const char* serial,
                         const Validity* validity, const AuthorityKeyIdentifier* aki,
                         const AuthorityInfoAccessSyntax* aia,
                         const DistributionPointList* distributionPoints,
                         const unsigned char* keyUsage, unsigned char requiredUsage,
                         const OIDList* extKeyUsage, const char* requiredOID);
    // The pieces read from the certificate itself.
    unsigned char verify(const Certificate* certificate, unsigned char requiredUsage,
                         const char* requiredOID);
    unsigned char verify(const Certificate* certificate, unsigned char requiredUsage);
    unsigned char verify(const Certificate* certificate);

    // The public key (the caller deletes it) of the CA certificate at (row, index) of the
    // table once the path from it to a self-signed root in the table stands; null with
    // getErrCode set otherwise. depth is 0 for the direct issuer of an end entity.
    KeyInfo* checkCertPath(int row, int index, int depth);
    // Whether the usage byte holds every bit of required and, when requiredOID is given, the
    // extended usages hold it; 5129 or 5187 otherwise.
    unsigned char checkKeyUsages(const unsigned char* keyUsage, unsigned char required,
                                 const OIDList* extKeyUsage, const char* requiredOID);
    // Keeps the first error: stores code only while there is none. 255.
    unsigned char updateErrCode(unsigned long code);

    unsigned long getErrCode() const { return errCode; }
    // 1 when the last revocation answer came from a CRL, 2 from OCSP.
    unsigned char getSource() const { return source; }
    // Copies the caller deletes, or null (always null above index 7).
    X500Time* getThisUpdate(int i = 0) const;
    X500Time* getNextUpdate(int i = 0) const;
    X500Time* getExpiredCertsOnCRL(int i = 0) const;
    X500Time* getNotAfter() const;
    unsigned char getCRLReason() const;
    X500Time* getRevocationDate() const;
    X500Time* getInvalidSince() const;

private:
    // Frees the 24 times.
    void clearTimes();
    // Records the cache's last CRL times at index i.
    void recordCRLTimes(int i);
    void failPath(const char* issuerText, unsigned long code, const char* text);
    bool checkSignature(const Certificate* certificate, KeyInfo* key);
    KeyInfo* checkCertPath(int row, int index, int depth, int visited[][2]);
    // The revocation steps of a CA certificate on the path; false when the path fails.
    bool checkCARevocation(const Certificate* certificate, int row, const char* issuerText,
                           const DistributionPointList* points,
                           const AuthorityInfoAccessSyntax* aia);

    unsigned char checkCertificateValidity;
    unsigned char checkCRL;
    unsigned char checkCACRL;
    unsigned char useOCSP;
    unsigned long errCode;
    unsigned char source;
    Logger* log;
    CryptoDevice* cryptoDevice;
    Semaphore* semaphore;
    SecureBuffer* buffer;
    CACache* cache;
    OCSPChecker* ocspChecker;
    X500Time* notAfter;
    X500Time* thisUpdate[kTimes];
    X500Time* nextUpdate[kTimes];
    X500Time* expiredCertsOnCRL[kTimes];
};

#endif
