// Certificate ::= SEQUENCE {
//     tbsCertificate      TBSCertificate,
//     signatureAlgorithm  AlgorithmIdentifier,
//     signatureValue      BIT STRING }
//
// CertList ::= SEQUENCE OF Certificate
//
// A certificate read through a SecureBuffer keeps the digest of its to-be-signed bytes as they
// came (`digest`), and checkSignature verifies over that; one read through a plain Buffer has
// no digest, and is verified over its re-encoded to-be-signed part. checkSignature1 always
// re-encodes and verifies over the bytes. The two sources are kept apart on purpose: a
// certificate that does not re-encode to its own bytes verifies only from the SecureBuffer.
//
// The reader does not compare the inner signature algorithm with the outer one, and leaves any
// bytes after the certificate unread.
#ifndef SIGILO_PKIX_CERTIFICATE_H
#define SIGILO_PKIX_CERTIFICATE_H

#include "asn1/AsnList.h"

class AlgorithmIdentifier;
class Buffer;
class CertificateInfo;
class CryptoDevice;
class DigestInfo;
class KeyInfo;
class SecureBuffer;
class Signature;

class Certificate {
public:
    // The label of the PEM form.
    static constexpr const char* kPEMLabel = "CERTIFICATE";

    Certificate();
    ~Certificate();

    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    Certificate* clone() const;

    CertificateInfo* getCertInfo() const;
    const CertificateInfo* _getCertInfo() const { return certInfo; }
    void setCertInfo(const CertificateInfo* info);
    AlgorithmIdentifier* getSignAlgorithm() const;
    const AlgorithmIdentifier* _getSignAlgorithm() const { return signAlgorithm; }
    void setSignAlgorithm(const AlgorithmIdentifier* algorithm);
    void setSignAlgorithm(const char* dotted);
    Signature* getSign() const;
    const Signature* _getSign() const { return sign; }
    void setSign(const Signature* s);
    // The digest of the to-be-signed bytes, when known; a copy, or null.
    DigestInfo* getDigest() const;

    // The encoding flag of the public key (CertificateInfo::isBEREncoded); true when there is
    // no to-be-signed part.
    bool isBEREncoded() const;

    // Verifies with the outer algorithm over the kept digest, computing it first from the
    // re-encoded to-be-signed part when there is none. 255 when the device confirms the
    // signature; 0 for any failure, a missing part or a device that cannot verify.
    unsigned char checkSignature(CryptoDevice* device, KeyInfo* key);
    // Verifies over the re-encoded to-be-signed bytes, always.
    unsigned char checkSignature1(CryptoDevice* device, KeyInfo* key);

    // Reads the outer SEQUENCE, whose length must lie within the written data, then the three
    // parts from where each one stopped.
    unsigned char unwrapASN1(Buffer* b);
    // As above, and digests the to-be-signed bytes as they came with the outer algorithm.
    unsigned char unwrapASN1(SecureBuffer* b);

    unsigned int getWrapLength(Buffer* b);
    // The three parts as they are; an absent signature is left out.
    void wrapASN1(Buffer* b);
    // Signs first (with the buffer's device) when there is no signature; 0 when that fails.
    unsigned char wrapASN1(SecureBuffer* b);
    // Signs first when there is no signature: the digester digests the to-be-signed part and
    // the signer signs the encoded DigestInfo. 0 when that fails.
    unsigned char wrapASN1(SecureBuffer* b, CryptoDevice* signer, CryptoDevice* digester);

    // PEM with the label "CERTIFICATE"; reading accepts any label. 0 on failure.
    unsigned char writePEMFile(int descriptor, SecureBuffer* b);
    unsigned char readPEMFile(int descriptor, SecureBuffer* b);

    // The description of CertificateInfo followed by the signature algorithm. A new string.
    char* getPrintableString() const;

private:
    unsigned int contentLength(Buffer* b);
    void writeParts(Buffer* b);

    CertificateInfo* certInfo;
    AlgorithmIdentifier* signAlgorithm;
    Signature* sign;
    DigestInfo* digest;
};

class CertList : public AsnList<Certificate, CertList, kSequenceTag> {
public:
    void addCertificate(const Certificate* c) { addElementCopy(c); }
    Certificate* getCertificate(int i) const { return getElement(i); }
};

#endif
