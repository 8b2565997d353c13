#include "pkix/RelativeDistinguishedName.h"

#include <cstring>
#include <string>

namespace {

// Position-by-position equality of two lists of the same element class.
template <class List, class Compare>
unsigned char sameElements(const List* a, const List* b, Compare same) {
    if (b == nullptr || a->getCount() != b->getCount()) return 0;
    for (int i = 0; i < a->getCount(); ++i) {
        auto* x = a->_getElement(i);
        auto* y = b->_getElement(i);
        if (x == nullptr || y == nullptr || !same(x, y)) return 0;
    }
    return 255;
}

}  // namespace

unsigned char RelativeDistinguishedName::addRDN(const char* text) {
    if (text == nullptr) return 0;
    static const struct {
        const char* label;
        const char* oid;
    } kLabels[] = {{"O", "2.5.4.10"}, {"OU", "2.5.4.11"}, {"C", "2.5.4.6"}, {"CN", "2.5.4.3"}};
    unsigned char added = 0;
    std::string all(text);
    size_t from = 0;
    while (from <= all.size()) {
        size_t comma = all.find(',', from);
        std::string part =
            all.substr(from, comma == std::string::npos ? std::string::npos : comma - from);
        from = comma == std::string::npos ? all.size() + 1 : comma + 1;
        size_t equals = part.find('=');
        if (equals == std::string::npos) continue;
        std::string label = part.substr(0, equals);
        for (const auto& row : kLabels) {
            if (label == row.label) {
                adoptElement(new AttributeTypeAndValue(row.oid, part.c_str() + equals + 1,
                                                       AttributeTypeAndValue::kPrintableString));
                added = 255;
                break;
            }
        }
    }
    return added;
}

unsigned char RelativeDistinguishedName::isEqual(const RelativeDistinguishedName* other) const {
    return sameElements(this, other,
                        [](const AttributeTypeAndValue* x, const AttributeTypeAndValue* y) {
                            return x->isEqual(y);
                        });
}

unsigned char RelativeDistinguishedName::isEqualWithWildcard(
    const RelativeDistinguishedName* other) const {
    return sameElements(this, other,
                        [](const AttributeTypeAndValue* x, const AttributeTypeAndValue* y) {
                            return x->isEqualWithWildcard(y);
                        });
}

void RelativeDistinguishedName::toUTF8() {
    for (int i = 0; i < getCount(); ++i) {
        if (AttributeTypeAndValue* a = _getElement(i)) a->toUTF8();
    }
}

unsigned char RelativeDistinguishedNameList::isEqual(
    const RelativeDistinguishedNameList* other) const {
    return sameElements(this, other,
                        [](const RelativeDistinguishedName* x, const RelativeDistinguishedName* y) {
                            return x->isEqual(y);
                        });
}

unsigned char RelativeDistinguishedNameList::isEqualWithWildcard(
    const RelativeDistinguishedNameList* other) const {
    return sameElements(this, other,
                        [](const RelativeDistinguishedName* x, const RelativeDistinguishedName* y) {
                            return x->isEqualWithWildcard(y);
                        });
}

void RelativeDistinguishedNameList::toUTF8() {
    for (int i = 0; i < getCount(); ++i) {
        if (RelativeDistinguishedName* r = _getElement(i)) r->toUTF8();
    }
}
