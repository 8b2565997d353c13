// SingleResponse ::= SEQUENCE {                           -- RFC 2560
//     certID                       CertID,
//     certStatus                   CertStatus,
//     thisUpdate                   GeneralizedTime,
//     nextUpdate           [0]     EXPLICIT GeneralizedTime OPTIONAL,
//     singleExtensions     [1]     EXPLICIT Extensions OPTIONAL }
//
// SingleResponseList ::= SEQUENCE OF SingleResponse       -- the responses of ResponseData
#ifndef SIGILO_PKIX_SINGLERESPONSE_H
#define SIGILO_PKIX_SINGLERESPONSE_H

#include "asn1/AsnList.h"

class Buffer;
class ExtensionList;
class OCSPCertID;
class OCSPCertStatus;
class X500Time;

class SingleResponse {
public:
    SingleResponse();
    ~SingleResponse();

    SingleResponse(const SingleResponse&) = delete;
    SingleResponse& operator=(const SingleResponse&) = delete;

    SingleResponse* clone() const;

    OCSPCertID* getCertID() const;
    const OCSPCertID* _getCertID() const { return certID; }
    void setCertID(const OCSPCertID* id);
    OCSPCertStatus* getCertStatus() const;
    const OCSPCertStatus* _getCertStatus() const { return certStatus; }
    void setCertStatus(const OCSPCertStatus* status);
    X500Time* getThisUpdate() const;
    const X500Time* _getThisUpdate() const { return thisUpdate; }
    void setThisUpdate(const X500Time* time);
    X500Time* getNextUpdate() const;
    const X500Time* _getNextUpdate() const { return nextUpdate; }
    void setNextUpdate(const X500Time* time);
    ExtensionList* getSingleExtensions() const;
    const ExtensionList* _getSingleExtensions() const { return extensions; }
    void setSingleExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    OCSPCertID* certID;
    OCSPCertStatus* certStatus;
    X500Time* thisUpdate;
    X500Time* nextUpdate;
    ExtensionList* extensions;
};

class SingleResponseList : public AsnList<SingleResponse, SingleResponseList, kSequenceTag> {
public:
    void addSingleResponse(const SingleResponse* r) { addElementCopy(r); }
    SingleResponse* getSingleResponse(int i) const { return getElement(i); }
};

#endif
