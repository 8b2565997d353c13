// SHA-256 (FIPS 180-4), with the processor's SHA extensions when it has them.
#ifndef SIGILO_CRYPTO_SHA256_H
#define SIGILO_CRYPTO_SHA256_H

#include "crypto/MessageDigest.h"

class SHA256 : public BlockDigest {
public:
    static constexpr unsigned int kLength = 32;
    SHA256();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "2.16.840.1.101.3.4.2.1"; }
    MessageDigest* newInstance() const override { return new SHA256(); }

protected:
    void compress(const unsigned char* p, size_t blocks) override;

private:
    uint32_t h[8];
};

#endif
