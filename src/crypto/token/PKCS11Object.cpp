#include "crypto/token/PKCS11Object.h"

#include <cstring>

#include "crypto/BigInteger.h"
#include "crypto/RSAPrivateKey.h"
#include "crypto/RSAPublicKey.h"

namespace {

bool isBoolAttribute(CK_ATTRIBUTE_TYPE t) {
    switch (t) {
        case CKA_TOKEN:
        case CKA_PRIVATE:
        case CKA_TRUSTED:
        case CKA_SENSITIVE:
        case CKA_ENCRYPT:
        case CKA_DECRYPT:
        case CKA_WRAP:
        case CKA_UNWRAP:
        case CKA_SIGN:
        case CKA_SIGN_RECOVER:
        case CKA_VERIFY:
        case CKA_VERIFY_RECOVER:
        case CKA_DERIVE:
        case CKA_EXTRACTABLE:
        case CKA_LOCAL:
        case CKA_NEVER_EXTRACTABLE:
        case CKA_ALWAYS_SENSITIVE:
        case CKA_MODIFIABLE:
            return true;
        default:
            return false;
    }
}

bool isULongAttribute(CK_ATTRIBUTE_TYPE t) {
    switch (t) {
        case CKA_CLASS:
        case CKA_KEY_TYPE:
        case CKA_CERTIFICATE_TYPE:
        case CKA_MODULUS_BITS:
        case CKA_VALUE_BITS:
        case CKA_VALUE_LEN:
        case CKA_KEY_GEN_MECHANISM:
            return true;
        default:
            return false;
    }
}

// Attributes that only the token sets, or that fix what the object is.
bool isFixedAfterCreation(CK_ATTRIBUTE_TYPE t) {
    return t == CKA_CLASS || t == CKA_KEY_TYPE || t == CKA_TOKEN || t == CKA_PRIVATE ||
           t == CKA_CERTIFICATE_TYPE || t == CKA_MODIFIABLE || t == CKA_LOCAL || t == CKA_MODULUS ||
           t == CKA_PUBLIC_EXPONENT || t == CKA_VALUE;
}

const CK_ATTRIBUTE_TYPE kNone[] = {CK_UNAVAILABLE_INFORMATION};
const CK_ATTRIBUTE_TYPE kCertificate[] = {CKA_VALUE, CK_UNAVAILABLE_INFORMATION};
const CK_ATTRIBUTE_TYPE kRSAPublic[] = {CKA_MODULUS, CKA_PUBLIC_EXPONENT,
                                        CK_UNAVAILABLE_INFORMATION};
const CK_ATTRIBUTE_TYPE kRSAPrivate[] = {CKA_MODULUS, CKA_PRIVATE_EXPONENT,
                                         CK_UNAVAILABLE_INFORMATION};
const CK_ATTRIBUTE_TYPE kSecret[] = {CKA_VALUE, CK_UNAVAILABLE_INFORMATION};

uint32_t load32(const unsigned char* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

void put32(std::vector<unsigned char>* out, uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) out->push_back(static_cast<unsigned char>(v >> s));
}

BigInteger integerOf(const PKCS11Object* o, CK_ATTRIBUTE_TYPE t) {
    const std::vector<unsigned char>* v = o->get(t);
    if (v == nullptr || v->empty()) return BigInteger();
    return BigInteger(v->data(), static_cast<int>(v->size()));
}

// Length of a big-endian number without its leading zeros.
size_t significantBytes(const std::vector<unsigned char>* v) {
    if (v == nullptr) return 0;
    size_t i = 0;
    while (i < v->size() && (*v)[i] == 0) ++i;
    return v->size() - i;
}

}  // namespace

PKCS11Object* PKCS11Object::create(CK_OBJECT_CLASS c, CK_KEY_TYPE k) {
    switch (c) {
        case CKO_DATA:
            return new PKCS11Data();
        case CKO_CERTIFICATE:
            return new PKCS11PublicKeyCertificate();
        case CKO_PUBLIC_KEY:
            return k == CKK_RSA ? new PKCS11RSAPublicKey() : nullptr;
        case CKO_PRIVATE_KEY:
            return k == CKK_RSA ? new PKCS11RSAPrivateKey() : nullptr;
        case CKO_SECRET_KEY:
            switch (k) {
                case CKK_GENERIC_SECRET:
                    return new PKCS11GenericSecretKey();
                case CKK_DES:
                    return new PKCS11DESSecretKey();
                case CKK_DES2:
                    return new PKCS11DES2SecretKey();
                case CKK_DES3:
                    return new PKCS11DES3SecretKey();
                default:
                    return nullptr;
            }
        default:
            return nullptr;
    }
}

PKCS11Object::PKCS11Object(CK_OBJECT_CLASS c, CK_KEY_TYPE k) : objectClass(c), keyType(k) {
    setULong(CKA_CLASS, c);
    if (k != CK_UNAVAILABLE_INFORMATION) setULong(CKA_KEY_TYPE, k);
}

PKCS11Object::~PKCS11Object() {
    for (auto& v : values) std::fill(v.second.begin(), v.second.end(), 0);
}

const std::vector<unsigned char>* PKCS11Object::get(CK_ATTRIBUTE_TYPE t) const {
    auto it = values.find(t);
    return it != values.end() ? &it->second : nullptr;
}

void PKCS11Object::set(CK_ATTRIBUTE_TYPE t, const void* p, CK_ULONG n) {
    const unsigned char* b = static_cast<const unsigned char*>(p);
    values[t].assign(b, b + (p != nullptr ? n : 0));
}

void PKCS11Object::setBool(CK_ATTRIBUTE_TYPE t, bool v) {
    CK_BBOOL b = v ? CK_TRUE : CK_FALSE;
    set(t, &b, 1);
}

void PKCS11Object::setULong(CK_ATTRIBUTE_TYPE t, CK_ULONG v) {
    set(t, &v, sizeof v);
}

void PKCS11Object::setDefault(CK_ATTRIBUTE_TYPE t, bool v) {
    if (!has(t)) setBool(t, v);
}

bool PKCS11Object::getBool(CK_ATTRIBUTE_TYPE t, bool otherwise) const {
    const std::vector<unsigned char>* v = get(t);
    return v != nullptr && v->size() == 1 ? (*v)[0] != 0 : otherwise;
}

CK_ULONG PKCS11Object::getULong(CK_ATTRIBUTE_TYPE t, CK_ULONG otherwise) const {
    const std::vector<unsigned char>* v = get(t);
    if (v == nullptr || v->size() != sizeof(CK_ULONG)) return otherwise;
    CK_ULONG r;
    memcpy(&r, v->data(), sizeof r);
    return r;
}

CK_RV PKCS11Object::applyTemplate(const CK_ATTRIBUTE* a, CK_ULONG count, bool creating) {
    if (count > 0 && a == nullptr) return CKR_ARGUMENTS_BAD;
    if (!creating && !getBool(CKA_MODIFIABLE, true)) return CKR_ATTRIBUTE_READ_ONLY;
    for (CK_ULONG i = 0; i < count; ++i) {
        CK_ATTRIBUTE_TYPE t = a[i].type;
        CK_ULONG n = a[i].ulValueLen;
        // Types are kept in four bytes in an object's image.
        if (t > 0xFFFFFFFFul) return CKR_ATTRIBUTE_TYPE_INVALID;
        if ((a[i].pValue == nullptr && n > 0) || n > kMaxValue) return CKR_ATTRIBUTE_VALUE_INVALID;
        if (isBoolAttribute(t) && n != 1) return CKR_ATTRIBUTE_VALUE_INVALID;
        if (isULongAttribute(t) && n != sizeof(CK_ULONG)) return CKR_ATTRIBUTE_VALUE_INVALID;
        if (!creating && isFixedAfterCreation(t)) return CKR_ATTRIBUTE_READ_ONLY;
        if (t == CKA_CLASS || t == CKA_KEY_TYPE) {
            CK_ULONG v;
            memcpy(&v, a[i].pValue, sizeof v);
            if (v != (t == CKA_CLASS ? objectClass : keyType)) return CKR_TEMPLATE_INCONSISTENT;
        }
    }
    for (CK_ULONG i = 0; i < count; ++i) set(a[i].type, a[i].pValue, a[i].ulValueLen);
    if (count > 0 && values.size() > kMaxAttributes) return CKR_TEMPLATE_INCONSISTENT;
    return CKR_OK;
}

const CK_ATTRIBUTE_TYPE* PKCS11Object::required() const {
    return kNone;
}

void PKCS11Object::defaults() {
    setDefault(CKA_TOKEN, false);
    setDefault(CKA_PRIVATE, false);
    setDefault(CKA_MODIFIABLE, true);
    if (!has(CKA_LABEL)) set(CKA_LABEL, nullptr, 0);
}

bool PKCS11Object::isSensitiveAttribute(CK_ATTRIBUTE_TYPE) const {
    return false;
}

CK_RV PKCS11Object::complete() {
    defaults();
    for (const CK_ATTRIBUTE_TYPE* t = required(); *t != CK_UNAVAILABLE_INFORMATION; ++t) {
        if (!has(*t)) return CKR_TEMPLATE_INCOMPLETE;
    }
    if (keyType == CKK_RSA) {
        // A bounded modulus keeps a hostile key from costing unbounded time.
        size_t m = significantBytes(get(CKA_MODULUS));
        if (m == 0 || m > 2048) return CKR_ATTRIBUTE_VALUE_INVALID;
        if (has(CKA_PUBLIC_EXPONENT) && significantBytes(get(CKA_PUBLIC_EXPONENT)) > m) {
            return CKR_ATTRIBUTE_VALUE_INVALID;
        }
        if (!has(CKA_MODULUS_BITS) && objectClass == CKO_PUBLIC_KEY) {
            setULong(CKA_MODULUS_BITS, static_cast<CK_ULONG>(integerOf(this, CKA_MODULUS).bits()));
        }
    }
    if (objectClass == CKO_SECRET_KEY) {
        size_t n = get(CKA_VALUE)->size();
        size_t wanted = keyType == CKK_DES    ? 8
                        : keyType == CKK_DES2 ? 16
                        : keyType == CKK_DES3 ? 24
                                              : 0;
        if ((wanted != 0 && n != wanted) || n == 0) return CKR_ATTRIBUTE_VALUE_INVALID;
        if (!has(CKA_VALUE_LEN)) setULong(CKA_VALUE_LEN, n);
    }
    return CKR_OK;
}

bool PKCS11Object::matches(const CK_ATTRIBUTE* a, CK_ULONG count) const {
    for (CK_ULONG i = 0; i < count; ++i) {
        const std::vector<unsigned char>* v = get(a[i].type);
        if (v == nullptr || v->size() != a[i].ulValueLen) return false;
        if (!v->empty() && (a[i].pValue == nullptr || memcmp(v->data(), a[i].pValue, v->size()))) {
            return false;
        }
    }
    return true;
}

CK_RV PKCS11Object::readAttribute(CK_ATTRIBUTE* a) const {
    if (isSensitiveAttribute(a->type) &&
        (getBool(CKA_SENSITIVE, true) || !getBool(CKA_EXTRACTABLE, false))) {
        a->ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CKR_ATTRIBUTE_SENSITIVE;
    }
    const std::vector<unsigned char>* v = get(a->type);
    if (v == nullptr) {
        a->ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CKR_ATTRIBUTE_TYPE_INVALID;
    }
    if (a->pValue == nullptr) {
        a->ulValueLen = v->size();
        return CKR_OK;
    }
    if (a->ulValueLen < v->size()) {
        a->ulValueLen = CK_UNAVAILABLE_INFORMATION;
        return CKR_BUFFER_TOO_SMALL;
    }
    if (!v->empty()) memcpy(a->pValue, v->data(), v->size());
    a->ulValueLen = v->size();
    return CKR_OK;
}

unsigned long PKCS11Object::getSize() const {
    unsigned long n = 4;
    for (const auto& v : values) n += 8 + v.second.size();
    return n;
}

void PKCS11Object::dumpObject(std::vector<unsigned char>* out) const {
    out->clear();
    put32(out, static_cast<uint32_t>(values.size()));
    for (const auto& v : values) {
        put32(out, static_cast<uint32_t>(v.first));
        put32(out, static_cast<uint32_t>(v.second.size()));
        out->insert(out->end(), v.second.begin(), v.second.end());
    }
}

bool PKCS11Object::restoreObject(const unsigned char* p, unsigned long n) {
    if (p == nullptr || n < 4) return false;
    uint32_t count = load32(p);
    if (count > kMaxAttributes) return false;
    std::map<CK_ATTRIBUTE_TYPE, std::vector<unsigned char>> read;
    unsigned long at = 4;
    for (uint32_t i = 0; i < count; ++i) {
        if (n - at < 8) return false;
        CK_ATTRIBUTE_TYPE t = load32(p + at);
        uint32_t len = load32(p + at + 4);
        at += 8;
        if (len > n - at) return false;
        if ((isBoolAttribute(t) && len != 1) || (isULongAttribute(t) && len != sizeof(CK_ULONG))) {
            return false;
        }
        read[t].assign(p + at, p + at + len);
        at += len;
    }
    if (at != n) return false;
    auto check = [&](CK_ATTRIBUTE_TYPE t, CK_ULONG wanted) {
        auto it = read.find(t);
        if (it == read.end()) return wanted == CK_UNAVAILABLE_INFORMATION;
        CK_ULONG v;
        memcpy(&v, it->second.data(), sizeof v);
        return v == wanted;
    };
    if (!check(CKA_CLASS, objectClass) || !check(CKA_KEY_TYPE, keyType)) return false;
    std::map<CK_ATTRIBUTE_TYPE, std::vector<unsigned char>> before;
    before.swap(values);
    values.swap(read);
    if (complete() != CKR_OK) {
        values.swap(before);
        return false;
    }
    return true;
}

RSAPublicKey* PKCS11Object::toRSAPublicKey() const {
    if (keyType != CKK_RSA || !has(CKA_MODULUS) || !has(CKA_PUBLIC_EXPONENT)) return nullptr;
    return new RSAPublicKey(integerOf(this, CKA_MODULUS), integerOf(this, CKA_PUBLIC_EXPONENT));
}

RSAPrivateKey* PKCS11Object::toRSAPrivateKey() const {
    if (keyType != CKK_RSA || objectClass != CKO_PRIVATE_KEY) return nullptr;
    RSAPrivateKey* k = new RSAPrivateKey();
    k->setModulus(integerOf(this, CKA_MODULUS));
    k->setPublicExponent(integerOf(this, CKA_PUBLIC_EXPONENT));
    k->setPrivateExponent(integerOf(this, CKA_PRIVATE_EXPONENT));
    k->setPrime1(integerOf(this, CKA_PRIME_1));
    k->setPrime2(integerOf(this, CKA_PRIME_2));
    k->setExponent1(integerOf(this, CKA_EXPONENT_1));
    k->setExponent2(integerOf(this, CKA_EXPONENT_2));
    k->setCoefficient(integerOf(this, CKA_COEFFICIENT));
    return k;
}

// ---- Classes ----

const CK_ATTRIBUTE_TYPE* PKCS11PublicKeyCertificate::required() const {
    return kCertificate;
}

void PKCS11PublicKeyCertificate::defaults() {
    PKCS11Object::defaults();
    if (!has(CKA_CERTIFICATE_TYPE)) setULong(CKA_CERTIFICATE_TYPE, CKC_X_509);
    setDefault(CKA_TRUSTED, false);
}

const CK_ATTRIBUTE_TYPE* PKCS11RSAPublicKey::required() const {
    return kRSAPublic;
}

void PKCS11RSAPublicKey::defaults() {
    PKCS11Object::defaults();
    if (!has(CKA_ID)) set(CKA_ID, nullptr, 0);
    setDefault(CKA_ENCRYPT, true);
    setDefault(CKA_VERIFY, true);
    setDefault(CKA_VERIFY_RECOVER, true);
    setDefault(CKA_WRAP, false);
    setDefault(CKA_DERIVE, false);
    setDefault(CKA_LOCAL, false);
}

const CK_ATTRIBUTE_TYPE* PKCS11RSAPrivateKey::required() const {
    return kRSAPrivate;
}

// Private keys are private and sensitive unless the template says otherwise.
void PKCS11RSAPrivateKey::defaults() {
    setDefault(CKA_PRIVATE, true);
    PKCS11Object::defaults();
    if (!has(CKA_ID)) set(CKA_ID, nullptr, 0);
    setDefault(CKA_SENSITIVE, true);
    setDefault(CKA_EXTRACTABLE, false);
    setDefault(CKA_DECRYPT, true);
    setDefault(CKA_SIGN, true);
    setDefault(CKA_SIGN_RECOVER, true);
    setDefault(CKA_UNWRAP, false);
    setDefault(CKA_DERIVE, false);
    setDefault(CKA_LOCAL, false);
}

bool PKCS11RSAPrivateKey::isSensitiveAttribute(CK_ATTRIBUTE_TYPE t) const {
    return t == CKA_PRIVATE_EXPONENT || t == CKA_PRIME_1 || t == CKA_PRIME_2 ||
           t == CKA_EXPONENT_1 || t == CKA_EXPONENT_2 || t == CKA_COEFFICIENT;
}

const CK_ATTRIBUTE_TYPE* PKCS11SecretKey::required() const {
    return kSecret;
}

void PKCS11SecretKey::defaults() {
    setDefault(CKA_PRIVATE, true);
    PKCS11Object::defaults();
    if (!has(CKA_ID)) set(CKA_ID, nullptr, 0);
    setDefault(CKA_SENSITIVE, true);
    setDefault(CKA_EXTRACTABLE, false);
    setDefault(CKA_ENCRYPT, true);
    setDefault(CKA_DECRYPT, true);
    setDefault(CKA_SIGN, true);
    setDefault(CKA_VERIFY, true);
    setDefault(CKA_WRAP, false);
    setDefault(CKA_UNWRAP, false);
    setDefault(CKA_DERIVE, false);
    setDefault(CKA_LOCAL, false);
}

bool PKCS11SecretKey::isSensitiveAttribute(CK_ATTRIBUTE_TYPE t) const {
    return t == CKA_VALUE;
}
