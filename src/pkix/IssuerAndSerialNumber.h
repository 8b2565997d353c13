// IssuerAndSerialNumber ::= SEQUENCE {
//     issuer        Name,
//     serialNumber  CertificateSerialNumber }
//
// The serial is read by the strict INTEGER reader, as in a certificate: the two are matched by
// their texts, and a padded serial could never match the certificate it names.
#ifndef SIGILO_PKIX_ISSUERANDSERIALNUMBER_H
#define SIGILO_PKIX_ISSUERANDSERIALNUMBER_H

#include "crypto/BigInteger.h"

class Buffer;
class Name;

class IssuerAndSerialNumber {
public:
    IssuerAndSerialNumber();
    ~IssuerAndSerialNumber();

    IssuerAndSerialNumber(const IssuerAndSerialNumber&) = delete;
    IssuerAndSerialNumber& operator=(const IssuerAndSerialNumber&) = delete;

    IssuerAndSerialNumber* clone() const;

    Name* getIssuer() const;
    const Name* _getIssuer() const { return issuer; }
    void setIssuer(const Name* name);
    BigInteger getSerialNumber() const { return serialNumber; }
    void setSerialNumber(const BigInteger& serial) { serialNumber = serial; }
    // The serial's text by the shared serial rule; a new string.
    char* printSerialNumber(int base) const { return serialNumber.printSerial(base); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    Name* issuer;
    BigInteger serialNumber;
};

#endif
