// Shared helpers of the PDF reader tests: fixtures, a reader over bytes, a small writer of
// classic one-revision files for the byte-level cases, and pdfsig's view of a file.
#ifndef SIGILO_TESTS_PDF_TEST_SUPPORT_H
#define SIGILO_TESTS_PDF_TEST_SUPPORT_H

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "asn1/Buffer.h"
#include "pdf/PDFFile.h"

namespace pdftest {

inline std::string fixturePath(const std::string& name) {
    return std::string(SIGILO_TEST_DATA) + "/pdf/" + name;
}

inline std::string readFixture(const std::string& name) {
    std::ifstream in(fixturePath(name), std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// A reader over the given bytes; *ok receives the result of fromBuffer.
inline std::unique_ptr<PDFFile> readBytes(const std::string& bytes, unsigned char* ok) {
    Buffer b;
    b.fromByteArray(reinterpret_cast<const unsigned char*>(bytes.data()),
                    static_cast<unsigned int>(bytes.size()));
    std::unique_ptr<PDFFile> pdf(new PDFFile(&b));
    *ok = pdf->fromBuffer(&b);
    return pdf;
}

// A one-revision file with a classic table over the given object bodies, numbered from 1.
inline std::string classicFile(const std::vector<std::string>& bodies) {
    std::string out = "%PDF-1.4\n";
    std::vector<size_t> offsets;
    for (size_t i = 0; i < bodies.size(); ++i) {
        offsets.push_back(out.size());
        out += std::to_string(i + 1) + " 0 obj\n" + bodies[i] + "\nendobj\n";
    }
    size_t start = out.size();
    out += "xref\n0 " + std::to_string(bodies.size() + 1) + "\n0000000000 65535 f\r\n";
    for (size_t offset : offsets) {
        char entry[32];
        std::snprintf(entry, sizeof entry, "%010zu 00000 n\r\n", offset);
        out += entry;
    }
    out += "trailer\n<< /Size " + std::to_string(bodies.size() + 1) + " >>\nstartxref\n" +
           std::to_string(start) + "\n%%EOF\n";
    return out;
}

struct Range {
    unsigned int start1, length1, start2, length2;
    bool operator==(const Range& o) const {
        return start1 == o.start1 && length1 == o.length1 && start2 == o.start2 &&
               length2 == o.length2;
    }
};

// What pdfsig prints for a file; false when pdfsig is not installed.
inline bool pdfsigText(const std::string& path, std::string* text) {
    if (std::system("command -v pdfsig >/dev/null 2>&1") != 0) return false;
    std::string command = "pdfsig -nocert '" + path + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return false;
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) text->append(chunk, n);
    pclose(pipe);
    return true;
}

// The signature fields pdfsig lists (one "Signature #" each, signed or not).
inline bool pdfsigFieldCount(const std::string& path, int* count) {
    std::string text;
    if (!pdfsigText(path, &text)) return false;
    *count = 0;
    for (size_t at = text.find("Signature #"); at != std::string::npos;
         at = text.find("Signature #", at + 1))
        ++*count;
    return true;
}

// The signed ranges pdfsig lists for a file, in its order; false when pdfsig is not installed.
inline bool pdfsigRanges(const std::string& path, std::vector<Range>* ranges) {
    std::string text;
    if (!pdfsigText(path, &text)) return false;
    std::regex pattern(R"(Signed Ranges: \[(\d+) - (\d+)\], \[(\d+) - (\d+)\])");
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
        unsigned int a = std::stoul((*it)[1]), b = std::stoul((*it)[2]);
        unsigned int c = std::stoul((*it)[3]), d = std::stoul((*it)[4]);
        ranges->push_back(Range{a, b - a, c, d - c});
    }
    return true;
}

inline Range rangeOf(const signatureRecord* r) {
    return Range{r->start1, r->length1, r->start2, r->length2};
}

}  // namespace pdftest

#endif
