// TimeStampToken ::= ContentInfo                         -- RFC 3161
//     -- contentType is id-signedData, and the signed data encapsulates a TSTInfo
//     -- (eContentType id-ct-TSTInfo, 1.2.840.113549.1.9.16.1.4)
//
// A ContentInfo whose readers insist on a signed-data content. They answer 1 when read and 0
// otherwise: the third value of ContentInfo (the certificates failed) is folded into 0 here,
// since the classes that carry a token test their readers for non-zero, and a token whose
// certificates are unreadable must not pass such a test.
#ifndef SIGILO_PKIX_TIMESTAMPTOKEN_H
#define SIGILO_PKIX_TIMESTAMPTOKEN_H

#include "pkix/ContentInfo.h"

class CMSSignedData;
class TSTInfo;

class TimeStampToken : public ContentInfo {
public:
    TimeStampToken() = default;
    ~TimeStampToken() override = default;

    TimeStampToken* clone() const override;

    // The signed data of the token when it is of the CMS family, lent; null otherwise.
    CMSSignedData* _getSignedData() const;
    // The TSTInfo inside, read in the draft form first and then in the final form (see
    // TSTInfo::readAnyForm): a new object the caller deletes, or null when the token holds no
    // readable TSTInfo.
    TSTInfo* getTSTInfo() const;

    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override;

private:
    unsigned char checked(unsigned char result) const;
};

#endif
