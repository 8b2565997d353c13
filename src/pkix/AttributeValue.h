// AttributeValue ::= ANY
// AttributeValues ::= SET OF AttributeValue
//
// The value is kept as the bytes of the whole element, whatever its type, and written back as
// it came. An indefinite-length value is measured by walking its nested headers down to the
// matching end-of-contents.
#ifndef SIGILO_PKIX_ATTRIBUTEVALUE_H
#define SIGILO_PKIX_ATTRIBUTEVALUE_H

#include "asn1/AsnList.h"

class Buffer;

class AttributeValue {
public:
    AttributeValue();
    AttributeValue(const unsigned char* value, unsigned int length);
    ~AttributeValue();

    AttributeValue(const AttributeValue&) = delete;
    AttributeValue& operator=(const AttributeValue&) = delete;

    AttributeValue* clone() const;

    // A copy of the element the caller deletes; null when there is none.
    unsigned char* getValue() const;
    const unsigned char* _getValue() const { return value; }
    unsigned int getValueLen() const { return valueLen; }
    void setValue(const unsigned char* p, unsigned int n);

    // The stored bytes as they are.
    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned char* value;
    unsigned int valueLen;
};

// A SET OF in definite or indefinite form.
class AttributeValueSet : public AsnList<AttributeValue, AttributeValueSet, kSetTag> {
public:
    void addAttributeValue(const AttributeValue* v) { addElementCopy(v); }
    AttributeValue* getAttributeValue(int i) const { return getElement(i); }
};

#endif
