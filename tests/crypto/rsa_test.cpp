// RSA through the whole verification path: keys and signatures made by openssl, checked by
// CryptoDevice::verify over the built-in token; the private operation against openssl's own
// signatures; padding limits; hostile keys and signatures.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/Signature.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/tsRSA.h"
#include "pkix/KeyInfo.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/rsa_vectors.vec"));
    return all;
}

std::unique_ptr<KeyInfo> keyInfoOf(const std::vector<unsigned char>& der) {
    auto k = std::make_unique<KeyInfo>();
    Buffer b;
    b.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
    EXPECT_TRUE(k->unwrapASN1(&b));
    return k;
}

std::unique_ptr<RSAPrivateKey> privateKeyOf(const std::vector<unsigned char>& der) {
    auto k = std::make_unique<RSAPrivateKey>();
    Buffer b;
    b.fromByteArray(der.data(), static_cast<unsigned int>(der.size()));
    EXPECT_TRUE(k->unwrapASN1(&b));
    return k;
}

class Verification : public ::testing::Test {
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
CryptoKi* Verification::ki = nullptr;
CryptoDevice* Verification::device = nullptr;

bool resultIs(unsigned long got, const std::string& expected) {
    if (expected == "6|192") return got == 6 || got == 192;
    return got == std::stoul(expected);
}

// Each openssl signature over its digest: holds, or fails with the value in the data.
TEST_F(Verification, OpensslSignaturesOverDigestInfo) {
    for (const VecCase& c : casesOfKind(vectors(), "rsa_signature")) {
        std::unique_ptr<KeyInfo> key = keyInfoOf(c.hex("spki"));
        std::vector<unsigned char> message = c.hex("message"), sig = c.hex("signature");
        AlgorithmIdentifier algorithm(c.get("algorithm").c_str());
        ASSERT_TRUE(device->setSignAlgorithm(&algorithm));
        std::unique_ptr<DigestInfo> digest(device->digest(message.data(), message.size()));
        ASSERT_TRUE(digest) << c.where();
        Signature signature(sig.data(), static_cast<unsigned int>(sig.size()));
        CK_ULONG before = PKCS11CryptoKi::instance()->getObjectCount();
        bool ok = device->verify(&signature, digest.get(), key.get());
        EXPECT_EQ(ok, c.get("result") == "0") << c.where();
        // A damaged signature does not even decode under the raw mechanism.
        const std::string expected = c.has("raw_result") ? c.get("raw_result") : c.get("result");
        EXPECT_TRUE(resultIs(device->getErrorCodeNumeric(), expected))
            << c.where() << " got " << device->getErrorCodeNumeric();
        // The temporary key object is gone again, whatever the result.
        EXPECT_EQ(PKCS11CryptoKi::instance()->getObjectCount(), before);
    }
}

// The same signatures over the data, which the token digests (composite mechanisms).
TEST_F(Verification, OpensslSignaturesOverData) {
    for (const VecCase& c : casesOfKind(vectors(), "rsa_signature")) {
        if (c.get("result") == "193") continue;  // the composite mechanisms have no length rule
        std::unique_ptr<KeyInfo> key = keyInfoOf(c.hex("spki"));
        std::vector<unsigned char> message = c.hex("message"), sig = c.hex("signature");
        ASSERT_TRUE(device->setSignAlgorithm(c.get("algorithm").c_str()));
        Signature signature(sig.data(), static_cast<unsigned int>(sig.size()));
        bool ok = device->verify(&signature, message.data(), message.size(), key.get());
        EXPECT_EQ(ok, c.get("result") == "0") << c.where();
        if (!ok) {
            EXPECT_EQ(device->getErrorCodeNumeric(), 192u) << c.where();
        }
    }
}

TEST_F(Verification, NoNullParametersVerifyOnTheSecondTryAndLeaveNoError) {
    int seen = 0;
    for (const VecCase& c : casesOfKind(vectors(), "rsa_signature")) {
        if (c.get("parameters") != "absent") continue;
        ++seen;
        std::unique_ptr<KeyInfo> key = keyInfoOf(c.hex("spki"));
        std::vector<unsigned char> message = c.hex("message"), sig = c.hex("signature");
        device->setSignAlgorithm(c.get("algorithm").c_str());
        std::unique_ptr<DigestInfo> digest(device->digest(message.data(), message.size()));
        Signature signature(sig.data(), static_cast<unsigned int>(sig.size()));
        EXPECT_TRUE(device->verify(&signature, digest.get(), key.get())) << c.where();
        EXPECT_EQ(device->getErrorCodeNumeric(), 0u);
    }
    EXPECT_GT(seen, 0);
}

TEST_F(Verification, UnknownSignatureAlgorithmFailsWithMechanismInvalid) {
    const VecCase c = casesOfKind(vectors(), "rsa_signature").front();
    std::unique_ptr<KeyInfo> key = keyInfoOf(c.hex("spki"));
    std::vector<unsigned char> message = c.hex("message"), sig = c.hex("signature");
    EXPECT_FALSE(device->setSignAlgorithm("1.2.840.10045.4.3.2"));
    Signature signature(sig.data(), static_cast<unsigned int>(sig.size()));
    EXPECT_FALSE(device->verify(&signature, message.data(), message.size(), key.get()));
    EXPECT_EQ(device->getErrorCodeNumeric(), 112u);
    std::unique_ptr<char[]> code(device->getErrorCodeString());
    EXPECT_STREQ(code.get(), "00000070");
}

TEST_F(Verification, GarbageSignaturesAndKeysGiveErrorValues) {
    const VecCase c = casesOfKind(vectors(), "rsa_signature").front();
    std::unique_ptr<KeyInfo> key = keyInfoOf(c.hex("spki"));
    device->setSignAlgorithm("1.2.840.113549.1.1.11");
    DigestInfo digest("2.16.840.1.101.3.4.2.1",
                      reinterpret_cast<const unsigned char*>("0123456789abcdef0123456789abcdef"),
                      32);
    std::vector<unsigned char> sig(c.hex("signature").size());
    for (unsigned char fill : {0x00, 0x01, 0xFF}) {
        std::fill(sig.begin(), sig.end(), fill);
        Signature s(sig.data(), static_cast<unsigned int>(sig.size()));
        EXPECT_FALSE(device->verify(&s, &digest, key.get()));
        EXPECT_NE(device->getErrorCodeNumeric(), 0u);
    }
    Signature empty(sig.data(), 0);
    EXPECT_FALSE(device->verify(&empty, &digest, key.get()));
    // Keys that are no keys: an even tiny modulus, a zero exponent, an oversized modulus.
    for (const auto& parts :
         std::vector<std::pair<std::vector<unsigned char>, std::vector<unsigned char>>>{
             {{0x04}, {0x03}},
             {std::vector<unsigned char>(128, 0xC3), {0x00}},
             {std::vector<unsigned char>(2100, 0xF1), {0x01, 0x00, 0x01}}}) {
        RSAPublicKey bad(BigInteger(parts.first.data(), static_cast<int>(parts.first.size())),
                         BigInteger(parts.second.data(), static_cast<int>(parts.second.size())));
        KeyInfo info(&bad);
        Signature s(sig.data(), static_cast<unsigned int>(sig.size()));
        EXPECT_FALSE(device->verify(&s, &digest, &info));
        EXPECT_NE(device->getErrorCodeNumeric(), 0u);
    }
}

// openssl's own PKCS#1 v1.5 signatures are deterministic: the token must make the same ones.
TEST_F(Verification, PrivateKeyFromOpensslSignsLikeOpenssl) {
    for (const VecCase& c : casesOfKind(vectors(), "rsa_private")) {
        std::unique_ptr<RSAPrivateKey> key = privateKeyOf(c.hex("pkcs1"));
        ASSERT_TRUE(device->setPrivateKey(key.get()));
        ASSERT_TRUE(device->setSignAlgorithm("1.2.840.113549.1.1.11"));
        std::vector<unsigned char> message = c.hex("message");
        std::unique_ptr<Signature> sig(device->sign(message.data(), message.size()));
        ASSERT_TRUE(sig) << device->getErrorCodeNumeric();
        EXPECT_EQ(toHex(sig->_getSign(), sig->getLength()), c.get("signature")) << c.where();
        std::unique_ptr<KeyInfo> pub = keyInfoOf(c.hex("spki"));
        EXPECT_TRUE(device->verify(sig.get(), message.data(), message.size(), pub.get()));
    }
}

// ---- tsRSA alone ----

std::unique_ptr<RSAPrivateKey> generated(int bits) {
    SystemRandomGenerator random;
    auto k = std::make_unique<RSAPrivateKey>();
    EXPECT_TRUE(k->generateNewKey(bits, &random));
    return k;
}

TEST(RSA, GeneratedKeysAreConsistentAndRoundTrip) {
    SystemRandomGenerator random;
    for (int bits : {512, 1024}) {
        std::unique_ptr<RSAPrivateKey> key = generated(bits);
        EXPECT_EQ(key->getModulus().bits(), bits);
        EXPECT_GT(BigInteger::cmp(key->getPrime1(), key->getPrime2()), 0);
        std::unique_ptr<RSAPublicKey> pub(key->toRSAPublicKey());
        tsRSA rsa(&random);
        unsigned long m = rsa.getOutLength(pub.get());
        ASSERT_EQ(m, static_cast<unsigned long>(bits / 8));
        // Exactly m - 11 bytes fit; one more does not.
        std::vector<unsigned char> message(m - 11, 0x5A);
        unsigned long n = message.size();
        std::unique_ptr<unsigned char[]> sealed(rsa.encode(message.data(), &n, pub.get()));
        ASSERT_TRUE(sealed);
        EXPECT_EQ(n, m);
        std::unique_ptr<unsigned char[]> open(rsa.decode(sealed.get(), &n, key.get()));
        ASSERT_TRUE(open);
        EXPECT_EQ(toHex(open.get(), n), toHex(message.data(), message.size()));
        n = m - 10;
        std::vector<unsigned char> tooLong(m - 10, 1);
        EXPECT_EQ(rsa.encode(tooLong.data(), &n, pub.get()), nullptr);
        // A signature block decodes only with the other half of the key.
        n = 20;
        std::unique_ptr<unsigned char[]> sig(rsa.encode(message.data(), &n, key.get()));
        ASSERT_TRUE(sig);
        std::unique_ptr<unsigned char[]> back(rsa.decode(sig.get(), &n, pub.get()));
        ASSERT_TRUE(back);
        EXPECT_EQ(n, 20u);
        n = m;
        EXPECT_EQ(rsa.decode(sig.get(), &n, key.get()), nullptr);
    }
}

// Runs make in a child process and returns what it printed, so that two "programs" started at
// the same moment can be compared.
std::string inChildProcess(const std::function<std::string()>& make) {
    int fds[2];
    if (pipe(fds) != 0) return "";
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        std::string out = make();
        ssize_t written = write(fds[1], out.data(), out.size());
        _exit(written == static_cast<ssize_t>(out.size()) ? 0 : 1);
    }
    close(fds[1]);
    std::string got;
    char chunk[256];
    ssize_t n;
    while ((n = read(fds[0], chunk, sizeof chunk)) > 0) got.append(chunk, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    return got;
}

TEST(RSA, TwoProcessesStartedTogetherGenerateDifferentKeysAndBytes) {
    auto modulus = [] {
        std::unique_ptr<RSAPrivateKey> key = generated(512);
        unsigned char* n;
        unsigned long len;
        key->getModulus().toMinimalByteArray(&n, &len);
        std::string hex = toHex(n, len);
        delete[] n;
        return hex;
    };
    std::string first = inChildProcess(modulus);
    std::string second = inChildProcess(modulus);
    ASSERT_EQ(first.size(), 128u);
    EXPECT_NE(first, second);

    auto bytes = [] {
        SystemRandomGenerator random;
        unsigned char out[13] = {0};
        random.random(out, sizeof out);
        std::unique_ptr<unsigned char[]> group(random.random8());
        return toHex(out, sizeof out) + toHex(group.get(), 8);
    };
    EXPECT_NE(inChildProcess(bytes), inChildProcess(bytes));

    // Within one process the draws never repeat either, and an empty request writes nothing.
    SystemRandomGenerator random;
    unsigned char untouched[4] = {7, 7, 7, 7};
    random.random(untouched, 0);
    EXPECT_EQ(toHex(untouched, 4), "07070707");
    std::unique_ptr<unsigned char[]> a(random.random8()), b(random.random8());
    EXPECT_NE(toHex(a.get(), 8), toHex(b.get(), 8));
    for (int i = 0; i < 64; ++i) EXPECT_GE(random.lrandom(), 0);
}

TEST(RSA, ValuesNotBelowTheModulusAreRefused) {
    std::unique_ptr<RSAPrivateKey> key = generated(512);
    std::unique_ptr<RSAPublicKey> pub(key->toRSAPublicKey());
    unsigned char* n;
    unsigned long len;
    key->getModulus().toMinimalByteArray(&n, &len);
    std::unique_ptr<unsigned char[]> modulus(n);
    tsRSA rsa;
    unsigned long l = len;
    EXPECT_EQ(rsa.decode(modulus.get(), &l, pub.get()), nullptr);
    l = len;
    EXPECT_EQ(rsa.decodeX509(modulus.get(), &l, pub.get()), nullptr);
    std::vector<unsigned char> longer(len + 1, 0);
    l = longer.size();
    EXPECT_EQ(rsa.decode(longer.data(), &l, pub.get()), nullptr);
}

TEST(RSA, Iso9796FramingRoundTrips) {
    std::unique_ptr<RSAPrivateKey> key = generated(1024);
    std::unique_ptr<RSAPublicKey> pub(key->toRSAPublicKey());
    tsRSA rsa;
    unsigned char hash[20] = {1, 2, 3, 4, 5};
    unsigned long n = 20;
    std::unique_ptr<unsigned char[]> sig(rsa.signISO9796(hash, &n, key.get()));
    ASSERT_TRUE(sig);
    std::unique_ptr<unsigned char[]> block(rsa.verifyISO9796(sig.get(), &n, pub.get()));
    ASSERT_TRUE(block);
    EXPECT_EQ(block[n - 1], 188);
    EXPECT_EQ(toHex(block.get() + n - 21, 20), toHex(hash, 20));
}

TEST(RSA, PrivateKeyEncodingRoundTripsAndSurvivesGarbage) {
    const VecCase c = casesOfKind(vectors(), "rsa_private").front();
    std::vector<unsigned char> der = c.hex("pkcs1");
    std::unique_ptr<RSAPrivateKey> key = privateKeyOf(der);
    Buffer out;
    out.enlarge(key->getWrapLength(&out));
    key->wrapASN1(&out);
    EXPECT_EQ(toHex(out._getData(), out.getWritePos()), c.get("pkcs1"));
    for (size_t cut = 0; cut < der.size(); cut += 37) {
        Buffer b;
        b.fromByteArray(der.data(), static_cast<unsigned int>(cut));
        RSAPrivateKey partial;
        EXPECT_FALSE(partial.unwrapASN1(&b));
    }
}

}  // namespace
