// PlainData: Data ::= OCTET STRING, the bytes of a signed document.
//
// After _unwrapASN1 the bytes may be borrowed from the Buffer (a primitive OCTET STRING is not
// copied); the object and all its clones are then valid only while that Buffer keeps its array.
// A constructed OCTET STRING has to be assembled, and is owned.
#ifndef SIGILO_PKIX_PLAINDATA_H
#define SIGILO_PKIX_PLAINDATA_H

#include "pkix/Content.h"
#include "pkix/ContentBytes.h"

class PlainData : public Content {
public:
    PlainData();
    PlainData(const unsigned char* data, unsigned int length);
    ~PlainData() override;

    PlainData(const PlainData&) = delete;
    PlainData& operator=(const PlainData&) = delete;

    // Copies owned bytes; shares borrowed ones.
    PlainData* clone() const override;

    // A copy the caller deletes; null when there is no data.
    unsigned char* getData() const;
    const unsigned char* _getData() const { return bytes.data(); }
    unsigned int getLength() const { return bytes.length(); }
    unsigned int getDataLength() const { return bytes.length(); }
    void setData(const unsigned char* p, unsigned int n) { bytes.set(p, n); }
    unsigned char isBorrowed() const { return bytes.isBorrowed(); }

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

private:
    ContentBytes bytes;
};

#endif
