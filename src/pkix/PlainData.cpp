#include "pkix/PlainData.h"

#include "asn1/Buffer.h"

PlainData::PlainData() = default;

PlainData::PlainData(const unsigned char* p, unsigned int n) {
    setData(p, n);
}

PlainData::~PlainData() = default;

PlainData* PlainData::clone() const {
    PlainData* copy = new PlainData();
    bytes.cloneInto(&copy->bytes);
    return copy;
}

unsigned char* PlainData::getData() const {
    return bytes.copy();
}

unsigned int PlainData::getWrapLength(Buffer* b) {
    return bytes.wrapLength(b);
}

void PlainData::wrapASN1(Buffer* b) {
    bytes.write(b);
}

unsigned char PlainData::unwrapASN1(Buffer* b) {
    return bytes.read(b, false);
}

unsigned char PlainData::_unwrapASN1(Buffer* b) {
    return bytes.read(b, true);
}
