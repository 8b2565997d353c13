// Buffer: PEM files (Base64 text between BEGIN and END lines) and bare Base64 text.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "asn1/Base64.h"
#include "asn1/Buffer.h"

namespace {

struct FileCloser {
    int fd;
    ~FileCloser() {
        if (fd >= 0) close(fd);
    }
};

// Copies at most kPEMLabelSize - 1 characters, up to the next '-' or the end, and terminates.
void copyLabel(char* label, const char* from, const char* end) {
    unsigned int n = 0;
    while (from + n < end && from[n] != '-' && n + 1 < kPEMLabelSize) {
        label[n] = from[n];
        ++n;
    }
    label[n] = 0;
}

// One byte from the descriptor; false at the end or on an error.
bool readOne(int fd, char* c) {
    for (;;) {
        ssize_t got = read(fd, c, 1);
        if (got == 1) return true;
        if (got < 0 && errno == EINTR) continue;
        return false;
    }
}

bool writeText(int fd, const char* text, size_t n) {
    while (n > 0) {
        ssize_t written = write(fd, text, n);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text += written;
        n -= static_cast<size_t>(written);
    }
    return true;
}

}  // namespace

// The whole file is read, the armour lines dropped, and the Base64 text decoded into the
// buffer. The label is taken twelve characters after the first '-', so that the first letter
// of the label is lost ("CERTIFICATE" comes back as "ERTIFICATE"); callers compare with that.
unsigned char Buffer::fromPEMFile(int fd, char* label) {
    if (label != nullptr) label[0] = 0;
    if (!fromFile(fd)) return 0;
    char* text = reinterpret_cast<char*>(data);
    const char* end = text + writePos;
    char* p = text;
    while (p < end && (*p == '\r' || *p == '\n')) ++p;
    if (p < end && *p == '-') {
        if (label != nullptr && end - p > 12) copyLabel(label, p + 12, end);
        while (p < end && *p != '\n') ++p;
    }
    char* base64 = p;
    while (p < end && *p != '-') ++p;
    unsigned int n = static_cast<unsigned int>(p - base64);
    readPos = 0;
    if (!Base64::decode(base64, data, &n)) {
        writePos = 0;
        maxSize = 0;
        return 0;
    }
    writePos = n;
    maxSize = n;
    return 255;
}

unsigned char Buffer::fromPEMFile(const char* path, char* label) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_RDONLY)};
    if (file.fd < 0) return 0;
    return fromPEMFile(file.fd, label);
}

// Reads one block, byte by byte, so that the descriptor stands just after the block's END line
// and the next call reads the next block. A call that finds only line ends succeeds with
// nothing; one that finds nothing at all fails, which ends a caller's loop.
unsigned char Buffer::fromPEMFiles(int fd, char* label) {
    if (label != nullptr) label[0] = 0;
    readPos = writePos = 0;
    if (fd < 0) return 0;
    char c;
    bool any = false, more;
    while ((more = readOne(fd, &c)) && (c == '\r' || c == '\n')) any = true;
    if (!more && !any) return 0;

    std::string base64;
    if (more && c == '-') {
        // "-----BEGIN " is eleven characters; the label runs to the next '-'.
        std::string header;
        while (header.size() < 10 && readOne(fd, &c)) header += c;
        std::string name;
        while (readOne(fd, &c) && c != '-' && c != '\n') name += c;
        if (label != nullptr) copyLabel(label, name.data(), name.data() + name.size());
        while (c != '\n' && readOne(fd, &c)) {
        }
    } else if (more) {
        base64 += c;
    }
    if (more) {
        while (readOne(fd, &c) && c != '-') base64 += c;
        if (c == '-') {
            while (readOne(fd, &c) && c != '\n') {
            }
        }
    }

    unsigned int n = static_cast<unsigned int>(base64.size());
    enlarge(n);
    readPos = 0;
    if (n > 0 && !Base64::decode(base64.data(), data, &n)) {
        writePos = maxSize = 0;
        return 0;
    }
    writePos = maxSize = n;
    return 255;
}

unsigned char Buffer::fromPEMFiles(const char* path, char* label) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_RDONLY)};
    if (file.fd < 0) return 0;
    return fromPEMFiles(file.fd, label);
}

// Lines of 64 characters ended by CR LF, inside BEGIN and END lines when a label is given.
unsigned char Buffer::toPEMFile(int fd, const char* label) {
    if (fd < 0) return 0;
    std::string out;
    if (label != nullptr) out += std::string("-----BEGIN ") + label + "-----\r\n";
    char* text = Base64::encode(data != nullptr ? data : reinterpret_cast<const unsigned char*>(""),
                                writePos);
    size_t length = strlen(text);
    for (size_t i = 0; i < length; i += 64) {
        out.append(text + i, length - i < 64 ? length - i : 64);
        out += "\r\n";
    }
    delete[] text;
    if (label != nullptr) out += std::string("-----END ") + label + "-----\r\n";
    return writeText(fd, out.data(), out.size()) ? 255 : 0;
}

unsigned char Buffer::toPEMFile(const char* path, const char* label) {
    if (path == nullptr) return 0;
    FileCloser file{open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644)};
    if (file.fd < 0) return 0;
    return toPEMFile(file.fd, label);
}

// Base64 text in place of DER: DER that starts with 0x30 and a long-form length encodes to
// text beginning with 'M'. Anything else is left alone.
unsigned char Buffer::decodePEM() {
    if (writePos == 0 || data[0] != 'M') return 0;
    readPos = 0;
    unsigned int n = writePos;
    unsigned char ok = Base64::decode(reinterpret_cast<const char*>(data), data, &n);
    // The text is decoded in place, so a failure leaves nothing usable behind.
    writePos = n;
    maxSize = n;
    return ok;
}
