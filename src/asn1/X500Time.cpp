// X500Time: construction, the zone, comparison, setting from a clock, arithmetic, BER output.
// Parsing text is in X500TimeParse.cpp, printing in X500TimePrint.cpp.
#include "asn1/X500Time.h"

#include <climits>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "asn1/Buffer.h"

char X500Time::myTZ[X500Time::kZoneSize] = "";

// putenv keeps the pointer, so the entry must outlive every use: static storage.

static const char kNoClockText[] = "999999999999";

X500Time::X500Time() : text(), fractionText(), format(kUTCTime), clock(0), fraction(0) {
    strcpy(text, "700101000000Z");
}

// ---- The zone ----

void X500Time::init() {
    const char* tz = getenv("TZ");
    if (tz != nullptr && *tz != 0) {
        // TZ may be myTZ itself from an earlier putenv: build the entry aside before copying.
        char entry[kZoneSize];
        size_t n = strnlen(tz, kZoneSize - 4);
        memcpy(entry, "TZ=", 3);
        memcpy(entry + 3, tz, n);
        entry[3 + n] = 0;
        memcpy(myTZ, entry, sizeof entry);
    } else {
        strcpy(myTZ, "TZ=CET");
        putenv(myTZ);
    }
    setlocale(LC_TIME, "");
}

// An entry without "TZ=" would make putenv remove some other variable instead of setting the
// zone, and the swap back after each conversion would then leave the process in GMT.
unsigned char X500Time::setTimeZone(const char* entry) {
    if (entry == nullptr || strncmp(entry, "TZ=", 3) != 0) return 0;
    char copy[kZoneSize];
    size_t n = strnlen(entry, kZoneSize - 1);
    memcpy(copy, entry, n);
    copy[n] = 0;
    memcpy(myTZ, copy, sizeof copy);
    putenv(myTZ);
    tzset();
    return 255;
}

char* X500Time::getTimeZone() {
    char* copy = new char[kZoneSize];
    memcpy(copy, myTZ, kZoneSize);
    return copy;
}

// A conversion before init would have no zone to return to and leave the process in GMT.
void X500Time::ensureZone() {
    if (myTZ[0] == 0) init();
}

namespace {

long long floorDiv(long long a, long long b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

// Days from 1970-01-01 to the given date of the proleptic Gregorian calendar (month 1 to 12).
long long daysFromCivil(long long year, long long month, long long day) {
    year -= month <= 2 ? 1 : 0;
    long long era = floorDiv(year, 400);
    long long yearOfEra = year - era * 400;
    long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

}  // namespace

// Pure arithmetic, with no detour through the process's time zone: switching TZ around mktime
// is not safe while other threads convert times too. Fields outside their range carry over
// as mktime lets them, and the fields are normalised in place.
long X500Time::mktimeGMT(struct tm* fields) {
    long long month = fields->tm_mon;
    long long year = fields->tm_year + 1900LL + floorDiv(month, 12);
    month -= floorDiv(month, 12) * 12;
    long long days = daysFromCivil(year, month + 1, 1) + fields->tm_mday - 1;
    long long seconds =
        days * 86400 + fields->tm_hour * 3600LL + fields->tm_min * 60LL + fields->tm_sec;
    time_t t = static_cast<time_t>(seconds);
    struct tm normalised;
    if (gmtime_r(&t, &normalised) != nullptr) {
        normalised.tm_isdst = fields->tm_isdst;
        *fields = normalised;
    }
    return static_cast<long>(seconds);
}

// ---- Copy and comparison ----

X500Time* X500Time::clone() const {
    return new X500Time(*this);
}

bool X500Time::operator==(const X500Time& other) const {
    return clock == other.clock && fraction == other.fraction;
}

bool X500Time::operator!=(const X500Time& other) const {
    return !(*this == other);
}

bool X500Time::operator<(const X500Time& other) const {
    if (clock != other.clock) return clock < other.clock;
    return fraction < other.fraction;
}

bool X500Time::operator<=(const X500Time& other) const {
    return !(other < *this);
}

bool X500Time::operator>(const X500Time& other) const {
    return other < *this;
}

bool X500Time::operator>=(const X500Time& other) const {
    return !(*this < other);
}

char* X500Time::getValue() const {
    char* copy = new char[kTextSize];
    memcpy(copy, text, kTextSize);
    return copy;
}

char* X500Time::getFractionText() const {
    char* copy = new char[kFractionSize];
    memcpy(copy, fractionText, kFractionSize);
    return copy;
}

// ---- From a clock ----

void X500Time::rebuildText() {
    time_t t = clock;
    struct tm fields;
    // A clock without a calendar form (-1, or a year no tm can hold) gets the no-clock text.
    if (clock == -1 || gmtime_r(&t, &fields) == nullptr) {
        strcpy(text, kNoClockText);
        return;
    }
    bool generalized = format == kGeneralizedTime;
    char digits[kTextSize];
    size_t n =
        strftime(digits, sizeof digits, generalized ? "%Y%m%d%H%M%S" : "%y%m%d%H%M%S", &fields);
    size_t fractionLen = generalized && fractionText[0] != 0 ? 1 + strlen(fractionText) : 0;
    if (n == 0 || n + fractionLen + 1 >= kTextSize) {
        strcpy(text, kNoClockText);
        return;
    }
    memcpy(text, digits, n);
    if (fractionLen > 0) {
        text[n] = '.';
        memcpy(text + n + 1, fractionText, fractionLen - 1);
        n += fractionLen;
    }
    text[n] = 'Z';
    text[n + 1] = 0;
}

void X500Time::setUTCValue(long c) {
    clock = c;
    fraction = 0;
    fractionText[0] = 0;
    if (c != -1) format = kUTCTime;
    rebuildText();
}

void X500Time::setGeneralizedValue(long c) {
    setGeneralizedValue(c, 0);
}

void X500Time::setGeneralizedValue(long c, unsigned long f) {
    clock = c;
    fraction = 0;
    fractionText[0] = 0;
    if (c != -1) {
        format = kGeneralizedTime;
        if (f >= 1 && f <= 999999) {
            fraction = f;
            // Six digits with leading zeros, less the trailing zeros.
            for (int i = 5; i >= 0; --i, f /= 10) fractionText[i] = static_cast<char>('0' + f % 10);
            int last = 5;
            while (fractionText[last] == '0') --last;
            fractionText[last + 1] = 0;
        }
    }
    rebuildText();
}

// ---- Arithmetic ----

void X500Time::backToMidnightUTC() {
    clock = clock / 86400 * 86400;
    fraction = 0;
    fractionText[0] = 0;
    rebuildText();
}

// Sums that leave the range of a tm field are held at its ends rather than wrapping.
static void addTo(int* field, int delta) {
    long sum = static_cast<long>(*field) + delta;
    *field = sum > INT_MAX ? INT_MAX : sum < INT_MIN ? INT_MIN : static_cast<int>(sum);
}

void X500Time::shiftClock(int years, int months, int days, int hours, int minutes, int seconds) {
    time_t t = clock;
    struct tm fields;
    if (gmtime_r(&t, &fields) == nullptr) {
        clock = -1;
    } else {
        addTo(&fields.tm_year, years);
        addTo(&fields.tm_mon, months);
        addTo(&fields.tm_mday, days);
        addTo(&fields.tm_hour, hours);
        addTo(&fields.tm_min, minutes);
        addTo(&fields.tm_sec, seconds);
        fields.tm_isdst = 0;
        clock = mktimeGMT(&fields);
    }
    rebuildText();
}

void X500Time::shiftClockTime(int hours, int minutes, int seconds) {
    shiftClock(0, 0, 0, hours, minutes, seconds);
}

void X500Time::shiftClockDate(int years, int months, int days) {
    shiftClock(years, months, days, 0, 0, 0);
}

// ---- BER output ----

void X500Time::wrapASN1(Buffer* buffer) {
    buffer->writeASN1(text, format);
}

unsigned int X500Time::getWrapLength(Buffer* buffer) {
    return buffer->lenASN1(text, format);
}
