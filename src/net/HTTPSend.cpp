// HTTP: the POST, PUT and form upload side.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "net/HTTP.h"
#include "net/Transport.h"

namespace {

const char kBoundary[] = "signaCRL";

bool goesOn(int status) {
    return status == 100 || status == 200 || status == 201 || status == 204;
}

// The status of a header table, 200 when no status line is there; the target of "location:".
int statusOf(HTTP::HeaderTable lines, int count, std::string* location) {
    int status = 0;
    if (location != nullptr) location->clear();
    for (int i = 0; i < count; ++i) {
        const char* line = lines[i];
        if (strstr(line, "http/1") != nullptr) {
            const char* blank = strchr(line, ' ');
            status = blank != nullptr ? atoi(blank + 1) : 0;
        } else if (location != nullptr && strstr(line, "location:") != nullptr) {
            const char* at = strstr(line, "http:");
            const char* last = nullptr;
            for (; at != nullptr; at = strstr(at + 1, "http:")) last = at;
            if (last == nullptr) {
                last = strstr(line, "location:") + 9;
                while (*last == ' ') ++last;
            }
            *location = last;
        }
    }
    return status != 0 ? status : 200;
}

}  // namespace

int HTTP::sendURL(const char* method, const char* typeLine, const char* url, Transport* transport,
                  const unsigned char* data, unsigned int length) {
    if (url == nullptr || strlen(url) > kMaxURL) return kBadURL;
    std::string current(url);
    for (int hop = 0; hop <= kMaxHops; ++hop) {
        transport->shutdownConnect();
        char *h = nullptr, *p = nullptr, *q = nullptr;
        unsigned char scheme = 0;
        int port = 0;
        unsigned char parsed = parseURL(current.c_str(), &scheme, &h, &port, &p, &q);
        std::unique_ptr<char[]> host(h), path(p), query(q);
        if (!parsed || scheme != kSchemeHTTP) return kBadURL;
        if (!connectTo(transport, host.get(), port)) return kNoConnection;
        char line[kMaxURL * 3 + 64] = {};
        snprintf(line, sizeof line, "%s ", method);
        appendTarget(line, sizeof line, current.c_str(), path.get(), query.get());
        strncat(line, version == 1 ? " HTTP/1.0\r\n" : " HTTP/1.1\r\n",
                sizeof line - strlen(line) - 1);
        std::string request(line);
        request += "User-Agent: Mozilla/4.0 (compatible)\r\n";
        request += std::string("Host: ") + host.get() + "\r\n";
        request += "Accept: */*\r\n";
        if (typeLine != nullptr) request += std::string(typeLine) + "\r\n";
        request += "Content-Length: " + std::to_string(length) + "\r\n";
        if (version != 1) request += "Expect: 100-continue\r\n";
        if (proxyEnabled && proxyAuthHeader != nullptr) {
            request += std::string(proxyAuthHeader) + "\r\n";
        }
        if (useAuthorization && authHeader != nullptr) request += std::string(authHeader) + "\r\n";
        request += "\r\n";
        if (sendText(transport, request.c_str()) != 0) return kNoConnection;
        if (version == 1 && transport->Send(reinterpret_cast<const char*>(data), length) != 0) {
            return kNoConnection;
        }
        HeaderTable lines;
        int count = receiveHeaders(transport, lines);
        if (count == 0) return kNoConnection;
        std::string location;
        int status = statusOf(lines, count, &location);
        if (!goesOn(status)) {
            if (status == 301 && !location.empty()) {
                current = location;
                continue;
            }
            return status;
        }
        if (version != 1 && status == 100) {
            if (transport->Send(reinterpret_cast<const char*>(data), length) != 0) {
                return kNoConnection;
            }
            count = receiveHeaders(transport, lines);
            if (count == 0) return kNoConnection;
            status = statusOf(lines, count, nullptr);
        }
        bool html = false;
        unsigned int bodyLength = 0;
        for (int i = 0; i < count; ++i) {
            const char* at = lines[i];
            if (strstr(at, "content-type:") != nullptr && strlen(at) > 14 &&
                strstr(at + 14, "text/html") != nullptr) {
                html = true;
            }
            if (const char* value = strstr(at, "content-length:")) {
                unsigned long given = strtoul(value + 15, nullptr, 10);
                bodyLength = given > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<unsigned int>(given);
            }
        }
        if (html) {
            Buffer dropped;
            receiveBody(transport, bodyLength, &dropped);
        }
        return status;
    }
    return kBadURL;
}

int HTTP::postDER(const char* url, const char* type, const unsigned char* data, unsigned int length,
                  Buffer* reply) {
    Transport transport;
    if (timeout != -1) transport.setTimeout(timeout);
    std::string typeLine = type != nullptr ? std::string("Content-Type: ") + type : "";
    int status = sendURL("POST", type != nullptr ? typeLine.c_str() : nullptr, url, &transport,
                         data, length);
    if (reply != nullptr && transport.isConnected()) receiveDER(&transport, reply);
    transport.shutdownConnect();
    return status;
}

int HTTP::putDER(const char* url, const char* type, const unsigned char* data,
                 unsigned int length) {
    Transport transport;
    if (timeout != -1) transport.setTimeout(timeout);
    std::string typeLine = type != nullptr ? std::string("Content-Type: ") + type : "";
    int status =
        sendURL("PUT", type != nullptr ? typeLine.c_str() : nullptr, url, &transport, data, length);
    transport.shutdownConnect();
    return status;
}

// The body of an RFC 1867 form: the data as a file part, then, with a file name, the extra
// text as a second part.
int HTTP::uploadDER(const char* url, const char* field, const unsigned char* data,
                    unsigned int length, const char* fileName, const char* extra) {
    if (field == nullptr) field = "";
    std::string body = std::string("--") + kBoundary + "\r\n";
    if (fileName != nullptr) {
        const char* slash = strrchr(fileName, '/');
        body += std::string("Content-disposition: form-data; name=\"") + field + "\";filename=\"" +
                (slash != nullptr ? slash + 1 : fileName) + "\"\r\n";
    } else {
        body += std::string("Content-disposition: form-data; name=\"") + field +
                "\";filename=\"crl.crl\"\r\n";
    }
    body += "Content-type: application/pkix-crl\r\n";
    body += "Content-length: " + std::to_string(length) + "\r\n";
    body += "Content-Transfer-Encoding: binary\r\n\r\n";
    if (data != nullptr) body.append(reinterpret_cast<const char*>(data), length);
    if (fileName != nullptr) {
        body += std::string("\r\n--") + kBoundary + "\r\n";
        body += std::string("Content-disposition: form-data; name=\"") + field + "\"\r\n\r\n";
        if (extra != nullptr) body += extra;
    }
    body += std::string("\r\n--") + kBoundary + "--\r\n\r\n";
    Transport transport;
    if (timeout != -1) transport.setTimeout(timeout);
    std::string typeLine = std::string("Content-type: multipart/form-data; boundary=") + kBoundary;
    int status = sendURL("POST", typeLine.c_str(), url, &transport,
                         reinterpret_cast<const unsigned char*>(body.data()),
                         static_cast<unsigned int>(body.size()));
    transport.shutdownConnect();
    return status;
}
