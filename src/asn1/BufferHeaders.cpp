// Buffer: lengths, tag-length headers, end-of-contents, SEQUENCE and SET headers.
//
// Tags are one byte; the high-tag-number form is not parsed. Zero bytes in front of a tag are
// skipped, so a reader that may stand on an end-of-contents peeks first. A header must lie
// wholly inside the buffer; whether the value it announces fits is the caller's concern.
#include "asn1/Buffer.h"

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
    *len = 0;
    *definite = 255;
    const unsigned char* t;
    do {
        t = take(1);
        if (t == nullptr) {
            *tag = kBufferGuardByte;
            return 0;
        }
    } while (*t == 0);
    *tag = *t;
    if (peekByte() == 0x80) *definite = 0;
    return readASN1Length(len);
}

unsigned char Buffer::peekASN1Header(unsigned char* tag, unsigned int* len) {
    unsigned char definite;
    return peekASN1Header(tag, len, &definite);
}

unsigned char Buffer::peekASN1Header(unsigned char* tag, unsigned int* len,
                                     unsigned char* definite) {
    unsigned int start = readPos;
    unsigned char result = readASN1Header(tag, len, definite);
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
