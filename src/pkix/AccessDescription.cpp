#include "pkix/AccessDescription.h"

#include "asn1/Buffer.h"
#include "asn1/OID.h"
#include "pkix/GeneralName.h"
#include "pkix/ReadSteps.h"

AccessDescription::AccessDescription() : accessMethod(nullptr), accessLocation(nullptr) {}

AccessDescription::AccessDescription(const char* method, const GeneralName* location)
    : AccessDescription() {
    setAccessMethod(method);
    setAccessLocation(location);
}

AccessDescription::~AccessDescription() {
    delete accessMethod;
    delete accessLocation;
}

AccessDescription* AccessDescription::clone() const {
    AccessDescription* copy = new AccessDescription();
    copy->accessMethod = accessMethod != nullptr ? accessMethod->clone() : nullptr;
    copy->setAccessLocation(accessLocation);
    return copy;
}

char* AccessDescription::getAccessMethod() const {
    return accessMethod != nullptr ? accessMethod->getValue() : nullptr;
}

void AccessDescription::setAccessMethod(const char* dotted) {
    delete accessMethod;
    accessMethod = dotted != nullptr ? new OID(dotted) : nullptr;
}

GeneralName* AccessDescription::getAccessLocation() const {
    return accessLocation != nullptr ? accessLocation->clone() : nullptr;
}

void AccessDescription::setAccessLocation(const GeneralName* location) {
    delete accessLocation;
    accessLocation = location != nullptr ? location->clone() : nullptr;
}

unsigned int AccessDescription::contentLength(Buffer* b) {
    return (accessMethod != nullptr ? b->lenASN1(accessMethod) : 0) +
           (accessLocation != nullptr ? accessLocation->getWrapLength(b) : 0);
}

unsigned int AccessDescription::getWrapLength(Buffer* b) {
    return b->lenASN1Sequence(contentLength(b));
}

void AccessDescription::wrapASN1(Buffer* b) {
    b->writeASN1Sequence(contentLength(b));
    if (accessMethod != nullptr) b->writeASN1(accessMethod);
    if (accessLocation != nullptr) accessLocation->wrapASN1(b);
}

unsigned char AccessDescription::unwrapASN1(Buffer* b) {
    unsigned int len;
    if (!b->readASN1Sequence(&len)) return 0;
    unsigned int end = pkix::endOf(b, len);
    delete accessMethod;
    accessMethod = nullptr;
    delete accessLocation;
    accessLocation = nullptr;
    if (pkix::atEnd(b, end)) return 255;
    if (pkix::peekTag(b) == 0x06) {
        accessMethod = new OID();
        if (!b->readASN1(accessMethod)) return 0;
        if (pkix::atEnd(b, end)) return 255;
    }
    accessLocation = new GeneralName();
    return accessLocation->unwrapASN1(b) ? 255 : 0;
}

unsigned char AuthorityInfoAccessSyntax::isEqual(int i, const char* dotted) const {
    const AccessDescription* d = _getElement(i);
    return d != nullptr && d->_getAccessMethod() != nullptr ? d->_getAccessMethod()->isEqual(dotted)
                                                            : 0;
}
