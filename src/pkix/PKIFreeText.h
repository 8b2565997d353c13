// PKIFreeText ::= SEQUENCE SIZE (1..MAX) OF UTF8String   -- RFC 4210, used by RFC 3161
//
// Texts a time-stamp authority adds to its status. Each element is kept as NUL-terminated UTF-8;
// a text with a zero byte inside is refused, since it would print cut short.
#ifndef SIGILO_PKIX_PKIFREETEXT_H
#define SIGILO_PKIX_PKIFREETEXT_H

#include "asn1/Vector.h"

class Buffer;

class PKIFreeText : public Vector {
public:
    // More texts than any authority writes; a longer list is refused rather than read on.
    static constexpr int kMaxTexts = 1024;

    PKIFreeText() = default;
    ~PKIFreeText();

    PKIFreeText* clone() const;

    // Stores a copy; null adds nothing.
    void addText(const char* text);
    // A copy the caller deletes; null out of range.
    char* getText(int i) const;
    const char* _getText(int i) const { return static_cast<const char*>(elementAt(i)); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();
};

#endif
