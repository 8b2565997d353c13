// Buffer: the byte container every parser and encoder works on, with the BER/DER vocabulary.
//
// A Buffer holds an array with an independent read position and write position. Reading never
// faults: every read goes through one bounded step (take) that either yields the requested bytes
// inside [0, maxSize) or refuses, and a single-byte read past the end yields the guard value 1
// instead of touching memory. The guard is non-zero on purpose: the tag readers skip zero bytes.
//
// Truth values are one byte: 0 is false, anything else true (usually 255, sometimes 1).
//
// The header readers also keep the definite constructed values that the read position is inside
// of. A value read inside one must end inside it, and the first header read at or past its end
// must find it ended exactly there: a SEQUENCE or SET whose declared length disagrees with the
// children read from it is refused wherever it occurs, rather than by each class on its own.
// Signatures are checked over re-encoded parts, so such a mismatch would otherwise let bytes
// that no signature covers pass as signed. Peeks take no part in this; a constructed OCTET
// STRING in definite form keeps its own looser reading (only its first piece is delivered).
#ifndef SIGILO_ASN1_BUFFER_H
#define SIGILO_ASN1_BUFFER_H

#include <cstddef>
#include <vector>

class OID;

// Room allocated past the requested size of every array the Buffer allocates itself.
constexpr unsigned int kBufferSlack = 20;
// What a read past the end delivers.
constexpr unsigned char kBufferGuardByte = 1;
// Size a caller must give the label argument of the PEM readers.
constexpr unsigned int kPEMLabelSize = 80;

class Buffer {
public:
    Buffer();
    explicit Buffer(unsigned int size);
    // A new empty buffer of the same shape (capacity and maxSize); no bytes are copied.
    explicit Buffer(Buffer* shape);
    virtual ~Buffer();

    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    // ---- Storage and positions ----
    void enlarge(unsigned int n);
    void setMaxSize(unsigned int n);
    void setWritePos(unsigned int n);
    void setReadPos(unsigned int n);
    unsigned int getMaxSize() const { return maxSize; }
    unsigned int getWritePos() const { return writePos; }
    unsigned int getReadPos() const { return readPos; }
    unsigned char isFull() const { return writePos >= maxSize ? 255 : 0; }
    unsigned char isEmpty() const { return readPos == writePos ? 255 : 0; }
    void rewind() { readPos = writePos = 0; }
    // The array itself, not a copy; it lives as long as the buffer keeps it.
    unsigned char* _getData() const { return data; }
    // Bytes left between the read position and the bound.
    unsigned int remaining() const { return maxSize - readPos; }

    void fromByteArray(const unsigned char* p, unsigned int n);
    // Lends an outside array without copying. The caller frees it and re-points the buffer
    // (useByteArray(nullptr, 0)) before the buffer is destroyed.
    void useByteArray(unsigned char* p, unsigned int n);
    void appendByteArray(const unsigned char* p, unsigned int n);
    void toByteArray(unsigned char** p, unsigned int* n) const;
    void toByteArray(unsigned char** p, unsigned long* n) const;

    // ---- Bytes ----
    virtual void writeByte(unsigned char b);
    virtual unsigned char readByte();
    virtual unsigned char peekByte();
    virtual unsigned char peekByte(unsigned int offset);
    virtual void writeBytes(const unsigned char* p, unsigned int n);
    virtual unsigned int readBytes(unsigned char* p, unsigned int n);
    virtual unsigned char* readBytes(unsigned int n);

    // ---- End of contents ----
    virtual void writeEOC();
    virtual unsigned char readEOC();
    virtual unsigned int lenEOC();

    // ---- Indefinite headers (tag, 0x80) ----
    virtual void writeASN1Header(unsigned char tag);
    virtual unsigned char readASN1Header(unsigned char* tag);
    virtual unsigned char peekASN1Header(unsigned char* tag);
    virtual unsigned int lenASN1Header(unsigned char tag);

    // ---- Definite headers ----
    virtual void writeASN1Header(unsigned char tag, unsigned int len);
    virtual unsigned int lenASN1Header(unsigned char tag, unsigned int len);
    virtual unsigned char readASN1Header(unsigned char* tag, unsigned int* len);
    // The third argument is 0 for an indefinite length and 255 otherwise.
    virtual unsigned char readASN1Header(unsigned char* tag, unsigned int* len,
                                         unsigned char* definite);
    virtual unsigned char peekASN1Header(unsigned char* tag, unsigned int* len);
    virtual unsigned char peekASN1Header(unsigned char* tag, unsigned int* len,
                                         unsigned char* definite);

    // ---- Length ----
    virtual void writeASN1Length(unsigned int len);
    virtual unsigned int lenASN1Length(unsigned int len);
    virtual unsigned char readASN1Length(unsigned int* len);

    // ---- SEQUENCE ----
    virtual void writeASN1Sequence();
    virtual unsigned int lenASN1Sequence();
    virtual unsigned char readASN1Sequence();
    virtual void writeASN1Sequence(unsigned int len);
    virtual unsigned int lenASN1Sequence(unsigned int len);
    virtual unsigned char readASN1Sequence(unsigned int* len);
    virtual unsigned char readASN1Sequence(unsigned int* len, unsigned char* definite);

    // ---- SET ----
    virtual void writeASN1Set(unsigned int len);
    virtual unsigned int lenASN1Set(unsigned int len);
    virtual unsigned char readASN1Set(unsigned int* len);
    virtual unsigned char readASN1Set(unsigned int* len, unsigned char* definite);

    // ---- BIT STRING ----
    virtual unsigned int lenASN1BitString(unsigned int n);
    virtual void writeASN1BitString(const unsigned char* p, unsigned int n, unsigned char unused);
    virtual unsigned char readASN1BitString(unsigned char** p, unsigned int* n,
                                            unsigned char* unused);
    virtual void writeASN1BitStringHeader(unsigned int n, unsigned char unused);
    virtual unsigned char readASN1BitStringHeader(unsigned int* n, unsigned char* unused);
    virtual void writeASN1BitString(const unsigned char* p, unsigned int n, unsigned char unused,
                                    unsigned char tag);
    virtual unsigned char readASN1BitString(unsigned char** p, unsigned int* n,
                                            unsigned char* unused, unsigned char tag);

    // ---- NULL ----
    virtual void writeASN1();
    virtual unsigned int lenASN1();
    virtual unsigned char readASN1();
    virtual void writeNULL();
    virtual unsigned int lenNULL();
    virtual unsigned char readNULL();
    virtual void writeNULL(unsigned char tag);
    virtual unsigned char readNULL(unsigned char tag);

    // ---- Small values: one-byte INTEGER, ENUMERATED, BOOLEAN ----
    virtual void writeASN1(unsigned char v);
    virtual unsigned int lenASN1(unsigned char v);
    virtual unsigned char readASN1(unsigned char* v);
    virtual void writeASN1Enum(unsigned char v);
    virtual unsigned int lenASN1Enum(unsigned char v);
    virtual unsigned char readASN1Enum(unsigned char* v);
    virtual void writeBoolean(unsigned char v);
    virtual unsigned int lenBoolean(unsigned char v);
    virtual unsigned char readBoolean(unsigned char* v);
    virtual void writeBoolean(unsigned char v, unsigned char tag);
    virtual unsigned int lenBoolean(unsigned char v, unsigned char tag);
    virtual unsigned char readBoolean(unsigned char* v, unsigned char tag);

    // ---- Byte strings (OCTET STRING, or any tag) ----
    virtual void writeASN1(const unsigned char* p, unsigned int n);
    virtual unsigned int lenASN1(const unsigned char* p, unsigned int n);
    // Copies: *p is a new array the caller deletes (null for a NULL value).
    virtual unsigned char readASN1(unsigned char** p, unsigned int* n);
    // No copy: 1 when *p points into this buffer (or is null for a NULL value), 2 when *p is a
    // new array (a constructed string was assembled) that the caller must delete, 0 on failure.
    virtual unsigned char _readASN1(unsigned char** p, unsigned int* n);
    virtual void writeASN1(const unsigned char* p, unsigned int n, unsigned char tag);
    virtual unsigned int lenASN1(const unsigned char* p, unsigned int n, unsigned char tag);
    virtual unsigned char readASN1(unsigned char** p, unsigned int* n, unsigned char tag);
    virtual unsigned char _readASN1(unsigned char** p, unsigned int* n, unsigned char tag);

    // ---- Text: as byte strings, with a NUL added after what is read ----
    virtual void writeASN1(const char* p);
    virtual unsigned int lenASN1(const char* p);
    virtual unsigned char readASN1(char** p);
    virtual void writeASN1(const char* p, unsigned int n);
    virtual unsigned int lenASN1(const char* p, unsigned int n);
    virtual unsigned char readASN1(char** p, unsigned int* n);
    virtual void writeASN1(const char* p, unsigned char tag);
    virtual unsigned int lenASN1(const char* p, unsigned char tag);
    virtual unsigned char readASN1(char** p, unsigned char tag);

    // ---- Numbers ----
    virtual void writeASN1(int v);
    virtual unsigned int lenASN1(int v);
    virtual unsigned char readASN1(int* v);
    // writeLong always writes the INTEGER 0: values that must survive a round trip go through
    // writeASN1(int) or BigInteger.
    virtual void writeLong(long v);
    virtual unsigned int lenLong(long v);
    virtual unsigned char readLong(long* v);
    virtual void writeLong(long v, unsigned char tag);
    virtual unsigned int lenLong(long v, unsigned char tag);
    virtual unsigned char readLong(long* v, unsigned char tag);
    virtual void writeASN1(int v, unsigned char tag);
    virtual unsigned int lenASN1(int v, unsigned char tag);
    virtual unsigned char readASN1(int* v, unsigned char tag);

    // ---- OBJECT IDENTIFIER ----
    virtual void writeASN1(OID* oid);
    virtual unsigned int lenASN1(OID* oid);
    virtual unsigned char readASN1(OID* oid);
    virtual void writeASN1(OID* oid, unsigned char tag);
    virtual unsigned char readASN1(OID* oid, unsigned char tag);

    // ---- Free-form tags (1 to 4 tag bytes) ----
    virtual void writeTLV(unsigned int tag, unsigned int len, const unsigned char* p);
    virtual unsigned int lenTLV(unsigned int tag, unsigned int len);
    virtual unsigned int lenTLVHeader(unsigned int tag, unsigned int len);

    unsigned char checkASN1DataLen();

    // ---- Files: 0 on failure, 255 on success ----
    unsigned char fromFile(int fd);
    unsigned char fromFile(const char* path);
    unsigned char fromLockedFile(const char* path);
    unsigned char fromFile(int fd, int n);
    unsigned char toFile(int fd);
    unsigned char toFile(const char* path);
    unsigned char toLockedFile(const char* path);
    void dumpPacket();
    unsigned char dumpPacket(const char* path);

    // ---- PEM ----
    // label, when not null, must have room for kPEMLabelSize bytes.
    unsigned char fromPEMFile(int fd, char* label);
    unsigned char fromPEMFile(const char* path, char* label);
    unsigned char fromPEMFiles(int fd, char* label);
    unsigned char fromPEMFiles(const char* path, char* label);
    unsigned char toPEMFile(int fd, const char* label);
    unsigned char toPEMFile(const char* path, const char* label);
    unsigned char decodePEM();

protected:
    // Assembles a constructed OCTET STRING whose header has just been read.
    unsigned char readConstructed(unsigned char** p, unsigned int* n, unsigned char definite);

private:
    // The one bounded step under every read: the n bytes at the read position, advancing past
    // them, or null (and no move) when fewer than n bytes are left before maxSize.
    const unsigned char* take(unsigned int n);
    // Replaces the array by one of n + kBufferSlack bytes with the guard byte at index n.
    void reallocate(unsigned int n);
    // Drops the content and makes room for n bytes that the caller is about to write over
    // (a file's): the array is not cleared first, so the caller must clear what it leaves
    // unwritten (clearTail). Every byte below the capacity is thus always initialised.
    void discardAndReserve(unsigned int n);
    // Zeroes the array from the write position to the capacity.
    void clearTail();
    // Frees the array, whichever way it was made.
    void releaseArray();
    // Header of a primitive value whose content must lie inside the buffer.
    unsigned char readContentHeader(unsigned char expectedTag, unsigned int* len);
    // Base-128 subidentifiers of an OID content of len bytes.
    unsigned char readOIDContent(OID* oid, unsigned int len);
    unsigned char readBitStringBody(unsigned char tag, unsigned char** p, unsigned int* n,
                                    unsigned char* unused);
    unsigned char readInteger(unsigned char tag, unsigned int maxLen, long* v);
    // The header read under both readASN1Header forms; nested is false for the peeks.
    unsigned char readHeader(unsigned char* tag, unsigned int* len, unsigned char* definite,
                             bool nested);
    // The nesting rules for a header whose reading began at from, with its tag at tagAt, and
    // that has just been read; 0 when it breaks them.
    unsigned char enterValue(unsigned int from, unsigned int tagAt, unsigned char tag,
                             unsigned int len, unsigned char definite);

    // A definite constructed value the read position may be inside: where its tag lies and
    // where its content ends.
    struct OpenValue {
        unsigned int start;
        unsigned int end;
    };
    std::vector<OpenValue> openValues;

    unsigned char* data;
    unsigned int capacity;
    unsigned int maxSize;
    unsigned int readPos;
    unsigned int writePos;
    // Non-zero when the array is a mapping of that many bytes rather than a new[] array: large
    // inputs get their pages all at once, which costs a fraction of faulting them in one by one.
    size_t mappedLength = 0;
};

#endif
