#include "pkix/ContentBytes.h"

#include <cstring>

#include "asn1/Buffer.h"

void ContentBytes::release() {
    if (!borrowed) delete[] bytes;
    bytes = nullptr;
    size = 0;
    borrowed = 0;
}

void ContentBytes::cloneInto(ContentBytes* target) const {
    if (borrowed) {
        target->release();
        target->bytes = bytes;
        target->size = size;
        target->borrowed = 255;
    } else {
        target->set(bytes, size);
    }
}

void ContentBytes::set(const unsigned char* p, unsigned int n) {
    release();
    if (p == nullptr) return;
    bytes = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(bytes, p, n);
    size = n;
}

unsigned char* ContentBytes::copy() const {
    if (bytes == nullptr) return nullptr;
    unsigned char* out = new unsigned char[size > 0 ? size : 1];
    if (size > 0) memcpy(out, bytes, size);
    return out;
}

// The no-copy reader answers 1 for bytes left in the buffer and 2 for an assembled (owned)
// array; either way the read succeeded.
unsigned char ContentBytes::read(Buffer* b, bool borrow) {
    release();
    if (!borrow) return b->readASN1(&bytes, &size) ? 1 : 0;
    unsigned char result = b->_readASN1(&bytes, &size);
    if (result == 1) {
        borrowed = 255;
        return 1;
    }
    if (result == 2) return 1;
    bytes = nullptr;
    size = 0;
    return 0;
}

unsigned int ContentBytes::wrapLength(Buffer* b) const {
    return b->lenASN1(bytes, size);
}

void ContentBytes::write(Buffer* b) const {
    b->writeASN1(bytes, size);
}
