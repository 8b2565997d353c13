// BindRequest ::= [APPLICATION 0] SEQUENCE {               -- RFC 4511, tag 0x60
//     version         INTEGER (1 .. 127),
//     name            LDAPDN,                              -- OCTET STRING
//     authentication  AuthenticationChoice }               -- simple [0] OCTET STRING: 0x80
//
// Only simple authentication is written and read; an empty name and password make the
// anonymous bind that a directory of CRLs expects.
#ifndef SIGILO_NET_BINDREQUEST_H
#define SIGILO_NET_BINDREQUEST_H

#include <string>

class Buffer;

class BindRequest {
public:
    static constexpr unsigned char kTag = 0x60;

    BindRequest() = default;
    BindRequest(int version, const char* name, const char* password);

    BindRequest* clone() const;

    int getVersion() const { return version; }
    const std::string& _getName() const { return name; }
    const std::string& _getPassword() const { return password; }

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    // The body behind the tag: version, name and a simple password, filling the element.
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    int version = 3;
    std::string name;
    std::string password;
};

#endif
