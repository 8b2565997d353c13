#include "crypto/AlgorithmIdentifier.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "crypto/AlgorithmParameter.h"

AlgorithmIdentifier::AlgorithmIdentifier()
    : algorithm(nullptr), parameters(nullptr), useParameters(255) {}

AlgorithmIdentifier::AlgorithmIdentifier(const char* dotted) : AlgorithmIdentifier() {
    setAlgorithm(dotted);
}

AlgorithmIdentifier::AlgorithmIdentifier(const OID* oid) : AlgorithmIdentifier() {
    setAlgorithm(oid);
}

AlgorithmIdentifier::AlgorithmIdentifier(const char* dotted, const AlgorithmParameter* p)
    : AlgorithmIdentifier(dotted) {
    setParameters(p);
}

AlgorithmIdentifier::~AlgorithmIdentifier() {
    delete algorithm;
    delete parameters;
}

AlgorithmIdentifier* AlgorithmIdentifier::clone() const {
    AlgorithmIdentifier* copy = new AlgorithmIdentifier(algorithm);
    copy->setParameters(parameters);
    copy->useParameters = useParameters;
    return copy;
}

char* AlgorithmIdentifier::getAlgorithm() const {
    return algorithm != nullptr ? algorithm->getValue() : nullptr;
}

OID* AlgorithmIdentifier::getAlgorithmOID() const {
    return algorithm != nullptr ? algorithm->clone() : nullptr;
}

void AlgorithmIdentifier::setAlgorithm(const char* dotted) {
    delete algorithm;
    algorithm = dotted != nullptr ? new OID(dotted) : nullptr;
}

void AlgorithmIdentifier::setAlgorithm(const OID* oid) {
    delete algorithm;
    algorithm = oid != nullptr ? oid->clone() : nullptr;
}

AlgorithmParameter* AlgorithmIdentifier::getParameters() const {
    return parameters != nullptr ? parameters->clone() : nullptr;
}

void AlgorithmIdentifier::setParameters(const AlgorithmParameter* p) {
    delete parameters;
    parameters = p != nullptr ? p->clone() : nullptr;
}

unsigned char AlgorithmIdentifier::isEqual(const char* dotted) const {
    return algorithm != nullptr ? algorithm->isEqual(dotted) : 0;
}

unsigned char AlgorithmIdentifier::isEqual(const OID* oid) const {
    return algorithm != nullptr ? algorithm->isEqual(oid) : 0;
}

unsigned char AlgorithmIdentifier::isEqual(const AlgorithmIdentifier* other) const {
    return other != nullptr ? isEqual(other->algorithm) : 0;
}

unsigned int AlgorithmIdentifier::contentLength(Buffer* b) {
    unsigned int sum = algorithm != nullptr ? b->lenASN1(algorithm) : 0;
    if (useParameters == 255) sum += parameters != nullptr ? parameters->getWrapLength(b)
                                                            : b->lenNULL();
    return sum;
}

unsigned int AlgorithmIdentifier::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void AlgorithmIdentifier::wrapASN1(Buffer* b) { wrapASN1(0x30, b); }

void AlgorithmIdentifier::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (algorithm != nullptr) b->writeASN1(algorithm);
    if (useParameters == 255) {
        if (parameters != nullptr) {
            parameters->wrapASN1(b);
        } else {
            b->writeNULL();
        }
    }
}

unsigned char AlgorithmIdentifier::unwrapASN1(Buffer* b) { return unwrapASN1(0x30, b); }

unsigned char AlgorithmIdentifier::unwrapASN1(unsigned char tag, Buffer* b) {
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag) return 0;
    unsigned int end = b->getReadPos() + (len < b->remaining() ? len : b->remaining());
    delete algorithm;
    algorithm = new OID();
    if (!b->readASN1(algorithm)) return 0;
    delete parameters;
    parameters = nullptr;
    if (b->getReadPos() >= end) {
        useParameters = 0;
        return 255;
    }
    useParameters = 255;
    if (b->peekByte() == 0x05) return b->readNULL();
    parameters = new RawAlgorithmParameter();
    return parameters->unwrapASN1(b);
}

static unsigned char listContains(const Vector* list, const char* dotted) {
    OID wanted(dotted);
    for (int i = 0; i < list->getCount(); ++i) {
        auto* a = static_cast<AlgorithmIdentifier*>(list->elementAt(i));
        if (a != nullptr && a->isEqual(&wanted)) return 255;
    }
    return 0;
}

unsigned char AlgorithmIdentifierList::contains(const char* dotted) const {
    return listContains(this, dotted);
}

unsigned char AlgorithmIdentifierSet::contains(const char* dotted) const {
    return listContains(this, dotted);
}
