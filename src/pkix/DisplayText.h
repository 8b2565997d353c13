// DisplayText ::= CHOICE {
//     ia5String      IA5String      (SIZE (1..200)),   -- 22
//     visibleString  VisibleString  (SIZE (1..200)),   -- 26
//     bmpString      BMPString      (SIZE (1..200)),   -- 30
//     utf8String     UTF8String     (SIZE (1..200)) }  -- 12
//
// The text of a user notice. The content is kept as the bytes that came, with their type, and
// is written back as it came. PrintableString and T61String are accepted too, since issuers
// have been seen to use them.
#ifndef SIGILO_PKIX_DISPLAYTEXT_H
#define SIGILO_PKIX_DISPLAYTEXT_H

class Buffer;

class DisplayText {
public:
    DisplayText();
    DisplayText(unsigned char type, const char* text);
    ~DisplayText();

    DisplayText(const DisplayText&) = delete;
    DisplayText& operator=(const DisplayText&) = delete;

    DisplayText* clone() const;

    unsigned char getType() const { return type; }
    // The content as NUL-terminated bytes (a BMPString holds zero bytes: see getLength).
    char* getText() const;
    unsigned int getLength() const { return length; }
    // The text in UTF-8: a UTF8String as it stands, a BMPString by its characters, any other
    // type read as Latin-1. A new string.
    char* getUTF8() const;
    void setText(unsigned char type, const char* text);

    // True when the next element has one of the accepted string tags.
    static bool isNext(Buffer* b);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned char type;
    char* text;
    unsigned int length;
};

#endif
