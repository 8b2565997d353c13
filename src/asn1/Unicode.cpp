#include "asn1/Unicode.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"

Unicode::Unicode() {}

Unicode::Unicode(const wchar_t* v) : ISO10646(v) {}

Unicode::Unicode(const char* v) : ISO10646(v) {}

Unicode::Unicode(const unsigned char* bytes, unsigned int n) {
    assignPairs(bytes, n);
}

void Unicode::assignPairs(const unsigned char* bytes, unsigned int n) {
    delete[] value;
    value = nullptr;
    if (bytes == nullptr) return;
    unsigned int count = n / 2;
    value = new wchar_t[count + 1];
    for (unsigned int i = 0; i < count; ++i) {
        value[i] = static_cast<wchar_t>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
    }
    value[count] = 0;
}

// The characters and their terminating NUL as 16-bit big-endian pairs, the BMPString form.
static std::unique_ptr<unsigned char[]> bigEndianPairs(const wchar_t* v, unsigned int count) {
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[2 * count + 2]);
    for (unsigned int i = 0; i <= count; ++i) {
        unsigned int c = static_cast<unsigned int>(v[i]);
        bytes[2 * i] = static_cast<unsigned char>(c >> 8);
        bytes[2 * i + 1] = static_cast<unsigned char>(c);
    }
    return bytes;
}

unsigned int Unicode::getWrapLength(Buffer* buffer) {
    if (value == nullptr) return buffer->lenASN1();
    return buffer->lenASN1(reinterpret_cast<const unsigned char*>(value), 2 * getLen(), kTag);
}

void Unicode::wrapASN1(Buffer* buffer) {
    if (value == nullptr) {
        buffer->writeASN1();
        return;
    }
    unsigned int count = getLen();
    buffer->writeASN1(bigEndianPairs(value, count).get(), 2 * count, kTag);
}

unsigned char Unicode::unwrapASN1(Buffer* buffer) {
    delete[] value;
    value = nullptr;
    unsigned char* bytes;
    unsigned int n;
    if (!buffer->_readASN1(&bytes, &n, kTag)) return 0;
    assignPairs(bytes, n);
    return 1;
}

unsigned short* Unicode::getValue() const {
    if (value == nullptr) return nullptr;
    unsigned int count = getLen();
    std::unique_ptr<unsigned char[]> bytes = bigEndianPairs(value, count);
    unsigned short* out = new unsigned short[count + 1];
    memcpy(out, bytes.get(), 2 * count + 2);
    return out;
}

Unicode* Unicode::clone() const {
    return new Unicode(value);
}
