// TimeStampReq ::= SEQUENCE {                            -- RFC 3161
//     version         INTEGER { v1(1) },
//     messageImprint  MessageImprint,
//     reqPolicy       TSAPolicyId               OPTIONAL,
//     nonce           INTEGER                   OPTIONAL,
//     certReq         BOOLEAN                   DEFAULT FALSE,
//     extensions      [0] IMPLICIT Extensions   OPTIONAL } -- 0xA0
//
// The request sent to a time-stamp authority. The reader takes the optional members in order
// and refuses anything it does not know inside the SEQUENCE.
#ifndef SIGILO_PKIX_TIMESTAMPREQ_H
#define SIGILO_PKIX_TIMESTAMPREQ_H

#include "crypto/BigInteger.h"

class Buffer;
class ExtensionList;
class MessageImprint;
class OID;

class TimeStampReq {
public:
    TimeStampReq();
    ~TimeStampReq();

    TimeStampReq(const TimeStampReq&) = delete;
    TimeStampReq& operator=(const TimeStampReq&) = delete;

    TimeStampReq* clone() const;

    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    MessageImprint* getMessageImprint() const;
    const MessageImprint* _getMessageImprint() const { return messageImprint; }
    void setMessageImprint(const MessageImprint* imprint);
    // New dotted text, or null.
    char* getReqPolicy() const;
    const OID* _getReqPolicy() const { return reqPolicy; }
    void setReqPolicy(const char* dotted);
    unsigned char hasNonce() const { return noncePresent; }
    BigInteger getNonce() const { return nonce; }
    void setNonce(const BigInteger& value);
    void clearNonce();
    unsigned char getCertReq() const { return certReq; }
    void setCertReq(unsigned char value) { certReq = value ? 255 : 0; }
    ExtensionList* getExtensions() const;
    const ExtensionList* _getExtensions() const { return extensions; }
    void setExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    MessageImprint* messageImprint;
    OID* reqPolicy;
    unsigned char noncePresent;
    BigInteger nonce;
    unsigned char certReq;
    ExtensionList* extensions;
};

#endif
