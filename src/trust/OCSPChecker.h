// OCSPChecker: asks an OCSP responder over HTTP for the status of one certificate, verifies the
// answer, and keeps what it says for the getters.
//
// The question is a CertID under SHA-1 (the issuer's name and key hashes and the serial), sent
// unsigned and without nonce. The answer is believed only when its signature verifies, by the
// issuing CA's own key or by a responder certificate that the CA issued for OCSP signing, and
// only in the entry that answers that very question: an answer about another certificate, a
// status that is not one of good, revoked and unknown, or a response of another type is a
// failure, never a "good".
//
// check returns true for "revoked". Otherwise getErrCode tells a good answer (kNoError, or
// kErrStale when the responder's next update is past) from a failure (kErrNoAnswer, with the
// cause in getDetailCode).
#ifndef SIGILO_TRUST_OCSPCHECKER_H
#define SIGILO_TRUST_OCSPCHECKER_H

#include "crypto/BigInteger.h"

class BasicOCSPResponse;
class Buffer;
class Certificate;
class CrlID;
class CryptoDevice;
class Logger;
class OCSPCertID;
class Semaphore;
class SingleResponse;
class X500Time;

class OCSPChecker {
public:
    static constexpr unsigned long kNoError = 0xFFFFFFFFul;
    // The one failure code of a check; the detail codes below say why.
    static constexpr unsigned long kErrNoAnswer = 5214;
    static constexpr unsigned long kErrHTTP = 5215;
    static constexpr unsigned long kErrFormat = 5216;
    static constexpr unsigned long kErrStatus = 5217;
    static constexpr unsigned long kErrUnknown = 5218;
    // A good or revoked answer whose next update is already past.
    static constexpr unsigned long kErrStale = 5219;
    static constexpr unsigned long kErrSignature = 5221;
    // The default time-out of the request, in seconds.
    static constexpr int kDefaultTimeout = 15;

    OCSPChecker(CryptoDevice* device, Semaphore* semaphore);
    explicit OCSPChecker(CryptoDevice* device);
    ~OCSPChecker();

    OCSPChecker(const OCSPChecker&) = delete;
    OCSPChecker& operator=(const OCSPChecker&) = delete;

    // Seconds for the connection and each wait of every later request (all checkers).
    static void setTimeout(int seconds) { tcpTimeout = seconds; }
    static int getTimeout() { return tcpTimeout; }

    void enableLog(unsigned char level);
    void disableLog();
    // Clears the results of the last check.
    void resetReport();

    // True when the responder at uri says that the certificate with that serial, issued by
    // issuer, is revoked; false otherwise, with getErrCode telling why.
    bool check(const char* uri, const Certificate* issuer, const BigInteger& serial);
    // True when the response's signature is accepted for certificates of that issuer.
    bool verifyResponse(BasicOCSPResponse* response, const Certificate* issuer);

    unsigned long getErrCode() const { return errCode; }
    // The detail of the last failure (kErrHTTP ... kErrSignature), kNoError when none, and the
    // number that goes with it (the HTTP or the OCSP status).
    unsigned long getDetailCode() const { return detailCode; }
    int getDetailValue() const { return detailValue; }
    unsigned char getReason() const { return reason; }
    // Copies the caller deletes, or null.
    X500Time* getThisUpdate() const;
    X500Time* getNextUpdate() const;
    X500Time* getProducedAt() const;
    X500Time* getRevocationDate() const;
    X500Time* getInvalidSince() const;
    CrlID* getCrlID() const;

    // The device the responder's answers are checked on, and the lock held around it.
    CryptoDevice* _getCryptoDevice() const { return cryptoDevice; }
    Semaphore* _getSemaphore() const { return semaphore; }

private:
    // Stores kErrNoAnswer, logs the detail and the failure; always false.
    bool fail(unsigned long detail, int value, const char* text);
    // The certificate's own request, encoded; false when it cannot be made.
    bool encodeRequest(const OCSPCertID* id, Buffer* out);
    // The response's entry for the question, or null.
    const SingleResponse* answerFor(const BasicOCSPResponse* response, const OCSPCertID* id);
    // Keeps the revocation details of the entry; logs the date.
    void keepRevocation(const SingleResponse* answer);
    bool verifyWithKey(BasicOCSPResponse* response, const Certificate* keyHolder);
    void logTime(int level, unsigned int code, const char* format, const X500Time* time);

    static int tcpTimeout;

    Logger* log;
    CryptoDevice* cryptoDevice;
    Semaphore* semaphore;
    unsigned long errCode;
    unsigned long detailCode;
    int detailValue;
    unsigned char reason;
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    X500Time* producedAt;
    X500Time* revocationDate;
    X500Time* invalidSince;
    CrlID* crlID;
};

#endif
