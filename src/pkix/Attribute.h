// Attribute ::= SEQUENCE {
//     attrType    OBJECT IDENTIFIER,
//     attrValues  SET OF AttributeValue }
//
// SignedAttributes ::= SET SIZE (1..MAX) OF Attribute     -- AttributeSet, [0] / [1] IMPLICIT
// Attributes ::= SEQUENCE OF Attribute                    -- AttributeList
// (subjectDirectoryAttributes)
//
// Signing tools write attributes in indefinite form too; both forms are read. Attributes are
// found by walking the list and comparing OIDs.
#ifndef SIGILO_PKIX_ATTRIBUTE_H
#define SIGILO_PKIX_ATTRIBUTE_H

#include "asn1/AsnList.h"

class AttributeValueSet;
class Buffer;
class OID;

class Attribute {
public:
    Attribute();
    ~Attribute();

    Attribute(const Attribute&) = delete;
    Attribute& operator=(const Attribute&) = delete;

    Attribute* clone() const;

    // Copies the caller deletes, or null.
    OID* getType() const;
    const OID* _getType() const { return type; }
    void setType(const char* dotted);
    void setType(const OID* oid);
    AttributeValueSet* getValues() const;
    const AttributeValueSet* _getValues() const { return values; }
    void setValues(const AttributeValueSet* set);

    unsigned char isEqual(const char* dotted) const;
    unsigned char isEqual(const OID* oid) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* type;
    AttributeValueSet* values;
};

// The operations both attribute collections share.
template <class Derived, unsigned char kTag>
class AttributeCollection : public AsnList<Attribute, Derived, kTag> {
public:
    void addAttribute(const Attribute* a) { this->addElementCopy(a); }
    Attribute* getAttribute(int i) const { return this->getElement(i); }
    // Frees the attribute and closes the gap; 0 out of range.
    unsigned char delAttribute(int i) {
        if (i < 0 || i >= this->getCount()) return 0;
        delete this->_getElement(i);
        return this->removeElementAt(i) ? 255 : 0;
    }
    unsigned char isEqual(int i, const char* dotted) const {
        const Attribute* a = this->_getElement(i);
        return a != nullptr ? a->isEqual(dotted) : 0;
    }
    unsigned char isEqual(int i, const OID* oid) const {
        const Attribute* a = this->_getElement(i);
        return a != nullptr ? a->isEqual(oid) : 0;
    }
    // The first attribute of the type, owned by the collection; null when there is none.
    const Attribute* _find(const char* dotted) const {
        for (int i = 0; i < this->getCount(); ++i) {
            if (isEqual(i, dotted)) return this->_getElement(i);
        }
        return nullptr;
    }
};

class AttributeSet : public AttributeCollection<AttributeSet, kSetTag> {};
class AttributeList : public AttributeCollection<AttributeList, kSequenceTag> {};

#endif
