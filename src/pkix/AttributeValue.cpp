#include "pkix/AttributeValue.h"

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

AttributeValue::AttributeValue() : value(nullptr), valueLen(0) {}

AttributeValue::AttributeValue(const unsigned char* p, unsigned int n) : AttributeValue() {
    setValue(p, n);
}

AttributeValue::~AttributeValue() {
    delete[] value;
}

AttributeValue* AttributeValue::clone() const {
    return new AttributeValue(value, valueLen);
}

unsigned char* AttributeValue::getValue() const {
    return pkix::copyBytes(value, valueLen);
}

void AttributeValue::setValue(const unsigned char* p, unsigned int n) {
    delete[] value;
    value = pkix::copyBytes(p, n);
    valueLen = p != nullptr ? n : 0;
}

unsigned int AttributeValue::getWrapLength(Buffer*) {
    return valueLen;
}

void AttributeValue::wrapASN1(Buffer* b) {
    if (value != nullptr && valueLen > 0) b->writeBytes(value, valueLen);
}

unsigned char AttributeValue::unwrapASN1(Buffer* b) {
    delete[] value;
    value = nullptr;
    valueLen = 0;
    return pkix::readRawElement(b, &value, &valueLen);
}
