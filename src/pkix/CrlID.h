// CrlID ::= SEQUENCE {                                    -- RFC 2560
//     crlUrl      [0]     EXPLICIT IA5String OPTIONAL,
//     crlNum      [1]     EXPLICIT INTEGER OPTIONAL,
//     crlTime     [2]     EXPLICIT GeneralizedTime OPTIONAL }
//
// The value of the single-response extension id-pkix-ocsp-crl (1.3.6.1.5.5.7.48.1.3): the CRL
// on which a revoked answer was found.
#ifndef SIGILO_PKIX_CRLID_H
#define SIGILO_PKIX_CRLID_H

#include "crypto/BigInteger.h"

class Buffer;
class X500Time;

class CrlID {
public:
    static constexpr const char* kExtensionOID = "1.3.6.1.5.5.7.48.1.3";

    CrlID();
    ~CrlID();

    CrlID(const CrlID&) = delete;
    CrlID& operator=(const CrlID&) = delete;

    CrlID* clone() const;

    // New text, or null.
    char* getCrlUrl() const;
    void setCrlUrl(const char* url);
    unsigned char hasCrlNum() const { return crlNumPresent; }
    BigInteger getCrlNum() const { return crlNum; }
    void setCrlNum(const BigInteger& number);
    X500Time* getCrlTime() const;
    void setCrlTime(const X500Time* time);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    char* crlUrl;
    BigInteger crlNum;
    unsigned char crlNumPresent;
    X500Time* crlTime;
};

#endif
