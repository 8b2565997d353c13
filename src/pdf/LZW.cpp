#include "pdf/LZW.h"

namespace {

constexpr int kClear = 256;
constexpr int kEnd = 257;
constexpr int kFirstCode = 258;
// Codes are at most 12 bits wide: the table never grows past this.
constexpr int kMaxCodes = 4096;

}  // namespace

LZW::LZW() : dictionary(new Entry[kTableSize]), stack(new unsigned char[kMaxCodes + 1]) {
    resetDictionary();
}

LZW::~LZW() {
    delete[] dictionary;
    delete[] stack;
}

void LZW::resetDictionary() {
    for (int i = 0; i < kTableSize; ++i) {
        dictionary[i].code = -1;
        dictionary[i].parent = -1;
        dictionary[i].byte = 0;
    }
    nextCode = kFirstCode;
    codeBits = 9;
    nextBump = earlyChange ? 510 : 511;
}

int LZW::findChildNode(int parent, int byte) {
    int index = (byte << 4) ^ parent;
    if (index < 0 || index >= kTableSize) {
        error = "findChildNode::Bad index";
        return -1;
    }
    int offset = index == 0 ? 1 : kTableSize - index;
    // The table is larger than the number of codes, so a free slot is always met.
    for (int probes = 0; probes < kTableSize; ++probes) {
        if (dictionary[index].code == -1) return index;
        if (dictionary[index].parent == parent && dictionary[index].byte == byte) return index;
        index -= offset;
        if (index < 0) index += kTableSize;
    }
    error = "findChildNode::Bad index";
    return -1;
}

bool LZW::decodeString(int code) {
    // Every entry's parent is a smaller code, so the chain ends in at most kMaxCodes steps; the
    // bound on the stack keeps a damaged table from running further.
    while (code >= kFirstCode) {
        if (code >= kTableSize || dictionary[code].code == -1 || stackSize >= kMaxCodes) {
            error = "decodeString::Bad Code";
            return false;
        }
        stack[stackSize++] = dictionary[code].byte;
        code = dictionary[code].parent;
    }
    if (code < 0 || code > 255 || stackSize >= kMaxCodes + 1) {
        error = "decodeString::Bad Code";
        return false;
    }
    stack[stackSize++] = static_cast<unsigned char>(code);
    return true;
}

unsigned long LZW::readCode() {
    return inputBits(codeBits);
}

int LZW::inflate() {
    error = nullptr;
    for (;;) {
        resetDictionary();
        unsigned long code = readCode();
        // Data that ends without the end code is taken as ending there.
        while (code == kClear && !inputExhausted) code = readCode();
        if (inputExhausted || code == kEnd) break;
        if (code > 255) {
            error = "decodeString::Bad Code";
            return 1;
        }
        int previous = static_cast<int>(code);
        unsigned char firstByte = static_cast<unsigned char>(code);
        putOut(firstByte);
        bool clear = false;
        for (;;) {
            code = readCode();
            if (inputExhausted) break;
            if (code == kEnd) {
                closeInput();
                closeOutput();
                return outputOverflow() ? 1 : 0;
            }
            if (code == kClear) {
                clear = true;
                break;
            }
            stackSize = 0;
            if (static_cast<int>(code) >= nextCode) {
                // The code being defined by this very step: the previous string and its own
                // first byte.
                stack[stackSize++] = firstByte;
                if (!decodeString(previous)) return 1;
            } else if (!decodeString(static_cast<int>(code))) {
                return 1;
            }
            firstByte = stack[stackSize - 1];
            while (stackSize > 0) putOut(stack[--stackSize]);
            if (outputOverflow()) return 1;
            if (nextCode < kMaxCodes) {
                dictionary[nextCode].code = nextCode;
                dictionary[nextCode].parent = previous;
                dictionary[nextCode].byte = firstByte;
                ++nextCode;
            }
            if (codeBits <= 11 && nextCode == nextBump) {
                ++codeBits;
                nextBump = 2 * nextCode + 1;
            }
            previous = static_cast<int>(code);
        }
        if (!clear) break;
    }
    closeInput();
    closeOutput();
    return outputOverflow() ? 1 : 0;
}

int LZW::deflate() {
    error = nullptr;
    resetDictionary();
    outputBits(kClear, codeBits);
    int current = getIn();
    if (current >= 0) {
        int c;
        while ((c = getIn()) >= 0) {
            int index = findChildNode(current, c);
            if (index < 0) return 1;
            if (dictionary[index].code != -1) {
                current = dictionary[index].code;
                continue;
            }
            dictionary[index].code = nextCode++;
            dictionary[index].parent = current;
            dictionary[index].byte = static_cast<unsigned char>(c);
            outputBits(static_cast<unsigned long>(current), codeBits);
            current = c;
            if (nextCode >= kMaxCodes) {
                outputBits(kClear, codeBits);
                resetDictionary();
            } else if (nextCode > nextBump) {
                ++codeBits;
                nextBump = earlyChange ? nextBump * 2 : (nextBump * 2) | 1;
            }
        }
        outputBits(static_cast<unsigned long>(current), codeBits);
    }
    outputBits(kEnd, codeBits);
    closeInput();
    closeOutput();
    return outputOverflow() ? 1 : 0;
}
