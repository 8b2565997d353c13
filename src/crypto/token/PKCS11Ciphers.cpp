// Ciphers, key generation and random bytes of the built-in token.
#include <cstring>
#include <memory>

#include "crypto/BigInteger.h"
#include "crypto/DES.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/token/PKCS11Object.h"
#include "crypto/token/TokenSession.h"
#include "crypto/tsRSA.h"

namespace {

// The DES mode of a cipher mechanism, with whether it pads; -1 for none.
int desMode(CK_MECHANISM_TYPE m, bool* pad) {
    *pad = m == CKM_DES_CBC_PAD || m == CKM_DES3_CBC_PAD;
    switch (m) {
        case CKM_DES_ECB:
            return DES::kECB;
        case CKM_DES_CBC:
        case CKM_DES_CBC_PAD:
            return DES::kCBC;
        case CKM_DES3_ECB:
            return DES::kEDE3 | DES::kECB;
        case CKM_DES3_CBC:
        case CKM_DES3_CBC_PAD:
            return DES::kEDE3 | DES::kCBC;
        default:
            return -1;
    }
}

bool templateULong(const CK_ATTRIBUTE* t, CK_ULONG n, CK_ATTRIBUTE_TYPE type, CK_ULONG* v) {
    for (CK_ULONG i = 0; t != nullptr && i < n; ++i) {
        if (t[i].type == type && t[i].pValue != nullptr && t[i].ulValueLen == sizeof(CK_ULONG)) {
            memcpy(v, t[i].pValue, sizeof *v);
            return true;
        }
    }
    return false;
}

const CK_ATTRIBUTE* templateValue(const CK_ATTRIBUTE* t, CK_ULONG n, CK_ATTRIBUTE_TYPE type) {
    for (CK_ULONG i = 0; t != nullptr && i < n; ++i) {
        if (t[i].type == type && t[i].pValue != nullptr) return &t[i];
    }
    return nullptr;
}

void setInteger(PKCS11Object* o, CK_ATTRIBUTE_TYPE t, const BigInteger& v) {
    unsigned char* bytes;
    unsigned long n;
    v.toMinimalByteArray(&bytes, &n);
    o->set(t, bytes, n);
    memset(bytes, 0, n);
    delete[] bytes;
}

}  // namespace

// ---- Encryption and decryption ----

static CK_RV cipherInit(TokenOperation& op, CK_MECHANISM_PTR m, PKCS11Object* o, bool encrypt) {
    op.clear();
    bool pad;
    int mode = desMode(m->mechanism, &pad);
    if (m->mechanism == CKM_RSA_PKCS || m->mechanism == CKM_RSA_X_509) {
        CK_OBJECT_CLASS wanted = encrypt ? CKO_PUBLIC_KEY : CKO_PRIVATE_KEY;
        if (o->getKeyType() != CKK_RSA || o->getClass() != wanted) return CKR_KEY_TYPE_INCONSISTENT;
    } else if (mode >= 0) {
        const std::vector<unsigned char>* v = o->get(CKA_VALUE);
        if (o->getClass() != CKO_SECRET_KEY || v == nullptr) return CKR_KEY_TYPE_INCONSISTENT;
        if (mode & DES::kCBC) {
            if (m->pParameter == nullptr || m->ulParameterLen != 8) {
                return CKR_MECHANISM_PARAM_INVALID;
            }
        }
        std::vector<unsigned char> key(*v);
        // Two-key triple DES takes its first key again as the third.
        if ((mode & DES::kEDE3) && key.size() == 16)
            key.insert(key.end(), v->begin(), v->begin() + 8);
        op.des.reset(new DES());
        if (!op.des->init(mode, key.data(), static_cast<unsigned int>(key.size()),
                          static_cast<const unsigned char*>(m->pParameter))) {
            op.des.reset();
            return CKR_KEY_TYPE_INCONSISTENT;
        }
        std::fill(key.begin(), key.end(), 0);
    } else {
        return CKR_MECHANISM_INVALID;
    }
    op.mechanism = m->mechanism;
    op.active = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_EncryptInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m,
                                    CK_OBJECT_HANDLE key) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o;
    rv = keyForOperation(s, key, CKA_ENCRYPT, &o);
    if (rv != CKR_OK) return rv;
    rv = cipherInit(s->encrypt, m, o, true);
    s->encrypt.key = key;
    return rv;
}

CK_RV PKCS11CryptoKi::C_DecryptInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m,
                                    CK_OBJECT_HANDLE key) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o;
    rv = keyForOperation(s, key, CKA_DECRYPT, &o);
    if (rv != CKR_OK) return rv;
    rv = cipherInit(s->decrypt, m, o, false);
    s->decrypt.key = key;
    return rv;
}

CK_RV PKCS11CryptoKi::cipher(TokenSession* s, bool encrypt, const unsigned char* in, CK_ULONG inLen,
                             std::vector<unsigned char>* out) {
    TokenOperation& op = encrypt ? s->encrypt : s->decrypt;
    unsigned long n = inLen;
    std::unique_ptr<unsigned char[]> result;
    if (op.des) {
        bool pad;
        desMode(op.mechanism, &pad);
        result.reset(encrypt ? op.des->encrypt(in, inLen, &n, pad)
                             : op.des->decrypt(in, inLen, &n, pad));
        if (!result) return encrypt ? CKR_DATA_LEN_RANGE : CKR_ENCRYPTED_DATA_INVALID;
    } else {
        PKCS11Object* o = visibleObject(s, op.key);
        if (o == nullptr) return CKR_KEY_HANDLE_INVALID;
        std::unique_ptr<Key> key(encrypt ? static_cast<Key*>(o->toRSAPublicKey())
                                         : static_cast<Key*>(o->toRSAPrivateKey()));
        tsRSA rsa(generator.get());
        unsigned long m = key ? rsa.getOutLength(key.get()) : 0;
        if (m == 0) return CKR_KEY_SIZE_RANGE;
        if (op.mechanism == CKM_RSA_X_509) {
            if (inLen > m) return encrypt ? CKR_DATA_LEN_RANGE : CKR_ENCRYPTED_DATA_LEN_RANGE;
            result.reset(rsa.encodeX509(in, &n, key.get()));
        } else if (encrypt) {
            if (inLen > m - 11) return CKR_DATA_LEN_RANGE;
            result.reset(rsa.encode(in, &n, key.get()));
        } else {
            if (inLen != m) return CKR_ENCRYPTED_DATA_LEN_RANGE;
            result.reset(rsa.decode(in, &n, key.get()));
        }
        if (!result) return encrypt ? CKR_DATA_INVALID : CKR_ENCRYPTED_DATA_INVALID;
    }
    out->assign(result.get(), result.get() + n);
    memset(result.get(), 0, n);
    return CKR_OK;
}

// The whole result is worked out before the size question is answered: ciphers with padding
// know their exact length only then. The operation stays active for the caller's second call.
static CK_RV finishCipher(TokenOperation& op, const std::vector<unsigned char>& result,
                          CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    if (out == nullptr) {
        *outLen = result.size();
        return CKR_OK;
    }
    if (*outLen < result.size()) {
        *outLen = result.size();
        return CKR_BUFFER_TOO_SMALL;
    }
    if (!result.empty()) memcpy(out, result.data(), result.size());
    *outLen = result.size();
    op.clear();
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_Encrypt(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->encrypt.active) return CKR_OPERATION_NOT_INITIALIZED;
    std::vector<unsigned char> data(s->encrypt.data);
    if (inLen > 0) data.insert(data.end(), in, in + inLen);
    std::vector<unsigned char> result;
    rv = cipher(s, true, data.data(), data.size(), &result);
    if (rv != CKR_OK) {
        s->encrypt.clear();
        return rv;
    }
    return finishCipher(s->encrypt, result, out, outLen);
}

CK_RV PKCS11CryptoKi::C_Decrypt(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                                CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->decrypt.active) return CKR_OPERATION_NOT_INITIALIZED;
    std::vector<unsigned char> data(s->decrypt.data);
    if (inLen > 0) data.insert(data.end(), in, in + inLen);
    std::vector<unsigned char> result;
    rv = cipher(s, false, data.data(), data.size(), &result);
    if (rv != CKR_OK) {
        s->decrypt.clear();
        return rv;
    }
    return finishCipher(s->decrypt, result, out, outLen);
}

// Multi-part ciphers gather their input and answer in the final call.
CK_RV PKCS11CryptoKi::C_EncryptUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                                      CK_BYTE_PTR, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->encrypt.active) return CKR_OPERATION_NOT_INITIALIZED;
    if (s->encrypt.data.size() + inLen > PKCS11Object::kMaxValue * 16) {
        s->encrypt.clear();
        return CKR_DATA_LEN_RANGE;
    }
    s->encrypt.data.insert(s->encrypt.data.end(), in, in + inLen);
    *outLen = 0;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_EncryptFinal(CK_SESSION_HANDLE hs, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return C_Encrypt(hs, nullptr, 0, out, outLen);
}

CK_RV PKCS11CryptoKi::C_DecryptUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                                      CK_BYTE_PTR, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->decrypt.active) return CKR_OPERATION_NOT_INITIALIZED;
    if (s->decrypt.data.size() + inLen > PKCS11Object::kMaxValue * 16) {
        s->decrypt.clear();
        return CKR_ENCRYPTED_DATA_LEN_RANGE;
    }
    s->decrypt.data.insert(s->decrypt.data.end(), in, in + inLen);
    *outLen = 0;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_DecryptFinal(CK_SESSION_HANDLE hs, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    return C_Decrypt(hs, nullptr, 0, out, outLen);
}

CK_RV PKCS11CryptoKi::C_DigestEncryptUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG,
                                            CK_BYTE_PTR, CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_DecryptDigestUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG,
                                            CK_BYTE_PTR, CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_SignEncryptUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR,
                                          CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_DecryptVerifyUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG,
                                            CK_BYTE_PTR, CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

// ---- Key generation ----

CK_RV PKCS11CryptoKi::C_GenerateKey(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m, CK_ATTRIBUTE_PTR t,
                                    CK_ULONG n, CK_OBJECT_HANDLE_PTR key) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr || key == nullptr || (t == nullptr && n > 0)) return CKR_ARGUMENTS_BAD;
    CK_KEY_TYPE type;
    CK_ULONG length;
    switch (m->mechanism) {
        case CKM_DES_KEY_GEN:
            type = CKK_DES;
            length = 8;
            break;
        case CKM_DES2_KEY_GEN:
            type = CKK_DES2;
            length = 16;
            break;
        case CKM_DES3_KEY_GEN:
            type = CKK_DES3;
            length = 24;
            break;
        case CKM_GENERIC_SECRET_KEY_GEN:
            type = CKK_GENERIC_SECRET;
            if (!templateULong(t, n, CKA_VALUE_LEN, &length)) return CKR_TEMPLATE_INCOMPLETE;
            if (length == 0 || length > 64) return CKR_ATTRIBUTE_VALUE_INVALID;
            break;
        default:
            return CKR_MECHANISM_INVALID;
    }
    std::unique_ptr<PKCS11Object> o(PKCS11Object::create(CKO_SECRET_KEY, type));
    rv = o->applyTemplate(t, n, true);
    if (rv != CKR_OK) return rv;
    std::vector<unsigned char> value(length);
    generator->random(value.data(), static_cast<unsigned int>(length));
    o->set(CKA_VALUE, value.data(), length);
    std::fill(value.begin(), value.end(), 0);
    o->setBool(CKA_LOCAL, true);
    o->setULong(CKA_KEY_GEN_MECHANISM, m->mechanism);
    return addObject(s, std::move(o), key);
}

CK_RV PKCS11CryptoKi::C_GenerateKeyPair(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m,
                                        CK_ATTRIBUTE_PTR pubT, CK_ULONG pubN,
                                        CK_ATTRIBUTE_PTR privT, CK_ULONG privN,
                                        CK_OBJECT_HANDLE_PTR pub, CK_OBJECT_HANDLE_PTR priv) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr || pub == nullptr || priv == nullptr || (pubT == nullptr && pubN > 0) ||
        (privT == nullptr && privN > 0)) {
        return CKR_ARGUMENTS_BAD;
    }
    if (m->mechanism != CKM_RSA_PKCS_KEY_PAIR_GEN) return CKR_MECHANISM_INVALID;
    CK_ULONG bits;
    if (!templateULong(pubT, pubN, CKA_MODULUS_BITS, &bits)) return CKR_TEMPLATE_INCOMPLETE;
    if (bits < 512 || bits > 4096) return CKR_KEY_SIZE_RANGE;
    RSAPrivateKey k;
    const CK_ATTRIBUTE* e = templateValue(pubT, pubN, CKA_PUBLIC_EXPONENT);
    bool made = e != nullptr ? k.generateNewKey(static_cast<int>(bits),
                                                static_cast<unsigned char*>(e->pValue),
                                                e->ulValueLen, generator.get())
                             : k.generateNewKey(static_cast<int>(bits), generator.get());
    if (!made) return CKR_TEMPLATE_INCONSISTENT;
    std::unique_ptr<PKCS11Object> po(PKCS11Object::create(CKO_PUBLIC_KEY, CKK_RSA));
    std::unique_ptr<PKCS11Object> ko(PKCS11Object::create(CKO_PRIVATE_KEY, CKK_RSA));
    if ((rv = po->applyTemplate(pubT, pubN, true)) != CKR_OK) return rv;
    if ((rv = ko->applyTemplate(privT, privN, true)) != CKR_OK) return rv;
    setInteger(po.get(), CKA_MODULUS, k.getModulus());
    setInteger(po.get(), CKA_PUBLIC_EXPONENT, k.getPublicExponent());
    setInteger(ko.get(), CKA_MODULUS, k.getModulus());
    setInteger(ko.get(), CKA_PUBLIC_EXPONENT, k.getPublicExponent());
    setInteger(ko.get(), CKA_PRIVATE_EXPONENT, k.getPrivateExponent());
    setInteger(ko.get(), CKA_PRIME_1, k.getPrime1());
    setInteger(ko.get(), CKA_PRIME_2, k.getPrime2());
    setInteger(ko.get(), CKA_EXPONENT_1, k.getExponent1());
    setInteger(ko.get(), CKA_EXPONENT_2, k.getExponent2());
    setInteger(ko.get(), CKA_COEFFICIENT, k.getCoefficient());
    for (PKCS11Object* o : {po.get(), ko.get()}) {
        o->setBool(CKA_LOCAL, true);
        o->setULong(CKA_KEY_GEN_MECHANISM, CKM_RSA_PKCS_KEY_PAIR_GEN);
    }
    rv = addObject(s, std::move(po), pub);
    if (rv != CKR_OK) return rv;
    rv = addObject(s, std::move(ko), priv);
    if (rv != CKR_OK) {
        C_DestroyObject(hs, *pub);
        *pub = 0;
    }
    return rv;
}

CK_RV PKCS11CryptoKi::C_WrapKey(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR, CK_OBJECT_HANDLE,
                                CK_OBJECT_HANDLE, CK_BYTE_PTR, CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_UnwrapKey(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR, CK_OBJECT_HANDLE,
                                  CK_BYTE_PTR, CK_ULONG, CK_ATTRIBUTE_PTR, CK_ULONG,
                                  CK_OBJECT_HANDLE_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_DeriveKey(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR, CK_OBJECT_HANDLE,
                                  CK_ATTRIBUTE_PTR, CK_ULONG, CK_OBJECT_HANDLE_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

// ---- Random ----

CK_RV PKCS11CryptoKi::C_SeedRandom(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_RANDOM_SEED_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_GenerateRandom(CK_SESSION_HANDLE hs, CK_BYTE_PTR out, CK_ULONG len) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (out == nullptr && len > 0) return CKR_ARGUMENTS_BAD;
    while (len > 0) {
        unsigned int piece = len > 0x10000000ul ? 0x10000000u : static_cast<unsigned int>(len);
        generator->random(out, piece);
        out += piece;
        len -= piece;
    }
    return CKR_OK;
}
