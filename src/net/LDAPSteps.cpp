// Small BER steps of the LDAP message classes.
#include "net/LDAPSteps.h"

#include "asn1/Buffer.h"

namespace ldap {

unsigned char readHeader(Buffer* b, unsigned char* tag, unsigned int* len) {
    unsigned char definite = 0;
    if (b->getReadPos() >= b->getMaxSize()) return 0;
    if (!b->readASN1Header(tag, len, &definite) || !definite) return 0;
    return *len <= b->remaining() ? 255 : 0;
}

unsigned char readString(Buffer* b, unsigned char tag, std::string* value) {
    unsigned char t;
    unsigned int len;
    if (!readHeader(b, &t, &len) || t != tag || len > kMaxString) return 0;
    value->assign(reinterpret_cast<const char*>(b->_getData() + b->getReadPos()), len);
    b->setReadPos(b->getReadPos() + len);
    return 255;
}

unsigned char readNumber(Buffer* b, unsigned char tag, int* value) {
    unsigned char t;
    unsigned int len;
    if (!readHeader(b, &t, &len) || t != tag || len == 0 || len > 4) return 0;
    const unsigned char* p = b->_getData() + b->getReadPos();
    unsigned long v = (p[0] & 0x80) ? ~0ul : 0ul;
    for (unsigned int i = 0; i < len; ++i) v = (v << 8) | p[i];
    *value = static_cast<int>(static_cast<long>(v));
    b->setReadPos(b->getReadPos() + len);
    return 255;
}

unsigned char skipElement(Buffer* b) {
    unsigned char t;
    unsigned int len;
    if (!readHeader(b, &t, &len)) return 0;
    b->setReadPos(b->getReadPos() + len);
    return 255;
}

unsigned int stringLength(Buffer* b, unsigned char tag, const std::string& value) {
    unsigned int n = static_cast<unsigned int>(value.size());
    return b->lenASN1Header(tag, n) + n;
}

void writeString(Buffer* b, unsigned char tag, const std::string& value) {
    b->writeASN1(reinterpret_cast<const unsigned char*>(value.data()),
                 static_cast<unsigned int>(value.size()), tag);
}

unsigned int wrappedLength(Buffer* b, unsigned char tag, unsigned int content) {
    return b->lenASN1Header(tag, content) + content;
}

}  // namespace ldap
