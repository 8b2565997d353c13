// ResponderID ::= CHOICE {                                -- RFC 2560
//     byName   [1] EXPLICIT Name,                         -- 0xA1
//     byKey    [2] EXPLICIT KeyHash }                     -- 0xA2
//
// KeyHash ::= OCTET STRING -- SHA-1 hash of the responder's public key (the BIT STRING's content)
#ifndef SIGILO_PKIX_RESPONDERID_H
#define SIGILO_PKIX_RESPONDERID_H

class Buffer;
class Name;

class ResponderID {
public:
    static constexpr unsigned char kByName = 0xA1;
    static constexpr unsigned char kByKey = 0xA2;

    ResponderID();
    ~ResponderID();

    ResponderID(const ResponderID&) = delete;
    ResponderID& operator=(const ResponderID&) = delete;

    ResponderID* clone() const;

    // kByName, kByKey, or 0 when empty.
    unsigned char getType() const { return type; }
    Name* getName() const;
    const Name* _getName() const { return name; }
    void setName(const Name* value);
    // The key hash, not copied; null unless by key.
    const unsigned char* _getKeyHash() const { return keyHash; }
    unsigned int getKeyHashLength() const { return keyHashLength; }
    void setKeyHash(const unsigned char* p, unsigned int n);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int innerLength(Buffer* b);
    void clear();

    unsigned char type;
    Name* name;
    unsigned char* keyHash;
    unsigned int keyHashLength;
};

#endif
