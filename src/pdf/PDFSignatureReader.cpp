// Recognition of signature fields and signature dictionaries in one object, found by keywords in
// the raw bytes of the file or of a decoded object stream.
#include <cstring>
#include <memory>

#include "pdf/PDFFile.h"
#include "pdf/PDFText.h"

using PDFText::matchesBytes;
using PDFText::matchesKey;
using PDFText::skipBlanks;

namespace {

// The first position from i (or end) holding "/", or "e" followed by "n": the only places where
// the walks of fields and dictionaries find a key or "endobj". Passing over the rest in one tight
// loop keeps a large stream inside an object from costing a keyword test per byte.
unsigned int nextKeyByte(const unsigned char* p, unsigned int i, unsigned int end) {
    while (i < end && p[i] != '/' && !(p[i] == 'e' && i + 1 < end && p[i + 1] == 'n')) ++i;
    return i;
}

// The bytes that end a name.
bool endsName(unsigned char c) {
    return PDFText::isBlank(c) || c == '/' || c == '>' || c == '<' || c == '[' || c == ']' ||
           c == '(' || c == ')';
}

// The position after the name that starts with "/" at pos.
unsigned int skipName(const unsigned char* p, unsigned int end, unsigned int pos) {
    ++pos;
    while (pos < end && !endsName(p[pos])) ++pos;
    return pos;
}

// The position of the ")" that closes the literal string whose "(" is at pos, counting nested
// parentheses and stepping over an escaped byte; end when there is none.
unsigned int closingParenthesis(const unsigned char* p, unsigned int end, unsigned int pos) {
    unsigned int depth = 0;
    for (unsigned int i = pos; i < end; ++i) {
        if (p[i] == '\\') {
            ++i;
        } else if (p[i] == '(') {
            ++depth;
        } else if (p[i] == ')') {
            if (--depth == 0) return i;
        }
    }
    return end;
}

// The position of the "]" that closes the array whose "[" is at pos; end when there is none.
unsigned int closingBracket(const unsigned char* p, unsigned int end, unsigned int pos) {
    unsigned int depth = 0;
    for (unsigned int i = pos; i < end; ++i) {
        if (p[i] == '[') {
            ++depth;
        } else if (p[i] == ']') {
            if (--depth == 0) return i;
        }
    }
    return end;
}

// Two characters of a hexadecimal string read as a "%x" conversion reads them: leading blanks
// skipped, digits up to the first byte that is not one. The second may be the closing ">".
unsigned char hexPair(unsigned char a, unsigned char b) {
    unsigned char text[2] = {a, b};
    unsigned int i = 0, value = 0;
    while (i < 2 && PDFText::isBlank(text[i])) ++i;
    for (; i < 2; ++i) {
        int d = PDFText::hexDigit(text[i]);
        if (d < 0) break;
        value = value * 16 + static_cast<unsigned int>(d);
    }
    return static_cast<unsigned char>(value);
}

char* copyText(const unsigned char* p, unsigned int from, unsigned int to) {
    char* text = new char[to - from + 1];
    if (to > from) std::memcpy(text, p + from, to - from);
    text[to - from] = 0;
    return text;
}

}  // namespace

bool PDFFile::readHexString(const unsigned char* p, unsigned int end, unsigned int* pos,
                            unsigned char** out, unsigned int* outLength) {
    unsigned int open = *pos;
    const void* close = std::memchr(p + open + 1, '>', end - open - 1);
    if (!close) return false;
    unsigned int closeAt = static_cast<unsigned int>(static_cast<const unsigned char*>(close) - p);
    if (!spend(closeAt - open)) return false;
    unsigned int digits = closeAt - open - 1;
    unsigned char* block = new unsigned char[digits / 2 + 1]();
    unsigned int n = 0;
    for (unsigned int i = open + 1; i < closeAt; i += 2) block[n++] = hexPair(p[i], p[i + 1]);
    *out = block;
    *outLength = n;
    *pos = closeAt + 1;
    return true;
}

bool PDFFile::readLiteralString(const unsigned char* p, unsigned int end, unsigned int* pos,
                                unsigned char** out, unsigned int* outLength) {
    unsigned int open = *pos;
    unsigned int close = closingParenthesis(p, end, open);
    if (close >= end || !spend(close - open)) return false;
    unsigned char* block = new unsigned char[close - open]();
    unsigned int n = 0;
    for (unsigned int i = open + 1; i < close; ++i) {
        unsigned char c = p[i];
        if (c != '\\') {
            block[n++] = c;
            continue;
        }
        c = p[++i];
        switch (c) {
            case 'b':
                block[n++] = '\b';
                break;
            case 'f':
                block[n++] = '\f';
                break;
            case 'n':
                block[n++] = '\n';
                break;
            case 'r':
                block[n++] = '\r';
                break;
            case 't':
                block[n++] = '\t';
                break;
            case '(':
            case ')':
            case '\\':
                block[n++] = c;
                break;
            default: {
                // Up to three octal digits; a backslash before anything else is dropped.
                unsigned int value = 0, digits = 0;
                while (digits < 3 && i < close && p[i] >= '0' && p[i] <= '7') {
                    value = value * 8 + (p[i] - '0');
                    ++i;
                    ++digits;
                }
                if (digits == 0) {
                    block[n++] = c;
                } else {
                    block[n++] = static_cast<unsigned char>(value);
                    --i;
                }
            }
        }
    }
    *out = block;
    *outLength = n;
    *pos = close;
    return true;
}

// ---- Fields ----

unsigned char PDFFile::readSignatureField(unsigned int offset) {
    if (offset >= length) return 0;
    unsigned int p = offset, object = 0, generation = 0;
    if (!PDFText::readUnsigned(data, length, &p, &object) ||
        !PDFText::readUnsigned(data, length, &p, &generation))
        return 0;
    return walkSignatureField(data, p, length, object, generation);
}

unsigned char PDFFile::readSignatureField(unsigned int start, unsigned int end, unsigned int object,
                                          unsigned int generation) {
    if (!objectStreamData || end > objectStreamLength || start >= end) return 0;
    return walkSignatureField(objectStreamData, start, end, object, generation);
}

unsigned char PDFFile::walkSignatureField(const unsigned char* p, unsigned int start,
                                          unsigned int end, unsigned int object,
                                          unsigned int generation) {
    bool isField = false;
    for (unsigned int i = start; i < end && !isField; ++i) {
        // The bytes passed over are charged as if each had been looked at.
        unsigned int next = nextKeyByte(p, i, end);
        if (!spend(next - i + (next < end ? 1 : 0))) return 0;
        i = next;
        if (i >= end) break;
        if (p[i] == 'e' && matchesKey(p, end, i, "endobj")) return 0;
        if (p[i] == '/' && matchesKey(p, end, i, "/FT"))
            isField = matchesKey(p, end, skipBlanks(p, end, i + 3), "/Sig");
    }
    if (!isField) return 0;
    unsigned int value = kNoValueObject;
    for (unsigned int i = start; i < end; ++i) {
        if (!spend(1)) return 0;
        if (p[i] == 'e' && matchesKey(p, end, i, "endobj")) break;
        if (p[i] == '/' && matchesKey(p, end, i, "/V")) {
            unsigned int v = skipBlanks(p, end, i + 2);
            PDFText::readUnsigned(p, end, &v, &value);
            break;
        }
    }
    if (value == kNoValueObject) return 0;
    // The array is full: the file has more fields than the reader keeps.
    if (fieldCount >= kMaxPDFSignatures) {
        limitReached = true;
        return 0;
    }
    signatureField& field = fields[fieldCount];
    field.revision = revision;
    field.objectNumber = object;
    field.generation = generation;
    field.valueObject = value;
    field.shadowed = alreadyPresent(object);
    ++fieldCount;
    return 255;
}

// ---- Dictionaries ----

unsigned char PDFFile::readSignatureDict(unsigned int offset) {
    if (offset >= length) return 0;
    unsigned int p = offset, object = 0, generation = 0;
    if (!PDFText::readUnsigned(data, length, &p, &object) ||
        !PDFText::readUnsigned(data, length, &p, &generation))
        return 0;
    return walkSignatureDict(data, p, length, object, generation, false);
}

unsigned char PDFFile::readSignatureDict(unsigned int start, unsigned int end, unsigned int object,
                                         unsigned int generation) {
    if (!objectStreamData || end > objectStreamLength || start >= end) return 0;
    return walkSignatureDict(objectStreamData, start, end, object, generation, true);
}

unsigned char PDFFile::walkSignatureDict(const unsigned char* p, unsigned int start,
                                         unsigned int end, unsigned int object,
                                         unsigned int generation, bool inObjectStream) {
    // A dictionary reached only by fields that a newer revision replaced is not a signature of
    // the file; one that no field names is read all the same.
    bool named = false, current = false;
    for (int i = 0; i < fieldCount; ++i) {
        if (fields[i].valueObject != object) continue;
        named = true;
        if (!fields[i].shadowed) current = true;
    }
    if (named && !current) return 255;

    // When the array is full the dictionary is read into a spare record, so that one more
    // signature is noticed (and stops the read) rather than dropped.
    std::unique_ptr<signatureRecord> spare;
    signatureRecord* record;
    if (signatureCount < kMaxPDFSignatures) {
        record = &signatures[signatureCount];
    } else {
        spare.reset(new signatureRecord());
        record = spare.get();
    }
    record->clear();
    record->revision = revision;
    record->objectNumber = object;
    record->generation = generation;
    record->inObjectStream = inObjectStream ? 1 : 0;

    bool ended = false;
    unsigned int i = start;
    while (i < end) {
        unsigned int next = nextKeyByte(p, i, end);
        if (!spend(next - i + (next < end ? 1 : 0))) return 0;
        i = next;
        if (i >= end) break;
        unsigned char c = p[i];
        if (c == 'e' && matchesKey(p, end, i, "endobj")) {
            ended = true;
            break;
        }
        if (c != '/') {
            ++i;
            continue;
        }
        unsigned int v;
        if (matchesKey(p, end, i, "/Type")) {
            v = skipBlanks(p, end, i + 5);
            if (!matchesKey(p, end, v, "/Sig")) return 0;
            i = v + 4;
        } else if (matchesKey(p, end, i, "/Filter")) {
            v = skipBlanks(p, end, i + 7);
            i = v < end && p[v] == '/' ? skipName(p, end, v) : v;
        } else if (matchesKey(p, end, i, "/SubFilter")) {
            v = skipBlanks(p, end, i + 10);
            if (v >= end || p[v] != '/') return 0;
            unsigned int e = v + 1;
            while (e < end && p[e] != '/' && p[e] != '\r' && p[e] != '\n' && p[e] != ' ' &&
                   p[e] != '>')
                ++e;
            delete[] record->subFilter;
            record->subFilter = copyText(p, v + 1, e);
            i = e;
        } else if (matchesKey(p, end, i, "/Contents")) {
            v = skipBlanks(p, end, i + 9);
            if (v >= end || p[v] != '<') return 0;
            record->contentsStart = v;
            unsigned char* block = nullptr;
            unsigned int n = 0;
            if (!readHexString(p, end, &v, &block, &n)) return 0;
            delete[] record->contents;
            record->contents = block;
            record->contentsLength = n;
            record->contentsEnd = v;
            i = v;
        } else if (matchesKey(p, end, i, "/Cert")) {
            v = skipBlanks(p, end, i + 5);
            unsigned char* block = nullptr;
            unsigned int n = 0;
            if (v < end && p[v] == '<') {
                if (!readHexString(p, end, &v, &block, &n)) return 0;
            } else if (v < end && p[v] == '(') {
                if (!readLiteralString(p, end, &v, &block, &n)) return 0;
                ++v;
            } else {
                return 0;
            }
            delete[] record->cert;
            record->cert = block;
            record->certLength = n;
            i = v;
        } else if (matchesKey(p, end, i, "/ByteRange")) {
            v = skipBlanks(p, end, i + 10);
            if (v >= end || p[v] != '[') return 0;
            unsigned int q = v + 1;
            unsigned int* targets[4] = {&record->start1, &record->length1, &record->start2,
                                        &record->length2};
            for (unsigned int* target : targets)
                if (!PDFText::readUnsigned(p, end, &q, target)) break;
            const void* close = std::memchr(p + q, ']', end - q);
            i = close ? static_cast<unsigned int>(static_cast<const unsigned char*>(close) - p) + 1
                      : end;
        } else if (matchesKey(p, end, i, "/Reference")) {
            v = skipBlanks(p, end, i + 10);
            if (v >= end || p[v] != '[') return 0;
            i = closingBracket(p, end, v) + 1;
        } else if (matchesKey(p, end, i, "/Changes")) {
            // The cursor moves two bytes past the key before the bracket is looked for, so that
            // the usual "/Changes [" is refused: the dictionary then fails, as it always has.
            v = skipBlanks(p, end, i + 10 < end ? i + 10 : end);
            if (v >= end || p[v] != '[') return 0;
            const void* close = std::memchr(p + v, ']', end - v);
            i = close ? static_cast<unsigned int>(static_cast<const unsigned char*>(close) - p) + 1
                      : end;
        } else if (matchesKey(p, end, i, "/Name") || matchesKey(p, end, i, "/Location") ||
                   matchesKey(p, end, i, "/Reason") || matchesKey(p, end, i, "/ContactInfo")) {
            v = i + 1;
            while (v < end && PDFText::isLetter(p[v])) ++v;
            v = skipBlanks(p, end, v);
            i = v < end && p[v] == '(' ? closingParenthesis(p, end, v) + 1 : v;
        } else if (matchesKey(p, end, i, "/M")) {
            v = skipBlanks(p, end, i + 2);
            if (v >= end || p[v] != '(') return 0;
            unsigned int from = v + 1;
            if (matchesBytes(p, end, from, "D:")) from += 2;
            const void* close = std::memchr(p + v, ')', end - v);
            if (!close) return 0;
            unsigned int closeAt =
                static_cast<unsigned int>(static_cast<const unsigned char*>(close) - p);
            if (from > closeAt) from = closeAt;
            delete[] record->signingTime;
            record->signingTime = copyText(p, from, closeAt);
            i = closeAt + 1;
        } else if (matchesKey(p, end, i, "/Prop_AuthType")) {
            v = skipBlanks(p, end, i + 14);
            i = v < end && p[v] == '/' ? skipName(p, end, v) : v;
        } else {
            ++i;
        }
    }
    // In the file the object must end; a piece of an object stream ends at its bound.
    if (!ended && !inObjectStream) return 0;
    if (!record->contents || record->length1 == 0 || record->length2 == 0) return 0;
    if (spare) {
        limitReached = true;
        return 0;
    }
    ++signatureCount;
    return 255;
}
