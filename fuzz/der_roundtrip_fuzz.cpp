// Read, write, read again, write again: every encoding must read back, the writer's length must
// be what it writes, and the encodings must settle. Lax reading may change the bytes; so may the
// OID writer, which puts out the first two arcs as one byte cut to 8 bits (a first byte of 128
// or more then merges with the next arc when read back). Each such change shortens the value,
// so the passes reach a fixed point before the bytes run out.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/OIDList.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/DigestInfo.h"

namespace {

template <class T>
bool encode(T& object, Buffer* out) {
    out->rewind();
    unsigned int length = object.getWrapLength(out);
    out->enlarge(length);
    object.wrapASN1(out);
    if (out->getWritePos() != length) abort();
    return true;
}

template <class T>
void roundTrip(const uint8_t* data, size_t size) {
    Buffer in;
    in.fromByteArray(data, static_cast<unsigned int>(size));
    T first;
    if (!first.unwrapASN1(&in)) return;
    Buffer previous, next;
    encode(first, &previous);
    for (size_t pass = 0; pass <= size + 1; ++pass) {
        T again;
        if (!again.unwrapASN1(&previous)) abort();
        encode(again, &next);
        if (previous.getWritePos() == next.getWritePos() &&
            memcmp(previous._getData(), next._getData(), next.getWritePos()) == 0) {
            return;
        }
        previous.fromByteArray(next._getData(), next.getWritePos());
    }
    abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    roundTrip<OIDList>(data, size);
    roundTrip<AlgorithmIdentifierList>(data, size);
    roundTrip<AlgorithmIdentifierSet>(data, size);
    roundTrip<DigestInfo>(data, size);
    return 0;
}
