// Helpers shared by the string and time tests: the vectors of strings_time.vec (made by
// gen_strings_time.py with asn1crypto), encoding to bytes, truncated and mutated inputs, and a
// locale chosen through the environment, where the code under test looks for it.
#ifndef SIGILO_TESTS_ASN1_STRING_TEST_SUPPORT_H
#define SIGILO_TESTS_ASN1_STRING_TEST_SUPPORT_H

#include <clocale>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "support/VecFile.h"

using Bytes = std::vector<unsigned char>;

inline std::vector<VecCase> stringsTimeCases(const std::string& kind) {
    return casesOfKind(readVecFile(testData("asn1/strings_time.vec")), kind);
}

// Space-separated hexadecimal code points, as wide text.
inline std::wstring codePoints(const std::string& list) {
    std::wstring out;
    std::istringstream in(list);
    std::string point;
    while (in >> point) out.push_back(static_cast<wchar_t>(std::stoul(point, nullptr, 16)));
    return out;
}

// The encoding of an object, sized first by its own getWrapLength.
template <class T>
Bytes wrapped(T& object, unsigned int* announced = nullptr) {
    Buffer buffer;
    unsigned int length = object.getWrapLength(&buffer);
    if (announced != nullptr) *announced = length;
    buffer.enlarge(length);
    object.wrapASN1(&buffer);
    return Bytes(buffer._getData(), buffer._getData() + buffer.getWritePos());
}

// Reads bytes into an object through a buffer holding exactly those bytes.
template <class T>
unsigned char readInto(T* object, const Bytes& bytes) {
    Buffer buffer;
    buffer.fromByteArray(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return object->unwrapASN1(&buffer);
}

// Every strict prefix of each seed. None of them holds a whole value, so every read of one must
// fail: a reader that succeeds took bytes that are not there.
inline std::vector<Bytes> truncations(const std::vector<Bytes>& seeds) {
    std::vector<Bytes> out;
    for (const Bytes& seed : seeds) {
        for (size_t n = 0; n < seed.size(); ++n) out.emplace_back(seed.begin(), seed.begin() + n);
    }
    return out;
}

// Each seed with one of its first bytes replaced by each of the given values: inputs for
// checking that a reader stays inside the data and that what it accepts is consistent.
inline std::vector<Bytes> replacements(const std::vector<Bytes>& seeds, const Bytes& values,
                                       size_t positions = 64) {
    std::vector<Bytes> out;
    for (const Bytes& seed : seeds) {
        for (size_t i = 0; i < seed.size() && i < positions; ++i) {
            for (unsigned char v : values) {
                out.push_back(seed);
                out.back()[i] = v;
            }
        }
    }
    return out;
}

inline bool littleEndianHost() {
    const unsigned int one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

// Sets LC_ALL (and LOCPATH when given) for the life of the object, then puts back the variables
// and the process's LC_CTYPE as they were.
class ScopedLocaleEnv {
public:
    explicit ScopedLocaleEnv(const char* lcAll, const char* locPath = nullptr)
        : lcAll_("LC_ALL"), locPath_("LOCPATH") {
        const char* current = setlocale(LC_CTYPE, nullptr);
        ctype_ = current != nullptr ? current : "C";
        setenv("LC_ALL", lcAll, 1);
        if (locPath != nullptr) setenv("LOCPATH", locPath, 1);
    }
    ~ScopedLocaleEnv() { setlocale(LC_CTYPE, ctype_.c_str()); }
    ScopedLocaleEnv(const ScopedLocaleEnv&) = delete;
    ScopedLocaleEnv& operator=(const ScopedLocaleEnv&) = delete;

private:
    // One environment variable, restored (or removed) on destruction.
    struct SavedVar {
        explicit SavedVar(const char* n) : name(n), had(getenv(n) != nullptr) {
            if (had) value = getenv(n);
        }
        ~SavedVar() { had ? setenv(name, value.c_str(), 1) : unsetenv(name); }
        const char* name;
        bool had;
        std::string value;
    };
    SavedVar lcAll_;
    SavedVar locPath_;
    std::string ctype_;
};

#endif
