// AccessDescription ::= SEQUENCE {
//     accessMethod    OBJECT IDENTIFIER,
//     accessLocation  GeneralName }
//
// AuthorityInfoAccessSyntax ::= SEQUENCE SIZE (1..MAX) OF AccessDescription
//
// Reading is lax: an empty SEQUENCE gives both fields null; when the first element is not an
// OID the method is left out and a GeneralName is read; a SEQUENCE that ends after the OID has
// no location.
#ifndef SIGILO_PKIX_ACCESSDESCRIPTION_H
#define SIGILO_PKIX_ACCESSDESCRIPTION_H

#include "asn1/AsnList.h"

class Buffer;
class GeneralName;
class OID;

class AccessDescription {
public:
    static constexpr const char* kOCSP = "1.3.6.1.5.5.7.48.1";
    static constexpr const char* kCAIssuers = "1.3.6.1.5.5.7.48.2";

    AccessDescription();
    AccessDescription(const char* method, const GeneralName* location);
    ~AccessDescription();

    AccessDescription(const AccessDescription&) = delete;
    AccessDescription& operator=(const AccessDescription&) = delete;

    AccessDescription* clone() const;

    // New dotted text, or null.
    char* getAccessMethod() const;
    const OID* _getAccessMethod() const { return accessMethod; }
    void setAccessMethod(const char* dotted);
    GeneralName* getAccessLocation() const;
    const GeneralName* _getAccessLocation() const { return accessLocation; }
    void setAccessLocation(const GeneralName* location);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* accessMethod;
    GeneralName* accessLocation;
};

class AuthorityInfoAccessSyntax
    : public AsnList<AccessDescription, AuthorityInfoAccessSyntax, kSequenceTag> {
public:
    void addAccessDescription(const AccessDescription* d) { addElementCopy(d); }
    AccessDescription* getAccessDescription(int i) const { return getElement(i); }
    // True when the element's access method is that OID.
    unsigned char isEqual(int i, const char* dotted) const;
};

#endif
