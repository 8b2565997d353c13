// EDIPartyName ::= SEQUENCE {
//     nameAssigner  [0] DirectoryString OPTIONAL,
//     partyName     [1] DirectoryString }
//
// Both are kept as text, read as strings under the tags 0x80 and 0x81; partyName is required.
#ifndef SIGILO_PKIX_EDIPARTYNAME_H
#define SIGILO_PKIX_EDIPARTYNAME_H

class Buffer;

class EDIPartyName {
public:
    EDIPartyName();
    ~EDIPartyName();

    EDIPartyName(const EDIPartyName&) = delete;
    EDIPartyName& operator=(const EDIPartyName&) = delete;

    EDIPartyName* clone() const;

    // New copies, or null.
    char* getNameAssigner() const;
    char* getPartyName() const;
    void setNameAssigner(const char* text);
    void setPartyName(const char* text);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b) { wrapASN1(0x30, b); }
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b) { return unwrapASN1(0x30, b); }
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    char* nameAssigner;
    char* partyName;
};

#endif
