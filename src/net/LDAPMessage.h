// LDAPMessage ::= SEQUENCE {                               -- RFC 4511
//     messageID   INTEGER (0 .. maxInt),
//     protocolOp  CHOICE { bindRequest, bindResponse, unbindRequest, searchRequest,
//                          searchResEntry, searchResDone, searchResRef, ... },
//     controls    [0] Controls OPTIONAL }
//
// The operations the CRL client speaks are held as their classes: BindRequest, SearchRequest,
// SearchResultEntry, the unbind (an empty [APPLICATION 2]) and the responses that are an
// LDAPResult (BindResponse 0x61, SearchResultDone 0x65 and the like). Any other operation is
// read over and kept only as its tag, and controls are skipped.
#ifndef SIGILO_NET_LDAPMESSAGE_H
#define SIGILO_NET_LDAPMESSAGE_H

#include <memory>

class BindRequest;
class Buffer;
class LDAPResult;
class SearchRequest;
class SearchResultEntry;

class LDAPMessage {
public:
    static constexpr unsigned char kBindRequest = 0x60;
    static constexpr unsigned char kBindResponse = 0x61;
    static constexpr unsigned char kUnbindRequest = 0x42;
    static constexpr unsigned char kSearchRequest = 0x63;
    static constexpr unsigned char kSearchResultEntry = 0x64;
    static constexpr unsigned char kSearchResultDone = 0x65;
    static constexpr unsigned char kSearchResultReference = 0x73;

    LDAPMessage();
    explicit LDAPMessage(int messageID);
    ~LDAPMessage();

    LDAPMessage(const LDAPMessage&) = delete;
    LDAPMessage& operator=(const LDAPMessage&) = delete;

    LDAPMessage* clone() const;

    int getMessageID() const { return messageID; }
    void setMessageID(int id) { messageID = id; }
    // The tag of the operation, 0 before one is set or read.
    unsigned char getOperation() const { return operation; }

    // Each setter stores a copy and makes it the operation.
    void setBindRequest(const BindRequest* request);
    void setSearchRequest(const SearchRequest* request);
    void setUnbindRequest();
    void setResult(unsigned char tag, const LDAPResult* result);
    void setSearchResultEntry(const SearchResultEntry* entry);

    // The operation's object, or null when the message holds another.
    const BindRequest* _getBindRequest() const { return bind.get(); }
    const SearchRequest* _getSearchRequest() const { return search.get(); }
    const LDAPResult* _getResult() const { return result.get(); }
    const SearchResultEntry* _getSearchResultEntry() const { return entry.get(); }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();
    unsigned int operationLength(Buffer* b);
    unsigned int contentLength(Buffer* b);

    int messageID;
    unsigned char operation;
    std::unique_ptr<BindRequest> bind;
    std::unique_ptr<SearchRequest> search;
    std::unique_ptr<LDAPResult> result;
    std::unique_ptr<SearchResultEntry> entry;
};

#endif
