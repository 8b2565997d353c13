// Arbitrary bytes as a client's message to the verification server: the wire reader (length
// and text, under the server's cap) and then the request reader, as sigilo-server reads them.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "SocketFeed.h"
#include "asn1/Buffer.h"
#include "net/Transport.h"
#include "trust/ServerRequest.h"
#include "xml/XMLFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = socketFeed(data, size);
    if (fd < 0) return 0;
    Transport transport;
    transport.setTimeout(1);
    if (transport.attach(fd) != 0) return 0;
    Buffer buffer;
    XMLFile message(&buffer);
    if (!message.fromNetwork(&transport, nullptr, 65536)) return 0;
    ServerRequest request;
    if (!request.read(&message)) return 0;
    // What a request that reads may hold.
    int op = request.getOpCode();
    if (op != ServerRequest::kStatus && op != ServerRequest::kSignerCert &&
        op != ServerRequest::kTimeStampCert) {
        abort();
    }
    if (op != ServerRequest::kStatus && request.getCertificate().empty()) abort();
    if (request.getCertificate().size() > ServerRequest::kMaxCertText) abort();
    // Built again, it reads back the same.
    Buffer again;
    XMLFile rebuilt(&again);
    request.build(&rebuilt);
    const char* text = rebuilt.getXML(0);
    Buffer parsedBuffer;
    XMLFile parsed(&parsedBuffer);
    ServerRequest second;
    if (!parsed.parse(text, static_cast<int>(strlen(text)), 1) || !second.read(&parsed)) abort();
    if (second.getOpCode() != op || second.getCheckCRL() != request.getCheckCRL() ||
        second.getCheckCACRL() != request.getCheckCACRL() ||
        second.getUseOCSP() != request.getUseOCSP() ||
        second.getCheckCertificateValidity() != request.getCheckCertificateValidity()) {
        abort();
    }
    return 0;
}
