// ServerRequest: the message a client sends the verification server. The root "sigiloRequest"
// holds "opCode" (100 the server's state, 101 a signer's certificate, 102 a time-stamp
// authority's certificate), an empty element for each check the client turns off, and, for
// 101 and 102, "cert" with the DER certificate in base64.
//
// The client builds it; the server reads it back, and refuses anything else: another root, a
// missing or unknown opCode, a certificate request without a certificate, a certificate text
// past the cap.
#ifndef SIGILO_TRUST_SERVERREQUEST_H
#define SIGILO_TRUST_SERVERREQUEST_H

#include <string>

class XMLFile;

class ServerRequest {
public:
    static constexpr int kStatus = 100;
    static constexpr int kSignerCert = 101;
    static constexpr int kTimeStampCert = 102;
    // A certificate far larger than any real one is no request.
    static constexpr unsigned int kMaxCertText = 65536;

    ServerRequest() = default;

    void setOpCode(int code) { opCode = code; }
    void setCheckCRL(unsigned char on) { checkCRL = on; }
    void setCheckCACRL(unsigned char on) { checkCACRL = on; }
    void setUseOCSP(unsigned char on) { useOCSP = on; }
    void setCheckCertificateValidity(unsigned char on) { checkCertificateValidity = on; }
    void setCertificate(const char* base64) { cert = base64 != nullptr ? base64 : ""; }

    int getOpCode() const { return opCode; }
    unsigned char getCheckCRL() const { return checkCRL; }
    unsigned char getCheckCACRL() const { return checkCACRL; }
    unsigned char getUseOCSP() const { return useOCSP; }
    unsigned char getCheckCertificateValidity() const { return checkCertificateValidity; }
    const std::string& getCertificate() const { return cert; }

    // The request as a new document on xml, which must be empty.
    unsigned char build(XMLFile* xml) const;
    // A parsed document read into this object; false when it is no request.
    unsigned char read(XMLFile* xml);

private:
    int opCode = 0;
    unsigned char checkCRL = 255;
    unsigned char checkCACRL = 255;
    unsigned char useOCSP = 255;
    unsigned char checkCertificateValidity = 255;
    std::string cert;
};

#endif
