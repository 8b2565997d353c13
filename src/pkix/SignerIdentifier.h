// SignerIdentifier ::= CHOICE {
//     issuerAndSerialNumber  IssuerAndSerialNumber,
//     subjectKeyIdentifier   [0] SubjectKeyIdentifier }     -- 0x80, an OCTET STRING
//
// The tag 0x80 selects the key identifier; every other tag is read as an issuer and serial.
#ifndef SIGILO_PKIX_SIGNERIDENTIFIER_H
#define SIGILO_PKIX_SIGNERIDENTIFIER_H

class Buffer;
class IssuerAndSerialNumber;

class SignerIdentifier {
public:
    static constexpr unsigned char kKeyIdTag = 0x80;

    SignerIdentifier();
    ~SignerIdentifier();

    SignerIdentifier(const SignerIdentifier&) = delete;
    SignerIdentifier& operator=(const SignerIdentifier&) = delete;

    SignerIdentifier* clone() const;

    // Setting one alternative drops the other.
    IssuerAndSerialNumber* getIssuerAndSerialNumber() const;
    const IssuerAndSerialNumber* _getIssuerAndSerialNumber() const { return issuerAndSerial; }
    void setIssuerAndSerialNumber(const IssuerAndSerialNumber* value);
    unsigned char* getSubjectKeyIdentifier() const;
    const unsigned char* _getSubjectKeyIdentifier() const { return keyId; }
    unsigned int getSubjectKeyIdentifierLen() const { return keyIdLen; }
    void setSubjectKeyIdentifier(const unsigned char* id, unsigned int length);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    IssuerAndSerialNumber* issuerAndSerial;
    unsigned char* keyId;
    unsigned int keyIdLen;
};

#endif
