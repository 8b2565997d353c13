// MetaData ::= SEQUENCE {                                -- RFC 5544
//     hashProtected  BOOLEAN,
//     fileName       UTF8String   OPTIONAL,
//     mediaType      IA5String    OPTIONAL,
//     otherMetaData  Attributes   OPTIONAL }              -- SET SIZE (1..MAX) OF Attribute
//
// When hashProtected is true the time stamps of the TimeStampedData cover the DER of this
// structure followed by the content, so the verifier must write it back exactly as it came. A
// re-encoding could differ from what the authority hashed (a BOOLEAN true written as 0x01, a
// long-form length), so the reader keeps the bytes it read and the writer puts out those bytes
// until a setter changes the object.
#ifndef SIGILO_PKIX_METADATA_H
#define SIGILO_PKIX_METADATA_H

class AttributeSet;
class Buffer;

class MetaData {
public:
    MetaData();
    ~MetaData();

    MetaData(const MetaData&) = delete;
    MetaData& operator=(const MetaData&) = delete;

    MetaData* clone() const;

    unsigned char getHashProtected() const { return hashProtected; }
    void setHashProtected(unsigned char value) {
        edited();
        hashProtected = value ? 255 : 0;
    }
    // New copies, or null when absent.
    char* getFileName() const;
    const char* _getFileName() const { return fileName; }
    void setFileName(const char* text);
    char* getMediaType() const;
    const char* _getMediaType() const { return mediaType; }
    void setMediaType(const char* text);
    AttributeSet* getOtherMetaData() const;
    const AttributeSet* _getOtherMetaData() const { return otherMetaData; }
    void setOtherMetaData(const AttributeSet* set);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    // Forgets the bytes as read: the object no longer is what came in.
    void edited();

    unsigned char hashProtected;
    // The element as read, or null.
    unsigned char* encoded;
    unsigned int encodedLen;
    char* fileName;
    char* mediaType;
    AttributeSet* otherMetaData;
};

#endif
