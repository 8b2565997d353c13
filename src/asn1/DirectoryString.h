// DirectoryString: the CHOICE of string types found in names. PrintableString (19) and
// T61String (20) are kept as narrow text; UTF8String (12), UniversalString (28) and BMPString
// (30) as a wide-character object of the matching class.
#ifndef SIGILO_ASN1_DIRECTORY_STRING_H
#define SIGILO_ASN1_DIRECTORY_STRING_H

class Buffer;
class ISO10646;

class DirectoryString {
public:
    static constexpr unsigned char kUTF8String = 12;
    static constexpr unsigned char kPrintableString = 19;
    static constexpr unsigned char kT61String = 20;
    static constexpr unsigned char kUniversalString = 28;
    static constexpr unsigned char kBMPString = 30;

    DirectoryString();
    ~DirectoryString();

    DirectoryString(const DirectoryString&) = delete;
    DirectoryString& operator=(const DirectoryString&) = delete;

    unsigned char getType() const { return type; }

    // Clears the former value and records the type. Only type 12 (a UTF8 built from the
    // characters) and type 30 (a Unicode) store a value; any other type leaves the value empty.
    void setValue(unsigned char type, const wchar_t* value);
    // As above; for type 12 the text is taken as UTF-8, for type 30 byte by byte.
    void setValue(unsigned char type, const char* value);
    // setValue(19, text): records the type and stores nothing.
    void setValue(const char* value);

    // A new string the caller deletes: the text for 19 and 20, the wide value in the locale's
    // encoding for 12, 28 and 30; null for any other type or when there is no value.
    char* getPrintableValue() const;

    unsigned int getWrapLength(Buffer* buffer);
    void wrapASN1(Buffer* buffer);
    // Accepts the five types above; anything else (IA5String among them) gives 0.
    unsigned char unwrapASN1(Buffer* buffer);

    // Same type and, for 19 and 20, the same text. For the wide types only the same object is
    // equal to itself: two wide strings built apart are never equal, whatever their characters.
    // Names are compared by content elsewhere.
    unsigned char isEqual(const DirectoryString* other) const;
    DirectoryString* clone() const;

private:
    void clear();

    unsigned char type;
    char* text;
    ISO10646* wide;
};

#endif
