// AttributeCertificate ::= SEQUENCE {                   -- [2] IMPLICIT in a CertificateSet
//     acinfo               AttributeCertificateInfo,
//     signatureAlgorithm   AlgorithmIdentifier,
//     signatureValue       BIT STRING }
//
// AttributeCertificateV1 ::= SEQUENCE { ... }           -- [1] IMPLICIT, the obsolete form
//
// No verification here looks inside an attribute certificate: it only has to be read past and
// carried, so both forms keep the whole element as it came, tag included, and write it back
// byte for byte. The outer element must lie wholly within the buffer.
#ifndef SIGILO_PKIX_ATTRIBUTECERTIFICATE_H
#define SIGILO_PKIX_ATTRIBUTECERTIFICATE_H

class Buffer;

// An element kept as its DER, with the tag it is expected under.
class CarriedElement {
public:
    CarriedElement() = default;
    ~CarriedElement();

    CarriedElement(const CarriedElement&) = delete;
    CarriedElement& operator=(const CarriedElement&) = delete;

    // The element whole, header included; a copy the caller deletes, or null.
    unsigned char* getEncoded() const;
    const unsigned char* _getEncoded() const { return encoded; }
    unsigned int getEncodedLen() const { return encodedLen; }
    void setEncoded(const unsigned char* p, unsigned int n);

    unsigned int getWrapLength(Buffer*) const { return encodedLen; }
    void wrapASN1(Buffer* b) const;
    // The element at the read position, whose tag must be `tag`.
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

protected:
    void copyTo(CarriedElement* target) const { target->setEncoded(encoded, encodedLen); }

private:
    unsigned char* encoded = nullptr;
    unsigned int encodedLen = 0;
};

class AttributeCertificate : public CarriedElement {
public:
    AttributeCertificate* clone() const {
        AttributeCertificate* copy = new AttributeCertificate();
        copyTo(copy);
        return copy;
    }
    unsigned char unwrapASN1(Buffer* b) { return CarriedElement::unwrapASN1(0x30, b); }
    unsigned char unwrapASN1(unsigned char tag, Buffer* b) {
        return CarriedElement::unwrapASN1(tag, b);
    }
};

class AttributeCertificateV1 : public CarriedElement {
public:
    AttributeCertificateV1* clone() const {
        AttributeCertificateV1* copy = new AttributeCertificateV1();
        copyTo(copy);
        return copy;
    }
    unsigned char unwrapASN1(Buffer* b) { return CarriedElement::unwrapASN1(0x30, b); }
    unsigned char unwrapASN1(unsigned char tag, Buffer* b) {
        return CarriedElement::unwrapASN1(tag, b);
    }
};

#endif
