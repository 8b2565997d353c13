// Arbitrary bytes as a PDF file: the cross-reference walk, the streams it decodes and every
// accessor of what it found; and the same bytes straight into the stream filters.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "pdf/LZW.h"
#include "pdf/PDFFile.h"

namespace {

void readAsFile(const uint8_t* data, size_t size) {
    Buffer b;
    b.fromByteArray(data, static_cast<unsigned int>(size));
    PDFFile pdf(&b);
    pdf.fromBuffer(&b);
    unsigned long sum = 0;
    for (int i = 0; i < pdf.signaturesCount(); ++i) {
        pdf.setCurrentSignature(i);
        if (const unsigned char* p = pdf.toDigest1())
            for (unsigned int k = 0; k < pdf.toDigestLen1(); k += 997) sum += p[k];
        if (const unsigned char* p = pdf.toDigest2())
            for (unsigned int k = 0; k < pdf.toDigestLen2(); k += 997) sum += p[k];
        if (const unsigned char* c = pdf.getContents())
            for (unsigned int k = 0; k < pdf.getContentsLen(); ++k) sum += c[k];
        if (const unsigned char* c = pdf.getCert())
            for (unsigned int k = 0; k < pdf.getCertLen(); ++k) sum += c[k];
        std::unique_ptr<char[]> when(pdf.getSigningTime());
        if (when) sum += std::strlen(when.get());
        sum += pdf.signOverall() + pdf.hasValue() + pdf.isSubFilter("adbe.pkcs7.detached");
    }
    for (int i = 0; i < pdf.fieldsCount(); ++i) sum += pdf._getField(i)->valueObject;
    // Keeps the reads above from being optimised away.
    if (sum == 0xFFFFFFFFul) std::abort();
}

void decode(const uint8_t* data, size_t size) {
    if (size < 2) return;
    Buffer b;
    PDFFile pdf(&b);
    // The first two bytes choose the predictor's parameters.
    const unsigned int predictors[] = {1, 2, 10, 12, 15};
    const unsigned int bits[] = {1, 2, 4, 8, 16};
    pdf.setDecodeParms(predictors[data[0] % 5], 1 + (data[0] >> 4) % 4, bits[(data[1] >> 5) % 5],
                       1 + data[1] % 32);
    unsigned int n = 0;
    const unsigned char* input = data + 2;
    unsigned int length = static_cast<unsigned int>(size - 2);
    delete[] pdf.flateDecode(input, length, &n);
    delete[] pdf.lzwDecode(input, length, &n);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (1u << 20)) return 0;
    readAsFile(data, size);
    decode(data, size);
    return 0;
}
