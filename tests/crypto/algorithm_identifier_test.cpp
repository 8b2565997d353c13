// AlgorithmIdentifier, its list and set forms, DigestInfo and Signature against asn1crypto.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/AlgorithmParameter.h"
#include "crypto/DigestInfo.h"
#include "crypto/Signature.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/algorithm_vectors.vec"));
    return all;
}

std::unique_ptr<Buffer> bufferOf(const std::vector<unsigned char>& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

template <class T>
std::vector<unsigned char> encode(T& object) {
    Buffer b;
    b.enlarge(object.getWrapLength(&b));
    object.wrapASN1(&b);
    EXPECT_EQ(b.getWritePos(), object.getWrapLength(&b));
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

TEST(AlgorithmIdentifier, AbsentAndNullParametersRoundTripAsTheyCame) {
    for (const VecCase& c : casesOfKind(vectors(), "algorithm")) {
        auto in = bufferOf(c.hex("der"));
        AlgorithmIdentifier a;
        ASSERT_TRUE(a.unwrapASN1(in.get())) << c.where();
        EXPECT_TRUE(a.isEqual(c.get("oid").c_str())) << c.where();
        std::unique_ptr<char[]> dotted(a.getAlgorithm());
        EXPECT_EQ(std::string(dotted.get()), c.get("oid"));
        std::string kind = c.get("parameters");
        EXPECT_EQ(a.getUseParameters(), kind == "absent" ? 0 : 255) << c.where();
        EXPECT_EQ(a._getParameters() != nullptr, kind == "other") << c.where();
        EXPECT_EQ(encode(a), c.hex("der")) << c.where();
        std::unique_ptr<AlgorithmIdentifier> copy(a.clone());
        EXPECT_EQ(encode(*copy), c.hex("der")) << c.where();
    }
}

TEST(AlgorithmIdentifier, SwitchingTheParametersFlag) {
    AlgorithmIdentifier sha256("2.16.840.1.101.3.4.2.1");
    EXPECT_EQ(encode(sha256), fromHex("300d06096086480165030402010500"));
    sha256.setUseParameters(0);
    EXPECT_EQ(encode(sha256), fromHex("300b0609608648016503040201"));
    AlgorithmIdentifier sha1("1.3.14.3.2.26");
    EXPECT_TRUE(sha1.isEqual(std::unique_ptr<AlgorithmIdentifier>(sha1.clone()).get()));
    EXPECT_FALSE(sha1.isEqual(&sha256));
    AlgorithmIdentifier none;
    EXPECT_EQ(none.getAlgorithm(), nullptr);
    EXPECT_FALSE(none.isEqual("1.3.14.3.2.26"));
}

TEST(AlgorithmIdentifier, MalformedInputFailsAndFreesCleanly) {
    for (const char* hex : {"", "3000", "300206", "30050603", "300b06096086480165030402",
                            "300d060960864801650304020105", "300806052b0e03021a05"}) {
        auto in = bufferOf(fromHex(hex));
        AlgorithmIdentifier a;
        EXPECT_FALSE(a.unwrapASN1(in.get())) << hex;
    }
}

TEST(AlgorithmIdentifierLists, SetAndSequenceOf) {
    for (const char* kind : {"algorithm_set", "algorithm_list"}) {
        for (const VecCase& c : casesOfKind(vectors(), kind)) {
            int count = std::stoi(c.get("count"));
            auto in = bufferOf(c.hex("der"));
            if (std::string(kind) == "algorithm_set") {
                AlgorithmIdentifierSet set;
                ASSERT_TRUE(set.unwrapASN1(in.get())) << c.where();
                EXPECT_EQ(set.getCount(), count);
                EXPECT_TRUE(set.contains("2.16.840.1.101.3.4.2.1"));
                EXPECT_EQ(encode(set), c.hex("der"));
                std::unique_ptr<AlgorithmIdentifierSet> copy(set.clone());
                EXPECT_EQ(encode(*copy), c.hex("der"));
            } else {
                AlgorithmIdentifierList list;
                ASSERT_TRUE(list.unwrapASN1(in.get())) << c.where();
                EXPECT_EQ(list.getCount(), count);
                std::unique_ptr<AlgorithmIdentifier> first(list.getAlgorithm(0));
                EXPECT_TRUE(first->isEqual("1.3.14.3.2.26"));
                EXPECT_EQ(list.getAlgorithm(count), nullptr);
                EXPECT_EQ(encode(list), c.hex("der"));
            }
        }
    }
}

TEST(AlgorithmIdentifierLists, IndefiniteAndEmptyForms) {
    // SET OF in indefinite form, as streaming signers write it.
    auto in = bufferOf(fromHex("3180" "300906052b0e03021a0500" "300b0609608648016503040201" "0000"));
    AlgorithmIdentifierSet set;
    ASSERT_TRUE(set.unwrapASN1(in.get()));
    EXPECT_EQ(set.getCount(), 2);
    EXPECT_TRUE(in->isEmpty());

    auto emptyIndefinite = bufferOf(fromHex("31800000"));
    AlgorithmIdentifierSet none;
    EXPECT_TRUE(none.unwrapASN1(emptyIndefinite.get()));
    EXPECT_EQ(none.getCount(), 0);
    auto emptyDefinite = bufferOf(fromHex("3000"));
    AlgorithmIdentifierList list;
    EXPECT_TRUE(list.unwrapASN1(emptyDefinite.get()));
    EXPECT_EQ(list.getCount(), 0);
}

TEST(AlgorithmIdentifierLists, FailingElementStaysOutButEarlierOnesStay) {
    auto in = bufferOf(fromHex("3110" "300906052b0e03021a0500" "3003040100"));
    AlgorithmIdentifierSet set;
    EXPECT_FALSE(set.unwrapASN1(in.get()));
    EXPECT_EQ(set.getCount(), 1);
    auto noEnd = bufferOf(fromHex("3180300906052b0e03021a0500"));
    AlgorithmIdentifierSet unterminated;
    EXPECT_FALSE(unterminated.unwrapASN1(noEnd.get()));
    auto tooLong = bufferOf(fromHex("3184000000ff300906052b0e03021a0500"));
    AlgorithmIdentifierSet overlong;
    EXPECT_FALSE(overlong.unwrapASN1(tooLong.get()));
}

TEST(DigestInfo, ReadWriteAndCompare) {
    for (const VecCase& c : casesOfKind(vectors(), "digest_info")) {
        auto in = bufferOf(c.hex("der"));
        DigestInfo di;
        ASSERT_TRUE(di.unwrapASN1(in.get())) << c.where();
        EXPECT_EQ(toHex(di._getDigest(), di.getLength()), c.get("digest"));
        EXPECT_EQ(encode(di), c.hex("der")) << c.where();
        std::unique_ptr<DigestInfo> copy(di.clone());
        EXPECT_TRUE(di.isEqual(copy.get()));
        // Same digest under another algorithm, or one byte changed: not equal.
        std::vector<unsigned char> changed = c.hex("digest");
        changed[0] ^= 1;
        copy->setDigest(changed.data(), static_cast<unsigned int>(changed.size()));
        EXPECT_FALSE(di.isEqual(copy.get()));
        DigestInfo other("1.2.840.113549.2.5", di._getDigest(), di.getLength());
        EXPECT_FALSE(di.isEqual(&other));
        // Without the NULL the encoding loses two bytes.
        di.setUseAlgorithmParameters(0);
        EXPECT_EQ(encode(di).size() + 2, c.hex("der").size());
    }
    auto nullDigest = bufferOf(fromHex("300b300906052b0e03021a05000500"));
    DigestInfo di;
    EXPECT_FALSE(di.unwrapASN1(nullDigest.get()));
}

TEST(Signature, KeepsLeadingZeroBytes) {
    std::vector<unsigned char> bytes = {0x00, 0x00, 0x17, 0xFF};
    Signature s(bytes.data(), 4);
    std::vector<unsigned char> der = encode(s);
    EXPECT_EQ(der, fromHex("0305000000" "17ff"));
    auto in = bufferOf(der);
    Signature back;
    ASSERT_TRUE(back.unwrapASN1(in.get()));
    std::unique_ptr<unsigned char[]> copy(back.getSign());
    EXPECT_EQ(std::vector<unsigned char>(copy.get(), copy.get() + back.getLength()), bytes);
    Signature empty;
    EXPECT_EQ(encode(empty), fromHex("0501"));
}

}  // namespace
