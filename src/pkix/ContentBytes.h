// ContentBytes: the bytes of an OCTET STRING that may be borrowed from the Buffer they were
// read from. Large contents (a signed document of hundreds of megabytes) are read by the no-copy
// path, which leaves a primitive OCTET STRING in the Buffer and marks it borrowed; a
// constructed string has to be assembled and is owned. Borrowed bytes are never freed here, and
// they are valid only while that Buffer keeps its array.
#ifndef SIGILO_PKIX_CONTENTBYTES_H
#define SIGILO_PKIX_CONTENTBYTES_H

class Buffer;

class ContentBytes {
public:
    ContentBytes() = default;
    ~ContentBytes() { release(); }

    ContentBytes(const ContentBytes&) = delete;
    ContentBytes& operator=(const ContentBytes&) = delete;

    // Copies owned bytes, shares borrowed ones.
    void cloneInto(ContentBytes* target) const;
    // Stores a copy (null clears).
    void set(const unsigned char* p, unsigned int n);
    // A copy the caller deletes; null when there is none.
    unsigned char* copy() const;
    void release();

    const unsigned char* data() const { return bytes; }
    unsigned int length() const { return size; }
    bool present() const { return bytes != nullptr; }
    unsigned char isBorrowed() const { return borrowed; }

    // The OCTET STRING (primitive or constructed) at the read position: copied, or left in the
    // buffer where it can be (a primitive one). 1 on success, 0 on failure.
    unsigned char read(Buffer* b, bool borrow);

    unsigned int wrapLength(Buffer* b) const;
    void write(Buffer* b) const;

private:
    unsigned char* bytes = nullptr;
    unsigned int size = 0;
    // 255 while bytes point into someone else's array.
    unsigned char borrowed = 0;
};

#endif
