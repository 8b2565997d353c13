// MessageImprint ::= SEQUENCE {                          -- RFC 3161
//     hashAlgorithm  AlgorithmIdentifier,
//     hashedMessage  OCTET STRING }
//
// The digest a time stamp vouches for: of a signature value, of a detached document, or of a
// time-stamped content with its metadata.
#ifndef SIGILO_PKIX_MESSAGEIMPRINT_H
#define SIGILO_PKIX_MESSAGEIMPRINT_H

class AlgorithmIdentifier;
class Buffer;

class MessageImprint {
public:
    MessageImprint();
    // Copies of both; a null hash leaves the message absent.
    MessageImprint(const AlgorithmIdentifier* algorithm, const unsigned char* hash,
                   unsigned int length);
    ~MessageImprint();

    MessageImprint(const MessageImprint&) = delete;
    MessageImprint& operator=(const MessageImprint&) = delete;

    MessageImprint* clone() const;

    AlgorithmIdentifier* getHashAlgorithm() const;
    const AlgorithmIdentifier* _getHashAlgorithm() const { return hashAlgorithm; }
    void setHashAlgorithm(const AlgorithmIdentifier* algorithm);
    // The dotted OID of the algorithm, a new string; null when there is none.
    char* getHashAlgorithmName() const;
    unsigned char* getHashedMessage() const;
    const unsigned char* _getHashedMessage() const { return hashedMessage; }
    unsigned int getHashedMessageLen() const { return hashedMessageLen; }
    void setHashedMessage(const unsigned char* hash, unsigned int length);

    // 255 when both hold the same algorithm OID and the same digest bytes.
    unsigned char isEqual(const MessageImprint* other) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    AlgorithmIdentifier* hashAlgorithm;
    unsigned char* hashedMessage;
    unsigned int hashedMessageLen;
};

#endif
