// Request ::= SEQUENCE {                                  -- RFC 2560
//     reqCert                     CertID,
//     singleRequestExtensions     [0] EXPLICIT Extensions OPTIONAL }
//
// RequestList ::= SEQUENCE OF Request
#ifndef SIGILO_PKIX_REQUEST_H
#define SIGILO_PKIX_REQUEST_H

#include "asn1/AsnList.h"

class Buffer;
class ExtensionList;
class OCSPCertID;

class Request {
public:
    Request();
    explicit Request(const OCSPCertID* certID);
    ~Request();

    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    Request* clone() const;

    OCSPCertID* getReqCert() const;
    const OCSPCertID* _getReqCert() const { return reqCert; }
    void setReqCert(const OCSPCertID* certID);
    ExtensionList* getSingleRequestExtensions() const;
    void setSingleRequestExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    OCSPCertID* reqCert;
    ExtensionList* extensions;
};

class RequestList : public AsnList<Request, RequestList, kSequenceTag> {
public:
    void addRequest(const Request* r) { addElementCopy(r); }
    Request* getRequest(int i) const { return getElement(i); }
};

#endif
