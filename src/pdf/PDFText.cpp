#include "pdf/PDFText.h"

#include <cstring>

namespace PDFText {

bool isLetter(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isBlank(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == 0;
}

bool matchesBytes(const unsigned char* p, unsigned int end, unsigned int pos, const char* word) {
    size_t n = std::strlen(word);
    if (pos >= end || end - pos < n) return false;
    return std::memcmp(p + pos, word, n) == 0;
}

bool matchesKey(const unsigned char* p, unsigned int end, unsigned int pos, const char* word) {
    if (!matchesBytes(p, end, pos, word)) return false;
    size_t after = pos + std::strlen(word);
    return after >= end || !isLetter(p[after]);
}

unsigned int skipBlanks(const unsigned char* p, unsigned int end, unsigned int pos) {
    while (pos < end && isBlank(p[pos])) ++pos;
    return pos;
}

namespace {

// The white space a scanf conversion skips (NUL is not among it: it ends a C string).
bool isScanSpace(unsigned char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

bool readDigits(const unsigned char* p, unsigned int end, unsigned int* pos, bool allowMinus,
                unsigned long long limit, unsigned long long* magnitude, bool* negative) {
    unsigned int i = *pos;
    while (i < end && isScanSpace(p[i])) ++i;
    *negative = false;
    if (i < end && (p[i] == '+' || p[i] == '-')) {
        if (p[i] == '-') {
            if (!allowMinus) return false;
            *negative = true;
        }
        ++i;
    }
    unsigned int first = i;
    unsigned long long v = 0;
    while (i < end && p[i] >= '0' && p[i] <= '9') {
        v = v * 10 + (p[i] - '0');
        if (v > limit) return false;
        ++i;
    }
    if (i == first) return false;
    *magnitude = v;
    *pos = i;
    return true;
}

}  // namespace

bool readUnsigned(const unsigned char* p, unsigned int end, unsigned int* pos,
                  unsigned int* value) {
    unsigned long long v = 0;
    bool negative = false;
    if (!readDigits(p, end, pos, false, 0xFFFFFFFFull, &v, &negative)) return false;
    *value = static_cast<unsigned int>(v);
    return true;
}

bool readSigned(const unsigned char* p, unsigned int end, unsigned int* pos, long* value) {
    unsigned long long v = 0;
    bool negative = false;
    if (!readDigits(p, end, pos, true, 0x7FFFFFFFull, &v, &negative)) return false;
    *value = negative ? -static_cast<long>(v) : static_cast<long>(v);
    return true;
}

int hexDigit(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace PDFText
