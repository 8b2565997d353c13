// GeneralName ::= CHOICE {
//     otherName                  [0] OtherName,              -- 0xA0
//     rfc822Name                 [1] IA5String,              -- 0x81
//     dNSName                    [2] IA5String,              -- 0x82
//     x400Address                [3] ORAddress,              -- 0xA3
//     directoryName              [4] Name,                   -- 0xA4, explicit
//     ediPartyName               [5] EDIPartyName,           -- 0xA5
//     uniformResourceIdentifier  [6] IA5String,              -- 0x86
//     iPAddress                  [7] OCTET STRING,           -- 0x87
//     registeredID               [8] OBJECT IDENTIFIER }     -- 0x88
//
// GeneralNames ::= SEQUENCE SIZE (1..MAX) OF GeneralName
//
// `choice` holds the tag byte of the alternative as read (0 in a new object) and the value
// lives in the field of that alternative. The x400Address is not parsed: its content is kept as
// bytes. A text alternative with a zero byte inside is refused (see pkix::readText).
#ifndef SIGILO_PKIX_GENERALNAME_H
#define SIGILO_PKIX_GENERALNAME_H

#include "asn1/AsnList.h"

class Buffer;
class EDIPartyName;
class Name;
class OID;
class OtherName;

class GeneralName {
public:
    static constexpr unsigned char kOtherName = 0xA0;
    static constexpr unsigned char kRfc822Name = 0x81;
    static constexpr unsigned char kDNSName = 0x82;
    static constexpr unsigned char kX400Address = 0xA3;
    static constexpr unsigned char kDirectoryName = 0xA4;
    static constexpr unsigned char kEDIPartyName = 0xA5;
    static constexpr unsigned char kURI = 0x86;
    static constexpr unsigned char kIPAddress = 0x87;
    static constexpr unsigned char kRegisteredID = 0x88;

    GeneralName();
    ~GeneralName();

    GeneralName(const GeneralName&) = delete;
    GeneralName& operator=(const GeneralName&) = delete;

    GeneralName* clone() const;

    unsigned char getChoice() const { return choice; }

    // Each setter clears the other alternatives and sets choice to its tag.
    void setOtherName(const OtherName* name);
    void setRfc822Name(const char* text);
    void setDNSName(const char* text);
    void setX400Address(const char* text);
    void setX400Address(const unsigned char* bytes, unsigned int length);
    void setDirectoryName(const Name* name);
    void setEDIPartyName(const EDIPartyName* name);
    // Stored percent-encoded: ASCII letters and digits and $-_.+!*'(),;/?:@& are copied, every
    // other byte becomes "%" and its value in upper-case hexadecimal by "%%%X". A byte below
    // 0x10 has a single digit and the format's terminator then ends the text at that point.
    void setUniformResourceIdentifier(const char* text);
    void setIPAddress(const unsigned char* address, unsigned int length);
    void setRegisteredID(const char* dotted);

    // Copies the caller deletes, or null when the choice is another alternative.
    OtherName* getOtherName() const;
    char* getRfc822Name() const;
    char* getDNSName() const;
    // The ORAddress content as NUL-terminated bytes; its length by getX400AddressLen.
    char* getX400Address() const;
    unsigned int getX400AddressLen() const;
    Name* getDirectoryName() const;
    const Name* _getDirectoryName() const;
    EDIPartyName* getEDIPartyName() const;
    // The stored, encoded text.
    char* getUniformResourceIdentifier() const;
    unsigned char* getIPAddress() const;
    unsigned int getIPAddressLen() const;
    // New dotted text.
    char* getRegisteredID() const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    // Dispatches on the tag of the next element; a tag outside the table fails.
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();
    void setText(unsigned char tag, const char* text);
    void setBytes(unsigned char tag, const unsigned char* p, unsigned int n);
    char* textOf(unsigned char tag) const;

    unsigned char choice;
    OtherName* otherName;
    char* text;
    unsigned char* bytes;
    unsigned int bytesLen;
    Name* directoryName;
    EDIPartyName* ediPartyName;
    OID* registeredID;
};

class GeneralNameList : public AsnList<GeneralName, GeneralNameList, kSequenceTag> {
public:
    void addGeneralName(const GeneralName* g) { addElementCopy(g); }
    GeneralName* getGeneralName(int i) const { return getElement(i); }
    unsigned char delGeneralName(int i);
    unsigned char substituteGeneralName(int i, const GeneralName* g);

    // The plain reader also fails when an element ends beyond the end of the list; the tagged
    // one (an IMPLICIT GeneralNames inside another structure) does not make that check.
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned char read(unsigned char tag, Buffer* b, bool checkEnd);
};

#endif
