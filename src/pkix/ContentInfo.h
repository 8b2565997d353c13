// ContentInfo ::= SEQUENCE {
//     contentType  ContentType,                        -- OBJECT IDENTIFIER
//     content      [0] EXPLICIT ANY DEFINED BY contentType OPTIONAL }
//
// The content type decides the class of the content, and for signed and digested data the
// version inside it decides between the PKCS#7 and the CMS family:
//
//     1.2.840.113549.1.7.1        PlainData
//     1.2.840.113549.1.7.2        PKCS7SignedData (version 1), CMSSignedData (3 or 4)
//     1.2.840.113549.1.7.5        PKCS7DigestedData (version 0), CMSDigestedData (2 or 4)
//     1.2.840.113549.1.7.6        EncryptedData
//     1.2.840.113549.1.9.16.1.31  TimeStampedData
//
// Any other type or version fails the read; a SignedData of version 2 or 5 is refused.
//
// unwrapASN1 answers with three values that callers tell apart: 1 read, 0 the envelope did not
// parse, 2 the envelope parsed up to its certificates and those failed. A PKCS#7 signed data
// holds a further ContentInfo, so envelopes nest; the nesting is capped at kMaxDepth levels so
// that a hostile file cannot exhaust the stack.
#ifndef SIGILO_PKIX_CONTENTINFO_H
#define SIGILO_PKIX_CONTENTINFO_H

class Buffer;
class Content;
class OID;

class ContentInfo {
public:
    static constexpr int kMaxDepth = 16;

    static constexpr const char* kData = "1.2.840.113549.1.7.1";
    static constexpr const char* kSignedData = "1.2.840.113549.1.7.2";
    static constexpr const char* kDigestedData = "1.2.840.113549.1.7.5";
    static constexpr const char* kEncryptedData = "1.2.840.113549.1.7.6";
    static constexpr const char* kTimeStampedData = "1.2.840.113549.1.9.16.1.31";

    ContentInfo();
    virtual ~ContentInfo();

    ContentInfo(const ContentInfo&) = delete;
    ContentInfo& operator=(const ContentInfo&) = delete;

    virtual ContentInfo* clone() const;

    OID* getContentType() const;
    const OID* _getContentType() const { return contentType; }
    void setContentType(const char* dotted);
    unsigned char isEqual(const char* dotted) const;
    // A copy the caller deletes, or null; _getContent lends the object's own.
    Content* getContent() const;
    Content* _getContent() const { return content; }
    void setContent(const Content* value);

    virtual unsigned int getIndefiniteWrapLength(Buffer* b);
    virtual void wrapIndefiniteASN1(Buffer* b);
    virtual unsigned int getWrapLength(Buffer* b);
    virtual void wrapASN1(Buffer* b);
    virtual unsigned char unwrapASN1(Buffer* b);
    // As unwrapASN1, leaving large contents in the Buffer (valid only while it keeps them).
    virtual unsigned char _unwrapASN1(Buffer* b);

protected:
    unsigned char read(Buffer* b, bool borrow);

private:
    unsigned int contentLength(Buffer* b);

    OID* contentType;
    Content* content;
};

#endif
