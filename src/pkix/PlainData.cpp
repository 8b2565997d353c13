#include "pkix/PlainData.h"

#include <cstring>

#include "asn1/Buffer.h"

PlainData::PlainData() : data(nullptr), length(0), borrowed(0) {}

PlainData::PlainData(const unsigned char* p, unsigned int n) : PlainData() { setData(p, n); }

PlainData::~PlainData() { release(); }

void PlainData::release() {
    if (!borrowed) delete[] data;
    data = nullptr;
    length = 0;
    borrowed = 0;
}

PlainData* PlainData::clone() const {
    if (!borrowed) return new PlainData(data, length);
    PlainData* copy = new PlainData();
    copy->data = data;
    copy->length = length;
    copy->borrowed = 255;
    return copy;
}

unsigned char* PlainData::getData() const {
    if (data == nullptr) return nullptr;
    unsigned char* copy = new unsigned char[length > 0 ? length : 1];
    if (length > 0) memcpy(copy, data, length);
    return copy;
}

void PlainData::setData(const unsigned char* p, unsigned int n) {
    release();
    if (p == nullptr) return;
    data = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(data, p, n);
    length = n;
}

unsigned int PlainData::getWrapLength(Buffer* b) { return b->lenASN1(data, length); }

void PlainData::wrapASN1(Buffer* b) { b->writeASN1(data, length); }

unsigned char PlainData::unwrapASN1(Buffer* b) {
    release();
    return b->readASN1(&data, &length);
}

unsigned char PlainData::_unwrapASN1(Buffer* b) {
    release();
    borrowed = 255;
    unsigned char result = b->_readASN1(&data, &length);
    if (result == 2) {
        borrowed = 0;
        return 1;
    }
    return result;
}
