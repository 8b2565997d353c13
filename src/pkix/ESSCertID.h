// The ESS signing-certificate identifiers (RFC 2634, RFC 5035):
//
// IssuerSerial ::= SEQUENCE {
//     issuer        GeneralNames,
//     serialNumber  CertificateSerialNumber }
//
// ESSCertID ::= SEQUENCE {
//     certHash      Hash,                       -- OCTET STRING, SHA-1 of the certificate
//     issuerSerial  IssuerSerial OPTIONAL }
//
// ESSCertIDv2 ::= SEQUENCE {
//     hashAlgorithm AlgorithmIdentifier DEFAULT {algorithm id-sha256},
//     certHash      Hash,
//     issuerSerial  IssuerSerial OPTIONAL }
//
// Each stops with success when its SEQUENCE ends before the optional tail. An ESSCertIDv2 whose
// first element is not a SEQUENCE has no hash algorithm on the wire and gets SHA-256, the
// default, so that every identifier names the algorithm its hash was made with.
#ifndef SIGILO_PKIX_ESSCERTID_H
#define SIGILO_PKIX_ESSCERTID_H

#include "asn1/AsnList.h"
#include "crypto/BigInteger.h"

class AlgorithmIdentifier;
class Buffer;
class GeneralNameList;

class ESSIssuerSerial {
public:
    ESSIssuerSerial();
    ~ESSIssuerSerial();

    ESSIssuerSerial(const ESSIssuerSerial&) = delete;
    ESSIssuerSerial& operator=(const ESSIssuerSerial&) = delete;

    ESSIssuerSerial* clone() const;

    GeneralNameList* getIssuer() const;
    const GeneralNameList* _getIssuer() const { return issuer; }
    void setIssuer(const GeneralNameList* names);
    BigInteger getSerialNumber() const { return serialNumber; }
    void setSerialNumber(const BigInteger& serial) { serialNumber = serial; }
    char* printSerialNumber(int base) const { return serialNumber.printSerial(base); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    GeneralNameList* issuer;
    BigInteger serialNumber;
};

class ESSCertID {
public:
    ESSCertID();
    ~ESSCertID();

    ESSCertID(const ESSCertID&) = delete;
    ESSCertID& operator=(const ESSCertID&) = delete;

    ESSCertID* clone() const;

    unsigned char* getCertHash() const;
    const unsigned char* _getCertHash() const { return certHash; }
    unsigned int getHashLen() const { return hashLen; }
    void setCertHash(const unsigned char* hash, unsigned int length);
    ESSIssuerSerial* getIssuerSerial() const;
    const ESSIssuerSerial* _getIssuerSerial() const { return issuerSerial; }
    void setIssuerSerial(const ESSIssuerSerial* value);

    // The length of the SEQUENCE at the read position, which does not move; 0 when there is
    // none.
    static unsigned int peekLen(Buffer* b);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    unsigned char* certHash;
    unsigned int hashLen;
    ESSIssuerSerial* issuerSerial;
};

class ESSCertIDV2 {
public:
    static constexpr const char* kDefaultHash = "2.16.840.1.101.3.4.2.1";

    ESSCertIDV2();
    ~ESSCertIDV2();

    ESSCertIDV2(const ESSCertIDV2&) = delete;
    ESSCertIDV2& operator=(const ESSCertIDV2&) = delete;

    ESSCertIDV2* clone() const;

    AlgorithmIdentifier* getHashAlgorithm() const;
    const AlgorithmIdentifier* _getHashAlgorithm() const { return hashAlgorithm; }
    void setHashAlgorithm(const AlgorithmIdentifier* algorithm);
    // The dotted OID of the hash algorithm, the form in which the report names every digest
    // algorithm; a new string, null when there is none.
    char* getHashAlgorithmName() const;
    unsigned char* getCertHash() const;
    const unsigned char* _getCertHash() const { return certHash; }
    unsigned int getHashLen() const { return hashLen; }
    void setCertHash(const unsigned char* hash, unsigned int length);
    ESSIssuerSerial* getIssuerSerial() const;
    const ESSIssuerSerial* _getIssuerSerial() const { return issuerSerial; }
    void setIssuerSerial(const ESSIssuerSerial* value);

    static unsigned int peekLen(Buffer* b) { return ESSCertID::peekLen(b); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    AlgorithmIdentifier* hashAlgorithm;
    unsigned char* certHash;
    unsigned int hashLen;
    ESSIssuerSerial* issuerSerial;
};

class ESSCertIDList : public AsnList<ESSCertID, ESSCertIDList, kSequenceTag> {
public:
    void addESSCertID(const ESSCertID* id) { addElementCopy(id); }
    ESSCertID* getESSCertID(int i) const { return getElement(i); }
};

class ESSCertIDV2List : public AsnList<ESSCertIDV2, ESSCertIDV2List, kSequenceTag> {
public:
    void addESSCertIDV2(const ESSCertIDV2* id) { addElementCopy(id); }
    ESSCertIDV2* getESSCertIDV2(int i) const { return getElement(i); }
};

#endif
