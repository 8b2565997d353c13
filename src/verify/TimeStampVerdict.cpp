// DocVerifier: the verdict on a time-stamp token whose signature held, against its own genTime.
//
// A token that stands by itself must also still be worth keeping: the law asked authorities to
// keep their tokens only from 28 April 2004, for 5 years at first and for 20 years for tokens
// from 4 December 2004 on. A token inside a signature is judged on what it proves, whatever
// its age.
#include <memory>
#include <string>

#include "asn1/X500Time.h"
#include "frontend/Messages.h"
#include "net/Logger.h"
#include "net/SystemClock.h"
#include "pkix/ReadSteps.h"
#include "pkix/Validity.h"
#include "verify/DocVerifier.h"
#include "xml/XMLFile.h"

namespace {

using pkix::ownedText;

// Midnight of 28 April 2004 in Italy.
constexpr long kConservationStartDate = 1083103200;
// Midnight of 4 December 2004 in Italy.
constexpr long kConservationTwentyYearDate = 1102114800;

constexpr unsigned long kErrTokenExpired = 5210;
constexpr unsigned long kErrNotConserved = 5211;
constexpr unsigned long kErrNotYetValid = 5158;
constexpr unsigned long kErrStatusUnknown = 5209;

// A signer's certificate codes become those of a time-stamp authority.
unsigned long authorityCode(unsigned long code) {
    switch (code) {
        case 5128:
            return 5157;  // revoked
        case 5161:
            return 5159;  // suspended
        case 5127:
            return 5147;  // expired
        default:
            return code;
    }
}

}  // namespace

unsigned char DocVerifier::tokenVerdict(const infoEntry& info, const X500Time* genTime,
                                        unsigned char checkAge, unsigned long certCode,
                                        const X500Time* revocationDate,
                                        const X500Time* expiredCertsOnCRL) {
    auto refuse = [&](unsigned long code, const char* message) -> unsigned char {
        errCode = code;
        if (log) log->print(3, static_cast<unsigned int>(code), "%s", message);
        xmlOut->insertTag("errorMessage", message);
        xmlOut->insertTag("status", "KO");
        return 0;
    };

    if (checkAge) {
        if (genTime->getClockValue() < kConservationStartDate)
            return refuse(kErrNotConserved, Messages::getText(kErrNotConserved));
        std::unique_ptr<X500Time> now(verificationTime ? verificationTime->clone()
                                                       : SystemClock::getUTCTime());
        xmlOut->insertTag("verificationTime", ownedText(now->getValue()).c_str());
        std::unique_ptr<X500Time> expiry(genTime->clone());
        expiry->shiftClockDate(genTime->getClockValue() < kConservationTwentyYearDate ? 5 : 20, 0,
                               0);
        if (*expiry < *now) return refuse(kErrTokenExpired, Messages::getText(kErrTokenExpired));
    }

    errCode = authorityCode(certCode);
    long expiredFrom =
        expiredCertsOnCRL != nullptr ? expiredCertsOnCRL->getClockValue() : kCRLAmnestyDate;
    const X500Time* notBefore = info.validity != nullptr ? info.validity->_getNotBefore() : nullptr;
    const X500Time* notAfter = info.validity != nullptr ? info.validity->_getNotAfter() : nullptr;
    if (notBefore != nullptr && *notBefore > *genTime) {
        // The verdict must not be OK, whatever code the certificate check left.
        return refuse(errCode == NoError ? kErrNotYetValid : errCode,
                      "Certificato del Firmatario non ancora valido");
    }
    if (errCode == 5157 || errCode == 5159) {
        // A revocation with no date is taken as before any time.
        if (revocationDate == nullptr || *revocationDate < *genTime)
            return refuse(errCode, Messages::getText(errCode));
        errCode = NoError;
    } else if (errCode == 5147) {
        if (notAfter == nullptr || *notAfter < *genTime)
            return refuse(errCode, Messages::getText(errCode));
        if (notAfter->getClockValue() < expiredFrom)
            return refuse(errCode, Messages::getText(kErrStatusUnknown));
        xmlOut->insertTag("certExpired", ownedText(notAfter->getValue()).c_str());
        errCode = NoError;
    }
    return 255;
}
