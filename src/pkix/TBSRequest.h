// TBSRequest ::= SEQUENCE {                               -- RFC 2560
//     version             [0] EXPLICIT Version DEFAULT v1,
//     requestorName       [1] EXPLICIT GeneralName OPTIONAL,
//     requestList             SEQUENCE OF Request,
//     requestExtensions   [2] EXPLICIT Extensions OPTIONAL }
#ifndef SIGILO_PKIX_TBSREQUEST_H
#define SIGILO_PKIX_TBSREQUEST_H

class Buffer;
class ExtensionList;
class GeneralName;
class RequestList;

class TBSRequest {
public:
    // More requests than this in one message are refused on reading.
    static constexpr int kMaxRequests = 256;

    TBSRequest();
    ~TBSRequest();

    TBSRequest(const TBSRequest&) = delete;
    TBSRequest& operator=(const TBSRequest&) = delete;

    TBSRequest* clone() const;

    // 0 is v1, the default, which is not written.
    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    GeneralName* getRequestorName() const;
    void setRequestorName(const GeneralName* name);
    RequestList* getRequestList() const;
    const RequestList* _getRequestList() const { return requestList; }
    void setRequestList(const RequestList* list);
    ExtensionList* getRequestExtensions() const;
    void setRequestExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    GeneralName* requestorName;
    RequestList* requestList;
    ExtensionList* extensions;
};

#endif
