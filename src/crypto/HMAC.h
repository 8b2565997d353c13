// HMAC (RFC 2104) over any MessageDigest.
#ifndef SIGILO_CRYPTO_HMAC_H
#define SIGILO_CRYPTO_HMAC_H

#include <memory>

#include "crypto/MessageDigest.h"

class HMAC {
public:
    // Takes its own copies of the hash (by newInstance) and of the key.
    HMAC();
    ~HMAC();
    HMAC(const HMAC&) = delete;
    HMAC& operator=(const HMAC&) = delete;

    // Starts a MAC under the key with the hash's algorithm; false for a null hash.
    bool init(const MessageDigest* hash, const unsigned char* key, unsigned long keyLen);
    void update(const unsigned char* data, unsigned long len);
    // Writes getLength() bytes; the key stays set, so that a new message can follow.
    void final(unsigned char* out);
    unsigned int getLength() const { return inner ? inner->getLength() : 0; }

private:
    std::unique_ptr<MessageDigest> inner;
    std::unique_ptr<MessageDigest> outer;
    unsigned char innerPad[MessageDigest::kMaxBlockSize];
    unsigned char outerPad[MessageDigest::kMaxBlockSize];
};

#endif
