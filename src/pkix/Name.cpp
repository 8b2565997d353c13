#include "pkix/Name.h"

#include <strings.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <string>

#include "asn1/Buffer.h"
#include "pkix/ReadSteps.h"

Name::Name() : rdns(nullptr) {}

Name::Name(const char* text, unsigned char type, const char* const* oids, const char* const* labels,
           int count)
    : Name() {
    setValue(text, type, oids, labels, count);
}

Name::~Name() {
    delete rdns;
}

Name* Name::clone() const {
    Name* copy = new Name();
    copy->setRDNSequence(rdns);
    return copy;
}

void Name::setRDNSequence(const RelativeDistinguishedNameList* list) {
    delete rdns;
    rdns = list != nullptr ? list->clone() : nullptr;
}

RelativeDistinguishedNameList* Name::getRDNSequence() const {
    return rdns != nullptr ? rdns->clone() : nullptr;
}

// ---- Text to name ----

static bool holdsText(unsigned char t) {
    return t == AttributeTypeAndValue::kOctetString || t == AttributeTypeAndValue::kUTF8String ||
           t == AttributeTypeAndValue::kPrintableString || t == AttributeTypeAndValue::kT61String ||
           t == AttributeTypeAndValue::kIA5String || t == AttributeTypeAndValue::kUniversalString ||
           t == AttributeTypeAndValue::kBMPString;
}

// The type a parsed value gets: some attributes have a fixed string type.
static unsigned char typeFor(const char* oid, unsigned char requested) {
    if (strcmp(oid, "2.5.4.6") == 0 || strcmp(oid, "2.5.4.5") == 0 ||
        strcmp(oid, "2.5.4.46") == 0) {
        return AttributeTypeAndValue::kPrintableString;
    }
    if (strcmp(oid, "0.9.2342.19200300.100.1.25") == 0 ||
        strcmp(oid, "1.2.840.113549.1.9.1") == 0) {
        return AttributeTypeAndValue::kIA5String;
    }
    return requested;
}

unsigned char Name::setValue(const char* text, unsigned char type, const char* const* oids,
                             const char* const* labels, int count) {
    if (text == nullptr || oids == nullptr || labels == nullptr) return 0;
    auto list = std::make_unique<RelativeDistinguishedNameList>();
    std::unique_ptr<char[]> work(pkix::copyText(text));
    char* rest = nullptr;
    for (char* part = strtok_r(work.get(), ",", &rest); part != nullptr;
         part = strtok_r(nullptr, ",", &rest)) {
        while (*part == ' ' || *part == '\t' || *part == '\n') ++part;
        char* equals = strchr(part, '=');
        if (equals == nullptr) return 0;
        *equals = 0;
        int row = -1;
        for (int i = 0; i < count; ++i) {
            if (labels[i] != nullptr && oids[i] != nullptr && strcasecmp(labels[i], part) == 0) {
                row = i;
                break;
            }
        }
        if (row < 0) continue;
        unsigned char t = typeFor(oids[row], type);
        if (!holdsText(t)) return 0;
        auto rdn = std::make_unique<RelativeDistinguishedName>();
        rdn->adoptElement(new AttributeTypeAndValue(oids[row], equals + 1, t));
        list->adoptElement(rdn.release());
    }
    if (list->getCount() == 0) return 0;
    delete rdns;
    rdns = list.release();
    return 255;
}

char* Name::toCanonicalForm(const char* text) {
    if (text == nullptr) return nullptr;
    std::string out;
    std::string all(text);
    size_t from = 0;
    while (from < all.size()) {
        size_t comma = all.find(',', from);
        if (comma == std::string::npos) comma = all.size();
        std::string part = all.substr(from, comma - from);
        from = comma + 1;
        if (part.empty()) continue;
        size_t equals = part.find('=');
        size_t labelEnd = equals == std::string::npos ? 0 : equals;
        for (size_t i = 0; i < labelEnd; ++i) {
            part[i] = static_cast<char>(toupper(static_cast<unsigned char>(part[i])));
        }
        if (!out.empty()) out += ',';
        out += part;
    }
    return pkix::newText(out);
}

// ---- BER ----

unsigned int Name::getWrapLength(Buffer* b) {
    return rdns != nullptr ? rdns->getWrapLength(b) : b->lenASN1Sequence(0);
}

void Name::wrapASN1(Buffer* b) {
    if (rdns != nullptr) {
        rdns->wrapASN1(b);
    } else {
        b->writeASN1Sequence(0);
    }
}

unsigned char Name::unwrapASN1(Buffer* b) {
    delete rdns;
    rdns = new RelativeDistinguishedNameList();
    return rdns->unwrapASN1(b);
}

// ---- Comparison and lookup ----

unsigned char Name::isEqual(const Name* other) const {
    if (other == nullptr) return 0;
    RelativeDistinguishedNameList empty;
    const RelativeDistinguishedNameList* mine = rdns != nullptr ? rdns : &empty;
    const RelativeDistinguishedNameList* theirs = other->rdns != nullptr ? other->rdns : &empty;
    return mine->isEqual(theirs);
}

unsigned char Name::isEqualWithWildcard(const Name* other) const {
    if (other == nullptr) return 0;
    RelativeDistinguishedNameList empty;
    const RelativeDistinguishedNameList* mine = rdns != nullptr ? rdns : &empty;
    const RelativeDistinguishedNameList* theirs = other->rdns != nullptr ? other->rdns : &empty;
    return mine->isEqualWithWildcard(theirs);
}

static const AttributeTypeAndValue* firstOfType(const RelativeDistinguishedNameList* rdns,
                                                const char* oid) {
    if (rdns == nullptr || oid == nullptr) return nullptr;
    for (int i = 0; i < rdns->getCount(); ++i) {
        const RelativeDistinguishedName* rdn = rdns->_getElement(i);
        if (rdn == nullptr) continue;
        for (int j = 0; j < rdn->getCount(); ++j) {
            const AttributeTypeAndValue* a = rdn->_getElement(j);
            if (a != nullptr && a->isType(oid)) return a;
        }
    }
    return nullptr;
}

AttributeTypeAndValue* Name::getAttributeValue(const char* oid) const {
    const AttributeTypeAndValue* a = firstOfType(rdns, oid);
    return a != nullptr ? a->clone() : nullptr;
}

char* Name::getPrintableValue(const char* oid) const {
    const AttributeTypeAndValue* a = firstOfType(rdns, oid);
    return a != nullptr ? a->getPrintable() : nullptr;
}

char* Name::getUTF8Value(const char* oid) const {
    const AttributeTypeAndValue* a = firstOfType(rdns, oid);
    return a != nullptr ? a->getUTF8String() : nullptr;
}

Name* Name::reverse() const {
    Name* reversed = new Name();
    if (rdns == nullptr) return reversed;
    reversed->rdns = new RelativeDistinguishedNameList();
    for (int i = rdns->getCount() - 1; i >= 0; --i) {
        reversed->rdns->addElementCopy(rdns->_getElement(i));
    }
    return reversed;
}

void Name::toUTF8() {
    if (rdns != nullptr) rdns->toUTF8();
}
