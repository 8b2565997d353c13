#include "pkix/Attribute.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/AttributeValue.h"

Attribute::Attribute() : type(nullptr), values(nullptr) {}

Attribute::~Attribute() {
    delete type;
    delete values;
}

Attribute* Attribute::clone() const {
    Attribute* copy = new Attribute();
    copy->type = type != nullptr ? type->clone() : nullptr;
    copy->values = values != nullptr ? values->clone() : nullptr;
    return copy;
}

OID* Attribute::getType() const {
    return type != nullptr ? type->clone() : nullptr;
}

void Attribute::setType(const char* dotted) {
    delete type;
    type = dotted != nullptr ? new OID(dotted) : nullptr;
}

void Attribute::setType(const OID* oid) {
    OID* copy = oid != nullptr ? oid->clone() : nullptr;
    delete type;
    type = copy;
}

AttributeValueSet* Attribute::getValues() const {
    return values != nullptr ? values->clone() : nullptr;
}

void Attribute::setValues(const AttributeValueSet* set) {
    AttributeValueSet* copy = set != nullptr ? set->clone() : nullptr;
    delete values;
    values = copy;
}

unsigned char Attribute::isEqual(const char* dotted) const {
    return type != nullptr && dotted != nullptr ? type->isEqual(dotted) : 0;
}

unsigned char Attribute::isEqual(const OID* oid) const {
    return type != nullptr && oid != nullptr ? type->isEqual(oid) : 0;
}

unsigned int Attribute::contentLength(Buffer* b) {
    return (type != nullptr ? b->lenASN1(type) : 0) +
           (values != nullptr ? values->getWrapLength(b) : 0);
}

unsigned int Attribute::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void Attribute::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (type != nullptr) b->writeASN1(type);
    if (values != nullptr) values->wrapASN1(b);
}

unsigned char Attribute::unwrapASN1(Buffer* b) {
    unsigned int len;
    unsigned char definite;
    if (!b->readASN1Sequence(&len, &definite)) return 0;
    delete type;
    type = new OID();
    if (!b->readASN1(type)) return 0;
    delete values;
    values = new AttributeValueSet();
    if (!values->unwrapASN1(b)) return 0;
    if (!definite) return b->readEOC() ? 255 : 0;
    return 255;
}
