// Crypto: the base of the public-key ciphers. It holds the random source (not owned) that
// padding needs and the mode the subclass works in.
#ifndef SIGILO_CRYPTO_CRYPTO_H
#define SIGILO_CRYPTO_CRYPTO_H

class Key;
class RandomGenerator;

class Crypto {
public:
    explicit Crypto(RandomGenerator* generator = nullptr, int mode = 0)
        : generator(generator), mode(mode) {}
    virtual ~Crypto() = default;

    // New arrays the caller deletes, with the length in *len (in: the input length); null on
    // failure.
    virtual unsigned char* encode(const unsigned char* in, unsigned long* len, Key* key) = 0;
    virtual unsigned char* decode(const unsigned char* in, unsigned long* len, Key* key) = 0;
    virtual unsigned long getOutLength(Key* key) = 0;

    int getMode() const { return mode; }
    void setMode(int m) { mode = m; }
    RandomGenerator* getRandomGenerator() const { return generator; }
    void setRandomGenerator(RandomGenerator* g) { generator = g; }

protected:
    RandomGenerator* generator;
    int mode;
};

#endif
