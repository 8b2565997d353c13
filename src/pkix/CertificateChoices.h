// CertificateChoices ::= CHOICE {
//     certificate          Certificate,                         -- 0x30
//     extendedCertificate  [0] IMPLICIT ExtendedCertificate,    -- 0xA0
//     v1AttrCert           [1] IMPLICIT AttributeCertificateV1, -- 0xA1
//     v2AttrCert           [2] IMPLICIT AttributeCertificateV2, -- 0xA2
//     other                [3] IMPLICIT OtherCertificateFormat }-- 0xA3
//
// CertificateSet ::= SET OF CertificateChoices                 -- [0] IMPLICIT in SignedData
//
// ExtendedCertificateOrCertificate ::= CHOICE {                -- the PKCS#7 form
//     certificate          Certificate,
//     extendedCertificate  [0] IMPLICIT ExtendedCertificate }
//
// ExtendedCertificatesAndCertificates ::= SET OF ExtendedCertificateOrCertificate
//
// Any other tag fails a CertificateChoices; the PKCS#7 choice reads every tag but 0xA0 as a
// certificate. One alternative is held at a time.
#ifndef SIGILO_PKIX_CERTIFICATECHOICES_H
#define SIGILO_PKIX_CERTIFICATECHOICES_H

#include "asn1/AsnList.h"

class AttributeCertificate;
class AttributeCertificateV1;
class Buffer;
class Certificate;
class ExtendedCertificate;
class OtherCertificateFormat;

class CertificateChoices {
public:
    CertificateChoices();
    ~CertificateChoices();

    CertificateChoices(const CertificateChoices&) = delete;
    CertificateChoices& operator=(const CertificateChoices&) = delete;

    CertificateChoices* clone() const;

    // The tag of the alternative held (0x30, 0xA0 to 0xA3), 0 when empty.
    unsigned char getType() const;

    // Copies the caller deletes, null for an alternative not held; setting one drops the rest.
    Certificate* getCertificate() const;
    const Certificate* _getCertificate() const { return certificate; }
    void setCertificate(const Certificate* c);
    ExtendedCertificate* getExtendedCertificate() const;
    const ExtendedCertificate* _getExtendedCertificate() const { return extendedCertificate; }
    void setExtendedCertificate(const ExtendedCertificate* c);
    AttributeCertificateV1* getV1AttrCert() const;
    AttributeCertificate* getV2AttrCert() const;
    OtherCertificateFormat* getOther() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    Certificate* certificate;
    ExtendedCertificate* extendedCertificate;
    AttributeCertificateV1* v1AttrCert;
    AttributeCertificate* v2AttrCert;
    OtherCertificateFormat* other;
};

class CertificateSet : public AsnList<CertificateChoices, CertificateSet, kSetTag> {
public:
    void addCertificateChoices(const CertificateChoices* c) { addElementCopy(c); }
    CertificateChoices* getCertificateChoices(int i) const { return getElement(i); }
};

class ExtCertificateOrCertificate {
public:
    ExtCertificateOrCertificate();
    ~ExtCertificateOrCertificate();

    ExtCertificateOrCertificate(const ExtCertificateOrCertificate&) = delete;
    ExtCertificateOrCertificate& operator=(const ExtCertificateOrCertificate&) = delete;

    ExtCertificateOrCertificate* clone() const;

    Certificate* getCertificate() const;
    const Certificate* _getCertificate() const { return certificate; }
    void setCertificate(const Certificate* c);
    ExtendedCertificate* getExtendedCertificate() const;
    const ExtendedCertificate* _getExtendedCertificate() const { return extendedCertificate; }
    void setExtendedCertificate(const ExtendedCertificate* c);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    Certificate* certificate;
    ExtendedCertificate* extendedCertificate;
};

class ExtCertificatesAndCertificates
    : public AsnList<ExtCertificateOrCertificate, ExtCertificatesAndCertificates, kSetTag> {
public:
    void addExtCertificateOrCertificate(const ExtCertificateOrCertificate* c) { addElementCopy(c); }
    ExtCertificateOrCertificate* getExtCertificateOrCertificate(int i) const {
        return getElement(i);
    }
};

#endif
