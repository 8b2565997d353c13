// Compressor: a coder over a byte source and a byte sink, each a memory block or a FILE*, with
// bit-level access on both sides (most significant bit first). The coders derive from it and
// implement deflate (encode) and inflate (decode).
#ifndef SIGILO_PDF_COMPRESSOR_H
#define SIGILO_PDF_COMPRESSOR_H

#include <cstdio>

class Compressor {
public:
    Compressor();
    virtual ~Compressor();

    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    // 0 on success; non-zero when the input is not valid for the coder or the output does not
    // fit.
    virtual int deflate() = 0;
    virtual int inflate() = 0;

    // Decodes length bytes of input into output, whose capacity *outLength gives on entry; on
    // return *outLength holds the bytes written. Returns 0 on success.
    int uncompress(unsigned char* output, unsigned long* outLength, const unsigned char* input,
                   unsigned long length);
    // The same for encoding.
    int compress(unsigned char* output, unsigned long* outLength, const unsigned char* input,
                 unsigned long length);

    void setInput(FILE* f);
    void setInput(const unsigned char* p, unsigned long n);
    void setOutput(FILE* f);
    void setOutput(unsigned char* p, unsigned long capacity);
    // Bytes written to a memory output so far.
    unsigned long outputLength() const { return outPos; }
    // True once a write did not fit the memory output.
    bool outputOverflow() const { return overflow; }

protected:
    void closeInput();
    // Writes a partly filled last byte.
    void closeOutput();
    void putOut(unsigned char c);
    void outputBit(int bit);
    void outputBits(unsigned long code, int count);
    // The next whole byte, or -1 at the end of input.
    int getIn();
    bool endOfInput();
    // The next bit, -1 at the end of input.
    int peekBit();
    // count bits as a number; sets inputExhausted when the input ends before them.
    unsigned long inputBits(int count);
    bool inputExhausted = false;

private:
    int nextInputByte();

    FILE* inFile = nullptr;
    const unsigned char* inData = nullptr;
    unsigned long inLength = 0, inPos = 0;
    FILE* outFile = nullptr;
    unsigned char* outData = nullptr;
    unsigned long outCapacity = 0, outPos = 0;
    bool overflow = false;

    unsigned char inMask = 128;
    int inRack = 0;
    unsigned char outMask = 128;
    int outRack = 0;
};

#endif
