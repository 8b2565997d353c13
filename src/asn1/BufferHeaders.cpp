// Buffer: lengths, tag-length headers, end-of-contents, SEQUENCE and SET headers.
//
// Tags are one byte; the high-tag-number form is not parsed. Zero bytes in front of a tag are
// skipped, so a reader that may stand on an end-of-contents peeks first. A header must lie
// wholly inside the buffer; whether the value it announces fits is the caller's concern.
#include "asn1/Buffer.h"

namespace {

// Deeper nesting than any real structure has; the readers above cap their own depth well below.
constexpr size_t kMaxOpenValues = 4096;
// The constructed OCTET STRING, whose definite form is read by its first piece only.
constexpr unsigned char kConstructedOctetString = 0x24;

}  // namespace

// ---- Length ----

void Buffer::writeASN1Length(unsigned int len) {
    if (len < 0x80) {
        writeByte(static_cast<unsigned char>(len));
        return;
    }
    unsigned int count = lenASN1Length(len) - 1;
    writeByte(static_cast<unsigned char>(0x80 | count));
    for (unsigned int i = count; i > 0; --i) {
        writeByte(static_cast<unsigned char>(len >> (8 * (i - 1))));
    }
}

unsigned int Buffer::lenASN1Length(unsigned int len) {
    if (len < 0x80) return 1;
    if (len < 0x100) return 2;
    if (len < 0x10000) return 3;
    if (len < 0x1000000) return 4;
    return 5;
}

// Short form: one byte. Long form: 0x8n and n big-endian bytes, n at most 4; non-minimal forms
// are accepted. 0x80 (indefinite) reads as length 0.
unsigned char Buffer::readASN1Length(unsigned int* len) {
    *len = 0;
    const unsigned char* first = take(1);
    if (first == nullptr) return 0;
    if ((*first & 0x80) == 0) {
        *len = *first;
        return 1;
    }
    unsigned int count = *first & 0x7F;
    if (count > 4) return 0;
    const unsigned char* bytes = take(count);
    if (bytes == nullptr) return 0;
    unsigned int value = 0;
    for (unsigned int i = 0; i < count; ++i) value = (value << 8) | bytes[i];
    *len = value;
    return 1;
}

// ---- Definite headers ----

void Buffer::writeASN1Header(unsigned char tag, unsigned int len) {
    writeByte(tag);
    writeASN1Length(len);
}

unsigned int Buffer::lenASN1Header(unsigned char /*tag*/, unsigned int len) {
    return 1 + lenASN1Length(len);
}

unsigned char Buffer::readASN1Header(unsigned char* tag, unsigned int* len) {
    unsigned char definite;
    return readASN1Header(tag, len, &definite);
}

unsigned char Buffer::readASN1Header(unsigned char* tag, unsigned int* len,
                                     unsigned char* definite) {
    return readHeader(tag, len, definite, true);
}

unsigned char Buffer::readHeader(unsigned char* tag, unsigned int* len, unsigned char* definite,
                                 bool nested) {
    *len = 0;
    *definite = 255;
    const unsigned int from = readPos;
    const unsigned char* t;
    do {
        t = take(1);
        if (t == nullptr) {
            *tag = kBufferGuardByte;
            return 0;
        }
    } while (*t == 0);
    *tag = *t;
    const unsigned int tagAt = readPos - 1;
    if (peekByte() == 0x80) *definite = 0;
    if (!readASN1Length(len)) return 0;
    return nested ? enterValue(from, tagAt, *tag, *len, *definite) : 1;
}

unsigned char Buffer::enterValue(unsigned int from, unsigned int tagAt, unsigned char tag,
                                 unsigned int len, unsigned char definite) {
    // Values whose header lies at or after the place this read began were left behind by a
    // step back (a retry, a second look): they are read again from here.
    while (!openValues.empty() && openValues.back().start >= from) openValues.pop_back();
    // Values that end where this read began are complete; so are those a reader stepped over.
    while (!openValues.empty() && openValues.back().end <= from) openValues.pop_back();
    if (!openValues.empty()) {
        const OpenValue& parent = openValues.back();
        // Zero bytes skipped in front of the tag may not run up to or across the end of the
        // value around them: the value would then end in bytes that are no child of it.
        if (parent.end <= tagAt) return 0;
        // A child, its header included, must end inside its parent.
        if (readPos > parent.end || (definite && len > parent.end - readPos)) return 0;
    }
    if (definite && (tag & 0x20) != 0 && tag != kConstructedOctetString) {
        if (openValues.size() >= kMaxOpenValues) return 0;
        unsigned int end = len <= 0xFFFFFFFFu - readPos ? readPos + len : 0xFFFFFFFFu;
        openValues.push_back({tagAt, end});
    }
    return 1;
}

unsigned char Buffer::peekASN1Header(unsigned char* tag, unsigned int* len) {
    unsigned char definite;
    return peekASN1Header(tag, len, &definite);
}

unsigned char Buffer::peekASN1Header(unsigned char* tag, unsigned int* len,
                                     unsigned char* definite) {
    unsigned int start = readPos;
    unsigned char result = readHeader(tag, len, definite, false);
    readPos = start;
    return result;
}

// ---- Indefinite headers ----

void Buffer::writeASN1Header(unsigned char tag) {
    writeByte(tag);
    writeByte(0x80);
}

unsigned int Buffer::lenASN1Header(unsigned char /*tag*/) { return 2; }

// Two bytes, no skip of zero bytes; true when the second is the indefinite marker.
unsigned char Buffer::readASN1Header(unsigned char* tag) {
    *tag = readByte();
    return readByte() == 0x80 ? 255 : 0;
}

unsigned char Buffer::peekASN1Header(unsigned char* tag) {
    unsigned int start = readPos;
    unsigned char result = readASN1Header(tag);
    readPos = start;
    return result;
}

// ---- End of contents ----

void Buffer::writeEOC() {
    writeByte(0);
    writeByte(0);
}

unsigned char Buffer::readEOC() {
    if (readByte() != 0) return 0;
    return readByte() == 0 ? 255 : 0;
}

unsigned int Buffer::lenEOC() { return 2; }

// ---- SEQUENCE ----

void Buffer::writeASN1Sequence() { writeASN1Header(0x30); }

unsigned int Buffer::lenASN1Sequence() { return lenASN1Header(0x30); }

unsigned char Buffer::readASN1Sequence() {
    unsigned char tag;
    readASN1Header(&tag);
    return tag == 0x30 ? 255 : 0;
}

void Buffer::writeASN1Sequence(unsigned int len) { writeASN1Header(0x30, len); }

unsigned int Buffer::lenASN1Sequence(unsigned int len) { return lenASN1Header(0x30, len) + len; }

unsigned char Buffer::readASN1Sequence(unsigned int* len) {
    unsigned char definite;
    return readASN1Sequence(len, &definite);
}

unsigned char Buffer::readASN1Sequence(unsigned int* len, unsigned char* definite) {
    unsigned char tag;
    unsigned char result = readASN1Header(&tag, len, definite);
    return tag == 0x30 ? result : 0;
}

// ---- SET ----

void Buffer::writeASN1Set(unsigned int len) { writeASN1Header(0x31, len); }

unsigned int Buffer::lenASN1Set(unsigned int len) { return lenASN1Header(0x31, len) + len; }

unsigned char Buffer::readASN1Set(unsigned int* len) {
    unsigned char definite;
    return readASN1Set(len, &definite);
}

unsigned char Buffer::readASN1Set(unsigned int* len, unsigned char* definite) {
    unsigned char tag;
    unsigned char result = readASN1Header(&tag, len, definite);
    return tag == 0x31 ? result : 0;
}

// ---- checkASN1DataLen ----

// True when the header at the read position announces exactly writePos - 1 bytes of content
// (the header's own size is not counted). The read position does not move.
unsigned char Buffer::checkASN1DataLen() {
    if (peekByte() == 0) return 0;
    unsigned int start = readPos;
    take(1);
    unsigned int len;
    unsigned char ok = readASN1Length(&len);
    readPos = start;
    if (!ok) return 0;
    return writePos == len + 1 ? 255 : 0;
}
