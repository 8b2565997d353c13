// X500Time: UTCTime and GeneralizedTime, the zone swap, arithmetic and printing.
#include "asn1/X500Time.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/string_test_support.h"

namespace {

std::string take(char* s) {
    std::unique_ptr<char[]> owned(s);
    return owned ? std::string(owned.get()) : std::string("<null>");
}

std::string textOf(const X500Time& t) {
    return take(t.getValue());
}

Bytes timeDer(unsigned char tag, const std::string& text) {
    Bytes out;
    out.reserve(text.size() + 2);
    out.push_back(tag);
    out.push_back(static_cast<unsigned char>(text.size()));
    for (char c : text) out.push_back(static_cast<unsigned char>(c));
    return out;
}

void expectFailureMarkers(const X500Time& t) {
    EXPECT_EQ(textOf(t), "000000000000Z");
    EXPECT_EQ(t.getClockValue(), -1);
    EXPECT_EQ(t.getFraction(), 0u);
    EXPECT_EQ(take(t.getFractionText()), "");
}

std::vector<VecCase> allTimeCases() {
    std::vector<VecCase> cases = stringsTimeCases("UTCTime");
    std::vector<VecCase> generalized = stringsTimeCases("GeneralizedTime");
    cases.insert(cases.end(), generalized.begin(), generalized.end());
    return cases;
}

// Every test starts in UTC with the C conventions for %x, whatever ran before.
class X500TimeTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(X500Time::setTimeZone("TZ=UTC"), 0);
        setlocale(LC_TIME, "C");
    }
    void TearDown() override { X500Time::setTimeZone("TZ=UTC"); }
};

TEST_F(X500TimeTest, ReadsWritesAndPrintsLikeAsn1crypto) {
    std::vector<VecCase> cases = allTimeCases();
    ASSERT_GE(cases.size(), 15u);
    for (const VecCase& c : cases) {
        SCOPED_TRACE(c.get("name"));
        std::string digits = c.get("fraction_digits");
        X500Time t;
        ASSERT_NE(readInto(&t, c.hex("der")), 0);
        EXPECT_EQ(t.getFormat(), std::stoi(c.get("tag")));
        EXPECT_EQ(textOf(t), c.get("text"));
        EXPECT_EQ(t.getClockValue(), std::stol(c.get("clock")));
        // Read from BER, the fraction is the number its digits spell, without scale.
        EXPECT_EQ(t.getFraction(), strtoul(digits.c_str(), nullptr, 10));
        EXPECT_EQ(take(t.getFractionText()), digits);
        unsigned int announced = 0;
        EXPECT_EQ(wrapped(t, &announced), c.hex("der"));
        EXPECT_EQ(announced, c.hex("der").size());
        std::string fraction = digits.empty() ? "" : "." + digits;
        EXPECT_EQ(take(t.printGMDateTime()), c.get("gm_datetime") + fraction + " GMT");
        EXPECT_EQ(take(t.getGeneralizedDate()), c.get("gm_generalized_date"));

        // Set from text, the clock is the same and the fraction counts in millionths.
        X500Time s;
        bool utc = c.kind == "UTCTime";
        EXPECT_NE(utc ? s.setUTCValue(c.get("text").c_str())
                      : s.setGeneralizedValue(c.get("text").c_str()),
                  0);
        EXPECT_EQ(s.getClockValue(), std::stol(c.get("clock")));
        if (!utc) {
            EXPECT_EQ(s.getFraction(), std::stoul(c.get("micros")));
        }

        // Set from the clock, the text is the one asn1crypto writes for a zone of Z.
        std::string text = c.get("text");
        if (text.back() != 'Z' || (utc && text.size() != 13) || s.getClockValue() == -1) continue;
        if (utc) {
            s.setUTCValue(std::stol(c.get("clock")));
        } else {
            s.setGeneralizedValue(std::stol(c.get("clock")), std::stoul(c.get("micros")));
        }
        EXPECT_EQ(wrapped(s), c.hex("der"));
    }
}

TEST_F(X500TimeTest, YearPivotAndOffsets) {
    X500Time t, zulu, ahead, behind;
    ASSERT_NE(t.setUTCValue("4912312359Z"), 0);
    EXPECT_EQ(t.getClockValue(), 2524607940L);  // 2049-12-31 23:59:00
    ASSERT_NE(t.setUTCValue("5001010000Z"), 0);
    EXPECT_EQ(t.getClockValue(), -631152000L);  // 1950-01-01 00:00:00

    ASSERT_NE(zulu.setUTCValue("010203040506Z"), 0);
    ASSERT_NE(ahead.setUTCValue("010203040506+0100"), 0);
    ASSERT_NE(behind.setGeneralizedValue("20010203040506-0130"), 0);
    EXPECT_EQ(ahead.getClockValue(), zulu.getClockValue() - 3600);
    EXPECT_EQ(behind.getClockValue(), zulu.getClockValue() + 5400);
    EXPECT_EQ(textOf(ahead), "010203040506+0100");
    ASSERT_NE(t.setUTCValue("010203040506"), 0);
    EXPECT_EQ(textOf(t), "010203040506Z") << "a time without zone counts as UTC";
}

TEST_F(X500TimeTest, ParsedAndSetFractionsDifferInScale) {
    X500Time parsed, set;
    ASSERT_NE(readInto(&parsed, timeDer(24, "20010203040506.5Z")), 0);
    ASSERT_NE(set.setGeneralizedValue("20010203040506.5Z"), 0);
    EXPECT_EQ(parsed.getFraction(), 5u);
    EXPECT_EQ(set.getFraction(), 500000u);
    EXPECT_TRUE(parsed != set);
    EXPECT_TRUE(parsed < set);

    // The setter drops trailing zeros of the fraction from the text as well.
    const char* cases[][3] = {
        {"20010203040506.500Z", "20010203040506.5Z", "5"},
        {"20010203040506.000Z", "20010203040506Z", ""},
        {"20010203040506.1234567Z", "20010203040506.123456Z", "123456"},
        {"20010203040506.250+0100", "20010203040506.25+0100", "25"},
        {"20010203040506.1", "20010203040506.1Z", "1"},
    };
    for (const auto& c : cases) {
        ASSERT_NE(set.setGeneralizedValue(c[0]), 0) << c[0];
        EXPECT_EQ(textOf(set), c[1]);
        EXPECT_EQ(take(set.getFractionText()), c[2]);
    }
}

TEST_F(X500TimeTest, BadInputGivesTheFailureMarkers) {
    const Bytes inputs[] = {
        {0x17, 0x00},                               // empty value
        {0x05, 0x00},                               // NULL
        {},                                         // nothing at all
        {0x17, 0x03, 'a', 'b', 'c'},                // no digits
        {0x17, 0x0D, '0', '1', '0', '2'},           // cut short
        timeDer(24, "2001020304Z"),                 // GeneralizedTime needs six fields
        {0x17, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, '0'},  // length far past the data
    };
    for (const Bytes& in : inputs) {
        X500Time t;
        ASSERT_NE(t.setGeneralizedValue("20010203040506.5+0100"), 0);
        EXPECT_EQ(readInto(&t, in), 0);
        expectFailureMarkers(t);
    }
    X500Time t;
    EXPECT_EQ(t.setUTCValue("garbage"), 0);
    expectFailureMarkers(t);
    EXPECT_EQ(t.setGeneralizedValue("2001"), 0);
    expectFailureMarkers(t);
}

TEST_F(X500TimeTest, LongTextIsCutAndAnyTagReadsAsUTCTime) {
    std::string longText = "20010203040506.123456789012345678901234567890Z";
    X500Time t;
    ASSERT_NE(readInto(&t, timeDer(24, longText)), 0);
    EXPECT_EQ(textOf(t), longText.substr(0, 26));
    EXPECT_EQ(t.getClockValue(), 981173106L);
    EXPECT_EQ(t.getFraction(), 123456u);
    EXPECT_NE(t.setGeneralizedValue(std::string(4000, '9').c_str()), 0);
    EXPECT_EQ(textOf(t).size(), 26u);

    ASSERT_NE(readInto(&t, timeDer(0x04, "010203040506Z")), 0);
    EXPECT_EQ(t.getFormat(), 0x04);
    EXPECT_EQ(t.getClockValue(), 981173106L);
    EXPECT_EQ(wrapped(t), timeDer(0x04, "010203040506Z"));
}

TEST_F(X500TimeTest, ClockAndDateSetters) {
    X500Time t;
    EXPECT_EQ(textOf(t), "700101000000Z");
    t.setGeneralizedValue(0L, 1);
    EXPECT_EQ(textOf(t), "19700101000000.000001Z");
    t.setGeneralizedValue(0L, 1000000);
    EXPECT_EQ(textOf(t), "19700101000000Z");
    EXPECT_EQ(t.getFraction(), 0u);
    t.setUTCValue(-1L);
    EXPECT_EQ(textOf(t), "999999999999");
    EXPECT_EQ(t.getFormat(), X500Time::kGeneralizedTime) << "the format stays";

    ASSERT_NE(t.setUTCDate("010203235959Z"), 0);
    EXPECT_EQ(textOf(t), "010203000000Z");
    EXPECT_EQ(t.getClockValue(), 981158400L);
    t.setGeneralizedValue(0L, 500000);
    ASSERT_NE(t.setGeneralizedDate("20010203123456Z"), 0);
    EXPECT_EQ(textOf(t), "20010203000000Z");
    EXPECT_EQ(t.getClockValue(), 981158400L);
    EXPECT_EQ(t.getFraction(), 500000u) << "the date setter leaves the fraction alone";
}

TEST_F(X500TimeTest, MidnightAndShiftsRebuildTheTextInItsFormat) {
    X500Time t;
    ASSERT_NE(t.setGeneralizedValue("20010203040506.75Z"), 0);
    std::unique_ptr<X500Time> copy(t.clone());
    t.backToMidnightUTC();
    EXPECT_EQ(textOf(t), "20010203000000Z");
    EXPECT_EQ(t.getFraction(), 0u);
    EXPECT_EQ(textOf(*copy), "20010203040506.75Z") << "the clone is independent";

    ASSERT_NE(t.setUTCValue("010131120000Z"), 0);
    t.shiftClockDate(0, 1, 0);
    EXPECT_EQ(textOf(t), "010303120000Z") << "31 February is 3 March";
    ASSERT_NE(t.setGeneralizedValue("20000228233000.5Z"), 0);
    t.shiftClockTime(0, 45, 0);
    EXPECT_EQ(textOf(t), "20000229001500.5Z") << "2000 is a leap year; the fraction stays";
    t.shiftClockDate(1, 0, 0);
    EXPECT_EQ(textOf(t), "20010301001500.5Z");
    t.shiftClock(0, 0, -1, -1, -15, -1);
    EXPECT_EQ(textOf(t), "20010227225959.5Z");
}

TEST_F(X500TimeTest, ComparesClockThenFractionIgnoringTextAndFormat) {
    X500Time utc, gen, later, withFraction;
    ASSERT_NE(utc.setUTCValue("010203040506Z"), 0);
    ASSERT_NE(gen.setGeneralizedValue("20010203040506Z"), 0);
    ASSERT_NE(later.setGeneralizedValue("20010203040507Z"), 0);
    ASSERT_NE(withFraction.setGeneralizedValue("20010203040506.9Z"), 0);
    EXPECT_TRUE(utc == gen && utc <= gen && utc >= gen);
    EXPECT_TRUE(utc < withFraction && withFraction < later && later > withFraction);
    EXPECT_FALSE(later <= utc);
}

// ---- The zone ----

TEST_F(X500TimeTest, InitWithoutTZChoosesCET) {
    unsetenv("TZ");
    X500Time::init();
    setlocale(LC_TIME, "C");
    EXPECT_EQ(take(X500Time::getTimeZone()), "TZ=CET");
    ASSERT_NE(getenv("TZ"), nullptr);
    EXPECT_STREQ(getenv("TZ"), "CET");
    X500Time t;
    ASSERT_NE(t.setGeneralizedValue("20010203040506.25Z"), 0);
    EXPECT_EQ(take(t.printLocalDateTime()), "02/03/01 05:05:06.25 CET");
    EXPECT_EQ(take(t.printLocalDate()), "02/03/01 CET");
    ASSERT_NE(t.setGeneralizedValue("20010701220000Z"), 0);
    EXPECT_EQ(take(t.printLocalTime()), "00:00:00 CET") << "summer time";
    EXPECT_EQ(take(t.getUTCDate()), "010702");
}

TEST_F(X500TimeTest, ZoneComesBackAfterEachSwapAndIsCutTo20Characters) {
    setenv("TZ", "Europe/Rome", 1);
    X500Time::init();
    EXPECT_EQ(take(X500Time::getTimeZone()), "TZ=Europe/Rome");
    X500Time t;
    ASSERT_NE(t.setUTCValue("010701120000Z"), 0);
    EXPECT_STREQ(getenv("TZ"), "Europe/Rome");
    EXPECT_EQ(take(t.printLocalTime()), "14:00:00 Europe/Rome");

    EXPECT_EQ(X500Time::setTimeZone("Asia/Tokyo"), 0) << "not a whole entry";
    ASSERT_NE(X500Time::setTimeZone("TZ=Asia/Tokyo"), 0);
    ASSERT_NE(t.setUTCValue("010203040506Z"), 0);
    EXPECT_EQ(t.getClockValue(), 981173106L) << "parsing does not depend on the zone";
    EXPECT_EQ(take(t.printLocalTime()), "13:05:06 Asia/Tokyo");

    ASSERT_NE(X500Time::setTimeZone("TZ=America/Argentina/Buenos_Aires"), 0);
    EXPECT_EQ(take(X500Time::getTimeZone()), "TZ=America/Argentina");
    setenv("TZ", ":/usr/share/zoneinfo/Europe/Rome", 1);
    X500Time::init();
    EXPECT_EQ(take(X500Time::getTimeZone()), "TZ=:/usr/share/zonei");
}

// ---- Printing ----

TEST_F(X500TimeTest, PrintersPutTheFractionBehindTheSeconds) {
    X500Time t;
    ASSERT_NE(t.setGeneralizedValue("20010203040506.123Z"), 0);
    EXPECT_EQ(take(t.printGMTime()), "04:05:06.123 GMT");
    EXPECT_EQ(take(t.printGMDate()), "02/03/01 GMT");
    char buffer[X500Time::kPrintSize];
    EXPECT_EQ(t.printGMDateTime(buffer), buffer);
    EXPECT_STREQ(buffer, "02/03/01 04:05:06.123 GMT");

    EXPECT_EQ(take(t.printGMFormatted("%Y-%m-%dT%H:%M:%SZ")), "2001-02-03T04:05:06.123Z");
    EXPECT_EQ(take(t.printGMFormatted("[%T] %d")), "[04:05:06.123] 03");
    EXPECT_EQ(take(t.printGMFormatted("%Y%m%d")), "20010203") << "no seconds, no fraction";
    EXPECT_EQ(take(t.printGMFormatted("%%S %H")), "%S 04") << "%%S is not a conversion";
    EXPECT_EQ(take(t.printLocalFormatted("%H:%M:%S")), "04:05:06.123");
    EXPECT_EQ(take(t.printGMFormatted(nullptr)), "");

    // A short buffer holds what fits, always terminated.
    char small[12];
    memset(small, 'x', sizeof small);
    ASSERT_NE(t.setGeneralizedValue("20010203040506.123456Z"), 0);
    EXPECT_EQ(t.printGMFormatted(small, sizeof small, "%H:%M:%S"), small);
    EXPECT_STREQ(small, "04:05:06.12");
    EXPECT_EQ(t.printGMFormatted(small, 0, "%H"), nullptr);
}

// Every cut-off time fails with the failure markers; one with a byte replaced either fails the
// same way or reads into a text that fits and reads back the same once written (the sanitizer
// build also checks that reading stays inside the data).
TEST_F(X500TimeTest, TruncatedAndMutatedBERFailsOrStaysConsistent) {
    std::vector<Bytes> seeds;
    for (const VecCase& c : allTimeCases()) seeds.push_back(c.hex("der"));
    for (const Bytes& in : truncations(seeds)) {
        X500Time t;
        EXPECT_EQ(readInto(&t, in), 0) << toHex(in.data(), in.size());
        expectFailureMarkers(t);
    }
    for (const Bytes& in : replacements(seeds, {0x00, '+', '-', '.', 'Z', ' ', 0x18, 0x84, 0xFF})) {
        X500Time t;
        if (readInto(&t, in)) {
            EXPECT_LE(textOf(t).size(), 26u);
            // What was accepted writes out as a time that reads back the same.
            X500Time again;
            ASSERT_NE(readInto(&again, wrapped(t)), 0) << toHex(in.data(), in.size());
            EXPECT_EQ(textOf(again), textOf(t));
            EXPECT_EQ(again.getClockValue(), t.getClockValue());
        } else {
            expectFailureMarkers(t);
        }
    }
}

}  // namespace
