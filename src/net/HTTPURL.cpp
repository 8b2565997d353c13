// HTTP: decoding and splitting of URL text.
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "net/HTTP.h"

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Decodes n bytes of text into out (room for n + 1), and terminates it.
void decode(const char* text, size_t length, char* out) {
    size_t o = 0;
    for (size_t i = 0; i < length; ++i) {
        char c = text[i];
        if (c == '+') {
            out[o++] = ' ';
            // The character behind a "+" goes through untouched, even another "+" or a "%". A
            // "+" at the very end has nothing behind it: the terminator is not copied over.
            if (i + 1 < length) out[o++] = text[++i];
            continue;
        }
        if (c == '%' && i + 2 < length && hexValue(text[i + 1]) >= 0 &&
            hexValue(text[i + 2]) >= 0) {
            char decoded = static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
            // A carriage return in an address is never wanted: it would end a request line.
            if (decoded != '\r') out[o++] = decoded;
            continue;
        }
        out[o++] = c;
    }
    out[o] = 0;
}

char* copyOf(const char* text, size_t length) {
    char* out = new char[length + 1];
    memcpy(out, text, length);
    out[length] = 0;
    return out;
}

}  // namespace

char* HTTP::cleanURL(const char* url) {
    if (url == nullptr) return nullptr;
    size_t length = strlen(url);
    // Decoding never lengthens the text.
    char* out = new char[length + 1];
    decode(url, length, out);
    return out;
}

// The scheme must open the text: a scheme's name further on (in a query, say) is no scheme.
unsigned char HTTP::parseURL(const char* url, unsigned char* scheme, char** host, int* port,
                             char** path, char** query) {
    if (url == nullptr || scheme == nullptr || host == nullptr || port == nullptr ||
        path == nullptr || query == nullptr) {
        return 0;
    }
    *host = *path = *query = nullptr;
    size_t skip;
    if (strncasecmp(url, "http://", 7) == 0) {
        *scheme = kSchemeHTTP;
        *port = 80;
        skip = 7;
    } else if (strncasecmp(url, "ldap://", 7) == 0) {
        *scheme = kSchemeLDAP;
        *port = 389;
        skip = 7;
    } else if (strncasecmp(url, "https://", 8) == 0) {
        *scheme = kSchemeHTTPS;
        *port = 443;
        skip = 8;
    } else {
        return 0;
    }
    if (strlen(url) > kMaxURL) return 0;
    const char* start = url + skip;
    size_t hostLength = strcspn(start, ":/");
    if (hostLength == 0) return 0;
    const char* rest = start + hostLength;
    if (*rest == ':') {
        char* end = nullptr;
        long value = strtol(rest + 1, &end, 10);
        if (end == rest + 1 || value <= 0 || value > 65535) return 0;
        *port = static_cast<int>(value);
        rest = end;
        // Only the path may follow a port.
        if (*rest != 0 && *rest != '/') return 0;
    }
    *host = copyOf(start, hostLength);
    if (*rest != '/') return 255;
    if (*scheme == kSchemeLDAP) ++rest;
    size_t pathLength = strcspn(rest, "?");
    *path = new char[pathLength + 1];
    decode(rest, pathLength, *path);
    if (rest[pathLength] == '?') *query = copyOf(rest + pathLength, strlen(rest + pathLength));
    return 255;
}
