// Key: the base of the key records. A key knows whether its encoding conformed, its material
// as bytes, and its ASN.1 and PEM forms.
#ifndef SIGILO_CRYPTO_KEY_H
#define SIGILO_CRYPTO_KEY_H

class Buffer;

class Key {
public:
    static constexpr unsigned char kPrivate = 1;
    static constexpr unsigned char kPublic = 2;

    virtual ~Key() = default;
    // False when a lax reader had to skip redundant bytes in the key's integers.
    virtual bool isBEREncoded() const = 0;
    // The key material (for RSA the modulus), a new array the caller deletes; its size is
    // getKeyLen().
    virtual unsigned char* getKey() const = 0;
    virtual unsigned int getKeyLen() const = 0;
    virtual Key* clone() const = 0;
    // The Base64 text of the DER form, in lines of 64 characters.
    virtual void wrapPEM(Buffer* b);
    virtual unsigned int getPEMLength(Buffer* b);
    virtual unsigned char unwrapPEM(Buffer* b);
    virtual void wrapASN1(Buffer* b) = 0;
    virtual unsigned int getWrapLength(Buffer* b) = 0;
    virtual unsigned char unwrapASN1(Buffer* b) = 0;

    unsigned char getKeyType() const { return keyType; }

protected:
    explicit Key(unsigned char type) : keyType(type) {}
    unsigned char keyType;
};

#endif
