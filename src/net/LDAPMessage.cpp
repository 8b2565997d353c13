#include "net/LDAPMessage.h"

#include "asn1/Buffer.h"
#include "net/BindRequest.h"
#include "net/LDAPResult.h"
#include "net/LDAPSteps.h"
#include "net/SearchRequest.h"
#include "net/SearchResultEntry.h"

namespace {

constexpr unsigned char kControls = 0xA0;
// Constructed APPLICATION tags: the responses whose body is an LDAPResult.
bool isResultTag(unsigned char tag) {
    return (tag & 0xE0) == 0x60 && tag != LDAPMessage::kBindRequest &&
           tag != LDAPMessage::kSearchRequest && tag != LDAPMessage::kSearchResultEntry &&
           tag != 0x66 && tag != 0x68 && tag != 0x6A && tag != 0x6C && tag != 0x6E && tag != 0x77 &&
           tag != 0x79 && tag != 0x73;
}

}  // namespace

LDAPMessage::LDAPMessage() : LDAPMessage(0) {}

LDAPMessage::LDAPMessage(int id) : messageID(id), operation(0) {}

LDAPMessage::~LDAPMessage() = default;

LDAPMessage* LDAPMessage::clone() const {
    LDAPMessage* copy = new LDAPMessage(messageID);
    copy->operation = operation;
    if (bind) copy->bind.reset(bind->clone());
    if (search) copy->search.reset(search->clone());
    if (result) copy->result.reset(result->clone());
    if (entry) copy->entry.reset(entry->clone());
    return copy;
}

void LDAPMessage::clear() {
    operation = 0;
    bind.reset();
    search.reset();
    result.reset();
    entry.reset();
}

void LDAPMessage::setBindRequest(const BindRequest* request) {
    clear();
    if (request == nullptr) return;
    bind.reset(request->clone());
    operation = kBindRequest;
}

void LDAPMessage::setSearchRequest(const SearchRequest* request) {
    clear();
    if (request == nullptr) return;
    search.reset(request->clone());
    operation = kSearchRequest;
}

void LDAPMessage::setUnbindRequest() {
    clear();
    operation = kUnbindRequest;
}

void LDAPMessage::setResult(unsigned char tag, const LDAPResult* r) {
    clear();
    if (r == nullptr) return;
    result.reset(r->clone());
    operation = tag;
}

void LDAPMessage::setSearchResultEntry(const SearchResultEntry* e) {
    clear();
    if (e == nullptr) return;
    entry.reset(e->clone());
    operation = kSearchResultEntry;
}

unsigned int LDAPMessage::operationLength(Buffer* b) {
    if (bind) return bind->getWrapLength(b);
    if (search) return search->getWrapLength(b);
    if (entry) return entry->getWrapLength(b);
    if (result) return result->getWrapLength(b, operation);
    return b->lenASN1Header(kUnbindRequest, 0);
}

unsigned int LDAPMessage::contentLength(Buffer* b) {
    return b->lenASN1(messageID) + operationLength(b);
}

unsigned int LDAPMessage::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void LDAPMessage::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    b->writeASN1(messageID);
    if (bind) {
        bind->wrapASN1(b);
    } else if (search) {
        search->wrapASN1(b);
    } else if (entry) {
        entry->wrapASN1(b);
    } else if (result) {
        result->wrapASN1(b, operation);
    } else {
        b->writeASN1Header(kUnbindRequest, 0);
    }
}

unsigned char LDAPMessage::unwrapASN1(Buffer* b) {
    clear();
    unsigned char tag;
    unsigned int len;
    if (!ldap::readHeader(b, &tag, &len) || tag != ldap::kSequence) return 0;
    unsigned int end = b->getReadPos() + len;
    if (!ldap::readNumber(b, ldap::kInteger, &messageID) || messageID < 0 ||
        b->getReadPos() >= end) {
        return 0;
    }
    unsigned char op = b->peekByte();
    unsigned char ok;
    if (op == kBindRequest) {
        bind = std::make_unique<BindRequest>();
        ok = bind->unwrapASN1(b);
    } else if (op == kSearchRequest) {
        search = std::make_unique<SearchRequest>();
        ok = search->unwrapASN1(b);
    } else if (op == kSearchResultEntry) {
        entry = std::make_unique<SearchResultEntry>();
        ok = entry->unwrapASN1(b);
    } else if (isResultTag(op)) {
        result = std::make_unique<LDAPResult>();
        ok = result->unwrapASN1(b, &op);
    } else {
        ok = ldap::skipElement(b);
    }
    if (!ok || b->getReadPos() > end) {
        clear();
        return 0;
    }
    operation = op;
    if (b->getReadPos() < end && b->peekByte() == kControls && !ldap::skipElement(b)) return 0;
    return b->getReadPos() == end ? 255 : 0;
}
