#include "pkix/OtherName.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "asn1/UTF8.h"
#include "pkix/ReadSteps.h"

OtherName::OtherName()
    : typeID(nullptr), principal(nullptr), text(nullptr), textLen(0), raw(nullptr), rawLen(0) {}

OtherName::~OtherName() {
    delete typeID;
    clearValue();
}

void OtherName::clearValue() {
    delete principal;
    principal = nullptr;
    delete[] text;
    text = nullptr;
    textLen = 0;
    delete[] raw;
    raw = nullptr;
    rawLen = 0;
}

OtherName* OtherName::clone() const {
    OtherName* copy = new OtherName();
    copy->typeID = typeID != nullptr ? typeID->clone() : nullptr;
    copy->principal = principal != nullptr ? principal->clone() : nullptr;
    if (text != nullptr) {
        copy->text = new char[textLen + 1];
        memcpy(copy->text, text, textLen + 1);
        copy->textLen = textLen;
    }
    copy->raw = pkix::copyBytes(raw, rawLen);
    copy->rawLen = rawLen;
    return copy;
}

char* OtherName::getTypeID() const {
    return typeID != nullptr ? typeID->getValue() : nullptr;
}

void OtherName::setTypeID(const char* dotted) {
    delete typeID;
    typeID = dotted != nullptr ? new OID(dotted) : nullptr;
    clearValue();
}

void OtherName::setValue(const void* value) {
    clearValue();
    if (value == nullptr || typeID == nullptr) return;
    if (typeID->isEqual(kUserPrincipalName)) {
        principal = static_cast<const UTF8*>(value)->clone();
    } else if (typeID->isEqual(kGUID)) {
        text = pkix::copyText(static_cast<const char*>(value));
        textLen = static_cast<unsigned int>(strlen(text));
    }
}

void* OtherName::getValue() const {
    if (principal != nullptr) return principal->clone();
    return getTextValue();
}

char* OtherName::getTextValue() const {
    if (text == nullptr) return nullptr;
    char* copy = new char[textLen + 1];
    memcpy(copy, text, textLen + 1);
    return copy;
}

// ---- BER ----

unsigned int OtherName::valueLength(Buffer* b) {
    if (principal != nullptr) return principal->getWrapLength(b);
    if (text != nullptr) return b->lenASN1(text, textLen);
    return raw != nullptr ? rawLen : 0;
}

unsigned int OtherName::contentLength(Buffer* b) {
    unsigned int sum = typeID != nullptr ? b->lenASN1(typeID) : 0;
    unsigned int value = valueLength(b);
    if (principal != nullptr || text != nullptr || raw != nullptr) {
        sum += b->lenASN1Header(0xA0, value) + value;
    }
    return sum;
}

unsigned int OtherName::getWrapLength(Buffer* b) {
    unsigned int content = contentLength(b);
    return b->lenASN1Header(0x30, content) + content;
}

void OtherName::wrapASN1(unsigned char tag, Buffer* b) {
    b->writeASN1Header(tag, contentLength(b));
    if (typeID != nullptr) b->writeASN1(typeID);
    if (principal == nullptr && text == nullptr && raw == nullptr) return;
    b->writeASN1Header(0xA0, valueLength(b));
    if (principal != nullptr) {
        principal->wrapASN1(b);
    } else if (text != nullptr) {
        b->writeASN1(text, textLen);
    } else {
        b->writeBytes(raw, rawLen);
    }
}

unsigned char OtherName::unwrapASN1(unsigned char tag, Buffer* b) {
    clearValue();
    unsigned char t;
    unsigned int len;
    if (!b->readASN1Header(&t, &len) || t != tag) return 0;
    delete typeID;
    typeID = new OID();
    if (!b->readASN1(typeID)) return 0;
    if (!b->peekASN1Header(&t, &len) || t != 0xA0) return 0;
    b->readASN1Header(&t, &len);
    if (typeID->isEqual(kUserPrincipalName)) {
        principal = new UTF8();
        return principal->unwrapASN1(b);
    }
    if (typeID->isEqual(kGUID)) {
        if (!b->readASN1(&text, &textLen)) return 0;
        if (text == nullptr) text = pkix::copyText("");
        return 1;
    }
    return pkix::readRawElement(b, &raw, &rawLen);
}
