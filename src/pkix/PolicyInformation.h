// certificatePolicies ::= SEQUENCE SIZE (1..MAX) OF PolicyInformation
//
// PolicyInformation ::= SEQUENCE {
//     policyIdentifier  CertPolicyId,                 -- OBJECT IDENTIFIER
//     policyQualifiers  SEQUENCE SIZE (1..MAX) OF PolicyQualifierInfo OPTIONAL }
//
// PolicyQualifierInfo ::= SEQUENCE {
//     policyQualifierId  PolicyQualifierId,           -- OBJECT IDENTIFIER
//     qualifier          ANY DEFINED BY policyQualifierId }
//
// Qualifier ::= CHOICE { cPSuri CPSuri (IA5String), userNotice UserNotice }
//
// A CPS pointer in an IA5String is kept as text and a user notice is parsed; any other
// qualifier (or a CPS pointer of another string type) is kept as its whole element and written
// back as it came.
#ifndef SIGILO_PKIX_POLICYINFORMATION_H
#define SIGILO_PKIX_POLICYINFORMATION_H

#include "asn1/AsnList.h"

class Buffer;
class OID;
class UserNotice;

class PolicyQualifierInfo {
public:
    static constexpr const char* kCPS = "1.3.6.1.5.5.7.2.1";
    static constexpr const char* kUserNotice = "1.3.6.1.5.5.7.2.2";

    PolicyQualifierInfo();
    ~PolicyQualifierInfo();

    PolicyQualifierInfo(const PolicyQualifierInfo&) = delete;
    PolicyQualifierInfo& operator=(const PolicyQualifierInfo&) = delete;

    PolicyQualifierInfo* clone() const;

    // New dotted text, or null.
    char* getPolicyQualifierId() const;
    unsigned char isEqual(const char* dotted) const;
    // The CPS pointer as text, or null.
    char* getCPSuri() const;
    // The parsed user notice, or null.
    UserNotice* getUserNotice() const;
    const UserNotice* _getUserNotice() const { return userNotice; }
    // A CPS pointer under kCPS, or a user notice under kUserNotice.
    void setCPSuri(const char* uri);
    void setUserNotice(const UserNotice* notice);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clearQualifier();
    unsigned int contentLength(Buffer* b);

    OID* policyQualifierId;
    char* cpsURI;
    UserNotice* userNotice;
    unsigned char* raw;
    unsigned int rawLen;
};

class PolicyQualifierInfoList
    : public AsnList<PolicyQualifierInfo, PolicyQualifierInfoList, kSequenceTag> {
public:
    void addPolicyQualifierInfo(const PolicyQualifierInfo* q) { addElementCopy(q); }
    PolicyQualifierInfo* getPolicyQualifierInfo(int i) const { return getElement(i); }
};

class PolicyInformation {
public:
    PolicyInformation();
    explicit PolicyInformation(const char* policyIdentifier);
    ~PolicyInformation();

    PolicyInformation(const PolicyInformation&) = delete;
    PolicyInformation& operator=(const PolicyInformation&) = delete;

    PolicyInformation* clone() const;

    // New dotted text, or null.
    char* getPolicyIdentifier() const;
    void setPolicyIdentifier(const char* dotted);
    unsigned char isEqual(const char* dotted) const;
    // Null when the policy has no qualifiers.
    PolicyQualifierInfoList* getPolicyQualifiers() const;
    const PolicyQualifierInfoList* _getPolicyQualifiers() const { return policyQualifiers; }
    void setPolicyQualifiers(const PolicyQualifierInfoList* qualifiers);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* policyIdentifier;
    PolicyQualifierInfoList* policyQualifiers;
};

class PolicyInformationList
    : public AsnList<PolicyInformation, PolicyInformationList, kSequenceTag> {
public:
    void addPolicyInformation(const PolicyInformation* p) { addElementCopy(p); }
    PolicyInformation* getPolicyInformation(int i) const { return getElement(i); }
};

#endif
