// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue
// RDNSequence ::= SEQUENCE OF RelativeDistinguishedName
//
// The attributes of an RDN stay in the order read and are written in that order. Equality is
// by position: two RDNs with the same attributes in another order differ, though a SET has no
// order, and two lists are equal only with the same count of equal elements.
#ifndef SIGILO_PKIX_RELATIVEDISTINGUISHEDNAME_H
#define SIGILO_PKIX_RELATIVEDISTINGUISHEDNAME_H

#include "asn1/AsnList.h"
#include "pkix/AttributeTypeAndValue.h"

class RelativeDistinguishedName
    : public AsnList<AttributeTypeAndValue, RelativeDistinguishedName, kSetTag> {
public:
    void addAttributeTypeAndValue(const AttributeTypeAndValue* a) { addElementCopy(a); }
    AttributeTypeAndValue* getAttributeTypeAndValue(int i) const { return getElement(i); }

    // A simple text of the form "O=...,OU=...,C=...,CN=...": the four labels O, OU, C and CN,
    // compared exactly; each value is stored as PrintableString, all in this one RDN. Other
    // labels and parts without "=" are passed over. True when something was added.
    unsigned char addRDN(const char* text);

    unsigned char isEqual(const RelativeDistinguishedName* other) const;
    unsigned char isEqualWithWildcard(const RelativeDistinguishedName* other) const;
    void toUTF8();
};

class RelativeDistinguishedNameList
    : public AsnList<RelativeDistinguishedName, RelativeDistinguishedNameList, kSequenceTag> {
public:
    void addRelativeDistinguishedName(const RelativeDistinguishedName* r) { addElementCopy(r); }
    RelativeDistinguishedName* getRelativeDistinguishedName(int i) const { return getElement(i); }

    unsigned char isEqual(const RelativeDistinguishedNameList* other) const;
    unsigned char isEqualWithWildcard(const RelativeDistinguishedNameList* other) const;
    void toUTF8();
};

#endif
