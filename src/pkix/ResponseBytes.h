// ResponseBytes ::= SEQUENCE {                            -- RFC 2560
//     responseType   OBJECT IDENTIFIER,
//     response       OCTET STRING }
//
// For id-pkix-ocsp-basic the octets hold the DER of a BasicOCSPResponse.
#ifndef SIGILO_PKIX_RESPONSEBYTES_H
#define SIGILO_PKIX_RESPONSEBYTES_H

class BasicOCSPResponse;
class Buffer;
class OID;

class ResponseBytes {
public:
    ResponseBytes();
    ~ResponseBytes();

    ResponseBytes(const ResponseBytes&) = delete;
    ResponseBytes& operator=(const ResponseBytes&) = delete;

    ResponseBytes* clone() const;

    // New dotted text, or null.
    char* getResponseType() const;
    const OID* _getResponseType() const { return responseType; }
    void setResponseType(const char* dotted);
    // The octets, not copied; null when absent.
    const unsigned char* _getResponse() const { return response; }
    unsigned int getResponseLength() const { return responseLength; }
    void setResponse(const unsigned char* p, unsigned int n);

    // The octets read as a BasicOCSPResponse filling them exactly: a new object, or null when
    // the type is another one or the octets do not read.
    BasicOCSPResponse* getBasicResponse() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    OID* responseType;
    unsigned char* response;
    unsigned int responseLength;
};

#endif
