// OID values and OIDList, the SEQUENCE OF OBJECT IDENTIFIER.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "asn1/OIDList.h"

namespace {

std::string text(const OID& oid) {
    std::unique_ptr<char[]> t(oid.getValue());
    return t.get();
}

TEST(Oid, DottedTextComparisonAndPrefix) {
    OID oid("1.2.3");
    EXPECT_TRUE(oid.isEqual("1.2.3"));
    EXPECT_TRUE(oid == "1.2.3");
    EXPECT_FALSE(oid.isEqual("1.2.3.0"));
    EXPECT_FALSE(oid.isEqual("1.2"));
    EXPECT_TRUE(oid.hasPrefix("1.2"));
    EXPECT_TRUE(oid.hasPrefix("1.2.3"));
    EXPECT_FALSE(oid.hasPrefix("1.2.3.4"));
    EXPECT_FALSE(oid.hasPrefix("1.3"));
    EXPECT_EQ(text(oid), "1.2.3");
    EXPECT_EQ(text(OID("2.5.4.4294967295")), "2.5.4.4294967295");
}

TEST(Oid, EmptyOidPrintsItsPlaceholder) {
    OID empty;
    EXPECT_EQ(text(empty), "0.0.0.0.0.0.0.");
    EXPECT_EQ(empty.getLength(), 0);
}

TEST(Oid, MoreThanSixtyFourArcsOverflow) {
    std::string dotted = "1";
    for (int i = 0; i < 64; ++i) dotted += ".7";
    OID oid;
    EXPECT_FALSE(oid.setValue(dotted.c_str()));
    EXPECT_EQ(oid.getLength(), 64);
    EXPECT_TRUE(oid.hasOverflow());
    // Unequal to everything, itself included; the argument's flag is not consulted.
    EXPECT_FALSE(oid.isEqual(&oid));
    OID other(dotted.c_str());
    OID plain("1.7");
    EXPECT_FALSE(plain.isEqual(&other));
    EXPECT_TRUE(oid.hasPrefix("1.7.7"));
    // Long text is cut at the end of the text, never written past it.
    EXPECT_LT(text(oid).size(), OID::kTextSize);
}

TEST(Oid, PositionsOutOfRange) {
    OID oid("1.2");
    EXPECT_EQ(oid.getPos(64), 0u);
    EXPECT_EQ(oid.getPos(-1), 0u);
    EXPECT_FALSE(oid.setPos(64, 1));
    EXPECT_TRUE(oid.hasOverflow());
    EXPECT_FALSE(oid.setLength(65));
    EXPECT_EQ(oid.getLength(), 64);
}

TEST(Oid, CloneIsIndependent) {
    OID oid("1.2.840.113549");
    std::unique_ptr<OID> copy(oid.clone());
    oid.setValue("2.5");
    EXPECT_TRUE(copy->isEqual("1.2.840.113549"));
}

TEST(OidList, RoundTripAndQueries) {
    OIDList list("1.3.6.1.5.5.7.3.8");
    list.addOID("2.5.29.37.0");
    EXPECT_TRUE(list.isEqual(1, "2.5.29.37.0"));
    EXPECT_FALSE(list.isEqual(2, "2.5.29.37.0"));
    EXPECT_TRUE(list.contains("1.3.6.1.5.5.7.3.8"));
    std::unique_ptr<char[]> second(list.getOID(1));
    EXPECT_STREQ(second.get(), "2.5.29.37.0");
    EXPECT_EQ(list.getOID(5), nullptr);

    Buffer b;
    b.enlarge(list.getWrapLength(&b));
    list.wrapASN1(&b);
    EXPECT_EQ(b.getWritePos(), list.getWrapLength(&b));
    // Extended key usage (timeStamping, anyExtendedKeyUsage) as asn1crypto encodes it.
    std::vector<unsigned char> expected = {0x30, 0x10, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x05,
                                           0x05, 0x07, 0x03, 0x08, 0x06, 0x04, 0x55, 0x1D,
                                           0x25, 0x00};
    EXPECT_EQ(std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos()), expected);

    OIDList back;
    ASSERT_TRUE(back.unwrapASN1(&b));
    ASSERT_EQ(back.getCount(), 2);
    std::unique_ptr<OIDList> copy(back.clone());
    EXPECT_TRUE(copy->isEqual(0, "1.3.6.1.5.5.7.3.8"));
}

TEST(OidList, ElementRunningPastTheEndFails) {
    // The SEQUENCE claims 3 bytes but its OID runs to 4.
    std::vector<unsigned char> bad = {0x30, 0x03, 0x06, 0x02, 0x2A, 0x03};
    Buffer b;
    b.fromByteArray(bad.data(), static_cast<unsigned int>(bad.size()));
    OIDList list;
    EXPECT_FALSE(list.unwrapASN1(&b));
    EXPECT_EQ(list.getCount(), 0);
    std::vector<unsigned char> tagged = {0xA3, 0x03, 0x06, 0x01, 0x2A};
    b.fromByteArray(tagged.data(), static_cast<unsigned int>(tagged.size()));
    EXPECT_TRUE(list.unwrapASN1(0xA3, &b));
    EXPECT_EQ(list.getCount(), 1);
}

}  // namespace
