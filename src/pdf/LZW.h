// LZW: the Lempel-Ziv-Welch coder of PDF's LZWDecode filter, codes of 9 to 12 bits, most
// significant bit first, 256 to clear the table and 257 to end the data.
#ifndef SIGILO_PDF_LZW_H
#define SIGILO_PDF_LZW_H

#include "pdf/Compressor.h"

class LZW : public Compressor {
public:
    // Slots of the dictionary: a prime above 4096, so that the encoder's open hashing always
    // finds a free slot.
    static constexpr int kTableSize = 5021;

    LZW();
    ~LZW() override;

    int deflate() override;
    int inflate() override;

    // With the flag set, the width grows one code earlier than without.
    void setEarlyChange(bool flag) { earlyChange = flag; }
    // The reason of the last failure, or null.
    const char* lastError() const { return error; }

private:
    struct Entry {
        int code;
        int parent;
        unsigned char byte;
    };

    void resetDictionary();
    // Slot of the child of parent by byte, or of the free slot where it belongs; -1 (with
    // the error set) when the start index is out of the table.
    int findChildNode(int parent, int byte);
    // Pushes the bytes of code onto the stack, last byte first; false on a code that names no
    // entry.
    bool decodeString(int code);
    unsigned long readCode();

    Entry* dictionary;
    unsigned char* stack;
    unsigned int stackSize = 0;
    int nextCode = 258;
    int codeBits = 9;
    int nextBump = 511;
    bool earlyChange = false;
    const char* error = nullptr;
};

#endif
