// ResponseData ::= SEQUENCE {                             -- RFC 2560
//     version              [0] EXPLICIT Version DEFAULT v1,
//     responderID              ResponderID,
//     producedAt               GeneralizedTime,
//     responses                SEQUENCE OF SingleResponse,
//     responseExtensions   [1] EXPLICIT Extensions OPTIONAL }
#ifndef SIGILO_PKIX_RESPONSEDATA_H
#define SIGILO_PKIX_RESPONSEDATA_H

class Buffer;
class ExtensionList;
class ResponderID;
class SingleResponseList;
class X500Time;

class ResponseData {
public:
    // More answers than this in one response are refused on reading.
    static constexpr int kMaxResponses = 1024;

    ResponseData();
    ~ResponseData();

    ResponseData(const ResponseData&) = delete;
    ResponseData& operator=(const ResponseData&) = delete;

    ResponseData* clone() const;

    // 0 is v1, the default, which is not written.
    int getVersion() const { return version; }
    void setVersion(int v) { version = v; }
    ResponderID* getResponderID() const;
    const ResponderID* _getResponderID() const { return responderID; }
    void setResponderID(const ResponderID* id);
    X500Time* getProducedAt() const;
    const X500Time* _getProducedAt() const { return producedAt; }
    void setProducedAt(const X500Time* time);
    SingleResponseList* getResponses() const;
    const SingleResponseList* _getResponses() const { return responses; }
    void setResponses(const SingleResponseList* list);
    ExtensionList* getResponseExtensions() const;
    const ExtensionList* _getResponseExtensions() const { return extensions; }
    void setResponseExtensions(const ExtensionList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    void clear();

    int version;
    ResponderID* responderID;
    X500Time* producedAt;
    SingleResponseList* responses;
    ExtensionList* extensions;
};

#endif
