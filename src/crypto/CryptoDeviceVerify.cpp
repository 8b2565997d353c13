// CryptoDevice: the signature path through the token, signing, public-key encryption, keys and
// symmetric ciphers.
#include <cstring>
#include <initializer_list>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/AlgorithmIdentifier.h"
#include "crypto/AlgorithmParameter.h"
#include "crypto/CryptoDevice.h"
#include "crypto/CryptoKi.h"
#include "crypto/DigestInfo.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/Signature.h"
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

CK_OBJECT_HANDLE CryptoDevice::createObject(CK_ATTRIBUTE* attributes, CK_ULONG count) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    CK_OBJECT_HANDLE h = 0;
    lastError = cryptoKi->C_CreateObject(session, attributes, count, &h);
    return lastError == CKR_OK ? h : 0;
}

void CryptoDevice::destroyObject(CK_OBJECT_HANDLE* handle) {
    if (*handle != 0 && cryptoKi != nullptr) cryptoKi->C_DestroyObject(session, *handle);
    *handle = 0;
}

CK_OBJECT_HANDLE CryptoDevice::createPublicKeyObject(KeyInfo* keyInfo) {
    std::unique_ptr<Key> key(keyInfo != nullptr ? keyInfo->getKey() : nullptr);
    if (!key || key->getKeyType() != Key::kPublic) {
        lastError = CKR_KEY_TYPE_INCONSISTENT;
        return 0;
    }
    auto* rsa = static_cast<RSAPublicKey*>(key.get());
    Bytes modulus, exponent;
    rsa->getModulus().toByteArray(&modulus.p, &modulus.n);
    rsa->getPublicExponent().toByteArray(&exponent.p, &exponent.n);
    unsigned char* e = exponent.p;
    unsigned long eLen = exponent.n;
    // Some modules take the exponent in a few bytes only: the word padding is dropped for them.
    while (publicExponentMaxLen > 0 && eLen > publicExponentMaxLen && *e == 0) {
        ++e;
        --eLen;
    }
    CK_OBJECT_CLASS objectClass = CKO_PUBLIC_KEY;
    CK_KEY_TYPE keyType = CKK_RSA;
    CK_ATTRIBUTE t[9] = {
        {CKA_CLASS, &objectClass, sizeof objectClass},
        {CKA_KEY_TYPE, &keyType, sizeof keyType},
        {CKA_TOKEN, &kFalse, 1},
        {CKA_PUBLIC_EXPONENT, e, eLen},
        {CKA_MODULUS, modulus.p, modulus.n},
        {CKA_PRIVATE, &kTrue, 1},
        {CKA_ENCRYPT, &kFalse, 1},
        {CKA_VERIFY, &kTrue, 1},
        {CKA_MODIFIABLE, &kTrue, 1},
    };
    return createObject(t, 9);
}

unsigned char* CryptoDevice::signatureBytes(Signature* signature, unsigned long* len) {
    *len = 0;
    if (signature == nullptr || signature->_getSign() == nullptr) return nullptr;
    const unsigned char* p = signature->_getSign();
    unsigned long n = signature->getLength();
    if (vendor == kVendorChrysalis && n > 0 && p[0] == 0) {
        ++p;
        --n;
    }
    unsigned char* out = new unsigned char[n > 0 ? n : 1];
    if (n > 0) memcpy(out, p, n);
    *len = n;
    return out;
}

bool CryptoDevice::verifyAt(Signature* signature, DigestInfo* digestInfo, const unsigned char* data,
                            unsigned long len, CK_OBJECT_HANDLE handle) {
    Bytes sig;
    sig.p = signatureBytes(signature, &sig.n);
    if (sig.p == nullptr) {
        lastError = CKR_ARGUMENTS_BAD;
        return false;
    }
    return digestInfo != nullptr ? verify(sig.p, sig.n, digestInfo, handle)
                                 : verify(sig.p, sig.n, data, len, handle);
}

bool CryptoDevice::verify(Signature* signature, DigestInfo* digestInfo, KeyInfo* key) {
    if (digestInfo == nullptr) {
        lastError = CKR_ARGUMENTS_BAD;
        return false;
    }
    CK_OBJECT_HANDLE handle = createPublicKeyObject(key);
    if (handle == 0) return false;
    bool ok = verifyAt(signature, digestInfo, nullptr, 0, handle);
    unsigned long result = lastError;
    destroyObject(&handle);
    lastError = result;
    return ok;
}

bool CryptoDevice::verify(Signature* signature, const unsigned char* data, unsigned long len,
                          KeyInfo* key) {
    CK_OBJECT_HANDLE handle = createPublicKeyObject(key);
    if (handle == 0) return false;
    bool ok = verifyAt(signature, nullptr, data, len, handle);
    unsigned long result = lastError;
    destroyObject(&handle);
    lastError = result;
    return ok;
}

bool CryptoDevice::encodeDigestInfo(DigestInfo* digestInfo, unsigned char** bytes,
                                    unsigned long* len) {
    workBuffer->rewind();
    unsigned int need = digestInfo->getWrapLength(workBuffer);
    if (need > workBuffer->getMaxSize()) workBuffer->enlarge(need);
    digestInfo->wrapASN1(workBuffer);
    *bytes = workBuffer->_getData();
    *len = workBuffer->getWritePos();
    return *len > 0;
}

bool CryptoDevice::verify(const unsigned char* sig, unsigned long sigLen, DigestInfo* digestInfo,
                          unsigned long key) {
    if (cryptoKi == nullptr || digestInfo == nullptr || sig == nullptr) {
        lastError = cryptoKi == nullptr ? CKR_CRYPTOKI_NOT_INITIALIZED : CKR_ARGUMENTS_BAD;
        return false;
    }
    // First with the NULL parameters written, then without: signers differ in this.
    for (unsigned char use : {255, 0}) {
        digestInfo->setUseAlgorithmParameters(use);
        lastError = cryptoKi->C_VerifyInit(session, &rawSignMechanism, key);
        if (lastError != CKR_OK) return false;
        unsigned char* bytes;
        unsigned long n;
        if (!encodeDigestInfo(digestInfo, &bytes, &n)) {
            lastError = CKR_ARGUMENTS_BAD;
            return false;
        }
        lastError = cryptoKi->C_Verify(session, bytes, n, const_cast<unsigned char*>(sig), sigLen);
        if (lastError == CKR_OK) return true;
    }
    return false;
}

bool CryptoDevice::verify(const unsigned char* sig, unsigned long sigLen, const unsigned char* data,
                          unsigned long len, unsigned long key) {
    if (key == 0) {
        lastError = CKR_SIGNATURE_INVALID;
        return false;
    }
    if (cryptoKi == nullptr || sig == nullptr || (data == nullptr && len > 0)) {
        lastError = cryptoKi == nullptr ? CKR_CRYPTOKI_NOT_INITIALIZED : CKR_ARGUMENTS_BAD;
        return false;
    }
    if (useDigestInfo && signMechanism.mechanism != CKM_RSA_9796 &&
        signMechanism.mechanism != CKM_RSA_X_509) {
        std::unique_ptr<DigestInfo> d(digest(data, len));
        if (!d) return false;
        lastError = cryptoKi->C_VerifyInit(session, &rawSignMechanism, key);
        if (lastError != CKR_OK) return false;
        unsigned char* bytes;
        unsigned long n;
        encodeDigestInfo(d.get(), &bytes, &n);
        lastError = cryptoKi->C_Verify(session, bytes, n, const_cast<unsigned char*>(sig), sigLen);
        return lastError == CKR_OK;
    }
    lastError = cryptoKi->C_VerifyInit(session, &signMechanism, key);
    if (lastError != CKR_OK) return false;
    unsigned char none = 0;
    lastError =
        cryptoKi->C_Verify(session, data != nullptr ? const_cast<unsigned char*>(data) : &none, len,
                           const_cast<unsigned char*>(sig), sigLen);
    return lastError == CKR_OK;
}

bool CryptoDevice::verify(Signature* signature, DigestInfo* digestInfo) {
    return verifyAt(signature, digestInfo, nullptr, 0, publicKeyHandle);
}

bool CryptoDevice::verify(Signature* signature, const unsigned char* data, unsigned long len) {
    return verifyAt(signature, nullptr, data, len, publicKeyHandle);
}

bool CryptoDevice::verify(Signature* signature, DigestInfo* digestInfo, const unsigned char* id,
                          unsigned int idLen) {
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_PUBLIC_KEY, id, idLen);
    if (h == 0) {
        lastError = CKR_KEY_HANDLE_INVALID;
        return false;
    }
    return verifyAt(signature, digestInfo, nullptr, 0, h);
}

bool CryptoDevice::verify(Signature* signature, const unsigned char* data, unsigned long len,
                          const unsigned char* id, unsigned int idLen) {
    CK_OBJECT_HANDLE h = findObjectWithId(CKO_PUBLIC_KEY, id, idLen);
    if (h == 0) {
        lastError = CKR_KEY_HANDLE_INVALID;
        return false;
    }
    return verifyAt(signature, nullptr, data, len, h);
}

// ---- Signing ----

Signature* CryptoDevice::sign(const unsigned char* data, unsigned long len) {
    if (!initSign()) return nullptr;
    if (!updateSign(data, len)) return nullptr;
    return finalSign();
}

Signature* CryptoDevice::signDigest(DigestInfo* digestInfo) {
    if (cryptoKi == nullptr || digestInfo == nullptr) {
        lastError = cryptoKi == nullptr ? CKR_CRYPTOKI_NOT_INITIALIZED : CKR_ARGUMENTS_BAD;
        return nullptr;
    }
    lastError = cryptoKi->C_SignInit(session, &rawSignMechanism, privateKeyHandle);
    if (lastError != CKR_OK) return nullptr;
    unsigned char* bytes;
    unsigned long n;
    encodeDigestInfo(digestInfo, &bytes, &n);
    unsigned char out[2048];
    CK_ULONG outLen = sizeof out;
    lastError = cryptoKi->C_Sign(session, bytes, n, out, &outLen);
    if (lastError != CKR_OK) return nullptr;
    return new Signature(out, static_cast<unsigned int>(outLen));
}

unsigned char CryptoDevice::initSign() {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_SignInit(session, &signMechanism, privateKeyHandle);
    return lastError == CKR_OK ? 255 : 0;
}

unsigned char CryptoDevice::updateSign(const unsigned char* data, unsigned long len) {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return 0;
    }
    lastError = cryptoKi->C_SignUpdate(session, const_cast<unsigned char*>(data), len);
    return lastError == CKR_OK ? 255 : 0;
}

Signature* CryptoDevice::finalSign() {
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    CK_ULONG n = 0;
    lastError = cryptoKi->C_SignFinal(session, nullptr, &n);
    if (lastError != CKR_OK) return nullptr;
    std::unique_ptr<unsigned char[]> out(new unsigned char[n > 0 ? n : 1]);
    lastError = cryptoKi->C_SignFinal(session, out.get(), &n);
    if (lastError != CKR_OK) return nullptr;
    return new Signature(out.get(), static_cast<unsigned int>(n));
}

unsigned long CryptoDevice::getSignedLength() {
    if (cryptoKi == nullptr) return 0;
    CK_OBJECT_HANDLE h = privateKeyHandle != 0 ? privateKeyHandle : publicKeyHandle;
    std::unique_ptr<unsigned char[]> modulus;
    CK_ATTRIBUTE t = {CKA_MODULUS, nullptr, 0};
    if (h == 0 || cryptoKi->C_GetAttributeValue(session, h, &t, 1) != CKR_OK) return 0;
    modulus.reset(new unsigned char[t.ulValueLen > 0 ? t.ulValueLen : 1]);
    t.pValue = modulus.get();
    if (cryptoKi->C_GetAttributeValue(session, h, &t, 1) != CKR_OK) return 0;
    unsigned long skip = 0;
    while (skip < t.ulValueLen && modulus[skip] == 0) ++skip;
    return t.ulValueLen - skip;
}

// ---- Public-key encryption ----

unsigned char* CryptoDevice::encrypt(const unsigned char* data, unsigned long len, KeyInfo* key,
                                     unsigned long* outLen) {
    *outLen = 0;
    CK_OBJECT_HANDLE handle = createPublicKeyObject(key);
    if (handle == 0) return nullptr;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE allow = {CKA_ENCRYPT, &yes, 1};
    cryptoKi->C_SetAttributeValue(session, handle, &allow, 1);
    CK_MECHANISM m = {cryptMechanism.mechanism != 0 ? cryptMechanism.mechanism : CKM_RSA_PKCS,
                      nullptr, 0};
    std::unique_ptr<unsigned char[]> out;
    lastError = cryptoKi->C_EncryptInit(session, &m, handle);
    CK_ULONG n = 0;
    if (lastError == CKR_OK) {
        lastError =
            cryptoKi->C_Encrypt(session, const_cast<unsigned char*>(data), len, nullptr, &n);
    }
    if (lastError == CKR_OK) {
        out.reset(new unsigned char[n > 0 ? n : 1]);
        lastError =
            cryptoKi->C_Encrypt(session, const_cast<unsigned char*>(data), len, out.get(), &n);
    }
    unsigned long result = lastError;
    destroyObject(&handle);
    lastError = result;
    if (result != CKR_OK) return nullptr;
    *outLen = n;
    return out.release();
}

unsigned char* CryptoDevice::decrypt(const unsigned char* data, unsigned long len, KeyInfo*,
                                     unsigned long* outLen) {
    *outLen = 0;
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    CK_MECHANISM m = {cryptMechanism.mechanism != 0 ? cryptMechanism.mechanism : CKM_RSA_PKCS,
                      nullptr, 0};
    lastError = cryptoKi->C_DecryptInit(session, &m, privateKeyHandle);
    if (lastError != CKR_OK) return nullptr;
    CK_ULONG n = 0;
    lastError = cryptoKi->C_Decrypt(session, const_cast<unsigned char*>(data), len, nullptr, &n);
    if (lastError != CKR_OK) return nullptr;
    std::unique_ptr<unsigned char[]> out(new unsigned char[n > 0 ? n : 1]);
    lastError = cryptoKi->C_Decrypt(session, const_cast<unsigned char*>(data), len, out.get(), &n);
    if (lastError != CKR_OK) return nullptr;
    *outLen = n;
    return out.release();
}

// ---- Keys ----

unsigned char CryptoDevice::setPublicKey(KeyInfo* key) {
    if (ownPublicKey) destroyObject(&publicKeyHandle);
    publicKeyHandle = createPublicKeyObject(key);
    ownPublicKey = publicKeyHandle != 0;
    return publicKeyHandle != 0 ? 255 : 0;
}

unsigned char CryptoDevice::setPublicKey(const unsigned char* id, unsigned int idLen) {
    if (ownPublicKey) destroyObject(&publicKeyHandle);
    ownPublicKey = false;
    publicKeyHandle = findObjectWithId(CKO_PUBLIC_KEY, id, idLen);
    return publicKeyHandle != 0 ? 255 : 0;
}

unsigned char CryptoDevice::setPrivateKey(RSAPrivateKey* key) {
    if (ownPrivateKey) destroyObject(&privateKeyHandle);
    ownPrivateKey = false;
    if (key == nullptr) {
        lastError = CKR_ARGUMENTS_BAD;
        return 0;
    }
    const BigInteger* parts[8] = {&key->getModulus(),         &key->getPublicExponent(),
                                  &key->getPrivateExponent(), &key->getPrime1(),
                                  &key->getPrime2(),          &key->getExponent1(),
                                  &key->getExponent2(),       &key->getCoefficient()};
    const CK_ATTRIBUTE_TYPE types[8] = {CKA_MODULUS,    CKA_PUBLIC_EXPONENT, CKA_PRIVATE_EXPONENT,
                                        CKA_PRIME_1,    CKA_PRIME_2,         CKA_EXPONENT_1,
                                        CKA_EXPONENT_2, CKA_COEFFICIENT};
    Bytes bytes[8];
    CK_OBJECT_CLASS objectClass = CKO_PRIVATE_KEY;
    CK_KEY_TYPE keyType = CKK_RSA;
    CK_ATTRIBUTE t[13] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                          {CKA_KEY_TYPE, &keyType, sizeof keyType},
                          {CKA_TOKEN, &kFalse, 1},
                          {CKA_SIGN, &kTrue, 1},
                          {CKA_DECRYPT, &kTrue, 1}};
    for (int i = 0; i < 8; ++i) {
        parts[i]->toMinimalByteArray(&bytes[i].p, &bytes[i].n);
        t[5 + i] = {types[i], bytes[i].p, bytes[i].n};
    }
    privateKeyHandle = createObject(t, 13);
    for (Bytes& b : bytes) memset(b.p, 0, b.n);
    ownPrivateKey = privateKeyHandle != 0;
    return privateKeyHandle != 0 ? 255 : 0;
}

unsigned char CryptoDevice::setPrivateKey(const unsigned char* id, unsigned int idLen) {
    if (ownPrivateKey) destroyObject(&privateKeyHandle);
    ownPrivateKey = false;
    privateKeyHandle = findObjectWithId(CKO_PRIVATE_KEY, id, idLen);
    return privateKeyHandle != 0 ? 255 : 0;
}

// ---- Symmetric ciphers ----

// des-ede3-cbc and desCBC, whose parameter is the IV as an OCTET STRING.
unsigned char CryptoDevice::setCipherAlgorithm(AlgorithmIdentifier* algorithm) {
    cipherMechanism = CK_MECHANISM{0, nullptr, 0};
    if (algorithm == nullptr) return 0;
    CK_MECHANISM_TYPE m = 0;
    if (algorithm->isEqual("1.2.840.113549.3.7")) m = CKM_DES3_CBC_PAD;
    if (algorithm->isEqual("1.3.14.3.2.7")) m = CKM_DES_CBC_PAD;
    if (m == 0) {
        lastError = CKR_MECHANISM_INVALID;
        return 0;
    }
    auto* raw = dynamic_cast<RawAlgorithmParameter*>(algorithm->_getParameters());
    if (raw == nullptr) {
        lastError = CKR_MECHANISM_PARAM_INVALID;
        return 0;
    }
    Buffer b;
    b.fromByteArray(raw->_getEncoded(), raw->getLength());
    unsigned char* iv = nullptr;
    unsigned int n = 0;
    if (!b.readASN1(&iv, &n) || n != 8) {
        delete[] iv;
        lastError = CKR_MECHANISM_PARAM_INVALID;
        return 0;
    }
    memcpy(cipherIV, iv, 8);
    delete[] iv;
    cipherMechanism = CK_MECHANISM{m, cipherIV, 8};
    return 255;
}

unsigned char CryptoDevice::setCipherKey(const unsigned char* key, unsigned long len) {
    destroyObject(&cipherKeyHandle);
    CK_OBJECT_CLASS objectClass = CKO_SECRET_KEY;
    CK_KEY_TYPE keyType = len == 8 ? CKK_DES : len == 16 ? CKK_DES2 : CKK_DES3;
    CK_ATTRIBUTE t[6] = {{CKA_CLASS, &objectClass, sizeof objectClass},
                         {CKA_KEY_TYPE, &keyType, sizeof keyType},
                         {CKA_TOKEN, &kFalse, 1},
                         {CKA_ENCRYPT, &kTrue, 1},
                         {CKA_DECRYPT, &kTrue, 1},
                         {CKA_VALUE, const_cast<unsigned char*>(key), len}};
    cipherKeyHandle = createObject(t, 6);
    return cipherKeyHandle != 0 ? 255 : 0;
}

unsigned char* CryptoDevice::encode(const unsigned char* data, unsigned long len,
                                    unsigned long* outLen) {
    *outLen = 0;
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    lastError = cryptoKi->C_EncryptInit(session, &cipherMechanism, cipherKeyHandle);
    if (lastError != CKR_OK) return nullptr;
    CK_ULONG n = len + 16;
    std::unique_ptr<unsigned char[]> out(new unsigned char[n]);
    lastError = cryptoKi->C_Encrypt(session, const_cast<unsigned char*>(data), len, out.get(), &n);
    if (lastError != CKR_OK) return nullptr;
    *outLen = n;
    return out.release();
}

unsigned char* CryptoDevice::decode(const unsigned char* data, unsigned long len,
                                    unsigned long* outLen) {
    *outLen = 0;
    if (cryptoKi == nullptr) {
        lastError = CKR_CRYPTOKI_NOT_INITIALIZED;
        return nullptr;
    }
    lastError = cryptoKi->C_DecryptInit(session, &cipherMechanism, cipherKeyHandle);
    if (lastError != CKR_OK) return nullptr;
    CK_ULONG n = len + 16;
    std::unique_ptr<unsigned char[]> out(new unsigned char[n]);
    lastError = cryptoKi->C_Decrypt(session, const_cast<unsigned char*>(data), len, out.get(), &n);
    if (lastError != CKR_OK) return nullptr;
    *outLen = n;
    return out.release();
}
