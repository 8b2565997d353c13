// Arbitrary bytes classified as a buffer (from two read positions) and as a file, which also
// runs the PEM attempt and the two loaders on them.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "asn1/Buffer.h"
#include "verify/DocVerifier.h"
#include "verify/TrustStore.h"

namespace {

DocVerifier& verifier() {
    static UnavailableTrustStore store;
    static DocVerifier instance(nullptr, &store);
    return instance;
}

void classifyBuffer(const uint8_t* data, size_t size, unsigned int start) {
    Buffer b;
    b.fromByteArray(data, static_cast<unsigned int>(size));
    b.setReadPos(start);
    unsigned int before = b.getReadPos();
    InputType type = verifier().guessInputType(&b);
    // The read position is the caller's, and a buffer is never unreadable nor MIME.
    if (b.getReadPos() != before || type == InputUnreadable || type == InputM7M) abort();
    if (type < InputUnknown || type > InputCMS) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    classifyBuffer(data, size, 0);
    if (size > 3) classifyBuffer(data, size, 3);

    int fd = memfd_create("classify", 0);
    if (fd < 0) return 0;
    if (write(fd, data, size) == static_cast<ssize_t>(size)) {
        char path[64];
        snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
        InputType type = verifier().guessInputType(path);
        if (type < InputUnknown || type > InputCMS) abort();
        if (size < DocVerifier::kFileHeadSize && type != InputUnreadable) abort();
        verifier().loadDoc(path);
        verifier().loadDetached(path);
    }
    close(fd);
    return 0;
}
