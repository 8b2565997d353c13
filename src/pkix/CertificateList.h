// CertificateList ::= SEQUENCE {
//     tbsCertList          TBSCertList,
//     signatureAlgorithm   AlgorithmIdentifier,
//     signatureValue       BIT STRING }
//
// CertificateRevocationLists ::= SET OF CertificateList     -- the PKCS#7 form
//
// Read through a SecureBuffer, the CRL keeps the digest of its signed part as the bytes came
// (`digest`), and checkSignature verifies over it: CRLs fetched from the network take this path,
// so no re-encoding stands between the signed bytes and the check. Read through a plain Buffer
// it has no digest, and checkSignature refuses; checkSignature1 re-encodes a given signed part
// and verifies over those bytes.
#ifndef SIGILO_PKIX_CERTIFICATELIST_H
#define SIGILO_PKIX_CERTIFICATELIST_H

#include "asn1/AsnList.h"

class AlgorithmIdentifier;
class Buffer;
class CertificateListInfo;
class CryptoDevice;
class DigestInfo;
class KeyInfo;
class SecureBuffer;
class Signature;

class CertificateList {
public:
    CertificateList();
    ~CertificateList();

    CertificateList(const CertificateList&) = delete;
    CertificateList& operator=(const CertificateList&) = delete;

    CertificateList* clone() const;

    // Copies the caller deletes, or null.
    CertificateListInfo* getCertListInfo() const;
    const CertificateListInfo* _getCertListInfo() const { return certListInfo; }
    void setCertListInfo(const CertificateListInfo* info);
    // Hands the signed part over to the caller, who deletes it; the list keeps none.
    CertificateListInfo* _detachCertListInfo();
    AlgorithmIdentifier* getSignAlgorithm() const;
    const AlgorithmIdentifier* _getSignAlgorithm() const { return signAlgorithm; }
    void setSignAlgorithm(const AlgorithmIdentifier* algorithm);
    Signature* getSign() const;
    void setSign(const Signature* s);
    DigestInfo* getDigest() const;

    // 255 when the device confirms the signature over the stored digest with the key; 0 for
    // any failure, and when there is no digest (the CRL was not read from a SecureBuffer).
    unsigned char checkSignature(CryptoDevice* device, KeyInfo* key);
    // Verifies this CRL's signature over the DER of the given signed part.
    unsigned char checkSignature1(CryptoDevice* device, CertificateListInfo* info, KeyInfo* key);

    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(SecureBuffer* b);
    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    // Signs first (with the buffer's device) when there is no signature; 0 when that fails.
    unsigned char wrapASN1(SecureBuffer* b);
    // Signs first when there is no signature: the digester digests the signed part and the
    // signer signs the DigestInfo. 0 when that fails.
    unsigned char wrapASN1(SecureBuffer* b, CryptoDevice* signer, CryptoDevice* digester);

private:
    unsigned char read(Buffer* b, SecureBuffer* secure);
    unsigned int contentLength(Buffer* b);
    void writeParts(Buffer* b);
    void clear();

    CertificateListInfo* certListInfo;
    AlgorithmIdentifier* signAlgorithm;
    Signature* sign;
    DigestInfo* digest;
};

class CertificateRevocationLists
    : public AsnList<CertificateList, CertificateRevocationLists, kSetTag> {
public:
    void addCertificateList(const CertificateList* c) { addElementCopy(c); }
    CertificateList* getCertificateList(int i) const { return getElement(i); }
};

#endif
