#include "asn1/SecureBuffer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "crypto/CryptoDevice.h"

SecureBuffer::SecureBuffer(CryptoDevice* d) : Buffer(), device(d) {}

SecureBuffer::SecureBuffer(unsigned int size, CryptoDevice* d) : Buffer(size), device(d) {}

SecureBuffer::~SecureBuffer() = default;

DigestInfo* SecureBuffer::digestStretch(unsigned int from, unsigned int to,
                                        unsigned int sizeForTest) {
    if (device == nullptr) return nullptr;
    if (to > getMaxSize()) to = getMaxSize();
    if (from > to) from = to;
    if (sizeForTest < kDigestStep) return device->digest(_getData() + from, to - from);
    return digestMessage(from, to, kDigestStep);
}

DigestInfo* SecureBuffer::digestMessage(unsigned int from, unsigned int to, unsigned int step) {
    if (device == nullptr) return nullptr;
    if (to > getMaxSize()) to = getMaxSize();
    if (from > to) from = to;
    if (step == 0) step = kDigestStep;
    if (!device->initDigest()) return nullptr;
    for (unsigned int at = from; at < to;) {
        unsigned int piece = to - at < step ? to - at : step;
        if (!device->updateDigest(_getData() + at, piece)) return nullptr;
        at += piece;
    }
    return device->finalDigest();
}

DigestInfo* SecureBuffer::digestOutputMessage() {
    return digestOutputMessage(0);
}

DigestInfo* SecureBuffer::digestOutputMessage(unsigned int from) {
    return digestStretch(from, getWritePos(), getWritePos() - (from < getWritePos() ? from : 0));
}

DigestInfo* SecureBuffer::digestInputMessage() {
    return digestInputMessage(0);
}

// The choice between one call and pieces looks at the amount written, not at the stretch.
DigestInfo* SecureBuffer::digestInputMessage(unsigned int from) {
    return digestStretch(from, getReadPos(), getWritePos());
}

DigestInfo* SecureBuffer::digestInputMessage(unsigned int from, unsigned int to) {
    if (device == nullptr) return nullptr;
    if (to > getMaxSize()) to = getMaxSize();
    if (from > to) from = to;
    return device->digest(_getData() + from, to - from);
}

Signature* SecureBuffer::signStretch(unsigned int from, unsigned int to) {
    if (device == nullptr) return nullptr;
    if (to > getMaxSize()) to = getMaxSize();
    if (from > to) from = to;
    if (to - from < kDigestStep) return device->sign(_getData() + from, to - from);
    if (!device->initSign()) return nullptr;
    for (unsigned int at = from; at < to;) {
        unsigned int piece = to - at < kDigestStep ? to - at : kDigestStep;
        if (!device->updateSign(_getData() + at, piece)) return nullptr;
        at += piece;
    }
    return device->finalSign();
}

Signature* SecureBuffer::signMessage() {
    return signStretch(0, getWritePos());
}

Signature* SecureBuffer::signMessage(unsigned int from) {
    return signStretch(from, getWritePos());
}

unsigned char SecureBuffer::setDigestAlgorithm(AlgorithmIdentifier* a) {
    return device != nullptr ? device->setDigestAlgorithm(a) : 0;
}

unsigned char SecureBuffer::setSignAlgorithm(AlgorithmIdentifier* a) {
    return device != nullptr ? device->setSignAlgorithm(a) : 0;
}

unsigned char SecureBuffer::setCryptoAlgorithm(AlgorithmIdentifier* a) {
    return device != nullptr ? device->setCryptoAlgorithm(a) : 0;
}

unsigned char SecureBuffer::setCipherAlgorithm(AlgorithmIdentifier* a) {
    return device != nullptr ? device->setCipherAlgorithm(a) : 0;
}

unsigned int SecureBuffer::getSignLength() {
    return lenASN1BitString(128);
}

unsigned char* SecureBuffer::getCrypted(KeyInfo* key, unsigned long* n) {
    *n = 0;
    return device != nullptr ? device->encrypt(_getData(), getWritePos(), key, n) : nullptr;
}

unsigned char* SecureBuffer::getCiphered(unsigned long* n) {
    *n = 0;
    return device != nullptr ? device->encode(_getData(), getWritePos(), n) : nullptr;
}

// Puts the device's result in place of the content, growing the array if it must, and frees
// the device's array.
unsigned char SecureBuffer::replaceWith(unsigned char* bytes, unsigned long n) {
    if (bytes == nullptr || n > 0xFFFFFFFFul - kBufferSlack) {
        delete[] bytes;
        return 0;
    }
    rewind();
    writeBytes(bytes, static_cast<unsigned int>(n));
    setMaxSize(static_cast<unsigned int>(n));
    delete[] bytes;
    return 255;
}

unsigned char SecureBuffer::setFromCrypted(KeyInfo* key) {
    if (device == nullptr) return 0;
    // The length is known only once the device has answered: the call comes first.
    unsigned long n = 0;
    unsigned char* bytes = device->decrypt(_getData(), getWritePos(), key, &n);
    return replaceWith(bytes, n);
}

unsigned char SecureBuffer::setFromCiphered() {
    if (device == nullptr) return 0;
    unsigned long n = 0;
    unsigned char* bytes = device->decode(_getData(), getWritePos(), &n);
    return replaceWith(bytes, n);
}

// The file is created write-only for its owner while it is written, then opened to reading
// by the owner alone.
unsigned char SecureBuffer::toCipheredFile(const char* path, KeyInfo* key) {
    if (path == nullptr) return 0;
    unsigned long n = 0;
    unsigned char* crypted = getCrypted(key, &n);
    if (crypted == nullptr) return 0;
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0200);
    bool ok = fd >= 0;
    for (unsigned long done = 0; ok && done < n;) {
        ssize_t written = write(fd, crypted + done, n - done);
        if (written < 0 && errno == EINTR) continue;
        ok = written > 0;
        if (ok) done += static_cast<unsigned long>(written);
    }
    delete[] crypted;
    if (fd >= 0) {
        ok = fchmod(fd, 0600) == 0 && ok;
        close(fd);
    }
    return ok ? 255 : 0;
}

unsigned char SecureBuffer::fromCipheredFile(const char* path, KeyInfo* key) {
    if (!fromFile(path)) return 0;
    return setFromCrypted(key);
}
