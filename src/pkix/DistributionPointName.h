// DistributionPointName ::= CHOICE {
//     fullName                 [0] GeneralNames,                -- 0xA0
//     nameRelativeToCRLIssuer  [1] RelativeDistinguishedName }  -- 0xA1
//
// One pointer per alternative, at most one set: each setter clears the other. A tag other than
// the two fails the read.
#ifndef SIGILO_PKIX_DISTRIBUTIONPOINTNAME_H
#define SIGILO_PKIX_DISTRIBUTIONPOINTNAME_H

class Buffer;
class GeneralNameList;
class RelativeDistinguishedName;

class DistributionPointName {
public:
    DistributionPointName();
    ~DistributionPointName();

    DistributionPointName(const DistributionPointName&) = delete;
    DistributionPointName& operator=(const DistributionPointName&) = delete;

    DistributionPointName* clone() const;

    GeneralNameList* getFullName() const;
    const GeneralNameList* _getFullName() const { return fullName; }
    void setFullName(const GeneralNameList* names);
    RelativeDistinguishedName* getNameRelativeToCRLIssuer() const;
    const RelativeDistinguishedName* _getNameRelativeToCRLIssuer() const { return relative; }
    void setNameRelativeToCRLIssuer(const RelativeDistinguishedName* rdn);

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    unsigned char unwrapASN1(Buffer* b);

private:
    GeneralNameList* fullName;
    RelativeDistinguishedName* relative;
};

#endif
