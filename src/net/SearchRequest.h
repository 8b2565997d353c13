// SearchRequest ::= [APPLICATION 3] SEQUENCE {             -- RFC 4511, tag 0x63
//     baseObject    LDAPDN,
//     scope         ENUMERATED { baseObject (0), singleLevel (1), wholeSubtree (2) },
//     derefAliases  ENUMERATED,
//     sizeLimit     INTEGER,
//     timeLimit     INTEGER,
//     typesOnly     BOOLEAN,
//     filter        Filter,
//     attributes    SEQUENCE OF LDAPString }
//
// Two filters are enough to fetch a CRL from a directory: an equality match
// ([3] AttributeValueAssertion, 0xA3) of one attribute and value, and a present test
// ([7] AttributeDescription, 0x87) of one attribute.
#ifndef SIGILO_NET_SEARCHREQUEST_H
#define SIGILO_NET_SEARCHREQUEST_H

#include <string>
#include <vector>

class Buffer;

class SearchRequest {
public:
    static constexpr unsigned char kTag = 0x63;
    static constexpr unsigned char kEqualityMatch = 0xA3;
    static constexpr unsigned char kPresent = 0x87;
    static constexpr int kScopeBase = 0;
    static constexpr int kScopeOne = 1;
    static constexpr int kScopeSub = 2;
    // Attributes asked for in one request.
    static constexpr unsigned int kMaxAttributes = 64;

    SearchRequest();

    SearchRequest* clone() const;

    void setBaseObject(const char* dn) { baseObject = dn != nullptr ? dn : ""; }
    void setScope(int s) { scope = s; }
    void setDerefAliases(int d) { derefAliases = d; }
    void setSizeLimit(int n) { sizeLimit = n; }
    void setTimeLimit(int n) { timeLimit = n; }
    void setTypesOnly(unsigned char on) { typesOnly = on; }
    // The equality filter of the attribute and value.
    void setEqualityFilter(const char* attribute, const char* value);
    // The present filter of the attribute.
    void setPresentFilter(const char* attribute);
    // 0 when kMaxAttributes are there.
    unsigned char addAttribute(const char* attribute);

    const std::string& _getBaseObject() const { return baseObject; }
    int getScope() const { return scope; }
    unsigned char getFilterTag() const { return filterTag; }
    const std::string& _getFilterAttribute() const { return filterAttribute; }
    const std::string& _getFilterValue() const { return filterValue; }
    const std::vector<std::string>& _getAttributes() const { return attributes; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    // Reads back the two filters above; any other is refused.
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int filterLength(Buffer* b);
    unsigned int attributesLength(Buffer* b);
    unsigned int contentLength(Buffer* b);

    std::string baseObject;
    int scope;
    int derefAliases;
    int sizeLimit;
    int timeLimit;
    unsigned char typesOnly;
    unsigned char filterTag;
    std::string filterAttribute;
    std::string filterValue;
    std::vector<std::string> attributes;
};

#endif
