#include "support/ServerProcess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

// Standard output to outFd; standard error too when bothStreams, else it stays the test's.
pid_t spawn(const std::vector<std::string>& argv, int outFd, bool bothStreams) {
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        // A group of its own, so that a server's children go with it.
        setpgid(0, 0);
        if (outFd >= 0) {
            dup2(outFd, 1);
            if (bothStreams) dup2(outFd, 2);
        }
        int null = open("/dev/null", O_RDONLY);
        if (null >= 0) dup2(null, 0);
        execvp(args[0], args.data());
        _exit(127);
    }
    return pid;
}

}  // namespace

bool ServerProcess::startPrintingPort(const std::vector<std::string>& argv, int seconds) {
    int fds[2];
    if (pipe(fds) != 0) return false;
    child = spawn(argv, fds[1], false);
    close(fds[1]);
    if (child < 0) {
        close(fds[0]);
        return false;
    }
    std::string line;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (line.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        struct pollfd wait = {fds[0], POLLIN, 0};
        if (poll(&wait, 1, 200) <= 0) continue;
        char c;
        if (read(fds[0], &c, 1) != 1) break;
        line += c;
    }
    close(fds[0]);
    portNumber = atoi(line.c_str());
    if (portNumber <= 0) {
        stop();
        return false;
    }
    return true;
}

bool ServerProcess::startOnPort(const std::vector<std::string>& argv, unsigned short port,
                                const std::string& output, int seconds) {
    int out =
        open(output.empty() ? "/dev/null" : output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    child = spawn(argv, out, true);
    if (out >= 0) close(out);
    if (child < 0) return false;
    portNumber = port;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        if (accepting(port)) return true;
        int status;
        if (waitpid(child, &status, WNOHANG) == child) {
            child = -1;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    stop();
    return false;
}

bool ServerProcess::startListening(const std::vector<std::string>& argv, unsigned short port,
                                   int seconds) {
    int out = open("/dev/null", O_WRONLY);
    child = spawn(argv, out, true);
    if (out >= 0) close(out);
    if (child < 0) return false;
    portNumber = port;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        // The port may be another process's: the child must still be there once it listens.
        bool up = listening(port);
        int status;
        if (waitpid(child, &status, WNOHANG) == child) {
            child = -1;
            return false;
        }
        if (up) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    stop();
    return false;
}

bool ServerProcess::listening(unsigned short port) {
    char local[16];
    snprintf(local, sizeof local, ":%04X ", port);
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream in(table);
        std::string line;
        while (std::getline(in, line)) {
            // "sl local_address rem_address st ...": the state 0A is LISTEN.
            std::istringstream fields(line);
            std::string sl, localAddress, remote, state;
            fields >> sl >> localAddress >> remote >> state;
            if (state == "0A" && (localAddress + " ").find(local) != std::string::npos) return true;
        }
    }
    return false;
}

void ServerProcess::stop() {
    if (child <= 0) return;
    kill(-child, SIGTERM);
    kill(child, SIGTERM);
    for (int i = 0; i < 50; ++i) {
        int status;
        if (waitpid(child, &status, WNOHANG) == child) {
            child = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    kill(-child, SIGKILL);
    kill(child, SIGKILL);
    int status;
    waitpid(child, &status, 0);
    child = -1;
}

unsigned short ServerProcess::freePort() {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    unsigned short port = 0;
    if (s >= 0 && bind(s, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(s, reinterpret_cast<struct sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    if (s >= 0) close(s);
    return port;
}

bool ServerProcess::installed(const std::string& program) {
    if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
    const char* path = getenv("PATH");
    std::string all = std::string(path != nullptr ? path : "") + ":/usr/sbin:/sbin";
    size_t start = 0;
    while (start <= all.size()) {
        size_t colon = all.find(':', start);
        if (colon == std::string::npos) colon = all.size();
        std::string candidate = all.substr(start, colon - start) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return true;
        start = colon + 1;
    }
    return false;
}

bool ServerProcess::accepting(unsigned short port) {
    int s = socket(AF_INET, SOCK_STREAM, 0);
    if (s < 0) return false;
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    bool ok = connect(s, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0;
    close(s);
    return ok;
}
