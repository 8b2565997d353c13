// X500Time: the time as text for people, in local time (the zone of myTZ) or in GMT.
#include <cstring>
#include <memory>

#include "asn1/X500Time.h"

namespace {

// Breaks the clock down; false when it has no calendar form.
bool breakDown(long clock, bool local, struct tm* fields) {
    time_t t = clock;
    if (local) {
        // localtime_r need not look at TZ again by itself; the zone may have changed since.
        tzset();
        return localtime_r(&t, fields) != nullptr;
    }
    return gmtime_r(&t, fields) != nullptr;
}

// strftime into out (size bytes); an output that does not fit, or none at all, is empty.
void formatInto(char* out, size_t size, const char* pattern, const struct tm* fields) {
    if (size == 0) return;
    if (pattern[0] == 0 || strftime(out, size, pattern, fields) == 0) out[0] = 0;
}

// Appends s to the NUL-terminated text in out, as far as it fits in size bytes.
void append(char* out, size_t size, const char* s) {
    size_t used = strnlen(out, size);
    if (used + 1 >= size) return;
    size_t n = strnlen(s, size - used - 1);
    memcpy(out + used, s, n);
    out[used + n] = 0;
}

// Position just behind the first %S or %T conversion of pattern, or 0 when there is none.
// "%%" is a literal percent sign and is stepped over.
size_t splitAfterSeconds(const char* pattern) {
    for (size_t i = 0; pattern[i] != 0; ++i) {
        if (pattern[i] != '%') continue;
        char c = pattern[i + 1];
        if (c == 'S' || c == 'T') return i + 2;
        if (c == 0) break;
        ++i;
    }
    return 0;
}

}  // namespace

char* X500Time::printWith(char* buffer, bool local, const char* pattern, bool withFraction,
                          bool withZone) const {
    char* out = buffer != nullptr ? buffer : new char[kPrintSize];
    out[0] = 0;
    if (local) ensureZone();
    struct tm fields;
    if (!breakDown(clock, local, &fields)) return out;
    formatInto(out, kPrintSize, pattern, &fields);
    if (withFraction && fractionText[0] != 0) {
        append(out, kPrintSize, ".");
        append(out, kPrintSize, fractionText);
    }
    if (withZone) {
        append(out, kPrintSize, " ");
        // The zone name is the entry without its "TZ=".
        append(out, kPrintSize, local ? (strlen(myTZ) > 3 ? myTZ + 3 : "") : "GMT");
    }
    return out;
}

char* X500Time::printLocalTime(char* buffer) const {
    return printWith(buffer, true, "%H:%M:%S", true, true);
}

char* X500Time::printGMTime(char* buffer) const {
    return printWith(buffer, false, "%H:%M:%S", true, true);
}

char* X500Time::printLocalDate(char* buffer) const {
    return printWith(buffer, true, "%x", false, true);
}

char* X500Time::printGMDate(char* buffer) const {
    return printWith(buffer, false, "%x", false, true);
}

char* X500Time::printLocalDateTime(char* buffer) const {
    return printWith(buffer, true, "%x %H:%M:%S", true, true);
}

char* X500Time::printGMDateTime(char* buffer) const {
    return printWith(buffer, false, "%x %H:%M:%S", true, true);
}

char* X500Time::getGeneralizedDate(char* buffer) const {
    return printWith(buffer, true, "%Y%m%d", false, false);
}

char* X500Time::getUTCDate(char* buffer) const {
    return printWith(buffer, true, "%y%m%d", false, false);
}

// ---- Caller's format ----

char* X500Time::printFormatted(char* buffer, int size, bool local, const char* pattern) const {
    if (buffer == nullptr || size <= 0) return nullptr;
    buffer[0] = 0;
    if (pattern == nullptr) return buffer;
    if (local) ensureZone();
    struct tm fields;
    if (!breakDown(clock, local, &fields)) return buffer;

    size_t room = static_cast<size_t>(size);
    size_t split = fractionText[0] != 0 ? splitAfterSeconds(pattern) : 0;
    if (split == 0) {
        formatInto(buffer, room, pattern, &fields);
        return buffer;
    }
    // The seconds and everything before them, the fraction, then the rest of the format.
    std::unique_ptr<char[]> head(new char[split + 1]);
    memcpy(head.get(), pattern, split);
    head[split] = 0;
    formatInto(buffer, room, head.get(), &fields);
    append(buffer, room, ".");
    append(buffer, room, fractionText);
    std::unique_ptr<char[]> rest(new char[room]);
    rest[0] = 0;
    formatInto(rest.get(), room, pattern + split, &fields);
    append(buffer, room, rest.get());
    return buffer;
}

char* X500Time::printLocalFormatted(const char* pattern) const {
    return printFormatted(new char[kPrintSize], kPrintSize, true, pattern);
}

char* X500Time::printGMFormatted(const char* pattern) const {
    return printFormatted(new char[kPrintSize], kPrintSize, false, pattern);
}

char* X500Time::printLocalFormatted(char* buffer, int size, const char* pattern) const {
    return printFormatted(buffer, size, true, pattern);
}

char* X500Time::printGMFormatted(char* buffer, int size, const char* pattern) const {
    return printFormatted(buffer, size, false, pattern);
}
