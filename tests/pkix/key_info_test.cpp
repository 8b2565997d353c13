// KeyInfo and RSAPublicKey over keys made by python3 cryptography.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/RSAPublicKey.h"
#include "pkix/KeyInfo.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/key_vectors.vec"));
    return all;
}

std::unique_ptr<Buffer> bufferOf(const std::vector<unsigned char>& v) {
    auto b = std::make_unique<Buffer>();
    b->fromByteArray(v.data(), static_cast<unsigned int>(v.size()));
    return b;
}

std::string hexOf(const BigInteger& v) {
    std::unique_ptr<char[]> t(v.toString(16));
    std::string s = t.get();
    while (s.size() > 1 && s[0] == '0') s.erase(0, 1);
    return s;
}

std::vector<unsigned char> encode(KeyInfo& info) {
    Buffer b;
    b.enlarge(info.getWrapLength(&b));
    info.wrapASN1(&b);
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

TEST(KeyInfo, RsaKeysFromCryptography) {
    for (const VecCase& c : casesOfKind(vectors(), "rsa_spki")) {
        auto in = bufferOf(c.hex("der"));
        KeyInfo info;
        ASSERT_TRUE(info.unwrapASN1(in.get())) << c.where();
        EXPECT_TRUE(info._getAlgorithm()->isEqual(KeyInfo::kRSAEncryption));
        std::unique_ptr<Key> key(info.getKey());
        ASSERT_NE(key, nullptr) << c.where();
        auto* rsa = dynamic_cast<RSAPublicKey*>(key.get());
        ASSERT_NE(rsa, nullptr);
        EXPECT_EQ(hexOf(rsa->getModulus()), c.get("modulus")) << c.where();
        EXPECT_EQ(hexOf(rsa->getPublicExponent()), c.get("exponent")) << c.where();
        EXPECT_EQ(rsa->getKeyLen(), std::stoul(c.get("bytes")));
        EXPECT_TRUE(info.isBEREncoded());
        EXPECT_EQ(encode(info), c.hex("der")) << c.where();

        // Built from the key alone, the record encodes to the same bytes.
        KeyInfo rebuilt(rsa);
        EXPECT_EQ(encode(rebuilt), c.hex("der")) << c.where();
        std::unique_ptr<KeyInfo> copy(info.clone());
        EXPECT_TRUE(copy->isEqual(&info));
    }
}

TEST(KeyInfo, PaddedModulusParsesWithTheFlagCleared) {
    for (const VecCase& c : casesOfKind(vectors(), "rsa_spki_padded")) {
        auto in = bufferOf(c.hex("der"));
        KeyInfo info;
        ASSERT_TRUE(info.unwrapASN1(in.get()));
        EXPECT_FALSE(info.isBEREncoded());
        std::unique_ptr<Key> key(info.getKey());
        ASSERT_NE(key, nullptr);
        EXPECT_EQ(hexOf(static_cast<RSAPublicKey*>(key.get())->getModulus()), c.get("modulus"));
        // The bits are kept as they came, padding included.
        EXPECT_EQ(encode(info), c.hex("der"));
    }
}

TEST(KeyInfo, OtherAlgorithmsAndBadBitsGiveNoKey) {
    KeyInfo ec;
    AlgorithmIdentifier ecAlg("1.2.840.10045.2.1");
    ec.setAlgorithm(&ecAlg);
    EXPECT_EQ(ec.getKey(), nullptr);
    EXPECT_FALSE(ec.isBEREncoded());

    auto garbage = bufferOf(fromHex("3012300d06092a864886f70d0101010500030100"));
    KeyInfo info;
    ASSERT_TRUE(info.unwrapASN1(garbage.get()));
    EXPECT_EQ(info.getKey(), nullptr);
    // An empty key BIT STRING is written back as one, not as an absent field.
    EXPECT_EQ(encode(info), fromHex("3012300d06092a864886f70d0101010500030100"));
    for (const char* hex : {"", "3000", "3005300306012a", "300f300d06092a864886f70d0101010500"}) {
        auto in = bufferOf(fromHex(hex));
        KeyInfo bad;
        EXPECT_FALSE(bad.unwrapASN1(in.get())) << hex;
    }
}

}  // namespace
