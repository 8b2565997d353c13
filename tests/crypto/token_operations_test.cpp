// The token's mechanisms called directly: digests, HMAC and DES against the independent
// vectors, RSA sign / verify / encrypt / decrypt with generated keys, the PKCS#11 size
// questions, and the rules on attributes, read-only sessions and the SO.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "crypto/token/PKCS11CryptoKi.h"
#include "support/VecFile.h"

namespace {

const std::vector<VecCase>& vectors() {
    static const std::vector<VecCase> all = readVecFile(testData("crypto/digest_vectors.vec"));
    return all;
}

class Operations : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
        ASSERT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &h),
                  CKR_OK);
    }
    CK_OBJECT_HANDLE secretKey(CK_KEY_TYPE type, const std::vector<unsigned char>& value) {
        CK_OBJECT_CLASS c = CKO_SECRET_KEY;
        CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c},
                            {CKA_KEY_TYPE, &type, sizeof type},
                            {CKA_VALUE, const_cast<unsigned char*>(value.data()), value.size()}};
        CK_OBJECT_HANDLE o = 0;
        EXPECT_EQ(token.C_CreateObject(h, t, 3, &o), CKR_OK);
        return o;
    }
    void keyPair(CK_ULONG bits, CK_OBJECT_HANDLE* pub, CK_OBJECT_HANDLE* priv) {
        CK_MECHANISM m = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
        CK_ATTRIBUTE pubT[] = {{CKA_MODULUS_BITS, &bits, sizeof bits}};
        ASSERT_EQ(token.C_GenerateKeyPair(h, &m, pubT, 1, nullptr, 0, pub, priv), CKR_OK);
    }
    std::vector<unsigned char> sign(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key,
                                    const std::vector<unsigned char>& data) {
        CK_MECHANISM m = {type, nullptr, 0};
        EXPECT_EQ(token.C_SignInit(h, &m, key), CKR_OK);
        CK_ULONG n = 0;
        EXPECT_EQ(
            token.C_Sign(h, const_cast<unsigned char*>(data.data()), data.size(), nullptr, &n),
            CKR_OK);
        std::vector<unsigned char> sig(n);
        EXPECT_EQ(
            token.C_Sign(h, const_cast<unsigned char*>(data.data()), data.size(), sig.data(), &n),
            CKR_OK);
        sig.resize(n);
        return sig;
    }
    CK_RV verify(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key,
                 const std::vector<unsigned char>& data, const std::vector<unsigned char>& sig) {
        CK_MECHANISM m = {type, nullptr, 0};
        CK_RV rv = token.C_VerifyInit(h, &m, key);
        if (rv != CKR_OK) return rv;
        unsigned char none = 0;
        return token.C_Verify(h, data.empty() ? &none : const_cast<unsigned char*>(data.data()),
                              data.size(), const_cast<unsigned char*>(sig.data()), sig.size());
    }
    PKCS11CryptoKi token{{}};
    CK_SESSION_HANDLE h = 0;
};

TEST_F(Operations, DigestsAnswerSizeQuestionsAndMatchVectors) {
    const struct {
        CK_MECHANISM_TYPE type;
        const char* name;
    } digests[] = {{CKM_MD5, "md5"},       {CKM_SHA_1, "sha1"},    {CKM_SHA256, "sha256"},
                   {CKM_SHA384, "sha384"}, {CKM_SHA512, "sha512"}, {CKM_RIPEMD160, "ripemd160"}};
    for (const VecCase& c : casesOfKind(vectors(), "digest")) {
        std::vector<unsigned char> data = c.hex("data");
        for (const auto& d : digests) {
            CK_MECHANISM m = {d.type, nullptr, 0};
            ASSERT_EQ(token.C_DigestInit(h, &m), CKR_OK);
            EXPECT_EQ(token.C_DigestInit(h, &m), CKR_OPERATION_ACTIVE);
            CK_ULONG n = 0;
            ASSERT_EQ(token.C_Digest(h, data.data(), data.size(), nullptr, &n), CKR_OK);
            unsigned char out[64];
            CK_ULONG small = n - 1;
            EXPECT_EQ(token.C_Digest(h, data.data(), data.size(), out, &small),
                      CKR_BUFFER_TOO_SMALL);
            EXPECT_EQ(small, n);
            ASSERT_EQ(token.C_Digest(h, data.data(), data.size(), out, &n), CKR_OK);
            EXPECT_EQ(toHex(out, n), c.get(d.name)) << d.name << " " << c.where();
            // In two parts.
            ASSERT_EQ(token.C_DigestInit(h, &m), CKR_OK);
            size_t half = data.size() / 2;
            ASSERT_EQ(token.C_DigestUpdate(h, data.data(), half), CKR_OK);
            ASSERT_EQ(token.C_DigestUpdate(h, data.data() + half, data.size() - half), CKR_OK);
            n = sizeof out;
            ASSERT_EQ(token.C_DigestFinal(h, out, &n), CKR_OK);
            EXPECT_EQ(toHex(out, n), c.get(d.name));
        }
    }
    CK_MECHANISM rsa = {CKM_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(token.C_DigestInit(h, &rsa), CKR_MECHANISM_INVALID);
}

TEST_F(Operations, HmacSignAndVerifyMatchPythonVectors) {
    for (const VecCase& c : casesOfKind(vectors(), "hmac")) {
        CK_OBJECT_HANDLE key = secretKey(CKK_GENERIC_SECRET, c.hex("key"));
        std::vector<unsigned char> data = c.hex("data");
        for (auto [type, name] : {std::pair<CK_MECHANISM_TYPE, const char*>{CKM_SHA_1_HMAC, "sha1"},
                                  {CKM_MD5_HMAC, "md5"},
                                  {CKM_SHA256_HMAC, "sha256"}}) {
            std::vector<unsigned char> mac = sign(type, key, data);
            EXPECT_EQ(toHex(mac.data(), mac.size()), c.get(name)) << name << " " << c.where();
            EXPECT_EQ(verify(type, key, data, mac), CKR_OK);
            mac.back() ^= 1;
            EXPECT_EQ(verify(type, key, data, mac), CKR_SIGNATURE_INVALID);
            // A MAC cut short is not compared on its own length.
            mac.pop_back();
            EXPECT_EQ(verify(type, key, data, mac), CKR_SIGNATURE_LEN_RANGE);
        }
        ASSERT_EQ(token.C_DestroyObject(h, key), CKR_OK);
    }
}

TEST_F(Operations, TripleDesCbcMatchesPythonVectors) {
    for (const VecCase& c : casesOfKind(vectors(), "des")) {
        if (c.get("mode") != "cbc" || c.hex("key").size() == 16) continue;
        std::vector<unsigned char> key = c.hex("key"), iv = c.hex("iv"), plain = c.hex("plain");
        bool triple = key.size() == 24;
        CK_OBJECT_HANDLE k = secretKey(triple ? CKK_DES3 : CKK_DES, key);
        CK_MECHANISM m = {triple ? CKM_DES3_CBC : CKM_DES_CBC, iv.data(), 8};
        ASSERT_EQ(token.C_EncryptInit(h, &m, k), CKR_OK);
        unsigned char out[64];
        CK_ULONG n = sizeof out;
        ASSERT_EQ(token.C_Encrypt(h, plain.data(), plain.size(), out, &n), CKR_OK);
        EXPECT_EQ(toHex(out, n), c.get("cipher")) << c.where();
        ASSERT_EQ(token.C_DecryptInit(h, &m, k), CKR_OK);
        unsigned char back[64];
        CK_ULONG b = sizeof back;
        ASSERT_EQ(token.C_Decrypt(h, out, n, back, &b), CKR_OK);
        EXPECT_EQ(toHex(back, b), c.get("plain"));
        // Without an IV the mechanism is refused.
        CK_MECHANISM noIV = {m.mechanism, nullptr, 0};
        EXPECT_EQ(token.C_EncryptInit(h, &noIV, k), CKR_MECHANISM_PARAM_INVALID);
    }
}

TEST_F(Operations, RsaKeyPairSignsVerifiesEncryptsAndDecrypts) {
    CK_OBJECT_HANDLE pub, priv;
    keyPair(1024, &pub, &priv);
    std::vector<unsigned char> data(60, 0x42);
    for (CK_MECHANISM_TYPE type : {CKM_SHA1_RSA_PKCS, CKM_SHA256_RSA_PKCS, CKM_SHA384_RSA_PKCS,
                                   CKM_SHA512_RSA_PKCS, CKM_MD5_RSA_PKCS, CKM_RSA_9796}) {
        std::vector<unsigned char> sig = sign(type, priv, data);
        ASSERT_EQ(sig.size(), 128u);
        EXPECT_EQ(verify(type, pub, data, sig), CKR_OK) << type;
        std::vector<unsigned char> other = data;
        other[0] ^= 1;
        EXPECT_EQ(verify(type, pub, other, sig), CKR_SIGNATURE_INVALID) << type;
    }
    // Raw PKCS#1: the data must be the whole message, not a prefix of it.
    std::vector<unsigned char> sig = sign(CKM_RSA_PKCS, priv, data);
    EXPECT_EQ(verify(CKM_RSA_PKCS, pub, data, sig), CKR_OK);
    std::vector<unsigned char> prefix(data.begin(), data.begin() + 30);
    EXPECT_EQ(verify(CKM_RSA_PKCS, pub, prefix, sig), CKR_SIGNATURE_INVALID);
    // A damaged signature is no PKCS#1 block at all: the function fails, unlike a wrong message.
    std::vector<unsigned char> damaged = sig;
    damaged[64] ^= 1;
    EXPECT_EQ(verify(CKM_RSA_PKCS, pub, data, damaged), CKR_FUNCTION_FAILED);
    EXPECT_EQ(verify(CKM_SHA1_RSA_PKCS, pub, data, damaged), CKR_SIGNATURE_INVALID);
    std::vector<unsigned char> tooLong(118, 1);
    EXPECT_EQ(verify(CKM_RSA_PKCS, pub, tooLong, sig), CKR_DATA_LEN_RANGE);
    sig.pop_back();
    EXPECT_EQ(verify(CKM_RSA_PKCS, pub, data, sig), CKR_SIGNATURE_LEN_RANGE);
    // Raw RSA.
    std::vector<unsigned char> raw(20, 0x33);
    std::vector<unsigned char> rawSig = sign(CKM_RSA_X_509, priv, raw);
    EXPECT_EQ(verify(CKM_RSA_X_509, pub, raw, rawSig), CKR_OK);
    raw[3] = 0;
    EXPECT_EQ(verify(CKM_RSA_X_509, pub, raw, rawSig), CKR_SIGNATURE_INVALID);
    // Encryption with the public half, decryption with the private one.
    CK_MECHANISM m = {CKM_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(token.C_EncryptInit(h, &m, pub), CKR_OK);
    unsigned char sealed[128];
    CK_ULONG n = sizeof sealed;
    ASSERT_EQ(token.C_Encrypt(h, data.data(), 20, sealed, &n), CKR_OK);
    ASSERT_EQ(n, 128u);
    ASSERT_EQ(token.C_DecryptInit(h, &m, priv), CKR_OK);
    unsigned char open[128];
    CK_ULONG o = sizeof open;
    ASSERT_EQ(token.C_Decrypt(h, sealed, n, open, &o), CKR_OK);
    EXPECT_EQ(toHex(open, o), toHex(data.data(), 20));
    // Keys are used for what they are: a public key does not sign.
    CK_MECHANISM s = {CKM_SHA1_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(token.C_SignInit(h, &s, pub), CKR_KEY_FUNCTION_NOT_PERMITTED);
    EXPECT_EQ(token.C_VerifyInit(h, &s, priv), CKR_KEY_FUNCTION_NOT_PERMITTED);
    CK_MECHANISM ripemd = {CKM_RIPEMD160_RSA_PKCS, nullptr, 0};
    EXPECT_EQ(token.C_VerifyInit(h, &ripemd, pub), CKR_MECHANISM_INVALID);
}

TEST_F(Operations, AttributeRules) {
    CK_OBJECT_HANDLE pub, priv;
    keyPair(512, &pub, &priv);
    // The private parts of a private key never leave the token; the modulus does.
    unsigned char buffer[256];
    CK_ATTRIBUTE secret = {CKA_PRIVATE_EXPONENT, buffer, sizeof buffer};
    EXPECT_EQ(token.C_GetAttributeValue(h, priv, &secret, 1), CKR_ATTRIBUTE_SENSITIVE);
    EXPECT_EQ(secret.ulValueLen, CK_UNAVAILABLE_INFORMATION);
    CK_ATTRIBUTE modulus = {CKA_MODULUS, nullptr, 0};
    ASSERT_EQ(token.C_GetAttributeValue(h, pub, &modulus, 1), CKR_OK);
    EXPECT_EQ(modulus.ulValueLen, 64u);
    modulus.pValue = buffer;
    modulus.ulValueLen = 10;
    EXPECT_EQ(token.C_GetAttributeValue(h, pub, &modulus, 1), CKR_BUFFER_TOO_SMALL);
    CK_ATTRIBUTE unknown = {CKA_VALUE, buffer, sizeof buffer};
    EXPECT_EQ(token.C_GetAttributeValue(h, pub, &unknown, 1), CKR_ATTRIBUTE_TYPE_INVALID);
    // A label may change; the key material and the class may not.
    CK_ATTRIBUTE label = {CKA_LABEL, const_cast<char*>("nuova"), 5};
    EXPECT_EQ(token.C_SetAttributeValue(h, pub, &label, 1), CKR_OK);
    CK_ATTRIBUTE newModulus = {CKA_MODULUS, buffer, 64};
    EXPECT_EQ(token.C_SetAttributeValue(h, pub, &newModulus, 1), CKR_ATTRIBUTE_READ_ONLY);
    // A copy is a new object with the changes asked for.
    CK_OBJECT_HANDLE copy;
    CK_ATTRIBUTE other = {CKA_LABEL, const_cast<char*>("copia"), 5};
    ASSERT_EQ(token.C_CopyObject(h, pub, &other, 1, &copy), CKR_OK);
    CK_ATTRIBUTE find = {CKA_LABEL, const_cast<char*>("copia"), 5};
    ASSERT_EQ(token.C_FindObjectsInit(h, &find, 1), CKR_OK);
    EXPECT_EQ(token.C_FindObjectsInit(h, &find, 1), CKR_OPERATION_ACTIVE);
    CK_OBJECT_HANDLE found[4];
    CK_ULONG n = 0;
    ASSERT_EQ(token.C_FindObjects(h, found, 4, &n), CKR_OK);
    ASSERT_EQ(n, 1u);
    EXPECT_EQ(found[0], copy);
    ASSERT_EQ(token.C_FindObjectsFinal(h), CKR_OK);
    EXPECT_EQ(token.C_FindObjects(h, found, 4, &n), CKR_OPERATION_NOT_INITIALIZED);
    // Destroying a key ends the operation that was using it.
    CK_MECHANISM m = {CKM_SHA1_RSA_PKCS, nullptr, 0};
    ASSERT_EQ(token.C_VerifyInit(h, &m, copy), CKR_OK);
    ASSERT_EQ(token.C_DestroyObject(h, copy), CKR_OK);
    unsigned char b = 0;
    EXPECT_EQ(token.C_Verify(h, &b, 1, &b, 1), CKR_OPERATION_NOT_INITIALIZED);
    EXPECT_EQ(token.C_DestroyObject(h, copy), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(Operations, RandomBytesAndUnsupportedFunctions) {
    unsigned char a[33] = {}, b[33] = {};
    ASSERT_EQ(token.C_GenerateRandom(h, a, sizeof a), CKR_OK);
    ASSERT_EQ(token.C_GenerateRandom(h, b, sizeof b), CKR_OK);
    EXPECT_NE(toHex(a, sizeof a), toHex(b, sizeof b));
    EXPECT_EQ(token.C_GenerateRandom(h, nullptr, 4), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(token.C_SeedRandom(h, a, 4), CKR_RANDOM_SEED_NOT_SUPPORTED);
    CK_MECHANISM m = {CKM_DES3_CBC, nullptr, 0};
    EXPECT_EQ(token.C_WrapKey(h, &m, 1, 2, a, nullptr), CKR_FUNCTION_NOT_SUPPORTED);
    CK_MECHANISM_INFO info;
    EXPECT_EQ(token.C_GetMechanismInfo(0, CKM_RSA_PKCS, &info), CKR_OK);
    EXPECT_EQ(info.ulMaxKeySize, 16384u);
    EXPECT_EQ(token.C_GetMechanismInfo(0, 0x1081, &info), CKR_MECHANISM_INVALID);
    // Generated DES keys, and a cipher round trip with padding.
    CK_MECHANISM gen = {CKM_DES3_KEY_GEN, nullptr, 0};
    CK_OBJECT_HANDLE k;
    ASSERT_EQ(token.C_GenerateKey(h, &gen, nullptr, 0, &k), CKR_OK);
    unsigned char iv[8] = {1};
    CK_MECHANISM pad = {CKM_DES3_CBC_PAD, iv, 8};
    ASSERT_EQ(token.C_EncryptInit(h, &pad, k), CKR_OK);
    CK_ULONG n = 0;
    ASSERT_EQ(token.C_Encrypt(h, a, 13, nullptr, &n), CKR_OK);
    EXPECT_EQ(n, 16u);
    unsigned char sealed[16];
    ASSERT_EQ(token.C_Encrypt(h, a, 13, sealed, &n), CKR_OK);
    ASSERT_EQ(token.C_DecryptInit(h, &pad, k), CKR_OK);
    unsigned char open[16];
    CK_ULONG o = sizeof open;
    ASSERT_EQ(token.C_Decrypt(h, sealed, n, open, &o), CKR_OK);
    EXPECT_EQ(toHex(open, o), toHex(a, 13));
}

TEST(TokenSessions, ReadOnlySessionsAndTheSO) {
    char dir[] = "/tmp/sigilo_rosoXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string base = std::string(dir) + "/t";
    PKCS11CryptoKi token({base});
    ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
    unsigned char so[] = "87654321", label[32];
    memset(label, ' ', 32);
    EXPECT_EQ(token.C_InitToken(1, so, 0, label), CKR_ARGUMENTS_BAD);
    unsigned char zero[] = {'1', 0, '2'};
    EXPECT_EQ(token.C_InitToken(1, zero, 3, label), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(token.C_InitToken(9, so, 8, label), CKR_SLOT_ID_INVALID);
    EXPECT_EQ(token.C_InitToken(0, so, 8, label), CKR_TOKEN_WRITE_PROTECTED);
    ASSERT_EQ(token.C_InitToken(1, so, 8, label), CKR_OK);
    CK_SESSION_HANDLE ro, rw;
    ASSERT_EQ(token.C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &ro), CKR_OK);
    EXPECT_EQ(token.C_Login(ro, CKU_SO, so, 8), CKR_SESSION_READ_ONLY_EXISTS);
    EXPECT_EQ(token.C_Login(ro, 7, so, 8), CKR_USER_TYPE_INVALID);
    EXPECT_EQ(token.C_Login(ro, CKU_USER, so, 8), CKR_USER_PIN_NOT_INITIALIZED);
    // A public token object cannot be made in a read-only session.
    CK_OBJECT_CLASS c = CKO_DATA;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c}, {CKA_TOKEN, &yes, 1}};
    CK_OBJECT_HANDLE o;
    EXPECT_EQ(token.C_CreateObject(ro, t, 2, &o), CKR_SESSION_READ_ONLY);
    ASSERT_EQ(token.C_CloseSession(ro), CKR_OK);
    ASSERT_EQ(token.C_OpenSession(1, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &rw),
              CKR_OK);
    ASSERT_EQ(token.C_Login(rw, CKU_SO, so, 8), CKR_OK);
    CK_SESSION_INFO info;
    ASSERT_EQ(token.C_GetSessionInfo(rw, &info), CKR_OK);
    EXPECT_EQ(info.state, CKS_RW_SO_FUNCTIONS);
    EXPECT_EQ(token.C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &ro),
              CKR_SESSION_READ_WRITE_SO_EXISTS);
    ASSERT_EQ(token.C_CloseSession(rw), CKR_OK);
    // Initialising again needs the SO PIN of the token.
    unsigned char wrong[] = "11111111";
    EXPECT_EQ(token.C_InitToken(1, wrong, 8, label), CKR_PIN_INCORRECT);
    EXPECT_EQ(token.C_InitToken(1, so, 8, label), CKR_OK);
}

}  // namespace
