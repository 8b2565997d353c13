#include "crypto/HMAC.h"

#include <cstring>

HMAC::HMAC() : innerPad(), outerPad() {}

HMAC::~HMAC() {
    memset(innerPad, 0, sizeof innerPad);
    memset(outerPad, 0, sizeof outerPad);
}

bool HMAC::init(const MessageDigest* hash, const unsigned char* key, unsigned long keyLen) {
    if (hash == nullptr) return false;
    inner.reset(hash->newInstance());
    outer.reset(hash->newInstance());
    unsigned int block = inner->getBlockSize();
    unsigned char k[MessageDigest::kMaxBlockSize] = {};
    if (keyLen > block) {
        inner->reset();
        inner->update(key, keyLen);
        inner->final(k);
    } else if (key != nullptr && keyLen > 0) {
        memcpy(k, key, keyLen);
    }
    for (unsigned int i = 0; i < block; ++i) {
        innerPad[i] = static_cast<unsigned char>(k[i] ^ 0x36);
        outerPad[i] = static_cast<unsigned char>(k[i] ^ 0x5c);
    }
    memset(k, 0, sizeof k);
    inner->reset();
    inner->update(innerPad, block);
    return true;
}

void HMAC::update(const unsigned char* data, unsigned long len) {
    if (inner) inner->update(data, len);
}

void HMAC::final(unsigned char* out) {
    if (!inner) return;
    unsigned char innerHash[MessageDigest::kMaxLength];
    inner->final(innerHash);
    outer->reset();
    outer->update(outerPad, outer->getBlockSize());
    outer->update(innerHash, inner->getLength());
    outer->final(out);
    inner->reset();
    inner->update(innerPad, inner->getBlockSize());
}
