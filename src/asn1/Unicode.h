// Unicode: the BMPString (tag 30), each character as 16 bits big-endian.
#ifndef SIGILO_ASN1_UNICODE_H
#define SIGILO_ASN1_UNICODE_H

#include "asn1/ISO10646.h"

class Unicode : public ISO10646 {
public:
    static constexpr unsigned char kTag = 30;

    Unicode();
    explicit Unicode(const wchar_t* value);
    explicit Unicode(const char* value);
    // From big-endian pairs of bytes; an odd last byte is ignored. Null leaves the value null.
    Unicode(const unsigned char* bytes, unsigned int n);

    // Only the low 16 bits of each character survive: characters beyond the BMP are cut.
    void wrapASN1(Buffer* buffer) override;
    unsigned char unwrapASN1(Buffer* buffer) override;
    unsigned int getWrapLength(Buffer* buffer) override;

    // A new NUL-terminated array of 16-bit values whose bytes lie in big-endian order, that is
    // the BMPString content as it travels; null when there is no value.
    unsigned short* getValue() const;
    Unicode* clone() const;

private:
    // Replaces the value by the characters of n bytes of big-endian pairs.
    void assignPairs(const unsigned char* bytes, unsigned int n);
};

#endif
