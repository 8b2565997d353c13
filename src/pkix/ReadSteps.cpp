#include "pkix/ReadSteps.h"

#include <cstring>
#include <memory>

#include "asn1/Buffer.h"

namespace pkix {

unsigned int endOf(Buffer* b, unsigned int len) {
    return b->getReadPos() + (len < b->remaining() ? len : b->remaining());
}

bool atEnd(Buffer* b, unsigned int end) {
    return b->getReadPos() >= end;
}

unsigned char peekTag(Buffer* b) {
    unsigned char tag;
    unsigned int len;
    return b->peekASN1Header(&tag, &len) ? tag : 0;
}

unsigned char readRawElement(Buffer* b, unsigned char** bytes, unsigned int* n) {
    *bytes = nullptr;
    *n = 0;
    while (b->remaining() > 0 && b->peekByte() == 0) b->readByte();
    unsigned int start = b->getReadPos();
    unsigned char tag, definite;
    unsigned int len;
    if (!b->readASN1Header(&tag, &len, &definite)) return 0;
    if (definite != 0) {
        if (len > b->remaining()) return 0;
        b->setReadPos(b->getReadPos() + len);
    } else {
        // Every pass consumes at least one header or one end-of-contents, so the walk ends
        // within the input; the depth can never exceed the number of bytes.
        unsigned int depth = 1;
        while (depth > 0) {
            if (b->remaining() == 0) return 0;
            if (b->peekByte() != 0) {
                unsigned char t, d;
                unsigned int l;
                if (!b->readASN1Header(&t, &l, &d)) return 0;
                if (d == 0) {
                    ++depth;
                } else {
                    if (l > b->remaining()) return 0;
                    b->setReadPos(b->getReadPos() + l);
                }
            } else {
                if (!b->readEOC()) return 0;
                --depth;
            }
        }
    }
    unsigned int end = b->getReadPos();
    *n = end - start;
    *bytes = copyBytes(b->_getData() + start, *n);
    return 1;
}

unsigned char readText(Buffer* b, unsigned char tag, char** text) {
    *text = nullptr;
    unsigned char* content;
    unsigned int n;
    if (!b->_readASN1(&content, &n, tag)) return 0;
    if (content == nullptr) return 1;  // NULL in place of the string
    if (n > 0 && memchr(content, 0, n) != nullptr) return 0;
    *text = new char[n + 1];
    if (n > 0) memcpy(*text, content, n);
    (*text)[n] = 0;
    return 1;
}

std::string hexOf(const unsigned char* p, unsigned int n) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(2 * static_cast<size_t>(n));
    for (unsigned int i = 0; i < n; ++i) {
        out += kDigits[p[i] >> 4];
        out += kDigits[p[i] & 0x0F];
    }
    return out;
}

char* copyText(const char* s) {
    if (s == nullptr) return nullptr;
    size_t n = strlen(s);
    char* copy = new char[n + 1];
    memcpy(copy, s, n + 1);
    return copy;
}

unsigned char* copyBytes(const unsigned char* p, unsigned int n) {
    if (p == nullptr) return nullptr;
    unsigned char* copy = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(copy, p, n);
    return copy;
}

std::string ownedText(char* text) {
    std::unique_ptr<char[]> hold(text);
    return hold ? std::string(hold.get()) : std::string();
}

char* newText(const std::string& s) {
    char* text = new char[s.size() + 1];
    memcpy(text, s.c_str(), s.size() + 1);
    return text;
}

}  // namespace pkix
