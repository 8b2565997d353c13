// Base64: the text armour of PEM files and of base64 envelopes, with the RFC 4648 alphabet.
#ifndef SIGILO_ASN1_BASE64_H
#define SIGILO_ASN1_BASE64_H

class Base64 {
public:
    // New NUL-terminated text of 4 * ((n + 2) / 3) characters (followed by a second zero byte);
    // null for a null p.
    static char* encode(const unsigned char* p, unsigned int n);

    // Lenient: every byte outside the alphabet, "=" included, is skipped. Returns a new array
    // and its size in *out, or null for null arguments, an empty input or a size mismatch.
    static unsigned char* decode(const char* s, unsigned int n, unsigned int* out);
    static unsigned char* decode(const char* s, unsigned int* out);

    // Strict, and able to work in place (dest may equal s): *n is the input size in and the
    // output size out. Padding must stand where RFC 4648 puts it and the groups must be whole.
    // On failure *n is 0 and the result 0.
    static unsigned char decode(const char* s, unsigned char* dest, unsigned int* n);

    // The value of a character, 255 outside the alphabet; '=' has 64.
    static unsigned char valueOf(unsigned char c);
};

#endif
