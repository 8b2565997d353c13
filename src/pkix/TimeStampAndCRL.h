// TimeStampAndCRL ::= SEQUENCE {                         -- RFC 5544
//     timeStamp  TimeStampToken,
//     crl        CertificateList OPTIONAL }   -- the CRL of the authority's certificate
//
// TimeStampTokenEvidence ::= SEQUENCE SIZE (1..MAX) OF TimeStampAndCRL
//
// The list is the tstEvidence of a TimeStampedData, under the IMPLICIT tag [0] (0xA0). Its
// tagged forms take the buffer first and the tag second. The first entry stamps the data; each
// further one stamps the entry before it. Both read definite and indefinite lengths, and
// answer 1 or 0 (see TimeStampToken).
#ifndef SIGILO_PKIX_TIMESTAMPANDCRL_H
#define SIGILO_PKIX_TIMESTAMPANDCRL_H

#include "asn1/AsnList.h"

class Buffer;
class CertificateList;
class TimeStampToken;

class TimeStampAndCRL {
public:
    TimeStampAndCRL();
    ~TimeStampAndCRL();

    TimeStampAndCRL(const TimeStampAndCRL&) = delete;
    TimeStampAndCRL& operator=(const TimeStampAndCRL&) = delete;

    TimeStampAndCRL* clone() const;

    TimeStampToken* getTimeStamp() const;
    TimeStampToken* _getTimeStamp() const { return timeStamp; }
    void setTimeStamp(const TimeStampToken* token);
    CertificateList* getCrl() const;
    const CertificateList* _getCrl() const { return crl; }
    void setCrl(const CertificateList* list);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    TimeStampToken* timeStamp;
    CertificateList* crl;
};

class TimeStampAndCRLList : public AsnList<TimeStampAndCRL, TimeStampAndCRLList, kSequenceTag> {
public:
    using AsnList::unwrapASN1;
    using AsnList::wrapASN1;

    void addTimeStampAndCRL(const TimeStampAndCRL* entry) { addElementCopy(entry); }
    TimeStampAndCRL* getTimeStampAndCRL(int i) const { return getElement(i); }

    void wrapASN1(Buffer* b, unsigned char tag) { AsnList::wrapASN1(tag, b); }
    unsigned char unwrapASN1(Buffer* b, unsigned char tag) { return AsnList::unwrapASN1(tag, b); }
};

#endif
