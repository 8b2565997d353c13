// The two records the PDF reader fills: a signature field (an AcroForm field of type /Sig) and a
// signature dictionary (the /V of such a field, with the signed byte ranges and the signature).
#ifndef SIGILO_PDF_PDFSIGNATURE_H
#define SIGILO_PDF_PDFSIGNATURE_H

// The reader keeps at most this many of each.
constexpr int kMaxPDFSignatures = 30;
// A field's value number before its /V is read.
constexpr unsigned int kNoValueObject = 0xFFFFFFFF;

struct signatureField {
    unsigned int revision;
    unsigned int objectNumber;
    unsigned int generation;
    unsigned int valueObject;
    // Set when a field of the same object number was recorded from a newer revision: its value
    // is then superseded.
    unsigned char shadowed;
};

struct signatureRecord {
    signatureRecord();
    ~signatureRecord();
    signatureRecord(const signatureRecord&) = delete;
    signatureRecord& operator=(const signatureRecord&) = delete;

    // Frees what the record owns and zeroes every field.
    void clear();

    unsigned int revision;
    unsigned int objectNumber;
    unsigned int generation;
    // Position of "<" of /Contents, and just past its ">".
    unsigned int contentsStart;
    unsigned int contentsEnd;
    unsigned char* contents;
    unsigned int contentsLength;
    unsigned char* cert;
    unsigned int certLength;
    char* subFilter;
    char* signingTime;
    unsigned int start1;
    unsigned int length1;
    unsigned int start2;
    unsigned int length2;
    // Set when the dictionary was read from a decoded object stream: its /Contents positions
    // are then positions in that stream, not in the file.
    unsigned char inObjectStream;
};

#endif
