// Buffer: OCTET STRINGs (primitive and constructed), byte strings under any tag, and text.
//
// A NULL (tag 5) in place of a string reads as a null pointer with length 0. The content of a
// string must lie inside the buffer, so that no reader hands out a pointer past the data and no
// allocation is larger than the input.
#include <cstring>

#include "asn1/Buffer.h"

// ---- Writing ----

void Buffer::writeASN1(const unsigned char* p, unsigned int n) { writeASN1(p, n, 0x04); }

unsigned int Buffer::lenASN1(const unsigned char* p, unsigned int n) { return lenASN1(p, n, 0x04); }

// A null pointer is written as NULL whatever the tag.
void Buffer::writeASN1(const unsigned char* p, unsigned int n, unsigned char tag) {
    if (p == nullptr) {
        writeNULL();
        return;
    }
    writeASN1Header(tag, n);
    writeBytes(p, n);
}

unsigned int Buffer::lenASN1(const unsigned char* p, unsigned int n, unsigned char tag) {
    if (p == nullptr) return lenNULL();
    return lenASN1Header(tag, n) + n;
}

void Buffer::writeASN1(const char* p) {
    writeASN1(reinterpret_cast<const unsigned char*>(p),
              p == nullptr ? 0 : static_cast<unsigned int>(strlen(p)));
}

unsigned int Buffer::lenASN1(const char* p) {
    return lenASN1(reinterpret_cast<const unsigned char*>(p),
                   p == nullptr ? 0 : static_cast<unsigned int>(strlen(p)));
}

void Buffer::writeASN1(const char* p, unsigned int n) {
    writeASN1(reinterpret_cast<const unsigned char*>(p), n);
}

unsigned int Buffer::lenASN1(const char* p, unsigned int n) {
    return lenASN1(reinterpret_cast<const unsigned char*>(p), n);
}

// Unlike the others, a null text under a given tag is written as that tag with length 0.
void Buffer::writeASN1(const char* p, unsigned char tag) {
    unsigned int n = p == nullptr ? 0 : static_cast<unsigned int>(strlen(p));
    writeASN1Header(tag, n);
    if (n > 0) writeBytes(reinterpret_cast<const unsigned char*>(p), n);
}

unsigned int Buffer::lenASN1(const char* p, unsigned char tag) {
    unsigned int n = p == nullptr ? 0 : static_cast<unsigned int>(strlen(p));
    return lenASN1Header(tag, n) + n;
}

// ---- Reading OCTET STRING ----

static unsigned char* copyOf(const unsigned char* p, unsigned int n) {
    unsigned char* copy = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(copy, p, n);
    return copy;
}

unsigned char Buffer::readASN1(unsigned char** p, unsigned int* n) {
    unsigned char result = _readASN1(p, n);
    if (result == 1 && *p != nullptr) *p = copyOf(*p, *n);
    return result == 0 ? 0 : 1;
}

unsigned char Buffer::_readASN1(unsigned char** p, unsigned int* n) {
    *p = nullptr;
    *n = 0;
    unsigned char tag, definite;
    unsigned int len;
    if (!readASN1Header(&tag, &len, &definite)) return 0;
    switch (tag) {
        case 0x05:
            return 1;
        case 0x24:
            *n = len;
            return readConstructed(p, n, definite) ? 2 : 0;
        case 0x04: {
            const unsigned char* content = take(len);
            if (content == nullptr) return 0;
            *p = const_cast<unsigned char*>(content);
            *n = len;
            return 1;
        }
        default:
            return 0;
    }
}

// A constructed OCTET STRING. The indefinite form is assembled from all its primitive pieces up
// to the end-of-contents. The definite form delivers only its first piece, in an array of the
// outer length whose count stays the outer length; later pieces stay unread in the buffer.
unsigned char Buffer::readConstructed(unsigned char** p, unsigned int* n, unsigned char definite) {
    *p = nullptr;
    if (definite == 0) {
        unsigned int bound = writePos > maxSize ? maxSize : writePos;
        unsigned char* out = new unsigned char[bound > 0 ? bound : 1];
        unsigned int filled = 0;
        *n = 0;
        while (peekByte() != 0) {
            unsigned char tag;
            unsigned int len;
            const unsigned char* piece = nullptr;
            if (readASN1Header(&tag, &len) && tag == 0x04 && len <= bound - filled) {
                piece = take(len);
            }
            if (piece == nullptr) {
                delete[] out;
                return 0;
            }
            if (len > 0) memcpy(out + filled, piece, len);
            filled += len;
        }
        *p = out;
        *n = filled;
        if (readEOC()) return 1;
        delete[] out;
        *p = nullptr;
        *n = 0;
        return 0;
    }

    unsigned int outer = *n;
    *n = 0;
    if (outer == 0 || outer > remaining()) return 0;
    unsigned char tag;
    unsigned int len;
    if (!readASN1Header(&tag, &len) || tag != 0x04 || len > outer) return 0;
    const unsigned char* piece = take(len);
    if (piece == nullptr) return 0;
    unsigned char* out = new unsigned char[outer]();
    if (len > 0) memcpy(out, piece, len);
    *p = out;
    *n = outer;
    return 1;
}

// ---- Byte strings under a given tag (or NULL) ----

unsigned char Buffer::readASN1(unsigned char** p, unsigned int* n, unsigned char tag) {
    unsigned char result = _readASN1(p, n, tag);
    if (result && *p != nullptr) *p = copyOf(*p, *n);
    return result;
}

unsigned char Buffer::_readASN1(unsigned char** p, unsigned int* n, unsigned char tag) {
    *p = nullptr;
    *n = 0;
    unsigned char t;
    unsigned int len;
    if (!readASN1Header(&t, &len)) return 0;
    if (t == 0x05) return 1;
    if (t != tag) return 0;
    const unsigned char* content = take(len);
    if (content == nullptr) return 0;
    *p = const_cast<unsigned char*>(content);
    *n = len;
    return 1;
}

// ---- Text ----

static char* textOf(unsigned char* bytes, unsigned int n, bool owned) {
    char* text = new char[n + 1];
    if (n > 0) memcpy(text, bytes, n);
    text[n] = 0;
    if (owned) delete[] bytes;
    return text;
}

unsigned char Buffer::readASN1(char** p) {
    unsigned int n;
    return readASN1(p, &n);
}

unsigned char Buffer::readASN1(char** p, unsigned int* n) {
    unsigned char* bytes;
    unsigned char result = _readASN1(&bytes, n);
    *p = (result != 0 && bytes != nullptr) ? textOf(bytes, *n, result == 2) : nullptr;
    return result == 0 ? 0 : 1;
}

unsigned char Buffer::readASN1(char** p, unsigned char tag) {
    unsigned char* bytes;
    unsigned int n;
    unsigned char result = _readASN1(&bytes, &n, tag);
    *p = (result != 0 && bytes != nullptr) ? textOf(bytes, n, false) : nullptr;
    return result;
}
