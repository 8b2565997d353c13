// SecureBuffer: a Buffer bound to a CryptoDevice (not owned), so that a stretch of the bytes
// can be digested, signed or enciphered in place. It clears nothing by itself on destruction.
#ifndef SIGILO_ASN1_SECUREBUFFER_H
#define SIGILO_ASN1_SECUREBUFFER_H

#include "asn1/Buffer.h"

class AlgorithmIdentifier;
class CryptoDevice;
class DigestInfo;
class KeyInfo;
class Signature;

class SecureBuffer : public Buffer {
public:
    // Stretches up to this size go to the device in one call; longer ones in pieces of it.
    static constexpr unsigned int kDigestStep = 524288;

    explicit SecureBuffer(CryptoDevice* device = nullptr);
    SecureBuffer(unsigned int size, CryptoDevice* device);
    ~SecureBuffer() override;

    CryptoDevice* getCryptoDevice() const { return device; }
    void setCryptoDevice(CryptoDevice* d) { device = d; }

    // Digests (a DigestInfo the caller deletes, null on failure) of the bytes from 0 or from
    // `from` up to the write position (output forms) or the read position (input forms).
    DigestInfo* digestOutputMessage();
    DigestInfo* digestOutputMessage(unsigned int from);
    DigestInfo* digestInputMessage();
    DigestInfo* digestInputMessage(unsigned int from);
    // From `from` to `to` in a single call, whatever the size.
    DigestInfo* digestInputMessage(unsigned int from, unsigned int to);
    // From `from` to `to` in pieces of `step` bytes.
    DigestInfo* digestMessage(unsigned int from, unsigned int to, unsigned int step);

    Signature* signMessage();
    Signature* signMessage(unsigned int from);

    unsigned char setDigestAlgorithm(AlgorithmIdentifier* algorithm);
    unsigned char setSignAlgorithm(AlgorithmIdentifier* algorithm);
    unsigned char setCryptoAlgorithm(AlgorithmIdentifier* algorithm);
    unsigned char setCipherAlgorithm(AlgorithmIdentifier* algorithm);

    // The size of a 1024-bit signature as a BIT STRING.
    unsigned int getSignLength();

    // The first writePos bytes enciphered: with a public key, or with the current cipher key.
    // A new array the caller deletes, its size in *n.
    unsigned char* getCrypted(KeyInfo* key, unsigned long* n);
    unsigned char* getCiphered(unsigned long* n);
    // Deciphers the first writePos bytes and puts the result in their place; 255 on success.
    unsigned char setFromCrypted(KeyInfo* key);
    unsigned char setFromCiphered();

    unsigned char toCipheredFile(const char* path, KeyInfo* key);
    unsigned char fromCipheredFile(const char* path, KeyInfo* key);

private:
    // The stretch [from, to) in one call up to kDigestStep - 1 bytes of `sizeForTest`, else
    // in pieces.
    DigestInfo* digestStretch(unsigned int from, unsigned int to, unsigned int sizeForTest);
    Signature* signStretch(unsigned int from, unsigned int to);
    unsigned char replaceWith(unsigned char* bytes, unsigned long n);

    CryptoDevice* device;
};

#endif
