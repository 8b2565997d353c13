// TimeStampedData ::= SEQUENCE {                        -- RFC 5544
//     version           INTEGER { v1(1) },
//     dataUri           IA5String OPTIONAL,
//     metaData          MetaData OPTIONAL,
//     content           OCTET STRING OPTIONAL,
//     temporalEvidence  Evidence }
//
// The content of a ".tsd" file (content type 1.2.840.113549.1.9.16.1.31). The content is the
// data the time stamps cover, possibly hundreds of megabytes, so _unwrapASN1 leaves a
// primitive OCTET STRING in the Buffer (the object and its clones are then valid only while
// that Buffer keeps its array) and unwrapASN1 copies it; the two readers differ in nothing
// else. Both take definite and indefinite lengths and answer 1 or 0: version 1 only, the
// optional members in order, an evidence at the end and nothing after it.
#ifndef SIGILO_PKIX_TIMESTAMPEDDATA_H
#define SIGILO_PKIX_TIMESTAMPEDDATA_H

#include "pkix/Content.h"
#include "pkix/ContentBytes.h"

class Evidence;
class MetaData;
class TimeStampAndCRLList;

class TimeStampedData : public Content {
public:
    TimeStampedData();
    ~TimeStampedData() override;

    TimeStampedData(const TimeStampedData&) = delete;
    TimeStampedData& operator=(const TimeStampedData&) = delete;

    // Copies owned content bytes; shares borrowed ones.
    TimeStampedData* clone() const override;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    // New copies, or null when absent.
    char* getDataUri() const;
    const char* _getDataUri() const { return dataUri; }
    void setDataUri(const char* uri);
    MetaData* getMetaData() const;
    const MetaData* _getMetaData() const { return metaData; }
    void setMetaData(const MetaData* value);
    unsigned char hasContent() const { return content.present() ? 255 : 0; }
    // A copy the caller deletes; null when the content is not embedded (detached data).
    unsigned char* getContent() const { return content.copy(); }
    const unsigned char* _getContent() const { return content.data(); }
    unsigned int getContentLength() const { return content.length(); }
    void setContent(const unsigned char* p, unsigned int n) { content.set(p, n); }
    unsigned char isBorrowed() const { return content.isBorrowed(); }
    Evidence* getTemporalEvidence() const;
    const Evidence* _getTemporalEvidence() const { return temporalEvidence; }
    void setTemporalEvidence(const Evidence* value);
    // The time-stamp entries of the evidence, lent; null when the evidence is of another kind.
    const TimeStampAndCRLList* _getTimeStampAndCRLList() const;

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

private:
    unsigned char read(Buffer* b, bool borrow);
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    char* dataUri;
    MetaData* metaData;
    ContentBytes content;
    Evidence* temporalEvidence;
};

#endif
