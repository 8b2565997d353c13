// Arbitrary bytes as the verification server's reply: the wire reader, then the client's
// reading of a status reply and its judgement of a certificate reply, into a report.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "SocketFeed.h"
#include "asn1/Buffer.h"
#include "asn1/X500Time.h"
#include "net/Transport.h"
#include "trust/ServerInterface.h"
#include "xml/XMLFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = socketFeed(data, size);
    if (fd < 0) return 0;
    Transport transport;
    transport.setTimeout(1);
    if (transport.attach(fd) != 0) return 0;
    Buffer buffer;
    XMLFile reply(&buffer);
    if (!reply.fromNetwork(&transport)) return 0;
    Buffer reportBuffer;
    XMLFile report(&reportBuffer);
    report.openTag("sigilo");
    ServerInterface client;
    client.setXMLOutput(&report);
    client._takeStatusReply(&reply);
    unsigned char ok = client._judgeReply(&reply);
    unsigned long code = client.getErrCode();
    // A judged certificate is clean, expired, revoked or suspended; nothing else goes on.
    if (ok && code != 0xFFFFFFFFul && code != 5127 && code != 5128 && code != 5161) abort();
    std::unique_ptr<X500Time> revoked(client.getRevocationDate());
    std::unique_ptr<X500Time> expired(client.getExpiredCertsOnCRL());
    report.getXML(0);
    return 0;
}
