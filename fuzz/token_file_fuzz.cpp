// A token file of arbitrary bytes, loaded by the built-in token as its disk slot: header,
// directory, object images, the user PIN "1234" opening (or not) the private objects, and every
// visible object's attributes read out, then one object destroyed and one written. The header
// digest is set right on every other input, so that the fuzzer reaches past it into the directory
// and the images. Object images also go straight into restoreObject for each class.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "crypto/SHA1.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/token/PKCS11Object.h"

namespace {

std::string tokenBase() {
    static const std::string base = "/tmp/sigilo_fuzz_token_" + std::to_string(getpid()) + "_";
    return base;
}

void exercise(const std::vector<uint8_t>& file) {
    std::string path = tokenBase() + "01";
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) return;
    if (!file.empty()) fwrite(file.data(), 1, file.size(), f);
    fclose(f);
    PKCS11CryptoKi token({tokenBase()});
    token.C_Initialize(nullptr);
    CK_TOKEN_INFO info;
    token.C_GetTokenInfo(1, &info);
    CK_SESSION_HANDLE h = 0;
    if (token.C_OpenSession(1, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &h) ==
        CKR_OK) {
        unsigned char pin[] = "1234";
        token.C_Login(h, CKU_USER, pin, 4);
        token.C_FindObjectsInit(h, nullptr, 0);
        CK_OBJECT_HANDLE objects[PKCS11CryptoKi::kMaxObjects];
        CK_ULONG n = 0;
        token.C_FindObjects(h, objects, PKCS11CryptoKi::kMaxObjects, &n);
        token.C_FindObjectsFinal(h);
        for (CK_ULONG i = 0; i < n; ++i) {
            unsigned char value[8192];
            CK_ATTRIBUTE t[] = {{CKA_VALUE, value, sizeof value},
                                {CKA_LABEL, value, sizeof value},
                                {CKA_MODULUS, value, sizeof value}};
            for (CK_ATTRIBUTE& a : t) token.C_GetAttributeValue(h, objects[i], &a, 1);
            CK_MECHANISM m = {CKM_SHA256_RSA_PKCS, nullptr, 0};
            if (token.C_SignInit(h, &m, objects[i]) == CKR_OK) {
                CK_ULONG len = sizeof value;
                token.C_Sign(h, value, 16, value, &len);
            }
        }
        // Writes into a hostile directory: a destroyed image is wiped where its entry says, a
        // new one goes where it overwrites no other.
        if (n > 0) token.C_DestroyObject(h, objects[0]);
        CK_OBJECT_CLASS c = CKO_DATA;
        CK_BBOOL yes = CK_TRUE;
        char label[] = "fuzz";
        CK_ATTRIBUTE d[] = {{CKA_CLASS, &c, sizeof c}, {CKA_TOKEN, &yes, 1}, {CKA_LABEL, label, 4}};
        CK_OBJECT_HANDLE created = 0;
        token.C_CreateObject(h, d, 3, &created);
        token.C_CloseSession(h);
    }
    token.C_Finalize(nullptr);
    unlink(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 16 * PKCS11CryptoKi::kBlockSize) return 0;
    std::vector<uint8_t> file(data, data + size);
    exercise(file);
    if (size >= PKCS11CryptoKi::kHeaderSize) {
        SHA1 sha;
        sha.update(file.data(), 168);
        sha.final(file.data() + 168);
        exercise(file);
    }
    for (CK_OBJECT_CLASS c : {CKO_DATA, CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY}) {
        std::unique_ptr<PKCS11Object> o(PKCS11Object::create(c, CKK_RSA));
        if (o) o->restoreObject(data, size);
    }
    return 0;
}
