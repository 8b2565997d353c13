// SearchResultEntry ::= [APPLICATION 4] SEQUENCE {         -- RFC 4511, tag 0x64
//     objectName  LDAPDN,
//     attributes  PartialAttributeList }
// PartialAttributeList ::= SEQUENCE OF SEQUENCE {
//     type  AttributeDescription,
//     vals  SET OF AttributeValue }
//
// One entry of the answer to a search. The number of attributes and of values is capped, and
// each value by the longest string of the message readers.
#ifndef SIGILO_NET_SEARCHRESULTENTRY_H
#define SIGILO_NET_SEARCHRESULTENTRY_H

#include <string>
#include <vector>

class Buffer;

class SearchResultEntry {
public:
    static constexpr unsigned char kTag = 0x64;
    static constexpr unsigned int kMaxAttributes = 256;
    static constexpr unsigned int kMaxValues = 1024;

    struct Attribute {
        std::string type;
        std::vector<std::string> values;
    };

    SearchResultEntry() = default;

    SearchResultEntry* clone() const;

    void setObjectName(const char* dn) { objectName = dn != nullptr ? dn : ""; }
    // One attribute with its values; 0 past the caps.
    unsigned char addAttribute(const char* type, const std::vector<std::string>& values);

    const std::string& _getObjectName() const { return objectName; }
    const std::vector<Attribute>& _getAttributes() const { return attributes; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int attributeLength(Buffer* b, const Attribute& attribute);
    unsigned int valuesLength(Buffer* b, const Attribute& attribute);
    unsigned int listLength(Buffer* b);
    unsigned int contentLength(Buffer* b);

    std::string objectName;
    std::vector<Attribute> attributes;
};

#endif
