// SHA-1 (FIPS 180-4), with the processor's SHA extensions when it has them.
#ifndef SIGILO_CRYPTO_SHA1_H
#define SIGILO_CRYPTO_SHA1_H

#include "crypto/MessageDigest.h"

class SHA1 : public BlockDigest {
public:
    static constexpr unsigned int kLength = 20;
    SHA1();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "1.3.14.3.2.26"; }
    MessageDigest* newInstance() const override { return new SHA1(); }

protected:
    void compress(const unsigned char* p, size_t blocks) override;

private:
    uint32_t h[5];
};

#endif
