// OCSPChecker: asks an OCSP responder for the status of one certificate. The responder client
// (request, transport, response and its signature) is not part of this build: every question
// ends with 5214 ("no answer"), so a caller that asks OCSP first always goes on to the CRLs,
// and nothing is ever taken as good on OCSP's word.
#ifndef SIGILO_TRUST_OCSPCHECKER_H
#define SIGILO_TRUST_OCSPCHECKER_H

#include "crypto/BigInteger.h"

class Certificate;
class CryptoDevice;
class Logger;
class Semaphore;
class X500Time;

class OCSPChecker {
public:
    static constexpr unsigned long kNoError = 0xFFFFFFFFul;
    static constexpr unsigned long kErrNoAnswer = 5214;

    OCSPChecker(CryptoDevice* device, Semaphore* semaphore);
    ~OCSPChecker();

    OCSPChecker(const OCSPChecker&) = delete;
    OCSPChecker& operator=(const OCSPChecker&) = delete;

    void enableLog(unsigned char level);
    void disableLog();
    void resetReport();

    // True when the responder says the certificate is revoked; false otherwise, with
    // getErrCode telling a good answer (kNoError) from a failure.
    bool check(const char* uri, const Certificate* issuer, const BigInteger& serial);

    unsigned long getErrCode() const { return errCode; }
    unsigned char getReason() const { return reason; }
    // Copies the caller deletes, or null.
    X500Time* getThisUpdate() const;
    X500Time* getNextUpdate() const;
    X500Time* getRevocationDate() const;
    X500Time* getInvalidSince() const;

    // The device the responder's answers are checked on, and the lock held around it.
    CryptoDevice* _getCryptoDevice() const { return cryptoDevice; }
    Semaphore* _getSemaphore() const { return semaphore; }

private:
    Logger* log;
    CryptoDevice* cryptoDevice;
    Semaphore* semaphore;
    unsigned long errCode;
    unsigned char reason;
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    X500Time* revocationDate;
    X500Time* invalidSince;
};

#endif
