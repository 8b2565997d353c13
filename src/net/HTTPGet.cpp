// HTTP: the settings, the readers of an answer, and the GET side.
#include <strings.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"
#include "net/HTTP.h"
#include "net/Transport.h"

int HTTP::timeout = -1;
unsigned char HTTP::version = 1;
unsigned char HTTP::proxyEnabled = 0;
char* HTTP::proxyServer = nullptr;
int HTTP::proxyPort = 0;
char* HTTP::proxyAuthHeader = nullptr;
unsigned char HTTP::useAuthorization = 0;
char* HTTP::authHeader = nullptr;

namespace {

// Bytes read while looking for the end of the headers: carriage returns are not stored, so the
// table alone would not bound a stream of them.
constexpr unsigned int kMaxHeaderBytes = HTTP::kHeaderLines * HTTP::kHeaderLineSize * 2;
// Pieces in which a body of unknown length is read.
constexpr unsigned int kBodyStep = 4096;
// The first bytes of a body, in which the DER header is looked for.
constexpr unsigned int kDERPeek = 16;

char* copyText(const char* text) {
    if (text == nullptr) return nullptr;
    size_t length = strlen(text);
    char* out = new char[length + 1];
    memcpy(out, text, length + 1);
    return out;
}

// The text of a header line behind its name, its leading blanks skipped.
const char* valueOf(const char* line, const char* name) {
    const char* at = strstr(line, name);
    if (at == nullptr) return nullptr;
    at += strlen(name);
    while (*at == ' ' || *at == '\t') ++at;
    return at;
}

// Whether the text begins with a scheme that makes a link or target absolute.
bool isAbsolute(const char* link) {
    return strncasecmp(link, "http:", 5) == 0 || strncasecmp(link, "https:", 6) == 0;
}

}  // namespace

// What the walk over the answer's headers found.
struct HTTP::Answer {
    HeaderTable lines;
    int count = 0;
    int status = 0;
    bool html = false;
    unsigned int length = 0;
    std::string location;

    void walk(bool stopEarly) {
        status = 0;
        html = false;
        length = 0;
        location.clear();
        bool lengthKnown = false;
        for (int i = 0; i < count; ++i) {
            const char* line = lines[i];
            if (strstr(line, "http/1") != nullptr) {
                const char* blank = strchr(line, ' ');
                status = blank != nullptr ? atoi(blank + 1) : 0;
                if (status == 0) status = 200;
            } else if (strstr(line, "content-type:") != nullptr) {
                if (strlen(line) > 14 && strstr(line + 14, "text/html") != nullptr) html = true;
            } else if (const char* value = valueOf(line, "content-length:")) {
                unsigned long given = strtoul(value, nullptr, 10);
                length = given > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<unsigned int>(given);
                lengthKnown = true;
            } else if (strstr(line, "location:") != nullptr) {
                // The last "http:" of the line; with none the line behind the name.
                const char* last = nullptr;
                for (const char* at = strstr(line, "http:"); at != nullptr;
                     at = strstr(at + 1, "http:")) {
                    last = at;
                }
                location = last != nullptr ? last : valueOf(line, "location:");
            }
            if (stopEarly && html && lengthKnown) break;
        }
        if (status == 0) status = 200;
    }
};

void HTTP::setProxy(const char* host, int port, const char* user, const char* password) {
    delete[] proxyServer;
    delete[] proxyAuthHeader;
    proxyServer = nullptr;
    proxyAuthHeader = nullptr;
    proxyEnabled = 0;
    if (host == nullptr || *host == 0) return;
    proxyServer = copyText(host);
    proxyPort = port;
    proxyEnabled = 255;
    proxyAuthHeader = createBasicAuthHeader(255, user, password);
}

void HTTP::setAuthorization(const char* user, const char* password) {
    delete[] authHeader;
    authHeader = createBasicAuthHeader(0, user, password);
    useAuthorization = authHeader != nullptr ? 255 : 0;
}

char* HTTP::createBasicAuthHeader(unsigned char proxy, const char* user, const char* password) {
    if (user == nullptr || password == nullptr) return nullptr;
    std::string pair = std::string(user) + ":" + password;
    std::unique_ptr<char[]> coded(
        Base64::encode(reinterpret_cast<const unsigned char*>(pair.data()),
                       static_cast<unsigned int>(pair.size())));
    if (coded == nullptr) return nullptr;
    std::string line =
        std::string(proxy ? "Proxy-Authorization: Basic " : "Authorization: Basic ") + coded.get();
    return copyText(line.c_str());
}

// ---- Readers ----

int HTTP::receiveHeaders(Transport* transport, HeaderTable lines) {
    int count = 0;
    int column = 0;
    unsigned int bytes = 0;
    bool ended = false;
    bool midLine = false;
    for (; count < kHeaderLines && bytes < kMaxHeaderBytes; ++bytes) {
        char c = 0;
        bool failed = transport->Receive(&c, 1) != 0;
        if (failed) c = '\n';
        if (c == '\r') continue;
        if (c == '\n') {
            if (column == 0) {
                ended = true;
                break;
            }
            lines[count++][column] = 0;
            column = 0;
            if (failed) {
                ended = true;
                break;
            }
            continue;
        }
        // A full line is closed here and the rest goes on in the next place.
        if (column == kHeaderLineSize - 1) {
            lines[count++][column] = 0;
            column = 0;
            if (count == kHeaderLines) {
                midLine = true;
                break;
            }
        }
        lines[count][column++] = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    }
    if (column > 0 && count < kHeaderLines) lines[count++][column] = 0;
    // Header lines past the table are read and dropped up to the empty line, so that they are
    // not taken for the body.
    bool lineEmpty = !midLine && column == 0;
    while (!ended && bytes++ < kMaxHeaderBytes) {
        char c = 0;
        if (transport->Receive(&c, 1) != 0) break;
        if (c == '\r') continue;
        if (c == '\n') {
            if (lineEmpty) break;
            lineEmpty = true;
        } else {
            lineEmpty = false;
        }
    }
    return count;
}

unsigned char HTTP::receiveBody(Transport* transport, unsigned int length, Buffer* buffer) {
    buffer->rewind();
    if (length > kMaxTextBody) return 0;
    if (length > 0) {
        buffer->enlarge(length);
        buffer->setMaxSize(length);
        if (transport->Receive(buffer, length) != 0) return 0;
        return 255;
    }
    // To the end of the stream: the end is the only way out that keeps what came.
    for (;;) {
        unsigned int have = buffer->getWritePos();
        if (have >= kMaxTextBody) return 0;
        unsigned int step = kMaxTextBody - have < kBodyStep ? kMaxTextBody - have : kBodyStep;
        buffer->enlarge(have + step);
        buffer->setMaxSize(have + step);
        int result = transport->Receive(buffer, step);
        if (result == 1) break;
        if (result != 0) return 0;
    }
    buffer->setMaxSize(buffer->getWritePos());
    return 255;
}

unsigned char HTTP::receiveDER(Transport* transport, Buffer* buffer) {
    buffer->rewind();
    buffer->enlarge(kDERPeek);
    buffer->setMaxSize(kDERPeek);
    if (transport->Receive(buffer, kDERPeek) != 0) return 0;
    const unsigned char* head = buffer->_getData();
    if (head[0] == 0x30) {
        // The header by hand: its size follows the length's own encoding, minimal or not.
        unsigned int total;
        if (head[1] < 0x80) {
            total = 2u + head[1];
        } else {
            unsigned int count = head[1] & 0x7F;
            if (count == 0 || count > 4) return 0;
            unsigned long length = 0;
            for (unsigned int i = 0; i < count; ++i) length = (length << 8) | head[2 + i];
            if (length > kMaxBody) return 0;
            total = 2u + count + static_cast<unsigned int>(length);
        }
        if (total > kDERPeek) {
            buffer->enlarge(total);
            buffer->setMaxSize(total);
            if (transport->Receive(buffer, total - kDERPeek) != 0) return 0;
        }
        buffer->setMaxSize(total);
        if (buffer->getWritePos() > total) buffer->setWritePos(total);
        return 255;
    }
    // Any other first byte: the body is base64 text, read to the end of the stream.
    Buffer text;
    text.fromByteArray(buffer->_getData(), kDERPeek);
    for (;;) {
        unsigned int have = text.getWritePos();
        if (have >= kMaxTextBody) return 0;
        unsigned int step = kMaxTextBody - have < kBodyStep ? kMaxTextBody - have : kBodyStep;
        text.enlarge(have + step);
        text.setMaxSize(have + step);
        int result = transport->Receive(&text, step);
        if (result == 1) break;
        if (result != 0) return 0;
    }
    // PEM armour lines ("-----BEGIN X509 CRL-----") are not part of the text: their letters
    // would otherwise be decoded with it.
    std::string coded;
    const char* all = reinterpret_cast<const char*>(text._getData());
    unsigned int size = text.getWritePos();
    for (unsigned int i = 0; i < size;) {
        unsigned int end = i;
        while (end < size && all[end] != '\n') ++end;
        if (!(end - i >= 5 && memcmp(all + i, "-----", 5) == 0)) coded.append(all + i, end - i);
        i = end + 1;
    }
    unsigned int decodedLength = 0;
    std::unique_ptr<unsigned char[]> decoded(
        Base64::decode(coded.c_str(), static_cast<unsigned int>(coded.size()), &decodedLength));
    if (decoded == nullptr || decodedLength == 0) return 0;
    buffer->fromByteArray(decoded.get(), decodedLength);
    return 255;
}

char* HTTP::findLink(const unsigned char* body, unsigned int length) {
    if (body == nullptr) return nullptr;
    const char* text = reinterpret_cast<const char*>(body);
    const char* end = text + length;
    const char* href = static_cast<const char*>(memmem(text, length, "href=", 5));
    if (href == nullptr) return nullptr;
    const char* open = href + 5;
    while (open < end && *open != '"' && *open != '\'') ++open;
    if (open >= end) return nullptr;
    const char* close = static_cast<const char*>(memchr(open + 1, *open, end - open - 1));
    if (close == nullptr || close - open - 1 > static_cast<long>(kMaxURL)) return nullptr;
    std::string link(open + 1, close);
    if (strncasecmp(link.c_str(), "mailto:", 7) == 0 || link.find('\0') != std::string::npos) {
        return nullptr;
    }
    return copyText(link.c_str());
}

// An absolute link replaces the URL. One that starts with "/" replaces the URL's path; any
// other is put behind the URL with a "/" between.
char* HTTP::resolveLink(const char* url, const char* link) {
    if (url == nullptr || link == nullptr) return nullptr;
    if (isAbsolute(link)) return copyText(link);
    std::string next(url);
    if (link[0] == '/') {
        size_t scheme = next.find("://");
        size_t slash = next.find('/', scheme == std::string::npos ? 0 : scheme + 3);
        if (slash != std::string::npos) next.erase(slash);
        next += link;
    } else {
        if (next.empty() || next.back() != '/') next += '/';
        next += link;
    }
    if (next.size() > kMaxURL) return nullptr;
    return copyText(next.c_str());
}

// ---- Requests ----

unsigned char HTTP::connectTo(Transport* transport, const char* host, int port) {
    if (proxyEnabled && proxyServer != nullptr) {
        return transport->Connect(proxyServer, static_cast<unsigned short>(proxyPort)) == 0 ? 255
                                                                                            : 0;
    }
    return transport->Connect(host, static_cast<unsigned short>(port)) == 0 ? 255 : 0;
}

int HTTP::sendText(Transport* transport, const char* text) {
    return transport->Send(text, static_cast<unsigned int>(strlen(text)));
}

// Bytes that would end or split the request line (blanks, controls, and what is not ASCII)
// are escaped, since the path arrives decoded.
void HTTP::appendTarget(char* line, unsigned int size, const char* url, const char* path,
                        const char* query) {
    std::string target;
    if (proxyEnabled && proxyServer != nullptr) {
        target = url;
    } else {
        target = path != nullptr ? std::string("/") + path : std::string("/");
        if (path != nullptr && path[0] == '/') target = path;
        if (query != nullptr) target += query;
    }
    std::string escaped;
    for (unsigned char c : target) {
        if (c <= 0x20 || c >= 0x7F) {
            char hex[4];
            snprintf(hex, sizeof hex, "%%%02X", c);
            escaped += hex;
        } else {
            escaped += static_cast<char>(c);
        }
    }
    strncat(line, escaped.c_str(), size - strlen(line) - 1);
}

unsigned char HTTP::getURL(const char* url, Transport* transport, Answer* answer) {
    if (url == nullptr || strlen(url) > kMaxURL) return 0;
    std::string current(url);
    for (int hop = 0; hop <= kMaxHops; ++hop) {
        transport->shutdownConnect();
        HTTP::URLParts parts;
        if (!parts.parse(current.c_str()) || parts.scheme != kSchemeHTTP) return 0;
        if (!connectTo(transport, parts.host.get(), parts.port)) return 0;
        char line[kMaxURL * 3 + 64] = "GET ";
        appendTarget(line, sizeof line, current.c_str(), parts.path.get(), parts.query.get());
        strncat(line, version == 1 ? " HTTP/1.0\r\n" : " HTTP/1.1\r\n",
                sizeof line - strlen(line) - 1);
        std::string request(line);
        request += "User-Agent: Mozilla/4.0 (compatible)\r\nAccept: */*\r\n";
        request += std::string("Host: ") + parts.host.get() + "\r\n";
        request += "Connection: Keep-Alive\r\nCache-control: no-cache\r\n";
        if (proxyEnabled && proxyAuthHeader != nullptr) {
            request += std::string(proxyAuthHeader) + "\r\n";
        }
        if (useAuthorization && authHeader != nullptr) request += std::string(authHeader) + "\r\n";
        request += "\r\n";
        if (sendText(transport, request.c_str()) != 0) return 0;
        answer->count = receiveHeaders(transport, answer->lines);
        if (answer->count == 0) return 0;
        answer->walk(true);
        int status = answer->status;
        if (status == 401 || status == 403 || status == 404 || status == 407) return 0;
        if (!answer->location.empty()) {
            current = answer->location;
            continue;
        }
        if (!answer->html) return 255;
        // A page in place of the object: its first link is taken to lead to it.
        Buffer body;
        if (!receiveBody(transport, answer->length, &body)) return 0;
        std::unique_ptr<char[]> link(findLink(body._getData(), body.getWritePos()));
        if (link == nullptr) return 0;
        std::unique_ptr<char[]> next(resolveLink(current.c_str(), link.get()));
        if (next == nullptr) return 0;
        current = next.get();
    }
    return 0;
}

unsigned char HTTP::getDERAndTimeStamp(const char* url, Buffer* buffer, char** stamp) {
    if (stamp != nullptr) *stamp = nullptr;
    if (buffer == nullptr) return 0;
    Transport transport;
    if (timeout != -1) transport.setTimeout(timeout);
    auto answer = std::make_unique<Answer>();
    if (!getURL(url, &transport, answer.get()) || !receiveDER(&transport, buffer)) return 0;
    if (stamp != nullptr) {
        // The full walk, since the early stop of the first may have ended before the date.
        const char* date = nullptr;
        for (int i = 0; i < answer->count && date == nullptr; ++i) {
            date = valueOf(answer->lines[i], "last-modified:");
        }
        *stamp = copyText(date != nullptr ? date : kDefaultDate);
    }
    transport.shutdownConnect();
    return 255;
}

unsigned char HTTP::getDER(const char* url, Buffer* buffer) {
    return getDERAndTimeStamp(url, buffer, nullptr);
}

char* HTTP::getTimeStamp(const char* url, Buffer* /*buffer*/) {
    Transport transport;
    if (timeout != -1) transport.setTimeout(timeout);
    auto answer = std::make_unique<Answer>();
    if (!getURL(url, &transport, answer.get())) return nullptr;
    const char* date = nullptr;
    for (int i = 0; i < answer->count && date == nullptr; ++i) {
        date = valueOf(answer->lines[i], "last-modified:");
    }
    char* result = copyText(date != nullptr ? date : kDefaultDate);
    transport.shutdownConnect();
    return result;
}
