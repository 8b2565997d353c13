// MIME: the reader of M7M files, a MIME message whose two attachments are a signed envelope
// and the time stamp of that envelope.
//
// The reader keeps ten line slots of 2048 bytes; a line read goes into a slot, overwriting what
// was there. setFile reads the message headers and takes the MIME version and the boundary from
// them; seekAttachment moves to the next part and reads its headers; readAttachment copies the
// part's body into a Buffer up to the next boundary. Every loop is bounded by the file: each
// step consumes at least one byte or ends at the end of the file, and a line never outgrows its
// slot.
#ifndef SIGILO_VERIFY_MIME_H
#define SIGILO_VERIFY_MIME_H

class Buffer;

class MIME {
public:
    static constexpr int kSlots = 10;
    static constexpr unsigned int kSlotSize = 2048;
    static constexpr unsigned int kVersionSize = 80;
    static constexpr unsigned int kBoundarySize = 72;

    MIME();
    ~MIME();

    MIME(const MIME&) = delete;
    MIME& operator=(const MIME&) = delete;

    // Closes any earlier file, opens this one, clears the state and reads the message headers.
    // 0 when the file cannot be opened.
    unsigned char setFile(const char* path);
    // Finds the next boundary line and reads the headers of the part behind it; 0 when there is
    // no further part.
    unsigned char seekAttachment();
    // Appends the body of the current part to the buffer; 0 when no file is open.
    unsigned char readAttachment(Buffer* buffer);
    // The first header slot that starts with the name, in any case, or null. The text is the
    // reader's own and changes with the next line read.
    const char* getHeader(const char* name) const;
    // Whether the part's Content-Transfer-Encoding says base64.
    unsigned char isPEMEncoded() const;
    // Whether the last part read was base64 text: by its header, or because it began with "M",
    // which is how the base64 of a DER SEQUENCE with a long length begins.
    unsigned char getReadPEM() const { return readPEM; }
    // One line into the slot, without its line feed and a carriage return before it; 0 at the
    // end of the file with nothing read.
    unsigned char readMIMELine(int slot);
    // Clears the slots and reads header lines into them, up to an empty line or ten lines.
    void readHeaders();
    // Called on a "-" at the start of a line of a body: whether the boundary follows. On a
    // mismatch the bytes read go into the buffer as data.
    unsigned char readBoundary(Buffer* buffer);

    const char* getMimeVersion() const { return mimeVersion; }
    // "--" and the boundary parameter of the message's Content-Type.
    const char* getBoundary() const { return boundary; }
    const char* getSlot(int slot) const;

private:
    void closeFile();
    void clearState();
    void takeMessageHeaders();
    void setBoundary(const char* value);
    // The next byte of the file, or -1 at its end (or on a read error).
    int nextByte();

    char lines[kSlots][kSlotSize];
    char mimeVersion[kVersionSize];
    char boundary[kBoundarySize];
    unsigned int boundaryLength;
    int fd;
    unsigned char readPEM;
    // Bytes read ahead from the file: the reader works a byte at a time.
    unsigned char cache[4096];
    unsigned int cacheFill;
    unsigned int cachePos;
    unsigned long long fileSize;
    // Write position of the buffer where the part being read began.
    unsigned int partStart;
};

#endif
