// LDAPResult ::= SEQUENCE {                                -- RFC 4511
//     resultCode         ENUMERATED,
//     matchedDN          LDAPDN,
//     diagnosticMessage  LDAPString,
//     referral       [3] Referral OPTIONAL }
//
// The body of BindResponse ([APPLICATION 1], 0x61) and SearchResultDone ([APPLICATION 5],
// 0x65), and of every other response; the element's tag is the caller's. A referral and any
// field a later version adds are skipped.
#ifndef SIGILO_NET_LDAPRESULT_H
#define SIGILO_NET_LDAPRESULT_H

#include <string>

class Buffer;

class LDAPResult {
public:
    static constexpr int kSuccess = 0;

    LDAPResult() = default;
    LDAPResult(int resultCode, const char* matchedDN, const char* diagnosticMessage);

    LDAPResult* clone() const;

    int getResultCode() const { return resultCode; }
    const std::string& _getMatchedDN() const { return matchedDN; }
    const std::string& _getDiagnosticMessage() const { return diagnosticMessage; }

    // Under the given tag.
    unsigned int getWrapLength(Buffer* b, unsigned char tag);
    void wrapASN1(Buffer* b, unsigned char tag);
    // The element, whatever its tag, which goes to *tag.
    unsigned char unwrapASN1(Buffer* b, unsigned char* tag);

private:
    unsigned int contentLength(Buffer* b);

    int resultCode = -1;
    std::string matchedDN;
    std::string diagnosticMessage;
};

#endif
