#include "pdf/Compressor.h"

Compressor::Compressor() = default;
Compressor::~Compressor() = default;

void Compressor::setInput(FILE* f) {
    inFile = f;
    inData = nullptr;
    inLength = inPos = 0;
    inMask = 128;
    inputExhausted = false;
}

void Compressor::setInput(const unsigned char* p, unsigned long n) {
    inFile = nullptr;
    inData = p;
    inLength = n;
    inPos = 0;
    inMask = 128;
    inputExhausted = false;
}

void Compressor::setOutput(FILE* f) {
    outFile = f;
    outData = nullptr;
    outCapacity = outPos = 0;
    outMask = 128;
    outRack = 0;
    overflow = false;
}

void Compressor::setOutput(unsigned char* p, unsigned long capacity) {
    outFile = nullptr;
    outData = p;
    outCapacity = capacity;
    outPos = 0;
    outMask = 128;
    outRack = 0;
    overflow = false;
}

int Compressor::uncompress(unsigned char* output, unsigned long* outLength,
                           const unsigned char* input, unsigned long length) {
    setInput(input, length);
    setOutput(output, *outLength);
    int result = inflate();
    *outLength = outPos;
    if (overflow && result == 0) result = 1;
    return result;
}

int Compressor::compress(unsigned char* output, unsigned long* outLength,
                         const unsigned char* input, unsigned long length) {
    setInput(input, length);
    setOutput(output, *outLength);
    int result = deflate();
    *outLength = outPos;
    if (overflow && result == 0) result = 1;
    return result;
}

void Compressor::closeInput() {
    inData = nullptr;
    inLength = inPos = 0;
    inFile = nullptr;
}

void Compressor::closeOutput() {
    if (outMask != 128) putOut(static_cast<unsigned char>(outRack));
    outMask = 128;
    outRack = 0;
    if (outFile) std::fflush(outFile);
}

void Compressor::putOut(unsigned char c) {
    if (outFile) {
        std::fputc(c, outFile);
        return;
    }
    if (outPos >= outCapacity) {
        overflow = true;
        return;
    }
    outData[outPos++] = c;
}

void Compressor::outputBit(int bit) {
    if (bit) outRack |= outMask;
    outMask >>= 1;
    if (outMask == 0) {
        putOut(static_cast<unsigned char>(outRack));
        outRack = 0;
        outMask = 128;
    }
}

void Compressor::outputBits(unsigned long code, int count) {
    for (unsigned long mask = 1UL << (count - 1); mask != 0; mask >>= 1)
        outputBit((code & mask) ? 1 : 0);
}

int Compressor::nextInputByte() {
    if (inFile) return std::fgetc(inFile);
    if (!inData || inPos >= inLength) return -1;
    return inData[inPos++];
}

int Compressor::getIn() {
    inMask = 128;
    return nextInputByte();
}

bool Compressor::endOfInput() {
    if (inMask != 128) return false;
    if (inFile) {
        int c = std::fgetc(inFile);
        if (c == EOF) return true;
        std::ungetc(c, inFile);
        return false;
    }
    return !inData || inPos >= inLength;
}

int Compressor::peekBit() {
    if (inMask == 128) {
        int c = nextInputByte();
        if (c < 0) return -1;
        inRack = c;
    }
    int bit = (inRack & inMask) ? 1 : 0;
    inMask >>= 1;
    if (inMask == 0) inMask = 128;
    return bit;
}

unsigned long Compressor::inputBits(int count) {
    unsigned long value = 0;
    for (int i = 0; i < count; ++i) {
        int bit = peekBit();
        if (bit < 0) {
            inputExhausted = true;
            return value;
        }
        value = (value << 1) | static_cast<unsigned long>(bit);
    }
    return value;
}
