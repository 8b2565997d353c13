// The token's digests, MACs, key derivation and DES against hashlib, hmac, openssl and python
// cryptography; the SHA extensions against the portable code; and whole-message digests
// through the device against `openssl dgst`.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CpuFeatures.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DES.h"
#include "crypto/DigestInfo.h"
#include "crypto/HMAC.h"
#include "crypto/MD5.h"
#include "crypto/PBE.h"
#include "crypto/PBEParameter.h"
#include "crypto/RIPEMD160.h"
#include "crypto/SHA1.h"
#include "crypto/SHA256.h"
#include "crypto/SHA512.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/digest_vectors.vec"));
    return all;
}

std::unique_ptr<MessageDigest> byName(const std::string& name) {
    if (name == "md5") return std::make_unique<MD5>();
    if (name == "sha1") return std::make_unique<SHA1>();
    if (name == "sha256") return std::make_unique<SHA256>();
    if (name == "sha384") return std::make_unique<SHA384>();
    if (name == "sha512") return std::make_unique<SHA512>();
    return std::make_unique<RIPEMD160>();
}

const char* const kNames[] = {"md5", "sha1", "sha256", "sha384", "sha512", "ripemd160"};

std::string hexDigest(MessageDigest* d, const std::vector<unsigned char>& data) {
    std::unique_ptr<unsigned char[]> out(d->digest(data.data(), data.size()));
    return toHex(out.get(), d->getLength());
}

std::vector<unsigned char> randomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto& b : v) b = static_cast<unsigned char>(rng());
    return v;
}

// `openssl dgst -<name>` of the bytes, in hex.
std::string openssl(const std::string& algorithm, const std::vector<unsigned char>& data) {
    char file[] = "/tmp/sigilo_digestXXXXXX";
    int fd = mkstemp(file);
    if (fd >= 0) close(fd);
    std::string path = file;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()),
               static_cast<std::streamsize>(data.size()));
    std::string cmd = std::string(SIGILO_OPENSSL) + " dgst -" + algorithm + " -r " + path;
    FILE* p = popen(cmd.c_str(), "r");
    char line[256] = {};
    if (p == nullptr || fgets(line, sizeof line, p) == nullptr) line[0] = 0;
    if (p != nullptr) pclose(p);
    std::remove(path.c_str());
    std::string s(line);
    return s.substr(0, s.find(' '));
}

class ShaExtensions : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (GetParam() && !CpuFeatures::hasSHAExtensions()) GTEST_SKIP() << "no SHA extensions";
        CpuFeatures::allowSHAExtensions(GetParam());
    }
    void TearDown() override { CpuFeatures::allowSHAExtensions(true); }
};

TEST_P(ShaExtensions, PublishedAndBoundaryVectors) {
    for (const VecCase& c : casesOfKind(vectors(), "digest")) {
        for (const char* name : kNames) {
            EXPECT_EQ(hexDigest(byName(name).get(), c.hex("data")), c.get(name))
                << name << " " << c.where();
        }
    }
}

// Every way of cutting a message into updates gives the digest of the whole.
TEST_P(ShaExtensions, UpdatesInPiecesMatchOneCall) {
    std::vector<unsigned char> data = randomBytes(3000, 7);
    std::mt19937 rng(11);
    for (const char* name : kNames) {
        std::unique_ptr<MessageDigest> d = byName(name);
        std::string whole = hexDigest(d.get(), data);
        for (int trial = 0; trial < 20; ++trial) {
            d->reset();
            size_t at = 0;
            while (at < data.size()) {
                size_t piece = std::min<size_t>(rng() % 300, data.size() - at);
                d->update(data.data() + at, piece);
                at += piece;
            }
            unsigned char out[64];
            d->final(out);
            ASSERT_EQ(toHex(out, d->getLength()), whole) << name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Digests, ShaExtensions, ::testing::Values(false, true));

TEST(Digests, ExtensionsAndPortableCodeAgreeOnManyLengths) {
    if (!CpuFeatures::hasSHAExtensions()) GTEST_SKIP() << "no SHA extensions";
    for (size_t n : {0, 1, 63, 64, 65, 127, 128, 1000, 65536 + 17}) {
        std::vector<unsigned char> data = randomBytes(n, static_cast<unsigned>(n));
        for (const char* name : {"sha1", "sha256"}) {
            CpuFeatures::allowSHAExtensions(false);
            std::string portable = hexDigest(byName(name).get(), data);
            CpuFeatures::allowSHAExtensions(true);
            EXPECT_EQ(hexDigest(byName(name).get(), data), portable) << name << " " << n;
        }
    }
}

TEST(Digests, HmacVectors) {
    for (const VecCase& c : casesOfKind(vectors(), "hmac")) {
        std::vector<unsigned char> key = c.hex("key"), data = c.hex("data");
        for (const char* name : {"md5", "sha1", "sha256"}) {
            std::unique_ptr<MessageDigest> d = byName(name);
            HMAC mac;
            ASSERT_TRUE(mac.init(d.get(), key.data(), key.size()));
            unsigned char out[64];
            // Twice under the same key: the second message starts afresh.
            for (int round = 0; round < 2; ++round) {
                mac.update(data.data(), data.size());
                mac.final(out);
                EXPECT_EQ(toHex(out, mac.getLength()), c.get(name)) << name << " " << c.where();
            }
        }
    }
}

TEST(Digests, Pbkdf2Vectors) {
    for (const VecCase& c : casesOfKind(vectors(), "pbkdf2")) {
        std::vector<unsigned char> password = c.hex("password"), salt = c.hex("salt");
        std::vector<unsigned char> expected = c.hex("key"), out(expected.size());
        PBE::deriveKey(password.data(), password.size(), salt.data(),
                       static_cast<unsigned int>(salt.size()), std::stoi(c.get("iterations")),
                       out.data(), static_cast<unsigned int>(out.size()));
        EXPECT_EQ(out, expected) << c.where();
    }
}

TEST(Ciphers, DesAndTripleDesVectorsBothWays) {
    for (const VecCase& c : casesOfKind(vectors(), "des")) {
        std::vector<unsigned char> key = c.hex("key"), iv = c.hex("iv");
        std::vector<unsigned char> plain = c.hex("plain"), expected = c.hex("cipher");
        int mode = key.size() == 24 ? DES::kEDE3 : key.size() == 16 ? DES::kEDE2 : 0;
        mode |= c.get("mode") == "cbc"    ? DES::kCBC
                : c.get("mode") == "cfb8" ? DES::kCFB8
                                          : DES::kECB;
        DES des;
        ASSERT_TRUE(des.init(mode, key.data(), static_cast<unsigned int>(key.size()),
                             iv.empty() ? nullptr : iv.data()));
        unsigned long n;
        std::unique_ptr<unsigned char[]> out(des.encrypt(plain.data(), plain.size(), &n, false));
        ASSERT_TRUE(out) << c.where();
        EXPECT_EQ(toHex(out.get(), n), c.get("cipher")) << c.where();
        std::unique_ptr<unsigned char[]> back(des.decrypt(out.get(), n, &n, false));
        EXPECT_EQ(toHex(back.get(), n), c.get("plain")) << c.where();
    }
}

TEST(Ciphers, PaddingIsCheckedAndWrongSizesRefused) {
    unsigned char key[24] = {1, 2, 3};
    DES des;
    EXPECT_FALSE(des.init(DES::kEDE3 | DES::kCBC, key, 16, nullptr));
    ASSERT_TRUE(des.init(DES::kEDE3 | DES::kCBC, key, 24, nullptr));
    unsigned long n;
    EXPECT_EQ(des.encrypt(key, 5, &n, false), nullptr);
    std::unique_ptr<unsigned char[]> sealed(des.encrypt(key, 16, &n, true));
    ASSERT_EQ(n, 24u);
    sealed[23] ^= 1;
    EXPECT_EQ(des.decrypt(sealed.get(), n, &n, true), nullptr);
    EXPECT_EQ(des.decrypt(sealed.get(), 7, &n, true), nullptr);
}

TEST(Ciphers, PasswordEncryptionOpensOnlyWithItsPassword) {
    const unsigned char salt[8] = {0x31, 0x33, 0x35, 0x37, 0x24, 0x25, 0x26, 0x27};
    PBEParameter parameter(salt, 8, 3);
    const unsigned char secret[24] = {9, 8, 7, 6, 5, 4, 3, 2, 1};
    unsigned long n;
    std::unique_ptr<unsigned char[]> sealed(PBE::encrypt(
        reinterpret_cast<const unsigned char*>("1234"), 4, &parameter, secret, 24, &n));
    ASSERT_EQ(n, 32u);
    unsigned long m;
    std::unique_ptr<unsigned char[]> open(PBE::decrypt(
        reinterpret_cast<const unsigned char*>("1234"), 4, &parameter, sealed.get(), n, &m));
    ASSERT_TRUE(open);
    EXPECT_EQ(toHex(open.get(), m), toHex(secret, 24));
    for (const char* wrong : {"1235", "123", "12345", ""}) {
        EXPECT_EQ(PBE::decrypt(reinterpret_cast<const unsigned char*>(wrong), strlen(wrong),
                               &parameter, sealed.get(), n, &m),
                  nullptr)
            << wrong;
    }
}

// ---- Through the device ----

class DeviceDigest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
    }
    static CryptoKi* ki;
    static CryptoDevice* device;
};
CryptoKi* DeviceDigest::ki = nullptr;
CryptoDevice* DeviceDigest::device = nullptr;

std::string hexOf(DigestInfo* d) {
    return d ? toHex(d->_getDigest(), d->getLength()) : "(null)";
}

TEST_F(DeviceDigest, MatchesOpensslOnBoundaryLengthsAndOneMebibyte) {
    const struct {
        const char* oid;
        const char* name;
    } algorithms[] = {{"1.3.14.3.2.26", "sha1"},
                      {"2.16.840.1.101.3.4.2.1", "sha256"},
                      {"2.16.840.1.101.3.4.2.2", "sha384"},
                      {"2.16.840.1.101.3.4.2.3", "sha512"},
                      {"1.2.840.113549.2.5", "md5"},
                      {"1.3.36.3.2.1", "ripemd160"}};
    for (size_t n : {0, 1, 55, 56, 63, 64, 65, 1 << 20}) {
        std::vector<unsigned char> data = randomBytes(n, static_cast<unsigned>(n) + 3);
        for (const auto& a : algorithms) {
            if (n == (1 << 20) && std::string(a.name) == "md5") continue;
            ASSERT_TRUE(device->setDigestAlgorithm(a.oid));
            std::unique_ptr<DigestInfo> d(device->digest(data.data(), data.size()));
            ASSERT_TRUE(d) << a.name << " " << device->getErrorCodeNumeric();
            EXPECT_TRUE(d->_getAlgorithm()->isEqual(a.oid));
            EXPECT_EQ(hexOf(d.get()), openssl(a.name, data)) << a.name << " " << n;
        }
    }
}

// A SecureBuffer above half a mebibyte goes to the device in pieces of 524288 bytes.
TEST_F(DeviceDigest, SteppedDigestAcrossPiecesMatchesOpenssl) {
    const unsigned int size = 3 * SecureBuffer::kDigestStep + 12345;
    std::vector<unsigned char> data = randomBytes(size, 99);
    SecureBuffer b(size, device);
    b.writeBytes(data.data(), size);
    for (const char* name : {"sha256", "sha1"}) {
        device->setDigestAlgorithm(std::string(name) == "sha1" ? "1.3.14.3.2.26"
                                                               : "2.16.840.1.101.3.4.2.1");
        std::unique_ptr<DigestInfo> d(b.digestOutputMessage());
        ASSERT_TRUE(d);
        EXPECT_EQ(hexOf(d.get()), openssl(name, data)) << name;
    }
}

TEST_F(DeviceDigest, UnknownOrUnsetMechanismFailsWithMechanismInvalid) {
    EXPECT_FALSE(device->setDigestAlgorithm("1.2.3.4"));
    EXPECT_EQ(device->digest(reinterpret_cast<const unsigned char*>("x"), 1), nullptr);
    EXPECT_EQ(device->getErrorCodeNumeric(), 112u);
    CryptoDevice fresh(ki);
    ASSERT_NE(fresh.openToken(0, nullptr, 0), 0u);
    EXPECT_EQ(fresh.digest(reinterpret_cast<const unsigned char*>("x"), 1), nullptr);
    EXPECT_EQ(fresh.getErrorCodeNumeric(), 112u);
    EXPECT_FALSE(fresh.initDigest());
    EXPECT_EQ(fresh.getErrorCodeNumeric(), 112u);
}

}  // namespace

namespace {

TEST(PBEParameterEncoding, ReadsAndWritesAsAsn1crypto) {
    for (const VecCase& c : casesOfKind(vectors(), "pbe_parameter")) {
        std::vector<unsigned char> der = c.hex("der");
        Buffer in;
        in.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
        PBEParameter p;
        ASSERT_TRUE(p.unwrapASN1(&in)) << c.where();
        EXPECT_EQ(toHex(p._getSalt(), p.getSaltLength()), c.get("salt"));
        EXPECT_EQ(p.getIterationCount(), std::stoi(c.get("iterations")));
        std::unique_ptr<PBEParameter> copy(p.clone());
        Buffer out;
        out.enlarge(copy->getWrapLength(&out));
        copy->wrapASN1(&out);
        EXPECT_EQ(toHex(out._getData(), out.getWritePos()), c.get("der"));
        // Cut short anywhere, it does not read.
        for (size_t cut = 0; cut < der.size(); ++cut) {
            Buffer part;
            part.fromByteArray(der.data(), static_cast<unsigned int>(cut));
            PBEParameter q;
            EXPECT_FALSE(q.unwrapASN1(&part)) << cut;
        }
    }
}

}  // namespace
