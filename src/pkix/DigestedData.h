// DigestedData ::= SEQUENCE {
//     version           CMSVersion,
//     digestAlgorithm   DigestAlgorithmIdentifier,
//     content           ...,         -- ContentInfo (PKCS#7, version 0) or
//                                    -- EncapsulatedContentInfo (CMS, version 2 or 4)
//     digest            Digest }     -- OCTET STRING
//
// Carried through the readers so that an envelope holding one is read whole; nothing verifies
// the digest.
#ifndef SIGILO_PKIX_DIGESTEDDATA_H
#define SIGILO_PKIX_DIGESTEDDATA_H

#include "pkix/Content.h"

class AlgorithmIdentifier;
class ContentInfo;
class EncapsulatedContentInfo;

class DigestedData : public Content {
public:
    DigestedData();
    ~DigestedData() override;

    DigestedData(const DigestedData&) = delete;
    DigestedData& operator=(const DigestedData&) = delete;

    // As SignedData::peekVersion.
    static int peekVersion(Buffer* b);

    int getVersion() const { return version; }
    AlgorithmIdentifier* getDigestAlgorithm() const;
    unsigned char* getDigest() const;
    unsigned int getDigestLen() const { return digestLen; }

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

protected:
    void copyTo(DigestedData* target) const;
    // The content between the algorithm and the digest, by family.
    virtual unsigned int contentPartLength(Buffer* b) = 0;
    virtual void writeContentPart(Buffer* b) = 0;
    virtual unsigned char readContentPart(Buffer* b, bool borrow) = 0;

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned int contentLength(Buffer* b);

    int version;
    AlgorithmIdentifier* digestAlgorithm;
    unsigned char* digest;
    unsigned int digestLen;
};

class PKCS7DigestedData : public DigestedData {
public:
    PKCS7DigestedData();
    ~PKCS7DigestedData() override;

    PKCS7DigestedData* clone() const override;
    ContentInfo* _getContentInfo() const { return contentInfo; }

protected:
    unsigned int contentPartLength(Buffer* b) override;
    void writeContentPart(Buffer* b) override;
    unsigned char readContentPart(Buffer* b, bool borrow) override;

private:
    ContentInfo* contentInfo;
};

class CMSDigestedData : public DigestedData {
public:
    CMSDigestedData();
    ~CMSDigestedData() override;

    CMSDigestedData* clone() const override;
    EncapsulatedContentInfo* _getEncapContentInfo() const { return encapContentInfo; }

protected:
    unsigned int contentPartLength(Buffer* b) override;
    void writeContentPart(Buffer* b) override;
    unsigned char readContentPart(Buffer* b, bool borrow) override;

private:
    EncapsulatedContentInfo* encapContentInfo;
};

#endif
