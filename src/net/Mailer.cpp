// Mailer: SMTP over one TCP connection, with bounded waits.
#include "net/Mailer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Closes the socket on every way out of sendMail.
struct SocketCloser {
    int fd;
    ~SocketCloser() {
        if (fd >= 0) close(fd);
    }
};

// True when some word of the greeting begins with "ESMT" in any case: the server speaks ESMTP.
bool speaksESMTP(const std::string& greeting) {
    size_t i = 0;
    while (i < greeting.size()) {
        while (i < greeting.size() && isspace(static_cast<unsigned char>(greeting[i]))) ++i;
        if (greeting.size() - i >= 4 && strncasecmp(greeting.c_str() + i, "ESMT", 4) == 0) {
            return true;
        }
        while (i < greeting.size() && !isspace(static_cast<unsigned char>(greeting[i]))) ++i;
    }
    return false;
}

}  // namespace

Mailer::Mailer(const char* server) : Mailer(server, kSMTPPort) {}

Mailer::Mailer(const char* server, unsigned short port)
    : hostName(), userName(), resolved(false), address(), timeout(kDefaultTimeout) {
    if (gethostname(hostName, sizeof hostName) != 0) hostName[0] = 0;
    hostName[sizeof hostName - 1] = 0;

    const struct passwd* user = getpwuid(geteuid());
    const char* name = user != nullptr && user->pw_name != nullptr ? user->pw_name : "";
    strncpy(userName, name, sizeof userName - 1);
    userName[sizeof userName - 1] = 0;

    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (server == nullptr || *server == 0) return;
    struct hostent entry;
    struct hostent* result = nullptr;
    std::vector<char> work(8192);
    int error = 0;
    if (gethostbyname_r(server, &entry, work.data(), work.size(), &result, &error) == 0 &&
        result != nullptr && result->h_addrtype == AF_INET && result->h_addr_list[0] != nullptr &&
        result->h_length == static_cast<int>(sizeof address.sin_addr)) {
        memcpy(&address.sin_addr, result->h_addr_list[0], sizeof address.sin_addr);
        resolved = true;
    }
}

int Mailer::connectToServer() {
    if (!resolved) return -1;
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    // The connection is made without blocking so that its wait is bounded too.
    int flags = fcntl(fd, F_GETFL, 0);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    int rc = connect(fd, reinterpret_cast<const struct sockaddr*>(&address), sizeof address);
    if (rc != 0 && errno == EINPROGRESS) {
        struct pollfd p = {fd, POLLOUT, 0};
        rc = poll(&p, 1, timeout * 1000) == 1 ? 0 : -1;
        int error = 0;
        socklen_t size = sizeof error;
        if (rc == 0 && (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)) {
            rc = -1;
        }
    }
    if (rc != 0) {
        close(fd);
        return -1;
    }
    fcntl(fd, F_SETFL, flags);
    struct timeval limit = {timeout, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    return fd;
}

bool Mailer::sendText(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

int Mailer::waitPrompt(int fd, std::string* reply) {
    reply->clear();
    for (int lines = 0; lines < kMaxReplyLines; ++lines) {
        std::string line;
        for (;;) {
            char c;
            ssize_t n = recv(fd, &c, 1, 0);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return -1;  // closed, or the time-out ran out
            if (c == '\n') break;
            if (line.size() < kReplyLineSize) line += c;
        }
        if (!line.empty() && line.back() == '\r') line.pop_back();
        *reply += line;
        *reply += '\n';
        if (line.size() < 3 || !isdigit(static_cast<unsigned char>(line[0])) ||
            !isdigit(static_cast<unsigned char>(line[1])) ||
            !isdigit(static_cast<unsigned char>(line[2]))) {
            return -1;
        }
        if (line.size() < 4 || line[3] != '-') return atoi(line.substr(0, 3).c_str());
    }
    return -1;
}

unsigned char Mailer::sendMail(const char* to, const char* subject, const char* text) {
    SocketCloser socket{connectToServer()};
    if (socket.fd < 0) return 0;
    std::string reply;
    if (waitPrompt(socket.fd, &reply) != 220) return 0;

    const std::string host = hostName;
    const std::string hello = (speaksESMTP(reply) ? "EHLO " : "HELO ") + host + "\n";
    const std::string steps[][2] = {
        {hello, "250"},
        {"mail from: " + std::string(userName) + "@" + host + "\n", "250"},
        {"rcpt to: " + std::string(to != nullptr ? to : "") + "\n", "250"},
        {"data\n", "354"},
        {"Subject:" + std::string(subject != nullptr ? subject : "") + "\n" +
             std::string(text != nullptr ? text : "") + "\n.\n",
         "250"},
    };
    for (const auto& step : steps) {
        if (!sendText(socket.fd, step[0])) return 0;
        if (waitPrompt(socket.fd, &reply) != atoi(step[1].c_str())) return 0;
    }
    sendText(socket.fd, "quit\n");
    return 255;
}
