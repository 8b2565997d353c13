// EncapsulatedContentInfo ::= SEQUENCE {
//     eContentType  ContentType,                              -- OBJECT IDENTIFIER
//     eContent      [0] EXPLICIT OCTET STRING OPTIONAL }      -- 0xA0
//
// Read in definite and indefinite form; the OCTET STRING may be constructed. The no-copy
// reader leaves a primitive content in the Buffer it came from (see ContentBytes).
#ifndef SIGILO_PKIX_ENCAPSULATEDCONTENTINFO_H
#define SIGILO_PKIX_ENCAPSULATEDCONTENTINFO_H

#include "pkix/ContentBytes.h"

class Buffer;
class OID;

class EncapsulatedContentInfo {
public:
    EncapsulatedContentInfo();
    ~EncapsulatedContentInfo();

    EncapsulatedContentInfo(const EncapsulatedContentInfo&) = delete;
    EncapsulatedContentInfo& operator=(const EncapsulatedContentInfo&) = delete;

    EncapsulatedContentInfo* clone() const;

    OID* getEContentType() const;
    const OID* _getEContentType() const { return eContentType; }
    void setEContentType(const char* dotted);
    unsigned char isEqual(const char* dotted) const;

    // The content; a copy the caller deletes, or null when the content is detached.
    unsigned char* getEContent() const { return eContent.copy(); }
    const unsigned char* _getEContent() const { return eContent.data(); }
    unsigned int getEContentLen() const { return eContent.length(); }
    void setEContent(const unsigned char* p, unsigned int n) { eContent.set(p, n); }
    unsigned char isBorrowed() const { return eContent.isBorrowed(); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned int getIndefiniteWrapLength(Buffer* b);
    void wrapIndefiniteASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char _unwrapASN1(Buffer* b);

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned int contentLength(Buffer* b);

    OID* eContentType;
    ContentBytes eContent;
};

#endif
