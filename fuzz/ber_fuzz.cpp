// Arbitrary bytes into every BER reader of the foundation, each on a fresh buffer over the same
// input, and into the Base64 decoders.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "asn1/DirectoryString.h"
#include "asn1/OID.h"
#include "asn1/OIDList.h"
#include "asn1/X500Time.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/DigestInfo.h"
#include "pkix/PlainData.h"
#include "pkix/Validity.h"

namespace {

struct Input {
    Buffer b;
    Input(const uint8_t* data, size_t size) {
        b.fromByteArray(data, static_cast<unsigned int>(size));
    }
};

template <class T>
void readObject(const uint8_t* data, size_t size) {
    Input in(data, size);
    T object;
    object.unwrapASN1(&in.b);
}

void readPrimitives(const uint8_t* data, size_t size) {
    Input in(data, size);
    Buffer& b = in.b;
    // Walk the input with every primitive reader in turn until nothing moves any more.
    for (int round = 0; round < 64 && !b.isEmpty(); ++round) {
        unsigned int before = b.getReadPos();
        unsigned char* p = nullptr;
        unsigned int n = 0;
        unsigned char result = 0, unused = 0, small = 0;
        int i = 0;
        long l = 0;
        char* text = nullptr;
        OID oid;
        switch (round % 12) {
            case 0: result = b._readASN1(&p, &n); if (result == 2) delete[] p; break;
            case 1: if (b.readASN1(&p, &n)) delete[] p; break;
            case 2: b.readASN1(&i); break;
            case 3: b.readLong(&l); break;
            case 4: if (b.readASN1BitString(&p, &n, &unused)) delete[] p; break;
            case 5: b.readASN1(&oid); break;
            case 6: b.readBoolean(&small); b.readASN1Enum(&small); break;
            case 7: if (b.readASN1(&text, static_cast<unsigned char>(0x13))) delete[] text; break;
            case 8: b.readASN1Sequence(&n); break;
            case 9: b.readNULL(); b.readEOC(); break;
            case 10: if (b.readASN1BitString(&p, &n, &unused, 0x83)) delete[] p; break;
            case 11: b._readASN1(&p, &n, 0x80); break;
        }
        if (b.getReadPos() == before) b.readByte();
    }
    unsigned char tag;
    unsigned int len;
    b.rewind();
    b.setWritePos(static_cast<unsigned int>(size));
    b.peekASN1Header(&tag, &len);
    b.checkASN1DataLen();
}

void decodeBase64(const uint8_t* data, size_t size) {
    std::vector<char> text(data, data + size);
    unsigned int n = 0;
    delete[] Base64::decode(text.data(), static_cast<unsigned int>(text.size()), &n);
    n = static_cast<unsigned int>(text.size());
    std::vector<unsigned char> out(text.size() + 1);
    Base64::decode(text.data(), out.data(), &n);
    Input in(data, size);
    in.b.decodePEM();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    readPrimitives(data, size);
    readObject<OIDList>(data, size);
    readObject<DirectoryString>(data, size);
    readObject<X500Time>(data, size);
    readObject<AlgorithmIdentifierSet>(data, size);
    readObject<AlgorithmIdentifierList>(data, size);
    readObject<DigestInfo>(data, size);
    readObject<Validity>(data, size);
    readObject<PlainData>(data, size);
    {
        Input in(data, size);
        PlainData borrowed;
        borrowed._unwrapASN1(&in.b);
        std::unique_ptr<PlainData> copy(borrowed.clone());
    }
    decodeBase64(data, size);
    return 0;
}
