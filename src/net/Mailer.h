// Mailer: the minimal SMTP client that carries the worst log lines to the operator.
//
// One mail per connection: greeting, EHLO or HELO, sender, one recipient, the data, quit. The
// exchange stops at the first reply that differs from the one wanted. Every wait on the server
// is bounded by a time-out, and a reply is read a byte at a time with a cap on its size, so a
// silent or babbling server cannot hold the caller.
#ifndef SIGILO_NET_MAILER_H
#define SIGILO_NET_MAILER_H

#include <netinet/in.h>

#include <string>

class Mailer {
public:
    static constexpr unsigned short kSMTPPort = 25;
    static constexpr unsigned int kHostNameSize = 128;
    static constexpr unsigned int kUserNameSize = 16;
    // Seconds for the connection and for each wait on a reply.
    static constexpr int kDefaultTimeout = 30;
    // A reply line longer than this is read to its end but kept only this far.
    static constexpr unsigned int kReplyLineSize = 1024;
    // More lines than this in one reply end the exchange.
    static constexpr int kMaxReplyLines = 100;

    explicit Mailer(const char* server);
    Mailer(const char* server, unsigned short port);

    Mailer(const Mailer&) = delete;
    Mailer& operator=(const Mailer&) = delete;

    void setTimeout(int seconds) { timeout = seconds > 0 ? seconds : kDefaultTimeout; }

    // 255 when the server took the mail, 0 at the first unexpected reply or failure.
    unsigned char sendMail(const char* to, const char* subject, const char* text);

    const char* getHostName() const { return hostName; }
    const char* getUserName() const { return userName; }

private:
    int connectToServer();
    // The number of the reply (its first three digits), reading line by line until a line whose
    // fourth character is not "-"; -1 on a time-out, a closed connection or a malformed reply.
    // The text of the whole reply is left in *reply.
    int waitPrompt(int fd, std::string* reply);
    bool sendText(int fd, const std::string& text);

    char hostName[kHostNameSize];
    char userName[kUserNameSize];
    bool resolved;
    struct sockaddr_in address;
    int timeout;
};

#endif
