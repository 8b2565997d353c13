// Helpers shared by the PKIX tests: buffers over vector bytes, encodings as bytes, owned text,
// and the label table as a set of dotted OIDs printed as themselves (openssl's "oid" form).
#ifndef SIGILO_TESTS_PKIX_PKIX_TEST_SUPPORT_H
#define SIGILO_TESTS_PKIX_PKIX_TEST_SUPPORT_H

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "support/VecFile.h"

using Bytes = std::vector<unsigned char>;

inline std::unique_ptr<Buffer> bufferOf(const Bytes& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

// Encodes through getWrapLength and wrapASN1, and checks that the two agree.
template <class T>
Bytes encode(T& object) {
    Buffer b;
    unsigned int length = object.getWrapLength(&b);
    b.enlarge(length);
    object.wrapASN1(&b);
    EXPECT_EQ(b.getWritePos(), length) << "getWrapLength disagrees with wrapASN1";
    return Bytes(b._getData(), b._getData() + b.getWritePos());
}

// A new char[] turned into a string (and freed); "(null)" for null.
inline std::string take(char* text) {
    std::unique_ptr<char[]> owned(text);
    return owned ? std::string(owned.get()) : std::string("(null)");
}

inline std::vector<VecCase> pkixCases(const std::string& file, const std::string& kind) {
    return casesOfKind(readVecFile(testData("pkix/" + file)), kind);
}

inline std::vector<std::string> split(const std::string& s, char separator) {
    std::vector<std::string> parts;
    if (s.empty()) return parts;
    size_t from = 0;
    while (true) {
        size_t at = s.find(separator, from);
        parts.push_back(s.substr(from, at == std::string::npos ? std::string::npos : at - from));
        if (at == std::string::npos) break;
        from = at + 1;
    }
    return parts;
}

#endif
