// The reader's life cycle, the walk of classic cross-reference tables and the keyword tests the
// walks move by.
#include "pdf/PDFFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "asn1/Buffer.h"
#include "pdf/PDFText.h"

using PDFText::isBlank;
using PDFText::isLetter;
using PDFText::matchesBytes;
using PDFText::matchesKey;

namespace {

// The work budget of one read: the walks may step over the file this many times, plus a fixed
// allowance for small files. A genuine file needs a few passes; a hostile one that points
// thousands of entries at the same long object would otherwise take hours.
constexpr unsigned long long kWorkPerByte = 16;
constexpr unsigned long long kWorkFixed = 64ull << 20;
// "startxref" must lie in this many bytes at the end of the file.
constexpr unsigned int kTrailerWindow = 64;

bool isLineEnd(unsigned char c) {
    return c == '\r' || c == '\n';
}

}  // namespace

PDFFile::PDFFile(Buffer* b)
    : data(nullptr),
      objectStreamData(nullptr),
      objectStreamLength(0),
      predictorRow(nullptr),
      buffer(b),
      fields(),
      indexTable(nullptr),
      indexPairs(0),
      position(0),
      length(0),
      revision(0),
      fieldCount(0),
      signatureCount(0),
      currentSignature(0),
      earlyChange(1),
      columns(1),
      colors(1),
      bitsPerComponent(8),
      predictor(1),
      pixelBytes(1),
      rowLength(2),
      rowBytes(1),
      w0(0),
      w1(0),
      w2(0),
      cachedStream(0xFFFFFFFF),
      firstOffset(0),
      tableLength(0),
      workLeft(0),
      limitReached(false) {}

PDFFile::~PDFFile() {
    delete[] data;
    delete[] objectStreamData;
    delete[] predictorRow;
    delete[] indexTable;
}

unsigned char PDFFile::fromFile(const char* name) {
    int fd = ::open(name, O_RDONLY);
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0 ||
        static_cast<unsigned long long>(st.st_size) > kMaxPDFFileSize) {
        if (fd >= 0) ::close(fd);
        return 0;
    }
    unsigned int size = static_cast<unsigned int>(st.st_size);
    delete[] data;
    data = new unsigned char[size + 1];
    // Read in large pieces: a signed PDF may run to hundreds of megabytes.
    constexpr unsigned int kReadPiece = 1u << 20;
    unsigned int got = 0;
    while (got < size) {
        unsigned int piece = size - got;
        if (piece > kReadPiece) piece = kReadPiece;
        ssize_t n = ::read(fd, data + got, piece);
        if (n <= 0) break;
        got += static_cast<unsigned int>(n);
    }
    ::close(fd);
    // A file that shrank while it was read is taken as far as it was read.
    length = got;
    data[length] = 0;
    return scanXRefs();
}

unsigned char PDFFile::fromBuffer(Buffer* b) {
    if (!b) return 0;
    unsigned int size = b->getWritePos();
    if (size > kMaxPDFFileSize) return 0;
    delete[] data;
    data = new unsigned char[size + 1];
    if (size) std::memcpy(data, b->_getData(), size);
    length = size;
    data[length] = 0;
    return scanXRefs();
}

bool PDFFile::spend(unsigned long long n) {
    if (workLeft < n) {
        workLeft = 0;
        limitReached = true;
        return false;
    }
    workLeft -= n;
    return true;
}

// ---- Keyword tests ----

unsigned char PDFFile::findSection(const char* word) {
    unsigned int n = static_cast<unsigned int>(std::strlen(word));
    for (unsigned int i = position; i < length && length - i >= n; ++i) {
        if (!spend(1)) return 0;
        if (data[i] != static_cast<unsigned char>(word[0]) || std::memcmp(data + i, word, n) != 0)
            continue;
        // A match inside a longer word ("startxref" for "xref") ends the search there.
        if (i > 0 && isLetter(data[i - 1])) return 0;
        if (i + n < length && isLetter(data[i + n])) continue;
        unsigned int p = i + n;
        while (p < length && !isBlank(data[p])) ++p;
        while (p < length && isLineEnd(data[p])) ++p;
        position = p;
        return 255;
    }
    return 0;
}

unsigned char PDFFile::isSection(const char* word) {
    if (!matchesKey(data, length, position, word)) return 0;
    unsigned int p = position;
    while (p < length && !isLineEnd(data[p])) ++p;
    while (p < length && isLineEnd(data[p])) ++p;
    position = p;
    return 255;
}

unsigned char PDFFile::findDictionaryValue(const char* key) {
    if (!matchesBytes(data, length, position, "<<")) return 0;
    unsigned int n = static_cast<unsigned int>(std::strlen(key));
    for (unsigned int i = position + 2; i < length; ++i) {
        if (!spend(1)) return 0;
        if (matchesBytes(data, length, i, ">>")) return 0;
        if (data[i] != '/' || length - (i + 1) < n || std::memcmp(data + i + 1, key, n) != 0)
            continue;
        unsigned int after = i + 1 + n;
        if (after < length && isLetter(data[after])) continue;
        position = PDFText::skipBlanks(data, length, after);
        return 255;
    }
    return 0;
}

// ---- Classic cross-reference tables ----

unsigned char PDFFile::scanXRefs() {
    revision = 0;
    fieldCount = 0;
    signatureCount = 0;
    limitReached = false;
    workLeft = kWorkFixed + kWorkPerByte * length;
    position = length > kTrailerWindow ? length - kTrailerWindow : 0;
    if (!findSection("startxref")) return 0;
    unsigned int p = position, start = 0;
    if (!PDFText::readUnsigned(data, length, &p, &start) || start >= length) return 0;
    position = start;
    if (!findSection("xref")) {
        unsigned char result = readCrossReferenceStream();
        return limitReached ? 0 : result;
    }
    // Sections already read: a /Prev that leads back to one of them is a loop.
    std::set<unsigned int> sections;
    sections.insert(position);
    while (position < length) {
        if (!scanXRef()) break;
        if (!isSection("trailer")) continue;
        if (!findDictionaryValue("Prev")) break;
        unsigned int prev = 0;
        p = position;
        if (!PDFText::readUnsigned(data, length, &p, &prev)) return 0;
        // The chain may only go backwards in the file.
        if (prev > position) break;
        position = prev;
        if (!findSection("xref")) return 0;
        if (!sections.insert(position).second) return 0;
        if (++revision > kMaxPDFRevisions) return 0;
    }
    return limitReached ? 0 : 255;
}

unsigned char PDFFile::scanXRef() {
    unsigned int p = position, first = 0, count = 0;
    if (!PDFText::readUnsigned(data, length, &p, &first) ||
        !PDFText::readUnsigned(data, length, &p, &count))
        return 0;
    while (p < length && !isLineEnd(data[p])) ++p;
    while (p < length && isLineEnd(data[p])) ++p;
    position = p;
    for (unsigned int k = 0; k < count; ++k) {
        if (length - position < 20) return 0;
        p = position;
        long offset = 0;
        unsigned int generation = 0;
        if (!PDFText::readSigned(data, length, &p, &offset) ||
            !PDFText::readUnsigned(data, length, &p, &generation))
            return 0;
        while (p < length && PDFText::isBlank(data[p]) && data[p] != 0) ++p;
        if (p >= length) return 0;
        unsigned char type = data[p];
        if (!isLineEnd(data[position + 19])) return 0;
        if (type == 'n' && offset >= 0 && static_cast<unsigned long>(offset) < length) {
            if (!readSignatureField(static_cast<unsigned int>(offset)))
                readSignatureDict(static_cast<unsigned int>(offset));
        }
        if (limitReached) return 0;
        position += 20;
    }
    return 255;
}

// ---- Fields ----

unsigned char PDFFile::alreadyPresent(unsigned int number) const {
    for (int i = 0; i < fieldCount; ++i)
        if (fields[i].objectNumber == number) return 255;
    return 0;
}

unsigned char PDFFile::hasValue() const {
    if (currentSignature < 0 || currentSignature >= fieldCount) return 0;
    unsigned int value = fields[currentSignature].valueObject;
    for (int i = 0; i < signatureCount; ++i)
        if (signatures[i].objectNumber == value) return 255;
    return 0;
}

const signatureField* PDFFile::_getField(int i) const {
    return i >= 0 && i < fieldCount ? &fields[i] : nullptr;
}

const signatureRecord* PDFFile::_getSignature(int i) const {
    return i >= 0 && i < signatureCount ? &signatures[i] : nullptr;
}

const signatureRecord* PDFFile::current() const {
    return _getSignature(currentSignature);
}
