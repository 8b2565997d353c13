// The built-in token as a PKCS#11 module: slots, sessions and their limits, the disk token's
// file (PINs, lock-out, the header digest, private objects enciphered at rest), the exported
// table, and CryptoKi's binding and name tables.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/token/PKCS11CryptoKi.h"

namespace {

const unsigned char kSO[] = "87654321";
const unsigned char kUser[] = "1234";

std::string tempBase() {
    char dir[] = "/tmp/sigilo_tokenXXXXXX";
    EXPECT_NE(mkdtemp(dir), nullptr);
    return std::string(dir) + "/tok";
}

std::vector<unsigned char> fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::vector<unsigned char>& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// A token with one disk slot at base + "01".
struct DiskToken {
    std::string base;
    std::unique_ptr<PKCS11CryptoKi> token;
    explicit DiskToken(const std::string& b) : base(b) { restart(); }
    void restart() {
        token.reset();
        token.reset(new PKCS11CryptoKi({base + "01"}));
        EXPECT_EQ(token->C_Initialize(nullptr), CKR_OK);
    }
    std::string path() const { return base + "01"; }
    CK_SESSION_HANDLE open(CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION) {
        CK_SESSION_HANDLE h = 0;
        EXPECT_EQ(token->C_OpenSession(1, flags, nullptr, nullptr, &h), CKR_OK);
        return h;
    }
    CK_RV login(CK_SESSION_HANDLE h, CK_USER_TYPE who, const unsigned char* pin) {
        return token->C_Login(h, who, const_cast<unsigned char*>(pin),
                              strlen(reinterpret_cast<const char*>(pin)));
    }
    // Initialised, with the user PIN set.
    void initialise() {
        unsigned char label[32];
        memset(label, ' ', 32);
        memcpy(label, "Prova", 5);
        ASSERT_EQ(token->C_InitToken(1, const_cast<unsigned char*>(kSO), 8, label), CKR_OK);
        CK_SESSION_HANDLE h = open();
        ASSERT_EQ(login(h, CKU_SO, kSO), CKR_OK);
        ASSERT_EQ(token->C_InitPIN(h, const_cast<unsigned char*>(kUser), 4), CKR_OK);
        ASSERT_EQ(token->C_CloseSession(h), CKR_OK);
    }
    CK_OBJECT_HANDLE createData(CK_SESSION_HANDLE h, const char* label, const char* value,
                                bool priv, CK_RV expected = CKR_OK) {
        CK_OBJECT_CLASS c = CKO_DATA;
        CK_BBOOL yes = CK_TRUE, p = priv ? CK_TRUE : CK_FALSE;
        CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c},
                            {CKA_TOKEN, &yes, 1},
                            {CKA_PRIVATE, &p, 1},
                            {CKA_LABEL, const_cast<char*>(label), strlen(label)},
                            {CKA_VALUE, const_cast<char*>(value), strlen(value)}};
        CK_OBJECT_HANDLE o = 0;
        EXPECT_EQ(token->C_CreateObject(h, t, 5, &o), expected);
        return o;
    }
    // The value of the data object with the label, or "(none)".
    std::string readData(CK_SESSION_HANDLE h, const char* label) {
        CK_ATTRIBUTE t = {CKA_LABEL, const_cast<char*>(label), strlen(label)};
        EXPECT_EQ(token->C_FindObjectsInit(h, &t, 1), CKR_OK);
        CK_OBJECT_HANDLE o;
        CK_ULONG n = 0;
        token->C_FindObjects(h, &o, 1, &n);
        token->C_FindObjectsFinal(h);
        if (n == 0) return "(none)";
        char value[256];
        CK_ATTRIBUTE v = {CKA_VALUE, value, sizeof value};
        EXPECT_EQ(token->C_GetAttributeValue(h, o, &v, 1), CKR_OK);
        return std::string(value, v.ulValueLen);
    }
};

TEST(Token, VirtualSlotAloneWithoutPaths) {
    PKCS11CryptoKi token({});
    ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
    CK_ULONG count = 0;
    ASSERT_EQ(token.C_GetSlotList(CK_FALSE, nullptr, &count), CKR_OK);
    EXPECT_EQ(count, 1u);
    CK_TOKEN_INFO info;
    ASSERT_EQ(token.C_GetTokenInfo(0, &info), CKR_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.label), 20), "Not Persistent Token");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.model), 13), "Virtual Token");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.serialNumber), 16), "0000000000000000");
    EXPECT_EQ(info.flags, 1025u);
    CK_INFO lib;
    ASSERT_EQ(token.C_GetInfo(&lib), CKR_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(lib.libraryDescription), 23),
              "PKCS #11 PKCS11CryptoKi");
    EXPECT_EQ(token.C_GetTokenInfo(1, &info), CKR_SLOT_ID_INVALID);
}

TEST(Token, SlotPathsComeFromTheEnvironment) {
    setenv("PKCS11SLOT", "/var/tmp/tok", 1);
    std::vector<std::string> paths = PKCS11CryptoKi::slotPathsFromEnvironment();
    unsetenv("PKCS11SLOT");
    ASSERT_EQ(paths.size(), 4u);
    EXPECT_EQ(paths[0], "/var/tmp/tok01");
    EXPECT_EQ(paths[3], "/var/tmp/tok04");
    EXPECT_TRUE(PKCS11CryptoKi::slotPathsFromEnvironment().empty());
}

TEST(Token, SessionLimitsAndHandles) {
    PKCS11CryptoKi token({});
    CK_SESSION_HANDLE h[5];
    EXPECT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h[0]),
              CKR_CRYPTOKI_NOT_INITIALIZED);
    ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
    EXPECT_EQ(token.C_OpenSession(0, 0, nullptr, nullptr, &h[0]),
              CKR_SESSION_PARALLEL_NOT_SUPPORTED);
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h[i]), CKR_OK);
        EXPECT_EQ(h[i], static_cast<CK_SESSION_HANDLE>(i + 1));
    }
    EXPECT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h[4]),
              CKR_SESSION_COUNT);
    ASSERT_EQ(token.C_CloseSession(2), CKR_OK);
    ASSERT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h[4]), CKR_OK);
    EXPECT_EQ(h[4], 2u);
    // A handle that is not an open session, 0 included.
    CK_MECHANISM m = {CKM_SHA_1, nullptr, 0};
    for (CK_SESSION_HANDLE bad : {0ul, 5ul, 99ul}) {
        EXPECT_EQ(token.C_VerifyInit(bad, &m, 1), CKR_SESSION_CLOSED) << bad;
    }
    EXPECT_EQ(token.C_VerifyInit(1, nullptr, 1), CKR_ARGUMENTS_BAD);
    EXPECT_EQ(token.C_VerifyInit(1, &m, 0), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(token.C_VerifyInit(1, &m, 41), CKR_KEY_HANDLE_INVALID);
    EXPECT_EQ(token.C_Verify(1, nullptr, 0, nullptr, 0), CKR_ARGUMENTS_BAD);
    unsigned char b = 0;
    EXPECT_EQ(token.C_Verify(1, &b, 1, &b, 1), CKR_OPERATION_NOT_INITIALIZED);
    // The virtual slot has no PIN to log in with.
    EXPECT_EQ(token.C_Login(1, CKU_USER, &b, 1), CKR_USER_PIN_NOT_INITIALIZED);
}

// The 41st object finds no handle; the forty before it stay.
TEST(Token, FortyObjectsAtMost) {
    PKCS11CryptoKi token({});
    ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
    CK_SESSION_HANDLE h;
    ASSERT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h), CKR_OK);
    CK_OBJECT_CLASS c = CKO_DATA;
    CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c}, {CKA_VALUE, const_cast<char*>("v"), 1}};
    CK_OBJECT_HANDLE o;
    for (int i = 0; i < 40; ++i) ASSERT_EQ(token.C_CreateObject(h, t, 2, &o), CKR_OK);
    EXPECT_EQ(token.C_CreateObject(h, t, 2, &o), CKR_DEVICE_MEMORY);
    EXPECT_EQ(token.getObjectCount(), 40u);
    ASSERT_EQ(token.C_DestroyObject(h, 7), CKR_OK);
    ASSERT_EQ(token.C_CreateObject(h, t, 2, &o), CKR_OK);
    EXPECT_EQ(o, 7u);
    // Session objects end with their session.
    ASSERT_EQ(token.C_CloseSession(h), CKR_OK);
    EXPECT_EQ(token.getObjectCount(), 0u);
}

TEST(Token, BadTemplatesAreRefused) {
    PKCS11CryptoKi token({});
    ASSERT_EQ(token.C_Initialize(nullptr), CKR_OK);
    CK_SESSION_HANDLE h;
    ASSERT_EQ(token.C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &h), CKR_OK);
    CK_OBJECT_CLASS pub = CKO_PUBLIC_KEY;
    CK_KEY_TYPE rsa = CKK_RSA, dsa = CKK_DSA;
    unsigned char modulus[3000];
    memset(modulus, 0xAB, sizeof modulus);
    unsigned char e[] = {1, 0, 1}, big = 2;
    CK_OBJECT_HANDLE o;
    CK_ATTRIBUTE noModulus[] = {{CKA_CLASS, &pub, sizeof pub},
                                {CKA_KEY_TYPE, &rsa, sizeof rsa},
                                {CKA_PUBLIC_EXPONENT, e, 3}};
    EXPECT_EQ(token.C_CreateObject(h, noModulus, 3, &o), CKR_TEMPLATE_INCOMPLETE);
    CK_ATTRIBUTE huge[] = {{CKA_CLASS, &pub, sizeof pub},
                           {CKA_KEY_TYPE, &rsa, sizeof rsa},
                           {CKA_PUBLIC_EXPONENT, e, 3},
                           {CKA_MODULUS, modulus, sizeof modulus}};
    EXPECT_EQ(token.C_CreateObject(h, huge, 4, &o), CKR_ATTRIBUTE_VALUE_INVALID);
    CK_ATTRIBUTE wrongType[] = {{CKA_CLASS, &pub, sizeof pub}, {CKA_KEY_TYPE, &dsa, sizeof dsa}};
    EXPECT_EQ(token.C_CreateObject(h, wrongType, 2, &o), CKR_ATTRIBUTE_VALUE_INVALID);
    CK_ATTRIBUTE badBool[] = {
        {CKA_CLASS, &pub, sizeof pub}, {CKA_KEY_TYPE, &rsa, sizeof rsa}, {CKA_VERIFY, &big, 4}};
    EXPECT_EQ(token.C_CreateObject(h, badBool, 3, &o), CKR_ATTRIBUTE_VALUE_INVALID);
    CK_ATTRIBUTE nullValue[] = {{CKA_CLASS, &pub, sizeof pub},
                                {CKA_KEY_TYPE, &rsa, sizeof rsa},
                                {CKA_MODULUS, nullptr, 128}};
    EXPECT_EQ(token.C_CreateObject(h, nullValue, 3, &o), CKR_ATTRIBUTE_VALUE_INVALID);
    EXPECT_EQ(token.C_CreateObject(h, noModulus, 0, &o), CKR_TEMPLATE_INCOMPLETE);
    EXPECT_EQ(token.getObjectCount(), 0u);
}

TEST(Token, DiskTokenLifecycle) {
    DiskToken t(tempBase());
    CK_TOKEN_INFO info;
    ASSERT_EQ(t.token->C_GetTokenInfo(1, &info), CKR_OK);
    EXPECT_FALSE(info.flags & CKF_TOKEN_INITIALIZED);
    t.initialise();
    ASSERT_EQ(t.token->C_GetTokenInfo(1, &info), CKR_OK);
    EXPECT_EQ(info.flags, 1029u | CKF_USER_PIN_INITIALIZED);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.model), 10), "Disk Token");
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info.label), 5), "Prova");
    CK_SESSION_HANDLE h = t.open();
    // An open session forbids initialising the token again.
    unsigned char label[32] = {' '};
    EXPECT_EQ(t.token->C_InitToken(1, const_cast<unsigned char*>(kSO), 8, label),
              CKR_SESSION_EXISTS);
    EXPECT_EQ(t.createData(h, "secret", "very private", true, CKR_USER_NOT_LOGGED_IN), 0u);
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    EXPECT_EQ(t.login(h, CKU_USER, kUser), CKR_USER_ALREADY_LOGGED_IN);
    EXPECT_EQ(t.login(h, CKU_SO, kSO), CKR_USER_ANOTHER_ALREADY_LOGGED_IN);
    t.createData(h, "secret", "very private", true);
    t.createData(h, "public", "for everyone", false);
    EXPECT_EQ(t.readData(h, "secret"), "very private");
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);

    // On disk: the public value in clear, the private one nowhere.
    std::vector<unsigned char> file = fileBytes(t.path());
    std::string text(file.begin(), file.end());
    EXPECT_NE(text.find("for everyone"), std::string::npos);
    EXPECT_EQ(text.find("very private"), std::string::npos);
    EXPECT_EQ(file.size(), 3u * PKCS11CryptoKi::kBlockSize);

    t.restart();
    h = t.open();
    EXPECT_EQ(t.readData(h, "public"), "for everyone");
    EXPECT_EQ(t.readData(h, "secret"), "(none)");
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "very private");
    ASSERT_EQ(t.token->C_Logout(h), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "(none)");

    // A changed PIN opens the same objects; the old one no longer does.
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    ASSERT_EQ(t.token->C_SetPIN(h, const_cast<unsigned char*>(kUser), 4,
                                reinterpret_cast<unsigned char*>(const_cast<char*>("4321")), 4),
              CKR_OK);
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);
    t.restart();
    h = t.open();
    EXPECT_EQ(t.login(h, CKU_USER, kUser), CKR_PIN_INCORRECT);
    ASSERT_EQ(t.login(h, CKU_USER, reinterpret_cast<const unsigned char*>("4321")), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "very private");

    // Destroying an object frees its entry and wipes its block.
    CK_ATTRIBUTE find = {CKA_LABEL, const_cast<char*>("secret"), 6};
    CK_OBJECT_HANDLE o;
    CK_ULONG n;
    t.token->C_FindObjectsInit(h, &find, 1);
    t.token->C_FindObjects(h, &o, 1, &n);
    t.token->C_FindObjectsFinal(h);
    ASSERT_EQ(n, 1u);
    ASSERT_EQ(t.token->C_DestroyObject(h, o), CKR_OK);
    t.createData(h, "again", "reuses the entry", false);
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);
    EXPECT_EQ(fileBytes(t.path()).size(), 3u * PKCS11CryptoKi::kBlockSize);
}

// A file written by another implementation may keep its images anywhere behind the first
// block: here packed one right behind the other. Every object loads, and later writes go where
// they overwrite no other image.
TEST(Token, ImagesAtTheOffsetsTheirEntriesGive) {
    DiskToken t(tempBase());
    t.initialise();
    CK_SESSION_HANDLE h = t.open();
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    t.createData(h, "secret", "very private", true);
    t.createData(h, "public", "for everyone", false);
    t.createData(h, "third", "the last one", false);
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);

    const unsigned int B = PKCS11CryptoKi::kBlockSize;
    std::vector<unsigned char> file = fileBytes(t.path());
    ASSERT_EQ(file.size(), 4u * B);
    std::vector<unsigned char> packed(file.begin(), file.begin() + B);
    for (unsigned int i = 1; i <= 3; ++i) {
        const size_t e = PKCS11CryptoKi::kHeaderSize + i * 40;
        unsigned int size = (packed[e + 32] << 8) | packed[e + 33];
        ASSERT_GT(size, 0u);
        unsigned long at = packed.size();
        packed.insert(packed.end(), file.begin() + i * B, file.begin() + i * B + size);
        for (int k = 0; k < 8; ++k)
            packed[e + 24 + k] = static_cast<unsigned char>(at >> (56 - 8 * k));
    }
    writeFile(t.path(), packed);

    t.restart();
    h = t.open();
    EXPECT_EQ(t.readData(h, "public"), "for everyone");
    EXPECT_EQ(t.readData(h, "third"), "the last one");
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "very private");
    // Rewrite one, destroy one, add one.
    auto find = [&](const char* label) {
        CK_ATTRIBUTE a = {CKA_LABEL, const_cast<char*>(label), strlen(label)};
        CK_OBJECT_HANDLE o = 0;
        CK_ULONG n = 0;
        t.token->C_FindObjectsInit(h, &a, 1);
        t.token->C_FindObjects(h, &o, 1, &n);
        t.token->C_FindObjectsFinal(h);
        return o;
    };
    // A grown image no longer fits in its packed place: it must move, not spill over.
    std::string longer(600, 'x');
    CK_ATTRIBUTE application = {CKA_APPLICATION, &longer[0], longer.size()};
    ASSERT_EQ(t.token->C_SetAttributeValue(h, find("public"), &application, 1), CKR_OK);
    ASSERT_EQ(t.token->C_DestroyObject(h, find("third")), CKR_OK);
    t.createData(h, "fourth", "added later", false);
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);

    t.restart();
    h = t.open();
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "very private");
    EXPECT_EQ(t.readData(h, "public"), "for everyone");
    char got[700];
    CK_ATTRIBUTE back = {CKA_APPLICATION, got, sizeof got};
    ASSERT_EQ(t.token->C_GetAttributeValue(h, find("public"), &back, 1), CKR_OK);
    EXPECT_EQ(std::string(got, back.ulValueLen), longer);
    EXPECT_EQ(t.readData(h, "third"), "(none)");
    EXPECT_EQ(t.readData(h, "fourth"), "added later");
    std::vector<unsigned char> after = fileBytes(t.path());
    std::string text(after.begin(), after.end());
    EXPECT_EQ(text.find("the last one"), std::string::npos);
    ASSERT_EQ(t.token->C_CloseSession(h), CKR_OK);

    // Entries that point into the first block or past the end of the file are skipped.
    std::vector<unsigned char> bad = fileBytes(t.path());
    for (unsigned int i = 1; i <= 3; ++i) {
        unsigned char* e = bad.data() + PKCS11CryptoKi::kHeaderSize + i * 40;
        unsigned long at = i == 1 ? 100 : i == 2 ? bad.size() - 10 : 0xFFFFFFFFFFFFFF00ul;
        for (int k = 0; k < 8; ++k) e[24 + k] = static_cast<unsigned char>(at >> (56 - 8 * k));
    }
    writeFile(t.path(), bad);
    t.restart();
    h = t.open();
    ASSERT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
    EXPECT_EQ(t.readData(h, "secret"), "(none)");
    EXPECT_EQ(t.readData(h, "public"), "(none)");
}

TEST(Token, ThreeWrongUserPinsLockTheTokenAcrossARestart) {
    DiskToken t(tempBase());
    t.initialise();
    CK_SESSION_HANDLE h = t.open();
    const unsigned char wrong[] = "0000";
    EXPECT_EQ(t.login(h, CKU_USER, wrong), CKR_PIN_INCORRECT);
    CK_TOKEN_INFO info;
    t.token->C_GetTokenInfo(1, &info);
    EXPECT_TRUE(info.flags & CKF_USER_PIN_COUNT_LOW);
    EXPECT_EQ(t.login(h, CKU_USER, wrong), CKR_PIN_INCORRECT);
    t.token->C_GetTokenInfo(1, &info);
    EXPECT_TRUE(info.flags & CKF_USER_PIN_FINAL_TRY);
    EXPECT_EQ(t.login(h, CKU_USER, wrong), CKR_PIN_INCORRECT);
    t.token->C_GetTokenInfo(1, &info);
    EXPECT_TRUE(info.flags & CKF_USER_PIN_LOCKED);
    EXPECT_EQ(t.login(h, CKU_USER, kUser), CKR_PIN_LOCKED);
    t.restart();
    h = t.open();
    EXPECT_EQ(t.login(h, CKU_USER, kUser), CKR_PIN_LOCKED);
    // The SO keeps a count of its own.
    EXPECT_EQ(t.login(h, CKU_SO, reinterpret_cast<const unsigned char*>("bad")), CKR_PIN_INCORRECT);
    ASSERT_EQ(t.login(h, CKU_SO, kSO), CKR_OK);
    // A new user PIN from the SO unlocks the token.
    ASSERT_EQ(t.token->C_InitPIN(h, const_cast<unsigned char*>(kUser), 4), CKR_OK);
    ASSERT_EQ(t.token->C_Logout(h), CKR_OK);
    EXPECT_EQ(t.login(h, CKU_USER, kUser), CKR_OK);
}

TEST(Token, ChangedHeaderByteStopsTheFileFromLoading) {
    DiskToken t(tempBase());
    t.initialise();
    std::vector<unsigned char> good = fileBytes(t.path());
    for (size_t at : {0ul, 40ul, 97ul, 105ul, 120ul, 150ul, 167ul, 170ul}) {
        std::vector<unsigned char> bad = good;
        bad[at] ^= 0x20;
        writeFile(t.path(), bad);
        t.restart();
        CK_SESSION_HANDLE h = 0;
        EXPECT_EQ(t.token->C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &h),
                  CKR_TOKEN_NOT_RECOGNIZED)
            << at;
        CK_TOKEN_INFO info;
        EXPECT_NE(t.token->C_GetTokenInfo(1, &info), CKR_OK) << at;
        // A damaged file is not initialised over.
        unsigned char label[32] = {' '};
        EXPECT_EQ(t.token->C_InitToken(1, const_cast<unsigned char*>(kSO), 8, label),
                  CKR_TOKEN_NOT_RECOGNIZED);
    }
    // Truncated files, and a directory full of nonsense behind a good header.
    for (size_t size : {0ul, 100ul, 187ul}) {
        writeFile(t.path(), std::vector<unsigned char>(good.begin(), good.begin() + size));
        t.restart();
        CK_SESSION_HANDLE h = 0;
        EXPECT_NE(t.token->C_OpenSession(1, CKF_SERIAL_SESSION, nullptr, nullptr, &h), CKR_OK);
    }
    std::vector<unsigned char> noisy = good;
    for (size_t i = PKCS11CryptoKi::kHeaderSize; i < noisy.size(); ++i) {
        noisy[i] = static_cast<unsigned char>(i * 131 + 7);
    }
    writeFile(t.path(), noisy);
    t.restart();
    CK_SESSION_HANDLE h = t.open();
    EXPECT_EQ(t.readData(h, "anything"), "(none)");
}

TEST(Token, ExportedTableBindsTheProcessWideToken) {
    EXPECT_EQ(C_GetFunctionList(nullptr), CKR_ARGUMENTS_BAD);
    CK_FUNCTION_LIST* list = nullptr;
    ASSERT_EQ(C_GetFunctionList(&list), CKR_OK);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->version.major, 2);
    EXPECT_EQ(list->version.minor, 0);
    EXPECT_EQ(list->C_GetFunctionList, &C_GetFunctionList);
    CK_FUNCTION_LIST* again = nullptr;
    C_GetFunctionList(&again);
    EXPECT_EQ(again, list);
}

TEST(CryptoKiBinding, MissingModuleLeavesNoTable) {
    testing::internal::CaptureStdout();
    CryptoKi ki("/nonexistent");
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(printed.empty());
    EXPECT_EQ(ki.getFunctionList(), nullptr);
    EXPECT_EQ(ki.C_Initialize(nullptr), CKR_CRYPTOKI_NOT_INITIALIZED);
    CK_ULONG n;
    EXPECT_EQ(ki.C_GetSlotList(CK_FALSE, nullptr, &n), CKR_CRYPTOKI_NOT_INITIALIZED);
    CryptoDevice device(&ki);
    EXPECT_EQ(device.getErrorCodeNumeric(), CKR_CRYPTOKI_NOT_INITIALIZED);
    EXPECT_EQ(device.openToken(0, nullptr, 0), 0u);
}

TEST(CryptoKiBinding, BuiltInModuleThroughTheLibraryFile) {
    std::string path = std::string(SIGILO_BINARY_DIR) + "/libsigilo.so";
    if (access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "no " << path;
    CryptoKi ki(path.c_str());
    ASSERT_NE(ki.getFunctionList(), nullptr);
    CryptoDevice device(&ki);
    EXPECT_EQ(device.getErrorCodeNumeric(), 0u);
    EXPECT_NE(device.openToken(0, nullptr, 0), 0u);
    std::unique_ptr<CK_TOKEN_INFO> info(device.getTokenInfo(0));
    ASSERT_TRUE(info);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(info->model), 13), "Virtual Token");
}

TEST(CryptoKiBinding, DeviceOpensTheVirtualSlotWithoutLogin) {
    CryptoKi ki;
    CryptoDevice device(&ki);
    ASSERT_EQ(device.getErrorCodeNumeric(), 0u);
    EXPECT_GE(device.getSlotNum(), 1u);
    EXPECT_NE(device.openToken(0, nullptr, 0), 0u);
    EXPECT_FALSE(device.isLogged());
    unsigned char bytes[13] = {};
    EXPECT_TRUE(device.random(bytes, sizeof bytes));
    unsigned long count = 0;
    std::unique_ptr<CK_MECHANISM_TYPE[]> mechanisms(device.getMechanismList(0, &count));
    ASSERT_TRUE(mechanisms);
    EXPECT_LE(count, PKCS11CryptoKi::kMaxMechanisms);
    bool hasSha1Rsa = false;
    for (unsigned long i = 0; i < count; ++i) hasSha1Rsa |= mechanisms[i] == CKM_SHA1_RSA_PKCS;
    EXPECT_TRUE(hasSha1Rsa);
}

std::string text(char* owned) {
    std::unique_ptr<char[]> p(owned);
    return p ? std::string(p.get()) : "(null)";
}

TEST(CryptoKiNames, ErrorTextsMechanismsAndFlags) {
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x100)), "utente gia' loggato");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x150)), "buffer troppo piccolo");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x190)), "cryptoki non inizializzato");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x191)), "cryptoki gia' inizializzato");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x1A0)), "mutex non valido");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x1A1)), "mutex non bloccato");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x160)), "stato salvato non valido");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x170)), "informazione sensitiva");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x121)), "generatore random non disponibile");
    EXPECT_EQ(text(CryptoKi::getErrorMessage(0x80000001ul)), "definito dal produttore");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x3AA)), "PBE_SHA1_RC2_128_CBC");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x1032)), "BATON_ECB96");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x1063)), "JUNIPER_COUNTER");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x80000000ul)), "VENDOR_DEFINED");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x1081)), "CKM_AES_ECB");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x1085)), "CKM_AES_CBC_PAD");
    EXPECT_EQ(text(CryptoKi::getMechanismName(0x6)), "SHA1_RSA_PKCS");
    EXPECT_EQ(text(CryptoKi::getTokenInfoFlags(1029)),
              "CKF_RNG | CKF_LOGIN_REQUIRED | CKF_TOKEN_INITIALIZED");
    EXPECT_EQ(text(CryptoKi::getSessionState(3)), "CKS_RW_USER_FUNCTIONS");
    EXPECT_EQ(text(CryptoKi::getKeyType(0x15)), "CKK_DES3");
    EXPECT_EQ(text(CryptoKi::getCertType(0)), "CKC_X_509");
    CryptoDevice none;
    EXPECT_EQ(text(none.getErrorCodeString()), "00000000");
}

}  // namespace
