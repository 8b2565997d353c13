// PDFFile: the reader that finds the signatures of a PDF.
//
// It is not a general PDF parser. It walks the cross-reference chain from the newest revision to
// the oldest (classic tables, or cross-reference streams with their object streams) and looks in
// every object the chain names for signature fields and signature dictionaries, by matching
// keywords in the raw bytes. What it finds goes into two fixed arrays; objects are never resolved
// through references except for the one link from a field to its value.
//
// Every read is bounded by the file (or by the decoded stream it works in); counts, depths and
// the total work of the walks are capped, so that a hostile file ends in a failed read or a
// partial result, never in an overrun or a hang.
#ifndef SIGILO_PDF_PDFFILE_H
#define SIGILO_PDF_PDFFILE_H

#include <set>

#include "pdf/PDFSignature.h"

class Buffer;

// Largest file the reader takes: offsets in a PDF are read as 32-bit values.
constexpr unsigned int kMaxPDFFileSize = 0x40000000;
// Largest block a stream filter may produce.
constexpr unsigned int kMaxPDFDecodedSize = 64u << 20;
// Revisions the reader follows before it gives up on the file.
constexpr unsigned int kMaxPDFRevisions = 4096;

class PDFFile {
public:
    explicit PDFFile(Buffer* buffer);
    ~PDFFile();

    PDFFile(const PDFFile&) = delete;
    PDFFile& operator=(const PDFFile&) = delete;

    // Read the file (or take the bytes of the buffer, from 0 to its write position) and walk its
    // cross-reference chain. 0 when the file is not a PDF this reader can walk.
    unsigned char fromFile(const char* name);
    unsigned char fromBuffer(Buffer* b);

    int signaturesCount() const { return signatureCount; }
    int fieldsCount() const { return fieldCount; }
    // Selects the signature the accessors below work on (0 is the newest).
    void setCurrentSignature(int i) { currentSignature = i; }
    // True when the field slot of the current signature's index has a value that names a
    // recorded signature dictionary.
    unsigned char hasValue() const;

    // ---- The current signature ----
    // Pointers into the file at the two signed ranges; null when a range leaves the file.
    unsigned char* toDigest1() const;
    unsigned char* toDigest2() const;
    unsigned int toDigestLen1() const;
    unsigned int toDigestLen2() const;
    // Exact comparison with /SubFilter; false when the dictionary has none.
    unsigned char isSubFilter(const char* name) const;
    // Owned by the reader.
    unsigned char* getContents() const;
    unsigned int getContentsLen() const;
    unsigned char* getCert() const;
    unsigned int getCertLen() const;
    // A new copy of /M without "D:", or null.
    char* getSigningTime() const;
    // True when the signed ranges cover the whole revision the signature closes.
    unsigned char signOverall() const;
    // Writes the file up to the "%%EOF" (and its line end) before the signature's gap.
    unsigned char saveOrigFile(int descriptor) const;

    // ---- The records themselves, for reading (null out of range) ----
    const signatureField* _getField(int i) const;
    const signatureRecord* _getSignature(int i) const;
    // Revisions followed past the newest one.
    unsigned int revisionsRead() const { return revision; }

    // ---- Stream filters ----
    // Decode parameters for the next decoding; resetDecodeParms sets the defaults (no
    // predictor, one 8-bit colour, one column).
    void resetDecodeParms();
    void setDecodeParms(unsigned int predictor, unsigned int colors, unsigned int bitsPerComponent,
                        unsigned int columns);
    // Decode length bytes into a new block the caller deletes; null (and *outLength 0) when
    // the data does not decode within the bounds.
    unsigned char* flateDecode(const unsigned char* input, unsigned int length,
                               unsigned int* outLength);
    unsigned char* lzwDecode(const unsigned char* input, unsigned int length,
                             unsigned int* outLength);

private:
    unsigned char scanXRefs();
    unsigned char scanXRef();
    unsigned char readCrossReferenceStream();
    unsigned char scanCrossReferenceStreamData(unsigned char* table, unsigned int tableLength);
    unsigned char readObjectStream(unsigned char* table, unsigned int stream);
    unsigned char readStreamSignatures(unsigned char* table, unsigned int stream,
                                       unsigned int index);
    unsigned char readSignatureField(unsigned int offset);
    unsigned char readSignatureField(unsigned int start, unsigned int end, unsigned int object,
                                     unsigned int generation);
    unsigned char readSignatureDict(unsigned int offset);
    unsigned char readSignatureDict(unsigned int start, unsigned int end, unsigned int object,
                                    unsigned int generation);
    unsigned char findSection(const char* word);
    unsigned char isSection(const char* word);
    unsigned char findDictionaryValue(const char* key);
    unsigned char alreadyPresent(unsigned int number) const;

    // The walk shared by the two forms of readSignatureField, over bytes [start, end) of p.
    unsigned char walkSignatureField(const unsigned char* p, unsigned int start, unsigned int end,
                                     unsigned int object, unsigned int generation);
    // The walk shared by the two forms of readSignatureDict.
    unsigned char walkSignatureDict(const unsigned char* p, unsigned int start, unsigned int end,
                                    unsigned int object, unsigned int generation,
                                    bool inObjectStream);
    // Decodes a hexadecimal string whose "<" is at pos; moves pos past ">".
    bool readHexString(const unsigned char* p, unsigned int end, unsigned int* pos,
                       unsigned char** out, unsigned int* outLength);
    // Decodes a literal string whose "(" is at pos; moves pos to its ")".
    bool readLiteralString(const unsigned char* p, unsigned int end, unsigned int* pos,
                           unsigned char** out, unsigned int* outLength);
    // Reads the stream parameters of a cross-reference stream or object stream, from the
    // cursor up to "stream"; see the callers for the keys each takes.
    struct StreamHeader;
    unsigned char readStreamHeader(const unsigned char* p, unsigned int end, unsigned int* pos,
                                   bool crossReference, StreamHeader* header);
    // Decodes the stream whose data starts at pos by the header's filter; a new block or null.
    unsigned char* decodeStream(unsigned int pos, const StreamHeader& header,
                                unsigned int* outLength, bool* unknownFilter);
    // Prepares the predictor's rows; false when the parameters are out of bounds.
    bool prepareRows();
    // Undoes the predictor on one row read at input; the result is the row past its lead.
    unsigned char* getNextLine(const unsigned char* input);
    unsigned char* applyPredictor(unsigned char* block, unsigned int* outLength);

    // Takes n steps off the work budget; false (and the read fails) once it is spent.
    bool spend(unsigned long long n);
    // Room left in an array of kMaxPDFSignatures; when full the read fails.
    bool recordFieldRoom();

    const signatureRecord* current() const;

    unsigned char* data;
    unsigned char* objectStreamData;
    unsigned int objectStreamLength;
    unsigned char* predictorRow;
    Buffer* buffer;
    signatureField fields[kMaxPDFSignatures];
    signatureRecord signatures[kMaxPDFSignatures];
    // The /Index of the current cross-reference stream, pairs of (first, count) ended by an
    // all-ones pair; empty when the stream has none.
    unsigned int* indexTable;
    unsigned int indexPairs;
    unsigned int position;
    unsigned int length;
    unsigned int revision;
    int fieldCount;
    int signatureCount;
    int currentSignature;
    unsigned int earlyChange, columns, colors, bitsPerComponent, predictor;
    unsigned int pixelBytes, rowLength, rowBytes;
    unsigned int w0, w1, w2;
    unsigned int cachedStream, firstOffset;
    // Length of the decoded cross-reference stream the type-2 rows are read against.
    unsigned int tableLength;
    unsigned long long workLeft;
    // Set when a bound of the reader (arrays, budget, revisions) stopped the read.
    bool limitReached;
    std::set<unsigned int> visitedStreams;
};

#endif
