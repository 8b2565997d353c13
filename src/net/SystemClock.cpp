#include "net/SystemClock.h"

#include "asn1/X500Time.h"

time_t SystemClock::getTime() { return time(nullptr); }

X500Time* SystemClock::getUTCTime() {
    X500Time* now = new X500Time();
    now->setUTCValue(static_cast<long>(getTime()));
    return now;
}

X500Time* SystemClock::getGeneralizedTime() {
    X500Time* now = new X500Time();
    now->setGeneralizedValue(static_cast<long>(getTime()));
    return now;
}
