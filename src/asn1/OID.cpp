#include "asn1/OID.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

OID::OID() : arcs(), length(0), overflow(0) {}

OID::OID(const char* dotted) : OID() { setValue(dotted); }

unsigned char OID::setValue(const char* dotted) {
    length = 0;
    overflow = 0;
    if (dotted == nullptr) return 255;
    std::unique_ptr<char[]> work(new char[strlen(dotted) + 1]);
    strcpy(work.get(), dotted);
    char* rest = nullptr;
    for (char* part = strtok_r(work.get(), ".", &rest); part != nullptr;
         part = strtok_r(nullptr, ".", &rest)) {
        if (length == kMaxArcs) {
            overflow = 255;
            break;
        }
        arcs[length++] = static_cast<unsigned int>(strtol(part, nullptr, 10));
    }
    return overflow ? 0 : 255;
}

char* OID::getValue() const {
    char* text = new char[kTextSize];
    if (length == 0) {
        strcpy(text, "0.0.0.0.0.0.0.");
        return text;
    }
    // 64 arcs of up to 10 digits do not fit in the text: stop at its end rather than overrun.
    size_t used = 0;
    text[0] = 0;
    for (int i = 0; i < length; ++i) {
        int n = snprintf(text + used, kTextSize - used, i + 1 < length ? "%u." : "%u", arcs[i]);
        if (n < 0 || used + static_cast<size_t>(n) >= kTextSize) {
            text[kTextSize - 1] = 0;
            break;
        }
        used += static_cast<size_t>(n);
    }
    return text;
}

unsigned int OID::getPos(int i) const { return (i < 0 || i >= kMaxArcs) ? 0 : arcs[i]; }

unsigned char OID::setPos(int i, unsigned int value) {
    if (i < 0 || i >= kMaxArcs) {
        overflow = 255;
        return 0;
    }
    arcs[i] = value;
    return 255;
}

unsigned char OID::setLength(int n) {
    if (n > kMaxArcs) {
        length = kMaxArcs;
        overflow = 255;
        return 0;
    }
    length = n < 0 ? 0 : n;
    return 255;
}

void OID::printValue() const {
    for (int i = 0; i < length; ++i) printf(i == 0 ? "%d" : ".%d", static_cast<int>(arcs[i]));
}

OID* OID::clone() const { return new OID(*this); }

unsigned char OID::isEqual(const char* dotted) const {
    OID other(dotted);
    return isEqual(&other);
}

unsigned char OID::isEqual(const OID* other) const {
    if (overflow || other == nullptr || length != other->length) return 0;
    return memcmp(arcs, other->arcs, sizeof(unsigned int) * static_cast<size_t>(length)) == 0
               ? 255
               : 0;
}

unsigned char OID::hasPrefix(const char* dotted) const {
    OID other(dotted);
    return hasPrefix(&other);
}

unsigned char OID::hasPrefix(const OID* other) const {
    if (other == nullptr || length < other->length) return 0;
    return memcmp(arcs, other->arcs, sizeof(unsigned int) * static_cast<size_t>(other->length)) ==
                   0
               ? 255
               : 0;
}
