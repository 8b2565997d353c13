// SignerInfo ::= SEQUENCE {                             -- CMS, definite length only
//     version             CMSVersion,
//     sid                 SignerIdentifier,
//     digestAlgorithm     DigestAlgorithmIdentifier,
//     signedAttrs         [0] IMPLICIT SignedAttributes OPTIONAL,     -- 0xA0
//     signatureAlgorithm  SignatureAlgorithmIdentifier,
//     signature           SignatureValue,                             -- OCTET STRING
//     unsignedAttrs       [1] IMPLICIT UnsignedAttributes OPTIONAL }  -- 0xA1
//
// SignerInfos ::= SET OF SignerInfo
//
// The signed attributes are kept as read, in order, so that their DER re-encoding under the SET
// tag is the byte string the signer signed.
#ifndef SIGILO_PKIX_SIGNERINFO_H
#define SIGILO_PKIX_SIGNERINFO_H

#include "asn1/AsnList.h"

class AlgorithmIdentifier;
class AttributeSet;
class Buffer;
class SignerIdentifier;

class SignerInfo {
public:
    SignerInfo();
    ~SignerInfo();

    SignerInfo(const SignerInfo&) = delete;
    SignerInfo& operator=(const SignerInfo&) = delete;

    SignerInfo* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    SignerIdentifier* getSid() const;
    const SignerIdentifier* _getSid() const { return sid; }
    void setSid(const SignerIdentifier* value);
    AlgorithmIdentifier* getDigestAlgorithm() const;
    const AlgorithmIdentifier* _getDigestAlgorithm() const { return digestAlgorithm; }
    void setDigestAlgorithm(const AlgorithmIdentifier* algorithm);
    AttributeSet* getSignedAttrs() const;
    const AttributeSet* _getSignedAttrs() const { return signedAttrs; }
    void setSignedAttrs(const AttributeSet* set);
    AlgorithmIdentifier* getSignatureAlgorithm() const;
    const AlgorithmIdentifier* _getSignatureAlgorithm() const { return signatureAlgorithm; }
    void setSignatureAlgorithm(const AlgorithmIdentifier* algorithm);
    unsigned char* getSignature() const;
    const unsigned char* _getSignature() const { return signature; }
    unsigned int getSignatureLen() const { return signatureLen; }
    void setSignature(const unsigned char* value, unsigned int length);
    AttributeSet* getUnsignedAttrs() const;
    const AttributeSet* _getUnsignedAttrs() const { return unsignedAttrs; }
    void setUnsignedAttrs(const AttributeSet* set);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    SignerIdentifier* sid;
    AlgorithmIdentifier* digestAlgorithm;
    AttributeSet* signedAttrs;
    AlgorithmIdentifier* signatureAlgorithm;
    unsigned char* signature;
    unsigned int signatureLen;
    AttributeSet* unsignedAttrs;
};

class SignerInfoSet : public AsnList<SignerInfo, SignerInfoSet, kSetTag> {
public:
    void addSignerInfo(const SignerInfo* s) { addElementCopy(s); }
    SignerInfo* getSignerInfo(int i) const { return getElement(i); }
};

#endif
