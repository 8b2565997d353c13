#include "trust/CertVerifier.h"

#include <cstring>
#include <memory>

#include "asn1/OIDList.h"
#include "asn1/SecureBuffer.h"
#include "asn1/X500Time.h"
#include "crypto/BigInteger.h"
#include "net/Logger.h"
#include "net/Semaphore.h"
#include "net/SystemClock.h"
#include "pkix/AccessDescription.h"
#include "pkix/AuthorityKeyIdentifier.h"
#include "pkix/Certificate.h"
#include "pkix/CertificateInfo.h"
#include "pkix/CopySteps.h"
#include "pkix/DistributionPoint.h"
#include "pkix/GeneralName.h"
#include "pkix/KeyInfo.h"
#include "pkix/Name.h"
#include "pkix/NameLabels.h"
#include "pkix/Validity.h"
#include "trust/CACache.h"
#include "trust/OCSPChecker.h"
#include "trust/TrustSteps.h"

using trust::Text;

namespace {

const char kOCSPMethod[] = "1.3.6.1.5.5.7.48.1";
constexpr unsigned char kReasonHold = 6;

}  // namespace

CertVerifier::CertVerifier(CryptoDevice* device, Semaphore* deviceSemaphore, CACache* trustCache)
    : checkCertificateValidity(255),
      checkCRL(255),
      checkCACRL(255),
      useOCSP(0),
      errCode(kNoError),
      source(1),
      log(nullptr),
      cryptoDevice(device),
      semaphore(deviceSemaphore),
      buffer(new SecureBuffer(CACache::kBufferSize, device)),
      cache(trustCache),
      ocspChecker(new OCSPChecker(device, deviceSemaphore)),
      notAfter(nullptr),
      thisUpdate(),
      nextUpdate(),
      expiredCertsOnCRL() {}

CertVerifier::CertVerifier(CryptoDevice* device, CACache* trustCache)
    : CertVerifier(device, nullptr, trustCache) {}

CertVerifier::~CertVerifier() {
    clearTimes();
    delete notAfter;
    delete buffer;
    delete ocspChecker;
    delete log;
    if (cache != nullptr) cache->resetReport();
}

void CertVerifier::resetBuffer() {
    delete buffer;
    buffer = new SecureBuffer(CACache::kBufferSize, cryptoDevice);
}

void CertVerifier::enableLog(unsigned char level) {
    if (log == nullptr) log = new Logger(level);
    log->enableLog(static_cast<char>(level));
    if (cache != nullptr) cache->enableLog(level);
    ocspChecker->enableLog(level);
}

void CertVerifier::disableLog() {
    delete log;
    log = nullptr;
    if (cache != nullptr) cache->disableLog();
    ocspChecker->disableLog();
}

unsigned char CertVerifier::updateErrCode(unsigned long code) {
    if (errCode == kNoError) errCode = code;
    return 255;
}

void CertVerifier::clearTimes() {
    for (int i = 0; i < kTimes; ++i) {
        delete thisUpdate[i];
        delete nextUpdate[i];
        delete expiredCertsOnCRL[i];
        thisUpdate[i] = nextUpdate[i] = expiredCertsOnCRL[i] = nullptr;
    }
}

void CertVerifier::recordCRLTimes(int i) {
    if (i < 0 || i >= kTimes) return;
    delete thisUpdate[i];
    delete nextUpdate[i];
    delete expiredCertsOnCRL[i];
    thisUpdate[i] = cache->getThisUpdate();
    nextUpdate[i] = cache->getNextUpdate();
    expiredCertsOnCRL[i] = cache->getExpiredCertsOnCRL();
}

X500Time* CertVerifier::getThisUpdate(int i) const {
    return i >= 0 && i < kTimes ? pkix::cloneOf(thisUpdate[i]) : nullptr;
}
X500Time* CertVerifier::getNextUpdate(int i) const {
    return i >= 0 && i < kTimes ? pkix::cloneOf(nextUpdate[i]) : nullptr;
}
X500Time* CertVerifier::getExpiredCertsOnCRL(int i) const {
    return i >= 0 && i < kTimes ? pkix::cloneOf(expiredCertsOnCRL[i]) : nullptr;
}
X500Time* CertVerifier::getNotAfter() const {
    return pkix::cloneOf(notAfter);
}
unsigned char CertVerifier::getCRLReason() const {
    return source == 2 ? ocspChecker->getReason() : cache->getReason();
}
X500Time* CertVerifier::getRevocationDate() const {
    return source == 2 ? ocspChecker->getRevocationDate() : cache->getRevocationDate();
}
X500Time* CertVerifier::getInvalidSince() const {
    return source == 2 ? ocspChecker->getInvalidSince() : cache->getInvalidSince();
}

bool CertVerifier::checkSignature(const Certificate* certificate, KeyInfo* key) {
    if (semaphore != nullptr) semaphore->wait();
    bool ok = const_cast<Certificate*>(certificate)->checkSignature(cryptoDevice, key) == 255;
    if (semaphore != nullptr) semaphore->post();
    return ok;
}

unsigned char CertVerifier::verify(const Certificate* certificate) {
    return verify(certificate, 0, nullptr);
}

unsigned char CertVerifier::verify(const Certificate* certificate, unsigned char requiredUsage) {
    return verify(certificate, requiredUsage, nullptr);
}

unsigned char CertVerifier::verify(const Certificate* certificate, unsigned char requiredUsage,
                                   const char* requiredOID) {
    const CertificateInfo* info = certificate != nullptr ? certificate->_getCertInfo() : nullptr;
    if (info == nullptr) {
        errCode = 5126;
        return 0;
    }
    Text serial(info->printSerial(16));
    std::unique_ptr<unsigned char[]> keyUsage(
        trust::keyUsageOf(trust::findExtension(certificate, "2.5.29.15")));
    auto extKeyUsage =
        trust::decodeExtension<OIDList>(trust::findExtension(certificate, "2.5.29.37"));
    auto aki = trust::decodeExtension<AuthorityKeyIdentifier>(
        trust::findExtension(certificate, "2.5.29.35"));
    auto points = trust::decodeExtension<DistributionPointList>(
        trust::findExtension(certificate, "2.5.29.31"));
    auto aia = trust::decodeExtension<AuthorityInfoAccessSyntax>(
        trust::findExtension(certificate, "1.3.6.1.5.5.7.1.1"));
    return verify(certificate, info->_getIssuer(), serial.get(), info->_getValidity(), aki.get(),
                  aia.get(), points.get(), keyUsage.get(), requiredUsage, extKeyUsage.get(),
                  requiredOID);
}

unsigned char CertVerifier::verify(const Certificate* certificate, const Name* issuer,
                                   const char* serial, const Validity* validity,
                                   const AuthorityKeyIdentifier* aki,
                                   const AuthorityInfoAccessSyntax* aia,
                                   const DistributionPointList* distributionPoints,
                                   const unsigned char* keyUsage, unsigned char requiredUsage,
                                   const OIDList* extKeyUsage, const char* requiredOID) {
    errCode = kNoError;
    source = 1;
    Text issuerText(issuer != nullptr ? issuer->getPrintableShortString(
                                            kNameLabelOIDs, kNameShortLabels, kNameLabelCount)
                                      : nullptr);
    const char* issuerShown = issuerText != nullptr ? issuerText.get() : "";
    cache->resetReport();
    ocspChecker->resetReport();
    delete notAfter;
    notAfter = nullptr;
    clearTimes();
    if (certificate == nullptr || issuer == nullptr) {
        errCode = 5126;
        return 0;
    }

    // 1-4: the issuing CA in the table, and its path.
    int row = cache->getCACerts(issuer);
    int index = row >= 0 ? cache->getCAIndex(const_cast<Certificate*>(certificate), row, aki) : -1;
    if (row < 0 || index < 0) {
        errCode = 5130;
        if (log != nullptr) log->print(5, 4675, "%s", issuerShown);
        if (log != nullptr) log->print(3, 5130, "Certificato di CA non trovato");
        return 0;
    }
    std::unique_ptr<KeyInfo> key(checkCertPath(row, index, 0));
    if (key == nullptr) return 0;
    clearTimes();
    ocspChecker->resetReport();

    // 5-7: the certificate's own signature and usage.
    if (!checkSignature(certificate, key.get())) {
        errCode = 5126;
        if (log != nullptr) log->print(3, 5126, "Certificato del Firmatario non verificato");
        return 0;
    }
    key.reset();
    if (!checkKeyUsages(keyUsage, requiredUsage, extKeyUsage, requiredOID)) return 0;

    // 8: this time-stamping authority's certificates carry no CRL of their own to look at.
    if (distributionPoints != nullptr &&
        strstr(issuerShown, "Camerafida Time Stamping Authority 3") != nullptr) {
        distributionPoints = nullptr;
        if (log != nullptr) log->print(5, 4722, "Controllo CRL CA saltato");
    }

    if (checkCRL) {
        // 10: OCSP, the first definite answer ends the matter.
        bool settled = false;
        if (useOCSP && aia != nullptr) {
            source = 2;
            unsigned long lastOCSPError = kNoError;
            std::unique_ptr<Certificate> ca(cache->getCACert(row, index));
            BigInteger number;
            number.fromString(serial, 16);
            for (int i = 0; i < aia->getCount() && !settled; ++i) {
                const AccessDescription* d = aia->_getElement(i);
                if (d->_getAccessMethod() == nullptr ||
                    !d->_getAccessMethod()->isEqual(kOCSPMethod)) {
                    continue;
                }
                Text uri(CACache::getURI(d->_getAccessLocation()));
                if (uri == nullptr) continue;
                if (ocspChecker->check(uri.get(), ca.get(), number)) {
                    errCode = ocspChecker->getReason() == kReasonHold ? 5161 : 5128;
                }
                if (ocspChecker->getErrCode() == OCSPChecker::kNoError) {
                    thisUpdate[0] = ocspChecker->getThisUpdate();
                    nextUpdate[0] = ocspChecker->getNextUpdate();
                    settled = true;
                } else {
                    lastOCSPError = ocspChecker->getErrCode();
                }
            }
            if (!settled) errCode = lastOCSPError;
        }
        // 12: the CRLs of the distribution points.
        if (!settled && distributionPoints != nullptr) {
            source = 1;
            errCode = kNoError;
            unsigned long lastCRLError = kNoError;
            unsigned int reasons = 0;
            int stored = 0;
            for (int i = 0; i < distributionPoints->getCount(); ++i) {
                const DistributionPoint* point = distributionPoints->_getElement(i);
                // A point without a reasons field covers them all.
                unsigned int pointReasons = point->getReasons();
                if (cache->searchCRL(point->_getDistributionPoint(), row, serial)) {
                    errCode = cache->getReason() == kReasonHold ? 5161 : 5128;
                    reasons = 0xFFFFFFFFu;
                }
                if (cache->getErrCode() != CACache::kNoError) {
                    lastCRLError = cache->getErrCode();
                    continue;
                }
                if (stored < kTimes) recordCRLTimes(stored++);
                reasons |= pointReasons;
                if (reasons == 0xFFFFFFFFu) break;
            }
            if (errCode == kNoError && lastCRLError != kNoError && reasons != 0xFFFFFFFFu) {
                errCode = lastCRLError;
                return 0;
            }
        }
    }

    // 13-16: validity against the current time.
    if (!checkCertificateValidity) return 255;
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    const X500Time* to = validity != nullptr ? validity->_getNotAfter() : nullptr;
    const X500Time* from = validity != nullptr ? validity->_getNotBefore() : nullptr;
    if (to != nullptr && *now > *to) {
        updateErrCode(5127);
        // An expired CA seen on the path may have left its date here; the signer's own date
        // takes the place.
        delete notAfter;
        notAfter = to->clone();
        return 255;
    }
    if (from != nullptr && *now < *from) {
        errCode = 5158;
        return 0;
    }
    return 255;
}
