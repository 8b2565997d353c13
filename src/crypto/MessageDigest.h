// MessageDigest: the token's hash functions behind one interface, so that a session can hold
// "the current digester" whatever the mechanism. BlockDigest carries what the Merkle-Damgard
// functions share: the partial block, the byte count and the final padding.
#ifndef SIGILO_CRYPTO_MESSAGEDIGEST_H
#define SIGILO_CRYPTO_MESSAGEDIGEST_H

#include <cstddef>
#include <cstdint>

class MessageDigest {
public:
    static constexpr unsigned int kMaxLength = 64;
    static constexpr unsigned int kMaxBlockSize = 128;

    virtual ~MessageDigest() = default;
    virtual void reset() = 0;
    virtual void update(const unsigned char* data, unsigned long len) = 0;
    // Writes getLength() bytes and makes the object ready for a new message.
    virtual void final(unsigned char* out) = 0;
    virtual unsigned int getLength() const = 0;
    virtual unsigned int getBlockSize() const = 0;
    // The dotted OID of the algorithm, as a DigestInfo names it.
    virtual const char* getOID() const = 0;
    // A fresh object of the same algorithm, for HMAC's inner and outer hashes.
    virtual MessageDigest* newInstance() const = 0;

    // The whole digest of one message: a new array of getLength() bytes.
    unsigned char* digest(const unsigned char* data, unsigned long len);
};

class BlockDigest : public MessageDigest {
public:
    void update(const unsigned char* data, unsigned long len) override;
    unsigned int getBlockSize() const override { return blockSize; }

protected:
    // lengthBytes is 8 or 16: the size of the bit count at the end of the padding.
    BlockDigest(unsigned int blockSize, unsigned int lengthBytes, bool bigEndian);
    void resetCount();
    // Pads the message and runs the last block or two through compress.
    void pad();
    // Runs `blocks` whole blocks through the compression function.
    virtual void compress(const unsigned char* p, size_t blocks) = 0;

private:
    unsigned char buffer[kMaxBlockSize];
    unsigned int used;
    uint64_t total;
    unsigned int blockSize;
    unsigned int lengthBytes;
    bool bigEndian;
};

// Big-endian and little-endian loads and stores, and rotations, for the compression functions.
inline uint32_t load32be(const unsigned char* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}
inline uint32_t load32le(const unsigned char* p) {
    return (uint32_t(p[3]) << 24) | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
}
inline uint64_t load64be(const unsigned char* p) {
    return (uint64_t(load32be(p)) << 32) | load32be(p + 4);
}
inline void store32be(unsigned char* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}
inline void store32le(unsigned char* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}
inline void store64be(unsigned char* p, uint64_t v) {
    store32be(p, uint32_t(v >> 32));
    store32be(p + 4, uint32_t(v));
}
inline uint32_t rotl32(uint32_t x, int n) {
    return (x << n) | (x >> (32 - n));
}
inline uint32_t rotr32(uint32_t x, int n) {
    return (x >> n) | (x << (32 - n));
}
inline uint64_t rotr64(uint64_t x, int n) {
    return (x >> n) | (x << (64 - n));
}

#endif
