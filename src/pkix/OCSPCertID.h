// CertID ::= SEQUENCE {                                   -- RFC 2560
//     hashAlgorithm   AlgorithmIdentifier,
//     issuerNameHash  OCTET STRING,  -- hash of the issuer's DN
//     issuerKeyHash   OCTET STRING,  -- hash of the issuer's public key bits
//     serialNumber    CertificateSerialNumber }
//
// The question of an OCSP request, and the echo of it in each answer. The two hashes are made
// by forIssuer from the issuer certificate: the name hash over the DER of its subject, the key
// hash over the content of its subjectPublicKey BIT STRING (without tag, length and the
// unused-bits byte).
#ifndef SIGILO_PKIX_OCSPCERTID_H
#define SIGILO_PKIX_OCSPCERTID_H

#include "crypto/BigInteger.h"

class AlgorithmIdentifier;
class Buffer;
class Certificate;
class CryptoDevice;

class OCSPCertID {
public:
    // id-sha1, the one hash the requests use.
    static constexpr const char* kSHA1 = "1.3.14.3.2.26";

    OCSPCertID();
    ~OCSPCertID();

    OCSPCertID(const OCSPCertID&) = delete;
    OCSPCertID& operator=(const OCSPCertID&) = delete;

    OCSPCertID* clone() const;

    // The identifier of the certificate with that serial issued by issuer, hashed by SHA-1 on
    // the device. Null when the issuer has no subject or key, or the device cannot digest.
    static OCSPCertID* forIssuer(CryptoDevice* device, const Certificate* issuer,
                                 const BigInteger& serial);

    AlgorithmIdentifier* getHashAlgorithm() const;
    const AlgorithmIdentifier* _getHashAlgorithm() const { return hashAlgorithm; }
    void setHashAlgorithm(const AlgorithmIdentifier* algorithm);
    // The hashes, not copied; null when absent.
    const unsigned char* _getIssuerNameHash() const { return nameHash; }
    unsigned int getIssuerNameHashLength() const { return nameHashLength; }
    void setIssuerNameHash(const unsigned char* p, unsigned int n);
    const unsigned char* _getIssuerKeyHash() const { return keyHash; }
    unsigned int getIssuerKeyHashLength() const { return keyHashLength; }
    void setIssuerKeyHash(const unsigned char* p, unsigned int n);
    BigInteger getSerialNumber() const { return serialNumber; }
    void setSerialNumber(const BigInteger& serial) { serialNumber = serial; }

    // 255 when both identify the same certificate: the same hash algorithm, hashes and serial.
    unsigned char isEqual(const OCSPCertID* other) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    AlgorithmIdentifier* hashAlgorithm;
    unsigned char* nameHash;
    unsigned int nameHashLength;
    unsigned char* keyHash;
    unsigned int keyHashLength;
    BigInteger serialNumber;
};

#endif
