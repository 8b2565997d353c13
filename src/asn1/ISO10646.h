// ISO10646: a wide-character string, and as ASN.1 the UniversalString (tag 28).
//
// The value is a NUL-terminated array of 32-bit wchar_t. Unicode (BMPString) and UTF8
// (UTF8String) derive from it and differ only in how they travel in BER.
#ifndef SIGILO_ASN1_ISO10646_H
#define SIGILO_ASN1_ISO10646_H

class Buffer;

class ISO10646 {
public:
    static constexpr unsigned char kTag = 28;

    ISO10646();
    // A copy of the characters; null leaves the value null.
    explicit ISO10646(const wchar_t* value);
    // Each byte becomes one character, sign-extended (bytes from 0x80 give negative values).
    explicit ISO10646(const char* value);
    virtual ~ISO10646();

    ISO10646(const ISO10646&) = delete;
    ISO10646& operator=(const ISO10646&) = delete;

    // Writes the characters as they lie in memory: host byte order, four bytes each. On a
    // little-endian machine this is not what unwrapASN1 reads back (it reads big-endian).
    virtual void wrapASN1(Buffer* buffer);
    // UniversalString or NULL; the content is read as big-endian groups of four bytes.
    virtual unsigned char unwrapASN1(Buffer* buffer);
    virtual unsigned int getWrapLength(Buffer* buffer);

    void setValue(const wchar_t* value);
    void setValue(const char* value);
    // A new copy the caller deletes, or null.
    wchar_t* getValue() const;
    // Number of characters.
    unsigned int getLen() const;
    ISO10646* clone() const;

    // Equal length and equal characters. A null value counts as the empty string.
    bool operator==(const ISO10646& other) const;
    bool operator!=(const ISO10646& other) const;
    bool operator<(const ISO10646& other) const;
    bool operator<=(const ISO10646& other) const;
    bool operator>(const ISO10646& other) const;
    bool operator>=(const ISO10646& other) const;
    // Wildcard match: the lengths agree, and each '%' of this string matches any one character
    // of the other; every other character must be equal.
    bool operator%=(const ISO10646& other) const;

    // The value in the multibyte encoding of the locale that the environment names at the time
    // of the call (LC_ALL, LC_CTYPE, LANG); the process's own locale is left alone. Always a new
    // NUL-terminated string that the caller deletes.
    char* getPrintable() const;

protected:
    // Replaces the value by a copy of the first count characters of p (null p: null value).
    void assign(const wchar_t* p, unsigned int count);
    // The value, or the empty string when there is none.
    const wchar_t* chars() const;

    wchar_t* value;
};

#endif
