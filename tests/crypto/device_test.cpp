// CryptoDevice beyond the signature check: error words, public-key and symmetric ciphers
// (also through SecureBuffer), keys found by their id, and the random source.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "asn1/Buffer.h"
#include "asn1/SecureBuffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/AlgorithmParameter.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/Signature.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "pkix/KeyInfo.h"
#include "support/VecFile.h"

namespace {

class Device : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ki = new CryptoKi();
        device = new CryptoDevice(ki);
        ASSERT_NE(device->openToken(0, nullptr, 0), 0u);
        SystemRandomGenerator random;
        key = new RSAPrivateKey();
        ASSERT_TRUE(key->generateNewKey(1024, &random));
    }
    static void TearDownTestSuite() {
        delete device;
        delete ki;
        delete key;
    }
    static CryptoKi* ki;
    static CryptoDevice* device;
    static RSAPrivateKey* key;
};
CryptoKi* Device::ki = nullptr;
CryptoDevice* Device::device = nullptr;
RSAPrivateKey* Device::key = nullptr;

std::string text(char* owned) {
    std::unique_ptr<char[]> p(owned);
    return p ? std::string(p.get()) : "(null)";
}

TEST_F(Device, ErrorWordsFollowTheLastResult) {
    const VecCase c =
        casesOfKind(readVecFile(testData("crypto/rsa_vectors.vec")), "rsa_signature")[2];
    ASSERT_EQ(c.get("result"), "192");
    Buffer b;
    std::vector<unsigned char> spki = c.hex("spki"), sig = c.hex("signature");
    b.fromByteArray(spki.data(), static_cast<unsigned int>(spki.size()));
    KeyInfo info;
    ASSERT_TRUE(info.unwrapASN1(&b));
    device->setSignAlgorithm(c.get("algorithm").c_str());
    std::vector<unsigned char> message = c.hex("message");
    Signature s(sig.data(), static_cast<unsigned int>(sig.size()));
    EXPECT_FALSE(device->verify(&s, message.data(), message.size(), &info));
    EXPECT_EQ(text(device->getErrorCodeString()), "000000C0");
    EXPECT_EQ(text(device->getErrorMessage()), "firma non valida");
    EXPECT_FALSE(device->verify(s._getSign(), s.getLength(), message.data(), message.size(), 0));
    EXPECT_EQ(device->getErrorCodeNumeric(), 192u);
}

TEST_F(Device, PublicKeyEncryptionThroughSecureBuffer) {
    std::unique_ptr<RSAPublicKey> pub(key->toRSAPublicKey());
    KeyInfo info(pub.get());
    ASSERT_TRUE(device->setPrivateKey(key));
    ASSERT_TRUE(device->setCryptoAlgorithm("1.2.840.113549.1.1.1"));
    SecureBuffer b(64, device);
    const char secret[] = "chiave di sessione";
    b.writeBytes(reinterpret_cast<const unsigned char*>(secret), sizeof secret);
    unsigned long n = 0;
    std::unique_ptr<unsigned char[]> sealed(b.getCrypted(&info, &n));
    ASSERT_TRUE(sealed) << device->getErrorCodeNumeric();
    EXPECT_EQ(n, 128u);
    SecureBuffer back(256, device);
    back.writeBytes(sealed.get(), static_cast<unsigned int>(n));
    ASSERT_TRUE(back.setFromCrypted(&info));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(back._getData())), secret);
    EXPECT_EQ(device->getSignedLength(), 128u);
}

TEST_F(Device, TripleDesCipherFromItsAlgorithmIdentifier) {
    // des-ede3-cbc with its IV as an OCTET STRING parameter.
    const unsigned char ivDer[] = {0x04, 0x08, 1, 2, 3, 4, 5, 6, 7, 8};
    RawAlgorithmParameter iv(ivDer, sizeof ivDer);
    AlgorithmIdentifier algorithm("1.2.840.113549.3.7", &iv);
    ASSERT_TRUE(device->setCipherAlgorithm(&algorithm));
    unsigned char k[24];
    for (int i = 0; i < 24; ++i) k[i] = static_cast<unsigned char>(i * 11);
    ASSERT_TRUE(device->setCipherKey(k, 24));
    const unsigned char plain[] = "ventun byte di testo!";
    unsigned long n;
    std::unique_ptr<unsigned char[]> sealed(device->encode(plain, 21, &n));
    ASSERT_TRUE(sealed);
    EXPECT_EQ(n, 24u);
    unsigned long m;
    std::unique_ptr<unsigned char[]> open(device->decode(sealed.get(), n, &m));
    ASSERT_TRUE(open);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(open.get()), m),
              std::string("ventun byte di testo!"));
    // The same through a SecureBuffer, deciphered in place.
    SecureBuffer b(32, device);
    b.writeBytes(plain, 21);
    std::unique_ptr<unsigned char[]> ciphered(b.getCiphered(&n));
    ASSERT_TRUE(ciphered);
    SecureBuffer c(32, device);
    c.writeBytes(ciphered.get(), static_cast<unsigned int>(n));
    ASSERT_TRUE(c.setFromCiphered());
    EXPECT_EQ(c.getWritePos(), 21u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(c._getData()), 21), "ventun byte di testo!");
    AlgorithmIdentifier unknown("1.2.840.113549.3.2");
    EXPECT_FALSE(device->setCipherAlgorithm(&unknown));
    AlgorithmIdentifier noIV("1.2.840.113549.3.7");
    EXPECT_FALSE(device->setCipherAlgorithm(&noIV));
}

TEST_F(Device, KeysFoundByIdAndObjectLists) {
    std::unique_ptr<RSAPublicKey> pub(key->toRSAPublicKey());
    CK_FUNCTION_LIST* f = ki->getFunctionList();
    CK_SESSION_HANDLE s;
    ASSERT_EQ(f->C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &s),
              CKR_OK);
    unsigned char* n;
    unsigned long nLen;
    pub->getModulus().toMinimalByteArray(&n, &nLen);
    std::unique_ptr<unsigned char[]> modulus(n);
    unsigned char e[] = {1, 0, 1}, id[] = {0x42};
    CK_OBJECT_CLASS c = CKO_PUBLIC_KEY;
    CK_KEY_TYPE t = CKK_RSA;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE tmpl[] = {{CKA_CLASS, &c, sizeof c},   {CKA_KEY_TYPE, &t, sizeof t},
                           {CKA_TOKEN, &yes, 1},        {CKA_MODULUS, modulus.get(), nLen},
                           {CKA_PUBLIC_EXPONENT, e, 3}, {CKA_ID, id, 1}};
    CK_OBJECT_HANDLE o;
    ASSERT_EQ(f->C_CreateObject(s, tmpl, 6, &o), CKR_OK);
    EXPECT_EQ(device->findObjectWithId(CKO_PUBLIC_KEY, id, 1), o);
    EXPECT_EQ(device->findObjectWithId(CKO_PRIVATE_KEY, id, 1), 0u);
    EXPECT_NE(device->updateObjectLists(), 0u);
    // A signature checked against the key found by its id, and by the key set on the device.
    ASSERT_TRUE(device->setPrivateKey(key));
    device->setSignAlgorithm("1.2.840.113549.1.1.11");
    const unsigned char data[] = "documento";
    std::unique_ptr<Signature> sig(device->sign(data, 9));
    ASSERT_TRUE(sig);
    EXPECT_TRUE(device->verify(sig.get(), data, 9, id, 1));
    KeyInfo info(pub.get());
    ASSERT_TRUE(device->setPublicKey(&info));
    EXPECT_TRUE(device->verify(sig.get(), data, 9));
    unsigned char otherId[] = {0x43};
    EXPECT_FALSE(device->verify(sig.get(), data, 9, otherId, 1));
    f->C_DestroyObject(s, o);
    f->C_CloseSession(s);
}

TEST(SystemRandom, GroupsOfEightAndTheRemainder) {
    SystemRandomGenerator random;
    unsigned char out[16];
    memset(out, 0xEE, sizeof out);
    random.random(out, 0);
    for (unsigned char b : out) EXPECT_EQ(b, 0xEE);
    random.random(out, 13);
    for (int i = 13; i < 16; ++i) EXPECT_EQ(out[i], 0xEE);
    std::unique_ptr<unsigned char[]> a(random.random8()), b(random.random8());
    EXPECT_NE(toHex(a.get(), 8), toHex(b.get(), 8));
}

}  // namespace

namespace {

// Objects by id and label on the virtual token: made, found, used and removed again.
TEST_F(Device, ObjectsByIdAndLabel) {
    // Drops the key object an earlier test left on the device.
    device->setPrivateKey(static_cast<RSAPrivateKey*>(nullptr));
    CK_ULONG before = PKCS11CryptoKi::instance()->getObjectCount();
    const unsigned char id[] = {0x51, 0x52};
    ASSERT_TRUE(device->generateRSAKey(512, id, 2)) << device->getErrorCodeNumeric();
    ASSERT_TRUE(device->setPrivateKey(id, 2));
    device->setSignAlgorithm("1.2.840.113549.1.1.5");
    std::unique_ptr<Signature> sig(device->sign(reinterpret_cast<const unsigned char*>("x"), 1));
    ASSERT_TRUE(sig);
    std::unique_ptr<KeyInfo> pub(device->getPublicKey(id, 2));
    ASSERT_TRUE(pub);
    EXPECT_TRUE(
        device->verify(sig.get(), reinterpret_cast<const unsigned char*>("x"), 1, pub.get()));
    EXPECT_TRUE(device->removePrivateKey(id, 2));
    EXPECT_TRUE(device->removePublicKey(id, 2));
    EXPECT_FALSE(device->removePublicKey(id, 2));
    EXPECT_EQ(device->getPublicKey(id, 2), nullptr);

    const unsigned char der[] = {0x30, 0x03, 0x02, 0x01, 0x05};
    ASSERT_TRUE(device->loadCertificate(der, sizeof der, id, 2));
    unsigned long n;
    std::unique_ptr<unsigned char[]> back(device->getCertificate(id, 2, &n));
    ASSERT_TRUE(back);
    EXPECT_EQ(toHex(back.get(), n), "3003020105");
    ASSERT_TRUE(device->setData("nota", reinterpret_cast<const unsigned char*>("prima"), 5));
    ASSERT_TRUE(device->setData("nota", reinterpret_cast<const unsigned char*>("seconda"), 7));
    std::unique_ptr<unsigned char[]> data(device->getData("nota", &n));
    ASSERT_TRUE(data);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data.get()), n), "seconda");
    EXPECT_EQ(device->getData("altra", &n), nullptr);
    EXPECT_EQ(PKCS11CryptoKi::instance()->getObjectCount(), before + 2);
}

}  // namespace
