// EvidenceRecord ::= SEQUENCE {                          -- RFC 4998
//     version                   INTEGER { v1(1) },
//     digestAlgorithms          SEQUENCE OF AlgorithmIdentifier,
//     cryptoInfos               [0] CryptoInfos OPTIONAL,      -- IMPLICIT: 0xA0
//     encryptionInfo            [1] EncryptionInfo OPTIONAL,   -- IMPLICIT: 0xA1
//     archiveTimeStampSequence  ArchiveTimeStampSequence }
//
// An evidence record of a TimeStampedData (ersEvidence, IMPLICIT [1] there). The verifier does
// not walk archive time-stamp chains, so the version and the digest algorithms are read and the
// three other members are carried as their DER elements, each checked only to be one whole
// element. The tagged forms take the buffer first and the tag second.
#ifndef SIGILO_PKIX_EVIDENCERECORD_H
#define SIGILO_PKIX_EVIDENCERECORD_H

class AlgorithmIdentifierList;
class Buffer;

class EvidenceRecord {
public:
    EvidenceRecord();
    ~EvidenceRecord();

    EvidenceRecord(const EvidenceRecord&) = delete;
    EvidenceRecord& operator=(const EvidenceRecord&) = delete;

    EvidenceRecord* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    AlgorithmIdentifierList* getDigestAlgorithms() const;
    const AlgorithmIdentifierList* _getDigestAlgorithms() const { return digestAlgorithms; }
    void setDigestAlgorithms(const AlgorithmIdentifierList* list);
    // The members carried whole (header included): copies the caller deletes, or null.
    unsigned char* getCryptoInfos() const;
    unsigned int getCryptoInfosLen() const { return cryptoInfosLen; }
    void setCryptoInfos(const unsigned char* der, unsigned int length);
    unsigned char* getEncryptionInfo() const;
    unsigned int getEncryptionInfoLen() const { return encryptionInfoLen; }
    void setEncryptionInfo(const unsigned char* der, unsigned int length);
    unsigned char* getArchiveTimeStampSequence() const;
    const unsigned char* _getArchiveTimeStampSequence() const { return archiveTimeStamps; }
    unsigned int getArchiveTimeStampSequenceLen() const { return archiveTimeStampsLen; }
    void setArchiveTimeStampSequence(const unsigned char* der, unsigned int length);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(Buffer* b, unsigned char tag);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b, unsigned char tag);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    AlgorithmIdentifierList* digestAlgorithms;
    unsigned char* cryptoInfos;
    unsigned int cryptoInfosLen;
    unsigned char* encryptionInfo;
    unsigned int encryptionInfoLen;
    unsigned char* archiveTimeStamps;
    unsigned int archiveTimeStampsLen;
};

#endif
