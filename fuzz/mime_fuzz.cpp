// Arbitrary bytes as an M7M: the MIME reader on its own, then the M7M driver with a report.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "asn1/Buffer.h"
#include "verify/DocVerifier.h"
#include "verify/MIME.h"
#include "verify/TrustStore.h"
#include "xml/XMLFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int fd = memfd_create("mime", 0);
    if (fd < 0) return 0;
    if (write(fd, data, size) != static_cast<ssize_t>(size)) {
        close(fd);
        return 0;
    }
    char path[64];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);

    MIME mime;
    if (mime.setFile(path)) {
        mime.getHeader("Content-Type");
        for (int part = 0; part < 4 && mime.seekAttachment(); ++part) {
            mime.isPEMEncoded();
            Buffer body;
            mime.readAttachment(&body);
            // A part is never longer than the file it came from.
            if (body.getWritePos() > size) abort();
        }
    }

    static UnavailableTrustStore store;
    DocVerifier verifier(nullptr, &store);
    Buffer reportBuffer(4096);
    XMLFile report(&reportBuffer);
    report.openTag("sigilo");
    verifier.setXMLOutput(&report);
    verifier.verifyMIMEFile(path, nullptr, nullptr);
    // The driver closes what it opened: the root is current again.
    if (report._getCurrentNode() == nullptr ||
        xmlStrcmp(report._getCurrentNode()->name, BAD_CAST "sigilo") != 0) {
        abort();
    }
    close(fd);
    return 0;
}
