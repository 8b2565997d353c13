#include "pdf/PDFSignature.h"

signatureRecord::signatureRecord()
    : contents(nullptr), cert(nullptr), subFilter(nullptr), signingTime(nullptr) {
    clear();
}

signatureRecord::~signatureRecord() {
    clear();
}

void signatureRecord::clear() {
    delete[] contents;
    delete[] cert;
    delete[] subFilter;
    delete[] signingTime;
    contents = nullptr;
    cert = nullptr;
    subFilter = nullptr;
    signingTime = nullptr;
    revision = objectNumber = generation = 0;
    contentsStart = contentsEnd = 0;
    contentsLength = certLength = 0;
    start1 = length1 = start2 = length2 = 0;
    inObjectStream = 0;
}
