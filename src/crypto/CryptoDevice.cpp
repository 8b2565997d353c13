#include "crypto/CryptoDevice.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"

namespace {

// Sizes of the object lists, in bytes; they hold object handles.
constexpr unsigned int kListBytes[5] = {9216, 9216, 9216, 10240, 7168};
// The class each list holds.
constexpr CK_OBJECT_CLASS kListClass[5] = {CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY,
                                           CKO_SECRET_KEY, CKO_DATA};

struct OidMechanism {
    const char* oid;
    CK_MECHANISM_TYPE mechanism;
};

const OidMechanism kDigests[] = {
    {"1.2.840.113549.2.5", CKM_MD5},        {"1.3.14.3.2.26", CKM_SHA_1},
    {"1.3.36.3.2.1", CKM_RIPEMD160},        {"2.16.840.1.101.3.4.2.1", CKM_SHA256},
    {"2.16.840.1.101.3.4.2.2", CKM_SHA384}, {"2.16.840.1.101.3.4.2.3", CKM_SHA512}};

const char* oidOfDigest(CK_MECHANISM_TYPE m) {
    for (const OidMechanism& d : kDigests) {
        if (d.mechanism == m) return d.oid;
    }
    return nullptr;
}

}  // namespace

CryptoDevice::CryptoDevice() : CryptoDevice(nullptr) {}

CryptoDevice::CryptoDevice(CryptoKi* ki)
    : lastError(0),
      cryptoKi(ki),
      session(0),
      slotList(nullptr),
      slotCount(0),
      info(),
      vendor(kVendorNone),
      objectLists(),
      digestMechanism(),
      signMechanism(),
      rawSignMechanism(),
      cryptMechanism(),
      cipherMechanism(),
      cipherIV(),
      workBuffer(new Buffer(4096)),
      readObjectsOnOpen(255),
      useDigestInfo(0),
      des3Keys(255),
      publicExponentMaxLen(0),
      sessionFlags(CKF_SERIAL_SESSION),
      publicKeyHandle(0),
      privateKeyHandle(0),
      cipherKeyHandle(0),
      ownPublicKey(false),
      ownPrivateKey(false) {
    if (cryptoKi == nullptr) return;
    lastError = cryptoKi->init();
    // Another user of the same module in this process has initialised it already: the
    // module is as ready as it would be after our own call.
    if (lastError == CKR_CRYPTOKI_ALREADY_INITIALIZED) lastError = CKR_OK;
    if (lastError != CKR_OK) return;
    CK_ULONG count = 0;
    lastError = cryptoKi->C_GetSlotList(CK_FALSE, nullptr, &count);
    if (lastError != CKR_OK) return;
    slotList = new CK_SLOT_ID[count > 0 ? count : 1];
    lastError = cryptoKi->C_GetSlotList(CK_FALSE, slotList, &count);
    if (lastError != CKR_OK) return;
    slotCount = count;
    lastError = cryptoKi->C_GetInfo(&info);
    if (lastError != CKR_OK) return;
    char maker[33];
    memcpy(maker, info.manufacturerID, 32);
    maker[32] = 0;
    if (strstr(maker, "Chrysalis") != nullptr) {
        vendor = kVendorChrysalis;
    } else if (strstr(maker, "Eracom") != nullptr) {
        vendor = kVendorEracom;
        sessionFlags |= CKF_RW_SESSION;
    } else if (strstr(maker, "AEP") != nullptr) {
        vendor = kVendorAEP;
        useDigestInfo = 255;
        publicExponentMaxLen = 4;
        sessionFlags |= CKF_RW_SESSION;
    } else if (strstr(maker, "Tessaria") != nullptr) {
        vendor = kVendorTessaria;
        sessionFlags |= CKF_RW_SESSION;
    }
}

CryptoDevice::~CryptoDevice() {
    closeToken();
    delete[] slotList;
    for (unsigned char*& list : objectLists) delete[] list;
    delete workBuffer;
}

// ---- Token ----

unsigned long CryptoDevice::openToken(unsigned long slot, const unsigned char* pin,
                                      unsigned long pinLen) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    closeToken();
    lastError = cryptoKi->C_OpenSession(slot, sessionFlags, nullptr, nullptr, &session);
    if (lastError != CKR_OK && vendor == kVendorTessaria) {
        lastError = cryptoKi->C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session);
    }
    if (lastError != CKR_OK) {
        session = 0;
        return 0;
    }
    CK_TOKEN_INFO token;
    lastError = cryptoKi->C_GetTokenInfo(slot, &token);
    if (lastError != CKR_OK) {
        closeToken();
        return 0;
    }
    if (token.flags & (CKF_LOGIN_REQUIRED | CKF_USER_PIN_INITIALIZED)) {
        lastError = cryptoKi->C_Login(session, CKU_USER, const_cast<unsigned char*>(pin), pinLen);
        if (lastError != CKR_OK && lastError != CKR_USER_ALREADY_LOGGED_IN) {
            closeToken();
            return 0;
        }
        lastError = CKR_OK;
    }
    if (!readObjectsOnOpen && objectLists[0] != nullptr) return ~0ul;
    for (int i = 0; i < 5; ++i) {
        delete[] objectLists[i];
        objectLists[i] = new unsigned char[kListBytes[i]]();
    }
    return readObjectsOnOpen ? updateObjectLists() : ~0ul;
}

void CryptoDevice::closeToken() {
    if (cryptoKi == nullptr || session == 0) return;
    destroyObject(&cipherKeyHandle);
    if (ownPublicKey) destroyObject(&publicKeyHandle);
    if (ownPrivateKey) destroyObject(&privateKeyHandle);
    publicKeyHandle = privateKeyHandle = 0;
    cryptoKi->C_CloseSession(session);
    session = 0;
}

unsigned char CryptoDevice::isLogged() {
    CK_SESSION_INFO s;
    if (cryptoKi == nullptr || cryptoKi->C_GetSessionInfo(session, &s) != CKR_OK) return 0;
    return s.state == CKS_RO_USER_FUNCTIONS || s.state == CKS_RW_USER_FUNCTIONS ? 255 : 0;
}

unsigned char CryptoDevice::initToken(unsigned long slot, const unsigned char* pin,
                                      unsigned long pinLen, const char* label) {
    if (cryptoKi == nullptr) return 0;
    unsigned char padded[32];
    memset(padded, ' ', sizeof padded);
    if (label != nullptr) memcpy(padded, label, strnlen(label, sizeof padded));
    lastError = cryptoKi->C_InitToken(slot, const_cast<unsigned char*>(pin), pinLen, padded);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::changePIN(const unsigned char* oldPin, unsigned long oldLen,
                                      const unsigned char* newPin, unsigned long newLen) {
    if (cryptoKi == nullptr) return 0;
    lastError = cryptoKi->C_SetPIN(session, const_cast<unsigned char*>(oldPin), oldLen,
                                   const_cast<unsigned char*>(newPin), newLen);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned long CryptoDevice::updateObjectLists() {
    if (cryptoKi == nullptr) return 0;
    for (int i = 0; i < 5; ++i) {
        if (objectLists[i] == nullptr) objectLists[i] = new unsigned char[kListBytes[i]]();
        memset(objectLists[i], 0, kListBytes[i]);
        CK_OBJECT_CLASS c = kListClass[i];
        CK_ATTRIBUTE t = {CKA_CLASS, &c, sizeof c};
        lastError = cryptoKi->C_FindObjectsInit(session, &t, 1);
        if (lastError != CKR_OK) return 0;
        // The list keeps the handles, ending with a zero.
        CK_ULONG room = kListBytes[i] / sizeof(CK_OBJECT_HANDLE) - 1, found = 0;
        lastError = cryptoKi->C_FindObjects(
            session, reinterpret_cast<CK_OBJECT_HANDLE*>(objectLists[i]), room, &found);
        cryptoKi->C_FindObjectsFinal(session);
        if (lastError != CKR_OK) return 0;
    }
    return ~0ul;
}

unsigned long CryptoDevice::findObjectWithId(unsigned long objectClass, const unsigned char* id,
                                             unsigned int idLen) {
    if (cryptoKi == nullptr) return 0;
    CK_OBJECT_CLASS c = objectClass;
    CK_ATTRIBUTE t[2] = {{CKA_CLASS, &c, sizeof c},
                         {CKA_ID, const_cast<unsigned char*>(id), idLen}};
    lastError = cryptoKi->C_FindObjectsInit(session, t, 2);
    if (lastError != CKR_OK) return 0;
    CK_OBJECT_HANDLE h = 0;
    CK_ULONG found = 0;
    lastError = cryptoKi->C_FindObjects(session, &h, 1, &found);
    cryptoKi->C_FindObjectsFinal(session);
    return lastError == CKR_OK && found == 1 ? h : 0;
}

CK_INFO* CryptoDevice::getLibInfo() {
    if (cryptoKi == nullptr) return nullptr;
    auto out = std::make_unique<CK_INFO>();
    lastError = cryptoKi->C_GetInfo(out.get());
    return lastError == CKR_OK ? out.release() : nullptr;
}

CK_SLOT_INFO* CryptoDevice::getSlotInfo(unsigned long slot) {
    if (cryptoKi == nullptr) return nullptr;
    auto out = std::make_unique<CK_SLOT_INFO>();
    lastError = cryptoKi->C_GetSlotInfo(slot, out.get());
    return lastError == CKR_OK ? out.release() : nullptr;
}

CK_TOKEN_INFO* CryptoDevice::getTokenInfo(unsigned long slot) {
    if (cryptoKi == nullptr) return nullptr;
    auto out = std::make_unique<CK_TOKEN_INFO>();
    lastError = cryptoKi->C_GetTokenInfo(slot, out.get());
    return lastError == CKR_OK ? out.release() : nullptr;
}

CK_SESSION_INFO* CryptoDevice::getSessionInfo() {
    if (cryptoKi == nullptr) return nullptr;
    auto out = std::make_unique<CK_SESSION_INFO>();
    lastError = cryptoKi->C_GetSessionInfo(session, out.get());
    return lastError == CKR_OK ? out.release() : nullptr;
}

CK_MECHANISM_TYPE* CryptoDevice::getMechanismList(unsigned long slot, unsigned long* count) {
    *count = 0;
    if (cryptoKi == nullptr) return nullptr;
    CK_ULONG n = 0;
    lastError = cryptoKi->C_GetMechanismList(slot, nullptr, &n);
    if (lastError != CKR_OK) return nullptr;
    std::unique_ptr<CK_MECHANISM_TYPE[]> list(new CK_MECHANISM_TYPE[n > 0 ? n : 1]);
    lastError = cryptoKi->C_GetMechanismList(slot, list.get(), &n);
    if (lastError != CKR_OK) return nullptr;
    *count = n;
    return list.release();
}

CK_MECHANISM_INFO* CryptoDevice::getMechanismInfo(unsigned long slot, unsigned long mechanism) {
    if (cryptoKi == nullptr) return nullptr;
    auto out = std::make_unique<CK_MECHANISM_INFO>();
    lastError = cryptoKi->C_GetMechanismInfo(slot, mechanism, out.get());
    return lastError == CKR_OK ? out.release() : nullptr;
}

// ---- Errors ----

char* CryptoDevice::getErrorMessage() const {
    return CryptoKi::getErrorMessage(lastError);
}

char* CryptoDevice::getErrorCodeString() const {
    char* out = new char[9];
    snprintf(out, 9, "%.8lX", lastError & 0xFFFFFFFFul);
    return out;
}

// ---- Random ----

unsigned char CryptoDevice::random(unsigned char* out, unsigned long n) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_GenerateRandom(session, out, n);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char* CryptoDevice::random8() {
    std::unique_ptr<unsigned char[]> out(new unsigned char[8]);
    return random(out.get(), 8) ? out.release() : nullptr;
}

long CryptoDevice::random() {
    unsigned char bytes[sizeof(long)] = {};
    random(bytes, sizeof bytes);
    long v;
    memcpy(&v, bytes, sizeof v);
    return v;
}

// ---- Digests ----

unsigned char CryptoDevice::setDigestAlgorithm(AlgorithmIdentifier* algorithm) {
    std::unique_ptr<char[]> dotted(algorithm != nullptr ? algorithm->getAlgorithm() : nullptr);
    return setDigestAlgorithm(dotted.get());
}

// An OID outside the table leaves the mechanism at 0, which the token refuses on the next call.
unsigned char CryptoDevice::setDigestAlgorithm(const char* dotted) {
    digestMechanism = CK_MECHANISM{0, nullptr, 0};
    if (dotted == nullptr) return 0;
    for (const OidMechanism& d : kDigests) {
        if (strcmp(d.oid, dotted) == 0) {
            digestMechanism.mechanism = d.mechanism;
            return 255;
        }
    }
    return 0;
}

unsigned long CryptoDevice::getDigestLength() {
    switch (digestMechanism.mechanism) {
        case CKM_MD5:
            return 16;
        case CKM_SHA_1:
        case CKM_RIPEMD160:
            return 20;
        case CKM_SHA256:
            return 32;
        case CKM_SHA384:
            return 48;
        case CKM_SHA512:
            return 64;
        default:
            return 0;
    }
}

DigestInfo* CryptoDevice::digestInfoOf(const unsigned char* digest, unsigned long len) {
    const char* oid = oidOfDigest(digestMechanism.mechanism);
    if (oid == nullptr) {
        lastError = CKR_MECHANISM_INVALID;
        return nullptr;
    }
    return new DigestInfo(oid, digest, static_cast<unsigned int>(len));
}

DigestInfo* CryptoDevice::digest(const unsigned char* data, unsigned long len) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    lastError = cryptoKi->C_DigestInit(session, &digestMechanism);
    if (lastError != CKR_OK) return nullptr;
    unsigned char out[64];
    CK_ULONG n = sizeof out;
    lastError = cryptoKi->C_Digest(session, const_cast<unsigned char*>(data), len, out, &n);
    if (lastError != CKR_OK) return nullptr;
    return digestInfoOf(out, n);
}

unsigned char CryptoDevice::initDigest() {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_DigestInit(session, &digestMechanism);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::updateDigest(const unsigned char* data, unsigned long len) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_DigestUpdate(session, const_cast<unsigned char*>(data), len);
    return lastError == CKR_OK ? 255 : 0;
}

DigestInfo* CryptoDevice::finalDigest() {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    unsigned char out[64];
    CK_ULONG n = sizeof out;
    lastError = cryptoKi->C_DigestFinal(session, out, &n);
    if (lastError != CKR_OK) return nullptr;
    return digestInfoOf(out, n);
}

// ---- Algorithms ----

unsigned char CryptoDevice::setSignAlgorithm(AlgorithmIdentifier* algorithm) {
    std::unique_ptr<char[]> dotted(algorithm != nullptr ? algorithm->getAlgorithm() : nullptr);
    return setSignAlgorithm(dotted.get());
}

unsigned char CryptoDevice::setSignAlgorithm(const char* dotted) {
    struct Row {
        const char* oid;
        CK_MECHANISM_TYPE sign, raw, digest;
    };
    static const Row rows[] = {
        {"2.5.8.1.1", CKM_RSA_X_509, CKM_RSA_X_509, 0},
        {"1.2.840.113549.1.1.5", CKM_SHA1_RSA_PKCS, CKM_RSA_PKCS, CKM_SHA_1},
        {"1.3.14.3.2.29", CKM_SHA1_RSA_PKCS, CKM_RSA_PKCS, CKM_SHA_1},
        {"1.2.840.113549.1.1.11", CKM_SHA256_RSA_PKCS, CKM_RSA_PKCS, CKM_SHA256},
        {"1.2.840.113549.1.1.12", CKM_SHA384_RSA_PKCS, CKM_RSA_PKCS, CKM_SHA384},
        {"1.2.840.113549.1.1.13", CKM_SHA512_RSA_PKCS, CKM_RSA_PKCS, CKM_SHA512},
        {"1.2.840.113549.1.1.4", CKM_MD5_RSA_PKCS, CKM_RSA_PKCS, CKM_MD5},
        {"1.3.14.3.2.3", CKM_MD5_RSA_PKCS, CKM_RSA_PKCS, CKM_MD5},
        {"1.3.36.3.3.1.2", CKM_RIPEMD160_RSA_PKCS, CKM_RSA_PKCS, CKM_RIPEMD160},
        {"1.3.36.3.4.1", CKM_RSA_9796, 0, 0},
        {"1.3.6.1.5.5.8.1.2", CKM_SHA_1_HMAC, 0, 0},
    };
    signMechanism = CK_MECHANISM{0, nullptr, 0};
    if (dotted == nullptr) return 0;
    for (const Row& r : rows) {
        if (strcmp(r.oid, dotted) == 0) {
            signMechanism.mechanism = r.sign;
            if (r.raw != 0) rawSignMechanism = CK_MECHANISM{r.raw, nullptr, 0};
            if (r.digest != 0) digestMechanism = CK_MECHANISM{r.digest, nullptr, 0};
            return 255;
        }
    }
    return 0;
}

unsigned char CryptoDevice::setCryptoAlgorithm(AlgorithmIdentifier* algorithm) {
    std::unique_ptr<char[]> dotted(algorithm != nullptr ? algorithm->getAlgorithm() : nullptr);
    return setCryptoAlgorithm(dotted.get());
}

// rsaEncryption: PKCS#1 v1.5 for ciphers, and for signatures over a DigestInfo that the caller
// encodes.
unsigned char CryptoDevice::setCryptoAlgorithm(const char* dotted) {
    cryptMechanism = CK_MECHANISM{0, nullptr, 0};
    if (dotted == nullptr) return 0;
    if (strcmp(dotted, "1.2.840.113549.1.1.1") == 0) {
        cryptMechanism.mechanism = CKM_RSA_PKCS;
        rawSignMechanism = CK_MECHANISM{CKM_RSA_PKCS, nullptr, 0};
        signMechanism = CK_MECHANISM{CKM_RSA_PKCS, nullptr, 0};
        return 255;
    }
    if (strcmp(dotted, "2.5.8.1.1") == 0) {
        cryptMechanism.mechanism = CKM_RSA_X_509;
        return 255;
    }
    return 0;
}

// ---- The token's functions on this session ----

CK_RV CryptoDevice::C_InitPIN(CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return cryptoKi != nullptr ? cryptoKi->C_InitPIN(session, pin, pinLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SetPIN(CK_UTF8CHAR_PTR oldPin, CK_ULONG oldLen, CK_UTF8CHAR_PTR newPin,
                             CK_ULONG newLen) {
    return cryptoKi != nullptr ? cryptoKi->C_SetPIN(session, oldPin, oldLen, newPin, newLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_CloseSession() {
    return cryptoKi != nullptr ? cryptoKi->C_CloseSession(session) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GetSessionInfo(CK_SESSION_INFO_PTR info) {
    return cryptoKi != nullptr ? cryptoKi->C_GetSessionInfo(session, info)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GetOperationState(CK_BYTE_PTR state, CK_ULONG_PTR len) {
    return cryptoKi != nullptr ? cryptoKi->C_GetOperationState(session, state, len)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SetOperationState(CK_BYTE_PTR state, CK_ULONG len, CK_OBJECT_HANDLE encKey,
                                        CK_OBJECT_HANDLE authKey) {
    return cryptoKi != nullptr ? cryptoKi->C_SetOperationState(session, state, len, encKey, authKey)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Login(CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG pinLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Login(session, user, pin, pinLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Logout() {
    return cryptoKi != nullptr ? cryptoKi->C_Logout(session) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_CreateObject(CK_ATTRIBUTE_PTR t, CK_ULONG n, CK_OBJECT_HANDLE_PTR object) {
    return cryptoKi != nullptr ? cryptoKi->C_CreateObject(session, t, n, object)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_CopyObject(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                                 CK_OBJECT_HANDLE_PTR copy) {
    return cryptoKi != nullptr ? cryptoKi->C_CopyObject(session, object, t, n, copy)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DestroyObject(CK_OBJECT_HANDLE object) {
    return cryptoKi != nullptr ? cryptoKi->C_DestroyObject(session, object)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GetObjectSize(CK_OBJECT_HANDLE object, CK_ULONG_PTR size) {
    return cryptoKi != nullptr ? cryptoKi->C_GetObjectSize(session, object, size)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GetAttributeValue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return cryptoKi != nullptr ? cryptoKi->C_GetAttributeValue(session, object, t, n)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SetAttributeValue(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return cryptoKi != nullptr ? cryptoKi->C_SetAttributeValue(session, object, t, n)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_FindObjectsInit(CK_ATTRIBUTE_PTR t, CK_ULONG n) {
    return cryptoKi != nullptr ? cryptoKi->C_FindObjectsInit(session, t, n)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_FindObjects(CK_OBJECT_HANDLE_PTR list, CK_ULONG max, CK_ULONG_PTR count) {
    return cryptoKi != nullptr ? cryptoKi->C_FindObjects(session, list, max, count)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_FindObjectsFinal() {
    return cryptoKi != nullptr ? cryptoKi->C_FindObjectsFinal(session)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_EncryptInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_EncryptInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Encrypt(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                              CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Encrypt(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_EncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                    CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_EncryptUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_EncryptFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_EncryptFinal(session, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DecryptInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_DecryptInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Decrypt(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                              CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Decrypt(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DecryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                    CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DecryptUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DecryptFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DecryptFinal(session, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DigestInit(CK_MECHANISM_PTR m) {
    return cryptoKi != nullptr ? cryptoKi->C_DigestInit(session, m) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Digest(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Digest(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DigestUpdate(CK_BYTE_PTR in, CK_ULONG inLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DigestUpdate(session, in, inLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DigestKey(CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_DigestKey(session, key) : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DigestFinal(CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DigestFinal(session, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_SignInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Sign(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Sign(session, in, inLen, sig, sigLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignUpdate(CK_BYTE_PTR in, CK_ULONG inLen) {
    return cryptoKi != nullptr ? cryptoKi->C_SignUpdate(session, in, inLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignFinal(CK_BYTE_PTR sig, CK_ULONG_PTR sigLen) {
    return cryptoKi != nullptr ? cryptoKi->C_SignFinal(session, sig, sigLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignRecoverInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_SignRecoverInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignRecover(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                                  CK_ULONG_PTR sigLen) {
    return cryptoKi != nullptr ? cryptoKi->C_SignRecover(session, in, inLen, sig, sigLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_VerifyInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_VerifyInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_Verify(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig, CK_ULONG sigLen) {
    return cryptoKi != nullptr ? cryptoKi->C_Verify(session, in, inLen, sig, sigLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_VerifyUpdate(CK_BYTE_PTR in, CK_ULONG inLen) {
    return cryptoKi != nullptr ? cryptoKi->C_VerifyUpdate(session, in, inLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_VerifyFinal(CK_BYTE_PTR sig, CK_ULONG sigLen) {
    return cryptoKi != nullptr ? cryptoKi->C_VerifyFinal(session, sig, sigLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_VerifyRecoverInit(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    return cryptoKi != nullptr ? cryptoKi->C_VerifyRecoverInit(session, m, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_VerifyRecover(CK_BYTE_PTR sig, CK_ULONG sigLen, CK_BYTE_PTR out,
                                    CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_VerifyRecover(session, sig, sigLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DigestEncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                          CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DigestEncryptUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DecryptDigestUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                          CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DecryptDigestUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SignEncryptUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                        CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_SignEncryptUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DecryptVerifyUpdate(CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR out,
                                          CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_DecryptVerifyUpdate(session, in, inLen, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GenerateKey(CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                                  CK_OBJECT_HANDLE_PTR key) {
    return cryptoKi != nullptr ? cryptoKi->C_GenerateKey(session, m, t, n, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GenerateKeyPair(CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR pubT, CK_ULONG pubN,
                                      CK_ATTRIBUTE_PTR privT, CK_ULONG privN,
                                      CK_OBJECT_HANDLE_PTR pub, CK_OBJECT_HANDLE_PTR priv) {
    return cryptoKi != nullptr
               ? cryptoKi->C_GenerateKeyPair(session, m, pubT, pubN, privT, privN, pub, priv)
               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_WrapKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE wrapping, CK_OBJECT_HANDLE key,
                              CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return cryptoKi != nullptr ? cryptoKi->C_WrapKey(session, m, wrapping, key, out, outLen)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_UnwrapKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE unwrapping, CK_BYTE_PTR in,
                                CK_ULONG inLen, CK_ATTRIBUTE_PTR t, CK_ULONG n,
                                CK_OBJECT_HANDLE_PTR key) {
    return cryptoKi != nullptr ? cryptoKi->C_UnwrapKey(session, m, unwrapping, in, inLen, t, n, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_DeriveKey(CK_MECHANISM_PTR m, CK_OBJECT_HANDLE base, CK_ATTRIBUTE_PTR t,
                                CK_ULONG n, CK_OBJECT_HANDLE_PTR key) {
    return cryptoKi != nullptr ? cryptoKi->C_DeriveKey(session, m, base, t, n, key)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_SeedRandom(CK_BYTE_PTR seed, CK_ULONG len) {
    return cryptoKi != nullptr ? cryptoKi->C_SeedRandom(session, seed, len)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GenerateRandom(CK_BYTE_PTR out, CK_ULONG len) {
    return cryptoKi != nullptr ? cryptoKi->C_GenerateRandom(session, out, len)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_GetFunctionStatus() {
    return cryptoKi != nullptr ? cryptoKi->C_GetFunctionStatus(session)
                               : CKR_CRYPTOKI_NOT_INITIALIZED;
}

CK_RV CryptoDevice::C_CancelFunction() {
    return cryptoKi != nullptr ? cryptoKi->C_CancelFunction(session) : CKR_CRYPTOKI_NOT_INITIALIZED;
}
