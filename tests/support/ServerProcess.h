// A server that a test starts as a child process on 127.0.0.1: the program prints its port on
// the first line of standard output (or the test gives the port), and the object stops it by
// its process id when it goes, first with SIGTERM and then, if it lingers, with SIGKILL. Every
// wait is bounded, so a server that never starts or never ends cannot hold the test.
#ifndef SIGILO_TESTS_SERVERPROCESS_H
#define SIGILO_TESTS_SERVERPROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

class ServerProcess {
public:
    ServerProcess() = default;
    ~ServerProcess() { stop(); }

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Runs the program with its arguments and reads the port from the first line of its
    // output, waiting at most the given seconds. False when it does not start or print a port.
    bool startPrintingPort(const std::vector<std::string>& argv, int seconds = 15);
    // Runs the program, its output to the file (or /dev/null), and waits until something
    // accepts connections on 127.0.0.1:port, at most the given seconds.
    bool startOnPort(const std::vector<std::string>& argv, unsigned short port,
                     const std::string& output = "", int seconds = 15);
    // As startOnPort, but waits until the port is listening without connecting to it, for
    // servers that a connection closed without a request upsets (openssl ocsp spins on one).
    bool startListening(const std::vector<std::string>& argv, unsigned short port,
                        int seconds = 15);
    void stop();

    int port() const { return portNumber; }
    pid_t pid() const { return child; }

    // A port on 127.0.0.1 that was free a moment ago.
    static unsigned short freePort();
    // Whether the program is installed (an absolute path, or found on PATH).
    static bool installed(const std::string& program);
    // Whether something accepts connections on 127.0.0.1:port.
    static bool accepting(unsigned short port);
    // Whether a socket listens on the port, by the kernel's tables, without connecting.
    static bool listening(unsigned short port);

private:
    pid_t child = -1;
    int portNumber = 0;
};

#endif
