#include "crypto/RandomGenerator.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace {

// The device behind getrandom, for kernels that lack the call.
bool fillFromDevice(unsigned char* out, unsigned int n) {
    int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    unsigned int done = 0;
    while (done < n) {
        ssize_t got = read(fd, out + done, n - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<unsigned int>(got);
    }
    close(fd);
    return done == n;
}

}  // namespace

void SystemRandomGenerator::fill(unsigned char* out, unsigned int n) {
    unsigned int done = 0;
    while (done < n) {
        ssize_t got = getrandom(out + done, n - done, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            if (errno == ENOSYS && fillFromDevice(out + done, n - done)) return;
            // Handing out bytes that are not random would make keys and padding guessable:
            // stopping is the lesser harm, and no Linux kernel in use gets here.
            abort();
        }
        done += static_cast<unsigned int>(got);
    }
}

long SystemRandomGenerator::random() {
    unsigned char b[4];
    fill(b, sizeof b);
    uint32_t v = (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | b[3];
    return static_cast<long>(static_cast<int32_t>(v));
}

long SystemRandomGenerator::lrandom() {
    return random() & 0x7FFFFFFFL;
}

unsigned char* SystemRandomGenerator::random8() {
    unsigned char* out = new unsigned char[8];
    fill(out, 8);
    return out;
}

void SystemRandomGenerator::random(unsigned char* out, unsigned int n) {
    if (n == 0) return;
    fill(out, n);
}
