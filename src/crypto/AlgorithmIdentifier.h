// AlgorithmIdentifier ::= SEQUENCE {
//     algorithm   OBJECT IDENTIFIER,
//     parameters  ANY DEFINED BY algorithm OPTIONAL }
//
// useParameters decides how the parameters are written: at 255 they are written (as NULL when
// there is no parameter object), below 255 nothing follows the OID. Reading sets it to 0 when
// nothing follows the OID and to 255 when something does, so that an absent field and a NULL
// both survive a round trip as they came.
#ifndef SIGILO_CRYPTO_ALGORITHMIDENTIFIER_H
#define SIGILO_CRYPTO_ALGORITHMIDENTIFIER_H

#include "asn1/AsnList.h"

class AlgorithmParameter;
class Buffer;
class OID;

class AlgorithmIdentifier {
public:
    AlgorithmIdentifier();
    explicit AlgorithmIdentifier(const char* dotted);
    explicit AlgorithmIdentifier(const OID* algorithm);
    AlgorithmIdentifier(const char* dotted, const AlgorithmParameter* parameters);
    ~AlgorithmIdentifier();

    AlgorithmIdentifier(const AlgorithmIdentifier&) = delete;
    AlgorithmIdentifier& operator=(const AlgorithmIdentifier&) = delete;

    AlgorithmIdentifier* clone() const;

    // New dotted text the caller deletes; null when there is no OID.
    char* getAlgorithm() const;
    OID* getAlgorithmOID() const;
    OID* _getAlgorithm() const { return algorithm; }
    void setAlgorithm(const char* dotted);
    void setAlgorithm(const OID* oid);

    AlgorithmParameter* getParameters() const;
    AlgorithmParameter* _getParameters() const { return parameters; }
    void setParameters(const AlgorithmParameter* p);

    unsigned char getUseParameters() const { return useParameters; }
    void setUseParameters(unsigned char use) { useParameters = use; }

    // Equality of the algorithm OID; parameters take no part.
    unsigned char isEqual(const char* dotted) const;
    unsigned char isEqual(const OID* oid) const;
    unsigned char isEqual(const AlgorithmIdentifier* other) const;

    unsigned int getWrapLength(Buffer* b);
    void wrapASN1(Buffer* b);
    void wrapASN1(unsigned char tag, Buffer* b);
    unsigned char unwrapASN1(Buffer* b);
    unsigned char unwrapASN1(unsigned char tag, Buffer* b);

private:
    unsigned int contentLength(Buffer* b);

    OID* algorithm;
    AlgorithmParameter* parameters;
    unsigned char useParameters;
};

// AlgorithmIdentifiers ::= SEQUENCE OF AlgorithmIdentifier
class AlgorithmIdentifierList
    : public AsnList<AlgorithmIdentifier, AlgorithmIdentifierList, kSequenceTag> {
public:
    void addAlgorithm(const AlgorithmIdentifier* a) { addElementCopy(a); }
    void addAlgorithm(const char* dotted) { adoptElement(new AlgorithmIdentifier(dotted)); }
    AlgorithmIdentifier* getAlgorithm(int i) const { return getElement(i); }
    // True when some element names the algorithm.
    unsigned char contains(const char* dotted) const;
};

// DigestAlgorithmIdentifiers ::= SET OF AlgorithmIdentifier
class AlgorithmIdentifierSet
    : public AsnList<AlgorithmIdentifier, AlgorithmIdentifierSet, kSetTag> {
public:
    void addAlgorithm(const AlgorithmIdentifier* a) { addElementCopy(a); }
    void addAlgorithm(const char* dotted) { adoptElement(new AlgorithmIdentifier(dotted)); }
    AlgorithmIdentifier* getAlgorithm(int i) const { return getElement(i); }
    unsigned char contains(const char* dotted) const;
};

#endif
