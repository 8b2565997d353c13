// OID: an OBJECT IDENTIFIER as up to 64 arcs, position 0 first. Its BER form is read and
// written by Buffer.
#ifndef SIGILO_ASN1_OID_H
#define SIGILO_ASN1_OID_H

class OID {
public:
    static constexpr int kMaxArcs = 64;
    // Size of the text getValue returns.
    static constexpr unsigned int kTextSize = 121;

    OID();
    explicit OID(const char* dotted);

    // Replaces the arcs by those of the dotted text. More than 64 arcs are cut and raise the
    // overflow flag; the result is true when the flag is clear.
    unsigned char setValue(const char* dotted);
    // New dotted text the caller deletes. An empty OID gives "0.0.0.0.0.0.0.".
    char* getValue() const;

    unsigned int getPos(int i) const;
    unsigned char setPos(int i, unsigned int value);
    int getLength() const { return length; }
    unsigned char setLength(int n);
    unsigned char hasOverflow() const { return overflow; }

    void printValue() const;
    OID* clone() const;

    // False whenever this OID overflowed; otherwise same length and same arcs.
    unsigned char isEqual(const char* dotted) const;
    unsigned char isEqual(const OID* other) const;
    bool operator==(const OID& other) const { return isEqual(&other) != 0; }
    bool operator==(const char* dotted) const { return isEqual(dotted) != 0; }

    // True when this OID begins with all the arcs of the other.
    unsigned char hasPrefix(const char* dotted) const;
    unsigned char hasPrefix(const OID* other) const;

private:
    unsigned int arcs[kMaxArcs];
    int length;
    unsigned char overflow;
};

#endif
