#include "net/LDAPSession.h"

#include "asn1/Buffer.h"
#include "net/BindRequest.h"
#include "net/LDAPMessage.h"
#include "net/LDAPResult.h"
#include "net/SearchRequest.h"
#include "net/SearchResultEntry.h"

LDAPSession::LDAPSession(const char* h, int p)
    : host(h != nullptr ? h : ""), port(p > 0 && p <= 65535 ? p : kDefaultPort), nextID(1) {}

LDAPSession::~LDAPSession() {
    closeSession();
}

unsigned char LDAPSession::initSession() {
    if (host.empty()) return 0;
    return transport.Connect(host.c_str(), static_cast<unsigned short>(port)) == 0 ? 255 : 0;
}

unsigned char LDAPSession::attach(int fd) {
    return transport.attach(fd) == 0 ? 255 : 0;
}

void LDAPSession::closeSession() {
    transport.shutdownConnect();
}

unsigned char LDAPSession::sendMessage(LDAPMessage* message) {
    Buffer out;
    out.enlarge(message->getWrapLength(&out));
    message->wrapASN1(&out);
    return transport.Send(&out, out.getWritePos()) == 0 ? 255 : 0;
}

// The header is read by hand, byte by byte, so that no more than one message is taken from the
// stream and its length is judged before anything is allocated for it.
LDAPMessage* LDAPSession::receiveMessage() {
    unsigned char head[2];
    if (transport.Receive(reinterpret_cast<char*>(head), 2) != 0 || head[0] != 0x30) {
        return nullptr;
    }
    unsigned int length = head[1];
    unsigned char lengthBytes[4];
    unsigned int count = 0;
    if (head[1] & 0x80) {
        count = head[1] & 0x7F;
        if (count == 0 || count > 4 ||
            transport.Receive(reinterpret_cast<char*>(lengthBytes), count) != 0) {
            return nullptr;
        }
        unsigned long value = 0;
        for (unsigned int i = 0; i < count; ++i) value = (value << 8) | lengthBytes[i];
        if (value > kMaxMessage) return nullptr;
        length = static_cast<unsigned int>(value);
    }
    Buffer in;
    unsigned int headerSize = 2 + count;
    in.enlarge(headerSize + length);
    in.writeBytes(head, 2);
    if (count > 0) in.writeBytes(lengthBytes, count);
    in.setMaxSize(headerSize + length);
    if (length > 0 && transport.Receive(&in, length) != 0) return nullptr;
    auto message = std::make_unique<LDAPMessage>();
    if (!message->unwrapASN1(&in) || in.getReadPos() != headerSize + length) return nullptr;
    return message.release();
}

unsigned char LDAPSession::bind(const char* name, const char* password) {
    BindRequest request(3, name, password);
    LDAPMessage message(nextID++);
    message.setBindRequest(&request);
    if (!sendMessage(&message)) return 0;
    std::unique_ptr<LDAPMessage> answer(receiveMessage());
    return answer != nullptr && answer->getMessageID() == message.getMessageID() &&
                   answer->getOperation() == LDAPMessage::kBindResponse &&
                   answer->_getResult() != nullptr &&
                   answer->_getResult()->getResultCode() == LDAPResult::kSuccess
               ? 255
               : 0;
}

unsigned char LDAPSession::search(const SearchRequest* request,
                                  std::vector<std::unique_ptr<SearchResultEntry>>* entries,
                                  int* resultCode) {
    if (resultCode != nullptr) *resultCode = -1;
    if (request == nullptr) return 0;
    LDAPMessage message(nextID++);
    message.setSearchRequest(request);
    if (!sendMessage(&message)) return 0;
    for (int i = 0; i < kMaxSearchMessages; ++i) {
        std::unique_ptr<LDAPMessage> answer(receiveMessage());
        if (answer == nullptr) return 0;
        // Answers to another request (there is none in flight) and references are passed over.
        if (answer->getMessageID() != message.getMessageID()) continue;
        if (answer->getOperation() == LDAPMessage::kSearchResultDone) {
            if (resultCode != nullptr && answer->_getResult() != nullptr) {
                *resultCode = answer->_getResult()->getResultCode();
            }
            return 255;
        }
        if (answer->_getSearchResultEntry() != nullptr && entries != nullptr &&
            entries->size() < kMaxEntries) {
            entries->emplace_back(answer->_getSearchResultEntry()->clone());
        }
    }
    return 0;
}

unsigned char LDAPSession::unbind() {
    LDAPMessage message(nextID++);
    message.setUnbindRequest();
    return sendMessage(&message);
}
