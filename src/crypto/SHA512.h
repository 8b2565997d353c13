// SHA-512 and SHA-384 (FIPS 180-4): one compression function, two initial values and lengths.
#ifndef SIGILO_CRYPTO_SHA512_H
#define SIGILO_CRYPTO_SHA512_H

#include "crypto/MessageDigest.h"

class SHA512 : public BlockDigest {
public:
    static constexpr unsigned int kLength = 64;
    SHA512();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "2.16.840.1.101.3.4.2.3"; }
    MessageDigest* newInstance() const override { return new SHA512(); }

protected:
    void compress(const unsigned char* p, size_t blocks) override;
    // Pads and writes the first n bytes of the state.
    void finish(unsigned char* out, unsigned int n);

    uint64_t h[8];
};

class SHA384 : public SHA512 {
public:
    static constexpr unsigned int kLength = 48;
    SHA384();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "2.16.840.1.101.3.4.2.2"; }
    MessageDigest* newInstance() const override { return new SHA384(); }
};

#endif
