// AuthorityKeyIdentifier ::= SEQUENCE {
//     keyIdentifier              [0] KeyIdentifier           OPTIONAL,   -- 0x80
//     authorityCertIssuer        [1] GeneralNames            OPTIONAL,   -- 0xA1
//     authorityCertSerialNumber  [2] CertificateSerialNumber OPTIONAL }  -- 0x82
//
// Reading is lax at the tail and strict in the middle: after the key identifier the SEQUENCE
// may simply end, and a next tag other than 0xA1 ends the read with success, leaving what is
// there; but an issuer must be followed by its serial number, which is read by the strict
// INTEGER reader. The issuer and serial are written as a pair, when the issuer is present.
#ifndef SIGILO_PKIX_AUTHORITYKEYIDENTIFIER_H
#define SIGILO_PKIX_AUTHORITYKEYIDENTIFIER_H

#include "crypto/BigInteger.h"

class Buffer;
class GeneralNameList;

class AuthorityKeyIdentifier {
public:
    AuthorityKeyIdentifier();
    ~AuthorityKeyIdentifier();

    AuthorityKeyIdentifier(const AuthorityKeyIdentifier&) = delete;
    AuthorityKeyIdentifier& operator=(const AuthorityKeyIdentifier&) = delete;

    AuthorityKeyIdentifier* clone() const;

    // A copy the caller deletes, or null.
    unsigned char* getKeyIdentifier() const;
    const unsigned char* _getKeyIdentifier() const { return keyIdentifier; }
    unsigned int getKeyIdentifierLen() const { return keyIdentifierLen; }
    void setKeyIdentifier(const unsigned char* id, unsigned int length);

    GeneralNameList* getAuthorityCertIssuer() const;
    const GeneralNameList* _getAuthorityCertIssuer() const { return authorityCertIssuer; }
    // 0 when absent.
    BigInteger getAuthorityCertSerialNumber() const { return authorityCertSerialNumber; }
    // Issuer and serial as a pair; a null issuer clears both.
    void setAuthorityCert(const GeneralNameList* issuer, const BigInteger& serial);
    // The serial's text by the shared serial rule (BigInteger::printSerial).
    char* printAuthorityCertSerialNumber(int base) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    unsigned char* keyIdentifier;
    unsigned int keyIdentifierLen;
    GeneralNameList* authorityCertIssuer;
    BigInteger authorityCertSerialNumber;
};

#endif
