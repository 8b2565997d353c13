// CryptoDevice: the one class through which the system does cryptography, over a session on a
// PKCS#11 token. The operations are virtual so that a subclass can replace the token. Until a
// token is opened every operation fails with CKR_FUNCTION_NOT_SUPPORTED in lastError.
#ifndef SIGILO_CRYPTO_CRYPTODEVICE_H
#define SIGILO_CRYPTO_CRYPTODEVICE_H

class AlgorithmIdentifier;
class DigestInfo;
class KeyInfo;
class Signature;

class CryptoDevice {
public:
    CryptoDevice();
    virtual ~CryptoDevice();

    CryptoDevice(const CryptoDevice&) = delete;
    CryptoDevice& operator=(const CryptoDevice&) = delete;

    // Fills n random bytes; 0 on failure.
    virtual unsigned char random(unsigned char* out, unsigned long n);

    // Digests: a DigestInfo the caller deletes, or null with lastError set.
    virtual unsigned char setDigestAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setDigestAlgorithm(const char* dotted);
    virtual DigestInfo* digest(const unsigned char* data, unsigned long len);
    virtual unsigned char initDigest();
    virtual unsigned char updateDigest(const unsigned char* data, unsigned long len);
    virtual DigestInfo* finalDigest();

    virtual unsigned char setCryptoAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setSignAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char setSignAlgorithm(const char* dotted);
    // Signatures: a Signature the caller deletes, or null with lastError set.
    virtual Signature* sign(const unsigned char* data, unsigned long len);
    virtual unsigned char initSign();
    virtual unsigned char updateSign(const unsigned char* data, unsigned long len);
    virtual Signature* finalSign();

    // Public-key encryption with a key record: a new array the caller deletes, size in *outLen.
    virtual unsigned char* encrypt(const unsigned char* data, unsigned long len, KeyInfo* key,
                                   unsigned long* outLen);
    virtual unsigned char* decrypt(const unsigned char* data, unsigned long len, KeyInfo* key,
                                   unsigned long* outLen);

    // Symmetric ciphers with the current cipher key.
    virtual unsigned char setCipherAlgorithm(AlgorithmIdentifier* algorithm);
    virtual unsigned char* encode(const unsigned char* data, unsigned long len,
                                  unsigned long* outLen);
    virtual unsigned char* decode(const unsigned char* data, unsigned long len,
                                  unsigned long* outLen);

    unsigned long getErrorCodeNumeric() const { return lastError; }

protected:
    unsigned long lastError;
};

#endif
