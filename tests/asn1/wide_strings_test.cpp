// ISO10646 (UniversalString), Unicode (BMPString) and UTF8 (UTF8String).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "asn1/ISO10646.h"
#include "asn1/UTF8.h"
#include "asn1/Unicode.h"
#include "asn1/string_test_support.h"

// glibc's newlocale loses the search list it builds from LOCPATH (only the Latin-1 test below
// sets it): the library makes one locale object per thread and change of the environment, so
// the loss is bounded, and it is not the library's to free.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep\n";
}

namespace {

std::wstring valueOf(const ISO10646& s) {
    std::unique_ptr<wchar_t[]> v(s.getValue());
    return v ? std::wstring(v.get()) : std::wstring(L"<null>");
}

std::string textOf(UTF8& s) {
    std::unique_ptr<char[]> v(s.getValue());
    return v ? std::string(v.get()) : std::string("<null>");
}

std::string printable(const ISO10646& s) {
    std::unique_ptr<char[]> p(s.getPrintable());
    return std::string(p.get());
}

std::string str(const Bytes& b) {
    return std::string(b.begin(), b.end());
}

std::vector<VecCase> casesWithTag(int tag) {
    std::vector<VecCase> out;
    for (const VecCase& c : stringsTimeCases("DirectoryString")) {
        if (std::stoi(c.get("tag")) == tag) out.push_back(c);
    }
    return out;
}

TEST(UTF8Decode, AcceptsRFC2279FormsAndRefusesBadOrCutSequences) {
    const std::pair<const char*, unsigned int> good[] = {
        {"\xC3\xA8", 0xE8},
        {"\xF0\x9F\x98\x80", 0x1F600},
        {"\xF8\x88\x80\x80\x80", 0x200000},
        {"\xFD\xBF\xBF\xBF\xBF\xBF", 0x7FFFFFFF},
        {"\xC1\x81", 0x41},  // overlong forms are accepted
        {"\xC3\x28", 0xE8},  // continuation bytes are not checked
    };
    for (const auto& g : good) {
        EXPECT_EQ(valueOf(UTF8(g.first)), std::wstring(1, static_cast<wchar_t>(g.second)));
    }
    // A continuation byte or FE/FF in lead position, and sequences cut by the end of the text.
    const char* bad[] = {"\x85", "ab\xBF", "\xFE\x80", "\xFF", "x\xE2\x82", "\xF0\x9F\x98", "\xC3"};
    for (const char* text : bad) {
        // An exact heap copy, so that the sanitizer build catches a read past the end.
        std::unique_ptr<char[]> exact(new char[strlen(text) + 1]);
        memcpy(exact.get(), text, strlen(text) + 1);
        UTF8 s(exact.get());
        EXPECT_EQ(valueOf(s), L"<null>") << text;
        EXPECT_EQ(textOf(s), "<null>") << text;
    }
    UTF8 s;
    EXPECT_EQ(readInto(&s, {0x0C, 0x02, 0x85, 0x41}), 0);
}

TEST(UTF8Encode, UsesOneToSixBytesByRange) {
    const std::pair<unsigned int, Bytes> cases[] = {
        {0x7F, {0x7F}},
        {0x80, {0xC2, 0x80}},
        {0x800, {0xE0, 0xA0, 0x80}},
        {0xD800, {0xED, 0xA0, 0x80}},  // no surrogate handling
        {0x10000, {0xF0, 0x90, 0x80, 0x80}},
        {0x200000, {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {0x3FFFFFF, {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}},
        {0x4000000, {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}},
    };
    for (const auto& c : cases) {
        wchar_t chars[2] = {static_cast<wchar_t>(c.first), 0};
        UTF8 s(chars);
        EXPECT_EQ(textOf(s), str(c.second)) << std::hex << c.first;
        EXPECT_EQ(s.getLen(), c.second.size());
        EXPECT_EQ(valueOf(UTF8(textOf(s).c_str())), std::wstring(chars)) << std::hex << c.first;
    }
    std::unique_ptr<char[]> latin(UTF8::encode("A\xE8\xFF"));
    EXPECT_STREQ(latin.get(), "A\xC3\xA8\xC3\xBF");
}

TEST(UTF8Vectors, ReadAndWriteLikeAsn1crypto) {
    std::vector<VecCase> cases = casesWithTag(UTF8::kTag);
    ASSERT_GE(cases.size(), 4u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        UTF8 read;
        ASSERT_NE(readInto(&read, c.hex("der")), 0);
        EXPECT_EQ(valueOf(read), codePoints(c.get("codepoints")));
        EXPECT_EQ(textOf(read), str(c.hex("utf8")));
        EXPECT_EQ(wrapped(read), c.hex("der"));
        // Built from characters, the encoder must produce the same DER.
        UTF8 built(codePoints(c.get("codepoints")).c_str());
        unsigned int announced = 0;
        EXPECT_EQ(wrapped(built, &announced), c.hex("der"));
        EXPECT_EQ(announced, c.hex("der").size());
    }
    UTF8 null(L"old");
    ASSERT_NE(readInto(&null, {0x05, 0x00}), 0);
    EXPECT_EQ(valueOf(null), L"<null>");
    EXPECT_EQ(wrapped(null), (Bytes{0x05, 0x00}));
}

TEST(UniversalString, ReadsBigEndianButWritesHostOrder) {
    for (const VecCase& c : casesWithTag(ISO10646::kTag)) {
        ISO10646 s;
        ASSERT_NE(readInto(&s, c.hex("der")), 0);
        EXPECT_EQ(valueOf(s), codePoints(c.get("codepoints")));
    }
    ISO10646 partial;
    ASSERT_NE(readInto(&partial, {0x1C, 0x05, 0x00, 0x00, 0x00, 0x42, 0x99}), 0);
    EXPECT_EQ(valueOf(partial), L"B") << "a partial group is ignored";
    EXPECT_EQ(readInto(&partial, {0x1E, 0x02, 0x00, 0x42}), 0);
    EXPECT_EQ(wrapped(partial), (Bytes{0x05, 0x00}));

    if (!littleEndianHost()) return;
    ISO10646 a(L"A");
    EXPECT_EQ(wrapped(a), (Bytes{0x1C, 0x04, 0x41, 0x00, 0x00, 0x00}));
    ISO10646 back;
    ASSERT_NE(readInto(&back, wrapped(a)), 0);
    EXPECT_EQ(valueOf(back), std::wstring(1, static_cast<wchar_t>(0x41000000)));
}

TEST(ISO10646Value, SignExtendsBytesComparesAndMatchesWildcards) {
    ISO10646 s("a\xE8");
    EXPECT_EQ(valueOf(s), (std::wstring{L'a', static_cast<wchar_t>(-24)}));
    s.setValue(L"xyz");
    EXPECT_EQ(valueOf(s), L"xyz");

    ISO10646 abc(L"abc"), abd(L"abd"), none;
    EXPECT_TRUE(abc == ISO10646(L"abc"));
    EXPECT_TRUE(abc != abd);
    EXPECT_TRUE(abc < abd && abd > abc && abc <= abc && abd >= abc);
    EXPECT_TRUE(none < abc);
    EXPECT_TRUE(ISO10646(L"a%c") %= abc);
    EXPECT_FALSE(ISO10646(L"a%") %= abc) << "lengths must agree";
    EXPECT_FALSE(ISO10646(L"a%d") %= abc);
    EXPECT_FALSE(abc %= ISO10646(L"a%c")) << "only the left side holds wildcards";
}

TEST(BMPString, ReadsAndWritesLikeAsn1cryptoKeepingLow16Bits) {
    for (const VecCase& c : casesWithTag(Unicode::kTag)) {
        Bytes der = c.hex("der");
        Unicode read;
        ASSERT_NE(readInto(&read, der), 0);
        EXPECT_EQ(valueOf(read), codePoints(c.get("codepoints")));
        EXPECT_EQ(wrapped(read), der);
        EXPECT_EQ(valueOf(Unicode(der.data() + 2, static_cast<unsigned int>(der.size() - 2))),
                  valueOf(read));
        // getValue gives the content as it travels, then two zero bytes.
        std::unique_ptr<unsigned short[]> units(read.getValue());
        const unsigned char* raw = reinterpret_cast<const unsigned char*>(units.get());
        Bytes content(der.begin() + 2, der.end());
        content.insert(content.end(), {0, 0});
        EXPECT_EQ(Bytes(raw, raw + content.size()), content);
    }
    Unicode beyond(L"\x1F600");
    EXPECT_EQ(wrapped(beyond), (Bytes{0x1E, 0x02, 0xF6, 0x00}));
    Unicode odd;
    ASSERT_NE(readInto(&odd, {0x1E, 0x03, 0x00, 0x42, 0x00}), 0);
    EXPECT_EQ(valueOf(odd), L"B");
}

// Every cut-off value fails in all three readers; a value with a byte replaced either fails or
// reads into something that writes back and reads again as the same characters, and a reader
// never takes another type's tag (the sanitizer build also checks that all stays in bounds).
TEST(WideStringsHostile, TruncatedAndMutatedInputFailsOrStaysConsistent) {
    std::vector<Bytes> seeds = {
        {0x0C, 0x07, 0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF, 0x41},
        {0x0C, 0x06, 0x61, 0xF0, 0x9F, 0x98, 0x80, 0x62},
        {0x1E, 0x04, 0x00, 0xE8, 0x20, 0xAC},
        {0x1C, 0x08, 0x00, 0x00, 0x00, 0xE8, 0x00, 0x01, 0xF6, 0x00},
    };
    for (const Bytes& in : truncations(seeds)) {
        UTF8 u;
        Unicode bmp;
        ISO10646 iso;
        EXPECT_EQ(readInto(&u, in), 0) << toHex(in.data(), in.size());
        EXPECT_EQ(readInto(&bmp, in), 0) << toHex(in.data(), in.size());
        EXPECT_EQ(readInto(&iso, in), 0) << toHex(in.data(), in.size());
    }
    int accepted = 0;
    for (const Bytes& in :
         replacements(seeds, {0x00, 0x05, 0x0C, 0x1C, 0x1E, 0x80, 0x84, 0xC3, 0xFF})) {
        const std::string where = toHex(in.data(), in.size());
        UTF8 u;
        if (readInto(&u, in)) {
            ++accepted;
            EXPECT_TRUE(in[0] == 0x0C || in[0] == 0x05) << where;
            UTF8 again;
            ASSERT_NE(readInto(&again, wrapped(u)), 0) << where;
            EXPECT_EQ(valueOf(again), valueOf(u)) << where;
        }
        Unicode bmp;
        if (readInto(&bmp, in)) {
            ++accepted;
            EXPECT_TRUE(in[0] == 0x1E || in[0] == 0x05) << where;
            Unicode again;
            ASSERT_NE(readInto(&again, wrapped(bmp)), 0) << where;
            EXPECT_EQ(valueOf(again), valueOf(bmp)) << where;
        }
        ISO10646 iso;
        if (readInto(&iso, in)) {
            ++accepted;
            EXPECT_TRUE(in[0] == 0x1C || in[0] == 0x05) << where;
            unsigned int announced = 0;
            EXPECT_EQ(wrapped(iso, &announced).size(), announced) << where;
        }
    }
    EXPECT_GT(accepted, 0);
}

TEST(Printable, ConvertsForTheEnvironmentsLocale) {
    {
        ScopedLocaleEnv env("C.UTF-8");
        for (const VecCase& c : stringsTimeCases("DirectoryString")) {
            EXPECT_EQ(printable(ISO10646(codePoints(c.get("codepoints")).c_str())),
                      str(c.hex("utf8")))
                << c.get("name");
        }
        EXPECT_EQ(printable(ISO10646()), "");
    }
    // In the ASCII-only C locale neither conversion works, and each such character becomes '?'.
    ScopedLocaleEnv env("C");
    EXPECT_EQ(printable(ISO10646(L"a\x02C6z")), "a?z");
}

// The locale is the one the environment names at each call, whichever came first, and the
// process's own locale stays as the program set it.
TEST(Printable, FollowsTheEnvironmentFromCallToCallAndLeavesTheProcessLocale) {
    std::string before = setlocale(LC_CTYPE, nullptr);
    {
        ScopedLocaleEnv env("C");
        EXPECT_EQ(printable(ISO10646(L"a\x02C6z")), "a?z");
    }
    {
        ScopedLocaleEnv env("C.UTF-8");
        EXPECT_EQ(printable(ISO10646(L"a\x02C6z")), "a\xCB\x86z");
        EXPECT_EQ(setlocale(LC_CTYPE, nullptr), before);
        // Threads converting at once all see it, with no process-wide switch between them.
        std::vector<std::thread> threads;
        std::vector<int> wrong(4, 0);
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([t, &wrong] {
                for (int i = 0; i < 200; ++i) {
                    if (printable(ISO10646(L"\x00E8\x20AC")) != "\xC3\xA8\xE2\x82\xAC") {
                        ++wrong[t];
                    }
                }
            });
        }
        for (std::thread& th : threads) th.join();
        EXPECT_EQ(wrong, std::vector<int>(4, 0));
    }
    ScopedLocaleEnv env("C");
    EXPECT_EQ(printable(ISO10646(L"\x00E8")), "?");
}

TEST(Printable, FoldsDiacriticsIntoLatin1WhenTheLocaleIsNarrow) {
    char dir[] = "/tmp/sigilo-locale-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string cmd = std::string("localedef -i C -f ISO-8859-1 ") + dir + "/C.ISO-8859-1";
    if (system((cmd + " >/dev/null 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "localedef cannot build a Latin-1 locale here";
    }
    {
        ScopedLocaleEnv env("C.ISO-8859-1", dir);
        EXPECT_EQ(printable(ISO10646(L"\xE8")), "\xE8");
        EXPECT_EQ(printable(ISO10646(L"A\x02C6")), "A\xC6") << "U+02C6 folds to its low byte";
        EXPECT_EQ(printable(ISO10646(L"\x20AC!")), "?!") << "outside the folding range";
    }
    system((std::string("rm -rf ") + dir).c_str());
}

}  // namespace
