#include "pkix/AttributeTypeAndValue.h"

#include <strings.h>

#include <cstring>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "asn1/ISO10646.h"
#include "asn1/OID.h"
#include "asn1/UTF8.h"
#include "asn1/Unicode.h"
#include "pkix/ReadSteps.h"

namespace {

using Self = AttributeTypeAndValue;

bool isText(unsigned char t) {
    return t == Self::kOctetString || t == Self::kPrintableString || t == Self::kT61String ||
           t == Self::kIA5String;
}

bool isWide(unsigned char t) {
    return t == Self::kUTF8String || t == Self::kUniversalString || t == Self::kBMPString;
}

bool isKnown(unsigned char t) {
    return t == Self::kBitString || isText(t) || isWide(t);
}

// Case-insensitive text types; the others compare exactly.
bool ignoresCase(unsigned char t) {
    return t == Self::kPrintableString || t == Self::kIA5String;
}

// Characters of a wide value of the given type, built from text (12 decodes UTF-8, the others
// take each byte as a character).
ISO10646* wideFromText(const char* s, unsigned char t) {
    if (t == Self::kUTF8String) return new UTF8(s);
    if (t == Self::kBMPString) return new Unicode(s);
    return new ISO10646(s);
}

ISO10646* wideFromChars(const wchar_t* s, unsigned char t) {
    if (t == Self::kUTF8String) return new UTF8(s);
    if (t == Self::kBMPString) return new Unicode(s);
    return new ISO10646(s);
}

ISO10646* cloneWide(const ISO10646* w, unsigned char t) {
    if (w == nullptr) return nullptr;
    if (t == Self::kUTF8String) return static_cast<const UTF8*>(w)->clone();
    if (t == Self::kBMPString) return static_cast<const Unicode*>(w)->clone();
    return w->clone();
}

// Whether the content of a value of a known type fits its typed form (see the header).
bool fitsTypedForm(unsigned char t, const unsigned char* p, unsigned int n) {
    if (p == nullptr) return t != Self::kBitString;
    switch (t) {
        case Self::kOctetString:
        case Self::kPrintableString:
        case Self::kT61String:
        case Self::kIA5String:
            return memchr(p, 0, n) == nullptr;
        case Self::kUTF8String: {
            if (memchr(p, 0, n) != nullptr) return false;
            std::string s(reinterpret_cast<const char*>(p), n);
            UTF8 probe(s.c_str());
            return n == 0 || probe.getLen() == n;
        }
        case Self::kBMPString:
            if (n % 2 != 0) return false;
            for (unsigned int i = 0; i < n; i += 2) {
                if (p[i] == 0 && p[i + 1] == 0) return false;
            }
            return true;
        case Self::kUniversalString:
            if (n % 4 != 0) return false;
            for (unsigned int i = 0; i < n; i += 4) {
                if ((p[i] | p[i + 1] | p[i + 2] | p[i + 3]) == 0) return false;
            }
            return true;
        default:
            return true;
    }
}

}  // namespace

AttributeTypeAndValue::AttributeTypeAndValue()
    : type(nullptr),
      valueType(0),
      bytes(nullptr),
      length(0),
      bitstringUnused(0),
      raw(false),
      text(nullptr),
      wide(nullptr) {}

AttributeTypeAndValue::AttributeTypeAndValue(const char* t, const char* value, unsigned char vt)
    : AttributeTypeAndValue() {
    setType(t);
    setValue(value, vt);
}

AttributeTypeAndValue::~AttributeTypeAndValue() {
    delete type;
    clearValue();
}

void AttributeTypeAndValue::clearValue() {
    delete[] bytes;
    bytes = nullptr;
    length = 0;
    bitstringUnused = 0;
    raw = false;
    delete[] text;
    text = nullptr;
    delete wide;
    wide = nullptr;
}

AttributeTypeAndValue* AttributeTypeAndValue::clone() const {
    AttributeTypeAndValue* copy = new AttributeTypeAndValue();
    copyInto(copy);
    return copy;
}

void AttributeTypeAndValue::copyInto(AttributeTypeAndValue* copy) const {
    copy->setType(type);
    copy->clearValue();
    copy->valueType = valueType;
    copy->bytes = pkix::copyBytes(bytes, length);
    copy->length = length;
    copy->bitstringUnused = bitstringUnused;
    copy->raw = raw;
    copy->text = pkix::copyText(text);
    copy->wide = cloneWide(wide, valueType);
}

char* AttributeTypeAndValue::getType() const {
    return type != nullptr ? type->getValue() : nullptr;
}

void AttributeTypeAndValue::setType(const char* dotted) {
    delete type;
    type = dotted != nullptr ? new OID(dotted) : nullptr;
}

void AttributeTypeAndValue::setType(const OID* oid) {
    delete type;
    type = oid != nullptr ? oid->clone() : nullptr;
}

unsigned char AttributeTypeAndValue::isType(const char* dotted) const {
    return type != nullptr ? type->isEqual(dotted) : 0;
}

// ---- Values ----

void* AttributeTypeAndValue::getValue() const {
    if (bytes != nullptr) return pkix::copyBytes(bytes, length);
    if (text != nullptr) return pkix::copyText(text);
    if (wide == nullptr) return nullptr;
    if (valueType == kUTF8String) return static_cast<UTF8*>(wide)->getValue();
    if (valueType == kBMPString) return static_cast<Unicode*>(wide)->getValue();
    return wide->getValue();
}

void AttributeTypeAndValue::setValue(const char* value, unsigned char vt) {
    clearValue();
    valueType = vt;
    if (value == nullptr) return;
    if (isText(vt)) {
        text = pkix::copyText(value);
    } else if (isWide(vt)) {
        wide = wideFromText(value, vt);
    }
}

void AttributeTypeAndValue::setValue(const wchar_t* value, unsigned char vt) {
    clearValue();
    valueType = vt;
    if (value != nullptr && isWide(vt)) wide = wideFromChars(value, vt);
}

void AttributeTypeAndValue::setValue(const unsigned char* value, unsigned char vt, unsigned int n) {
    clearValue();
    valueType = vt;
    if (value != nullptr && vt == kBitString) {
        bytes = pkix::copyBytes(value, n);
        length = n;
    }
}

// ---- Text ----

char* AttributeTypeAndValue::getPrintable() const {
    if (raw) return nullptr;
    if (text != nullptr) return pkix::copyText(text);
    if (wide != nullptr) return wide->getPrintable();
    return nullptr;
}

char* AttributeTypeAndValue::getUTF8String() const {
    if (raw || valueType == kBitString || !isKnown(valueType)) {
        if (bytes == nullptr) return nullptr;
        return pkix::newText("#" + pkix::hexOf(bytes, length));
    }
    if (text != nullptr) return pkix::copyText(text);
    if (wide == nullptr) return nullptr;
    if (valueType == kUTF8String) return static_cast<UTF8*>(wide)->getValue();
    std::unique_ptr<wchar_t[]> chars(wide->getValue());
    UTF8 encoded(chars.get());
    return encoded.getValue();
}

// ---- Comparison ----

unsigned char AttributeTypeAndValue::isEqual(const AttributeTypeAndValue* other) const {
    return compare(other, false);
}

unsigned char AttributeTypeAndValue::isEqualWithWildcard(const AttributeTypeAndValue* other) const {
    return compare(other, true);
}

// The wildcard copy: each '%' of this text takes the other's character at the same place. Where
// the other text has already ended, the copy ends too, as if it had taken the terminator.
static std::string withWildcards(const char* pattern, const char* subject) {
    std::string out(pattern);
    size_t n = strlen(subject);
    for (size_t i = 0; i < out.size(); ++i) {
        if (out[i] != '%') continue;
        if (i >= n) {
            out.resize(i);
            break;
        }
        out[i] = subject[i];
    }
    return out;
}

unsigned char AttributeTypeAndValue::compare(const AttributeTypeAndValue* other,
                                             bool wildcard) const {
    if (other == nullptr || type == nullptr || !type->isEqual(other->type)) return 0;
    if (valueType != other->valueType || !isKnown(valueType)) return 0;
    if (raw || other->raw || valueType == kBitString) {
        if (raw != other->raw || bytes == nullptr || other->bytes == nullptr) return 0;
        if (length != other->length) return 0;
        return length == 0 || memcmp(bytes, other->bytes, length) == 0 ? 255 : 0;
    }
    if (isText(valueType)) {
        if (text == nullptr || other->text == nullptr) return 0;
        std::string mine = wildcard ? withWildcards(text, other->text) : std::string(text);
        int diff = ignoresCase(valueType) ? strcasecmp(mine.c_str(), other->text)
                                          : strcmp(mine.c_str(), other->text);
        return diff == 0 ? 255 : 0;
    }
    if (wide == nullptr || other->wide == nullptr) return 0;
    bool same = wildcard ? (*wide %= *other->wide) : (*wide == *other->wide);
    return same ? 255 : 0;
}

// ---- Normalisation ----

void AttributeTypeAndValue::toUTF8() {
    // A raw value has no characters to convert, and a BIT STRING has no text: both stay.
    if (type == nullptr || raw || valueType == kBitString || !isKnown(valueType)) return;
    unsigned char narrow = 0;
    if (type->isEqual("2.5.4.6") || type->isEqual("2.5.4.5") || type->isEqual("2.5.4.46")) {
        narrow = kPrintableString;
    } else if (type->isEqual("0.9.2342.19200300.100.1.25") ||
               type->isEqual("1.2.840.113549.1.9.1")) {
        narrow = kIA5String;
    }
    if (narrow != 0) {
        if (wide != nullptr) {
            char* printable = wide->getPrintable();
            clearValue();
            text = printable;
        }
        valueType = narrow;
        return;
    }
    if (isText(valueType)) {
        std::unique_ptr<char[]> encoded(UTF8::encode(text));
        clearValue();
        if (encoded) wide = new UTF8(encoded.get());
    } else if (valueType != kUTF8String && wide != nullptr) {
        std::unique_ptr<wchar_t[]> chars(wide->getValue());
        UTF8* converted = new UTF8(chars.get());
        converted->encode();
        clearValue();
        wide = converted;
    }
    valueType = kUTF8String;
}

// ---- BER ----

unsigned int AttributeTypeAndValue::valueLength(Buffer* b) {
    if (raw || (bytes != nullptr && !isKnown(valueType))) return length;
    if (valueType == kBitString && bytes != nullptr) return b->lenASN1BitString(length);
    if (text != nullptr) return b->lenASN1(text, valueType);
    if (wide != nullptr) return wide->getWrapLength(b);
    return b->lenNULL();
}

unsigned int AttributeTypeAndValue::getWrapLength(Buffer* b) {
    unsigned int sum = (type != nullptr ? b->lenASN1(type) : 0) + valueLength(b);
    return b->lenASN1Sequence(sum);
}

void AttributeTypeAndValue::wrapASN1(Buffer* b) {
    b->writeASN1Sequence((type != nullptr ? b->lenASN1(type) : 0) + valueLength(b));
    if (type != nullptr) b->writeASN1(type);
    if (raw || (bytes != nullptr && !isKnown(valueType))) {
        b->writeBytes(bytes, length);
    } else if (valueType == kBitString && bytes != nullptr) {
        b->writeASN1BitString(bytes, length, bitstringUnused);
    } else if (text != nullptr) {
        b->writeASN1(text, valueType);
    } else if (wide != nullptr) {
        wide->wrapASN1(b);
    } else {
        // No value was ever set: a NULL keeps the SEQUENCE readable.
        b->writeNULL();
    }
}

void AttributeTypeAndValue::adoptRaw(unsigned char* element, unsigned int n) {
    bytes = element;
    length = n;
    raw = isKnown(valueType);
}

unsigned char AttributeTypeAndValue::readRaw(Buffer* b, unsigned char tag) {
    unsigned char* element;
    unsigned int n;
    if (!pkix::readRawElement(b, &element, &n)) return 0;
    valueType = tag;
    adoptRaw(element, n);
    return 1;
}

unsigned char AttributeTypeAndValue::unwrapASN1(Buffer* b) {
    clearValue();
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    delete type;
    type = new OID();
    if (!b->readASN1(type)) return 0;
    unsigned char tag;
    unsigned int n;
    if (!b->peekASN1Header(&tag, &n)) return 0;
    valueType = tag;
    if (!isKnown(tag)) return readRaw(b, tag);

    // Look at the content first: what the typed form cannot hold is kept whole.
    unsigned int start = b->getReadPos();
    unsigned char* content;
    if (tag == kBitString) {
        unsigned char* bits;
        unsigned int count;
        unsigned char unused;
        if (!b->readASN1BitString(&bits, &count, &unused)) return 0;
        // An empty BIT STRING still has a value, so that it is written back as one.
        bytes = bits != nullptr ? bits : new unsigned char[1];
        length = count;
        bitstringUnused = unused;
        return 1;
    }
    if (!b->_readASN1(&content, &n, tag)) return 0;
    bool fits = fitsTypedForm(tag, content, n);
    b->setReadPos(start);
    if (!fits) return readRaw(b, tag);
    if (isText(tag)) {
        if (!pkix::readText(b, tag, &text)) return 0;
        if (text == nullptr) text = pkix::copyText("");
        return 1;
    }
    if (tag == kUTF8String) {
        wide = new UTF8();
    } else if (tag == kBMPString) {
        wide = new Unicode();
    } else {
        wide = new ISO10646();
    }
    return wide->unwrapASN1(b) ? 1 : 0;
}

// ---- PKIAttributeTypeAndValue ----

void PKIAttributeTypeAndValue::setValue(int value) {
    setValue(static_cast<long>(value));
}

void PKIAttributeTypeAndValue::setValue(long value) {
    clearValue();
    valueType = 2;
    // Shortest two's complement, as DER wants it.
    unsigned char content[8];
    int n = 8;
    for (int i = 0; i < 8; ++i) {
        content[7 - i] = static_cast<unsigned char>(static_cast<unsigned long>(value) >> (8 * i));
    }
    int start = 0;
    while (start < n - 1 && ((content[start] == 0 && (content[start + 1] & 0x80) == 0) ||
                             (content[start] == 0xFF && (content[start + 1] & 0x80) != 0))) {
        ++start;
    }
    unsigned int count = static_cast<unsigned int>(n - start);
    bytes = new unsigned char[count + 2];
    bytes[0] = 0x02;
    bytes[1] = static_cast<unsigned char>(count);
    memcpy(bytes + 2, content + start, count);
    length = count + 2;
}

PKIAttributeTypeAndValue* PKIAttributeTypeAndValue::clone() const {
    PKIAttributeTypeAndValue* copy = new PKIAttributeTypeAndValue();
    copyInto(copy);
    return copy;
}
