// DirectoryString: the CHOICE of string types in names.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/DirectoryString.h"
#include "asn1/string_test_support.h"

namespace {

std::string printableOf(const DirectoryString& d) {
    std::unique_ptr<char[]> p(d.getPrintableValue());
    return p ? std::string(p.get()) : std::string("<null>");
}

TEST(DirectoryStringVectors, ReadsTheChoiceLikeAsn1cryptoAndRefusesOtherTypes) {
    ScopedLocaleEnv env("C.UTF-8");
    std::vector<VecCase> cases = stringsTimeCases("DirectoryString");
    ASSERT_GE(cases.size(), 8u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        DirectoryString d;
        ASSERT_NE(readInto(&d, c.hex("der")), 0);
        EXPECT_EQ(d.getType(), std::stoi(c.get("tag")));
        Bytes utf8 = c.hex("utf8");
        EXPECT_EQ(printableOf(d), std::string(utf8.begin(), utf8.end()));
        unsigned int announced = 0;
        Bytes out = wrapped(d, &announced);
        EXPECT_EQ(announced, out.size());
        // UniversalString goes out in host byte order, unlike the big-endian input.
        if (d.getType() != DirectoryString::kUniversalString) {
            EXPECT_EQ(out, c.hex("der"));
        }
    }
    for (const VecCase& c : stringsTimeCases("Refused")) {
        DirectoryString d;
        EXPECT_EQ(readInto(&d, c.hex("der")), 0) << c.get("name");
    }
    DirectoryString d;
    EXPECT_EQ(readInto(&d, {0x05, 0x00}), 0);
    EXPECT_EQ(readInto(&d, {0x0C, 0x03, 0x41, 0x85, 0x42}), 0) << "bad UTF-8 fails the read";
    EXPECT_EQ(printableOf(d), "");
}

TEST(DirectoryStringEquality, WideStringsAreEqualOnlyToThemselves) {
    DirectoryString a, b;
    a.setValue(DirectoryString::kUTF8String, L"Rossi");
    b.setValue(DirectoryString::kUTF8String, L"Rossi");
    std::unique_ptr<DirectoryString> copy(a.clone());
    EXPECT_EQ(a.isEqual(&b), 0);
    EXPECT_EQ(a.isEqual(copy.get()), 0);
    EXPECT_NE(a.isEqual(&a), 0);

    DirectoryString p1, p2, t1, other;
    ASSERT_NE(readInto(&p1, {0x13, 0x02, 'I', 'T'}), 0);
    ASSERT_NE(readInto(&p2, {0x13, 0x02, 'I', 'T'}), 0);
    ASSERT_NE(readInto(&t1, {0x14, 0x02, 'I', 'T'}), 0);
    ASSERT_NE(readInto(&other, {0x13, 0x02, 'I', 'S'}), 0);
    EXPECT_NE(p1.isEqual(&p2), 0) << "narrow strings compare by text";
    EXPECT_EQ(p1.isEqual(&t1), 0) << "different types";
    EXPECT_EQ(p1.isEqual(&other), 0);
    EXPECT_EQ(p1.isEqual(nullptr), 0);
}

TEST(DirectoryStringSetters, OnlyUTF8AndBMPStoreAValue) {
    DirectoryString d;
    ASSERT_NE(readInto(&d, {0x13, 0x03, 'o', 'l', 'd'}), 0);
    d.setValue("Roma");
    EXPECT_EQ(d.getType(), DirectoryString::kPrintableString);
    EXPECT_EQ(printableOf(d), "<null>") << "the PrintableString setter stores nothing";
    EXPECT_EQ(wrapped(d), (Bytes{0x13, 0x00}));

    d.setValue(DirectoryString::kUTF8String, "Citt\xC3\xA0");
    EXPECT_EQ(wrapped(d), (Bytes{0x0C, 0x06, 'C', 'i', 't', 't', 0xC3, 0xA0}));
    d.setValue(DirectoryString::kBMPString, "Ab");
    EXPECT_EQ(wrapped(d), (Bytes{0x1E, 0x04, 0x00, 'A', 0x00, 'b'}));
    d.setValue(DirectoryString::kUniversalString, L"x");
    EXPECT_EQ(wrapped(d), (Bytes{0x05, 0x00})) << "a wide type without value goes out as NULL";
    d.setValue(22, "user@example.it");
    EXPECT_TRUE(wrapped(d).empty()) << "a type outside the choice writes nothing";
}

TEST(DirectoryStringSetters, CloneKeepsTheClassOfTheWideValue) {
    const Bytes inputs[] = {
        {0x0C, 0x02, 0xC3, 0xA8},
        {0x1E, 0x02, 0x00, 0xE8},
        {0x1C, 0x04, 0x00, 0x00, 0x00, 0xE8},
        {0x14, 0x04, 'R', 'o', 'm', 'a'},
    };
    for (const Bytes& in : inputs) {
        DirectoryString d;
        ASSERT_NE(readInto(&d, in), 0);
        std::unique_ptr<DirectoryString> copy(d.clone());
        EXPECT_EQ(copy->getType(), d.getType());
        EXPECT_EQ(wrapped(*copy), wrapped(d));
    }
}

// Every cut-off value fails; a value with a byte replaced either fails or is one of the string
// types and writes out in the length it announces (the sanitizer build also checks that reading
// stays inside the data).
TEST(DirectoryStringHostile, TruncatedAndMutatedInputFailsOrStaysConsistent) {
    std::vector<Bytes> seeds;
    for (const VecCase& c : stringsTimeCases("DirectoryString")) seeds.push_back(c.hex("der"));
    for (const Bytes& in : truncations(seeds)) {
        DirectoryString d;
        EXPECT_EQ(readInto(&d, in), 0) << toHex(in.data(), in.size());
    }
    for (const Bytes& in :
         replacements(seeds, {0x00, 0x05, 0x0C, 0x13, 0x1C, 0x1E, 0x84, 0xFF}, 6)) {
        DirectoryString d;
        if (!readInto(&d, in)) continue;
        const unsigned char t = d.getType();
        EXPECT_TRUE(t == 0x0C || t == 0x13 || t == 0x14 || t == 0x1C || t == 0x1E)
            << toHex(in.data(), in.size());
        unsigned int announced = 0;
        EXPECT_EQ(wrapped(d, &announced).size(), announced);
    }
}

}  // namespace
