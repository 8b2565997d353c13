// Buffer storage, positions and the byte-level cursor.
#include "asn1/Buffer.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

namespace {

// From this size on, an array that a file is read into is mapped with its pages populated.
constexpr unsigned int kLargeArray = 32u << 20;

// madvise's "populate for writing" (Linux 5.14), under its number where the C library's headers
// are older than the kernel; an older kernel refuses it and nothing else changes.
#ifdef MADV_POPULATE_WRITE
constexpr int kPopulateWrite = MADV_POPULATE_WRITE;
#else
constexpr int kPopulateWrite = 23;
#endif

// An anonymous mapping for a large input, asked for in huge pages and populated at once.
// In small pages, the first pass over a freshly read file of hundreds of megabytes (the digest
// of its content) was measured at half the speed of later passes, and the read itself at a
// sixth of the speed it has in huge pages. Both requests are
// advice: a kernel without them, or without free huge pages, gives ordinary pages, which the
// read then faults in.
void* mapLarge(size_t length) {
    void* mapped =
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return mapped;
#ifdef MADV_HUGEPAGE
    madvise(mapped, length, MADV_HUGEPAGE);
#endif
    madvise(mapped, length, kPopulateWrite);
    return mapped;
}

}  // namespace

Buffer::Buffer() : data(nullptr), capacity(0), maxSize(0), readPos(0), writePos(0) {}

Buffer::Buffer(unsigned int size) : Buffer() {
    reallocate(size);
}

Buffer::Buffer(Buffer* shape) : Buffer() {
    if (shape == nullptr) return;
    reallocate(shape->capacity);
    maxSize = shape->maxSize;
}

Buffer::~Buffer() {
    releaseArray();
}

void Buffer::releaseArray() {
    if (mappedLength != 0) {
        munmap(data, mappedLength);
    } else {
        delete[] data;
    }
    data = nullptr;
    mappedLength = 0;
}

void Buffer::reallocate(unsigned int n) {
    unsigned char* fresh = new unsigned char[static_cast<size_t>(n) + kBufferSlack]();
    fresh[n] = kBufferGuardByte;
    if (data != nullptr && writePos > 0) {
        memcpy(fresh, data, writePos <= n ? writePos : n);
    }
    releaseArray();
    data = fresh;
    capacity = n;
    maxSize = n;
    if (writePos > n) writePos = n;
    if (readPos > n) readPos = n;
}

void Buffer::discardAndReserve(unsigned int n) {
    readPos = writePos = 0;
    if (data == nullptr || capacity < n) {
        // Large inputs would otherwise be cleared and then overwritten, touching every page
        // twice.
        size_t length = static_cast<size_t>(n) + kBufferSlack;
        void* mapped = n >= kLargeArray ? mapLarge(length) : MAP_FAILED;
        unsigned char* fresh =
            mapped != MAP_FAILED ? static_cast<unsigned char*>(mapped) : new unsigned char[length];
        memset(fresh + n, 0, kBufferSlack);
        fresh[n] = kBufferGuardByte;
        releaseArray();
        data = fresh;
        mappedLength = mapped != MAP_FAILED ? length : 0;
        capacity = n;
    }
    maxSize = n;
}

void Buffer::clearTail() {
    if (data != nullptr && writePos < capacity) memset(data + writePos, 0, capacity - writePos);
}

void Buffer::enlarge(unsigned int n) {
    if (maxSize >= n) return;
    if (capacity >= n && data != nullptr) {
        // The array is big enough already; only the bound was lowered.
        maxSize = n;
        return;
    }
    reallocate(n);
}

void Buffer::setMaxSize(unsigned int n) {
    maxSize = n < capacity ? n : capacity;
    if (readPos > maxSize) readPos = maxSize;
}

void Buffer::setWritePos(unsigned int n) {
    writePos = n < maxSize ? n : maxSize;
}

void Buffer::setReadPos(unsigned int n) {
    readPos = n < maxSize ? n : maxSize;
}

void Buffer::fromByteArray(const unsigned char* p, unsigned int n) {
    if (p == nullptr) return;
    readPos = writePos = 0;
    enlarge(n);
    // The read bound ends with the new content: nothing of an earlier content stays readable.
    maxSize = n;
    if (n > 0) memcpy(data, p, n);
    writePos = n;
}

void Buffer::useByteArray(unsigned char* p, unsigned int n) {
    // A mapping of the buffer's own is given back; a new[] array stays the caller's business,
    // as it always was.
    if (mappedLength != 0) releaseArray();
    data = p;
    capacity = maxSize = (p == nullptr ? 0 : n);
    readPos = 0;
    writePos = capacity;
}

void Buffer::appendByteArray(const unsigned char* p, unsigned int n) {
    if (p == nullptr) return;
    writeBytes(p, n);
}

void Buffer::toByteArray(unsigned char** p, unsigned int* n) const {
    *p = new unsigned char[writePos > 0 ? writePos : 1];
    if (writePos > 0) memcpy(*p, data, writePos);
    *n = writePos;
}

void Buffer::toByteArray(unsigned char** p, unsigned long* n) const {
    unsigned int len = 0;
    toByteArray(p, &len);
    *n = len;
}

// ---- The bounded cursor ----

const unsigned char* Buffer::take(unsigned int n) {
    if (n > maxSize - readPos) return nullptr;
    const unsigned char* p = data + readPos;
    readPos += n;
    return p;
}

// ---- Bytes ----

// Sizes are 32 bits: a write that would pass 4 GiB is an allocation failure.
static unsigned int grownSize(unsigned int pos, unsigned int n) {
    if (n > 0xFFFFFFFFu - kBufferSlack - pos) throw std::bad_alloc();
    return pos + n;
}

void Buffer::writeByte(unsigned char b) {
    // Grows by a page at a time; encoders size the buffer first with getWrapLength.
    if (writePos >= maxSize) enlarge(grownSize(writePos, 4096));
    data[writePos++] = b;
}

unsigned char Buffer::readByte() {
    const unsigned char* p = take(1);
    return p != nullptr ? *p : kBufferGuardByte;
}

unsigned char Buffer::peekByte() {
    return peekByte(0);
}

unsigned char Buffer::peekByte(unsigned int offset) {
    if (offset >= maxSize - readPos) return kBufferGuardByte;
    return data[readPos + offset];
}

void Buffer::writeBytes(const unsigned char* p, unsigned int n) {
    if (n == 0) return;
    unsigned int end = grownSize(writePos, n);
    if (end >= maxSize) enlarge(end);
    memcpy(data + writePos, p, n);
    writePos += n;
}

unsigned int Buffer::readBytes(unsigned char* p, unsigned int n) {
    unsigned int left = maxSize - readPos;
    if (n > left) n = left;
    if (n > 0) memcpy(p, take(n), n);
    return n;
}

unsigned char* Buffer::readBytes(unsigned int n) {
    unsigned int left = maxSize - readPos;
    if (n > left) n = left;
    unsigned char* p = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(p, take(n), n);
    return p;
}
