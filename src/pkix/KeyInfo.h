// KeyInfo: a subject public key record.
//
// SubjectPublicKeyInfo ::= SEQUENCE {
//     algorithm         AlgorithmIdentifier,
//     subjectPublicKey  BIT STRING }
//
// The key bits are kept as they came, so that a certificate re-encodes byte for byte; the key
// itself is decoded from them on demand.
#ifndef SIGILO_PKIX_KEYINFO_H
#define SIGILO_PKIX_KEYINFO_H

class AlgorithmIdentifier;
class Buffer;
class Key;

class KeyInfo {
public:
    static constexpr const char* kRSAEncryption = "1.2.840.113549.1.1.1";

    KeyInfo();
    // A record for the key under the given algorithm (rsaEncryption when null).
    explicit KeyInfo(Key* key, const AlgorithmIdentifier* algorithm = nullptr);
    ~KeyInfo();

    KeyInfo(const KeyInfo&) = delete;
    KeyInfo& operator=(const KeyInfo&) = delete;

    KeyInfo* clone() const;

    AlgorithmIdentifier* getAlgorithm() const;
    AlgorithmIdentifier* _getAlgorithm() const { return algorithm; }
    void setAlgorithm(const AlgorithmIdentifier* a);

    // The decoded key (an RSAPublicKey for rsaEncryption), a new object the caller deletes;
    // null for another algorithm or bits that do not decode.
    Key* getKey() const;
    // Replaces the key bits by the encoding of the key.
    void setKey(Key* key);

    // The BIT STRING content: the encoded key.
    const unsigned char* _getKeyBits() const { return bits; }
    unsigned int getKeyBitsLength() const { return length; }

    // True when the key decodes and its integers had no redundant bytes.
    bool isBEREncoded() const;
    unsigned char isEqual(const KeyInfo* other) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    AlgorithmIdentifier* algorithm;
    unsigned char* bits;
    unsigned int length;
    unsigned char unused;
};

#endif
