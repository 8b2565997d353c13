// X500Time: a point in time that serves as UTCTime (tag 23) and GeneralizedTime (tag 24).
//
// The time is kept twice: as the text that came in (which is what gets written back) and as a
// clock in seconds since 1970 UTC, with the fraction of a second beside it. Conversions from
// calendar fields to the clock run through mktime with the process's TZ switched to GMT and then
// back to the zone in myTZ; local-time printing uses that zone. Because putenv keeps the pointer
// it is given, myTZ lives in static storage for the life of the process. None of this is
// thread-safe: the TZ swap is a process-wide side effect.
#ifndef SIGILO_ASN1_X500_TIME_H
#define SIGILO_ASN1_X500_TIME_H

#include <ctime>

class Buffer;

class X500Time {
public:
    static constexpr unsigned char kUTCTime = 23;
    static constexpr unsigned char kGeneralizedTime = 24;
    // Size of the text, of the fraction digits and of the zone entry, NUL included.
    static constexpr unsigned int kTextSize = 27;
    static constexpr unsigned int kFractionSize = 7;
    static constexpr unsigned int kZoneSize = 21;
    // Size of the strings the printers return, and of a buffer passed to them.
    static constexpr unsigned int kPrintSize = 64;
    // Longest text the text setters look at.
    static constexpr unsigned int kMaxUTCText = 17;
    static constexpr unsigned int kMaxGeneralizedText = 26;

    // 1970-01-01 00:00:00 UTC as a UTCTime.
    X500Time();

    // Takes the zone from the environment's TZ, or sets TZ=CET when there is none; then sets
    // LC_TIME from the environment.
    static void init();
    // A whole environment entry, "TZ=..."; at most 20 characters are kept. It becomes the zone of
    // the process at once. Anything that does not begin with "TZ=" is refused with 0.
    static unsigned char setTimeZone(const char* entry);
    // A new copy of the zone entry, "TZ=...".
    static char* getTimeZone();
    // The clock of calendar fields read as UTC (tm_isdst is used as given); fields outside their
    // range are normalised as mktime does.
    static long mktimeGMT(struct tm* fields);

    X500Time* clone() const;

    // Clock and fraction; the text and the format take no part.
    bool operator==(const X500Time& other) const;
    bool operator!=(const X500Time& other) const;
    bool operator<(const X500Time& other) const;
    bool operator<=(const X500Time& other) const;
    bool operator>(const X500Time& other) const;
    bool operator>=(const X500Time& other) const;

    // A new copy of the text.
    char* getValue() const;
    long getClockValue() const { return clock; }
    unsigned char getFormat() const { return format; }
    unsigned long getFraction() const { return fraction; }
    // A new copy of the fraction digits, empty when there is no fraction.
    char* getFractionText() const;

    // ---- From a clock. A clock of -1 gives the text "999999999999" and keeps the format. ----
    void setUTCValue(long clock);
    void setGeneralizedValue(long clock);
    // A fraction from 1 to 999999 is millionths of a second; any other value means none.
    void setGeneralizedValue(long clock, unsigned long fraction);

    // ---- From text. Each returns 0 for text that does not hold every field, and the object
    // then holds the failure values: text "000000000000Z", clock -1, no fraction. ----
    // The first six characters as YYMMDD, at 00:00:00 UTC; the fraction becomes 0.
    unsigned char setUTCDate(const char* date);
    // The first eight characters as YYYYMMDD, at 00:00:00 UTC; the fraction is left alone.
    unsigned char setGeneralizedDate(const char* date);
    // At most 17 characters; a fraction in the text is ignored. A text without zone is UTC and
    // gets a "Z".
    unsigned char setUTCValue(const char* value);
    // At most 26 characters. The fraction counts in millionths (".5" is 500000), and trailing
    // zeros of the fraction are dropped from the text.
    unsigned char setGeneralizedValue(const char* value);

    // ---- Text for people: a new kPrintSize-byte string, or the buffer passed (which must hold
    // kPrintSize bytes). The local forms end in the zone name, the GM forms in "GMT". ----
    char* printLocalTime(char* buffer = nullptr) const;
    char* printGMTime(char* buffer = nullptr) const;
    char* printLocalDate(char* buffer = nullptr) const;
    char* printGMDate(char* buffer = nullptr) const;
    char* printLocalDateTime(char* buffer = nullptr) const;
    char* printGMDateTime(char* buffer = nullptr) const;
    // Local date as YYYYMMDD and as YYMMDD.
    char* getGeneralizedDate(char* buffer = nullptr) const;
    char* getUTCDate(char* buffer = nullptr) const;
    // strftime with the caller's format; a fraction goes right behind the first %S or %T.
    char* printLocalFormatted(const char* format) const;
    char* printGMFormatted(const char* format) const;
    char* printLocalFormatted(char* buffer, int size, const char* format) const;
    char* printGMFormatted(char* buffer, int size, const char* format) const;

    // ---- Changing the value; the text is rebuilt in the present format ----
    // Down to 00:00:00 UTC of the day (by truncating division), without fraction.
    void backToMidnightUTC();
    // Adds to the calendar fields in UTC and normalises; the fraction stays.
    void shiftClock(int years, int months, int days, int hours, int minutes, int seconds);
    void shiftClockTime(int hours, int minutes, int seconds);
    void shiftClockDate(int years, int months, int days);

    // ---- BER ----
    // The tag becomes the format (anything but 24 is read as UTCTime) and the text is kept as it
    // came, up to 26 characters. The fraction is the number its digits spell (".5" is 5). On
    // failure the object holds the failure values and the result is 0.
    unsigned char unwrapASN1(Buffer* buffer);
    // The stored text under the format's tag.
    void wrapASN1(Buffer* buffer);
    unsigned int getWrapLength(Buffer* buffer);

private:
    static void ensureZone();
    void markFailed();
    // Text of the clock in the present format (with the fraction digits for GeneralizedTime).
    void rebuildText();
    char* printWith(char* buffer, bool local, const char* pattern, bool withFraction,
                    bool withZone) const;
    char* printFormatted(char* buffer, int size, bool local, const char* pattern) const;

    static char myTZ[kZoneSize];

    char text[kTextSize];
    char fractionText[kFractionSize];
    unsigned char format;
    long clock;
    unsigned long fraction;
};

#endif
