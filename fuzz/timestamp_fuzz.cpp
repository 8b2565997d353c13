// Time stamps from anywhere: the input is read as a TimeStampResp, a TimeStampToken, a
// TimeStampedData, a TSTInfo in either form and a TimeStampReq. The copying and no-copy
// readers must agree; what reads is cloned, re-encoded, and must read back.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "asn1/Buffer.h"
#include "pkix/TSTInfo.h"
#include "pkix/TimeStampReq.h"
#include "pkix/TimeStampResp.h"
#include "pkix/TimeStampToken.h"
#include "pkix/TimeStampedData.h"

namespace {

template <class T>
void mustReadBack(T& object) {
    Buffer out;
    out.enlarge(object.getWrapLength(&out));
    object.wrapASN1(&out);
    if (out.getWritePos() != object.getWrapLength(&out)) abort();
    T again;
    if (again.unwrapASN1(&out) == 0) abort();
}

// Both readers of a class with a no-copy form, over the same bytes.
template <class T>
void bothReaders(const uint8_t* data, size_t size) {
    Buffer copying;
    copying.fromByteArray(data, static_cast<unsigned int>(size));
    T owned;
    unsigned char first = owned.unwrapASN1(&copying);
    Buffer borrowing;
    borrowing.fromByteArray(data, static_cast<unsigned int>(size));
    unsigned char second;
    {
        T lent;
        second = lent._unwrapASN1(&borrowing);
        std::unique_ptr<T> copy(lent.clone());
    }
    if (first != second) abort();
    if (first == 0) return;
    std::unique_ptr<T> copy(owned.clone());
    mustReadBack(*copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    bothReaders<TimeStampResp>(data, size);
    bothReaders<TimeStampToken>(data, size);
    bothReaders<TimeStampedData>(data, size);

    Buffer b;
    b.fromByteArray(data, static_cast<unsigned int>(size));
    TimeStampToken token;
    if (token.unwrapASN1(&b) == 1) {
        std::unique_ptr<TSTInfo> info(token.getTSTInfo());
        if (info) mustReadBack(*info);
    }

    std::unique_ptr<TSTInfo> info(TSTInfo::readAnyForm(data, static_cast<unsigned int>(size)));
    if (info) {
        if (info->isDraft09()) {
            mustReadBack(*static_cast<TSTInfoDraft09*>(info.get()));
        } else {
            mustReadBack(*info);
        }
    }

    b.setReadPos(0);
    TimeStampReq req;
    if (req.unwrapASN1(&b)) mustReadBack(req);
    return 0;
}
