// RandomGenerator: the source of random bytes for RSA padding, key generation and
// C_GenerateRandom. SystemRandomGenerator is the C library's 48-bit generator, seeded once per
// process from the clock in seconds: it is not a source of secrets.
#ifndef SIGILO_CRYPTO_RANDOMGENERATOR_H
#define SIGILO_CRYPTO_RANDOMGENERATOR_H

class RandomGenerator {
public:
    virtual ~RandomGenerator() = default;
    // A new 8-byte array the caller deletes.
    virtual unsigned char* random8() = 0;
    virtual long random() = 0;
    virtual long lrandom() = 0;
    // Fills n bytes, eight at a time, the remainder from one more group of eight.
    virtual void random(unsigned char* out, unsigned int n) = 0;
};

class SystemRandomGenerator : public RandomGenerator {
public:
    unsigned char* random8() override;
    long random() override;
    long lrandom() override;
    void random(unsigned char* out, unsigned int n) override;

private:
    static void seed();
    static unsigned char initialized;
};

#endif
