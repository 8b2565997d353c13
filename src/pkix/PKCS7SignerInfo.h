// SignerInfo ::= SEQUENCE {                             -- PKCS#7, definite or indefinite
//     version                    Version,
//     issuerAndSerialNumber      IssuerAndSerialNumber,
//     digestAlgorithm            DigestAlgorithmIdentifier,
//     authenticatedAttributes    [0] IMPLICIT Attributes OPTIONAL,     -- 0xA0
//     digestEncryptionAlgorithm  DigestEncryptionAlgorithmIdentifier,
//     encryptedDigest            EncryptedDigest,                      -- OCTET STRING
//     unauthenticatedAttributes  [1] IMPLICIT Attributes OPTIONAL }    -- 0xA1
//
// SignerInfos ::= SET OF SignerInfo
#ifndef SIGILO_PKIX_PKCS7SIGNERINFO_H
#define SIGILO_PKIX_PKCS7SIGNERINFO_H

#include "asn1/AsnList.h"

class AlgorithmIdentifier;
class AttributeSet;
class Buffer;
class IssuerAndSerialNumber;

class PKCS7SignerInfo {
public:
    PKCS7SignerInfo();
    ~PKCS7SignerInfo();

    PKCS7SignerInfo(const PKCS7SignerInfo&) = delete;
    PKCS7SignerInfo& operator=(const PKCS7SignerInfo&) = delete;

    PKCS7SignerInfo* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    IssuerAndSerialNumber* getIssuerAndSerialNumber() const;
    const IssuerAndSerialNumber* _getIssuerAndSerialNumber() const { return issuerAndSerial; }
    void setIssuerAndSerialNumber(const IssuerAndSerialNumber* value);
    AlgorithmIdentifier* getDigestAlgorithm() const;
    const AlgorithmIdentifier* _getDigestAlgorithm() const { return digestAlgorithm; }
    void setDigestAlgorithm(const AlgorithmIdentifier* algorithm);
    AttributeSet* getAuthenticatedAttrs() const;
    const AttributeSet* _getAuthenticatedAttrs() const { return authenticatedAttrs; }
    void setAuthenticatedAttrs(const AttributeSet* set);
    AlgorithmIdentifier* getDigestEncryptionAlgorithm() const;
    const AlgorithmIdentifier* _getDigestEncryptionAlgorithm() const {
        return digestEncryptionAlgorithm;
    }
    void setDigestEncryptionAlgorithm(const AlgorithmIdentifier* algorithm);
    unsigned char* getEncryptedDigest() const;
    const unsigned char* _getEncryptedDigest() const { return encryptedDigest; }
    unsigned int getEncryptedDigestLen() const { return encryptedDigestLen; }
    void setEncryptedDigest(const unsigned char* value, unsigned int length);
    AttributeSet* getUnauthenticatedAttrs() const;
    const AttributeSet* _getUnauthenticatedAttrs() const { return unauthenticatedAttrs; }
    void setUnauthenticatedAttrs(const AttributeSet* set);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    IssuerAndSerialNumber* issuerAndSerial;
    AlgorithmIdentifier* digestAlgorithm;
    AttributeSet* authenticatedAttrs;
    AlgorithmIdentifier* digestEncryptionAlgorithm;
    unsigned char* encryptedDigest;
    unsigned int encryptedDigestLen;
    AttributeSet* unauthenticatedAttrs;
};

class PKCS7SignerInfoSet : public AsnList<PKCS7SignerInfo, PKCS7SignerInfoSet, kSetTag> {
public:
    void addSignerInfo(const PKCS7SignerInfo* s) { addElementCopy(s); }
    PKCS7SignerInfo* getSignerInfo(int i) const { return getElement(i); }
};

#endif
