#include "asn1/DirectoryString.h"

#include <cstring>

#include "asn1/Buffer.h"
#include "asn1/ISO10646.h"
#include "asn1/UTF8.h"
#include "asn1/Unicode.h"

static bool isNarrow(unsigned char type) {
    return type == DirectoryString::kPrintableString || type == DirectoryString::kT61String;
}

static bool isWide(unsigned char type) {
    return type == DirectoryString::kUTF8String || type == DirectoryString::kUniversalString ||
           type == DirectoryString::kBMPString;
}

DirectoryString::DirectoryString() : type(0), text(nullptr), wide(nullptr) {}

DirectoryString::~DirectoryString() {
    clear();
}

// Both pointers are cleared after the delete, so that a value that is not replaced reads as
// absent rather than as freed memory.
void DirectoryString::clear() {
    delete[] text;
    text = nullptr;
    delete wide;
    wide = nullptr;
}

void DirectoryString::setValue(unsigned char t, const wchar_t* v) {
    clear();
    type = t;
    if (t == kUTF8String) {
        wide = new UTF8(v);
    } else if (t == kBMPString) {
        wide = new Unicode(v);
    }
}

void DirectoryString::setValue(unsigned char t, const char* v) {
    clear();
    type = t;
    if (t == kUTF8String) {
        wide = new UTF8(v);
    } else if (t == kBMPString) {
        wide = new Unicode(v);
    }
}

void DirectoryString::setValue(const char* v) {
    setValue(kPrintableString, v);
}

char* DirectoryString::getPrintableValue() const {
    if (isNarrow(type)) {
        if (text == nullptr) return nullptr;
        char* copy = new char[strlen(text) + 1];
        strcpy(copy, text);
        return copy;
    }
    if (isWide(type) && wide != nullptr) return wide->getPrintable();
    return nullptr;
}

// A wide type without its object is written as NULL, the form the wide classes use for an
// absent value; a type outside the choice writes nothing.
unsigned int DirectoryString::getWrapLength(Buffer* buffer) {
    if (isWide(type)) return wide != nullptr ? wide->getWrapLength(buffer) : buffer->lenASN1();
    if (isNarrow(type)) return buffer->lenASN1(text, type);
    return 0;
}

void DirectoryString::wrapASN1(Buffer* buffer) {
    if (isWide(type)) {
        if (wide != nullptr) {
            wide->wrapASN1(buffer);
        } else {
            buffer->writeASN1();
        }
    } else if (isNarrow(type)) {
        buffer->writeASN1(text, type);
    }
}

unsigned char DirectoryString::unwrapASN1(Buffer* buffer) {
    clear();
    unsigned int len;
    if (!buffer->peekASN1Header(&type, &len)) return 0;
    switch (type) {
        case kUTF8String:
            wide = new UTF8();
            return wide->unwrapASN1(buffer);
        case kUniversalString:
            wide = new ISO10646();
            return wide->unwrapASN1(buffer);
        case kBMPString:
            wide = new Unicode();
            return wide->unwrapASN1(buffer);
        case kPrintableString:
        case kT61String:
            return buffer->readASN1(&text, type);
        default:
            return 0;
    }
}

unsigned char DirectoryString::isEqual(const DirectoryString* other) const {
    if (other == nullptr || type != other->type) return 0;
    if (isNarrow(type)) {
        if (text == nullptr || other->text == nullptr) return text == other->text ? 255 : 0;
        return strcmp(text, other->text) == 0 ? 255 : 0;
    }
    if (isWide(type)) return wide == other->wide ? 255 : 0;
    return 0;
}

// The wide object is copied through its own class so that the copy is written under the
// same tag.
DirectoryString* DirectoryString::clone() const {
    DirectoryString* copy = new DirectoryString();
    copy->type = type;
    if (text != nullptr) {
        copy->text = new char[strlen(text) + 1];
        strcpy(copy->text, text);
    }
    if (const UTF8* utf8 = dynamic_cast<const UTF8*>(wide)) {
        copy->wide = utf8->clone();
    } else if (const Unicode* bmp = dynamic_cast<const Unicode*>(wide)) {
        copy->wide = bmp->clone();
    } else if (wide != nullptr) {
        copy->wide = wide->clone();
    }
    return copy;
}
