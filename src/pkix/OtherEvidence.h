// OtherEvidence ::= SEQUENCE {                           -- RFC 5544
//     oeType   OBJECT IDENTIFIER,
//     oeValue  ANY DEFINED BY oeType }
//
// Evidence of a kind the verifier has no reader for: the type and the value's element whole.
// Inside Evidence it stands under the IMPLICIT tag [2] (0xA2); the tagged forms take the
// buffer first and the tag second.
#ifndef SIGILO_PKIX_OTHEREVIDENCE_H
#define SIGILO_PKIX_OTHEREVIDENCE_H

class Buffer;
class OID;

class OtherEvidence {
public:
    OtherEvidence();
    ~OtherEvidence();

    OtherEvidence(const OtherEvidence&) = delete;
    OtherEvidence& operator=(const OtherEvidence&) = delete;

    OtherEvidence* clone() const;

    // New dotted text, or null.
    char* getOeType() const;
    const OID* _getOeType() const { return oeType; }
    void setOeType(const char* dotted);
    unsigned char isEqual(const char* dotted) const;
    // The value's element, header included: a copy the caller deletes, or null.
    unsigned char* getOeValue() const;
    const unsigned char* _getOeValue() const { return oeValue; }
    unsigned int getOeValueLen() const { return oeValueLen; }
    // Stores a copy of a whole DER element.
    void setOeValue(const unsigned char* der, unsigned int length);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(Buffer* b, unsigned char tag);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b, unsigned char tag);

private:
    unsigned int contentLength(Buffer* b);

    OID* oeType;
    unsigned char* oeValue;
    unsigned int oeValueLen;
};

#endif
