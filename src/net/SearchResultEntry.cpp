#include "net/SearchResultEntry.h"

#include "asn1/Buffer.h"
#include "net/LDAPSteps.h"

SearchResultEntry* SearchResultEntry::clone() const {
    return new SearchResultEntry(*this);
}

unsigned char SearchResultEntry::addAttribute(const char* type,
                                              const std::vector<std::string>& values) {
    if (type == nullptr || attributes.size() >= kMaxAttributes || values.size() > kMaxValues) {
        return 0;
    }
    attributes.push_back({type, values});
    return 255;
}

unsigned int SearchResultEntry::valuesLength(Buffer* b, const Attribute& attribute) {
    unsigned int sum = 0;
    for (const std::string& v : attribute.values)
        sum += ldap::stringLength(b, ldap::kOctetString, v);
    return sum;
}

unsigned int SearchResultEntry::attributeLength(Buffer* b, const Attribute& attribute) {
    return ldap::wrappedLength(b, ldap::kSequence,
                               ldap::stringLength(b, ldap::kOctetString, attribute.type) +
                                   ldap::wrappedLength(b, ldap::kSet, valuesLength(b, attribute)));
}

unsigned int SearchResultEntry::listLength(Buffer* b) {
    unsigned int sum = 0;
    for (const Attribute& a : attributes) sum += attributeLength(b, a);
    return sum;
}

unsigned int SearchResultEntry::contentLength(Buffer* b) {
    return ldap::stringLength(b, ldap::kOctetString, objectName) +
           ldap::wrappedLength(b, ldap::kSequence, listLength(b));
}

unsigned int SearchResultEntry::getWrapLength(Buffer* b) {
    return ldap::wrappedLength(b, kTag, contentLength(b));
}

void SearchResultEntry::wrapASN1(Buffer* b) {
    b->writeASN1Header(kTag, contentLength(b));
    ldap::writeString(b, ldap::kOctetString, objectName);
    b->writeASN1Header(ldap::kSequence, listLength(b));
    for (const Attribute& a : attributes) {
        b->writeASN1Header(ldap::kSequence,
                           ldap::stringLength(b, ldap::kOctetString, a.type) +
                               ldap::wrappedLength(b, ldap::kSet, valuesLength(b, a)));
        ldap::writeString(b, ldap::kOctetString, a.type);
        b->writeASN1Header(ldap::kSet, valuesLength(b, a));
        for (const std::string& v : a.values) ldap::writeString(b, ldap::kOctetString, v);
    }
}

unsigned char SearchResultEntry::unwrapASN1(Buffer* b) {
    unsigned char tag;
    unsigned int len;
    objectName.clear();
    attributes.clear();
    if (!ldap::readHeader(b, &tag, &len) || tag != kTag) return 0;
    unsigned int end = b->getReadPos() + len;
    unsigned int listLen;
    if (!ldap::readString(b, ldap::kOctetString, &objectName) ||
        !ldap::readHeader(b, &tag, &listLen) || tag != ldap::kSequence) {
        return 0;
    }
    unsigned int listEnd = b->getReadPos() + listLen;
    while (b->getReadPos() < listEnd) {
        unsigned int oneLen, setLen;
        if (attributes.size() >= kMaxAttributes || !ldap::readHeader(b, &tag, &oneLen) ||
            tag != ldap::kSequence) {
            return 0;
        }
        unsigned int oneEnd = b->getReadPos() + oneLen;
        Attribute attribute;
        if (!ldap::readString(b, ldap::kOctetString, &attribute.type) ||
            !ldap::readHeader(b, &tag, &setLen) || tag != ldap::kSet) {
            return 0;
        }
        unsigned int setEnd = b->getReadPos() + setLen;
        while (b->getReadPos() < setEnd) {
            std::string value;
            if (attribute.values.size() >= kMaxValues ||
                !ldap::readString(b, ldap::kOctetString, &value)) {
                return 0;
            }
            attribute.values.push_back(std::move(value));
        }
        if (b->getReadPos() != setEnd || setEnd != oneEnd) return 0;
        attributes.push_back(std::move(attribute));
    }
    return b->getReadPos() == listEnd && listEnd == end ? 255 : 0;
}
