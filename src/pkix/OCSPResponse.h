// OCSPResponse ::= SEQUENCE {                             -- RFC 2560
//     responseStatus         OCSPResponseStatus,
//     responseBytes          [0] EXPLICIT ResponseBytes OPTIONAL }
//
// OCSPResponseStatus ::= ENUMERATED { successful (0), malformedRequest (1), internalError (2),
//     tryLater (3), -- (4) is not used -- sigRequired (5), unauthorized (6) }
#ifndef SIGILO_PKIX_OCSPRESPONSE_H
#define SIGILO_PKIX_OCSPRESPONSE_H

class Buffer;
class ResponseBytes;

class OCSPResponse {
public:
    static constexpr unsigned char kSuccessful = 0;

    OCSPResponse();
    ~OCSPResponse();

    OCSPResponse(const OCSPResponse&) = delete;
    OCSPResponse& operator=(const OCSPResponse&) = delete;

    OCSPResponse* clone() const;

    unsigned char getResponseStatus() const { return responseStatus; }
    void setResponseStatus(unsigned char status) { responseStatus = status; }
    // Null when the response carries none (as every failed one does).
    ResponseBytes* getResponseBytes() const;
    const ResponseBytes* _getResponseBytes() const { return responseBytes; }
    void setResponseBytes(const ResponseBytes* bytes);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    unsigned char responseStatus;
    ResponseBytes* responseBytes;
};

#endif
