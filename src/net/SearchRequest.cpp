#include "net/SearchRequest.h"

#include "asn1/Buffer.h"
#include "net/LDAPSteps.h"

SearchRequest::SearchRequest()
    : scope(kScopeBase),
      derefAliases(0),
      sizeLimit(0),
      timeLimit(0),
      typesOnly(0),
      filterTag(kPresent),
      filterAttribute("objectclass") {}

SearchRequest* SearchRequest::clone() const {
    return new SearchRequest(*this);
}

void SearchRequest::setEqualityFilter(const char* attribute, const char* value) {
    filterTag = kEqualityMatch;
    filterAttribute = attribute != nullptr ? attribute : "";
    filterValue = value != nullptr ? value : "";
}

void SearchRequest::setPresentFilter(const char* attribute) {
    filterTag = kPresent;
    filterAttribute = attribute != nullptr ? attribute : "";
    filterValue.clear();
}

unsigned char SearchRequest::addAttribute(const char* attribute) {
    if (attribute == nullptr || attributes.size() >= kMaxAttributes) return 0;
    attributes.push_back(attribute);
    return 255;
}

unsigned int SearchRequest::filterLength(Buffer* b) {
    if (filterTag == kPresent) return ldap::stringLength(b, kPresent, filterAttribute);
    return ldap::wrappedLength(b, kEqualityMatch,
                               ldap::stringLength(b, ldap::kOctetString, filterAttribute) +
                                   ldap::stringLength(b, ldap::kOctetString, filterValue));
}

unsigned int SearchRequest::attributesLength(Buffer* b) {
    unsigned int sum = 0;
    for (const std::string& one : attributes) sum += ldap::stringLength(b, ldap::kOctetString, one);
    return sum;
}

unsigned int SearchRequest::contentLength(Buffer* b) {
    return ldap::stringLength(b, ldap::kOctetString, baseObject) +
           b->lenASN1(scope, ldap::kEnumerated) + b->lenASN1(derefAliases, ldap::kEnumerated) +
           b->lenASN1(sizeLimit) + b->lenASN1(timeLimit) + b->lenBoolean(typesOnly) +
           filterLength(b) + ldap::wrappedLength(b, ldap::kSequence, attributesLength(b));
}

unsigned int SearchRequest::getWrapLength(Buffer* b) {
    return ldap::wrappedLength(b, kTag, contentLength(b));
}

void SearchRequest::wrapASN1(Buffer* b) {
    b->writeASN1Header(kTag, contentLength(b));
    ldap::writeString(b, ldap::kOctetString, baseObject);
    b->writeASN1(scope, ldap::kEnumerated);
    b->writeASN1(derefAliases, ldap::kEnumerated);
    b->writeASN1(sizeLimit);
    b->writeASN1(timeLimit);
    b->writeBoolean(typesOnly ? 0xFF : 0x00);
    if (filterTag == kPresent) {
        ldap::writeString(b, kPresent, filterAttribute);
    } else {
        b->writeASN1Header(kEqualityMatch,
                           ldap::stringLength(b, ldap::kOctetString, filterAttribute) +
                               ldap::stringLength(b, ldap::kOctetString, filterValue));
        ldap::writeString(b, ldap::kOctetString, filterAttribute);
        ldap::writeString(b, ldap::kOctetString, filterValue);
    }
    b->writeASN1Header(ldap::kSequence, attributesLength(b));
    for (const std::string& one : attributes) ldap::writeString(b, ldap::kOctetString, one);
}

unsigned char SearchRequest::unwrapASN1(Buffer* b) {
    unsigned char tag;
    unsigned int len;
    if (!ldap::readHeader(b, &tag, &len) || tag != kTag) return 0;
    unsigned int end = b->getReadPos() + len;
    int types = 0;
    unsigned char boolTag;
    unsigned int boolLen;
    if (!ldap::readString(b, ldap::kOctetString, &baseObject) ||
        !ldap::readNumber(b, ldap::kEnumerated, &scope) ||
        !ldap::readNumber(b, ldap::kEnumerated, &derefAliases) ||
        !ldap::readNumber(b, ldap::kInteger, &sizeLimit) ||
        !ldap::readNumber(b, ldap::kInteger, &timeLimit) ||
        !ldap::readHeader(b, &boolTag, &boolLen) || boolTag != ldap::kBoolean || boolLen != 1) {
        return 0;
    }
    types = b->readByte();
    typesOnly = types != 0 ? 255 : 0;
    filterValue.clear();
    unsigned char next = b->peekByte();
    if (next == kPresent) {
        if (!ldap::readString(b, kPresent, &filterAttribute)) return 0;
        filterTag = kPresent;
    } else if (next == kEqualityMatch) {
        unsigned int filterLen;
        if (!ldap::readHeader(b, &tag, &filterLen)) return 0;
        unsigned int filterEnd = b->getReadPos() + filterLen;
        if (!ldap::readString(b, ldap::kOctetString, &filterAttribute) ||
            !ldap::readString(b, ldap::kOctetString, &filterValue) ||
            b->getReadPos() != filterEnd) {
            return 0;
        }
        filterTag = kEqualityMatch;
    } else {
        return 0;
    }
    unsigned int listLen;
    if (!ldap::readHeader(b, &tag, &listLen) || tag != ldap::kSequence) return 0;
    unsigned int listEnd = b->getReadPos() + listLen;
    attributes.clear();
    while (b->getReadPos() < listEnd) {
        std::string one;
        if (attributes.size() >= kMaxAttributes || !ldap::readString(b, ldap::kOctetString, &one)) {
            return 0;
        }
        attributes.push_back(one);
    }
    return b->getReadPos() == listEnd && listEnd == end ? 255 : 0;
}
