// BasicOCSPResponse ::= SEQUENCE {                        -- RFC 2560
//     tbsResponseData      ResponseData,
//     signatureAlgorithm   AlgorithmIdentifier,
//     signature            BIT STRING,
//     certs                [0] EXPLICIT SEQUENCE OF Certificate OPTIONAL }
//
// The signature covers the DER of tbsResponseData. A response that was read keeps those bytes
// as they came, and checkSignature verifies over them: what the responder signed is what is
// checked, with no re-encoding in between. A response built here is encoded for the check.
#ifndef SIGILO_PKIX_BASICOCSPRESPONSE_H
#define SIGILO_PKIX_BASICOCSPRESPONSE_H

#include <vector>

class AlgorithmIdentifier;
class Buffer;
class CertList;
class CryptoDevice;
class KeyInfo;
class ResponseData;
class Signature;

class BasicOCSPResponse {
public:
    // id-pkix-ocsp-basic, the responseType of this structure.
    static constexpr const char* kResponseType = "1.3.6.1.5.5.7.48.1.1";
    // More certificates than this in one response are refused on reading.
    static constexpr int kMaxCerts = 32;

    BasicOCSPResponse();
    ~BasicOCSPResponse();

    BasicOCSPResponse(const BasicOCSPResponse&) = delete;
    BasicOCSPResponse& operator=(const BasicOCSPResponse&) = delete;

    BasicOCSPResponse* clone() const;

    ResponseData* getTbsResponseData() const;
    const ResponseData* _getTbsResponseData() const { return tbsResponseData; }
    void setTbsResponseData(const ResponseData* data);
    AlgorithmIdentifier* getSignatureAlgorithm() const;
    const AlgorithmIdentifier* _getSignatureAlgorithm() const { return signatureAlgorithm; }
    void setSignatureAlgorithm(const AlgorithmIdentifier* algorithm);
    Signature* getSignature() const;
    void setSignature(const Signature* s);
    // The certificates, or null when the response carries none.
    CertList* getCerts() const;
    const CertList* _getCerts() const { return certs; }
    void setCerts(const CertList* list);

    // 255 when the device confirms the signature over the signed part with the key.
    unsigned char checkSignature(CryptoDevice* device, KeyInfo* key);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    ResponseData* tbsResponseData;
    // The bytes of tbsResponseData as read; empty for a response built here.
    std::vector<unsigned char> signedBytes;
    AlgorithmIdentifier* signatureAlgorithm;
    Signature* signature;
    CertList* certs;
};

#endif
