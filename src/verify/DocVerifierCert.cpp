// DocVerifier: the certificate of a signer judged by the certificate verifier, and the status
// elements of the report that tell where its state came from.
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "net/SystemClock.h"
#include "pkix/Certificate.h"
#include "pkix/ReadSteps.h"
#include "trust/CertVerifier.h"
#include "trust/ServerInterface.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

using pkix::ownedText;

void insertTime(XMLFile* xml, const char* element, const X500Time* t) {
    if (xml != nullptr && t != nullptr) xml->insertTag(element, ownedText(t->getValue()).c_str());
}

// The DER of the certificate in base64, as the server takes it; empty when there is none.
std::string base64Of(const Certificate* certificate) {
    if (certificate == nullptr) return "";
    Buffer der;
    Certificate* c = const_cast<Certificate*>(certificate);
    der.enlarge(c->getWrapLength(&der));
    c->wrapASN1(&der);
    return ownedText(Base64::encode(der._getData(), der.getWritePos()));
}

}  // namespace

unsigned long DocVerifier::getCertCode() const {
    if (serverMode) return serverInterface->getErrCode();
    return certVerifier ? certVerifier->getErrCode() : NoError;
}

X500Time* DocVerifier::getCertRevocationDate() const {
    if (serverMode) return serverInterface->getRevocationDate();
    return certVerifier ? certVerifier->getRevocationDate() : nullptr;
}

X500Time* DocVerifier::getCertExpiredCertsOnCRL() const {
    if (serverMode) return serverInterface->getExpiredCertsOnCRL();
    return certVerifier ? certVerifier->getExpiredCertsOnCRL() : nullptr;
}

unsigned char DocVerifier::checkCert(const infoEntry& info, unsigned char checkCRL,
                                     unsigned char usageBits, const char* extKeyUsageOid) {
    // In server mode the server judges the certificate, and writes its findings (or its
    // refusal) into the report itself.
    if (serverMode) {
        std::string certificate = base64Of(info.certificate);
        unsigned char ok =
            askServer(certificate.c_str(), checkCRL, extKeyUsageOid != nullptr ? 255 : 0);
        if (ok) errCode = serverInterface->getErrCode();
        return ok;
    }
    // Without a trust store no issuer can be found, and no certificate passes.
    if (!certVerifier) {
        if (log) log->print(3, 5130, "%s", Messages::getText(5130));
        if (xmlOut != nullptr) {
            xmlOut->insertTag("errorMessage", Messages::getText(5130));
            xmlOut->insertTag("status", "KO");
        }
        return 0;
    }
    certVerifier->setCheckCRL(checkCRL);
    certVerifier->setCheckCACRL(checkCACRL);
    certVerifier->setUseOCSP(useOCSP);
    certVerifier->setCheckCertificateValidity(checkCertificateValidity);
    unsigned char verified =
        certVerifier->verify(info.certificate, info.issuer, info.serial, info.validity,
                             info.authorityKeyId, info.authorityInfoAccess, info.distributionPoints,
                             info.keyUsage, usageBits, info.extKeyUsage, extKeyUsageOid);
    unsigned long code = certVerifier->getErrCode();
    if (!verified) {
        if (log && code != NoError)
            log->print(3, static_cast<unsigned int>(code), "%s", Messages::getText(code));
        if (xmlOut != nullptr) {
            xmlOut->insertTag("errorMessage",
                              code != NoError ? Messages::getText(code) : Messages::getText(5126));
            xmlOut->insertTag("status", "KO");
        }
        return 0;
    }
    errCode = code;
    if (xmlOut == nullptr) return 255;
    // Where the state came from: the date of its data, and the next update once that passed.
    bool ocsp = certVerifier->getSource() == 2;
    std::unique_ptr<X500Time> thisUpdate(certVerifier->getThisUpdate());
    insertTime(xmlOut, ocsp ? "ocspThisUpdate" : "crlThisUpdate", thisUpdate.get());
    std::unique_ptr<X500Time> next(certVerifier->getNextUpdate());
    std::unique_ptr<X500Time> now(SystemClock::getUTCTime());
    bool nextPassed = next && *next < *now;
    if (nextPassed) insertTime(xmlOut, ocsp ? "ocspExpired" : "crlExpired", next.get());
    // A CRL past its next update has been used: refused when the caller asks for it.
    if (nextPassed && errorOnExpiredCRL) {
        errCode = 5156;
        certVerifier->updateErrCode(5156);
        if (log) log->print(3, 5156, "CRL scaduta: %s", ownedText(next->getValue()).c_str());
        xmlOut->insertTag("errorMessage", Messages::getText(5227));
        xmlOut->insertTag("status", "KO");
        return 0;
    }
    std::unique_ptr<X500Time> revoked(certVerifier->getRevocationDate());
    if (revoked) {
        const char* element = code == 5161 ? (ocsp ? "ocspHoldDate" : "crlHoldDate")
                              : code == NoError
                                  ? "caCertRevoked"
                                  : (ocsp ? "ocspRevocationDate" : "crlRevocationDate");
        insertTime(xmlOut, element, revoked.get());
    }
    std::unique_ptr<X500Time> invalid(certVerifier->getInvalidSince());
    insertTime(xmlOut, ocsp ? "ocspInvalidSince" : "crlInvalidSince", invalid.get());
    if (code == NoError) {
        std::unique_ptr<X500Time> caExpired(certVerifier->getNotAfter());
        insertTime(xmlOut, "caCertExpired", caExpired.get());
    }
    std::unique_ptr<X500Time> expired(certVerifier->getExpiredCertsOnCRL());
    insertTime(xmlOut, "expiredCertsOnCRL", expired.get());
    return 255;
}
