// RevocationInfoChoice ::= CHOICE {
//     crl    CertificateList,
//     other  [1] IMPLICIT OtherRevocationInfoFormat }     -- 0xA1
//
// RevocationInfoChoices ::= SET OF RevocationInfoChoice   -- the CMS form
//
// The tag 0xA1 selects `other`; every other tag is read as a CertificateList, which then fails
// on its own if it is not one.
#ifndef SIGILO_PKIX_REVOCATIONINFOCHOICE_H
#define SIGILO_PKIX_REVOCATIONINFOCHOICE_H

#include "asn1/AsnList.h"

class Buffer;
class CertificateList;
class OtherRevocationInfoFormat;

class RevocationInfoChoice {
public:
    RevocationInfoChoice();
    ~RevocationInfoChoice();

    RevocationInfoChoice(const RevocationInfoChoice&) = delete;
    RevocationInfoChoice& operator=(const RevocationInfoChoice&) = delete;

    RevocationInfoChoice* clone() const;

    // Copies the caller deletes; null for the alternative not held. Setting one alternative
    // drops the other.
    CertificateList* getCrl() const;
    const CertificateList* _getCrl() const { return crl; }
    void setCrl(const CertificateList* list);
    OtherRevocationInfoFormat* getOther() const;
    const OtherRevocationInfoFormat* _getOther() const { return other; }
    void setOther(const OtherRevocationInfoFormat* info);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    void clear();

    CertificateList* crl;
    OtherRevocationInfoFormat* other;
};

class RevocationInfoChoiceSet
    : public AsnList<RevocationInfoChoice, RevocationInfoChoiceSet, kSetTag> {
public:
    void addRevocationInfoChoice(const RevocationInfoChoice* r) { addElementCopy(r); }
    RevocationInfoChoice* getRevocationInfoChoice(int i) const { return getElement(i); }
};

#endif
