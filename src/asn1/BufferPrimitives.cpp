// Buffer: NULL, BOOLEAN, INTEGER, ENUMERATED, BIT STRING, OBJECT IDENTIFIER and free-form tags.
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/OID.h"

// Reads a header with the given tag whose content of *len bytes lies inside the buffer.
unsigned char Buffer::readContentHeader(unsigned char expectedTag, unsigned int* len) {
    unsigned char tag;
    if (!readASN1Header(&tag, len)) return 0;
    if (tag != expectedTag) return 0;
    return *len <= remaining() ? 1 : 0;
}

// ---- NULL ----

void Buffer::writeASN1() { writeNULL(0x05); }
unsigned int Buffer::lenASN1() { return 2; }
unsigned char Buffer::readASN1() { return readNULL(0x05); }
void Buffer::writeNULL() { writeNULL(0x05); }
unsigned int Buffer::lenNULL() { return 2; }
unsigned char Buffer::readNULL() { return readNULL(0x05); }

void Buffer::writeNULL(unsigned char tag) {
    writeByte(tag);
    writeByte(0);
}

unsigned char Buffer::readNULL(unsigned char tag) {
    unsigned char t;
    unsigned int len;
    if (!readASN1Header(&t, &len)) return 0;
    return (t == tag && len == 0) ? 255 : 0;
}

// ---- One-byte values ----
// Written as tag 01 v. The readers accept a length of 0 or 1 and take one byte either way.

static unsigned char readOneByteValue(Buffer* b, unsigned char expectedTag, unsigned char* v) {
    unsigned char tag;
    unsigned int len;
    if (!b->readASN1Header(&tag, &len)) return 0;
    if (tag != expectedTag || len > 1) return 0;
    if (b->remaining() == 0) return 0;
    *v = b->readByte();
    return 255;
}

void Buffer::writeASN1(unsigned char v) { writeBoolean(v, 0x02); }
unsigned int Buffer::lenASN1(unsigned char) { return 3; }
unsigned char Buffer::readASN1(unsigned char* v) { return readOneByteValue(this, 0x02, v); }

void Buffer::writeASN1Enum(unsigned char v) { writeBoolean(v, 0x0A); }
unsigned int Buffer::lenASN1Enum(unsigned char) { return 3; }
unsigned char Buffer::readASN1Enum(unsigned char* v) { return readOneByteValue(this, 0x0A, v); }

void Buffer::writeBoolean(unsigned char v) { writeBoolean(v, 0x01); }
unsigned int Buffer::lenBoolean(unsigned char) { return 3; }
unsigned char Buffer::readBoolean(unsigned char* v) { return readOneByteValue(this, 0x01, v); }

void Buffer::writeBoolean(unsigned char v, unsigned char tag) {
    writeByte(tag);
    writeByte(1);
    writeByte(v);
}
unsigned int Buffer::lenBoolean(unsigned char, unsigned char) { return 3; }
unsigned char Buffer::readBoolean(unsigned char* v, unsigned char tag) {
    return readOneByteValue(this, tag, v);
}

// ---- INTEGER ----

// Shortest two's complement: drop leading bytes that only repeat the sign.
static unsigned int integerContentLength(int v) {
    unsigned int n = 4;
    while (n > 1) {
        int top = static_cast<signed char>(static_cast<unsigned int>(v) >> (8 * (n - 1)));
        int next = static_cast<signed char>(static_cast<unsigned int>(v) >> (8 * (n - 2)));
        if (!((top == 0 && next >= 0) || (top == -1 && next < 0))) break;
        --n;
    }
    return n;
}

void Buffer::writeASN1(int v) { writeASN1(v, 0x02); }
unsigned int Buffer::lenASN1(int v) { return 2 + integerContentLength(v); }
unsigned char Buffer::readASN1(int* v) { return readASN1(v, 0x02); }

void Buffer::writeASN1(int v, unsigned char tag) {
    unsigned int n = integerContentLength(v);
    writeByte(tag);
    writeByte(static_cast<unsigned char>(n));
    for (unsigned int i = n; i > 0; --i) {
        writeByte(static_cast<unsigned char>(static_cast<unsigned int>(v) >> (8 * (i - 1))));
    }
}
unsigned int Buffer::lenASN1(int v, unsigned char) { return lenASN1(v); }

unsigned char Buffer::readASN1(int* v, unsigned char tag) {
    long value = 0;
    unsigned char ok = readInteger(tag, 4, &value);
    if (ok) *v = static_cast<int>(value);
    return ok;
}

void Buffer::writeLong(long v) { writeLong(v, 0x02); }
unsigned int Buffer::lenLong(long) { return 3; }
unsigned char Buffer::readLong(long* v) { return readInteger(0x02, 8, v); }

void Buffer::writeLong(long /*v*/, unsigned char tag) {
    // Only ever the INTEGER 0; long values are carried by BigInteger.
    writeByte(tag);
    writeByte(1);
    writeByte(0);
}
unsigned int Buffer::lenLong(long, unsigned char) { return 3; }
unsigned char Buffer::readLong(long* v, unsigned char tag) { return readInteger(tag, 8, v); }

// An INTEGER of 1 to maxLen content bytes, sign-extended. A longer one is skipped (as far as the
// buffer allows) and refused; an empty one is refused.
unsigned char Buffer::readInteger(unsigned char tag, unsigned int maxLen, long* v) {
    unsigned char t;
    unsigned int len;
    if (!readASN1Header(&t, &len)) return 0;
    if (t != tag || len > maxLen || len == 0) {
        setReadPos(len <= remaining() ? readPos + len : maxSize);
        return 0;
    }
    const unsigned char* p = take(len);
    if (p == nullptr) return 0;
    unsigned long value = (p[0] & 0x80) ? ~0UL : 0UL;
    for (unsigned int i = 0; i < len; ++i) value = (value << 8) | p[i];
    *v = static_cast<long>(value);
    return 1;
}

// ---- BIT STRING ----

unsigned int Buffer::lenASN1BitString(unsigned int n) {
    return lenASN1Header(0x03, n + 1) + n + 1;
}

void Buffer::writeASN1BitString(const unsigned char* p, unsigned int n, unsigned char unused) {
    writeASN1BitString(p, n, unused, 0x03);
}

// A null string is written as the header with tag 5 and no content, so a null BIT STRING of
// length 0 becomes 05 01.
void Buffer::writeASN1BitString(const unsigned char* p, unsigned int n, unsigned char unused,
                                unsigned char tag) {
    if (p == nullptr) {
        writeASN1Header(0x05, n + 1);
        return;
    }
    writeASN1Header(tag, n + 1);
    writeByte(unused);
    writeBytes(p, n);
}

unsigned char Buffer::readASN1BitString(unsigned char** p, unsigned int* n,
                                        unsigned char* unused) {
    *p = nullptr;
    unsigned char tag;
    unsigned int len;
    if (!peekASN1Header(&tag, &len)) return 0;
    if (tag == 0x05) {
        readASN1Header(&tag, &len);
        *n = 0;
        *unused = 0;
        return 1;
    }
    return readBitStringBody(0x03, p, n, unused);
}

unsigned char Buffer::readASN1BitString(unsigned char** p, unsigned int* n, unsigned char* unused,
                                        unsigned char tag) {
    *p = nullptr;
    return readBitStringBody(tag, p, n, unused);
}

// The unused-bits byte, then the bits; the unused bits of the last byte are cleared. An empty
// string (unused byte only) is true only if it claims no unused bits.
unsigned char Buffer::readBitStringBody(unsigned char tag, unsigned char** p, unsigned int* n,
                                        unsigned char* unused) {
    *n = 0;
    *unused = 0;
    unsigned int len;
    if (!readContentHeader(tag, &len) || len == 0) return 0;
    *unused = readByte();
    *n = len - 1;
    if (*n == 0) return *unused == 0 ? 1 : 0;
    *p = new unsigned char[*n];
    readBytes(*p, *n);
    (*p)[*n - 1] &= static_cast<unsigned char>(0xFFu << (*unused % 32));
    return 1;
}

void Buffer::writeASN1BitStringHeader(unsigned int n, unsigned char unused) {
    writeASN1Header(0x03, n + 1);
    writeByte(unused);
}

unsigned char Buffer::readASN1BitStringHeader(unsigned int* n, unsigned char* unused) {
    unsigned char tag;
    unsigned int len;
    *n = 0;
    if (!readASN1Header(&tag, &len) || len == 0 || remaining() == 0) return 0;
    *n = len - 1;
    *unused = readByte();
    return 1;
}

// ---- OBJECT IDENTIFIER ----

// The content: the first byte is arc0 * 40 + arc1, written as one byte (no base-128 form, so
// values above 127 are cut to 8 bits); every further arc in base 128, most significant first.
static std::vector<unsigned char> oidContent(OID* oid) {
    std::vector<unsigned char> out;
    int length = oid->getLength();
    out.push_back(length <= 1 ? 0
                              : static_cast<unsigned char>(oid->getPos(0) * 40 + oid->getPos(1)));
    for (int i = 2; i < length; ++i) {
        unsigned int arc = oid->getPos(i);
        unsigned char groups[5];
        int count = 0;
        do {
            groups[count++] = static_cast<unsigned char>(arc & 0x7F);
            arc >>= 7;
        } while (arc != 0);
        while (count > 1) out.push_back(static_cast<unsigned char>(groups[--count] | 0x80));
        out.push_back(groups[0]);
    }
    return out;
}

void Buffer::writeASN1(OID* oid) { writeASN1(oid, 0x06); }

unsigned int Buffer::lenASN1(OID* oid) {
    unsigned int n = static_cast<unsigned int>(oidContent(oid).size());
    return lenASN1Header(0x06, n) + n;
}

void Buffer::writeASN1(OID* oid, unsigned char tag) {
    std::vector<unsigned char> content = oidContent(oid);
    writeASN1Header(tag, static_cast<unsigned int>(content.size()));
    writeBytes(content.data(), static_cast<unsigned int>(content.size()));
}

unsigned char Buffer::readASN1(OID* oid) { return readASN1(oid, 0x06); }

unsigned char Buffer::readASN1(OID* oid, unsigned char tag) {
    unsigned int len;
    if (!readContentHeader(tag, &len)) return 0;
    return readOIDContent(oid, len);
}

// Subidentifier k goes to position k + 1, then the first one is split by 40 into positions 0
// and 1. The split is always by 40, so a first value of 120 or more gives a first arc of 3 or
// more. Values wrap at 32 bits.
unsigned char Buffer::readOIDContent(OID* oid, unsigned int len) {
    const unsigned char* p = take(len);
    if (p == nullptr) return 0;
    oid->setValue(nullptr);
    if (len == 0) {
        oid->setPos(0, 0);
        oid->setPos(1, 0);
        oid->setLength(1);
        return 1;
    }
    int position = 1;
    unsigned int i = 0;
    while (i < len) {
        unsigned int value = 0;
        do {
            value = (value << 7) | (p[i] & 0x7F);
        } while ((p[i++] & 0x80) != 0 && i < len);
        oid->setPos(position++, value);
    }
    unsigned int first = oid->getPos(1);
    oid->setPos(1, first % 40);
    oid->setPos(0, first / 40);
    oid->setLength(position);
    return 1;
}

// ---- Free-form tags ----

static unsigned int tagByteCount(unsigned int tag) {
    if (tag <= 0xFF) return 1;
    if (tag <= 0xFFFF) return 2;
    if (tag < 0x1000000) return 3;
    return 4;
}

void Buffer::writeTLV(unsigned int tag, unsigned int len, const unsigned char* p) {
    for (unsigned int i = tagByteCount(tag); i > 0; --i) {
        writeByte(static_cast<unsigned char>(tag >> (8 * (i - 1))));
    }
    writeASN1Length(len);
    if (p != nullptr) writeBytes(p, len);
}

unsigned int Buffer::lenTLV(unsigned int tag, unsigned int len) {
    return lenTLVHeader(tag, len) + len;
}

unsigned int Buffer::lenTLVHeader(unsigned int tag, unsigned int len) {
    return tagByteCount(tag) + lenASN1Length(len);
}
