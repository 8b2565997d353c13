#include "crypto/MessageDigest.h"

#include <cstring>

unsigned char* MessageDigest::digest(const unsigned char* data, unsigned long len) {
    unsigned char* out = new unsigned char[getLength()];
    reset();
    update(data, len);
    final(out);
    return out;
}

BlockDigest::BlockDigest(unsigned int size, unsigned int lenBytes, bool big)
    : buffer(), used(0), total(0), blockSize(size), lengthBytes(lenBytes), bigEndian(big) {}

void BlockDigest::resetCount() {
    used = 0;
    total = 0;
}

void BlockDigest::update(const unsigned char* data, unsigned long len) {
    if (data == nullptr || len == 0) return;
    total += len;
    if (used > 0) {
        unsigned long take = blockSize - used < len ? blockSize - used : len;
        memcpy(buffer + used, data, take);
        used += static_cast<unsigned int>(take);
        data += take;
        len -= take;
        if (used < blockSize) return;
        compress(buffer, 1);
        used = 0;
    }
    if (len >= blockSize) {
        size_t blocks = len / blockSize;
        compress(data, blocks);
        data += blocks * blockSize;
        len -= blocks * blockSize;
    }
    if (len > 0) {
        memcpy(buffer, data, len);
        used = static_cast<unsigned int>(len);
    }
}

void BlockDigest::pad() {
    uint64_t bits = total << 3;
    uint64_t high = total >> 61;
    buffer[used++] = 0x80;
    if (used > blockSize - lengthBytes) {
        memset(buffer + used, 0, blockSize - used);
        compress(buffer, 1);
        used = 0;
    }
    memset(buffer + used, 0, blockSize - used);
    unsigned char* at = buffer + blockSize - lengthBytes;
    if (bigEndian) {
        if (lengthBytes == 16) store64be(at, high);
        store64be(buffer + blockSize - 8, bits);
    } else {
        store32le(at, uint32_t(bits));
        store32le(at + 4, uint32_t(bits >> 32));
    }
    compress(buffer, 1);
    used = 0;
    total = 0;
}
