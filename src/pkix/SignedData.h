// SignedData ::= SEQUENCE {
//     version           CMSVersion,
//     digestAlgorithms  DigestAlgorithmIdentifiers,          -- SET OF AlgorithmIdentifier
//     content           ...,                                 -- by family, below
//     certificates      [0] IMPLICIT ... OPTIONAL,           -- 0xA0
//     crls              [1] IMPLICIT ... OPTIONAL,           -- 0xA1
//     signerInfos       SignerInfos }
//
// Two families, told apart by the version (see ContentInfo):
//
//                  PKCS7SignedData (version 1)       CMSSignedData (version 3 or 4)
//     content      ContentInfo                       EncapsulatedContentInfo
//     certificates ExtCertificatesAndCertificates    CertificateSet
//     crls         CertificateRevocationLists        RevocationInfoChoiceSet
//     signerInfos  PKCS7SignerInfoSet                SignerInfoSet
//
// Both read definite and indefinite forms. The readers answer 1 when read, 0 when the
// envelope does not parse, and 2 when it parsed up to the certificates and those failed, so
// that a bad certificate is told apart from a broken envelope. The CMS reader also accepts a
// certificate set wrapped in an EXPLICIT [0] (a universal SET inside the tag), which some
// signing tools write; the PKCS#7 reader does not retry.
#ifndef SIGILO_PKIX_SIGNEDDATA_H
#define SIGILO_PKIX_SIGNEDDATA_H

#include "pkix/Content.h"

class AlgorithmIdentifierSet;
class CertificateRevocationLists;
class CertificateSet;
class ContentInfo;
class EncapsulatedContentInfo;
class ExtCertificatesAndCertificates;
class PKCS7SignerInfoSet;
class RevocationInfoChoiceSet;
class SignerInfoSet;

class SignedData : public Content {
public:
    SignedData();
    ~SignedData() override;

    SignedData(const SignedData&) = delete;
    SignedData& operator=(const SignedData&) = delete;

    // The version of the SignedData at the read position, which does not move; all ones when
    // no SEQUENCE and INTEGER can be read there.
    static int peekVersion(Buffer* b);

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    AlgorithmIdentifierSet* getDigestAlgorithms() const;
    const AlgorithmIdentifierSet* _getDigestAlgorithms() const { return digestAlgorithms; }
    void setDigestAlgorithms(const AlgorithmIdentifierSet* set);

protected:
    void copyCommonTo(SignedData* target) const;
    // The SEQUENCE header (its form in *definite), the version and the digest algorithms.
    unsigned char readHead(Buffer* b, unsigned char* definite);
    // The signer set that closes the SEQUENCE, then the end-of-contents of an indefinite one:
    // 1 when read, 0 otherwise.
    template <class Signers>
    static unsigned char readTail(Buffer* b, unsigned char definite, Signers*& signers);
    // The length and the writing of the two common fields.
    unsigned int headLength(Buffer* b);
    void writeHead(Buffer* b);

    int version;
    AlgorithmIdentifierSet* digestAlgorithms;
};

class PKCS7SignedData : public SignedData {
public:
    PKCS7SignedData();
    ~PKCS7SignedData() override;

    PKCS7SignedData* clone() const override;

    ContentInfo* getContentInfo() const;
    ContentInfo* _getContentInfo() const { return contentInfo; }
    void setContentInfo(const ContentInfo* value);
    ExtCertificatesAndCertificates* getCertificates() const;
    const ExtCertificatesAndCertificates* _getCertificates() const { return certificates; }
    void setCertificates(const ExtCertificatesAndCertificates* set);
    CertificateRevocationLists* getCrls() const;
    const CertificateRevocationLists* _getCrls() const { return crls; }
    void setCrls(const CertificateRevocationLists* set);
    PKCS7SignerInfoSet* getSignerInfos() const;
    PKCS7SignerInfoSet* _getSignerInfos() const { return signerInfos; }
    void setSignerInfos(const PKCS7SignerInfoSet* set);

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned int contentLength(Buffer* b);
    void clear();

    ContentInfo* contentInfo;
    ExtCertificatesAndCertificates* certificates;
    CertificateRevocationLists* crls;
    PKCS7SignerInfoSet* signerInfos;
};

class CMSSignedData : public SignedData {
public:
    CMSSignedData();
    ~CMSSignedData() override;

    CMSSignedData* clone() const override;

    EncapsulatedContentInfo* getEncapContentInfo() const;
    EncapsulatedContentInfo* _getEncapContentInfo() const { return encapContentInfo; }
    void setEncapContentInfo(const EncapsulatedContentInfo* value);
    CertificateSet* getCertificates() const;
    const CertificateSet* _getCertificates() const { return certificates; }
    void setCertificates(const CertificateSet* set);
    RevocationInfoChoiceSet* getCrls() const;
    const RevocationInfoChoiceSet* _getCrls() const { return crls; }
    void setCrls(const RevocationInfoChoiceSet* set);
    SignerInfoSet* getSignerInfos() const;
    SignerInfoSet* _getSignerInfos() const { return signerInfos; }
    void setSignerInfos(const SignerInfoSet* set);

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned char readCertificates(Buffer* b);
    unsigned int contentLength(Buffer* b);
    void clear();

    EncapsulatedContentInfo* encapContentInfo;
    CertificateSet* certificates;
    RevocationInfoChoiceSet* crls;
    SignerInfoSet* signerInfos;
};

#endif
