// Arbitrary bytes as the body of a web server's answer: the DER or base64 object reader, the
// reader of a body of a stated length, and the link of a page.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "SocketFeed.h"
#include "asn1/Buffer.h"
#include "net/HTTP.h"
#include "net/Transport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        int fd = socketFeed(data, size);
        if (fd < 0) return 0;
        Transport transport;
        transport.setTimeout(1);
        if (transport.attach(fd) != 0) return 0;
        Buffer out;
        if (HTTP::receiveDER(&transport, &out)) {
            // A DER object is taken whole from what arrived, or decoded from base64 text.
            if (out.getMaxSize() > size || out.getWritePos() > size) abort();
        }
    }
    {
        int fd = socketFeed(data, size);
        if (fd < 0) return 0;
        Transport transport;
        transport.setTimeout(1);
        if (transport.attach(fd) != 0) return 0;
        // A stated length takes that much, and fails when less arrived; no length takes
        // everything to the end of the stream.
        unsigned int stated = size > 0 ? static_cast<unsigned int>(data[0]) * 64 : 0;
        Buffer out;
        if (HTTP::receiveBody(&transport, stated, &out)) {
            unsigned int expected = stated > 0 ? stated : static_cast<unsigned int>(size);
            if (out.getWritePos() != expected || stated > size) abort();
        }
    }
    std::unique_ptr<char[]> link(HTTP::findLink(data, static_cast<unsigned int>(size)));
    if (link) std::unique_ptr<char[]> next(HTTP::resolveLink("http://h:8/d/p.html", link.get()));
    return 0;
}
