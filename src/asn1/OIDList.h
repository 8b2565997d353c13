// OIDList: SEQUENCE OF OBJECT IDENTIFIER, with owned OID elements.
#ifndef SIGILO_ASN1_OIDLIST_H
#define SIGILO_ASN1_OIDLIST_H

#include "asn1/OID.h"
#include "asn1/Vector.h"

class Buffer;

class OIDList : public Vector {
public:
    OIDList();
    explicit OIDList(const char* dotted);
    ~OIDList();

    void addOID(const char* dotted);
    void addOID(const OID* oid);
    // New dotted text the caller deletes; null out of range.
    char* getOID(int i) const;
    // The element itself, owned by the list.
    OID* _getOID(int i) const { return static_cast<OID*>(elementAt(i)); }
    unsigned char isEqual(int i, const char* dotted) const;
    unsigned char isEqual(int i, const OID* oid) const;
    // True when some element equals the OID.
    unsigned char contains(const char* dotted) const;

    OIDList* clone() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(unsigned char tag, Buffer* b);
    // Fails, and frees the element, also when an element runs past the end of the SEQUENCE.
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
};

#endif
