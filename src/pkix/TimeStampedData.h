// TimeStampedData ::= SEQUENCE {                        -- RFC 5544
//     version              INTEGER { v1(1) },
//     dataUri              IA5String OPTIONAL,
//     metaData             MetaData OPTIONAL,
//     content              OCTET STRING OPTIONAL,
//     temporalEvidence     Evidence }
//
// Read here as a whole element, kept as its DER, so that an envelope naming this type is read
// through; the fields are taken apart by the time-stamp code.
#ifndef SIGILO_PKIX_TIMESTAMPEDDATA_H
#define SIGILO_PKIX_TIMESTAMPEDDATA_H

#include "pkix/Content.h"

class TimeStampedData : public Content {
public:
    TimeStampedData();
    ~TimeStampedData() override;

    TimeStampedData(const TimeStampedData&) = delete;
    TimeStampedData& operator=(const TimeStampedData&) = delete;

    TimeStampedData* clone() const override;

    // The element whole; a copy the caller deletes, or null.
    unsigned char* getEncoded() const;
    unsigned int getEncodedLen() const { return encodedLen; }

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override { return unwrapASN1(b); }

private:
    unsigned char* encoded;
    unsigned int encodedLen;
};

#endif
