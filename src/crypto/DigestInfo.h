// DigestInfo ::= SEQUENCE {
//     digestAlgorithm  AlgorithmIdentifier,
//     digest           OCTET STRING }
#ifndef SIGILO_CRYPTO_DIGESTINFO_H
#define SIGILO_CRYPTO_DIGESTINFO_H

class AlgorithmIdentifier;
class Buffer;

class DigestInfo {
public:
    DigestInfo();
    DigestInfo(const AlgorithmIdentifier* algorithm, const unsigned char* digest,
               unsigned int length);
    DigestInfo(const char* dottedAlgorithm, const unsigned char* digest, unsigned int length);
    ~DigestInfo();

    DigestInfo(const DigestInfo&) = delete;
    DigestInfo& operator=(const DigestInfo&) = delete;

    DigestInfo* clone() const;

    AlgorithmIdentifier* getAlgorithm() const;
    AlgorithmIdentifier* _getAlgorithm() const { return algorithm; }
    void setAlgorithm(const AlgorithmIdentifier* a);
    // Whether the algorithm's parameters (NULL) are written: 255 yes, 0 no.
    void setUseAlgorithmParameters(unsigned char use);
    // 255 when the parameters are written, 0 when not (and when there is no algorithm).
    unsigned char getUseAlgorithmParameters() const;

    // A copy the caller deletes; null when there is no digest.
    unsigned char* getDigest() const;
    const unsigned char* _getDigest() const { return digest; }
    unsigned int getLength() const { return length; }
    void setDigest(const unsigned char* p, unsigned int n);

    // Same algorithm OID and the same digest bytes.
    unsigned char isEqual(const DigestInfo* other) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    AlgorithmIdentifier* algorithm;
    unsigned char* digest;
    unsigned int length;
};

#endif
