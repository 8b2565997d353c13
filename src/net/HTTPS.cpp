// HTTPS: settings kept, no network.
#include "net/HTTPS.h"

#include <cstring>

#include "net/HTTP.h"

int HTTPS::timeout = -1;
unsigned char HTTPS::version = 1;
char* HTTPS::proxyServer = nullptr;
int HTTPS::proxyPort = 0;
char* HTTPS::proxyLogin = nullptr;
char* HTTPS::proxyPasswd = nullptr;
unsigned char HTTPS::proxyEnabled = 0;
char* HTTPS::serverLogin = nullptr;
char* HTTPS::serverPasswd = nullptr;
unsigned char HTTPS::useProxyAuthorization = 0;
unsigned char HTTPS::useServerAuthorization = 0;
unsigned char HTTPS::initialized = 0;

void HTTPS::store(char** field, const char* text) {
    delete[] * field;
    *field = nullptr;
    if (text == nullptr) return;
    size_t length = strlen(text);
    *field = new char[length + 1];
    memcpy(*field, text, length + 1);
}

void HTTPS::setProxy(const char* host, int port, const char* user, const char* password) {
    store(&proxyServer, host);
    proxyPort = port;
    proxyEnabled = host != nullptr ? 255 : 0;
    bool both = host != nullptr && user != nullptr && password != nullptr;
    store(&proxyLogin, both ? user : nullptr);
    store(&proxyPasswd, both ? password : nullptr);
    useProxyAuthorization = both ? 255 : 0;
    initialized = 255;
}

void HTTPS::setAuthorization(const char* user, const char* password) {
    bool both = user != nullptr && password != nullptr;
    store(&serverLogin, both ? user : nullptr);
    store(&serverPasswd, both ? password : nullptr);
    useServerAuthorization = both ? 255 : 0;
    initialized = 255;
}

char* HTTPS::getTimeStamp(const char*, Buffer*) {
    size_t length = strlen(HTTP::kDefaultDate);
    char* date = new char[length + 1];
    memcpy(date, HTTP::kDefaultDate, length + 1);
    return date;
}

unsigned char HTTPS::getDER(const char*, Buffer*) {
    return 0;
}

unsigned char HTTPS::getDERAndTimeStamp(const char*, Buffer*, char** stamp) {
    if (stamp != nullptr) *stamp = nullptr;
    return 0;
}

int HTTPS::postDER(const char*, const char*, const unsigned char*, unsigned int, Buffer*) {
    return HTTP::kNoConnection;
}

int HTTPS::putDER(const char*, const char*, const unsigned char*, unsigned int) {
    return HTTP::kNoConnection;
}

int HTTPS::uploadDER(const char*, const char*, const unsigned char*, unsigned int, const char*,
                     const char*) {
    return HTTP::kNoConnection;
}
