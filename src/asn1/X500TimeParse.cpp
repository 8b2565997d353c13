// X500Time: reading a time from text, from the setters and from BER.
//
// A text is cut at the first '+' (offset HHMM east of UTC), then at the first '-' (offset west),
// then at 'Z', then at '.' (the fraction); what is left holds the calendar fields. UTCTime has a
// two-digit year, 50 to 99 meaning 19yy and 00 to 49 meaning 20yy, and its seconds may be
// missing; GeneralizedTime has a four-digit year and all six fields.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/X500Time.h"

namespace {

struct ParsedTime {
    long clock;
    // Up to six leading digits of the fraction, as written; empty when there is none.
    char fractionDigits[X500Time::kFractionSize];
};

// Seconds of an HHMM offset; a missing minute part counts as 0.
long offsetSeconds(const char* hhmm) {
    int hours = 0;
    int minutes = 0;
    if (sscanf(hhmm, "%2d%2d", &hours, &minutes) < 1) return 0;
    return hours * 3600L + minutes * 60L;
}

// Parses at most maxLen characters of source (maxLen below kTextSize, so the work copy always
// fits). False when the fields are not all there; the clock is then meaningless.
bool parseTime(const char* source, size_t maxLen, bool generalized, ParsedTime* out) {
    char work[X500Time::kTextSize];
    size_t n = strnlen(source, maxLen);
    memcpy(work, source, n);
    work[n] = 0;

    long offset = 0;
    if (char* plus = strchr(work, '+')) {
        *plus = 0;
        offset = offsetSeconds(plus + 1);
    }
    if (char* minus = strchr(work, '-')) {
        *minus = 0;
        offset = -offsetSeconds(minus + 1);
    }
    if (char* zulu = strchr(work, 'Z')) *zulu = 0;
    out->fractionDigits[0] = 0;
    if (char* dot = strchr(work, '.')) {
        *dot = 0;
        size_t k = 0;
        while (k < X500Time::kFractionSize - 1 && isdigit(static_cast<unsigned char>(dot[1 + k]))) {
            out->fractionDigits[k] = dot[1 + k];
            ++k;
        }
        out->fractionDigits[k] = 0;
    }

    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    int wanted = 6;
    int got;
    if (generalized) {
        got = sscanf(work, "%4d%2d%2d%2d%2d%2d", &year, &month, &day, &hour, &minute, &second);
    } else if (strlen(work) == 10) {
        wanted = 5;
        got = sscanf(work, "%2d%2d%2d%2d%2d", &year, &month, &day, &hour, &minute);
    } else {
        got = sscanf(work, "%2d%2d%2d%2d%2d%2d", &year, &month, &day, &hour, &minute, &second);
    }
    if (!generalized) year += year < 50 ? 2000 : 1900;

    struct tm fields;
    memset(&fields, 0, sizeof fields);
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    // A positive offset means the written time is ahead of UTC: the clock moves back.
    out->clock = X500Time::mktimeGMT(&fields) - offset;
    return got == wanted;
}

// Copies at most maxLen characters of source into a text field of kTextSize bytes.
void copyText(char* text, const char* source, size_t maxLen) {
    size_t n = strnlen(source, maxLen);
    memcpy(text, source, n);
    text[n] = 0;
}

// A time without any zone counts as UTC, and says so. A text already at the limit is left as it
// is: it cannot be a well-formed time anyway, and there is no room.
void markUTCIfNoZone(char* text) {
    size_t n = strlen(text);
    if (strpbrk(text, "+-Z") == nullptr && n + 1 < X500Time::kTextSize) {
        text[n] = 'Z';
        text[n + 1] = 0;
    }
}

}  // namespace

void X500Time::markFailed() {
    strcpy(text, "000000000000Z");
    fractionText[0] = 0;
    clock = -1;
    fraction = 0;
}

// ---- Setters ----

// The date part followed by midnight; shorter input is taken as it is.
static void dateText(char* out, const char* date, size_t digits) {
    copyText(out, date == nullptr ? "" : date, digits);
    strcat(out, "000000Z");
}

unsigned char X500Time::setUTCDate(const char* date) {
    format = kUTCTime;
    fraction = 0;
    fractionText[0] = 0;
    char value[kTextSize];
    dateText(value, date, 6);
    ParsedTime parsed;
    if (!parseTime(value, kMaxUTCText, false, &parsed)) {
        markFailed();
        return 0;
    }
    memcpy(text, value, kTextSize);
    clock = parsed.clock;
    return 255;
}

unsigned char X500Time::setGeneralizedDate(const char* date) {
    format = kGeneralizedTime;
    char value[kTextSize];
    dateText(value, date, 8);
    ParsedTime parsed;
    if (!parseTime(value, kMaxGeneralizedText, true, &parsed)) {
        markFailed();
        return 0;
    }
    memcpy(text, value, kTextSize);
    clock = parsed.clock;
    return 255;
}

unsigned char X500Time::setUTCValue(const char* value) {
    format = kUTCTime;
    fraction = 0;
    fractionText[0] = 0;
    if (value == nullptr) value = "";
    ParsedTime parsed;
    if (!parseTime(value, kMaxUTCText, false, &parsed)) {
        markFailed();
        return 0;
    }
    copyText(text, value, kMaxUTCText);
    markUTCIfNoZone(text);
    clock = parsed.clock;
    return 255;
}

unsigned char X500Time::setGeneralizedValue(const char* value) {
    format = kGeneralizedTime;
    if (value == nullptr) value = "";
    ParsedTime parsed;
    if (!parseTime(value, kMaxGeneralizedText, true, &parsed)) {
        markFailed();
        return 0;
    }
    clock = parsed.clock;

    // Millionths: the digits padded with zeros to six places.
    char padded[kFractionSize] = "000000";
    memcpy(padded, parsed.fractionDigits, strlen(parsed.fractionDigits));
    fraction = strtoul(padded, nullptr, 10);
    int last = 5;
    while (last >= 0 && padded[last] == '0') --last;
    padded[last + 1] = 0;
    memcpy(fractionText, padded, kFractionSize);

    // The text keeps its date and zone, and gets the fraction in its shortened form; a fraction
    // of zero leaves no dot behind. The first '.' of the text is the one the parse saw, since
    // the parse only ever cut the text shorter.
    char source[kTextSize];
    copyText(source, value, kMaxGeneralizedText);
    char* dot = strchr(source, '.');
    if (dot != nullptr && strpbrk(source, "+-Z") != nullptr && strpbrk(source, "+-Z") < dot) {
        dot = nullptr;
    }
    if (dot == nullptr) {
        memcpy(text, source, kTextSize);
    } else {
        char* zone = strpbrk(dot, "+-Z");
        const char* tail = zone != nullptr ? zone : "";
        size_t head = static_cast<size_t>(dot - source);
        size_t n = head;
        memcpy(text, source, head);
        if (fractionText[0] != 0) {
            text[n++] = '.';
            size_t digits = strlen(fractionText);
            memcpy(text + n, fractionText, digits);
            n += digits;
        }
        // The fraction is never longer in the result than it was in the source, so the tail
        // still fits.
        size_t tailLen = strlen(tail);
        memcpy(text + n, tail, tailLen);
        text[n + tailLen] = 0;
    }
    markUTCIfNoZone(text);
    return 255;
}

// ---- BER input ----

unsigned char X500Time::unwrapASN1(Buffer* buffer) {
    unsigned char tag;
    unsigned int len;
    if (!buffer->peekASN1Header(&tag, &len)) {
        markFailed();
        return 0;
    }
    format = tag;
    char* raw = nullptr;
    if (!buffer->readASN1(&raw, tag) || raw == nullptr) {
        delete[] raw;
        markFailed();
        return 0;
    }
    copyText(text, raw, kMaxGeneralizedText);
    delete[] raw;

    ParsedTime parsed;
    if (!parseTime(text, kMaxGeneralizedText, format == kGeneralizedTime, &parsed)) {
        markFailed();
        return 0;
    }
    clock = parsed.clock;
    // The digits as a number, without scale: ".5" is 5 and ".123" is 123.
    memcpy(fractionText, parsed.fractionDigits, kFractionSize);
    fraction = strtoul(fractionText, nullptr, 10);
    return 1;
}
