// Envelopes from anywhere: the input is read as a ContentInfo by both readers (copying and
// no-copy), whose answers must agree; what reads is cloned and re-encoded, and the encoding must
// read back.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "asn1/Buffer.h"
#include "pkix/ContentInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Buffer copying;
    copying.fromByteArray(data, static_cast<unsigned int>(size));
    ContentInfo owned;
    unsigned char first = owned.unwrapASN1(&copying);

    Buffer borrowing;
    borrowing.fromByteArray(data, static_cast<unsigned int>(size));
    unsigned char second;
    {
        ContentInfo lent;
        second = lent._unwrapASN1(&borrowing);
        // A clone of borrowed data shares it; both must go without freeing the buffer's bytes.
        std::unique_ptr<ContentInfo> copy(lent.clone());
    }
    if (first != second) abort();
    if (first != 1) return 0;

    Buffer out;
    out.enlarge(owned.getWrapLength(&out));
    owned.wrapASN1(&out);
    ContentInfo again;
    if (again.unwrapASN1(&out) != 1) abort();
    return 0;
}
