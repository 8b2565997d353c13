// RevokedCertificate ::= SEQUENCE {
//     userCertificate     CertificateSerialNumber,
//     revocationDate      Time,
//     crlEntryExtensions  Extensions OPTIONAL }
//
// RevokedCertificates ::= SEQUENCE OF RevokedCertificate
//
// The serial is read by the lax INTEGER reader: CAs have issued CRLs with padded serials, and a
// revoked entry that failed to parse would hide a revocation. Its text comes from the one
// serial rule (BigInteger::printSerial), the same that prints a certificate's serial, because
// the cache compares the two texts byte by byte.
#ifndef SIGILO_PKIX_REVOKEDCERTIFICATE_H
#define SIGILO_PKIX_REVOKEDCERTIFICATE_H

#include "asn1/AsnList.h"
#include "crypto/BigInteger.h"

class Buffer;
class ExtensionList;
class X500Time;

class RevokedCertificate {
public:
    RevokedCertificate();
    ~RevokedCertificate();

    RevokedCertificate(const RevokedCertificate&) = delete;
    RevokedCertificate& operator=(const RevokedCertificate&) = delete;

    RevokedCertificate* clone() const;

    BigInteger getUserCertificate() const { return userCertificate; }
    void setUserCertificate(const BigInteger& serial) { userCertificate = serial; }
    // The serial's text by the shared serial rule; a new string, null for a base other than
    // 10 or 16.
    char* printUserCertificate(int base) const;

    // A copy the caller deletes, or null.
    X500Time* getRevocationDate() const;
    const X500Time* _getRevocationDate() const { return revocationDate; }
    void setRevocationDate(const X500Time* t);

    ExtensionList* getCrlEntryExtensions() const;
    const ExtensionList* _getCrlEntryExtensions() const { return crlEntryExtensions; }
    void setCrlEntryExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    BigInteger userCertificate;
    X500Time* revocationDate;
    ExtensionList* crlEntryExtensions;
};

class RevokedCertificateList
    : public AsnList<RevokedCertificate, RevokedCertificateList, kSequenceTag> {
public:
    // The stored entry, not a copy; null out of range.
    RevokedCertificate* _getRevokedCertificatePointer(int i) const { return _getElement(i); }
    RevokedCertificate* getRevokedCertificate(int i) const { return getElement(i); }
    void addRevokedCertificate(const RevokedCertificate* r) { addElementCopy(r); }
};

#endif
