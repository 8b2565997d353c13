// TBSCertificate ::= SEQUENCE {
//     version               [0] EXPLICIT Version DEFAULT v1,           -- 0xA0
//     serialNumber          CertificateSerialNumber,
//     signature             AlgorithmIdentifier,
//     issuer                Name,
//     validity              Validity,
//     subject               Name,
//     subjectPublicKeyInfo  SubjectPublicKeyInfo,
//     issuerUniqueID        [1] IMPLICIT UniqueIdentifier OPTIONAL,    -- read and written as 0xA1
//     subjectUniqueID       [2] IMPLICIT UniqueIdentifier OPTIONAL,    -- read and written as 0xA2
//     extensions            [3] EXPLICIT Extensions OPTIONAL }         -- 0xA3
//
// The unique identifiers are read and written with the constructed tags 0xA1 and 0xA2, not the
// primitive 0x81 and 0x82 of the standard. A certificate with primitive unique identifiers
// therefore stops being read at them, and the outer reader then fails on what follows: such a
// certificate is refused as not conforming.
//
// version is 0, 1 or 2 for v1, v2, v3 (2 in a new object, 0 when the [0] element is absent) and
// is not range-checked. explicitVersion remembers that a [0] element spelled the default 0, so
// that such a certificate re-encodes as it came. A v1 certificate has no unique identifiers or
// extensions: they are not looked for.
//
// The serial number is read by the strict INTEGER reader: a padded serial fails the read.
#ifndef SIGILO_PKIX_CERTIFICATEINFO_H
#define SIGILO_PKIX_CERTIFICATEINFO_H

#include "crypto/BigInteger.h"

class AlgorithmIdentifier;
class Buffer;
class ExtensionList;
class KeyInfo;
class Name;
class Validity;

class CertificateInfo {
public:
    CertificateInfo();
    ~CertificateInfo();

    CertificateInfo(const CertificateInfo&) = delete;
    CertificateInfo& operator=(const CertificateInfo&) = delete;

    CertificateInfo* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    unsigned char getExplicitVersion() const { return explicitVersion; }
    void setExplicitVersion(unsigned char v) { explicitVersion = v; }

    BigInteger getSerial() const { return serial; }
    void setSerial(const BigInteger& value) { serial = value; }
    void setSerial(unsigned long value) { serial.set(value); }
    // The serial's text by the shared serial rule (BigInteger::printSerial): base 16 is the
    // text that CRL entries and issuer-and-serial records are compared with.
    char* printSerial(int base) const;

    AlgorithmIdentifier* getSignAlg() const;
    const AlgorithmIdentifier* _getSignAlg() const { return signAlg; }
    void setSignAlg(const char* dotted);
    void setSignAlg(const AlgorithmIdentifier* algorithm);

    Name* getIssuer() const;
    const Name* _getIssuer() const { return issuer; }
    void setIssuer(const Name* name);
    Validity* getValidity() const;
    const Validity* _getValidity() const { return validity; }
    void setValidity(const Validity* v);
    Name* getSubject() const;
    const Name* _getSubject() const { return subject; }
    void setSubject(const Name* name);
    KeyInfo* getSubjectPubKey() const;
    const KeyInfo* _getSubjectPubKey() const { return subjectPubKeyInfo; }
    void setSubjectPubKey(const KeyInfo* key);

    // The identifier bits, a copy the caller deletes, or null.
    unsigned char* getIssuerUniqueID() const;
    unsigned int getIssuerUniqueIDLen() const { return issuerUniqueIDLen; }
    void setIssuerUniqueID(const unsigned char* bits, unsigned int length);
    unsigned char* getSubjectUniqueID() const;
    unsigned int getSubjectUniqueIDLen() const { return subjectUniqueIDLen; }
    void setSubjectUniqueID(const unsigned char* bits, unsigned int length);

    ExtensionList* getExtensions() const;
    const ExtensionList* _getExtensions() const { return extensions; }
    void setExtensions(const ExtensionList* list);

    // False only when the public key keeps an encoding flag and a lax reader had to skip
    // redundant bytes in its integers (or an RSA key does not decode at all). True when there
    // is no key and for key types that keep no such flag.
    bool isBEREncoded() const;

    // The Italian description: version, serial, subject, issuer, dates, algorithm and key
    // length. A new string.
    char* getPrintableString() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    bool writesVersion() const;

    int version;
    unsigned char explicitVersion;
    BigInteger serial;
    AlgorithmIdentifier* signAlg;
    Name* issuer;
    Validity* validity;
    Name* subject;
    KeyInfo* subjectPubKeyInfo;
    unsigned char* issuerUniqueID;
    unsigned int issuerUniqueIDLen;
    unsigned char issuerUniqueIDUnused;
    unsigned char* subjectUniqueID;
    unsigned int subjectUniqueIDLen;
    unsigned char subjectUniqueIDUnused;
    ExtensionList* extensions;
};

#endif
