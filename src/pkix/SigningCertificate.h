// SigningCertificate ::= SEQUENCE {
//     certs     SEQUENCE OF ESSCertID,
//     policies  SEQUENCE OF PolicyInformation OPTIONAL }
//
// SigningCertificateV2 ::= SEQUENCE {
//     certs     SEQUENCE OF ESSCertIDv2,
//     policies  SEQUENCE OF PolicyInformation OPTIONAL }
//
// The first form keeps a single PolicyInformation where the standard has a list: its reader
// reads one element in that place, the second form's reader a list. Both stop with success when
// their SEQUENCE ends after the identifiers.
#ifndef SIGILO_PKIX_SIGNINGCERTIFICATE_H
#define SIGILO_PKIX_SIGNINGCERTIFICATE_H

class Buffer;
class ESSCertIDList;
class ESSCertIDV2List;
class PolicyInformation;
class PolicyInformationList;

class SigningCertificate {
public:
    SigningCertificate();
    ~SigningCertificate();

    SigningCertificate(const SigningCertificate&) = delete;
    SigningCertificate& operator=(const SigningCertificate&) = delete;

    SigningCertificate* clone() const;

    ESSCertIDList* getCerts() const;
    const ESSCertIDList* _getCerts() const { return certs; }
    void setCerts(const ESSCertIDList* list);
    PolicyInformation* getPolicies() const;
    const PolicyInformation* _getPolicies() const { return policies; }
    void setPolicies(const PolicyInformation* policy);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    ESSCertIDList* certs;
    PolicyInformation* policies;
};

class SigningCertificateV2 {
public:
    SigningCertificateV2();
    ~SigningCertificateV2();

    SigningCertificateV2(const SigningCertificateV2&) = delete;
    SigningCertificateV2& operator=(const SigningCertificateV2&) = delete;

    SigningCertificateV2* clone() const;

    ESSCertIDV2List* getCerts() const;
    const ESSCertIDV2List* _getCerts() const { return certs; }
    void setCerts(const ESSCertIDV2List* list);
    PolicyInformationList* getPolicies() const;
    const PolicyInformationList* _getPolicies() const { return policies; }
    void setPolicies(const PolicyInformationList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    ESSCertIDV2List* certs;
    PolicyInformationList* policies;
};

#endif
