// MD5 (RFC 1321). Kept for old signatures and for HMAC-MD5; nothing new is made with it.
#ifndef SIGILO_CRYPTO_MD5_H
#define SIGILO_CRYPTO_MD5_H

#include "crypto/MessageDigest.h"

class MD5 : public BlockDigest {
public:
    static constexpr unsigned int kLength = 16;
    MD5();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "1.2.840.113549.2.5"; }
    MessageDigest* newInstance() const override { return new MD5(); }

protected:
    void compress(const unsigned char* p, size_t blocks) override;

private:
    uint32_t h[4];
};

#endif
