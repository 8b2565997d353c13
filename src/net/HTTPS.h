// HTTPS: the secure twin of HTTP in name only. The library carries no TLS, so its settings are
// stored and none of its operations reaches the network: every fetch fails, and a time stamp
// asked of it is the date HTTP gives when a server names none. A CRL or OCSP service at an
// "https://" address thus always fails, in the way a service that cannot be reached fails.
#ifndef SIGILO_NET_HTTPS_H
#define SIGILO_NET_HTTPS_H

class Buffer;

class HTTPS {
public:
    static void setTimeout(int seconds) { timeout = seconds; }
    static int getTimeout() { return timeout; }
    static void setVersion(unsigned char v) { version = v; }
    static void setProxy(const char* host, int port, const char* user, const char* password);
    static void setAuthorization(const char* user, const char* password);

    // A new "thu, 01 jan 1970 00:00:01 gmt".
    static char* getTimeStamp(const char* url, Buffer* buffer);
    // 0.
    static unsigned char getDER(const char* url, Buffer* buffer);
    static unsigned char getDERAndTimeStamp(const char* url, Buffer* buffer, char** stamp);
    // 11, the failure to connect.
    static int postDER(const char* url, const char* type, const unsigned char* data,
                       unsigned int length, Buffer* reply);
    static int putDER(const char* url, const char* type, const unsigned char* data,
                      unsigned int length);
    static int uploadDER(const char* url, const char* field, const unsigned char* data,
                         unsigned int length, const char* fileName, const char* extra);

private:
    static void store(char** field, const char* text);

    static int timeout;
    static unsigned char version;
    static char* proxyServer;
    static int proxyPort;
    static char* proxyLogin;
    static char* proxyPasswd;
    static unsigned char proxyEnabled;
    static char* serverLogin;
    static char* serverPasswd;
    static unsigned char useProxyAuthorization;
    static unsigned char useServerAuthorization;
    static unsigned char initialized;
};

#endif
