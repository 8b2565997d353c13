// What the verifier reads of the current signature: the signed ranges, the decoded values, the
// coverage test and the revision the signature closes.
#include <unistd.h>

#include <cstring>

#include "pdf/PDFFile.h"
#include "pdf/PDFText.h"

unsigned char* PDFFile::toDigest1() const {
    const signatureRecord* r = current();
    if (!r || static_cast<unsigned long long>(r->start1) + r->length1 > length) return nullptr;
    return data + r->start1;
}

unsigned char* PDFFile::toDigest2() const {
    const signatureRecord* r = current();
    if (!r || static_cast<unsigned long long>(r->start2) + r->length2 > length) return nullptr;
    return data + r->start2;
}

unsigned int PDFFile::toDigestLen1() const {
    const signatureRecord* r = current();
    return r ? r->length1 : 0;
}

unsigned int PDFFile::toDigestLen2() const {
    const signatureRecord* r = current();
    return r ? r->length2 : 0;
}

unsigned char PDFFile::isSubFilter(const char* name) const {
    const signatureRecord* r = current();
    if (!r || !r->subFilter || !name) return 0;
    return std::strcmp(r->subFilter, name) == 0 ? 255 : 0;
}

unsigned char* PDFFile::getContents() const {
    const signatureRecord* r = current();
    return r ? r->contents : nullptr;
}

unsigned int PDFFile::getContentsLen() const {
    const signatureRecord* r = current();
    return r ? r->contentsLength : 0;
}

unsigned char* PDFFile::getCert() const {
    const signatureRecord* r = current();
    return r ? r->cert : nullptr;
}

unsigned int PDFFile::getCertLen() const {
    const signatureRecord* r = current();
    return r ? r->certLength : 0;
}

char* PDFFile::getSigningTime() const {
    const signatureRecord* r = current();
    if (!r || !r->signingTime) return nullptr;
    size_t n = std::strlen(r->signingTime);
    char* copy = new char[n + 1];
    std::memcpy(copy, r->signingTime, n + 1);
    return copy;
}

unsigned char PDFFile::signOverall() const {
    const signatureRecord* r = current();
    if (!r) return 0;
    // A dictionary read from an object stream has its /Contents in decoded bytes, so no range
    // of the file can be shown to leave out exactly the signature.
    if (r->inObjectStream) return 0;
    if (r->start1 != 0 || r->length1 != r->contentsStart || r->start2 != r->contentsEnd) return 0;
    unsigned long long last = static_cast<unsigned long long>(r->start2) + r->length2;
    if (r->length2 == 0 || last > length) return 0;
    // Back from the range's last byte over line ends and other non-letters, then over the
    // letters: the range must end at some "%%EOF", whatever revisions follow it.
    long long i = static_cast<long long>(last) - 1;
    while (i >= 0 && !PDFText::isLetter(data[i])) --i;
    while (i >= 0 && PDFText::isLetter(data[i])) --i;
    if (i < 1) return 0;
    return PDFText::matchesBytes(data, length, static_cast<unsigned int>(i - 1), "%%EOF") ? 255 : 0;
}

unsigned char PDFFile::saveOrigFile(int descriptor) const {
    const signatureRecord* r = current();
    if (!r || r->start1 != 0 || r->length1 == 0 || r->length1 > length) return 0;
    long long i = r->length1;
    if (i > static_cast<long long>(length) - 5) i = static_cast<long long>(length) - 5;
    while (i >= 0 && !PDFText::matchesBytes(data, length, static_cast<unsigned int>(i), "%%EOF"))
        --i;
    if (i < 0) return 0;
    unsigned int end = static_cast<unsigned int>(i) + 5;
    if (end < length && data[end] == '\r') ++end;
    if (end < length && data[end] == '\n') ++end;
    unsigned int written = 0;
    while (written < end) {
        ssize_t n = ::write(descriptor, data + written, end - written);
        if (n <= 0) return 0;
        written += static_cast<unsigned int>(n);
    }
    return 255;
}
