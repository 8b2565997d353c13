// Cross-reference streams (PDF 1.5) and the object streams their type-2 rows point into.
#include <cstdio>
#include <cstring>
#include <vector>

#include "pdf/PDFFile.h"
#include "pdf/PDFText.h"

using PDFText::matchesBytes;
using PDFText::matchesKey;
using PDFText::skipBlanks;

namespace {

// Pairs of /Index the reader takes; a cross-reference stream has one per subsection.
constexpr unsigned int kMaxIndexPairs = 1u << 20;
// Longest filter name kept; a longer one is no filter the reader knows.
constexpr unsigned int kMaxFilterName = 31;

// Reads a big-endian field of width bytes at p; the value keeps its low 32 bits.
unsigned int readField(const unsigned char* p, unsigned int width) {
    unsigned int value = 0;
    for (unsigned int i = 0; i < width; ++i) value = (value << 8) | p[i];
    return value;
}

}  // namespace

struct PDFFile::StreamHeader {
    unsigned int length = 0;
    bool hasFilter = false;
    char filter[kMaxFilterName + 1] = {0};
    unsigned int decodedLength = 0;
    unsigned int size = 0;
    unsigned int prev = 0;
    unsigned int count = 0;
    unsigned int first = 0;
    std::vector<unsigned int> index;
};

// Walks the dictionary of a stream from pos to its "stream" keyword, testing at each byte the
// keys of a cross-reference stream or of an object stream. Returns 0 on a malformed value, 1
// when the object ends ("endobj") before any stream, and 2 with pos on the stream's first byte.
unsigned char PDFFile::readStreamHeader(const unsigned char* p, unsigned int end, unsigned int* pos,
                                        bool crossReference, StreamHeader* header) {
    unsigned int i = *pos;
    for (;;) {
        if (i >= end) return 0;
        if (!spend(1)) return 0;
        unsigned int v;
        if (matchesKey(p, end, i, "endobj")) {
            return 1;
        } else if (matchesKey(p, end, i, "/Length")) {
            i += 7;
            PDFText::readUnsigned(p, end, &i, &header->length);
        } else if (matchesKey(p, end, i, "/Filter")) {
            // One name only: an array of filters is refused.
            v = skipBlanks(p, end, i + 7);
            if (v >= end || p[v] != '/') return 0;
            unsigned int e = v + 1;
            while (e < end && p[e] != '/' && !PDFText::isBlank(p[e]) && p[e] != '>') ++e;
            unsigned int n = e - v - 1;
            if (n > kMaxFilterName) n = kMaxFilterName;
            std::memcpy(header->filter, p + v + 1, n);
            header->filter[n] = 0;
            header->hasFilter = true;
            i = e;
        } else if (matchesKey(p, end, i, "/DecodeParms")) {
            v = skipBlanks(p, end, i + 12);
            i = v;
            if (!matchesBytes(p, end, v, "<<")) continue;
            for (i = v + 2; i < end && !matchesBytes(p, end, i, ">>"); ++i) {
                if (!spend(1)) return 0;
                if (p[i] != '/') continue;
                unsigned int q = i;
                if (matchesKey(p, end, i, "/Predictor")) {
                    q += 10;
                    PDFText::readUnsigned(p, end, &q, &predictor);
                } else if (matchesKey(p, end, i, "/Colors")) {
                    q += 7;
                    PDFText::readUnsigned(p, end, &q, &colors);
                } else if (matchesKey(p, end, i, "/BitsPerComponent")) {
                    q += 17;
                    PDFText::readUnsigned(p, end, &q, &bitsPerComponent);
                } else if (matchesKey(p, end, i, "/Columns")) {
                    q += 8;
                    PDFText::readUnsigned(p, end, &q, &columns);
                } else if (crossReference && matchesKey(p, end, i, "/EarlyChange")) {
                    q += 12;
                    PDFText::readUnsigned(p, end, &q, &earlyChange);
                }
            }
        } else if (matchesKey(p, end, i, "/DL")) {
            i += 3;
            PDFText::readUnsigned(p, end, &i, &header->decodedLength);
        } else if (matchesKey(p, end, i, "/Type")) {
            v = skipBlanks(p, end, i + 5);
            if (!matchesKey(p, end, v, crossReference ? "/XRef" : "/ObjStm")) return 0;
            i = v + 1;
        } else if (crossReference && matchesKey(p, end, i, "/Size")) {
            i += 5;
            PDFText::readUnsigned(p, end, &i, &header->size);
        } else if (crossReference && matchesKey(p, end, i, "/Index")) {
            v = skipBlanks(p, end, i + 6);
            if (v >= end || p[v] != '[') return 0;
            unsigned int q = v + 1, value = 0;
            std::vector<unsigned int> numbers;
            while (PDFText::readUnsigned(p, end, &q, &value)) {
                if (!spend(1) || numbers.size() >= 2 * kMaxIndexPairs) return 0;
                numbers.push_back(value);
            }
            numbers.resize(numbers.size() / 2 * 2);
            header->index = numbers;
            i = q;
        } else if (crossReference && matchesKey(p, end, i, "/Prev")) {
            i += 5;
            PDFText::readUnsigned(p, end, &i, &header->prev);
        } else if (crossReference && matchesKey(p, end, i, "/W")) {
            v = skipBlanks(p, end, i + 2);
            if (v >= end || p[v] != '[') return 0;
            ++v;
            PDFText::readUnsigned(p, end, &v, &w0) && PDFText::readUnsigned(p, end, &v, &w1) &&
                PDFText::readUnsigned(p, end, &v, &w2);
            i = v;
        } else if (!crossReference && matchesKey(p, end, i, "/N")) {
            i += 2;
            PDFText::readUnsigned(p, end, &i, &header->count);
        } else if (!crossReference && matchesKey(p, end, i, "/First")) {
            i += 6;
            PDFText::readUnsigned(p, end, &i, &header->first);
        } else if (matchesKey(p, end, i, "stream")) {
            i += 7;
            while (i < end && (p[i] == '\r' || p[i] == '\n')) ++i;
            *pos = i;
            return 2;
        } else {
            ++i;
        }
    }
}

unsigned char* PDFFile::decodeStream(unsigned int pos, const StreamHeader& header,
                                     unsigned int* outLength, bool* unknownFilter) {
    *outLength = 0;
    *unknownFilter = false;
    if (pos > length) return nullptr;
    // A /Length that runs past the file is cut at its end: the decoders stop at the end of
    // their own data, and nothing past the file is ever read.
    unsigned int n = header.length;
    if (n > length - pos) n = length - pos;
    // Decoding is work too: a table whose rows switch between large object streams would
    // otherwise decode them again and again.
    if (!spend(n)) return nullptr;
    if (!header.hasFilter) {
        unsigned char* copy = new unsigned char[n + 1];
        if (n) std::memcpy(copy, data + pos, n);
        *outLength = n;
        return copy;
    }
    unsigned char* block = nullptr;
    if (std::strcmp(header.filter, "FlateDecode") == 0) {
        block = flateDecode(data + pos, n, outLength);
    } else if (std::strcmp(header.filter, "LZWDecode") == 0) {
        block = lzwDecode(data + pos, n, outLength);
    } else {
        *unknownFilter = true;
        return nullptr;
    }
    if (!spend(*outLength)) {
        delete[] block;
        *outLength = 0;
        return nullptr;
    }
    return block;
}

unsigned char PDFFile::readCrossReferenceStream() {
    // Streams already read: a /Prev that leads back to one of them is a loop.
    visitedStreams.clear();
    for (;;) {
        if (position >= length || !visitedStreams.insert(position).second) return 0;
        if (visitedStreams.size() > kMaxPDFRevisions) return 0;
        w0 = w1 = w2 = 0;
        resetDecodeParms();
        delete[] indexTable;
        indexTable = nullptr;
        indexPairs = 0;
        // A cached object stream belongs to the revision whose table named it.
        delete[] objectStreamData;
        objectStreamData = nullptr;
        objectStreamLength = 0;
        cachedStream = 0xFFFFFFFF;

        // The object's header is stepped over whole: "N G obj" is at least this long.
        unsigned int pos = position + 4 < length ? position + 4 : length;
        StreamHeader header;
        unsigned char walk = readStreamHeader(data, length, &pos, true, &header);
        if (walk == 0) return 0;
        if (walk == 1) return 255;
        if (!header.index.empty()) {
            indexPairs = static_cast<unsigned int>(header.index.size() / 2);
            indexTable = new unsigned int[2 * indexPairs + 2];
            std::memcpy(indexTable, header.index.data(),
                        header.index.size() * sizeof(unsigned int));
            indexTable[2 * indexPairs] = indexTable[2 * indexPairs + 1] = 0xFFFFFFFF;
        }
        unsigned int decoded = 0;
        bool unknownFilter = false;
        unsigned char* table = decodeStream(pos, header, &decoded, &unknownFilter);
        if (unknownFilter) return 0;
        unsigned char result = scanCrossReferenceStreamData(table, decoded);
        delete[] table;
        tableLength = 0;
        if (!result || limitReached) return 0;
        if (header.prev == 0) return 255;
        position = header.prev;
        ++revision;
    }
}

unsigned char PDFFile::scanCrossReferenceStreamData(unsigned char* table, unsigned int tableSize) {
    unsigned long long row = static_cast<unsigned long long>(w0) + w1 + w2;
    if (row == 0) return 0;
    if (!table) return 255;
    tableLength = tableSize;
    unsigned long long rows = tableSize / row;
    for (unsigned long long r = 0; r < rows; ++r) {
        if (!spend(1)) return 0;
        const unsigned char* entry = table + r * row;
        unsigned int type = w0 == 0 ? 1 : readField(entry, w0);
        unsigned int field2 = readField(entry + w0, w1);
        unsigned int field3 = readField(entry + w0 + w1, w2);
        if (type == 1) {
            if (!readSignatureField(field2)) readSignatureDict(field2);
        } else if (type == 2) {
            readStreamSignatures(table, field2, field3);
        }
        if (limitReached) return 0;
    }
    return 255;
}

unsigned char PDFFile::readStreamSignatures(unsigned char* table, unsigned int stream,
                                            unsigned int index) {
    if (stream != cachedStream) {
        delete[] objectStreamData;
        objectStreamData = nullptr;
        objectStreamLength = 0;
        readObjectStream(table, stream);
    }
    if (!objectStreamData) return 0;
    // The header of pairs (object number, offset) ends where the first object begins.
    unsigned int headerEnd = firstOffset < objectStreamLength ? firstOffset : objectStreamLength;
    unsigned int pos = 0, object = 0, offset = 0, nextObject = 0, nextOffset = 0;
    for (unsigned int k = 0; k < index; ++k) {
        if (!spend(1)) return 0;
        if (!PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &object) ||
            !PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &offset))
            return 0;
    }
    // The next pair gives where this object ends, so the last object has none and is passed.
    if (!PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &object) ||
        !PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &offset) ||
        !PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &nextObject) ||
        !PDFText::readUnsigned(objectStreamData, headerEnd, &pos, &nextOffset))
        return 0;
    unsigned long long start = static_cast<unsigned long long>(firstOffset) + offset;
    unsigned long long end = static_cast<unsigned long long>(firstOffset) + nextOffset;
    if (end > objectStreamLength) end = objectStreamLength;
    if (start >= end) return 0;
    if (!readSignatureField(static_cast<unsigned int>(start), static_cast<unsigned int>(end),
                            object, 0))
        readSignatureDict(static_cast<unsigned int>(start), static_cast<unsigned int>(end), object,
                          0);
    return 255;
}

unsigned char PDFFile::readObjectStream(unsigned char* table, unsigned int stream) {
    // Whatever happens below, the stream is not decoded again for the next row naming it.
    cachedStream = stream;
    if (!indexTable) return 0;
    unsigned long long row = 0;
    bool found = false;
    for (unsigned int k = 0;; ++k) {
        unsigned int first = indexTable[2 * k], count = indexTable[2 * k + 1];
        if (first == 0xFFFFFFFF && count == 0xFFFFFFFF) return 0;
        if (first > stream) return 0;
        if (stream - first < count) {
            row += stream - first;
            found = true;
            break;
        }
        row += count;
    }
    if (!found) return 0;
    unsigned long long rowSize = static_cast<unsigned long long>(w0) + w1 + w2;
    if (rowSize == 0 || (row + 1) * rowSize > tableLength) return 0;
    const unsigned char* entry = table + row * rowSize;
    unsigned int type = w0 == 0 ? 1 : readField(entry, w0);
    if (type != 1) return 0;
    unsigned int offset = readField(entry + w0, w1);
    resetDecodeParms();
    if (offset >= length) return 0;

    unsigned int pos = offset, number = 0, generation = 0;
    if (!PDFText::readUnsigned(data, length, &pos, &number) ||
        !PDFText::readUnsigned(data, length, &pos, &generation))
        return 0;
    if (number != stream) {
        // On standard error: the report may be going to standard output, and a document must
        // not be able to put a line of its own in front of it.
        std::fprintf(stderr, "\n object number mismatch %d != %d\n", static_cast<int>(stream),
                     static_cast<int>(number));
        return 0;
    }
    StreamHeader header;
    if (readStreamHeader(data, length, &pos, false, &header) != 2) return 0;
    unsigned int decoded = 0;
    bool unknownFilter = false;
    unsigned char* block = decodeStream(pos, header, &decoded, &unknownFilter);
    resetDecodeParms();
    if (!block) return 0;
    objectStreamData = block;
    objectStreamLength = decoded;
    firstOffset = header.first;
    return 255;
}
