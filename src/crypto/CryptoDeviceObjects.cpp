// CryptoDevice: token objects named by their id or label, made and read through the standard
// attribute templates. They are token objects when the session is read-write; a read-only
// session (the default) cannot make those, and gets session objects that end with it.
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/BigInteger.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/RSAPublicKey.h"
#include "pkix/KeyInfo.h"

namespace {

CK_BBOOL kTrue = CK_TRUE;
CK_BBOOL kFalse = CK_FALSE;

struct Bytes {
    unsigned char* p = nullptr;
    unsigned long n = 0;
    ~Bytes() { delete[] p; }
};

}  // namespace

CK_BBOOL* CryptoDevice::persistent() const {
    return (sessionFlags & CKF_RW_SESSION) ? &kTrue : &kFalse;
}

CK_OBJECT_HANDLE CryptoDevice::findFirst(CK_ATTRIBUTE* attributes, CK_ULONG count) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_FindObjectsInit(session, attributes, count);
    if (lastError != CKR_OK) return 0;
    CK_OBJECT_HANDLE h = 0;
    CK_ULONG found = 0;
    lastError = cryptoKi->C_FindObjects(session, &h, 1, &found);
    cryptoKi->C_FindObjectsFinal(session);
    return lastError == CKR_OK && found == 1 ? h : 0;
}

unsigned char* CryptoDevice::valueOf(CK_OBJECT_HANDLE handle, unsigned long* len) {
    *len = 0;
    CK_ATTRIBUTE t = {CKA_VALUE, nullptr, 0};
    lastError = cryptoKi->C_GetAttributeValue(session, handle, &t, 1);
    if (lastError != CKR_OK) return nullptr;
    std::unique_ptr<unsigned char[]> out(new unsigned char[t.ulValueLen > 0 ? t.ulValueLen : 1]);
    t.pValue = out.get();
    lastError = cryptoKi->C_GetAttributeValue(session, handle, &t, 1);
    if (lastError != CKR_OK) return nullptr;
    *len = t.ulValueLen;
    return out.release();
}

unsigned char CryptoDevice::generateRSAKey(int bits, const unsigned char* id, unsigned int idLen) {
    if (cryptoKi == nullptr || bits <= 0) {
        lastError = cryptoKi == nullptr ? CKR_CRYPTOKI_NOT_INITIALIZED : CKR_ARGUMENTS_BAD;
        return 0;
    }
    CK_MECHANISM m = {CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_ULONG modulusBits = static_cast<CK_ULONG>(bits);
    unsigned char e[] = {1, 0, 1};
    CK_ATTRIBUTE pub[] = {{CKA_TOKEN, persistent(), 1},
                          {CKA_MODULUS_BITS, &modulusBits, sizeof modulusBits},
                          {CKA_PUBLIC_EXPONENT, e, sizeof e},
                          {CKA_ID, const_cast<unsigned char*>(id), idLen},
                          {CKA_VERIFY, &kTrue, 1}};
    CK_ATTRIBUTE priv[] = {{CKA_TOKEN, persistent(), 1},
                           {CKA_PRIVATE, &kTrue, 1},
                           {CKA_ID, const_cast<unsigned char*>(id), idLen},
                           {CKA_SIGN, &kTrue, 1}};
    CK_OBJECT_HANDLE hPub, hPriv;
    lastError = cryptoKi->C_GenerateKeyPair(session, &m, pub, 5, priv, 4, &hPub, &hPriv);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::loadPublicKey(KeyInfo* keyInfo, const unsigned char* id,
                                          unsigned int idLen) {
    std::unique_ptr<Key> key(keyInfo != nullptr ? keyInfo->getKey() : nullptr);
    if (!key || key->getKeyType() != Key::kPublic || cryptoKi == nullptr) {
        lastError = CKR_KEY_TYPE_INCONSISTENT;
        return 0;
    }
    auto* rsa = static_cast<RSAPublicKey*>(key.get());
    Bytes modulus, exponent;
    rsa->getModulus().toMinimalByteArray(&modulus.p, &modulus.n);
    rsa->getPublicExponent().toMinimalByteArray(&exponent.p, &exponent.n);
    CK_OBJECT_CLASS c = CKO_PUBLIC_KEY;
    CK_KEY_TYPE type = CKK_RSA;
    CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c},
                        {CKA_KEY_TYPE, &type, sizeof type},
                        {CKA_TOKEN, persistent(), 1},
                        {CKA_MODULUS, modulus.p, modulus.n},
                        {CKA_PUBLIC_EXPONENT, exponent.p, exponent.n},
                        {CKA_ID, const_cast<unsigned char*>(id), idLen},
                        {CKA_VERIFY, &kTrue, 1}};
    return createObject(t, 7) != 0 ? 255 : 0;
}

KeyInfo* CryptoDevice::getPublicKey(const unsigned char* id, unsigned int idLen) {
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_PUBLIC_KEY, id, idLen);
    if (h == 0) return nullptr;
    CK_ATTRIBUTE t[2] = {{CKA_MODULUS, nullptr, 0}, {CKA_PUBLIC_EXPONENT, nullptr, 0}};
    lastError = cryptoKi->C_GetAttributeValue(session, h, t, 2);
    if (lastError != CKR_OK) return nullptr;
    std::unique_ptr<unsigned char[]> n(new unsigned char[t[0].ulValueLen + 1]);
    std::unique_ptr<unsigned char[]> e(new unsigned char[t[1].ulValueLen + 1]);
    t[0].pValue = n.get();
    t[1].pValue = e.get();
    lastError = cryptoKi->C_GetAttributeValue(session, h, t, 2);
    if (lastError != CKR_OK) return nullptr;
    RSAPublicKey key(BigInteger(n.get(), static_cast<int>(t[0].ulValueLen)),
                     BigInteger(e.get(), static_cast<int>(t[1].ulValueLen)));
    return new KeyInfo(&key);
}

unsigned char CryptoDevice::removePublicKey(const unsigned char* id, unsigned int idLen) {
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_PUBLIC_KEY, id, idLen);
    if (h == 0) return 0;
    if (h == publicKeyHandle) publicKeyHandle = 0;
    lastError = cryptoKi->C_DestroyObject(session, h);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::removePrivateKey(const unsigned char* id, unsigned int idLen) {
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_PRIVATE_KEY, id, idLen);
    if (h == 0) return 0;
    if (h == privateKeyHandle) privateKeyHandle = 0;
    lastError = cryptoKi->C_DestroyObject(session, h);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::loadCertificate(const unsigned char* der, unsigned long len,
                                            const unsigned char* id, unsigned int idLen) {
    CK_OBJECT_CLASS c = CKO_CERTIFICATE;
    CK_CERTIFICATE_TYPE type = CKC_X_509;
    CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c},
                        {CKA_CERTIFICATE_TYPE, &type, sizeof type},
                        {CKA_TOKEN, persistent(), 1},
                        {CKA_VALUE, const_cast<unsigned char*>(der), len},
                        {CKA_ID, const_cast<unsigned char*>(id), idLen}};
    return createObject(t, 5) != 0 ? 255 : 0;
}

unsigned char* CryptoDevice::getCertificate(const unsigned char* id, unsigned int idLen,
                                            unsigned long* len) {
    *len = 0;
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_CERTIFICATE, id, idLen);
    return h != 0 ? valueOf(h, len) : nullptr;
}

unsigned char CryptoDevice::setData(const char* label, const unsigned char* data,
                                    unsigned long len) {
    if (label == nullptr) {
        lastError = CKR_ARGUMENTS_BAD;
        return 0;
    }
    CK_OBJECT_CLASS c = CKO_DATA;
    CK_ATTRIBUTE find[] = {{CKA_CLASS, &c, sizeof c},
                           {CKA_LABEL, const_cast<char*>(label), strlen(label)}};
    CK_OBJECT_HANDLE old = findFirst(find, 2);
    if (old != 0) cryptoKi->C_DestroyObject(session, old);
    CK_ATTRIBUTE t[] = {{CKA_CLASS, &c, sizeof c},
                        {CKA_TOKEN, persistent(), 1},
                        {CKA_LABEL, const_cast<char*>(label), strlen(label)},
                        {CKA_VALUE, const_cast<unsigned char*>(data), len}};
    return createObject(t, 4) != 0 ? 255 : 0;
}

unsigned char* CryptoDevice::getData(const char* label, unsigned long* len) {
    *len = 0;
    if (label == nullptr) {
        lastError = CKR_ARGUMENTS_BAD;
        return nullptr;
    }
    CK_OBJECT_CLASS c = CKO_DATA;
    CK_ATTRIBUTE find[] = {{CKA_CLASS, &c, sizeof c},
                           {CKA_LABEL, const_cast<char*>(label), strlen(label)}};
    CK_OBJECT_HANDLE h = findFirst(find, 2);
    return h != 0 ? valueOf(h, len) : nullptr;
}
