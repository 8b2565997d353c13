// RIPEMD-160, as the German signature rules name it (1.3.36.3.2.1).
#ifndef SIGILO_CRYPTO_RIPEMD160_H
#define SIGILO_CRYPTO_RIPEMD160_H

#include "crypto/MessageDigest.h"

class RIPEMD160 : public BlockDigest {
public:
    static constexpr unsigned int kLength = 20;
    RIPEMD160();
    void reset() override;
    void final(unsigned char* out) override;
    unsigned int getLength() const override { return kLength; }
    const char* getOID() const override { return "1.3.36.3.2.1"; }
    MessageDigest* newInstance() const override { return new RIPEMD160(); }

protected:
    void compress(const unsigned char* p, size_t blocks) override;

private:
    uint32_t h[5];
};

#endif
