// Buffer: whole-file reads and writes, with fcntl whole-file locks for the persistent files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <thread>

#include "asn1/Buffer.h"

namespace {

// Closes the descriptor when the scope ends; closing also releases an fcntl lock.
struct FileCloser {
    int fd;
    ~FileCloser() {
        if (fd >= 0) close(fd);
    }
};

bool lockWhole(int fd, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
    while (fcntl(fd, F_SETLKW, &lock) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

// From this size on a regular file is read in two halves at once: copying a large file out of
// the page cache is a good part of the time of verifying it.
constexpr unsigned long long kParallelRead = 32ull << 20;

// Reads [from, to) of the file with pread; the offset reached (short at the end of a file that
// shrank, or at an error, which *failed records).
unsigned long long readRange(int fd, unsigned char* out, unsigned long long from,
                             unsigned long long to, bool* failed) {
    while (from < to) {
        ssize_t got =
            pread(fd, out + from, static_cast<size_t>(to - from), static_cast<off_t>(from));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) *failed = true;
        if (got <= 0) break;
        from += static_cast<unsigned long long>(got);
    }
    return from;
}

unsigned int pageSize() {
    long size = sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<unsigned int>(size) : 4096;
}

// Writes n bytes in page-size blocks; false on any short write.
bool writeAll(int fd, const unsigned char* p, unsigned int n) {
    unsigned int page = pageSize();
    while (n > 0) {
        unsigned int block = n < page ? n : page;
        ssize_t written = write(fd, p, block);
        if (written < 0 && errno == EINTR) continue;
        if (written != static_cast<ssize_t>(block)) return false;
        p += block;
        n -= block;
    }
    return true;
}

}  // namespace

// Reads the whole file from the descriptor's position. The size given by fstat sizes the
// buffer; a file that turns out longer (or a pipe, with no size) grows it page by page. The
// read bound ends with the file, so that nothing left from an earlier content is readable.
unsigned char Buffer::fromFile(int fd) {
    if (fd < 0) return 0;
    struct stat st;
    if (fstat(fd, &st) != 0) return 0;
    unsigned long long size = st.st_size > 0 ? static_cast<unsigned long long>(st.st_size) : 0;
    if (size > 0xFFFFFFFFull - kBufferSlack - 4096) return 0;
    discardAndReserve(static_cast<unsigned int>(size));
    if (S_ISREG(st.st_mode) && size >= kParallelRead) {
        bool failedFirst = false, failedSecond = false;
        unsigned long long middle = size / 2, firstEnd = 0;
        std::thread first([&] { firstEnd = readRange(fd, data, 0, middle, &failedFirst); });
        unsigned long long secondEnd = readRange(fd, data, middle, size, &failedSecond);
        first.join();
        // What follows reads on from the end of the part read without a gap.
        writePos = static_cast<unsigned int>(firstEnd < middle ? firstEnd : secondEnd);
        if (failedFirst || failedSecond || lseek(fd, static_cast<off_t>(writePos), SEEK_SET) < 0) {
            clearTail();
            return 0;
        }
    }
    unsigned int page = pageSize();
    for (;;) {
        if (writePos == maxSize) {
            // Full: probe for more before growing, so an exact fit costs nothing.
            unsigned char probe;
            ssize_t got = read(fd, &probe, 1);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) {
                clearTail();
                return 0;
            }
            if (got == 0) break;
            if (writePos > 0xFFFFFFFFu - kBufferSlack - 2 * page) {
                clearTail();
                return 0;
            }
            enlarge(writePos + page);
            data[writePos++] = probe;
            continue;
        }
        ssize_t got = read(fd, data + writePos, maxSize - writePos);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) {
            clearTail();
            return 0;
        }
        if (got == 0) break;
        writePos += static_cast<unsigned int>(got);
    }
    // A file that came shorter than it said leaves part of the array unwritten.
    clearTail();
    maxSize = writePos;
    return 255;
}

unsigned char Buffer::fromFile(const char* path) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_RDONLY)};
    return fromFile(file.fd);
}

unsigned char Buffer::fromLockedFile(const char* path) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_RDONLY)};
    if (file.fd < 0 || !lockWhole(file.fd, F_RDLCK)) return 0;
    return fromFile(file.fd);
}

// Appends n bytes from the descriptor, which is first stepped back by one byte: callers hand
// over a descriptor that has just read the first byte of what they want.
unsigned char Buffer::fromFile(int fd, int n) {
    if (fd == -1 || fd == -2 || fd < 0 || n < 0) return 0;
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_size < n) return 0;
    if (lseek(fd, -1, SEEK_CUR) < 0) return 0;
    unsigned int count = static_cast<unsigned int>(n);
    unsigned int end = writePos + count;
    if (end < writePos || end > 0xFFFFFFFFu - kBufferSlack) return 0;
    if (end > maxSize) enlarge(end);
    unsigned int page = pageSize();
    while (count > 0) {
        unsigned int block = count < page ? count : page;
        ssize_t got = read(fd, data + writePos, block);
        if (got < 0 && errno == EINTR) continue;
        if (got != static_cast<ssize_t>(block)) return 0;
        writePos += block;
        count -= block;
    }
    return 255;
}

unsigned char Buffer::toFile(int fd) {
    if (fd < 0) return 0;
    readPos = 0;
    if (!writeAll(fd, data, writePos)) return 0;
    readPos = writePos;
    return 255;
}

unsigned char Buffer::toFile(const char* path) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644)};
    return toFile(file.fd);
}

// The file is emptied only once the write lock is held: a reader in another process, holding
// the read lock, then sees either the former content or the new one, never an empty or
// half-written file; and a writer that waited for the lock cannot leave the tail of a longer
// earlier write behind its own.
unsigned char Buffer::toLockedFile(const char* path) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_WRONLY | O_CREAT, 0644)};
    if (file.fd < 0 || !lockWhole(file.fd, F_WRLCK)) return 0;
    if (ftruncate(file.fd, 0) != 0) return 0;
    return toFile(file.fd);
}

void Buffer::dumpPacket() {
    for (unsigned int i = readPos; i < writePos && i < maxSize; ++i) printf("%d ", data[i]);
    printf("\n");
}

unsigned char Buffer::dumpPacket(const char* path) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600)};
    if (file.fd < 0) return 0;
    return writeAll(file.fd, data, writePos) ? 255 : 0;
}
