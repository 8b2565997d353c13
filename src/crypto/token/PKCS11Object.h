// PKCS11Object: one object of the built-in token, a set of attributes with the rules of its
// class. The subclasses name the classes the token keeps (data, X.509 certificates, RSA keys,
// secret keys) and add their required attributes, their defaults and which of their attributes
// may not be read out.
//
// An object's image, as dumpObject writes it and restoreObject reads it, is
//   count (4 bytes) then, count times: type (4 bytes), length (4 bytes), value
// with big-endian integers. restoreObject reads within the given bytes only.
#ifndef SIGILO_CRYPTO_TOKEN_PKCS11OBJECT_H
#define SIGILO_CRYPTO_TOKEN_PKCS11OBJECT_H

#include <cstdint>
#include <map>
#include <vector>

#include "crypto/token/pkcs11.h"

class RSAPrivateKey;
class RSAPublicKey;

class PKCS11Object {
public:
    // The largest image a token block can hold, and the largest single value accepted.
    static constexpr unsigned long kMaxImage = 4096 - 8;
    static constexpr unsigned long kMaxValue = 65536;
    static constexpr unsigned int kMaxAttributes = 64;

    // An empty object of the class (and key type): null for one the token does not keep.
    static PKCS11Object* create(CK_OBJECT_CLASS objectClass, CK_KEY_TYPE keyType);

    virtual ~PKCS11Object();
    PKCS11Object(const PKCS11Object&) = delete;
    PKCS11Object& operator=(const PKCS11Object&) = delete;

    // Sets the template's values, checking types and sizes: CKR_OK or the reason.
    CK_RV applyTemplate(const CK_ATTRIBUTE* attributes, CK_ULONG count, bool creating);
    // Fills the defaults of the class and checks that the required attributes are there.
    CK_RV complete();
    // True when every attribute of the template is present with the same value.
    bool matches(const CK_ATTRIBUTE* attributes, CK_ULONG count) const;
    // The PKCS#11 answer for one attribute: the value, its size, or the reason it is withheld.
    CK_RV readAttribute(CK_ATTRIBUTE* attribute) const;

    bool has(CK_ATTRIBUTE_TYPE type) const { return values.count(type) != 0; }
    const std::vector<unsigned char>* get(CK_ATTRIBUTE_TYPE type) const;
    void set(CK_ATTRIBUTE_TYPE type, const void* p, CK_ULONG n);
    void setBool(CK_ATTRIBUTE_TYPE type, bool v);
    void setULong(CK_ATTRIBUTE_TYPE type, CK_ULONG v);
    bool getBool(CK_ATTRIBUTE_TYPE type, bool otherwise) const;
    CK_ULONG getULong(CK_ATTRIBUTE_TYPE type, CK_ULONG otherwise) const;

    CK_OBJECT_CLASS getClass() const { return objectClass; }
    CK_KEY_TYPE getKeyType() const { return keyType; }
    bool isTokenObject() const { return getBool(CKA_TOKEN, false); }
    bool isPrivate() const { return getBool(CKA_PRIVATE, false); }
    // The image's size in bytes.
    unsigned long getSize() const;

    void dumpObject(std::vector<unsigned char>* out) const;
    // False, with the object unchanged in part at most, on an image that does not hold
    // together or does not describe an object of this class.
    bool restoreObject(const unsigned char* p, unsigned long n);
    // Forgets every value (the token's private objects, at logout).
    void clear() { values.clear(); }

    // The RSA key of an RSA key object, a new object the caller deletes; null otherwise.
    RSAPublicKey* toRSAPublicKey() const;
    RSAPrivateKey* toRSAPrivateKey() const;

    // Token bookkeeping: the slot, the session that made a session object (0 for a token
    // object), the directory entry on disk (0 for none) and the file offset of its image, and
    // for a private object read from disk before login, its enciphered image.
    CK_SLOT_ID slot = 0;
    CK_SESSION_HANDLE session = 0;
    unsigned int entry = 0;
    uint64_t offset = 0;
    bool locked = false;
    std::vector<unsigned char> cipherImage;

protected:
    PKCS11Object(CK_OBJECT_CLASS objectClass, CK_KEY_TYPE keyType);
    // Per class: the attributes that must be there, the defaults, and those never read out.
    virtual const CK_ATTRIBUTE_TYPE* required() const;
    virtual void defaults();
    virtual bool isSensitiveAttribute(CK_ATTRIBUTE_TYPE type) const;
    void setDefault(CK_ATTRIBUTE_TYPE type, bool v);

private:
    CK_OBJECT_CLASS objectClass;
    CK_KEY_TYPE keyType;
    std::map<CK_ATTRIBUTE_TYPE, std::vector<unsigned char>> values;
};

class PKCS11Data : public PKCS11Object {
public:
    PKCS11Data() : PKCS11Object(CKO_DATA, CK_UNAVAILABLE_INFORMATION) {}
};

class PKCS11PublicKeyCertificate : public PKCS11Object {
public:
    PKCS11PublicKeyCertificate() : PKCS11Object(CKO_CERTIFICATE, CK_UNAVAILABLE_INFORMATION) {}

protected:
    const CK_ATTRIBUTE_TYPE* required() const override;
    void defaults() override;
};

class PKCS11RSAPublicKey : public PKCS11Object {
public:
    PKCS11RSAPublicKey() : PKCS11Object(CKO_PUBLIC_KEY, CKK_RSA) {}

protected:
    const CK_ATTRIBUTE_TYPE* required() const override;
    void defaults() override;
};

class PKCS11RSAPrivateKey : public PKCS11Object {
public:
    PKCS11RSAPrivateKey() : PKCS11Object(CKO_PRIVATE_KEY, CKK_RSA) {}

protected:
    const CK_ATTRIBUTE_TYPE* required() const override;
    void defaults() override;
    bool isSensitiveAttribute(CK_ATTRIBUTE_TYPE type) const override;
};

class PKCS11SecretKey : public PKCS11Object {
protected:
    explicit PKCS11SecretKey(CK_KEY_TYPE type) : PKCS11Object(CKO_SECRET_KEY, type) {}
    const CK_ATTRIBUTE_TYPE* required() const override;
    void defaults() override;
    bool isSensitiveAttribute(CK_ATTRIBUTE_TYPE type) const override;
};

class PKCS11GenericSecretKey : public PKCS11SecretKey {
public:
    PKCS11GenericSecretKey() : PKCS11SecretKey(CKK_GENERIC_SECRET) {}
};

class PKCS11DESSecretKey : public PKCS11SecretKey {
public:
    PKCS11DESSecretKey() : PKCS11SecretKey(CKK_DES) {}
};

class PKCS11DES2SecretKey : public PKCS11SecretKey {
public:
    PKCS11DES2SecretKey() : PKCS11SecretKey(CKK_DES2) {}
};

class PKCS11DES3SecretKey : public PKCS11SecretKey {
public:
    PKCS11DES3SecretKey() : PKCS11SecretKey(CKK_DES3) {}
};

#endif
