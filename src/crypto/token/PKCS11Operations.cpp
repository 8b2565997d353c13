// The cryptographic functions of the built-in token: mechanisms, digests, signatures and
// their checks, ciphers, key generation and random bytes.
#include <cstring>
#include <initializer_list>
#include <memory>

#include "asn1/Buffer.h"
#include "crypto/DES.h"
#include "crypto/DigestInfo.h"
#include "crypto/MD5.h"
#include "crypto/RIPEMD160.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"
#include "crypto/RandomGenerator.h"
#include "crypto/SHA1.h"
#include "crypto/SHA256.h"
#include "crypto/SHA512.h"
#include "crypto/token/PKCS11CryptoKi.h"
#include "crypto/token/PKCS11Object.h"
#include "crypto/token/TokenSession.h"
#include "crypto/tsRSA.h"

namespace {

struct MechanismRow {
    CK_MECHANISM_TYPE type;
    CK_ULONG minKey, maxKey;
    CK_FLAGS flags;
};

constexpr CK_FLAGS kRSAAll = CKF_ENCRYPT | CKF_DECRYPT | CKF_SIGN | CKF_VERIFY;
constexpr CK_FLAGS kSignVerify = CKF_SIGN | CKF_VERIFY;
constexpr CK_FLAGS kCipher = CKF_ENCRYPT | CKF_DECRYPT;

const MechanismRow kMechanisms[] = {
    {CKM_RSA_PKCS_KEY_PAIR_GEN, 512, 4096, CKF_GENERATE_KEY_PAIR},
    {CKM_RSA_PKCS, 512, 16384, kRSAAll},
    {CKM_RSA_9796, 512, 16384, kSignVerify},
    {CKM_RSA_X_509, 512, 16384, kRSAAll},
    {CKM_MD5_RSA_PKCS, 512, 16384, kSignVerify},
    {CKM_SHA1_RSA_PKCS, 512, 16384, kSignVerify},
    {CKM_SHA256_RSA_PKCS, 512, 16384, kSignVerify},
    {CKM_SHA384_RSA_PKCS, 512, 16384, kSignVerify},
    {CKM_SHA512_RSA_PKCS, 512, 16384, kSignVerify},
    {CKM_DES_KEY_GEN, 8, 8, CKF_GENERATE},
    {CKM_DES_ECB, 8, 8, kCipher},
    {CKM_DES_CBC, 8, 8, kCipher},
    {CKM_DES_CBC_PAD, 8, 8, kCipher},
    {CKM_DES2_KEY_GEN, 16, 16, CKF_GENERATE},
    {CKM_DES3_KEY_GEN, 24, 24, CKF_GENERATE},
    {CKM_DES3_ECB, 16, 24, kCipher},
    {CKM_DES3_CBC, 16, 24, kCipher},
    {CKM_DES3_CBC_PAD, 16, 24, kCipher},
    {CKM_GENERIC_SECRET_KEY_GEN, 1, 64, CKF_GENERATE},
    {CKM_MD5, 0, 0, CKF_DIGEST},
    {CKM_MD5_HMAC, 1, 64, kSignVerify},
    {CKM_SHA_1, 0, 0, CKF_DIGEST},
    {CKM_SHA_1_HMAC, 1, 64, kSignVerify},
    {CKM_RIPEMD160, 0, 0, CKF_DIGEST},
    {CKM_RIPEMD160_HMAC, 1, 64, kSignVerify},
    {CKM_SHA256, 0, 0, CKF_DIGEST},
    {CKM_SHA256_HMAC, 1, 64, kSignVerify},
    {CKM_SHA384, 0, 0, CKF_DIGEST},
    {CKM_SHA512, 0, 0, CKF_DIGEST},
};
static_assert(sizeof kMechanisms / sizeof kMechanisms[0] <= PKCS11CryptoKi::kMaxMechanisms,
              "the mechanism table has 40 rows at most");

MessageDigest* digestFor(CK_MECHANISM_TYPE m) {
    switch (m) {
        case CKM_MD5:
        case CKM_MD5_RSA_PKCS:
        case CKM_MD5_HMAC:
            return new MD5();
        case CKM_SHA_1:
        case CKM_SHA1_RSA_PKCS:
        case CKM_RSA_9796:
        case CKM_SHA_1_HMAC:
            return new SHA1();
        case CKM_RIPEMD160:
        case CKM_RIPEMD160_HMAC:
            return new RIPEMD160();
        case CKM_SHA256:
        case CKM_SHA256_RSA_PKCS:
        case CKM_SHA256_HMAC:
            return new SHA256();
        case CKM_SHA384:
        case CKM_SHA384_RSA_PKCS:
            return new SHA384();
        case CKM_SHA512:
        case CKM_SHA512_RSA_PKCS:
            return new SHA512();
        default:
            return nullptr;
    }
}

bool isHMAC(CK_MECHANISM_TYPE m) {
    return m == CKM_SHA_1_HMAC || m == CKM_MD5_HMAC || m == CKM_RIPEMD160_HMAC ||
           m == CKM_SHA256_HMAC;
}

bool isDigestRSA(CK_MECHANISM_TYPE m) {
    return m == CKM_MD5_RSA_PKCS || m == CKM_SHA1_RSA_PKCS || m == CKM_SHA256_RSA_PKCS ||
           m == CKM_SHA384_RSA_PKCS || m == CKM_SHA512_RSA_PKCS;
}

bool isRawRSA(CK_MECHANISM_TYPE m) {
    return m == CKM_RSA_PKCS || m == CKM_RSA_X_509 || m == CKM_RSA_9796;
}

// Gives the result to the caller under the PKCS#11 rules of size queries. True when the
// result was delivered (the operation is then over).
bool deliver(const unsigned char* p, CK_ULONG n, CK_BYTE_PTR out, CK_ULONG_PTR outLen, CK_RV* rv) {
    if (out == nullptr) {
        *outLen = n;
        *rv = CKR_OK;
        return false;
    }
    if (*outLen < n) {
        *outLen = n;
        *rv = CKR_BUFFER_TOO_SMALL;
        return false;
    }
    if (n > 0) memcpy(out, p, n);
    *outLen = n;
    *rv = CKR_OK;
    return true;
}

// The DER encoding of a DigestInfo for the digest, with or without the NULL parameters.
std::vector<unsigned char> digestInfoBytes(const MessageDigest* d, const unsigned char* digest,
                                           bool withNull) {
    DigestInfo info(d->getOID(), digest, d->getLength());
    info.setUseAlgorithmParameters(withNull ? 255 : 0);
    Buffer b;
    b.enlarge(info.getWrapLength(&b));
    info.wrapASN1(&b);
    return std::vector<unsigned char>(b._getData(), b._getData() + b.getWritePos());
}

std::unique_ptr<Key> rsaKeyOf(const PKCS11Object* o) {
    if (o->getClass() == CKO_PUBLIC_KEY) return std::unique_ptr<Key>(o->toRSAPublicKey());
    if (o->getClass() == CKO_PRIVATE_KEY) return std::unique_ptr<Key>(o->toRSAPrivateKey());
    return nullptr;
}

}  // namespace

// ---- Mechanisms ----

CK_RV PKCS11CryptoKi::C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE_PTR list,
                                         CK_ULONG_PTR count) {
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (count == nullptr) return CKR_ARGUMENTS_BAD;
    const CK_ULONG n = sizeof kMechanisms / sizeof kMechanisms[0];
    if (list != nullptr) {
        if (*count < n) {
            *count = n;
            return CKR_BUFFER_TOO_SMALL;
        }
        for (CK_ULONG i = 0; i < n; ++i) list[i] = kMechanisms[i].type;
    }
    *count = n;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type,
                                         CK_MECHANISM_INFO_PTR info) {
    if (slot >= slotCount) return CKR_SLOT_ID_INVALID;
    if (info == nullptr) return CKR_ARGUMENTS_BAD;
    for (const MechanismRow& row : kMechanisms) {
        if (row.type == type) {
            info->ulMinKeySize = row.minKey;
            info->ulMaxKeySize = row.maxKey;
            info->flags = row.flags;
            return CKR_OK;
        }
    }
    return CKR_MECHANISM_INVALID;
}

// ---- Digests ----

CK_RV PKCS11CryptoKi::C_DigestInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr) return CKR_ARGUMENTS_BAD;
    if (s->digest.active) return CKR_OPERATION_ACTIVE;
    switch (m->mechanism) {
        case CKM_MD5:
        case CKM_SHA_1:
        case CKM_RIPEMD160:
        case CKM_SHA256:
        case CKM_SHA384:
        case CKM_SHA512:
            break;
        default:
            return CKR_MECHANISM_INVALID;
    }
    s->digest.clear();
    s->digest.digester.reset(digestFor(m->mechanism));
    s->digest.mechanism = m->mechanism;
    s->digest.active = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_Digest(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                               CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->digest.active) return CKR_OPERATION_NOT_INITIALIZED;
    MessageDigest* d = s->digest.digester.get();
    unsigned char digest[MessageDigest::kMaxLength];
    if (out == nullptr || *outLen < d->getLength()) {
        deliver(digest, d->getLength(), nullptr, outLen, &rv);
        return out == nullptr ? CKR_OK : CKR_BUFFER_TOO_SMALL;
    }
    d->update(in, inLen);
    d->final(digest);
    deliver(digest, d->getLength(), out, outLen, &rv);
    s->digest.clear();
    return rv;
}

CK_RV PKCS11CryptoKi::C_DigestUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (in == nullptr && inLen > 0) return CKR_ARGUMENTS_BAD;
    if (!s->digest.active) return CKR_OPERATION_NOT_INITIALIZED;
    s->digest.digester->update(in, inLen);
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_DigestKey(CK_SESSION_HANDLE hs, CK_OBJECT_HANDLE) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_DigestFinal(CK_SESSION_HANDLE hs, CK_BYTE_PTR out, CK_ULONG_PTR outLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (outLen == nullptr) return CKR_ARGUMENTS_BAD;
    if (!s->digest.active) return CKR_OPERATION_NOT_INITIALIZED;
    MessageDigest* d = s->digest.digester.get();
    if (out == nullptr || *outLen < d->getLength()) {
        CK_RV ignored;
        deliver(nullptr, d->getLength(), nullptr, outLen, &ignored);
        return out == nullptr ? CKR_OK : CKR_BUFFER_TOO_SMALL;
    }
    unsigned char digest[MessageDigest::kMaxLength];
    d->final(digest);
    deliver(digest, d->getLength(), out, outLen, &rv);
    s->digest.clear();
    return rv;
}

// ---- Keys for operations ----

CK_RV PKCS11CryptoKi::keyForOperation(TokenSession* s, CK_OBJECT_HANDLE key, CK_ATTRIBUTE_TYPE use,
                                      PKCS11Object** o) {
    if (key == 0 || key > kMaxObjects) return CKR_KEY_HANDLE_INVALID;
    *o = visibleObject(s, key);
    if (*o == nullptr) return CKR_KEY_HANDLE_INVALID;
    if (!(*o)->getBool(use, false)) return CKR_KEY_FUNCTION_NOT_PERMITTED;
    return CKR_OK;
}

// ---- Signatures ----

CK_RV PKCS11CryptoKi::C_SignInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o;
    rv = keyForOperation(s, key, CKA_SIGN, &o);
    if (rv != CKR_OK) return rv;
    TokenOperation& op = s->sign;
    op.clear();
    if (isRawRSA(m->mechanism) || isDigestRSA(m->mechanism)) {
        if (o->getClass() != CKO_PRIVATE_KEY || o->getKeyType() != CKK_RSA) {
            return CKR_KEY_TYPE_INCONSISTENT;
        }
    } else if (isHMAC(m->mechanism)) {
        const std::vector<unsigned char>* v = o->get(CKA_VALUE);
        if (o->getClass() != CKO_SECRET_KEY || v == nullptr) return CKR_KEY_TYPE_INCONSISTENT;
        std::unique_ptr<MessageDigest> d(digestFor(m->mechanism));
        op.mac.reset(new HMAC());
        op.mac->init(d.get(), v->data(), v->size());
    } else {
        return CKR_MECHANISM_INVALID;
    }
    if (isDigestRSA(m->mechanism) || m->mechanism == CKM_RSA_9796) {
        op.digester.reset(digestFor(m->mechanism));
    }
    op.mechanism = m->mechanism;
    op.key = key;
    op.active = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::rsaSign(TokenSession* s, const unsigned char* in, CK_ULONG inLen,
                              std::vector<unsigned char>* out) {
    TokenOperation& op = s->sign;
    if (op.mac) {
        out->resize(op.mac->getLength());
        op.mac->update(in, inLen);
        op.mac->final(out->data());
        return CKR_OK;
    }
    PKCS11Object* o = visibleObject(s, op.key);
    std::unique_ptr<Key> key(o != nullptr ? rsaKeyOf(o) : nullptr);
    if (!key) return CKR_KEY_HANDLE_INVALID;
    tsRSA rsa(generator.get());
    unsigned long m = rsa.getOutLength(key.get());
    if (m == 0) return CKR_KEY_SIZE_RANGE;
    std::vector<unsigned char> message;
    unsigned char digest[MessageDigest::kMaxLength];
    if (op.digester) {
        op.digester->update(in, inLen);
        op.digester->final(digest);
    }
    unsigned long n;
    std::unique_ptr<unsigned char[]> sig;
    switch (op.mechanism) {
        case CKM_RSA_PKCS:
            if (inLen > m - 11) return CKR_DATA_LEN_RANGE;
            n = inLen;
            sig.reset(rsa.encode(in, &n, key.get()));
            break;
        case CKM_RSA_X_509:
            if (inLen > m) return CKR_DATA_LEN_RANGE;
            n = inLen;
            sig.reset(rsa.encodeX509(in, &n, key.get()));
            if (!sig) return CKR_DATA_INVALID;
            break;
        case CKM_RSA_9796:
            n = op.digester->getLength();
            sig.reset(rsa.signISO9796(digest, &n, key.get()));
            break;
        default:
            message = digestInfoBytes(op.digester.get(), digest, true);
            if (message.size() > m - 11) return CKR_KEY_SIZE_RANGE;
            n = message.size();
            sig.reset(rsa.encode(message.data(), &n, key.get()));
            break;
    }
    if (!sig) return CKR_FUNCTION_FAILED;
    out->assign(sig.get(), sig.get() + n);
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_Sign(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen, CK_BYTE_PTR sig,
                             CK_ULONG_PTR sigLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if ((in == nullptr && inLen > 0) || sigLen == nullptr) return CKR_ARGUMENTS_BAD;
    TokenOperation& op = s->sign;
    if (!op.active) return CKR_OPERATION_NOT_INITIALIZED;
    CK_ULONG wanted = 0;
    if (op.mac) {
        wanted = op.mac->getLength();
    } else {
        PKCS11Object* o = visibleObject(s, op.key);
        std::unique_ptr<Key> key(o != nullptr ? rsaKeyOf(o) : nullptr);
        tsRSA rsa;
        wanted = key ? rsa.getOutLength(key.get()) : 0;
    }
    if (sig == nullptr || *sigLen < wanted) {
        *sigLen = wanted;
        return sig == nullptr ? CKR_OK : CKR_BUFFER_TOO_SMALL;
    }
    std::vector<unsigned char> out;
    if (!op.data.empty()) {
        op.data.insert(op.data.end(), in, in + inLen);
        std::vector<unsigned char> all;
        all.swap(op.data);
        rv = rsaSign(s, all.data(), all.size(), &out);
    } else {
        rv = rsaSign(s, in, inLen, &out);
    }
    op.clear();
    if (rv != CKR_OK) return rv;
    deliver(out.data(), out.size(), sig, sigLen, &rv);
    return rv;
}

CK_RV PKCS11CryptoKi::C_SignUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (in == nullptr && inLen > 0) return CKR_ARGUMENTS_BAD;
    TokenOperation& op = s->sign;
    if (!op.active) return CKR_OPERATION_NOT_INITIALIZED;
    if (op.mac) {
        op.mac->update(in, inLen);
    } else if (op.digester) {
        op.digester->update(in, inLen);
    } else {
        // Raw RSA works on the whole message; it is bounded by the largest modulus.
        if (op.data.size() + inLen > tsRSA::kMaxModulusBits / 8) {
            op.clear();
            return CKR_DATA_LEN_RANGE;
        }
        op.data.insert(op.data.end(), in, in + inLen);
    }
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_SignFinal(CK_SESSION_HANDLE hs, CK_BYTE_PTR sig, CK_ULONG_PTR sigLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (!s->sign.active) return CKR_OPERATION_NOT_INITIALIZED;
    unsigned char none = 0;
    return C_Sign(hs, &none, 0, sig, sigLen);
}

CK_RV PKCS11CryptoKi::C_SignRecoverInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR, CK_OBJECT_HANDLE) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_SignRecover(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR,
                                    CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

// ---- Signature checks ----

CK_RV PKCS11CryptoKi::C_VerifyInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR m, CK_OBJECT_HANDLE key) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (m == nullptr) return CKR_ARGUMENTS_BAD;
    PKCS11Object* o;
    rv = keyForOperation(s, key, CKA_VERIFY, &o);
    if (rv != CKR_OK) return rv;
    TokenOperation& op = s->verify;
    op.clear();
    if (isHMAC(m->mechanism)) {
        const std::vector<unsigned char>* v = o->get(CKA_VALUE);
        if (o->getClass() != CKO_SECRET_KEY || v == nullptr) return CKR_KEY_TYPE_INCONSISTENT;
        std::unique_ptr<MessageDigest> d(digestFor(m->mechanism));
        op.mac.reset(new HMAC());
        op.mac->init(d.get(), v->data(), v->size());
    } else if (isDigestRSA(m->mechanism) || m->mechanism == CKM_RSA_9796) {
        op.digester.reset(digestFor(m->mechanism));
    } else if (!isRawRSA(m->mechanism)) {
        return CKR_MECHANISM_INVALID;
    }
    op.mechanism = m->mechanism;
    op.key = key;
    op.active = true;
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::rsaVerify(TokenSession* s, const unsigned char* in, CK_ULONG inLen,
                                const unsigned char* sig, CK_ULONG sigLen) {
    TokenOperation& op = s->verify;
    PKCS11Object* o = visibleObject(s, op.key);
    if (o == nullptr) return CKR_KEY_HANDLE_INVALID;
    if (op.mac) {
        if (o->getClass() != CKO_SECRET_KEY) return CKR_FUNCTION_FAILED;
        unsigned char mac[MessageDigest::kMaxLength];
        op.mac->update(in, inLen);
        op.mac->final(mac);
        // A shortened MAC is refused rather than compared on its own length.
        if (sigLen != op.mac->getLength()) return CKR_SIGNATURE_LEN_RANGE;
        return memcmp(mac, sig, sigLen) == 0 ? CKR_OK : CKR_SIGNATURE_INVALID;
    }
    std::unique_ptr<Key> key(rsaKeyOf(o));
    if (!key || o->getKeyType() != CKK_RSA) return CKR_FUNCTION_FAILED;
    tsRSA rsa;
    unsigned long m = rsa.getOutLength(key.get());
    if (m == 0) return CKR_FUNCTION_FAILED;
    unsigned long n = sigLen;
    switch (op.mechanism) {
        case CKM_RSA_X_509: {
            if (sigLen != m) return CKR_SIGNATURE_LEN_RANGE;
            if (inLen > m) return CKR_DATA_LEN_RANGE;
            std::unique_ptr<unsigned char[]> block(rsa.decodeX509(sig, &n, key.get()));
            if (!block) return CKR_SIGNATURE_INVALID;
            // The data stands for the whole block, with zeros on its left.
            for (unsigned long i = 0; i < m - inLen; ++i) {
                if (block[i] != 0) return CKR_SIGNATURE_INVALID;
            }
            return memcmp(block.get() + (m - inLen), in, inLen) == 0 ? CKR_OK
                                                                     : CKR_SIGNATURE_INVALID;
        }
        case CKM_RSA_PKCS: {
            if (sigLen != m) return CKR_SIGNATURE_LEN_RANGE;
            if (inLen > m - 11) return CKR_DATA_LEN_RANGE;
            std::unique_ptr<unsigned char[]> message(rsa.decode(sig, &n, key.get()));
            // A block that does not decode at all is told apart from a wrong message: the
            // caller learns that the signature is no PKCS#1 block for this key.
            if (!message) return CKR_FUNCTION_FAILED;
            // The whole message must be the data: a block that runs on past the data would let
            // a forger hide whatever he needs behind it.
            return n == inLen && memcmp(message.get(), in, inLen) == 0 ? CKR_OK
                                                                       : CKR_SIGNATURE_INVALID;
        }
        case CKM_RSA_9796: {
            if (sigLen != m) return CKR_SIGNATURE_LEN_RANGE;
            if (inLen > m / 2) return CKR_DATA_LEN_RANGE;
            unsigned char digest[SHA1::kLength];
            op.digester->update(in, inLen);
            op.digester->final(digest);
            std::unique_ptr<unsigned char[]> block(rsa.verifyISO9796(sig, &n, key.get()));
            if (!block || n != m || block[m - 1] != 188 ||
                memcmp(block.get() + m - 1 - SHA1::kLength, digest, SHA1::kLength) != 0) {
                return CKR_SIGNATURE_INVALID;
            }
            // The whole frame is checked, not the trailer alone: with a small exponent a value
            // with chosen low bytes is easy to make.
            if (block[0] != 0 || block[1] != 0x6A) return CKR_SIGNATURE_INVALID;
            for (unsigned long i = 2; i < m - 1 - SHA1::kLength; ++i) {
                if (block[i] != 0xBB) return CKR_SIGNATURE_INVALID;
            }
            return CKR_OK;
        }
        default: {
            unsigned char digest[MessageDigest::kMaxLength];
            op.digester->update(in, inLen);
            op.digester->final(digest);
            std::unique_ptr<unsigned char[]> message(rsa.decode(sig, &n, key.get()));
            if (!message) return CKR_SIGNATURE_INVALID;
            Buffer b;
            b.fromByteArray(message.get(), static_cast<unsigned int>(n));
            DigestInfo found;
            if (!found.unwrapASN1(&b) || b.getReadPos() != n) return CKR_SIGNATURE_INVALID;
            // Only the two plain encodings are taken, with the NULL parameters or without:
            // room for anything else in the block is room for a forgery.
            for (bool withNull : {true, false}) {
                std::vector<unsigned char> expected =
                    digestInfoBytes(op.digester.get(), digest, withNull);
                if (expected.size() == n && memcmp(expected.data(), message.get(), n) == 0) {
                    return CKR_OK;
                }
            }
            return CKR_SIGNATURE_INVALID;
        }
    }
}

CK_RV PKCS11CryptoKi::C_Verify(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen,
                               CK_BYTE_PTR sig, CK_ULONG sigLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (in == nullptr || sig == nullptr) return CKR_ARGUMENTS_BAD;
    TokenOperation& op = s->verify;
    if (!op.active) return CKR_OPERATION_NOT_INITIALIZED;
    if (!op.data.empty()) {
        op.data.insert(op.data.end(), in, in + inLen);
        std::vector<unsigned char> all;
        all.swap(op.data);
        rv = rsaVerify(s, all.data(), all.size(), sig, sigLen);
    } else {
        rv = rsaVerify(s, in, inLen, sig, sigLen);
    }
    op.clear();
    return rv;
}

CK_RV PKCS11CryptoKi::C_VerifyUpdate(CK_SESSION_HANDLE hs, CK_BYTE_PTR in, CK_ULONG inLen) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    if (rv != CKR_OK) return rv;
    if (in == nullptr && inLen > 0) return CKR_ARGUMENTS_BAD;
    TokenOperation& op = s->verify;
    if (!op.active) return CKR_OPERATION_NOT_INITIALIZED;
    if (op.mac) {
        op.mac->update(in, inLen);
    } else if (op.digester && op.mechanism != CKM_RSA_9796) {
        op.digester->update(in, inLen);
    } else {
        if (op.data.size() + inLen > tsRSA::kMaxModulusBits / 8) {
            op.clear();
            return CKR_DATA_LEN_RANGE;
        }
        op.data.insert(op.data.end(), in, in + inLen);
    }
    return CKR_OK;
}

CK_RV PKCS11CryptoKi::C_VerifyFinal(CK_SESSION_HANDLE hs, CK_BYTE_PTR sig, CK_ULONG sigLen) {
    unsigned char none = 0;
    return C_Verify(hs, &none, 0, sig, sigLen);
}

CK_RV PKCS11CryptoKi::C_VerifyRecoverInit(CK_SESSION_HANDLE hs, CK_MECHANISM_PTR,
                                          CK_OBJECT_HANDLE) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}

CK_RV PKCS11CryptoKi::C_VerifyRecover(CK_SESSION_HANDLE hs, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR,
                                      CK_ULONG_PTR) {
    TokenSession* s;
    CK_RV rv = sessionOf(hs, &s);
    return rv != CKR_OK ? rv : CKR_FUNCTION_NOT_SUPPORTED;
}
