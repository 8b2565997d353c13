// OtherCertificateFormat ::= SEQUENCE {                 -- [3] IMPLICIT in a CertificateSet
//     otherCertFormat  OBJECT IDENTIFIER,
//     otherCert        ANY DEFINED BY otherCertFormat }
//
// The certificate itself is opaque here and kept as the DER of its element.
#ifndef SIGILO_PKIX_OTHERCERTIFICATEFORMAT_H
#define SIGILO_PKIX_OTHERCERTIFICATEFORMAT_H

class Buffer;
class OID;

class OtherCertificateFormat {
public:
    OtherCertificateFormat();
    ~OtherCertificateFormat();

    OtherCertificateFormat(const OtherCertificateFormat&) = delete;
    OtherCertificateFormat& operator=(const OtherCertificateFormat&) = delete;

    OtherCertificateFormat* clone() const;

    OID* getOtherCertFormat() const;
    void setOtherCertFormat(const char* dotted);
    // The DER of the certificate element; a copy the caller deletes, or null.
    unsigned char* getOtherCert() const;
    unsigned int getOtherCertLen() const { return otherCertLen; }
    void setOtherCert(const unsigned char* der, unsigned int length);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* otherCertFormat;
    unsigned char* otherCert;
    unsigned int otherCertLen;
};

#endif
