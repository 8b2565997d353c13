// The stream filters of cross-reference streams and object streams: Flate through zlib, LZW
// through the project's coder, and the PNG and TIFF predictors undone row by row.
#include <zlib.h>

#include <cstring>
#include <vector>

#include "pdf/LZW.h"
#include "pdf/PDFFile.h"

namespace {

// Bounds on the predictor parameters: the history of the Paeth and sub filters holds at most
// 64 bytes of one pixel (32 colours of 16 bits), and a row is capped so its size cannot wrap.
constexpr unsigned int kMaxColors = 32;
constexpr unsigned long long kMaxRowBytes = 1ull << 24;

unsigned char paeth(int left, int up, int upLeft) {
    int p = left + up - upLeft;
    int pa = p > left ? p - left : left - p;
    int pb = p > up ? p - up : up - p;
    int pc = p > upLeft ? p - upLeft : upLeft - p;
    if (!(pa > pb || pa > pc)) return static_cast<unsigned char>(left);
    if (pb > pc) return static_cast<unsigned char>(upLeft);
    return static_cast<unsigned char>(up);
}

unsigned int getSample(const unsigned char* row, unsigned long long index, unsigned int bits) {
    if (bits == 16) return (row[2 * index] << 8) | row[2 * index + 1];
    if (bits == 8) return row[index];
    unsigned long long bit = index * bits;
    unsigned int shift = 8 - bits - static_cast<unsigned int>(bit % 8);
    return (row[bit / 8] >> shift) & ((1u << bits) - 1);
}

void setSample(unsigned char* row, unsigned long long index, unsigned int bits,
               unsigned int value) {
    if (bits == 16) {
        row[2 * index] = static_cast<unsigned char>(value >> 8);
        row[2 * index + 1] = static_cast<unsigned char>(value);
        return;
    }
    if (bits == 8) {
        row[index] = static_cast<unsigned char>(value);
        return;
    }
    unsigned long long bit = index * bits;
    unsigned int shift = 8 - bits - static_cast<unsigned int>(bit % 8);
    unsigned int mask = ((1u << bits) - 1) << shift;
    row[bit / 8] = static_cast<unsigned char>((row[bit / 8] & ~mask) | ((value << shift) & mask));
}

}  // namespace

void PDFFile::resetDecodeParms() {
    earlyChange = 1;
    columns = 1;
    colors = 1;
    bitsPerComponent = 8;
    predictor = 1;
}

void PDFFile::setDecodeParms(unsigned int predictorValue, unsigned int colorsValue,
                             unsigned int bitsValue, unsigned int columnsValue) {
    predictor = predictorValue;
    colors = colorsValue;
    bitsPerComponent = bitsValue;
    columns = columnsValue;
}

unsigned char* PDFFile::flateDecode(const unsigned char* input, unsigned int inputLength,
                                    unsigned int* outLength) {
    *outLength = 0;
    // The block starts at three times the input and grows once, to fifteen times: data that
    // expands further is refused, and so is anything past the reader's absolute bound.
    unsigned long long capacity = 3ull * inputLength;
    if (capacity > kMaxPDFDecodedSize) capacity = kMaxPDFDecodedSize;
    unsigned char* block = nullptr;
    int result = Z_BUF_ERROR;
    for (int attempt = 0; attempt < 2 && result == Z_BUF_ERROR; ++attempt) {
        if (attempt == 1) {
            if (capacity >= kMaxPDFDecodedSize) break;
            capacity *= 5;
            if (capacity > kMaxPDFDecodedSize) capacity = kMaxPDFDecodedSize;
        }
        delete[] block;
        block = new unsigned char[capacity + 1];
        uLongf produced = static_cast<uLongf>(capacity);
        result = ::uncompress(block, &produced, input, inputLength);
        if (result == Z_OK) *outLength = static_cast<unsigned int>(produced);
    }
    if (result != Z_OK) {
        delete[] block;
        *outLength = 0;
        return nullptr;
    }
    if (predictor == 1) return block;
    return applyPredictor(block, outLength);
}

unsigned char* PDFFile::lzwDecode(const unsigned char* input, unsigned int inputLength,
                                  unsigned int* outLength) {
    *outLength = 0;
    unsigned long long capacity = 3ull * inputLength;
    if (capacity > kMaxPDFDecodedSize) capacity = kMaxPDFDecodedSize;
    unsigned char* block = new unsigned char[capacity + 1];
    unsigned long produced = static_cast<unsigned long>(capacity);
    // The coder decodes with its own early-change rule, the one PDF writers use by default.
    LZW coder;
    if (coder.uncompress(block, &produced, input, inputLength) != 0) {
        delete[] block;
        return nullptr;
    }
    *outLength = static_cast<unsigned int>(produced);
    if (predictor == 1) return block;
    return applyPredictor(block, outLength);
}

bool PDFFile::prepareRows() {
    if (colors == 0 || colors > kMaxColors || columns == 0) return false;
    if (bitsPerComponent != 1 && bitsPerComponent != 2 && bitsPerComponent != 4 &&
        bitsPerComponent != 8 && bitsPerComponent != 16)
        return false;
    unsigned long long bytes =
        (static_cast<unsigned long long>(bitsPerComponent) * colors * columns + 7) >> 3;
    if (bytes > kMaxRowBytes) return false;
    pixelBytes = (colors * bitsPerComponent + 7) >> 3;
    rowBytes = static_cast<unsigned int>(bytes);
    rowLength = pixelBytes + rowBytes;
    delete[] predictorRow;
    // The row being decoded, then a copy of the row above it.
    predictorRow = new unsigned char[2 * rowLength]();
    return true;
}

unsigned char* PDFFile::getNextLine(const unsigned char* input) {
    unsigned char* row = predictorRow;
    unsigned char* above = predictorRow + rowLength;
    std::memcpy(above, row, rowLength);
    // Above 9 the row's own first byte chooses the PNG filter, whatever /Predictor said.
    unsigned int mode = predictor > 9 ? input[0] + 10u : predictor;
    for (unsigned int i = pixelBytes; i < rowLength; ++i) {
        unsigned char in = input[i];
        unsigned char left = row[i - pixelBytes];
        unsigned char up = above[i];
        unsigned char upLeft = above[i - pixelBytes];
        switch (mode) {
            case 11:
                row[i] = static_cast<unsigned char>(in + left);
                break;
            case 12:
                row[i] = static_cast<unsigned char>(in + up);
                break;
            case 13:
                row[i] = static_cast<unsigned char>(in + ((left + up) >> 1));
                break;
            case 14:
                row[i] = static_cast<unsigned char>(in + paeth(left, up, upLeft));
                break;
            default:
                row[i] = in;
        }
    }
    if (predictor == 2) {
        // TIFF: each sample is the difference from the same component one pixel earlier.
        unsigned char* samples = row + pixelBytes;
        unsigned long long count = static_cast<unsigned long long>(colors) * columns;
        unsigned int modulus_mask = bitsPerComponent == 16 ? 0xFFFF : (1u << bitsPerComponent) - 1;
        for (unsigned long long s = colors; s < count; ++s) {
            unsigned int value = getSample(samples, s, bitsPerComponent) +
                                 getSample(samples, s - colors, bitsPerComponent);
            setSample(samples, s, bitsPerComponent, value & modulus_mask);
        }
    }
    return row + pixelBytes;
}

unsigned char* PDFFile::applyPredictor(unsigned char* block, unsigned int* outLength) {
    unsigned int decoded = *outLength;
    *outLength = 0;
    if (!prepareRows()) {
        delete[] block;
        return nullptr;
    }
    std::vector<unsigned char> partial;
    unsigned long long read = 0, write = 0;
    while (read < decoded) {
        const unsigned char* input = block + read;
        bool last = decoded - read <= rowLength;
        if (decoded - read < rowLength) {
            // A short last row is read as if padded with zeros.
            partial.assign(rowLength, 0);
            std::memcpy(partial.data(), input, decoded - read);
            input = partial.data();
        }
        unsigned char* row = getNextLine(input);
        // The last row is dropped from the result, so it need not be stored.
        if (!last) std::memcpy(block + write, row, rowBytes);
        read += rowLength;
        write += rowBytes;
    }
    delete[] predictorRow;
    predictorRow = nullptr;
    *outLength = write >= rowBytes ? static_cast<unsigned int>(write - rowBytes) : 0;
    return block;
}
