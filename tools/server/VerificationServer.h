// VerificationServer: the listening side of sigilo-server. One thread accepts connections on a
// TCP address and hands them to a fixed pool of workers through a bounded queue; a connection
// that finds the queue full is closed at once. Each connection carries one exchange, which a
// watchdog cuts (by shutting the socket down) once it has lasted longer than the time allowed,
// so that a client that sends slowly or not at all holds a worker for a bounded time only.
// Every exchange leaves one line in the log. requestStop, which a signal handler may call,
// ends run(): no new connection is taken, the exchanges under way finish, the queued ones are
// closed unanswered.
#ifndef SIGILO_TOOLS_SERVER_VERIFICATIONSERVER_H
#define SIGILO_TOOLS_SERVER_VERIFICATIONSERVER_H

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

class CryptoDevice;
struct ServerSettings;

class VerificationServer {
public:
    static constexpr int kMaxWorkers = 64;
    static constexpr unsigned int kQueueSize = 128;

    struct Config {
        std::string address = "127.0.0.1";
        unsigned short port = 8500;
        int workers = 4;
        // Seconds one exchange may last, from accept to the last byte of the reply.
        int timeout = 30;
    };

    // Nothing is owned; all must outlive the server. log may be null.
    VerificationServer(const Config& config, const ServerSettings* settings, CryptoDevice* device,
                       FILE* log);
    ~VerificationServer();

    VerificationServer(const VerificationServer&) = delete;
    VerificationServer& operator=(const VerificationServer&) = delete;

    // Binds and listens; false with the reason in *error.
    bool start(std::string* error);
    // The port listened on (the one chosen by the system when 0 was asked).
    unsigned short port() const { return boundPort; }
    // Serves until requestStop.
    void run();
    // Async-signal-safe.
    static void requestStop();
    // The pipe requestStop writes to; made once by the first server.
    static bool makeStopPipe();

private:
    struct Slot {
        int fd = -1;
        long long deadline = 0;
    };

    void worker(int index);
    void watchdog();
    void logLine(const char* peer, int opCode, long code, long long millis, const char* note);

    Config config;
    const ServerSettings* settings;
    CryptoDevice* device;
    FILE* log;
    int listenFd;
    unsigned short boundPort;

    std::mutex queueMutex;
    std::condition_variable queueReady;
    std::deque<int> queue;
    bool stopping;

    std::mutex slotMutex;
    std::vector<Slot> slots;
    std::mutex logMutex;
};

#endif
