// OtherRevocationInfoFormat ::= SEQUENCE {
//     otherRevInfoFormat  OBJECT IDENTIFIER,
//     otherRevInfo        ANY DEFINED BY otherRevInfoFormat }
//
// The information itself is opaque to this product: when read it is kept as the DER of the
// element (a byte array with its length), and a pointer set by a caller is stored and handed
// back as it is, never freed or written. getWrapLength counts the OID alone, inside a SEQUENCE.
#ifndef SIGILO_PKIX_OTHERREVOCATIONINFOFORMAT_H
#define SIGILO_PKIX_OTHERREVOCATIONINFOFORMAT_H

class Buffer;
class OID;

class OtherRevocationInfoFormat {
public:
    OtherRevocationInfoFormat();
    ~OtherRevocationInfoFormat();

    OtherRevocationInfoFormat(const OtherRevocationInfoFormat&) = delete;
    OtherRevocationInfoFormat& operator=(const OtherRevocationInfoFormat&) = delete;

    OtherRevocationInfoFormat* clone() const;

    // A copy the caller deletes, or null.
    OID* getOtherRevInfoFormat() const;
    void setOtherRevInfoFormat(const OID* oid);
    void setOtherRevInfoFormat(const char* dotted);
    // The caller's pointer, or the DER of what was read (see getOtherRevInfoLength).
    void* getOtherRevInfo() const { return otherRevInfo != nullptr ? otherRevInfo : readInfo; }
    void setOtherRevInfo(void* info) { otherRevInfo = info; }
    unsigned int getOtherRevInfoLength() const { return readInfoLength; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    // Under an implicit tag in place of the SEQUENCE header (0xA1 as a RevocationInfoChoice).
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    OID* otherRevInfoFormat;
    void* otherRevInfo;       // not owned
    unsigned char* readInfo;  // owned
    unsigned int readInfoLength;
};

#endif
