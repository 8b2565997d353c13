// AttributeTypeAndValue ::= SEQUENCE {
//     type   AttributeType,     -- OBJECT IDENTIFIER
//     value  AttributeValue }   -- ANY DEFINED BY type
//
// The value is held by the universal tag it came with (valueType):
//   3              BIT STRING: the bytes, their count and the unused bits
//   4, 19, 20, 22  OCTET STRING, PrintableString, T61String, IA5String: NUL-terminated text
//   12             UTF8String: a UTF8 object
//   28             UniversalString: an ISO10646 object
//   30             BMPString: a Unicode object
//   anything else  the whole element, header included, as bytes
//
// A value of a known type that its typed form cannot hold faithfully is kept as its whole
// element too ("raw"), with valueType still telling the tag: a UTF8String that does not decode,
// a BMPString of odd length, a UniversalString whose length is not a multiple of four, or any
// text with a zero character inside. Such a value re-encodes as it came, compares equal only to
// the very same bytes and prints in the "#" hexadecimal form. Decoding never fails on the
// content of a value, as the name must still be readable and comparable.
#ifndef SIGILO_PKIX_ATTRIBUTETYPEANDVALUE_H
#define SIGILO_PKIX_ATTRIBUTETYPEANDVALUE_H

#include <cwchar>

#include "asn1/AsnList.h"

class Buffer;
class ISO10646;
class OID;

class AttributeTypeAndValue {
public:
    static constexpr unsigned char kBitString = 3;
    static constexpr unsigned char kOctetString = 4;
    static constexpr unsigned char kUTF8String = 12;
    static constexpr unsigned char kPrintableString = 19;
    static constexpr unsigned char kT61String = 20;
    static constexpr unsigned char kIA5String = 22;
    static constexpr unsigned char kUniversalString = 28;
    static constexpr unsigned char kBMPString = 30;

    AttributeTypeAndValue();
    // The type as dotted text and a text value of the given type (see setValue).
    AttributeTypeAndValue(const char* type, const char* value, unsigned char valueType);
    ~AttributeTypeAndValue();

    AttributeTypeAndValue(const AttributeTypeAndValue&) = delete;
    AttributeTypeAndValue& operator=(const AttributeTypeAndValue&) = delete;

    AttributeTypeAndValue* clone() const;

    // New dotted text, or null.
    char* getType() const;
    const OID* _getType() const { return type; }
    void setType(const char* dotted);
    void setType(const OID* oid);
    unsigned char isType(const char* dotted) const;

    // A new copy by value type, which the caller deletes with delete[] after casting it to:
    // unsigned char* for 3 and for a raw value (the whole element), char* for 4, 19, 20, 22 and
    // for 12 (the encoded text), wchar_t* for 28, unsigned short* for 30 (big-endian units).
    // Null when there is no value.
    void* getValue() const;
    // Frees the old value and sets the type. 4, 19, 20, 22 store a copy of the text; 12 a UTF8
    // decoded from the text; 28 and 30 the bytes of the text as characters. Any other type
    // stores nothing and leaves the attribute without a value.
    void setValue(const char* text, unsigned char valueType);
    // 12, 28 and 30 only; any other type leaves the attribute without a value.
    void setValue(const wchar_t* text, unsigned char valueType);
    // 3 only (a BIT STRING with no unused bits); any other type leaves it without a value.
    void setValue(const unsigned char* bytes, unsigned char valueType, unsigned int length);

    unsigned char getValueType() const { return valueType; }
    unsigned int getBitstringLen() const { return length; }
    unsigned char getBitstringUnused() const { return bitstringUnused; }
    // True when the value is kept as its whole element (see above).
    bool isRaw() const { return raw; }

    // New text in the locale's encoding: 12, 28, 30 through ISO10646::getPrintable; 4, 19, 20,
    // 22 a copy. Null for anything else.
    char* getPrintable() const;
    // New text: 4, 19, 20, 22 copied with no transcoding; 28 and 30 encoded as UTF-8; 12 its
    // encoded text; anything else "#" and the bytes in lower-case hexadecimal (the whole element
    // for a raw value, the bits for a BIT STRING).
    char* getUTF8String() const;

    // Same OID and same valueType, then by type: 3 bytes; 4 and 20 strcmp; 12, 28, 30 the
    // characters; 19 and 22 strcasecmp. Raw values of a known type are equal only byte for
    // byte; values of any other type are never equal.
    unsigned char isEqual(const AttributeTypeAndValue* other) const;
    // As isEqual, but a '%' in this object's text stands for any one character of the other's.
    unsigned char isEqualWithWildcard(const AttributeTypeAndValue* other) const;

    // Country, serial number and qualifier become PrintableString; domain component and e-mail
    // become IA5String; every other attribute becomes UTF8String.
    void toUTF8();

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

protected:
    void clearValue();
    // Deep copy of every field into another object.
    void copyInto(AttributeTypeAndValue* copy) const;
    // The stored value as one element (the content of the SEQUENCE after the OID).
    unsigned int valueLength(Buffer* b);
    unsigned char compare(const AttributeTypeAndValue* other, bool wildcard) const;
    // Stores the whole element that follows as a raw value of the given type.
    unsigned char readRaw(Buffer* b, unsigned char tag);
    // Keeps the whole element as the value (the caller has set valueType).
    void adoptRaw(unsigned char* element, unsigned int n);

    OID* type;
    unsigned char valueType;
    // BIT STRING bits or a raw element, with their count.
    unsigned char* bytes;
    unsigned int length;
    unsigned char bitstringUnused;
    bool raw;
    char* text;
    ISO10646* wide;
};

// A name attribute that can also carry an INTEGER value.
class PKIAttributeTypeAndValue : public AttributeTypeAndValue {
public:
    PKIAttributeTypeAndValue() = default;
    using AttributeTypeAndValue::setValue;
    // Stores the INTEGER (type 2) as its element.
    void setValue(int value);
    void setValue(long value);
    PKIAttributeTypeAndValue* clone() const;
};

// AttributeTypeAndValues ::= SEQUENCE OF AttributeTypeAndValue
class AttributeTypeAndValueList
    : public AsnList<AttributeTypeAndValue, AttributeTypeAndValueList, kSequenceTag> {
public:
    void addAttributeTypeAndValue(const AttributeTypeAndValue* a) { addElementCopy(a); }
    AttributeTypeAndValue* getAttributeTypeAndValue(int i) const { return getElement(i); }
};

#endif
