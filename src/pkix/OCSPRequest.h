// OCSPRequest ::= SEQUENCE {                              -- RFC 2560
//     tbsRequest                  TBSRequest,
//     optionalSignature   [0]     EXPLICIT Signature OPTIONAL }
//
// The requests this system sends are never signed. A signature met on reading is kept whole,
// as the bytes of the [0] element, and written back as it came.
#ifndef SIGILO_PKIX_OCSPREQUEST_H
#define SIGILO_PKIX_OCSPREQUEST_H

class Buffer;
class TBSRequest;

class OCSPRequest {
public:
    OCSPRequest();
    ~OCSPRequest();

    OCSPRequest(const OCSPRequest&) = delete;
    OCSPRequest& operator=(const OCSPRequest&) = delete;

    OCSPRequest* clone() const;

    TBSRequest* getTBSRequest() const;
    const TBSRequest* _getTBSRequest() const { return tbsRequest; }
    void setTBSRequest(const TBSRequest* request);
    unsigned char hasSignature() const { return signature != nullptr ? 255 : 0; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    TBSRequest* tbsRequest;
    unsigned char* signature;
    unsigned int signatureLength;
};

#endif
