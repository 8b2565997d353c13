#include "pkix/GeneralName.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/EDIPartyName.h"
#include "pkix/ListSteps.h"
#include "pkix/Name.h"
#include "pkix/OtherName.h"
#include "pkix/ReadSteps.h"

GeneralName::GeneralName()
    : choice(0),
      otherName(nullptr),
      text(nullptr),
      bytes(nullptr),
      bytesLen(0),
      directoryName(nullptr),
      ediPartyName(nullptr),
      registeredID(nullptr) {}

GeneralName::~GeneralName() {
    clear();
}

void GeneralName::clear() {
    delete otherName;
    otherName = nullptr;
    delete[] text;
    text = nullptr;
    delete[] bytes;
    bytes = nullptr;
    bytesLen = 0;
    delete directoryName;
    directoryName = nullptr;
    delete ediPartyName;
    ediPartyName = nullptr;
    delete registeredID;
    registeredID = nullptr;
}

GeneralName* GeneralName::clone() const {
    GeneralName* copy = new GeneralName();
    copy->choice = choice;
    copy->otherName = otherName != nullptr ? otherName->clone() : nullptr;
    copy->text = pkix::copyText(text);
    copy->bytes = pkix::copyBytes(bytes, bytesLen);
    copy->bytesLen = bytesLen;
    copy->directoryName = directoryName != nullptr ? directoryName->clone() : nullptr;
    copy->ediPartyName = ediPartyName != nullptr ? ediPartyName->clone() : nullptr;
    copy->registeredID = registeredID != nullptr ? registeredID->clone() : nullptr;
    return copy;
}

// ---- Setters ----

void GeneralName::setText(unsigned char tag, const char* value) {
    clear();
    choice = tag;
    text = pkix::copyText(value);
}

void GeneralName::setBytes(unsigned char tag, const unsigned char* p, unsigned int n) {
    clear();
    choice = tag;
    bytes = pkix::copyBytes(p, n);
    bytesLen = p != nullptr ? n : 0;
}

void GeneralName::setOtherName(const OtherName* name) {
    clear();
    choice = kOtherName;
    otherName = name != nullptr ? name->clone() : nullptr;
}

void GeneralName::setRfc822Name(const char* value) {
    setText(kRfc822Name, value);
}
void GeneralName::setDNSName(const char* value) {
    setText(kDNSName, value);
}

void GeneralName::setX400Address(const char* value) {
    setBytes(kX400Address, reinterpret_cast<const unsigned char*>(value),
             value != nullptr ? static_cast<unsigned int>(strlen(value)) : 0);
}

void GeneralName::setX400Address(const unsigned char* p, unsigned int n) {
    setBytes(kX400Address, p, n);
}

void GeneralName::setDirectoryName(const Name* name) {
    clear();
    choice = kDirectoryName;
    directoryName = name != nullptr ? name->clone() : nullptr;
}

void GeneralName::setEDIPartyName(const EDIPartyName* name) {
    clear();
    choice = kEDIPartyName;
    ediPartyName = name != nullptr ? name->clone() : nullptr;
}

static bool keptInURI(unsigned char c) {
    return (c < 0x80 && isalnum(c)) || strchr("$-_.+!*'(),;/?:@&", c) != nullptr;
}

void GeneralName::setUniformResourceIdentifier(const char* value) {
    clear();
    choice = kURI;
    if (value == nullptr) return;
    size_t n = strlen(value);
    size_t size = 1;
    for (size_t i = 0; i < n; ++i) size += keptInURI(static_cast<unsigned char>(value[i])) ? 1 : 3;
    text = new char[size];
    size_t out = 0;
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(value[i]);
        if (keptInURI(c)) {
            text[out++] = static_cast<char>(c);
        } else {
            // The index moves on by three whatever the format wrote, so that after a byte
            // below 0x10 the terminator of the format stays in the text and ends it there.
            snprintf(text + out, size - out, "%%%X", c);
            out += 3;
        }
    }
    if (out < size) text[out] = 0;
    text[size - 1] = 0;
}

void GeneralName::setIPAddress(const unsigned char* address, unsigned int length) {
    setBytes(kIPAddress, address, length);
}

void GeneralName::setRegisteredID(const char* dotted) {
    clear();
    choice = kRegisteredID;
    registeredID = dotted != nullptr ? new OID(dotted) : nullptr;
}

// ---- Getters ----

char* GeneralName::textOf(unsigned char tag) const {
    return choice == tag ? pkix::copyText(text) : nullptr;
}

OtherName* GeneralName::getOtherName() const {
    return choice == kOtherName && otherName != nullptr ? otherName->clone() : nullptr;
}

char* GeneralName::getRfc822Name() const {
    return textOf(kRfc822Name);
}
char* GeneralName::getDNSName() const {
    return textOf(kDNSName);
}
char* GeneralName::getUniformResourceIdentifier() const {
    return textOf(kURI);
}

char* GeneralName::getX400Address() const {
    if (choice != kX400Address || bytes == nullptr) return nullptr;
    char* copy = new char[bytesLen + 1];
    memcpy(copy, bytes, bytesLen);
    copy[bytesLen] = 0;
    return copy;
}

unsigned int GeneralName::getX400AddressLen() const {
    return choice == kX400Address ? bytesLen : 0;
}

Name* GeneralName::getDirectoryName() const {
    return choice == kDirectoryName && directoryName != nullptr ? directoryName->clone() : nullptr;
}

const Name* GeneralName::_getDirectoryName() const {
    return choice == kDirectoryName ? directoryName : nullptr;
}

EDIPartyName* GeneralName::getEDIPartyName() const {
    return choice == kEDIPartyName && ediPartyName != nullptr ? ediPartyName->clone() : nullptr;
}

unsigned char* GeneralName::getIPAddress() const {
    return choice == kIPAddress ? pkix::copyBytes(bytes, bytesLen) : nullptr;
}

unsigned int GeneralName::getIPAddressLen() const {
    return choice == kIPAddress ? bytesLen : 0;
}

char* GeneralName::getRegisteredID() const {
    return choice == kRegisteredID && registeredID != nullptr ? registeredID->getValue() : nullptr;
}

// ---- BER ----

unsigned int GeneralName::getWrapLength(Buffer* b) {
    switch (choice) {
        case kOtherName:
            return otherName != nullptr ? otherName->getWrapLength(b) : 0;
        case kRfc822Name:
        case kDNSName:
        case kURI:
            return b->lenASN1(text, choice);
        case kX400Address:
        case kIPAddress:
            return b->lenASN1(bytes, bytesLen, choice);
        case kDirectoryName: {
            if (directoryName == nullptr) return 0;
            unsigned int inner = directoryName->getWrapLength(b);
            return b->lenASN1Header(choice, inner) + inner;
        }
        case kEDIPartyName:
            return ediPartyName != nullptr ? ediPartyName->getWrapLength(b) : 0;
        case kRegisteredID:
            return registeredID != nullptr ? b->lenASN1(registeredID) : 0;
        default:
            return 0;
    }
}

void GeneralName::wrapASN1(Buffer* b) {
    switch (choice) {
        case kOtherName:
            if (otherName != nullptr) otherName->wrapASN1(choice, b);
            break;
        case kRfc822Name:
        case kDNSName:
        case kURI:
            b->writeASN1(text, choice);
            break;
        case kX400Address:
        case kIPAddress:
            b->writeASN1(bytes, bytesLen, choice);
            break;
        case kDirectoryName:
            if (directoryName != nullptr) {
                b->writeASN1Header(choice, directoryName->getWrapLength(b));
                directoryName->wrapASN1(b);
            }
            break;
        case kEDIPartyName:
            if (ediPartyName != nullptr) ediPartyName->wrapASN1(choice, b);
            break;
        case kRegisteredID:
            if (registeredID != nullptr) b->writeASN1(registeredID, choice);
            break;
        default:
            break;
    }
}

unsigned char GeneralName::unwrapASN1(Buffer* b) {
    clear();
    unsigned int len;
    if (!b->peekASN1Header(&choice, &len)) choice = 0;
    switch (choice) {
        case kOtherName:
            otherName = new OtherName();
            return otherName->unwrapASN1(choice, b);
        case kRfc822Name:
        case kDNSName:
        case kURI:
            if (!pkix::readText(b, choice, &text)) return 0;
            if (text == nullptr) text = pkix::copyText("");
            return 1;
        case kX400Address:
        case kIPAddress:
            if (!b->readASN1(&bytes, &bytesLen, choice)) return 0;
            if (bytes == nullptr) bytes = new unsigned char[1];
            return 1;
        case kDirectoryName: {
            unsigned char tag;
            if (!b->readASN1Header(&tag, &len)) return 0;
            directoryName = new Name();
            return directoryName->unwrapASN1(b);
        }
        case kEDIPartyName:
            ediPartyName = new EDIPartyName();
            return ediPartyName->unwrapASN1(choice, b);
        case kRegisteredID:
            registeredID = new OID();
            return b->readASN1(registeredID, choice);
        default:
            return 0;
    }
}

// ---- GeneralNameList ----

unsigned char GeneralNameList::delGeneralName(int i) {
    return pkix::deleteElement(this, i);
}

unsigned char GeneralNameList::substituteGeneralName(int i, const GeneralName* g) {
    return pkix::substituteElement(this, i, g);
}

unsigned char GeneralNameList::unwrapASN1(Buffer* b) {
    return read(kSequenceTag, b, true);
}

unsigned char GeneralNameList::unwrapASN1(unsigned char tag, Buffer* b) {
    return read(tag, b, false);
}

unsigned char GeneralNameList::read(unsigned char tag, Buffer* b, bool checkEnd) {
    unsigned char t, definite;
    unsigned int len;
    if (!b->readASN1Header(&t, &len, &definite) || t != tag) return 0;
    // An element that reads without consuming anything would make the loop endless: it is
    // refused like a failed one. A failed element never enters the list.
    auto readOne = [&]() -> unsigned char {
        unsigned int before = b->getReadPos();
        auto g = std::make_unique<GeneralName>();
        if (!g->unwrapASN1(b) || b->getReadPos() == before) return 0;
        adoptElement(g.release());
        return 255;
    };
    if (definite == 0) {
        while (b->peekByte() != 0) {
            if (!readOne()) return 0;
        }
        return b->readEOC() ? 255 : 0;
    }
    if (len > b->remaining()) return 0;
    unsigned int end = b->getReadPos() + len;
    while (b->getReadPos() < end) {
        if (!readOne()) return 0;
        if (checkEnd && b->getReadPos() > end) return 0;
    }
    return 255;
}
