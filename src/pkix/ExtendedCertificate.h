// ExtendedCertificateInfo ::= SEQUENCE {
//     version      CMSVersion,
//     certificate  Certificate,
//     attributes   UnauthAttributes }               -- SET OF Attribute
//
// ExtendedCertificate ::= SEQUENCE {                -- [0] IMPLICIT in a certificate set
//     extendedCertificateInfo  ExtendedCertificateInfo,
//     signatureAlgorithm       SignatureAlgorithmIdentifier,
//     signature                Signature }           -- BIT STRING
//
// The PKCS#6 form that PKCS#7 allowed next to plain certificates. Like a certificate it keeps,
// when read through a SecureBuffer, the digest of its signed part as the bytes came.
#ifndef SIGILO_PKIX_EXTENDEDCERTIFICATE_H
#define SIGILO_PKIX_EXTENDEDCERTIFICATE_H

class AlgorithmIdentifier;
class AttributeSet;
class Buffer;
class Certificate;
class CryptoDevice;
class DigestInfo;
class KeyInfo;
class SecureBuffer;
class Signature;

class ExtendedCertificateInfo {
public:
    ExtendedCertificateInfo();
    ~ExtendedCertificateInfo();

    ExtendedCertificateInfo(const ExtendedCertificateInfo&) = delete;
    ExtendedCertificateInfo& operator=(const ExtendedCertificateInfo&) = delete;

    ExtendedCertificateInfo* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    Certificate* getCertificate() const;
    const Certificate* _getCertificate() const { return certificate; }
    void setCertificate(const Certificate* c);
    AttributeSet* getAttributes() const;
    void setAttributes(const AttributeSet* set);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    int version;
    Certificate* certificate;
    AttributeSet* attributes;
};

class ExtendedCertificate {
public:
    ExtendedCertificate();
    ~ExtendedCertificate();

    ExtendedCertificate(const ExtendedCertificate&) = delete;
    ExtendedCertificate& operator=(const ExtendedCertificate&) = delete;

    ExtendedCertificate* clone() const;

    ExtendedCertificateInfo* getExtendedCertificateInfo() const;
    const ExtendedCertificateInfo* _getExtendedCertificateInfo() const { return info; }
    void setExtendedCertificateInfo(const ExtendedCertificateInfo* value);
    AlgorithmIdentifier* getSignatureAlgorithm() const;
    void setSignatureAlgorithm(const AlgorithmIdentifier* algorithm);
    Signature* getSignature() const;
    void setSignature(const Signature* s);

    // 255 when the device confirms the signature over the digest kept from a SecureBuffer
    // read, or over the re-encoded signed part when there is none; 0 otherwise.
    unsigned char checkSignature(CryptoDevice* device, KeyInfo* key);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(SecureBuffer* b);

private:
    unsigned char read(unsigned char tag, Buffer* b, SecureBuffer* secure);
    unsigned int contentLength(Buffer* b);
    void clear();

    ExtendedCertificateInfo* info;
    AlgorithmIdentifier* signatureAlgorithm;
    Signature* signature;
    DigestInfo* digest;
};

#endif
