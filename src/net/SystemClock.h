// SystemClock: the current time. There is no way to set a clock: every comparison with "now"
// in the system reads the real time.
#ifndef SIGILO_NET_SYSTEMCLOCK_H
#define SIGILO_NET_SYSTEMCLOCK_H

#include <ctime>

class X500Time;

class SystemClock {
public:
    static time_t getTime();
    // New times the caller deletes, as UTCTime and as GeneralizedTime.
    static X500Time* getUTCTime();
    static X500Time* getGeneralizedTime();
};

#endif
