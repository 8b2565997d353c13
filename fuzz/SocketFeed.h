// The bytes of a fuzz input as they would come from a peer: written into one end of a
// socketpair, whose writing side is then closed, and read by a Transport from the other end.
// Inputs are capped so that they fit in the socket's buffer without a second thread.
#ifndef SIGILO_FUZZ_SOCKETFEED_H
#define SIGILO_FUZZ_SOCKETFEED_H

#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

constexpr size_t kMaxSocketFeed = 65536;

// The descriptor to read from, or -1; the caller attaches it to a Transport, which closes it.
inline int socketFeed(const uint8_t* data, size_t size) {
    if (size > kMaxSocketFeed) return -1;
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) return -1;
    int room = static_cast<int>(kMaxSocketFeed * 2);
    setsockopt(fds[1], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    size_t written = 0;
    while (written < size) {
        ssize_t n = write(fds[1], data + written, size - written);
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(fds[1]);
    if (written < size) {
        close(fds[0]);
        return -1;
    }
    return fds[0];
}

#endif
