// EncryptedData ::= SEQUENCE {
//     version               CMSVersion,
//     encryptedContentInfo  EncryptedContentInfo,
//     unprotectedAttrs      [1] IMPLICIT UnprotectedAttributes OPTIONAL }
//
// Nothing here deciphers: an envelope that holds enciphered data is read past, so the content
// after the version is carried as its DER, whole.
#ifndef SIGILO_PKIX_ENCRYPTEDDATA_H
#define SIGILO_PKIX_ENCRYPTEDDATA_H

#include "pkix/Content.h"

class EncryptedData : public Content {
public:
    EncryptedData();
    ~EncryptedData() override;

    EncryptedData(const EncryptedData&) = delete;
    EncryptedData& operator=(const EncryptedData&) = delete;

    EncryptedData* clone() const override;

    int getVersion() const { return version; }
    // The DER of what follows the version; a copy the caller deletes, or null.
    unsigned char* getEncryptedContent() const;
    unsigned int getEncryptedContentLen() const { return restLen; }

    unsigned int getWrapLength(Buffer* b) override;
    void wrapASN1(Buffer* b) override;
    unsigned char unwrapASN1(Buffer* b) override;
    unsigned char _unwrapASN1(Buffer* b) override { return unwrapASN1(b); }

private:
    int version;
    unsigned char* rest;
    unsigned int restLen;
};

#endif
