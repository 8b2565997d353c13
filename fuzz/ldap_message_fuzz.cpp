// Arbitrary bytes as the answer of a directory: the session's message reader over a stream of
// messages, and the message classes on the bytes as one message, written back and read again.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "SocketFeed.h"
#include "asn1/Buffer.h"
#include "net/LDAPMessage.h"
#include "net/LDAPSession.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = socketFeed(data, size);
    if (fd < 0) return 0;
    {
        LDAPSession session("127.0.0.1", 389);
        session.setTimeout(1);
        if (!session.attach(fd)) return 0;
        for (int i = 0; i < 64; ++i) {
            std::unique_ptr<LDAPMessage> message(session.receiveMessage());
            if (!message) break;
        }
    }
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    LDAPMessage message;
    unsigned char op = message.unwrapASN1(&in) ? message.getOperation() : 0;
    // Operations kept only as their tag are not written back.
    bool kept = op == LDAPMessage::kBindRequest || op == LDAPMessage::kSearchRequest ||
                op == LDAPMessage::kSearchResultEntry || op == LDAPMessage::kUnbindRequest ||
                message._getResult() != nullptr;
    if (kept) {
        // What was read writes out as it says, and reads back.
        std::unique_ptr<LDAPMessage> copy(message.clone());
        Buffer out;
        unsigned int length = copy->getWrapLength(&out);
        copy->wrapASN1(&out);
        if (out.getWritePos() != length) abort();
        LDAPMessage again;
        if (!again.unwrapASN1(&out) || again.getOperation() != message.getOperation() ||
            again.getMessageID() != message.getMessageID()) {
            abort();
        }
    }
    return 0;
}
