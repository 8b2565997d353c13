// HTTP: decoding of URL text.
#include <cstring>

#include "net/HTTP.h"

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

char* HTTP::cleanURL(const char* url) {
    if (url == nullptr) return nullptr;
    size_t length = strlen(url);
    // Decoding never lengthens the text.
    char* out = new char[length + 1];
    size_t o = 0;
    for (size_t i = 0; i < length; ++i) {
        char c = url[i];
        if (c == '+') {
            out[o++] = ' ';
            // The character behind a "+" goes through untouched, even another "+" or a "%". A
            // "+" at the very end has nothing behind it: the terminator is not copied over.
            if (i + 1 < length) out[o++] = url[++i];
            continue;
        }
        if (c == '%' && i + 2 < length && hexValue(url[i + 1]) >= 0 && hexValue(url[i + 2]) >= 0) {
            char decoded = static_cast<char>(hexValue(url[i + 1]) * 16 + hexValue(url[i + 2]));
            i += 2;
            // A carriage return in an address is never wanted: it would end a request line.
            if (decoded != '\r') out[o++] = decoded;
            continue;
        }
        out[o++] = c;
    }
    out[o] = 0;
    return out;
}
