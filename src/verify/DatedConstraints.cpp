// DocVerifier: the rules of Italian law that depend on calendar dates. The dates are midnight
// in Italy, kept as UTC seconds; a time equal to a date counts as after it.
//
// A SHA-1 signature needs proof that it was made before 1 July 2011, and so does a signature
// that is not CAdES: a time stamp (of the signature, or of the whole envelope) before that day.
// In weak mode a verification time the caller chose before that day will also do; in strong
// mode only a time stamp is proof.
#include "asn1/X500Time.h"
#include "verify/DocVerifier.h"

namespace {

// 2011-06-30 22:00:00 UTC, midnight of 1 July 2011 in Italy.
constexpr long kSHA1EndDate = 1309471200;

bool atOrAfter(const X500Time* t, long date) {
    return t != nullptr && t->getClockValue() >= date;
}

}  // namespace

unsigned long DocVerifier::datedRule(const X500Time* notBefore, unsigned long lateCode,
                                     unsigned long unprovenCode) const {
    if (july2011Mode == 0) return 0;
    if (atOrAfter(notBefore, kSHA1EndDate)) return lateCode;
    if (lastTimeStampTime) {
        if (atOrAfter(lastTimeStampTime.get(), kSHA1EndDate)) return lateCode;
        if (!envelopeTimeStampTime) return 0;
    }
    if (!lastTimeStampTime && !envelopeTimeStampTime) {
        if (july2011Mode == 2 || !verificationTime) return unprovenCode;
        return atOrAfter(verificationTime.get(), kSHA1EndDate) ? unprovenCode : 0;
    }
    return atOrAfter(envelopeTimeStampTime.get(), kSHA1EndDate) ? lateCode : 0;
}

unsigned long DocVerifier::checkJuly2011(const X500Time* notBefore) const {
    return datedRule(notBefore, 5223, 5224);
}

unsigned long DocVerifier::checkConformance2011(const X500Time* notBefore) const {
    return datedRule(notBefore, 5228, 5228);
}

void DocVerifier::_setTimeStampTimes(const X500Time* lastTimeStamp,
                                     const X500Time* envelopeTimeStamp) {
    lastTimeStampTime.reset(lastTimeStamp != nullptr ? lastTimeStamp->clone() : nullptr);
    envelopeTimeStampTime.reset(envelopeTimeStamp != nullptr ? envelopeTimeStamp->clone()
                                                             : nullptr);
}
