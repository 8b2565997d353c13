// Arbitrary bytes as the answer of a web server: the header reader, then the body readers on
// what follows (a DER or base64 object, or a page and its link), as the HTTP client reads them.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "SocketFeed.h"
#include "asn1/Buffer.h"
#include "net/HTTP.h"
#include "net/Transport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (int body = 0; body < 2; ++body) {
        int fd = socketFeed(data, size);
        if (fd < 0) return 0;
        Transport transport;
        transport.setTimeout(1);
        if (transport.attach(fd) != 0) return 0;
        HTTP::HeaderTable lines;
        int count = HTTP::receiveHeaders(&transport, lines);
        if (count < 0 || count > HTTP::kHeaderLines) abort();
        for (int i = 0; i < count; ++i) {
            if (memchr(lines[i], 0, HTTP::kHeaderLineSize) == nullptr) abort();
        }
        Buffer out;
        if (body == 0) {
            // Nothing taken is longer than what arrived, nor than what base64 can give.
            if (HTTP::receiveDER(&transport, &out) && out.getMaxSize() > size) abort();
        } else if (HTTP::receiveBody(&transport, 0, &out)) {
            if (out.getWritePos() > size) abort();
            std::unique_ptr<char[]> link(HTTP::findLink(out._getData(), out.getWritePos()));
            if (link) std::unique_ptr<char[]> next(HTTP::resolveLink("http://h/a", link.get()));
        }
    }
    return 0;
}
