// Signature: the bytes of a signature value, written as a BIT STRING with no unused bits.
// Leading zero bytes are kept: a signature must have the length of the modulus.
#ifndef SIGILO_CRYPTO_SIGNATURE_H
#define SIGILO_CRYPTO_SIGNATURE_H

class Buffer;

class Signature {
public:
    Signature();
    Signature(const unsigned char* sign, unsigned int length);
    ~Signature();

    Signature(const Signature&) = delete;
    Signature& operator=(const Signature&) = delete;

    Signature* clone() const;

    // A copy the caller deletes; null when there is none.
    unsigned char* getSign() const;
    const unsigned char* _getSign() const { return sign; }
    unsigned int getLength() const { return length; }
    void setSign(const unsigned char* p, unsigned int n);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned char* sign;
    unsigned int length;
};

#endif
