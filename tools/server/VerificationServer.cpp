#include "tools/server/VerificationServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>

#include "net/Semaphore.h"
#include "net/Transport.h"
#include "tools/server/RequestHandler.h"

namespace {

int stopPipe[2] = {-1, -1};

long long nowMillis() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

bool VerificationServer::makeStopPipe() {
    if (stopPipe[0] >= 0) return true;
    if (pipe(stopPipe) != 0) return false;
    for (int fd : stopPipe) {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    return true;
}

void VerificationServer::requestStop() {
    if (stopPipe[1] < 0) return;
    int saved = errno;
    char byte = 1;
    ssize_t ignored = write(stopPipe[1], &byte, 1);
    (void)ignored;
    errno = saved;
}

VerificationServer::VerificationServer(const Config& serverConfig,
                                       const ServerSettings* serverSettings,
                                       CryptoDevice* cryptoDevice, FILE* logStream)
    : config(serverConfig),
      settings(serverSettings),
      device(cryptoDevice),
      log(logStream),
      listenFd(-1),
      boundPort(0),
      stopping(false) {
    if (config.workers < 1) config.workers = 1;
    if (config.workers > kMaxWorkers) config.workers = kMaxWorkers;
    if (config.timeout < 1) config.timeout = 1;
}

VerificationServer::~VerificationServer() {
    if (listenFd >= 0) close(listenFd);
}

bool VerificationServer::start(std::string* error) {
    if (!makeStopPipe()) {
        *error = std::string("pipe: ") + strerror(errno);
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(config.port);
    if (inet_pton(AF_INET, config.address.c_str(), &address.sin_addr) != 1) {
        *error = "indirizzo non valido: " + config.address;
        return false;
    }
    listenFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd < 0) {
        *error = std::string("socket: ") + strerror(errno);
        return false;
    }
    int on = 1;
    setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listenFd, 64) != 0) {
        *error = std::string("bind/listen: ") + strerror(errno);
        close(listenFd);
        listenFd = -1;
        return false;
    }
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    getsockname(listenFd, reinterpret_cast<sockaddr*>(&bound), &size);
    boundPort = ntohs(bound.sin_port);
    return true;
}

void VerificationServer::run() {
    if (listenFd < 0) return;
    slots.assign(static_cast<size_t>(config.workers), Slot());
    std::vector<std::thread> workers;
    for (int i = 0; i < config.workers; ++i)
        workers.emplace_back(&VerificationServer::worker, this, i);
    std::thread guard(&VerificationServer::watchdog, this);

    for (;;) {
        pollfd waits[2] = {{listenFd, POLLIN, 0}, {stopPipe[0], POLLIN, 0}};
        int ready = poll(waits, 2, 1000);
        if (ready < 0 && errno != EINTR) break;
        if (waits[1].revents != 0) break;
        if (ready <= 0 || (waits[0].revents & POLLIN) == 0) continue;
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        int fd = accept4(listenFd, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
        if (fd < 0) {
            // Out of descriptors, say: give the workers a moment to close some.
            if (errno == EMFILE || errno == ENFILE)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            continue;
        }
        bool queued = false;
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            // The descriptor tables of the transport stop at kMaxDescriptor.
            if (queue.size() < kQueueSize && fd < Transport::kMaxDescriptor) {
                queue.push_back(fd);
                queued = true;
            }
        }
        if (queued) {
            queueReady.notify_one();
        } else {
            char text[INET_ADDRSTRLEN] = "?";
            inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
            close(fd);
            logLine(text, 0, -1, 0, "coda piena, connessione chiusa");
        }
    }

    {
        std::lock_guard<std::mutex> lock(queueMutex);
        stopping = true;
        for (int fd : queue) close(fd);
        queue.clear();
    }
    queueReady.notify_all();
    for (std::thread& w : workers) w.join();
    guard.join();
    close(listenFd);
    listenFd = -1;
}

void VerificationServer::worker(int index) {
    // The device is shared by every worker: the semaphore is held around each use of it.
    static Semaphore deviceLock(0, 1);
    RequestHandler handler(device, &deviceLock, settings);
    for (;;) {
        int fd = -1;
        {
            std::unique_lock<std::mutex> lock(queueMutex);
            queueReady.wait(lock, [this] { return stopping || !queue.empty(); });
            if (queue.empty()) return;
            fd = queue.front();
            queue.pop_front();
        }
        long long start = nowMillis();
        {
            std::lock_guard<std::mutex> lock(slotMutex);
            slots[static_cast<size_t>(index)].fd = fd;
            slots[static_cast<size_t>(index)].deadline = start + config.timeout * 1000LL;
        }
        Transport transport;
        transport.setTimeout(config.timeout);
        RequestHandler::Outcome outcome;
        std::string peer = "?";
        int attached = transport.attach(fd);
        if (attached == 0) {
            peer = transport.getPeer();
            outcome = handler.serve(&transport);
        } else {
            outcome.note = "descrittore non gestibile";
        }
        {
            // Out of the watchdog's sight before the descriptor is closed and can be reused.
            std::lock_guard<std::mutex> lock(slotMutex);
            slots[static_cast<size_t>(index)].fd = -1;
        }
        // A descriptor the transport refused as too high it has closed itself.
        if (transport.isConnected()) {
            transport.shutdownConnect();
        } else if (attached != Transport::kBadDescriptor) {
            close(fd);
        }
        logLine(peer.c_str(), outcome.opCode, outcome.code, nowMillis() - start,
                outcome.note.c_str());
    }
}

void VerificationServer::watchdog() {
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(queueMutex);
            if (stopping) return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        long long now = nowMillis();
        std::lock_guard<std::mutex> lock(slotMutex);
        for (Slot& slot : slots) {
            if (slot.fd >= 0 && now > slot.deadline) {
                // Wakes the worker's wait with the end of the stream; the worker closes it.
                shutdown(slot.fd, SHUT_RDWR);
                slot.deadline = now + 3600 * 1000LL;
            }
        }
    }
}

void VerificationServer::logLine(const char* peer, int opCode, long code, long long millis,
                                 const char* note) {
    if (log == nullptr) return;
    char when[32];
    time_t now = time(nullptr);
    struct tm fields;
    gmtime_r(&now, &fields);
    strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", &fields);
    std::lock_guard<std::mutex> lock(logMutex);
    if (code >= 0) {
        fprintf(log, "%s %s opCode=%d errorCode=%lX %lldms%s%s\n", when, peer, opCode,
                static_cast<unsigned long>(code), millis, *note ? " " : "", note);
    } else {
        fprintf(log, "%s %s opCode=%d nessuna risposta %lldms%s%s\n", when, peer, opCode, millis,
                *note ? " " : "", note);
    }
    fflush(log);
}
