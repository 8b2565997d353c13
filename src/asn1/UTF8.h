// UTF8: the UTF8String (tag 12). The characters are kept decoded in the value, and the encoded
// form in text, which is made on demand when the object was built from characters.
//
// The decoder follows RFC 2279: five- and six-byte forms are accepted, continuation bytes are
// taken by their low six bits, and overlong forms are not refused. Only a byte that cannot start
// a sequence, or a sequence cut short by the end of the text, is an error.
#ifndef SIGILO_ASN1_UTF8_H
#define SIGILO_ASN1_UTF8_H

#include "asn1/ISO10646.h"

class UTF8 : public ISO10646 {
public:
    static constexpr unsigned char kTag = 12;

    UTF8();
    // Encoded text, decoded at once. When it does not decode, both the text and the value are
    // null.
    explicit UTF8(const char* encoded);
    // Characters; the encoded form is made when first needed.
    explicit UTF8(const wchar_t* value);
    ~UTF8() override;

    void wrapASN1(Buffer* buffer) override;
    // Fails, leaving text and value null, when the content is not UTF-8.
    unsigned char unwrapASN1(Buffer* buffer) override;
    unsigned int getWrapLength(Buffer* buffer) override;

    void setValue(const char* encoded);
    void setValue(const wchar_t* value);
    // A new copy of the encoded text, or null.
    char* getValue();
    // Byte count of the encoded text.
    unsigned int getLen();
    UTF8* clone() const;

    // Text into value. 0 (with text and value null) when a byte cannot start a sequence or the
    // text ends inside one.
    unsigned char decode();
    // Value into text, 1 to 6 bytes a character, with no special case for surrogates.
    void encode();
    // Latin-1 text into new UTF-8 text the caller deletes; null for null.
    static char* encode(const char* latin1);

private:
    char* text;
};

#endif
