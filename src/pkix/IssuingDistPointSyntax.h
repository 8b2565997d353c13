// IssuingDistributionPoint ::= SEQUENCE {
//     distributionPoint           [0] DistributionPointName OPTIONAL,   -- 0xA0, explicit
//     onlyContainsUserCerts       [1] BOOLEAN DEFAULT FALSE,           -- 0x81
//     onlyContainsCACerts         [2] BOOLEAN DEFAULT FALSE,           -- 0x82
//     onlySomeReasons             [3] ReasonFlags OPTIONAL,            -- 0x83
//     indirectCRL                 [4] BOOLEAN DEFAULT FALSE,           -- 0x84
//     onlyContainsAttributeCerts  [5] BOOLEAN DEFAULT FALSE }          -- 0x85
//
// The flags default to 0 and are written only when set. Reading: an empty SEQUENCE succeeds
// and the SEQUENCE may end after any element; the elements are taken in order, each when its
// tag comes, except the last, which is read without a test, so that an unknown tag at that
// point fails the read. The unused bits of onlySomeReasons are cleared.
#ifndef SIGILO_PKIX_ISSUINGDISTPOINTSYNTAX_H
#define SIGILO_PKIX_ISSUINGDISTPOINTSYNTAX_H

class Buffer;
class DistributionPointName;

class IssuingDistPointSyntax {
public:
    IssuingDistPointSyntax();
    ~IssuingDistPointSyntax();

    IssuingDistPointSyntax(const IssuingDistPointSyntax&) = delete;
    IssuingDistPointSyntax& operator=(const IssuingDistPointSyntax&) = delete;

    IssuingDistPointSyntax* clone() const;

    DistributionPointName* getDistributionPoint() const;
    const DistributionPointName* _getDistributionPoint() const { return distributionPoint; }
    void setDistributionPoint(const DistributionPointName* name);

    unsigned char getOnlyContainsUserCerts() const { return onlyContainsUserCerts; }
    unsigned char getOnlyContainsCACerts() const { return onlyContainsCACerts; }
    unsigned char getIndirectCRL() const { return indirectCRL; }
    unsigned char getOnlyContainsAttributeCerts() const { return onlyContainsAttributeCerts; }
    void setOnlyContainsUserCerts(unsigned char v) { onlyContainsUserCerts = v; }
    void setOnlyContainsCACerts(unsigned char v) { onlyContainsCACerts = v; }
    void setIndirectCRL(unsigned char v) { indirectCRL = v; }
    void setOnlyContainsAttributeCerts(unsigned char v) { onlyContainsAttributeCerts = v; }

    // A copy of the reason bits the caller deletes, or null when absent.
    unsigned char* getOnlySomeReasons() const;
    unsigned int getOnlySomeReasonsLen() const { return reasonsLen; }
    unsigned char getOnlySomeReasonsUnused() const { return reasonsUnused; }
    void setOnlySomeReasons(const unsigned char* bits, unsigned int length, unsigned char unused);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    DistributionPointName* distributionPoint;
    unsigned char onlyContainsUserCerts;
    unsigned char onlyContainsCACerts;
    unsigned char* onlySomeReasons;
    unsigned int reasonsLen;
    unsigned char reasonsUnused;
    unsigned char indirectCRL;
    unsigned char onlyContainsAttributeCerts;
};

#endif
