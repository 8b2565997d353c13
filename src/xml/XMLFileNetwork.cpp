// XMLFile: the wire form of the verification server. A message in either direction is four bytes
// of length, high byte first, and then that many bytes of XML text. One message is read whole
// before it is parsed, so the length is capped: a peer cannot make the reader allocate what it
// names in its first four bytes.
#include <cstring>
#include <memory>
#include <new>

#include "net/Logger.h"
#include "net/Transport.h"
#include "xml/XMLFile.h"

namespace {

constexpr unsigned int kLengthBytes = 4;

const char* receiveError(int code) {
    if (code == 1) return "connessione chiusa";
    if (code == Transport::kTimedOut) return "time-out";
    return strerror(code);
}

}  // namespace

unsigned char XMLFile::toNetwork(Transport* transport) {
    if (transport == nullptr) return 0;
    const char* xml = getXML(0);
    if (xml == nullptr) return 0;
    size_t length = strlen(xml);
    if (length > kMaxNetworkText) return 0;
    char head[kLengthBytes] = {
        static_cast<char>((length >> 24) & 0xFF), static_cast<char>((length >> 16) & 0xFF),
        static_cast<char>((length >> 8) & 0xFF), static_cast<char>(length & 0xFF)};
    if (transport->Send(head, kLengthBytes) != 0) return 0;
    if (length > 0 && transport->Send(xml, static_cast<unsigned int>(length)) != 0) return 0;
    return 255;
}

unsigned char XMLFile::fromNetwork(Transport* transport) {
    return fromNetwork(transport, nullptr, kMaxNetworkText);
}

unsigned char XMLFile::fromNetwork(Transport* transport, Logger* log) {
    return fromNetwork(transport, log, kMaxNetworkText);
}

unsigned char XMLFile::fromNetwork(Transport* transport, Logger* log, unsigned int maxLength) {
    if (transport == nullptr) return 0;
    unsigned char head[kLengthBytes];
    if (transport->Receive(reinterpret_cast<char*>(head), kLengthBytes) != 0) {
        if (log != nullptr) log->print(7, "No data received");
        return 0;
    }
    unsigned int length = (static_cast<unsigned int>(head[0]) << 24) |
                          (static_cast<unsigned int>(head[1]) << 16) |
                          (static_cast<unsigned int>(head[2]) << 8) | head[3];
    // An empty text is no document, and a length past the cap is not believed.
    if (length == 0 || length > maxLength) {
        if (log != nullptr) log->print(7, "Invalid data len");
        return 0;
    }
    std::unique_ptr<char[]> text(new (std::nothrow) char[length + 1]);
    if (!text) {
        if (log != nullptr) log->print(7, "Invalid data len");
        return 0;
    }
    int received = transport->Receive(text.get(), length);
    if (received != 0) {
        if (log != nullptr) log->print(7, "Error receiving data [%s]", receiveError(received));
        return 0;
    }
    text[length] = 0;
    return parse(text.get(), static_cast<int>(length), 1);
}
