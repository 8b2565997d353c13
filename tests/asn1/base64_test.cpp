// Base64 against Python's encoder, and the three decoders' rules on bad text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "asn1/Base64.h"
#include "support/VecFile.h"

namespace {

TEST(Base64, MatchesPythonBothWays) {
    auto cases = casesOfKind(readVecFile(testData("asn1/base64_vectors.vec")), "pair");
    ASSERT_GT(cases.size(), 70u);
    for (const VecCase& c : cases) {
        std::vector<unsigned char> bytes = c.hex("hex");
        std::string text = c.get("text");
        bytes.reserve(1);  // a real array even for the empty case: null means "no value"
        char* encoded = Base64::encode(bytes.data(), static_cast<unsigned int>(bytes.size()));
        EXPECT_EQ(std::string(encoded), text) << c.where();
        EXPECT_EQ(encoded[text.size() + 1], 0);  // two terminating zero bytes
        delete[] encoded;

        if (!text.empty()) {
            unsigned int n = 0;
            unsigned char* lenient = Base64::decode(text.c_str(), &n);
            ASSERT_NE(lenient, nullptr) << c.where();
            EXPECT_EQ(std::vector<unsigned char>(lenient, lenient + n), bytes) << c.where();
            delete[] lenient;
        }

        // Strict, in place.
        std::vector<char> work(text.begin(), text.end());
        unsigned int n = static_cast<unsigned int>(work.size());
        auto* dest = reinterpret_cast<unsigned char*>(work.data());
        ASSERT_TRUE(Base64::decode(work.data(), dest, &n) || text.empty()) << c.where();
        EXPECT_EQ(std::vector<unsigned char>(dest, dest + n), bytes) << c.where();
    }
}

TEST(Base64, LineBreaksAndJunkAreSkipped) {
    const char* text = "Zm9v\r\nYmFy\n";
    unsigned int n = 0;
    unsigned char* p = Base64::decode(text, &n);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(p), n), "foobar");
    delete[] p;

    std::string strict = text;
    n = static_cast<unsigned int>(strict.size());
    auto* dest = reinterpret_cast<unsigned char*>(&strict[0]);
    ASSERT_TRUE(Base64::decode(strict.data(), dest, &n));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(dest), n), "foobar");
}

TEST(Base64, LenientDecoderIgnoresPadding) {
    unsigned int n = 0;
    unsigned char* p = Base64::decode("Zm8", &n);  // no padding: still two bytes
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(n, 2u);
    delete[] p;
    EXPECT_EQ(Base64::decode("", &n), nullptr);
    EXPECT_EQ(Base64::decode(nullptr, &n), nullptr);
    EXPECT_EQ(Base64::encode(nullptr, 3), nullptr);
}

TEST(Base64, StrictDecoderRefusesMisplacedPadding) {
    for (const char* bad : {"Zm8", "Z===", "=Zm9", "Zm=v", "Zm9vY", "Zm9vYm=", "Zg=A"}) {
        std::string s = bad;
        unsigned int n = static_cast<unsigned int>(s.size());
        unsigned char dest[16];
        EXPECT_FALSE(Base64::decode(s.data(), dest, &n)) << bad;
        EXPECT_EQ(n, 0u) << bad;
    }
}

TEST(Base64, ByteFFDecodesAsLetterO) {
    // A peculiarity of the decode table that is kept: 0xFF counts as 'o' (value 40).
    EXPECT_EQ(Base64::valueOf(0xFF), 40);
    EXPECT_EQ(Base64::valueOf('o'), 40);
    EXPECT_EQ(Base64::valueOf('='), 64);
    EXPECT_EQ(Base64::valueOf('\n'), 255);
}

}  // namespace
