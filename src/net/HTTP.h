// HTTP: the small web client of the library. It fetches DER objects (CRLs above all) and the
// server's Last-Modified date of them, and posts, puts or uploads DER objects. Every operation
// is static and makes its own Transport; the settings are process-wide statics, set during
// configuration.
//
// What the client accepts as an answer, in the way CRL distribution points answer in practice:
// a DER object, or its base64 text (PEM armour allowed); a redirect to another URL; an HTML page
// whose first link leads to the object. Headers are held lower-cased in a table of
// kHeaderLines lines of kHeaderLineSize bytes; a longer line goes on in the next place of the
// table and counts against the lines.
//
// Every read of the answer is bounded: the headers by the table, a DER body by kMaxBody, a
// text or HTML body by kMaxTextBody, and the redirects and links followed by kMaxHops.
#ifndef SIGILO_NET_HTTP_H
#define SIGILO_NET_HTTP_H

#include <memory>

class Buffer;
class Transport;

class HTTP {
public:
    static constexpr int kHeaderLines = 30;
    static constexpr int kHeaderLineSize = 80;
    using HeaderTable = char[kHeaderLines][kHeaderLineSize];
    // The longest DER object taken, and the longest text (base64 or HTML) body read.
    static constexpr unsigned int kMaxBody = 64u * 1024 * 1024;
    static constexpr unsigned int kMaxTextBody = 4u * 1024 * 1024;
    // Redirects and followed links of one request.
    static constexpr int kMaxHops = 10;
    // The longest URL handled.
    static constexpr unsigned int kMaxURL = 2048;
    // URL schemes of parseURL.
    static constexpr unsigned char kSchemeHTTP = 1;
    static constexpr unsigned char kSchemeLDAP = 2;
    static constexpr unsigned char kSchemeHTTPS = 3;
    // Results of postDER, putDER and uploadDER besides the HTTP status.
    static constexpr int kBadURL = 10;
    static constexpr int kNoConnection = 11;
    // The date given when a server names none.
    static constexpr const char* kDefaultDate = "thu, 01 jan 1970 00:00:01 gmt";

    // Seconds for the connection and each wait; -1 leaves the transport's own default.
    static void setTimeout(int seconds) { timeout = seconds; }
    static int getTimeout() { return timeout; }
    // 1 gives HTTP/1.0 (the default), any other value HTTP/1.1.
    static void setVersion(unsigned char v) { version = v; }
    // A null host turns the proxy off; with a user and password, basic authorization for it.
    static void setProxy(const char* host, int port, const char* user, const char* password);
    // Basic authorization for the server; a null user clears it.
    static void setAuthorization(const char* user, const char* password);

    // Splits an "http://", "ldap://" or "https://" URL: the scheme, the host and the path as
    // new arrays (the path null when the URL has none behind the host; for LDAP without its
    // leading "/"), the port (the scheme's own unless given), and the query (the text from "?",
    // a new array, or null). The path is decoded as cleanURL does. 0 for any other scheme.
    static unsigned char parseURL(const char* url, unsigned char* scheme, char** host, int* port,
                                  char** path, char** query);
    // The parts parseURL gives, owned.
    struct URLParts {
        unsigned char scheme = 0;
        int port = 0;
        std::unique_ptr<char[]> host, path, query;
        bool parse(const char* url) {
            char *h = nullptr, *p = nullptr, *q = nullptr;
            unsigned char ok = parseURL(url, &scheme, &h, &port, &p, &q);
            host.reset(h);
            path.reset(p);
            query.reset(q);
            return ok != 0;
        }
    };
    // A new array (delete[]) with the text's "+" turned into blanks and its "%XY" escapes into
    // the bytes they stand for, a decoded carriage return being dropped; null for null. The
    // character right behind a "+" is copied as it stands. A "%" not followed by two hexadecimal
    // digits is kept as it is.
    static char* cleanURL(const char* url);

    // The DER object at the URL into the buffer (replacing its content); 255 when it is there.
    static unsigned char getDER(const char* url, Buffer* buffer);
    // The server's Last-Modified text of the URL (lower-case; kDefaultDate when it gives none),
    // a new array, or null when the request fails.
    static char* getTimeStamp(const char* url, Buffer* buffer);
    // Both at once; *stamp is a new array when the result is 255.
    static unsigned char getDERAndTimeStamp(const char* url, Buffer* buffer, char** stamp);

    // The HTTP status, kBadURL or kNoConnection. postDER reads a DER reply into the buffer when
    // one is given.
    static int postDER(const char* url, const char* type, const unsigned char* data,
                       unsigned int length, Buffer* reply);
    static int putDER(const char* url, const char* type, const unsigned char* data,
                      unsigned int length);
    // A multipart/form-data POST: the data as a file part (named after the last part of the
    // file name, or "crl.crl"), then, with a file name, a second part of the extra text.
    static int uploadDER(const char* url, const char* field, const unsigned char* data,
                         unsigned int length, const char* fileName, const char* extra);

    // "Proxy-Authorization: Basic ..." or "Authorization: Basic ..." with the base64 of
    // "user:password", a new array; null when either is missing.
    static char* createBasicAuthHeader(unsigned char proxy, const char* user, const char* password);

    // ---- The readers of an answer, on a connected transport ----
    // The header lines up to the empty line, lower-cased, without CR and LF; the number of
    // lines. A failed read ends the line it is in and the headers.
    static int receiveHeaders(Transport* transport, HeaderTable lines);
    // The DER object that the body holds, or the decoding of its base64 text, into the buffer
    // (replacing its content). 0 when neither arrives whole.
    static unsigned char receiveDER(Transport* transport, Buffer* buffer);
    // The body: length bytes, or with 0 everything to the end of the stream; at most
    // kMaxTextBody bytes in either case. 0 when a given length does not arrive.
    static unsigned char receiveBody(Transport* transport, unsigned int length, Buffer* buffer);
    // The link of the first "href=" of an HTML body, between the quotes that follow it, a new
    // array; null when there is none or it is a "mailto:".
    static char* findLink(const unsigned char* body, unsigned int length);
    // The next URL after a link found on the page at url, a new array, or null.
    static char* resolveLink(const char* url, const char* link);

private:
    struct Answer;
    // Sends a GET for the URL, following redirects and links, and leaves the transport at the
    // body of the answer. 0 on failure.
    static unsigned char getURL(const char* url, Transport* transport, Answer* answer);
    // Sends the request with its data and reads the status, following a 301; the status,
    // kBadURL or kNoConnection. An HTML answer is read and dropped; any other stays on the
    // transport.
    static int sendURL(const char* method, const char* typeLine, const char* url,
                       Transport* transport, const unsigned char* data, unsigned int length);
    // Connects the transport to the proxy, or to the host.
    static unsigned char connectTo(Transport* transport, const char* host, int port);
    // The request target: the whole URL with a proxy, else the path and query, bytes that
    // would break the request line escaped.
    static void appendTarget(char* line, unsigned int size, const char* url, const char* path,
                             const char* query);
    static int sendText(Transport* transport, const char* text);

    static int timeout;
    static unsigned char version;
    static unsigned char proxyEnabled;
    static char* proxyServer;
    static int proxyPort;
    static char* proxyAuthHeader;
    static unsigned char useAuthorization;
    static char* authHeader;
};

#endif
