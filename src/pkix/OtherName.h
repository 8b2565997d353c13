// OtherName ::= SEQUENCE {
//     type-id  OBJECT IDENTIFIER,
//     value    [0] EXPLICIT ANY DEFINED BY type-id }
//
// Two types are understood: the user principal name "1.3.6.1.4.1.311.20.2.3" (a UTF8String)
// and "1.3.6.1.4.1.311.25.1" (an OCTET STRING kept as text with its length). The value of any
// other type is kept as its whole element and written back as it came, so that the reader of
// the enclosing list goes on after it.
#ifndef SIGILO_PKIX_OTHERNAME_H
#define SIGILO_PKIX_OTHERNAME_H

class Buffer;
class OID;
class UTF8;

class OtherName {
public:
    static constexpr const char* kUserPrincipalName = "1.3.6.1.4.1.311.20.2.3";
    static constexpr const char* kGUID = "1.3.6.1.4.1.311.25.1";

    OtherName();
    ~OtherName();

    OtherName(const OtherName&) = delete;
    OtherName& operator=(const OtherName&) = delete;

    OtherName* clone() const;

    // New dotted text, or null.
    char* getTypeID() const;
    // Sets the type and drops the value.
    void setTypeID(const char* dotted);

    // By the type: a UTF8* for the principal name, a NUL-terminated char* for the other known
    // type (its length by strlen). Any other type, or a null value, clears the value.
    void setValue(const void* value);
    // A new copy the caller deletes, by the type: UTF8* or char*; null otherwise.
    void* getValue() const;
    // The known text value and its length in bytes (it may hold zero bytes).
    char* getTextValue() const;
    unsigned int getTextValueLen() const { return textLen; }
    // The element of a value of an unknown type, or null.
    const unsigned char* _getRawValue() const { return raw; }
    unsigned int getRawValueLen() const { return rawLen; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b) { wrapASN1(0x30, b); }
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b) { return unwrapASN1(0x30, b); }
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    void clearValue();
    unsigned int valueLength(Buffer* b);
    unsigned int contentLength(Buffer* b);

    OID* typeID;
    UTF8* principal;
    char* text;
    unsigned int textLen;
    unsigned char* raw;
    unsigned int rawLen;
};

#endif
