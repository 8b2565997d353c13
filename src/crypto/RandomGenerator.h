// RandomGenerator: the source of random bytes for RSA padding, key generation and
// C_GenerateRandom. SystemRandomGenerator draws every byte from the operating system
// (getrandom), so that keys and padding made by two processes, or by one process twice, have
// nothing in common.
#ifndef SIGILO_CRYPTO_RANDOMGENERATOR_H
#define SIGILO_CRYPTO_RANDOMGENERATOR_H

class RandomGenerator {
public:
    virtual ~RandomGenerator() = default;
    // A new 8-byte array the caller deletes.
    virtual unsigned char* random8() = 0;
    // 32 random bits, sign-extended like mrand48.
    virtual long random() = 0;
    // 31 random bits, never negative, like lrand48.
    virtual long lrandom() = 0;
    // Fills n bytes.
    virtual void random(unsigned char* out, unsigned int n) = 0;
};

class SystemRandomGenerator : public RandomGenerator {
public:
    unsigned char* random8() override;
    long random() override;
    long lrandom() override;
    void random(unsigned char* out, unsigned int n) override;

private:
    // Fills n bytes from the kernel; never returns with fewer.
    static void fill(unsigned char* out, unsigned int n);
};

#endif
