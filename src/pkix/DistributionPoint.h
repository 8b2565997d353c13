// DistributionPoint ::= SEQUENCE {
//     distributionPoint  [0] DistributionPointName OPTIONAL,   -- 0xA0, explicit
//     reasons            [1] ReasonFlags OPTIONAL,             -- 0x81, BIT STRING
//     cRLIssuer          [2] GeneralNames OPTIONAL }           -- 0xA2
//
// CRLDistributionPoints ::= SEQUENCE SIZE (1..MAX) OF DistributionPoint
//
// The reasons are held in 32 bits in wire byte order: the first byte of the BIT STRING is the
// low byte of the field. reasonsLength is the count of bytes used and reasonsUnused the unused
// bits of the last. The all-ones value (kNoReasons) means absent; a new object starts there. A
// BIT STRING of more than four bytes does not fit and fails the read, as does one that would
// spell the all-ones value.
//
// Reading is lax: an empty SEQUENCE succeeds, the SEQUENCE may end after any element, and an
// unknown next tag ends the read with success.
#ifndef SIGILO_PKIX_DISTRIBUTIONPOINT_H
#define SIGILO_PKIX_DISTRIBUTIONPOINT_H

#include "asn1/AsnList.h"

class Buffer;
class DistributionPointName;
class GeneralNameList;

class DistributionPoint {
public:
    static constexpr unsigned int kNoReasons = 0xFFFFFFFF;

    DistributionPoint();
    ~DistributionPoint();

    DistributionPoint(const DistributionPoint&) = delete;
    DistributionPoint& operator=(const DistributionPoint&) = delete;

    DistributionPoint* clone() const;

    DistributionPointName* getDistributionPoint() const;
    const DistributionPointName* _getDistributionPoint() const { return distributionPoint; }
    void setDistributionPoint(const DistributionPointName* name);

    // The field in wire byte order, kNoReasons when absent.
    unsigned int getReasons() const { return reasons; }
    unsigned int getReasonsLength() const { return reasonsLength; }
    unsigned char getReasonsUnused() const { return reasonsUnused; }
    // Stores the value byte-swapped (so that its most significant byte goes first on the
    // wire), drops trailing zero bytes, and counts the trailing zero bits of the last byte as
    // unused. kNoReasons makes the reasons absent.
    void setReasons(unsigned int value);

    GeneralNameList* getCRLIssuer() const;
    const GeneralNameList* _getCRLIssuer() const { return cRLIssuer; }
    void setCRLIssuer(const GeneralNameList* issuer);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);
    // The bytes of the reasons as they go on the wire.
    void reasonBytes(unsigned char out[4]) const;

    DistributionPointName* distributionPoint;
    unsigned int reasons;
    unsigned int reasonsLength;
    unsigned char reasonsUnused;
    GeneralNameList* cRLIssuer;
};

class DistributionPointList
    : public AsnList<DistributionPoint, DistributionPointList, kSequenceTag> {
public:
    void addDistributionPoint(const DistributionPoint* d) { addElementCopy(d); }
    DistributionPoint* getDistributionPoint(int i) const { return getElement(i); }
    unsigned char delDistributionPoint(int i);
    unsigned char substituteDistributionPoint(int i, const DistributionPoint* d);
};

#endif
